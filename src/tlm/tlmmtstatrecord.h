// The statistics of one timed component name within one metric section.
#ifndef TLM_TLMMTSTATRECORD_H
#define TLM_TLMMTSTATRECORD_H

#include <atomic>
#include <cstdint>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmprocesssettings.h"
#include "tlm/tlmrelaxed.h"
#include "tlm/tlmlocks.h"

// Counters and sums of the components of one name. Application threads update a record under its
// own lock; the sending thread reads the numbers without it, so a late update may or may not be
// in the text (the numbers are relaxed atomics, which makes that read well defined).
class CMTStatRecord {
 public:
  // A record named "DEFAULT".
  CMTStatRecord();
  explicit CMTStatRecord(const zulstring &name);
  // Copies the name and every number; the copy has a lock of its own.
  CMTStatRecord(const CMTStatRecord &other);
  CMTStatRecord &operator=(const CMTStatRecord &) = delete;

  // Takes every number of other, keeping this record's name.
  void assignFrom(const CMTStatRecord &other);

  // A component of this name began: active plus one.
  void start();
  // A component ended normally: active minus one unless it is 0, finished plus one.
  void stop();
  // A component ended by termination: active minus one unless it is 0, terminated plus one.
  void terminate();
  // Adds one sample: each time to its sum, to its maximum and minimum (signed comparisons; a
  // negative minimum means none yet). CPU times of -1 (not measured) are added like any other.
  void calStatRecord(int32_t elapsed, int64_t cpu, int32_t netElapsed, int64_t netCpu);
  // calStatRecord, then terminate() when terminated, else stop(), under one hold of the lock.
  void addSampleAndEnd(int32_t elapsed, int64_t cpu, int32_t netElapsed, int64_t netCpu,
                       bool terminated);
  uint32_t getActiveCounter() const { return activeCounter_.load(std::memory_order_relaxed); }
  // A copy of every number taken under the lock, for the text of a section being sent. From then
  // on this record counts its ends as late: they reach no text (see LateEndCount).
  CMTStatRecord sealedCopy();
  // Ends (normal or terminated) that landed in a record after its text was taken, process-wide:
  // the updates of a thread that looked its record up just before a switch and ended after the
  // old section was sent.
  static uint64_t LateEndCount();
  // Back to no samples, keeping the name and the active counter (components in flight stay
  // counted). Takes no lock: only for a record that nobody writes.
  void clear();
  // The metric text of the record, one line per figure that the metric scope selects; empty when
  // none applies. agentType is accepted and not used.
  zulstring toMetricString(uint16_t agentType, const CProcessSettings &settings) const;

  const zulstring &getName() const { return name_; }
  uint32_t getFinishedCounter() const { return finishedCounter_; }
  uint32_t getTerminatedCounter() const { return terminatedCounter_; }
  uint32_t getSampleCount() const { return sampleCount_; }
  uint32_t getElapsedSum() const { return elapsedSum_; }
  int64_t getCPUSum() const { return cpuSum_; }
  int32_t getNetElapsedSum() const { return netElapsedSum_; }
  int64_t getNetCPUSum() const { return netCpuSum_; }
  int32_t getElapsedMax() const { return elapsedMax_; }
  int64_t getCPUMax() const { return cpuMax_; }
  int32_t getNetElapsedMax() const { return netElapsedMax_; }
  int64_t getNetCPUMax() const { return netCpuMax_; }
  int32_t getElapsedMin() const { return elapsedMin_; }
  int64_t getCPUMin() const { return cpuMin_; }
  int32_t getNetElapsedMin() const { return netElapsedMin_; }
  int64_t getNetCPUMin() const { return netCpuMin_; }

 private:
  // The maximum, minimum and sample count that follow a line's value.
  struct Extras {
    int64_t maximum;
    int64_t minimum;
    uint32_t count;
  };
  // The end counts of stop, terminate and addSampleAndEnd; the caller holds lock_.
  void countEnd(bool terminated);
  // The arithmetic of calStatRecord; the caller holds lock_.
  void addSample(int32_t elapsed, int64_t cpu, int32_t netElapsed, int64_t netCpu);
  // Appends one line of type IntAverage: label, value ("%ld" when wide, else the low 32 bits in
  // "%d") and, when given, the extras in the same format and the count in "%d".
  void doPrepareMetricString(zulstring &out, const zulstring &prefix, const ZUL_UTF16 *label,
                             int64_t value, bool wide, const Extras *extras) const;

  zulstring name_;
  // Raised without the lock (a start touches nothing else); lowered by the ends under it.
  std::atomic<uint32_t> activeCounter_{0};
  CRelaxed<uint32_t> finishedCounter_ = 0;
  CRelaxed<uint32_t> terminatedCounter_ = 0;
  CRelaxed<uint32_t> sampleCount_ = 0;
  CRelaxed<uint32_t> elapsedSum_ = 0;
  CRelaxed<int64_t> cpuSum_ = 0;
  CRelaxed<int32_t> netElapsedSum_ = 0;
  CRelaxed<int64_t> netCpuSum_ = 0;
  CRelaxed<int32_t> elapsedMax_ = 0;
  CRelaxed<int64_t> cpuMax_ = -1;
  CRelaxed<int32_t> netElapsedMax_ = 0;
  CRelaxed<int64_t> netCpuMax_ = -1;
  CRelaxed<int32_t> elapsedMin_ = -1;
  CRelaxed<int64_t> cpuMin_ = -1;
  CRelaxed<int32_t> netElapsedMin_ = -1;
  CRelaxed<int64_t> netCpuMin_ = -1;
  bool sealed_ = false;  // guarded by lock_
  mutable CCoreMutex lock_;  // guards every counter for writers
};

#endif  // TLM_TLMMTSTATRECORD_H
