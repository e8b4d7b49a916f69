#define DPTRC_MODULE u"tlmrecordsectioncachemanager"

#include "tlm/tlmrecordsectioncachemanager.h"

#include "tlm/tlmlocks.h"
#include "tlm/tlmmtdatasendingfileagent.h"
#include "tlm/tlmmtdatasendingsocketagent.h"
#include "tlm/tlmplatformhelper.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "tlm/tlmrecordsection.h"
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

CRecordSectionCacheManager *CRecordSectionCacheManager::instance_ = nullptr;

CRecordSectionCacheManager *CRecordSectionCacheManager::Instance() {
  if (instance_ == nullptr) instance_ = new CRecordSectionCacheManager();
  return instance_;
}

void CRecordSectionCacheManager::release() {
  delete instance_;
  instance_ = nullptr;
}

CRecordSectionCacheManager::CRecordSectionCacheManager() {
  ThrMtxInit(&processLock_, nullptr);
  ThrMtxInit(&callBackLock_, nullptr);
}

CRecordSectionCacheManager::~CRecordSectionCacheManager() {
  for (CRecordSection *section : ring_) delete section;
  delete agent_;
  ThrMtxDelete(&callBackLock_);
  ThrMtxDelete(&processLock_);
}

void CRecordSectionCacheManager::initialize() {
  const uint16_t count = TLMParameterHelper::GetSectionCount();
  for (uint16_t id = 1; id <= count; ++id) ring_.push_back(new CRecordSection(id));
  if (TLMParameterHelper::GetDataSendingMethod() == u"socket") {
    setAgent(new CMTDataSendingSocketAgent());
  } else {
    setAgent(new CMTDataSendingFileAgent());
  }
}

CMTStatRecord *CRecordSectionCacheManager::getStatRecordByName(const zulstring &name,
                                                               int32_t &version) {
  CSharedLock hold(&ringLock_);
  version = static_cast<int32_t>(getVersion());
  return ring_.empty() ? nullptr : ring_.front()->getStatRecordByName(name);
}

CMTResourceRecord *CRecordSectionCacheManager::getResourceRecordByName(const zulstring &name) {
  CSharedLock hold(&ringLock_);
  return ring_.empty() ? nullptr : ring_.front()->getResourceRecordByName(name);
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

CRecordSection *CRecordSectionCacheManager::switchSection() {
  CRecordSection *old = nullptr;
  CRecordSection *active = nullptr;
  {
    CExclusiveLock hold(&ringLock_);
    version_.store(getVersion() + 1, std::memory_order_relaxed);
    DPTRC(3, tf, u"Start copying[lock]\n");
    // The ring has at least two sections; one is out only during a run, which is single.
    if (ring_.size() < 2) return nullptr;
    old = ring_.front();
    ring_.pop_front();
    active = ring_.front();
    active->resetSection();
  }
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

bool CRecordSectionCacheManager::setInProcessStatus() {
  CMutexLock hold(&processLock_);
  if (inProcess_) return false;
  inProcess_ = true;
  return true;
}

void CRecordSectionCacheManager::resetInProcessStatus() {
  CMutexLock hold(&processLock_);
  inProcess_ = false;
}

void CRecordSectionCacheManager::processData() {
  if (!setInProcessStatus()) return;
  CRecordSection *sending = switchSection();
  if (sending == nullptr) {
    resetInProcessStatus();
    return;
  }
  try {
    sendSection(sending);
  } catch (...) {
    // Out of memory while building a text: the rest of the section is dropped, as with a dead
    // agent, and the section goes back into the ring all the same.
    DPTRC_ERR(tf, u"Sending of metric records failed\n");
  }
  CExclusiveLock hold(&ringLock_);
  ring_.push_back(sending);
  DPTRC(3, tf, u"Processing finished\n");
  resetInProcessStatus();
}

void CRecordSectionCacheManager::sendSection(CRecordSection *sending) {
  if ((sending->isStatMapEmpty() && sending->isResourceMapEmpty()) || agent_ == nullptr) return;
  DPTRC(3, tf, u"Performance or Resource Data Detected\n");
  // A sink that can't take data now loses this interval's content, without a message.
  if (!agent_->checkStatus()) return;
  const int64_t stats = sending->sendStatData(agent_);
  const int64_t resources = sending->sendResourceData(agent_);
  ZUL_UTF16 statistics[kStatisticsBufferUnits];
  snprintfU16(statistics, kStatisticsBufferUnits,
              u"Performance metric# %ld sent, resource metric# %ld sent", static_cast<long>(stats),
              static_cast<long>(resources));
  DPTRC(2, tf, u"Metric sending statistics: %s\n", statistics);
  DPTRC(2, tf, u"Performance or Resource Data Sending Finished\n");
}

void CRecordSectionCacheManager::setAgent(CMTDataSendingAgent *agent) {
  delete agent_;
  agent_ = agent;
}

size_t CRecordSectionCacheManager::getRingSize() {
  CSharedLock hold(&ringLock_);
  return ring_.size();
}
