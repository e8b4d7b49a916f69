// Items of the variable parts: limits, accounting, lookup and removal.
#include "epp_fixture.h"

namespace epp_test {
namespace {

using EppItems = EppTest;

uint32_t SetInt(void *h, uint16_t part, uint16_t app, uint16_t key, int32_t value = 1) {
  return eppSetItem(h, part, app, key, EPP_ITEM_INT, 4, &value);
}

TEST_F(EppItems, FiveItemsPerApplicationAndPart) {
  void *h = New(3);
  for (uint16_t key = 1; key <= 5; ++key) ASSERT_EQ(SetInt(h, 0, 7, key), 0u);
  EXPECT_EQ(SetInt(h, 0, 7, 6), 9u);
  EXPECT_TRUE(Traced(u"eppSetItem: application 7 has reached it's maximum number of items (5)\n"));
  EXPECT_EQ(SetInt(h, 0, 8, 6), 0u);  // another application
  EXPECT_EQ(SetInt(h, 1, 7, 6), 0u);  // another part
  // An existing key is refused before the count.
  EXPECT_EQ(SetInt(h, 0, 7, 5), 1u);
  EXPECT_TRUE(Traced(u"eppSetItem: item 5 for application 7 already exists\n"));
}

// Strings and byte streams take 1 to 64 units or bytes (parts alternate, so that room is left).
TEST_F(EppItems, LengthsOfBytesAndStrings) {
  void *h = New(3);
  std::u16string text(65, u's');
  Bytes bytes(65, 0xAB);
  uint16_t key = 0;
  for (const auto &[type, value] : {std::pair<uint8_t, const void *>{EPP_ITEM_STRING, text.data()},
                                    {EPP_ITEM_BYTES, bytes.data()}})
    for (uint32_t length : {64, 65, 0}) {
      ++key;
      EXPECT_EQ(eppSetItem(h, key % 2, 1, key, type, length, value), length == 64 ? 0u : 6u);
    }
  EXPECT_TRUE(Traced(u"eppSetItem: invalid string length (65), maximum length (64)\n"));
  EXPECT_TRUE(Traced(u"eppSetItem: invalid byte stream size (65), maximum size (64)\n"));
}

// The part's 24 bytes plus 24 per item plus its value (strings with a terminator) may reach 512.
TEST_F(EppItems, APartTakes512AccountedBytes) {
  void *h = New(3);
  std::u16string text(64, u's');
  const ZUL_RAW two[2] = {1, 2};
  for (uint16_t key = 1; key <= 3; ++key)  // 3 * (24 + 130)
    ASSERT_EQ(eppSetItem(h, 0, 1, key, EPP_ITEM_STRING, 64, text.data()), 0u);
  ASSERT_EQ(eppSetItem(h, 0, 2, 1, EPP_ITEM_BYTES, 2, two), 0u);  // 24 + 2: 512 in all
  EXPECT_EQ(eppSetItem(h, 0, 2, 2, 99, 0, nullptr), 3u);          // any type takes 24
  EXPECT_TRUE(Traced(u"maximum length of the variable part (512) already reached (512)\n"));
  // Room stays taken after an item goes.
  ASSERT_EQ(eppClearItem(h, 0, 2, 1), 0u);
  EXPECT_EQ(eppSetItem(h, 0, 2, 1, EPP_ITEM_BYTES, 2, two), 3u);

  const ZUL_RAW uuid[16] = {};
  for (uint16_t key = 1; key <= 5; ++key) {  // 24 + 5 * 40 + 5 * 28 = 364
    ASSERT_EQ(eppSetItem(h, 2, 1, key, EPP_ITEM_UUID, 16, uuid), 0u);
    ASSERT_EQ(SetInt(h, 2, 2, key), 0u);
  }
  ASSERT_EQ(eppSetItem(h, 2, 3, 1, EPP_ITEM_STRING, 60, text.data()), 0u);  // 146: 510
  EXPECT_EQ(eppSetItem(h, 2, 3, 2, EPP_ITEM_BYTES, 2, two), 3u);
}

TEST_F(EppItems, PartIdsAndSlots) {
  void *h = New(3);
  EXPECT_EQ(SetInt(h, 3, 1, 1), 7u);
  EXPECT_TRUE(Traced(u"eppSetItem: passed variable part id not valid\n"));
  EXPECT_EQ(SetInt(New(2), 0, 1, 1), 4u);
  // A failed item takes its new part along; an existing part stays.
  EXPECT_EQ(eppSetItem(h, 2, 1, 1, EPP_ITEM_BYTES, 0, ""), 6u);
  EXPECT_EQ(Needed(h), 230u);
  ASSERT_EQ(SetInt(h, 2, 1, 1), 0u);
  EXPECT_EQ(SetInt(h, 2, 1, 1), 1u);
  ASSERT_EQ(SetInt(h, 0, 1, 1), 0u);
  EXPECT_EQ(Needed(h), 230u + 2 * (12 + 11));
  // Three ids, two slots; a freed slot is taken again.
  EXPECT_EQ(SetInt(h, 1, 1, 1), 8u);
  EXPECT_TRUE(Traced(u"eppSetItem: could not create variable part\n"));
  ASSERT_EQ(eppClearVarPart(h, 2), 0u);
  EXPECT_EQ(SetInt(h, 1, 1, 1), 0u);
  EXPECT_EQ(eppClearVarPart(h, 2), 0u);  // none: still 0
}

TEST_F(EppItems, Lookup) {
  void *h = New(3);
  ASSERT_EQ(SetInt(h, 0, 4, 1, -5), 0u);
  ASSERT_EQ(eppSetItem(h, 0, 6, 2, EPP_ITEM_STRING, 3, u"xyz"), 0u);
  uint8_t type = 0;
  uint32_t length = 0;
  char16_t text[3];
  EXPECT_EQ(eppGetItem(h, 0, 6, 2, 5, text, &type, &length), 5u);
  EXPECT_TRUE(Traced(u"eppGetItem: output area to small for data (6 > 5)\n"));
  EXPECT_EQ(eppGetItem(h, 0, 6, 2, 6, text, &type, &length), 0u);
  EXPECT_EQ(std::u16string(text, 3), u"xyz");
  EXPECT_EQ(type, EPP_ITEM_STRING);
  EXPECT_EQ(eppGetItem(h, 0, 6, 3, 6, text, nullptr, nullptr), 2u);
  EXPECT_EQ(eppGetItemLength(h, 1, 6, 2, &length), 2u);
  EXPECT_TRUE(Traced(u"eppGetItemLength: variable part not found\n"));
  // By number (from 1) and in the count, whatever the application.
  uint16_t app = 0, key = 0, count = 0;
  int32_t number = 0;
  EXPECT_EQ(eppGetItemWithNumber(h, 0, 999, 1, 4, &app, &key, &type, &number, &length), 0u);
  EXPECT_EQ(number, -5);
  EXPECT_EQ(eppGetItemWithNumber(h, 0, 4, 2, 0, &app, &key, nullptr, nullptr, nullptr), 0u);
  EXPECT_EQ(app, 6);
  for (uint16_t beyond : {3, 0})
    EXPECT_EQ(eppGetItemWithNumber(h, 0, 4, beyond, 0, &app, &key, nullptr, nullptr, nullptr), 2u);
  EXPECT_EQ(eppGetItemCount(h, 0, 4, &count), 0u);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(eppGetItemCount(h, 2, 4, &count), 0u);
  EXPECT_EQ(count, 0);
}

TEST_F(EppItems, ClearingTheLastItemRemovesThePart) {
  void *h = New(3);
  for (uint16_t key = 1; key <= 3; ++key) ASSERT_EQ(SetInt(h, 0, 1, key), 0u);
  ASSERT_EQ(eppClearItem(h, 0, 1, 2), 0u);  // from the middle of the list
  EXPECT_EQ(eppClearItem(h, 0, 1, 2), 2u);
  uint16_t key = 0;
  EXPECT_EQ(eppGetItemWithNumber(h, 0, 0, 2, 0, nullptr, &key, nullptr, nullptr, nullptr), 0u);
  EXPECT_EQ(key, 3);
  ASSERT_EQ(eppClearItem(h, 0, 1, 1), 0u);
  ASSERT_EQ(eppClearItem(h, 0, 1, 3), 0u);
  EXPECT_EQ(Needed(h), 230u);
}

}  // namespace
}  // namespace epp_test
