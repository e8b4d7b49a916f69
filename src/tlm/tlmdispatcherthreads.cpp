// The four background threads: the timer loop that raises an event at the end of each period,
// and the dispatcher loop that runs one sending run per event.
//
// Each thread first blocks SIGXFSZ and SIGPIPE for its whole life: it runs none of the host's code,
// and its writes fail with EFBIG or EPIPE rather than end the host.
//
// A thread ends with ThrExit, which unwinds the stack; so it is called from the thread function
// itself, outside every noexcept function and every catch-all.
#define DPTRC_MODULE u"tlmdispatcherthreads"

#include <chrono>

#include "thr/thr_sigblock.h"
#include "tlm/tlmcontextcachemanager.h"
#include "tlm/tlmdispatchermanager.h"
#include "tlm/tlmplatformhelper.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "tlm/tlmrecordsectioncachemanager.h"
#include "tlm/tlmtracesectioncachemanager.h"
#include "zul_dptrace.h"

namespace {

typedef TLMParameterHelper Param;

// Stores how long a run took, in milliseconds, as the value of one of the library's own records.
void noteSendingPerformance(const ZUL_UTF16 *record, uint32_t start) {
  const uint32_t end = TLMPlatformHelper::GetServerTime();
  const auto elapsed = static_cast<int32_t>(TLMPlatformHelper::GetServerTimeDiff(end, start));
  CRecordSectionCacheManager::Instance()->updateResource(
      record, [=](CMTResourceRecord &resource) { resource.iniValue(elapsed, true); });
}

}  // namespace

void *CDispatcherManager::TimerThread(void *interval) {
  thr::BlockHostSignalsForThisThread();
  m_ptDispManager->runTimer(static_cast<const CRelaxed<uint32_t> *>(interval),
                            m_ptDispManager->traceTimerActive_, &m_evt);
  ThrExit(0);
}

void *CDispatcherManager::TimerThread2(void *interval) {
  thr::BlockHostSignalsForThisThread();
  m_ptDispManager->runTimer(static_cast<const CRelaxed<uint32_t> *>(interval),
                            m_ptDispManager->dataTimerActive_, &m_evt2);
  ThrExit(0);
}

void *CDispatcherManager::AgentThread(void *) {
  thr::BlockHostSignalsForThisThread();
  m_ptDispManager->runDispatcher(&m_evt, m_ptDispManager->traceSendingActive_,
                                 &CDispatcherManager::sendTraces,
                                 u"ThrEvtWaitReset failed in trace dispatcher thread\n");
  ThrExit(0);
}

void *CDispatcherManager::AgentThread2(void *) {
  thr::BlockHostSignalsForThisThread();
  m_ptDispManager->runDispatcher(&m_evt2, m_ptDispManager->dataSendingActive_,
                                 &CDispatcherManager::sendData,
                                 u"ThrEvtWaitReset failed in data dispatcher thread\n");
  ThrExit(0);
}

// The interval is read on every tick, so that a new one applies at once, and the count goes on:
// a shorter interval raises the event at the first tick at which the count reaches it.
void CDispatcherManager::runTimer(const CRelaxed<uint32_t> *interval,
                                  std::atomic<bool> &timerActive, THR_EVT *evt) noexcept {
  timerActive = true;
  uint32_t counter = 1;
  while (active_) {
    if (!waitTick()) break;
    if (counter >= *interval) {
      ThrEvtSet(evt);
      counter = 1;
    } else {
      ++counter;
    }
  }
  timerEnded(timerActive);
}

bool CDispatcherManager::waitTick() {
  std::unique_lock<std::mutex> hold(stopLock_);
  return !stopped_.wait_for(hold, std::chrono::milliseconds(getTimerTick()),
                            [this] { return !active_; });
}

// Under the lock, so that endTimer, which waits under it, can't see the flag clear and go on to
// free the manager before this thread has let go of the lock.
void CDispatcherManager::timerEnded(std::atomic<bool> &timerActive) {
  std::lock_guard<std::mutex> hold(stopLock_);
  timerActive = false;
  stopped_.notify_all();
}

void CDispatcherManager::runDispatcher(THR_EVT *evt, std::atomic<bool> &sendingActive,
                                       void (CDispatcherManager::*run)(),
                                       const ZUL_UTF16 *waitFailure) noexcept {
  for (;;) {
    if (ThrEvtWaitReset(evt, -1) != THR_ERR_OK) {
      DPTRC_ERR(tf, u"%s", waitFailure);
      continue;
    }
    // Marked busy before active is tested: checkCleanUp tests busy after active fell, so either
    // it sees this run and waits for it, or this test sees active clear.
    sendingActive = true;
    if (!active_) {
      sendingActive = false;
      break;
    }
    try {
      (this->*run)();
    } catch (...) {
      DPTRC_ERR(tf, u"A sending run ended with an exception\n");
    }
    sendingActive = false;
  }
  // The last touch of the manager: its destructor may free it once this is seen.
  --dispatchersInLoop_;
}

void CDispatcherManager::sendData() {
  const uint32_t start = TLMPlatformHelper::GetServerTime();
  CRecordSectionCacheManager::Instance()->invokeCallBackFunctions();
  CRecordSectionCacheManager::Instance()->processData();
  if (zombieCheck()) {
    CContextCacheManager::Instance()->removeZombieContexts(Param::GetZombieTimeout() * 1000,
                                                           Param::GetEmptyTimeout() * 1000);
  }
  noteSendingPerformance(u"~Metric Sending Performance(ms)", start);
}

void CDispatcherManager::sendTraces() {
  const uint32_t start = TLMPlatformHelper::GetServerTime();
  CTraceSectionCacheManager::Instance()->processTraceData();
  noteSendingPerformance(u"~Trace Sending Performance(ms)", start);
}
