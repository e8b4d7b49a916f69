// One member of the ring of metric sections: the stat and resource records of one interval.
#ifndef TLM_TLMRECORDSECTION_H
#define TLM_TLMRECORDSECTION_H

#include <cstdint>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmmtresourcerecord.h"
#include "tlm/tlmmtstatrecord.h"
#include "tlm/tlmrecordtable.h"

class CMTDataSendingAgent;

// Owns its records. Each kind of record has its map and read-write lock: shared for look-ups and
// sending, exclusive for inserts and the reset. Lock order: a section's lock before a record's
// lock; the stat lock and the resource lock are never held together.
class CRecordSection {
 public:
  // Ordered by the units of the names.
  typedef CRecordTable<CMTStatRecord>::Map StatMap;
  typedef CRecordTable<CMTResourceRecord>::Map ResourceMap;

  explicit CRecordSection(uint16_t id) : id_(id) {}
  CRecordSection(const CRecordSection &) = delete;
  CRecordSection &operator=(const CRecordSection &) = delete;

  uint16_t getId() const { return id_; }
  // The maps themselves, for a caller that holds the section out of reach of writers.
  const StatMap &getStatMap() const { return stats_.map(); }
  const ResourceMap &getResourceMap() const { return resources_.map(); }
  bool isStatMapEmpty() { return stats_.empty(); }
  bool isResourceMapEmpty() { return resources_.empty(); }

  // The record of that name, created when new. When two threads create the same name at once,
  // the map keeps the first, and the other gets a record of its own, which no map holds: its
  // updates are lost. Never null; valid as long as the section lives.
  CMTStatRecord *getStatRecordByName(const zulstring &name) { return stats_.findOrCreate(name); }
  CMTResourceRecord *getResourceRecordByName(const zulstring &name) {
    return resources_.findOrCreate(name);
  }

  // Hands the text of every record, in name order, to agent, and answers how many. A record
  // whose text is empty is handed over and counted too.
  int64_t sendStatData(CMTDataSendingAgent *agent);
  // The same for the resource records that were updated.
  int64_t sendResourceData(CMTDataSendingAgent *agent);
  // Carries the records with components in flight into target, cleared to their name and active
  // counter, unless target has the name already.
  void copyStatData(CRecordSection *target);
  // Carries every resource record into target, cleared for the new interval, unless target has
  // the name already.
  void copyResourceData(CRecordSection *target);
  // Empties both maps.
  void resetSection();

 private:
  uint16_t id_;
  CRecordTable<CMTStatRecord> stats_;
  CRecordTable<CMTResourceRecord> resources_;
};

#endif  // TLM_TLMRECORDSECTION_H
