// Life of the dispatcher: set-up, the start and stop of the four threads, and the zombie check's
// count. The threads' own loops are in tlmdispatcherthreads.cpp.
#include <sys/select.h>

#define DPTRC_MODULE u"tlmdispatchermanager"

#include "tlm/tlmdispatchermanager.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "zul_dptrace.h"
#include "zul_ni.h"

namespace {

typedef TLMParameterHelper Param;

// How long the flags are polled at most for dispatchers that haven't left after the wake-up.
constexpr int kDispatcherLeaveLimitMs = 5000;

bool isSocketMethod() { return Param::GetDataSendingMethod() == u"socket"; }

// The socket agent writes over the network interface, which is set up once per process before
// the first connection and taken down at the end. Its start is use-counted, so a host that uses
// the interface itself keeps its own start.
bool initNetworkInterface() { return NiInit() == ZUL_O_K; }
void exitNetworkInterface() { NiExit(); }

}  // namespace

CDispatcherManager *CDispatcherManager::m_ptDispManager = nullptr;
THR_EVT CDispatcherManager::m_evt;
THR_EVT CDispatcherManager::m_evt2;
std::atomic<uint32_t> CDispatcherManager::timerTickMs_{1000};

CDispatcherManager *CDispatcherManager::Instance() {
  if (m_ptDispManager == nullptr) m_ptDispManager = new CDispatcherManager();
  return m_ptDispManager;
}

void CDispatcherManager::release() {
  delete m_ptDispManager;
  m_ptDispManager = nullptr;
}

CDispatcherManager::CDispatcherManager() = default;

CDispatcherManager::~CDispatcherManager() {
  if (active_) active_ = false;
  waitForDispatchersToLeave();
  if (eventsReady_) {
    ThrEvtDelete(&m_evt);
    ThrEvtDelete(&m_evt2);
  }
  if (networkInterfaceUsed_) exitNetworkInterface();
  ThrProcExit();
}

void CDispatcherManager::initialize() {
  traceCheckInterval_ = Param::GetTraceCheckInterval();
  dataSendingInterval_ = Param::GetDataSendingInterval();
  // The registry's and the sections' locks and the events are real only in a threaded process.
  if (!ThrIsThreaded()) {
    ThrSharedLibraryAware();
    ThrProcInit();
  }
  // Decided once: the destructor must not read the configuration, which allocates.
  networkInterfaceUsed_ = isSocketMethod();
  if (networkInterfaceUsed_ && !initNetworkInterface()) {
    DPTRC_ERR(tf, u"NI library failed to be initilized!\n");
  }
  ThrEvtInit(&m_evt);
  ThrEvtInit(&m_evt2);
  eventsReady_ = true;
  dataTimerThreadId_ = THR_INVALID_ID;
  traceTimerThreadId_ = THR_INVALID_ID;
  dataDispatcherThreadId_ = THR_INVALID_ID;
  traceDispatcherThreadId_ = THR_INVALID_ID;
  zombieCheckTime_ = 0;
}

bool CDispatcherManager::spawn(THR_START_ROUTINE start, void *arg, THR_ID &id,
                               const ZUL_UTF16 *success, const ZUL_UTF16 *failure) {
  // Detached: nobody joins these threads, and a joinable thread that ends unjoined keeps its
  // stack for the life of the process.
  const ThrCreateAttr attributes = {THR_SCOPE_DEFAULT, THR_CREATE_DETACHED, 0};
  if (ThrCreate2(&attributes, start, arg, &id) != THR_ERR_OK || ThrIdEqual(id, THR_INVALID_ID)) {
    DPTRC_ERR(tf, u"%s", failure);
    return false;
  }
  DPTRC(1, tf, u"%s", success);
  return true;
}

void CDispatcherManager::startPair(THR_START_ROUTINE timer, CRelaxed<uint32_t> *interval,
                                   std::atomic<bool> &timerActive, THR_ID &timerId,
                                   THR_START_ROUTINE agent, THR_ID &agentId,
                                   const PairTexts &texts) {
  if (*interval == 0) {
    DPTRC(1, tf, u"%s", texts.disabled);
    return;
  }
  // Marked before the thread runs, so that an endTimer right after this waits for it too.
  timerActive = true;
  if (!spawn(timer, interval, timerId, texts.timerStarted, texts.timerFailed)) timerActive = false;
  ++dispatchersInLoop_;
  if (!spawn(agent, nullptr, agentId, texts.agentStarted, texts.agentFailed)) --dispatchersInLoop_;
}

void CDispatcherManager::startTimer() {
  static constexpr PairTexts kTrace = {
      u"TLM trace timer is disabled since the interval is set to 0\n",
      u"TLM trace timer thread is successfully triggered\n",
      u"TLM library failed to spawn the trace timer thread\n",
      u"Trace dispatcher thread is successfully triggered\n",
      u"TLM library failed to spawn the trace dispatcher thread\n",
  };
  static constexpr PairTexts kData = {
      u"TLM data timer is disabled since the interval is set to 0\n",
      u"TLM data timer thread is successfully triggered\n",
      u"TLM library failed to spawn the data timer thread\n",
      u"Data dispatcher thread is successfully triggered\n",
      u"TLM library failed to spawn the data dispatcher thread\n",
  };
  active_ = true;
  startPair(TimerThread, &traceCheckInterval_, traceTimerActive_, traceTimerThreadId_, AgentThread,
            traceDispatcherThreadId_, kTrace);
  sleepFor(phaseWaitMs_);
  startPair(TimerThread2, &dataSendingInterval_, dataTimerActive_, dataTimerThreadId_, AgentThread2,
            dataDispatcherThreadId_, kData);
}

void CDispatcherManager::endTimer() {
  std::unique_lock<std::mutex> hold(stopLock_);
  active_ = false;
  stopped_.notify_all();
  stopped_.wait(hold, [this] { return !dataTimerActive_ && !traceTimerActive_; });
  hold.unlock();
  DPTRC(1, tf, u"Timer threads are successfully finished\n");
}

void CDispatcherManager::checkCleanUp() {
  while (dataSendingActive_ || traceSendingActive_) sleepFor(100);
  ThrEvtSet(&m_evt);
  ThrEvtSet(&m_evt2);
  DPTRC(1, tf, u"Data sending threads are successfully finished\n");
  sleepFor(phaseWaitMs_);
}

void CDispatcherManager::waitForDispatchersToLeave() {
  for (int waited = 0; dispatchersInLoop_ > 0 && waited < kDispatcherLeaveLimitMs; waited += 10) {
    sleepFor(10);
  }
}

void CDispatcherManager::refreshDataSendingInterval() {
  dataSendingInterval_ = Param::GetDataSendingInterval();
}

bool CDispatcherManager::zombieCheck() {
  const uint32_t checkInterval = Param::GetZombieCheckInterval();
  if (checkInterval == 0) return false;
  zombieCheckTime_ += dataSendingInterval_;
  if (zombieCheckTime_ < checkInterval) return false;
  zombieCheckTime_ = 0;
  return true;
}

void CDispatcherManager::sleepFor(uint32_t milliseconds) {
  timeval wait = {static_cast<time_t>(milliseconds / 1000),
                  static_cast<suseconds_t>(milliseconds % 1000 * 1000)};
  select(0, nullptr, nullptr, nullptr, &wait);
}

void CDispatcherManager::setTimerTick(uint32_t milliseconds) { timerTickMs_ = milliseconds; }

uint32_t CDispatcherManager::getTimerTick() { return timerTickMs_; }
