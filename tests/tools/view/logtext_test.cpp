// Reading metric lines, trace documents and whole logs back from text.
#include "logtext.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using tlmview::LogItem;
using tlmview::MetricLine;
using tlmview::ParseLog;
using tlmview::ParseMetricLine;
using tlmview::ParseTraceDocument;
using tlmview::TraceNode;

TEST(ViewMetricLine, ReadsTheForms) {
  struct Case {
    const char *line;
    const char *type, *path, *label, *value;
    std::optional<int64_t> number, max, min, count;
  };
  const Case cases[] = {
      {R"M(<metric type="IntAverage" name="ZUL_TLM|Srv_7|Db|query:Avg. Elapsed Time(ms)" value="12" max="40" min="3" count="7" />)M",
       "IntAverage", "ZUL_TLM|Srv_7|Db|query", "Avg. Elapsed Time(ms)", "12", 12, 40, 3, 7},
      {R"M(<metric type="IntAverage" name="S|C|op:Active Counter" value="2" />)M",
       "IntAverage",
       "S|C|op",
       "Active Counter",
       "2",
       2,
       {},
       {},
       {}},
      {R"M(<metric type="IntAverage" name="S|C|op:Avg. CPU Time(us)" value="-1" max="-1" min="-1" count="1" />)M",
       "IntAverage", "S|C|op", "Avg. CPU Time(us)", "-1", -1, -1, -1, 1},
      // A KPI's name may hold a colon: the name is cut at the last one.
      {R"M(<metric type="LongCounter" name="S|Pool:size:peak" value="9" count="1" />)M",
       "LongCounter",
       "S|Pool:size",
       "peak",
       "9",
       9,
       {},
       {},
       1},
      // A resource name with a colon before a label of the library's own.
      {R"M(<metric type="PerInterval" name="S|a:b:Current Value" value="0" />)M",
       "PerInterval",
       "S|a:b",
       "Current Value",
       "0",
       0,
       {},
       {},
       {}},
      // Values are not escaped: quotes and the closing form itself may stand in a string.
      {R"M(<metric type="StringEvent" name="S|C|sub:Build" value="say "hi" /> now" />)M",
       "StringEvent",
       "S|C|sub",
       "Build",
       R"M(say "hi" /> now)M",
       {},
       {},
       {},
       {}},
      {"<metric type=\"StringEvent\" name=\"S|C:TLM library version\" value=\"2.3.12\" />\r",
       "StringEvent",
       "S|C",
       "TLM library version",
       "2.3.12",
       {},
       {},
       {},
       {}},
      // An unknown type keeps a value that isn't a number as text.
      {R"M(<metric type="Future" name="S:x" value="abc" />)M",
       "Future",
       "S",
       "x",
       "abc",
       {},
       {},
       {},
       {}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.line);
    std::optional<MetricLine> metric = ParseMetricLine(c.line);
    ASSERT_TRUE(metric.has_value());
    EXPECT_EQ(metric->type, c.type);
    EXPECT_EQ(metric->path, c.path);
    EXPECT_EQ(metric->label, c.label);
    EXPECT_EQ(metric->value, c.value);
    EXPECT_EQ(metric->number, c.number);
    EXPECT_EQ(metric->max, c.max);
    EXPECT_EQ(metric->min, c.min);
    EXPECT_EQ(metric->count, c.count);
  }
}

TEST(ViewMetricLine, RefusesWhatIsNotExactlyTheForm) {
  const char *const lines[] = {
      "",
      "<metric type=\"IntAverage\" name=\"S:x\" value=\"1\"",  // no closing
      "<metric type=\"IntAverage\" name=\"S:x\" value=\"1\" />  ",
      " <metric type=\"IntAverage\" name=\"S:x\" value=\"1\" />",
      "<metric type=\"IntAverage\" value=\"1\" />",                 // no name
      "<metric type=\"IntAverage\" name=\"S:x\" value=\"one\" />",  // numeric type
      "<metric type=\"LongCounter\" name=\"S:x\" value=\"\" />",
      "<metric type=\"IntAverage\" name=\"S:x\" value=\"1\" min=\"0\" max=\"2\" />",  // order
      "<metric type=\"IntAverage\" name=\"S:x\" value=\"1\" count=\"2\" max=\"3\" />",
      "<metric type=\"IntAverage\" name=\"S:x\" value=\"1\" max=\"\" />",
      "<metric type=\"IntAverage\" name=\"S:x\" value=\"99999999999999999999\" />",
      "<metric type=\"Int\"Average\" name=\"S:x\" value=\"1\" />",
  };
  for (const char *line : lines) {
    EXPECT_FALSE(ParseMetricLine(line).has_value()) << line;
  }
}

TEST(ViewTraceDocument, ReadsTheTreeWithChildrenBeforeParameters) {
  std::optional<TraceNode> root = ParseTraceDocument(
      R"M(<event resource="Web|get" startTime="2026-01-02 03:04:05.678" duration="35">)M"
      R"M(<calledComponent resource="Db|query" offset="2" duration="10">)M"
      R"M(<calledComponent resource="Db|fetch" offset="1" duration="4">)M"
      R"M(<param name="CPU Time (us)" value="-1" /></calledComponent>)M"
      R"M(<param name="SQL" value="a "quoted" <b> value" /></calledComponent>)M"
      R"M(<calledComponent resource="Cache|get" offset="20" duration="0"></calledComponent>)M"
      R"M(<param name="CPU Time (us)" value="-1" />)M"
      R"M(<param name="request.header.ZUL-PASSPORT" value="" /></event>)M");
  ASSERT_TRUE(root.has_value());
  EXPECT_EQ(root->resource, "Web|get");
  EXPECT_EQ(root->startTime, "2026-01-02 03:04:05.678");
  EXPECT_EQ(root->duration, 35);
  ASSERT_EQ(root->params.size(), 2u);
  EXPECT_EQ(root->params[1].name, "request.header.ZUL-PASSPORT");
  EXPECT_EQ(root->params[1].value, "");
  ASSERT_EQ(root->children.size(), 2u);
  const TraceNode &db = root->children[0];
  EXPECT_EQ(db.resource, "Db|query");
  EXPECT_EQ(db.offset, 2);
  EXPECT_EQ(db.duration, 10);
  ASSERT_EQ(db.params.size(), 1u);
  EXPECT_EQ(db.params[0].value, R"M(a "quoted" <b> value)M");
  ASSERT_EQ(db.children.size(), 1u);
  EXPECT_EQ(db.children[0].resource, "Db|fetch");
  EXPECT_EQ(root->children[1].resource, "Cache|get");
  EXPECT_TRUE(root->children[1].params.empty());
}

TEST(ViewTraceDocument, RefusesBrokenDocuments) {
  const std::string event = R"M(<event resource="A|b" startTime="t" duration="1">)M";
  const std::string child = R"M(<calledComponent resource="C|d" offset="0" duration="1">)M";
  const std::string cases[] = {
      event,                                             // never closed
      event + "</calledComponent>",                      // closed by the wrong tag
      event + child + "</event>",                        // child left open
      event + "</event></event>",                        // text after the end
      event + "<param name=\"x\" value=\"y\"></event>",  // parameter not closed
      event + "garbage</event>",
      R"M(<event resource="A|b" startTime="t" duration="x"></event>)M",
      R"M(<event resource="A|b" duration="1"></event>)M",
      R"M(<calledComponent resource="C|d" offset="0" duration="1"></calledComponent>)M",
  };
  for (const std::string &text : cases) {
    EXPECT_FALSE(ParseTraceDocument(text).has_value()) << text;
  }
}

TEST(ViewTraceDocument, DepthIsBounded) {
  auto nested = [](size_t depth) {
    std::string text = R"M(<event resource="A|b" startTime="t" duration="1">)M";
    for (size_t i = 1; i < depth; ++i)
      text += R"M(<calledComponent resource="C" offset="0" duration="0">)M";
    for (size_t i = 1; i < depth; ++i) text += "</calledComponent>";
    return text + "</event>";
  };
  EXPECT_TRUE(ParseTraceDocument(nested(tlmview::kMaxTraceDepth)).has_value());
  EXPECT_FALSE(ParseTraceDocument(nested(tlmview::kMaxTraceDepth + 1)).has_value());
}

TEST(ViewLog, KeepsEveryLineInOrderAndJoinsDocumentsSplitByLineFeeds) {
  std::istringstream in(
      "<metric type=\"IntAverage\" name=\"S|A|b:Avg. Elapsed Time(ms)\" value=\"5\" max=\"9\" "
      "min=\"1\" count=\"2\" />\n"
      "some other line\n"
      "<event resource=\"A|b\" startTime=\"t\" duration=\"7\"><param name=\"note\" value=\"one\n"
      "two\" /></event>\n"
      "<event resource=\"broken\n"
      "<metric type=\"StringEvent\" name=\"S:k\" value=\"v\" />\n");
  std::vector<LogItem> items = ParseLog(in);
  ASSERT_EQ(items.size(), 5u);
  EXPECT_TRUE(std::holds_alternative<MetricLine>(items[0].content));
  EXPECT_EQ(std::get<std::string>(items[1].content), "some other line");
  EXPECT_EQ(items[1].line, 2u);
  const TraceNode &root = std::get<TraceNode>(items[2].content);
  EXPECT_EQ(root.params.at(0).value, "one\ntwo");
  EXPECT_EQ(items[2].line, 3u);
  EXPECT_EQ(items[2].lines, 2u);
  // A broken document stays one other line and doesn't swallow the metric after it.
  EXPECT_EQ(std::get<std::string>(items[3].content), "<event resource=\"broken");
  EXPECT_EQ(items[3].line, 5u);
  EXPECT_EQ(std::get<MetricLine>(items[4].content).value, "v");
  EXPECT_EQ(items[4].line, 6u);
}

}  // namespace
