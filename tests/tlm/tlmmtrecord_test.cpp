#include "tlm/tlmmtrecord.h"

#include "metrics_test_support.h"
#include "tlm/tlmmtstatrecord.h"
#include "tlm/tlmplatformhelper.h"
#include "trace_capture.h"

namespace {

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

TEST_F(TimingRecord, SkipListedNamesAreSampledOnlyBelowTheThreshold) {
  const std::tuple<const char16_t *, bool, Counts> cases[] = {
      {u"500", true, {0, 1, 0, 1}},
      {u"0", true, {0, 0, 0, 0}},
      {u"0", false, {0, 1, 0, 0}},  // the stop of an out-of-order end runs anyway
  };
  for (const auto &[threshold, timeStat, after] : cases) {
    Start({{u"perf_metric_scope", u"1"},
           {u"skip_times_in_names", u"Poll"},
           {u"skip_times_below_threshold", threshold}});
    CMTRecord record(u"Poll|wait", 1, nullptr, false, &Settings());
    record.startTiming();
    record.endTiming(timeStat);
    EXPECT_EQ(Read(Stat(u"Poll|wait")), after) << tlm_test::Utf8(threshold) << timeStat;
  }
}

TEST_F(TimingRecord, NetTimeOfAParentLeavesOutItsChildren) {
  // scope, traced, whether net times are kept.
  const std::tuple<const char16_t *, bool, bool> cases[] = {{u"1", false, false},
                                                            {u"2", false, true},
                                                            {u"3", false, false},
                                                            {u"4", false, true},
                                                            {u"0", true, true}};
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

}  // namespace
