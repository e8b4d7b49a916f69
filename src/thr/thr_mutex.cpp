// Plain mutexes. While the process is not threaded, lock calls make no system call and answer 0.
// ThrMtxLock, ThrMtxTryLock and ThrMtxUnlock also call the critical section hooks, so that a host
// can count or check its critical sections; the I forms never do.
#include "thr/thr_state.h"

namespace {

const ZUL_UTF16 kMutexHookName[] = u"ThrMutex";

// Set during start-up; read on every lock.
THR_LOCK_HOOK lock_hook = nullptr;
THR_UNLOCK_HOOK unlock_hook = nullptr;

THR_LOCK_HOOK LockHook() { return __atomic_load_n(&lock_hook, __ATOMIC_RELAXED); }
THR_UNLOCK_HOOK UnlockHook() { return __atomic_load_n(&unlock_hook, __ATOMIC_RELAXED); }

void CallLockHook() {
  if (THR_LOCK_HOOK hook = LockHook()) hook(kMutexHookName);
}

}  // namespace

void ThrSetCriticalSectionHook(THR_LOCK_HOOK lock, THR_UNLOCK_HOOK unlock) noexcept {
  __atomic_store_n(&lock_hook, lock, __ATOMIC_RELAXED);
  __atomic_store_n(&unlock_hook, unlock, __ATOMIC_RELAXED);
}

int ThrMtxInit(THR_MTX *mtx, const ZUL_UTF16 *) noexcept {
  return pthread_mutex_init(mtx, nullptr) == 0 ? THR_ERR_OK : THR_ERR_OS;
}

int ThrMtxDelete(THR_MTX *mtx) noexcept {
  if (!thr::InitDone()) return THR_ERR_NOT_INIT;
  return pthread_mutex_destroy(mtx) == 0 ? THR_ERR_OK : THR_ERR_OS;
}

int ThrMtxILock(THR_MTX *mtx) noexcept { return thr::MtxILock(mtx); }

int ThrMtxIUnlock(THR_MTX *mtx) noexcept { return thr::MtxIUnlock(mtx); }

int ThrMtxITryLock(THR_MTX *mtx) noexcept {
  if (!thr::Threaded()) return THR_ERR_OK;
  return pthread_mutex_trylock(mtx) == 0 ? THR_ERR_OK : THR_ERR_NOT_OWNER;
}

int ThrMtxLock(THR_MTX *mtx) noexcept {
  if (!thr::Threaded()) return THR_ERR_OK;
  if (pthread_mutex_lock(mtx) != 0) return THR_ERR_OS;
  CallLockHook();
  return THR_ERR_OK;
}

int ThrMtxTryLock(THR_MTX *mtx) noexcept {
  if (!thr::Threaded()) return THR_ERR_OK;
  if (pthread_mutex_trylock(mtx) != 0) return THR_ERR_NOT_OWNER;
  CallLockHook();
  return THR_ERR_OK;
}

int ThrMtxUnlock(THR_MTX *mtx) noexcept {
  if (!thr::Threaded()) return THR_ERR_OK;
  int rc = pthread_mutex_unlock(mtx) == 0 ? THR_ERR_OK : THR_ERR_OS;
  if (THR_UNLOCK_HOOK hook = UnlockHook()) hook();
  return rc;
}
