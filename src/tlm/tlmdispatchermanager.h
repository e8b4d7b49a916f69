// The owner of the library's four background threads: two timers that tick once a second and
// raise an event at the end of their period, and two dispatchers that wait for those events and
// send. The trace dispatcher sends the trace sections; the data dispatcher runs the resource
// call-backs, sends the metric sections and does the zombie check.
#ifndef TLM_TLMDISPATCHERMANAGER_H
#define TLM_TLMDISPATCHERMANAGER_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "tlm/tlmrelaxed.h"
#include "zul_thr.h"

// Singleton, created on first use without a lock (first touched in single-threaded start-up).
//
// Life: created, initialize(), startTimer() (active), endTimer() (timers gone), checkCleanUp()
// (dispatchers told to go), release(). The flags are polled across threads, with sleeps between
// the reads; the two interval fields are read by the timers on every tick.
class CDispatcherManager {
 public:
  static CDispatcherManager *Instance();
  // Deletes the manager; after endTimer and checkCleanUp.
  static void release();

  // Copies the two intervals, makes the thread layer threaded and creates the two events.
  void initialize();
  // Sets active and starts the trace timer and dispatcher (unless the trace check interval is 0),
  // waits 200 ms, then starts the data timer and dispatcher (unless the data sending interval is
  // 0). A thread that can't be created is traced and left out.
  void startTimer();
  // Clears active, wakes the timers from their tick and waits, without a time limit, until both
  // have ended.
  void endTimer();
  // Waits, without a time limit, until no dispatcher is inside a run, then wakes both so that
  // they see active clear and end, and gives them 200 ms to do so.
  void checkCleanUp();
  // Takes the data sending interval anew; a running data timer uses it from its next tick. Starts
  // no thread: a library started with interval 0 keeps no data timer.
  void refreshDataSendingInterval();
  // Counts one data sending interval towards the zombie check; true when the check is due (and
  // the count starts again). Always false while the zombie check interval is 0.
  bool zombieCheck();

  bool isActive() const { return active_; }
  bool isDataSendingActive() const { return dataSendingActive_; }
  bool isTraceSendingActive() const { return traceSendingActive_; }
  void setDataSendingActive(bool value) { dataSendingActive_ = value; }
  void setTraceSendingActive(bool value) { traceSendingActive_ = value; }
  bool isDataTimerActive() const { return dataTimerActive_; }
  bool isTraceTimerActive() const { return traceTimerActive_; }
  void setDataTimerActive(bool value) { dataTimerActive_ = value; }
  void setTraceTimerActive(bool value) { traceTimerActive_ = value; }

  // The length of one timer tick, 1000 ms. Tests shorten it so that a period of many ticks
  // passes quickly; set it only while no timer runs.
  static void setTimerTick(uint32_t milliseconds);
  static uint32_t getTimerTick();
  // The waits of start and stop (between the two timer pairs, and for the dispatchers to go),
  // 200 ms. Tests that start and stop many times shorten them.
  static void setPhaseWait(uint32_t milliseconds) { phaseWaitMs_ = milliseconds; }

 private:
  CDispatcherManager();
  ~CDispatcherManager();
  CDispatcherManager(const CDispatcherManager &) = delete;
  CDispatcherManager &operator=(const CDispatcherManager &) = delete;

  // Thread functions. The timers get the address of their interval field.
  static void *TimerThread(void *interval);
  static void *TimerThread2(void *interval);
  static void *AgentThread(void *unused);
  static void *AgentThread2(void *unused);

  // Ticks until active falls, raising evt whenever the period that interval holds has passed.
  void runTimer(const CRelaxed<uint32_t> *interval, std::atomic<bool> &timerActive,
                THR_EVT *evt) noexcept;
  // Waits for evt and runs one sending run per wake-up until it finds active clear.
  void runDispatcher(THR_EVT *evt, std::atomic<bool> &sendingActive,
                     void (CDispatcherManager::*run)(), const ZUL_UTF16 *waitFailure) noexcept;
  // The work of one wake-up of each dispatcher, timed on its self-monitoring record.
  void sendData();
  void sendTraces();
  // Creates one thread; on success answers true and traces success, else traces failure as an
  // error. id gets the thread's id or the invalid id.
  static bool spawn(THR_START_ROUTINE start, void *arg, THR_ID &id, const ZUL_UTF16 *success,
                    const ZUL_UTF16 *failure);
  // The trace lines of the start of one timer and its dispatcher.
  struct PairTexts {
    const ZUL_UTF16 *disabled;
    const ZUL_UTF16 *timerStarted;
    const ZUL_UTF16 *timerFailed;  // traced as an error
    const ZUL_UTF16 *agentStarted;
    const ZUL_UTF16 *agentFailed;  // traced as an error
  };
  // Starts a timer and its dispatcher, or only traces that they are disabled when the interval
  // is 0.
  void startPair(THR_START_ROUTINE timer, CRelaxed<uint32_t> *interval,
                 std::atomic<bool> &timerActive, THR_ID &timerId, THR_START_ROUTINE agent,
                 THR_ID &agentId, const PairTexts &texts);
  // Waits until every dispatcher that was started has left its loop, so that its flags and the
  // events aren't freed under it; normally they have within checkCleanUp's 200 ms already.
  void waitForDispatchersToLeave();
  // Sleeps by select with no descriptors.
  static void sleepFor(uint32_t milliseconds);
  // One timer tick: false when the stop cut it short.
  bool waitTick();
  // Clears a timer's flag, the timer's last touch of the manager, and tells endTimer.
  void timerEnded(std::atomic<bool> &timerActive);

  static CDispatcherManager *m_ptDispManager;
  static THR_EVT m_evt;   // raised by the trace timer
  static THR_EVT m_evt2;  // raised by the data timer
  static std::atomic<uint32_t> timerTickMs_;
  inline static std::atomic<uint32_t> phaseWaitMs_{200};

  std::atomic<bool> active_{false};
  std::atomic<bool> dataSendingActive_{false};
  std::atomic<bool> traceSendingActive_{false};
  std::atomic<bool> dataTimerActive_{false};
  std::atomic<bool> traceTimerActive_{false};
  THR_ID dataTimerThreadId_ = THR_INVALID_ID;
  THR_ID traceTimerThreadId_ = THR_INVALID_ID;
  THR_ID dataDispatcherThreadId_ = THR_INVALID_ID;
  THR_ID traceDispatcherThreadId_ = THR_INVALID_ID;
  CRelaxed<uint32_t> traceCheckInterval_{0};   // seconds
  CRelaxed<uint32_t> dataSendingInterval_{0};  // seconds
  uint32_t zombieCheckTime_ = 0;               // seconds counted towards the next zombie check;
                                               // only the data dispatcher counts
  std::atomic<int> dispatchersInLoop_{0};      // dispatchers started and not yet leaving
  std::mutex stopLock_;                        // with stopped_, wakes timers and endTimer at once
  std::condition_variable stopped_;
  bool eventsReady_ = false;                   // initialize created the events
  bool networkInterfaceUsed_ = false;          // the socket method set it up at initialize
};

#endif  // TLM_TLMDISPATCHERMANAGER_H
