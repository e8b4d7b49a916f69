#include <gtest/gtest.h>

#include "zul_thr.h"

namespace {

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
