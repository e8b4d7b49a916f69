// Threads for the thread layer's tests: each waits until it is released and then answers
// 100 + its number as its exit code.
#ifndef TLM_TESTS_THR_THR_TEST_WORKERS_H
#define TLM_TESTS_THR_THR_TEST_WORKERS_H

#include <sched.h>

#include <atomic>
#include <cstdint>

namespace thr_test {

struct Worker {
  int number = 0;
  std::atomic<bool> released{false};
};

inline void *WaitForRelease(void *arg) {
  auto *w = static_cast<Worker *>(arg);
  while (!w->released.load()) sched_yield();
  return reinterpret_cast<void *>(uintptr_t(100 + w->number));
}

}  // namespace thr_test

#endif  // TLM_TESTS_THR_THR_TEST_WORKERS_H
