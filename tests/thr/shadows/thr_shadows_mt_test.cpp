// The C library replacements of tlm.so, called through their plain names from a program linked
// against tlm.so: two threads that call them at once each get their own results. With the C
// library's own functions the second thread's call would overwrite the first one's.
#include <netdb.h>

#include <barrier>
#include <ctime>

#include "zul_thr.h"

namespace {

class ThrShadows : public ::testing::Test {
 protected:
  // The layer is started before threads exist, as a program does.
  void SetUp() override { ASSERT_EQ(ThrProcInit(), THR_ERR_OK); }

  // Runs body(0) and body(1) on two threads at once; both_ lets them meet.
  template <typename Body>
  void OnTwoThreads(Body body) {
    std::thread a(body, 0), b(body, 1);
    a.join();
    b.join();
  }
  std::barrier<> both_{2};
};

// Each thread keeps its own strtok save pointer, and its rand seed starts at 1.
TEST_F(ThrShadows, StrtokAndRandKeepTheirStatePerThread) {
  std::vector<std::string> tokens[2];
  std::vector<int> expected, drawn[2];
  unsigned int seed = 1;
  for (int n = 0; n < 50; ++n) expected.push_back(rand_r(&seed));
  OnTwoThreads([&](int i) {
    char text[2][16] = {"a1,a2 a3", "b1 b2,b3"};
    const char *token = strtok(text[i], ", ");
    both_.arrive_and_wait();
    for (; token != nullptr; token = strtok(nullptr, ", ")) tokens[i].push_back(token);
    for (int n = 0; n < 50; ++n) drawn[i].push_back(rand());
  });
  EXPECT_EQ(tokens[0], (std::vector<std::string>{"a1", "a2", "a3"}));
  EXPECT_EQ(tokens[1], (std::vector<std::string>{"b1", "b2", "b3"}));
  EXPECT_EQ(drawn[0], expected);
  EXPECT_EQ(drawn[1], expected);
}

TEST_F(ThrShadows, LookupResultsAreNotOverwrittenByAnotherThread) {
  const time_t times[2] = {0, 200 * 86400};
  const char *addresses[2] = {"127.0.0.1", "127.0.0.2"};
  const void *records[2][2] = {};
  int yday[2] = {-1, -1}, expected_yday[2] = {-2, -2};
  std::string host_name[2];
  OnTwoThreads([&](int i) {
    struct tm own;
    expected_yday[i] = localtime_r(&times[i], &own)->tm_yday;
    struct tm *local = localtime(&times[i]);
    struct hostent *host = gethostbyname(addresses[i]);
    both_.arrive_and_wait();
    both_.arrive_and_wait();  // the other thread has called too
    records[i][0] = local;
    records[i][1] = host;
    if (local != nullptr) yday[i] = local->tm_yday;
    if (host != nullptr) host_name[i] = host->h_name;
  });
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(yday[i], expected_yday[i]) << i;
    EXPECT_EQ(host_name[i], addresses[i]) << i;
  }
  EXPECT_NE(records[0][0], records[1][0]);
  EXPECT_NE(records[0][1], records[1][1]);
}

}  // namespace
