// Error information is per thread: threads setting errors at once see only their own, and a
// thread's record goes with the thread (LeakSanitizer checks that it is freed).
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "trace_capture.h"
#include "zul_err.h"

namespace {

using tlm_test::Utf16;

TEST(ErrThreads, EachThreadKeepsItsOwnInformation) {
  ASSERT_EQ(ErrSet(u"main", 0, u"m", 1, u"main thread", 0, nullptr), ERR_OK);
  std::atomic<int> mismatches{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &mismatches] {
      for (int i = 0; i < 200; ++i) {
        ErrSet(u"worker", t, u"m", i, u"thread %d step %d", 0, nullptr, t, i);
        std::string text = std::to_string(t) + " step " + std::to_string(i);
        std::string counter = std::to_string(i + 1);
        if (std::u16string(ErrGetFld(ERR_FLD_TEXT)) != u"thread " + Utf16(text)) ++mismatches;
        if (std::u16string(ErrGetFld(ERR_FLD_COUNTER)) != Utf16(counter)) ++mismatches;
      }
    });
  }
  for (std::thread &th : threads) th.join();
  EXPECT_EQ(mismatches.load(), 0);
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_TEXT)), u"main thread");
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_COUNTER)), u"1");
  ErrFree(nullptr);
}

}  // namespace
