// A fixture for the tests of the trace sections: the trace ring beside the metric sections, over a
// configuration of built-in values with chosen pairs over them, with the registry that names the
// process and a sink that keeps the trace texts.
#ifndef TESTS_TLM_TRACE_RING_TEST_SUPPORT_H
#define TESTS_TLM_TRACE_RING_TEST_SUPPORT_H

#include <memory>

#include "metrics_test_support.h"
#include "tlm/tlmtracesectioncachemanager.h"
#include "trace_sink.h"

namespace trace_ring_test {

class TraceRingTest : public metrics_test::MetricsTest {
 protected:
  void Start(metrics_test::Pairs pairs = {}) {
    MetricsTest::Start(pairs);
    Ring()->initialize(tlmlibrary::Settings());
    sink_ = std::make_unique<tlm_test::TraceSink>();
  }
  void Stop() override {
    CTraceSectionCacheManager::release();
    MetricsTest::Stop();
  }
  static CTraceSectionCacheManager *Ring() { return CTraceSectionCacheManager::Instance(); }
  tlm_test::TraceSink &Sink() { return *sink_; }

 private:
  std::unique_ptr<tlm_test::TraceSink> sink_;
};

}  // namespace trace_ring_test

#endif  // TESTS_TLM_TRACE_RING_TEST_SUPPORT_H
