// The reentrant functions run in many threads at once: tokenising with strtok_rU16, ecvtU16 with
// its buffer per thread, and the scans over shared read-only text.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "zul_u16string.h"

namespace {

std::u16string W(const std::string &text) { return std::u16string(text.begin(), text.end()); }

TEST(U16StringThreads, ReentrantFunctionsKeepTheirStatePerCaller) {
  const std::u16string shared = W("alpha beta gamma delta");
  constexpr int kThreads = 4;
  std::vector<int> failures(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 500; ++round) {
        std::u16string own = shared;
        ZUL_UTF16 *save = nullptr;
        int tokens = 0;
        const std::u16string blank = W(" ");
        for (ZUL_UTF16 *tok = strtok_rU16(own.data(), blank.c_str(), &save); tok != nullptr;
             tok = strtok_rU16(nullptr, blank.c_str(), &save))
          ++tokens;
        int decpt = 0, sign = 0;
        ZUL_UTF16 *digits = ecvtU16(t + 1.0, 3, &decpt, &sign);
        std::u16string want = W(std::to_string(t + 1) + "00");
        if (tokens != 4 || std::u16string(digits) != want || strlenU16(shared.c_str()) != 22)
          ++failures[t];
      }
    });
  }
  for (auto &th : threads) th.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(failures[t], 0) << "thread " << t;
}

}  // namespace
