// The index tree, its capacities and a region relocated and shared through a file; the Ft slot
// table. Every block is a heap allocation of exactly the size asked for, so that ASan reports any
// write past its end.
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <random>

#include "fi_test_util.h"

namespace {

// A second insert of a key answers the first node, and removing every key gives back every node.
// The longest path is the longest stored prefix ending at a separator. Opening an index that is
// there answers it with 8, attaching one that isn't 4; closing an index frees its tree and
// invalidates its other handles. The printers' first lines are fixed.
TEST(FiTree, KeysLongestPathsIndexesAndPrinters) {
  constexpr uint32_t kKeys = 64;
  RecordTable records(2 * kKeys);
  Block block = ExactBlock(FiGetAdmSize(2, kKeys, sizeof(KeyRecord), 0));
  ASSERT_EQ(FiInit(block.get(), u"t", 0, 2, kKeys, sizeof(KeyRecord), u' ', u'*', nullptr), 0);
  FI_HDL hdl = nullptr, again = nullptr, attached = nullptr, second = nullptr, third = nullptr;
  ASSERT_EQ(FiOpenIndex(block.get(), 1, 0, records.get(), kKeyUnits, &hdl), FI_OK);
  auto insert = [&](const std::u16string &text, uint32_t value, int rc = FI_OK) {
    FI_NODE *node = nullptr;
    KeyRecord *r = records.Add(text, value);
    EXPECT_EQ(FiInsert(hdl, r->key, r, &node), rc) << std::string(text.begin(), text.end());
    return node;
  };
  std::vector<FI_NODE *> nodes = {insert(u"ab", 1), insert(u"ac", 2), insert(u"b", 3)};
  EXPECT_EQ(insert(u"ab", 9, FI_EXISTS), nodes[0]);
  EXPECT_EQ(Pstat(block.get()).free_leaves, kKeys - 3);
  for (FI_NODE *n : nodes) EXPECT_EQ(FiRemove(hdl, n), FI_OK);
  EXPECT_EQ(FiRemove(hdl, nodes[0]), FI_NOT_FOUND);
  FI_NODE *found[4];
  uint32_t count = 9, cont = FI_FIND_START;
  EXPECT_EQ(FiFind(hdl, PadKey(u"").data(), 4, found, &count, &cont), FI_NOT_FOUND);
  EXPECT_EQ(count + cont, 0u);
  FI_PSTAT s = Pstat(block.get());
  EXPECT_EQ(std::tie(s.free_leaves, s.free_inner_nodes), std::tie(s.leaves, s.inner_nodes));

  for (auto [text, value] : {std::pair{u"10", 1}, {u"10.1", 2}, {u"10.1.2", 3}, {u"10.15", 4}})
    insert(text, value);
  // Key and length; the value found, 0 for none.
  const std::tuple<const char16_t *, uint32_t, uint32_t> cases[] = {
      {u"10.1.2.3", 8, 3}, {u"10.1.5.1", 8, 2}, {u"10.1/7", 6, 2}, {u"10.1", 4, 2},
      {u"10.15", 5, 4},    {u"10.16", 5, 1},    {u"10x", 3, 0},    {u"11.1", 4, 0}};
  for (auto [text, length, value] : cases) {
    FI_NODE *node = nullptr;
    ASSERT_EQ(FiFindLongestPath(hdl, PadKey(text).data(), length, u'.', u'/', &node),
              value ? FI_OK : FI_NOT_FOUND)
        << value;
    EXPECT_TRUE(!value || ValueAt(records.get(), node) == value);
  }
  std::u16string key = PadKey(u"10.1/7");
  EXPECT_EQ(FiFindLongestPathOld(hdl, key.data(), 6, u'.', nullptr), FI_OK);
  EXPECT_EQ(FiFindLongestPath(hdl, key.data(), kKeyUnits + 1, u'.', u'.', nullptr), FI_BAD_ARG);

  auto captured = [](auto print) {
    testing::internal::CaptureStdout();
    print();
    return testing::internal::GetCapturedStdout();
  };
  EXPECT_EQ(captured([&] { FiDisplay(hdl); }).substr(0, 13), " PT : 4 keys\n");
  EXPECT_EQ(FiOpenIndex(block.get(), 1, FI_OPEN_BLOCK_SLOT, records.get(), 3, &again),
            FI_INITIALIZED);
  EXPECT_EQ(FiAttachIndex(block.get(), 7, records.get(), &attached), FI_NOT_FOUND);
  ASSERT_EQ(FiAttachIndex(block.get(), 1, records.get(), &attached), FI_OK);
  key = PadKey(u"10.1");
  EXPECT_EQ(FiFindExact(again, key.data(), nullptr), FI_OK);  // key length of the index, not 3
  EXPECT_EQ(FiFindExact(attached, key.data(), nullptr), FI_OK);
  ASSERT_EQ(FiOpenIndex(block.get(), 2, 0, records.get(), kKeyUnits, &second), FI_OK);
  EXPECT_EQ(FiOpenIndex(block.get(), 3, 0, records.get(), kKeyUnits, &third), FI_NO_SPACE);
  FI_NODE *node = nullptr;
  EXPECT_EQ(FiFindExact(second, key.data(), &node), FI_NOT_FOUND);
  ASSERT_EQ(FiFindExact(hdl, key.data(), &node), FI_OK);
  EXPECT_EQ(FiRemove(second, node), FI_NOT_FOUND);  // a leaf of another index

  EXPECT_EQ(FiCloseIndex(hdl), FI_OK);
  EXPECT_EQ(FiFindExact(attached, key.data(), nullptr), FI_BAD_ARG);
  EXPECT_EQ(FiDetachIndex(attached), FI_OK);
  EXPECT_EQ(FiDetachIndex(attached), FI_BAD_ARG);
  EXPECT_EQ(Pstat(block.get()).free_leaves, kKeys);
  EXPECT_EQ(FiAttachIndex(block.get(), 1, records.get(), &attached), FI_NOT_FOUND);
  EXPECT_EQ(FiOpenIndex(block.get(), 3, 0, records.get(), kKeyUnits, &third), FI_OK);
  EXPECT_EQ(FiDestroy(block.get()), FI_OK);

  Block list = ExactBlock(FiLGetAdmSize(2));
  FIL_HDL l;
  ASSERT_EQ(FiLInit(list.get(), 2, kKeyUnits, u' ', records.get(), &l), FI_OK);
  KeyRecord *r = records.Add(u"one", 1);
  ASSERT_EQ(FiLInsert(&l, r->key, r, nullptr), FI_OK);
  EXPECT_EQ(captured([&l] { FiLDisplay(&l); }).substr(0, 14), "PTL: 1 keys.\n ");
}

// More than 999 keys get inner nodes for 60% of them, unless the full flag asks for all.
TEST(FiInit, ArgumentsSecondInitialisationAndNodesRunningOut) {
  Block block = ExactBlock(FiGetAdmSize(1, 16, 0, FI_FLAG_FULL_INNER) + 8);
  // Misalignment, flags, indexes, keys; the answer.
  const std::tuple<size_t, uint32_t, uint32_t, uint32_t, int> cases[] = {
      {4, 0, 1, 16, FI_BAD_ARG},    {0, 0, 1, 1, FI_BAD_ARG},  {0, 1, 1, 16, FI_BAD_ARG},
      {0, 4, 1, 16, FI_BAD_ARG},    {0, 0, 0, 16, FI_BAD_ARG}, {0, 3, 1, 16, FI_OK},
      {0, 0, 1, 16, FI_INITIALIZED}};
  for (auto [misalign, flags, indexes, keys, rc] : cases)
    EXPECT_EQ(FiInit(block.get() + misalign, u"x", flags, indexes, keys, 0, u' ', u' ', nullptr),
              rc)
        << misalign << flags << indexes << keys;
  EXPECT_EQ(FiInit(block.get(), u"y", 0, 1, 16, 0, u' ', u' ', nullptr), FI_OK);
  EXPECT_EQ(FiDestroy(block.get()), FI_OK);
  EXPECT_EQ(FiDestroy(block.get()), FI_BAD_ARG);
  EXPECT_EQ(FiInit(block.get(), u"y", 0, 1, 16, 0, u' ', u' ', nullptr), FI_OK);

  // Random keys of 'a' and 'b' fill a tree until its leaves or its inner nodes run out (a binary
  // tree of n leaves has n - 1 inner nodes); an insert that fails gives its leaf back.
  for (auto [keys, flags, inner] :
       {std::array<uint32_t, 3>{999, 0, 999}, {1000, 0, 600}, {1000, FI_FLAG_FULL_INNER, 1000}}) {
    Block b = ExactBlock(FiGetAdmSize(1, keys, 0, flags));
    ASSERT_EQ(FiInit(b.get(), u"n", flags, 1, keys, 0, u' ', u' ', nullptr), FI_OK);
    FI_PSTAT s = Pstat(b.get());
    EXPECT_EQ(std::tie(s.inner_nodes, s.free_inner_nodes, s.free_leaves),
              std::tie(inner, inner, keys));
    std::vector<std::array<ZUL_UTF16, 16>> stored(keys + 1);  // record and key in one
    FI_HDL hdl = nullptr;
    ASSERT_EQ(FiOpenIndex(b.get(), 1, 0, stored.data(), 16, &hdl), FI_OK);
    std::mt19937 rng(7);
    uint32_t in = 0;
    for (int rc = FI_OK; rc != FI_NO_SPACE;) {
      for (ZUL_UTF16 &unit : stored[in]) unit = rng() % 2 ? u'a' : u'b';
      if ((rc = FiInsert(hdl, stored[in].data(), stored[in].data(), nullptr)) == FI_OK) ++in;
    }
    EXPECT_EQ(std::make_tuple(in, Pstat(b.get()).free_leaves),
              std::make_tuple(std::min(keys, inner + 1), keys - in));
    for (uint32_t i = 0; i < in; ++i) EXPECT_EQ(FiFindExact(hdl, stored[i].data(), nullptr), 0);
  }
}

// Index slots and the block's 256 handle slots run out; keys and records before the base or
// beyond an offset's reach are refused; so are hash tables and slot tables beyond 0x7FFFFFFF
// bytes.
TEST(FiCapacity, IndexesHandlesOffsetsAndSizes) {
  RecordTable records(2);
  Block block = ExactBlock(FiGetAdmSize(2, 8, 0, FI_FLAG_FULL_INNER));
  ASSERT_EQ(FiInit(block.get(), u"full", FI_FLAG_FULL_INNER, 2, 8, 0, u' ', u' ', nullptr), FI_OK);
  FI_HDL hdl = nullptr, other = nullptr;
  EXPECT_EQ(FiOpenIndex(block.get(), 1, 0, records.get(), 0, &hdl), FI_BAD_ARG);
  EXPECT_EQ(FiOpenIndex(block.get(), 1, 0, records.get(), FI_LEAF_POSITION, &hdl), FI_BAD_ARG);
  ASSERT_EQ(FiOpenIndex(block.get(), 2, FI_OPEN_BLOCK_SLOT, records.get(), 1, &other), FI_OK);
  std::vector<FI_HDL> handles(255);
  for (FI_HDL &h : handles)
    ASSERT_EQ(FiOpenIndex(block.get(), 2, FI_OPEN_BLOCK_SLOT, nullptr, 1, &h), FI_INITIALIZED);
  EXPECT_EQ(FiOpenIndex(block.get(), 2, FI_OPEN_BLOCK_SLOT, nullptr, 1, &other), FI_NO_SPACE);

  KeyRecord *first = records.Add(u"k", 1), *second = records.Add(u"k", 2);
  ASSERT_EQ(FiOpenIndex(block.get(), 1, 0, second, kKeyUnits, &hdl), FI_OK);
  EXPECT_EQ(FiInsert(hdl, first->key, first, nullptr), FI_BAD_ARG);  // before the base
  EXPECT_EQ(FiInsert(hdl, second->key, nullptr, nullptr), FI_BAD_ARG);
  EXPECT_EQ(FiInsert(hdl, second->key, second, nullptr), FI_OK);

  Block hash = ExactBlock(FiHshGetAdmSize(5, 40, 3));
  void *h = nullptr;
  EXPECT_EQ(FiHshGetAdmSize(5, 0x40000000, 3), 0u);
  EXPECT_EQ(FiHshInit(hash.get(), 1, 5, 0x40000000, 3, &h), FI_NO_SPACE);
  EXPECT_EQ(FiHshInit(hash.get(), 1, 0, 40, 3, &h), FI_BAD_ARG);
  EXPECT_EQ(FtGetAdmSize(0, 0x10000000, 13), 0u);
  EXPECT_EQ(FtInit(hash.get(), u"huge", 0, 0x10000000, 13, nullptr), FI_NO_SPACE);
}

// The region lives in a file mapped twice, at two addresses: keys added through either mapping
// are found through both, each with its record inside the mapping searched.
TEST(FiRelocation, RegionIsSharedThroughAFileAtTwoAddresses) {
  constexpr uint32_t kCount = 500;
  const size_t fi_part = (FiGetAdmSize(1, kCount + 1, sizeof(KeyRecord), 0) + 7) & ~size_t{7};
  const size_t size = fi_part + FtGetAdmSize(0, kCount + 1, sizeof(KeyRecord));
  int fd = memfd_create("fi_region", 0);
  ASSERT_EQ(ftruncate(fd, size), 0);
  char *maps[2];
  for (char *&map : maps) {
    map = static_cast<char *>(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
    ASSERT_NE(map, MAP_FAILED);
  }
  ASSERT_EQ(FiInit(maps[0], u"shared", 0, 1, kCount + 1, sizeof(KeyRecord), u' ', u' ', nullptr),
            FI_OK);
  ASSERT_EQ(FtInit(maps[0] + fi_part, u"records", 0, kCount + 1, sizeof(KeyRecord), nullptr), 0);
  auto key_of = [](uint32_t i) { return PadKey({u'k', char16_t(0x4E00 + i * 7919 % 20000)}); };
  // Adds the keys [from, to) through a mapping and finds every key below to.
  for (auto [map, from, to] : {std::tuple{maps[0], 0u, kCount},
                               {maps[1], kCount, kCount + 1},
                               {maps[0], kCount + 1, kCount + 1}}) {
    FI_HDL hdl = nullptr;
    ASSERT_EQ(FiOpenIndex(map, 1, 0, map, kKeyUnits, &hdl), from ? FI_INITIALIZED : FI_OK);
    for (uint32_t i = from; i < to; ++i) {
      KeyRecord *r = AddRecord(map + fi_part, key_of(i), i);
      ASSERT_EQ(FiInsert(hdl, r->key, r, nullptr), FI_OK);
    }
    for (uint32_t i = 0; i < to; ++i) {
      FI_NODE *node = nullptr;
      ASSERT_EQ(FiFindExact(hdl, key_of(i).data(), &node), FI_OK) << i;
      char *at = static_cast<char *>(FI_NODE_RECORD(map, node));
      ASSERT_TRUE(at > map + fi_part && at < map + size);
      auto *record = reinterpret_cast<KeyRecord *>(at);
      EXPECT_EQ(record->value, i);
      EXPECT_EQ(FI_NODE_KEY(map, node), record->key);
    }
    EXPECT_EQ(FiDetachIndex(hdl), FI_OK);
  }
  for (char *map : maps) munmap(map, size);
  close(fd);
}

// Refusals of FtInit, and its name blanked by FtDestroy. Slots come in order and freed ones come
// back first. FtRebuild asks for each slot, pushing free ones at the head; FtAutoRebuild decides
// by the links alone.
TEST(FtTable, InitOrderFreeAndRebuilds) {
  struct Slot {
    uint32_t in_use, id;
  };
  constexpr uint32_t kSlots = 6;
  Block block = ExactBlock(FtGetAdmSize(0, kSlots, sizeof(Slot)));
  void *hdl = nullptr, *p = nullptr;
  EXPECT_EQ(FtInit(block.get() + 4, u"t", 0, 2, 4, nullptr), FI_BAD_ARG);
  EXPECT_EQ(FtInit(block.get(), u"t", 0, 0, 4, nullptr), FI_BAD_ARG);
  EXPECT_EQ(FtInit(block.get(), u"t", FT_FLAG_REFUSED, 2, 4, nullptr), FI_NOT_FOUND);
  ASSERT_EQ(FtInit(block.get(), u"t", 1, 2, 4, &hdl), FI_OK);
  EXPECT_EQ(hdl, block.get());
  EXPECT_EQ(FtInit(block.get(), u"t", 0, 2, 4, nullptr), FI_INITIALIZED);
  EXPECT_EQ(FtDestroy(block.get()), FI_OK);
  EXPECT_EQ(std::u16string(reinterpret_cast<char16_t *>(block.get()), FI_NAME_LENGTH),
            std::u16string(FI_NAME_LENGTH, u' '));
  EXPECT_EQ(FtAlloc(block.get(), &p), FI_BAD_ARG);
  ASSERT_EQ(FtInit(block.get(), u"table", 0, kSlots, sizeof(Slot), nullptr), FI_OK);
  // Takes every free slot until the table is full; answers their numbers in the order taken.
  std::vector<Slot *> all;
  auto drain = [&] {
    std::vector<int> taken;
    for (int rc; (rc = FtAlloc(block.get(), &p)) != FI_NO_SPACE;) {
      EXPECT_EQ(rc, FI_OK);
      if (all.size() < kSlots) all.push_back(static_cast<Slot *>(p));
      taken.push_back(std::find(all.begin(), all.end(), p) - all.begin());
    }
    return taken;
  };
  auto free = [&](std::initializer_list<int> slots, int rc = FI_OK) {
    for (int i : slots) EXPECT_EQ(FtFree(block.get(), all[i]), rc) << i;
  };
  ASSERT_EQ(drain(), (std::vector<int>{0, 1, 2, 3, 4, 5}));
  free({4, 1});
  free({1}, FI_NOT_FOUND);
  EXPECT_EQ(FtFree(block.get(), reinterpret_cast<char *>(all[2]) + 4), FI_NOT_FOUND);
  EXPECT_EQ(drain(), (std::vector<int>{1, 4}));

  for (uint32_t i = 0; i < kSlots; ++i) all[i]->in_use = i % 3 == 0;
  auto is_free = [](void *r) { return int{static_cast<Slot *>(r)->in_use == 0}; };
  ASSERT_EQ(FtRebuild(block.get(), is_free), FI_OK);
  EXPECT_EQ(drain(), (std::vector<int>{5, 4, 2, 1}));
  free({3, 4});  // 3 still on the used list
  int calls = 0;
  auto count = [](void *context, void *) { return ++*static_cast<int *>(context), 0; };
  ASSERT_EQ(FtRebuild2(block.get(), count, &calls), FI_OK);
  EXPECT_EQ(calls, static_cast<int>(kSlots));
  EXPECT_TRUE(drain().empty());
  // Free slot 2 and 5, and slot 0 caught between the lists (both links all ones): free.
  free({2, 5});
  auto *links = reinterpret_cast<uint32_t *>(all[0]) - 2;
  links[0] = links[1] = 0xFFFFFFFF;
  ASSERT_EQ(FtAutoRebuild(block.get()), FI_OK);
  EXPECT_EQ(drain(), (std::vector<int>{5, 2, 0}));
  free({1});
}

}  // namespace
