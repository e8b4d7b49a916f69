// A sink for the metric texts of tests: installed as the metric section manager's agent, it keeps
// every text in memory.
//
//   tlm_test::MetricSink sink;                       // after CRecordSectionCacheManager exists
//   CRecordSectionCacheManager::Instance()->processData();
//   EXPECT_EQ(sink.Texts().size(), 1u);
#ifndef TLM_TEST_METRIC_SINK_H
#define TLM_TEST_METRIC_SINK_H

#include "agent_sink.h"
#include "tlm/tlmrecordsectioncachemanager.h"

namespace tlm_test {

typedef AgentSink<CRecordSectionCacheManager> MetricSink;

}  // namespace tlm_test

#endif  // TLM_TEST_METRIC_SINK_H
