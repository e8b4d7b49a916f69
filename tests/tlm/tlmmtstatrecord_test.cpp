#include "tlm/tlmmtstatrecord.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>

#include "metrics_test_support.h"
#include "trace_capture.h"

namespace {

using metrics_test::MetricsTest;

// A record of "Login" with four started components, three samples, one normal end and one
// termination: every line of the text has a value to show.
void FillLogin(CMTStatRecord &record) {
  for (int i = 0; i < 4; ++i) record.start();
  record.calStatRecord(40, 1000, 30, 700);
  record.calStatRecord(3, 2000, 2, 100);
  record.calStatRecord(20, 3000, 15, 400);
  record.stop();
  record.terminate();
}

const char16_t kActive[] =
    u"<metric type=\"IntAverage\" name=\"ZUL_TLM|Login:Active Counter\" value=\"2\" />\n";
const char16_t kFinished[] =
    u"<metric type=\"IntAverage\" name=\"ZUL_TLM|Login:Finished Counter\" value=\"1\" />\n";
const char16_t kUndefined[] =
    u"<metric type=\"IntAverage\" name=\"ZUL_TLM|Login:Finished with undefined state\" "
    u"value=\"-1\" />\n";
const char16_t kException[] =
    u"<metric type=\"IntAverage\" name=\"ZUL_TLM|Login:Exception Counter\" value=\"2\" />\n";
const char16_t kElapsed[] =
    u"<metric type=\"IntAverage\" name=\"ZUL_TLM|Login:Avg. Elapsed Time(ms)\" value=\"21\" "
    u"max=\"40\" min=\"3\" count=\"3\" />\n";
const char16_t kCPU[] =
    u"<metric type=\"IntAverage\" name=\"ZUL_TLM|Login:Avg. CPU Time(us)\" value=\"2000\" "
    u"max=\"3000\" min=\"1000\" count=\"3\" />\n";
// The net elapsed line shows the CPU average.
const char16_t kNetElapsed[] =
    u"<metric type=\"IntAverage\" name=\"ZUL_TLM|Login:Avg. Net Elapsed Time(ms)\" value=\"2000\" "
    u"max=\"30\" min=\"2\" count=\"3\" />\n";
const char16_t kNetCPU[] =
    u"<metric type=\"IntAverage\" name=\"ZUL_TLM|Login:Avg. Net CPU Time(us)\" value=\"400\" "
    u"max=\"700\" min=\"100\" count=\"3\" />\n";

class StatRecordText : public MetricsTest {};

TEST_F(StatRecordText, ScopeBitsSelectLinesInFixedOrder) {
  struct Case {
    const char16_t *scope;
    std::u16string text;
  } cases[] = {
      {u"0", kElapsed},
      {u"1", std::u16string(kActive) + kElapsed},
      {u"2", std::u16string(kElapsed) + kNetElapsed},
      {u"4", std::u16string(kElapsed) + kNetCPU},
      {u"8", std::u16string(kElapsed) + kCPU},
      {u"16", std::u16string(kFinished) + kElapsed},
      {u"32", std::u16string(kUndefined) + kElapsed},
      {u"64", std::u16string(kException) + kElapsed},
      {u"127", std::u16string(kActive) + kFinished + kUndefined + kException + kElapsed + kCPU +
                   kNetElapsed + kNetCPU},
  };
  for (const Case &c : cases) {
    Start({{u"perf_metric_scope", c.scope}});
    CMTStatRecord record(u"Login");
    FillLogin(record);
    EXPECT_EQ(record.toMetricString(2), c.text) << "scope " << tlm_test::Utf8(c.scope);
    TearDown();
  }
}

TEST_F(StatRecordText, PrefixCarriesComponentProcessAndInstance) {
  Start({{u"system_name", u"SYS"}});
  CContextCacheManager *registry = CContextCacheManager::Instance();
  registry->setComponentName(u"A|B");
  registry->setPIDOption(123);
  registry->setInstancePrefix(u"I1");
  CMTStatRecord record(u"Login");
  record.calStatRecord(5, -1, 0, -1);
  EXPECT_EQ(record.toMetricString(0),
            u"<metric type=\"IntAverage\" name=\"SYS|A|B_123|I1|Login:Avg. Elapsed Time(ms)\" "
            u"value=\"5\" max=\"5\" min=\"5\" count=\"1\" />\n");
}

TEST_F(StatRecordText, RequiredQuirksOfTheValues) {
  Start({{u"perf_metric_scope", u"127"}});
  // Without samples only the counters can show; scope 0 then shows nothing.
  CMTStatRecord idle(u"Idle");
  idle.start();
  idle.start();
  EXPECT_EQ(idle.toMetricString(2),
            u"<metric type=\"IntAverage\" name=\"ZUL_TLM|Idle:Active Counter\" value=\"2\" />\n");

  // A termination without a sample is one end in an undefined state.
  CMTStatRecord aborted(u"Aborted");
  aborted.terminate();
  EXPECT_EQ(aborted.toMetricString(2),
            u"<metric type=\"IntAverage\" name=\"ZUL_TLM|Aborted:Finished with undefined state\" "
            u"value=\"1\" />\n");

  // The net elapsed line shows only the low 32 bits of the CPU average.
  CMTStatRecord wide(u"Wide");
  wide.calStatRecord(1, 0x100000005LL, 1, 7);
  wide.stop();
  std::u16string text = wide.toMetricString(2);
  EXPECT_NE(text.find(u"Avg. CPU Time(us)\" value=\"4294967301\""), std::u16string::npos);
  EXPECT_NE(text.find(u"Avg. Net Elapsed Time(ms)\" value=\"5\" max=\"1\" min=\"1\""),
            std::u16string::npos);

  // The elapsed average is an unsigned 32-bit division shown as signed.
  CMTStatRecord negative(u"Negative");
  negative.calStatRecord(-10, 0, 0, 0);
  negative.calStatRecord(-10, 0, 0, 0);
  negative.stop();
  negative.stop();
  EXPECT_NE(negative.toMetricString(2).find(
                u"Avg. Elapsed Time(ms)\" value=\"2147483638\" max=\"0\" min=\"-10\" count=\"2\""),
            std::u16string::npos);
}

TEST_F(StatRecordText, SkippedNameHasNoActiveLine) {
  Start({{u"perf_metric_scope", u"1"}, {u"skip_times_in_names", u"Health"}});
  CMTStatRecord skipped(u"Health|ping");
  skipped.start();
  EXPECT_EQ(skipped.toMetricString(2), u"");
  CMTStatRecord similar(u"HealthCheck|ping");
  similar.start();
  EXPECT_EQ(similar.toMetricString(2),
            u"<metric type=\"IntAverage\" name=\"ZUL_TLM|HealthCheck|ping:Active Counter\" "
            u"value=\"1\" />\n");
}

TEST(StatRecord, CountersAndExtremes) {
  CMTStatRecord record;
  EXPECT_EQ(record.getName(), u"DEFAULT");
  EXPECT_EQ(record.getCPUMax(), -1);
  EXPECT_EQ(record.getElapsedMin(), -1);

  // Ends without a start leave active at 0.
  record.stop();
  record.terminate();
  EXPECT_EQ(record.getActiveCounter(), 0u);
  EXPECT_EQ(record.getFinishedCounter(), 1u);
  EXPECT_EQ(record.getTerminatedCounter(), 1u);

  // A first sample of 0 is a minimum of 0, which a later 5 doesn't replace.
  record.calStatRecord(0, 0, 0, 0);
  record.calStatRecord(5, 5, 5, 5);
  EXPECT_EQ(record.getElapsedMin(), 0);
  EXPECT_EQ(record.getCPUMin(), 0);
  EXPECT_EQ(record.getNetElapsedMin(), 0);
  EXPECT_EQ(record.getNetCPUMin(), 0);
  EXPECT_EQ(record.getElapsedMax(), 5);
  EXPECT_EQ(record.getNetCPUMax(), 5);
  EXPECT_EQ(record.getSampleCount(), 2u);

  // Unmeasured CPU (-1) is summed, and is a minimum but never a maximum.
  CMTStatRecord unmeasured(u"u");
  unmeasured.calStatRecord(1, -1, 1, -1);
  unmeasured.calStatRecord(1, -1, 1, -1);
  EXPECT_EQ(unmeasured.getCPUSum(), -2);
  EXPECT_EQ(unmeasured.getCPUMax(), -1);
  EXPECT_EQ(unmeasured.getCPUMin(), -1);
}

TEST(StatRecord, SumsWrapAtTheTypeLimits) {
  CMTStatRecord record(u"limits");
  record.calStatRecord(INT32_MAX, INT64_MAX, INT32_MAX, INT64_MIN);
  record.calStatRecord(INT32_MAX, INT64_MAX, INT32_MAX, INT64_MIN);
  EXPECT_EQ(record.getElapsedSum(), 0xFFFFFFFEu);
  EXPECT_EQ(record.getCPUSum(), -2);
  EXPECT_EQ(record.getNetElapsedSum(), -2);
  EXPECT_EQ(record.getNetCPUSum(), 0);
  EXPECT_EQ(record.getElapsedMax(), INT32_MAX);
  EXPECT_EQ(record.getNetCPUMin(), INT64_MIN);
}

TEST(StatRecord, ClearKeepsNameAndActiveCounterAndCopyIsIndependent) {
  CMTStatRecord record(u"r");
  record.start();
  record.start();
  record.calStatRecord(7, 8, 9, 10);
  record.stop();

  CMTStatRecord copy(record);
  EXPECT_EQ(copy.getName(), u"r");
  EXPECT_EQ(copy.getActiveCounter(), 1u);
  EXPECT_EQ(copy.getNetCPUSum(), 10);
  EXPECT_EQ(copy.getElapsedMin(), 7);

  copy.clear();
  EXPECT_EQ(copy.getName(), u"r");
  EXPECT_EQ(copy.getActiveCounter(), 1u);
  EXPECT_EQ(copy.getFinishedCounter(), 0u);
  EXPECT_EQ(copy.getSampleCount(), 0u);
  EXPECT_EQ(copy.getElapsedSum(), 0u);
  EXPECT_EQ(copy.getCPUSum(), 0);
  EXPECT_EQ(copy.getElapsedMax(), 0);
  EXPECT_EQ(copy.getNetElapsedMax(), 0);
  EXPECT_EQ(copy.getCPUMax(), -1);
  EXPECT_EQ(copy.getNetCPUMax(), -1);
  EXPECT_EQ(copy.getElapsedMin(), -1);
  EXPECT_EQ(copy.getNetCPUMin(), -1);
  // The original is untouched.
  EXPECT_EQ(record.getSampleCount(), 1u);
}

}  // namespace
