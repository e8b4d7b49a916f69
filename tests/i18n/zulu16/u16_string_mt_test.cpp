// The reentrant functions run in many threads at once: tokenising with strtok_rU16, and ecvtU16
// with its buffer per thread.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "zul_u16string.h"

namespace {

std::u16string W(const std::string &text) { return std::u16string(text.begin(), text.end()); }

TEST(U16StringThreads, ReentrantFunctionsKeepTheirStatePerCaller) {
  constexpr int kThreads = 4;
  std::vector<int> failures(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      const std::u16string want_digits = W(std::to_string(t + 1) + "00");
      for (int round = 0; round < 500; ++round) {
        std::u16string own = W("alpha beta gamma delta");
        ZUL_UTF16 *save = nullptr;
        int tokens = 0;
        for (ZUL_UTF16 *tok = strtok_rU16(own.data(), u" ", &save); tok != nullptr;
             tok = strtok_rU16(nullptr, u" ", &save))
          ++tokens;
        int decpt = 0, sign = 0;
        if (tokens != 4 || std::u16string(ecvtU16(t + 1.0, 3, &decpt, &sign)) != want_digits)
          ++failures[t];
      }
    });
  }
  for (auto &th : threads) th.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(failures[t], 0) << "thread " << t;
}

}  // namespace
