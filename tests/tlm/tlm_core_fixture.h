// Fixtures of the instrumentation core's tests: the registry and the metric sections brought up
// from parameter pairs as start-up does, and a library started through TLM_ProcInitWithParam with
// its logdir in a fresh temporary directory. Both send metrics to a sink that keeps them.
#ifndef TESTS_TLM_TLM_CORE_FIXTURE_H
#define TESTS_TLM_TLM_CORE_FIXTURE_H

#include <array>

#include "epp_start.h"
#include "metrics_test_support.h"
#include "tlm.h"
#include "tlm/tlmmtcontext.h"
#include "trace_capture.h"

namespace core_test {

// The registry and the metric sections over a configuration from pairs, rebuilt by Configure and
// released after each test, with the passport library started. The trace goes to memory at level 2.
class CoreTest : public metrics_test::MetricsTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(StartPassportLibrary(), 0u);
    Start();
  }
  void Configure(const metrics_test::Pairs &pairs) { Start(pairs); }
  static CContextCacheManager *Registry() { return CContextCacheManager::Instance(); }
  static std::shared_ptr<CMTResourceRecord> Resource(const std::u16string &name) {
    return Sections()->getResourceRecordByName(name);
  }

  tlm_test::TraceCapture trace_{2};
};

using metrics_test::Pairs;

// The library started through TLM_ProcInitWithParam with logdir in a temporary directory (unless
// the pairs name one) and the given further pairs; stopped with TLM_ProcExit after each test. The
// trace goes to memory.
class StartedTest : public ::testing::Test {
 protected:
  void SetUp() override { Start({}); }
  void TearDown() override { TLM_ProcExit(); }

  void Start(const Pairs &pairs, const std::u16string &component = u"App") {
    TLM_ProcExit();
    Pairs all = pairs;
    bool named = false;
    for (const auto &pair : pairs) named = named || pair.first == u"logdir";
    if (!named) all.emplace_back(u"logdir", tlm_test::Utf16(logdir_.path()));
    std::vector<std::array<const ZUL_UTF16 *, 2>> array;
    for (const auto &pair : all) array.push_back({pair.first.c_str(), pair.second.c_str()});
    TLM_ProcInitWithParam(component.c_str(), 0, static_cast<uint32_t>(array.size()),
                          reinterpret_cast<const ZUL_UTF16 *(*)[2]>(array.data()));
    sink_ = std::make_unique<tlm_test::MetricSink>();
  }
  // The calling thread's context, or null.
  static CContextRef OwnContext() {
    return CContextCacheManager::Instance()->getContextByID(tlm_test::CurrentThreadIdText());
  }
  // Sends the active section to the sink and answers all texts sent so far.
  std::vector<std::u16string> Flush() {
    TLM_outputMetricData();
    return sink_->Texts();
  }

  tlm_test::TraceCapture trace_{2};
  tlm_test::TempDir logdir_;
  std::unique_ptr<tlm_test::MetricSink> sink_;
};

}  // namespace core_test

#endif  // TESTS_TLM_TLM_CORE_FIXTURE_H
