// Recursive mutexes with a tag. Unlike the other primitives they lock whether the process is
// threaded or not.
#include <cstdlib>

#include "thr/thr_recursive.h"
#include "thr/thr_state.h"

int ThrRecMtxInit(THR_REC_MTX *rm, const ZUL_UTF16 *tag) noexcept {
  if (thr::InitRecursiveMutex(&rm->mutex) != 0) return THR_ERR_OS;
  rm->lock_count = 0;
  rm->owner = THR_INVALID_ID;
  rm->tag = thr::CopyTag(tag);
  return THR_ERR_OK;
}

int ThrRecMtxLock(THR_REC_MTX *rm) noexcept {
  if (pthread_mutex_lock(&rm->mutex) != 0) return THR_ERR_INVALID_PARAM;
  ++rm->lock_count;
  return THR_ERR_OK;
}

int ThrRecMtxUnlock(THR_REC_MTX *rm) noexcept {
  if (--rm->lock_count < 0)
    thr::PanicUnbalancedUnlock(u"ThrRecMtxUnlock: PANIC: #unlock > #lock, tag: \"%s\"\n", rm->tag);
  return pthread_mutex_unlock(&rm->mutex) == 0 ? THR_ERR_OK : THR_ERR_INVALID_PARAM;
}

int ThrRecMtxDelete(THR_REC_MTX *rm) noexcept {
  if (!thr::InitDone()) return THR_ERR_NOT_INIT;
  if (pthread_mutex_destroy(&rm->mutex) != 0) return THR_ERR_OS;
  std::free(rm->tag);
  rm->tag = nullptr;
  return THR_ERR_OK;
}
