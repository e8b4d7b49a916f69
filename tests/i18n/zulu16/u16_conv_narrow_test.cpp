// The 7-bit, 8-bit and EBCDIC forms with their error counters, the volatile result ring, and the
// wrappers whose source and destination may overlap.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "zul_u16conv.h"

namespace {

TEST(UcToA7, ReplacesAndCountsWhatIsNotSevenBit) {
  UcsToA7s_ErrReset();
  char out[8];
  const ZUL_UTF16 wide[] = {0x0100, u'b'};
  UcnToA7n(out, wide, 2);
  EXPECT_EQ(out[0], 35);
  EXPECT_EQ(UcToA7(0x7F), 0x7F);
  EXPECT_EQ(B8ToA7(static_cast<char>(0xE9)), '#');
  EXPECT_STREQ(UcsToA7s(out, u"x\u00E9\u20ACy"), "x##y");
  EXPECT_EQ(UcsToA7s_ErrCnt(), 4);
  // The B7 and Subst forms replace alike but don't count.
  EXPECT_STREQ(UcsToB7s(out, u"\u00E9z"), "#z");
  EXPECT_STREQ(UcsToA7sSubst(out, u"a\u00E9", '?'), "a?");
  EXPECT_STREQ(UcsToA7sSubst(out, u"a\u00E9", static_cast<char>(0xC0)), "a#");
  EXPECT_EQ(UcsToA7s_ErrCnt(), 4);
  UcsToA7s_ErrReset();
  EXPECT_EQ(UcsToA7s_ErrCnt(), 0);
}

TEST(UcsToA7sCheck, StopsAndTerminatesAtTheFirstWideUnit) {
  char out[8];
  EXPECT_EQ(UcsToA7sCheck(out, u"ab\u00E9c"), 1);
  EXPECT_STREQ(out, "ab");
  EXPECT_EQ(UcsToA7sCheck(out, u"abc"), 0);
  EXPECT_STREQ(out, "abc");
  EXPECT_EQ(UcsToE8sCheck(out, u"A\u00FF\u0100"), 1);
  EXPECT_EQ(std::string(out), "\xC1\xDF");
}

TEST(Ebcdic, TablesAreInverseAndKnownPointsHold) {
  for (int b = 0; b < 256; ++b) {
    ASSERT_LT(rscpuc2_E2U[b], 256);
    EXPECT_EQ(rscpuc2_U2E[rscpuc2_E2U[b]], b);
  }
  const struct {
    unsigned char e;
    char16_t u;
  } points[] = {{0x40, u' '},  {0xC1, u'A'}, {0x81, u'a'}, {0xF0, u'0'}, {0x7B, u'#'},
                {0x25, u'\n'}, {0xAD, u'['}, {0xBD, u']'}, {0x5F, u'^'}, {0x41, 0xA0}};
  for (const auto &p : points) {
    EXPECT_EQ(E8ToUc(static_cast<char>(p.e)), p.u) << int(p.e);
    EXPECT_EQ(static_cast<unsigned char>(B8ToE8(static_cast<char>(p.u))), p.e);
  }
}

TEST(Ebcdic, WideUnitsBecomeNumberSignAndCount) {
  UcsToE8s_ErrReset();
  EXPECT_EQ(UcToE8(0x0100), 123);
  char out[8];
  EXPECT_STREQ(UcsToE8s(out, u"A\u20AC"), "\xC1\x7B");
  EXPECT_EQ(UcsToE8s_ErrCnt(), 2);
  UcsToE8s_ErrReset();
  EXPECT_EQ(UcsToE8s_ErrCnt(), 0);
  char text[] = "Hello, [World] #1!";
  A7nToE8nInPlace(text, sizeof text - 1);
  EXPECT_EQ(text[0], static_cast<char>(0xC8));
  E8nToA7nInPlace(text, sizeof text - 1);
  EXPECT_STREQ(text, "Hello, [World] #1!");
}

TEST(VolatileRing, FortyFirstResultOverwritesTheFirst) {
  std::set<const void *> seen;
  ZUL_UTF16 *first = A7sToUcsVola("first");
  seen.insert(first);
  for (int i = 1; i < 40; ++i) seen.insert(A7sToUcsVola("other"));
  EXPECT_EQ(seen.size(), 40u);
  EXPECT_EQ(std::u16string(first), u"first");
  EXPECT_EQ(A7sToUcsVola("41st"), first);
  EXPECT_EQ(std::u16string(first), u"41st");
  // A larger request grows its slot; the slot keeps the larger buffer for smaller ones.
  const std::string big(5000, 'x');
  ZUL_UTF16 *grown = A7sToUcsVola(big.c_str());
  EXPECT_EQ(std::u16string(grown).size(), 5000u);
  for (int i = 0; i < 39; ++i) rscpuc_next_buff(1);
  EXPECT_EQ(rscpuc_next_buff(16), grown);
  EXPECT_EQ(rscpuce_thread_error_count, 0);
}

TEST(VolatileRing, ConversionsIntoTheRing) {
  EXPECT_STREQ(UcnToA7nVola(u"ab\u00E9zz", 3), "ab#");
  EXPECT_STREQ(UcsToA7sVola(nullptr), "");
  EXPECT_EQ(std::u16string(A7nToUcnVola("abc", 2)), u"ab");
  EXPECT_EQ(std::u16string(E8sToUcsVola("\xC1\xC2")), u"AB");
  EXPECT_STREQ(UcsToE8sVola(u"AB"), "\xC1\xC2");
  EXPECT_EQ(std::u16string(Utf8sToUcsVola(reinterpret_cast<const ZUL_RAW *>("\xC3\xA9\xFF"))),
            u"\u00E9\uFFFD");
  EXPECT_STREQ(reinterpret_cast<const char *>(UcsToUtf8sVola(u"\u00E9\U0001F600\xD800")),
               "\xC3\xA9\xF0\x9F\x98\x80\xEF\xBF\xBD");
}

TEST(Utf8sToUcsFastOverlap, SourceAndDestinationShareMemory) {
  // The UTF-8 text sits at the start of the buffer that receives its 16-bit form, and back.
  alignas(2) ZUL_RAW buffer[64] = {};
  static const char kText[] = "h\xC3\xA9llo w\xC3\xB6rld";
  std::memcpy(buffer, kText, sizeof kText);
  auto *units = reinterpret_cast<ZUL_UTF16 *>(buffer);
  size_t len = 0;
  EXPECT_EQ(Utf8sToUcsFastOverlap(units, 32, &len, buffer), 0);
  EXPECT_EQ(std::u16string(units), u"h\u00E9llo w\u00F6rld");
  EXPECT_EQ(UcsToUtf8sFastOverlap(buffer, 64, &len, units), 0);
  EXPECT_STREQ(reinterpret_cast<const char *>(buffer), kText);
  EXPECT_EQ(len, sizeof kText - 1);
  // The sized form reports what it wrote, also when the destination is too small.
  EXPECT_EQ(Utf8nToUcnFastOverlap_2(units, 2, &len, buffer, 4), 32);
  EXPECT_EQ(len, 2u);
}

}  // namespace
