// Eight threads create and close handles at once: no live number is handed out twice and the
// table is whole afterwards.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "ni/nixxi.h"

namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 10000;
constexpr int kTable = 64;

TEST(NiHandlesMt, CreateAndCloseNeverShareANumber) {
  ASSERT_EQ(NiInit3(kTable), ZUL_O_K);
  auto live = std::make_unique<std::atomic<int>[]>(kTable * 8);
  std::atomic<int> faults{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < kRounds; ++i) {
        NITAB *p = nullptr;
        if (NiICreateHandle(&p, NI_INITIAL_CON, nullptr) != ZUL_O_K) {
          ++faults;
          continue;
        }
        int hdl = p->handle;
        if (live[hdl].exchange(1) != 0) ++faults;
        live[hdl].store(0);
        if (NiICloseHandle(p, 1, 0) != ZUL_O_K) ++faults;
      }
    });
  for (std::thread &t : threads) t.join();
  EXPECT_EQ(faults.load(), 0);
  // Every entry can be taken once more, and then none.
  std::vector<int> seen(kTable, 0);
  for (int i = 0; i < kTable; ++i) {
    NITAB *p = nullptr;
    ASSERT_EQ(NiICreateHandle(&p, NI_INITIAL_CON, nullptr), ZUL_O_K);
    ++seen[p->handle >> 3];
  }
  for (int n : seen) EXPECT_EQ(n, 1);
  NITAB *extra = nullptr;
  EXPECT_EQ(NiICreateHandle(&extra, NI_INITIAL_CON, nullptr), NIEINVAL);
  EXPECT_EQ(NiExit(), ZUL_O_K);
}

// Polls cond for up to five seconds.
bool Eventually(const std::function<bool()> &cond) {
  for (int i = 0; i < 500 && !cond(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return cond();
}

// The last end frees the records of threads still running; a thread that ends before frees its
// own. A record left over shows as a leak when the program ends.
TEST(NiThrGlobMt, LastEndFreesTheRecordsOfAllThreads) {
  ASSERT_EQ(NiInit3(8), ZUL_O_K);
  constexpr int kLive = 4;
  std::atomic<int> ready{0};
  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < kLive; ++t)
    threads.emplace_back([&] {
      if (NiThrInit() == ZUL_O_K) ++ready;
      Eventually([&] { return go.load(); });
    });
  std::thread early([] { NiThrInit(); });
  early.join();  // its key's destructor has run
  ASSERT_TRUE(Eventually([&] { return ready.load() == kLive; }));
  EXPECT_EQ(ni::ThrGlobCount(), static_cast<size_t>(kLive));
  EXPECT_EQ(NiExit(), ZUL_O_K);
  EXPECT_EQ(ni::ThrGlobCount(), 0u);
  go = true;
  for (std::thread &t : threads) t.join();
}

}  // namespace
