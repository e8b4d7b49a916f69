// Full blocks and arguments that don't fit: every block is a heap allocation of exactly the size
// asked for, so that ASan reports any write past its end.
#include <array>
#include <random>
#include <vector>

#include "fi_test_util.h"

namespace {

TEST(FiCapacity, FullTreeRefusesMoreKeysAndIndexes) {
  constexpr uint32_t kKeys = 8;
  RecordTable records(kKeys + 2);
  Block block = ExactBlock(FiGetAdmSize(2, kKeys, 0, FI_FLAG_FULL_INNER));
  ASSERT_EQ(FiInit(block.get(), u"full", FI_FLAG_FULL_INNER, 2, kKeys, 0, u' ', u' ', nullptr),
            FI_OK);
  FI_HDL hdl = nullptr, other = nullptr;
  ASSERT_EQ(FiOpenIndex(block.get(), 1, 0, records.base(), kKeyUnits, &hdl), FI_OK);
  std::vector<FI_NODE *> nodes;
  for (uint32_t i = 0; i <= kKeys; ++i) {
    KeyRecord *r = records.Add(PadKey(std::u16string(i + 1, u'a' + i)), i);
    FI_NODE *node = nullptr;
    ASSERT_EQ(FiInsert(hdl, r->key, r, &node), i < kKeys ? FI_OK : FI_NO_SPACE);
    nodes.push_back(node);
  }
  FI_NODE *all[kKeys];
  uint32_t count = 0, cont = FI_FIND_START;
  std::u16string blank = PadKey(u"");
  EXPECT_EQ(FiFind(hdl, blank.data(), kKeys, all, &count, &cont), FI_OK);
  EXPECT_EQ(count, kKeys);

  ASSERT_EQ(FiRemove(hdl, nodes[3]), FI_OK);
  KeyRecord *r = records.Add(PadKey(u"new"), 99);
  EXPECT_EQ(FiInsert(hdl, r->key, r, nullptr), FI_OK);

  ASSERT_EQ(FiOpenIndex(block.get(), 2, FI_OPEN_BLOCK_SLOT, records.base(), 1, &other), FI_OK);
  EXPECT_EQ(FiOpenIndex(block.get(), 3, 0, records.base(), 1, &other), FI_NO_SPACE);
  // The block's own handle slots run out after 256.
  std::vector<FI_HDL> handles(255);
  for (FI_HDL &h : handles)
    ASSERT_EQ(FiOpenIndex(block.get(), 2, FI_OPEN_BLOCK_SLOT, nullptr, 1, &h), FI_INITIALIZED);
  EXPECT_EQ(FiOpenIndex(block.get(), 2, FI_OPEN_BLOCK_SLOT, nullptr, 1, &other), FI_NO_SPACE);
}

// With 60% inner nodes a binary tree runs out of inner nodes before leaves: the failed insert
// gives its leaf back and the keys in stay findable.
TEST(FiCapacity, InnerNodesRunOutBeforeLeaves) {
  constexpr uint32_t kKeys = 1200;
  constexpr uint32_t kUnits = 16;
  std::vector<std::array<ZUL_UTF16, kUnits>> keys(kKeys + 1);  // record and key in one
  Block block = ExactBlock(FiGetAdmSize(1, kKeys, 0, 0));
  ASSERT_EQ(FiInit(block.get(), u"sixty", 0, 1, kKeys, 0, u' ', u' ', nullptr), FI_OK);
  FI_HDL hdl = nullptr;
  ASSERT_EQ(FiOpenIndex(block.get(), 1, 0, keys.data(), kUnits, &hdl), FI_OK);
  std::mt19937 rng(7);
  uint32_t in = 0;
  int rc = FI_OK;
  while (rc != FI_NO_SPACE) {
    for (ZUL_UTF16 &unit : keys[in]) unit = rng() % 2 ? u'a' : u'b';
    rc = FiInsert(hdl, keys[in].data(), keys[in].data(), nullptr);
    if (rc == FI_OK) ++in;
  }
  FI_PSTAT s;
  ASSERT_EQ(FiGetPstat(block.get(), &s), FI_OK);
  EXPECT_EQ(s.free_inner_nodes, 0u);
  EXPECT_EQ(s.free_leaves, kKeys - in);
  EXPECT_EQ(in, 721u);  // 720 inner nodes: a binary tree of n leaves has n - 1
  for (uint32_t i = 0; i < in; ++i) EXPECT_EQ(FiFindExact(hdl, keys[i].data(), nullptr), FI_OK);
}

TEST(FiCapacity, KeysAndRecordsOutsideTheReachOfOffsetsAreRefused) {
  RecordTable records(2);
  Block block = ExactBlock(FiGetAdmSize(1, 2, 0, 0));
  ASSERT_EQ(FiInit(block.get(), u"reach", 0, 1, 2, 0, u' ', u' ', nullptr), FI_OK);
  FI_HDL hdl = nullptr;
  EXPECT_EQ(FiOpenIndex(block.get(), 1, 0, records.base(), 0, &hdl), FI_BAD_ARG);
  EXPECT_EQ(FiOpenIndex(block.get(), 1, 0, records.base(), FI_LEAF_POSITION, &hdl), FI_BAD_ARG);
  KeyRecord *first = records.Add(PadKey(u"k"), 1);
  KeyRecord *second = records.Add(PadKey(u"k"), 2);
  ASSERT_EQ(FiOpenIndex(block.get(), 1, 0, second, kKeyUnits, &hdl), FI_OK);
  EXPECT_EQ(FiInsert(hdl, first->key, first, nullptr), FI_BAD_ARG);  // before the base
  EXPECT_EQ(FiInsert(hdl, second->key, nullptr, nullptr), FI_BAD_ARG);
  EXPECT_EQ(FiInsert(hdl, second->key, second, nullptr), FI_OK);
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

}  // namespace
