// Counted buffers shared between threads: references taken and dropped from eight threads at once
// leave the heap total where it started.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "ni/nibuf.h"
#include "zul_thr.h"

namespace {

TEST(NiBufMt, DupAndFreeFromEightThreads) {
  ASSERT_EQ(ThrProcInit(), 0);  // the buffers' locks lock only in a threaded process
  ASSERT_EQ(NiInit3(16), ZUL_O_K);
  const uint64_t start = ni::buf::HeapInUse();
  NIBUF *shared = nullptr;
  ASSERT_EQ(NiBufAlloc(&shared, 4096, "shared"), ZUL_O_K);
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([shared] {
      for (int i = 0; i < 2000; ++i) {
        NIBUF *ref = nullptr, *ref2 = nullptr;
        if (NiBufDup(&ref, shared) != ZUL_O_K || NiBufDup(&ref2, ref) != ZUL_O_K) return;
        NiBufFree(&ref);
        NIBUF *own = nullptr;
        NiBufAlloc(&own, 64, "own");
        NiBufFree(&own);
        NiBufFree(&ref2);
      }
    });
  }
  for (auto &t : threads) t.join();
  EXPECT_EQ(shared->refcount, 1u);
  NiBufFree(&shared);
  EXPECT_EQ(ni::buf::HeapInUse(), start);
  NiExit();
}

}  // namespace
