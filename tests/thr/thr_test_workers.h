// Threads for the thread layer's tests.
#ifndef TLM_TESTS_THR_THR_TEST_WORKERS_H
#define TLM_TESTS_THR_THR_TEST_WORKERS_H

#include <sched.h>

#include "zul_thr.h"

namespace thr_test {

// A thread that waits until it is released and then answers 100 + its number as its exit code.
struct Worker {
  int number = 0;
  std::atomic<bool> released{false};
};

inline void *WaitForRelease(void *arg) {
  auto *w = static_cast<Worker *>(arg);
  while (!w->released.load()) sched_yield();
  return reinterpret_cast<void *>(uintptr_t(100 + w->number));
}

// Starts the layer and runs body(i) on kThreads threads that start together.
constexpr int kThreads = 8;
template <typename Body>
void RunThreads(Body body) {
  ASSERT_EQ(ThrProcInit(), THR_ERR_OK);
  std::atomic<int> ready{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&, i] {
      for (++ready; ready != kThreads;) std::this_thread::yield();
      body(i);
    });
  for (auto &t : threads) t.join();
}

}  // namespace thr_test

#endif  // TLM_TESTS_THR_THR_TEST_WORKERS_H
