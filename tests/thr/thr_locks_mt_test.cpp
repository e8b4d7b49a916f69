#include "thr_test_workers.h"
#include "zul_thr.h"

namespace {

using thr_test::kThreads;
using thr_test::RunThreads;
constexpr int kRounds = 20000;

// The section starts zeroed, so the racing first locks must create it exactly once.
THR_CS zeroed_section;

TEST(ThrLocksConcurrency, MutexSectionAndGuardedCountersStayExact) {
  THR_MTX mtx;
  ASSERT_EQ(ThrMtxInit(&mtx, nullptr), THR_ERR_OK);
  long by_mutex = 0, by_section = 0;
  int64_t guarded = 0;
  std::atomic<int> failures{0};
  RunThreads([&](int) {
    for (int i = 0; i < kRounds; ++i) {
      ThrMtxLock(&mtx);
      ++by_mutex;
      ThrMtxUnlock(&mtx);
      failures += ThrCSLock(&zeroed_section) != THR_ERR_OK;
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
  EXPECT_EQ(std::tuple(by_mutex, by_section, guarded, zeroed_section.lock_count),
            std::tuple(long{kThreads} * kRounds, long{kThreads} * kRounds,
                       int64_t{kThreads} * kRounds, 0));
  EXPECT_EQ(ThrVarSet(&guarded, -5), -5);
  EXPECT_EQ(ThrVarDecrement(&guarded), -6);
  EXPECT_EQ(ThrCSDelete(&zeroed_section), THR_ERR_OK);
  EXPECT_EQ(ThrMtxDelete(&mtx), THR_ERR_OK);
}

// Writers change two values together; readers see them equal, and no one shares the lock with a
// writer.
TEST(ThrLocksConcurrency, ReadWriteLockExcludesWritersFromEveryone) {
  THR_RWL rwl;
  ASSERT_EQ(ThrRwlInit(&rwl), THR_ERR_OK);
  long a = 0, b = 0;
  std::atomic<int> readers_in{0}, writers_in{0}, violations{0};
  RunThreads([&](int i) {
    const bool writer = i < 2;
    for (int n = 0; n < (writer ? 300 : 1000); ++n) {
      if (writer) {
        ASSERT_EQ(ThrRwlExclusiveLock(&rwl, -1), THR_ERR_OK);
        violations += ++writers_in != 1 || readers_in != 0;
        ++a;
        std::this_thread::yield();
        ++b;
        --writers_in;
      } else {
        ASSERT_EQ(ThrRwlSharedLock(&rwl, -1), THR_ERR_OK);
        ++readers_in;
        violations += writers_in != 0 || a != b;
        --readers_in;
      }
      ThrRwlUnlock(&rwl);
    }
  });
  EXPECT_EQ(std::tuple(violations.load(), b, rwl.state, rwl.waiting_writers),
            std::tuple(0, 600L, 0, 0u));
  EXPECT_EQ(ThrRwlDelete(&rwl), THR_ERR_OK);
}

// Two givers (one unit and three units at a time) feed six takers of a semaphore; every unit goes
// to one taker, and a taker that finds units left passes the wake-up on.
TEST(ThrLocksConcurrency, SemaphoreUnitsReachOneTakerEach) {
  THR_SEM sem;
  ASSERT_EQ(ThrSemInit(&sem, 0, nullptr), THR_ERR_OK);
  std::atomic<int> taken{0};
  RunThreads([&](int i) {
    const uint32_t batch = i == 0 ? 1 : 3;
    for (int n = 0; i < 2 && n < 1500; n += batch) ASSERT_EQ(ThrSemUp(&sem, batch), THR_ERR_OK);
    for (int n = 0; i >= 2 && n < 500; ++n, ++taken) ASSERT_EQ(ThrSemDown(&sem, 1), THR_ERR_OK);
  });
  EXPECT_EQ(taken, 3000);
  EXPECT_EQ(sem.count, 0u);
  EXPECT_EQ(ThrSemDelete(&sem), THR_ERR_OK);
}

}  // namespace
