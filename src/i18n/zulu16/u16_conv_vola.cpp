// The ring of volatile result buffers: 40 per thread, handed out in turn, so that a thread can
// hold up to 40 results of the Vola functions at a time. Each slot keeps its buffer and grows it
// by freeing and allocating when a request is larger.
#include <pthread.h>

#include <cstdio>
#include <cstdlib>

#include "zul_thr.h"
#include "zul_u16conv.h"

namespace {

constexpr int kRingSlots = 40;

struct Slot {
  void *buffer;
  size_t size;
};

struct Ring {
  int next;
  Slot slots[kRingSlots];
};

THR_KEY ring_key = THR_INVALID_KEY;
pthread_mutex_t ring_key_mutex = PTHREAD_MUTEX_INITIALIZER;

// Used by every thread whose own ring can't be kept under the key; not locked.
Ring shared_ring;

void FreeRing(void *value) {
  auto *ring = static_cast<Ring *>(value);
  for (Slot &slot : ring->slots) std::free(slot.buffer);
  std::free(ring);
}

[[noreturn]] void OutOfMemory() {
  std::fputs("rscpuc_next_buff: out of memory\n", stderr);
  std::abort();
}

void KeyFailure(const char *message) {
  std::fputs(message, stderr);
  __atomic_fetch_add(&rscpuce_thread_error_count, 1, __ATOMIC_RELAXED);
}

// Creates the key once; a failed creation is tried again on the next call.
bool HaveKey() {
  if (__atomic_load_n(&ring_key, __ATOMIC_ACQUIRE) != THR_INVALID_KEY) return true;
  pthread_mutex_lock(&ring_key_mutex);
  int rc = THR_ERR_OK;
  if (__atomic_load_n(&ring_key, __ATOMIC_ACQUIRE) == THR_INVALID_KEY)
    rc = ThrKeyGet(&ring_key, FreeRing);
  pthread_mutex_unlock(&ring_key_mutex);
  return rc == THR_ERR_OK || rc == THR_ERR_EXISTS;
}

Ring *ThreadRing() {
  if (!HaveKey()) {
    KeyFailure("rscpsc2: ThrKeyGet failed\n");
    return &shared_ring;
  }
  auto *ring = static_cast<Ring *>(ThrKeyVarGet(&ring_key));
  if (ring != nullptr) return ring;
  ring = static_cast<Ring *>(std::calloc(1, sizeof(Ring)));
  if (ring == nullptr) OutOfMemory();
  if (ThrKeyVarSet(&ring_key, ring) != THR_ERR_OK) {
    std::free(ring);
    KeyFailure("rscpsc2: ThrKeyVarSet failed\n");
    return &shared_ring;
  }
  return ring;
}

}  // namespace

int rscpuce_thread_error_count = 0;

void *rscpuc_next_buff(size_t size) noexcept {
  Ring *ring = ThreadRing();
  Slot &slot = ring->slots[ring->next];
  ring->next = ring->next == kRingSlots - 1 ? 0 : ring->next + 1;
  if (slot.buffer == nullptr || size > slot.size) {
    std::free(slot.buffer);
    slot.size = size > 0 ? size : 1;
    slot.buffer = std::malloc(slot.size);
    if (slot.buffer == nullptr) OutOfMemory();
  }
  return slot.buffer;
}
