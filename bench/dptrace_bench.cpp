// Trace statements: one that its level filters out, and a written line of about 80 units against
// glibc's fprintf of the same 8-bit line to a file (plain, and flushed per line as the trace
// does). Files go to a fresh temporary directory.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "zul_dptrace.h"
#include "zul_thr.h"

namespace {

// The process trace file and one component, at level 2, in a temporary directory.
struct TraceSetup {
  TraceSetup() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tlm_bench_XXXXXX").string();
    dir = mkdtemp(pattern.data()) != nullptr ? pattern : "/tmp";
    std::string path = dir + "/bench.trc";
    std::u16string path16(path.begin(), path.end());
    CTrcInit(path16.c_str(), 1, 2);
    CTrcNewComp(u'N', &comp, nullptr);
    CTrcSetParam(comp, CTP_LEVEL, 2);
    reference = std::fopen((dir + "/reference.txt").c_str(), "w");
    ZUL_UTF16 id16[THR_ID_STR_SIZE];
    ThrId2Str(id16, ThrGetCurrentId());
    for (const ZUL_UTF16 *p = id16; *p != 0; ++p) thread_id.push_back(static_cast<char>(*p));
  }
  ~TraceSetup() {
    std::fclose(reference);
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
  }
  std::string dir;
  CTRC_HDL comp = nullptr;
  FILE *reference = nullptr;
  std::string thread_id;
};

TraceSetup &Setup() {
  static TraceSetup setup;
  return setup;
}

void BM_DpTrcFilteredOut(benchmark::State &state) {
  CTRC_HDL comp = Setup().comp;
  int i = 0;
  for (auto _ : state) {
    DPTRC(3, comp, u"request %d served in %d us by worker %s\n", i, i * 3, u"alpha-7");
    benchmark::DoNotOptimize(++i);
  }
}
BENCHMARK(BM_DpTrcFilteredOut);

// "N  [Thr <id>] request 12345 served in 37037 us by worker alpha-7 of pool main\n": about 80
// units with a 15-digit thread id.
void BM_DpTrcWrittenLine(benchmark::State &state) {
  CTRC_HDL comp = Setup().comp;
  int i = 10000;
  for (auto _ : state) {
    DPTRC(2, comp, u"request %d served in %d us by worker %s of pool %s\n", i, i * 3, u"alpha-7",
          u"main");
    ++i;
  }
}
BENCHMARK(BM_DpTrcWrittenLine);

void WriteReferenceLine(const TraceSetup &setup, int i) {
  std::fprintf(setup.reference, "N  [Thr %s] request %d served in %d us by worker %s of pool %s\n",
               setup.thread_id.c_str(), i, i * 3, "alpha-7", "main");
}

void BM_FprintfSameLine(benchmark::State &state) {
  TraceSetup &setup = Setup();
  int i = 10000;
  for (auto _ : state) WriteReferenceLine(setup, i++);
}
BENCHMARK(BM_FprintfSameLine);

// The reference that writes each line through to the file, as the trace does.
void BM_FprintfFflushSameLine(benchmark::State &state) {
  TraceSetup &setup = Setup();
  int i = 10000;
  for (auto _ : state) {
    WriteReferenceLine(setup, i++);
    std::fflush(setup.reference);
  }
}
BENCHMARK(BM_FprintfFflushSameLine);

}  // namespace

BENCHMARK_MAIN();
