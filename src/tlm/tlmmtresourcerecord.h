// A counter that the application reports, within one metric section.
#ifndef TLM_TLMMTRESOURCERECORD_H
#define TLM_TLMMTRESOURCERECORD_H

#include <cstdint>
#include <map>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmprocesssettings.h"
#include "tlm/tlmrelaxed.h"
#include "tlm/tlmlocks.h"

// Current value, watermarks and update count of one resource, and its named extra values (KPIs).
// Updates hold the record's lock; the text reads the numbers without it (relaxed atomics) and the
// KPI map under the map lock.
class CMTResourceRecord {
 public:
  // A record named "DEFAULT".
  CMTResourceRecord();
  explicit CMTResourceRecord(const zulstring &name);
  // Copies the name, every number and the KPI map; the copy has locks of its own.
  CMTResourceRecord(const CMTResourceRecord &other);
  CMTResourceRecord &operator=(const CMTResourceRecord &) = delete;

  // Takes every number and the KPIs of other, keeping this record's name.
  void assignFrom(const CMTResourceRecord &other);

  // Stores keep. The first report (initial value 0, which also means not yet set) sets initial,
  // current, high and low to value; later ones set current and widen the watermarks. Update
  // count plus one.
  void iniValue(int64_t value, bool keep);
  // current + delta, raising high; an update count of 0 becomes 1.
  void incValue(int64_t delta);
  // current - delta, lowering low; an update count of 0 becomes 1.
  void decValue(int64_t delta);
  // Stores keep. The first report sets initial and current to value and takes high and low as
  // given; later ones set current and widen the watermarks by high and low. Update count plus
  // count.
  void reportValue(int64_t value, int64_t high, int64_t low, uint32_t count, bool keep);
  // Sets the KPI of that name, inserting it when new, and marks the record updated so that the
  // value is sent.
  void addKpiValue(const zulstring &name, int64_t value);
  // Something was reported since the last clear.
  bool isUpdated() const { return updated_; }
  // Starts a new interval. A record that keeps its value: update count 0, not updated, both
  // watermarks at the current value. A per-interval one: iniValue(0, false), so that it is sent
  // again with 0. The KPIs stay.
  void clear();
  // The metric text: agent type 2 gives one line, or one line plus a line per KPI for a record
  // that keeps its value; any other type gives current, high and low watermark lines.
  zulstring toMetricString(uint16_t agentType, const CProcessSettings &settings) const;

  const zulstring &getName() const { return name_; }
  bool getKeepValue() const { return keepValue_; }
  int64_t getInitialValue() const { return initialValue_; }
  int64_t getCurrentValue() const { return currentValue_; }
  int64_t getHighWatermark() const { return highWatermark_; }
  int64_t getLowWatermark() const { return lowWatermark_; }
  uint32_t getUpdateCount() const { return updateCount_; }

 private:
  // The first report (initial value 0) sets initial and current to value and the watermarks to
  // high and low; a later one sets current and widens the watermarks. The caller holds lock_.
  void takeReport(int64_t value, int64_t high, int64_t low);

  zulstring name_;
  CRelaxed<bool> keepValue_ = true;
  CRelaxed<int64_t> initialValue_ = 0;
  CRelaxed<int64_t> currentValue_ = 0;
  CRelaxed<int64_t> highWatermark_ = 0;
  CRelaxed<int64_t> lowWatermark_ = 0;
  CRelaxed<uint32_t> updateCount_ = 0;
  CRelaxed<bool> updated_ = false;
  mutable CCoreMutex lock_;        // guards the numbers for writers
  mutable CCoreRwLock mapLock_;  // guards kpiValues_ and the building of the text
  std::map<zulstring, int64_t> kpiValues_;
};

#endif  // TLM_TLMMTRESOURCERECORD_H
