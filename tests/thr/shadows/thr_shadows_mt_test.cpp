// The C library replacements of tlm.so, called through their plain names from a program linked
// against tlm.so: two threads that call them at once each get their own results. With the C
// library's own functions the second thread's call would overwrite the first one's.
#include <gtest/gtest.h>
#include <netdb.h>

#include <barrier>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "zul_thr.h"

namespace {

class ThrShadows : public ::testing::Test {
 protected:
  // The layer is started before threads exist, as a program does.
  void SetUp() override { ASSERT_EQ(ThrProcInit(), THR_ERR_OK); }

  // Runs body(0) and body(1) on two threads at once.
  template <typename Body>
  static void OnTwoThreads(Body body) {
    std::thread a(body, 0);
    std::thread b(body, 1);
    a.join();
    b.join();
  }
};

TEST_F(ThrShadows, StrtokKeepsOneSavePointerPerThread) {
  std::barrier both_started(2);
  std::vector<std::string> tokens[2];
  OnTwoThreads([&](int i) {
    char text[2][16] = {"a1,a2 a3", "b1 b2,b3"};
    const char *token = strtok(text[i], ", ");
    both_started.arrive_and_wait();
    for (; token != nullptr; token = strtok(nullptr, ", ")) tokens[i].push_back(token);
  });
  EXPECT_EQ(tokens[0], (std::vector<std::string>{"a1", "a2", "a3"}));
  EXPECT_EQ(tokens[1], (std::vector<std::string>{"b1", "b2", "b3"}));
}

TEST_F(ThrShadows, RandStartsFromSeedOneInEachThread) {
  constexpr int kDraws = 50;
  std::vector<int> expected;
  unsigned int seed = 1;
  for (int n = 0; n < kDraws; ++n) expected.push_back(rand_r(&seed));
  std::barrier both_ready(2);
  std::vector<int> drawn[2];
  OnTwoThreads([&](int i) {
    both_ready.arrive_and_wait();
    for (int n = 0; n < kDraws; ++n) drawn[i].push_back(rand());
  });
  EXPECT_EQ(drawn[0], expected);
  EXPECT_EQ(drawn[1], expected);
}

TEST_F(ThrShadows, LookupResultsAreNotOverwrittenByAnotherThread) {
  std::barrier both_called(2);
  const time_t times[2] = {0, 200 * 86400};
  const char *addresses[2] = {"127.0.0.1", "127.0.0.2"};
  struct Seen {
    const void *tm_record = nullptr;
    int yday = -1;
    int expected_yday = -2;
    const void *host_record = nullptr;
    std::string host_name;
  } seen[2];
  OnTwoThreads([&](int i) {
    struct tm own;
    seen[i].expected_yday = localtime_r(&times[i], &own)->tm_yday;
    struct tm *local = localtime(&times[i]);
    struct hostent *host = gethostbyname(addresses[i]);
    both_called.arrive_and_wait();
    both_called.arrive_and_wait();  // the other thread has called too
    seen[i].tm_record = local;
    if (local != nullptr) seen[i].yday = local->tm_yday;
    seen[i].host_record = host;
    if (host != nullptr) seen[i].host_name = host->h_name;
  });
  for (int i = 0; i < 2; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(seen[i].yday, seen[i].expected_yday);
    EXPECT_EQ(seen[i].host_name, addresses[i]);
  }
  EXPECT_NE(seen[0].tm_record, seen[1].tm_record);
  EXPECT_NE(seen[0].host_record, seen[1].host_record);
}

}  // namespace
