// The per-hop cost of passing a transaction on: the incoming passport text is recognised
// (IsZULPassport) and the outgoing one made (CreateOutgoingPassport), for a version 3 passport
// with one variable part and for an application passport ("GUID*flag"). Besides the time, each
// benchmark reports the heap blocks taken per hop, counted by replacing the C allocator.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>

#include "../tests/support/passport_bytes.h"
#include "tlm/tlmpassporthelper.h"
#include "zul_ctrc.h"
#include "zul_epp.h"

// Every malloc, calloc and realloc of the process is counted; operator new goes through malloc.
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void __libc_free(void *block);
}

namespace {
std::atomic<uint64_t> heap_blocks{0};
}  // namespace

extern "C" void *malloc(size_t size) {
  heap_blocks.fetch_add(1, std::memory_order_relaxed);
  return __libc_malloc(size);
}
extern "C" void *calloc(size_t count, size_t size) {
  heap_blocks.fetch_add(1, std::memory_order_relaxed);
  return __libc_calloc(count, size);
}
extern "C" void *realloc(void *block, size_t size) {
  heap_blocks.fetch_add(1, std::memory_order_relaxed);
  return __libc_realloc(block, size);
}
extern "C" void free(void *block) { __libc_free(block); }

namespace {

namespace pb = passport_bytes;

const ZUL_UTF16 kConnectionId[] = u"00112233445566778899AABBCCDDEEFF";
const ZUL_UTF16 kComponent[] = u"ServerB";

// A version 3 passport with one variable part of an integer and a string item.
const zulstring &Version3Text() {
  static const zulstring text = [] {
    pb::Bytes part =
        pb::Part(1, 2, pb::Join({pb::IntItem(5, 1, 42), pb::StringItem(5, 2, "order-17")}), true);
    std::u16string hex = pb::Hex(pb::Version3(pb::SampleCore(3), part, 1));
    return zulstring(hex.begin(), hex.end());
  }();
  return text;
}

const zulstring kApplicationText = u"4F2A9C0177E611EEB9620242AC120002*925";

// Reports the heap blocks per iteration since start.
void ReportBlocks(benchmark::State &state, uint64_t start) {
  state.counters["allocs/hop"] =
      benchmark::Counter(double(heap_blocks.load() - start), benchmark::Counter::kAvgIterations);
}

void IsZULPassportVersion3(benchmark::State &state) {
  const zulstring &text = Version3Text();
  uint64_t start = heap_blocks.load();
  for (auto _ : state) {
    void *h = PassportHelper::IsZULPassport(text.c_str());
    benchmark::DoNotOptimize(h);
    PassportHelper::DestroyPassportHandle(h);
  }
  ReportBlocks(state, start);
}

void CreateOutgoingVersion3(benchmark::State &state) {
  void *h = PassportHelper::IsZULPassport(Version3Text().c_str());
  uint32_t counter = 0;
  uint64_t start = heap_blocks.load();
  for (auto _ : state) {
    zulstring out =
        PassportHelper::CreateOutgoingPassport(h, kConnectionId, ++counter, 2, kComponent);
    benchmark::DoNotOptimize(out.data());
  }
  ReportBlocks(state, start);
  PassportHelper::DestroyPassportHandle(h);
}

// One hop: the incoming text is recognised, its level read, the outgoing text made.
void HopVersion3(benchmark::State &state) {
  const zulstring &text = Version3Text();
  uint32_t counter = 0;
  uint64_t start = heap_blocks.load();
  for (auto _ : state) {
    void *h = PassportHelper::IsZULPassport(text.c_str());
    uint16_t level = PassportHelper::GetTraceLevelFromTraceFlag(
        PassportHelper::GetTraceFlagFromZULPassport(h), PassportHelper::GetPassportVersion(h));
    zulstring out =
        PassportHelper::CreateOutgoingPassport(h, kConnectionId, ++counter, level, kComponent);
    benchmark::DoNotOptimize(out.data());
    PassportHelper::DestroyPassportHandle(h);
  }
  ReportBlocks(state, start);
}

// One hop of an application passport: not a binary passport, so its GUID and flag are read from
// the text, and the outgoing passport is a new one.
void HopApplication(benchmark::State &state) {
  uint32_t counter = 0;
  uint64_t start = heap_blocks.load();
  for (auto _ : state) {
    void *h = PassportHelper::IsZULPassport(kApplicationText.c_str());
    zulstring guid = PassportHelper::GetTraceGuidFromApplicationPassport(kApplicationText.c_str());
    uint16_t level = PassportHelper::GetTraceLevelFromTraceFlag(
        PassportHelper::GetTraceFlagFromApplicationPassport(kApplicationText.c_str()), 0);
    zulstring out =
        PassportHelper::CreateOutgoingPassport(h, kConnectionId, ++counter, level, kComponent);
    benchmark::DoNotOptimize(guid.data());
    benchmark::DoNotOptimize(out.data());
    PassportHelper::DestroyPassportHandle(h);
  }
  ReportBlocks(state, start);
}

BENCHMARK(IsZULPassportVersion3);
BENCHMARK(CreateOutgoingVersion3);
BENCHMARK(HopVersion3);
BENCHMARK(HopApplication);

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  ct_level = 0;
  eppSetEnvironment(8, 3, std::malloc, std::free, nullptr, 0);
  // The process's first passport stays as the default passport; made here, outside the loops.
  void *first = nullptr;
  eppInit(&first);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
