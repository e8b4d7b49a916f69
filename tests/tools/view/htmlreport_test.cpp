// The HTML page: input text stays text, documents of one transaction join, big traces stay usable.
#include "htmlreport.h"

#include <gtest/gtest.h>

#include <sstream>

#include "view_html_check.h"

namespace {

using tlmview::LogItem;

// The page of one or more logs, each given as its text.
std::string HtmlOf(const std::vector<std::string> &logs, tlmview::HtmlLimits limits = {}) {
  static std::vector<std::vector<LogItem>> kept;  // the summary refers to them
  kept.clear();
  kept.reserve(logs.size());
  std::vector<tlmview::HtmlInput> inputs;
  std::vector<const std::vector<LogItem> *> read;
  for (const std::string &log : logs) {
    std::istringstream in(log);
    kept.push_back(tlmview::ParseLog(in));
    for (LogItem &item : kept.back()) item.source = inputs.size();
    inputs.push_back({"log" + std::to_string(inputs.size()), &kept.back()});
    read.push_back(&kept.back());
  }
  std::ostringstream out;
  tlmview::WriteHtmlReport(tlmview::Summarize(read), inputs, limits, out);
  return out.str();
}

size_t CountOf(const std::string &text, const std::string &part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

// Every place that shows input text, each given text that would be markup if it went in raw.
TEST(ViewHtml, InputTextStaysText) {
  const std::string hostile[] = {"<script>x</script>",
                                 "</script><img src=x onerror=y>",
                                 "a\"b' onclick=\"y",
                                 "&lt;&#",
                                 "Größe €",
                                 "</style></div>"};
  // Each @ stands for the text.
  const std::string shape =
      R"L(<metric type="IntAverage" name="S|P_1|@|op:Avg. Elapsed Time(ms)" value="5" count="1" />
<metric type="LongCounter" name="S|P_1|@:Current Value" value="3" count="1" />
<metric type="LongCounter" name="S|P_1|R:@" value="2" count="1" />
<metric type="StringEvent" name="S|@:k" value="@" />
<event resource="@" startTime="@" duration="3"><param name="@" value="@" /><param name="Exception" value="@" /></event>
@
<event resource="cut" startTime="t" duration="1"><calledCompo
)L";
  for (const std::string &h : hostile) {
    std::string log;
    for (char c : shape) c == '@' ? log += h : log += c;
    std::string page = HtmlOf({log}, {1, 1, 0});
    EXPECT_EQ(ViewHtmlFault(page), "") << h;
    std::string escaped;
    tlmview::AppendEscaped(escaped, h);
    // Table row, resource, KPI, string name and value, record, start, failure, rejected line.
    EXPECT_GE(CountOf(page, escaped), 9u) << h;
    EXPECT_NE(page.find("<span id=\"count-rejected\">2</span>"), std::string::npos) << h;
  }
}

TEST(ViewHtml, OneTransactionInTwoProcessesIsOneWaterfall) {
  std::string server =
      "<metric type=\"IntAverage\" name=\"S|Front_7|A|run:Avg. Elapsed Time(ms)\" value=\"5\" "
      "count=\"1\" />\n"
      "<event resource=\"A|run\" startTime=\"2026-01-02 03:04:05.000\" duration=\"100\">"
      "<calledComponent resource=\"A|call\" offset=\"10\" duration=\"50\">"
      "<param name=\"outbound.ZUL-PASSPORT\" value=\"T1*1535\" /></calledComponent>"
      "<param name=\"request.header.ZUL-PASSPORT\" value=\"T1*1535\" /></event>\n"
      "<event resource=\"A|run\" startTime=\"2026-01-02 03:04:06.000\" duration=\"1\"></event>\n";
  std::string backend =
      "<metric type=\"IntAverage\" name=\"S|Back_9|B|work:Avg. Elapsed Time(ms)\" value=\"5\" "
      "count=\"1\" />\n"
      "<event resource=\"B|work\" startTime=\"2026-01-02 03:04:05.020\" duration=\"30\">"
      "<param name=\"request.header.ZUL-PASSPORT\" value=\"T1*1535\" /></event>\n";
  // The backend's document, listed first, still hangs below the call that started it.
  std::string page = HtmlOf({backend, server});
  EXPECT_EQ(CountOf(page, "<div class=\"wf\""), 2u);
  size_t call = page.find("A|call");
  size_t work = page.find("<div class=\"row p1\" data-d=\"2\" data-tip=");
  ASSERT_LT(call, work);
  EXPECT_NE(page.find("B|work<span class=\"proc\">Back_9, line 2</span>", work), std::string::npos);
  EXPECT_NE(page.find("left:20.000%;width:30.000%", work), std::string::npos);
  EXPECT_NE(
      page.find("Front_7, line 2 &middot; started 2026-01-02 03:04:05.000 &middot; 2 documents"),
      std::string::npos);

  // In one stream of both processes, the process that timed the document's root names it.
  EXPECT_NE(HtmlOf({server + backend}).find("B|work<span class=\"proc\">Back_9, line 5</span>"),
            std::string::npos);

  // Limited to one waterfall: the other document is counted.
  EXPECT_NE(HtmlOf({backend, server}, {1}).find("(1 more transaction trace not shown)"),
            std::string::npos);
}

// A trace of 10,000 records, 999 of them in a chain: the page draws 1,000 and opens four levels.
TEST(ViewHtml, BigTracesAreCutAndCollapsed) {
  std::string chain, flat;
  for (int i = 0; i < 9000; ++i)
    flat += "<calledComponent resource=\"F\" offset=\"1\" duration=\"1\"></calledComponent>";
  for (int i = 0; i < 999; ++i)
    chain += "<calledComponent resource=\"D\" offset=\"0\" duration=\"1\">";
  for (int i = 0; i < 999; ++i) chain += "</calledComponent>";
  std::string log =
      "<event resource=\"R\" startTime=\"t\" duration=\"9\">" + chain + flat + "</event>\n";
  std::string page = HtmlOf({log});
  EXPECT_EQ(ViewHtmlFault(page), "");
  EXPECT_EQ(CountOf(page, "<div class=\"row"), 1000u);
  EXPECT_EQ(CountOf(page, " hidden>"), 995u);   // below the root and four levels of the chain
  EXPECT_EQ(CountOf(page, " closed\""), 995u);  // from the fourth level down, each with a child
  EXPECT_NE(page.find("9000 more records not drawn"), std::string::npos);
}

TEST(ViewHtml, StartTimes) {
  const std::pair<const char *, std::optional<int64_t>> cases[] = {
      {"1970-01-01 00:00:00", 0},
      {"1970-01-02 00:00:01.005", 86401005},
      {"2000-03-01 00:00:00.000", 951868800000},
      {"1969-12-31 23:59:59.999", -1},
      {"2026-13-01 00:00:00", std::nullopt},
      {"2026-01-01 00:00:00.5", std::nullopt},
      {"2026-01-01T00:00:00", std::nullopt},
      {"ERROR_DATE", std::nullopt}};
  for (const auto &[text, ms] : cases) EXPECT_EQ(tlmview::ParseStartTime(text), ms) << text;
}

}  // namespace
