// One member of the ring of metric sections: the stat and resource records of one interval.
#ifndef TLM_TLMRECORDSECTION_H
#define TLM_TLMRECORDSECTION_H

#include <cstdint>
#include <map>
#include <vector>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmmtresourcerecord.h"
#include "tlm/tlmmtstatrecord.h"
#include "tlm/tlmzulstringless.h"
#include "zul_thr.h"

class CMTDataSendingAgent;

// Owns its records. Each map has its read-write lock: shared for look-ups and sending, exclusive
// for inserts and the reset. Lock order: a section's lock before a record's lock.
class CRecordSection {
 public:
  // Ordered by the units of the names.
  typedef std::map<zulstring, CMTStatRecord *, ZulStringLess> StatMap;
  typedef std::map<zulstring, CMTResourceRecord *, ZulStringLess> ResourceMap;

  explicit CRecordSection(uint16_t id);
  CRecordSection(const CRecordSection &) = delete;
  CRecordSection &operator=(const CRecordSection &) = delete;
  ~CRecordSection();

  uint16_t getId() const { return id_; }
  // The maps themselves, for a caller that holds the section out of reach of writers.
  const StatMap &getStatMap() const { return statMap_; }
  const ResourceMap &getResourceMap() const { return resourceMap_; }
  bool isStatMapEmpty();
  bool isResourceMapEmpty();

  // The record of that name, created when new. When two threads create the same name at once,
  // the map keeps the first, and the other gets the record that it made itself, which no map
  // holds: its updates are lost. The section keeps such records apart and frees them with its
  // own. Never null.
  CMTStatRecord *getStatRecordByName(const zulstring &name);
  CMTResourceRecord *getResourceRecordByName(const zulstring &name);

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
  // Deletes all records.
  void resetSection();

 private:
  THR_RWL statLock_;      // guards statMap_ and lostStatRecords_
  THR_RWL resourceLock_;  // guards resourceMap_ and lostResourceRecords_
  uint16_t id_;
  StatMap statMap_;
  ResourceMap resourceMap_;
  // Records that lost a race to insert their name; handed out once, then only freed.
  std::vector<CMTStatRecord *> lostStatRecords_;
  std::vector<CMTResourceRecord *> lostResourceRecords_;
};

#endif  // TLM_TLMRECORDSECTION_H
