#include "tlm/tlmrecordsection.h"

#include <memory>
#include <type_traits>

#include "tlm/tlmlocks.h"
#include "tlm/tlmmtdatasendingagent.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"

namespace {

// The record of name in map, created when new. The map lock is dropped while the record is made,
// so two threads may make the same name; the map keeps the first and the other's record goes to
// lost, which only frees it later.
template <typename Record, typename Map>
Record *findOrCreate(THR_RWL *lock, Map &map, std::vector<Record *> &lost, const zulstring &name) {
  {
    CSharedLock hold(lock);
    auto found = map.find(name);
    if (found != map.end()) return found->second;
  }
  auto created = std::make_unique<Record>(name);
  CExclusiveLock hold(lock);
  if (!map.emplace(name, created.get()).second) lost.push_back(created.get());
  return created.release();
}

// Copies each record that carry selects into target, cleared, unless target has its name. Holds
// the source lock shared throughout and the target lock exclusively for each insert.
template <typename Map, typename Select>
void copyRecords(THR_RWL *lock, const Map &map, THR_RWL *targetLock, Map &target, Select carry) {
  CSharedLock hold(lock);
  for (const auto &[name, record] : map) {
    if (!carry(*record)) continue;
    auto copy = std::make_unique<std::remove_pointer_t<typename Map::mapped_type>>(*record);
    copy->clear();
    CExclusiveLock holdTarget(targetLock);
    if (target.emplace(name, copy.get()).second) copy.release();
  }
}

template <typename Map, typename Record>
void deleteAll(Map &map, std::vector<Record *> &lost) {
  for (auto &entry : map) delete entry.second;
  map.clear();
  for (Record *record : lost) delete record;
  lost.clear();
}

}  // namespace

CRecordSection::CRecordSection(uint16_t id) : id_(id) {
  ThrRwlInit(&statLock_);
  ThrRwlInit(&resourceLock_);
}

CRecordSection::~CRecordSection() {
  resetSection();
  ThrRwlDelete(&resourceLock_);
  ThrRwlDelete(&statLock_);
}

bool CRecordSection::isStatMapEmpty() {
  CSharedLock hold(&statLock_);
  return statMap_.empty();
}

bool CRecordSection::isResourceMapEmpty() {
  CSharedLock hold(&resourceLock_);
  return resourceMap_.empty();
}

CMTStatRecord *CRecordSection::getStatRecordByName(const zulstring &name) {
  return findOrCreate(&statLock_, statMap_, lostStatRecords_, name);
}

CMTResourceRecord *CRecordSection::getResourceRecordByName(const zulstring &name) {
  return findOrCreate(&resourceLock_, resourceMap_, lostResourceRecords_, name);
}

int64_t CRecordSection::sendStatData(CMTDataSendingAgent *agent) {
  const uint16_t agentType = TLMParameterHelper::GetAgentType();
  int64_t sent = 0;
  CSharedLock hold(&statLock_);
  for (const auto &entry : statMap_) {
    agent->sendData(entry.second->toMetricString(agentType));
    ++sent;
  }
  return sent;
}

int64_t CRecordSection::sendResourceData(CMTDataSendingAgent *agent) {
  const uint16_t agentType = TLMParameterHelper::GetAgentType();
  int64_t sent = 0;
  CSharedLock hold(&resourceLock_);
  for (const auto &entry : resourceMap_) {
    if (!entry.second->isUpdated()) continue;
    agent->sendData(entry.second->toMetricString(agentType));
    ++sent;
  }
  return sent;
}

void CRecordSection::copyStatData(CRecordSection *target) {
  copyRecords(&statLock_, statMap_, &target->statLock_, target->statMap_,
              [](const CMTStatRecord &record) { return record.getActiveCounter() != 0; });
}

void CRecordSection::copyResourceData(CRecordSection *target) {
  copyRecords(&resourceLock_, resourceMap_, &target->resourceLock_, target->resourceMap_,
              [](const CMTResourceRecord &) { return true; });
}

void CRecordSection::resetSection() {
  {
    CExclusiveLock hold(&statLock_);
    deleteAll(statMap_, lostStatRecords_);
  }
  CExclusiveLock hold(&resourceLock_);
  deleteAll(resourceMap_, lostResourceRecords_);
}
