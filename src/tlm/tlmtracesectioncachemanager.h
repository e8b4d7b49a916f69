// The ring of trace sections: collects the finished transaction traces and the application's
// string values, and sends them with the one-time version event.
#ifndef TLM_TLMTRACESECTIONCACHEMANAGER_H
#define TLM_TLMTRACESECTIONCACHEMANAGER_H

#include <cstddef>
#include <deque>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmlocks.h"
#include "zul_thr.h"

class CMTDataSendingAgent;
class CTraceSection;

// Singleton. The front of the ring is the active section, which takes every new text; each
// sending run takes it out, hands its texts to the agent and puts it back at the end, where it
// keeps them until it reaches the front again and is emptied. Nothing is carried over.
//
// Lock order: ring lock, then a section's lock. The process lock is taken alone or inside the
// ring lock.
class CTraceSectionCacheManager {
 public:
  // Created on first use, without a lock: first touched in single-threaded start-up.
  static CTraceSectionCacheManager *Instance();
  // Deletes the manager with its sections, its agent and its locks.
  static void release();

  // Builds GetSectionCount() sections with the ids 1, 2, ... and the agent that
  // GetDataSendingMethod() names.
  void initialize();
  // Appends a copy of text to the active section; nothing while there is no section. Holds the
  // ring lock shared throughout, so that a text never lands in a section already taken out.
  void addTransTraceString(const zulstring &text);
  // The string event line of a value that the application sets: the process prefix, "|" and
  // subPath unless that is empty, ":" and name, and value.
  zulstring buildSetStringData(const zulstring &subPath, const zulstring &name,
                               const zulstring &value);

  // Takes the active section out of the ring and answers it; its successor becomes active and is
  // emptied. The caller puts the old section back at the end (processTraceData does). Null, with
  // nothing taken out, when the ring has fewer than two sections.
  CTraceSection *switchSection();
  // Sets the in-process flag; false when it was set already.
  bool setInProcessStatus();
  void resetInProcessStatus();
  // One sending run on the calling thread: switch, send the version event the first time the
  // agent is ready, send the old section's texts if the agent is ready (else they are lost), put
  // the section back at the end of the ring. Returns at once while another run is under way.
  // Absorbs every failure: it runs on the trace dispatcher and in the application's forced flush.
  void processTraceData() noexcept;

  // Replaces the agent, taking ownership of the new one (may be null); for set-up and tests.
  void setAgent(CMTDataSendingAgent *agent);
  CMTDataSendingAgent *getAgent() const { return agent_; }
  // The number of sections in the ring now.
  size_t getRingSize();
  // True once the version event has gone out.
  bool isVersionSent() const { return versionSent_; }

 private:
  CTraceSectionCacheManager();
  ~CTraceSectionCacheManager();
  CTraceSectionCacheManager(const CTraceSectionCacheManager &) = delete;
  CTraceSectionCacheManager &operator=(const CTraceSectionCacheManager &) = delete;

  // Sends the version event if it hasn't gone out and the agent is ready. Called within a run.
  void sendVersionOnce();
  // Hands the texts of a section that is out of the ring to the agent, if it has any and the
  // agent is ready.
  void sendSection(CTraceSection *sending);

  static CTraceSectionCacheManager *instance_;

  THR_MTX processLock_;  // guards inProcess_
  bool inProcess_ = false;
  bool versionSent_ = false;  // written only within a run, which is single
  CCoreRwLock ringLock_;      // guards ring_
  std::deque<CTraceSection *> ring_;
  CMTDataSendingAgent *agent_ = nullptr;
};

#endif  // TLM_TLMTRACESECTIONCACHEMANAGER_H
