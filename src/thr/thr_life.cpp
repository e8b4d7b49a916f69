// Start and stop of the thread layer.
#include <cstdlib>

#include "thr/thr_state.h"

uint32_t thr_threaded = 0;

namespace thr {

std::atomic<uint32_t> init_done{0};
uint32_t shared_library_aware = 0;
THR_MTX key_list_mutex;
THR_MTX table_mutex;
THR_MTX counters_mutex;
THR_MTX spare_mutex;

}  // namespace thr

using namespace thr;

int ThrIInit(void) noexcept { return THR_ERR_OK; }
int ThrIExit(void) noexcept { return THR_ERR_OK; }
int ThrPModInit(void) noexcept { return THR_ERR_OK; }
int ThrPModExit(void) noexcept { return THR_ERR_OK; }

int ThrIProcInit(void) noexcept {
  if (InitDone()) return THR_ERR_OK;
  ThrIInit();
  ThrPModInit();
  THR_MTX *const mutexes[] = {&key_list_mutex, &table_mutex, &counters_mutex, &spare_mutex};
  for (size_t made = 0; made < 4; ++made) {
    if (pthread_mutex_init(mutexes[made], nullptr) != 0) {
      while (made > 0) pthread_mutex_destroy(mutexes[--made]);
      return THR_ERR_OS;
    }
  }
  TableEnter(ThrGetCurrentId(), false);
  init_done.store(1, std::memory_order_release);
  if (!shared_library_aware) std::atexit([] { ThrProcExit(); });
  return THR_ERR_OK;
}

int ThrProcInit(void) noexcept {
  int rc = ThrIProcInit();
  if (rc == THR_ERR_OK) SetThreaded(1);
  return rc;
}

int ThrProcExit(void) noexcept {
  if (!InitDone()) return THR_ERR_OK;
  TableRemove(THR_INVALID_ID);
  ThrPModExit();
  ThrIExit();
  pthread_mutex_destroy(&table_mutex);
  pthread_mutex_destroy(&key_list_mutex);
  pthread_mutex_destroy(&counters_mutex);
  pthread_mutex_destroy(&spare_mutex);
  init_done.store(0, std::memory_order_release);
  SetThreaded(0);
  return THR_ERR_OK;
}

int ThrIsThreaded(void) noexcept { return Threaded() ? 1 : 0; }

void ThrSharedLibraryAware(void) noexcept { shared_library_aware = 1; }

void *ThrMalloc(size_t size) noexcept { return std::malloc(size); }

int ThrFree(void *ptr) noexcept {
  std::free(ptr);
  return THR_ERR_OK;
}

void ThrSetMemHdl(void *) noexcept {}
void ThrCleanupKeyMem(void) noexcept {}

THR_ID ThrGetCurrentId(void) noexcept { return static_cast<THR_ID>(pthread_self()); }

int ThrIdEqual(THR_ID a, THR_ID b) noexcept {
  return pthread_equal(static_cast<pthread_t>(a), static_cast<pthread_t>(b)) ? 1 : 0;
}
