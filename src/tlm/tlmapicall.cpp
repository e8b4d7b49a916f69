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

std::mutex &blocksLock() {
  static std::mutex *lock = new std::mutex();
  return *lock;
}
CThreadBlock *blocks = nullptr;  // guarded by blocksLock()

std::atomic<bool> closing{false};

}  // namespace

void enlistThread(CThreadBlock *block) {
  std::lock_guard<std::mutex> hold(blocksLock());
  block->next = blocks;
  if (blocks != nullptr) blocks->prev = block;
  blocks = block;
}

void delistThread(CThreadBlock *block) noexcept {
  std::lock_guard<std::mutex> hold(blocksLock());
  if (block->prev != nullptr) block->prev->next = block->next;
  if (block->next != nullptr) block->next->prev = block->prev;
  if (blocks == block) blocks = block->next;
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
  const CThreadBlock *own = CThreadBlock::CurrentIfAny();
  std::lock_guard<std::mutex> hold(blocksLock());
  for (CThreadBlock *block = blocks; block != nullptr; block = block->next) {
    if (block == own) continue;
    while (block->callDepth.load(std::memory_order_acquire) != 0) sched_yield();
  }
}

void reopen() { closing.store(false, std::memory_order_seq_cst); }

}  // namespace tlmapi
