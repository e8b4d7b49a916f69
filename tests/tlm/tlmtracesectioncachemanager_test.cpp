#include "tlm/tlmtracesectioncachemanager.h"

#include "metrics_test_support.h"
#include "trace_capture.h"

namespace {

typedef std::vector<std::u16string> Texts;

const std::u16string kVersionLine =
    u"<metric type=\"StringEvent\" name=\"ZUL_TLM:TLM library version\" value=\"2.3.12\" />\n";

class TraceRing : public metrics_test::TraceRingTest {};

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

// String events name the system, the component and its PID option, not the instance prefix.
TEST_F(TraceRing, StringEventLines) {
  Start({{u"system_name", u"SYS"}});
  const std::tuple<const char16_t *, short, const char16_t *> cases[] = {
      {u"", 0, u"<metric type=\"StringEvent\" name=\"SYS_0:N\" value=\"V\" />\n"},
      {u"App", 12, u"<metric type=\"StringEvent\" name=\"SYS|App_12:N\" value=\"V\" />\n"},
  };
  for (const auto &[component, pidOption, expected] : cases) {
    tlmlibrary::Settings()->update([&](CProcessSettings &next) {
      next.componentName = component;
      next.pidString = CProcessSettings::PIDText(pidOption);
      next.instancePrefix = u"Inst";
    });
    EXPECT_EQ(Ring()->buildSetStringData(u"", u"N", u"V"), expected);
  }
}

}  // namespace
