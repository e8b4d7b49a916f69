// DpLock: the trace's one recursive mutex, shared by the writers and the component table. It is
// created on first use, so that trace statements work before any start-up call.
#include <pthread.h>

#include <atomic>

#include "trace/ctrc_state.h"
#include "zul_dptrace.h"

namespace {

THR_REC_MTX trace_mutex;
pthread_once_t trace_mutex_once = PTHREAD_ONCE_INIT;

// Set before the lock is taken and cleared before it is released, so it is read and written by
// threads that don't hold the mutex.
std::atomic<int> recursion_indicator{0};

std::atomic<THR_LOCK_HOOK> lock_hook{nullptr};
std::atomic<THR_UNLOCK_HOOK> unlock_hook{nullptr};

void CreateMutex() { ThrRecMtxInit(&trace_mutex, u"dptrace"); }

void EnsureMutex() { pthread_once(&trace_mutex_once, CreateMutex); }

}  // namespace

int CTrcInitLib(void) noexcept {
  EnsureMutex();
  return 0;
}

void DpLock(void) noexcept {
  if (THR_LOCK_HOOK hook = lock_hook.load(std::memory_order_acquire)) hook(u"DpTrcLock");
  recursion_indicator.store(1, std::memory_order_relaxed);
  EnsureMutex();
  ThrRecMtxLock(&trace_mutex);
  recursion_indicator.store(1, std::memory_order_relaxed);
}

void DpUnlock(void) noexcept {
  if (THR_UNLOCK_HOOK hook = unlock_hook.load(std::memory_order_acquire)) hook();
  recursion_indicator.store(0, std::memory_order_relaxed);
  ThrRecMtxUnlock(&trace_mutex);
}

void DpTrcSetCriticalSectionHook(THR_LOCK_HOOK lock, THR_UNLOCK_HOOK unlock) noexcept {
  lock_hook.store(lock, std::memory_order_release);
  unlock_hook.store(unlock, std::memory_order_release);
}

int DpTrcGetRecursionCount(void) noexcept {
  return recursion_indicator.load(std::memory_order_relaxed);
}

namespace ctrc {

Lock::Lock() { DpLock(); }
Lock::~Lock() { DpUnlock(); }

}  // namespace ctrc
