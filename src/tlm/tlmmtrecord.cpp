#include "tlm/tlmmtrecord.h"

#include <new>
#include <utility>

#include "tlm/tlmprocesssettings.h"
#include "tlm/tlmplatformhelper.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "tlm/tlmrecordsectioncachemanager.h"
#include "tlm/tlmthreadblock.h"
#include "zul_dptrace.h"

namespace {

// Metric scopes: what a record that isn't traced measures.
constexpr uint16_t kScopeNone = 0;        // nothing is started
constexpr uint16_t kScopeNetElapsed = 2;  // gross and net elapsed
constexpr uint16_t kScopeCPU = 3;         // gross elapsed and gross CPU
constexpr uint16_t kScopeNetCPU = 4;      // gross and net of both

bool measuresNetElapsed(uint16_t scope) {
  return scope == kScopeNetElapsed || scope == kScopeNetCPU;
}

const ZUL_UTF16 *yesNo(bool value) { return value ? u"YES" : u"NO"; }

}  // namespace

CMTRecord::CMTRecord(zulstring name, uint32_t id, CMTRecord *parent, bool traced,
                     const CProcessSettings *settings)
    : name_(std::move(name)), id_(id), traced_(traced), parent_(parent), settings_(settings) {}

void CRecordRecycler::operator()(CMTRecord *record) const noexcept {
  CThreadBlock *thread = CThreadBlock::CurrentIfAny();
  if (thread == nullptr || !thread->records.give(record)) delete record;
}

// A pooled record is rebuilt in place around its name's storage; a record of the same name also
// keeps the stat record it found and the section version it found it in.
CRecordPtr CMTRecord::Make(const zulstring &name, uint32_t id, CMTRecord *parent, bool traced,
                           const CProcessSettings *settings) {
  CThreadBlock *thread = CThreadBlock::CurrentIfAny();
  bool sameName = false;
  CMTRecord *pooled = thread != nullptr ? thread->records.take(name, sameName) : nullptr;
  if (pooled == nullptr) return CRecordPtr(new CMTRecord(name, id, parent, traced, settings));
  CRecordPtr guard(pooled);  // goes back to the pool should the name not fit
  std::shared_ptr<CMTStatRecord> stat;
  int32_t version = -1;
  uint32_t generation = 0;
  if (sameName) {
    // A record kept from before a stop and a new start holds a stat record of the released
    // ring, whose versions the new ring repeats: it looks its record up again.
    generation = pooled->sectionGeneration_;
    if (generation == CRecordSectionCacheManager::generation()) {
      stat = std::move(pooled->localStatRecord_);
      version = pooled->sectionVersion_;
    }
  } else {
    pooled->name_.assign(name);  // may allocate, and throw, for a longer name
  }
  zulstring kept;
  kept.swap(pooled->name_);
  pooled->~CMTRecord();
  new (pooled) CMTRecord(zulstring(), id, parent, traced, settings);
  pooled->name_.swap(kept);
  pooled->localStatRecord_ = std::move(stat);
  pooled->sectionVersion_ = version;
  pooled->sectionGeneration_ = generation;
  return guard;
}

void CMTRecord::releaseForReuse() noexcept {
  children_.clear();
  info_.clear();
}

zulstring CMTRecord::getStartTimestampStr() const {
  if (startText_ == StartText::kNone) return zulstring();
  return TLMPlatformHelper::ServerTimeTextOf(startClock_, startText_ == StartText::kWithMillis);
}

void CMTRecord::refreshStatRecord() {
  CRecordSectionCacheManager *sections = CRecordSectionCacheManager::Instance();
  if (sectionVersion_ != static_cast<int32_t>(sections->getVersion())) {
    localStatRecord_ = sections->getStatRecordByName(name_, sectionVersion_);
    sectionGeneration_ = CRecordSectionCacheManager::generation();
  }
}

CMTStatRecord *CMTRecord::getLocalStatRecordByName() {
  refreshStatRecord();
  return localStatRecord_.get();
}

void CMTRecord::startTiming() {
  DPTRC(3, tf, u"%s - [StartTiming]\n", name_.c_str());
  startClock_ = TLMPlatformHelper::ReadClock();
  startTime_ = TLMPlatformHelper::ServerTimeOf(startClock_);
  if (traced_) {
    cpuStart_ = TLMPlatformHelper::GetCPUTime();
    if (skipReportingForTrace_) return;
  } else {
    const uint16_t scope = TLMParameterHelper::GetPerfMetricScope();
    if (scope >= kScopeCPU) cpuStart_ = TLMPlatformHelper::GetCPUTime();
    if (scope == kScopeNone) return;
    if (settings_->checkSkipName(name_)) return;
  }
  refreshStatRecord();
  if (localStatRecord_ != nullptr) localStatRecord_->start();
}

int64_t CMTRecord::measureCPU() const {
  return TLMPlatformHelper::GetCPUTimeDiff(TLMPlatformHelper::GetCPUTime(), cpuStart_);
}

int64_t CMTRecord::endTiming(bool timeStat) {
  DPTRC(3, tf, u"%s - [EndTiming] TimeStat:%s\n", name_.c_str(), yesNo(timeStat));
  return finishTiming(timeStat, Ending::kEnd);
}

int64_t CMTRecord::terminateTiming(bool timeStat, bool measure) {
  if (!measure) {
    status_ = STATUS_TERMINATE_INTERRUPT;
    refreshStatRecord();
    if (localStatRecord_ != nullptr) localStatRecord_->terminate();
    return -1;
  }
  DPTRC(2, tf, u"%s - [TerminateTiming] TimeStat:%s\n", name_.c_str(), yesNo(timeStat));
  return finishTiming(timeStat, Ending::kTerminate);
}

int64_t CMTRecord::finishTiming(bool timeStat, Ending ending) {
  const bool terminating = ending == Ending::kTerminate;
  const uint16_t finalStatus = terminating ? STATUS_TERMINATE_NORMAL : STATUS_CLOSE;
  const uint32_t endTime = TLMPlatformHelper::GetServerTime();
  elapsed_ = static_cast<int32_t>(TLMPlatformHelper::GetServerTimeDiff(endTime, startTime_));

  if (traced_) {
    netElapsed_ += elapsed_;
    if (cpuStart_ == -1) {
      cpuElapsed_ = -1;
      netCpuElapsed_ = -1;
    } else {
      cpuElapsed_ = measureCPU();
      netCpuElapsed_ += cpuElapsed_;
    }
    if (parent_ != nullptr) parent_->deductNetTime(elapsed_, cpuElapsed_);
    if (skipReportingForTrace_) {
      status_ = finalStatus;
      return endTime;
    }
  } else {
    const uint16_t scope = TLMParameterHelper::GetPerfMetricScope();
    if (measuresNetElapsed(scope)) netElapsed_ += elapsed_;
    if (cpuStart_ == -1 || scope < kScopeCPU) {
      cpuElapsed_ = -1;
      netCpuElapsed_ = -1;
    } else {
      cpuElapsed_ = measureCPU();
      if (scope == kScopeNetCPU) netCpuElapsed_ += cpuElapsed_;
    }
    if (parent_ != nullptr && measuresNetElapsed(scope)) {
      parent_->deductNetTime(elapsed_, cpuElapsed_);
    }
    if (!timeStat) {
      CMTStatRecord *stat = getLocalStatRecordByName();
      if (stat != nullptr) terminating ? stat->terminate() : stat->stop();
      status_ = finalStatus;
      return endTime;
    }
    if (!settings_->checkSkipTimes(name_, elapsed_)) {
      status_ = finalStatus;
      return endTime;
    }
  }

  refreshStatRecord();
  if (localStatRecord_ != nullptr) {
    // The sample and the end count in one hold of the record's lock, so that no text shows one
    // without the other.
    localStatRecord_->addSampleAndEnd(elapsed_, cpuElapsed_, netElapsed_, netCpuElapsed_,
                                      terminating);
  }
  status_ = finalStatus;
  return endTime;
}

void CMTRecord::deductNetTime(int32_t elapsed, int64_t cpu) {
  if (elapsed >= 0) netElapsed_ -= elapsed;
  if (cpu >= 0) netCpuElapsed_ -= cpu;
}

void CMTRecord::calculateOffset(int32_t parentStartTime) {
  offset_ =
      TLMPlatformHelper::GetServerTimeDiff(startTime_, static_cast<uint32_t>(parentStartTime));
}

void CMTRecord::reserveChild() {
  if (children_.size() == children_.capacity()) {
    children_.reserve(children_.empty() ? 1 : children_.capacity() * 2);
  }
}

void CMTRecord::appendChildRecord(CRecordPtr child) {
  reserveChild();
  children_.push_back(std::move(child));
}

void CMTRecord::appendInfo(const zulstring &name, const zulstring &value) {
  info_.insert_or_assign(name, value);
}

bool CMTRecord::appendInfoToList(const zulstring &name, const zulstring &value) {
  auto [entry, inserted] = info_.try_emplace(name, value);
  if (inserted) return false;
  entry->second.append(u",").append(value);
  return true;
}
