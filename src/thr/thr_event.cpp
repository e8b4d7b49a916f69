// Events: a condition variable, its mutex and a set/reset state. Setting wakes exactly one
// waiter (signal, never broadcast); ThrEvtWaitReset consumes the set state, ThrEvtWait leaves it.
#include <sys/time.h>

#include <cerrno>

#include "thr/thr_event_deadline.h"
#include "thr/thr_state.h"

namespace thr {

timespec EventDeadline(const timeval &now, int32_t ms) {
  timespec deadline;
  deadline.tv_sec = now.tv_sec + ms / 1000;
  deadline.tv_nsec = now.tv_usec * 1000 + static_cast<long>(ms % 1000) * 1000000;
  if (deadline.tv_nsec > 999999999) {
    deadline.tv_sec += 1;
    deadline.tv_nsec -= 1000000000;
  }
  return deadline;
}

}  // namespace thr

namespace {

constexpr int32_t kWaitForever = -1;

// Waits until the event is set (and resets it when asked), until the deadline passes, or only
// tests it when ms is 0. Spurious wake-ups test again and wait for the same deadline.
int WaitForEvent(THR_EVT *evt, int32_t ms, bool reset) {
  if (!thr::Threaded()) return THR_ERR_OK;
  timespec deadline = {0, 0};
  if (ms != kWaitForever && ms != 0) {
    timeval now;
    gettimeofday(&now, nullptr);
    deadline = thr::EventDeadline(now, ms);
  }
  if (pthread_mutex_lock(&evt->mutex) != 0) return THR_ERR_OS;
  int rc;
  for (;;) {
    if (evt->state == 1) {
      if (reset) evt->state = 0;
      rc = THR_ERR_OK;
      break;
    }
    if (ms == 0) {
      rc = THR_ERR_TIMEOUT;
      break;
    }
    int waited = ms == kWaitForever ? pthread_cond_wait(&evt->cond, &evt->mutex)
                                    : pthread_cond_timedwait(&evt->cond, &evt->mutex, &deadline);
    if (waited != 0) {
      rc = waited == ETIMEDOUT ? THR_ERR_TIMEOUT : THR_ERR_OS;
      break;
    }
  }
  if (pthread_mutex_unlock(&evt->mutex) != 0) rc = THR_ERR_OS;
  return rc;
}

}  // namespace

int ThrEvtInit(THR_EVT *evt) noexcept {
  if (pthread_cond_init(&evt->cond, nullptr) != 0) return THR_ERR_OS;
  if (pthread_mutex_init(&evt->mutex, nullptr) != 0) return THR_ERR_OS;
  evt->state = 0;
  return THR_ERR_OK;
}

int ThrEvtDelete(THR_EVT *evt) noexcept {
  if (!thr::InitDone()) return THR_ERR_NOT_INIT;
  if (pthread_mutex_destroy(&evt->mutex) != 0) return THR_ERR_OS;
  return pthread_cond_destroy(&evt->cond) == 0 ? THR_ERR_OK : THR_ERR_OS;
}

int ThrEvtSet(THR_EVT *evt) noexcept { return thr::EvtChangeState(evt, 1); }

int ThrEvtReset(THR_EVT *evt) noexcept { return thr::EvtChangeState(evt, 0); }

int ThrEvtWait(THR_EVT *evt, int32_t ms) noexcept { return WaitForEvent(evt, ms, false); }

int ThrEvtWaitReset(THR_EVT *evt, int32_t ms) noexcept { return WaitForEvent(evt, ms, true); }
