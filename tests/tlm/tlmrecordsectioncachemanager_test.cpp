// The rings of metric and trace sections: what a run sends, carries and loses; call-backs.
#include "tlm/tlmrecordsectioncachemanager.h"

#include "metrics_test_support.h"
#include "tlm/tlmplatformhelper.h"
#include "tlm/tlmtracesectioncachemanager.h"
#include "trace_capture.h"

namespace {

using metrics_test::Has;

class SectionRing : public metrics_test::MetricsTest {};

// A run rotates the ring though nothing was reported; a run under way makes another one return at
// once; an agent that isn't ready costs the interval its content.
TEST_F(SectionRing, EmptyBusyOrUnreadyRunsSendNothing) {
  Start({{u"cache_section_count", u"3"}});
  for (int run = 1; run <= 4; ++run) Sections()->processData();
  EXPECT_EQ(Sections()->getVersion(), 4u);
  EXPECT_EQ(Sections()->getRingSize(), 3u);
  EXPECT_EQ(Sink().StatusChecks(), 0);

  Start();
  Sections()->getResourceRecordByName(u"R")->incValue(1);
  ASSERT_TRUE(Sections()->setInProcessStatus());
  Sections()->processData();
  EXPECT_EQ(Sections()->getVersion(), 0u);
  EXPECT_FALSE(Sections()->setInProcessStatus());
  Sections()->resetInProcessStatus();
  Stat(u"S")->calStatRecord(1, 1, 1, 1);
  Sink().SetReady(false);
  Sections()->processData();
  Sink().SetReady(true);
  Sections()->processData();
  // Asked both times (the carried resource isn't nothing), and nothing was updated the second.
  EXPECT_EQ(Sink().StatusChecks(), 2);
  EXPECT_TRUE(Sink().Texts().empty());
  EXPECT_EQ(Sections()->getRingSize(), 2u);
}

TEST_F(SectionRing, StatRecordsAreSentOnceAndCarriedWhileInFlight) {
  Start();
  int32_t version = -1;
  std::shared_ptr<CMTStatRecord> before = Sections()->getStatRecordByName(u"A", version);
  EXPECT_EQ(version, 0);
  before->calStatRecord(3, -1, 0, -1);
  Stat(u"Open")->start();
  Sections()->processData();
  EXPECT_NE(Sections()->getStatRecordByName(u"A", version), before);
  EXPECT_EQ(version, 1);
  // Name order; the open component's record has no sample and an empty text.
  ASSERT_EQ(Sink().Texts().size(), 2u);
  EXPECT_TRUE(Has(Sink().Texts()[0], u"|A:Avg. Elapsed Time(ms)\" value=\"3\""));
  EXPECT_EQ(Sink().Texts()[1], u"");
  // "A" (made again by the look-up) and the carried "Open"; then "Open" alone.
  for (size_t sent : {2u, 1u}) {
    Sink().Clear();
    Sections()->processData();
    EXPECT_EQ(Sink().Texts().size(), sent);
  }
}

TEST_F(SectionRing, ResourcesAreCarriedAndSentWhenUpdated) {
  Start();
  Sections()->getResourceRecordByName(u"Kept")->iniValue(5, true);
  Sections()->getResourceRecordByName(u"Per")->iniValue(5, false);
  auto per = [](const char16_t *value) {
    return u"<metric type=\"PerInterval\" name=\"ZUL_TLM|Per:Current Value\" value=\"" +
           std::u16string(value) + u"\" />\n";
  };
  Sections()->processData();
  EXPECT_EQ(Sink().Texts(),
            (std::vector<std::u16string>{
                u"<metric type=\"LongCounter\" name=\"ZUL_TLM|Kept:Current Value\" value=\"5\" "
                u"max=\"5\" min=\"5\" count=\"1\" />\n",
                per(u"5")}));
  for (int run = 0; run < 2; ++run) {
    Sink().Clear();
    Sections()->processData();
    EXPECT_EQ(Sink().Texts(), std::vector<std::u16string>{per(u"0")});
  }
  // Still known: a new report continues from the carried value.
  Sections()->getResourceRecordByName(u"Kept")->incValue(2);
  Sections()->processData();
  EXPECT_TRUE(Has(Sink().Joined(), u"Kept:Current Value\" value=\"7\" max=\"7\" min=\"5\""));
}

std::atomic<int> g_first{0}, g_second{0};

void First() { ++g_first; }
void Second() { ++g_second; }
void Throwing() { throw 1; }
// Reports into the section that is about to be sent.
void Reporting() {
  CRecordSectionCacheManager::Instance()->getResourceRecordByName(u"FromCallBack")->incValue(1);
}

using CallBacks = metrics_test::MetricsTest;

// Waits until the server clock's second changes.
void NextSecond() {
  uint32_t now = TLMPlatformHelper::GetServerTimeInSecond();
  while (TLMPlatformHelper::GetServerTimeInSecond() == now) usleep(5000);
}

TEST_F(CallBacks, RunOncePastTheirTimeFirstRegistrationStays) {
  Start({{u"datasending_interval", u"60"}});
  g_first = g_second = 0;
  // At the start of a second, so that registering and the first run share it.
  NextSecond();
  Sections()->addCallBackFunctionPtr(0, &Throwing, 1, 0);
  Sections()->addCallBackFunctionPtr(1, &First, 1, 0);
  Sections()->addCallBackFunctionPtr(1, &Second, 1, 0);
  Sections()->addCallBackFunctionPtr(2, &Reporting, 1, 0);
  Sections()->addCallBackFunctionPtr(3, &Second, 3600, 0);
  Sections()->addCallBackFunctionPtr(4, &Second, 1, 0);
  Sections()->removeCallBackFunctionPtr(4);
  // Due at the second of the registration: they run once the clock is past it, and then not
  // again within the same second.
  Sections()->invokeCallBackFunctions();
  EXPECT_EQ(g_first, 0);
  NextSecond();
  Sections()->invokeCallBackFunctions();
  Sections()->invokeCallBackFunctions();
  EXPECT_EQ(g_first, 1);
  EXPECT_EQ(g_second, 0);
  Sections()->processData();
  EXPECT_TRUE(Has(Sink().Joined(), u"|FromCallBack:Current Value"));
}

// The trace ring.
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
