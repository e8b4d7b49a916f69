// Random sequences of inserts, finds and removes on each index kind, checked step by step against
// a std::map, with an audit of the whole index every 500 steps.
#include <optional>
#include <random>

#include "fi_test_util.h"

namespace {

using Model = std::map<std::u16string, uint32_t>;

std::u16string RandomKey(std::mt19937 &rng, const std::u16string &alphabet, uint32_t units) {
  std::u16string key;
  for (uint32_t i = 0; i < units; ++i) key.push_back(alphabet[rng() % alphabet.size()]);
  return key;
}

// One index kind. With full_first, a full index refuses every insert before it looks for the key.
struct Index {
  uint32_t capacity;
  bool full_first;
  std::function<int(const std::u16string &, uint32_t)> insert{};
  std::function<int(const std::u16string &)> remove{};
  std::function<std::optional<uint32_t>(const std::u16string &)> find{};
  std::function<void(const Model &, std::mt19937 &)> audit = [](const Model &, std::mt19937 &) {};
};

void RunAgainstModel(const Index &index, const std::u16string &alphabet, uint32_t units,
                     int steps) {
  std::mt19937 rng(4711);
  Model model;
  for (int step = 0; step < steps; ++step) {
    std::u16string key = RandomKey(rng, alphabet, units);
    auto it = model.find(key);
    uint32_t op = rng() % 10;
    if (op < 4) {
      bool full = model.size() == index.capacity;
      int expected = it != model.end() && !(full && index.full_first) ? FI_EXISTS
                     : full                                           ? FI_NO_SPACE
                                                                      : FI_OK;
      ASSERT_EQ(index.insert(key, step), expected) << "step " << step;
      if (expected == FI_OK) model[key] = step;
    } else if (op < 7) {
      if (it == model.end() && !model.empty() && op != 6) {
        it = std::next(model.begin(), rng() % model.size());
        key = it->first;
      }
      ASSERT_EQ(index.remove(key), it == model.end() ? FI_NOT_FOUND : FI_OK) << "step " << step;
      if (it != model.end()) model.erase(it);
    } else {
      ASSERT_EQ(index.find(key), it == model.end() ? std::nullopt : std::optional(it->second))
          << "step " << step;
    }
    if (step % 500 == 0) index.audit(model, rng);
  }
  index.audit(model, rng);
}

// The tree and the list index the records of a table: remove and find go through the node that
// the index's find answers.
template <class Insert, class Find, class Remove>
Index IndexRecords(uint32_t capacity, bool full_first, RecordTable &records, Insert insert,
                   Find find, Remove remove) {
  // The record of the key's node, or null when the index's find doesn't answer 0.
  auto record = [base = records.get(), find](const std::u16string &key, FI_NODE **node) {
    return find(key.data(), node) == FI_OK ? static_cast<KeyRecord *>(FI_NODE_RECORD(base, *node))
                                           : nullptr;
  };
  Index index{capacity, full_first};
  index.insert = [&records, insert](const std::u16string &key, uint32_t value) {
    KeyRecord *r = records.Add(key, value);
    int rc = insert(r);
    if (rc != FI_OK) EXPECT_EQ(FtFree(records.get(), r), FI_OK);
    return rc;
  };
  index.remove = [&records, record, remove](const std::u16string &key) {
    FI_NODE *node = nullptr;
    KeyRecord *r = record(key, &node);
    int rc = r ? remove(node) : FI_NOT_FOUND;
    if (r) EXPECT_EQ(FtFree(records.get(), r), FI_OK);
    return rc;
  };
  index.find = [record](const std::u16string &key) {
    FI_NODE *node = nullptr;
    KeyRecord *r = record(key, &node);
    return r ? std::optional(r->value) : std::nullopt;
  };
  return index;
}

TEST(FiModel, TreeAndListAgreeWithAMap) {
  constexpr uint32_t kCapacity = 300, kUnits = 5;
  RecordTable records(kCapacity + 41);  // the tree's records stay for the list
  Block block = ExactBlock(FiGetAdmSize(1, kCapacity, sizeof(KeyRecord), 0));
  ASSERT_EQ(FiInit(block.get(), u"m", 0, 1, kCapacity, sizeof(KeyRecord), u' ', u' ', nullptr), 0);
  FI_HDL hdl = nullptr;
  ASSERT_EQ(FiOpenIndex(block.get(), 9, 0, records.get(), kUnits, &hdl), FI_OK);
  Index tree = IndexRecords(
      kCapacity, true, records, [hdl](KeyRecord *r) { return FiInsert(hdl, r->key, r, nullptr); },
      [hdl](const ZUL_UTF16 *key, FI_NODE **node) { return FiFindExact(hdl, key, node); },
      [hdl](FI_NODE *node) { return FiRemove(hdl, node); });
  // A pattern search, resumed in small steps, finds exactly the keys that match with blanks as
  // wildcards on either side.
  tree.audit = [&](const Model &model, std::mt19937 &rng) {
    std::u16string pattern = RandomKey(rng, u"ab  ", kUnits);
    std::multiset<uint32_t> expected, found;
    auto unit_matches = [](char16_t k, char16_t p) { return k == p || k == u' ' || p == u' '; };
    for (const auto &[key, value] : model)
      if (std::equal(key.begin(), key.end(), pattern.begin(), unit_matches)) expected.insert(value);
    FI_NODE *nodes[7];
    uint32_t cont = FI_FIND_START, count = 0;
    do {
      FiFind(hdl, pattern.data(), 7, nodes, &count, &cont);
      for (uint32_t i = 0; i < count; ++i) found.insert(ValueAt(records.get(), nodes[i]));
    } while (cont == 1);
    EXPECT_EQ(found, expected) << std::string(pattern.begin(), pattern.end());
  };
  // U+1061 and U+2061 share their bucket with 'a' and are told apart by the chain.
  RunAgainstModel(tree, u"ab \u1061\u2061c", kUnits, 20000);
  ASSERT_EQ(FiCloseIndex(hdl), FI_OK);

  Block list_block = ExactBlock(FiLGetAdmSize(40));
  FIL_HDL l;
  ASSERT_EQ(FiLInit(list_block.get(), 40, 3, u' ', records.get(), &l), FI_OK);
  RunAgainstModel(
      IndexRecords(
          40, false, records, [&l](KeyRecord *r) { return FiLInsert(&l, r->key, r, nullptr); },
          [&l](const ZUL_UTF16 *key, FI_NODE **node) { return FiLFind(&l, key, node); },
          [&l](FI_NODE *node) { return FiLRemove(&l, node); }),
      u"abc\u1061", 3, 5000);
}

// Keys of 12 arbitrary units mostly hash with the top bit set, into negative buckets. Iteration
// answers every entry once, with its key, and survives the removal of the entry it answered.
TEST(FiModel, HashTableAgreesWithAMapAndIterationSurvivesRemoval) {
  constexpr uint32_t kCapacity = 200, kUnits = 12;
  Block block = ExactBlock(FiHshGetAdmSize(kCapacity, kUnits, sizeof(uint32_t)));
  void *h = nullptr;
  ASSERT_EQ(FiHshInit(block.get(), 1, kCapacity, kUnits, sizeof(uint32_t), &h), FI_OK);
  Index index{kCapacity, false};
  index.insert = [h](const std::u16string &key, uint32_t value) {
    return FiHshInsert(h, key.data(), &value, nullptr);
  };
  index.remove = [h](const std::u16string &key) { return FiHshRemove(h, key.data()); };
  index.find = [h](const std::u16string &key) -> std::optional<uint32_t> {
    auto *value = static_cast<uint32_t *>(FiHshFind(h, key.data()));
    return value ? std::optional(*value) : std::nullopt;
  };
  index.audit = [h](const Model &model, std::mt19937 &) {
    Model seen;
    FI_HSH_POS pos;
    const ZUL_UTF16 *key = nullptr;
    for (void *r = FiHshFirst(h, &pos, &key); r != nullptr; r = FiHshNext(h, &pos, &key))
      EXPECT_TRUE(seen.emplace(std::u16string(key, kUnits), *static_cast<uint32_t *>(r)).second);
    EXPECT_EQ(seen, model);
  };
  RunAgainstModel(index, u"a\u00e9\u4e2d\uffff0Z", kUnits, 20000);
  FI_HSH_POS pos;
  const ZUL_UTF16 *key = nullptr;
  for (void *r = FiHshFirst(h, &pos, &key); r != nullptr; r = FiHshNext(h, &pos, &key))
    EXPECT_EQ(FiHshRemove(h, key), FI_OK);
  EXPECT_EQ(FiHshFirst(h, &pos, nullptr), nullptr);
}

}  // namespace
