// The layer's mutex and read-write lock against the POSIX primitives they stand in for: one
// lock and one unlock per iteration. The read-write lock runs uncontended and with two threads
// taking it shared at once.
#include <benchmark/benchmark.h>
#include <pthread.h>

#include "zul_thr.h"

namespace {

THR_MTX thr_mutex;
pthread_mutex_t posix_mutex = PTHREAD_MUTEX_INITIALIZER;
THR_RWL thr_rwl;
pthread_rwlock_t posix_rwl = PTHREAD_RWLOCK_INITIALIZER;

// Threaded mode, so that the layer's calls reach the system as in a server.
struct LayerStarted {
  LayerStarted() {
    ThrProcInit();
    ThrMtxInit(&thr_mutex, nullptr);
    ThrRwlInit(&thr_rwl);
  }
} layer_started;

void BM_ThrMtxLockUnlock(benchmark::State &state) {
  for (auto _ : state) {
    ThrMtxLock(&thr_mutex);
    ThrMtxUnlock(&thr_mutex);
  }
}
BENCHMARK(BM_ThrMtxLockUnlock);

void BM_PthreadMutexLockUnlock(benchmark::State &state) {
  for (auto _ : state) {
    pthread_mutex_lock(&posix_mutex);
    pthread_mutex_unlock(&posix_mutex);
  }
}
BENCHMARK(BM_PthreadMutexLockUnlock);

void BM_ThrRwlSharedLockUnlock(benchmark::State &state) {
  for (auto _ : state) {
    ThrRwlSharedLock(&thr_rwl, 0x7fffffff);
    ThrRwlUnlock(&thr_rwl);
  }
}
BENCHMARK(BM_ThrRwlSharedLockUnlock)->Threads(1)->Threads(2);

void BM_PthreadRwlockRdlockUnlock(benchmark::State &state) {
  for (auto _ : state) {
    pthread_rwlock_rdlock(&posix_rwl);
    pthread_rwlock_unlock(&posix_rwl);
  }
}
BENCHMARK(BM_PthreadRwlockRdlockUnlock)->Threads(1)->Threads(2);

}  // namespace

BENCHMARK_MAIN();
