#include <vector>

#include "fi_test_util.h"

namespace {

constexpr uint32_t kKeys = 64;

class FiTree : public ::testing::Test {
 protected:
  void SetUp() override {
    size_t size = FiGetAdmSize(2, kKeys, sizeof(KeyRecord), 0);
    ASSERT_GT(size, 0u);
    block_ = ExactBlock(size);
    ASSERT_EQ(FiInit(block_.get(), u"tree", 0, 2, kKeys, sizeof(KeyRecord), u' ', u'*', nullptr),
              FI_OK);
    ASSERT_EQ(FiOpenIndex(block_.get(), 1, 0, records_.base(), kKeyUnits, &hdl_), FI_OK);
  }
  void TearDown() override { EXPECT_EQ(FiDestroy(block_.get()), FI_OK); }

  FI_NODE *Insert(const std::u16string &text, uint32_t value) {
    FI_NODE *node = nullptr;
    KeyRecord *r = records_.Add(PadKey(text), value);
    EXPECT_EQ(FiInsert(hdl_, r->key, r, &node), FI_OK) << std::string(text.begin(), text.end());
    return node;
  }
  uint32_t Value(const FI_NODE *node) {
    return static_cast<KeyRecord *>(FI_NODE_RECORD(records_.base(), node))->value;
  }
  uint32_t FreeLeaves() {
    FI_PSTAT s;
    EXPECT_EQ(FiGetPstat(block_.get(), &s), FI_OK);
    return s.free_leaves;
  }

  RecordTable records_{2 * kKeys};
  Block block_;
  FI_HDL hdl_ = nullptr;
};

TEST_F(FiTree, SameKeyTwiceAnswersExistsWithTheFirstNode) {
  FI_NODE *first = Insert(u"alpha", 1);
  KeyRecord *again = records_.Add(PadKey(u"alpha"), 2);
  FI_NODE *node = nullptr;
  EXPECT_EQ(FiInsert(hdl_, again->key, again, &node), FI_EXISTS);
  EXPECT_EQ(node, first);
  EXPECT_EQ(Value(node), 1u);
  EXPECT_EQ(FreeLeaves(), kKeys - 1);
}

TEST_F(FiTree, RemovingTheLastKeyEmptiesTheTreeForReuse) {
  std::vector<FI_NODE *> nodes = {Insert(u"ab", 1), Insert(u"ac", 2), Insert(u"b", 3)};
  for (FI_NODE *n : nodes) EXPECT_EQ(FiRemove(hdl_, n), FI_OK);
  EXPECT_EQ(FiRemove(hdl_, nodes[0]), FI_NOT_FOUND);
  std::u16string key = PadKey(u"ab");
  EXPECT_EQ(FiFindExact(hdl_, key.data(), nullptr), FI_NOT_FOUND);
  FI_NODE *found[4];
  uint32_t count = 9, cont = FI_FIND_START;
  EXPECT_EQ(FiFind(hdl_, PadKey(u"").data(), 4, found, &count, &cont), FI_NOT_FOUND);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(cont, 0u);
  FI_PSTAT s;
  ASSERT_EQ(FiGetPstat(block_.get(), &s), FI_OK);
  EXPECT_EQ(s.free_leaves, s.leaves);
  EXPECT_EQ(s.free_inner_nodes, s.inner_nodes);
  Insert(u"ab", 4);
  FI_NODE *node = nullptr;
  ASSERT_EQ(FiFindExact(hdl_, key.data(), &node), FI_OK);
  EXPECT_EQ(Value(node), 4u);
}

struct LongestPathCase {
  const char16_t *key;
  uint32_t length;
  int rc;
  uint32_t value;
};

TEST_F(FiTree, LongestPathTakesTheLongestStoredPrefixEndingAtASeparator) {
  Insert(u"10", 1);
  Insert(u"10.1", 2);
  Insert(u"10.1.2", 3);
  Insert(u"10.15", 4);
  const LongestPathCase cases[] = {
      {u"10.1.2.3", 8, FI_OK, 3},   {u"10.1.5.1", 8, FI_OK, 2},    {u"10.1/7", 6, FI_OK, 2},
      {u"10.1", 4, FI_OK, 2},       {u"10.15", 5, FI_OK, 4},       {u"10.16", 5, FI_OK, 1},
      {u"10x", 3, FI_NOT_FOUND, 0}, {u"11.1", 4, FI_NOT_FOUND, 0},
  };
  for (const LongestPathCase &c : cases) {
    std::u16string key = PadKey(c.key);
    FI_NODE *node = nullptr;
    ASSERT_EQ(FiFindLongestPath(hdl_, key.data(), c.length, u'.', u'/', &node), c.rc)
        << std::string(key.begin(), key.end());
    if (c.rc == FI_OK) {
      EXPECT_EQ(Value(node), c.value) << std::string(key.begin(), key.end());
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
  EXPECT_EQ(FreeLeaves(), kKeys);
  EXPECT_EQ(FiAttachIndex(block_.get(), 1, records_.base(), &attached), FI_NOT_FOUND);
  EXPECT_EQ(FiOpenIndex(block_.get(), 3, 0, records_.base(), kKeyUnits, &third), FI_OK);
}

struct InitCase {
  size_t misalign;
  uint32_t flags, indexes, keys;
  int rc;
};

TEST(FiInit, ArgumentsAndSecondInitialisation) {
  size_t size = FiGetAdmSize(1, 16, 0, FI_FLAG_FULL_INNER);
  Block block = ExactBlock(size + 8);
  const InitCase cases[] = {
      {4, 0, 1, 16, FI_BAD_ARG}, {0, 0, 1, 1, FI_BAD_ARG},  {0, 1, 1, 16, FI_BAD_ARG},
      {0, 4, 1, 16, FI_BAD_ARG}, {0, 0, 0, 16, FI_BAD_ARG}, {0, 3, 1, 16, FI_OK},
  };
  for (const InitCase &c : cases) {
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
}

// More than 999 keys get inner nodes for 60% of them, unless the full flag asks for all.
TEST(FiInit, InnerNodesForManyKeys) {
  struct {
    uint32_t keys, flags, inner;
  } const cases[] = {{999, 0, 999}, {1000, 0, 600}, {1000, FI_FLAG_FULL_INNER, 1000}};
  for (const auto &c : cases) {
    Block block = ExactBlock(FiGetAdmSize(1, c.keys, 0, c.flags));
    ASSERT_EQ(FiInit(block.get(), u"n", c.flags, 1, c.keys, 0, u' ', u' ', nullptr), FI_OK);
    FI_PSTAT s;
    ASSERT_EQ(FiGetPstat(block.get(), &s), FI_OK);
    EXPECT_EQ(s.inner_nodes, c.inner) << c.keys;
    EXPECT_EQ(s.free_inner_nodes, c.inner);
    EXPECT_EQ(s.free_leaves, c.keys);
  }
}

// Standard output of the printer.
template <typename Print>
std::string CaptureStdout(Print print) {
  testing::internal::CaptureStdout();
  print();
  return testing::internal::GetCapturedStdout();
}

// The printers are for debugging; only their first lines are fixed.
TEST_F(FiTree, PrintersStartWithTheirCountLines) {
  Insert(u"ab", 1);
  Insert(u"ac", 2);
  EXPECT_EQ(CaptureStdout([this] { FiDisplay(hdl_); }).substr(0, 13), " PT : 2 keys\n");
  EXPECT_NE(CaptureStdout([this] { FiAnalyze(block_.get()); }), "");

  Block list = ExactBlock(FiLGetAdmSize(2));
  FIL_HDL l;
  ASSERT_EQ(FiLInit(list.get(), 2, kKeyUnits, u' ', records_.base(), &l), FI_OK);
  KeyRecord *r = records_.Add(PadKey(u"one"), 1);
  ASSERT_EQ(FiLInsert(&l, r->key, r, nullptr), FI_OK);
  EXPECT_EQ(CaptureStdout([&l] { FiLDisplay(&l); }).substr(0, 14), "PTL: 1 keys.\n ");
}

}  // namespace
