// The index tree, its capacities and a region relocated and shared through a file; the Ft slot
// table. Every block is a heap allocation of exactly the size asked for, so that ASan reports any
// write past its end.
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <random>
#include <vector>

#include "fi_test_util.h"

namespace {

constexpr uint32_t kKeys = 64;

class FiTree : public ::testing::Test {
 protected:
  void SetUp() override {
    block_ = ExactBlock(FiGetAdmSize(2, kKeys, sizeof(KeyRecord), 0));
    ASSERT_EQ(FiInit(block_.get(), u"tree", 0, 2, kKeys, sizeof(KeyRecord), u' ', u'*', nullptr),
              FI_OK);
    ASSERT_EQ(FiOpenIndex(block_.get(), 1, 0, records_.base(), kKeyUnits, &hdl_), FI_OK);
  }
  void TearDown() override { EXPECT_EQ(FiDestroy(block_.get()), FI_OK); }

  FI_NODE *Insert(const std::u16string &text, uint32_t value, int rc = FI_OK) {
    FI_NODE *node = nullptr;
    KeyRecord *r = records_.Add(PadKey(text), value);
    EXPECT_EQ(FiInsert(hdl_, r->key, r, &node), rc) << std::string(text.begin(), text.end());
    return node;
  }
  uint32_t Value(const FI_NODE *node) {
    return static_cast<KeyRecord *>(FI_NODE_RECORD(records_.base(), node))->value;
  }
  FI_PSTAT Stat() {
    FI_PSTAT s{};
    EXPECT_EQ(FiGetPstat(block_.get(), &s), FI_OK);
    return s;
  }

  RecordTable records_{2 * kKeys};
  Block block_;
  FI_HDL hdl_ = nullptr;
};

// A second insert of a key answers the first node; removing every key gives back every node.
TEST_F(FiTree, DuplicateKeysAndEmptyingTheTree) {
  std::vector<FI_NODE *> nodes = {Insert(u"ab", 1), Insert(u"ac", 2), Insert(u"b", 3)};
  EXPECT_EQ(Insert(u"ab", 9, FI_EXISTS), nodes[0]);
  EXPECT_EQ(Stat().free_leaves, kKeys - 3);
  for (FI_NODE *n : nodes) EXPECT_EQ(FiRemove(hdl_, n), FI_OK);
  EXPECT_EQ(FiRemove(hdl_, nodes[0]), FI_NOT_FOUND);
  FI_NODE *found[4];
  uint32_t count = 9, cont = FI_FIND_START;
  EXPECT_EQ(FiFind(hdl_, PadKey(u"").data(), 4, found, &count, &cont), FI_NOT_FOUND);
  EXPECT_EQ(count + cont, 0u);
  FI_PSTAT s = Stat();
  EXPECT_EQ(s.free_leaves, s.leaves);
  EXPECT_EQ(s.free_inner_nodes, s.inner_nodes);
}

TEST_F(FiTree, LongestPathTakesTheLongestStoredPrefixEndingAtASeparator) {
  const std::pair<const char16_t *, uint32_t> stored[] = {
      {u"10", 1}, {u"10.1", 2}, {u"10.1.2", 3}, {u"10.15", 4}};
  for (const auto &[text, value] : stored) Insert(text, value);
  const struct {
    const char16_t *key;
    uint32_t length;
    int rc;
    uint32_t value;
  } cases[] = {
      {u"10.1.2.3", 8, FI_OK, 3},   {u"10.1.5.1", 8, FI_OK, 2},    {u"10.1/7", 6, FI_OK, 2},
      {u"10.1", 4, FI_OK, 2},       {u"10.15", 5, FI_OK, 4},       {u"10.16", 5, FI_OK, 1},
      {u"10x", 3, FI_NOT_FOUND, 0}, {u"11.1", 4, FI_NOT_FOUND, 0},
  };
  for (const auto &c : cases) {
    std::u16string key = PadKey(c.key);
    SCOPED_TRACE(std::string(key.begin(), key.end()));
    FI_NODE *node = nullptr;
    ASSERT_EQ(FiFindLongestPath(hdl_, key.data(), c.length, u'.', u'/', &node), c.rc);
    if (c.rc == FI_OK) {
      EXPECT_EQ(Value(node), c.value);
    }
  }
  std::u16string key = PadKey(u"10.1/7");
  EXPECT_EQ(FiFindLongestPathOld(hdl_, key.data(), 6, u'.', nullptr), FI_OK);
  EXPECT_EQ(FiFindLongestPath(hdl_, key.data(), kKeyUnits + 1, u'.', u'.', nullptr), FI_BAD_ARG);
}

TEST_F(FiTree, IndexesOpenAttachAndClose) {
  Insert(u"k1", 1);
  FI_HDL again = nullptr, attached = nullptr, second = nullptr, third = nullptr;
  EXPECT_EQ(FiOpenIndex(block_.get(), 1, FI_OPEN_BLOCK_SLOT, records_.base(), 3, &again),
            FI_INITIALIZED);
  EXPECT_EQ(FiAttachIndex(block_.get(), 7, records_.base(), &attached), FI_NOT_FOUND);
  ASSERT_EQ(FiAttachIndex(block_.get(), 1, records_.base(), &attached), FI_OK);
  std::u16string key = PadKey(u"k1");
  EXPECT_EQ(FiFindExact(again, key.data(), nullptr), FI_OK);  // key length of the index, not 3
  EXPECT_EQ(FiFindExact(attached, key.data(), nullptr), FI_OK);

  ASSERT_EQ(FiOpenIndex(block_.get(), 2, 0, records_.base(), kKeyUnits, &second), FI_OK);
  EXPECT_EQ(FiOpenIndex(block_.get(), 3, 0, records_.base(), kKeyUnits, &third), FI_NO_SPACE);
  FI_NODE *node = nullptr;
  EXPECT_EQ(FiFindExact(second, key.data(), &node), FI_NOT_FOUND);
  EXPECT_EQ(FiRemove(second, nullptr), FI_NOT_FOUND);
  ASSERT_EQ(FiFindExact(hdl_, key.data(), &node), FI_OK);
  EXPECT_EQ(FiRemove(second, node), FI_NOT_FOUND);  // a leaf of another index

  EXPECT_EQ(FiCloseIndex(hdl_), FI_OK);
  EXPECT_EQ(FiFindExact(attached, key.data(), nullptr), FI_BAD_ARG);
  EXPECT_EQ(FiDetachIndex(attached), FI_OK);
  EXPECT_EQ(FiDetachIndex(attached), FI_BAD_ARG);
  EXPECT_EQ(Stat().free_leaves, kKeys);
  EXPECT_EQ(FiAttachIndex(block_.get(), 1, records_.base(), &attached), FI_NOT_FOUND);
  EXPECT_EQ(FiOpenIndex(block_.get(), 3, 0, records_.base(), kKeyUnits, &third), FI_OK);
}

// The printers are for debugging; only their first lines are fixed.
TEST_F(FiTree, PrintersStartWithTheirCountLines) {
  Insert(u"ab", 1);
  Insert(u"ac", 2);
  auto captured = [](auto print) {
    testing::internal::CaptureStdout();
    print();
    return testing::internal::GetCapturedStdout();
  };
  EXPECT_EQ(captured([this] { FiDisplay(hdl_); }).substr(0, 13), " PT : 2 keys\n");
  EXPECT_NE(captured([this] { FiAnalyze(block_.get()); }), "");
  Block list = ExactBlock(FiLGetAdmSize(2));
  FIL_HDL l;
  ASSERT_EQ(FiLInit(list.get(), 2, kKeyUnits, u' ', records_.base(), &l), FI_OK);
  KeyRecord *r = records_.Add(PadKey(u"one"), 1);
  ASSERT_EQ(FiLInsert(&l, r->key, r, nullptr), FI_OK);
  EXPECT_EQ(captured([&l] { FiLDisplay(&l); }).substr(0, 14), "PTL: 1 keys.\n ");
}

// More than 999 keys get inner nodes for 60% of them, unless the full flag asks for all.
TEST(FiInit, ArgumentsSecondInitialisationAndInnerNodes) {
  Block block = ExactBlock(FiGetAdmSize(1, 16, 0, FI_FLAG_FULL_INNER) + 8);
  const struct {
    size_t misalign;
    uint32_t flags, indexes, keys;
    int rc;
  } cases[] = {
      {4, 0, 1, 16, FI_BAD_ARG}, {0, 0, 1, 1, FI_BAD_ARG},  {0, 1, 1, 16, FI_BAD_ARG},
      {0, 4, 1, 16, FI_BAD_ARG}, {0, 0, 0, 16, FI_BAD_ARG}, {0, 3, 1, 16, FI_OK},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(
        FiInit(block.get() + c.misalign, u"x", c.flags, c.indexes, c.keys, 0, u' ', u' ', nullptr),
        c.rc)
        << c.misalign << " " << c.flags << " " << c.indexes << " " << c.keys;
  }
  EXPECT_EQ(FiInit(block.get(), u"x", 0, 1, 16, 0, u' ', u' ', nullptr), FI_INITIALIZED);
  EXPECT_EQ(FiInit(block.get(), u"y", 0, 1, 16, 0, u' ', u' ', nullptr), FI_OK);
  EXPECT_EQ(FiDestroy(block.get()), FI_OK);
  EXPECT_EQ(FiDestroy(block.get()), FI_BAD_ARG);
  EXPECT_EQ(FiInit(block.get(), u"y", 0, 1, 16, 0, u' ', u' ', nullptr), FI_OK);

  struct {
    uint32_t keys, flags, inner;
  } const sizes[] = {{999, 0, 999}, {1000, 0, 600}, {1000, FI_FLAG_FULL_INNER, 1000}};
  for (const auto &c : sizes) {
    Block b = ExactBlock(FiGetAdmSize(1, c.keys, 0, c.flags));
    ASSERT_EQ(FiInit(b.get(), u"n", c.flags, 1, c.keys, 0, u' ', u' ', nullptr), FI_OK);
    FI_PSTAT s;
    ASSERT_EQ(FiGetPstat(b.get(), &s), FI_OK);
    EXPECT_EQ(std::tie(s.inner_nodes, s.free_inner_nodes, s.free_leaves),
              std::tie(c.inner, c.inner, c.keys))
        << c.keys;
  }
}

// Index slots and the block's 256 handle slots run out; keys and records before the base or
// beyond an offset's reach are refused.
TEST(FiCapacity, IndexesHandlesAndOffsets) {
  RecordTable records(2);
  Block block = ExactBlock(FiGetAdmSize(2, 8, 0, FI_FLAG_FULL_INNER));
  ASSERT_EQ(FiInit(block.get(), u"full", FI_FLAG_FULL_INNER, 2, 8, 0, u' ', u' ', nullptr), FI_OK);
  FI_HDL hdl = nullptr, other = nullptr;
  EXPECT_EQ(FiOpenIndex(block.get(), 1, 0, records.base(), 0, &hdl), FI_BAD_ARG);
  EXPECT_EQ(FiOpenIndex(block.get(), 1, 0, records.base(), FI_LEAF_POSITION, &hdl), FI_BAD_ARG);
  ASSERT_EQ(FiOpenIndex(block.get(), 2, FI_OPEN_BLOCK_SLOT, records.base(), 1, &other), FI_OK);
  std::vector<FI_HDL> handles(255);
  for (FI_HDL &h : handles)
    ASSERT_EQ(FiOpenIndex(block.get(), 2, FI_OPEN_BLOCK_SLOT, nullptr, 1, &h), FI_INITIALIZED);
  EXPECT_EQ(FiOpenIndex(block.get(), 2, FI_OPEN_BLOCK_SLOT, nullptr, 1, &other), FI_NO_SPACE);

  KeyRecord *first = records.Add(PadKey(u"k"), 1);
  KeyRecord *second = records.Add(PadKey(u"k"), 2);
  ASSERT_EQ(FiOpenIndex(block.get(), 1, 0, second, kKeyUnits, &hdl), FI_OK);
  EXPECT_EQ(FiOpenIndex(block.get(), 3, 0, records.base(), 1, &other), FI_NO_SPACE);
  EXPECT_EQ(FiInsert(hdl, first->key, first, nullptr), FI_BAD_ARG);  // before the base
  EXPECT_EQ(FiInsert(hdl, second->key, nullptr, nullptr), FI_BAD_ARG);
  EXPECT_EQ(FiInsert(hdl, second->key, second, nullptr), FI_OK);
}

// With 60% inner nodes a binary tree runs out of inner nodes before leaves: the failed insert
// gives its leaf back and the keys in stay findable.
TEST(FiCapacity, InnerNodesRunOutBeforeLeaves) {
  constexpr uint32_t kMany = 1200, kUnits = 16;
  std::vector<std::array<ZUL_UTF16, kUnits>> keys(kMany + 1);  // record and key in one
  Block block = ExactBlock(FiGetAdmSize(1, kMany, 0, 0));
  ASSERT_EQ(FiInit(block.get(), u"sixty", 0, 1, kMany, 0, u' ', u' ', nullptr), FI_OK);
  FI_HDL hdl = nullptr;
  ASSERT_EQ(FiOpenIndex(block.get(), 1, 0, keys.data(), kUnits, &hdl), FI_OK);
  std::mt19937 rng(7);
  uint32_t in = 0;
  for (int rc = FI_OK; rc != FI_NO_SPACE;) {
    for (ZUL_UTF16 &unit : keys[in]) unit = rng() % 2 ? u'a' : u'b';
    rc = FiInsert(hdl, keys[in].data(), keys[in].data(), nullptr);
    if (rc == FI_OK) ++in;
  }
  FI_PSTAT s;
  ASSERT_EQ(FiGetPstat(block.get(), &s), FI_OK);
  EXPECT_EQ(s.free_inner_nodes, 0u);
  EXPECT_EQ(s.free_leaves, kMany - in);
  EXPECT_EQ(in, 721u);  // 720 inner nodes: a binary tree of n leaves has n - 1
  for (uint32_t i = 0; i < in; ++i) EXPECT_EQ(FiFindExact(hdl, keys[i].data(), nullptr), FI_OK);
}

// Full lists and hash tables are covered by the model tests; here the sizes beyond reach and a
// slot table of odd-sized records, filled to its last byte.
TEST(FiCapacity, OverlargeHashAndFullSlotTable) {
  Block hash = ExactBlock(FiHshGetAdmSize(5, 40, 3));
  void *h = nullptr;
  EXPECT_EQ(FiHshGetAdmSize(5, 0x40000000, 3), 0u);
  EXPECT_EQ(FiHshInit(hash.get(), 1, 5, 0x40000000, 3, &h), FI_NO_SPACE);
  EXPECT_EQ(FiHshInit(hash.get(), 1, 0, 40, 3, &h), FI_BAD_ARG);
  Block table = ExactBlock(FtGetAdmSize(0, 3, 13));
  ASSERT_EQ(FtInit(table.get(), u"slots", 0, 3, 13, nullptr), FI_OK);
  void *record = nullptr;
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(FtAlloc(table.get(), &record), FI_OK);
    std::memset(record, 0xEE, 13);
  }
  EXPECT_EQ(FtAlloc(table.get(), &record), FI_NO_SPACE);
  EXPECT_EQ(FtGetAdmSize(0, 0x10000000, 13), 0u);
  EXPECT_EQ(FtInit(table.get(), u"huge", 0, 0x10000000, 13, nullptr), FI_NO_SPACE);
}

constexpr uint32_t kCount = 500;
const size_t kFiPart = (FiGetAdmSize(1, kCount + 1, sizeof(KeyRecord), 0) + 7) & ~size_t{7};
const size_t kRegion = kFiPart + FtGetAdmSize(0, kCount + 1, sizeof(KeyRecord));

std::u16string KeyOf(uint32_t i) {
  std::string digits = std::to_string(i * 7919 % 100000);
  return PadKey(u"k" + std::u16string(digits.begin(), digits.end()));
}

// Attaches to the region's index, adds the keys [from, to) and finds every key below to, each
// with its record inside the region.
void AddAndFind(char *region, uint32_t from, uint32_t to) {
  FI_HDL hdl = nullptr;
  ASSERT_EQ(FiAttachIndex(region, 1, region, &hdl), FI_OK);
  for (uint32_t i = from; i < to; ++i) {
    KeyRecord *r = RecordTable::AddTo(region + kFiPart, KeyOf(i), i);
    ASSERT_EQ(FiInsert(hdl, r->key, r, nullptr), FI_OK);
  }
  for (uint32_t i = 0; i < to; ++i) {
    std::u16string key = KeyOf(i);
    FI_NODE *node = nullptr;
    ASSERT_EQ(FiFindExact(hdl, key.data(), &node), FI_OK) << i;
    auto *record = static_cast<KeyRecord *>(FI_NODE_RECORD(region, node));
    ASSERT_TRUE(reinterpret_cast<char *>(record) > region &&
                reinterpret_cast<char *>(record) < region + kRegion);
    EXPECT_EQ(record->value, i);
    EXPECT_EQ(FI_NODE_KEY(region, node), record->key);
  }
  EXPECT_EQ(FiDetachIndex(hdl), FI_OK);
}

// Built in a heap block, the region is copied to a file and the block wiped; the file, mapped
// twice at other addresses, is searched through both mappings, and a key added through one is
// found through the other.
TEST(FiRelocation, RegionIsSearchedAtOtherAddressesAndSharedThroughAFile) {
  Block block = ExactBlock(kRegion);
  char *region = block.get();
  ASSERT_EQ(FiInit(region, u"shared", 0, 1, kCount + 1, sizeof(KeyRecord), u' ', u' ', nullptr),
            FI_OK);
  ASSERT_EQ(FtInit(region + kFiPart, u"records", 0, kCount + 1, sizeof(KeyRecord), nullptr), FI_OK);
  FI_HDL hdl = nullptr;
  ASSERT_EQ(FiOpenIndex(region, 1, 0, region, kKeyUnits, &hdl), FI_OK);
  EXPECT_EQ(FiDetachIndex(hdl), FI_OK);
  AddAndFind(region, 0, kCount);
  int fd = memfd_create("fi_region", 0);
  ASSERT_EQ(write(fd, region, kRegion), static_cast<ssize_t>(kRegion));
  std::memset(region, 0xA5, kRegion);
  char *maps[2];
  for (char *&map : maps) {
    map = static_cast<char *>(mmap(nullptr, kRegion, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
    ASSERT_NE(map, MAP_FAILED);
  }
  AddAndFind(maps[0], kCount, kCount);
  AddAndFind(maps[1], kCount, kCount + 1);
  AddAndFind(maps[0], kCount + 1, kCount + 1);
  for (char *map : maps) munmap(map, kRegion);
  close(fd);
}

class FtTable : public ::testing::Test {
 protected:
  struct Slot {
    uint32_t in_use, id;
  };
  static constexpr uint32_t kSlots = 6;
  void SetUp() override {
    ASSERT_EQ(FtInit(block_.get(), u"table", 0, kSlots, sizeof(Slot), nullptr), FI_OK);
    all_ = Drain();
  }
  // Takes every free slot; answers them in the order the free list gives them.
  std::vector<Slot *> Drain() {
    std::vector<Slot *> taken;
    for (void *p = nullptr; FtAlloc(block_.get(), &p) == FI_OK;)
      taken.push_back(static_cast<Slot *>(p));
    return taken;
  }
  int Free(int i) { return FtFree(block_.get(), all_[i]); }
  std::vector<Slot *> Slots(std::initializer_list<int> indexes) {
    std::vector<Slot *> out;
    for (int i : indexes) out.push_back(all_[i]);
    return out;
  }
  Block block_ = ExactBlock(FtGetAdmSize(0, kSlots, sizeof(Slot)));
  std::vector<Slot *> all_;
};

TEST_F(FtTable, SlotsComeInOrderAndFreedOnesComeBackFirst) {
  ASSERT_EQ(all_.size(), kSlots);
  for (size_t i = 1; i < all_.size(); ++i)
    EXPECT_EQ(reinterpret_cast<char *>(all_[i]) - reinterpret_cast<char *>(all_[i - 1]), 16);
  EXPECT_EQ(Free(4), FI_OK);
  EXPECT_EQ(Free(1), FI_OK);
  EXPECT_EQ(Free(1), FI_NOT_FOUND);
  EXPECT_EQ(FtFree(block_.get(), reinterpret_cast<char *>(all_[2]) + 4), FI_NOT_FOUND);
  EXPECT_EQ(Drain(), Slots({1, 4}));
}

TEST_F(FtTable, RebuildFromRecordsAndFromLinks) {
  for (uint32_t i = 0; i < kSlots; ++i) all_[i]->in_use = i % 3 == 0;
  ASSERT_EQ(
      FtRebuild(block_.get(), [](void *r) { return int{static_cast<Slot *>(r)->in_use == 0}; }),
      FI_OK);
  // Free slots, each pushed at the head in order: the last comes first.
  EXPECT_EQ(Drain(), Slots({5, 4, 2, 1}));
  EXPECT_EQ(Free(3), FI_OK);  // still on the used list
  EXPECT_EQ(Free(4), FI_OK);
  int calls = 0;
  auto count = [](void *context, void *) { return ++*static_cast<int *>(context), 0; };
  ASSERT_EQ(FtRebuild2(block_.get(), count, &calls), FI_OK);
  EXPECT_EQ(calls, static_cast<int>(kSlots));
  EXPECT_TRUE(Drain().empty());
  // The links alone decide: free slot 2 and 5, and slot 0 caught between the lists (both links
  // all ones), which counts as free.
  EXPECT_EQ(Free(2), FI_OK);
  EXPECT_EQ(Free(5), FI_OK);
  auto *links = reinterpret_cast<uint32_t *>(all_[0]) - 2;
  links[0] = links[1] = 0xFFFFFFFF;
  ASSERT_EQ(FtAutoRebuild(block_.get()), FI_OK);
  EXPECT_EQ(Drain(), Slots({5, 2, 0}));
  EXPECT_EQ(Free(1), FI_OK);
}

TEST(FtInit, CodesNamesAndDestroy) {
  Block block = ExactBlock(FtGetAdmSize(0, 2, 4) + 8);
  EXPECT_EQ(FtInit(block.get() + 4, u"t", 0, 2, 4, nullptr), FI_BAD_ARG);
  EXPECT_EQ(FtInit(block.get(), u"t", 0, 0, 4, nullptr), FI_BAD_ARG);
  EXPECT_EQ(FtInit(block.get(), u"t", FT_FLAG_REFUSED, 2, 4, nullptr), FI_NOT_FOUND);
  void *hdl = nullptr;
  ASSERT_EQ(FtInit(block.get(), u"t", 1, 2, 4, &hdl), FI_OK);
  EXPECT_EQ(hdl, block.get());
  EXPECT_EQ(FtInit(block.get(), u"t", 0, 2, 4, nullptr), FI_INITIALIZED);
  EXPECT_EQ(FtDestroy(block.get()), FI_OK);
  EXPECT_EQ(std::u16string(reinterpret_cast<char16_t *>(block.get()), FI_NAME_LENGTH),
            std::u16string(FI_NAME_LENGTH, u' '));
  void *record = nullptr;
  EXPECT_EQ(FtAlloc(block.get(), &record), FI_BAD_ARG);
  EXPECT_EQ(FtInit(block.get(), u"t", 0, 2, 4, nullptr), FI_OK);
}

}  // namespace
