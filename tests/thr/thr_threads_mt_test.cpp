#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

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
  // Starts n workers numbered from 0, released at once or not.
  static void Start(Worker *workers, THR_ID *ids, int n, bool released) {
    for (int i = 0; i < n; ++i) {
      workers[i].number = i;
      workers[i].released = released;
      ASSERT_EQ(ThrCreate(WaitForRelease, &workers[i], &ids[i]), THR_ERR_OK);
    }
  }
};

TEST_F(ThrThreadsConcurrency, WaitAllAnswersThreadsAsTheyEnd) {
  constexpr int kWorkers = 3;
  Worker workers[kWorkers];
  THR_ID ids[kWorkers];
  Start(workers, ids, kWorkers, false);
  // Let them end last to first; each ThrWaitAll answers the one that ended.
  for (int i = kWorkers - 1; i >= 0; --i) {
    workers[i].released = true;
    THR_ID ended = THR_INVALID_ID;
    uint64_t code = 0;
    ASSERT_EQ(ThrWaitAll(&ended, &code), THR_ERR_OK);
    ASSERT_TRUE(ThrIdEqual(ended, ids[i])) << i;
    EXPECT_EQ(code, uint64_t(100 + i));
  }
  THR_ID none = 42;
  uint64_t code = 0;
  EXPECT_EQ(ThrWaitAll(&none, &code), THR_ERR_DEADLOCK);
  EXPECT_EQ(none, THR_INVALID_ID);
}

// Each round of ThrWaitAll takes a new snapshot of the table: a thread created while it waits is
// found too.
TEST_F(ThrThreadsConcurrency, WaitAllSeesThreadsCreatedWhileItWaits) {
  Worker blocked, late;
  blocked.number = 5;
  late.number = -1;
  late.released = true;  // may end at once
  THR_ID blocked_id, late_id = THR_INVALID_ID;
  ASSERT_EQ(ThrCreate(WaitForRelease, &blocked, &blocked_id), THR_ERR_OK);
  std::thread creator([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    ThrCreate(WaitForRelease, &late, &late_id);
  });
  THR_ID ended = THR_INVALID_ID;
  uint64_t code = 0;
  ASSERT_EQ(ThrWaitAll(&ended, &code), THR_ERR_OK);
  creator.join();
  EXPECT_TRUE(ThrIdEqual(ended, late_id));
  EXPECT_EQ(code, 99u);
  blocked.released = true;
  EXPECT_EQ(ThrWait(blocked_id, &code), THR_ERR_OK);
  EXPECT_EQ(code, 105u);
}

TEST_F(ThrThreadsConcurrency, WaitForAllJoinsEveryOtherThreadAndKeepsTheLastNonZeroCode) {
  constexpr int kWorkers = 4;
  Worker workers[kWorkers];
  THR_ID ids[kWorkers];
  Start(workers, ids, kWorkers, true);  // all may end at once
  uint64_t code = 0;
  EXPECT_EQ(ThrWait(THR_INVALID_ID, &code), THR_ERR_OK);
  EXPECT_EQ(code, uint64_t(100 + kWorkers - 1)) << "joined in creation order";
  THR_ID none;
  EXPECT_EQ(ThrWaitAll(&none, &code), THR_ERR_DEADLOCK) << "the table holds only the caller";
}

}  // namespace
