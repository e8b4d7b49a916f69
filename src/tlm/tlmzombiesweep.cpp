// The registry's sweep, run by the dispatcher: it ends contexts that their sessions forgot and
// sends the promoted trace of a long transaction that has paused.
#include "tlm/tlmcontextcachemanager.h"
#include "tlm/tlmmtcontext.h"
#include "tlm/tlmplatformhelper.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "tlm/tlmrecordsectioncachemanager.h"
#include "tlm/tlmtracesectioncachemanager.h"
#include "zul_dptrace.h"

namespace {

// A context in use is stamped at each lookup; one idle this long is not in the midst of a call.
constexpr uint32_t kPromotionIdleMs = 5000;

void countResource(const ZUL_UTF16 *name) {
  CRecordSectionCacheManager::Instance()->updateResource(
      name, [](CMTResourceRecord &record) { record.incValue(1); });
}

}  // namespace

void CContextCacheManager::removeZombieContexts(uint32_t zombieTimeout, uint32_t emptyTimeout) {
  uint16_t count = TLMParameterHelper::GetContextMapBucket();
  if (count < 1) return;
  uint32_t promotionAge = TLMParameterHelper::GetAutoTransactionTraceThreshold() * 1000;
  for (size_t bucket = 0; bucket < count && bucket < buckets_.size(); ++bucket) {
    CExclusiveLock hold(&buckets_[bucket]->lock);
    sweepBucket(buckets_[bucket]->contexts, zombieTimeout, emptyTimeout, promotionAge);
  }
}

// The contexts of the bucket in key order; now is read once for the bucket. Ages are on the
// wrapping millisecond clock, so a stamp from before a wrap still gives a small positive age.
// A context that a thread holds (in use) is neither read nor destroyed: its thread is inside it,
// and its stamp is fresh anyway but for time-outs of 0.
void CContextCacheManager::sweepBucket(ContextMap &contexts, uint32_t zombieTimeout,
                                       uint32_t emptyTimeout, uint32_t promotionAge) {
  uint32_t now = TLMPlatformHelper::GetServerTime();
  for (auto entry = contexts.begin(); entry != contexts.end();) {
    auto next = std::next(entry);
    if (entry->second.inUse.load(std::memory_order_acquire) != 0) {
      entry = next;
      continue;
    }
    CMTContext *context = entry->second.context.get();
    uint32_t idle = TLMPlatformHelper::GetServerTimeDiff(now, context->getLastUsedTimestamp());
    uint32_t age = TLMPlatformHelper::GetServerTimeDiff(now, context->getCreatedTimestamp());
    bool destroy = false;
    if (context->getStatus() == CMTContext::STATUS_INITIAL) {
      if (idle >= emptyTimeout) {
        DPTRC(1, tf, u"Empty context detected\n");
        countResource(u"~Empty Context Count");
        destroy = true;
      }
    } else if (idle >= zombieTimeout) {
      // Open, closed and terminated contexts alike.
      DPTRC(1, tf, u"Zombie context detected\n");
      CTraceSectionCacheManager::Instance()->addTransTraceString(context->getErrorTraceForZombie());
      countResource(u"~Zombie Context Count");
      destroy = true;
    } else if (idle >= kPromotionIdleMs && age >= promotionAge && !context->isPromtedTraceSent() &&
               !context->isTransTrace()) {
      CTraceSectionCacheManager::Instance()->addTransTraceString(
          context->getEMTraceXMLForAutoPromotion());
      context->setPromtedTraceSent(true);
    }
    if (destroy) contexts.erase(entry);
    entry = next;
  }
}
