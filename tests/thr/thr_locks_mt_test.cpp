#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "zul_thr.h"

namespace {

constexpr int kThreads = 8;

class ThrLocksConcurrency : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(ThrProcInit(), THR_ERR_OK); }

  template <typename Body>
  static void RunThreads(int n, Body body) {
    std::vector<std::thread> threads;
    for (int i = 0; i < n; ++i) threads.emplace_back(body, i);
    for (auto &t : threads) t.join();
  }
};

TEST_F(ThrLocksConcurrency, MutexKeepsACounterExact) {
  THR_MTX mtx;
  ASSERT_EQ(ThrMtxInit(&mtx, nullptr), THR_ERR_OK);
  long counter = 0;
  RunThreads(kThreads, [&](int) {
    for (int i = 0; i < 20000; ++i) {
      ThrMtxLock(&mtx);
      ++counter;
      ThrMtxUnlock(&mtx);
    }
  });
  EXPECT_EQ(counter, kThreads * 20000L);
  EXPECT_EQ(ThrMtxDelete(&mtx), THR_ERR_OK);
}

// All threads start on the same zeroed section: it is created once and excludes them all.
THR_CS zeroed_section;

TEST_F(ThrLocksConcurrency, RacingLocksOnAZeroedSectionCreateItOnce) {
  long counter = 0;
  std::atomic<int> ready{0};
  std::atomic<int> failures{0};
  RunThreads(kThreads, [&](int) {
    ++ready;
    while (ready != kThreads) std::this_thread::yield();
    for (int i = 0; i < 20000; ++i) {
      if (ThrCSLock(&zeroed_section) != THR_ERR_OK) ++failures;
      ThrCSLock(&zeroed_section);  // recursive
      ++counter;
      ThrCSUnlock(&zeroed_section);
      ThrCSUnlock(&zeroed_section);
    }
  });
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(counter, kThreads * 20000L);
  EXPECT_EQ(zeroed_section.lock_count, 0);
  EXPECT_EQ(ThrCSDelete(&zeroed_section), THR_ERR_OK);
}

TEST_F(ThrLocksConcurrency, RecursiveMutexAndCountersStayExact) {
  THR_REC_MTX rm;
  ASSERT_EQ(ThrRecMtxInit(&rm, u"counter"), THR_ERR_OK);
  long counter = 0;
  int64_t var = 0;
  RunThreads(kThreads, [&](int) {
    for (int i = 0; i < 10000; ++i) {
      ThrRecMtxLock(&rm);
      ThrRecMtxLock(&rm);
      ++counter;
      ThrRecMtxUnlock(&rm);
      ThrRecMtxUnlock(&rm);
      ThrVarIncrement(&var);
      ThrVarIncrement(&var);
      ThrVarDecrement(&var);
    }
  });
  EXPECT_EQ(counter, kThreads * 10000L);
  EXPECT_EQ(var, kThreads * 10000L);
  EXPECT_EQ(ThrRecMtxDelete(&rm), THR_ERR_OK);
}

// Writers change two values together; readers see them equal, and nobody shares the lock with
// a writer.
TEST_F(ThrLocksConcurrency, ReadWriteLockExcludesWritersFromEveryone) {
  THR_RWL rwl;
  ASSERT_EQ(ThrRwlInit(&rwl), THR_ERR_OK);
  long a = 0, b = 0;
  std::atomic<int> readers_in{0}, writers_in{0}, violations{0};
  std::atomic<long> reads{0};
  RunThreads(kThreads, [&](int i) {
    bool writer = i < 2;
    for (int n = 0; n < (writer ? 300 : 1000); ++n) {
      if (writer) {
        ASSERT_EQ(ThrRwlExclusiveLock(&rwl, -1), THR_ERR_OK);
        if (++writers_in != 1 || readers_in != 0) ++violations;
        ++a;
        std::this_thread::yield();
        ++b;
        --writers_in;
      } else {
        ASSERT_EQ(ThrRwlSharedLock(&rwl, -1), THR_ERR_OK);
        ++readers_in;
        if (writers_in != 0 || a != b) ++violations;
        ++reads;
        --readers_in;
      }
      ThrRwlUnlock(&rwl);
    }
  });
  EXPECT_EQ(violations, 0);
  EXPECT_EQ(a, 600);
  EXPECT_EQ(b, 600);
  EXPECT_EQ(reads, 6000);
  EXPECT_EQ(rwl.state, 0);
  EXPECT_EQ(rwl.waiting_writers, 0u);
  EXPECT_EQ(ThrRwlDelete(&rwl), THR_ERR_OK);
}

TEST_F(ThrLocksConcurrency, EventsPlayPingPong) {
  THR_EVT ping, pong;
  ASSERT_EQ(ThrEvtInit(&ping), THR_ERR_OK);
  ASSERT_EQ(ThrEvtInit(&pong), THR_ERR_OK);
  constexpr int kRounds = 2000;
  int last_seen = 0;
  int shared_round = 0;
  std::thread partner([&] {
    for (int r = 1; r <= kRounds; ++r) {
      ASSERT_EQ(ThrEvtWaitReset(&ping, -1), THR_ERR_OK);
      last_seen = shared_round;
      ThrEvtSet(&pong);
    }
  });
  for (int r = 1; r <= kRounds; ++r) {
    shared_round = r;
    ThrEvtSet(&ping);
    ASSERT_EQ(ThrEvtWaitReset(&pong, 5000), THR_ERR_OK) << r;
    ASSERT_EQ(last_seen, r);
  }
  partner.join();
  EXPECT_EQ(ThrEvtDelete(&ping), THR_ERR_OK);
  EXPECT_EQ(ThrEvtDelete(&pong), THR_ERR_OK);
}

TEST_F(ThrLocksConcurrency, SemaphoreHandsEveryUnitToExactlyOneTaker) {
  THR_SEM sem;
  ASSERT_EQ(ThrSemInit(&sem, 0, nullptr), THR_ERR_OK);
  constexpr int kTakers = 6;
  constexpr int kUnitsEach = 500;
  std::atomic<int> taken{0};
  RunThreads(kTakers + 2, [&](int i) {
    if (i < 2) {  // two givers, in batches of one and of three units
      for (int n = 0; n < kTakers * kUnitsEach / 2;) {
        int batch = i == 0 ? 1 : 3;
        ASSERT_EQ(ThrSemUp(&sem, batch), THR_ERR_OK);
        n += batch;
      }
    } else {
      for (int n = 0; n < kUnitsEach; ++n) {
        ASSERT_EQ(ThrSemDown(&sem, 1), THR_ERR_OK);
        ++taken;
      }
    }
  });
  EXPECT_EQ(taken, kTakers * kUnitsEach);
  EXPECT_EQ(sem.count, 0u);
  EXPECT_EQ(ThrSemDelete(&sem), THR_ERR_OK);
}

}  // namespace
