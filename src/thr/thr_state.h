// Process-wide state of the thread layer, shared by its source files.
#ifndef TLM_THR_THR_STATE_H
#define TLM_THR_THR_STATE_H

#include <atomic>

#include "zul_thr.h"

namespace thr {

// Set by ThrIProcInit, cleared by ThrProcExit.
extern std::atomic<uint32_t> init_done;
// Set by ThrSharedLibraryAware: no atexit handler may be left behind.
extern uint32_t shared_library_aware;

// The four mutexes that ThrIProcInit creates; the lazy critical section mutex is static.
extern THR_MTX key_list_mutex;
extern THR_MTX table_mutex;
extern THR_MTX counters_mutex;
extern THR_MTX spare_mutex;

// thr_threaded, read by every lock call. It changes only in single-threaded start and stop, but
// any thread may read it, so reads and writes are relaxed atomics.
inline bool Threaded() { return __atomic_load_n(&thr_threaded, __ATOMIC_RELAXED) != 0; }
inline void SetThreaded(uint32_t on) { __atomic_store_n(&thr_threaded, on, __ATOMIC_RELAXED); }
inline bool InitDone() { return init_done.load(std::memory_order_acquire) != 0; }

// Thread table: entries in creation order. Enter answers 0 or 7; Remove answers 0 when at least
// one entry went, 5 when none matched, 12 when the table mutex failed. THR_INVALID_ID removes all.
int TableEnter(THR_ID id, bool detached);
int TableRemove(THR_ID id);

}  // namespace thr

#endif  // TLM_THR_THR_STATE_H
