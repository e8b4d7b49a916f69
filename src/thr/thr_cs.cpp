// Critical sections: recursive mutexes that zeroed memory makes ready for lazy creation. The
// eyecatcher tells a created section; it is written under the static creation mutex and read
// without it, hence atomically.
#include <cstdlib>

#include "thr/thr_recursive.h"
#include "thr/thr_state.h"

namespace {

// Serialises creation and deletion, so that threads racing on a zeroed section create it once.
pthread_mutex_t creation_mutex = PTHREAD_MUTEX_INITIALIZER;

bool Created(const THR_CS *cs) {
  return __atomic_load_n(&cs->eyecatcher, __ATOMIC_ACQUIRE) == THR_CS_EYECATCHER;
}

void SetEyecatcher(THR_CS *cs, uint32_t value) {
  __atomic_store_n(&cs->eyecatcher, value, __ATOMIC_RELEASE);
}

}  // namespace

int ThrCSInit2(THR_CS *cs, const ZUL_UTF16 *tag) noexcept {
  if (!thr::InitDone()) ThrIProcInit();
  if (pthread_mutex_lock(&creation_mutex) != 0) return THR_ERR_OS;
  int rc = THR_ERR_EXISTS;
  if (!Created(cs)) {
    rc = THR_ERR_OS;
    if (thr::InitRecursiveMutex(&cs->mutex) == 0) {
      cs->lock_count = 0;
      cs->owner = THR_INVALID_ID;
      cs->tag = thr::CopyTag(tag);
      SetEyecatcher(cs, THR_CS_EYECATCHER);
      rc = THR_ERR_OK;
    }
  }
  pthread_mutex_unlock(&creation_mutex);
  return rc;
}

int ThrCSLock(THR_CS *cs) noexcept {
  if (!thr::InitDone()) ThrIProcInit();
  if (!thr::Threaded()) return THR_ERR_OK;
  if (!Created(cs)) {
    ThrCSInit2(cs, nullptr);
    if (!Created(cs)) return THR_ERR_INTERNAL;
  }
  if (pthread_mutex_lock(&cs->mutex) != 0) return THR_ERR_INVALID_PARAM;
  ++cs->lock_count;
  return THR_ERR_OK;
}

int ThrCSUnlock(THR_CS *cs) noexcept {
  if (!thr::InitDone()) return THR_ERR_NOT_INIT;
  if (!thr::Threaded()) return THR_ERR_OK;
  if (!Created(cs)) return THR_ERR_NOT_INIT;
  if (--cs->lock_count < 0)
    thr::PanicUnbalancedUnlock(u"ThrCSUnlock: PANIC: #unlock > #lock, tag: \"%s\"\n", cs->tag);
  return pthread_mutex_unlock(&cs->mutex) == 0 ? THR_ERR_OK : THR_ERR_INVALID_PARAM;
}

int ThrCSDelete(THR_CS *cs) noexcept {
  if (!thr::InitDone()) return THR_ERR_NOT_INIT;
  if (!thr::Threaded()) return THR_ERR_OK;
  if (!Created(cs)) return THR_ERR_NOT_INIT;
  if (pthread_mutex_lock(&creation_mutex) != 0) return THR_ERR_OS;
  int rc = THR_ERR_OS;
  if (pthread_mutex_destroy(&cs->mutex) == 0) {
    SetEyecatcher(cs, 0);
    std::free(cs->tag);
    cs->tag = nullptr;
    rc = THR_ERR_OK;
  }
  pthread_mutex_unlock(&creation_mutex);
  return rc;
}
