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

  // Runs body(i) on n threads that start together.
  template <typename Body>
  static void RunThreads(int n, Body body) {
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < n; ++i)
      threads.emplace_back([&, i] {
        for (++ready; ready != n;) std::this_thread::yield();
        body(i);
      });
    for (auto &t : threads) t.join();
  }
};

// The section starts zeroed, so the racing first locks must create it exactly once.
THR_CS zeroed_section;

TEST_F(ThrLocksConcurrency, MutexSectionAndGuardedCountersStayExact) {
  THR_MTX mtx;
  ASSERT_EQ(ThrMtxInit(&mtx, nullptr), THR_ERR_OK);
  long by_mutex = 0, by_section = 0;
  int64_t guarded = 0;
  std::atomic<int> failures{0};
  RunThreads(kThreads, [&](int) {
    for (int i = 0; i < 20000; ++i) {
      ThrMtxLock(&mtx);
      ++by_mutex;
      ThrMtxUnlock(&mtx);
      if (ThrCSLock(&zeroed_section) != THR_ERR_OK) ++failures;
      ThrCSLock(&zeroed_section);  // recursive
      ++by_section;
      ThrCSUnlock(&zeroed_section);
      ThrCSUnlock(&zeroed_section);
      ThrVarIncrement(&guarded);
      ThrVarIncrement(&guarded);
      ThrVarDecrement(&guarded);
    }
  });
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(by_mutex, kThreads * 20000L);
  EXPECT_EQ(by_section, kThreads * 20000L);
  EXPECT_EQ(zeroed_section.lock_count, 0);
  EXPECT_EQ(guarded, kThreads * 20000L);
  EXPECT_EQ(ThrVarSet(&guarded, -5), -5);
  EXPECT_EQ(ThrVarDecrement(&guarded), -6);
  EXPECT_EQ(ThrCSDelete(&zeroed_section), THR_ERR_OK);
  EXPECT_EQ(ThrMtxDelete(&mtx), THR_ERR_OK);
}

// Writers change two values together; readers see them equal, and no one shares the lock with a
// writer.
TEST_F(ThrLocksConcurrency, ReadWriteLockExcludesWritersFromEveryone) {
  THR_RWL rwl;
  ASSERT_EQ(ThrRwlInit(&rwl), THR_ERR_OK);
  long a = 0, b = 0;
  std::atomic<int> readers_in{0}, writers_in{0}, violations{0};
  RunThreads(kThreads, [&](int i) {
    const bool writer = i < 2;
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
        --readers_in;
      }
      ThrRwlUnlock(&rwl);
    }
  });
  EXPECT_EQ(violations, 0);
  EXPECT_EQ(b, 600);
  EXPECT_EQ(rwl.state, 0);
  EXPECT_EQ(rwl.waiting_writers, 0u);
  EXPECT_EQ(ThrRwlDelete(&rwl), THR_ERR_OK);
}

// Two threads hand two events back and forth; each sees the other's round. Then two givers (one
// unit and three units at a time) feed six takers of a semaphore; every unit goes to one taker.
TEST_F(ThrLocksConcurrency, EventsPlayPingPongAndSemaphoreUnitsReachOneTakerEach) {
  THR_EVT events[2];  // ping, pong
  for (THR_EVT &e : events) ASSERT_EQ(ThrEvtInit(&e), THR_ERR_OK);
  int round = 0, seen = 0;
  std::thread partner([&] {
    for (int r = 1; r <= 2000 && ThrEvtWaitReset(&events[0], 5000) == THR_ERR_OK; ++r) {
      seen = round;
      ThrEvtSet(&events[1]);
    }
  });
  for (round = 1; round <= 2000; ++round) {
    ThrEvtSet(&events[0]);
    ASSERT_EQ(ThrEvtWaitReset(&events[1], 5000), THR_ERR_OK) << round;
    ASSERT_EQ(seen, round);
  }
  partner.join();
  for (THR_EVT &e : events) EXPECT_EQ(ThrEvtDelete(&e), THR_ERR_OK);

  THR_SEM sem;
  ASSERT_EQ(ThrSemInit(&sem, 0, nullptr), THR_ERR_OK);
  std::atomic<int> taken{0};
  RunThreads(8, [&](int i) {
    const uint32_t batch = i == 0 ? 1 : 3;
    for (int n = 0; i < 2 && n < 1500; n += batch) ASSERT_EQ(ThrSemUp(&sem, batch), THR_ERR_OK);
    for (int n = 0; i >= 2 && n < 500; ++n, ++taken) ASSERT_EQ(ThrSemDown(&sem, 1), THR_ERR_OK);
  });
  EXPECT_EQ(taken, 3000);
  EXPECT_EQ(sem.count, 0u);
  EXPECT_EQ(ThrSemDelete(&sem), THR_ERR_OK);
}

}  // namespace
