// Starting the library, making, clearing and deleting passports, and where their memory comes
// from.
#include "epp_fixture.h"
#include "trace_capture.h"

namespace epp_test {
namespace {

using EppEnvironment = EppTest;

TEST_F(EppEnvironment, RefusesBadSettingsAndKeepsTheOldOnes) {
  const struct {
    uint16_t component;
    uint8_t version;
    EPP_ALLOC_FUNC alloc;
    int32_t level;
  } refused[] = {{0, 3, std::malloc, 1}, {10, 3, std::malloc, 1}, {8, 0, std::malloc, 1},
                 {8, 4, std::malloc, 1}, {8, 3, nullptr, 1},      {8, 3, std::malloc, -1}};
  for (const auto &r : refused)
    EXPECT_EQ(eppSetEnvironment(r.component, r.version, r.alloc, std::free, nullptr, r.level), 7u);
  EXPECT_EQ(eppGetActiveVersion(), 3);
  EXPECT_EQ(eppTraceFunc, &CaptureTrace);

  ASSERT_EQ(eppSetEnvironment(9, 2, std::malloc, std::free, CaptureTrace, 2), 0u);
  EXPECT_TRUE(Traced(u"eppSetEnvironment: set component = 9, version = 2, allocFunc = "));
  EXPECT_EQ(eppGetActiveVersion(), 2);
}

TEST_F(EppEnvironment, InitAndSetStopsAtTheFirstFailingSetter) {
  const ZUL_RAW id[16] = {9};
  void *h = nullptr;
  ASSERT_EQ(eppInitAndSet(nullptr, u"comp", 4, 3, u"user", 4, u"act", 3, 4, u"pre", 3, u"tx", 2,
                          u"cli", 3, id, id, 5, &h),
            0u);
  EXPECT_EQ(GetText(Own(h), eppGetClient, 3), u"cli");
  // The user id is too long: the passport stays with the caller, filled up to it.
  std::u16string long_user(33, u'u');
  EXPECT_EQ(eppInitAndSet(nullptr, u"comp", 4, 0, long_user.data(), 33, u"act", 3, 0, nullptr, 0,
                          nullptr, 0, nullptr, 0, nullptr, nullptr, 0, &h),
            6u);
  EXPECT_TRUE(Traced(u"eppInitAndSet: creating and/or initializing passport failed\n"));
  EXPECT_EQ(GetText(Own(h), eppGetComponentName, 32), u"comp");
  EXPECT_EQ(GetText(h, eppGetAction, 40), u"");
  // Fields above the active version are skipped, not refused. A cleared passport is new again,
  // of the active version.
  ASSERT_EQ(eppSetEnvironment(8, 1, std::malloc, std::free, CaptureTrace, 3), 0u);
  EXPECT_EQ(eppInitAndSet(nullptr, nullptr, 0, 0, nullptr, 0, nullptr, 0, 0, nullptr, 0, u"tx", 2,
                          u"cli", 3, id, id, 5, &h),
            0u);
  ASSERT_EQ(eppSetUserId(Own(h), u"x", 1), 0u);
  ASSERT_EQ(eppSetVersion(h, 3), 0u);
  int32_t value = 3;
  ASSERT_EQ(eppSetItem(h, 0, 1, 1, EPP_ITEM_INT, 4, &value), 0u);
  ASSERT_EQ(eppClear(h), 0u);
  EXPECT_EQ(GetText(h, eppGetUserId, 32), u"");
  EXPECT_EQ(Needed(h), 160u);
}

// Counts the blocks handed out and can refuse the n-th.
int alloc_blocks = 0, alloc_refused = -1;
void *CountingAlloc(size_t size) {
  return alloc_blocks++ == alloc_refused ? nullptr : std::malloc(size);
}

TEST_F(EppEnvironment, MemoryComesFromTheAllocationFunctionOnly) {
  ASSERT_EQ(eppSetEnvironment(8, 3, CountingAlloc, std::free, CaptureTrace, 3), 0u);
  alloc_blocks = 0;
  void *h = nullptr;
  ASSERT_EQ(eppInit(&h), 0u);
  Own(h);
  int32_t value = 1;
  ASSERT_EQ(eppSetItem(h, 0, 1, 1, EPP_ITEM_INT, 4, &value), 0u);
  ASSERT_EQ(eppSetItem(h, 0, 1, 2, EPP_ITEM_INT, 4, &value), 0u);
  EXPECT_EQ(alloc_blocks, 4);  // the passport, the part and two items
  // An item that can't be allocated leaves no part behind.
  alloc_refused = alloc_blocks + 1;
  EXPECT_EQ(eppSetItem(h, 1, 1, 1, EPP_ITEM_INT, 4, &value), 8u);
  EXPECT_TRUE(Traced(u"eppSetItem: unable to set item (rc=8)\n"));
  EXPECT_EQ(Needed(h), 226u + 12 + 2 * 11 + 4);
  alloc_refused = alloc_blocks;
  void *none = nullptr;
  EXPECT_EQ(eppInit(&none), 8u);
  alloc_refused = -1;
}

TEST_F(EppEnvironment, TheSystemHookWritesToTheLibraryTrace) {
  const std::u16string line = u"*** ERROR => eppGetUserId: passport handle not valid\n";
  for (int level : {1, 0}) {
    tlm_test::TraceCapture trace(level);
    eppTraceOutput(line.c_str());
    EXPECT_EQ(trace.Text(), level == 0 ? u"" : tlm_test::TraceCapture::ThreadPrefix() + line);
  }
}

}  // namespace
}  // namespace epp_test
