// The metric text that tlm-agent receives, kept as Prometheus series: counters and gauges in a
// prometheus::Registry, the timing figures as summaries, and the last value of every series until
// it has been idle for a set time. tlm-agent serves both collectables through prometheus-cpp's
// Exposer; tests and benchmarks read the same text through Scrape().
#ifndef TLM_TOOLS_AGENT_EXPOSITION_H
#define TLM_TOOLS_AGENT_EXPOSITION_H

#include <prometheus/collectable.h>
#include <prometheus/counter.h>
#include <prometheus/family.h>
#include <prometheus/gauge.h>
#include <prometheus/registry.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace tlmagent {

using Clock = std::chrono::steady_clock;

// What became of one line of received text.
enum class LineFate {
  kExposed,   // it updated a series
  kRejected,  // metric text that can't be exposed: cut, unknown figure, unusable name or number
  kSkipped,   // no metric text: an empty line or a transaction trace document
};

// Every family the text can feed. The timing figures (elapsed and CPU times) are summaries, the
// others live in the registry.
enum class FamilyId : uint8_t {
  kActive,
  kFinished,
  kUndefinedState,
  kExceptions,
  kResourceValue,
  kResourceHigh,
  kResourceLow,
  kResourceUpdates,
  kKpi,
  kString,
  kElapsed,
  kCpu,
  kNetElapsed,
  kNetCpu,
};
constexpr size_t kFamilyCount = 14;
constexpr size_t kFirstSummary = static_cast<size_t>(FamilyId::kElapsed);

// Take() and Expire() are called by one thread (tlm-agent's receiving loop); the collectables
// may be collected by any number of scraping threads meanwhile. mutex_ guards the series map and
// the summaries' values; the registry's counters and gauges have their own locks.
class MetricExposition {
 public:
  // idle: how long a series stays without a new value before it is removed.
  explicit MetricExposition(std::chrono::seconds idle);
  ~MetricExposition();
  MetricExposition(const MetricExposition &) = delete;
  MetricExposition &operator=(const MetricExposition &) = delete;

  // Applies one line (without its line feed) that came from host. Counters add the value of the
  // sending interval to their total; gauges and summaries' quantiles keep the latest value.
  LineFate Take(std::string_view line, const std::string &host, Clock::time_point now);

  // Removes every series last updated more than the idle time before now; answers how many.
  size_t Expire(Clock::time_point now);

  // The two collectables to serve: the registry (counters, gauges, the agent's own counters) and
  // the summaries. They refer to this object, which must outlive every use of them.
  std::shared_ptr<prometheus::Collectable> Registry() const { return registry_; }
  std::shared_ptr<prometheus::Collectable> Summaries() const { return summaries_; }

  // The text exposition of both, as a scrape gets it.
  std::string Scrape() const;

  size_t SeriesCount() const;

 private:
  struct SeriesKey {
    FamilyId family;
    prometheus::Labels labels;
    auto operator<=>(const SeriesKey &) const = default;
  };
  struct Series {
    Clock::time_point seen;
    prometheus::Counter *counter = nullptr;  // owned by its registry family
    prometheus::Gauge *gauge = nullptr;
    uint64_t count = 0;  // summaries: samples and their sum since the series appeared
    double sum = 0;
    std::optional<double> min, max;  // of the latest interval
  };
  class SummaryCollectable;

  Series &Find(FamilyId family, prometheus::Labels labels, Clock::time_point now);
  void Remove(std::map<SeriesKey, Series>::iterator it);

  const std::chrono::seconds idle_;
  std::shared_ptr<prometheus::Registry> registry_;
  std::shared_ptr<prometheus::Collectable> summaries_;  // a SummaryCollectable
  std::array<prometheus::Family<prometheus::Counter> *, kFamilyCount> counters_{};
  std::array<prometheus::Family<prometheus::Gauge> *, kFamilyCount> gauges_{};
  prometheus::Counter *exposedLines_ = nullptr;
  prometheus::Counter *rejectedLines_ = nullptr;
  mutable std::mutex mutex_;
  std::map<SeriesKey, Series> series_;  // guarded by mutex_
};

}  // namespace tlmagent

#endif  // TLM_TOOLS_AGENT_EXPOSITION_H
