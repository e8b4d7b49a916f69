// The application's resource reports, resource call-backs and forced metric flush.
#define DPTRC_MODULE u"tlmmain"

#include <exception>

#include "tlm.h"
#include "tlm/tlmmtresourcerecord.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "tlm/tlmrecordsectioncachemanager.h"
#include "tlm/tlmtracesectioncachemanager.h"
#include "zul_dptrace.h"

namespace {

// The gate of every call here: the library is started and its global switch is on.
bool libraryActive() { return s_process_usage != 0 && TLMParameterHelper::GetGlobalSwitch(); }

// Runs body; an exception (the standard library's allocation failure) is traced and absorbed, so
// that none reaches the application.
template <typename Body>
void guarded(const ZUL_UTF16 *function, Body body) noexcept {
  try {
    body();
  } catch (...) {
    DPTRC_ERR(tf, u"%s: exception caught and ignored\n", function);
  }
}

// Applies update to the named resource record of the active section, when the gate is open.
template <typename Update>
void updateResource(const ZUL_UTF16 *function, const ZUL_UTF16 *name, Update update) noexcept {
  if (!libraryActive() || name == nullptr) return;
  guarded(function, [&] {
    CMTResourceRecord *record =
        CRecordSectionCacheManager::Instance()->getResourceRecordByName(zulstring(name));
    if (record != nullptr) update(*record);
  });
}

}  // namespace

void TLM_initializeResource(const ZUL_UTF16 *name, int64_t value, int32_t perInterval) noexcept {
  updateResource(u"TLM_initializeResource", name,
                 [=](CMTResourceRecord &record) { record.iniValue(value, perInterval == 0); });
}

void TLM_increaseResource(const ZUL_UTF16 *name, int64_t delta) noexcept {
  updateResource(u"TLM_increaseResource", name,
                 [=](CMTResourceRecord &record) { record.incValue(delta); });
}

void TLM_decreaseResource(const ZUL_UTF16 *name, int64_t delta) noexcept {
  updateResource(u"TLM_decreaseResource", name,
                 [=](CMTResourceRecord &record) { record.decValue(delta); });
}

void TLM_reportResource(const ZUL_UTF16 *name, int64_t value, int64_t high, int64_t low,
                        uint32_t count, int32_t perInterval) noexcept {
  updateResource(u"TLM_reportResource", name, [=](CMTResourceRecord &record) {
    record.reportValue(value, high, low, count, perInterval == 0);
  });
}

void TLM_reportResourceKPI(const ZUL_UTF16 *name, const ZUL_UTF16 *kpiName,
                           int64_t value) noexcept {
  if (kpiName == nullptr) return;
  updateResource(u"TLM_reportResourceKPI", name, [=](CMTResourceRecord &record) {
    record.addKpiValue(zulstring(kpiName), value);
  });
}

void TLM_registerResourceCallBack(uint32_t id, TLM_RESOURCE_CALLBACK function, uint32_t interval,
                                  uint32_t startSecond) noexcept {
  if (!libraryActive() || function == nullptr) return;
  guarded(u"TLM_registerResourceCallBack", [=] {
    CRecordSectionCacheManager::Instance()->addCallBackFunctionPtr(id, function, interval,
                                                                   startSecond);
  });
}

void TLM_deregisterResourceCallBack(uint32_t id) noexcept {
  if (!libraryActive()) return;
  guarded(u"TLM_deregisterResourceCallBack",
          [=] { CRecordSectionCacheManager::Instance()->removeCallBackFunctionPtr(id); });
}

void TLM_outputMetricData(void) noexcept {
  if (!libraryActive() || TLMParameterHelper::GetDataSendingInterval() == 0) return;
  guarded(u"TLM_outputMetricData", [] {
    CTraceSectionCacheManager::Instance()->processTraceData();
    CRecordSectionCacheManager::Instance()->processData();
  });
}
