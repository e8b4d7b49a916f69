#include "tlm/tlmtracesection.h"

#include "tlm/tlmmtdatasendingagent.h"

bool CTraceSection::isTraceListEmpty() {
  CSharedLock hold(&lock_);
  return traces_.empty();
}

void CTraceSection::addTransTraceString(const zulstring &text) {
  CExclusiveLock hold(&lock_);
  traces_.push_back(text);
}

int64_t CTraceSection::sendTraceData(CMTDataSendingAgent *agent) {
  CSharedLock hold(&lock_);
  for (const zulstring &text : traces_) agent->sendData(text);
  return static_cast<int64_t>(traces_.size());
}

std::vector<zulstring> CTraceSection::detachTexts() {
  std::vector<zulstring> texts;
  CExclusiveLock hold(&lock_);
  texts.swap(traces_);
  return texts;
}
