#define DPTRC_MODULE u"tlmrecordsectioncachemanager"

#include "tlm/tlmrecordsectioncachemanager.h"

#include "tlm/tlmlocks.h"
#include "tlm/tlmmtdatasendingfileagent.h"
#include "tlm/tlmmtdatasendingsocketagent.h"
#include "tlm/tlmprocesssettings.h"
#include "tlm/tlmplatformhelper.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "zul_dptrace.h"
#include "zul_u16printf.h"

namespace {

constexpr size_t kStatisticsBufferUnits = 80;

}  // namespace

CCallBackContext::CCallBackContext()
    : function(nullptr),
      interval(0),
      nextTriggeredTime(TLMPlatformHelper::GetServerTimeInSecond()) {}

CCallBackContext::CCallBackContext(TLMResourceCallBack function, uint32_t interval,
                                   uint32_t startSecond)
    : function(function), interval(interval) {
  const uint32_t now = TLMPlatformHelper::GetServerTimeInSecond();
  if (TLMParameterHelper::GetDataSendingInterval() >= interval) {
    nextTriggeredTime = now;
    return;
  }
  const uint32_t phase = now % interval;
  const uint32_t wanted = startSecond % interval;
  nextTriggeredTime = phase > wanted ? now - phase + interval + wanted : now + wanted - phase;
}

void CRecordSectionCacheManager::initialize(const CProcessSettingsHolder *settings) {
  settings_ = settings;
  generation_.fetch_add(1, std::memory_order_relaxed);
  ring_.build(TLMParameterHelper::GetSectionCount());
  if (TLMParameterHelper::GetDataSendingMethod() == u"socket") {
    setAgent(std::make_unique<CMTDataSendingSocketAgent>());
  } else {
    setAgent(std::make_unique<CMTDataSendingFileAgent>(SettingsOf(settings)->componentName));
  }
}

CRecordSection::StatRef CRecordSectionCacheManager::getStatRecordByName(const zulstring &name,
                                                                        int32_t &version) {
  return ring_.withActive(CRecordSection::StatRef(), [&](CRecordSection &active, uint32_t now) {
    version = static_cast<int32_t>(now);
    return active.getStatRecordByName(name);
  });
}

CRecordSection::ResourceRef CRecordSectionCacheManager::getResourceRecordByName(
    const zulstring &name) {
  return ring_.withActive(CRecordSection::ResourceRef(), [&](CRecordSection &active, uint32_t) {
    return active.getResourceRecordByName(name);
  });
}

void CRecordSectionCacheManager::addCallBackFunctionPtr(uint32_t id, TLMResourceCallBack function,
                                                        uint32_t interval, uint32_t startSecond) {
  CMutexLock hold(&callBackLock_);
  callBacks_.try_emplace(id, function, interval, startSecond);
}

void CRecordSectionCacheManager::removeCallBackFunctionPtr(uint32_t id) {
  CMutexLock hold(&callBackLock_);
  callBacks_.erase(id);
}

void CRecordSectionCacheManager::invokeCallBackFunctions() {
  CMutexLock hold(&callBackLock_);
  for (auto &entry : callBacks_) {
    CCallBackContext &callBack = entry.second;
    if (TLMPlatformHelper::GetServerTimeInSecond() <= callBack.nextTriggeredTime) continue;
    try {
      callBack.function();
    } catch (...) {
      // The application's function let an exception out; the others still run.
      DPTRC_ERR(tf, u"Resource call-back %u failed with an exception\n", entry.first);
    }
    // Once, however far behind: a late run doesn't make up for the missed ones.
    callBack.nextTriggeredTime += callBack.interval;
  }
}

// The new active section is emptied under the ring lock, in constant time: its records are
// freed here afterwards, on the sending thread, and the carry-over enters them one at a time.
CRecordSection *CRecordSectionCacheManager::switchSection(Ring::Run &run) {
  CRecordSection::Detached emptied;
  CRecordSection *active = nullptr;
  CRecordSection *old = run.switchSection([] { DPTRC(3, tf, u"Start copying[lock]\n"); },
                                          [&](CRecordSection &, CRecordSection &next) {
                                            emptied = next.detachRecords();
                                            active = &next;
                                          });
  if (old == nullptr) return nullptr;
  try {
    if (!old->isStatMapEmpty()) old->copyStatData(active);
    if (!old->isResourceMapEmpty()) old->copyResourceData(active);
  } catch (...) {
    // Out of memory: what wasn't carried over is recreated by the next update.
    DPTRC_ERR(tf, u"Copying of metric records failed\n");
  }
  DPTRC(3, tf, u"End copying[unlock]\n");
  return old;
}

void CRecordSectionCacheManager::processData() noexcept {
  Ring::Run run(ring_);
  if (!run.started()) return;
  try {
    CRecordSection *sending = switchSection(run);
    if (sending != nullptr) sendSection(sending);
  } catch (...) {
    // Out of memory while building a text: the rest of the section is dropped, as with a dead
    // agent, and the section goes back into the ring all the same.
    DPTRC_ERR(tf, u"Sending of metric records failed\n");
  }
  run.finish([] { DPTRC(3, tf, u"Processing finished\n"); });
}

void CRecordSectionCacheManager::sendSection(CRecordSection *sending) {
  if ((sending->isStatMapEmpty() && sending->isResourceMapEmpty()) || agent_ == nullptr) return;
  DPTRC(3, tf, u"Performance or Resource Data Detected\n");
  // A sink that can't take data now loses this interval's content, without a message.
  if (!agent_->checkStatus()) return;
  const std::shared_ptr<const CProcessSettings> settings = SettingsOf(settings_);
  const int64_t stats = sending->sendStatData(agent_.get(), *settings);
  const int64_t resources = sending->sendResourceData(agent_.get(), *settings);
  ZUL_UTF16 statistics[kStatisticsBufferUnits];
  snprintfU16(statistics, kStatisticsBufferUnits,
              u"Performance metric# %ld sent, resource metric# %ld sent", static_cast<long>(stats),
              static_cast<long>(resources));
  DPTRC(2, tf, u"Metric sending statistics: %s\n", statistics);
  DPTRC(2, tf, u"Performance or Resource Data Sending Finished\n");
}
