#include <gtest/gtest.h>

#include "zul_thr.h"

namespace {

class ThrKeys : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(ThrProcInit(), THR_ERR_OK); }
};

TEST_F(ThrKeys, FirstUseCreatesTheKeyAndASecondGetKeepsIt) {
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
}

TEST_F(ThrKeys, ForeignValueInVariableIsTreatedAsNotCreated) {
  THR_KEY key = 123456;  // never handed out by the layer
  EXPECT_EQ(ThrKeyGet(&key, nullptr), THR_ERR_OK);
  EXPECT_NE(key, 123456u);
  EXPECT_EQ(ThrKeyDel(&key), THR_ERR_OK);
}

}  // namespace
