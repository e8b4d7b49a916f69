// The frame of every exported TLM_ function: the gates, a mark that the calling thread is inside
// the library, and the guard that keeps exceptions from crossing the border.
//
// The gates read the usage count without a lock; start must finish before the application's
// other threads call, and TLM_ProcExit follows their last call. Should a thread call all the same
// while the library stops, the mark makes TLM_ProcExit wait for the calls already past their gate
// before it frees anything, and turns away the calls that arrive after it began to free.
#ifndef TLM_TLMAPICALL_H
#define TLM_TLMAPICALL_H

#include <atomic>
#include <cstdint>
#include <type_traits>

#include "tlm/tlmthreadblock.h"
#include "zul_base.h"

namespace tlmapi {

// G1: the library is started (and not being stopped).
bool isStarted();
// G2: G1, and the global switch is on.
bool isSwitchedOn();
// G2, and a data sending interval: the gate of the functions that send on the caller's thread.
bool isSendingConfigured();

// Traces that function absorbed an exception.
void traceAbsorbed(const ZUL_UTF16 *function);

// Marks the thread of block as inside an exported function for its life; nests. The mark and the
// closing flag are both sequentially consistent: either the call sees the closing flag and turns
// back, or closeAndDrain sees the mark and waits for it.
class CApiCall {
 public:
  explicit CApiCall(CThreadBlock &block) noexcept : depth_(block.callDepth) {
    depth_.store(depth_.load(std::memory_order_relaxed) + 1, std::memory_order_seq_cst);
  }
  ~CApiCall() {
    depth_.store(depth_.load(std::memory_order_relaxed) - 1, std::memory_order_release);
  }
  CApiCall(const CApiCall &) = delete;
  CApiCall &operator=(const CApiCall &) = delete;

 private:
  std::atomic<uint32_t> &depth_;
};

// Enters a new thread's block into the list that closeAndDrain reads, and takes it out.
void enlistThread(CThreadBlock *block);
void delistThread(CThreadBlock *block) noexcept;

// Turns away calls from now on and waits until every other thread has left the functions it is
// in. The calling thread's own calls (TLM_ProcExit from inside a session callback) don't count.
void closeAndDrain();
// Lets calls in again.
void reopen();

// Calls body with the thread's block when it takes one, else without.
template <typename Body>
decltype(auto) callBody(Body &body, CThreadBlock &block) {
  if constexpr (std::is_invocable_v<Body &, CThreadBlock &>) {
    return body(block);
  } else {
    return body();
  }
}

// Runs body when gate passes, inside a call mark; answers failure when the gate is closed, the
// thread's block can't be made or body throws. The block is looked up once here and handed to a
// body that takes it.
template <typename Result, typename Body>
Result run(const ZUL_UTF16 *function, bool (*gate)(), Result failure, Body &&body) noexcept {
  CThreadBlock *block = CThreadBlock::Current();
  if (block == nullptr) return failure;
  CApiCall call(*block);
  if (!gate()) return failure;
  try {
    return callBody(body, *block);
  } catch (...) {
    traceAbsorbed(function);
    return failure;
  }
}

// The same for a function without result.
template <typename Body>
void run(const ZUL_UTF16 *function, bool (*gate)(), Body &&body) noexcept {
  CThreadBlock *block = CThreadBlock::Current();
  if (block == nullptr) return;
  CApiCall call(*block);
  if (!gate()) return;
  try {
    callBody(body, *block);
  } catch (...) {
    traceAbsorbed(function);
  }
}

}  // namespace tlmapi

#endif  // TLM_TLMAPICALL_H
