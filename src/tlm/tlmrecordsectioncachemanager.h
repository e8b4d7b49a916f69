// The ring of metric sections, the resource call-backs and the sending of metrics.
#ifndef TLM_TLMRECORDSECTIONCACHEMANAGER_H
#define TLM_TLMRECORDSECTIONCACHEMANAGER_H

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <thread>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmlocks.h"
#include "tlm/tlmmtdatasendingagent.h"
#include "tlm/tlmrecordsection.h"
#include "tlm/tlmsectionring.h"
#include "tlm/tlmsingleton.h"

class CProcessSettingsHolder;

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
// Lock order: ring lock, then a section's lock, then a record's lock. The call-back lock is held
// while call-backs run, which report through the ring lock.
class CRecordSectionCacheManager : public CSingleton<CRecordSectionCacheManager> {
 public:
  // Builds GetSectionCount() sections with the ids 1, 2, ... and the agent that
  // GetDataSendingMethod() names. settings must outlive the manager.
  void initialize(const CProcessSettingsHolder *settings);
  // The number of switches so far. A stat record belongs to the version it came with.
  uint32_t getVersion() const { return ring_.version(); }
  // How many times a manager was initialised in this process. Each new ring counts its versions
  // from 0 again, so a stat record is current only when both its version and its generation are.
  static uint32_t generation() { return generation_.load(std::memory_order_relaxed); }
  // The stat record of name in the active section, created when new, and in version the
  // version it belongs to. Null while there is no section.
  CRecordSection::StatRef getStatRecordByName(const zulstring &name, int32_t &version);
  // The resource record of name in the active section, created when new; null while there is no
  // section.
  CRecordSection::ResourceRef getResourceRecordByName(const zulstring &name);
  // Applies update to the resource record of name in the active section, created when new, with
  // the ring lock held shared, so that the update lands in the section that is active.
  template <typename Update>
  void updateResource(const zulstring &name, Update update) {
    ring_.withActive(0, [&](CRecordSection &active, uint32_t) {
      update(*active.getResourceRecordByName(name));
      return 0;
    });
  }

  // Registers function under id unless id is taken; the first registration stays.
  void addCallBackFunctionPtr(uint32_t id, TLMResourceCallBack function, uint32_t interval,
                              uint32_t startSecond);
  void removeCallBackFunctionPtr(uint32_t id);
  // Runs each call-back whose time has come, in id order, and schedules it one interval later.
  // The call-backs run under the call-back lock: they must not register or deregister.
  void invokeCallBackFunctions();

  // Sets the in-process flag; false when it was set already.
  bool setInProcessStatus() { return ring_.setInProcessStatus(); }
  void resetInProcessStatus() { ring_.resetInProcessStatus(); }
  // One sending run on the calling thread: switch, send the old section through the agent, put
  // it back at the end of the ring. Returns at once while another run is under way. Absorbs every
  // failure: it runs on the data dispatcher and in the application's forced flush.
  void processData() noexcept;

  // Replaces the agent (may be null); for set-up and tests.
  // Takes the in-process flag first, so that no sending run still uses the agent it replaces.
  void setAgent(std::unique_ptr<CMTDataSendingAgent> agent) {
    while (!ring_.setInProcessStatus()) std::this_thread::yield();
    agent_ = std::move(agent);
    ring_.resetInProcessStatus();
  }
  CMTDataSendingAgent *getAgent() const { return agent_.get(); }
  // The number of sections in the ring now.
  size_t getRingSize() { return ring_.size(); }

 private:
  friend class CSingleton<CRecordSectionCacheManager>;
  typedef CSectionRing<CRecordSection> Ring;

  CRecordSectionCacheManager() = default;
  ~CRecordSectionCacheManager() = default;
  CRecordSectionCacheManager(const CRecordSectionCacheManager &) = delete;
  CRecordSectionCacheManager &operator=(const CRecordSectionCacheManager &) = delete;

  // Takes the active section out of the ring for run; its successor becomes active, is emptied
  // and receives the records carried over from the old one. Null when nothing was taken out.
  CRecordSection *switchSection(Ring::Run &run);
  // Hands the records of a section that is out of the ring to the agent, if it has any and the
  // agent is ready.
  void sendSection(CRecordSection *sending);

  const CProcessSettingsHolder *settings_ = nullptr;
  Ring ring_;
  CCoreMutex callBackLock_;  // guards callBacks_
  std::map<uint32_t, CCallBackContext> callBacks_;
  std::unique_ptr<CMTDataSendingAgent> agent_;
  static inline std::atomic<uint32_t> generation_{0};
};

#endif  // TLM_TLMRECORDSECTIONCACHEMANAGER_H
