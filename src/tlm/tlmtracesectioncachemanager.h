// The ring of trace sections: collects the transaction trace documents and sends them.
#ifndef TLM_TLMTRACESECTIONCACHEMANAGER_H
#define TLM_TLMTRACESECTIONCACHEMANAGER_H

#include "i18n/zulu16/zulstring.h"

// Singleton, created on first use without a lock.
class CTraceSectionCacheManager {
 public:
  static CTraceSectionCacheManager *Instance();
  static void release();

  void initialize();
  // Appends one trace document to the active trace section.
  void addTransTraceString(const zulstring &trace);
  // One sending run of the trace sections on the calling thread.
  void processTraceData();

 private:
  CTraceSectionCacheManager() = default;
  ~CTraceSectionCacheManager() = default;
  CTraceSectionCacheManager(const CTraceSectionCacheManager &) = delete;
  CTraceSectionCacheManager &operator=(const CTraceSectionCacheManager &) = delete;

  static CTraceSectionCacheManager *instance_;
};

#endif  // TLM_TLMTRACESECTIONCACHEMANAGER_H
