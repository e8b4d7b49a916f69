// sscanfU16 against the C library's sscanf of the same 8-bit text, and the class pointers
// through loaded ICU against ICU called directly, with the built-in table beside them.
#include <benchmark/benchmark.h>

#include <cstdio>

#include "i18n/zulu16/nlsui.h"
#include "zul_nlsui.h"
#include "zul_u16scanf.h"
#include "zul_u16string.h"

#ifdef TLM_BENCH_HAVE_ICU
#include <unicode/uchar.h>
#endif

namespace {

void BM_sscanfU16_Mixed(benchmark::State &state) {
  int n = 0;
  ZUL_UTF16 word[16];
  double d = 0;
  unsigned x = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        sscanfU16(u"12345 alpha 3.25 1f", u"%d %15s %lf %x", &n, word, &d, &x));
  }
}
BENCHMARK(BM_sscanfU16_Mixed);

void BM_sscanf_Mixed(benchmark::State &state) {
  int n = 0;
  char word[16];
  double d = 0;
  unsigned x = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        std::sscanf("12345 alpha 3.25 1f", "%d %15s %lf %x", &n, word, &d, &x));
  }
}
BENCHMARK(BM_sscanf_Mixed);

void BM_sscanfU16_TwoInts(benchmark::State &state) {
  int a = 0, b = 0;
  for (auto _ : state) benchmark::DoNotOptimize(sscanfU16(u"12345 67890", u"%d %d", &a, &b));
}
BENCHMARK(BM_sscanfU16_TwoInts);

void BM_sscanf_TwoInts(benchmark::State &state) {
  int a = 0, b = 0;
  for (auto _ : state) benchmark::DoNotOptimize(std::sscanf("12345 67890", "%d %d", &a, &b));
}
BENCHMARK(BM_sscanf_TwoInts);

// Each classification runs over a block of 256 units of mixed scripts.
template <typename Classify>
void ClassifyUnits(benchmark::State &state, Classify classify) {
  int count = 0;
  for (auto _ : state) {
    for (ZUL_UTF16 c = 0x0020; c < 0x0120; ++c) count += classify(static_cast<ZUL_UTF16>(c * 7));
    benchmark::DoNotOptimize(count);
  }
  state.SetItemsProcessed(state.iterations() * 256);
}

void BM_isalphaU_LoadedIcu(benchmark::State &state) {
  loadIcu();
  ClassifyUnits(state, [](ZUL_UTF16 c) { return isalphaU(c); });
}
BENCHMARK(BM_isalphaU_LoadedIcu);

#ifdef TLM_BENCH_HAVE_ICU
void BM_u_isalpha_Direct(benchmark::State &state) {
  ClassifyUnits(state, [](ZUL_UTF16 c) { return static_cast<int>(u_isalpha(c)); });
}
BENCHMARK(BM_u_isalpha_Direct);
#endif

void BM_isalphaU16_Table(benchmark::State &state) {
  ClassifyUnits(state, [](ZUL_UTF16 c) { return isalphaU16(c); });
}
BENCHMARK(BM_isalphaU16_Table);

// The first classification of a process, load included. The program maps ICU already (it links
// it for the direct calls), so this is the loader's own work: opening by name, fetching and
// installing.
void BM_FirstClassification(benchmark::State &state) {
  for (auto _ : state) {
    state.PauseTiming();
    zulu16::nlsui::ResetForTest(false);
    state.ResumeTiming();
    benchmark::DoNotOptimize(isalphaU('a'));
  }
}
BENCHMARK(BM_FirstClassification);

}  // namespace

BENCHMARK_MAIN();
