// Random sequences of inserts, finds and removes on each index kind, checked step by step against
// a std::map.
#include <map>
#include <optional>
#include <random>
#include <set>
#include <type_traits>
#include <vector>

#include "fi_test_util.h"

namespace {

using Model = std::map<std::u16string, uint32_t>;

std::u16string RandomKey(std::mt19937 &rng, const std::u16string &alphabet, uint32_t units) {
  std::u16string key;
  for (uint32_t i = 0; i < units; ++i) key.push_back(alphabet[rng() % alphabet.size()]);
  return key;
}

// Drives an index through random operations. The index offers Insert, Remove and Find on keys of
// key_units units, and Audit, a deeper check of the whole index against the model.
// kFullBeforeExists: a full index refuses every insert, before it looks for the key.
template <typename Index>
void RunAgainstModel(Index &index, uint32_t capacity, const std::u16string &alphabet,
                     uint32_t key_units, int steps) {
  std::mt19937 rng(4711);
  Model model;
  for (int step = 0; step < steps; ++step) {
    std::u16string key = RandomKey(rng, alphabet, key_units);
    auto it = model.find(key);
    uint32_t op = rng() % 10;
    if (op < 4) {
      bool full = model.size() == capacity;
      int expected = it != model.end() && !(full && Index::kFullBeforeExists) ? FI_EXISTS
                     : full                                                   ? FI_NO_SPACE
                                                                              : FI_OK;
      ASSERT_EQ(index.Insert(key, step), expected) << "step " << step;
      if (expected == FI_OK) model[key] = step;
    } else if (op < 7) {
      if (it == model.end() && !model.empty() && op != 6) {
        it = std::next(model.begin(), rng() % model.size());
        key = it->first;
      }
      ASSERT_EQ(index.Remove(key), it == model.end() ? FI_NOT_FOUND : FI_OK) << "step " << step;
      if (it != model.end()) model.erase(it);
    } else {
      std::optional<uint32_t> expected;
      if (it != model.end()) expected = it->second;
      ASSERT_EQ(index.Find(key), expected) << "step " << step;
    }
    if (step % 500 == 0) index.Audit(model, rng);
  }
  index.Audit(model, rng);
}

// The tree and the list index records of a table through the same calls; Hdl is the handle the
// calls take (the list's by address).
template <typename Hdl, auto kInsert, auto kFind, auto kRemove>
class RecordIndex {
 public:
  explicit RecordIndex(uint32_t capacity) : records_(capacity + 1) {}
  int Insert(const std::u16string &key, uint32_t value) {
    KeyRecord *r = records_.Add(PadKey(key), value);
    int rc = kInsert(hdl(), r->key, r, nullptr);
    if (rc != FI_OK) records_.Drop(r);
    return rc;
  }
  int Remove(const std::u16string &key) {
    FI_NODE *node = nullptr;
    int rc = kFind(hdl(), key.data(), &node);
    if (rc != FI_OK) return rc;
    KeyRecord *r = Record(node);
    rc = kRemove(hdl(), node);
    records_.Drop(r);
    return rc;
  }
  std::optional<uint32_t> Find(const std::u16string &key) {
    FI_NODE *node = nullptr;
    if (kFind(hdl(), key.data(), &node) != FI_OK) return std::nullopt;
    return Record(node)->value;
  }
  void Audit(const Model &, std::mt19937 &) {}

 protected:
  auto hdl() {
    if constexpr (std::is_pointer_v<Hdl>) {
      return hdl_;
    } else {
      return &hdl_;
    }
  }
  KeyRecord *Record(FI_NODE *node) {
    return static_cast<KeyRecord *>(FI_NODE_RECORD(records_.base(), node));
  }
  RecordTable records_;
  Block block_;
  Hdl hdl_{};
};

class FiAdapter : public RecordIndex<FI_HDL, FiInsert, FiFindExact, FiRemove> {
 public:
  static constexpr uint32_t kCapacity = 300;
  static constexpr bool kFullBeforeExists = true;
  static constexpr uint32_t kUnits = 5;
  FiAdapter() : RecordIndex(kCapacity) {
    block_ = ExactBlock(FiGetAdmSize(1, kCapacity, sizeof(KeyRecord), 0));
    EXPECT_EQ(
        FiInit(block_.get(), u"model", 0, 1, kCapacity, sizeof(KeyRecord), u' ', u' ', nullptr),
        FI_OK);
    EXPECT_EQ(FiOpenIndex(block_.get(), 9, 0, records_.base(), kUnits, &hdl_), FI_OK);
  }
  // A pattern search, resumed in small steps, finds exactly the keys that match with blanks as
  // wildcards on either side.
  void Audit(const Model &model, std::mt19937 &rng) {
    std::u16string pattern = RandomKey(rng, u"ab  ", kUnits);
    std::multiset<uint32_t> expected, found;
    for (const auto &[key, value] : model) {
      bool match = true;
      for (uint32_t i = 0; i < kUnits; ++i)
        match = match && (key[i] == pattern[i] || key[i] == u' ' || pattern[i] == u' ');
      if (match) expected.insert(value);
    }
    FI_NODE *nodes[7];
    uint32_t cont = FI_FIND_START, count = 0;
    do {
      FiFind(hdl_, pattern.data(), 7, nodes, &count, &cont);
      for (uint32_t i = 0; i < count; ++i) found.insert(Record(nodes[i])->value);
    } while (cont == 1);
    EXPECT_EQ(found, expected) << std::string(pattern.begin(), pattern.end());
  }
};

class FiLAdapter : public RecordIndex<FIL_HDL, FiLInsert, FiLFind, FiLRemove> {
 public:
  static constexpr uint32_t kCapacity = 40;
  static constexpr bool kFullBeforeExists = false;
  FiLAdapter() : RecordIndex(kCapacity) {
    block_ = ExactBlock(FiLGetAdmSize(kCapacity));
    EXPECT_EQ(FiLInit(block_.get(), kCapacity, 3, u' ', records_.base(), &hdl_), FI_OK);
  }
};

class FiHshAdapter {
 public:
  static constexpr uint32_t kCapacity = 200;
  static constexpr bool kFullBeforeExists = false;
  static constexpr uint32_t kUnits = 12;
  FiHshAdapter() {
    block_ = ExactBlock(FiHshGetAdmSize(kCapacity, kUnits, sizeof(uint32_t)));
    EXPECT_EQ(FiHshInit(block_.get(), 1, kCapacity, kUnits, sizeof(uint32_t), &hdl_), FI_OK);
  }
  int Insert(const std::u16string &key, uint32_t value) {
    return FiHshInsert(hdl_, key.data(), &value, nullptr);
  }
  int Remove(const std::u16string &key) { return FiHshRemove(hdl_, key.data()); }
  std::optional<uint32_t> Find(const std::u16string &key) {
    auto *value = static_cast<uint32_t *>(FiHshFind(hdl_, key.data()));
    if (value == nullptr) return std::nullopt;
    return *value;
  }
  // Iteration answers every entry once, with its key.
  void Audit(const Model &model, std::mt19937 &) {
    Model seen;
    FI_HSH_POS pos;
    const ZUL_UTF16 *key = nullptr;
    for (void *r = FiHshFirst(hdl_, &pos, &key); r != nullptr; r = FiHshNext(hdl_, &pos, &key))
      EXPECT_TRUE(seen.emplace(std::u16string(key, kUnits), *static_cast<uint32_t *>(r)).second);
    EXPECT_EQ(seen, model);
  }
  void *hdl() const { return hdl_; }

 private:
  Block block_;
  void *hdl_ = nullptr;
};

TEST(FiModel, TreeAgreesWithAMap) {
  FiAdapter index;
  // Blanks are wildcards for the pattern audit, in stored keys and patterns alike; U+1061 and
  // U+2061 share their bucket with 'a' and are told apart by the chain.
  RunAgainstModel(index, FiAdapter::kCapacity, u"ab \u1061\u2061c", FiAdapter::kUnits, 20000);
}

TEST(FiModel, ListAgreesWithAMap) {
  FiLAdapter index;
  RunAgainstModel(index, FiLAdapter::kCapacity, u"abc\u1061", 3, 5000);
}

// Keys of 12 arbitrary units mostly hash with the top bit set, into negative buckets.
TEST(FiModel, HashTableAgreesWithAMapAndIterationSurvivesRemoval) {
  FiHshAdapter index;
  RunAgainstModel(index, FiHshAdapter::kCapacity, u"a\u00e9\u4e2d\uffff0Z", FiHshAdapter::kUnits,
                  20000);
  FI_HSH_POS pos;
  const ZUL_UTF16 *key = nullptr;
  for (void *r = FiHshFirst(index.hdl(), &pos, &key); r != nullptr;
       r = FiHshNext(index.hdl(), &pos, &key))
    EXPECT_EQ(FiHshRemove(index.hdl(), key), FI_OK);
  EXPECT_EQ(FiHshFirst(index.hdl(), &pos, nullptr), nullptr);
}

}  // namespace
