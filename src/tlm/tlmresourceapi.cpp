// The application's resource reports, resource call-backs and forced metric flush.
#include "tlm.h"
#include "tlm/tlmapicall.h"
#include "tlm/tlmmtresourcerecord.h"
#include "tlm/tlmrecordsectioncachemanager.h"
#include "tlm/tlmtracesectioncachemanager.h"

namespace {

// Applies update to the named record of the active section, created when new. A null name does
// nothing.
template <typename Update>
void updateResource(const ZUL_UTF16 *function, const ZUL_UTF16 *name, Update update) noexcept {
  tlmapi::run(function, tlmapi::isSwitchedOn, [&] {
    if (name == nullptr) return;
    CRecordSectionCacheManager::Instance()->updateResource(zulstring(name), update);
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
  updateResource(u"TLM_reportResourceKPI", name,
                 [=](CMTResourceRecord &record) { record.addKpiValue(zulstring(kpiName), value); });
}

void TLM_registerResourceCallBack(uint32_t id, TLM_RESOURCE_CALLBACK function, uint32_t interval,
                                  uint32_t startSecond) noexcept {
  tlmapi::run(u"TLM_registerResourceCallBack", tlmapi::isSwitchedOn, [=] {
    if (function == nullptr) return;
    CRecordSectionCacheManager::Instance()->addCallBackFunctionPtr(id, function, interval,
                                                                   startSecond);
  });
}

void TLM_deregisterResourceCallBack(uint32_t id) noexcept {
  tlmapi::run(u"TLM_deregisterResourceCallBack", tlmapi::isSwitchedOn,
              [=] { CRecordSectionCacheManager::Instance()->removeCallBackFunctionPtr(id); });
}

void TLM_outputMetricData(void) noexcept {
  tlmapi::run(u"TLM_outputMetricData", tlmapi::isSendingConfigured, [] {
    CTraceSectionCacheManager::Instance()->processTraceData();
    CRecordSectionCacheManager::Instance()->processData();
  });
}
