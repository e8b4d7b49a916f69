#include "tlm/tlmrecordsectioncachemanager.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>

#include "metrics_test_support.h"
#include "tlm/tlmplatformhelper.h"
#include "trace_capture.h"

namespace {

using metrics_test::MetricsTest;

class SectionRing : public MetricsTest {};

TEST_F(SectionRing, IntervalWithoutDataOnlyRotates) {
  Start({{u"cache_section_count", u"3"}});
  EXPECT_EQ(Sections()->getRingSize(), 3u);
  for (int run = 1; run <= 4; ++run) {
    Sections()->processData();
    EXPECT_EQ(Sections()->getVersion(), static_cast<uint32_t>(run));
    EXPECT_EQ(Sections()->getRingSize(), 3u);
  }
  EXPECT_TRUE(Sink().Texts().empty());
  EXPECT_EQ(Sink().StatusChecks(), 0);
}

TEST_F(SectionRing, StatRecordsBelongToTheirVersion) {
  Start();
  int32_t version = -1;
  CMTStatRecord *before = Sections()->getStatRecordByName(u"A", version);
  EXPECT_EQ(version, 0);
  before->calStatRecord(3, -1, 0, -1);
  Sections()->getStatRecordByName(u"Open", version)->start();

  Sections()->processData();
  CMTStatRecord *after = Sections()->getStatRecordByName(u"A", version);
  EXPECT_EQ(version, 1);
  EXPECT_NE(after, before);
  EXPECT_EQ(after->getSampleCount(), 0u);
  // Name order; the open component's record has no sample and an empty text.
  ASSERT_EQ(Sink().Texts().size(), 2u);
  EXPECT_NE(Sink().Texts()[0].find(u"|A:Avg. Elapsed Time(ms)\" value=\"3\""),
            std::u16string::npos);
  EXPECT_EQ(Sink().Texts()[1], u"");

  // Only the record with a component in flight was carried into the interval just sent.
  Sink().Clear();
  Sections()->processData();
  ASSERT_EQ(Sink().Texts().size(), 2u);  // "A", made again by the look-up above, and "Open"
  Sink().Clear();
  Sections()->processData();
  EXPECT_EQ(Sink().Texts().size(), 1u);
}

TEST_F(SectionRing, ResourcesAreCarriedAndSentWhenUpdated) {
  Start();
  Sections()->getResourceRecordByName(u"Kept")->iniValue(5, true);
  Sections()->getResourceRecordByName(u"Per")->iniValue(5, false);
  const std::u16string kept =
      u"<metric type=\"LongCounter\" name=\"ZUL_TLM|Kept:Current Value\" value=\"5\" max=\"5\" "
      u"min=\"5\" count=\"1\" />\n";
  auto per = [](const char16_t *value) {
    return u"<metric type=\"PerInterval\" name=\"ZUL_TLM|Per:Current Value\" value=\"" +
           std::u16string(value) + u"\" />\n";
  };

  Sections()->processData();
  EXPECT_EQ(Sink().Texts(), (std::vector<std::u16string>{kept, per(u"5")}));
  for (int run = 0; run < 3; ++run) {
    Sink().Clear();
    Sections()->processData();
    EXPECT_EQ(Sink().Texts(), std::vector<std::u16string>{per(u"0")});
  }
  // Still known: a new report continues from the carried value.
  Sections()->getResourceRecordByName(u"Kept")->incValue(2);
  Sink().Clear();
  Sections()->processData();
  EXPECT_NE(Sink().Joined().find(u"Kept:Current Value\" value=\"7\" max=\"7\" min=\"5\""),
            std::u16string::npos);
}

TEST_F(SectionRing, BusyRunReturnsAtOnceWithoutSwitching) {
  Start();
  Sections()->getResourceRecordByName(u"R")->incValue(1);
  ASSERT_TRUE(Sections()->setInProcessStatus());
  Sections()->processData();
  EXPECT_EQ(Sections()->getVersion(), 0u);
  EXPECT_FALSE(Sections()->setInProcessStatus());
  Sections()->resetInProcessStatus();
  Sections()->processData();
  EXPECT_EQ(Sections()->getVersion(), 1u);
  EXPECT_EQ(Sink().Texts().size(), 1u);
}

TEST_F(SectionRing, AgentThatIsNotReadyLosesTheInterval) {
  Start();
  Sections()->getResourceRecordByName(u"R")->incValue(1);
  int32_t version;
  Sections()->getStatRecordByName(u"S", version)->calStatRecord(1, 1, 1, 1);
  Sink().SetReady(false);
  Sections()->processData();
  EXPECT_EQ(Sink().StatusChecks(), 1);
  Sink().SetReady(true);
  Sections()->processData();
  EXPECT_TRUE(Sink().Texts().empty());
  EXPECT_EQ(Sections()->getRingSize(), 2u);
}

// Records the ring's size at each text it is handed.
class RingWatchingAgent : public CMTDataSendingAgent {
 public:
  bool checkStatus() override { return true; }
  void sendData(zulstring) override {
    ringSizes.push_back(CRecordSectionCacheManager::Instance()->getRingSize());
  }
  zulstring recvData() override { return zulstring(); }
  std::vector<size_t> ringSizes;
};

TEST_F(SectionRing, OneSectionIsOutOfTheRingWhileItIsSent) {
  Start({{u"cache_section_count", u"4"}});
  auto *agent = new RingWatchingAgent();
  Sections()->setAgent(agent);
  Sections()->getResourceRecordByName(u"R")->incValue(1);
  Sections()->processData();
  EXPECT_EQ(agent->ringSizes, std::vector<size_t>{3});
  EXPECT_EQ(Sections()->getRingSize(), 4u);
}

TEST_F(SectionRing, TraceOfARun) {
  Start();
  Sections()->getResourceRecordByName(u"R")->incValue(1);
  int32_t version;
  Sections()->getStatRecordByName(u"S", version)->calStatRecord(1, 1, 1, 1);
  tlm_test::TraceCapture trace(3);
  Sections()->processData();
  const std::u16string p = tlm_test::TraceCapture::ThreadPrefix();
  EXPECT_EQ(trace.Lines(),
            (std::vector<std::u16string>{
                p + u"Start copying[lock]", p + u"End copying[unlock]",
                p + u"Performance or Resource Data Detected",
                p + u"Metric sending statistics: Performance metric# 1 sent, resource metric# 1 "
                    u"sent",
                p + u"Performance or Resource Data Sending Finished", p + u"Processing finished"}));
}

class CallBacks : public MetricsTest {
 protected:
  static void First() { ++first; }
  static void Second() { ++second; }
  static void Throwing() { throw 1; }
  // Reports into the section that is about to be sent.
  static void Reporting() {
    CRecordSectionCacheManager::Instance()->getResourceRecordByName(u"FromCallBack")->incValue(1);
  }
  static inline std::atomic<int> first{0};
  static inline std::atomic<int> second{0};
};

TEST_F(CallBacks, LongIntervalKeepsItsPhase) {
  Start({{u"datasending_interval", u"60"}});
  struct Case {
    uint32_t interval, startSecond;
    bool phased;
  } cases[] = {{300, 120, true}, {300, 420, true}, {61, 0, true}, {60, 7, false}, {0, 5, false}};
  for (const Case &c : cases) {
    uint32_t before = TLMPlatformHelper::GetServerTimeInSecond();
    CCallBackContext context(&First, c.interval, c.startSecond);
    uint32_t after = TLMPlatformHelper::GetServerTimeInSecond();
    if (c.phased) {
      EXPECT_EQ(context.nextTriggeredTime % c.interval, c.startSecond % c.interval);
      EXPECT_GE(context.nextTriggeredTime, before);
      EXPECT_LT(context.nextTriggeredTime, after + c.interval);
    } else {
      EXPECT_GE(context.nextTriggeredTime, before);
      EXPECT_LE(context.nextTriggeredTime, after);
    }
  }
}

// Waits until the server clock's second changes and answers the new second.
uint32_t NextSecond() {
  uint32_t now = TLMPlatformHelper::GetServerTimeInSecond();
  while (TLMPlatformHelper::GetServerTimeInSecond() == now) usleep(5000);
  return TLMPlatformHelper::GetServerTimeInSecond();
}

TEST_F(CallBacks, RunOncePastTheirTimeFirstRegistrationStays) {
  Start({{u"datasending_interval", u"60"}});
  first = 0;
  second = 0;
  // At the start of a second, so that registering and the first run share it.
  NextSecond();
  Sections()->addCallBackFunctionPtr(0, &Throwing, 1, 0);
  Sections()->addCallBackFunctionPtr(1, &First, 1, 0);
  Sections()->addCallBackFunctionPtr(1, &Second, 1, 0);
  Sections()->addCallBackFunctionPtr(2, &Reporting, 1, 0);
  Sections()->addCallBackFunctionPtr(3, &Second, 3600, 0);
  Sections()->addCallBackFunctionPtr(4, &Second, 1, 0);
  Sections()->removeCallBackFunctionPtr(4);
  Sections()->removeCallBackFunctionPtr(99);

  // Due at the second of the registration: they run once the clock is past it, and then not
  // again within the same second.
  Sections()->invokeCallBackFunctions();
  EXPECT_EQ(first, 0);
  NextSecond();
  tlm_test::TraceCapture trace(1);
  Sections()->invokeCallBackFunctions();
  Sections()->invokeCallBackFunctions();
  EXPECT_EQ(first, 1);
  ASSERT_EQ(trace.Lines().size(), 1u);
  EXPECT_NE(trace.Lines()[0].find(u"*** ERROR => Resource call-back 0 failed with an exception"),
            std::u16string::npos);
  EXPECT_EQ(second, 0);
  Sections()->processData();
  EXPECT_NE(Sink().Joined().find(u"|FromCallBack:Current Value"), std::u16string::npos);
}

}  // namespace
