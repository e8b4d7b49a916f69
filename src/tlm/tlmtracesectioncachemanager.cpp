#define DPTRC_MODULE u"tlmtracesectioncachemanager"

#include "tlm/tlmtracesectioncachemanager.h"

#include "tlm/tlmmtdatasendingfileagent.h"
#include "tlm/tlmmtdatasendingsocketagent.h"
#include "tlm/tlmprocesssettings.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "zul_dptrace.h"
#include "zul_u16printf.h"

namespace {

constexpr size_t kStatisticsBufferUnits = 50;
constexpr ZUL_UTF16 kVersionName[] = u"TLM library version";
constexpr ZUL_UTF16 kLibraryVersion[] = u"2.3.12";

// <metric type="StringEvent" name="prefix:name" value="value" /> and a line feed.
zulstring stringEventLine(const zulstring &prefix, const zulstring &name, const zulstring &value) {
  zulstring line(u"<metric type=\"");
  line.append(u"StringEvent").append(u"\" name=\"").append(prefix).append(u":").append(name);
  line.append(u"\" value=\"").append(value).append(u"\" />\n");
  return line;
}

}  // namespace

void CTraceSectionCacheManager::initialize(const CProcessSettingsHolder *settings) {
  settings_ = settings;
  ring_.build(TLMParameterHelper::GetSectionCount());
  if (TLMParameterHelper::GetDataSendingMethod() == u"socket") {
    setAgent(std::make_unique<CMTDataSendingSocketAgent>());
  } else {
    setAgent(std::make_unique<CMTDataSendingFileAgent>(SettingsOf(settings)->componentName));
  }
}

void CTraceSectionCacheManager::addTransTraceString(const zulstring &text) {
  ring_.withActive(0, [&](CTraceSection &active, uint32_t) {
    active.addTransTraceString(text);
    return 0;
  });
}

zulstring CTraceSectionCacheManager::buildSetStringData(const zulstring &subPath,
                                                        const zulstring &name,
                                                        const zulstring &value) {
  zulstring prefix = SettingsOf(settings_)->processPrefix();
  if (!subPath.empty()) prefix.append(u"|").append(subPath);
  zulstring line = stringEventLine(prefix, name, value);
  DPTRC(1, tf, u"buildSetStringData Data for\n%s", line.c_str());
  return line;
}

// The new active section is emptied under the ring lock in constant time; its texts are freed
// here afterwards, on the sending thread.
void CTraceSectionCacheManager::processTraceData() noexcept {
  Ring::Run run(ring_);
  if (!run.started()) return;
  try {
    std::vector<zulstring> emptied;
    CTraceSection *sending = run.switchSection(
        [] { DPTRC(3, tf, u"Start copying[lock]\n"); },
        [&](CTraceSection &, CTraceSection &next) {
          emptied = next.detachTexts();
          DPTRC(3, tf, u"End copying[unlock]\n");
        });
    if (sending != nullptr) {
      sendVersionOnce();
      sendSection(sending);
    }
  } catch (...) {
    // Out of memory while copying a text: the rest of the period is dropped, as with a dead
    // agent, and the section goes back into the ring all the same.
    DPTRC_ERR(tf, u"Sending of trace data failed\n");
  }
  run.finish([] { DPTRC(3, tf, u"Processing finished\n"); });
}

void CTraceSectionCacheManager::sendVersionOnce() {
  // Sent once per process, whatever sendData made of it; a sink that isn't ready delays it.
  if (versionSent_ || agent_ == nullptr || !agent_->checkStatus()) return;
  const zulstring line =
      stringEventLine(SettingsOf(settings_)->processPrefix(), kVersionName, kLibraryVersion);
  versionSent_ = true;
  agent_->sendData(line);
  DPTRC(1, tf, u"Version Data Sent Once for\n%s", line.c_str());
}

void CTraceSectionCacheManager::sendSection(CTraceSection *sending) {
  if (sending->isTraceListEmpty() || agent_ == nullptr) return;
  DPTRC(3, tf, u"Trace Data Detected\n");
  // A sink that can't take data now loses this period's traces: the section is emptied when it
  // next comes to the front.
  if (!agent_->checkStatus()) return;
  const int64_t sent = sending->sendTraceData(agent_.get());
  ZUL_UTF16 statistics[kStatisticsBufferUnits];
  snprintfU16(statistics, kStatisticsBufferUnits, u"EM TT trace# %ld sent",
              static_cast<long>(sent));
  DPTRC(1, tf, u"Trace sending statistics: %s\n", statistics);
}

