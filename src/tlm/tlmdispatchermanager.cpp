// Stand-in of the dispatcher: the lifecycle's calls with no background threads behind them.
#include "tlm/tlmdispatchermanager.h"

#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "zul_thr.h"

CDispatcherManager *CDispatcherManager::instance_ = nullptr;

CDispatcherManager *CDispatcherManager::Instance() {
  if (instance_ == nullptr) instance_ = new CDispatcherManager();
  return instance_;
}

void CDispatcherManager::release() {
  delete instance_;
  instance_ = nullptr;
}

void CDispatcherManager::initialize() {
  traceCheckInterval_ = TLMParameterHelper::GetTraceCheckInterval();
  dataSendingInterval_ = TLMParameterHelper::GetDataSendingInterval();
  // The registry's and the sections' locks are real only in a threaded process.
  if (!ThrIsThreaded()) {
    ThrSharedLibraryAware();
    ThrProcInit();
  }
}

void CDispatcherManager::startTimer() { active_ = true; }

void CDispatcherManager::endTimer() { active_ = false; }

void CDispatcherManager::checkCleanUp() {}

void CDispatcherManager::refreshDataSendingInterval() {
  dataSendingInterval_ = TLMParameterHelper::GetDataSendingInterval();
}
