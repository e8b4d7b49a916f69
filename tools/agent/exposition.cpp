// Metric lines to Prometheus series. A metric name of the text is
//   system|process[|instance]|component|operation:figure   for timings (type IntAverage),
//   system|process[|instance]|resource:figure              for resources and their KPIs,
//   system|process[|sub-path]:name                         for string values,
// where process is the application's component name with its process text ("MyServer_4242").
// Names are written unescaped, so a "|" inside a name moves the cut: the last segments are taken
// as the timed component or resource, and whatever stands between them and the system name is
// the process.
#include "exposition.h"

#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>

#include <sstream>
#include <vector>

#include "logtext.h"

namespace tlmagent {

namespace {

enum class Kind { kCounter, kGauge, kSummary };

struct FamilyInfo {
  const char *name;
  const char *help;
  Kind kind;
};

// Indexed by FamilyId.
constexpr std::array<FamilyInfo, kFamilyCount> kFamilies = {{
    {"tlm_component_active", "Timings running at the end of the latest sending interval",
     Kind::kGauge},
    {"tlm_component_finished_total", "Timings that ended normally", Kind::kCounter},
    {"tlm_component_undefined_state_total", "Timings that ended in an undefined state",
     Kind::kCounter},
    {"tlm_component_exceptions_total", "Timings that ended with an exception", Kind::kCounter},
    {"tlm_resource_value", "Latest value of a resource", Kind::kGauge},
    {"tlm_resource_high_watermark", "Highest value of a resource in the latest interval",
     Kind::kGauge},
    {"tlm_resource_low_watermark", "Lowest value of a resource in the latest interval",
     Kind::kGauge},
    {"tlm_resource_updates_total", "Updates of a resource", Kind::kCounter},
    {"tlm_resource_kpi", "Latest value of a resource's KPI", Kind::kGauge},
    {"tlm_string_info", "A string value an application reported; the value is a label",
     Kind::kGauge},
    {"tlm_component_elapsed_seconds",
     "Elapsed time of timed components; quantiles 0 and 1 are the latest interval's extremes",
     Kind::kSummary},
    {"tlm_component_cpu_seconds",
     "CPU time of timed components; quantiles 0 and 1 are the latest interval's extremes",
     Kind::kSummary},
    {"tlm_component_net_elapsed_seconds",
     "Elapsed time of timed components without their callees; quantiles 0 and 1 are the "
     "latest interval's extremes",
     Kind::kSummary},
    {"tlm_component_net_cpu_seconds",
     "CPU time of timed components without their callees; quantiles 0 and 1 are the latest "
     "interval's extremes",
     Kind::kSummary},
}};

struct TimingFigure {
  std::string_view label;
  FamilyId family;
  double unitsPerSecond;  // for summaries: the figure's unit is 1/unitsPerSecond s
};

constexpr std::array<TimingFigure, 8> kTimingFigures = {{
    {"Active Counter", FamilyId::kActive, 0},
    {"Finished Counter", FamilyId::kFinished, 0},
    {"Finished with undefined state", FamilyId::kUndefinedState, 0},
    {"Exception Counter", FamilyId::kExceptions, 0},
    {"Avg. Elapsed Time(ms)", FamilyId::kElapsed, 1e3},
    {"Avg. CPU Time(us)", FamilyId::kCpu, 1e6},
    {"Avg. Net Elapsed Time(ms)", FamilyId::kNetElapsed, 1e3},
    {"Avg. Net CPU Time(us)", FamilyId::kNetCpu, 1e6},
}};

// Prometheus takes any UTF-8 in a label value and escapes \, " and the line feed. Other control
// characters would pass unescaped, and invalid UTF-8 makes a scrape fail as a whole: lines
// carrying either are rejected.
bool UsableLabelValue(std::string_view text) {
  size_t i = 0;
  while (i < text.size()) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x80) {
      if (byte < 0x20 || byte == 0x7f) return false;
      ++i;
      continue;
    }
    size_t length = byte >= 0xf0 ? 4 : byte >= 0xe0 ? 3 : byte >= 0xc0 ? 2 : 0;
    if (length == 0 || byte > 0xf4 || byte < 0xc2 || i + length > text.size()) return false;
    uint32_t code = byte & (0x7f >> length);
    for (size_t k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xc0) != 0x80) return false;
      code = (code << 6) | (next & 0x3f);
    }
    const bool overlong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
    if (overlong || (code >= 0xd800 && code <= 0xdfff) || code > 0x10ffff) return false;
    i += length;
  }
  return true;
}

std::vector<std::string_view> SplitPath(std::string_view path) {
  std::vector<std::string_view> parts;
  size_t at = 0;
  for (;;) {
    size_t bar = path.find('|', at);
    parts.push_back(path.substr(at, bar - at));
    if (bar == std::string_view::npos) return parts;
    at = bar + 1;
  }
}

// parts[from, to) joined by "|" again.
std::string Join(const std::vector<std::string_view> &parts, size_t from, size_t to) {
  std::string joined;
  for (size_t i = from; i < to && i < parts.size(); ++i) {
    if (i > from) joined += '|';
    joined += parts[i];
  }
  return joined;
}

enum class Shape { kTiming, kResource, kString };

// The labels of a line's name, by the shape of its name; nothing if it has too few parts.
std::optional<prometheus::Labels> NameLabels(Shape shape, const std::vector<std::string_view> &parts,
                                             const std::string &host) {
  const size_t n = parts.size();
  prometheus::Labels labels{{"system", std::string(parts[0])}, {"host", host}};
  if (shape == Shape::kTiming) {  // a timing: the last two parts are component and operation
    if (n < 2) return std::nullopt;
    const size_t component = n >= 3 ? n - 2 : 1;
    labels["process"] = Join(parts, 1, component);
    labels["component"] = std::string(parts[component]);
    labels["operation"] = n >= 3 ? std::string(parts[n - 1]) : std::string();
  } else if (shape == Shape::kResource) {  // a resource: the last part
    if (n < 2) return std::nullopt;
    labels["process"] = Join(parts, 1, n - 1);
    labels["resource"] = std::string(parts[n - 1]);
  } else {  // a string value: the process, then its sub-path
    labels["process"] = n >= 2 ? std::string(parts[1]) : std::string();
    labels["path"] = Join(parts, 2, n);
  }
  return labels;
}

// Divided rather than multiplied by a fraction, so that 30 ms reads 0.03 and not 0.029999...
std::optional<double> Seconds(const std::optional<int64_t> &value, double unitsPerSecond) {
  if (!value) return std::nullopt;
  return static_cast<double>(*value) / unitsPerSecond;
}

}  // namespace

// Serves the summaries, which prometheus-cpp's Summary can't take: it computes its sum, count
// and quantiles from single observations, and the text carries a whole interval's aggregate.
class MetricExposition::SummaryCollectable : public prometheus::Collectable {
 public:
  explicit SummaryCollectable(const MetricExposition &owner) : owner_(owner) {}

  std::vector<prometheus::MetricFamily> Collect() const override {
    std::vector<prometheus::MetricFamily> families;
    for (size_t f = kFirstSummary; f < kFamilyCount; ++f) {
      families.push_back({kFamilies[f].name, kFamilies[f].help, prometheus::MetricType::Summary,
                          {}});
    }
    std::lock_guard<std::mutex> lock(owner_.mutex_);
    for (const auto &[key, series] : owner_.series_) {
      const auto f = static_cast<size_t>(key.family);
      if (f < kFirstSummary) continue;
      prometheus::ClientMetric metric;
      for (const auto &[name, value] : key.labels) metric.label.push_back({name, value});
      metric.summary.sample_count = series.count;
      metric.summary.sample_sum = series.sum;
      if (series.min) metric.summary.quantile.push_back({0.0, *series.min});
      if (series.max) metric.summary.quantile.push_back({1.0, *series.max});
      families[f - kFirstSummary].metric.push_back(std::move(metric));
    }
    std::erase_if(families, [](const prometheus::MetricFamily &family) {
      return family.metric.empty();
    });
    return families;
  }

 private:
  const MetricExposition &owner_;
};

MetricExposition::MetricExposition(std::chrono::seconds idle)
    : idle_(idle),
      registry_(std::make_shared<prometheus::Registry>()),
      summaries_(std::make_shared<SummaryCollectable>(*this)) {
  for (size_t f = 0; f < kFirstSummary; ++f) {
    const FamilyInfo &info = kFamilies[f];
    if (info.kind == Kind::kCounter) {
      counters_[f] = &prometheus::BuildCounter().Name(info.name).Help(info.help).Register(*registry_);
    } else {
      gauges_[f] = &prometheus::BuildGauge().Name(info.name).Help(info.help).Register(*registry_);
    }
  }
  exposedLines_ = &prometheus::BuildCounter()
                       .Name("tlm_agent_exposed_lines_total")
                       .Help("Metric lines received and exposed")
                       .Register(*registry_)
                       .Add({});
  rejectedLines_ = &prometheus::BuildCounter()
                        .Name("tlm_agent_rejected_lines_total")
                        .Help("Lines received that were not usable metric text")
                        .Register(*registry_)
                        .Add({});
}

MetricExposition::~MetricExposition() = default;

MetricExposition::Series &MetricExposition::Find(FamilyId family, prometheus::Labels labels,
                                                 Clock::time_point now) {
  auto [it, added] = series_.try_emplace(SeriesKey{family, std::move(labels)});
  Series &series = it->second;
  series.seen = now;
  if (added) {
    const auto f = static_cast<size_t>(family);
    if (counters_[f]) series.counter = &counters_[f]->Add(it->first.labels);
    if (gauges_[f]) series.gauge = &gauges_[f]->Add(it->first.labels);
  }
  return series;
}

void MetricExposition::Remove(std::map<SeriesKey, Series>::iterator it) {
  const auto f = static_cast<size_t>(it->first.family);
  if (it->second.counter) counters_[f]->Remove(it->second.counter);
  if (it->second.gauge) gauges_[f]->Remove(it->second.gauge);
  series_.erase(it);
}

LineFate MetricExposition::Take(std::string_view line, const std::string &host,
                                Clock::time_point now) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  if (line.empty() || line.starts_with("<event ")) return LineFate::kSkipped;

  auto reject = [this] {
    rejectedLines_->Increment();
    return LineFate::kRejected;
  };
  std::optional<tlmview::MetricLine> metric = tlmview::ParseMetricLine(line);
  if (!metric || metric->label.empty() || !UsableLabelValue(metric->path) ||
      !UsableLabelValue(metric->label) || !UsableLabelValue(host)) {
    return reject();
  }
  const std::vector<std::string_view> parts = SplitPath(metric->path);
  const std::string &type = metric->type;
  const std::string &label = metric->label;

  std::lock_guard<std::mutex> lock(mutex_);
  if (type == "IntAverage") {
    const TimingFigure *figure = nullptr;
    for (const TimingFigure &candidate : kTimingFigures) {
      if (candidate.label == label) figure = &candidate;
    }
    std::optional<prometheus::Labels> labels = NameLabels(Shape::kTiming, parts, host);
    if (!figure || !labels) return reject();
    const auto f = static_cast<size_t>(figure->family);
    const int64_t value = *metric->number;
    if (kFamilies[f].kind == Kind::kSummary) {
      if (!metric->count || *metric->count < 0) return reject();
      Series &series = Find(figure->family, std::move(*labels), now);
      series.count += static_cast<uint64_t>(*metric->count);
      series.sum += static_cast<double>(value) * static_cast<double>(*metric->count) /
                    figure->unitsPerSecond;
      series.min = Seconds(metric->min, figure->unitsPerSecond);
      series.max = Seconds(metric->max, figure->unitsPerSecond);
    } else if (kFamilies[f].kind == Kind::kCounter) {
      if (value < 0) return reject();
      Find(figure->family, std::move(*labels), now).counter->Increment(static_cast<double>(value));
    } else {
      Find(figure->family, std::move(*labels), now).gauge->Set(static_cast<double>(value));
    }
  } else if (type == "LongCounter" || type == "PerInterval") {
    std::optional<prometheus::Labels> labels = NameLabels(Shape::kResource, parts, host);
    if (!labels) return reject();
    const auto value = static_cast<double>(*metric->number);
    auto set = [&](FamilyId family, double v) { Find(family, *labels, now).gauge->Set(v); };
    if (label == "Current Value") {
      set(FamilyId::kResourceValue, value);
      if (metric->max) set(FamilyId::kResourceHigh, static_cast<double>(*metric->max));
      if (metric->min) set(FamilyId::kResourceLow, static_cast<double>(*metric->min));
      if (metric->count && *metric->count >= 0) {
        Find(FamilyId::kResourceUpdates, *labels, now)
            .counter->Increment(static_cast<double>(*metric->count));
      }
    } else if (type == "PerInterval") {
      return reject();
    } else if (label == "High Watermark") {
      set(FamilyId::kResourceHigh, value);
    } else if (label == "Low Watermark") {
      set(FamilyId::kResourceLow, value);
    } else {
      (*labels)["kpi"] = label;
      set(FamilyId::kKpi, value);
    }
  } else if (type == "StringEvent") {
    std::optional<prometheus::Labels> labels = NameLabels(Shape::kString, parts, host);
    if (!labels || !UsableLabelValue(metric->value)) return reject();
    (*labels)["name"] = label;
    (*labels)["value"] = metric->value;
    Find(FamilyId::kString, std::move(*labels), now).gauge->Set(1);
  } else {
    return reject();
  }
  exposedLines_->Increment();
  return LineFate::kExposed;
}

size_t MetricExposition::Expire(Clock::time_point now) {
  std::lock_guard<std::mutex> lock(mutex_);
  size_t removed = 0;
  for (auto it = series_.begin(); it != series_.end();) {
    auto next = std::next(it);
    if (now - it->second.seen > idle_) {
      Remove(it);
      ++removed;
    }
    it = next;
  }
  return removed;
}

std::string MetricExposition::Scrape() const {
  std::vector<prometheus::MetricFamily> families = registry_->Collect();
  std::vector<prometheus::MetricFamily> summaries = summaries_->Collect();
  families.insert(families.end(), summaries.begin(), summaries.end());
  std::ostringstream out;
  prometheus::TextSerializer().Serialize(out, families);
  return out.str();
}

size_t MetricExposition::SeriesCount() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return series_.size();
}

}  // namespace tlmagent
