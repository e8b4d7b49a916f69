// The metric and trace text that the library writes to its log file (or sends to an agent),
// read back into structures: one <metric .../> line, one transaction trace document, or a line
// that is neither. The input is outside input: nothing here trusts it, and anything that doesn't
// have the exact form comes back as an other line.
#ifndef TLM_TOOLS_VIEW_LOGTEXT_H
#define TLM_TOOLS_VIEW_LOGTEXT_H

#include <cstddef>
#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tlmview {

// One metric line: <metric type="T" name="PATH:LABEL" value="V" [max="N" min="N"] [count="N"] />.
struct MetricLine {
  std::string type;   // IntAverage, LongCounter, PerInterval, StringEvent, or what else came
  std::string path;   // the name before its label: prefix|component|operation or prefix|resource
  std::string label;  // "Avg. Elapsed Time(ms)", "Current Value", a KPI's name, a string's name
  std::string value;  // the value as written
  std::optional<int64_t> number;  // the value, when the line is numeric
  std::optional<int64_t> max, min, count;
};

struct TraceParam {
  std::string name;
  std::string value;
};

// A record of a trace document with the records that ran inside it, in their order.
struct TraceNode {
  std::string resource;   // component|operation
  std::string startTime;  // the root's local start time; empty for the others
  int64_t offset = 0;     // milliseconds after the parent's start; 0 for the root
  int64_t duration = 0;   // milliseconds
  std::vector<TraceParam> params;
  std::vector<TraceNode> children;
};

// A line (or, for a trace document whose values hold line feeds, several lines) of the input.
struct LogItem {
  size_t line = 0;  // number of its first line, from 1
  size_t lines = 1;
  std::variant<MetricLine, TraceNode, std::string> content;  // the string: an other line
  size_t source = 0;  // which input it came from, when several are read together
};

// Documents nested deeper than this are shown as other lines: the tree is walked recursively.
constexpr size_t kMaxTraceDepth = 1000;

// The metric line, or nothing if line doesn't have the form. A trailing carriage return is
// ignored. Lines of the numeric types must carry integers; other types keep their value as text.
std::optional<MetricLine> ParseMetricLine(std::string_view line);

// The document (without its final line feed), or nothing if it doesn't have the form.
std::optional<TraceNode> ParseTraceDocument(std::string_view text);

// Every line of in, in order. Reads to the end; never fails.
std::vector<LogItem> ParseLog(std::istream &in);

}  // namespace tlmview

#endif  // TLM_TOOLS_VIEW_LOGTEXT_H
