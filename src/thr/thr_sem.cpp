// Counting semaphores from a mutex, an event and a count. Units are taken one at a time, without
// time-out. The mutex is never held while waiting; the event's own mutex is taken inside it.
#include "thr/thr_state.h"

int ThrSemInit(THR_SEM *sem, uint32_t count, const ZUL_UTF16 *tag) noexcept {
  int rc = ThrMtxInit(&sem->mtx, tag);
  if (rc != THR_ERR_OK) return rc;
  rc = ThrEvtInit(&sem->evt);
  if (rc != THR_ERR_OK) return rc;
  sem->count = count;
  return THR_ERR_OK;
}

int ThrSemDelete(THR_SEM *sem) noexcept {
  if (!thr::InitDone()) return THR_ERR_NOT_INIT;
  ThrEvtDelete(&sem->evt);
  return ThrMtxDelete(&sem->mtx);
}

int ThrSemDown(THR_SEM *sem, uint32_t n) noexcept {
  if (n != 1) return THR_ERR_NOT_SUPPORTED;
  int rc = ThrMtxILock(&sem->mtx);
  if (rc != THR_ERR_OK) return rc;
  while (sem->count == 0) {
    ThrMtxIUnlock(&sem->mtx);
    rc = ThrEvtWaitReset(&sem->evt, -1);
    if (rc != THR_ERR_OK) return rc;
    rc = ThrMtxILock(&sem->mtx);
    if (rc != THR_ERR_OK) return rc;
    // One set wakes one waiter: pass the wake-up on while units are left for others.
    if (sem->count >= 2) ThrEvtSet(&sem->evt);
  }
  --sem->count;
  return ThrMtxIUnlock(&sem->mtx);
}

int ThrSemUp(THR_SEM *sem, uint32_t n) noexcept {
  int rc = ThrMtxILock(&sem->mtx);
  if (rc != THR_ERR_OK) return rc;
  ThrEvtSet(&sem->evt);
  sem->count += n;
  return ThrMtxIUnlock(&sem->mtx);
}
