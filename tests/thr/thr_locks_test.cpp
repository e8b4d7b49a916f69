#include <gmock/gmock.h>

#include "thr/thr_event_deadline.h"
#include "zul_thr.h"

namespace {

// Calls in a braced list run in order; their answers compare as one list.
using Answers = std::vector<int>;
constexpr int kOk = THR_ERR_OK, kTimeout = THR_ERR_TIMEOUT;

class ThrLocks : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(ThrProcInit(), kOk); }
};

// Before any start, deletes answer "not initialised"; a section lock starts the layer unthreaded.
// Then locks, sections and events make no call (real ones would block on these sequences), but
// recursive mutexes really lock.
TEST(ThrLocksNotThreaded, NoCallsButRecursiveMutexesLock) {
  THR_MTX mtx;
  THR_EVT evt;
  THR_CS cs = {};
  ThrProcExit();
  ThrMtxInit(&mtx, nullptr);
  ThrEvtInit(&evt);
  EXPECT_EQ((Answers{ThrMtxDelete(&mtx), ThrEvtDelete(&evt), ThrCSUnlock(&cs), ThrCSDelete(&cs)}),
            Answers(4, THR_ERR_NOT_INIT));
  EXPECT_EQ(ThrCSLock(&cs), kOk);
  EXPECT_EQ(ThrIsThreaded(), 0);
  EXPECT_EQ(
      (Answers{ThrCSUnlock(&cs), ThrMtxDelete(&mtx), ThrEvtDelete(&evt), ThrMtxInit(&mtx, nullptr),
               ThrEvtInit(&evt), ThrMtxLock(&mtx), ThrMtxLock(&mtx), ThrCSLock(&cs), ThrCSLock(&cs),
               ThrCSUnlock(&cs), ThrEvtWait(&evt, -1), ThrEvtWaitReset(&evt, 0)}),
      Answers(12, kOk));
  EXPECT_EQ(cs.eyecatcher, 0u) << "no section is created while not threaded";

  THR_REC_MTX rm;
  ASSERT_EQ(ThrRecMtxInit(&rm, nullptr), kOk);
  EXPECT_EQ(ThrRecMtxLock(&rm), kOk);
  int other_rc = -1;
  std::thread([&] { other_rc = pthread_mutex_trylock(&rm.mutex); }).join();
  EXPECT_EQ(other_rc, EBUSY);
  EXPECT_EQ(ThrRecMtxUnlock(&rm), kOk);
  ThrProcInit();
}

int lock_hook_calls = 0;
int unlock_hook_calls = 0;

TEST_F(ThrLocks, MutexHooksRunOnLockSuccessOnlyAndOnEveryUnlock) {
  THR_MTX mtx;
  ASSERT_EQ(ThrMtxInit(&mtx, nullptr), kOk);
  lock_hook_calls = unlock_hook_calls = 0;
  ThrSetCriticalSectionHook(
      [](const ZUL_UTF16 *name) {
        EXPECT_EQ(std::u16string(name), u"ThrMutex");
        ++lock_hook_calls;
      },
      [] { ++unlock_hook_calls; });
  // A busy try-lock calls no hook, and the I forms never do.
  EXPECT_EQ((Answers{ThrMtxLock(&mtx), ThrMtxTryLock(&mtx), ThrMtxUnlock(&mtx), ThrMtxTryLock(&mtx),
                     ThrMtxUnlock(&mtx), ThrMtxILock(&mtx), ThrMtxIUnlock(&mtx)}),
            (Answers{kOk, THR_ERR_NOT_OWNER, kOk, kOk, kOk, kOk, kOk}));
  ThrSetCriticalSectionHook(nullptr, nullptr);
  EXPECT_EQ(std::pair(lock_hook_calls, unlock_hook_calls), std::pair(2, 2));
  EXPECT_EQ(ThrMtxDelete(&mtx), kOk);
}

TEST_F(ThrLocks, SectionIsCreatedOnceAndKeepsCountAndTag) {
  THR_CS cs = {};
  EXPECT_EQ(ThrCSUnlock(&cs), THR_ERR_NOT_INIT) << "not created";
  ASSERT_EQ(ThrCSInit2(&cs, u"cache"), kOk);
  EXPECT_EQ(std::memcmp(&cs.eyecatcher, "ENOD", 4), 0);
  ZUL_UTF16 *tag = cs.tag;
  EXPECT_EQ((Answers{ThrCSLock(&cs), ThrCSLock(&cs), ThrCSInit2(&cs, u"other")}),
            (Answers{kOk, kOk, THR_ERR_EXISTS}));
  EXPECT_EQ(cs.lock_count, 2);
  EXPECT_EQ(cs.tag, tag);
  EXPECT_EQ(std::u16string(tag), u"cache");
  EXPECT_EQ((Answers{ThrCSUnlock(&cs), ThrCSUnlock(&cs), ThrCSDelete(&cs), ThrCSDelete(&cs)}),
            (Answers{kOk, kOk, kOk, THR_ERR_NOT_INIT}));
  EXPECT_EQ(cs.tag, nullptr);
}

// The child writes exactly the panic line to standard error and aborts.
TEST(ThrLocksPanic, UnlockWithoutLockWritesThePanicLineAndAborts) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  THR_CS cs = {};
  THR_REC_MTX rm;
  EXPECT_EXIT((ThrProcInit(), ThrCSInit2(&cs, u"hdl table"), ThrCSUnlock(&cs)),
              ::testing::KilledBySignal(SIGABRT),
              ::testing::Eq("ThrCSUnlock: PANIC: #unlock > #lock, tag: \"hdl table\"\n"));
  EXPECT_EXIT((ThrProcInit(), ThrRecMtxInit(&rm, nullptr), ThrRecMtxUnlock(&rm)),
              ::testing::KilledBySignal(SIGABRT),
              ::testing::Eq("ThrRecMtxUnlock: PANIC: #unlock > #lock, tag: \"not set\"\n"));
}

// A wait leaves the event set and a wait-reset consumes it; a semaphore takes single units only.
TEST_F(ThrLocks, EventsAndSemaphores) {
  THR_EVT evt;
  ASSERT_EQ(ThrEvtInit(&evt), kOk);
  EXPECT_EQ((Answers{ThrEvtWait(&evt, 0), ThrEvtWaitReset(&evt, 0), ThrEvtSet(&evt),
                     ThrEvtWait(&evt, 0), ThrEvtWait(&evt, -1), ThrEvtWaitReset(&evt, 0),
                     ThrEvtWait(&evt, 0), ThrEvtSet(&evt), ThrEvtReset(&evt)}),
            (Answers{kTimeout, kTimeout, kOk, kOk, kOk, kOk, kTimeout, kOk, kOk}));
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(ThrEvtWaitReset(&evt, 60), kTimeout);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(55));
  EXPECT_EQ(ThrEvtDelete(&evt), kOk);

  THR_SEM sem;
  ASSERT_EQ(ThrSemInit(&sem, 2, nullptr), kOk);
  EXPECT_EQ((Answers{ThrSemDown(&sem, 2), ThrSemDown(&sem, 1), ThrSemUp(&sem, 3)}),
            (Answers{THR_ERR_NOT_SUPPORTED, kOk, kOk}));
  EXPECT_EQ(sem.count, 4u);
  EXPECT_EQ(ThrSemDelete(&sem), kOk);
}

// A read-write lock held shared by the test.
class ThrRwl : public ThrLocks {
 protected:
  void SetUp() override {
    ThrLocks::SetUp();
    ASSERT_EQ(ThrRwlInit(&rwl_), kOk);
    ASSERT_EQ(ThrRwlSharedLock(&rwl_, 0), kOk);
  }
  void TearDown() override { EXPECT_EQ(ThrRwlDelete(&rwl_), kOk); }

  void AwaitWaitingWriter() {
    for (uint32_t n = 0; n == 0; std::this_thread::yield()) {
      ThrMtxILock(&rwl_.mtx);
      n = rwl_.waiting_writers;
      ThrMtxIUnlock(&rwl_.mtx);
    }
  }

  THR_RWL rwl_;
};

// A zero wait leaves the waiting writers as they were; a waiting writer keeps new readers out.
TEST_F(ThrRwl, ZeroWaitsAndAWaitingWriter) {
  EXPECT_EQ(ThrRwlExclusiveLock(&rwl_, 0), kTimeout);
  EXPECT_EQ(rwl_.waiting_writers, 0u);
  std::atomic<int> writer_rc{-1};
  std::thread writer([&] {
    writer_rc = ThrRwlExclusiveLock(&rwl_, -1);
    ThrRwlUnlock(&rwl_);
  });
  AwaitWaitingWriter();
  EXPECT_EQ(ThrRwlSharedLock(&rwl_, 0), kTimeout);
  EXPECT_EQ(ThrRwlUnlock(&rwl_), kOk);  // the writer gets it now
  writer.join();
  EXPECT_EQ(writer_rc, kOk);
  // An unlock of a free lock leaves it held exclusively.
  EXPECT_EQ(ThrRwlUnlock(&rwl_), kOk);
  EXPECT_EQ(rwl_.state, -1);
  EXPECT_EQ(ThrRwlSharedLock(&rwl_, 0), kTimeout);
  EXPECT_EQ(ThrRwlUnlock(&rwl_), kOk);
}

// A timed exclusive lock whose wait times out makes one last attempt. When the lock has become
// free without the writers' event being set, that attempt takes it and still answers 15.
TEST_F(ThrRwl, TimedOutExclusiveLockMayStillHoldTheLock) {
  std::thread reader_leaves_silently([&] {
    AwaitWaitingWriter();
    ThrMtxILock(&rwl_.mtx);
    rwl_.state = 0;
    ThrMtxIUnlock(&rwl_.mtx);
  });
  EXPECT_EQ(ThrRwlExclusiveLock(&rwl_, 100), kTimeout);
  reader_leaves_silently.join();
  EXPECT_EQ(rwl_.state, -1) << "held exclusively despite the time-out";
  EXPECT_EQ(rwl_.waiting_writers, 0u);
  EXPECT_EQ(ThrRwlUnlock(&rwl_), kOk);
}

}  // namespace
