// The sleeping half of the core's read-write lock.
#include "tlm/tlmlocks.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>

void CCoreRwLock::sleepOn(uint32_t seen) noexcept {
  // Returns at once when the word no longer reads seen; a signal or a spurious wake-up only
  // makes the caller look again.
  syscall(SYS_futex, reinterpret_cast<uint32_t *>(&state_), FUTEX_WAIT_PRIVATE, seen, nullptr,
          nullptr, 0);
}

void CCoreRwLock::wakeAll() noexcept {
  syscall(SYS_futex, reinterpret_cast<uint32_t *>(&state_), FUTEX_WAKE_PRIVATE, INT_MAX, nullptr,
          nullptr, 0);
}
