#include "thr/thr_state.h"
#include "thr/thrp_stack.h"
#include "thr_test_workers.h"
#include "zul_thr.h"

namespace {

using thr_test::WaitForRelease;
using thr_test::Worker;

void *Answer(void *code) { return code; }
void *ExitWith9(void *) { ThrExit(9); }
void *SleepUntilCancelled(void *) {
  for (;;) pause();
}
// Detached threads leave the table themselves before they end.
void *ReleasedThenCleanUp(void *arg) {
  WaitForRelease(arg);
  ThrCleanup();
  __atomic_store_n(&static_cast<Worker *>(arg)->number, -1, __ATOMIC_SEQ_CST);
  return nullptr;
}

class ThrThreads : public ::testing::Test {
 protected:
  // A fresh table holding only this thread.
  void SetUp() override {
    ThrProcExit();
    ASSERT_EQ(ThrProcInit(), THR_ERR_OK);
  }
  THR_ID id_ = 42;
  uint64_t code_ = 5;
};

TEST_F(ThrThreads, EveryCallButWaitAllAnswersNotInitWhileNotThreaded) {
  ThrProcExit();
  ASSERT_EQ(ThrIProcInit(), THR_ERR_OK);
  const THR_ID self = ThrGetCurrentId();
  // Calls in a braced list run in order.
  EXPECT_EQ((std::vector<int>{ThrCreate(Answer, nullptr, &id_), ThrWait(THR_INVALID_ID, &code_),
                              ThrExitCode(self, &code_), ThrKill(self, 0), ThrCancel(self),
                              ThrDetach(self)}),
            std::vector<int>(6, THR_ERR_NOT_INIT));
  ZUL_UTF16 text[THR_ID_STR_SIZE];
  EXPECT_EQ(std::u16string(ThrId2Str(text, id_)), u"4294967295");
  EXPECT_EQ(std::u16string(ThrId2Str(text, UINT64_MAX)), u"18446744073709551615");
  EXPECT_EQ(ThrWaitAll(&id_, &code_), THR_ERR_DEADLOCK) << "the only thread";
}

// A join or a fetched exit code stores the code and removes the entry; a cancel removes it at
// once, yet the thread stays joinable.
TEST_F(ThrThreads, JoinsExitCodesKillAndCancel) {
  ASSERT_EQ(ThrCreate(Answer, reinterpret_cast<void *>(uintptr_t{0x123456789}), &id_), 0);
  EXPECT_EQ(ThrWait(id_, &code_), THR_ERR_OK);
  EXPECT_EQ(code_, 0x123456789u);
  const ThrCreateAttr small_stack = {THR_SCOPE_SYSTEM, 0, 1000};  // raised to 16384
  ASSERT_EQ(ThrCreate2(&small_stack, ExitWith9, nullptr, &id_), THR_ERR_OK);
  EXPECT_EQ(ThrWait(id_, &code_), THR_ERR_OK);
  EXPECT_EQ(code_, 9u);

  Worker w;
  w.number = 7;
  ASSERT_EQ(ThrCreate(WaitForRelease, &w, &id_), THR_ERR_OK);
  EXPECT_EQ(ThrExitCode(ThrGetCurrentId(), &code_), THR_ERR_STILL_ALIVE);
  EXPECT_EQ(ThrExitCode(id_, &code_), THR_ERR_STILL_ALIVE);
  w.released = true;
  int rc;
  while ((rc = ThrExitCode(id_, &code_)) == THR_ERR_STILL_ALIVE) sched_yield();
  EXPECT_EQ(std::tuple(rc, code_), std::tuple(THR_ERR_OK, 107u));

  EXPECT_EQ(ThrKill(ThrGetCurrentId(), 0), THR_ERR_OK);
  EXPECT_EQ(ThrKill(ThrGetCurrentId(), 9999), THR_ERR_INVALID_PARAM);
  ASSERT_EQ(ThrCreate(SleepUntilCancelled, nullptr, &id_), THR_ERR_OK);
  EXPECT_EQ(ThrCancel(id_), THR_ERR_OK);
  THR_ID none;
  EXPECT_EQ(ThrWaitAll(&none, &code_), THR_ERR_DEADLOCK) << "no entry is left";
  EXPECT_EQ(ThrPWait(id_, &code_), THR_ERR_OK);
  EXPECT_EQ(code_, reinterpret_cast<uintptr_t>(PTHREAD_CANCELED));
}

// Waiting for oneself deadlocks; waiting for all with no other thread answers at once (ThrWait)
// or deadlocks (ThrWaitAll); both are refused while another wait for all runs.
TEST_F(ThrThreads, WaitsWithNothingToWaitFor) {
  EXPECT_EQ(ThrWait(ThrGetCurrentId(), &code_), THR_ERR_DEADLOCK);
  EXPECT_EQ(ThrWait(THR_INVALID_ID, &code_), THR_ERR_OK);
  EXPECT_EQ(code_, 0u);
  ASSERT_TRUE(thr::TakeWaitBusyFlag());
  EXPECT_EQ(ThrWaitAll(&id_, &code_), THR_ERR_DEADLOCK);
  EXPECT_EQ(id_, 42u) << "untouched";
  EXPECT_EQ(ThrWait(THR_INVALID_ID, &code_), THR_ERR_DEADLOCK);
  thr::ClearWaitBusyFlag();
  EXPECT_EQ(ThrWaitAll(&id_, &code_), THR_ERR_DEADLOCK);
  EXPECT_EQ(id_, THR_INVALID_ID);
}

// The first use creates the key and a second get keeps it; a value the layer never handed out
// counts as not created.
TEST(ThrKeys, FirstUseCreatesTheKeyAndASecondGetKeepsIt) {
  ASSERT_EQ(ThrProcInit(), THR_ERR_OK);
  THR_KEY key = THR_INVALID_KEY;
  EXPECT_EQ(ThrKeyVarGet(&key), nullptr);
  ASSERT_NE(key, THR_INVALID_KEY);
  int value = 7;
  EXPECT_EQ(ThrKeyVarSet(&key, &value), THR_ERR_OK);
  const THR_KEY first = key;
  EXPECT_EQ(ThrKeyGet(&key, nullptr), THR_ERR_EXISTS);
  EXPECT_EQ(key, first);
  EXPECT_EQ(ThrKeyVarGet(&key), &value);
  EXPECT_EQ(ThrKeyDel(&key), THR_ERR_OK);
  EXPECT_EQ(key, THR_INVALID_KEY);
  EXPECT_EQ(ThrKeyDel(&key), THR_ERR_INVALID_PARAM);
  key = 123456;
  EXPECT_EQ(ThrKeyGet(&key, nullptr), THR_ERR_OK);
  EXPECT_NE(key, 123456u);
  EXPECT_EQ(ThrKeyDel(&key), THR_ERR_OK);
}

}  // namespace
