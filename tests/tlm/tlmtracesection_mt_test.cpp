// Application threads appending traces while two threads run the sending, as the trace
// dispatcher and a forced flush do: with a ready agent every text goes out exactly once, each
// thread's texts in their order, and the version event once.

#include "metrics_test_support.h"
#include "trace_capture.h"
#include "zul_thr.h"

namespace {

constexpr int kWriters = 4;
constexpr int kTextsPerWriter = 3000;
constexpr int kSenders = 2;

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
      for (int i = 0; i < kTextsPerWriter; ++i) {
        ring->addTransTraceString(u"W" + zulstring(1, u'0' + w) + u"-" +
                                  tlm_test::Utf16(std::to_string(i)));
      }
      --writing;
    });
  }
  for (int s = 0; s < kSenders; ++s) {
    threads.emplace_back([&] {
      while (writing.load() > 0) ring->processTraceData();
    });
  }
  for (std::thread &thread : threads) thread.join();
  // The last active section goes out with the next run.
  ring->processTraceData();

  std::map<char16_t, int> next;
  int versions = 0;
  for (const std::u16string &text : Sink().Texts()) {
    if (text.find(u"TLM library version") != std::u16string::npos) {
      ++versions;
      continue;
    }
    ASSERT_EQ(text[0], u'W');
    const int index = std::stoi(std::string(text.begin() + 3, text.end()));
    EXPECT_EQ(index, next[text[1]]) << tlm_test::Utf8(text);
    next[text[1]] = index + 1;
  }
  EXPECT_EQ(versions, 1);
  ASSERT_EQ(next.size(), static_cast<size_t>(kWriters));
  for (const auto &[writer, count] : next) EXPECT_EQ(count, kTextsPerWriter);
  EXPECT_EQ(ring->getRingSize(), 2u);
}

}  // namespace
