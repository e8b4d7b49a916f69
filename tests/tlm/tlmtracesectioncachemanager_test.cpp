#include "tlm/tlmtracesectioncachemanager.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "metrics_test_support.h"
#include "tlm/tlmcontextcachemanager.h"
#include "tlm/tlmmtdatasendingfileagent.h"
#include "tlm/tlmmtdatasendingsocketagent.h"
#include "trace_capture.h"
#include "trace_sink.h"

namespace {

typedef std::vector<std::u16string> Texts;

const std::u16string kVersionLine =
    u"<metric type=\"StringEvent\" name=\"ZUL_TLM:TLM library version\" value=\"2.3.12\" />\n";

// The trace ring over a configuration from pairs, with the registry that names the process, and a
// sink as its agent.
class TraceRing : public ::testing::Test {
 protected:
  void Start(metrics_test::Pairs pairs = {}) {
    metrics_test::Configure(pairs);
    CContextCacheManager::Instance()->initialize();
    Ring()->initialize();
    sink_ = std::make_unique<tlm_test::TraceSink>();
  }
  void TearDown() override {
    CTraceSectionCacheManager::release();
    CContextCacheManager::release();
    TLMParameterHelper::CleanUp();
  }
  static CTraceSectionCacheManager *Ring() { return CTraceSectionCacheManager::Instance(); }
  tlm_test::TraceSink &Sink() { return *sink_; }

 private:
  std::unique_ptr<tlm_test::TraceSink> sink_;
};

TEST_F(TraceRing, InitializeBuildsTheRingAndTheAgentOfTheSendingMethod) {
  metrics_test::Configure({{u"cache_section_count", u"4"}, {u"datasending_method", u"socket"}});
  Ring()->initialize();
  EXPECT_NE(dynamic_cast<CMTDataSendingSocketAgent *>(Ring()->getAgent()), nullptr);
  EXPECT_EQ(Ring()->getRingSize(), 4u);
  TearDown();
  metrics_test::Configure({{u"datasending_method", u"file"}});
  Ring()->initialize();
  EXPECT_NE(dynamic_cast<CMTDataSendingFileAgent *>(Ring()->getAgent()), nullptr);
  EXPECT_EQ(Ring()->getRingSize(), 2u);
}

TEST_F(TraceRing, EmptyPeriodsRotateAndTheVersionWaitsForAReadyAgent) {
  Start({{u"cache_section_count", u"3"}});
  Sink().SetReady(false);
  for (int run = 0; run < 4; ++run) Ring()->processTraceData();
  EXPECT_TRUE(Sink().Texts().empty());
  EXPECT_FALSE(Ring()->isVersionSent());
  EXPECT_EQ(Sink().StatusChecks(), 4);  // the version's question only: the periods were empty
  EXPECT_EQ(Ring()->getRingSize(), 3u);

  Sink().SetReady(true);
  Ring()->processTraceData();
  EXPECT_EQ(Sink().Texts(), Texts{kVersionLine});
  // Once per process, though the sink may have dropped it: not asked about again.
  Ring()->processTraceData();
  EXPECT_EQ(Sink().Texts(), Texts{kVersionLine});
  EXPECT_EQ(Sink().StatusChecks(), 5);
}

TEST_F(TraceRing, TextsGoOutInOrderOnceEach) {
  Start();
  Ring()->addTransTraceString(u"A");
  Ring()->addTransTraceString(u"B");
  Ring()->processTraceData();
  EXPECT_EQ(Sink().Texts(), (Texts{kVersionLine, u"A", u"B"}));
  Sink().Clear();
  Ring()->addTransTraceString(u"C");
  Ring()->processTraceData();
  Ring()->processTraceData();
  EXPECT_EQ(Sink().Texts(), Texts{u"C"});
}

TEST_F(TraceRing, PeriodIsLostWhileTheAgentIsDown) {
  Start();
  Ring()->addTransTraceString(u"Lost");
  Sink().SetReady(false);
  Ring()->processTraceData();
  Sink().SetReady(true);
  Ring()->addTransTraceString(u"Kept");
  Ring()->processTraceData();
  Ring()->processTraceData();  // the lost period's section is active again, and emptied
  Ring()->processTraceData();
  EXPECT_EQ(Sink().Texts(), (Texts{kVersionLine, u"Kept"}));
}

TEST_F(TraceRing, BusyRunReturnsWithoutRotating) {
  Start();
  Ring()->addTransTraceString(u"A");
  ASSERT_TRUE(Ring()->setInProcessStatus());
  Ring()->processTraceData();
  EXPECT_EQ(Ring()->getRingSize(), 2u);
  EXPECT_EQ(Sink().StatusChecks(), 0);
  Ring()->resetInProcessStatus();
  // "A" stayed in the active section.
  Ring()->processTraceData();
  EXPECT_EQ(Sink().Texts(), (Texts{kVersionLine, u"A"}));
}

TEST_F(TraceRing, NoAgentKeepsTheVersionForLater) {
  Start();
  Ring()->setAgent(nullptr);
  Ring()->addTransTraceString(u"A");
  Ring()->processTraceData();
  EXPECT_FALSE(Ring()->isVersionSent());
  EXPECT_EQ(Ring()->getRingSize(), 2u);
}

TEST_F(TraceRing, TraceOfARun) {
  Start();
  Ring()->addTransTraceString(u"A");
  Ring()->addTransTraceString(u"B");
  tlm_test::TraceCapture trace(3);
  Ring()->processTraceData();
  const std::u16string p = tlm_test::TraceCapture::ThreadPrefix();
  EXPECT_EQ(trace.Lines(),
            (Texts{p + u"Start copying[lock]", p + u"End copying[unlock]",
                   p + u"Version Data Sent Once for", p + kVersionLine.substr(0, kVersionLine.size() - 1),
                   p + u"Trace Data Detected", p + u"Trace sending statistics: EM TT trace# 2 sent",
                   p + u"Processing finished"}));
  // At level 1 only the version and the statistics remain.
  tlm_test::TraceCapture quiet(1);
  Ring()->addTransTraceString(u"C");
  Ring()->processTraceData();
  EXPECT_EQ(quiet.Lines(), Texts{p + u"Trace sending statistics: EM TT trace# 1 sent"});
}

TEST_F(TraceRing, StringEventLines) {
  struct Case {
    const char16_t *component;
    short pidOption;
    const char16_t *subPath;
    const char16_t *expected;
  };
  const Case cases[] = {
      {u"", 0, u"", u"<metric type=\"StringEvent\" name=\"SYS_0:N\" value=\"V\" />\n"},
      {u"App", 0, u"Sub/Path",
       u"<metric type=\"StringEvent\" name=\"SYS|App_0|Sub/Path:N\" value=\"V\" />\n"},
      {u"App", 12, u"", u"<metric type=\"StringEvent\" name=\"SYS|App_12:N\" value=\"V\" />\n"},
  };
  Start({{u"system_name", u"SYS"}});
  // The instance prefix belongs to metric names only.
  CContextCacheManager::Instance()->setInstancePrefix(u"Inst");
  for (const Case &c : cases) {
    CContextCacheManager::Instance()->setComponentName(c.component);
    CContextCacheManager::Instance()->setPIDOption(c.pidOption);
    EXPECT_EQ(Ring()->buildSetStringData(c.subPath, u"N", u"V"), c.expected)
        << tlm_test::Utf8(c.subPath);
  }
  tlm_test::TraceCapture trace(1);
  Ring()->processTraceData();
  EXPECT_EQ(Sink().Texts(),
            Texts{u"<metric type=\"StringEvent\" name=\"SYS|App_12:TLM library version\" "
                  u"value=\"2.3.12\" />\n"});
}

TEST_F(TraceRing, BuildingAStringLineIsTraced) {
  Start();
  tlm_test::TraceCapture trace(1);
  const zulstring line = Ring()->buildSetStringData(u"", u"Name", u"Value");
  const std::u16string p = tlm_test::TraceCapture::ThreadPrefix();
  EXPECT_EQ(trace.Text(), p + u"buildSetStringData Data for\n" + p + line);
}

}  // namespace
