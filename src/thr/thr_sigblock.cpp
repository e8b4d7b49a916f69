// SIGXFSZ and SIGPIPE blocked around the library's own writes.
#include "thr/thr_sigblock.h"

#include <pthread.h>

#include <cerrno>
#include <ctime>

namespace thr {

namespace {

constexpr int kHostSignals[] = {SIGXFSZ, SIGPIPE};

// Open scopes on this thread; only the outermost changes the mask.
thread_local int scope_depth = 0;
// Set by BlockHostSignalsForThisThread: the scopes have nothing to do.
thread_local bool blocked_for_life = false;

sigset_t HostSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (int signal : kHostSignals) sigaddset(&signals, signal);
  return signals;
}

}  // namespace

ScopedSignalBlock::ScopedSignalBlock() noexcept {
  if (blocked_for_life) return;
  nested_ = true;
  if (scope_depth++ > 0) return;
  const int saved_errno = errno;
  const sigset_t signals = HostSignals();
  sigset_t previous;
  if (pthread_sigmask(SIG_BLOCK, &signals, &previous) == 0) {
    blocked_ = true;
    bool blocked_before = false;
    for (int signal : kHostSignals) blocked_before |= sigismember(&previous, signal) == 1;
    // Only a blocked signal can be pending: one that isn't is delivered at once. So the host's
    // pending instances need looking for only when the host had blocked one of the two.
    sigset_t pending;
    sigemptyset(&pending);
    if (blocked_before) sigpending(&pending);
    sigemptyset(&unblock_);
    sigemptyset(&consume_);
    for (int signal : kHostSignals) {
      if (sigismember(&previous, signal) != 1) sigaddset(&unblock_, signal);
      if (sigismember(&pending, signal) != 1) sigaddset(&consume_, signal);
    }
  }
  errno = saved_errno;
}

ScopedSignalBlock::~ScopedSignalBlock() {
  if (nested_) --scope_depth;
  if (!blocked_) return;
  const int saved_errno = errno;
  // A SIGXFSZ or SIGPIPE that a write raised while blocked stays pending for this thread, and
  // unblocking would deliver it at once: the very end of the host that the block is there to
  // prevent. So each new instance is taken off first; a wait with a zero time-out consumes one, or
  // answers EAGAIN at once when none is pending. A signal that was pending before the scope is
  // left alone: it is the host's, and a new instance merged into it, as plain signals don't queue.
  // A process-directed instance sent by someone else during the scope is consumed too, but it can
  // only stay pending while every thread of the process blocks it.
  if (!sigisemptyset(&consume_)) {
    const timespec no_wait = {0, 0};
    // At most one instance of each signal pends for the thread and one for the process.
    for (int round = 0; round < 4; ++round) {
      if (sigtimedwait(&consume_, nullptr, &no_wait) < 0 && errno != EINTR) break;
    }
  }
  if (!sigisemptyset(&unblock_)) pthread_sigmask(SIG_UNBLOCK, &unblock_, nullptr);
  errno = saved_errno;
}

void BlockHostSignalsForThisThread() noexcept {
  const sigset_t signals = HostSignals();
  if (pthread_sigmask(SIG_BLOCK, &signals, nullptr) == 0) blocked_for_life = true;
}

}  // namespace thr
