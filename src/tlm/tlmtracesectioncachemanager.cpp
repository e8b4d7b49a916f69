#define DPTRC_MODULE u"tlmtracesectioncachemanager"

#include "tlm/tlmtracesectioncachemanager.h"

#include "tlm/tlmmetrictext.h"
#include "tlm/tlmmtdatasendingfileagent.h"
#include "tlm/tlmmtdatasendingsocketagent.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "tlm/tlmtracesection.h"
#include "zul_dptrace.h"
#include "zul_u16printf.h"

namespace {

constexpr size_t kStatisticsBufferUnits = 50;
constexpr ZUL_UTF16 kVersionName[] = u"TLM library version";
constexpr ZUL_UTF16 kLibraryVersion[] = u"2.3.12";

// <metric type="StringEvent" name="prefix:name" value="value" /> and a line feed.
zulstring stringEventLine(const zulstring &prefix, const zulstring &name, const zulstring &value) {
  zulstring line(u"<metric type=\"");
  line.append(u"StringEvent").append(u"\" name=\"").append(prefix).append(u":").append(name);
  line.append(u"\" value=\"").append(value).append(u"\" />\n");
  return line;
}

}  // namespace

CTraceSectionCacheManager *CTraceSectionCacheManager::instance_ = nullptr;

CTraceSectionCacheManager *CTraceSectionCacheManager::Instance() {
  if (instance_ == nullptr) instance_ = new CTraceSectionCacheManager();
  return instance_;
}

void CTraceSectionCacheManager::release() {
  delete instance_;
  instance_ = nullptr;
}

CTraceSectionCacheManager::CTraceSectionCacheManager() { ThrMtxInit(&processLock_, nullptr); }

CTraceSectionCacheManager::~CTraceSectionCacheManager() {
  for (CTraceSection *section : ring_) delete section;
  delete agent_;
  ThrMtxDelete(&processLock_);
}

void CTraceSectionCacheManager::initialize() {
  const uint16_t count = TLMParameterHelper::GetSectionCount();
  for (uint16_t id = 1; id <= count; ++id) ring_.push_back(new CTraceSection(id));
  if (TLMParameterHelper::GetDataSendingMethod() == u"socket") {
    setAgent(new CMTDataSendingSocketAgent());
  } else {
    setAgent(new CMTDataSendingFileAgent());
  }
}

void CTraceSectionCacheManager::addTransTraceString(const zulstring &text) {
  CSharedLock hold(&ringLock_);
  if (!ring_.empty()) ring_.front()->addTransTraceString(text);
}

zulstring CTraceSectionCacheManager::buildSetStringData(const zulstring &subPath,
                                                        const zulstring &name,
                                                        const zulstring &value) {
  zulstring prefix = tlmmetric::GetProcessPrefix();
  if (!subPath.empty()) prefix.append(u"|").append(subPath);
  zulstring line = stringEventLine(prefix, name, value);
  DPTRC(1, tf, u"buildSetStringData Data for\n%s", line.c_str());
  return line;
}

CTraceSection *CTraceSectionCacheManager::switchSection() {
  CExclusiveLock hold(&ringLock_);
  DPTRC(3, tf, u"Start copying[lock]\n");
  // The ring has at least two sections; one is out only during a run, which is single.
  if (ring_.size() < 2) return nullptr;
  CTraceSection *old = ring_.front();
  ring_.pop_front();
  ring_.front()->resetSection();
  DPTRC(3, tf, u"End copying[unlock]\n");
  return old;
}

bool CTraceSectionCacheManager::setInProcessStatus() {
  CMutexLock hold(&processLock_);
  if (inProcess_) return false;
  inProcess_ = true;
  return true;
}

void CTraceSectionCacheManager::resetInProcessStatus() {
  CMutexLock hold(&processLock_);
  inProcess_ = false;
}

void CTraceSectionCacheManager::processTraceData() noexcept {
  if (!setInProcessStatus()) return;
  CTraceSection *sending = switchSection();
  if (sending == nullptr) {
    resetInProcessStatus();
    return;
  }
  try {
    sendVersionOnce();
    sendSection(sending);
  } catch (...) {
    // Out of memory while copying a text: the rest of the period is dropped, as with a dead
    // agent, and the section goes back into the ring all the same.
    DPTRC_ERR(tf, u"Sending of trace data failed\n");
  }
  CExclusiveLock hold(&ringLock_);
  try {
    ring_.push_back(sending);
  } catch (...) {
    // The ring couldn't grow back: it goes on one section shorter.
    delete sending;
    DPTRC_ERR(tf, u"Trace section lost from the ring\n");
  }
  DPTRC(3, tf, u"Processing finished\n");
  resetInProcessStatus();
}

void CTraceSectionCacheManager::sendVersionOnce() {
  // Sent once per process, whatever sendData made of it; a sink that isn't ready delays it.
  if (versionSent_ || agent_ == nullptr || !agent_->checkStatus()) return;
  const zulstring line = stringEventLine(tlmmetric::GetProcessPrefix(), kVersionName,
                                         kLibraryVersion);
  versionSent_ = true;
  agent_->sendData(line);
  DPTRC(1, tf, u"Version Data Sent Once for\n%s", line.c_str());
}

void CTraceSectionCacheManager::sendSection(CTraceSection *sending) {
  if (sending->isTraceListEmpty() || agent_ == nullptr) return;
  DPTRC(3, tf, u"Trace Data Detected\n");
  // A sink that can't take data now loses this period's traces: the section is emptied when it
  // next comes to the front.
  if (!agent_->checkStatus()) return;
  const int64_t sent = sending->sendTraceData(agent_);
  ZUL_UTF16 statistics[kStatisticsBufferUnits];
  snprintfU16(statistics, kStatisticsBufferUnits, u"EM TT trace# %ld sent",
              static_cast<long>(sent));
  DPTRC(1, tf, u"Trace sending statistics: %s\n", statistics);
}

void CTraceSectionCacheManager::setAgent(CMTDataSendingAgent *agent) {
  delete agent_;
  agent_ = agent;
}

size_t CTraceSectionCacheManager::getRingSize() {
  CSharedLock hold(&ringLock_);
  return ring_.size();
}
