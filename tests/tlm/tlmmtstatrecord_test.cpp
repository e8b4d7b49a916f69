#include "tlm/tlmmtstatrecord.h"

#include <climits>

#include "metrics_test_support.h"
#include "trace_capture.h"

namespace {

using metrics_test::MetricsTest;
using tlm_test::Utf8;

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

TEST_F(StatRecordText, RequiredQuirksOfTheValuesAndThePrefix) {
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

  CProcessSettings identity;
  identity.componentName = u"A|B";
  identity.pidString = CProcessSettings::PIDText(123);
  identity.instancePrefix = u"I1";
  EXPECT_NE(aborted.toMetricString(0, identity).find(u"name=\"ZUL_TLM|A|B_123|I1|Login:"),
            std::u16string::npos);
}

TEST(StatRecord, ArithmeticAtTheEdges) {
  CMTStatRecord record;
  // Ends without a start leave active at 0.
  record.stop();
  record.terminate();
  EXPECT_EQ(record.getActiveCounter(), 0u);
  // A first sample of 0 is a minimum that a later 5 doesn't replace; an unmeasured CPU time (-1)
  // is summed and is a minimum, never a maximum.
  record.calStatRecord(0, -1, 0, 0);
  record.calStatRecord(5, -1, 5, 5);
  EXPECT_EQ(record.getElapsedMin(), 0);
  EXPECT_EQ(record.getNetCPUMin(), 0);
  EXPECT_EQ(record.getElapsedMax(), 5);
  EXPECT_EQ(record.getCPUSum(), -2);
  EXPECT_EQ(record.getCPUMax(), -1);
  EXPECT_EQ(record.getCPUMin(), -1);
  // Sums wrap at the type limits.
  CMTStatRecord limits(u"limits");
  for (int i = 0; i < 2; ++i) limits.calStatRecord(INT32_MAX, INT64_MAX, INT32_MAX, INT64_MIN);
  EXPECT_EQ(limits.getElapsedSum(), 0xFFFFFFFEu);
  EXPECT_EQ(limits.getCPUSum(), -2);
  EXPECT_EQ(limits.getNetElapsedSum(), -2);
  EXPECT_EQ(limits.getNetCPUSum(), 0);
}

}  // namespace
