// The records of one kind within a metric section, by name, with the lock that guards them.
#ifndef TLM_TLMRECORDTABLE_H
#define TLM_TLMRECORDTABLE_H

#include <map>
#include <memory>
#include <vector>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmlocks.h"
#include "tlm/tlmzulstringless.h"
#include "zul_thr.h"

// Record is CMTStatRecord or CMTResourceRecord: constructible from a name, with restart() (back
// to the state of a new record) and assignFrom(other) (every number, as the copy constructor
// takes them), both under the record's own lock.
//
// A pointer to a record, once handed out, may be used after the record has left the map: by an
// update that fetched it before a switch, or by the loser of a race to insert a name. Records are
// therefore never freed while the table lives. A record that leaves the map becomes a spare of
// its name, and the next record of that name in this table reuses it, so that the number of
// records stays bounded by the names and the threads. An update through an old pointer lands in
// a record that no map holds (and is lost), or in that name's record of a later interval.
template <typename Record>
class CRecordTable {
 public:
  typedef std::map<zulstring, Record *, ZulStringLess> Map;

  CRecordTable() = default;
  CRecordTable(const CRecordTable &) = delete;
  CRecordTable &operator=(const CRecordTable &) = delete;
  ~CRecordTable() {
    for (auto &entry : map_) delete entry.second;
    for (auto &entry : spares_) delete entry.second;
  }

  // For a caller that holds the section out of reach of writers.
  const Map &map() const { return map_; }
  bool empty() {
    CSharedLock hold(&lock_);
    return map_.empty();
  }

  // The record of name, created when new. The map lock is dropped between the search and the
  // insertion, so two threads may both create a name: the map keeps the first, and the other
  // gets a record of its own that no map holds.
  Record *findOrCreate(const zulstring &name) {
    {
      CSharedLock hold(&lock_);
      auto found = map_.find(name);
      if (found != map_.end()) return found->second;
    }
    CExclusiveLock hold(&lock_);
    Record *record = takeFresh(name);
    if (map_.find(name) == map_.end()) {
      map_.emplace(name, record);
    } else {
      spares_.emplace(name, record);
    }
    return record;
  }

  // Calls visit(record) for each record in name order under the shared lock.
  template <typename Visit>
  void forEach(Visit visit) {
    CSharedLock hold(&lock_);
    for (const auto &entry : map_) visit(*entry.second);
  }

  // Puts a cleared copy of each record that carry selects into target, unless target has the
  // name already. The records are read under this table's lock shared and entered under target's
  // lock exclusively, one lock after the other: the ring hands sections on in a circle, so holding
  // both would order the tables' locks both ways round over time.
  template <typename Select>
  void copyTo(CRecordTable &target, Select carry) {
    std::vector<std::unique_ptr<Record>> carried;
    {
      CSharedLock hold(&lock_);
      for (const auto &[name, record] : map_) {
        if (!carry(*record)) continue;
        carried.push_back(std::make_unique<Record>(name));
        carried.back()->assignFrom(*record);
      }
    }
    CExclusiveLock holdTarget(&target.lock_);
    for (const auto &source : carried) {
      const zulstring &name = source->getName();
      if (target.map_.find(name) != target.map_.end()) continue;
      Record *copy = target.takeFresh(name);
      copy->assignFrom(*source);
      copy->clear();
      target.map_.emplace(name, copy);
    }
  }

  // Empties the map; its records become spares.
  void reset() {
    CExclusiveLock hold(&lock_);
    spares_.merge(map_);
  }

 private:
  // A spare of name, restarted, or a new record. The caller holds lock_ exclusively.
  Record *takeFresh(const zulstring &name) {
    auto spare = spares_.find(name);
    if (spare == spares_.end()) return new Record(name);
    Record *record = spare->second;
    spares_.erase(spare);
    record->restart();
    return record;
  }

  CCoreRwLock lock_;  // guards map_ and spares_
  Map map_;
  std::multimap<zulstring, Record *, ZulStringLess> spares_;
};

#endif  // TLM_TLMRECORDTABLE_H
