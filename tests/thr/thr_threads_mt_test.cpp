#include "thr_test_workers.h"
#include "zul_thr.h"

namespace {

using thr_test::WaitForRelease;
using thr_test::Worker;

class ThrThreadsConcurrency : public ::testing::Test {
 protected:
  void SetUp() override {
    ThrProcExit();
    ASSERT_EQ(ThrProcInit(), THR_ERR_OK);
  }
  // Starts workers numbered from 0, released at once or not.
  template <int n>
  void Start(Worker (&workers)[n], bool released) {
    for (int i = 0; i < n; ++i) {
      workers[i].number = i;
      workers[i].released = released;
      ASSERT_EQ(ThrCreate(WaitForRelease, &workers[i], &ids_[i]), THR_ERR_OK);
    }
  }
  THR_ID ids_[4], ended_ = 42;
  uint64_t code_ = 0;
};

// Released last to first, each ThrWaitAll answers the one that ended; then none is left.
TEST_F(ThrThreadsConcurrency, WaitAllAnswersThreadsAsTheyEnd) {
  Worker workers[3];
  Start(workers, false);
  for (int i = 2; i >= 0; --i) {
    workers[i].released = true;
    ASSERT_EQ(ThrWaitAll(&ended_, &code_), THR_ERR_OK);
    ASSERT_TRUE(ThrIdEqual(ended_, ids_[i])) << i;
    EXPECT_EQ(code_, uint64_t(100 + i));
  }
  EXPECT_EQ(ThrWaitAll(&ended_, &code_), THR_ERR_DEADLOCK);
  EXPECT_EQ(ended_, THR_INVALID_ID);
}

TEST_F(ThrThreadsConcurrency, WaitForAllJoinsEveryOtherThreadAndKeepsTheLastNonZeroCode) {
  Worker workers[4];
  Start(workers, true);  // all may end at once
  EXPECT_EQ(ThrWait(THR_INVALID_ID, &code_), THR_ERR_OK);
  EXPECT_EQ(code_, 103u) << "joined in creation order";
  EXPECT_EQ(ThrWaitAll(&ended_, &code_), THR_ERR_DEADLOCK) << "the table holds only the caller";
}

THR_KEY shared_key = THR_INVALID_KEY;

TEST(ThrKeysConcurrency, RacingFirstUsesCreateOneKeyAndKeepPerThreadValues) {
  std::vector<int> values(thr_test::kThreads), ok(thr_test::kThreads, 0);
  thr_test::RunThreads([&](int i) {
    ok[i] = ThrKeyVarSet(&shared_key, &values[i]) == THR_ERR_OK &&
            ThrKeyVarGet(&shared_key) == &values[i];
  });
  EXPECT_EQ(ok, std::vector<int>(thr_test::kThreads, 1));
  EXPECT_EQ(ThrKeyGet(&shared_key, nullptr), THR_ERR_EXISTS);
  EXPECT_EQ(ThrKeyDel(&shared_key), THR_ERR_OK);
}

}  // namespace
