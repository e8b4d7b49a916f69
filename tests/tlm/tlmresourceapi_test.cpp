
#include "tlm_core_fixture.h"

namespace {

using core_test::StartedTest;

// The texts of the records that the test made: the library's own records start with "~".
std::vector<zulstring> Own(const std::vector<zulstring> &texts) {
  std::vector<zulstring> own;
  for (const zulstring &text : texts) {
    if (text.find(u"App_0|~") == zulstring::npos) own.push_back(text);
  }
  return own;
}

class ResourceApi : public StartedTest {};

TEST_F(ResourceApi, ReportsReachTheActiveSection) {
  TLM_initializeResource(u"Conn", 5, 0);
  TLM_increaseResource(u"Conn", 3);
  TLM_decreaseResource(u"Conn", 10);
  TLM_reportResourceKPI(u"Conn", u"errors", 3);
  TLM_reportResourceKPI(u"Conn", u"busy", -1);
  TLM_reportResourceKPI(u"Conn", u"errors", 2);  // the latest value counts
  TLM_reportResource(u"Per", 7, 9, 1, 4, 1);
  TLM_increaseResource(u"", 1);
  // Null texts are turned away.
  TLM_increaseResource(nullptr, 1);
  TLM_reportResourceKPI(nullptr, u"k", 1);
  TLM_reportResourceKPI(u"Conn", nullptr, 1);
  TLM_reportResource(nullptr, 1, 1, 1, 1, 0);

  EXPECT_EQ(Own(Flush()),
            (std::vector<zulstring>{
                u"<metric type=\"LongCounter\" name=\"ZUL_TLM|App_0|:Current Value\" value=\"1\" "
                u"max=\"1\" min=\"0\" count=\"1\" />\n",
                u"<metric type=\"LongCounter\" name=\"ZUL_TLM|App_0|Conn:Current Value\" "
                u"value=\"-2\" max=\"8\" min=\"-2\" count=\"1\" />\n"
                u"<metric type=\"LongCounter\" name=\"ZUL_TLM|App_0|Conn:busy\" value=\"-1\" "
                u"count=\"1\" />\n"
                u"<metric type=\"LongCounter\" name=\"ZUL_TLM|App_0|Conn:errors\" value=\"2\" "
                u"count=\"1\" />\n",
                u"<metric type=\"PerInterval\" name=\"ZUL_TLM|App_0|Per:Current Value\" "
                u"value=\"7\" />\n"}));
}

TEST_F(ResourceApi, NothingWhileSwitchedOffOrWithoutSendingInterval) {
  Start({{u"instrument_level_threshold", u"0"}});
  TLM_initializeResource(u"Off", 1, 0);
  CRecordSectionCacheManager::Instance()->processData();
  EXPECT_TRUE(Own(sink_->Texts()).empty());

  Start({{u"datasending_interval", u"0"}});
  TLM_initializeResource(u"Kept", 1, 0);
  const uint32_t version = CRecordSectionCacheManager::Instance()->getVersion();
  TLM_outputMetricData();
  EXPECT_EQ(CRecordSectionCacheManager::Instance()->getVersion(), version);
  EXPECT_TRUE(sink_->Texts().empty());
}

int callBackRuns = 0;

TEST_F(ResourceApi, ANullCallBackTakesNoId) {
  callBackRuns = 0;
  TLM_registerResourceCallBack(1, nullptr, 1, 0);
  TLM_registerResourceCallBack(
      1, [] { ++callBackRuns; }, 1, 0);
  // Due once the second of registration has passed.
  for (int waits = 0; callBackRuns == 0 && waits < 150; ++waits) {
    CRecordSectionCacheManager::Instance()->invokeCallBackFunctions();
    if (callBackRuns == 0) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  EXPECT_EQ(callBackRuns, 1);
}

}  // namespace
