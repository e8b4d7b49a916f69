// The store's life, its profiles and access to the text values.
#include "tlm/tlmprofile/tlmparameterloader.h"

#include <algorithm>

#include "tlm/tlmprofile/tlmparameternumber.h"
#include "zul_u16string.h"

namespace tlmprofile {

namespace {

// The default text of a built-in key.
const ZUL_UTF16 *defaultValue(const ZUL_UTF16 *name) {
  for (const DefaultParameter &p : kDefaultParameters) {
    if (strcmpU16(p.name, name) == 0) return p.value;
  }
  return u"";
}

template <typename T>
T defaultNumber(const ZUL_UTF16 *name) {
  return parameterNumber<T>(defaultValue(name));
}

}  // namespace

std::atomic<CParameterLoader *> CParameterLoader::s_instance{nullptr};

CParameterLoader *CParameterLoader::create() {
  CParameterLoader *fresh = new CParameterLoader();
  CParameterLoader *expected = nullptr;
  // Two threads that ask before the start both create one; the first to publish wins.
  if (!s_instance.compare_exchange_strong(expected, fresh, std::memory_order_acq_rel)) {
    delete fresh;
    return expected;
  }
  return fresh;
}

void CParameterLoader::release() { delete s_instance.exchange(nullptr); }

// The start values are the built-in defaults, with these exceptions on purpose: the zombie check
// interval starts at 60 like the sending interval, the zombie and empty time-outs at 0, and the
// trace threshold as a copy of the instrument level threshold. The context map bucket's 13 stands
// for the life of the store unless the conversion lowers it to 7.
CParameterLoader::CParameterLoader() {
  using namespace key;
  profiles_.reserve(5);
  set(instrumentLevelThreshold_, defaultNumber<uint16_t>(kInstrumentLevelThreshold));
  set(instrumentLevelThresholdTrace_, get(instrumentLevelThreshold_));
  set(maxComponentsPerTransaction_, defaultNumber<uint32_t>(kMaxComponentsPerTransaction));
  set(maxComponentsPerPromotedStack_, defaultNumber<uint32_t>(kMaxComponentsPerPromotedStack));
  set(traceCheckInterval_, defaultNumber<uint32_t>(kTraceCheckInterval));
  set(traceSizeThreshold_, defaultNumber<uint32_t>(kTraceSizeThreshold));
  set(tracePreviewTimeout_, defaultNumber<uint32_t>(kTracePreviewTimeout));
  set(autoTransactionTraceThreshold_, defaultNumber<uint32_t>(kAutoTransactionTraceThreshold));
  set(dataSendingInterval_, defaultNumber<uint32_t>(kDataSendingInterval));
  set(zombieCheckInterval_, get(dataSendingInterval_));
  set(zombieTimeout_, 0u);
  set(emptyTimeout_, 0u);
  for (size_t i = 0; i < kAgentCount; ++i) {
    set(agentType_[i], defaultNumber<uint16_t>(kAgentType));
    set(agentPort_[i], defaultNumber<uint16_t>(kAgentPort));
  }
  set(sectionCount_, defaultNumber<uint16_t>(kCacheSectionCount));
  set(libTraceLevel_, defaultNumber<uint32_t>(kLibTraceLevel));
  set(contextMapBucket_, defaultNumber<uint16_t>(kContextMapBucket));
  set(perfMetricScope_, defaultNumber<uint16_t>(kPerfMetricScope));
  set(skipTimesBelowThreshold_, defaultNumber<uint32_t>(kSkipTimesBelowThreshold));
  set(traceEnabledViaEM_, defaultNumber<uint16_t>(kTraceEnabledViaEM));
  set(traceEnabledViaE2E_, defaultNumber<uint16_t>(kTraceEnabledViaE2E));
  set(socketSendTimeout_, defaultNumber<uint32_t>(kSocketSendTimeout));
  set(socketRecvTimeout_, defaultNumber<uint32_t>(kSocketRecvTimeout));
}

CParameterLoader::~CParameterLoader() {
  for (CProfile *profile : profiles_) delete profile;
}

void CParameterLoader::setPath(const zulstring &path) {
  std::lock_guard<std::mutex> lock(mapMutex_);
  path_ = path;
}

void CParameterLoader::addProfile(CProfile *profile) {
  std::lock_guard<std::mutex> lock(mapMutex_);
  profiles_.push_back(profile);
}

void CParameterLoader::loadParameters() {
  std::lock_guard<std::mutex> lock(mapMutex_);
  for (CProfile *profile : profiles_) {
    ParameterMap loaded = profile->load(path_);
    if (profile->getStatus() != CProfile::STATUS_LOADED) continue;
    for (const auto &[name, parameter] : loaded) {
      auto [it, inserted] = parameters_.emplace(name, parameter);
      if (!inserted) it->second.setParamValue(parameter.getParamValue());
    }
  }
}

zulstring CParameterLoader::getParameterValue(const zulstring &name) const {
  std::lock_guard<std::mutex> lock(mapMutex_);
  auto it = parameters_.find(name);
  return it != parameters_.end() ? it->second.getParamValue() : zulstring();
}

bool CParameterLoader::updParameterValue(const zulstring &name, const zulstring &value) {
  std::lock_guard<std::mutex> lock(mapMutex_);
  auto it = parameters_.find(name);
  if (it == parameters_.end() || !it->second.isDynamic()) return false;
  it->second.setParamValue(value);
  convertLocked();
  return true;
}

bool CParameterLoader::isValidParameter(const zulstring &name) {
  return std::any_of(std::begin(kValidKeys), std::end(kValidKeys),
                     [&name](const ZUL_UTF16 *key) { return name == key; });
}

}  // namespace tlmprofile
