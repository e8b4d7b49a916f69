// The application's string values: one string event each, sent with the traces.
#include "tlm.h"
#include "tlm/tlmapicall.h"
#include "tlm/tlmmainsession.h"
#include "tlm/tlmrecordsectioncachemanager.h"
#include "tlm/tlmtracesectioncachemanager.h"

void TLM_setStringValue(const ZUL_UTF16 *subPath, const ZUL_UTF16 *name,
                        const ZUL_UTF16 *value) noexcept {
  tlmapi::run(u"TLM_setStringValue", tlmapi::isSendingConfigured, [=] {
    CTraceSectionCacheManager *traces = CTraceSectionCacheManager::Instance();
    traces->addTransTraceString(traces->buildSetStringData(
        tlmmain::textOf(subPath), tlmmain::textOf(name), tlmmain::textOf(value)));
    // The event waits for the next trace run; the run that follows here is the metrics'.
    CRecordSectionCacheManager::Instance()->processData();
  });
}
