// The ring of trace sections: collects the finished transaction traces and the application's
// string values, and sends them with the one-time version event.
#ifndef TLM_TLMTRACESECTIONCACHEMANAGER_H
#define TLM_TLMTRACESECTIONCACHEMANAGER_H

#include <cstddef>
#include <memory>
#include <thread>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmmtdatasendingagent.h"
#include "tlm/tlmsectionring.h"
#include "tlm/tlmsingleton.h"
#include "tlm/tlmtracesection.h"

class CProcessSettingsHolder;

// Singleton. The front of the ring is the active section, which takes every new text; each
// sending run takes it out, hands its texts to the agent and puts it back at the end, where it
// keeps them until it reaches the front again and is emptied. Nothing is carried over.
//
// Lock order: ring lock, then a section's lock.
class CTraceSectionCacheManager : public CSingleton<CTraceSectionCacheManager> {
 public:
  // Builds GetSectionCount() sections with the ids 1, 2, ... and the agent that
  // GetDataSendingMethod() names. settings must outlive the manager.
  void initialize(const CProcessSettingsHolder *settings);
  // Appends a copy of text to the active section; nothing while there is no section. Holds the
  // ring lock shared throughout, so that a text never lands in a section already taken out.
  void addTransTraceString(const zulstring &text);
  // The string event line of a value that the application sets: the process prefix, "|" and
  // subPath unless that is empty, ":" and name, and value.
  zulstring buildSetStringData(const zulstring &subPath, const zulstring &name,
                               const zulstring &value);

  // Sets the in-process flag; false when it was set already.
  bool setInProcessStatus() { return ring_.setInProcessStatus(); }
  void resetInProcessStatus() { ring_.resetInProcessStatus(); }
  // One sending run on the calling thread: switch, send the version event the first time the
  // agent is ready, send the old section's texts if the agent is ready (else they are lost), put
  // the section back at the end of the ring. Returns at once while another run is under way.
  // Absorbs every failure: it runs on the trace dispatcher and in the application's forced flush.
  void processTraceData() noexcept;

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
  // True once the version event has gone out.
  bool isVersionSent() const { return versionSent_; }

 private:
  friend class CSingleton<CTraceSectionCacheManager>;
  typedef CSectionRing<CTraceSection> Ring;

  CTraceSectionCacheManager() = default;
  ~CTraceSectionCacheManager() = default;
  CTraceSectionCacheManager(const CTraceSectionCacheManager &) = delete;
  CTraceSectionCacheManager &operator=(const CTraceSectionCacheManager &) = delete;

  // Sends the version event if it hasn't gone out and the agent is ready. Called within a run.
  void sendVersionOnce();
  // Hands the texts of a section that is out of the ring to the agent, if it has any and the
  // agent is ready.
  void sendSection(CTraceSection *sending);

  const CProcessSettingsHolder *settings_ = nullptr;
  Ring ring_;
  bool versionSent_ = false;  // written only within a run, which is single
  std::unique_ptr<CMTDataSendingAgent> agent_;
};

#endif  // TLM_TLMTRACESECTIONCACHEMANAGER_H
