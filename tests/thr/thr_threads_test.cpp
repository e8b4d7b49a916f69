#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>

#include "thr/thr_state.h"
#include "thr/thrp_stack.h"
#include "zul_thr.h"

namespace {

// Holds threads until it is opened.
struct Gate {
  std::mutex m;
  std::condition_variable cv;
  bool open = false;

  void Pass() {
    std::unique_lock<std::mutex> lock(m);
    cv.wait(lock, [this] { return open; });
  }
  void Open() {
    std::lock_guard<std::mutex> lock(m);
    open = true;
    cv.notify_all();
  }
};

void *PassGateAndAnswer7(void *gate) {
  static_cast<Gate *>(gate)->Pass();
  return reinterpret_cast<void *>(7);
}

void *Answer(void *code) { return code; }

void *ExitWith9(void *) { ThrExit(9); }

// Detached threads leave the table themselves; the test waits until they have.
struct DetachedRun {
  Gate gate;
  std::atomic<int> cleaned_up{0};
};

void *PassGateAndCleanUp(void *run) {
  auto *r = static_cast<DetachedRun *>(run);
  r->gate.Pass();
  ThrCleanup();
  ++r->cleaned_up;
  return nullptr;
}

class ThrThreads : public ::testing::Test {
 protected:
  // A fresh table holding only this thread.
  void SetUp() override {
    ThrProcExit();
    ASSERT_EQ(ThrProcInit(), THR_ERR_OK);
  }
};

TEST(ThrThreadsNotThreaded, EveryCallButWaitAllAnswersNotInit) {
  ThrProcExit();
  ASSERT_EQ(ThrIProcInit(), THR_ERR_OK);
  THR_ID id = 42;
  uint64_t code = 0;
  EXPECT_EQ(ThrCreate(Answer, nullptr, &id), THR_ERR_NOT_INIT);
  EXPECT_EQ(id, THR_INVALID_ID);
  EXPECT_EQ(ThrWait(THR_INVALID_ID, &code), THR_ERR_NOT_INIT);
  EXPECT_EQ(ThrExitCode(ThrGetCurrentId(), &code), THR_ERR_NOT_INIT);
  EXPECT_EQ(ThrKill(ThrGetCurrentId(), 0), THR_ERR_NOT_INIT);
  EXPECT_EQ(ThrCancel(ThrGetCurrentId()), THR_ERR_NOT_INIT);
  EXPECT_EQ(ThrDetach(ThrGetCurrentId()), THR_ERR_NOT_INIT);
  // ThrWaitAll has no such test: the only thread gets "deadlock".
  EXPECT_EQ(ThrWaitAll(&id, &code), THR_ERR_DEADLOCK);
  ASSERT_EQ(ThrProcInit(), THR_ERR_OK);
}

TEST_F(ThrThreads, WaitJoinsAndStoresTheExitCode) {
  THR_ID id;
  ASSERT_EQ(ThrCreate(Answer, reinterpret_cast<void *>(uintptr_t{0x123456789}), &id), THR_ERR_OK);
  uint64_t code = 0;
  EXPECT_EQ(ThrWait(id, &code), THR_ERR_OK);
  EXPECT_EQ(code, 0x123456789u);

  ASSERT_EQ(ThrCreate(ExitWith9, nullptr, &id), THR_ERR_OK);
  EXPECT_EQ(ThrWait(id, &code), THR_ERR_OK);
  EXPECT_EQ(code, 9u);
}

TEST_F(ThrThreads, WaitForSelfOrForAllWithNoOtherThread) {
  uint64_t code = 5;
  EXPECT_EQ(ThrWait(ThrGetCurrentId(), &code), THR_ERR_DEADLOCK);
  EXPECT_EQ(ThrWait(THR_INVALID_ID, &code), THR_ERR_OK);
  EXPECT_EQ(code, 0u);
  THR_ID id = 42;
  EXPECT_EQ(ThrWaitAll(&id, &code), THR_ERR_DEADLOCK);
  EXPECT_EQ(id, THR_INVALID_ID);
}

TEST_F(ThrThreads, WaitForAllIsRefusedWhileAnotherWaitForAllRuns) {
  ASSERT_TRUE(thr::TakeWaitBusyFlag());
  THR_ID id = 42;
  uint64_t code = 5;
  EXPECT_EQ(ThrWaitAll(&id, &code), THR_ERR_DEADLOCK);
  EXPECT_EQ(id, 42u) << "untouched";
  EXPECT_EQ(ThrWait(THR_INVALID_ID, &code), THR_ERR_DEADLOCK);
  EXPECT_EQ(code, 5u);
  thr::ClearWaitBusyFlag();
}

TEST_F(ThrThreads, ExitCodeTellsARunningThreadFromAnEndedOne) {
  Gate gate;
  THR_ID id;
  ASSERT_EQ(ThrCreate(PassGateAndAnswer7, &gate, &id), THR_ERR_OK);
  uint64_t code = 0;
  EXPECT_EQ(ThrExitCode(ThrGetCurrentId(), &code), THR_ERR_STILL_ALIVE);
  EXPECT_EQ(ThrExitCode(id, &code), THR_ERR_STILL_ALIVE);
  gate.Open();
  int rc;
  while ((rc = ThrExitCode(id, &code)) == THR_ERR_STILL_ALIVE) sched_yield();
  EXPECT_EQ(rc, THR_ERR_OK);
  EXPECT_EQ(code, 7u);
  THR_ID none;
  EXPECT_EQ(ThrWaitAll(&none, &code), THR_ERR_DEADLOCK) << "the entry is gone";
}

TEST_F(ThrThreads, DetachedThreadsDoNotCountForWaitAll) {
  DetachedRun run;
  THR_ID created, detached_later;
  const ThrCreateAttr detached = {0, THR_CREATE_DETACHED, 0};
  ASSERT_EQ(ThrCreate2(&detached, PassGateAndCleanUp, &run, &created), THR_ERR_OK);
  ASSERT_EQ(ThrCreate(PassGateAndCleanUp, &run, &detached_later), THR_ERR_OK);
  EXPECT_EQ(ThrDetach(detached_later), THR_ERR_OK);
  EXPECT_EQ(ThrDetach(detached_later), THR_ERR_INVALID_ID)
      << "pthread_detach fails the second time";
  THR_ID id = 42;
  uint64_t code;
  EXPECT_EQ(ThrWaitAll(&id, &code), THR_ERR_DEADLOCK);
  EXPECT_EQ(id, THR_INVALID_ID);
  run.gate.Open();
  while (run.cleaned_up != 2) sched_yield();
}

TEST_F(ThrThreads, DetachOfThreadNotInTheTableAnswersInvalidId) {
  THR_ID id;
  ASSERT_EQ(ThrCreate(Answer, nullptr, &id), THR_ERR_OK);
  uint64_t code;
  ASSERT_EQ(ThrWait(id, &code), THR_ERR_OK);
  EXPECT_EQ(ThrDetach(id), THR_ERR_INVALID_ID);
}

TEST_F(ThrThreads, KillMapsAnInvalidSignal) {
  EXPECT_EQ(ThrKill(ThrGetCurrentId(), 0), THR_ERR_OK);
  EXPECT_EQ(ThrKill(ThrGetCurrentId(), 9999), THR_ERR_INVALID_PARAM);
}

void *SleepUntilCancelled(void *) {
  for (;;) pause();
}

TEST_F(ThrThreads, CancelRemovesTheEntryAtOnce) {
  THR_ID id;
  ASSERT_EQ(ThrCreate(SleepUntilCancelled, nullptr, &id), THR_ERR_OK);
  EXPECT_EQ(ThrCancel(id), THR_ERR_OK);
  THR_ID none;
  uint64_t code = 0;
  EXPECT_EQ(ThrWaitAll(&none, &code), THR_ERR_DEADLOCK);
  // Not in the table any more, but still joinable.
  EXPECT_EQ(ThrPWait(id, &code), THR_ERR_OK);
  EXPECT_EQ(code, reinterpret_cast<uintptr_t>(PTHREAD_CANCELED));
}

TEST_F(ThrThreads, CreateAttributesStillStartTheThread) {
  const ThrCreateAttr attrs[] = {
      {THR_SCOPE_SYSTEM, 0, 0},
      {THR_SCOPE_PROCESS, 1, 0},
      {7, 0, 0},
      {0, 0, 1000},  // a stack of 1000 bytes would be refused: it is raised to 16384
      {0, 0, 100000},
  };
  for (const ThrCreateAttr &attr : attrs) {
    THR_ID id;
    ASSERT_EQ(ThrCreate2(&attr, Answer, reinterpret_cast<void *>(3), &id), THR_ERR_OK)
        << attr.scope << " " << attr.stack_size;
    uint64_t code = 0;
    EXPECT_EQ(ThrWait(id, &code), THR_ERR_OK);
    EXPECT_EQ(code, 3u);
  }
}

TEST(ThrStackSize, RequestedSizeHasAFloorAndZeroRaisesTheDefault) {
  struct Case {
    size_t process_default;
    uint64_t requested;
    size_t want;
  };
  const Case cases[] = {
      {8 << 20, 1000, 16384}, {8 << 20, 16384, 16384}, {8 << 20, 100000, 100000},
      {8 << 20, 0, 8 << 20},  {65536, 0, 0x80000},     {0x80000, 0, 0x80000},
  };
  pthread_attr_t saved;
  ASSERT_EQ(pthread_getattr_default_np(&saved), 0);
  for (const Case &c : cases) {
    pthread_attr_t def;
    pthread_attr_init(&def);
    pthread_attr_setstacksize(&def, c.process_default);
    ASSERT_EQ(pthread_setattr_default_np(&def), 0);
    pthread_attr_destroy(&def);
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    thr::ApplyStackSize(&attr, c.requested);
    size_t got = 0;
    pthread_attr_getstacksize(&attr, &got);
    pthread_attr_destroy(&attr);
    EXPECT_EQ(got, c.want) << c.process_default << " " << c.requested;
  }
  pthread_setattr_default_np(&saved);
  pthread_attr_destroy(&saved);
}

TEST(ThrId2Str, WritesTheIdInDecimal) {
  ZUL_UTF16 buf[THR_ID_STR_SIZE];
  EXPECT_EQ(ThrId2Str(buf, 123456789), buf);
  EXPECT_EQ(std::u16string(buf), u"123456789");
  ThrId2Str(buf, THR_INVALID_ID);
  EXPECT_EQ(std::u16string(buf), u"4294967295");
  ThrId2Str(buf, UINT64_MAX);
  EXPECT_EQ(std::u16string(buf), u"18446744073709551615");
}

}  // namespace
