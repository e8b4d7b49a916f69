// The exported changes of the data sending interval and the instrument level thresholds, at run
// time.
#include "tlm.h"
#include "tlm/tlmapicall.h"
#include "tlm/tlmcontextcachemanager.h"
#include "tlm/tlmdispatchermanager.h"
#include "tlm/tlmmainsession.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"

using tlmapi::isStarted;
using tlmapi::run;
using tlmmain::textOf;

void TLM_changeDataSendingInterval(uint32_t seconds) noexcept {
  run(u"TLM_changeDataSendingInterval", isStarted, [=] {
    TLMParameterHelper::SetSendingInterval(seconds);
    CDispatcherManager::Instance()->refreshDataSendingInterval();
  });
}

void TLM_changeInstruLevelThreshold(uint16_t level) noexcept {
  run(u"TLM_changeInstruLevelThreshold", isStarted,
      [=] { TLMParameterHelper::SetInstruLevelThreshold(level); });
}

void TLM_changeInstruLevelThresholdForComponent(const ZUL_UTF16 *name, uint16_t level) noexcept {
  run(u"TLM_changeInstruLevelThresholdForComponent", isStarted,
      [=] { CContextCacheManager::Instance()->insertSpecMap(textOf(name), level); });
}

void TLM_changeTraceInstruLevelThresholdForComponent(const ZUL_UTF16 *name,
                                                     uint16_t level) noexcept {
  run(u"TLM_changeTraceInstruLevelThresholdForComponent", isStarted,
      [=] { CContextCacheManager::Instance()->insertTraceSpecMap(textOf(name), level); });
}
