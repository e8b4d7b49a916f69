// Timing, stat and resource records: what is counted, and the metric texts; the process settings
// that filter them.
#include "tlm/tlmmtrecord.h"

#include "metrics_test_support.h"
#include "tlm/tlmmtresourcerecord.h"
#include "tlm/tlmmtstatrecord.h"
#include "tlm/tlmplatformhelper.h"
#include "tlm/tlmprocesssettings.h"
#include "trace_capture.h"

namespace {

using metrics_test::MetricsTest;
using tlm_test::Utf8;

class TimingRecord : public metrics_test::MetricsTest {
 protected:
  // The process settings of the test's configuration, for the records to read their filters.
  const CProcessSettings &Settings() {
    settings_ = tlmlibrary::CurrentSettings();
    return *settings_;
  }
  std::shared_ptr<const CProcessSettings> settings_;
};

// Active, finished, terminated and sample counts of a stat record.
typedef std::tuple<uint32_t, uint32_t, uint32_t, uint32_t> Counts;

Counts Read(const std::shared_ptr<CMTStatRecord> &stat) {
  return {stat->getActiveCounter(), stat->getFinishedCounter(), stat->getTerminatedCounter(),
          stat->getSampleCount()};
}

TEST_F(TimingRecord, ScopeTraceAndEndingDecideWhatIsCounted) {
  typedef std::function<void(CMTRecord &)> End;
  const End clean = [](CMTRecord &r) { r.endTiming(true); };
  const End outOfOrder = [](CMTRecord &r) { r.endTiming(false); };
  const End abandoned = [](CMTRecord &r) { EXPECT_EQ(r.terminateTiming(true, false), -1); };
  const End terminated = [](CMTRecord &r) { r.terminateTiming(true, true); };
  const End terminatedLate = [](CMTRecord &r) { r.terminateTiming(false, true); };
  const uint16_t close = CMTRecord::STATUS_CLOSE;
  const uint16_t normal = CMTRecord::STATUS_TERMINATE_NORMAL;
  const uint16_t interrupt = CMTRecord::STATUS_TERMINATE_INTERRUPT;
  struct Case {
    const char *label;
    const char16_t *scope;
    bool traced, skipForTrace;
    End end;
    uint32_t activeWhileOpen;
    Counts after;
    uint16_t status;
  } cases[] = {
      {"scope 0 starts nothing but samples", u"0", false, false, clean, 0, {0, 1, 0, 1}, close},
      {"scope 1", u"1", false, false, clean, 1, {0, 1, 0, 1}, close},
      {"out of order: no sample", u"1", false, false, outOfOrder, 1, {0, 1, 0, 0}, close},
      {"traced at scope 0", u"0", true, false, clean, 1, {0, 1, 0, 1}, close},
      {"traced out of order", u"1", true, false, outOfOrder, 1, {0, 1, 0, 1}, close},
      {"trace only", u"4", true, true, clean, 0, {0, 0, 0, 0}, close},
      {"abandoned", u"1", false, false, abandoned, 1, {0, 0, 1, 0}, interrupt},
      {"terminated", u"1", false, false, terminated, 1, {0, 0, 1, 1}, normal},
      {"terminated out of order", u"1", false, false, terminatedLate, 1, {0, 0, 1, 0}, normal},
  };
  for (const Case &c : cases) {
    Start({{u"perf_metric_scope", c.scope}});
    CMTRecord record(u"C|op", 1, nullptr, c.traced, &Settings());
    record.setSkipReportingForTrace(c.skipForTrace);
    record.startTiming();
    std::shared_ptr<CMTStatRecord> stat = Stat(u"C|op");
    EXPECT_EQ(stat->getActiveCounter(), c.activeWhileOpen) << c.label;
    c.end(record);
    EXPECT_EQ(Read(stat), c.after) << c.label;
    EXPECT_EQ(record.getStatus(), c.status) << c.label;
    // The system refuses the CPU clock: CPU figures are off everywhere.
    EXPECT_EQ(stat->getCPUSum(), -static_cast<int64_t>(std::get<3>(c.after))) << c.label;
  }
}

TEST_F(TimingRecord, NetTimeOfAParentLeavesOutItsChildren) {
  // scope, traced, whether net times are kept.
  const std::tuple<const char16_t *, bool, bool> cases[] = {
      {u"1", false, false}, {u"2", false, true}, {u"0", true, true}};
  for (const auto &[scope, traced, net] : cases) {
    Start({{u"perf_metric_scope", scope}});
    CMTRecord parent(u"P|op", 1, nullptr, traced, &Settings());
    parent.startTiming();
    usleep(2000);
    auto owned = std::make_unique<CMTRecord>(u"C|op", 2, &parent, traced, &Settings());
    CMTRecord *child = owned.get();
    parent.appendChildRecord(std::move(owned));
    child->startTiming();
    child->calculateOffset(static_cast<int32_t>(parent.getStartTimestamp()));
    usleep(4000);
    child->endTiming(true);
    parent.endTiming(true);
    EXPECT_GE(child->getOffset(), 2u);
    EXPECT_GE(child->getElapseTime(), 4);
    EXPECT_EQ(parent.getNetElapseTime(), net ? parent.getElapseTime() - child->getElapseTime() : 0);
    EXPECT_EQ(Stat(u"P|op")->getNetElapsedSum(), parent.getNetElapseTime());
    EXPECT_EQ(parent.getNetCPUElapseTime(), -1);
  }
}

TEST_F(TimingRecord, ComponentThatSpansASwitchEndsInTheNewSection) {
  Start({{u"perf_metric_scope", u"1"}});
  CMTRecord record(u"Long|op", 1, nullptr, false, &Settings());
  record.startTiming();
  Sections()->processData();
  EXPECT_NE(Sink().Joined().find(u"Long|op:Active Counter\" value=\"1\""), std::u16string::npos);
  record.endTiming(true);
  EXPECT_EQ(Read(Stat(u"Long|op")), Counts(0, 1, 0, 1));
  // An offset across the clock's wrap is positive.
  record.calculateOffset(static_cast<int32_t>(record.getStartTimestamp() + 10));
  EXPECT_EQ(record.getOffset(), TLMPlatformHelper::kServerTimePeriod - 10);
}

// The record's lines for agent type 2, with the settings in force.
std::u16string RecordText(const CMTStatRecord &record) {
  return record.toMetricString(2, *tlmlibrary::CurrentSettings());
}

std::u16string Line(const std::u16string &label, const std::u16string &rest) {
  return u"<metric type=\"IntAverage\" name=\"ZUL_TLM|Login:" + label + u"\" value=\"" + rest +
         u"\" />\n";
}

class StatRecordText : public MetricsTest {};

TEST_F(StatRecordText, ScopeBitsSelectLinesInFixedOrder) {
  const std::u16string active = Line(u"Active Counter", u"2");
  const std::u16string elapsed =
      Line(u"Avg. Elapsed Time(ms)", u"21\" max=\"40\" min=\"3\" count=\"3");
  const std::u16string all =
      active + Line(u"Finished Counter", u"1") + Line(u"Finished with undefined state", u"-1") +
      Line(u"Exception Counter", u"2") + elapsed +
      Line(u"Avg. CPU Time(us)", u"2000\" max=\"3000\" min=\"1000\" count=\"3") +
      // The net elapsed line shows the CPU average.
      Line(u"Avg. Net Elapsed Time(ms)", u"2000\" max=\"30\" min=\"2\" count=\"3") +
      Line(u"Avg. Net CPU Time(us)", u"400\" max=\"700\" min=\"100\" count=\"3");
  const std::pair<const char16_t *, std::u16string> cases[] = {
      {u"0", elapsed}, {u"1", active + elapsed}, {u"127", all}};
  for (const auto &[scope, text] : cases) {
    Start({{u"perf_metric_scope", scope}});
    CMTStatRecord record(u"Login");
    for (int i = 0; i < 4; ++i) record.start();
    record.calStatRecord(40, 1000, 30, 700);
    record.calStatRecord(3, 2000, 2, 100);
    record.calStatRecord(20, 3000, 15, 400);
    record.stop();
    record.terminate();
    EXPECT_EQ(RecordText(record), text) << Utf8(scope);
  }
}

TEST_F(StatRecordText, RequiredQuirksOfTheValues) {
  Start({{u"perf_metric_scope", u"127"}, {u"skip_times_in_names", u"Health"}});
  // Without samples only the counters can show: a termination alone is an undefined end.
  CMTStatRecord aborted(u"Login");
  aborted.terminate();
  EXPECT_EQ(RecordText(aborted), Line(u"Finished with undefined state", u"1"));
  // A component of a skip-listed name is never shown as active.
  CMTStatRecord skipped(u"Health|ping");
  skipped.start();
  EXPECT_EQ(RecordText(skipped), u"");
  // The net elapsed line shows only the low 32 bits of the CPU average.
  CMTStatRecord wide(u"Wide");
  wide.calStatRecord(1, 0x100000005LL, 1, 7);
  wide.stop();
  std::u16string text = RecordText(wide);
  EXPECT_NE(text.find(u"Avg. CPU Time(us)\" value=\"4294967301\""), std::u16string::npos);
  EXPECT_NE(text.find(u"Avg. Net Elapsed Time(ms)\" value=\"5\""), std::u16string::npos);
  // The elapsed average is an unsigned 32-bit division, shown as signed.
  CMTStatRecord negative(u"Negative");
  negative.calStatRecord(-10, 0, 0, 0);
  negative.calStatRecord(-10, 0, 0, 0);
  EXPECT_NE(RecordText(negative).find(u"value=\"2147483638\" max=\"0\" min=\"-10\""),
            std::u16string::npos);
}

// initial, current, high, low, update count, keep value.
typedef std::tuple<int64_t, int64_t, int64_t, int64_t, uint32_t, bool> Numbers;

Numbers Read(const CMTResourceRecord &r) {
  return {r.getInitialValue(), r.getCurrentValue(), r.getHighWatermark(),
          r.getLowWatermark(), r.getUpdateCount(),  r.getKeepValue()};
}

// Changes through the exported functions, and a per-interval record's clear, are tested with them
// and with the ring of sections.
TEST(ResourceRecord, ReportsAndClears) {
  typedef std::function<void(CMTResourceRecord &)> Steps;
  const std::tuple<const char *, Steps, Numbers> cases[] = {
      {"a first value of 0 leaves the record unset: the next one wipes the watermarks",
       [](CMTResourceRecord &r) { r.iniValue(0, true), r.iniValue(5, true); },
       {5, 5, 5, 5, 2, true}},
      {"a report takes the watermarks as given, later ones widen them",
       [](CMTResourceRecord &r) {
         r.reportValue(7, 9, 2, 5, false), r.reportValue(3, 8, 1, 2, true);
       },
       {7, 3, 9, 1, 7, true}},
      {"changes wrap at the type limits",
       [](CMTResourceRecord &r) {
         r.decValue(INT64_MIN), r.incValue(INT64_MAX), r.incValue(INT64_MAX);
       },
       {0, INT64_MAX - 1, INT64_MAX - 1, INT64_MIN, 1, true}},
      {"a clear keeps the value and restarts the watermarks at it",
       [](CMTResourceRecord &r) { r.iniValue(10, true), r.decValue(15), r.clear(); },
       {10, -5, -5, -5, 0, true}},
  };
  for (const auto &[label, steps, want] : cases) {
    CMTResourceRecord record(u"r");
    steps(record);
    EXPECT_EQ(Read(record), want) << label;
    // Updated, unless cleared with its value kept.
    EXPECT_EQ(record.isUpdated(), !std::get<5>(want) || std::get<4>(want) != 0) << label;
  }
}

class ResourceRecordText : public metrics_test::MetricsTest {};

TEST_F(ResourceRecordText, ByAgentTypeAndKeepValue) {
  Start();
  CMTResourceRecord kept(u"Pool");
  kept.iniValue(10, true);
  kept.incValue(5);
  kept.decValue(8);
  kept.addKpiValue(u"waits", 3);
  kept.addKpiValue(u"busy", -2);
  kept.addKpiValue(u"waits", 4);
  // Agent type 2 is the exported functions' test; type 1 shows no indicators.
  EXPECT_EQ(kept.toMetricString(1, *tlmlibrary::CurrentSettings()),
            u"<metric type=\"LongCounter\" name=\"ZUL_TLM|Pool:Current Value\" value=\"7\" />\n"
            u"<metric type=\"LongCounter\" name=\"ZUL_TLM|Pool:High Watermark\" value=\"15\" />\n"
            u"<metric type=\"LongCounter\" name=\"ZUL_TLM|Pool:Low Watermark\" value=\"7\" />\n");
}

// The process settings: skip names and threshold lists as they are parsed.
typedef std::map<std::u16string, uint16_t> Levels;

std::shared_ptr<const CProcessSettings> Built(const metrics_test::Pairs &pairs) {
  metrics_test::Configure(pairs);
  return CProcessSettings::FromConfiguration(u"Comp", u"42");
}

using CProcessSettingsTest = metrics_test::MetricsTest;

TEST_F(CProcessSettingsTest, SkipNamesMatchAWholeFirstSegment) {
  EXPECT_TRUE(Built({})->checkSkipTimes(u"Login|submit", 1 << 30));  // no list: all recorded
  auto settings =
      Built({{u"skip_times_in_names", u"Login"}, {u"skip_times_below_threshold", u"500"}});
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
