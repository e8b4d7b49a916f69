// Application threads appending traces while two threads run the sending, as the trace
// dispatcher and a forced flush do: with a ready agent every text goes out exactly once, each
// thread's texts in their order, and the version event once.

#include "metrics_test_support.h"
#include "trace_capture.h"
#include "zul_thr.h"

namespace {

constexpr int kWriters = 4;
constexpr int kTextsPerWriter = 3000;

class TraceRingMt : public metrics_test::TraceRingTest {
 protected:
  void SetUp() override {
    ThrProcInit();
    Start();
  }

  tlm_test::TraceCapture trace_{3};
};

TEST_F(TraceRingMt, EveryTextIsSentOnceInItsWritersOrder) {
  CTraceSectionCacheManager *ring = Ring();
  std::atomic<int> writing{kWriters};
  std::vector<std::thread> threads;
  for (int w = 0; w < kWriters; ++w) {
    threads.emplace_back([&, w] {
      for (int i = 0; i < kTextsPerWriter; ++i)
        ring->addTransTraceString(zulstring(1, u'0' + w) + tlm_test::Utf16(std::to_string(i)));
      --writing;
    });
  }
  for (int s = 0; s < 2; ++s) {
    threads.emplace_back([&] {
      while (writing.load() > 0) ring->processTraceData();
    });
  }
  for (std::thread &thread : threads) thread.join();
  ring->processTraceData();  // the last active section goes out with the next run

  std::vector<int> next(kWriters, 0);
  int versions = 0;
  for (const std::u16string &text : Sink().Texts()) {
    if (metrics_test::Has(text, u"TLM library version")) {
      ++versions;
      continue;
    }
    const size_t writer = text[0] - u'0';
    ASSERT_LT(writer, next.size()) << tlm_test::Utf8(text);
    EXPECT_EQ(std::stoi(tlm_test::Utf8(text.substr(1))), next[writer]++) << tlm_test::Utf8(text);
  }
  EXPECT_EQ(versions, 1);
  EXPECT_EQ(next, std::vector<int>(kWriters, kTextsPerWriter));
  EXPECT_EQ(ring->getRingSize(), 2u);
}

}  // namespace
