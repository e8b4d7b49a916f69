// The owner of the library's background threads: the trace and data timers and the two
// dispatchers that send traces and metrics and run the zombie check.
#ifndef TLM_TLMDISPATCHERMANAGER_H
#define TLM_TLMDISPATCHERMANAGER_H

#include <cstdint>

// Singleton, created on first use without a lock.
//
// Stand-in: the lifecycle calls it at the points where the threads start and stop, but the
// threads themselves belong to the dispatcher proper, which takes over this class. Until then
// nothing is sent in the background: metrics and traces leave only through TLM_outputMetricData
// and the last flush of TLM_ProcExit.
class CDispatcherManager {
 public:
  static CDispatcherManager *Instance();
  static void release();

  // Copies the trace check and data sending intervals and makes the thread layer threaded.
  void initialize();
  // Starts the timer and dispatcher threads.
  void startTimer();
  // Stops the timers and waits until they have ended.
  void endTimer();
  // Waits until the dispatchers have finished a run under way.
  void checkCleanUp();
  // Takes the data sending interval anew.
  void refreshDataSendingInterval();
  // True when the threads should run.
  bool isActive() const { return active_; }

 private:
  CDispatcherManager() = default;
  ~CDispatcherManager() = default;
  CDispatcherManager(const CDispatcherManager &) = delete;
  CDispatcherManager &operator=(const CDispatcherManager &) = delete;

  static CDispatcherManager *instance_;

  bool active_ = false;
  uint32_t traceCheckInterval_ = 0;
  uint32_t dataSendingInterval_ = 0;
};

#endif  // TLM_TLMDISPATCHERMANAGER_H
