// The exported changes of the data sending interval and the instrument level thresholds, at run
// time.
#include "tlm.h"
#include "tlm/tlmapicall.h"
#include "tlm/tlmdispatchermanager.h"
#include "tlm/tlmlibrary.h"
#include "tlm/tlmmainsession.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"

using tlmapi::isStarted;
using tlmapi::run;
using tlmmain::textOf;

namespace {

// Sets one component's threshold in the settings that new and reset contexts take.
void changeThreshold(CThresholdMap CProcessSettings::*map, const zulstring &name, uint16_t level) {
  CProcessSettingsHolder *settings = tlmlibrary::Settings();
  if (settings == nullptr) return;
  settings->update([&](CProcessSettings &next) { (next.*map)[name] = level; });
}

}  // namespace

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
      [=] { changeThreshold(&CProcessSettings::componentThresholds, textOf(name), level); });
}

void TLM_changeTraceInstruLevelThresholdForComponent(const ZUL_UTF16 *name,
                                                     uint16_t level) noexcept {
  run(u"TLM_changeTraceInstruLevelThresholdForComponent", isStarted,
      [=] { changeThreshold(&CProcessSettings::componentTraceThresholds, textOf(name), level); });
}
