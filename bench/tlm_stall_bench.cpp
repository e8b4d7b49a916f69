// Does sending make an application thread wait? One thread times nested components without pause
// in a session of its own, while a second thread, in another session whose registry bucket the
// first one doesn't use, gives the library range(0) new component names and forces a flush, five
// times over. Reported per run: the percentiles and the maximum of one start+end pair in
// nanoseconds, and the timing thread's voluntary context switches (the times it blocked).
// A second benchmark times TLM_ProcExit with nothing in flight.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "bench_temp_dir.h"
#include "tlm.h"
#include "tlm/tlmplatformhelper.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kSwitches = 5;
constexpr uint32_t kBuckets = 13;  // the default context_map_bucket

using bench::TempDir;

void Start(const TempDir &dir) {
  const std::u16string logdir = dir.path16();
  const ZUL_UTF16 *pairs[][2] = {{u"logdir", logdir.c_str()}, {u"datasending_method", u"file"}};
  TLM_ProcInitWithParam(u"StallBench", 0, 2, pairs);
}

// A session text whose registry bucket differs from avoid's (or any bucket when avoid is empty).
std::u16string SessionInOtherBucket(const std::u16string &stem, const std::u16string &avoid) {
  const uint32_t avoided =
      avoid.empty() ? kBuckets : TLMPlatformHelper::GetSessionIdentifierHash(avoid) % kBuckets;
  for (int i = 0;; ++i) {
    std::u16string candidate = stem;
    for (char c : std::to_string(i)) candidate.push_back(static_cast<char16_t>(c));
    if (TLMPlatformHelper::GetSessionIdentifierHash(candidate) % kBuckets != avoided) {
      return candidate;
    }
  }
}

std::u16string g_appSession;
std::u16string g_flusherSession;
const ZUL_UTF16 *AppSession() { return g_appSession.c_str(); }
const ZUL_UTF16 *FlusherSession() { return g_flusherSession.c_str(); }

long VoluntarySwitchesOfThisThread() {
  rusage usage{};
  getrusage(RUSAGE_THREAD, &usage);
  return usage.ru_nvcsw;
}

void StallUnderSwitches(benchmark::State &state) {
  const int names = static_cast<int>(state.range(0));
  TempDir dir("tlm_stall_bench");
  Start(dir);
  g_appSession = SessionInOtherBucket(u"stall-app-", u"");
  g_flusherSession = SessionInOtherBucket(u"stall-flusher-", g_appSession);
  std::vector<std::u16string> components;
  for (int i = 0; i < names; ++i) {
    std::u16string name = u"Component";
    for (char c : std::to_string(i)) name.push_back(static_cast<char16_t>(c));
    components.push_back(name);
  }

  std::vector<int64_t> samples;
  samples.reserve(20'000'000);
  long blocked = 0;
  for (auto _ : state) {
    samples.clear();
    std::atomic<bool> flushing{true};
    std::atomic<bool> timing{false};
    std::thread app([&] {
      const long before = VoluntarySwitchesOfThisThread();
      const uint32_t outer = TLM_startTimingEx(AppSession, u"Service", u"request", 1);
      timing = true;
      while (flushing.load(std::memory_order_relaxed) && samples.size() < samples.capacity()) {
        const Clock::time_point start = Clock::now();
        TLM_endTimingEx(AppSession, TLM_startTimingEx(AppSession, u"Database", u"query", 1));
        samples.push_back((Clock::now() - start).count());
      }
      TLM_endTimingEx(AppSession, outer);
      blocked = VoluntarySwitchesOfThisThread() - before;
    });
    while (!timing) std::this_thread::yield();
    const Clock::time_point start = Clock::now();
    for (int round = 0; round < kSwitches; ++round) {
      for (const std::u16string &component : components) {
        TLM_endTimingEx(FlusherSession,
                        TLM_startTimingEx(FlusherSession, component.c_str(), u"op", 1));
      }
      TLM_outputMetricData();
    }
    flushing = false;
    app.join();
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
  }
  TLM_ProcExit();

  std::sort(samples.begin(), samples.end());
  auto at = [&](double q) {
    return samples.empty() ? 0.0 : static_cast<double>(samples[static_cast<size_t>(q * (samples.size() - 1))]);
  };
  state.counters["pairs"] = static_cast<double>(samples.size());
  state.counters["p50_ns"] = at(0.5);
  state.counters["p99_ns"] = at(0.99);
  state.counters["p99.9_ns"] = at(0.999);
  state.counters["max_ns"] = samples.empty() ? 0.0 : static_cast<double>(samples.back());
  state.counters["blocked"] = static_cast<double>(blocked);
}
BENCHMARK(StallUnderSwitches)->ArgName("names")->Arg(0)->Arg(1000)->Arg(10000)
    ->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

void ProcExitWithNothingInFlight(benchmark::State &state) {
  TempDir dir("tlm_stall_bench");
  for (auto _ : state) {
    Start(dir);
    const Clock::time_point start = Clock::now();
    TLM_ProcExit();
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
  }
}
BENCHMARK(ProcExitWithNothingInFlight)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
