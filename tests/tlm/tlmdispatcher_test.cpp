// The dispatcher's decisions that need no running thread: the zombie check's cadence and the trace
// of threads that can't be started.
#include "metrics_test_support.h"
#include "tlm/tlmdispatchermanager.h"
#include "trace_capture.h"

namespace {

class DispatcherTest : public ::testing::Test {
 protected:
  // The configuration of pairs, and an initialised manager.
  CDispatcherManager *Initialize(const metrics_test::Pairs &pairs) {
    metrics_test::Configure(pairs);
    CDispatcherManager::Instance()->initialize();
    return CDispatcherManager::Instance();
  }
  void TearDown() override {
    CDispatcherManager::release();
    TLMParameterHelper::CleanUp();
  }
  tlm_test::TraceCapture trace_{1};
};

// Without a threaded thread layer no thread can be made: each is traced as an error, and the stop
// doesn't wait for timers that never ran.
TEST_F(DispatcherTest, ThreadsThatCantBeCreatedAreTracedAndSkipped) {
  CDispatcherManager *manager =
      Initialize({{u"tracecheck_interval", u"5"}, {u"datasending_interval", u"60"}});
  ThrProcExit();
  manager->startTimer();
  EXPECT_TRUE(manager->isActive());
  EXPECT_FALSE(manager->isTraceTimerActive());
  EXPECT_FALSE(manager->isDataTimerActive());
  manager->endTimer();
  manager->checkCleanUp();

  // The four spawn errors in order, and no thread said to have been triggered.
  std::u16string text = trace_.Text();
  size_t at = 0;
  for (const char16_t *thread : {u"trace timer", u"trace dispatcher", u"data timer",
                                 u"data dispatcher"}) {
    at = text.find(u"*** ERROR => TLM library failed to spawn the " + std::u16string(thread) +
                       u" thread",
                   at);
    EXPECT_NE(at, std::u16string::npos) << tlm_test::Utf8(thread);
  }
  EXPECT_EQ(tlm_test::Count(text, u"*** ERROR => "), 4u);
  EXPECT_EQ(tlm_test::Count(text, u"successfully triggered"), 0u);
  EXPECT_EQ(tlm_test::Count(text, u"Timer threads are successfully finished"), 1u);
  EXPECT_EQ(tlm_test::Count(text, u"Data sending threads are successfully finished"), 1u);
  ThrProcInit();
}

}  // namespace
