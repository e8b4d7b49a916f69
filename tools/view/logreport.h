// What a log holds, summed up for people: timed metrics, resources, string events, trace trees
// and the lines that are none of these.
#ifndef TLM_TOOLS_VIEW_LOGREPORT_H
#define TLM_TOOLS_VIEW_LOGREPORT_H

#include <ostream>
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
};

// A resource with its latest value, the widest watermarks seen and its KPIs' latest values.
struct ResourceRow {
  std::string path;
  std::string type;  // LongCounter, or PerInterval for a value that restarts each interval
  std::optional<int64_t> current, high, low;
  int64_t updates = 0;
  std::vector<std::pair<std::string, int64_t>> kpis;  // in the order first seen
};

// Lines of text values that are the same in type, name and value, taken together: a process
// sends its library's version once per interval.
struct StringRow {
  const MetricLine *line = nullptr;  // the first of them
  int64_t times = 0;
};

struct LogSummary {
  std::vector<TimingRow> timings;  // in the order first seen
  std::vector<ResourceRow> resources;
  std::vector<StringRow> strings;  // StringEvent lines and lines of unknown types, first seen first
  std::vector<const LogItem *> traces;
  std::vector<const LogItem *> others;
};

// The summary refers to items, which must outlive it.
LogSummary Summarize(const std::vector<LogItem> &items);

// Prints the summary as tables and indented trees: at most maxTraces trace documents, then the
// number of those left out. A trace's heading names the transaction of its incoming passport;
// binary passports in parameters are shortened.
void PrintSummary(const LogSummary &summary, std::ostream &out,
                  size_t maxTraces = static_cast<size_t>(-1));

// The transaction named by the passport that a trace document came with; empty without one.
std::string TraceTransaction(const TraceNode &root);

// Keeps only the trace documents of transaction and drops everything else from summary.
void KeepTransaction(LogSummary &summary, const std::string &transaction);

// Prints one trace document: each record with its offset, duration and parameters, the records
// that ran inside it indented below.
void PrintTrace(const TraceNode &root, std::ostream &out);

}  // namespace tlmview

#endif  // TLM_TOOLS_VIEW_LOGREPORT_H
