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

// The parsed line as "type|path|label|value|number|max|min|count", absent numbers as "-"; "none"
// when the line is refused.
std::string Describe(const std::optional<MetricLine> &metric) {
  if (!metric) return "none";
  auto number = [](const std::optional<int64_t> &n) { return n ? std::to_string(*n) : "-"; };
  return metric->type + "|" + metric->path + "|" + metric->label + "|" + metric->value + "|" +
         number(metric->number) + "|" + number(metric->max) + "|" + number(metric->min) + "|" +
         number(metric->count);
}

TEST(ViewMetricLine, AcceptsExactlyTheForms) {
  const std::pair<std::string, std::string> cases[] = {
      {R"M(<metric type="IntAverage" name="S|Db|query:Avg. Elapsed Time(ms)" value="12" max="40" min="3" count="7" />)M",
       "IntAverage|S|Db|query|Avg. Elapsed Time(ms)|12|12|40|3|7"},
      {R"M(<metric type="IntAverage" name="S|C|op:Active Counter" value="-1" />)M",
       "IntAverage|S|C|op|Active Counter|-1|-1|-|-|-"},
      // A name may hold a colon: it is cut at the last one.
      {R"M(<metric type="LongCounter" name="S|Pool:size:peak" value="9" count="1" />)M",
       "LongCounter|S|Pool:size|peak|9|9|-|-|1"},
      // Values are not escaped: quotes and the closing form itself may stand in a string.
      {R"M(<metric type="StringEvent" name="S|C:Build" value="say "hi" /> now" />)M"
       "\r",
       R"M(StringEvent|S|C|Build|say "hi" /> now|-|-|-|-)M"},
      // An unknown type keeps a value that isn't a number as text.
      {R"M(<metric type="Future" name="S:x" value="abc" />)M", "Future|S|x|abc|-|-|-|-"},
      {"", "none"},
      {R"M(<metric type="IntAverage" name="S:x" value="1")M", "none"},  // no closing
      {R"M(<metric type="IntAverage" name="S:x" value="1" />  )M", "none"},
      {R"M( <metric type="IntAverage" name="S:x" value="1" />)M", "none"},
      {R"M(<metric type="IntAverage" value="1" />)M", "none"},               // no name
      {R"M(<metric type="IntAverage" name="S:x" value="one" />)M", "none"},  // numeric type
      {R"M(<metric type="IntAverage" name="S:x" value="1" min="0" max="2" />)M", "none"},  // order
      {R"M(<metric type="IntAverage" name="S:x" value="1" max="" />)M", "none"},
      {R"M(<metric type="IntAverage" name="S:x" value="99999999999999999999" />)M", "none"},
      {R"M(<metric type="Int"Average" name="S:x" value="1" />)M", "none"},
  };
  for (const auto &[line, expected] : cases) EXPECT_EQ(Describe(ParseMetricLine(line)), expected);
}

// The tree as "resource start +offset =duration [name=value ...] (children ...)".
std::string Shape(const TraceNode &node) {
  std::string text = node.resource + " " + node.startTime + " +" + std::to_string(node.offset) +
                     " =" + std::to_string(node.duration) + " [";
  for (const auto &param : node.params) text += param.name + "=" + param.value + ";";
  text += "] (";
  for (const TraceNode &child : node.children) text += Shape(child) + " ";
  return text + ")";
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
  EXPECT_EQ(
      Shape(*root),
      "Web|get 2026-01-02 03:04:05.678 +0 =35 [CPU Time (us)=-1;request.header.ZUL-PASSPORT=;] "
      "(Db|query  +2 =10 [SQL=a \"quoted\" <b> value;] "
      "(Db|fetch  +1 =4 [CPU Time (us)=-1;] () ) Cache|get  +20 =0 [] () )");
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
  // That the items' line numbers account for every line is the viewer fuzz target's check.
  std::vector<LogItem> items = ParseLog(in);
  ASSERT_EQ(items.size(), 5u);
  EXPECT_TRUE(std::holds_alternative<MetricLine>(items[0].content));
  EXPECT_EQ(std::get<std::string>(items[1].content), "some other line");
  const TraceNode &root = std::get<TraceNode>(items[2].content);
  EXPECT_EQ(root.params.at(0).value, "one\ntwo");
  EXPECT_EQ(items[2].line, 3u);
  EXPECT_EQ(items[2].lines, 2u);
  // A broken document stays one other line and doesn't swallow the metric after it.
  EXPECT_EQ(std::get<std::string>(items[3].content), "<event resource=\"broken");
  EXPECT_EQ(std::get<MetricLine>(items[4].content).value, "v");
}

}  // namespace
