// Read-write locks that prefer writers, from a mutex and two events. A waiting writer keeps new
// readers out. Neither lock call holds the mutex while it waits, and the unlock sets its event
// after leaving the mutex.
#include "thr/thr_state.h"

int ThrRwlInit(THR_RWL *rwl) noexcept {
  int rc = ThrMtxInit(&rwl->mtx, nullptr);
  if (rc == THR_ERR_OK) rc = ThrEvtInit(&rwl->readers);
  if (rc == THR_ERR_OK) rc = ThrEvtInit(&rwl->writers);
  if (rc != THR_ERR_OK) return rc;
  rwl->state = 0;
  rwl->waiting_writers = 0;
  return THR_ERR_OK;
}

int ThrRwlDelete(THR_RWL *rwl) noexcept {
  if (!thr::InitDone()) return THR_ERR_NOT_INIT;
  ThrEvtDelete(&rwl->readers);
  ThrEvtDelete(&rwl->writers);
  return ThrMtxDelete(&rwl->mtx);
}

int ThrRwlSharedLock(THR_RWL *rwl, int32_t ms) noexcept {
  for (bool first_round = true;; first_round = false) {
    int rc = thr::MtxILock(&rwl->mtx);
    if (rc != THR_ERR_OK) return rc;
    // A reader woken by the event wakes the next sleeping reader too.
    if (!first_round) thr::EvtChangeState(&rwl->readers, 1);
    bool granted = rwl->state >= 0 && rwl->waiting_writers == 0;
    if (granted) ++rwl->state;
    rc = thr::MtxIUnlock(&rwl->mtx);
    if (rc != THR_ERR_OK || granted) return rc;
    if (ms == 0) return THR_ERR_TIMEOUT;
    rc = ThrEvtWaitReset(&rwl->readers, ms);
    if (rc != THR_ERR_OK) return rc;
  }
}

int ThrRwlExclusiveLock(THR_RWL *rwl, int32_t ms) noexcept {
  // A failed wait is remembered and makes one last attempt (ms becomes 0). When that attempt
  // gets the lock, the answer is still the wait's failure: callers must not rely on a failure
  // meaning that they do not hold the lock.
  int remembered = THR_ERR_OK;
  for (bool first_round = true;; first_round = false) {
    int rc = thr::MtxILock(&rwl->mtx);
    if (rc != THR_ERR_OK) return rc;
    if (first_round) ++rwl->waiting_writers;
    bool granted = false;
    if (rwl->state == 0) {
      --rwl->waiting_writers;
      rwl->state = -1;
      granted = true;
    } else if (ms == 0) {
      --rwl->waiting_writers;
    }
    thr::MtxIUnlock(&rwl->mtx);
    if (granted) return remembered;
    if (ms == 0) return remembered != THR_ERR_OK ? remembered : THR_ERR_TIMEOUT;
    rc = ThrEvtWaitReset(&rwl->writers, ms);
    if (rc != THR_ERR_OK) {
      remembered = rc;
      ms = 0;
    }
  }
}

int ThrRwlUnlock(THR_RWL *rwl) noexcept {
  int rc = thr::MtxILock(&rwl->mtx);
  if (rc != THR_ERR_OK) return rc;
  // A free lock (0) goes to -1 here: unlocking it leaves it held exclusively.
  if (rwl->state >= 0) {
    --rwl->state;
  } else {
    rwl->state = 0;
  }
  int32_t state = rwl->state;
  bool writers_wait = rwl->waiting_writers != 0;
  rc = thr::MtxIUnlock(&rwl->mtx);
  if (rc != THR_ERR_OK) return rc;
  if (!writers_wait) return thr::EvtChangeState(&rwl->readers, 1);
  if (state == 0) return thr::EvtChangeState(&rwl->writers, 1);
  return THR_ERR_OK;
}
