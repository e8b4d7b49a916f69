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
    return std::move(summary_);
  }

 private:
  void AddMetric(const MetricLine &metric) {
    if (metric.number && metric.type == "IntAverage") {
      AddTiming(metric);
    } else if (metric.number && (metric.type == "LongCounter" || metric.type == "PerInterval")) {
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
      Widen(row.high, row.low, metric.max.value_or(value), metric.min.value_or(value));
      row.updates = SaturatingAdd(row.updates, metric.count.value_or(0));
    } else if (metric.label == "High Watermark") {
      row.high = row.high ? std::max(*row.high, value) : value;
    } else if (metric.label == "Low Watermark") {
      row.low = row.low ? std::min(*row.low, value) : value;
    } else {
      auto kpi = std::find_if(row.kpis.begin(), row.kpis.end(),
                              [&](const auto &entry) { return entry.first == metric.label; });
      if (kpi == row.kpis.end()) {
        row.kpis.emplace_back(metric.label, value);
      } else {
        kpi->second = value;
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

LogSummary Summarize(const std::vector<LogItem> &items) {
  Summarizer summarizer;
  for (const LogItem &item : items) summarizer.Add(item);
  return summarizer.Finish();
}

}  // namespace tlmview
