// The table of threads that the layer knows: a singly linked list in creation order, so that its
// first entry is the thread that ran ThrIProcInit. The table mutex guards the list and both counts.
#include <cstdlib>
#include <new>

#include "thr/thr_state.h"

namespace thr {
namespace {

struct ThrTableEntry {
  THR_ID id;
  THR_ID handle;  // the same value as the id on this platform
  uint8_t detached;
  ThrTableEntry *next;
};

ThrTableEntry *table_head = nullptr;
ThrTableEntry *table_tail = nullptr;
uint32_t table_count = 0;
uint32_t table_detached = 0;

// Holds the table mutex for a scope; failed() tells whether it could be taken.
class TableLock {
 public:
  TableLock() : failed_(pthread_mutex_lock(&table_mutex) != 0) {}
  ~TableLock() {
    if (!failed_) pthread_mutex_unlock(&table_mutex);
  }
  TableLock(const TableLock &) = delete;
  TableLock &operator=(const TableLock &) = delete;
  bool failed() const { return failed_; }

 private:
  bool failed_;
};

}  // namespace

int TableEnter(THR_ID id, bool detached) {
  auto *e = static_cast<ThrTableEntry *>(std::calloc(1, sizeof(ThrTableEntry)));
  if (e == nullptr) return THR_ERR_NO_MEMORY;
  e->id = id;
  e->handle = id;
  e->detached = detached ? 1 : 0;
  TableLock lock;
  if (lock.failed()) {
    std::free(e);
    return THR_ERR_OS;
  }
  if (table_tail == nullptr) {
    table_head = e;
  } else {
    table_tail->next = e;
  }
  table_tail = e;
  ++table_count;
  if (detached) ++table_detached;
  return THR_ERR_OK;
}

int TableRemove(THR_ID id) {
  TableLock lock;
  if (lock.failed()) return THR_ERR_OS;
  bool all = id == THR_INVALID_ID;
  bool removed = false;
  ThrTableEntry *prev = nullptr;
  ThrTableEntry *e = table_head;
  while (e != nullptr) {
    ThrTableEntry *next = e->next;
    if (all || ThrIdEqual(e->id, id)) {
      e->id = THR_INVALID_ID;
      --table_count;
      if (e->detached) --table_detached;
      if (prev == nullptr) {
        table_head = next;
      } else {
        prev->next = next;
      }
      if (table_tail == e) table_tail = prev;
      std::free(e);
      removed = true;
      if (!all) break;
    } else {
      prev = e;
    }
    e = next;
  }
  return removed ? THR_ERR_OK : THR_ERR_INVALID_ID;
}

int TableMarkDetached(THR_ID id) {
  TableLock lock;
  if (lock.failed()) return THR_ERR_OS;
  for (ThrTableEntry *e = table_head; e != nullptr; e = e->next) {
    if (ThrIdEqual(e->id, id)) {
      if (!e->detached) {
        e->detached = 1;
        ++table_detached;
      }
      return THR_ERR_OK;
    }
  }
  return THR_ERR_INVALID_ID;
}

int TablePickForWait(THR_ID self, WaitPick *pick) {
  TableLock lock;
  if (lock.failed()) return THR_ERR_OS;
  ThrTableEntry *picked = table_head;
  if (picked != nullptr && ThrIdEqual(picked->id, self)) picked = picked->next;
  pick->done = picked == nullptr;
  pick->id = picked != nullptr ? picked->id : THR_INVALID_ID;
  return THR_ERR_OK;
}

int TableSnapshotForWaitAll(THR_ID self, WaitAllSnapshot *snapshot) {
  TableLock lock;
  if (lock.failed()) return THR_ERR_OS;
  snapshot->handles.clear();
  snapshot->only_caller_left = table_count - table_detached == 1;
  if (snapshot->only_caller_left) return THR_ERR_OK;
  try {
    snapshot->handles.reserve(table_count);
  } catch (const std::bad_alloc &) {
    return THR_ERR_NO_MEMORY;
  }
  for (ThrTableEntry *e = table_head; e != nullptr; e = e->next) {
    if (!ThrIdEqual(e->handle, self) && !ThrIdEqual(e->handle, THR_INVALID_ID))
      snapshot->handles.push_back(e->handle);
  }
  return THR_ERR_OK;
}

}  // namespace thr
