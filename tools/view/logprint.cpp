// Prints a log summary: aligned tables for metrics and resources, trees for trace documents.
#include <algorithm>
#include <iomanip>
#include <string_view>

#include "logreport.h"
#include "passporttext.h"

namespace tlmview {

namespace {

// Other lines longer than this are cut in the listing; a broken trace document can be huge.
constexpr size_t kOtherLineShown = 200;
// Names longer than this widen no column further.
constexpr size_t kWidestName = 60;

// The part up to and including the last "|" that all paths share: the system name, component
// and instance prefix of the metric names, shown once above a table instead of on every row.
std::string CommonPrefix(const std::vector<std::string_view> &paths) {
  if (paths.empty()) return {};
  std::string_view prefix = paths.front();
  for (std::string_view path : paths) {
    size_t same = 0;
    while (same < prefix.size() && same < path.size() && prefix[same] == path[same]) ++same;
    prefix = prefix.substr(0, same);
  }
  size_t bar = prefix.rfind('|');
  return bar == std::string_view::npos ? std::string() : std::string(prefix.substr(0, bar + 1));
}

size_t ColumnWidth(const std::vector<std::string_view> &names, size_t least) {
  size_t width = least;
  for (std::string_view name : names) width = std::max(width, std::min(name.size(), kWidestName));
  return width;
}

// A right-aligned number column of width 10 that keeps one blank even before a wider number.
template <typename T>
void Cell(std::ostream &out, const T &value) {
  out << ' ' << std::right << std::setw(9) << value;
}

void PrintHeading(std::ostream &out, std::string_view title, const std::string &prefix) {
  out << title;
  if (!prefix.empty()) out << " (names below continue " << prefix << ")";
  out << '\n';
}

void PrintTimings(const std::vector<TimingRow> &rows, std::ostream &out) {
  std::vector<std::string_view> paths;
  for (const TimingRow &row : rows) paths.push_back(row.path);
  std::string prefix = CommonPrefix(paths);
  std::vector<std::string_view> names, labels;
  for (const TimingRow &row : rows) {
    names.push_back(std::string_view(row.path).substr(prefix.size()));
    labels.push_back(row.label);
  }
  size_t nameWidth = ColumnWidth(names, 6);
  size_t labelWidth = ColumnWidth(labels, 5);
  PrintHeading(out, "Timed components", prefix);
  out << "  " << std::left << std::setw(nameWidth) << "metric"
      << "  " << std::setw(labelWidth) << "value";
  for (const char *heading : {"count", "avg", "min", "max", "intervals"}) Cell(out, heading);
  out << '\n';
  for (size_t i = 0; i < rows.size(); ++i) {
    const TimingRow &row = rows[i];
    out << "  " << std::left << std::setw(nameWidth) << names[i] << "  " << std::setw(labelWidth)
        << row.label;
    Cell(out, row.count);
    if (row.counter) {
      for (int i = 0; i < 3; ++i) Cell(out, "-");
    } else {
      for (int64_t number : {row.average, row.min, row.max}) Cell(out, number);
    }
    Cell(out, row.reports);
    out << '\n';
  }
}

void CellOrDash(std::ostream &out, const std::optional<int64_t> &value) {
  if (value) {
    Cell(out, *value);
  } else {
    Cell(out, "-");
  }
}

void PrintResources(const std::vector<ResourceRow> &rows, std::ostream &out) {
  std::vector<std::string_view> paths;
  for (const ResourceRow &row : rows) paths.push_back(row.path);
  std::string prefix = CommonPrefix(paths);
  std::vector<std::string_view> names;
  for (const ResourceRow &row : rows)
    names.push_back(std::string_view(row.path).substr(prefix.size()));
  size_t width = ColumnWidth(names, 8);
  PrintHeading(out, "Resources", prefix);
  out << "  " << std::left << std::setw(width) << "resource"
      << "  ";
  for (const char *heading : {"current", "high", "low", "updates"}) Cell(out, heading);
  out << '\n';
  for (size_t i = 0; i < rows.size(); ++i) {
    const ResourceRow &row = rows[i];
    out << "  " << std::left << std::setw(width) << names[i] << "  ";
    CellOrDash(out, row.current);
    CellOrDash(out, row.high);
    CellOrDash(out, row.low);
    CellOrDash(out, row.updates);
    if (row.type == "PerInterval") out << "  (per interval)";
    out << '\n';
    for (const auto &[name, value] : row.kpis)
      out << "      KPI " << name << " = " << value << '\n';
  }
}

void PrintStrings(const std::vector<StringRow> &rows, std::ostream &out) {
  out << "String events\n";
  for (const StringRow &row : rows) {
    const MetricLine &line = *row.line;
    out << "  " << line.path << ':' << line.label << " = " << line.value;
    if (line.type != "StringEvent") out << "  (type " << line.type << ")";
    if (row.times > 1) out << "  (" << row.times << " times)";
    out << '\n';
  }
}

// A value with line feeds goes on at the indentation of its parameter.
void PrintIndented(std::string_view text, const std::string &indent, std::ostream &out) {
  for (size_t feed; (feed = text.find('\n')) != std::string_view::npos;) {
    out << text.substr(0, feed + 1) << indent;
    text.remove_prefix(feed + 1);
  }
  out << text;
}

// The root shows its start time, the records inside their offset from their parent's start.
void PrintNode(const TraceNode &node, bool root, size_t depth, std::ostream &out) {
  std::string indent(2 * depth, ' ');
  out << indent;
  if (!root) out << '+' << node.offset << " ms  ";
  out << node.resource << "  " << node.duration << " ms";
  if (root) out << "  (started " << node.startTime << ')';
  out << '\n';
  std::string paramIndent = indent + "      ";
  for (const TraceParam &param : node.params) {
    if (IsUnmeasuredCpu(param)) continue;
    out << paramIndent << param.name << " = ";
    PrintIndented(ShortPassport(param.value), paramIndent + "  ", out);
    out << '\n';
  }
  for (const TraceNode &child : node.children) PrintNode(child, false, depth + 1, out);
}

void PrintOthers(const std::vector<const LogItem *> &items, std::ostream &out) {
  out << "Other lines\n";
  for (const LogItem *item : items) {
    const std::string &text = std::get<std::string>(item->content);
    out << "  line " << item->line << ": " << text.substr(0, kOtherLineShown);
    if (text.size() > kOtherLineShown) out << "... (" << text.size() << " bytes)";
    out << '\n';
  }
}

}  // namespace

std::string TraceTransaction(const TraceNode &root) {
  for (const TraceParam &param : root.params) {
    if (param.name == kIncomingPassportParam) return PassportTransaction(param.value);
  }
  return {};
}

size_t KeepTransaction(LogSummary &summary, const std::string &transaction) {
  std::erase_if(summary.traces, [&](const LogItem *item) {
    return TraceTransaction(std::get<TraceNode>(item->content)) != transaction;
  });
  summary.timings.clear();
  summary.resources.clear();
  summary.strings.clear();
  summary.others.clear();
  return summary.traces.size();
}

bool IsUnmeasuredCpu(const TraceParam &param) {
  return param.value == "-1" && param.name == "CPU Time (us)";
}

std::string MoreTracesNote(size_t more) {
  std::string note = "(";
  note += std::to_string(more);
  note += more == 1 ? " more transaction trace not shown)" : " more transaction traces not shown)";
  return note;
}

void PrintTrace(const TraceNode &root, std::ostream &out) { PrintNode(root, true, 0, out); }

void PrintSummary(const LogSummary &summary, std::ostream &out, size_t maxTraces) {
  bool first = true;
  auto separate = [&] {
    if (!first) out << '\n';
    first = false;
  };
  if (!summary.timings.empty()) {
    separate();
    PrintTimings(summary.timings, out);
  }
  if (!summary.resources.empty()) {
    separate();
    PrintResources(summary.resources, out);
  }
  if (!summary.strings.empty()) {
    separate();
    PrintStrings(summary.strings, out);
  }
  size_t shown = std::min(maxTraces, summary.traces.size());
  for (size_t i = 0; i < shown; ++i) {
    const LogItem *item = summary.traces[i];
    separate();
    const TraceNode &root = std::get<TraceNode>(item->content);
    out << "Transaction trace (line " << item->line << ")";
    std::string transaction = TraceTransaction(root);
    if (!transaction.empty()) out << "  transaction " << transaction;
    out << '\n';
    PrintNode(root, true, 1, out);
  }
  if (shown < summary.traces.size()) {
    separate();
    out << MoreTracesNote(summary.traces.size() - shown) << '\n';
  }
  if (!summary.others.empty()) {
    separate();
    PrintOthers(summary.others, out);
  }
  if (first) out << "(no metric or trace text)\n";
}

}  // namespace tlmview
