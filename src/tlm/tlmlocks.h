// Scoped holds of the thread layer's locks, as the instrumentation core takes them: read-write
// locks with the wait argument 0x7fffffff, whose result isn't examined, and plain mutexes.
#ifndef TLM_TLMLOCKS_H
#define TLM_TLMLOCKS_H

#include <cstdint>

#include "zul_thr.h"

// The wait of every read-write lock of the core: long enough to count as no limit.
constexpr int32_t kTlmLockWait = 0x7fffffff;

// Holds rwl shared for the scope.
class CSharedLock {
 public:
  explicit CSharedLock(THR_RWL *rwl) noexcept : rwl_(rwl) { ThrRwlSharedLock(rwl_, kTlmLockWait); }
  ~CSharedLock() { ThrRwlUnlock(rwl_); }
  CSharedLock(const CSharedLock &) = delete;
  CSharedLock &operator=(const CSharedLock &) = delete;

 private:
  THR_RWL *rwl_;
};

// Holds rwl exclusively for the scope.
class CExclusiveLock {
 public:
  explicit CExclusiveLock(THR_RWL *rwl) noexcept : rwl_(rwl) {
    ThrRwlExclusiveLock(rwl_, kTlmLockWait);
  }
  ~CExclusiveLock() { ThrRwlUnlock(rwl_); }
  CExclusiveLock(const CExclusiveLock &) = delete;
  CExclusiveLock &operator=(const CExclusiveLock &) = delete;

 private:
  THR_RWL *rwl_;
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
