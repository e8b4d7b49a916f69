// The ring of metric sections, the resource call-backs and the sending of metrics.
#ifndef TLM_TLMRECORDSECTIONCACHEMANAGER_H
#define TLM_TLMRECORDSECTIONCACHEMANAGER_H

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmmtresourcerecord.h"
#include "tlm/tlmmtstatrecord.h"
#include "tlm/tlmlocks.h"
#include "zul_thr.h"

class CMTDataSendingAgent;
class CRecordSection;

// A function that the application registered to report its resources.
typedef void (*TLMResourceCallBack)(void);

// One registered call-back and the server second after which it runs next.
class CCallBackContext {
 public:
  // No function, interval 0, due now.
  CCallBackContext();
  // Due now when the data sending interval is not below interval; otherwise at the next second
  // whose remainder modulo interval is that of startSecond, so that a long interval keeps a
  // fixed phase.
  CCallBackContext(TLMResourceCallBack function, uint32_t interval, uint32_t startSecond);

  TLMResourceCallBack function;
  uint32_t interval;
  uint32_t nextTriggeredTime;  // seconds since the epoch
};

// Singleton. The front of the ring is the active section, which takes every update; at each
// sending interval processData takes it out, sends it and puts it back at the end.
//
// Lock order: ring lock, then a section's lock, then a record's lock. The process lock is taken
// alone or inside the ring lock; the call-back lock is held while call-backs run, which report
// through the ring lock.
class CRecordSectionCacheManager {
 public:
  // Created on first use, without a lock: first touched in single-threaded start-up.
  static CRecordSectionCacheManager *Instance();
  // Deletes the manager with its sections, its agent and its locks.
  static void release();

  // Builds GetSectionCount() sections with the ids 1, 2, ... and the agent that
  // GetDataSendingMethod() names.
  void initialize();
  // The number of switches so far. A stat record pointer belongs to the version it came with.
  uint32_t getVersion() const { return version_.load(std::memory_order_relaxed); }
  // The stat record of name in the active section, created when new, and in version the
  // version it belongs to. Null while there is no section.
  CMTStatRecord *getStatRecordByName(const zulstring &name, int32_t &version);
  // The resource record of name in the active section, created when new; null while there is no
  // section.
  CMTResourceRecord *getResourceRecordByName(const zulstring &name);

  // Registers function under id unless id is taken; the first registration stays.
  void addCallBackFunctionPtr(uint32_t id, TLMResourceCallBack function, uint32_t interval,
                              uint32_t startSecond);
  void removeCallBackFunctionPtr(uint32_t id);
  // Runs each call-back whose time has come, in id order, and schedules it one interval later.
  // The call-backs run under the call-back lock: they must not register or deregister.
  void invokeCallBackFunctions();

  // Takes the active section out of the ring and answers it; its successor becomes active, is
  // emptied and receives the records carried over from the old one. The caller puts the old
  // section back at the end of the ring (processData does). Null, with nothing taken out, when
  // the ring has fewer than two sections.
  CRecordSection *switchSection();
  // Sets the in-process flag; false when it was set already.
  bool setInProcessStatus();
  void resetInProcessStatus();
  // One sending run on the calling thread: switch, send the old section through the agent, put
  // it back at the end of the ring. Returns at once while another run is under way.
  void processData();

  // Replaces the agent, taking ownership of the new one (may be null); for set-up and tests.
  void setAgent(CMTDataSendingAgent *agent);
  CMTDataSendingAgent *getAgent() const { return agent_; }
  // The number of sections in the ring now.
  size_t getRingSize();

 private:
  CRecordSectionCacheManager();
  ~CRecordSectionCacheManager();
  CRecordSectionCacheManager(const CRecordSectionCacheManager &) = delete;
  CRecordSectionCacheManager &operator=(const CRecordSectionCacheManager &) = delete;

  // Hands the records of a section that is out of the ring to the agent, if it has any and the
  // agent is ready.
  void sendSection(CRecordSection *sending);

  static CRecordSectionCacheManager *instance_;

  THR_MTX processLock_;  // guards inProcess_
  bool inProcess_ = false;
  CCoreRwLock ringLock_;  // guards ring_ and version_
  THR_MTX callBackLock_;  // guards callBacks_
  std::deque<CRecordSection *> ring_;
  std::map<uint32_t, CCallBackContext> callBacks_;
  CMTDataSendingAgent *agent_ = nullptr;
  std::atomic<uint32_t> version_{0};
};

#endif  // TLM_TLMRECORDSECTIONCACHEMANAGER_H
