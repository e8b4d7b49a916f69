#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <string>
#include <thread>

#include "thr/thr_event_deadline.h"
#include "zul_thr.h"

namespace {

// The records keep their fields in this order; callers allocate them statically.
#define THR_FIELDS_IN_ORDER(type, a, b) static_assert(offsetof(type, a) < offsetof(type, b))
THR_FIELDS_IN_ORDER(THR_CS, eyecatcher, lock_count);
THR_FIELDS_IN_ORDER(THR_CS, lock_count, owner);
THR_FIELDS_IN_ORDER(THR_CS, owner, mutex);
THR_FIELDS_IN_ORDER(THR_CS, mutex, tag);
THR_FIELDS_IN_ORDER(THR_REC_MTX, lock_count, owner);
THR_FIELDS_IN_ORDER(THR_REC_MTX, owner, mutex);
THR_FIELDS_IN_ORDER(THR_REC_MTX, mutex, tag);
THR_FIELDS_IN_ORDER(THR_EVT, cond, mutex);
THR_FIELDS_IN_ORDER(THR_EVT, mutex, state);
THR_FIELDS_IN_ORDER(THR_SEM, mtx, evt);
THR_FIELDS_IN_ORDER(THR_SEM, evt, count);
THR_FIELDS_IN_ORDER(THR_RWL, mtx, readers);
THR_FIELDS_IN_ORDER(THR_RWL, readers, writers);
THR_FIELDS_IN_ORDER(THR_RWL, writers, state);
THR_FIELDS_IN_ORDER(THR_RWL, state, waiting_writers);
static_assert(sizeof(THR_MTX) == sizeof(pthread_mutex_t));

class ThrLocks : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(ThrProcInit(), THR_ERR_OK); }
};

// ---- Before ThrProcInit ----

class ThrLocksNotThreaded : public ::testing::Test {
 protected:
  void SetUp() override {
    ThrProcExit();
    ASSERT_EQ(ThrIProcInit(), THR_ERR_OK);
    ASSERT_EQ(ThrIsThreaded(), 0);
  }
  void TearDown() override { ThrProcInit(); }
};

TEST_F(ThrLocksNotThreaded, LocksSectionsAndEventsMakeNoCallAndAnswerZero) {
  THR_MTX mtx;
  ASSERT_EQ(ThrMtxInit(&mtx, nullptr), THR_ERR_OK);
  // Locked twice without unlock: a real lock would deadlock here.
  EXPECT_EQ(ThrMtxLock(&mtx), THR_ERR_OK);
  EXPECT_EQ(ThrMtxLock(&mtx), THR_ERR_OK);
  EXPECT_EQ(ThrMtxITryLock(&mtx), THR_ERR_OK);

  THR_CS cs = {};
  EXPECT_EQ(ThrCSLock(&cs), THR_ERR_OK);
  EXPECT_EQ(ThrCSLock(&cs), THR_ERR_OK);
  EXPECT_EQ(cs.eyecatcher, 0u) << "no section is created while not threaded";
  EXPECT_EQ(ThrCSUnlock(&cs), THR_ERR_OK);
  EXPECT_EQ(ThrCSUnlock(&cs), THR_ERR_OK);

  THR_EVT evt;
  ASSERT_EQ(ThrEvtInit(&evt), THR_ERR_OK);
  EXPECT_EQ(ThrEvtWait(&evt, -1), THR_ERR_OK);
  EXPECT_EQ(ThrEvtWaitReset(&evt, 0), THR_ERR_OK);
  EXPECT_EQ(ThrEvtSet(&evt), THR_ERR_OK);
  EXPECT_EQ(evt.state, 0u);

  EXPECT_EQ(ThrMtxDelete(&mtx), THR_ERR_OK);
  EXPECT_EQ(ThrEvtDelete(&evt), THR_ERR_OK);
}

TEST_F(ThrLocksNotThreaded, RecursiveMutexLocksAllTheSame) {
  THR_REC_MTX rm;
  ASSERT_EQ(ThrRecMtxInit(&rm, nullptr), THR_ERR_OK);
  EXPECT_EQ(ThrRecMtxLock(&rm), THR_ERR_OK);
  EXPECT_EQ(rm.lock_count, 1);
  std::atomic<int> other_rc{-1};
  std::thread other([&] { other_rc = pthread_mutex_trylock(&rm.mutex); });
  other.join();
  EXPECT_EQ(other_rc, EBUSY);
  EXPECT_EQ(ThrRecMtxUnlock(&rm), THR_ERR_OK);
  EXPECT_EQ(ThrRecMtxDelete(&rm), THR_ERR_OK);
}

TEST(ThrLocksNotInitialised, DeletesAnswerNotInitAndSectionLockStartsTheLayer) {
  THR_MTX mtx;
  THR_EVT evt;
  THR_REC_MTX rm;
  THR_SEM sem;
  THR_RWL rwl;
  THR_CS cs = {};
  ASSERT_EQ(ThrProcInit(), THR_ERR_OK);
  ASSERT_EQ(ThrMtxInit(&mtx, nullptr), THR_ERR_OK);
  ASSERT_EQ(ThrEvtInit(&evt), THR_ERR_OK);
  ASSERT_EQ(ThrRecMtxInit(&rm, nullptr), THR_ERR_OK);
  ASSERT_EQ(ThrSemInit(&sem, 0, nullptr), THR_ERR_OK);
  ASSERT_EQ(ThrRwlInit(&rwl), THR_ERR_OK);
  ThrProcExit();
  EXPECT_EQ(ThrMtxDelete(&mtx), THR_ERR_NOT_INIT);
  EXPECT_EQ(ThrEvtDelete(&evt), THR_ERR_NOT_INIT);
  EXPECT_EQ(ThrRecMtxDelete(&rm), THR_ERR_NOT_INIT);
  EXPECT_EQ(ThrSemDelete(&sem), THR_ERR_NOT_INIT);
  EXPECT_EQ(ThrRwlDelete(&rwl), THR_ERR_NOT_INIT);
  EXPECT_EQ(ThrCSUnlock(&cs), THR_ERR_NOT_INIT);
  EXPECT_EQ(ThrCSDelete(&cs), THR_ERR_NOT_INIT);

  EXPECT_EQ(ThrCSLock(&cs), THR_ERR_OK);  // starts the layer, single-threaded
  EXPECT_EQ(ThrIsThreaded(), 0);
  EXPECT_EQ(ThrCSUnlock(&cs), THR_ERR_OK);

  ASSERT_EQ(ThrProcInit(), THR_ERR_OK);
  EXPECT_EQ(ThrMtxDelete(&mtx), THR_ERR_OK);
  EXPECT_EQ(ThrEvtDelete(&evt), THR_ERR_OK);
  EXPECT_EQ(ThrRecMtxDelete(&rm), THR_ERR_OK);
  EXPECT_EQ(ThrSemDelete(&sem), THR_ERR_OK);
  EXPECT_EQ(ThrRwlDelete(&rwl), THR_ERR_OK);
}

// ---- Mutex hooks ----

int lock_hook_calls = 0;
int unlock_hook_calls = 0;

TEST_F(ThrLocks, MutexHooksRunOnLockSuccessOnlyAndOnEveryUnlock) {
  THR_MTX mtx;
  ASSERT_EQ(ThrMtxInit(&mtx, nullptr), THR_ERR_OK);
  lock_hook_calls = unlock_hook_calls = 0;
  ThrSetCriticalSectionHook(
      [](const ZUL_UTF16 *name) {
        EXPECT_EQ(std::u16string(name), u"ThrMutex");
        ++lock_hook_calls;
      },
      [] { ++unlock_hook_calls; });
  EXPECT_EQ(ThrMtxLock(&mtx), THR_ERR_OK);
  EXPECT_EQ(ThrMtxTryLock(&mtx), THR_ERR_NOT_OWNER);  // busy: no hook
  EXPECT_EQ(ThrMtxUnlock(&mtx), THR_ERR_OK);
  EXPECT_EQ(ThrMtxTryLock(&mtx), THR_ERR_OK);
  EXPECT_EQ(ThrMtxUnlock(&mtx), THR_ERR_OK);
  EXPECT_EQ(ThrMtxILock(&mtx), THR_ERR_OK);  // I forms never call hooks
  EXPECT_EQ(ThrMtxIUnlock(&mtx), THR_ERR_OK);
  ThrSetCriticalSectionHook(nullptr, nullptr);
  EXPECT_EQ(lock_hook_calls, 2);
  EXPECT_EQ(unlock_hook_calls, 2);
  EXPECT_EQ(ThrMtxDelete(&mtx), THR_ERR_OK);
}

// ---- Critical sections and recursive mutexes ----

TEST_F(ThrLocks, SectionCreatedOnceKeepsCountAndTag) {
  THR_CS cs = {};
  EXPECT_EQ(ThrCSUnlock(&cs), THR_ERR_NOT_INIT) << "not created";
  const ZUL_UTF16 tag[] = u"cache";
  ASSERT_EQ(ThrCSInit2(&cs, tag), THR_ERR_OK);
  EXPECT_EQ(std::memcmp(&cs.eyecatcher, "ENOD", 4), 0);
  EXPECT_EQ(cs.owner, THR_INVALID_ID);
  ASSERT_NE(cs.tag, nullptr);
  EXPECT_NE(cs.tag, tag);
  EXPECT_EQ(std::u16string(cs.tag), u"cache");

  EXPECT_EQ(ThrCSLock(&cs), THR_ERR_OK);
  EXPECT_EQ(ThrCSLock(&cs), THR_ERR_OK);  // recursive
  ZUL_UTF16 *tag_copy = cs.tag;
  EXPECT_EQ(ThrCSInit2(&cs, u"other"), THR_ERR_EXISTS);
  EXPECT_EQ(cs.lock_count, 2);
  EXPECT_EQ(cs.tag, tag_copy);
  EXPECT_EQ(ThrCSUnlock(&cs), THR_ERR_OK);
  EXPECT_EQ(ThrCSUnlock(&cs), THR_ERR_OK);
  EXPECT_EQ(cs.lock_count, 0);

  EXPECT_EQ(ThrCSDelete(&cs), THR_ERR_OK);
  EXPECT_NE(cs.eyecatcher, THR_CS_EYECATCHER);
  EXPECT_EQ(cs.tag, nullptr);
  EXPECT_EQ(ThrCSDelete(&cs), THR_ERR_NOT_INIT);
}

TEST_F(ThrLocks, LockOnZeroedSectionCreatesItWithoutTag) {
  THR_CS cs = {};
  ASSERT_EQ(ThrCSLock(&cs), THR_ERR_OK);
  EXPECT_EQ(cs.eyecatcher, THR_CS_EYECATCHER);
  EXPECT_EQ(cs.tag, nullptr);
  EXPECT_EQ(cs.lock_count, 1);
  EXPECT_EQ(ThrCSUnlock(&cs), THR_ERR_OK);
  EXPECT_EQ(ThrCSDelete(&cs), THR_ERR_OK);
}

struct PanicCase {
  const char *name;
  const ZUL_UTF16 *tag;
  bool section;  // THR_CS, else THR_REC_MTX
  const char *line;
};

const PanicCase kPanicCases[] = {
    {"SectionWithTag", u"hdl table", true,
     "ThrCSUnlock: PANIC: #unlock > #lock, tag: \"hdl table\"\n"},
    {"SectionWithoutTag", nullptr, true, "ThrCSUnlock: PANIC: #unlock > #lock, tag: \"not set\"\n"},
    {"RecursiveMutexWithTag", u"DpLock", false,
     "ThrRecMtxUnlock: PANIC: #unlock > #lock, tag: \"DpLock\"\n"},
    {"RecursiveMutexWithoutTag", nullptr, false,
     "ThrRecMtxUnlock: PANIC: #unlock > #lock, tag: \"not set\"\n"},
};

class ThrLocksPanic : public ::testing::TestWithParam<PanicCase> {};

// The child writes exactly the panic line to standard error and aborts.
TEST_P(ThrLocksPanic, UnlockWithoutLockWritesThePanicLineAndAborts) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const PanicCase &c = GetParam();
  auto unbalanced_unlock = [&c] {
    ThrProcInit();
    if (c.section) {
      THR_CS cs = {};
      ThrCSInit2(&cs, c.tag);
      ThrCSUnlock(&cs);
    } else {
      THR_REC_MTX rm;
      ThrRecMtxInit(&rm, c.tag);
      ThrRecMtxUnlock(&rm);
    }
  };
  EXPECT_EXIT(unbalanced_unlock(), ::testing::KilledBySignal(SIGABRT), ::testing::Eq(c.line));
}

INSTANTIATE_TEST_SUITE_P(Lines, ThrLocksPanic, ::testing::ValuesIn(kPanicCases),
                         [](const auto &info) { return std::string(info.param.name); });

// ---- Events ----

TEST_F(ThrLocks, EventTestsAndResetsAsAskedWithZeroWait) {
  THR_EVT evt;
  ASSERT_EQ(ThrEvtInit(&evt), THR_ERR_OK);
  EXPECT_EQ(ThrEvtWait(&evt, 0), THR_ERR_TIMEOUT);
  EXPECT_EQ(ThrEvtWaitReset(&evt, 0), THR_ERR_TIMEOUT);
  ASSERT_EQ(ThrEvtSet(&evt), THR_ERR_OK);
  EXPECT_EQ(ThrEvtWait(&evt, 0), THR_ERR_OK);
  EXPECT_EQ(ThrEvtWait(&evt, -1), THR_ERR_OK) << "ThrEvtWait leaves it set";
  EXPECT_EQ(ThrEvtWaitReset(&evt, 0), THR_ERR_OK);
  EXPECT_EQ(ThrEvtWait(&evt, 0), THR_ERR_TIMEOUT) << "ThrEvtWaitReset resets it";
  ASSERT_EQ(ThrEvtSet(&evt), THR_ERR_OK);
  ASSERT_EQ(ThrEvtReset(&evt), THR_ERR_OK);
  EXPECT_EQ(ThrEvtWait(&evt, 0), THR_ERR_TIMEOUT);
  EXPECT_EQ(ThrEvtDelete(&evt), THR_ERR_OK);
}

TEST_F(ThrLocks, TimedEventWaitEndsAfterTheDeadline) {
  THR_EVT evt;
  ASSERT_EQ(ThrEvtInit(&evt), THR_ERR_OK);
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(ThrEvtWaitReset(&evt, 60), THR_ERR_TIMEOUT);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(55));
  EXPECT_EQ(ThrEvtDelete(&evt), THR_ERR_OK);
}

TEST(ThrEventDeadline, AddsMillisecondsAndCarriesOneSecond) {
  struct Case {
    time_t sec;
    suseconds_t usec;
    int32_t ms;
    time_t want_sec;
    long want_nsec;
  };
  const Case cases[] = {
      {100, 0, 1500, 101, 500000000},     {100, 999999, 1, 101, 999000},
      {100, 500000, 999, 101, 499000000}, {100, 0, 2000, 102, 0},
      {100, 250000, 750, 101, 0},         {100, 1, 0x7fffffff, 2147583, 647001000},
  };
  for (const Case &c : cases) {
    timeval now = {c.sec, c.usec};
    timespec got = thr::EventDeadline(now, c.ms);
    EXPECT_EQ(got.tv_sec, c.want_sec) << c.usec << " + " << c.ms;
    EXPECT_EQ(got.tv_nsec, c.want_nsec) << c.usec << " + " << c.ms;
  }
}

// ---- Semaphores ----

TEST_F(ThrLocks, SemaphoreTakesOnlySingleUnits) {
  THR_SEM sem;
  ASSERT_EQ(ThrSemInit(&sem, 2, nullptr), THR_ERR_OK);
  EXPECT_EQ(ThrSemDown(&sem, 2), THR_ERR_NOT_SUPPORTED);
  EXPECT_EQ(ThrSemDown(&sem, 0), THR_ERR_NOT_SUPPORTED);
  EXPECT_EQ(sem.count, 2u);
  EXPECT_EQ(ThrSemDown(&sem, 1), THR_ERR_OK);
  EXPECT_EQ(ThrSemUp(&sem, 3), THR_ERR_OK);
  EXPECT_EQ(sem.count, 4u);
  EXPECT_EQ(ThrSemDelete(&sem), THR_ERR_OK);
}

// ---- Read-write locks ----

class ThrRwl : public ThrLocks {
 protected:
  void SetUp() override {
    ThrLocks::SetUp();
    ASSERT_EQ(ThrRwlInit(&rwl_), THR_ERR_OK);
  }
  void TearDown() override { EXPECT_EQ(ThrRwlDelete(&rwl_), THR_ERR_OK); }

  uint32_t WaitingWriters() {
    ThrMtxILock(&rwl_.mtx);
    uint32_t n = rwl_.waiting_writers;
    ThrMtxIUnlock(&rwl_.mtx);
    return n;
  }

  THR_RWL rwl_;
};

TEST_F(ThrRwl, SharedHoldersCountAndExclusiveIsMinusOne) {
  EXPECT_EQ(ThrRwlSharedLock(&rwl_, 0), THR_ERR_OK);
  EXPECT_EQ(ThrRwlSharedLock(&rwl_, 0), THR_ERR_OK);
  EXPECT_EQ(rwl_.state, 2);
  EXPECT_EQ(ThrRwlUnlock(&rwl_), THR_ERR_OK);
  EXPECT_EQ(ThrRwlUnlock(&rwl_), THR_ERR_OK);
  EXPECT_EQ(ThrRwlExclusiveLock(&rwl_, 0), THR_ERR_OK);
  EXPECT_EQ(rwl_.state, -1);
  EXPECT_EQ(ThrRwlSharedLock(&rwl_, 0), THR_ERR_TIMEOUT);
  EXPECT_EQ(ThrRwlUnlock(&rwl_), THR_ERR_OK);
  EXPECT_EQ(rwl_.state, 0);
}

TEST_F(ThrRwl, ZeroWaitExclusiveOnHeldLockLeavesWaitingWritersAlone) {
  ASSERT_EQ(ThrRwlSharedLock(&rwl_, 0), THR_ERR_OK);
  EXPECT_EQ(ThrRwlExclusiveLock(&rwl_, 0), THR_ERR_TIMEOUT);
  EXPECT_EQ(rwl_.waiting_writers, 0u);
  EXPECT_EQ(rwl_.state, 1);
  EXPECT_EQ(ThrRwlUnlock(&rwl_), THR_ERR_OK);
}

TEST_F(ThrRwl, UnlockOfFreeLockLeavesItHeldExclusively) {
  EXPECT_EQ(ThrRwlUnlock(&rwl_), THR_ERR_OK);
  EXPECT_EQ(rwl_.state, -1);
  EXPECT_EQ(ThrRwlExclusiveLock(&rwl_, 0), THR_ERR_TIMEOUT);
  EXPECT_EQ(ThrRwlUnlock(&rwl_), THR_ERR_OK);
  EXPECT_EQ(rwl_.state, 0);
}

TEST_F(ThrRwl, WaitingWriterKeepsNewReadersOut) {
  ASSERT_EQ(ThrRwlSharedLock(&rwl_, 0), THR_ERR_OK);
  std::atomic<int> writer_rc{-1};
  std::thread writer([&] {
    writer_rc = ThrRwlExclusiveLock(&rwl_, -1);
    ThrRwlUnlock(&rwl_);
  });
  while (WaitingWriters() == 0) std::this_thread::yield();
  EXPECT_EQ(ThrRwlSharedLock(&rwl_, 0), THR_ERR_TIMEOUT);
  EXPECT_EQ(ThrRwlUnlock(&rwl_), THR_ERR_OK);  // the writer gets it now
  writer.join();
  EXPECT_EQ(writer_rc, THR_ERR_OK);
  EXPECT_EQ(rwl_.state, 0);
  EXPECT_EQ(ThrRwlSharedLock(&rwl_, 0), THR_ERR_OK);
  EXPECT_EQ(ThrRwlUnlock(&rwl_), THR_ERR_OK);
}

// A timed exclusive lock whose wait times out makes one last attempt. When the lock has become
// free without the writers' event being set, that attempt takes it and still answers 15.
TEST_F(ThrRwl, TimedOutExclusiveLockMayStillHoldTheLock) {
  ASSERT_EQ(ThrRwlSharedLock(&rwl_, 0), THR_ERR_OK);
  std::thread reader_leaves_silently([&] {
    while (WaitingWriters() == 0) std::this_thread::yield();
    ThrMtxILock(&rwl_.mtx);
    rwl_.state = 0;
    ThrMtxIUnlock(&rwl_.mtx);
  });
  EXPECT_EQ(ThrRwlExclusiveLock(&rwl_, 100), THR_ERR_TIMEOUT);
  reader_leaves_silently.join();
  EXPECT_EQ(rwl_.state, -1) << "held exclusively despite the time-out";
  EXPECT_EQ(rwl_.waiting_writers, 0u);
  EXPECT_EQ(ThrRwlUnlock(&rwl_), THR_ERR_OK);
}

// ---- Counters ----

TEST_F(ThrLocks, CountersAnswerTheNewValue) {
  int64_t var = 0x7ffffffffLL;
  EXPECT_EQ(ThrVarIncrement(&var), 0x800000000LL);
  EXPECT_EQ(ThrVarDecrement(&var), 0x7ffffffffLL);
  EXPECT_EQ(ThrVarSet(&var, -5), -5);
  EXPECT_EQ(ThrVarDecrement(&var), -6);
  EXPECT_EQ(var, -6);
}

}  // namespace
