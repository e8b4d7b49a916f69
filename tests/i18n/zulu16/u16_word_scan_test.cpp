// The word-at-a-time scans never read past the aligned word that holds a string's terminator:
// strings that end right before an inaccessible page are read and written without a fault, at
// even and at odd addresses.

#include "u16_string_test_support.h"

namespace {

using u16test::GetUnits;
using u16test::GuardedPage;
using u16test::W;
using u16test::Z;

// Every read-only function on a string whose terminator is the last readable unit (slack 0) or
// sits one byte before the guard at an odd address (slack 1).
TEST(U16WordScan, StringEndingAtGuardPageIsReadWithoutFault) {
  GuardedPage page;
  ASSERT_TRUE(page.ok());
  for (size_t slack : {0, 1}) {
    for (size_t len = 0; len < 10; ++len) {
      SCOPED_TRACE(testing::Message() << "slack " << slack << " len " << len);
      const std::string digits = std::string("123456789").substr(0, len);
      const std::u16string text = W(digits);
      ZUL_UTF16 *s = page.PlaceAtEnd(text, slack);
      EXPECT_EQ(strlenU16(s), len);
      EXPECT_EQ(strnlenU16(s, SIZE_MAX), len);
      EXPECT_EQ(strchrU16(s, u'x'), nullptr);
      EXPECT_EQ(strchrU16(s, 0), s + len);
      EXPECT_EQ(strrchrU16(s, u'x'), nullptr);
      EXPECT_EQ(memchrU16(s, u'x', len + 1), nullptr);
      EXPECT_EQ(strspnU16(s, Z(W("0123456789"))), len);
      EXPECT_EQ(strcmpU16(s, Z(text)), 0);
      EXPECT_EQ(strcasecmpU16(s, Z(text)), 0);
      EXPECT_EQ(strstrU16(s, Z(W("x"))), nullptr);
      ZUL_UTF16 *end = nullptr;
      EXPECT_EQ(strtolU16(s, &end, 10), std::strtol(digits.c_str(), nullptr, 10));
      EXPECT_EQ(end, len ? s + len : s);
      strtodU16(s, &end);
      EXPECT_EQ(end, len ? s + len : s);
      for (size_t dst_off : {0, 2, 3, 8}) {
        u16test::PlacedString dst(std::u16string(16, u'-'), dst_off);
        strcpyU16(dst.get(), s);
        EXPECT_EQ(GetUnits(dst.get(), len + 1), text + u'\0');
        EXPECT_EQ(strcpy_sU16(dst.get(), 16, s), 0);
        strncpyU16(dst.get(), s, len + 1);
        EXPECT_EQ(GetUnits(dst.get(), len + 1), text + u'\0');
      }
      ZUL_UTF16 *copy = strdupU16(s);
      EXPECT_EQ(std::u16string(copy), text);
      std::free(copy);
    }
  }
}

TEST(U16WordScan, DestinationEndingAtGuardPageIsWrittenWithoutFault) {
  GuardedPage page;
  ASSERT_TRUE(page.ok());
  for (size_t slack : {0, 1}) {
    for (size_t len = 0; len < 10; ++len) {
      std::u16string text = W(std::string("abcdefghi").substr(0, len));
      ZUL_UTF16 *dst = page.PlaceAtEnd(std::u16string(len, u'-'), slack);
      for (size_t src_off : {0, 1, 2, 6}) {
        u16test::PlacedString src(text, src_off);
        strcpyU16(dst, src.get());
        EXPECT_EQ(GetUnits(dst, len + 1), text + u'\0');
        strcpytoupperU16(dst, src.get());
        EXPECT_EQ(GetUnits(dst, len), W(std::string("ABCDEFGHI").substr(0, len)));
      }
      memsetU16(dst, u'#', len + 1);
      EXPECT_EQ(GetUnits(dst, len + 1), std::u16string(len + 1, u'#'));
    }
  }
}

// Strings in heap blocks of exactly their size: the aligned word holding the terminator reaches
// past the block, which only the one exempt word read may do.
TEST(U16WordScan, ExactlySizedHeapStringsPassTheAddressChecks) {
  for (size_t len = 0; len < 12; ++len) {
    const std::u16string text = W(std::string("abcdefghijkl").substr(0, len));
    auto *s = static_cast<ZUL_UTF16 *>(std::malloc((len + 1) * sizeof(ZUL_UTF16)));
    u16test::PutUnits(s, text + u'\0');
    ZUL_UTF16 *copy = strdupU16(s);
    EXPECT_EQ(strlenU16(copy), len);
    EXPECT_EQ(strchrU16(copy, u'#'), nullptr);
    EXPECT_EQ(memchrU16(copy, u'#', len + 1), nullptr);
    strcpyU16(copy, s);
    strncpyU16(copy, s, len + 1);
    EXPECT_EQ(strcpy_sU16(copy, len + 1, s), 0);
    EXPECT_EQ(std::u16string(copy), text);
    std::free(copy);
    std::free(s);
  }
}

TEST(U16AlignCheck, OddStringIsReportedWithItsFirst40BytesAndLeftAsItIs) {
  u16test::PlacedString odd(W("This text is longer than twenty units, so it is cut"), 1);
  u16test::PlacedString even(W("aligned"), 2);
  u16test::TraceCapture capture(0);
  EXPECT_EQ(dbgAlignCheckStringU16(even.get()), even.get());
  EXPECT_TRUE(capture.Messages().empty());
  EXPECT_EQ(dbgAlignCheckStringU16(odd.get()), odd.get());
  ASSERT_EQ(capture.Messages().size(), 1u);
  EXPECT_TRUE(u16test::StartsWith(capture.Messages()[0],
                                  "dbgAlignCheckStringU16(): ERROR: The following string is "
                                  "unaligned:\nThis text is longer \n"))
      << std::string(capture.Messages()[0].begin(), capture.Messages()[0].end());
  EXPECT_EQ(strlenU16(odd.get()), 51u);
}

// A check reached while a report is being written stays silent instead of recursing.
TEST(U16AlignCheck, NestedCheckDuringReportIsBlocked) {
  static u16test::PlacedString *odd_string = nullptr;
  static int calls = 0;
  u16test::PlacedString odd(W("odd"), 3);
  odd_string = &odd;
  calls = 0;
  u16_set_trace_func([](const ZUL_UTF16 *) {
    ++calls;
    dbgAlignCheckStringU16(odd_string->get());
  });
  dbgAlignCheckStringU16(odd.get());
  u16_set_trace_func(nullptr);
  EXPECT_EQ(calls, 1);
}

}  // namespace
