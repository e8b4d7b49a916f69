// The registry of live transaction contexts, keyed by session, and what every context consults
// without a copy of the configuration: the process's identity texts, the skip-times prefixes and
// the per-component threshold maps.
#ifndef TLM_TLMCONTEXTCACHEMANAGER_H
#define TLM_TLMCONTEXTCACHEMANAGER_H

#include <pthread.h>

#include <cstdint>
#include <map>
#include <vector>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmzulstringless.h"
#include "zul_thr.h"

class CMTContext;

// Thresholds per component prefix, in key order.
typedef std::map<zulstring, uint16_t, ZulStringLess> CThresholdMap;

// Singleton, created on first use without a lock (first touched in single-threaded start-up).
// Sessions are hashed over context_map_bucket buckets, each an ordered map under a read-write lock
// of its own, so that application threads rarely meet on one lock. Every timing call takes a bucket
// lock shared, so these are the system's read-write locks, whose shared hold is one atomic
// operation each way; they prefer writers, as the thread layer's do.
//
// Locks: a bucket lock comes before the locks of the metric and trace sections (the sweep reports
// while holding one); no path holds two bucket locks. The two threshold locks are taken alone.
// Owns the contexts in its maps.
class CContextCacheManager {
 public:
  static CContextCacheManager *Instance();
  // Destroys the registry. Contexts still registered are not destroyed and stay allocated.
  static void release();

  // Builds the buckets, then reads the skip-times list and the component threshold lists.
  void initialize();

  // The session's context, or null. Stamps it as used under the bucket's shared lock. The pointer
  // stays valid after the lock is dropped until the session itself removes the context, or the
  // sweep does.
  CMTContext *getContextByID(const zulstring &session);
  // Registers context under session unless the session has one already; in that case context is
  // neither stored nor freed. Takes ownership otherwise.
  void pushContextToCache(const zulstring &session, CMTContext *context);
  // Destroys and forgets the session's context, if any.
  void removeContextByID(const zulstring &session);
  // The sweep: destroys contexts that never timed anything and have been idle for emptyTimeout
  // ms, and others idle for zombieTimeout ms (with an error trace); sends the promoted trace of a
  // long-running context that is idle for 5 s. One bucket at a time, under its exclusive lock.
  void removeZombieContexts(uint32_t zombieTimeout, uint32_t emptyTimeout);

  // True when name begins with a skip prefix followed by "|".
  bool checkSkipName(const zulstring &name) const;
  // False only for a listed name whose elapsed time is not below skip_times_below_threshold: the
  // caller records on true.
  bool checkSkipTimes(const zulstring &name, int32_t elapsed) const;
  // Fills the skip prefixes from the comma-separated list. The list must hold one name: the
  // text after a comma is appended again and again until memory runs out.
  void updateSkipTimePrefixList(const zulstring &list);
  // Fills both threshold maps from three parallel lists whose items are each closed by a comma.
  // Only the first name of the list is cut cleanly: later names carry their comma and more.
  void updateSpeInstruPrefixList(const zulstring &names, const zulstring &levels,
                                 const zulstring &traceLevels);
  // Sets the threshold of one component prefix, at run time; reaches new and reset contexts.
  void insertSpecMap(const zulstring &name, uint16_t level);
  void insertTraceSpecMap(const zulstring &name, uint16_t level);
  // Copies the thresholds into map and answers true; answers false and leaves map alone when
  // there are none.
  bool checkSpecMap(CThresholdMap &map);
  bool checkTraceSpecMap(CThresholdMap &map);

  // -1 (0xFFFF) takes the process id, any other option its own decimal text.
  void setPIDOption(short option);
  void setInstancePrefix(const zulstring &prefix) { instancePrefix_ = prefix; }
  void setComponentName(const zulstring &name) { componentName_ = name; }
  const zulstring &getComponentName() const { return componentName_; }
  const zulstring &getInstancePrefix() const { return instancePrefix_; }
  const zulstring &getPIDString() const { return pidString_; }

 private:
  typedef std::map<zulstring, CMTContext *, ZulStringLess> ContextMap;

  // Holds a bucket lock shared, or exclusively, for the scope.
  class BucketHold {
   public:
    BucketHold(pthread_rwlock_t *lock, bool exclusive) : lock_(lock) {
      exclusive ? pthread_rwlock_wrlock(lock_) : pthread_rwlock_rdlock(lock_);
    }
    ~BucketHold() { pthread_rwlock_unlock(lock_); }
    BucketHold(const BucketHold &) = delete;
    BucketHold &operator=(const BucketHold &) = delete;

   private:
    pthread_rwlock_t *lock_;
  };

  CContextCacheManager();
  ~CContextCacheManager();
  CContextCacheManager(const CContextCacheManager &) = delete;
  CContextCacheManager &operator=(const CContextCacheManager &) = delete;

  // The bucket of session: its hash modulo GetContextMapBucket().
  size_t bucketOf(const zulstring &session) const;
  // Sweeps one bucket; the caller holds its exclusive lock.
  void sweepBucket(ContextMap &contexts, uint32_t zombieTimeout, uint32_t emptyTimeout,
                   uint32_t promotionAge);
  static void insertThreshold(THR_RWL *lock, CThresholdMap &map, const zulstring &name,
                              uint16_t level);
  static bool copyThresholds(THR_RWL *lock, const CThresholdMap &from, CThresholdMap &to);

  static CContextCacheManager *instance_;

  zulstring componentName_;
  zulstring pidString_;
  zulstring instancePrefix_;
  std::vector<zulstring> skipTimePrefixes_;
  std::vector<pthread_rwlock_t *> bucketLocks_;
  std::vector<ContextMap *> bucketMaps_;
  THR_RWL componentThresholdLock_;  // guards componentThresholds_
  CThresholdMap componentThresholds_;
  THR_RWL componentTraceThresholdLock_;  // guards componentTraceThresholds_
  CThresholdMap componentTraceThresholds_;
};

#endif  // TLM_TLMCONTEXTCACHEMANAGER_H
