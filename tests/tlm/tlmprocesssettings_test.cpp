// The process settings: skip names and threshold lists as they are parsed, and the prefixes.
#include "tlm/tlmprocesssettings.h"

#include "metrics_test_support.h"
#include "trace_capture.h"

namespace {

typedef std::map<std::u16string, uint16_t> Levels;

std::shared_ptr<const CProcessSettings> Built(const metrics_test::Pairs &pairs) {
  metrics_test::Configure(pairs);
  return CProcessSettings::FromConfiguration(u"Comp", u"42");
}

using CProcessSettingsTest = metrics_test::MetricsTest;

TEST_F(CProcessSettingsTest, SkipNamesMatchAWholeFirstSegment) {
  EXPECT_TRUE(Built({})->checkSkipTimes(u"Login|submit", 1 << 30));  // no list: all recorded
  auto settings = Built({{u"skip_times_in_names", u"Login"}, {u"skip_times_below_threshold", u"500"}});
  for (const char16_t *other : {u"LoginPage|submit", u"Login", u"Web|Login|x"}) {
    EXPECT_FALSE(settings->checkSkipName(other)) << tlm_test::Utf8(other);
  }
  // A listed name is recorded only below the threshold.
  EXPECT_TRUE(settings->checkSkipTimes(u"Login|submit", 499));
  EXPECT_FALSE(settings->checkSkipTimes(u"Login|submit", 500));
  EXPECT_TRUE(settings->checkSkipTimes(u"Other|submit", 100000));
}

TEST_F(CProcessSettingsTest, ThresholdListsAsTheyAreParsed) {
  struct Case {
    std::u16string names, levels, traceLevels;
    Levels metric, trace;
  } cases[] = {
      {u"A,", u"5,", u"7,", {{u"A", 5}}, {{u"A", 7}}},
      // A last item without its comma is never read.
      {u"A", u"5", u"7", {}, {}},
      {u"A,B", u"5,6", u"7,8", {{u"A", 5}}, {{u"A", 7}}},
      // A later name is cut with its comma's position as the count: it keeps the comma and more.
      {u"Web,DB,", u"3,4,", u"", {{u"Web", 3}, {u"DB,", 4}}, {}},
      {u"A,A,B,", u"1,2,x,", u"", {{u"A", 1}, {u"A,B", 2}, {u"B,", 0}}, {}},
      // Empty items: a name is skipped alone, a level steps its own list only.
      {u",A,", u"5,", u",", {{u"A,", 5}}, {}},
      {u"A,B,", u",", u"5,6,", {}, {{u"A", 5}, {u"B,", 6}}},
  };
  for (const Case &c : cases) {
    auto settings = Built({{u"specific_component_names", c.names},
                           {u"specific_component_level_thresholds", c.levels},
                           {u"specific_component_level_thresholds_trace", c.traceLevels}});
    SCOPED_TRACE(tlm_test::Utf8(c.names));
    const auto &metric = settings->componentThresholds, &trace = settings->componentTraceThresholds;
    EXPECT_EQ(Levels(metric.begin(), metric.end()), c.metric);
    EXPECT_EQ(Levels(trace.begin(), trace.end()), c.trace);
  }
}

}  // namespace
