// Fixtures for the tests of metric records and sections: a configuration of built-in values with
// chosen pairs over them, the registry's lists, a ring of sections and a sink that keeps the texts;
// and the same with the trace ring beside the metric sections and a sink of trace texts.
#ifndef TESTS_TLM_METRICS_TEST_SUPPORT_H
#define TESTS_TLM_METRICS_TEST_SUPPORT_H

#include <utility>

#include "agent_sink.h"
#include "tlm/tlmcontextcachemanager.h"
#include "tlm/tlmlibrary.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "tlm/tlmrecordsectioncachemanager.h"
#include "tlm/tlmtracesectioncachemanager.h"

namespace metrics_test {

typedef std::vector<std::pair<zulstring, zulstring>> Pairs;

// Whether part occurs in text.
inline bool Has(const std::u16string &text, const std::u16string &part) {
  return text.find(part) != std::u16string::npos;
}

// Replaces the configuration by the built-in values with pairs over them.
inline void Configure(const Pairs &pairs) {
  std::vector<zulstring> names;
  std::vector<zulstring> values;
  for (const auto &[name, value] : pairs) {
    names.push_back(name);
    values.push_back(value);
  }
  TLMParameterHelper::CleanUp();
  TLMParameterHelper::ConfigParameters(names.data(), values.data(),
                                       static_cast<uint32_t>(names.size()));
}

class MetricsTest : public ::testing::Test {
 protected:
  // Configures, builds the process settings, the registry and the ring of sections, and installs
  // the sink. What an earlier Start built is released first, so that a test may start again with
  // other pairs, once per row of a table.
  void Start(const Pairs &pairs = {}) {
    Stop();
    Configure(pairs);
    tlmlibrary::InstallSettings(
        std::make_unique<CProcessSettingsHolder>(CProcessSettings::FromConfiguration(u"", u"")));
    CContextCacheManager::Instance()->initialize();
    Sections()->initialize(tlmlibrary::Settings());
    sink_ = std::make_unique<tlm_test::MetricSink>();
  }
  // Releases what Start built; releasing what was never built does nothing.
  virtual void Stop() {
    CRecordSectionCacheManager::release();
    CContextCacheManager::release();
    tlmlibrary::InstallSettings(nullptr);
    TLMParameterHelper::CleanUp();
  }
  void TearDown() override { Stop(); }

  static CRecordSectionCacheManager *Sections() { return CRecordSectionCacheManager::Instance(); }
  // The stat record of name in the active section.
  static std::shared_ptr<CMTStatRecord> Stat(const zulstring &name) {
    int32_t version = 0;
    return Sections()->getStatRecordByName(name, version);
  }
  tlm_test::MetricSink &Sink() { return *sink_; }

 private:
  std::unique_ptr<tlm_test::MetricSink> sink_;
};

class TraceRingTest : public MetricsTest {
 protected:
  void Start(const Pairs &pairs = {}) {
    MetricsTest::Start(pairs);
    Ring()->initialize(tlmlibrary::Settings());
    traceSink_ = std::make_unique<tlm_test::TraceSink>();
  }
  void Stop() override {
    CTraceSectionCacheManager::release();
    MetricsTest::Stop();
  }
  static CTraceSectionCacheManager *Ring() { return CTraceSectionCacheManager::Instance(); }
  tlm_test::TraceSink &Sink() { return *traceSink_; }

 private:
  std::unique_ptr<tlm_test::TraceSink> traceSink_;
};

}  // namespace metrics_test

#endif  // TESTS_TLM_METRICS_TEST_SUPPORT_H
