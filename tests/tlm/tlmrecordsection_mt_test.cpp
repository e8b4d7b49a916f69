// Application threads updating stat records of the active section while another thread runs
// the sending: every update is counted at most once, and what is missing is only the updates
// that the design gives up (the loser of a first insertion of a name, and an update that held its
// record pointer across a switch and landed in a section already rendered, or one emptied).
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "metrics_test_support.h"
#include "zul_thr.h"

namespace {

using metrics_test::MetricsTest;

constexpr int kThreads = 8;
constexpr int kNames = 16;
constexpr long kUpdatesPerThread = 10000;

// The number after `label" value="` or `count="` in text, summed over all occurrences.
long SumAfter(const std::u16string &text, const std::u16string &marker) {
  long sum = 0;
  for (size_t at = text.find(marker); at != std::u16string::npos; at = text.find(marker, at + 1)) {
    size_t begin = at + marker.size();
    size_t end = text.find(u'"', begin);
    sum += std::stol(std::string(text.begin() + begin, text.begin() + end));
  }
  return sum;
}

class SectionSwitchMt : public MetricsTest {
 protected:
  void SetUp() override {
    ThrProcInit();
    // Two sections: each comes back to the front, and is emptied, while updates that fetched
    // one of its records may still be under way.
    Start({{u"perf_metric_scope", u"16"}});
  }
};

TEST_F(SectionSwitchMt, NothingIsCountedTwice) {
  std::vector<zulstring> names;
  for (int i = 0; i < kNames; ++i) names.push_back(u"C" + zulstring(1, u'A' + i) + u"|op");

  std::atomic<int> running{kThreads};
  std::vector<std::thread> workers;
  for (int t = 0; t < kThreads; ++t) {
    workers.emplace_back([&, t] {
      for (long i = t; i < t + kUpdatesPerThread; ++i) {
        int32_t version;
        CRecordSection::StatRef record = Sections()->getStatRecordByName(names[i % kNames], version);
        record->start();
        record->calStatRecord(1, -1, 1, -1);
        record->stop();
      }
      --running;
    });
  }
  long runs = 0;
  while (running > 0) {
    Sections()->processData();
    ++runs;
    usleep(500);
  }
  for (std::thread &worker : workers) worker.join();
  // The last interval, then one in which only carried records with nothing new remain.
  Sections()->processData();
  Sections()->processData();
  runs += 2;

  const std::u16string sent = Sink().Joined();
  const long finished = SumAfter(sent, u"Finished Counter\" value=\"");
  const long samples = SumAfter(sent, u"count=\"");
  const long total = kThreads * kUpdatesPerThread;
  EXPECT_GT(runs, 5);
  EXPECT_LE(finished, total);
  EXPECT_LE(samples, total);
  // Each run can cut off at most one update per thread, and lose one first insertion per name.
  EXPECT_GE(finished, total - runs * (kThreads + kNames));
  EXPECT_GE(samples, total - runs * (kThreads + kNames));
  EXPECT_EQ(Sections()->getRingSize(), 2u);
  std::printf(
      "%ld runs, updates %ld, finished sent %ld (missing %ld), samples sent %ld (missing %ld)\n",
      runs, total, finished, total - finished, samples, total - samples);
}

}  // namespace
