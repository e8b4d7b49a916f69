// The process-wide store of parameters: it merges the profiles into one map and turns the text
// values into bounded numbers.
#ifndef TLM_TLMPROFILE_TLMPARAMETERLOADER_H
#define TLM_TLMPROFILE_TLMPARAMETERLOADER_H

#include <atomic>
#include <cstdint>
#include <mutex>
#include <type_traits>
#include <vector>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmprofile/tlmparameterkeys.h"
#include "tlm/tlmprofile/tlmprofile.h"

namespace tlmprofile {

// The singleton store. Instance() creates it on first use; the start-up of the library adds the
// profiles, then calls loadParameters() and convertParameters(); release() removes it at the end.
//
// The numeric fields are single words that any thread may read at any time while an update
// rewrites them: a reader sees the old or the new value, and each getter is one plain load. The
// map of text values is guarded by mapMutex_, so that a text read never meets an update half done;
// no other lock is taken, and none is held across a call out of this class.
class CParameterLoader {
 public:
  // The singleton, created on first use.
  static CParameterLoader *Instance() {
    CParameterLoader *loader = s_instance.load(std::memory_order_acquire);
    return loader != nullptr ? loader : create();
  }
  // Deletes the singleton, with its profiles; the next Instance() makes a new one.
  static void release();

  // The configuration directory handed to each profile's load().
  void setPath(const zulstring &path);
  // Appends profile and takes its ownership.
  void addProfile(CProfile *profile);

  // Loads each profile in the order of adding and merges the maps of those whose status is
  // loaded: a key new to the store is copied in whole; for a known key only the value is taken.
  void loadParameters();
  // Fills the numeric fields from the text values.
  void convertParameters();

  // The value text of name, or empty when the store doesn't have it.
  zulstring getParameterValue(const zulstring &name) const;
  // Sets the value of name and converts all parameters again. False, changing nothing, when name
  // is unknown or not dynamic.
  bool updParameterValue(const zulstring &name, const zulstring &value);
  // True when name is one of the keys the library knows (exact, case-sensitive).
  static bool isValidParameter(const zulstring &name);

  // The report of the configured values: where they came from, then one line per key.
  zulstring getActiveParamList() const;
  // Writes "Parameter Name: <name> |Parameter Value: <value>" per key to standard output.
  void printActiveParamList() const;
  // Lines that say in words which configured values switch instrumentation off (a threshold or an
  // interval of 0) and which the rules didn't read as written (not a number, so 0; or a number
  // that doesn't fit its field). Empty when there is nothing to say.
  zulstring getSwitchOffNotes() const;

  // The numbers in force, as the conversion left them.
  uint16_t getInstrumentLevelThreshold() const { return get(instrumentLevelThreshold_); }
  uint16_t getInstrumentLevelThresholdTrace() const { return get(instrumentLevelThresholdTrace_); }
  uint32_t getMaxComponentsPerTransaction() const { return get(maxComponentsPerTransaction_); }
  uint32_t getMaxComponentsPerPromotedStack() const { return get(maxComponentsPerPromotedStack_); }
  uint32_t getTraceCheckInterval() const { return get(traceCheckInterval_); }
  uint32_t getTraceSizeThreshold() const { return get(traceSizeThreshold_); }
  uint32_t getTracePreviewTimeout() const { return get(tracePreviewTimeout_); }
  uint32_t getAutoTransactionTraceThreshold() const { return get(autoTransactionTraceThreshold_); }
  uint32_t getDataSendingInterval() const { return get(dataSendingInterval_); }
  uint32_t getZombieCheckInterval() const { return get(zombieCheckInterval_); }
  uint32_t getZombieTimeout() const { return get(zombieTimeout_); }
  uint32_t getEmptyTimeout() const { return get(emptyTimeout_); }
  uint16_t getAgentType() const { return get(agentType_[0]); }
  uint16_t getAgentType2() const { return get(agentType_[1]); }
  uint16_t getAgentType3() const { return get(agentType_[2]); }
  uint16_t getAgentType4() const { return get(agentType_[3]); }
  uint16_t getAgentType5() const { return get(agentType_[4]); }
  uint16_t getAgentPort() const { return get(agentPort_[0]); }
  uint16_t getAgentPort2() const { return get(agentPort_[1]); }
  uint16_t getAgentPort3() const { return get(agentPort_[2]); }
  uint16_t getAgentPort4() const { return get(agentPort_[3]); }
  uint16_t getAgentPort5() const { return get(agentPort_[4]); }
  uint16_t getSectionCount() const { return get(sectionCount_); }
  uint32_t getLibTraceLevel() const { return get(libTraceLevel_); }
  uint16_t getContextMapBucket() const { return get(contextMapBucket_); }
  uint16_t getPerfMetricScope() const { return get(perfMetricScope_); }
  uint32_t getSkipTimesBelowThreshold() const { return get(skipTimesBelowThreshold_); }
  uint16_t getTraceEnabledViaEM() const { return get(traceEnabledViaEM_); }
  uint16_t getTraceEnabledViaE2E() const { return get(traceEnabledViaE2E_); }
  uint32_t getSocketSendTimeout() const { return get(socketSendTimeout_); }
  uint32_t getSocketRecvTimeout() const { return get(socketRecvTimeout_); }

 private:
  template <typename T>
  using Field = std::atomic<T>;

  // Starts with numbers of its own, so that a store on which nothing was loaded still answers.
  CParameterLoader();
  ~CParameterLoader();
  CParameterLoader(const CParameterLoader &) = delete;
  CParameterLoader &operator=(const CParameterLoader &) = delete;

  static CParameterLoader *create();

  template <typename T>
  static T get(const Field<T> &field) {
    return field.load(std::memory_order_relaxed);
  }
  template <typename T>
  static void set(Field<T> &field, std::type_identity_t<T> value) {
    field.store(value, std::memory_order_relaxed);
  }

  // The conversion; the caller holds mapMutex_.
  void convertLocked();

  static std::atomic<CParameterLoader *> s_instance;

  zulstring path_;
  std::vector<CProfile *> profiles_;
  ParameterMap parameters_;
  mutable std::mutex mapMutex_;  // guards path_, profiles_ and parameters_

  Field<uint16_t> instrumentLevelThreshold_;
  Field<uint16_t> instrumentLevelThresholdTrace_;
  Field<uint32_t> maxComponentsPerTransaction_;
  Field<uint32_t> maxComponentsPerPromotedStack_;
  Field<uint32_t> traceCheckInterval_;
  Field<uint32_t> traceSizeThreshold_;
  Field<uint32_t> tracePreviewTimeout_;
  Field<uint32_t> autoTransactionTraceThreshold_;
  Field<uint32_t> dataSendingInterval_;
  Field<uint32_t> zombieCheckInterval_;
  Field<uint32_t> zombieTimeout_;
  Field<uint32_t> emptyTimeout_;
  Field<uint16_t> agentType_[kAgentCount];
  Field<uint16_t> agentPort_[kAgentCount];
  Field<uint16_t> sectionCount_;
  Field<uint32_t> libTraceLevel_;
  Field<uint16_t> contextMapBucket_;
  Field<uint16_t> perfMetricScope_;
  Field<uint32_t> skipTimesBelowThreshold_;
  Field<uint16_t> traceEnabledViaEM_;
  Field<uint16_t> traceEnabledViaE2E_;
  Field<uint32_t> socketSendTimeout_;
  Field<uint32_t> socketRecvTimeout_;
};

}  // namespace tlmprofile

#endif  // TLM_TLMPROFILE_TLMPARAMETERLOADER_H
