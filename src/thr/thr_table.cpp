// The table of threads that the layer knows: a singly linked list in creation order, so that its
// first entry is the thread that ran ThrIProcInit. The table mutex guards the list and both counts.
#include <cstdlib>

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

}  // namespace

int TableEnter(THR_ID id, bool detached) {
  auto *e = static_cast<ThrTableEntry *>(std::calloc(1, sizeof(ThrTableEntry)));
  if (e == nullptr) return THR_ERR_NO_MEMORY;
  e->id = id;
  e->handle = id;
  e->detached = detached ? 1 : 0;
  if (pthread_mutex_lock(&table_mutex) != 0) {
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
  pthread_mutex_unlock(&table_mutex);
  return THR_ERR_OK;
}

int TableRemove(THR_ID id) {
  if (pthread_mutex_lock(&table_mutex) != 0) return THR_ERR_OS;
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
  pthread_mutex_unlock(&table_mutex);
  return removed ? THR_ERR_OK : THR_ERR_INVALID_ID;
}

}  // namespace thr
