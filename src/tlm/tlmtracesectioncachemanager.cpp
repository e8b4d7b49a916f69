// Placeholder of the trace sections: the interface is final, the bodies keep no traces yet.
#include "tlm/tlmtracesectioncachemanager.h"

CTraceSectionCacheManager *CTraceSectionCacheManager::instance_ = nullptr;

CTraceSectionCacheManager *CTraceSectionCacheManager::Instance() {
  if (instance_ == nullptr) instance_ = new CTraceSectionCacheManager();
  return instance_;
}

void CTraceSectionCacheManager::release() {
  delete instance_;
  instance_ = nullptr;
}

void CTraceSectionCacheManager::initialize() {}

void CTraceSectionCacheManager::addTransTraceString(const zulstring &) {}

void CTraceSectionCacheManager::processTraceData() {}
