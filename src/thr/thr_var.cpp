// Guarded 64-bit counters: the kernel's only atomic arithmetic, done under the counters mutex
// while threaded (its lock result is not examined) rather than with processor atomics.
#include "thr/thr_state.h"

namespace {

template <typename Change>
int64_t Guarded(Change change) {
  bool threaded = thr::Threaded();
  if (threaded) pthread_mutex_lock(&thr::counters_mutex);
  int64_t value = change();
  if (threaded) pthread_mutex_unlock(&thr::counters_mutex);
  return value;
}

}  // namespace

int64_t ThrVarIncrement(int64_t *var) noexcept {
  return Guarded([var] { return ++*var; });
}

int64_t ThrVarDecrement(int64_t *var) noexcept {
  return Guarded([var] { return --*var; });
}

int64_t ThrVarSet(int64_t *var, int64_t value) noexcept {
  return Guarded([var, value] { return *var = value; });
}
