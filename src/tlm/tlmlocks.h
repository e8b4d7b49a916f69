// Scoped holds of the thread layer's locks, as the instrumentation core takes them: read-write
// locks with the wait argument 0x7fffffff, whose result isn't examined, and plain mutexes.
#ifndef TLM_TLMLOCKS_H
#define TLM_TLMLOCKS_H

#include <pthread.h>

#include <cstdint>

#include "zul_thr.h"

// The wait of every read-write lock of the core: long enough to count as no limit.
constexpr int32_t kTlmLockWait = 0x7fffffff;

// The read-write lock of the hot path's shared structures (the metric ring and the record tables
// of a section): writer-preferring, like THR_RWL, and taken without a time limit, as all the
// core's read-write locks are. It is the system's lock, because every transaction takes these
// locks shared, and a shared release of THR_RWL signals an event that all threads share, which
// keeps two threads from running side by side.
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

  void lockShared() noexcept { pthread_rwlock_rdlock(&lock_); }
  void lockExclusive() noexcept { pthread_rwlock_wrlock(&lock_); }
  void unlock() noexcept { pthread_rwlock_unlock(&lock_); }

 private:
  pthread_rwlock_t lock_;
};

// Holds a read-write lock shared for the scope.
class CSharedLock {
 public:
  explicit CSharedLock(THR_RWL *rwl) noexcept : rwl_(rwl) { ThrRwlSharedLock(rwl_, kTlmLockWait); }
  explicit CSharedLock(CCoreRwLock *core) noexcept : core_(core) { core_->lockShared(); }
  ~CSharedLock() {
    if (core_ != nullptr) {
      core_->unlock();
    } else {
      ThrRwlUnlock(rwl_);
    }
  }
  CSharedLock(const CSharedLock &) = delete;
  CSharedLock &operator=(const CSharedLock &) = delete;

 private:
  THR_RWL *rwl_ = nullptr;
  CCoreRwLock *core_ = nullptr;
};

// Holds a read-write lock exclusively for the scope.
class CExclusiveLock {
 public:
  explicit CExclusiveLock(THR_RWL *rwl) noexcept : rwl_(rwl) {
    ThrRwlExclusiveLock(rwl_, kTlmLockWait);
  }
  explicit CExclusiveLock(CCoreRwLock *core) noexcept : core_(core) { core_->lockExclusive(); }
  ~CExclusiveLock() {
    if (core_ != nullptr) {
      core_->unlock();
    } else {
      ThrRwlUnlock(rwl_);
    }
  }
  CExclusiveLock(const CExclusiveLock &) = delete;
  CExclusiveLock &operator=(const CExclusiveLock &) = delete;

 private:
  THR_RWL *rwl_ = nullptr;
  CCoreRwLock *core_ = nullptr;
};

// Holds mtx for the scope.
class CMutexLock {
 public:
  explicit CMutexLock(THR_MTX *mtx) noexcept : mtx_(mtx) { ThrMtxLock(mtx_); }
  ~CMutexLock() { ThrMtxUnlock(mtx_); }
  CMutexLock(const CMutexLock &) = delete;
  CMutexLock &operator=(const CMutexLock &) = delete;

 private:
  THR_MTX *mtx_;
};

#endif  // TLM_TLMLOCKS_H
