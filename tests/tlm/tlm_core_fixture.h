// Fixtures of the instrumentation core's tests: the registry and the metric sections brought up
// from parameter pairs as start-up does, a sink that keeps what it is given, and a library
// started through TLM_ProcInitWithParam with its logdir in a fresh temporary directory.
#ifndef TESTS_TLM_TLM_CORE_FIXTURE_H
#define TESTS_TLM_TLM_CORE_FIXTURE_H

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "i18n/zulu16/zulstring.h"
#include "tlm.h"
#include "tlm/tlmcontextcachemanager.h"
#include "tlm/tlmmtdatasendingagent.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "tlm/tlmrecordsectioncachemanager.h"
#include "trace_capture.h"

namespace core_test {

typedef std::vector<std::pair<std::u16string, std::u16string>> Pairs;

// Keeps every text handed over; thread-safe, as flushes may come from any thread.
class CaptureAgent : public CMTDataSendingAgent {
 public:
  bool checkStatus() override { return true; }
  void sendData(zulstring text) override {
    std::lock_guard<std::mutex> hold(lock_);
    texts_.push_back(std::move(text));
  }
  zulstring recvData() override { return zulstring(); }
  std::vector<zulstring> Texts() {
    std::lock_guard<std::mutex> hold(lock_);
    return texts_;
  }

 private:
  std::mutex lock_;
  std::vector<zulstring> texts_;
};

// The number in attribute name="..." of the metric line whose name ends in label.
inline long MetricValue(const std::vector<zulstring> &texts, const std::u16string &label,
                        const std::u16string &attribute = u"value") {
  for (const zulstring &text : texts) {
    size_t at = text.find(u":" + label + u"\"");
    if (at == zulstring::npos) continue;
    size_t value = text.find(u" " + attribute + u"=\"", at);
    if (value == zulstring::npos) return -1;
    return std::stol(tlm_test::Utf8(text.substr(value + attribute.size() + 3)));
  }
  return -1;
}

// The registry and the metric sections over a configuration from pairs, as start-up builds
// them; released again after each test. The trace goes to memory at level 2.
class CoreTest : public ::testing::Test {
 protected:
  void SetUp() override { Configure({}); }
  void TearDown() override { Release(); }

  // Replaces the configuration and rebuilds the singletons.
  void Configure(const Pairs &pairs) {
    Release();
    std::vector<zulstring> names, values;
    for (const auto &pair : pairs) {
      names.push_back(pair.first);
      values.push_back(pair.second);
    }
    TLMParameterHelper::ConfigParameters(names.data(), values.data(),
                                         static_cast<uint32_t>(pairs.size()));
    CContextCacheManager::Instance()->initialize();
    CRecordSectionCacheManager::Instance()->initialize();
    agent_ = new CaptureAgent();
    CRecordSectionCacheManager::Instance()->setAgent(agent_);
  }
  void Release() {
    CContextCacheManager::release();
    CRecordSectionCacheManager::release();
    TLMParameterHelper::CleanUp();
  }
  CContextCacheManager *Registry() { return CContextCacheManager::Instance(); }
  // The stat record of name in the active section.
  CMTStatRecord *Stat(const std::u16string &name) {
    int32_t version = 0;
    return CRecordSectionCacheManager::Instance()->getStatRecordByName(name, version);
  }
  CMTResourceRecord *Resource(const std::u16string &name) {
    return CRecordSectionCacheManager::Instance()->getResourceRecordByName(name);
  }

  tlm_test::TraceCapture trace_{2};
  CaptureAgent *agent_ = nullptr;  // owned by the section manager
};

// The library started through TLM_ProcInitWithParam with logdir in a temporary directory and
// the given further pairs; stopped again with TLM_ProcExit after each test.
class StartedTest : public ::testing::Test {
 protected:
  void SetUp() override { Start({}); }
  void TearDown() override { TLM_ProcExit(); }

  void Start(const Pairs &pairs, const std::u16string &component = u"App") {
    TLM_ProcExit();
    Pairs all = pairs;
    all.emplace_back(u"logdir", tlm_test::Utf16(logdir_.path()));
    const ZUL_UTF16 *array[32][2];
    for (size_t i = 0; i < all.size(); ++i) {
      array[i][0] = all[i].first.c_str();
      array[i][1] = all[i].second.c_str();
    }
    TLM_ProcInitWithParam(component.c_str(), 0, static_cast<uint32_t>(all.size()), array);
    agent_ = new CaptureAgent();
    CRecordSectionCacheManager::Instance()->setAgent(agent_);
  }
  // The calling thread's context, or null.
  CMTContext *OwnContext() {
    return CContextCacheManager::Instance()->getContextByID(tlm_test::CurrentThreadIdText());
  }
  // Sends the active section to the capture agent.
  std::vector<zulstring> Flush() {
    TLM_outputMetricData();
    return agent_->Texts();
  }

  tlm_test::TraceCapture trace_{2};
  tlm_test::TempDir logdir_;
  CaptureAgent *agent_ = nullptr;
};

}  // namespace core_test

#endif  // TESTS_TLM_TLM_CORE_FIXTURE_H
