#include <vector>

#include "fi_test_util.h"

namespace {

struct Slot {
  uint32_t in_use;
  uint32_t id;
};

class FtTable : public ::testing::Test {
 protected:
  static constexpr uint32_t kCount = 6;
  void SetUp() override {
    ASSERT_EQ(FtInit(block_.get(), u"table", 0, kCount, sizeof(Slot), nullptr), FI_OK);
  }
  // Takes every free slot; answers them in the order the free list gives them.
  std::vector<Slot *> DrainFree() {
    std::vector<Slot *> taken;
    void *p = nullptr;
    while (FtAlloc(block_.get(), &p) == FI_OK) taken.push_back(static_cast<Slot *>(p));
    return taken;
  }
  Block block_ = ExactBlock(FtGetAdmSize(0, kCount, sizeof(Slot)));
};

TEST_F(FtTable, SlotsComeInOrderAndFreedOnesComeBackFirst) {
  std::vector<Slot *> all = DrainFree();
  ASSERT_EQ(all.size(), kCount);
  for (size_t i = 1; i < all.size(); ++i)
    EXPECT_EQ(reinterpret_cast<char *>(all[i]) - reinterpret_cast<char *>(all[i - 1]), 16);
  EXPECT_EQ(FtFree(block_.get(), all[4]), FI_OK);
  EXPECT_EQ(FtFree(block_.get(), all[1]), FI_OK);
  EXPECT_EQ(FtFree(block_.get(), all[1]), FI_NOT_FOUND);
  EXPECT_EQ(FtFree(block_.get(), reinterpret_cast<char *>(all[2]) + 4), FI_NOT_FOUND);
  EXPECT_EQ(DrainFree(), (std::vector<Slot *>{all[1], all[4]}));
}

TEST_F(FtTable, RebuildFromRecordsAndFromLinks) {
  std::vector<Slot *> all = DrainFree();
  for (uint32_t i = 0; i < kCount; ++i) all[i]->in_use = i % 3 == 0;
  ASSERT_EQ(
      FtRebuild(block_.get(), [](void *r) { return int{static_cast<Slot *>(r)->in_use == 0}; }),
      FI_OK);
  // Free slots, each pushed at the head in order: the last comes first.
  EXPECT_EQ(DrainFree(), (std::vector<Slot *>{all[5], all[4], all[2], all[1]}));
  EXPECT_EQ(FtFree(block_.get(), all[3]), FI_OK);  // still on the used list
  EXPECT_EQ(FtFree(block_.get(), all[4]), FI_OK);

  int calls = 0;
  auto count = [](void *context, void *) { return ++*static_cast<int *>(context), 0; };
  ASSERT_EQ(FtRebuild2(block_.get(), count, &calls), FI_OK);
  EXPECT_EQ(calls, static_cast<int>(kCount));
  EXPECT_TRUE(DrainFree().empty());

  // The links alone decide: free slot 2 and 5, and slot 0 caught between the lists (both links
  // all ones), which counts as free.
  EXPECT_EQ(FtFree(block_.get(), all[2]), FI_OK);
  EXPECT_EQ(FtFree(block_.get(), all[5]), FI_OK);
  auto *links = reinterpret_cast<uint32_t *>(all[0]) - 2;
  links[0] = links[1] = 0xFFFFFFFF;
  ASSERT_EQ(FtAutoRebuild(block_.get()), FI_OK);
  EXPECT_EQ(DrainFree(), (std::vector<Slot *>{all[5], all[2], all[0]}));
  EXPECT_EQ(FtFree(block_.get(), all[1]), FI_OK);
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
