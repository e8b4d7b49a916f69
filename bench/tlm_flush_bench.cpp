// What a forced flush (TLM_outputMetricData) costs the calling application thread when the active
// section holds 1,000 metric records: switch of the ring, rendering of every record's text, the
// hand-over to the sink, and the reset of the section that becomes active. The sink discards the
// texts, so that no file I/O is measured; the refill of the section is outside the timing.
// Reference: rendering the same number of records' texts and handing them to the same sink, with
// no ring, no locks and no section bookkeeping.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tlm.h"
#include "tlm/tlmmtdatasendingagent.h"
#include "tlm/tlmmtstatrecord.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "tlm/tlmlibrary.h"
#include "tlm/tlmrecordsectioncachemanager.h"

namespace {

constexpr int kRecords = 1000;

class DiscardingAgent : public CMTDataSendingAgent {
 public:
  bool checkStatus() override { return true; }
  void sendData(zulstring text) override { benchmark::DoNotOptimize(text.data()); }
  zulstring recvData() override { return zulstring(); }
};

std::vector<std::u16string> ComponentNames() {
  std::vector<std::u16string> names;
  for (int i = 0; i < kRecords; ++i) {
    std::string name = "Component" + std::to_string(i);
    names.emplace_back(name.begin(), name.end());
  }
  return names;
}

// One timing of each component, which puts one stat record per name into the active section.
void FillActiveSection(const std::vector<std::u16string> &names) {
  for (const auto &name : names) TLM_endTiming(TLM_startTiming(name.c_str(), u"run", 0));
}

void BM_ForcedFlush1000Records(benchmark::State &state) {
  const std::vector<std::u16string> names = ComponentNames();
  for (auto _ : state) {
    state.PauseTiming();
    FillActiveSection(names);
    state.ResumeTiming();
    TLM_outputMetricData();
  }
  state.SetItemsProcessed(state.iterations() * kRecords);
}
BENCHMARK(BM_ForcedFlush1000Records)->Unit(benchmark::kMicrosecond);

void BM_RenderAndHandOverReference(benchmark::State &state) {
  std::vector<CMTStatRecord> records;
  for (const auto &name : ComponentNames()) {
    records.emplace_back(name + u"|run");
    records.back().start();
    records.back().calStatRecord(12, -1, 12, -1);
    records.back().stop();
  }
  DiscardingAgent agent;
  const uint16_t agentType = TLMParameterHelper::GetAgentType();
  const std::shared_ptr<const CProcessSettings> settings = tlmlibrary::CurrentSettings();
  for (auto _ : state) {
    for (auto &record : records) agent.sendData(record.sealedCopy().toMetricString(agentType, *settings));
  }
  state.SetItemsProcessed(state.iterations() * kRecords);
}
BENCHMARK(BM_RenderAndHandOverReference)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  std::string dir = (std::filesystem::temp_directory_path() / "tlm_flush_XXXXXX").string();
  if (mkdtemp(dir.data()) == nullptr) return 1;
  const std::u16string logdir(dir.begin(), dir.end());
  // No trace timer, and a data period far beyond the run: the background threads stay idle.
  const ZUL_UTF16 *pairs[][2] = {{u"logdir", logdir.c_str()},
                                 {u"tracecheck_interval", u"0"},
                                 {u"datasending_interval", u"3600"},
                                 {u"lib_trace_level", u"0"}};
  TLM_ProcInitWithParam(u"FlushBench", 0, 4, pairs);
  CRecordSectionCacheManager::Instance()->setAgent(std::make_unique<DiscardingAgent>());
  benchmark::RunSpecifiedBenchmarks();
  TLM_ProcExit();
  benchmark::Shutdown();
  std::filesystem::remove_all(dir);
  return 0;
}
