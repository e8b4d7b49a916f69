// The one door through which the library reads and changes its configuration.
#ifndef TLM_TLMPROFILE_TLMPARAMETERHELPER_H
#define TLM_TLMPROFILE_TLMPARAMETERHELPER_H

#include <cstdint>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmprofile/tlmparameterloader.h"

// Static functions without state of their own: every read goes to the store at the time of the
// call, so a change is seen by the next read. The numeric reads are single loads, cheap enough for
// every timing call.
class TLMParameterHelper {
 public:
  TLMParameterHelper() = delete;

  // Start-up, one of three. Each adds the built-in defaults first, then its own source, loads and
  // converts.
  // tlm.conf in the directory of TLM_CONFIG, or in /usr/zul/tlm/config when that is unset or
  // empty; in the working directory when it isn't found there.
  static void LoadParameters();
  // tlm.conf in path, taken as it is, or else in the working directory.
  static void ConfigParameters(const zulstring &path);
  // count pairs from the arrays, over the defaults; no configuration directory is set.
  static void ConfigParameters(const zulstring names[], const zulstring values[], uint32_t count);
  // The start-up pairs of TLM_ProcInitWithParam: ConfigParameters with the pairs whose name and
  // value are both neither null nor empty; the others are skipped silently. More than
  // kMaxStartPairs pairs apply no configuration at all, not even the defaults. pairs may be null
  // when count is 0.
  static constexpr uint32_t kMaxStartPairs = 26;
  static void ConfigPairs(uint32_t count, const ZUL_UTF16 *pairs[][2]);

  static uint16_t GetInstruLevelThreshold() { return loader()->getInstrumentLevelThreshold(); }
  static uint16_t GetInstruLevelThresholdForTrace() {
    return loader()->getInstrumentLevelThresholdTrace();
  }
  // False when the instrument level threshold is 0: the library then does no work.
  static bool GetGlobalSwitch() { return GetInstruLevelThreshold() != 0; }
  static uint32_t GetMaxComponentsPerTransaction() {
    return loader()->getMaxComponentsPerTransaction();
  }
  static uint32_t GetMaxComponentsPerPromotedStack() {
    return loader()->getMaxComponentsPerPromotedStack();
  }
  static uint32_t GetTraceCheckInterval() { return loader()->getTraceCheckInterval(); }
  static uint32_t GetTraceSizeThreshold() { return loader()->getTraceSizeThreshold(); }
  static uint32_t GetTracePreviewTimeout() { return loader()->getTracePreviewTimeout(); }
  static uint32_t GetAutoTransactionTraceThreshold() {
    return loader()->getAutoTransactionTraceThreshold();
  }
  static uint32_t GetDataSendingInterval() { return loader()->getDataSendingInterval(); }
  static uint32_t GetZombieCheckInterval() { return loader()->getZombieCheckInterval(); }
  static uint32_t GetZombieTimeout() { return loader()->getZombieTimeout(); }
  static uint32_t GetEmptyTimeout() { return loader()->getEmptyTimeout(); }
  static uint16_t GetAgentType() { return loader()->getAgentType(); }
  static uint16_t GetAgentType2() { return loader()->getAgentType2(); }
  static uint16_t GetAgentType3() { return loader()->getAgentType3(); }
  static uint16_t GetAgentType4() { return loader()->getAgentType4(); }
  static uint16_t GetAgentType5() { return loader()->getAgentType5(); }
  static uint16_t GetAgentPort() { return loader()->getAgentPort(); }
  static uint16_t GetAgentPort2() { return loader()->getAgentPort2(); }
  static uint16_t GetAgentPort3() { return loader()->getAgentPort3(); }
  static uint16_t GetAgentPort4() { return loader()->getAgentPort4(); }
  static uint16_t GetAgentPort5() { return loader()->getAgentPort5(); }
  static uint16_t GetSectionCount() { return loader()->getSectionCount(); }
  static uint16_t GetContextMapBucket() { return loader()->getContextMapBucket(); }
  static uint16_t GetPerfMetricScope() { return loader()->getPerfMetricScope(); }
  static uint32_t GetLibTraceLevel() { return loader()->getLibTraceLevel(); }
  static uint32_t GetSkipTimesBelowThreshold() { return loader()->getSkipTimesBelowThreshold(); }
  static uint16_t GetEMTraceEnablingStatus() { return loader()->getTraceEnabledViaEM(); }
  static uint16_t GetE2ETraceEnablingStatus() { return loader()->getTraceEnabledViaE2E(); }
  static uint32_t GetSocketSendTimeout() { return loader()->getSocketSendTimeout(); }
  static uint32_t GetSocketRecvTimeout() { return loader()->getSocketRecvTimeout(); }

  // Text values; empty when the key has none.
  static zulstring GetDataSendingMethod();
  static zulstring GetLogDir();
  static zulstring GetSystemName();
  static zulstring GetAgentHost();
  static zulstring GetAgentHost2();
  static zulstring GetAgentHost3();
  static zulstring GetAgentHost4();
  static zulstring GetAgentHost5();
  static zulstring GetSpeCompNameListStr();
  static zulstring GetSpeCompLevelListStr();
  static zulstring GetSpeCompTraceLevelListStr();
  static zulstring GetSkipTimesNameListStr();
  static zulstring GetParamValue(const zulstring &name);
  // The report of the active configuration.
  static zulstring GetParameters();
  // The plain listing of names and values, to standard output.
  static void PrintParameters();

  // Changes. Each goes through UpdateParamValue, so every derived rule applies again.
  static void SetInstruLevelThreshold(uint16_t level);
  // A value below 15 becomes 15: this call can't switch sending off.
  static void SetSendingInterval(uint32_t seconds);
  // These two keys aren't dynamic: the update is refused and the calls change nothing.
  static void SetEMTraceEnablingStatus(bool enabled);
  static void SetE2ETraceEnablingStatus(bool enabled);
  // True when name exists, is dynamic and now has value.
  static bool UpdateParamValue(const zulstring &name, const zulstring &value);

  // Removes the store and its profiles.
  static void CleanUp();

 private:
  static tlmprofile::CParameterLoader *loader() { return tlmprofile::CParameterLoader::Instance(); }
};

#endif  // TLM_TLMPROFILE_TLMPARAMETERHELPER_H
