// Process-wide state of the thread layer, shared by its source files.
#ifndef TLM_THR_THR_STATE_H
#define TLM_THR_THR_STATE_H

#include <atomic>
#include <vector>

#include "zul_thr.h"

namespace thr {

// Set by ThrIProcInit, cleared by ThrProcExit.
extern std::atomic<uint32_t> init_done;
// Set by ThrSharedLibraryAware: no atexit handler may be left behind.
extern uint32_t shared_library_aware;

// The four mutexes that ThrIProcInit creates; the lazy critical section mutex is static.
extern THR_MTX key_list_mutex;
extern THR_MTX table_mutex;
extern THR_MTX counters_mutex;  // ThrVar* and the wait-busy flag
extern THR_MTX spare_mutex;     // made and destroyed with the others, never locked

// thr_threaded, read by every lock call. It changes only in single-threaded start and stop, but
// any thread may read it, so reads and writes are relaxed atomics.
inline bool Threaded() { return __atomic_load_n(&thr_threaded, __ATOMIC_RELAXED) != 0; }
inline void SetThreaded(uint32_t on) { __atomic_store_n(&thr_threaded, on, __ATOMIC_RELAXED); }
inline bool InitDone() { return init_done.load(std::memory_order_acquire) != 0; }

// The bodies of ThrMtxILock, ThrMtxIUnlock and of ThrEvtSet and ThrEvtReset, inline here so that
// the read-write lock, whose uncontended path is little else, makes no call of its own around the
// system's; the exported functions use the same bodies.
inline int MtxILock(THR_MTX *mtx) {
  if (!Threaded()) return THR_ERR_OK;
  return pthread_mutex_lock(mtx) == 0 ? THR_ERR_OK : THR_ERR_OS;
}
inline int MtxIUnlock(THR_MTX *mtx) {
  if (!Threaded()) return THR_ERR_OK;
  return pthread_mutex_unlock(mtx) == 0 ? THR_ERR_OK : THR_ERR_OS;
}
// Sets the state under the event's mutex; a set also wakes one waiter.
inline int EvtChangeState(THR_EVT *evt, uint32_t state) {
  if (!Threaded()) return THR_ERR_OK;
  if (pthread_mutex_lock(&evt->mutex) != 0) return THR_ERR_OS;
  evt->state = state;
  int rc = state == 1 && pthread_cond_signal(&evt->cond) != 0 ? THR_ERR_OS : THR_ERR_OK;
  if (pthread_mutex_unlock(&evt->mutex) != 0) rc = THR_ERR_OS;
  return rc;
}

// Thread table: entries in creation order. Each function takes the table mutex itself and
// answers 12 when it fails.
// Enter answers 0 or 7.
int TableEnter(THR_ID id, bool detached);
// Answers 0 when at least one entry went, 5 when none matched. THR_INVALID_ID removes all.
int TableRemove(THR_ID id);
// Sets the entry's detached flag (counting it once); 5 when the id is not in the table.
int TableMarkDetached(THR_ID id);

// What ThrWait with the invalid id does next: stop (only the caller is left, or the table is
// empty), or wait for `id`, which may be the invalid id when the table holds a removed entry.
struct WaitPick {
  bool done;
  THR_ID id;
};
int TablePickForWait(THR_ID self, WaitPick *pick);

// The ThrWaitAll snapshot: `only_caller_left` when entries minus detached entries is 1; else the
// handles of all entries but `self` and invalid ones. Answers 7 when the array can't be had.
struct WaitAllSnapshot {
  bool only_caller_left;
  std::vector<THR_ID> handles;
};
int TableSnapshotForWaitAll(THR_ID self, WaitAllSnapshot *snapshot);

// The wait-busy flag admits one thread at a time into the wait-for-all loops. Take answers false
// when another thread holds it.
bool TakeWaitBusyFlag();
void ClearWaitBusyFlag();

}  // namespace thr

#endif  // TLM_THR_THR_STATE_H
