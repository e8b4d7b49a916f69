// Sums the items of a log up into rows: timings per metric and label, resources per name.
#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <tuple>

#include "logreport.h"

namespace tlmview {

namespace {

// The numbers come from outside: sums saturate instead of overflowing.
int64_t SaturatingAdd(int64_t a, int64_t b) {
  int64_t sum = 0;
  if (!__builtin_add_overflow(a, b, &sum)) return sum;
  return b > 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
}

int64_t ToInt64(long double value) {
  constexpr long double kLimit = 9.2e18L;
  return static_cast<int64_t>(std::llround(std::clamp(value, -kLimit, kLimit)));
}

void Widen(std::optional<int64_t> &high, std::optional<int64_t> &low, int64_t top, int64_t bottom) {
  high = high ? std::max(*high, top) : top;
  low = low ? std::min(*low, bottom) : bottom;
}

class Summarizer {
 public:
  void Add(const LogItem &item) {
    if (const auto *metric = std::get_if<MetricLine>(&item.content)) {
      AddMetric(*metric);
    } else if (std::holds_alternative<TraceNode>(item.content)) {
      summary_.traces.push_back(&item);
    } else {
      summary_.others.push_back(&item);
    }
  }

  LogSummary Finish() {
    for (size_t i = 0; i < summary_.timings.size(); ++i) {
      TimingRow &row = summary_.timings[i];
      if (!row.counter && row.count > 0) row.average = ToInt64(weightedSums_[i] / row.count);
    }
    AddDerivedRows();
    summary_.counts.traces = summary_.traces.size();
    summary_.counts.rejected = summary_.others.size();
    summary_.counts.stringLines = 0;
    for (const StringRow &row : summary_.strings) summary_.counts.stringLines += row.times;
    return std::move(summary_);
  }

 private:
  // The samples of an average include the calls that were terminated, which the Finished
  // Counter doesn't: without a line that counts them, the difference is shown as a row of its
  // own after the later of the two rows.
  void AddDerivedRows() {
    struct Parts {
      const TimingRow *finished = nullptr, *average = nullptr;
      size_t last = 0;
      bool counted = false;
    };
    std::map<std::string_view, Parts> byPath;
    for (size_t i = 0; i < summary_.timings.size(); ++i) {
      const TimingRow &row = summary_.timings[i];
      Parts &parts = byPath[row.path];
      if (row.label == "Finished Counter" && row.counter) {
        parts.finished = &row;
      } else if (row.label == "Avg. Elapsed Time(ms)" && !row.counter) {
        parts.average = &row;
      } else if (row.label == "Exception Counter" || row.label == "Finished with undefined state") {
        parts.counted = true;
      } else {
        continue;
      }
      parts.last = i;
    }
    std::vector<std::pair<size_t, TimingRow>> added;
    for (const auto &[path, parts] : byPath) {
      if (parts.counted || !parts.finished || !parts.average) continue;
      if (parts.average->count <= parts.finished->count) continue;
      TimingRow row{parts.average->path, std::string(kDerivedTerminatedLabel),
                    parts.average->reports, parts.average->count - parts.finished->count, true};
      row.derived = true;
      added.emplace_back(parts.last + 1, std::move(row));
    }
    // Inserted from the back, so that the positions found above stay right.
    std::sort(added.begin(), added.end(),
              [](const auto &a, const auto &b) { return a.first > b.first; });
    for (auto &[at, row] : added) summary_.timings.insert(summary_.timings.begin() + at, row);
  }

  void AddMetric(const MetricLine &metric) {
    if (metric.number && metric.type == "IntAverage") {
      ++summary_.counts.metricLines;
      AddTiming(metric);
    } else if (metric.number && (metric.type == "LongCounter" || metric.type == "PerInterval")) {
      ++summary_.counts.metricLines;
      AddResource(metric);
    } else {
      AddString(metric);
    }
  }

  void AddString(const MetricLine &metric) {
    auto [at, added] = stringIndex_.try_emplace(
        std::tie(metric.type, metric.path, metric.label, metric.value), summary_.strings.size());
    if (added) summary_.strings.push_back({&metric, 0});
    summary_.strings[at->second].times += 1;
  }

  void AddTiming(const MetricLine &metric) {
    auto [at, added] =
        timingIndex_.try_emplace({metric.path, metric.label}, summary_.timings.size());
    if (added) {
      summary_.timings.push_back({metric.path, metric.label, 0, 0, !metric.count, 0,
                                  std::numeric_limits<int64_t>::max(),
                                  std::numeric_limits<int64_t>::min()});
      weightedSums_.push_back(0);
    }
    TimingRow &row = summary_.timings[at->second];
    int64_t value = *metric.number;
    row.reports += 1;
    if (row.counter || !metric.count) {
      row.counter = true;
      row.count = SaturatingAdd(row.count, value);
      return;
    }
    int64_t samples = *metric.count;
    row.count = SaturatingAdd(row.count, samples);
    weightedSums_[at->second] += static_cast<long double>(value) * samples;
    row.min = std::min(row.min, metric.min.value_or(value));
    row.max = std::max(row.max, metric.max.value_or(value));
  }

  void AddResource(const MetricLine &metric) {
    auto [at, added] = resourceIndex_.try_emplace(metric.path, summary_.resources.size());
    if (added) summary_.resources.emplace_back().path = metric.path;
    ResourceRow &row = summary_.resources[at->second];
    if (row.type.empty() || metric.type == "PerInterval") row.type = metric.type;
    int64_t value = *metric.number;
    if (metric.label == "Current Value") {
      row.current = value;
      row.history.push_back(value);
      Widen(row.high, row.low, metric.max.value_or(value), metric.min.value_or(value));
      if (metric.count) row.updates = SaturatingAdd(row.updates.value_or(0), *metric.count);
    } else if (metric.label == "High Watermark") {
      row.high = row.high ? std::max(*row.high, value) : value;
    } else if (metric.label == "Low Watermark") {
      row.low = row.low ? std::min(*row.low, value) : value;
    } else {
      auto kpi = std::find_if(row.kpis.begin(), row.kpis.end(),
                              [&](const auto &entry) { return entry.first == metric.label; });
      if (kpi == row.kpis.end()) {
        row.kpis.emplace_back(metric.label, value);
        row.kpiHistory.push_back({value});
      } else {
        kpi->second = value;
        row.kpiHistory[kpi - row.kpis.begin()].push_back(value);
      }
    }
  }

  LogSummary summary_;
  std::map<std::pair<std::string, std::string>, size_t> timingIndex_;
  std::vector<long double> weightedSums_;  // per timing row
  std::map<std::string, size_t> resourceIndex_;
  // Keys refer to the items' strings, which outlive the summary.
  using StringKey = std::tuple<const std::string &, const std::string &, const std::string &,
                               const std::string &>;
  std::map<StringKey, size_t> stringIndex_;
};

}  // namespace

LogSummary Summarize(const std::vector<LogItem> &items) { return Summarize({&items}); }

LogSummary Summarize(const std::vector<const std::vector<LogItem> *> &inputs) {
  Summarizer summarizer;
  for (const std::vector<LogItem> *items : inputs) {
    for (const LogItem &item : *items) summarizer.Add(item);
  }
  return summarizer.Finish();
}

}  // namespace tlmview
