// A transaction context's identity: construction, reset from a passport, thresholds.
#include "tlm/tlmmtcontext.h"

#define DPTRC_MODULE u"tlmmtcontext"

#include "tlm/tlmmtrecord.h"
#include "tlm/tlmpassporthelper.h"
#include "tlm/tlmplatformhelper.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "zul_dptrace.h"
#include "zul_u16printf.h"

namespace {

typedef TLMParameterHelper Param;

// The threshold of the first key, in key order, that is a whole leading segment of name.
bool matchComponent(const CThresholdMap &thresholds, const zulstring &name, uint16_t &level) {
  for (const auto &entry : thresholds) {
    const zulstring &key = entry.first;
    if (name.size() > key.size() && name[key.size()] == u'|' &&
        name.compare(0, key.size(), key) == 0) {
      level = entry.second;
      return true;
    }
  }
  return false;
}

}  // namespace

// A context that no passport made sees the global thresholds only: it takes no snapshot of the
// component thresholds.
CMTContext::CMTContext(const CProcessSettings *settings)
    : transTrace_(Param::GetEMTraceEnablingStatus()),
      instrumentThreshold_(Param::GetInstruLevelThreshold()),
      traceInstrumentThreshold_(Param::GetInstruLevelThresholdForTrace()),
      settings_(settings),
      guidPending_(true) {
  uint32_t now = TLMPlatformHelper::GetServerTime();
  created_ = now;
  lastUsed_ = now;
}

CMTContext::CMTContext(const CProcessSettings *settings, const zulstring &passport)
    : settings_(settings), passportText_(passport) {
  instrumentThreshold_ = Param::GetInstruLevelThreshold();
  setIdentity(false);
  startTransaction();
}

CMTContext::~CMTContext() {
  dropRecords();
  if (passportHandle_ != nullptr) PassportHelper::DestroyPassportHandle(passportHandle_);
}

// The stack goes first: the records it owns may hang below records of the tree.
void CMTContext::dropRecords() {
  while (!stack_.empty()) stack_.pop_back();
  rootRecord_.reset();
}

void CMTContext::reset(const zulstring &passport, const CProcessSettings *settings) {
  dropRecords();
  settings_ = settings;
  if (passportHandle_ != nullptr) PassportHelper::DestroyPassportHandle(passportHandle_);
  passportHandle_ = nullptr;
  connectionCounter_ = 0;
  outgoingConnCounter_ = 0;
  status_ = STATUS_INITIAL;
  instrumentThreshold_ = Param::GetInstruLevelThreshold();
  recordCounter_ = BASE_COUNTER;
  passportText_ = passport;
  setIdentity(true);
  contextInfo_.clear();
  startTransaction();
}

void CMTContext::newGuid() {
  traceGuid_.clear();
  guidPending_ = true;
}

// Making a GUID costs a system identifier; a context that is never traced never needs one.
const zulstring &CMTContext::getTraceGuid() const {
  if (guidPending_) {
    traceGuid_ = TLMPlatformHelper::GetGUID();
    guidPending_ = false;
  }
  return traceGuid_;
}

void CMTContext::setIdentity(bool fromReset) {
  if (Param::GetEMTraceEnablingStatus() == 1) {
    traceFlag_ = 0;
    traceLevel_ = TRACE_LEVEL_NONE;
    newGuid();
    transTrace_ = TRANS_TRACE_ON;
    traceInstrumentThreshold_ = Param::GetInstruLevelThresholdForTrace();
    if (!fromReset) DPTRC(2, tf, u"Trace is switched on due to the trace enabling from the EM\n");
    return;
  }
  if (passportText_.empty()) {
    traceFlag_ = 0;
    traceLevel_ = TRACE_LEVEL_NONE;
    newGuid();
    transTrace_ = TRANS_TRACE_OFF;
    traceInstrumentThreshold_ = Param::GetInstruLevelThreshold();
    return;
  }
  void *handle = PassportHelper::IsZULPassport(passportText_.c_str());
  if (handle == nullptr) {
    takeApplicationPassport(fromReset);
  } else {
    takeZULPassport(handle, fromReset);
  }
}

// The transaction trace follows the level: the constructor traces from level 2 on, reset from
// level 1 on.
void CMTContext::setTraceByLevel(bool fromReset) {
  bool on = fromReset ? traceLevel_ != TRACE_LEVEL_NONE : traceLevel_ > TRACE_LEVEL_LOW;
  transTrace_ = on ? TRANS_TRACE_ON : TRANS_TRACE_OFF;
  if (traceLevel_ == TRACE_LEVEL_MEDIUM) {
    traceInstrumentThreshold_ = Param::GetInstruLevelThresholdForTrace();
  } else if (traceLevel_ == TRACE_LEVEL_HIGH) {
    traceInstrumentThreshold_ = 65535;  // every record counts
  } else {
    traceInstrumentThreshold_ = Param::GetInstruLevelThreshold();
  }
}

void CMTContext::takeApplicationPassport(bool fromReset) {
  const ZUL_UTF16 *text = passportText_.c_str();
  traceFlag_ = PassportHelper::GetTraceFlagFromApplicationPassport(text);
  traceLevel_ = PassportHelper::GetTraceLevelFromTraceFlag(traceFlag_, 0);
  traceGuid_ = PassportHelper::GetTraceGuidFromApplicationPassport(text);
  guidPending_ = traceGuid_.empty();
  setTraceByLevel(fromReset);
  if (fromReset || ct_level < 2) return;
  ZUL_UTF16 line[100];
  snprintfU16(line, 100, u"Application Passport detected, level=%d, flag=%d, trace activated=%d",
              int{traceLevel_}, int{traceFlag_}, int{transTrace_.get()});
  DPTRC(2, tf, u"%s", line);
  DPTRC(2, tf, u"GUID=%s\n", getTraceGuid().c_str());
}

void CMTContext::takeZULPassport(void *handle, bool fromReset) {
  passportHandle_ = handle;
  uint8_t version = PassportHelper::GetPassportVersion(passportHandle_);
  traceFlag_ = PassportHelper::GetTraceFlagFromZULPassport(passportHandle_);
  traceLevel_ = PassportHelper::GetTraceLevelFromTraceFlag(traceFlag_, version);
  transactionId_ = PassportHelper::GetTransactionIdFromZULPassport(passportHandle_);
  if (version == 3) {
    rootContextId_ = PassportHelper::GetRootContextIdFromZULPassport(passportHandle_, version);
    connectionId_ = PassportHelper::GetConnectionIdFromZULPassport(passportHandle_, version);
    connectionCounter_ =
        PassportHelper::GetConnectionCounterFromZULPassport(passportHandle_, version);
    ZUL_UTF16 guid[80];
    snprintfU16(guid, 80, u"%s%s%8.8X", rootContextId_.c_str(), connectionId_.c_str(),
                static_cast<unsigned>(connectionCounter_));
    traceGuid_ = guid;
  } else {
    traceGuid_ = transactionId_;
  }
  guidPending_ = false;
  setTraceByLevel(fromReset);
  // With the E2E trace disabled a passport never traces; the trace threshold still follows it.
  if (Param::GetE2ETraceEnablingStatus() != 1) transTrace_ = TRANS_TRACE_OFF;
  if (!fromReset && ct_level >= 2) {
    ZUL_UTF16 line[100];
    snprintfU16(line, 100,
                u"ZUL E2E Passport detected, version=%d, level=%d, flag=%d, trace activated=%d\n",
                int{version}, int{traceLevel_}, int{traceFlag_}, int{transTrace_.get()});
    DPTRC(2, tf, u"%s", line);
    DPTRC(2, tf, u"GUID=%s\n", getTraceGuid().c_str());
  }
}

void CMTContext::startTransaction() {
  traceSize_ = 0;
  traceActive_ = true;
  // The settings are this transaction's snapshot of the component thresholds.
  hasComponentThresholds_ = !settings_->componentThresholds.empty();
  hasComponentTraceThresholds_ = !settings_->componentTraceThresholds.empty();
  previewSent_ = false;
  promotedTraceSent_ = false;
  uint32_t now = TLMPlatformHelper::GetServerTime();
  created_ = now;
  lastUsed_ = now;
}

void CMTContext::updateLastUsedTimestamp() { lastUsed_ = TLMPlatformHelper::GetServerTime(); }

// Steps 2 and 3 look at the context's own transaction trace field, not at traceSwitch.
uint16_t CMTContext::getCalculatedThresholdLevel(const zulstring &name,
                                                 uint16_t traceSwitch) const {
  uint16_t level = traceSwitch == 1 ? traceInstrumentThreshold_ : instrumentThreshold_;
  if (hasComponentTraceThresholds_ && transTrace_ != TRANS_TRACE_OFF) {
    matchComponent(settings_->componentTraceThresholds, name, level);
  } else if (hasComponentThresholds_ && transTrace_ == TRANS_TRACE_OFF) {
    matchComponent(settings_->componentThresholds, name, level);
  }
  return level;
}
