// The registry's buckets, its identity texts and its threshold maps.
#include "tlm/tlmcontextcachemanager.h"

#include "tlm/tlmlocks.h"
#include "tlm/tlmmtcontext.h"
#include "tlm/tlmplatformhelper.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "zul_u16printf.h"

namespace {

pthread_rwlock_t *newBucketLock() {
  pthread_rwlockattr_t attributes;
  pthread_rwlockattr_init(&attributes);
  pthread_rwlockattr_setkind_np(&attributes, PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP);
  auto *lock = new pthread_rwlock_t;
  pthread_rwlock_init(lock, &attributes);
  pthread_rwlockattr_destroy(&attributes);
  return lock;
}

// Contexts that were still registered when a registry was released. They are not destroyed, as
// a thread of the application may still hold one; they stay allocated for the process's life.
std::vector<CMTContext *> &abandonedContexts() {
  static std::vector<CMTContext *> *contexts = new std::vector<CMTContext *>();
  return *contexts;
}

}  // namespace

CContextCacheManager *CContextCacheManager::instance_ = nullptr;

CContextCacheManager *CContextCacheManager::Instance() {
  if (instance_ == nullptr) instance_ = new CContextCacheManager();
  return instance_;
}

void CContextCacheManager::release() {
  delete instance_;
  instance_ = nullptr;
}

CContextCacheManager::CContextCacheManager() {
  ThrRwlInit(&componentThresholdLock_);
  ThrRwlInit(&componentTraceThresholdLock_);
}

CContextCacheManager::~CContextCacheManager() {
  for (size_t i = 0; i < bucketMaps_.size(); ++i) {
    for (auto &entry : *bucketMaps_[i]) abandonedContexts().push_back(entry.second);
    delete bucketMaps_[i];
    pthread_rwlock_destroy(bucketLocks_[i]);
    delete bucketLocks_[i];
  }
  ThrRwlDelete(&componentThresholdLock_);
  ThrRwlDelete(&componentTraceThresholdLock_);
}

void CContextCacheManager::initialize() {
  uint16_t buckets = TLMParameterHelper::GetContextMapBucket();
  for (uint16_t i = 0; i < buckets; ++i) {
    bucketLocks_.push_back(newBucketLock());
    bucketMaps_.push_back(new ContextMap());
  }
  updateSkipTimePrefixList(TLMParameterHelper::GetSkipTimesNameListStr());
  updateSpeInstruPrefixList(TLMParameterHelper::GetSpeCompNameListStr(),
                            TLMParameterHelper::GetSpeCompLevelListStr(),
                            TLMParameterHelper::GetSpeCompTraceLevelListStr());
}

// The bucket count is read anew each time; the parameter can't change while the library runs. A
// count that doesn't match the buckets built (0, or a registry not yet initialised) selects none.
size_t CContextCacheManager::bucketOf(const zulstring &session) const {
  uint16_t buckets = TLMParameterHelper::GetContextMapBucket();
  if (buckets == 0 || buckets > bucketMaps_.size()) return bucketMaps_.size();
  int32_t hash = static_cast<int32_t>(TLMPlatformHelper::GetSessionIdentifierHash(session));
  return static_cast<size_t>(hash % buckets);
}

CMTContext *CContextCacheManager::getContextByID(const zulstring &session) {
  size_t bucket = bucketOf(session);
  if (bucket == bucketMaps_.size()) return nullptr;
  BucketHold hold(bucketLocks_[bucket], false);
  const ContextMap &contexts = *bucketMaps_[bucket];
  auto found = contexts.find(session);
  if (found == contexts.end()) return nullptr;
  // Two readers of one session may both store here; the stamp is a single relaxed word.
  found->second->updateLastUsedTimestamp();
  return found->second;
}

void CContextCacheManager::pushContextToCache(const zulstring &session, CMTContext *context) {
  size_t bucket = bucketOf(session);
  if (bucket == bucketMaps_.size()) return;
  BucketHold hold(bucketLocks_[bucket], true);
  bucketMaps_[bucket]->emplace(session, context);
}

void CContextCacheManager::removeContextByID(const zulstring &session) {
  size_t bucket = bucketOf(session);
  if (bucket == bucketMaps_.size()) return;
  BucketHold hold(bucketLocks_[bucket], true);
  ContextMap &contexts = *bucketMaps_[bucket];
  auto found = contexts.find(session);
  if (found == contexts.end()) return;
  delete found->second;
  contexts.erase(found);
}

void CContextCacheManager::insertThreshold(THR_RWL *lock, CThresholdMap &map,
                                           const zulstring &name, uint16_t level) {
  CExclusiveLock hold(lock);
  map[name] = level;
}

bool CContextCacheManager::copyThresholds(THR_RWL *lock, const CThresholdMap &from,
                                          CThresholdMap &to) {
  CSharedLock hold(lock);
  if (from.empty()) return false;
  to = from;
  return true;
}

void CContextCacheManager::insertSpecMap(const zulstring &name, uint16_t level) {
  insertThreshold(&componentThresholdLock_, componentThresholds_, name, level);
}

void CContextCacheManager::insertTraceSpecMap(const zulstring &name, uint16_t level) {
  insertThreshold(&componentTraceThresholdLock_, componentTraceThresholds_, name, level);
}

bool CContextCacheManager::checkSpecMap(CThresholdMap &map) {
  return copyThresholds(&componentThresholdLock_, componentThresholds_, map);
}

bool CContextCacheManager::checkTraceSpecMap(CThresholdMap &map) {
  return copyThresholds(&componentTraceThresholdLock_, componentTraceThresholds_, map);
}

void CContextCacheManager::setPIDOption(short option) {
  if (option == -1) {
    pidString_ = TLMPlatformHelper::GetProcessId();
    return;
  }
  ZUL_UTF16 text[20];
  snprintfU16(text, 20, u"%d", static_cast<int>(option));
  pidString_ = text;
}
