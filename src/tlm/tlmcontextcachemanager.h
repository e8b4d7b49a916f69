// The registry of live transaction contexts, keyed by session.
#ifndef TLM_TLMCONTEXTCACHEMANAGER_H
#define TLM_TLMCONTEXTCACHEMANAGER_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmlocks.h"
#include "tlm/tlmsingleton.h"
#include "tlm/tlmthreadblock.h"
#include "tlm/tlmzulstringless.h"

class CMTContext;

// A context taken from the registry for one call. While it lives the sweep neither frees the
// context nor reads it: the in-use count is raised under the bucket's lock, and the sweep, which
// holds that lock exclusively, passes over a context whose count isn't 0.
class CContextRef {
 public:
  CContextRef() = default;
  CContextRef(CContextRef &&other) noexcept : context_(other.context_), inUse_(other.inUse_) {
    other.context_ = nullptr;
    other.inUse_ = nullptr;
  }
  CContextRef &operator=(CContextRef &&other) noexcept;
  ~CContextRef() { reset(); }

  CMTContext *get() const { return context_; }
  CMTContext *operator->() const { return context_; }
  CMTContext &operator*() const { return *context_; }
  explicit operator bool() const { return context_ != nullptr; }
  friend bool operator==(const CContextRef &ref, std::nullptr_t) { return ref.context_ == nullptr; }
  // Gives the context back; the reference is empty afterwards.
  void reset() noexcept {
    if (inUse_ != nullptr) inUse_->fetch_sub(1, std::memory_order_release);
    context_ = nullptr;
    inUse_ = nullptr;
  }

 private:
  friend class CContextCacheManager;
  CContextRef(CMTContext *context, std::atomic<uint32_t> *inUse) : context_(context), inUse_(inUse) {}

  CMTContext *context_ = nullptr;
  std::atomic<uint32_t> *inUse_ = nullptr;
};

// Singleton, created on first use without a lock (first touched in single-threaded start-up).
// Sessions are hashed over context_map_bucket buckets, each an ordered map under a read-write lock
// of its own, so that application threads rarely meet on one lock.
//
// Locks: a bucket lock comes before the locks of the metric and trace sections (the sweep reports
// while holding one); no path holds two bucket locks. Owns the contexts in its maps.
class CContextCacheManager : public CSingleton<CContextCacheManager> {
 public:
  // Builds the buckets.
  void initialize();

  // The session's context, or an empty reference. Stamps it as used under the bucket's shared
  // lock. The context stays valid while the reference lives, unless the session itself removes
  // it.
  CContextRef getContextByID(const CSessionKey &session);
  // Registers context under session unless the session has one already; in that case context is
  // freed. Answers the registered context, in use by the caller.
  CContextRef pushContextToCache(const CSessionKey &session, std::unique_ptr<CMTContext> context);
  // Destroys and forgets the session's context, if any. The caller holds no reference to it.
  void removeContextByID(const CSessionKey &session);
  // The same three for a session given as text, whose hash is computed first.
  CContextRef getContextByID(const zulstring &session) {
    return getContextByID(CSessionKey(session));
  }
  CContextRef pushContextToCache(const zulstring &session, std::unique_ptr<CMTContext> context);
  void removeContextByID(const zulstring &session) { removeContextByID(CSessionKey(session)); }
  // The sweep: destroys contexts that never timed anything and have been idle for emptyTimeout
  // ms, and others idle for zombieTimeout ms (with an error trace); sends the promoted trace of a
  // long-running context that is idle for 5 s. One bucket at a time, under its exclusive lock. A
  // context in use by a thread is left for the next sweep.
  void removeZombieContexts(uint32_t zombieTimeout, uint32_t emptyTimeout);

 private:
  friend class CSingleton<CContextCacheManager>;

  // Map nodes never move, so the in-use count lives in the entry itself.
  struct Entry {
    explicit Entry(std::unique_ptr<CMTContext> owned);
    std::unique_ptr<CMTContext> context;
    std::atomic<uint32_t> inUse{0};
  };
  typedef std::map<zulstring, Entry, ZulStringLess> ContextMap;
  // A cache line each: threads of different buckets don't share one.
  struct alignas(64) Bucket {
    CCoreRwLock lock;  // guards contexts
    ContextMap contexts;
  };

  CContextCacheManager();
  ~CContextCacheManager();
  CContextCacheManager(const CContextCacheManager &) = delete;
  CContextCacheManager &operator=(const CContextCacheManager &) = delete;

  // The bucket of session (its hash modulo GetContextMapBucket()), or null when the count doesn't
  // match the buckets built.
  Bucket *bucketOf(const CSessionKey &session) const;
  // Sweeps one bucket; the caller holds its exclusive lock.
  void sweepBucket(ContextMap &contexts, uint32_t zombieTimeout, uint32_t emptyTimeout,
                   uint32_t promotionAge);
  static CContextRef refTo(Entry &entry) {
    entry.inUse.fetch_add(1, std::memory_order_relaxed);
    return CContextRef(entry.context.get(), &entry.inUse);
  }

  std::vector<std::unique_ptr<Bucket>> buckets_;
};

#endif  // TLM_TLMCONTEXTCACHEMANAGER_H
