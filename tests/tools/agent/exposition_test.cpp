// Metric text to Prometheus series: what each kind of line becomes, what is refused and how
// series age out. Damaged text at large is the fuzz target's (agent_exposition).
#include "exposition.h"

#include <gtest/gtest.h>

namespace {

using tlmagent::Clock;
using tlmagent::LineFate;
using tlmagent::MetricExposition;

const std::string kHost = "10.0.0.7";
const std::string kTiming = R"(host="10.0.0.7",operation="query",process="Srv_42",system="ZUL_TLM")";

std::string Line(const std::string &type, const std::string &name, const std::string &rest) {
  return "<metric type=\"" + type + "\" name=\"" + name + "\" value=\"" + rest + " />";
}

struct Case {
  std::vector<std::string> lines;
  std::vector<std::string> expected;  // whole lines of the scrape
};

TEST(AgentExposition, EachKindOfFigureBecomesItsSeries) {
  const std::string db = "ZUL_TLM|Srv_42|Database|query:";
  const std::string res = "ZUL_TLM|Srv_42|Open Requests:";
  const Case cases[] = {
      // Counters add up the intervals; summaries add samples and sums, quantiles are the last.
      {{Line("IntAverage", db + "Finished Counter", "1160\""),
        Line("IntAverage", db + "Finished Counter", "40\"")},
       {"tlm_component_finished_total{component=\"Database\"," + kTiming + "} 1200"}},
      {{Line("IntAverage", db + "Avg. Elapsed Time(ms)", R"(5" max="9" min="2" count="1000")"),
        Line("IntAverage", db + "Avg. Elapsed Time(ms)", R"(10" max="30" min="4" count="200")")},
       {"tlm_component_elapsed_seconds_count{component=\"Database\"," + kTiming + "} 1200",
        "tlm_component_elapsed_seconds_sum{component=\"Database\"," + kTiming + "} 7",
        "tlm_component_elapsed_seconds{component=\"Database\"," + kTiming + ",quantile=\"1\"} 0.03"}},
      {{Line("IntAverage", db + "Avg. Net CPU Time(us)", R"(250" max="500" min="1" count="4")")},
       {"tlm_component_net_cpu_seconds_sum{component=\"Database\"," + kTiming + "} 0.001"}},
      {{Line("IntAverage", db + "Active Counter", "3\""), Line("IntAverage", db + "Active Counter", "1\"")},
       {"tlm_component_active{component=\"Database\"," + kTiming + "} 1"}},
      // A resource of agent type 2 with its watermarks and update count, then a KPI.
      {{Line("LongCounter", res + "Current Value", R"(2" max="3" min="0" count="41")"),
        Line("LongCounter", res + "Queue KPI", R"(7" count="1")")},
       {R"(tlm_resource_value{host="10.0.0.7",process="Srv_42",resource="Open Requests",system="ZUL_TLM"} 2)",
        R"(tlm_resource_high_watermark{host="10.0.0.7",process="Srv_42",resource="Open Requests",system="ZUL_TLM"} 3)",
        R"(tlm_resource_updates_total{host="10.0.0.7",process="Srv_42",resource="Open Requests",system="ZUL_TLM"} 41)",
        R"(tlm_resource_kpi{host="10.0.0.7",kpi="Queue KPI",process="Srv_42",resource="Open Requests",system="ZUL_TLM"} 7)"}},
      {{Line("PerInterval", res + "Current Value", "5\""), Line("LongCounter", res + "Low Watermark", "-2\"")},
       {R"(tlm_resource_value{host="10.0.0.7",process="Srv_42",resource="Open Requests",system="ZUL_TLM"} 5)",
        R"(tlm_resource_low_watermark{host="10.0.0.7",process="Srv_42",resource="Open Requests",system="ZUL_TLM"} -2)"}},
      {{Line("StringEvent", "ZUL_TLM|Srv_42:TLM library version", "2.3.12\"")},
       {R"(tlm_string_info{host="10.0.0.7",name="TLM library version",path="",process="Srv_42",system="ZUL_TLM",value="2.3.12"} 1)"}},
      // A "|" in the application's name and an instance prefix stay in the process label; names
      // with quotes, backslashes and non-ASCII text are escaped, not refused.
      {{Line("IntAverage", R"(ZUL_TLM|Shop|Web_1|blue|Say "hi" \ né|op:Finished Counter)", "2\"")},
       {R"(tlm_component_finished_total{component="Say \"hi\" \\ né",host="10.0.0.7",operation="op",process="Shop|Web_1|blue",system="ZUL_TLM"} 2)"}},
  };
  for (const Case &c : cases) {
    MetricExposition exposition(std::chrono::seconds(60));
    for (const std::string &line : c.lines) {
      EXPECT_EQ(exposition.Take(line, kHost, Clock::now()), LineFate::kExposed) << line;
    }
    const std::string scrape = exposition.Scrape();
    for (const std::string &expected : c.expected) {
      EXPECT_NE(scrape.find("\n" + expected + "\n"), std::string::npos)
          << expected << "\nin\n" << scrape;
    }
  }
}

TEST(AgentExposition, UnusableLinesAreCountedAsRejected) {
  const std::string db = "ZUL_TLM|Srv_42|Database|query:";
  const std::string rejected[] = {
      Line("IntAverage", db + "Finished Counter", "12").substr(0, 60),          // cut
      Line("IntAverage", db + "Finished Counter", "-3\""),                      // negative count
      Line("IntAverage", db + "Avg. Elapsed Time(ms)", "5\""),                  // no sample count
      Line("IntAverage", db + "Slowness", "5\""),                               // unknown figure
      Line("Histogram", db + "Finished Counter", "5\""),                        // unknown type
      Line("PerInterval", "ZUL_TLM|Srv_42|Open:Some KPI", "5\""),               // KPI per interval
      Line("IntAverage", "Finished Counter", "5\""),                            // no label
      Line("IntAverage", "ZUL_TLM:Finished Counter", "5\""),                    // no component
      Line("IntAverage", "ZUL_TLM|Srv|Db\tx|q:Finished Counter", "5\""),        // control character
      Line("IntAverage", "ZUL_TLM|Srv|Db\xff|q:Finished Counter", "5\""),       // invalid UTF-8
      Line("IntAverage", "ZUL_TLM|Srv|Db\xed\xa0\x80|q:Finished Counter", "5\""),  // a surrogate
      Line("StringEvent", "ZUL_TLM|Srv:Mode", "a\x01\""),                       // control in value
      "garbage",
  };
  MetricExposition exposition(std::chrono::seconds(60));
  for (const std::string &line : rejected) {
    EXPECT_EQ(exposition.Take(line, kHost, Clock::now()), LineFate::kRejected) << line;
  }
  for (const char *skipped : {"", "\r", "<event resource=\"App|run\" duration=\"1\"></event>"}) {
    EXPECT_EQ(exposition.Take(skipped, kHost, Clock::now()), LineFate::kSkipped);
  }
  const std::string scrape = exposition.Scrape();
  EXPECT_NE(scrape.find("\ntlm_agent_rejected_lines_total " + std::to_string(std::size(rejected)) +
                        "\n"),
            std::string::npos)
      << scrape;
  EXPECT_EQ(exposition.SeriesCount(), 0u);
}

TEST(AgentExposition, SeriesLeaveAfterTheIdleTimeAndOnlyThen) {
  MetricExposition exposition(std::chrono::seconds(30));
  const auto start = Clock::now();
  const std::string finished = Line("IntAverage", "S|P_1|A|b:Finished Counter", "1\"");
  const std::string elapsed = Line("IntAverage", "S|P_1|A|b:Avg. Elapsed Time(ms)",
                                   R"(1" max="1" min="1" count="1")");
  exposition.Take(finished, kHost, start);
  exposition.Take(elapsed, kHost, start);
  exposition.Take(finished, "10.0.0.8", start + std::chrono::seconds(20));  // another host
  EXPECT_EQ(exposition.Expire(start + std::chrono::seconds(30)), 0u);
  EXPECT_EQ(exposition.Expire(start + std::chrono::seconds(31)), 2u);
  const std::string scrape = exposition.Scrape();
  EXPECT_EQ(scrape.find("10.0.0.7"), std::string::npos) << scrape;
  EXPECT_EQ(scrape.find("tlm_component_elapsed_seconds"), std::string::npos) << scrape;
  EXPECT_NE(scrape.find("10.0.0.8"), std::string::npos) << scrape;
  // A series that comes back starts again from its new value.
  exposition.Take(finished, kHost, start + std::chrono::seconds(40));
  EXPECT_NE(exposition.Scrape().find(R"(host="10.0.0.7",operation="b",process="P_1",system="S"} 1)"),
            std::string::npos);
}

}  // namespace
