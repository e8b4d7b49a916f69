// UTF-7 conversion, ours side by side with ICU's converter, on 64 KiB of mixed text; and the cost
// of recording one error with rscpe__error, with the allocations it makes after the thread's first.
#include <benchmark/benchmark.h>
#include <unicode/ucnv.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "zul_rscp.h"
#include "zul_u16conv.h"

namespace {

std::atomic<long> allocations{0};

// Two kinds of mixed text, 64 KiB of UTF-16 each. Prose: blanks, punctuation, Latin-1 and CJK;
// every blank opens a run of its own, as blanks are not sent directly. Names: paths and file
// names with Latin-1 and CJK in them, and no blanks.
std::u16string Repeat(const std::u16string &pattern) {
  std::u16string text;
  while (text.size() + pattern.size() <= 32 * 1024) text += pattern;
  text += pattern.substr(0, 32 * 1024 - text.size());
  return text;
}

const std::u16string &Text(int kind) {
  static const std::u16string prose = Repeat(
      u"The quick brown fox, 12 jumps: over the lazy dog. Gr\u00f6\u00dfe f\u00fcr B\u00fccher "
      u"\u6771\u4eac\u90fd\u306e\u5929\u6c17 (a+b) ~path/file-name.txt; ");
  static const std::u16string names = Repeat(
      u"/home/user/Dokumente/Gr\u00f6\u00dfe-2024.txt,/srv/data/\u6771\u4eac/\u30c7\u30fc"
      u"\u30bf.csv,/tmp/a1b2c3/report-final(2).pdf,");
  return kind == 0 ? prose : names;
}

std::string OurUtf7(int kind) {
  const std::u16string &text = Text(kind);
  std::string out(5 * text.size(), '\0');
  const ZUL_UTF16 *s = text.data();
  auto *d = reinterpret_cast<ZUL_RAW *>(out.data());
  U2nToUtf7n(&s, text.data() + text.size(), &d, d + out.size(), 0, 0);
  out.resize(static_cast<size_t>(d - reinterpret_cast<ZUL_RAW *>(out.data())));
  return out;
}

void Encode_Ours(benchmark::State &state) {
  const std::u16string &text = Text(static_cast<int>(state.range(0)));
  std::string out(5 * text.size(), '\0');
  for (auto _ : state) {
    const ZUL_UTF16 *s = text.data();
    auto *d = reinterpret_cast<ZUL_RAW *>(out.data());
    benchmark::DoNotOptimize(
        U2nToUtf7n(&s, text.data() + text.size(), &d, d + out.size(), 0, 0));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size() * 2));
}

void Encode_Icu(benchmark::State &state) {
  const std::u16string &text = Text(static_cast<int>(state.range(0)));
  std::string out(5 * text.size(), '\0');
  UErrorCode status = U_ZERO_ERROR;
  UConverter *cnv = ucnv_open("UTF-7", &status);
  for (auto _ : state) {
    status = U_ZERO_ERROR;
    benchmark::DoNotOptimize(ucnv_fromUChars(cnv, out.data(), static_cast<int32_t>(out.size()),
                                             text.data(), static_cast<int32_t>(text.size()),
                                             &status));
  }
  ucnv_close(cnv);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size() * 2));
}

void Decode_Ours(benchmark::State &state) {
  const std::string utf7 = OurUtf7(static_cast<int>(state.range(0)));
  std::u16string out(utf7.size(), u'\0');
  for (auto _ : state) {
    auto *s = reinterpret_cast<const ZUL_RAW *>(utf7.data());
    ZUL_UTF16 *d = out.data();
    benchmark::DoNotOptimize(Utf7nToU2n(&s, s + utf7.size(), &d, d + out.size()));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Text(static_cast<int>(state.range(0))).size() * 2));
}

void Decode_Icu(benchmark::State &state) {
  const std::string utf7 = OurUtf7(static_cast<int>(state.range(0)));
  std::u16string out(utf7.size(), u'\0');
  UErrorCode status = U_ZERO_ERROR;
  UConverter *cnv = ucnv_open("UTF-7", &status);
  for (auto _ : state) {
    status = U_ZERO_ERROR;
    benchmark::DoNotOptimize(ucnv_toUChars(cnv, out.data(), static_cast<int32_t>(out.size()),
                                           utf7.data(), static_cast<int32_t>(utf7.size()),
                                           &status));
  }
  ucnv_close(cnv);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Text(static_cast<int>(state.range(0))).size() * 2));
}

// One conversion failure as the hook hands it on: a new error, then a propagated level.
void Record_RscpeError(benchmark::State &state) {
  rscpe__error(32, 'O', -1, u"warmup", 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr,
               nullptr);  // the thread's record is made here
  long before = allocations.load();
  for (auto _ : state) {
    benchmark::DoNotOptimize(rscpe__error(32, 'O', -1, u"u16_conv_to_utf8", 1, 120,
                                          u"dest buffer overflow", nullptr, nullptr, nullptr,
                                          nullptr, nullptr));
    rscpeas__append_source();
    benchmark::DoNotOptimize(rscpe__error(2048, 'O', -1, u"caller", 2, 44, u"propagated",
                                          u"p1", nullptr, nullptr, nullptr, nullptr));
  }
  state.counters["allocations"] = static_cast<double>(allocations.load() - before);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * 2));
}

// Argument 0: prose, 1: names.
BENCHMARK(Encode_Ours)->Arg(0)->Arg(1);
BENCHMARK(Encode_Icu)->Arg(0)->Arg(1);
BENCHMARK(Decode_Ours)->Arg(0)->Arg(1);
BENCHMARK(Decode_Icu)->Arg(0)->Arg(1);
BENCHMARK(Record_RscpeError);

}  // namespace

// Counts the allocations of the whole program, so the recording's own show in its counter. These
// replacements pair malloc with free themselves; g++ can't see that and would warn.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void *operator new(size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (void *p = std::malloc(size != 0 ? size : 1)) return p;
  throw std::bad_alloc();
}
void *operator new(size_t size, const std::nothrow_t &) noexcept {
  allocations.fetch_add(1, std::memory_order_relaxed);
  return std::malloc(size != 0 ? size : 1);
}
void operator delete(void *p) noexcept { std::free(p); }
void operator delete(void *p, size_t) noexcept { std::free(p); }

BENCHMARK_MAIN();
