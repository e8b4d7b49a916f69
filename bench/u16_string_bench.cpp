// strlenU16 and strcpyU16 against plain unit-by-unit loops, on strings of 8, 64 and 4096 units.
#include <benchmark/benchmark.h>

#include <vector>

#include "zul_u16string.h"

namespace {

// The reference loops stay loops: not vectorised, not turned into library calls, not inlined.
#define PLAIN_LOOP \
  __attribute__((noinline, optimize("no-tree-vectorize", "no-tree-loop-distribute-patterns")))

PLAIN_LOOP size_t PlainLength(const ZUL_UTF16 *s) {
  const ZUL_UTF16 *p = s;
  while (*p != 0) ++p;
  return static_cast<size_t>(p - s);
}

PLAIN_LOOP ZUL_UTF16 *PlainCopy(ZUL_UTF16 *dst, const ZUL_UTF16 *src) {
  ZUL_UTF16 *d = dst;
  while ((*d++ = *src++) != 0) {
  }
  return dst;
}

std::vector<ZUL_UTF16> Text(size_t units) {
  std::vector<ZUL_UTF16> text(units + 1, 0);
  for (size_t i = 0; i < units; ++i) text[i] = static_cast<ZUL_UTF16>(u'a' + i % 26);
  return text;
}

template <size_t (*kLength)(const ZUL_UTF16 *)>
void Length(benchmark::State &state) {
  std::vector<ZUL_UTF16> text = Text(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    const ZUL_UTF16 *s = text.data();
    benchmark::DoNotOptimize(s);
    benchmark::DoNotOptimize(kLength(s));
  }
  state.SetBytesProcessed(state.iterations() * state.range(0) * 2);
}

template <ZUL_UTF16 *(*kCopy)(ZUL_UTF16 *, const ZUL_UTF16 *)>
void Copy(benchmark::State &state) {
  std::vector<ZUL_UTF16> text = Text(static_cast<size_t>(state.range(0)));
  std::vector<ZUL_UTF16> dst(text.size());
  for (auto _ : state) {
    benchmark::DoNotOptimize(kCopy(dst.data(), text.data()));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0) * 2);
}

size_t StrlenU16(const ZUL_UTF16 *s) { return strlenU16(s); }
ZUL_UTF16 *StrcpyU16(ZUL_UTF16 *d, const ZUL_UTF16 *s) { return strcpyU16(d, s); }

BENCHMARK(Length<StrlenU16>)->Name("strlenU16")->Arg(8)->Arg(64)->Arg(4096);
BENCHMARK(Length<PlainLength>)->Name("plain_length")->Arg(8)->Arg(64)->Arg(4096);
BENCHMARK(Copy<StrcpyU16>)->Name("strcpyU16")->Arg(8)->Arg(64)->Arg(4096);
BENCHMARK(Copy<PlainCopy>)->Name("plain_copy")->Arg(8)->Arg(64)->Arg(4096);

}  // namespace

BENCHMARK_MAIN();
