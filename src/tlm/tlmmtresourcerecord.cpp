#include "tlm/tlmmtresourcerecord.h"

#include "tlm/tlmlocks.h"
#include "tlm/tlmmetrictext.h"

namespace {

// The agent type whose texts carry the current value with its watermarks on one line.
constexpr uint16_t kAgentTypeCompact = 2;

}  // namespace

CMTResourceRecord::CMTResourceRecord() : CMTResourceRecord(u"DEFAULT") {}

CMTResourceRecord::CMTResourceRecord(const zulstring &name) : name_(name) {}

CMTResourceRecord::CMTResourceRecord(const CMTResourceRecord &other) : name_(other.name_) {
  assignFrom(other);
}

void CMTResourceRecord::assignFrom(const CMTResourceRecord &other) {
  std::map<zulstring, int64_t> kpiValues;
  {
    CSharedLock hold(&other.mapLock_);
    kpiValues = other.kpiValues_;
  }
  {
    CExclusiveLock hold(&mapLock_);
    kpiValues_.swap(kpiValues);
  }
  CMutexLock hold(&lock_);
  keepValue_ = other.keepValue_;
  initialValue_ = other.initialValue_;
  currentValue_ = other.currentValue_;
  highWatermark_ = other.highWatermark_;
  lowWatermark_ = other.lowWatermark_;
  updateCount_ = other.updateCount_;
  updated_ = other.updated_;
}

void CMTResourceRecord::takeReport(int64_t value, int64_t high, int64_t low) {
  if (initialValue_ == 0) {
    initialValue_ = value;
    currentValue_ = value;
    highWatermark_ = high;
    lowWatermark_ = low;
    return;
  }
  currentValue_ = value;
  if (high > highWatermark_) highWatermark_ = high;
  if (low < lowWatermark_) lowWatermark_ = low;
}

void CMTResourceRecord::iniValue(int64_t value, bool keep) {
  CMutexLock hold(&lock_);
  keepValue_ = keep;
  takeReport(value, value, value);
  updateCount_.add(1);
  updated_ = true;
}

void CMTResourceRecord::incValue(int64_t delta) {
  CMutexLock hold(&lock_);
  currentValue_.add(delta);
  if (currentValue_ > highWatermark_) highWatermark_ = currentValue_.get();
  if (updateCount_ == 0) updateCount_ = 1;
  updated_ = true;
}

void CMTResourceRecord::decValue(int64_t delta) {
  CMutexLock hold(&lock_);
  // Two's complement negation, so that the lowest delta wraps instead of overflowing.
  currentValue_.add(static_cast<int64_t>(0 - static_cast<uint64_t>(delta)));
  if (currentValue_ < lowWatermark_) lowWatermark_ = currentValue_.get();
  if (updateCount_ == 0) updateCount_ = 1;
  updated_ = true;
}

void CMTResourceRecord::reportValue(int64_t value, int64_t high, int64_t low, uint32_t count,
                                    bool keep) {
  CMutexLock hold(&lock_);
  keepValue_ = keep;
  takeReport(value, high, low);
  updateCount_.add(count);
  updated_ = true;
}

void CMTResourceRecord::addKpiValue(const zulstring &name, int64_t value) {
  {
    CExclusiveLock hold(&mapLock_);
    kpiValues_[name] = value;
  }
  CMutexLock hold(&lock_);
  updated_ = true;
}

void CMTResourceRecord::clear() {
  if (!keepValue_) {
    iniValue(0, false);
    return;
  }
  updateCount_ = 0;
  updated_ = false;
  highWatermark_ = currentValue_.get();
  lowWatermark_ = currentValue_.get();
}

zulstring CMTResourceRecord::toMetricString(uint16_t agentType,
                                            const CProcessSettings &settings) const {
  using namespace tlmmetric;
  CSharedLock hold(&mapLock_);
  const zulstring prefix = settings.metricPrefix();
  zulstring out;
  if (agentType == kAgentTypeCompact && !keepValue_) {
    AppendLineHead(out, u"PerInterval", prefix, name_, u"Current Value");
    AppendNumber(out, kValue, currentValue_, true);
    AppendLineEnd(out);
  } else if (agentType == kAgentTypeCompact) {
    AppendLineHead(out, u"LongCounter", prefix, name_, u"Current Value");
    AppendNumber(out, kValue, currentValue_, true);
    AppendNumber(out, kMax, highWatermark_, true);
    AppendNumber(out, kMin, lowWatermark_, true);
    AppendNumber(out, kCount, updateCount_, false);
    AppendLineEnd(out);
    for (const auto &[kpiName, kpiValue] : kpiValues_) {
      AppendLineHead(out, u"LongCounter", prefix, name_, kpiName);
      AppendNumber(out, kValue, kpiValue, true);
      AppendNumber(out, kCount, 1, false);
      AppendLineEnd(out);
    }
  } else {
    AppendLineHead(out, u"LongCounter", prefix, name_, u"Current Value");
    AppendNumber(out, kValue, currentValue_, true);
    AppendLineEnd(out);
    AppendLineHead(out, u"LongCounter", prefix, name_, u"High Watermark");
    AppendNumber(out, kValue, highWatermark_, true);
    AppendLineEnd(out);
    AppendLineHead(out, u"LongCounter", prefix, name_, u"Low Watermark");
    AppendNumber(out, kValue, lowWatermark_, true);
    AppendLineEnd(out);
  }
  return out;
}
