// The locks of the instrumentation core and their scoped holds.
#ifndef TLM_TLMLOCKS_H
#define TLM_TLMLOCKS_H

#include <pthread.h>

#include <cstdint>

#include "zul_thr.h"

// The wait of every read-write lock of the core: long enough to count as no limit.
constexpr int32_t kTlmLockWait = 0x7fffffff;

// The read-write lock of the hot path's shared structures (registry buckets, section rings and
// the record tables of a section): writer-preferring, like THR_RWL, and taken without a time
// limit. Every hold of it that an application thread may meet is short (a look-up, one insertion,
// a swap of pointers), so a thread that finds it taken spins for a few microseconds before it
// sleeps: a burst of short exclusive holds then never puts a reader to sleep.
class CCoreRwLock {
 public:
  CCoreRwLock() noexcept {
    pthread_rwlockattr_t attributes;
    pthread_rwlockattr_init(&attributes);
    pthread_rwlockattr_setkind_np(&attributes, PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP);
    pthread_rwlock_init(&lock_, &attributes);
    pthread_rwlockattr_destroy(&attributes);
  }
  ~CCoreRwLock() { pthread_rwlock_destroy(&lock_); }
  CCoreRwLock(const CCoreRwLock &) = delete;
  CCoreRwLock &operator=(const CCoreRwLock &) = delete;

  void lockShared() noexcept {
    for (int i = 0; i < kSpins; ++i) {
      if (pthread_rwlock_tryrdlock(&lock_) == 0) return;
      relax();
    }
    pthread_rwlock_rdlock(&lock_);
  }
  void lockExclusive() noexcept {
    for (int i = 0; i < kSpins; ++i) {
      if (pthread_rwlock_trywrlock(&lock_) == 0) return;
      relax();
    }
    pthread_rwlock_wrlock(&lock_);
  }
  void unlock() noexcept { pthread_rwlock_unlock(&lock_); }

 private:
  // About 20 to 50 us of trying: far longer than any short hold, far shorter than a time slice.
  static constexpr int kSpins = 1000;
  static void relax() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
  }

  pthread_rwlock_t lock_;
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
