// A sink for the trace texts of tests: installed as the trace section manager's agent, it keeps
// every text (trace documents, the version event, string values) in memory.
//
//   tlm_test::TraceSink sink;                        // after CTraceSectionCacheManager exists
//   CTraceSectionCacheManager::Instance()->processTraceData();
//   EXPECT_EQ(sink.Texts().size(), 1u);
//
// The sink replaces the agent that initialize() made; install it after initialize().
#ifndef TLM_TEST_TRACE_SINK_H
#define TLM_TEST_TRACE_SINK_H

#include "agent_sink.h"
#include "tlm/tlmtracesectioncachemanager.h"

namespace tlm_test {

typedef AgentSink<CTraceSectionCacheManager> TraceSink;

}  // namespace tlm_test

#endif  // TLM_TEST_TRACE_SINK_H
