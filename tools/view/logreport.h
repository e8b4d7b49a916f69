// What a log holds, summed up for people: timed metrics, resources, string events, trace trees
// and the lines that are none of these.
#ifndef TLM_TOOLS_VIEW_LOGREPORT_H
#define TLM_TOOLS_VIEW_LOGREPORT_H

#include <ostream>
#include <string_view>
#include <vector>

#include "logtext.h"

namespace tlmview {

// One row of the timing table: all the lines of one metric and label, taken together. A line
// with a count is an average of that many samples; a line without one is a counter, and the row
// then sums the counts of all intervals and has no average, minimum or maximum.
struct TimingRow {
  std::string path;
  std::string label;
  int64_t reports = 0;  // lines read, one per sending interval in which the metric had data
  int64_t count = 0;    // samples, or the counter's total
  bool counter = false;
  int64_t average = 0;  // of the samples, weighted by each line's count
  int64_t min = 0;
  int64_t max = 0;
  // A row the viewer worked out rather than read: the samples of an average that didn't finish
  // normally (its count less its Finished Counter), for a component whose log has neither an
  // Exception Counter nor a Finished with undefined state line.
  bool derived = false;
};

// The label of a derived row.
inline constexpr std::string_view kDerivedTerminatedLabel = "Terminated (derived)";

// A resource with its latest value, the widest watermarks seen and its KPIs' latest values.
struct ResourceRow {
  std::string path;
  std::string type;  // LongCounter, or PerInterval for a value that restarts each interval
  std::optional<int64_t> current, high, low;
  // Summed from the counts of the Current Value lines; unknown when none carried one (values
  // that restart each interval, and the three-line form).
  std::optional<int64_t> updates;
  std::vector<std::pair<std::string, int64_t>> kpis;  // in the order first seen
  std::vector<int64_t> history;                       // each Current Value read, in order
  std::vector<std::vector<int64_t>> kpiHistory;       // per KPI, each value read, in order
};

// Lines of text values that are the same in type, name and value, taken together: a process
// sends its library's version once per interval.
struct StringRow {
  const MetricLine *line = nullptr;  // the first of them
  int64_t times = 0;
};

// How many items of each kind the log held, before any selection.
struct LogCounts {
  size_t metricLines = 0;  // numeric metric lines
  size_t stringLines = 0;  // string events and lines of unknown types
  size_t traces = 0;
  size_t rejected = 0;  // lines that are neither metric text nor a complete trace document
};

struct LogSummary {
  LogCounts counts;
  std::vector<TimingRow> timings;  // in the order first seen
  std::vector<ResourceRow> resources;
  std::vector<StringRow> strings;  // StringEvent lines and lines of unknown types, first seen first
  std::vector<const LogItem *> traces;
  std::vector<const LogItem *> others;
};

// The summary refers to items, which must outlive it.
LogSummary Summarize(const std::vector<LogItem> &items);
// The same for several inputs taken together, in order.
LogSummary Summarize(const std::vector<const std::vector<LogItem> *> &inputs);

// Prints the summary as tables and indented trees: at most maxTraces trace documents, then the
// number of those left out. A trace's heading names the transaction of its incoming passport;
// binary passports in parameters are shortened.
void PrintSummary(const LogSummary &summary, std::ostream &out,
                  size_t maxTraces = static_cast<size_t>(-1));

// The transaction named by the passport that a trace document came with; empty without one.
std::string TraceTransaction(const TraceNode &root);

// Keeps only the trace documents of transaction and drops everything else from summary but its
// counts. Answers the number of documents kept.
size_t KeepTransaction(LogSummary &summary, const std::string &transaction);

// A "CPU Time (us)" of -1: the library didn't measure it (it doesn't on Linux). Not shown.
bool IsUnmeasuredCpu(const TraceParam &param);

// "(N more transaction traces not shown)", with the singular for one.
std::string MoreTracesNote(size_t more);

// Prints one trace document: each record with its offset, duration and parameters, the records
// that ran inside it indented below.
void PrintTrace(const TraceNode &root, std::ostream &out);

}  // namespace tlmview

#endif  // TLM_TOOLS_VIEW_LOGREPORT_H
