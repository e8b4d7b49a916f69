// The file agent's cost per metric text, with its parts apart: the whole sendData (name, UTF-8
// form, open in append mode, one write, close), a bare open and close of the same file in append
// mode, the UTF-8 form of the text alone, and the write of the converted text to a stream that
// stays open. The log file lives in a temporary directory and is emptied now and then, outside
// the timing, so that the benchmark doesn't fill the disk.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tlm/tlmmtdatasendingfileagent.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"

namespace {

// One line of a stat record's text, as the metric manager hands it over (about 200 units).
const zulstring kMetricText =
    u"<metric type=\"IntAverage\" name=\"prodhost01.example.internal|Shop_Web_4711|eu-west-1a|"
    u"OrderService|placeOrder:Average Gross Response Time (ms)\" value=\"12\" max=\"48\" "
    u"min=\"3\" "
    u"count=\"1520\" />\n";

constexpr int64_t kEmptyEvery = 20000;

// A temporary log directory configured as logdir, with component "Shop|Web"; removed at exit.
struct LogDir {
  LogDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tlm_bench_XXXXXX").string();
    path = mkdtemp(pattern.data()) != nullptr ? pattern : std::string(".");
    const zulstring name = u"logdir";
    const zulstring value(path.begin(), path.end());
    TLMParameterHelper::ConfigParameters(&name, &value, 1);
    file = path + "/Shop_Web_mtdata.log";
  }
  ~LogDir() {
    std::error_code ignored;
    if (path != ".") std::filesystem::remove_all(path, ignored);
  }
  std::string path;
  std::string file;
} log_dir;

void EmptyNowAndThen(benchmark::State &state, int64_t done) {
  if (done % kEmptyEvery != 0) return;
  state.PauseTiming();
  std::error_code ignored;
  std::filesystem::resize_file(log_dir.file, 0, ignored);
  state.ResumeTiming();
}

void Finish(benchmark::State &state) {
  state.SetItemsProcessed(state.iterations());
  state.counters["text_bytes"] =
      static_cast<double>(CMTDataSendingFileAgent::GetUtf8(kMetricText).size());
}

void BM_FileAgentSendData(benchmark::State &state) {
  CMTDataSendingFileAgent agent(u"Shop|Web");
  int64_t done = 0;
  for (auto _ : state) {
    agent.sendData(kMetricText);
    EmptyNowAndThen(state, ++done);
  }
  Finish(state);
}
BENCHMARK(BM_FileAgentSendData);

void BM_OpenCloseAppendOnly(benchmark::State &state) {
  std::ofstream stream;
  stream.rdbuf()->pubsetbuf(nullptr, 0);
  for (auto _ : state) {
    stream.open(log_dir.file, std::ios::out | std::ios::app);
    stream.close();
  }
  Finish(state);
}
BENCHMARK(BM_OpenCloseAppendOnly);

void BM_Utf8FormOnly(benchmark::State &state) {
  for (auto _ : state) benchmark::DoNotOptimize(CMTDataSendingFileAgent::GetUtf8(kMetricText));
  Finish(state);
}
BENCHMARK(BM_Utf8FormOnly);

void BM_WriteToOpenStreamOnly(benchmark::State &state) {
  const std::string bytes = CMTDataSendingFileAgent::GetUtf8(kMetricText);
  std::ofstream stream;
  stream.rdbuf()->pubsetbuf(nullptr, 0);
  stream.open(log_dir.file, std::ios::out | std::ios::app);
  int64_t done = 0;
  for (auto _ : state) {
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    EmptyNowAndThen(state, ++done);
  }
  Finish(state);
}
BENCHMARK(BM_WriteToOpenStreamOnly);

}  // namespace

BENCHMARK_MAIN();
