#include "tlm/tlmmtrecord.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>

#include "metrics_test_support.h"
#include "tlm/tlmmtstatrecord.h"
#include "tlm/tlmplatformhelper.h"
#include "trace_capture.h"

namespace {

using metrics_test::MetricsTest;

class TimingRecord : public MetricsTest {
 protected:
  // The stat record of name in the active section.
  static CMTStatRecord *Stat(const zulstring &name) {
    int32_t version;
    return Sections()->getStatRecordByName(name, version);
  }
};

struct Counts {
  uint32_t active, finished, terminated, samples;
};

TEST_F(TimingRecord, ScopeTraceAndEndingDecideWhatIsCounted) {
  typedef std::function<void(CMTRecord &)> End;
  const End endClean = [](CMTRecord &r) { r.endTiming(true); };
  const End endOutOfOrder = [](CMTRecord &r) { r.endTiming(false); };
  struct Case {
    const char *label;
    const char16_t *scope;
    bool traced;
    bool skipForTrace;
    End end;
    uint32_t activeWhileOpen;
    Counts after;
    uint16_t status;
  } cases[] = {
      {"scope 0 starts nothing but still samples",
       u"0",
       false,
       false,
       endClean,
       0,
       {0, 1, 0, 1},
       CMTRecord::STATUS_CLOSE},
      {"scope 1", u"1", false, false, endClean, 1, {0, 1, 0, 1}, CMTRecord::STATUS_CLOSE},
      {"out of order: stopped without a sample",
       u"1",
       false,
       false,
       endOutOfOrder,
       1,
       {0, 1, 0, 0},
       CMTRecord::STATUS_CLOSE},
      {"traced at scope 0: everything",
       u"0",
       true,
       false,
       endClean,
       1,
       {0, 1, 0, 1},
       CMTRecord::STATUS_CLOSE},
      {"traced and out of order: still sampled",
       u"1",
       true,
       false,
       endOutOfOrder,
       1,
       {0, 1, 0, 1},
       CMTRecord::STATUS_CLOSE},
      {"trace only", u"4", true, true, endClean, 0, {0, 0, 0, 0}, CMTRecord::STATUS_CLOSE},
      {"abandoned",
       u"1",
       false,
       false,
       [](CMTRecord &r) { EXPECT_EQ(r.terminateTiming(true, false), -1); },
       1,
       {0, 0, 1, 0},
       CMTRecord::STATUS_TERMINATE_INTERRUPT},
      {"terminated with measuring",
       u"1",
       false,
       false,
       [](CMTRecord &r) { r.terminateTiming(true, true); },
       1,
       {0, 0, 1, 1},
       CMTRecord::STATUS_TERMINATE_NORMAL},
      {"terminated out of order",
       u"1",
       false,
       false,
       [](CMTRecord &r) { r.terminateTiming(false, true); },
       1,
       {0, 0, 1, 0},
       CMTRecord::STATUS_TERMINATE_NORMAL},
  };
  for (const Case &c : cases) {
    Start({{u"perf_metric_scope", c.scope}});
    CMTRecord record(u"C|op", 1, nullptr, c.traced);
    record.setSkipReportingForTrace(c.skipForTrace);
    record.startTiming();
    CMTStatRecord *stat = Stat(u"C|op");
    EXPECT_EQ(stat->getActiveCounter(), c.activeWhileOpen) << c.label;
    c.end(record);
    EXPECT_EQ(stat->getActiveCounter(), c.after.active) << c.label;
    EXPECT_EQ(stat->getFinishedCounter(), c.after.finished) << c.label;
    EXPECT_EQ(stat->getTerminatedCounter(), c.after.terminated) << c.label;
    EXPECT_EQ(stat->getSampleCount(), c.after.samples) << c.label;
    EXPECT_EQ(record.getStatus(), c.status) << c.label;
    // The CPU clock is refused by the system: CPU figures are off everywhere.
    if (c.after.samples != 0) {
      EXPECT_EQ(stat->getCPUSum(), -1) << c.label;
    }
    TearDown();
  }
}

TEST_F(TimingRecord, SkipListedNamesAreSampledOnlyBelowTheThreshold) {
  struct Case {
    const char16_t *threshold;
    bool timeStat;
    Counts after;
  } cases[] = {
      {u"500", true, {0, 1, 0, 1}},
      {u"0", true, {0, 0, 0, 0}},
      {u"0", false, {0, 1, 0, 0}},  // the stop of an out-of-order end runs anyway
  };
  for (const Case &c : cases) {
    Start({{u"perf_metric_scope", u"1"},
           {u"skip_times_in_names", u"Poll"},
           {u"skip_times_below_threshold", c.threshold}});
    CMTRecord record(u"Poll|wait", 1, nullptr, false);
    record.startTiming();
    CMTStatRecord *stat = Stat(u"Poll|wait");
    EXPECT_EQ(stat->getActiveCounter(), 0u);
    record.endTiming(c.timeStat);
    EXPECT_EQ(stat->getFinishedCounter(), c.after.finished);
    EXPECT_EQ(stat->getSampleCount(), c.after.samples);
    EXPECT_EQ(record.getStatus(), CMTRecord::STATUS_CLOSE);
    TearDown();
  }
}

TEST_F(TimingRecord, NetTimeOfAParentLeavesOutItsChildren) {
  struct Case {
    const char16_t *scope;
    bool traced;
    bool net;
  } cases[] = {{u"1", false, false},
               {u"2", false, true},
               {u"3", false, false},
               {u"4", false, true},
               {u"0", true, true}};
  for (const Case &c : cases) {
    Start({{u"perf_metric_scope", c.scope}});
    CMTRecord parent(u"P|op", 1, nullptr, c.traced);
    parent.startTiming();
    usleep(2000);
    auto *child = new CMTRecord(u"C|op", 2, &parent, c.traced);
    parent.appendChildRecord(child);
    child->startTiming();
    child->calculateOffset(static_cast<int32_t>(parent.getStartTimestamp()));
    usleep(4000);
    child->endTiming(true);
    usleep(2000);
    parent.endTiming(true);

    EXPECT_GE(child->getElapseTime(), 4);
    EXPECT_GE(parent.getElapseTime(), child->getElapseTime() + 4);
    if (c.net) {
      EXPECT_EQ(child->getNetElapseTime(), child->getElapseTime());
      EXPECT_EQ(parent.getNetElapseTime(), parent.getElapseTime() - child->getElapseTime());
    } else {
      EXPECT_EQ(parent.getNetElapseTime(), 0);
    }
    EXPECT_EQ(Stat(u"P|op")->getNetElapsedSum(), parent.getNetElapseTime());
    EXPECT_EQ(parent.getCPUElapseTime(), -1);
    EXPECT_EQ(parent.getNetCPUElapseTime(), -1);
    EXPECT_GE(child->getOffset(), 2u);
    TearDown();
  }
}

TEST_F(TimingRecord, ComponentThatSpansASwitchEndsInTheNewSection) {
  Start({{u"perf_metric_scope", u"1"}});
  CMTRecord record(u"Long|op", 1, nullptr, false);
  record.startTiming();
  Sections()->processData();
  EXPECT_NE(Sink().Joined().find(u"Long|op:Active Counter\" value=\"1\""), std::u16string::npos);
  record.endTiming(true);
  CMTStatRecord *stat = record.getLocalStatRecordByName();
  EXPECT_EQ(stat, Stat(u"Long|op"));
  EXPECT_EQ(stat->getActiveCounter(), 0u);
  EXPECT_EQ(stat->getFinishedCounter(), 1u);
  EXPECT_EQ(stat->getSampleCount(), 1u);
}

TEST_F(TimingRecord, OffsetAcrossTheClockWrap) {
  Start();
  CMTRecord record(u"W|op", 1, nullptr, false);
  record.startTiming();
  record.calculateOffset(static_cast<int32_t>(record.getStartTimestamp() + 10));
  EXPECT_EQ(record.getOffset(), TLMPlatformHelper::kServerTimePeriod - 10);
  record.calculateOffset(static_cast<int32_t>(record.getStartTimestamp()));
  EXPECT_EQ(record.getOffset(), 0u);
}

TEST_F(TimingRecord, TraceLines) {
  Start({{u"perf_metric_scope", u"1"}});
  tlm_test::TraceCapture trace(3);
  CMTRecord a(u"A|op", 1, nullptr, false);
  a.startTiming();
  a.endTiming(false);
  CMTRecord b(u"B|op", 2, nullptr, false);
  b.startTiming();
  b.terminateTiming(true, true);
  const std::u16string p = tlm_test::TraceCapture::ThreadPrefix();
  EXPECT_EQ(trace.Lines(),
            (std::vector<std::u16string>{
                p + u"A|op - [StartTiming]", p + u"A|op - [EndTiming] TimeStat:NO",
                p + u"B|op - [StartTiming]", p + u"B|op - [TerminateTiming] TimeStat:YES"}));
  trace.Clear();
  ct_level = 2;
  CMTRecord c(u"C|op", 3, nullptr, false);
  c.startTiming();
  c.terminateTiming(false, true);
  c.endTiming(true);
  EXPECT_EQ(trace.Lines(),
            std::vector<std::u16string>{p + u"C|op - [TerminateTiming] TimeStat:NO"});
}

TEST(TimingRecordInfo, PairsAreSetOrJoined) {
  CMTRecord record(u"I|op", 1, nullptr, true);
  record.appendInfo(u"k", u"1");
  record.appendInfo(u"k", u"2");
  EXPECT_FALSE(record.appendInfoToList(u"list", u"a"));
  EXPECT_TRUE(record.appendInfoToList(u"list", u"b"));
  EXPECT_TRUE(record.appendInfoToList(u"list", u""));
  EXPECT_EQ(record.getInfo(), (std::map<zulstring, zulstring>{{u"k", u"2"}, {u"list", u"a,b,"}}));
}

}  // namespace
