// The registry's buckets.
#include "tlm/tlmcontextcachemanager.h"

#include "tlm/tlmmtcontext.h"
#include "tlm/tlmplatformhelper.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"

namespace {

// Contexts that were still registered when a registry was released. They are not destroyed, as
// a thread of the application may still hold one; they stay allocated for the process's life.
std::vector<std::unique_ptr<CMTContext>> &abandonedContexts() {
  static auto *contexts = new std::vector<std::unique_ptr<CMTContext>>();
  return *contexts;
}

}  // namespace

CContextRef &CContextRef::operator=(CContextRef &&other) noexcept {
  if (this != &other) {
    reset();
    context_ = other.context_;
    inUse_ = other.inUse_;
    other.context_ = nullptr;
    other.inUse_ = nullptr;
  }
  return *this;
}

CContextCacheManager::Entry::Entry(std::unique_ptr<CMTContext> owned) : context(std::move(owned)) {}

CContextCacheManager::CContextCacheManager() = default;

CContextCacheManager::~CContextCacheManager() {
  for (auto &bucket : buckets_) {
    for (auto &entry : bucket->contexts) {
      abandonedContexts().push_back(std::move(entry.second.context));
    }
  }
}

void CContextCacheManager::initialize() {
  uint16_t count = TLMParameterHelper::GetContextMapBucket();
  for (uint16_t i = 0; i < count; ++i) buckets_.push_back(std::make_unique<Bucket>());
}

// The bucket count is read anew each time; the parameter can't change while the library runs. A
// count that doesn't match the buckets built (0, or a registry not yet initialised) selects none.
CContextCacheManager::Bucket *CContextCacheManager::bucketOf(const CSessionKey &session) const {
  uint16_t count = TLMParameterHelper::GetContextMapBucket();
  if (count == 0 || count > buckets_.size()) return nullptr;
  int32_t hash = static_cast<int32_t>(session.hash);
  return buckets_[static_cast<size_t>(hash % count)].get();
}

CContextRef CContextCacheManager::getContextByID(const CSessionKey &session) {
  Bucket *bucket = bucketOf(session);
  if (bucket == nullptr) return CContextRef();
  CSharedLock hold(&bucket->lock);
  auto found = bucket->contexts.find(session.text);
  if (found == bucket->contexts.end()) return CContextRef();
  // Two readers of one session may both store here; the stamp is a single relaxed word.
  found->second.context->updateLastUsedTimestamp();
  return refTo(found->second);
}

CContextRef CContextCacheManager::pushContextToCache(const CSessionKey &session,
                                                     std::unique_ptr<CMTContext> context) {
  Bucket *bucket = bucketOf(session);
  if (bucket == nullptr) return CContextRef();
  CExclusiveLock hold(&bucket->lock);
  auto inserted = bucket->contexts.try_emplace(session.text, std::move(context));
  return refTo(inserted.first->second);
}

CContextRef CContextCacheManager::pushContextToCache(const zulstring &session,
                                                     std::unique_ptr<CMTContext> context) {
  return pushContextToCache(CSessionKey(session), std::move(context));
}

void CContextCacheManager::removeContextByID(const CSessionKey &session) {
  Bucket *bucket = bucketOf(session);
  if (bucket == nullptr) return;
  std::unique_ptr<CMTContext> doomed;
  CExclusiveLock hold(&bucket->lock);
  auto found = bucket->contexts.find(session.text);
  if (found == bucket->contexts.end()) return;
  doomed = std::move(found->second.context);
  bucket->contexts.erase(found);
}
