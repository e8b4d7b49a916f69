#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "zul_thr.h"

namespace {

THR_KEY shared_key = THR_INVALID_KEY;

TEST(ThrKeysConcurrency, RacingFirstUsesCreateOneKeyAndKeepPerThreadValues) {
  ASSERT_EQ(ThrProcInit(), THR_ERR_OK);
  std::vector<std::thread> threads;
  std::vector<int> values(8), ok(8, 0);
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([i, &values, &ok] {
      ok[i] = ThrKeyVarSet(&shared_key, &values[i]) == THR_ERR_OK &&
              ThrKeyVarGet(&shared_key) == &values[i];
    });
  }
  for (auto &t : threads) t.join();
  EXPECT_EQ(ok, std::vector<int>(8, 1));
  EXPECT_EQ(ThrKeyGet(&shared_key, nullptr), THR_ERR_EXISTS);
  EXPECT_EQ(ThrKeyDel(&shared_key), THR_ERR_OK);
}

}  // namespace
