// Lookups of 30-unit keys among 10,000: the radix tree's FiFind and FiFindExact against std::map
// and std::unordered_map over std::u16string. Every lookup hits; queries come in a shuffled order.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "zul_fi.h"

namespace {

constexpr uint32_t kKeys = 10000;
constexpr uint32_t kUnits = 30;
using Key = std::array<ZUL_UTF16, kUnits>;

struct Data {
  std::vector<Key> keys;              // the records of the index: each is its own key
  std::vector<std::u16string> texts;  // the same keys for the standard containers
  std::vector<uint32_t> order;        // query order
  void *block = nullptr;
  FI_HDL hdl = nullptr;
  std::map<std::u16string, uint32_t> ordered;
  std::unordered_map<std::u16string, uint32_t> hashed;

  Data() {
    std::mt19937 rng(1);
    const std::u16string alphabet = u"abcdefghijklmnopqrstuvwxyz0123456789";
    keys.resize(kKeys);
    for (uint32_t i = 0; i < kKeys; ++i) {
      for (ZUL_UTF16 &unit : keys[i]) unit = alphabet[rng() % alphabet.size()];
      texts.emplace_back(keys[i].begin(), keys[i].end());
      ordered.emplace(texts.back(), i);
      hashed.emplace(texts.back(), i);
      order.push_back(i);
    }
    std::shuffle(order.begin(), order.end(), rng);
    block = std::aligned_alloc(8, (FiGetAdmSize(1, kKeys, 0, FI_FLAG_FULL_INNER) + 7) & ~7ul);
    FiInit(block, u"bench", FI_FLAG_FULL_INNER, 1, kKeys, 0, u' ', u' ', nullptr);
    FiOpenIndex(block, 1, 0, keys.data(), kUnits, &hdl);
    for (Key &k : keys) FiInsert(hdl, k.data(), k.data(), nullptr);
  }
};

const Data &Shared() {
  static const Data data;
  return data;
}

void BM_FiFind(benchmark::State &state) {
  const Data &d = Shared();
  FI_NODE *node = nullptr;
  uint32_t i = 0;
  for (auto _ : state) {
    uint32_t count = 0, cont = FI_FIND_START;
    FiFind(d.hdl, d.keys[d.order[i]].data(), 1, &node, &count, &cont);
    benchmark::DoNotOptimize(node);
    if (++i == kKeys) i = 0;
  }
}
BENCHMARK(BM_FiFind);

void BM_FiFindExact(benchmark::State &state) {
  const Data &d = Shared();
  FI_NODE *node = nullptr;
  uint32_t i = 0;
  for (auto _ : state) {
    FiFindExact(d.hdl, d.keys[d.order[i]].data(), &node);
    benchmark::DoNotOptimize(node);
    if (++i == kKeys) i = 0;
  }
}
BENCHMARK(BM_FiFindExact);

template <typename Container>
void FindInStd(benchmark::State &state, const Container &container) {
  const Data &d = Shared();
  uint32_t i = 0;
  for (auto _ : state) {
    auto it = container.find(d.texts[d.order[i]]);
    benchmark::DoNotOptimize(it);
    if (++i == kKeys) i = 0;
  }
}

void BM_StdMapFind(benchmark::State &state) { FindInStd(state, Shared().ordered); }
BENCHMARK(BM_StdMapFind);

void BM_StdUnorderedMapFind(benchmark::State &state) { FindInStd(state, Shared().hashed); }
BENCHMARK(BM_StdUnorderedMapFind);

}  // namespace

BENCHMARK_MAIN();
