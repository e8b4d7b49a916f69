#include <gtest/gtest.h>

#include "zul_thr.h"

namespace {

class ThrKeys : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(ThrProcInit(), THR_ERR_OK); }
};

TEST_F(ThrKeys, VarGetOnUncreatedVariableCreatesTheKeyAndAnswersNull) {
  THR_KEY key = THR_INVALID_KEY;
  EXPECT_EQ(ThrKeyVarGet(&key), nullptr);
  EXPECT_NE(key, THR_INVALID_KEY);
  int value = 7;
  EXPECT_EQ(ThrKeyVarSet(&key, &value), THR_ERR_OK);
  EXPECT_EQ(ThrKeyVarGet(&key), &value);
  EXPECT_EQ(ThrKeyDel(&key), THR_ERR_OK);
  EXPECT_EQ(key, THR_INVALID_KEY);
}

TEST_F(ThrKeys, SecondGetAnswersExistsAndKeepsTheValue) {
  THR_KEY key = THR_INVALID_KEY;
  ASSERT_EQ(ThrKeyGet(&key, nullptr), THR_ERR_OK);
  THR_KEY first = key;
  EXPECT_EQ(ThrKeyGet(&key, nullptr), THR_ERR_EXISTS);
  EXPECT_EQ(key, first);
  EXPECT_EQ(ThrKeyDel(&key), THR_ERR_OK);
}

TEST_F(ThrKeys, DeleteOfUncreatedKeyAnswersInvalidParam) {
  THR_KEY key = THR_INVALID_KEY;
  EXPECT_EQ(ThrKeyDel(&key), THR_ERR_INVALID_PARAM);
}

TEST_F(ThrKeys, ForeignValueInVariableIsTreatedAsNotCreated) {
  THR_KEY key = 123456;  // never handed out by the layer
  EXPECT_EQ(ThrKeyGet(&key, nullptr), THR_ERR_OK);
  EXPECT_NE(key, 123456u);
  EXPECT_EQ(ThrKeyDel(&key), THR_ERR_OK);
}

TEST(ThrMtx, LocksAreNoOpsUntilThreaded) {
  ThrProcExit();
  THR_MTX mtx;
  ASSERT_EQ(ThrMtxInit(&mtx, nullptr), THR_ERR_OK);
  EXPECT_EQ(ThrMtxDelete(&mtx), THR_ERR_NOT_INIT);
  // Not threaded: locking twice cannot deadlock, as no call reaches the system.
  EXPECT_EQ(ThrMtxLock(&mtx), THR_ERR_OK);
  EXPECT_EQ(ThrMtxLock(&mtx), THR_ERR_OK);
  EXPECT_EQ(ThrMtxUnlock(&mtx), THR_ERR_OK);
  ASSERT_EQ(ThrProcInit(), THR_ERR_OK);
  EXPECT_EQ(ThrMtxDelete(&mtx), THR_ERR_OK);
}

int lock_hook_calls = 0;
int unlock_hook_calls = 0;

TEST(ThrMtx, HooksRunOnLockSuccessOnlyAndOnEveryUnlock) {
  ASSERT_EQ(ThrProcInit(), THR_ERR_OK);
  THR_MTX mtx;
  ASSERT_EQ(ThrMtxInit(&mtx, nullptr), THR_ERR_OK);
  lock_hook_calls = unlock_hook_calls = 0;
  ThrSetCriticalSectionHook([](const ZUL_UTF16 *name) {
    EXPECT_EQ(std::u16string(name), u"ThrMutex");
    ++lock_hook_calls;
  },
                            [] { ++unlock_hook_calls; });
  EXPECT_EQ(ThrMtxLock(&mtx), THR_ERR_OK);
  EXPECT_EQ(ThrMtxTryLock(&mtx), THR_ERR_NOT_OWNER);  // busy: no hook
  EXPECT_EQ(ThrMtxUnlock(&mtx), THR_ERR_OK);
  EXPECT_EQ(ThrMtxILock(&mtx), THR_ERR_OK);  // I forms never call hooks
  EXPECT_EQ(ThrMtxIUnlock(&mtx), THR_ERR_OK);
  ThrSetCriticalSectionHook(nullptr, nullptr);
  EXPECT_EQ(lock_hook_calls, 1);
  EXPECT_EQ(unlock_hook_calls, 1);
  EXPECT_EQ(ThrMtxDelete(&mtx), THR_ERR_OK);
}

}  // namespace
