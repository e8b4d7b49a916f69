// The volatile result ring is per thread: threads that fill their rings at the same time keep
// their own results, and a thread's ring is freed when it ends.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "zul_u16conv.h"

namespace {

TEST(VolatileRingThreads, EachThreadKeepsItsOwnFortyResults) {
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &failures] {
      for (int round = 0; round < 50; ++round) {
        std::vector<ZUL_UTF16 *> results;
        std::vector<std::string> texts;
        for (int i = 0; i < 40; ++i) {
          texts.push_back("t" + std::to_string(t) + "r" + std::to_string(round) + "i" +
                          std::to_string(i) + std::string(static_cast<size_t>(i * 7), 'x'));
          results.push_back(A7sToUcsVola(texts.back().c_str()));
        }
        for (int i = 0; i < 40; ++i) {
          std::u16string expected(texts[i].begin(), texts[i].end());
          if (std::u16string(results[i]) != expected) ++failures[t];
        }
      }
    });
  }
  for (auto &th : threads) th.join();
  for (int t = 0; t < 4; ++t) EXPECT_EQ(failures[t], 0) << "thread " << t;
  EXPECT_EQ(rscpuce_thread_error_count, 0);
}

}  // namespace
