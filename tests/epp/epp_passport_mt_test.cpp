// One passport shared by several threads: its mutex makes every call whole.

#include "epp_start.h"
#include "zul_epp.h"

namespace {

constexpr int kThreads = 6;
constexpr int kRounds = 400;
constexpr int kIncrements = 20000;

class EppPassportMt : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(StartPassportLibrary(), 0u);
    ASSERT_EQ(eppInit(&shared_), 0u);
  }
  void TearDown() override { EXPECT_EQ(eppDelete(shared_), 0u); }

  template <typename Work>
  void RunThreads(Work work) {
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) threads.emplace_back(work, t);
    for (auto &thread : threads) thread.join();
  }

  void *shared_ = nullptr;
};

// A whole field is always one writer's text: a getter never sees half of two.
TEST_F(EppPassportMt, FieldsAndCounterStayWhole) {
  std::atomic<int> torn{0};
  RunThreads([&](int t) {
    std::u16string mine(32, char16_t(u'A' + t));
    ZUL_UTF16 seen[32];
    uint32_t length = 0;
    for (int i = 0; i < kIncrements; ++i) eppIncrConnectionCounter(shared_, nullptr);
    for (int i = 0; i < kRounds; ++i) {
      eppSetUserId(shared_, mine.data(), 32);
      if (eppGetUserId(shared_, 32, seen, &length) != 0 || length != 32) ++torn;
      for (int k = 1; k < 32; ++k)
        if (seen[k] != seen[0]) ++torn;
    }
  });
  EXPECT_EQ(torn.load(), 0);
  uint32_t counter = 0;
  ASSERT_EQ(eppGetConnectionCounter(shared_, &counter), 0u);
  EXPECT_EQ(counter, uint32_t(kThreads * kIncrements));
}

// Items come and go (two writers, one part each) while the other threads serialise and print the
// passport; every stream parses.
TEST_F(EppPassportMt, ItemsChangeWhileThePassportIsSerialised) {
  std::atomic<int> failures{0};
  RunThreads([&](int t) {
    uint8_t stream[1024];
    ZUL_UTF16 text[4096];
    for (int i = 0; i < kRounds; ++i) {
      if (t < 2) {
        int32_t value = i;
        auto key = uint16_t(i % 5);
        if (eppSetItem(shared_, uint16_t(t), 1, key, EPP_ITEM_INT, 4, &value) != 0) ++failures;
        if (eppClearItem(shared_, uint16_t(t), 1, key) != 0) ++failures;
        continue;
      }
      uint32_t used = 0;
      if (eppSerialize(shared_, stream, sizeof stream, &used) != 0) ++failures;
      void *copy = nullptr;
      if (eppDeserialize(stream, used, &copy) != 0) ++failures;
      eppDelete(copy);
      if (eppPrint(shared_, text, 4096) != 0) ++failures;
    }
  });
  EXPECT_EQ(failures.load(), 0);
  uint32_t needed = 0;
  ASSERT_EQ(eppNeededNetworkSize(shared_, &needed), 0u);
  EXPECT_EQ(needed, 230u);  // every part went with its last item
}

}  // namespace
