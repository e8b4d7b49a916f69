// Timing from many threads at once: what reaches the sink is what was ended; and a stop while
// threads still call.

#include "tlm/tlmmtstatrecord.h"
#include "tlm_core_fixture.h"

namespace {

constexpr int kThreads = 4;
constexpr int kTransactions = 2000;
const char16_t *const kComponents[] = {u"Outer", u"Middle", u"Inner"};

// Each transaction times three nested components and ends them in order.
void TimeTransactions(int count) {
  for (int i = 0; i < count; ++i) {
    uint32_t ids[3];
    for (int level = 0; level < 3; ++level)
      ids[level] = TLM_startTiming(kComponents[level], u"op", 1);
    for (int level = 2; level >= 0; --level) TLM_endTiming(ids[level]);
  }
}

// Sums the values of label over every metric line of component|op in texts.
long Sum(const std::vector<std::u16string> &texts, const std::u16string &component,
         const std::u16string &label) {
  const std::u16string name = u"|" + component + u"|op:" + label + u"\" value=\"";
  long sum = 0;
  for (const std::u16string &text : texts) {
    for (size_t at = text.find(name); at != std::u16string::npos; at = text.find(name, at + 1))
      sum += std::stol(tlm_test::Utf8(text.substr(at + name.size(), 12)));
  }
  return sum;
}

void RunThreads(const std::function<void()> &body) {
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(body);
  for (auto &thread : threads) thread.join();
}

using TLMTimingConcurrency = core_test::StartedTest;

// A flusher switches the ring all the while. Nothing may be lost but the ends of a thread that
// looked its record up just before a switch and ended after the old section was sent (counted by
// the records as late), and no counter may show what no thread did: no exception or undefined
// ends, as every component ends normally. Without switches nothing is late, so this also proves
// that every end reaches the sink once.
TEST_F(TLMTimingConcurrency, ConservationUnderForcedSwitches) {
  Start({{u"perf_metric_scope", u"113"}, {u"cache_section_count", u"2"}});
  const uint64_t lateBefore = CMTStatRecord::LateEndCount();
  std::atomic<bool> timing{true};
  std::thread flusher([&] {
    for (int i = 0; i < 100000 && timing; ++i) TLM_outputMetricData();
  });
  RunThreads([] { TimeTransactions(kTransactions); });
  timing = false;
  flusher.join();
  std::vector<std::u16string> texts = Flush();
  const long late = static_cast<long>(CMTStatRecord::LateEndCount() - lateBefore);
  long sent = 0;
  for (const char16_t *component : kComponents) {
    sent += Sum(texts, component, u"Finished Counter");
    EXPECT_EQ(Sum(texts, component, u"Exception Counter"), 0) << tlm_test::Utf8(component);
    EXPECT_EQ(Sum(texts, component, u"Finished with undefined state"), 0);
  }
  EXPECT_EQ(sent + late, 3L * kThreads * kTransactions);
  EXPECT_LT(late, 3L * kThreads * kTransactions / 100);  // the window is a few instructions wide
}

// Stopping while other threads still call is the application's error; the calls already inside
// finish before anything is freed, and later ones do nothing.
TEST_F(TLMTimingConcurrency, StopWhileThreadsCall) {
  for (int round = 0; round < 2; ++round) {
    Start({});
    std::atomic<bool> stop{false};
    std::thread stopper([&stop] {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      TLM_ProcExit();
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      stop = true;
    });
    RunThreads([&stop] {
      while (!stop.load()) {
        TLM_initContext(u"*1000");
        uint32_t id = TLM_startTiming(u"A", u"op", 1);
        TLM_appendInfo(id, u"n", u"v");
        TLM_appendContextInfo(u"n", u"v");
        TimeTransactions(1);
        TLM_endTiming(id);
      }
    });
    stopper.join();
    EXPECT_EQ(s_process_usage, 0);
  }
}

}  // namespace
