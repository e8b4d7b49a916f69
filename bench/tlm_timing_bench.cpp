// What a timing call costs the application: a nested component (TLM_startTiming and
// TLM_endTiming inside an open, untraced transaction, at the default metric scope) and a whole
// one-component transaction (context made, timed, closed and removed), the latter also from two
// threads with a session each. Measured through tlm.so. Reference: the floor of the four clock reads
// that a timing requires (the record's start and end, and the session's last-used stamp at each of
// the two look-ups; a whole transaction's context takes its creation stamp instead of the first
// look-up's).
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/time.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

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

void RequiredClockReads(benchmark::State &state) {
  timeval reads[4];
  for (auto _ : state) {
    for (timeval &read : reads) {
      gettimeofday(&read, nullptr);
      benchmark::DoNotOptimize(read);
    }
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(RequiredClockReads);

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

// Combined throughput of range(0) threads, each timing whole transactions in its own session:
// items_per_second is every thread's transactions over the wall time of the batch.
void WholeTransactionsOnThreads(benchmark::State &state) {
  Library();
  const int threads = static_cast<int>(state.range(0));
  constexpr int kPerThread = 20000;
  for (auto _ : state) {
    auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
      workers.emplace_back([] {
        for (int i = 0; i < kPerThread; ++i)
          TLM_endTiming(TLM_startTiming(u"Service", u"request", 1));
      });
    }
    for (auto &worker : workers) worker.join();
    std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(elapsed.count());
  }
  state.SetItemsProcessed(state.iterations() * threads * kPerThread);
}
BENCHMARK(WholeTransactionsOnThreads)->Arg(1)->Arg(2)->UseManualTime();

}  // namespace

BENCHMARK_MAIN();
