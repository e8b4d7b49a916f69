// One member of the ring of trace sections: the finished trace texts of one period.
#ifndef TLM_TLMTRACESECTION_H
#define TLM_TLMTRACESECTION_H

#include <cstdint>
#include <vector>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmlocks.h"

class CMTDataSendingAgent;

// A plain list of texts in order of arrival, guarded by the section's read-write lock: exclusive
// to append and reset, shared to read and send.
class CTraceSection {
 public:
  explicit CTraceSection(uint16_t id) : id_(id) {}
  CTraceSection(const CTraceSection &) = delete;
  CTraceSection &operator=(const CTraceSection &) = delete;

  uint16_t getId() const { return id_; }
  bool isTraceListEmpty();
  // Appends a copy of text.
  void addTransTraceString(const zulstring &text);
  // Hands a copy of each text, in order, to agent, and answers how many texts the list holds.
  int64_t sendTraceData(CMTDataSendingAgent *agent);
  // Empties the list in constant time and answers its texts, to be freed away from the ring lock.
  std::vector<zulstring> detachTexts();
  // Drops all texts.
  void resetSection() { detachTexts(); }

 private:
  uint16_t id_;
  CCoreRwLock lock_;  // guards traces_
  std::vector<zulstring> traces_;
};

#endif  // TLM_TLMTRACESECTION_H
