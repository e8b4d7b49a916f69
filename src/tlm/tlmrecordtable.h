// The records of one kind within a metric section, by name, with the lock that guards them.
#ifndef TLM_TLMRECORDTABLE_H
#define TLM_TLMRECORDTABLE_H

#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmlocks.h"
#include "tlm/tlmzulstringless.h"

// Record is CMTStatRecord or CMTResourceRecord: constructible from a name, with assignFrom(other)
// (every number, under the record's own lock) and clear().
//
// Records are shared: the table holds one reference and every updater that looked a record up
// holds another, so a record outlives the table's reset for as long as a thread still updates it.
// Such a late update lands in a record that no table holds any more and is lost; it never lands in
// a record of a later interval.
//
// The lock is held shared for look-ups and exclusively for the insertion of one record, whose
// memory was allocated before: the hold is a few pointer moves.
template <typename Record>
class CRecordTable {
 public:
  typedef std::shared_ptr<Record> Ref;
  typedef std::map<zulstring, Ref, ZulStringLess> Map;

  CRecordTable() = default;
  CRecordTable(const CRecordTable &) = delete;
  CRecordTable &operator=(const CRecordTable &) = delete;

  // For a caller that holds the section out of reach of writers.
  const Map &map() const { return map_; }
  bool empty() {
    CSharedLock hold(&lock_);
    return map_.empty();
  }

  // The record of name, created when new. When two threads create the same name at once, both
  // get the record that went in first.
  Ref findOrCreate(const zulstring &name) {
    {
      CSharedLock hold(&lock_);
      auto found = map_.find(name);
      if (found != map_.end()) return found->second;
    }
    return insert(makeNode(name, std::make_shared<Record>(name))).first;
  }

  // Calls visit(record) for each record in name order under the shared lock.
  template <typename Visit>
  void forEach(Visit visit) {
    CSharedLock hold(&lock_);
    for (const auto &entry : map_) visit(*entry.second);
  }

  // Puts a cleared copy of each record that carry selects into target, unless target has the
  // name already. The records are read under this table's lock shared, and each copy enters
  // target under target's lock exclusive on its own, so that readers of target wait for one
  // insertion at most; the ring hands sections on in a circle, so holding both locks at once
  // would order the tables' locks both ways round over time.
  template <typename Select>
  void copyTo(CRecordTable &target, Select carry) {
    std::vector<Ref> carried;
    {
      CSharedLock hold(&lock_);
      for (const auto &entry : map_) {
        if (!carry(*entry.second)) continue;
        carried.push_back(std::make_shared<Record>(entry.first));
        carried.back()->assignFrom(*entry.second);
        carried.back()->clear();
      }
    }
    for (Ref &copy : carried) {
      const zulstring name = copy->getName();
      target.insert(makeNode(name, std::move(copy)));
    }
  }

  // Empties the table in constant time and hands its records to the caller, who frees them
  // later, away from any lock that readers need.
  Map detach() {
    Map records;
    CExclusiveLock hold(&lock_);
    records.swap(map_);
    return records;
  }

 private:
  // A node made outside the lock, so that the insertion allocates nothing.
  static typename Map::node_type makeNode(const zulstring &name, Ref record) {
    Map one;
    one.emplace(name, std::move(record));
    return one.extract(one.begin());
  }
  // Inserts node unless its name is there; answers the record that the map holds for the name
  // and whether it is node's. A node that lost is freed after the lock is released.
  std::pair<Ref, bool> insert(typename Map::node_type node) {
    typename Map::node_type loser;
    std::pair<Ref, bool> result;
    {
      CExclusiveLock hold(&lock_);
      auto inserted = map_.insert(std::move(node));
      result = {inserted.position->second, inserted.inserted};
      loser = std::move(inserted.node);
    }
    return result;
  }

  CCoreRwLock lock_;  // guards map_
  Map map_;
};

#endif  // TLM_TLMRECORDTABLE_H
