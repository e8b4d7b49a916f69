// The gates and the in-library marks of the exported functions.
#include "tlm/tlmapicall.h"

#include <sched.h>

#include <mutex>

#define DPTRC_MODULE u"tlmmain"

#include "tlm.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "zul_dptrace.h"

namespace tlmapi {
namespace {

// One per thread that ever called: how deeply the thread is inside exported functions. Only the
// thread itself writes it; TLM_ProcExit reads all of them. Kept in a list for that reading.
struct CallSlot {
  std::atomic<uint32_t> depth{0};
  CallSlot *prev = nullptr;
  CallSlot *next = nullptr;
};

std::mutex &slotsLock() {
  static std::mutex *lock = new std::mutex();
  return *lock;
}
CallSlot *slots = nullptr;  // guarded by slotsLock()

std::atomic<bool> closing{false};

// Enters the thread's slot into the list on its first call and takes it out when the thread ends.
class SlotOwner {
 public:
  SlotOwner() {
    std::lock_guard<std::mutex> hold(slotsLock());
    slot.next = slots;
    if (slots != nullptr) slots->prev = &slot;
    slots = &slot;
  }
  ~SlotOwner() {
    std::lock_guard<std::mutex> hold(slotsLock());
    if (slot.prev != nullptr) slot.prev->next = slot.next;
    if (slot.next != nullptr) slot.next->prev = slot.prev;
    if (slots == &slot) slots = slot.next;
  }
  CallSlot slot;
};

std::atomic<uint32_t> &threadDepth() {
  thread_local SlotOwner owner;
  return owner.slot.depth;
}

}  // namespace

// The mark and the closing flag are both sequentially consistent: either the call sees the
// closing flag and turns back, or closeAndDrain sees the mark and waits for it.
CApiCall::CApiCall() noexcept : depth_(threadDepth()) {
  depth_.store(depth_.load(std::memory_order_relaxed) + 1, std::memory_order_seq_cst);
}

CApiCall::~CApiCall() {
  depth_.store(depth_.load(std::memory_order_relaxed) - 1, std::memory_order_release);
}

// The closing flag is read before the count: TLM_ProcExit sets the count to 0 before it clears the
// flag, so a call that finds the flag already cleared again finds the count at 0.
bool isStarted() {
  return !closing.load(std::memory_order_seq_cst) &&
         __atomic_load_n(&s_process_usage, __ATOMIC_SEQ_CST) != 0;
}

bool isSwitchedOn() { return isStarted() && TLMParameterHelper::GetGlobalSwitch(); }

bool isSendingConfigured() {
  return isSwitchedOn() && TLMParameterHelper::GetDataSendingInterval() != 0;
}

void traceAbsorbed(const ZUL_UTF16 *function) {
  DPTRC_ERR(tf, u"%s: exception caught and ignored\n", function);
}

void closeAndDrain() {
  closing.store(true, std::memory_order_seq_cst);
  const std::atomic<uint32_t> *own = &threadDepth();
  std::lock_guard<std::mutex> hold(slotsLock());
  for (CallSlot *slot = slots; slot != nullptr; slot = slot->next) {
    if (&slot->depth == own) continue;
    while (slot->depth.load(std::memory_order_acquire) != 0) sched_yield();
  }
}

void reopen() { closing.store(false, std::memory_order_seq_cst); }

}  // namespace tlmapi
