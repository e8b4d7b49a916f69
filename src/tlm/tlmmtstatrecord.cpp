#include "tlm/tlmmtstatrecord.h"

#include <atomic>

#include "tlm/tlmlocks.h"
#include "tlm/tlmmetrictext.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"

namespace {

// Bits of the metric scope that select the lines of a stat record's text. The average elapsed
// time needs none: it is there whenever there are samples.
constexpr uint16_t kScopeActive = 0x01;
constexpr uint16_t kScopeNetElapsed = 0x02;
constexpr uint16_t kScopeNetCPU = 0x04;
constexpr uint16_t kScopeCPU = 0x08;
constexpr uint16_t kScopeFinished = 0x10;
constexpr uint16_t kScopeUndefinedState = 0x20;
constexpr uint16_t kScopeException = 0x40;

std::atomic<uint64_t> lateEnds{0};

template <typename T>
void raiseTo(CRelaxed<T> &maximum, T value) {
  if (value > maximum.get()) maximum = value;
}

// A negative minimum means that there was no sample yet.
template <typename T>
void lowerTo(CRelaxed<T> &minimum, T value) {
  if (minimum.get() < 0 || value < minimum.get()) minimum = value;
}

}  // namespace

CMTStatRecord::CMTStatRecord() : CMTStatRecord(u"DEFAULT") {}

CMTStatRecord::CMTStatRecord(const zulstring &name) : name_(name) {}

CMTStatRecord::CMTStatRecord(const CMTStatRecord &other) : name_(other.name_) {
  assignFrom(other);
}

void CMTStatRecord::assignFrom(const CMTStatRecord &other) {
  CMutexLock hold(&lock_);
  activeCounter_.store(other.activeCounter_.load(std::memory_order_relaxed),
                       std::memory_order_relaxed);
  finishedCounter_ = other.finishedCounter_;
  terminatedCounter_ = other.terminatedCounter_;
  sampleCount_ = other.sampleCount_;
  elapsedSum_ = other.elapsedSum_;
  cpuSum_ = other.cpuSum_;
  netElapsedSum_ = other.netElapsedSum_;
  netCpuSum_ = other.netCpuSum_;
  elapsedMax_ = other.elapsedMax_;
  cpuMax_ = other.cpuMax_;
  netElapsedMax_ = other.netElapsedMax_;
  netCpuMax_ = other.netCpuMax_;
  elapsedMin_ = other.elapsedMin_;
  cpuMin_ = other.cpuMin_;
  netElapsedMin_ = other.netElapsedMin_;
  netCpuMin_ = other.netCpuMin_;
}

// A start races only with the ends' lowering, which is a compare-and-swap, and with readers of
// the count, which see it before or after: no lock needed.
void CMTStatRecord::start() { activeCounter_.fetch_add(1, std::memory_order_relaxed); }

void CMTStatRecord::stop() {
  CMutexLock hold(&lock_);
  countEnd(false);
}

void CMTStatRecord::terminate() {
  CMutexLock hold(&lock_);
  countEnd(true);
}

void CMTStatRecord::countEnd(bool terminated) {
  uint32_t active = activeCounter_.load(std::memory_order_relaxed);
  while (active != 0 && !activeCounter_.compare_exchange_weak(active, active - 1,
                                                              std::memory_order_relaxed)) {
  }
  (terminated ? terminatedCounter_ : finishedCounter_).add(1);
  if (sealed_) lateEnds.fetch_add(1, std::memory_order_relaxed);
}

void CMTStatRecord::calStatRecord(int32_t elapsed, int64_t cpu, int32_t netElapsed,
                                  int64_t netCpu) {
  CMutexLock hold(&lock_);
  addSample(elapsed, cpu, netElapsed, netCpu);
}

void CMTStatRecord::addSampleAndEnd(int32_t elapsed, int64_t cpu, int32_t netElapsed,
                                    int64_t netCpu, bool terminated) {
  CMutexLock hold(&lock_);
  addSample(elapsed, cpu, netElapsed, netCpu);
  countEnd(terminated);
}

CMTStatRecord CMTStatRecord::sealedCopy() {
  CMTStatRecord copy(name_);
  CMutexLock hold(&lock_);
  sealed_ = true;
  copy.assignFrom(*this);
  return copy;
}

uint64_t CMTStatRecord::LateEndCount() { return lateEnds.load(std::memory_order_relaxed); }

void CMTStatRecord::addSample(int32_t elapsed, int64_t cpu, int32_t netElapsed, int64_t netCpu) {
  elapsedSum_.add(static_cast<uint32_t>(elapsed));
  cpuSum_.add(cpu);
  netElapsedSum_.add(netElapsed);
  netCpuSum_.add(netCpu);
  raiseTo(elapsedMax_, elapsed);
  raiseTo(cpuMax_, cpu);
  raiseTo(netElapsedMax_, netElapsed);
  raiseTo(netCpuMax_, netCpu);
  lowerTo(elapsedMin_, elapsed);
  lowerTo(cpuMin_, cpu);
  lowerTo(netElapsedMin_, netElapsed);
  lowerTo(netCpuMin_, netCpu);
  sampleCount_.add(1);
}

void CMTStatRecord::clear() {
  finishedCounter_ = 0;
  terminatedCounter_ = 0;
  sampleCount_ = 0;
  elapsedSum_ = 0;
  cpuSum_ = 0;
  netElapsedSum_ = 0;
  netCpuSum_ = 0;
  elapsedMax_ = 0;
  netElapsedMax_ = 0;
  cpuMax_ = -1;
  netCpuMax_ = -1;
  elapsedMin_ = -1;
  cpuMin_ = -1;
  netElapsedMin_ = -1;
  netCpuMin_ = -1;
}

void CMTStatRecord::doPrepareMetricString(zulstring &out, const zulstring &prefix,
                                          const ZUL_UTF16 *label, int64_t value, bool wide,
                                          const Extras *extras) const {
  tlmmetric::AppendLineHead(out, u"IntAverage", prefix, name_, label);
  tlmmetric::AppendNumber(out, tlmmetric::kValue, value, wide);
  if (extras != nullptr) {
    tlmmetric::AppendNumber(out, tlmmetric::kMax, extras->maximum, wide);
    tlmmetric::AppendNumber(out, tlmmetric::kMin, extras->minimum, wide);
    tlmmetric::AppendNumber(out, tlmmetric::kCount, extras->count, false);
  }
  tlmmetric::AppendLineEnd(out);
}

zulstring CMTStatRecord::toMetricString(uint16_t, const CProcessSettings &settings) const {
  const uint16_t scope = TLMParameterHelper::GetPerfMetricScope();
  const zulstring prefix = settings.metricPrefix();
  // One reading of each counter, so that a late update can't make the lines disagree.
  const uint32_t active = activeCounter_.load(std::memory_order_relaxed);
  const uint32_t finished = finishedCounter_;
  const uint32_t terminated = terminatedCounter_;
  const uint32_t count = sampleCount_;
  zulstring out;

  if ((scope & kScopeActive) != 0 && !settings.checkSkipName(name_) &&
      active != 0) {
    doPrepareMetricString(out, prefix, u"Active Counter", active, false, nullptr);
  }
  if ((scope & kScopeFinished) != 0 && finished != 0) {
    doPrepareMetricString(out, prefix, u"Finished Counter", finished, false, nullptr);
  }
  const uint32_t undefinedState = terminated + finished - count;
  if ((scope & kScopeUndefinedState) != 0 && undefinedState != 0) {
    doPrepareMetricString(out, prefix, u"Finished with undefined state", undefinedState, false,
                          nullptr);
  }
  const uint32_t exceptions = count - finished;
  if ((scope & kScopeException) != 0 && exceptions != 0) {
    doPrepareMetricString(out, prefix, u"Exception Counter", exceptions, false, nullptr);
  }
  if (count == 0) return out;

  const int64_t cpuAverage = cpuSum_.get() / static_cast<int64_t>(count);
  Extras elapsed{elapsedMax_, elapsedMin_, count};
  doPrepareMetricString(out, prefix, u"Avg. Elapsed Time(ms)", elapsedSum_.get() / count, false,
                        &elapsed);
  if ((scope & kScopeCPU) != 0) {
    Extras cpu{cpuMax_, cpuMin_, count};
    doPrepareMetricString(out, prefix, u"Avg. CPU Time(us)", cpuAverage, true, &cpu);
  }
  if ((scope & kScopeNetElapsed) != 0) {
    // The value is the CPU average, in 32 bits; the net elapsed sum is never shown.
    Extras netElapsed{netElapsedMax_, netElapsedMin_, count};
    doPrepareMetricString(out, prefix, u"Avg. Net Elapsed Time(ms)", cpuAverage, false,
                          &netElapsed);
  }
  if ((scope & kScopeNetCPU) != 0) {
    Extras netCpu{netCpuMax_, netCpuMin_, count};
    doPrepareMetricString(out, prefix, u"Avg. Net CPU Time(us)",
                          netCpuSum_.get() / static_cast<int64_t>(count), true, &netCpu);
  }
  return out;
}
