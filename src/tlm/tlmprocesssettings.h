// What every part of the instrumentation core reads about the process: its identity texts, the
// skip-times prefixes and the per-component thresholds. Built at start and handed down, so that
// records, texts and sinks never reach up for it.
#ifndef TLM_TLMPROCESSSETTINGS_H
#define TLM_TLMPROCESSSETTINGS_H

#include <cstdint>
#include <map>
#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmzulstringless.h"

// Thresholds per component prefix, in key order.
typedef std::map<zulstring, uint16_t, ZulStringLess> CThresholdMap;

// An immutable value once shared: a change makes a new one (CProcessSettingsHolder), and whoever
// holds the old one keeps reading it unchanged.
class CProcessSettings {
 public:
  // Empty identity, no skip prefixes, no component thresholds.
  CProcessSettings() = default;
  // The settings of a start: the component name, the PID text (see PIDText) and the lists of
  // the loaded configuration.
  static std::shared_ptr<const CProcessSettings> FromConfiguration(const zulstring &component,
                                                                   const zulstring &pidText);

  zulstring componentName;
  zulstring pidString;
  zulstring instancePrefix;
  std::vector<zulstring> skipTimePrefixes;
  CThresholdMap componentThresholds;
  CThresholdMap componentTraceThresholds;

  // True when name begins with a skip prefix followed by "|".
  bool checkSkipName(const zulstring &name) const;
  // False only for a listed name whose elapsed time is not below skip_times_below_threshold: the
  // caller records on true.
  bool checkSkipTimes(const zulstring &name, int32_t elapsed) const;
  // The system name, then "|" and the component name and "_" and the PID text, each only when not
  // empty: the name prefix of the string events.
  zulstring processPrefix() const;
  // The process prefix, then "|" and the instance prefix when that is not empty: the name prefix
  // of the metric lines.
  zulstring metricPrefix() const;

  // Fills prefixes from the comma-separated list. The list must hold one name: the text after a
  // comma is appended again and again until memory runs out.
  static void ParseSkipTimePrefixList(const zulstring &list, std::vector<zulstring> &prefixes);
  // Fills both threshold maps from three parallel lists whose items are each closed by a comma.
  // Only the first name of the list is cut cleanly: later names carry their comma and more.
  static void ParseSpeInstruPrefixList(const zulstring &names, const zulstring &levels,
                                       const zulstring &traceLevels, CThresholdMap &thresholds,
                                       CThresholdMap &traceThresholds);
  // The PID text of an option: -1 takes the process id, any other option its own decimal text.
  static zulstring PIDText(short option);
};

// The current settings of holder, or empty settings when there is none (a manager used before
// its initialize, after a start that failed half way).
std::shared_ptr<const CProcessSettings> SettingsOf(const class CProcessSettingsHolder *holder);
// The same without a share: valid as long as holder lives (the empty settings for ever).
const CProcessSettings *SettingsViewOf(const class CProcessSettingsHolder *holder);

// The current settings of the started library; owned by the library's start. Readers take a
// snapshot; the few run-time changes (instance prefix, component thresholds) publish a new one.
//
// Every snapshot it published stays alive as long as the holder, so that a context can keep a
// plain pointer to the one it was made with: taking it is one load, where a share would be an
// atomic count that every application thread raises and lowers on one cache line for each
// transaction. Changes are few, so the kept snapshots are few.
class CProcessSettingsHolder {
 public:
  explicit CProcessSettingsHolder(std::shared_ptr<const CProcessSettings> settings)
      : current_(std::move(settings)), view_(current_.get()) {}

  std::shared_ptr<const CProcessSettings> get() const {
    std::lock_guard<std::mutex> hold(lock_);
    return current_;
  }
  // The current snapshot, valid as long as the holder.
  const CProcessSettings *view() const { return view_.load(std::memory_order_acquire); }
  // Publishes a copy of the current settings with change applied to it.
  template <typename Change>
  void update(Change change) {
    std::lock_guard<std::mutex> hold(lock_);
    auto next = std::make_shared<CProcessSettings>(*current_);
    change(*next);
    published_.push_back(current_);
    current_ = std::move(next);
    view_.store(current_.get(), std::memory_order_release);
  }

 private:
  mutable std::mutex lock_;  // guards current_ and published_, not what they point to
  std::shared_ptr<const CProcessSettings> current_;
  std::vector<std::shared_ptr<const CProcessSettings>> published_;  // earlier snapshots
  std::atomic<const CProcessSettings *> view_;
};

#endif  // TLM_TLMPROCESSSETTINGS_H
