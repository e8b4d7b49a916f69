// The rules that turn the configured texts into the numbers in force. The texts themselves are
// never rewritten: the report shows what was configured.
#include "tlm/tlmprofile/tlmparameterloader.h"
#include "tlm/tlmprofile/tlmparameternumber.h"

namespace tlmprofile {

namespace {

// Reads the values of one map; a key that the map lacks has an empty value, which is 0.
class Values {
 public:
  explicit Values(const ParameterMap &parameters) : parameters_(parameters) {}

  template <typename T>
  T number(const ZUL_UTF16 *name) const {
    return parameterNumber<T>(text(name).c_str());
  }
  bool hasText(const ZUL_UTF16 *name) const { return !text(name).empty(); }

 private:
  zulstring text(const ZUL_UTF16 *name) const {
    auto it = parameters_.find(name);
    return it != parameters_.end() ? it->second.getParamValue() : zulstring();
  }

  const ParameterMap &parameters_;
};

template <typename T>
T atLeast(T value, T floor) {
  return value < floor ? floor : value;
}

}  // namespace

void CParameterLoader::convertParameters() {
  std::lock_guard<std::mutex> lock(mapMutex_);
  convertLocked();
}

// The steps run in this order because later ones read the results of earlier ones. Each field is
// stored once, with its final value, so that a concurrent reader never sees a value before its
// bound was applied.
void CParameterLoader::convertLocked() {
  using namespace key;
  Values values(parameters_);

  uint16_t level = values.number<uint16_t>(kInstrumentLevelThreshold);
  set(instrumentLevelThreshold_, level);
  set(instrumentLevelThresholdTrace_, values.hasText(kInstrumentLevelThresholdTrace)
                                          ? values.number<uint16_t>(kInstrumentLevelThresholdTrace)
                                          : level);
  set(maxComponentsPerTransaction_, values.number<uint32_t>(kMaxComponentsPerTransaction));
  set(maxComponentsPerPromotedStack_, values.number<uint32_t>(kMaxComponentsPerPromotedStack));

  uint32_t traceCheck = values.number<uint32_t>(kTraceCheckInterval);
  set(traceCheckInterval_, traceCheck == 1 ? 2u : traceCheck);
  set(traceSizeThreshold_, atLeast(values.number<uint32_t>(kTraceSizeThreshold), 10000u));
  set(tracePreviewTimeout_, atLeast(values.number<uint32_t>(kTracePreviewTimeout), 30u));
  set(autoTransactionTraceThreshold_,
      atLeast(values.number<uint32_t>(kAutoTransactionTraceThreshold), 60u));

  // 0 switches sending off; anything else is at least 15 seconds.
  uint32_t sending = values.number<uint32_t>(kDataSendingInterval);
  if (sending >= 1 && sending < 15) sending = 15;
  set(dataSendingInterval_, sending);
  // 0 switches the zombie check off; otherwise it runs no more often than sending.
  uint32_t zombieCheck = values.number<uint32_t>(kZombieCheckInterval);
  if (zombieCheck != 0 && zombieCheck < sending) zombieCheck = sending;
  set(zombieCheckInterval_, zombieCheck);
  set(zombieTimeout_, atLeast(values.number<uint32_t>(kZombieTimeout), zombieCheck));
  set(emptyTimeout_, atLeast(values.number<uint32_t>(kEmptyTimeout), zombieCheck));

  // Agents 2 to 5 keep what they had unless they are configured.
  set(agentType_[0], values.number<uint16_t>(kAgentType));
  for (size_t i = 1; i < kAgentCount; ++i) {
    if (values.hasText(kAgentTypeN[i - 1]))
      set(agentType_[i], values.number<uint16_t>(kAgentTypeN[i - 1]));
  }
  set(agentPort_[0], values.number<uint16_t>(kAgentPort));
  for (size_t i = 1; i < kAgentCount; ++i) {
    if (values.hasText(kAgentPortN[i - 1]))
      set(agentPort_[i], values.number<uint16_t>(kAgentPortN[i - 1]));
  }

  set(sectionCount_, atLeast(values.number<uint16_t>(kCacheSectionCount), uint16_t{2}));
  set(libTraceLevel_, values.number<uint32_t>(kLibTraceLevel));
  // The configured bucket count is never taken: 7 or less gives 7, and anything else leaves the
  // count as it stands (13 from the start).
  if (values.number<uint16_t>(kContextMapBucket) <= 7) set(contextMapBucket_, uint16_t{7});

  set(perfMetricScope_, values.number<uint16_t>(kPerfMetricScope));
  set(skipTimesBelowThreshold_, values.number<uint32_t>(kSkipTimesBelowThreshold));
  set(traceEnabledViaEM_, values.number<uint16_t>(kTraceEnabledViaEM));
  set(traceEnabledViaE2E_, values.number<uint16_t>(kTraceEnabledViaE2E));
  set(socketSendTimeout_, values.number<uint32_t>(kSocketSendTimeout));
  set(socketRecvTimeout_, values.number<uint32_t>(kSocketRecvTimeout));
}

}  // namespace tlmprofile
