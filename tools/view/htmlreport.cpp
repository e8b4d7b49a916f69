// Writes the HTML report. The page is built in one string and written at the end; every text
// that came from the input goes through AppendEscaped, and the markup around it is fixed here.
#include "htmlreport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <set>

#include "htmlpage.h"
#include "passporttext.h"
#include "textcursor.h"

namespace tlmview {

namespace {

// Points of a sparkline; longer histories are sampled evenly.
constexpr size_t kSparkPoints = 120;
// Rejected lines listed, and the characters shown of each.
constexpr size_t kRejectedListed = 200;
constexpr size_t kRejectedShown = 200;
// Records deeper than this are indented no further; their depth is in their details.
constexpr size_t kDeepestIndent = 24;
constexpr std::string_view kOutboundPassportParam = "outbound.ZUL-PASSPORT";
// Documents drawn in one waterfall.
constexpr size_t kMaxJoined = 64;

// Offsets and durations come from outside: sums saturate instead of overflowing.
int64_t Add(int64_t a, int64_t b) {
  int64_t sum = 0;
  if (!__builtin_add_overflow(a, b, &sum)) return sum;
  return b > 0 ? INT64_MAX : INT64_MIN;
}

int64_t DaysFromCivil(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2;
  int64_t era = (y >= 0 ? y : y - 399) / 400;
  int64_t yoe = y - era * 400;
  int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

// Milliseconds since 1970 as "YYYY-MM-DD HH:MM:SS.mmm".
std::string FormatTime(int64_t ms) {
  int64_t days = ms >= 0 ? ms / 86400000 : (ms - 86399999) / 86400000;
  int64_t rest = ms - days * 86400000;
  int64_t z = days + 719468;
  int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  int64_t doe = z - era * 146097;
  int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  int64_t mp = (5 * doy + 2) / 153;
  int64_t d = doy - (153 * mp + 2) / 5 + 1;
  int64_t m = mp + (mp < 10 ? 3 : -9);
  int64_t y = yoe + era * 400 + (m <= 2);
  char text[160];
  std::snprintf(text, sizeof text, "%04lld-%02lld-%02lld %02lld:%02lld:%02lld.%03lld",
                static_cast<long long>(y), static_cast<long long>(m), static_cast<long long>(d),
                static_cast<long long>(rest / 3600000), static_cast<long long>(rest / 60000 % 60),
                static_cast<long long>(rest / 1000 % 60), static_cast<long long>(rest % 1000));
  return text;
}

std::string Percent(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f%%", std::clamp(value, 0.0, 100.0));
  return text;
}

// The process part of a metric path: all but its last nameSegments "|"-separated segments
// (component and operation for a timing, the name for a resource). The name is the rest.
std::pair<std::string_view, std::string_view> SplitPath(std::string_view path,
                                                        size_t nameSegments) {
  size_t cut = path.size();
  for (size_t i = 0; i < nameSegments; ++i) {
    size_t bar = path.rfind('|', cut == 0 ? 0 : cut - 1);
    if (bar == std::string_view::npos || cut == 0) return {std::string_view(), path};
    cut = bar;
  }
  return {path.substr(0, cut), path.substr(cut + 1)};
}

const TraceParam *FindParam(const TraceNode &node, std::string_view name) {
  for (const TraceParam &param : node.params) {
    if (param.name == name) return &param;
  }
  return nullptr;
}

// What went wrong in a record, as its failure parameters say; empty when nothing did.
std::string_view FailureOf(const TraceNode &node) {
  for (std::string_view name : {"Exception", "Method Call Error"}) {
    if (const TraceParam *param = FindParam(node, name)) return param->value;
  }
  return {};
}

// One record of a waterfall, in tree order.
struct Bar {
  const TraceNode *node = nullptr;
  size_t depth = 0;
  int64_t start = 0;  // milliseconds after the first document's start
  size_t part = 0;    // which document of the waterfall it belongs to
};

// The trace documents drawn as one waterfall; the first is the one that started first.
struct Waterfall {
  std::vector<const LogItem *> documents;
};

class Page {
 public:
  Page(const LogSummary &summary, const std::vector<HtmlInput> &inputs, const HtmlLimits &limits)
      : summary_(summary), inputs_(inputs), limits_(limits) {}

  std::string Build() {
    FindProcesses();
    html_.reserve(1 << 20);
    Raw("<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
        "<title>tlm-view report</title><style>");
    Raw(kHtmlStyle);
    Raw("</style></head>\n<body>\n");
    WriteHeader();
    if (!summary_.timings.empty()) WriteTimings();
    if (!summary_.resources.empty()) WriteResources();
    if (!summary_.strings.empty()) WriteStrings();
    if (!summary_.traces.empty()) WriteTraces();
    if (!summary_.others.empty()) WriteRejected();
    Raw("<script>");
    Raw(kHtmlScript);
    Raw("</script>\n</body></html>\n");
    return std::move(html_);
  }

 private:
  void Raw(std::string_view text) { html_ += text; }
  void Text(std::string_view text) { AppendEscaped(html_, text); }
  void Number(int64_t number) { html_ += std::to_string(number); }
  // A name in a table cell, which may break after each "|" rather than anywhere.
  void Name(std::string_view name) {
    for (size_t bar; (bar = name.find('|')) != std::string_view::npos;) {
      Text(name.substr(0, bar + 1));
      Raw("<wbr>");
      name.remove_prefix(bar + 1);
    }
    Text(name);
  }
  // A number cell that sorts by its value.
  void NumberCell(const std::optional<int64_t> &number) {
    if (!number) {
      Raw("<td class=\"n dim\">-</td>");
      return;
    }
    Raw("<td class=\"n\" data-v=\"");
    Number(*number);
    Raw("\">");
    Number(*number);
    Raw("</td>");
  }

  // The processes that wrote the metric lines: all of them, each input's, and per input the
  // process that timed each component|operation, when only one did. A trace document is marked
  // with the process of its input when that holds only one, else with the one that timed its
  // root record.
  void FindProcesses() {
    inputProcess_.resize(inputs_.size());
    operationProcess_.resize(inputs_.size());
    for (size_t i = 0; i < inputs_.size(); ++i) {
      std::set<std::string_view> seen;
      for (const LogItem &item : *inputs_[i].items) {
        const auto *metric = std::get_if<MetricLine>(&item.content);
        if (metric == nullptr || !metric->number) continue;
        bool timing = metric->type == "IntAverage";
        auto [process, name] = SplitPath(metric->path, timing ? 2 : 1);
        if (process.empty()) continue;
        seen.insert(process);
        if (!timing) continue;
        auto [at, added] = operationProcess_[i].try_emplace(name, process);
        if (!added && at->second != process) at->second = {};
      }
      if (seen.size() == 1) inputProcess_[i] = *seen.begin();
      processes_.insert(seen.begin(), seen.end());
    }
  }

  void Fact(std::string_view name) {
    Raw("<tr><th>");
    Raw(name);
    Raw("</th><td>");
  }

  void WriteHeader() {
    const LogCounts &counts = summary_.counts;
    Raw("<header><h1>Metric and trace report</h1><table class=\"facts\">");
    Fact(inputs_.size() == 1 ? "input" : "inputs");
    for (size_t i = 0; i < inputs_.size(); ++i) {
      if (i > 0) Raw(", ");
      Text(inputs_[i].name == "-" ? "standard input" : inputs_[i].name);
    }
    Raw("</td></tr>");
    Fact("processes");
    if (processes_.empty()) Raw("<span class=\"dim\">none named by metric lines</span>");
    bool first = true;
    for (std::string_view process : processes_) {
      if (!first) Raw(", ");
      first = false;
      Text(process);
    }
    Raw("</td></tr>");
    Fact("time span");
    WriteTimeSpan();
    Raw("</td></tr>");
    const std::pair<std::string_view, size_t> figures[] = {{"metric lines", counts.metricLines},
                                                           {"string events", counts.stringLines},
                                                           {"traces", counts.traces},
                                                           {"rejected lines", counts.rejected}};
    for (const auto &[name, value] : figures) {
      Fact(name);
      Raw("<span id=\"count-");
      Raw(name.substr(0, name.find(' ')));
      Raw("\">");
      Number(static_cast<int64_t>(value));
      Raw("</span></td></tr>");
    }
    Raw("</table></header>\n");
  }

  // From the earliest start of a trace document to the latest end of one; metric lines carry no
  // time.
  void WriteTimeSpan() {
    std::optional<int64_t> first, last;
    for (const LogItem *item : summary_.traces) {
      const TraceNode &root = std::get<TraceNode>(item->content);
      std::optional<int64_t> start = ParseStartTime(root.startTime);
      if (!start) continue;
      first = std::min(first.value_or(*start), *start);
      last = std::max(last.value_or(*start), Add(*start, std::max<int64_t>(root.duration, 0)));
    }
    if (!first) {
      Raw("<span class=\"dim\">no trace with a start time</span>");
      return;
    }
    Text(FormatTime(*first));
    Raw(" to ");
    Text(FormatTime(*last));
    char seconds[400];
    std::snprintf(seconds, sizeof seconds, " (%.3f s)",
                  (static_cast<double>(*last) - static_cast<double>(*first)) / 1000);
    Raw(seconds);
  }

  // One row per component and operation: its labels' rows of the text report side by side.
  struct Operation {
    std::string_view path;
    std::optional<int64_t> count, finished, terminated, average, min, max, cpu;
    int64_t intervals = 0;
  };

  std::vector<Operation> Operations() {
    std::vector<Operation> operations;
    std::map<std::string_view, size_t> index;
    for (const TimingRow &row : summary_.timings) {
      auto [at, added] = index.try_emplace(row.path, operations.size());
      if (added) operations.emplace_back().path = row.path;
      Operation &op = operations[at->second];
      op.intervals = std::max(op.intervals, row.reports);
      if (row.label == "Avg. Elapsed Time(ms)" && !row.counter) {
        op.count = row.count;
        op.average = row.average;
        op.min = row.min;
        op.max = row.max;
      } else if (row.label == "Avg. CPU Time(us)" && !row.counter) {
        op.cpu = row.average;
      } else if (row.label == "Finished Counter") {
        op.finished = row.count;
      } else if (row.label == "Exception Counter" || row.label == kDerivedTerminatedLabel) {
        op.terminated = row.count;
      }
    }
    return operations;
  }

  void WriteTimings() {
    Raw("<section id=\"metrics\"><h2>Timed components</h2><div class=\"tools\">"
        "<input id=\"filter\" type=\"search\" placeholder=\"filter rows\" "
        "aria-label=\"filter rows\"> <span id=\"filter-count\" class=\"dim\"></span></div>"
        "<table id=\"metric-table\"><thead><tr>"
        "<th data-sort=\"t\">process</th><th data-sort=\"t\">component|operation</th>"
        "<th data-sort=\"n\" class=\"n\">count</th><th data-sort=\"n\" class=\"n\">finished</th>"
        "<th data-sort=\"n\" class=\"n\">terminated</th><th data-sort=\"n\" class=\"n\">avg ms</th>"
        "<th data-sort=\"n\" class=\"n\">min ms</th><th data-sort=\"n\" class=\"n\">max ms</th>"
        "<th data-sort=\"n\" class=\"n\">avg CPU us</th>"
        "<th data-sort=\"n\" class=\"n\">intervals</th></tr></thead><tbody>\n");
    for (const Operation &op : Operations()) {
      auto [process, name] = SplitPath(op.path, 2);
      Raw("<tr><td>");
      Name(process);
      Raw("</td><td>");
      Name(name);
      Raw("</td>");
      for (const auto *number :
           {&op.count, &op.finished, &op.terminated, &op.average, &op.min, &op.max, &op.cpu}) {
        NumberCell(*number);
      }
      NumberCell(op.intervals);
      Raw("</tr>\n");
    }
    Raw("</tbody></table><p class=\"note\">Counts add up over the intervals; the average is "
        "weighted by each interval's count. terminated: the Exception Counter, or else the count "
        "less the finished calls.</p></section>\n");
  }

  void Sparkline(const std::vector<int64_t> &values) {
    if (values.empty()) return;
    std::vector<int64_t> points;
    size_t n = std::min(values.size(), kSparkPoints);
    for (size_t i = 0; i < n; ++i)
      points.push_back(values[n == 1 ? 0 : i * (values.size() - 1) / (n - 1)]);
    auto [low, high] = std::minmax_element(points.begin(), points.end());
    double lowest = static_cast<double>(*low), range = static_cast<double>(*high) - lowest;
    auto y = [&](int64_t v) {
      return range > 0 ? 21 - (static_cast<double>(v) - lowest) / range * 18 : 12.0;
    };
    char text[64];
    Raw("<svg class=\"spark\" viewBox=\"0 0 100 24\" preserveAspectRatio=\"none\" role=\"img\">"
        "<title>");
    Number(static_cast<int64_t>(values.size()));
    Raw(values.size() == 1 ? " value: " : " values, lowest ");
    Number(*std::min_element(values.begin(), values.end()));
    if (values.size() > 1) {
      Raw(", highest ");
      Number(*std::max_element(values.begin(), values.end()));
    }
    Raw("</title>");
    if (points.size() == 1) {
      std::snprintf(text, sizeof text, "<circle cx=\"50\" cy=\"%.1f\" r=\"2\"></circle>",
                    y(points[0]));
      Raw(text);
    } else {
      Raw("<polyline points=\"");
      for (size_t i = 0; i < points.size(); ++i) {
        std::snprintf(text, sizeof text, "%s%.1f,%.1f", i ? " " : "",
                      100.0 * static_cast<double>(i) / static_cast<double>(points.size() - 1),
                      y(points[i]));
        Raw(text);
      }
      Raw("\"></polyline>");
    }
    Raw("</svg>");
  }

  void WriteResources() {
    Raw("<section id=\"resources\"><h2>Resources</h2><table><thead><tr><th>process</th>"
        "<th>resource</th><th class=\"n\">current</th><th class=\"n\">high</th>"
        "<th class=\"n\">low</th><th class=\"n\">updates</th><th>over the intervals</th>"
        "</tr></thead><tbody>\n");
    for (const ResourceRow &row : summary_.resources) {
      auto [process, name] = SplitPath(row.path, 1);
      Raw("<tr><td>");
      Name(process);
      Raw("</td><td>");
      Name(name);
      if (row.type == "PerInterval") Raw(" <span class=\"dim\">(per interval)</span>");
      Raw("</td>");
      for (const auto *number : {&row.current, &row.high, &row.low, &row.updates})
        NumberCell(*number);
      Raw("<td>");
      Sparkline(row.history);
      Raw("</td></tr>\n");
      for (size_t k = 0; k < row.kpis.size(); ++k) {
        Raw("<tr class=\"kpi\"><td></td><td>KPI ");
        Text(row.kpis[k].first);
        Raw("</td>");
        NumberCell(row.kpis[k].second);
        Raw("<td></td><td></td><td></td><td>");
        Sparkline(row.kpiHistory[k]);
        Raw("</td></tr>\n");
      }
    }
    Raw("</tbody></table></section>\n");
  }

  void WriteStrings() {
    Raw("<section id=\"strings\"><h2>String events</h2><table><tbody>\n");
    for (const StringRow &row : summary_.strings) {
      const MetricLine &line = *row.line;
      Raw("<tr><td>");
      Name(line.path);
      Raw(":");
      Text(line.label);
      Raw("</td><td>");
      Text(line.value);
      if (line.type != "StringEvent") {
        Raw(" <span class=\"dim\">(type ");
        Text(line.type);
        Raw(")</span>");
      }
      Raw("</td><td class=\"n dim\">");
      if (row.times > 1) {
        Number(row.times);
        Raw(" times");
      }
      Raw("</td></tr>\n");
    }
    Raw("</tbody></table></section>\n");
  }

  // Documents of one transaction form one waterfall, in the order of their first document.
  std::vector<Waterfall> Waterfalls() {
    std::vector<Waterfall> waterfalls;
    std::map<std::string, size_t> byTransaction;
    for (const LogItem *item : summary_.traces) {
      std::string transaction = TraceTransaction(std::get<TraceNode>(item->content));
      if (transaction.empty()) {
        waterfalls.push_back({{item}});
        continue;
      }
      auto [at, added] = byTransaction.try_emplace(std::move(transaction), waterfalls.size());
      if (added) waterfalls.emplace_back();
      waterfalls[at->second].documents.push_back(item);
    }
    return waterfalls;
  }

  void WriteTraces() {
    std::vector<Waterfall> waterfalls = Waterfalls();
    size_t shown = std::min(limits_.maxTraces, waterfalls.size());
    Raw("<section id=\"traces\"><h2>Transaction traces</h2><p class=\"dim\">Bars are placed by "
        "their start and sized by their duration; click a record for its details, a triangle to "
        "open or close the records inside it.</p>\n");
    size_t documentsLeft = summary_.traces.size();
    for (size_t i = 0; i < shown; ++i) {
      documentsLeft -= waterfalls[i].documents.size();
      WriteWaterfall(waterfalls[i], i + 1);
    }
    if (documentsLeft > 0) {
      Raw("<p class=\"note\">");
      Text(MoreTracesNote(documentsLeft));
      Raw("</p>\n");
    }
    Raw("</section>\n");
  }

  // Appends node and the records inside it to bars in tree order.
  static void Flatten(const TraceNode &node, size_t depth, int64_t start, size_t part,
                      std::vector<Bar> &bars) {
    bars.push_back({&node, depth, start, part});
    for (const TraceNode &child : node.children) {
      Flatten(child, depth + 1, Add(start, child.offset), part, bars);
    }
  }

  // The bars of a waterfall. Each further document hangs below the last record that called out
  // with a passport and was running when the document started (by the two start times); without
  // start times, below the last such record; without one, at the top level.
  std::vector<Bar> Bars(std::vector<const LogItem *> &documents) {
    auto clock = [](const LogItem *item) {
      return ParseStartTime(std::get<TraceNode>(item->content).startTime);
    };
    std::stable_sort(documents.begin(), documents.end(), [&](const LogItem *a, const LogItem *b) {
      std::optional<int64_t> x = clock(a), y = clock(b);
      return x && (!y || *x < *y);
    });
    std::vector<Bar> bars;
    Flatten(std::get<TraceNode>(documents[0]->content), 0, 0, 0, bars);
    std::optional<int64_t> origin = clock(documents[0]);
    for (size_t part = 1; part < documents.size(); ++part) {
      std::optional<int64_t> started = clock(documents[part]);
      std::optional<int64_t> at;
      if (origin && started) at = *started - *origin;
      size_t caller = bars.size();
      for (size_t i = 0; i < bars.size(); ++i) {
        if (!FindParam(*bars[i].node, kOutboundPassportParam)) continue;
        if (!at || (*at >= bars[i].start && *at <= Add(bars[i].start, bars[i].node->duration))) {
          caller = i;
        }
      }
      size_t depth = 0, insert = bars.size();
      if (caller < bars.size()) {
        depth = bars[caller].depth + 1;
        insert = caller + 1;
        while (insert < bars.size() && bars[insert].depth >= depth) ++insert;
        if (!at) at = bars[caller].start;
      }
      std::vector<Bar> added;
      Flatten(std::get<TraceNode>(documents[part]->content), depth, at.value_or(0), part, added);
      bars.insert(bars.begin() + static_cast<std::ptrdiff_t>(insert), added.begin(), added.end());
    }
    return bars;
  }

  // Where a document came from: its process as FindProcesses tells it (component and process
  // id, without the system name), else the input's file name; and its line.
  std::string SourceOf(const LogItem &item) {
    std::string text;
    if (item.source < inputs_.size()) {
      std::string_view process = inputProcess_[item.source];
      const auto *root = std::get_if<TraceNode>(&item.content);
      if (process.empty() && root != nullptr) {
        const auto &operations = operationProcess_[item.source];
        auto found = operations.find(root->resource);
        if (found != operations.end()) process = found->second;
      }
      if (process.empty()) {
        std::string_view name = inputs_[item.source].name;
        text = name.substr(name.rfind('/') + 1);
      } else {
        text = process.substr(process.find('|') + 1);
      }
      text += ", ";
    }
    text += "line ";
    return text + std::to_string(item.line);
  }

  void WriteWaterfall(Waterfall &waterfall, size_t number) {
    // Joining costs a pass over the bars per document: a transaction id that a log repeats
    // thousands of times is drawn from its first documents.
    size_t unjoined = 0;
    if (waterfall.documents.size() > kMaxJoined) {
      unjoined = waterfall.documents.size() - kMaxJoined;
      waterfall.documents.resize(kMaxJoined);
    }
    std::vector<Bar> bars = Bars(waterfall.documents);
    const LogItem &first = *waterfall.documents[0];
    const TraceNode &root = std::get<TraceNode>(first.content);
    int64_t low = 0, high = 1;
    for (const Bar &bar : bars) {
      low = std::min(low, bar.start);
      high = std::max(high, Add(bar.start, std::max<int64_t>(bar.node->duration, 0)));
    }
    double span = static_cast<double>(high) - static_cast<double>(low);
    std::string transaction = TraceTransaction(root);

    double step = AxisStep(span);
    Raw("<div class=\"wf\" id=\"trace-");
    Number(static_cast<int64_t>(number));
    // Grid lines at the ticks, drawn when the axis starts at 0, as it does unless a record
    // claims to start before its caller.
    if (low == 0) {
      Raw("\" style=\"--grid:");
      Raw(Percent(step / span * 100));
    }
    Raw("\"><h3>");
    if (transaction.empty()) {
      Raw("Trace without a transaction");
    } else {
      Raw("Transaction ");
      Text(transaction);
    }
    Raw(" <span class=\"dim\">&middot; ");
    Text(SourceOf(first));
    Raw(" &middot; started ");
    Text(root.startTime);
    if (waterfall.documents.size() > 1) {
      Raw(" &middot; ");
      Number(static_cast<int64_t>(waterfall.documents.size()));
      Raw(" documents");
    }
    Raw("</span></h3>\n");
    WriteAxis(low, high, step);
    size_t drawn = std::min(bars.size(), limits_.maxBars);
    for (size_t i = 0; i < drawn; ++i) {
      bool parent = i + 1 < drawn && bars[i + 1].depth > bars[i].depth;
      bool partRoot = bars[i].part > 0 && (i == 0 || bars[i - 1].part != bars[i].part);
      WriteBar(bars[i], parent, partRoot ? waterfall.documents[bars[i].part] : nullptr,
               (static_cast<double>(bars[i].start) - static_cast<double>(low)) / span * 100,
               static_cast<double>(std::max<int64_t>(bars[i].node->duration, 0)) / span * 100);
    }
    if (drawn < bars.size()) {
      Raw("<p class=\"note\">");
      Number(static_cast<int64_t>(bars.size() - drawn));
      Raw(" more records not drawn: a waterfall shows its first ");
      Number(static_cast<int64_t>(limits_.maxBars));
      Raw(" in tree order.</p>\n");
    }
    if (unjoined > 0) {
      Raw("<p class=\"note\">");
      Number(static_cast<int64_t>(unjoined));
      Raw(" more documents of this transaction not drawn.</p>\n");
    }
    Raw("</div>\n");
  }

  // About five ticks at a round step (1, 2 or 5 times a power of ten milliseconds).
  static double AxisStep(double range) {
    double step = 1;
    for (double scale = 1; step * 5 < range; scale *= 10) {
      for (double f : {1, 2, 5}) {
        step = f * scale;
        if (step * 5 >= range) break;
      }
    }
    return step;
  }

  void WriteAxis(int64_t low, int64_t high, double step) {
    double range = static_cast<double>(high) - static_cast<double>(low);
    Raw("<div class=\"axis\"><span>ms</span><div class=\"ticks\">");
    double first = std::ceil(static_cast<double>(low) / step) * step;
    for (int k = 0; k <= 10; ++k) {
      double t = first + k * step;
      if (t > static_cast<double>(high)) break;
      Raw("<span style=\"left:");
      Raw(Percent((t - static_cast<double>(low)) / range * 100));
      Raw("\">");
      Number(static_cast<int64_t>(std::clamp(t, -9.2e18, 9.2e18)));
      Raw("</span>");
    }
    Raw("</div><span></span></div>\n");
  }

  void WriteBar(const Bar &bar, bool parent, const LogItem *partRoot, double left, double width) {
    const TraceNode &node = *bar.node;
    std::string_view failure = FailureOf(node);
    Raw("<div class=\"row");
    if (bar.part > 0) {
      Raw(" p");
      Number(static_cast<int64_t>((bar.part - 1) % 3 + 1));
    }
    if (!failure.empty()) Raw(" fail");
    if (parent && bar.depth >= limits_.openDepth) Raw(" closed");
    Raw("\" data-d=\"");
    Number(static_cast<int64_t>(bar.depth));
    Raw("\"");
    WriteDetails(bar);
    if (bar.depth > limits_.openDepth) Raw(" hidden");
    Raw("><span class=\"name\" style=\"padding-left:");
    Number(static_cast<int64_t>(std::min(bar.depth, kDeepestIndent)));
    Raw("em\">");
    Raw(parent ? "<button class=\"tg\" type=\"button\" aria-label=\"open or close\"></button>"
               : "<span class=\"leaf\"></span>");
    Text(node.resource);
    if (!failure.empty()) {
      Raw("<span class=\"err\">");
      Text(failure);
      Raw("</span>");
    }
    if (partRoot != nullptr) {
      Raw("<span class=\"proc\">");
      Text(SourceOf(*partRoot));
      Raw("</span>");
    }
    Raw("</span><span class=\"track\"><span class=\"bar\" style=\"left:");
    Raw(Percent(left));
    Raw(";width:");
    Raw(Percent(width));
    Raw("\"></span></span><span class=\"ms\">");
    Number(node.duration);
    Raw(" ms</span></div>\n");
  }

  // A record's details as a JSON array of names and values, which the page's script turns
  // into a table when the record is first pointed at: text in an attribute costs the browser far
  // less than elements.
  static void Detail(std::string &json, std::string_view name, std::string_view value) {
    for (std::string_view text : {name, value}) {
      json += json.empty() ? "[\"" : ",\"";
      for (char c : text) {
        if (c == '"' || c == '\\') {
          json += '\\';
          json += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
          char escape[8];
          std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
          json += escape;
        } else {
          json += c;
        }
      }
      json += '"';
    }
  }

  void WriteDetails(const Bar &bar) {
    const TraceNode &node = *bar.node;
    std::string json;
    if (node.startTime.empty()) {
      std::string start = "+";
      start += std::to_string(node.offset);
      start += " ms (at ";
      start += std::to_string(bar.start);
      Detail(json, "start", start + " ms)");
    } else {
      Detail(json, "started", node.startTime);
    }
    if (bar.depth > kDeepestIndent) Detail(json, "depth", std::to_string(bar.depth));
    for (const TraceParam &param : node.params) {
      if (!IsUnmeasuredCpu(param)) Detail(json, param.name, ShortPassport(param.value));
    }
    json += ']';
    // In single quotes, so that the many double quotes of the JSON need no references.
    Raw(" data-tip='");
    AppendEscaped(html_, json, false);
    Raw("'");
  }

  void WriteRejected() {
    Raw("<section id=\"rejected\"><h2>Rejected lines</h2><details class=\"rejected\"><summary>");
    Number(static_cast<int64_t>(summary_.others.size()));
    Raw(summary_.others.size() == 1 ? " line is" : " lines are");
    Raw(" neither metric text nor a complete trace document</summary><ul>\n");
    size_t listed = std::min(summary_.others.size(), kRejectedListed);
    for (size_t i = 0; i < listed; ++i) {
      const LogItem &item = *summary_.others[i];
      const std::string &text = std::get<std::string>(item.content);
      Raw("<li>");
      Text(SourceOf(item));
      Raw(": ");
      Text(std::string_view(text).substr(0, kRejectedShown));
      if (text.size() > kRejectedShown) {
        Raw("... (");
        Number(static_cast<int64_t>(text.size()));
        Raw(" bytes)");
      }
      Raw("</li>\n");
    }
    if (listed < summary_.others.size()) {
      Raw("<li class=\"dim\">");
      Number(static_cast<int64_t>(summary_.others.size() - listed));
      Raw(" more</li>\n");
    }
    Raw("</ul></details></section>\n");
  }

  const LogSummary &summary_;
  const std::vector<HtmlInput> &inputs_;
  const HtmlLimits &limits_;
  std::string html_;
  std::set<std::string_view> processes_;
  std::vector<std::string_view> inputProcess_;
  std::vector<std::map<std::string_view, std::string_view, std::less<>>> operationProcess_;
};

}  // namespace

void AppendEscaped(std::string &out, std::string_view text, bool doubleQuotes) {
  size_t plain = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    std::string_view entity;
    switch (text[i]) {
      case '&':
        entity = "&amp;";
        break;
      case '<':
        entity = "&lt;";
        break;
      case '>':
        entity = "&gt;";
        break;
      case '"':
        if (!doubleQuotes) continue;
        entity = "&quot;";
        break;
      case '\'':
        entity = "&#39;";
        break;
      default:
        continue;
    }
    out.append(text.substr(plain, i - plain));
    out += entity;
    plain = i + 1;
  }
  out.append(text.substr(plain));
}

std::optional<int64_t> ParseStartTime(std::string_view text) {
  // "YYYY-MM-DD HH:MM:SS", then ".mmm" or nothing; each field of exactly its digits.
  if (text.size() != 19 && text.size() != 23) return std::nullopt;
  constexpr std::string_view kShape = "0000-00-00 00:00:00.000";
  for (size_t i = 0; i < text.size(); ++i) {
    bool digit = text[i] >= '0' && text[i] <= '9';
    if (kShape[i] == '0' ? !digit : text[i] != kShape[i]) return std::nullopt;
  }
  auto field = [&](size_t at, size_t length) {
    return *TextCursor::ParseNumber(text.substr(at, length));
  };
  int64_t month = field(5, 2), day = field(8, 2);
  if (month < 1 || month > 12 || day < 1 || day > 31) return std::nullopt;
  int64_t seconds = field(11, 2) * 3600 + field(14, 2) * 60 + field(17, 2);
  int64_t ms = text.size() == 23 ? field(20, 3) : 0;
  return (DaysFromCivil(field(0, 4), month, day) * 86400 + seconds) * 1000 + ms;
}

void WriteHtmlReport(const LogSummary &summary, const std::vector<HtmlInput> &inputs,
                     const HtmlLimits &limits, std::ostream &out) {
  out << Page(summary, inputs, limits).Build();
}

}  // namespace tlmview
