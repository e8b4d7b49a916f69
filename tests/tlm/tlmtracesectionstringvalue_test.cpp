#include "tlm_core_fixture.h"

namespace {

typedef std::vector<std::u16string> Texts;

std::u16string Event(const std::u16string &name, const std::u16string &value) {
  return u"<metric type=\"StringEvent\" name=\"ZUL_TLM|App_0" + name + u"\" value=\"" + value +
         u"\" />\n";
}
const std::u16string kVersionLine = Event(u":TLM library version", u"2.3.12");

// The library started, with sinks for both managers.
class SetStringValue : public core_test::StartedTest {
 protected:
  void SetUp() override { Restart({}); }
  void Restart(const core_test::Pairs &pairs) {
    Start(pairs);
    traces_ = std::make_unique<tlm_test::TraceSink>();
  }
  static CTraceSectionCacheManager *Traces() { return CTraceSectionCacheManager::Instance(); }

  std::unique_ptr<tlm_test::TraceSink> traces_;
};

TEST_F(SetStringValue, EventGoesOutWithTheNextTraceRun) {
  const uint32_t version = CRecordSectionCacheManager::Instance()->getVersion();
  TLM_setStringValue(u"Sub", u"Name", u"Value");
  TLM_setStringValue(u"", u"Plain", u"1");
  TLM_setStringValue(nullptr, nullptr, nullptr);
  // Each call flushed the metrics, and none ran the traces.
  EXPECT_EQ(CRecordSectionCacheManager::Instance()->getVersion(), version + 3);
  EXPECT_TRUE(traces_->Texts().empty());

  TLM_outputMetricData();
  EXPECT_EQ(traces_->Texts(), (Texts{kVersionLine, Event(u"|Sub:Name", u"Value"),
                                     Event(u":Plain", u"1"), Event(u":", u"")}));
}

}  // namespace
