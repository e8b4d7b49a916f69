// The locks of the instrumentation core and their scoped holds.
#ifndef TLM_TLMLOCKS_H
#define TLM_TLMLOCKS_H

#include <atomic>
#include <cstdint>

#include "zul_thr.h"

// The wait of every read-write lock of the core: long enough to count as no limit.
constexpr int32_t kTlmLockWait = 0x7fffffff;

// The read-write lock of the hot path's shared structures (registry buckets, section rings and
// the record tables of a section): writer-preferring, like THR_RWL, and taken without a time
// limit. Every hold of it that an application thread may meet is short (a look-up, one insertion,
// a swap of pointers), so a thread that finds it taken spins for a few microseconds before it
// sleeps: a burst of short exclusive holds then never puts a reader to sleep.
//
// One word holds the state: the reader count, a bit for the writer that holds the lock and a bit
// for writers that wait for it (readers keep out while it is set). An uncontended shared hold is
// one compare-and-swap to take and one subtraction to give back. Threads that sleep do so on the
// word (futex) and count themselves in sleepers_, so that a release wakes them only when there
// are any: the waiter counts itself before the kernel compares the word, the releaser changes the
// word before it reads the count, and both are sequentially consistent, so one of them sees the
// other.
class CCoreRwLock {
 public:
  CCoreRwLock() noexcept = default;
  CCoreRwLock(const CCoreRwLock &) = delete;
  CCoreRwLock &operator=(const CCoreRwLock &) = delete;

  void lockShared() noexcept {
    for (int i = 0;; ++i) {
      uint32_t state = state_.load(std::memory_order_relaxed);
      if ((state & (kWriter | kWriterWaiting)) == 0) {
        if (state_.compare_exchange_weak(state, state + 1, std::memory_order_acquire,
                                         std::memory_order_relaxed)) {
          return;
        }
        continue;
      }
      pauseOrSleep(i, state);
    }
  }
  void lockExclusive() noexcept {
    for (int i = 0;; ++i) {
      uint32_t state = state_.load(std::memory_order_relaxed);
      if ((state & (kWriter | kReaders)) == 0) {
        // Takes the lock and clears the waiting bit; other waiting writers set it again.
        if (state_.compare_exchange_weak(state, kWriter, std::memory_order_acquire,
                                         std::memory_order_relaxed)) {
          return;
        }
        continue;
      }
      if ((state & kWriterWaiting) == 0) {
        state_.fetch_or(kWriterWaiting, std::memory_order_relaxed);
        continue;
      }
      pauseOrSleep(i, state);
    }
  }
  void unlock() noexcept {
    uint32_t state = state_.load(std::memory_order_relaxed);
    if ((state & kWriter) != 0) {
      // Only the holder changes the writer bit; waiting writers may set theirs meanwhile.
      state_.fetch_and(~kWriter, std::memory_order_seq_cst);
    } else {
      state_.fetch_sub(1, std::memory_order_seq_cst);
    }
    if (sleepers_.load(std::memory_order_seq_cst) != 0) wakeAll();
  }

 private:
  static constexpr uint32_t kWriter = 0x80000000u;
  static constexpr uint32_t kWriterWaiting = 0x40000000u;
  static constexpr uint32_t kReaders = 0x3fffffffu;
  // About 20 to 50 us of trying: far longer than any short hold, far shorter than a time slice.
  static constexpr int kSpins = 1000;

  void pauseOrSleep(int attempt, uint32_t seen) noexcept {
    if (attempt < kSpins) {
#if defined(__x86_64__) || defined(__i386__)
      __builtin_ia32_pause();
#endif
      return;
    }
    sleepers_.fetch_add(1, std::memory_order_seq_cst);
    sleepOn(seen);
    sleepers_.fetch_sub(1, std::memory_order_relaxed);
  }
  // Sleeps while the word still reads seen (or until any wake-up).
  void sleepOn(uint32_t seen) noexcept;
  void wakeAll() noexcept;

  std::atomic<uint32_t> state_{0};
  std::atomic<uint32_t> sleepers_{0};
};

// Holds a core read-write lock shared for the scope.
class CSharedLock {
 public:
  explicit CSharedLock(CCoreRwLock *lock) noexcept : lock_(lock) { lock_->lockShared(); }
  ~CSharedLock() { lock_->unlock(); }
  CSharedLock(const CSharedLock &) = delete;
  CSharedLock &operator=(const CSharedLock &) = delete;

 private:
  CCoreRwLock *lock_;
};

// Holds a core read-write lock exclusively for the scope.
class CExclusiveLock {
 public:
  explicit CExclusiveLock(CCoreRwLock *lock) noexcept : lock_(lock) { lock_->lockExclusive(); }
  ~CExclusiveLock() { lock_->unlock(); }
  CExclusiveLock(const CExclusiveLock &) = delete;
  CExclusiveLock &operator=(const CExclusiveLock &) = delete;

 private:
  CCoreRwLock *lock_;
};

// A mutex of the thread layer, created and deleted with its owner.
class CCoreMutex {
 public:
  CCoreMutex() noexcept { ThrMtxInit(&mtx_, nullptr); }
  ~CCoreMutex() { ThrMtxDelete(&mtx_); }
  CCoreMutex(const CCoreMutex &) = delete;
  CCoreMutex &operator=(const CCoreMutex &) = delete;
  THR_MTX *get() noexcept { return &mtx_; }

 private:
  THR_MTX mtx_;
};

// Holds a mutex for the scope.
class CMutexLock {
 public:
  explicit CMutexLock(CCoreMutex *mtx) noexcept : mtx_(mtx->get()) { ThrMtxLock(mtx_); }
  ~CMutexLock() { ThrMtxUnlock(mtx_); }
  CMutexLock(const CMutexLock &) = delete;
  CMutexLock &operator=(const CMutexLock &) = delete;

 private:
  THR_MTX *mtx_;
};

#endif  // TLM_TLMLOCKS_H
