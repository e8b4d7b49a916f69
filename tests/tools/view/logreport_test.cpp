// Summing a log up and printing it.
#include "logreport.h"

#include <gtest/gtest.h>

#include <sstream>
#include <tuple>

#include "view_passport.h"

namespace {

using tlmview::LogItem;
using tlmview::LogSummary;

std::vector<LogItem> Parse(const std::string &text) {
  std::istringstream in(text);
  return tlmview::ParseLog(in);
}
// The lines of a log, each ended by a line feed.
std::vector<LogItem> Parse(std::initializer_list<std::string> lines) {
  std::string text;
  for (const std::string &line : lines) text += line + "\n";
  return Parse(text);
}

TEST(ViewSummary, TimingsWeighTheIntervalsByTheirCounts) {
  std::vector<LogItem> items = Parse(
      {R"M(<metric type="IntAverage" name="S|A|b:Avg. Elapsed Time(ms)" value="10" max="30" min="2" count="3" />)M",
       R"M(<metric type="IntAverage" name="S|A|b:Finished Counter" value="3" />)M",
       R"M(<metric type="IntAverage" name="S|A|b:Avg. Elapsed Time(ms)" value="30" max="50" min="5" count="1" />)M",
       R"M(<metric type="IntAverage" name="S|A|b:Finished Counter" value="1" />)M"});
  LogSummary summary = tlmview::Summarize(items);
  ASSERT_EQ(summary.timings.size(), 2u);
  const tlmview::TimingRow &time = summary.timings[0];
  EXPECT_EQ(time.label, "Avg. Elapsed Time(ms)");
  // The average is (10 * 3 + 30) / 4; counters add up over the intervals.
  EXPECT_EQ(std::tie(time.count, time.average, time.min, time.max, time.reports),
            std::make_tuple(4, 15, 2, 50, 2));
  const tlmview::TimingRow &finished = summary.timings[1];
  EXPECT_EQ(std::tie(finished.counter, finished.count, finished.reports),
            std::make_tuple(true, 4, 2));
}

TEST(ViewSummary, HugeNumbersSaturate) {
  std::vector<LogItem> items = Parse(
      {R"M(<metric type="IntAverage" name="S:x" value="9223372036854775807" count="9223372036854775807" />)M",
       R"M(<metric type="IntAverage" name="S:x" value="9223372036854775807" count="9223372036854775807" />)M"});
  LogSummary summary = tlmview::Summarize(items);
  EXPECT_EQ(summary.timings.at(0).count, INT64_MAX);
  EXPECT_GT(summary.timings.at(0).average, 0);
}

TEST(ViewSummary, ResourcesKeepTheLatestValueAndTheWidestWatermarks) {
  std::vector<LogItem> items = Parse(
      {// Agent type 2, a value that carries over, with a KPI.
       R"M(<metric type="LongCounter" name="S|Open:Current Value" value="3" max="5" min="1" count="4" />)M",
       R"M(<metric type="LongCounter" name="S|Open:Workers" value="2" count="1" />)M",
       R"M(<metric type="LongCounter" name="S|Open:Current Value" value="0" max="4" min="0" count="2" />)M",
       R"M(<metric type="LongCounter" name="S|Open:Workers" value="3" count="1" />)M",
       // Other agent types: three lines of one value each.
       R"M(<metric type="LongCounter" name="S|Pool:Current Value" value="7" />)M",
       R"M(<metric type="LongCounter" name="S|Pool:High Watermark" value="12" />)M",
       R"M(<metric type="LongCounter" name="S|Pool:Low Watermark" value="-2" />)M",
       R"M(<metric type="PerInterval" name="S|Hits:Current Value" value="6" />)M"});
  LogSummary summary = tlmview::Summarize(items);
  ASSERT_EQ(summary.resources.size(), 3u);
  const tlmview::ResourceRow &open = summary.resources[0];
  EXPECT_EQ(std::tie(open.current, open.high, open.low, open.updates), std::make_tuple(0, 5, 0, 6));
  ASSERT_EQ(open.kpis.size(), 1u);
  EXPECT_EQ(open.kpis[0], std::make_pair(std::string("Workers"), int64_t{3}));
  const tlmview::ResourceRow &pool = summary.resources[1];
  EXPECT_EQ(std::tie(pool.current, pool.high, pool.low), std::make_tuple(7, 12, -2));
  EXPECT_EQ(summary.resources[2].type, "PerInterval");
}

TEST(ViewPrint, ShowsTablesTreesStringsAndOtherLines) {
  std::vector<LogItem> items = Parse(
      {R"M(<metric type="StringEvent" name="SYS|Srv_9:TLM library version" value="2.3.12" />)M",
       R"M(<metric type="IntAverage" name="SYS|Srv_9|Web|get:Avg. Elapsed Time(ms)" value="20" max="31" min="9" count="2" />)M",
       R"M(<metric type="IntAverage" name="SYS|Srv_9|Web|get:Finished Counter" value="1" />)M",
       R"M(<metric type="IntAverage" name="SYS|Srv_9|Db|query:Avg. Elapsed Time(ms)" value="8" max="8" min="8" count="1" />)M",
       R"M(<metric type="IntAverage" name="SYS|Srv_9|Db|query:Finished Counter" value="1" />)M",
       R"M(<metric type="LongCounter" name="SYS|Srv_9|Open:Current Value" value="1" max="2" min="0" count="3" />)M",
       R"M(<metric type="PerInterval" name="SYS|Srv_9|Hits:Current Value" value="6" />)M",
       R"M(<event resource="Web|get" startTime="2026-01-02 03:04:05.678" duration="31">)M"
       R"M(<calledComponent resource="Db|query" offset="2" duration="8">)M"
       R"M(<param name="CPU Time (us)" value="40" /></calledComponent>)M"
       R"M(<param name="CPU Time (us)" value="-1" /><param name="User ID" value="alice" /></event>)M",
       "not a metric"});
  std::ostringstream out;
  tlmview::PrintSummary(tlmview::Summarize(items), out);
  EXPECT_EQ(out.str(),
            "Timed components (names below continue SYS|Srv_9|)\n"
            "  metric    value                     count       avg       min       max intervals\n"
            "  Web|get   Avg. Elapsed Time(ms)         2        20         9        31         1\n"
            "  Web|get   Finished Counter              1         -         -         -         1\n"
            "  Web|get   Terminated (derived)          1         -         -         -         1\n"
            "  Db|query  Avg. Elapsed Time(ms)         1         8         8         8         1\n"
            "  Db|query  Finished Counter              1         -         -         -         1\n"
            "\n"
            "Resources (names below continue SYS|Srv_9|)\n"
            "  resource     current      high       low   updates\n"
            "  Open               1         2         0         3\n"
            "  Hits               6         6         6         -  (per interval)\n"
            "\n"
            "String events\n"
            "  SYS|Srv_9:TLM library version = 2.3.12\n"
            "\n"
            "Transaction trace (line 8)\n"
            "  Web|get  31 ms  (started 2026-01-02 03:04:05.678)\n"
            "        User ID = alice\n"
            "    +2 ms  Db|query  8 ms\n"
            "          CPU Time (us) = 40\n"
            "\n"
            "Other lines\n"
            "  line 9: not a metric\n");

  std::ostringstream limited;
  tlmview::PrintSummary(tlmview::Summarize(items), limited, 0);
  EXPECT_NE(limited.str().find("(1 more transaction trace not shown)\n"), std::string::npos);
  EXPECT_EQ(limited.str().find("Transaction trace (line"), std::string::npos);
}

// A process that runs many times sends the same version line each time: it is shown once.
TEST(ViewPrint, IdenticalStringEventsShowOnceWithTheirCount) {
  std::string version =
      R"M(<metric type="StringEvent" name="SYS|B_1:TLM library version" value="2.3.12" />)M";
  std::vector<LogItem> items =
      Parse({version, version,
             R"M(<metric type="StringEvent" name="SYS|B_1:TLM library version" value="2.4.0" />)M",
             version});
  std::ostringstream out;
  tlmview::PrintSummary(tlmview::Summarize(items), out);
  EXPECT_EQ(out.str(),
            "String events\n"
            "  SYS|B_1:TLM library version = 2.3.12  (3 times)\n"
            "  SYS|B_1:TLM library version = 2.4.0\n");
}

// Traces of two transactions, each named by the passport it came with.
std::string TwoTraces(const std::string &passportA, const std::string &passportB) {
  return R"M(<event resource="A|run" startTime="T" duration="1"><param name="CPU Time (us)" value="-1" />)M"
         R"M(<param name="request.header.ZUL-PASSPORT" value=")M" +
         passportA + R"M(" /></event>)M" + "\n" +
         R"M(<event resource="B|run" startTime="T" duration="2"><param name="CPU Time (us)" value="-1" />)M"
         R"M(<param name="request.header.ZUL-PASSPORT" value=")M" +
         passportB + R"M(" /></event>)M" + "\n" +
         R"M(<metric type="IntAverage" name="S|A|run:Finished Counter" value="1" />)M" + "\n";
}

TEST(ViewPrint, TraceHeadingsNameTheTransactionAndPassportsAreShortened) {
  std::string passport = PassportText("0123456789ABCDEF0123456789ABCDEF");
  std::vector<LogItem> items = Parse(TwoTraces(passport, "GUID-B*1535"));
  tlmview::LogSummary summary = tlmview::Summarize(items);
  std::ostringstream out;
  tlmview::PrintSummary(summary, out);
  std::string text = out.str();
  EXPECT_NE(text.find("Transaction trace (line 1)  transaction 0123456789ABCDEF0123456789ABCDEF\n"
                      "  A|run  1 ms  (started T)\n"
                      "        request.header.ZUL-PASSPORT = " +
                      passport.substr(0, 16) + "... (" + std::to_string(passport.size()) +
                      " digits, transaction 0123456789ABCDEF0123456789ABCDEF)\n"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("Transaction trace (line 2)  transaction GUID-B\n"), std::string::npos)
      << text;

  tlmview::KeepTransaction(summary, "GUID-B");
  std::ostringstream kept;
  tlmview::PrintSummary(summary, kept);
  EXPECT_EQ(kept.str(),
            "Transaction trace (line 2)  transaction GUID-B\n"
            "  B|run  2 ms  (started T)\n"
            "        request.header.ZUL-PASSPORT = GUID-B*1535\n");
}

}  // namespace
