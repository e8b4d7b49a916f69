// Notes on configured values that the rules don't take as written, or that switch instrumentation
// off: the numbers stay as the rules give them, but the trace says why nothing is timed or sent.
#include "tlm/tlmprofile/tlmparameterloader.h"
#include "zul_u16printf.h"
#include "zul_u16string.h"

namespace tlmprofile {

namespace {

// A key whose text becomes a number, and the width of its field. An optional key with an empty
// text is simply not configured.
struct NumericKey {
  const ZUL_UTF16 *name;
  bool wide;  // 32 bits, else 16
  bool optional;
};

constexpr NumericKey kNumericKeys[] = {
    {key::kInstrumentLevelThreshold, false, false},
    {key::kInstrumentLevelThresholdTrace, false, true},
    {key::kMaxComponentsPerTransaction, true, false},
    {key::kMaxComponentsPerPromotedStack, true, false},
    {key::kTraceCheckInterval, true, false},
    {key::kTraceSizeThreshold, true, false},
    {key::kTracePreviewTimeout, true, false},
    {key::kAutoTransactionTraceThreshold, true, false},
    {key::kDataSendingInterval, true, false},
    {key::kZombieCheckInterval, true, false},
    {key::kZombieTimeout, true, false},
    {key::kEmptyTimeout, true, false},
    {key::kAgentType, false, false},
    {key::kAgentTypeN[0], false, true},
    {key::kAgentTypeN[1], false, true},
    {key::kAgentTypeN[2], false, true},
    {key::kAgentTypeN[3], false, true},
    {key::kAgentPort, false, false},
    {key::kAgentPortN[0], false, true},
    {key::kAgentPortN[1], false, true},
    {key::kAgentPortN[2], false, true},
    {key::kAgentPortN[3], false, true},
    {key::kCacheSectionCount, false, false},
    {key::kLibTraceLevel, true, false},
    {key::kContextMapBucket, false, false},
    {key::kPerfMetricScope, false, false},
    {key::kSkipTimesBelowThreshold, true, false},
    {key::kTraceEnabledViaEM, false, false},
    {key::kTraceEnabledViaE2E, false, false},
    {key::kSocketSendTimeout, true, false},
    {key::kSocketRecvTimeout, true, false},
};

zulstring number(unsigned long value) {
  ZUL_UTF16 text[24];
  snprintfU16(text, 24, u"%lu", value);
  return text;
}

// "Parameter <name>=<text> ..." when the text is not a number, or when its number doesn't fit the
// field and so is narrowed; empty otherwise.
zulstring readingNote(const NumericKey &key, const zulstring &text) {
  if (key.optional && text.empty()) return zulstring();
  ZUL_UTF16 *end = nullptr;
  const long parsed = strtolU16(text.c_str(), &end, 10);
  const zulstring head = u"Parameter " + zulstring(key.name) + u"=" + text;
  if (end == text.c_str()) return head + u" is not a number; it is read as 0\n";
  const unsigned long narrowed =
      key.wide ? static_cast<uint32_t>(parsed) : static_cast<uint16_t>(parsed);
  if (parsed < 0 || static_cast<unsigned long>(parsed) != narrowed) {
    return head + u" does not fit its field; it is read as " + number(narrowed) + u"\n";
  }
  return zulstring();
}

}  // namespace

zulstring CParameterLoader::getSwitchOffNotes() const {
  zulstring notes;
  {
    std::lock_guard<std::mutex> lock(mapMutex_);
    for (const NumericKey &key : kNumericKeys) {
      auto it = parameters_.find(key.name);
      notes += readingNote(key, it != parameters_.end() ? it->second.getParamValue() : zulstring());
    }
  }
  if (getInstrumentLevelThreshold() == 0) {
    notes +=
        u"instrument_level_threshold is 0: instrumentation is switched off, nothing is timed "
        u"or traced\n";
  } else if (getInstrumentLevelThresholdTrace() == 0) {
    notes +=
        u"instrument_level_threshold_trace is 0: a traced transaction that uses it times no "
        u"component\n";
  }
  if (getDataSendingInterval() == 0) {
    notes +=
        u"datasending_interval is 0: metric data is never sent, and neither "
        u"TLM_outputMetricData nor the stop sends anything\n";
  }
  if (getTraceCheckInterval() == 0) {
    notes += getDataSendingInterval() == 0
                 ? u"tracecheck_interval is 0: there is no trace timer, and traces are never sent\n"
                 : u"tracecheck_interval is 0: there is no trace timer, traces are sent only by "
                   u"TLM_outputMetricData and at the stop\n";
  }
  return notes;
}

}  // namespace tlmprofile
