// What the instrumentation core keeps for each thread that calls it, reached with one thread-local
// access per exported call.
#ifndef TLM_TLMTHREADBLOCK_H
#define TLM_TLMTHREADBLOCK_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "i18n/zulu16/zulstring.h"

class CMTRecord;

// A session as the registry finds it: its text and its bucket hash, computed once.
struct CSessionKey {
  // Computes the hash of text, which must outlive the key.
  explicit CSessionKey(const zulstring &text);
  CSessionKey(const zulstring &text, uint32_t hash) : text(text), hash(hash) {}
  const zulstring &text;
  uint32_t hash;
};

// Records that ended on this thread, kept for its next timings: a record taken from here keeps
// the capacity of its name and, when the name is the same, the stat record it last found, so a
// timing in steady state neither allocates nor searches the section's table.
class CRecordPool {
 public:
  static constexpr size_t kCapacity = 32;

  CRecordPool();
  ~CRecordPool();
  CRecordPool(const CRecordPool &) = delete;
  CRecordPool &operator=(const CRecordPool &) = delete;

  // Keeps record (its children are given back first) and answers true, or answers false when
  // the pool is full and the caller must free it.
  bool give(CMTRecord *record) noexcept;
  // A kept record, preferably one last named name (sameName tells), or null when none is kept.
  // The caller owns it.
  CMTRecord *take(const zulstring &name, bool &sameName) noexcept;

 private:
  std::vector<CMTRecord *> records_;  // capacity reserved up front: giving never allocates
};

// One per thread that ever called an exported function; destroyed when the thread ends.
//
// The block is reached through a thread-local pointer of the initial-exec model, so that each
// access is a single load from the thread pointer instead of a call of __tls_get_addr, which the
// general-dynamic model of a shared object costs. A library loaded by dlopen may use that model
// for a few bytes: the C library keeps a reserve of static TLS for it (512 bytes by default), and
// the pointer takes 8 of them. The block itself lives on the heap; its owner is an ordinary
// thread_local object, touched only when the block is made, whose destructor frees it at thread
// exit (and which keeps the library loaded while a thread still owns a block).
class alignas(64) CThreadBlock {
 public:
  // The calling thread's block, made on its first call; null only when it can't be made (memory).
  static CThreadBlock *Current() noexcept;
  // The calling thread's block when it has one; never makes one.
  static CThreadBlock *CurrentIfAny() noexcept;

  CThreadBlock();
  ~CThreadBlock();
  CThreadBlock(const CThreadBlock &) = delete;
  CThreadBlock &operator=(const CThreadBlock &) = delete;

  // The thread's own session.
  CSessionKey session() const { return CSessionKey(sessionText_, sessionHash_); }
  const zulstring &sessionText() const { return sessionText_; }

  // How deeply the thread is inside exported functions. Only the thread writes it; TLM_ProcExit
  // reads every block's (see tlmapicall.h).
  std::atomic<uint32_t> callDepth{0};
  // The blocks of all threads, for that reading; guarded by the list's lock in tlmapicall.cpp.
  CThreadBlock *prev = nullptr;
  CThreadBlock *next = nullptr;

  // Scratch text of the exported calls (a record's "component|operation" name), whose capacity
  // stays from call to call. Valid until the thread's next call.
  zulstring scratch;
  CRecordPool records;

 private:
  const zulstring sessionText_;
  const uint32_t sessionHash_;
};

#endif  // TLM_TLMTHREADBLOCK_H
