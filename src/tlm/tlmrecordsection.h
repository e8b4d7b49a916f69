// One member of the ring of metric sections: the stat and resource records of one interval.
#ifndef TLM_TLMRECORDSECTION_H
#define TLM_TLMRECORDSECTION_H

#include <cstdint>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmmtresourcerecord.h"
#include "tlm/tlmmtstatrecord.h"
#include "tlm/tlmrecordtable.h"

class CMTDataSendingAgent;
class CProcessSettings;

// Owns its records, together with whoever still updates one. Each kind of record has its map
// and read-write lock: shared for look-ups and sending, exclusive for one insertion and the reset.
// Lock order: a section's lock before a record's lock; the stat lock and the resource lock are
// never held together.
class CRecordSection {
 public:
  typedef CRecordTable<CMTStatRecord>::Ref StatRef;
  typedef CRecordTable<CMTResourceRecord>::Ref ResourceRef;
  // Ordered by the units of the names.
  typedef CRecordTable<CMTStatRecord>::Map StatMap;
  typedef CRecordTable<CMTResourceRecord>::Map ResourceMap;
  // The records that a reset took out, to be freed away from the ring lock.
  struct Detached {
    StatMap stats;
    ResourceMap resources;
  };

  explicit CRecordSection(uint16_t id) : id_(id) {}
  CRecordSection(const CRecordSection &) = delete;
  CRecordSection &operator=(const CRecordSection &) = delete;

  uint16_t getId() const { return id_; }
  // The maps themselves, for a caller that holds the section out of reach of writers.
  const StatMap &getStatMap() const { return stats_.map(); }
  const ResourceMap &getResourceMap() const { return resources_.map(); }
  bool isStatMapEmpty() { return stats_.empty(); }
  bool isResourceMapEmpty() { return resources_.empty(); }

  // The record of that name, created when new; never null.
  StatRef getStatRecordByName(const zulstring &name) { return stats_.findOrCreate(name); }
  ResourceRef getResourceRecordByName(const zulstring &name) {
    return resources_.findOrCreate(name);
  }

  // Hands the text of every record, in name order, to agent, and answers how many. A record
  // whose text is empty is handed over and counted too.
  int64_t sendStatData(CMTDataSendingAgent *agent, const CProcessSettings &settings);
  // The same for the resource records that were updated.
  int64_t sendResourceData(CMTDataSendingAgent *agent, const CProcessSettings &settings);
  // Carries the records with components in flight into target, cleared to their name and active
  // counter, unless target has the name already.
  void copyStatData(CRecordSection *target);
  // Carries every resource record into target, cleared for the new interval, unless target has
  // the name already.
  void copyResourceData(CRecordSection *target);
  // Empties both maps in constant time and answers their records.
  Detached detachRecords() { return {stats_.detach(), resources_.detach()}; }
  // Empties both maps and frees what nobody else holds.
  void resetSection() { detachRecords(); }

 private:
  uint16_t id_;
  CRecordTable<CMTStatRecord> stats_;
  CRecordTable<CMTResourceRecord> resources_;
};

#endif  // TLM_TLMRECORDSECTION_H
