// What a timing call costs the application: a nested component (TLM_startTiming and
// TLM_endTiming inside an open, untraced transaction, at the default metric scope) and a whole
// one-component transaction (context made, timed, closed and removed), the latter also from two
// threads with a session each. Reference: the floor of two gettimeofday calls, the clock reads
// that any timing needs.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/time.h>

#include <filesystem>
#include <string>

#include "tlm.h"

namespace {

// The library started once for the whole run, with its logdir in a temporary directory.
class StartedLibrary {
 public:
  StartedLibrary() {
    char pattern[] = "/tmp/tlm_timing_bench.XXXXXX";
    if (mkdtemp(pattern) == nullptr) abort();
    dir_ = pattern;
    std::u16string logdir(dir_.begin(), dir_.end());
    const ZUL_UTF16 *pairs[][2] = {{u"logdir", logdir.c_str()}};
    TLM_ProcInitWithParam(u"Bench", 0, 1, pairs);
  }
  ~StartedLibrary() {
    TLM_ProcExit();
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }

 private:
  std::string dir_;
};

StartedLibrary &Library() {
  static StartedLibrary library;
  return library;
}

void TwoClockReads(benchmark::State &state) {
  timeval start, end;
  for (auto _ : state) {
    gettimeofday(&start, nullptr);
    gettimeofday(&end, nullptr);
    benchmark::DoNotOptimize(start);
    benchmark::DoNotOptimize(end);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(TwoClockReads);

void NestedComponent(benchmark::State &state) {
  Library();
  uint32_t transaction = TLM_startTiming(u"Service", u"request", 1);
  for (auto _ : state) {
    uint32_t id = TLM_startTiming(u"Database", u"query", 1);
    TLM_endTiming(id);
  }
  TLM_endTiming(transaction);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(NestedComponent);

void WholeTransaction(benchmark::State &state) {
  Library();
  for (auto _ : state) {
    uint32_t id = TLM_startTiming(u"Service", u"request", 1);
    TLM_endTiming(id);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(WholeTransaction);
BENCHMARK(WholeTransaction)->Threads(2)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
