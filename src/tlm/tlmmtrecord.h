// One timed component of a transaction.
#ifndef TLM_TLMMTRECORD_H
#define TLM_TLMMTRECORD_H

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmmtstatrecord.h"
#include "tlm/tlmplatformhelper.h"

class CMTRecord;
class CProcessSettings;

// Frees a record by giving it to the pool of the thread that lets it go, when that thread has one
// with room; else deletes it. Records come from new, whichever way they were made.
struct CRecordRecycler {
  CRecordRecycler() = default;
  CRecordRecycler(std::default_delete<CMTRecord>) {}  // NOLINT: a plain owner converts
  void operator()(CMTRecord *record) const noexcept;
};
typedef std::unique_ptr<CMTRecord, CRecordRecycler> CRecordPtr;

// Name, place in the record tree, gross and net times, attached pairs. Used by the thread of its
// context only. Owns its children; a root thus owns its tree. Shares its stat record with the
// section that holds it, so that the record stays valid however long this one runs.
class CMTRecord {
 public:
  static constexpr uint16_t STATUS_OPEN = 0;
  static constexpr uint16_t STATUS_CLOSE = 1;
  static constexpr uint16_t STATUS_TERMINATE_NORMAL = 2;
  static constexpr uint16_t STATUS_TERMINATE_INTERRUPT = 3;

  // name is component + "|" + operation. parent is the enclosing record or null; it is not
  // owned. traced: the context was tracing, so everything is measured. settings (the skip
  // prefixes) must outlive the record.
  CMTRecord(zulstring name, uint32_t id, CMTRecord *parent, bool traced,
            const CProcessSettings *settings);
  CMTRecord(const CMTRecord &) = delete;
  CMTRecord &operator=(const CMTRecord &) = delete;

  // A record as the constructor makes it, taken from the calling thread's pool when it has one:
  // no allocation when the pool holds a record whose name had the capacity.
  static CRecordPtr Make(const zulstring &name, uint32_t id, CMTRecord *parent, bool traced,
                         const CProcessSettings *settings);
  // Before a pool keeps the record: gives back its children and drops its pairs.
  void releaseForReuse() noexcept;

  // Takes the start time (and the CPU start where measured) and counts the component as active
  // in its stat record, as the metric scope and the skip list decide.
  void startTiming();
  // Measures gross and net times, deducts them from the parent's net times and adds a sample to
  // the stat record. timeStat false (ended out of order) stops the stat record without a sample
  // unless the record is traced. Answers the end time on the server clock.
  int64_t endTiming(bool timeStat);
  // measure true: as endTiming, counted as terminated. measure false (abandoned): counted as
  // terminated without taking any time; answers -1.
  int64_t terminateTiming(bool timeStat, bool measure);
  // Subtracts a child's times from the net times; a negative argument leaves its figure alone.
  void deductNetTime(int32_t elapsed, int64_t cpu);
  // The offset from the parent's start, across at most one wrap of the clock.
  void calculateOffset(int32_t parentStartTime);
  // Makes room for one more child, so that the next appendChildRecord can't fail.
  void reserveChild();
  // Takes ownership of child.
  void appendChildRecord(CRecordPtr child);
  // Sets the pair, replacing an existing value.
  void appendInfo(const zulstring &name, const zulstring &value);
  // Inserts a new name and answers false; for a known one appends "," and value to the old value
  // and answers true.
  bool appendInfoToList(const zulstring &name, const zulstring &value);
  // The stat record of the name in the current section generation, looked up again only when the
  // section version changed; null while there is no section.
  CMTStatRecord *getLocalStatRecordByName();
  // The trace text of the record, with its children when withChildren is set: an "event" element
  // for the first record of a context (id 1), a "calledComponent" element for any other. A record
  // still open shows its times so far. Names and values go in unescaped.
  zulstring getEMTraceXML(bool withChildren);

  uint32_t getId() const { return id_; }
  uint16_t getStatus() const { return status_; }
  bool isTraced() const { return traced_; }
  int32_t getElapseTime() const { return elapsed_; }
  int64_t getCPUElapseTime() const { return cpuElapsed_; }
  int32_t getNetElapseTime() const { return netElapsed_; }
  int64_t getNetCPUElapseTime() const { return netCpuElapsed_; }
  bool isInTraceStack() const { return inTraceStack_; }
  CMTRecord *getParentRecord() const { return parent_; }
  uint32_t getOffset() const { return offset_; }
  // The start time on the server clock.
  uint32_t getStartTimestamp() const { return startTime_; }
  // The wall clock text of the start of a top record ("%4d-%02d-%02d %02d:%02d:%02d", with
  // ".%03ld" milliseconds when so marked), made when read; empty for any other record.
  zulstring getStartTimestampStr() const;
  const zulstring &getMetricName() const { return name_; }
  const std::vector<CRecordPtr> &getChildren() const { return children_; }
  const std::map<zulstring, zulstring> &getInfo() const { return info_; }

  void setInTraceStack(bool inTraceStack) { inTraceStack_ = inTraceStack; }
  void setSkipReportingForTrace(bool skip) { skipReportingForTrace_ = skip; }
  // Marks a top record, whose start time is shown as a wall clock text.
  void setStartTimestampText(bool withMillis) {
    startText_ = withMillis ? StartText::kWithMillis : StartText::kSeconds;
  }

 private:
  enum class Ending { kEnd, kTerminate };
  enum class StartText : uint8_t { kNone, kSeconds, kWithMillis };

  // The measuring and reporting common to endTiming and a measured terminateTiming.
  int64_t finishTiming(bool timeStat, Ending ending);
  // Points localStatRecord_ at the current section's record when the version changed.
  void refreshStatRecord();
  // The CPU time since the start, across at most one wrap of the clock.
  int64_t measureCPU() const;
  // Appends the trace text of the record (and of its children when withChildren is set) to out.
  void appendEMTraceXML(zulstring &out, bool withChildren) const;

  zulstring name_;
  uint32_t id_;
  uint16_t status_ = STATUS_OPEN;
  bool traced_;
  bool skipReportingForTrace_ = false;
  bool inTraceStack_ = false;
  uint32_t startTime_ = 0;
  int64_t cpuStart_ = 0;  // 0 until measured; -1 when the clock failed
  int32_t elapsed_ = 0;
  int64_t cpuElapsed_ = -1;
  int32_t netElapsed_ = 0;
  int64_t netCpuElapsed_ = 0;
  CMTRecord *parent_;
  const CProcessSettings *settings_;
  TLMPlatformHelper::ClockReading startClock_;  // the reading startTime_ came from
  StartText startText_ = StartText::kNone;
  uint32_t offset_ = 0;
  std::vector<CRecordPtr> children_;
  std::map<zulstring, zulstring> info_;
  std::shared_ptr<CMTStatRecord> localStatRecord_;
  int32_t sectionVersion_ = -1;
  uint32_t sectionGeneration_ = 0;  // the manager's generation that the version belongs to
};

#endif  // TLM_TLMMTRECORD_H
