// Copy, scan, compare, search and token functions on 16-bit text, at every position of a string
// relative to the 8-byte words that the scans read, odd addresses included; the bounded copies,
// 16-bit and 8-bit forms alike; allocation in units, the checked copies and the 8-bit case
// functions.

#include <cerrno>

#include "u16_string_test_support.h"

namespace {

using u16test::GetUnits;
using u16test::PlacedString;
using u16test::W;
using u16test::Z;

constexpr char16_t kCanary = 0xEEEE;

// Non-zero units, among them 0x8000 and units with zero bytes, which the word test must not take
// for terminators.
std::u16string Text(size_t len, size_t seed = 0) {
  static const char16_t kUnits[] = {0x8000, u'a', 0xFFFF, 0x0100, 0x7FFF, 0x8001, u'Z', 0x00FF};
  std::u16string s;
  for (size_t i = 0; i < len; ++i) s.push_back(kUnits[(i + seed) % 8]);
  return s;
}

TEST(U16StringCopy, EveryPhaseOfSourceAndDestination) {
  for (size_t src_off = 0; src_off < 16; ++src_off) {
    for (size_t dst_off = 0; dst_off < 16; ++dst_off) {
      for (size_t len : {0, 1, 3, 4, 5, 7, 8, 9, 15, 16, 17, 40}) {
        SCOPED_TRACE(testing::Message() << src_off << " " << dst_off << " " << len);
        std::u16string text = Text(len, src_off);
        PlacedString src(text, src_off);
        PlacedString dst(std::u16string(len + 8, kCanary), dst_off);
        EXPECT_EQ(strcpyU16(dst.get(), src.get()), dst.get());
        EXPECT_EQ(GetUnits(dst.get(), len + 8), text + u'\0' + std::u16string(7, kCanary));

        // strncpyU16 pads to count with zeros and stops exactly at count.
        for (size_t count : {len / 2, len, len + 3}) {
          PlacedString pad(std::u16string(len + 8, kCanary), dst_off);
          strncpyU16(pad.get(), src.get(), count);
          std::u16string want = text.substr(0, count);
          want.resize(count, u'\0');
          EXPECT_EQ(GetUnits(pad.get(), count + 1), want + kCanary);
        }
      }
    }
  }
}

TEST(U16StringCopy, CatAppendsAndNcatAlwaysTerminates) {
  for (size_t off : {0, 1, 2, 6}) {
    PlacedString dst(W("ab") + std::u16string(12, kCanary), off);
    u16test::PutUnits(dst.get(), W("ab") + u'\0');
    strcatU16(dst.get(), Z(W("cde")));
    EXPECT_EQ(GetUnits(dst.get(), 6), W("abcde") + u'\0');
    strncatU16(dst.get(), Z(W("fghij")), 2);
    EXPECT_EQ(GetUnits(dst.get(), 9), W("abcdefg") + u'\0' + kCanary);
    strncatU16(dst.get(), Z(W("x")), 5);
    EXPECT_EQ(GetUnits(dst.get(), 9), W("abcdefgx") + u'\0');
  }
}

TEST(U16StringScan, FillLengthAndSearchAtEveryPhase) {
  for (size_t off = 0; off < 16; ++off) {
    for (size_t len = 0; len < 24; ++len) {
      SCOPED_TRACE(testing::Message() << off << " " << len);
      std::u16string text = Text(len, off);
      PlacedString s(text, off), fill(std::u16string(len + 4, kCanary), off);
      EXPECT_EQ(memsetU16(fill.get(), 0x8001, len), fill.get());
      EXPECT_EQ(GetUnits(fill.get(), len + 1), std::u16string(len, 0x8001) + kCanary);
      EXPECT_EQ(strlenU16(s.get()), len);
      EXPECT_EQ(strnlenU16(s.get(), len / 2), len / 2);
      EXPECT_EQ(strnlenU16(s.get(), len + 5), len);
      EXPECT_EQ(strchrU16(s.get(), 0), s.get() + len);
      EXPECT_EQ(strchrU16(s.get(), u'#'), nullptr);
      EXPECT_EQ(memchrU16(s.get(), u'#', len + 1), nullptr);
      EXPECT_EQ(memchrU16(s.get(), 0, len + 1), s.get() + len);
      EXPECT_EQ(memchrU16(s.get(), 0, len), nullptr);
      for (size_t at = 0; at < len; at += 3) {
        std::u16string marked = text;
        marked[at] = u'#';
        if (at + 1 < len) marked[len - 1] = u'#';
        PlacedString m(marked, off);
        EXPECT_EQ(strchrU16(m.get(), u'#'), m.get() + at);
        EXPECT_EQ(memchrU16(m.get(), u'#', len), m.get() + at);
        EXPECT_EQ(memchrU16(m.get(), u'#', at), nullptr);
        EXPECT_EQ(strrchrU16(m.get(), u'#'), m.get() + (at + 1 < len ? len - 1 : at));
      }
    }
  }
}

TEST(U16StringCompare, UnitsCompareUnsignedAndCaseBlindAfterLowering) {
  struct Case {
    std::u16string a, b;
    size_t n;
    int cmp, ncmp, casecmp;  // signs
  };
  const Case cases[] = {{W("abc"), W("abc"), 9, 0, 0, 0},
                        {W("abc"), W("abd"), 2, -1, 0, -1},
                        {W("ab"), W("abc"), 9, -1, -1, -1},
                        {u"\u00E4x", u"ax", 9, 1, 1, 1},
                        {u"a\xFFFF", u"a\x0041", 1, 1, 0, 1},  // 0xFFFF sorts after everything
                        {W("HeLLo"), W("hello"), 9, -1, -1, 0},
                        {u"\u00C4B", u"\u00E4b", 1, -1, -1, 0},
                        {W(""), W(""), 0, 0, 0, 0}};
  auto sign = [](int v) { return (v > 0) - (v < 0); };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::string(c.a.begin(), c.a.end()));
    EXPECT_EQ(sign(strcmpU16(Z(c.a), Z(c.b))), c.cmp);
    EXPECT_EQ(sign(strncmpU16(Z(c.a), Z(c.b), c.n)), c.ncmp);
    EXPECT_EQ(sign(strcasecmpU16(Z(c.a), Z(c.b))), c.casecmp);
    EXPECT_EQ(sign(strncasecmpU16(Z(c.a), Z(c.b), 0)), 0);
    EXPECT_EQ(sign(memcmpU16(Z(c.a), Z(c.b), std::min(c.a.size(), c.b.size()) + 1)), c.cmp);
  }
}

TEST(U16StringSearch, SpansBreaksAndSubstrings) {
  const std::u16string s = W("key = value; other");
  EXPECT_EQ(strspnU16(Z(s), Z(W("abcdefghijklmnopqrstuvwxyz"))), 3u);
  EXPECT_EQ(strspnU16(Z(s), Z(W(""))), 0u);
  EXPECT_EQ(strcspnU16(Z(s), Z(W("=;"))), 4u);
  EXPECT_EQ(strcspnU16(Z(s), Z(W("#"))), s.size());
  EXPECT_EQ(strpbrkU16(Z(s), Z(W(";="))), Z(s) + 4);
  EXPECT_EQ(strpbrkU16(Z(s), Z(W("#"))), nullptr);
  EXPECT_EQ(strstrU16(Z(s), Z(W("value"))), Z(s) + 6);
  EXPECT_EQ(strstrU16(Z(s), Z(W(""))), Z(s));
  EXPECT_EQ(strstrU16(Z(s), Z(W("others"))), nullptr);
  const std::u16string hay = W("aaab");
  EXPECT_EQ(strstrU16(Z(hay), Z(W("aab"))), Z(hay) + 1);
}

TEST(U16StringToken, ReentrantAndStaticFormsSplitAlike) {
  std::u16string a = W(",,one,,two;three;;"), b = a;
  const std::u16string delim = W(",;");
  ZUL_UTF16 *save = nullptr;
  std::vector<std::u16string> reentrant, shared;
  for (ZUL_UTF16 *t = strtok_rU16(a.data(), Z(delim), &save); t != nullptr;
       t = strtok_rU16(nullptr, Z(delim), &save))
    reentrant.emplace_back(t);
  for (ZUL_UTF16 *t = strtokU16(b.data(), Z(delim)); t != nullptr; t = strtokU16(nullptr, Z(delim)))
    shared.emplace_back(t);
  const std::vector<std::u16string> want = {W("one"), W("two"), W("three")};
  EXPECT_EQ(reentrant, want);
  EXPECT_EQ(shared, want);
  EXPECT_EQ(strtok_rU16(nullptr, Z(delim), &save), nullptr);  // stays at the end

  char raw[] = "  x y  ";
  char *rsave = nullptr;
  EXPECT_STREQ(strtok_rRFB(raw, " ", &rsave), "x");
  EXPECT_STREQ(strtok_rRFB(nullptr, " ", &rsave), "y");
  EXPECT_EQ(strtok_rRFB(nullptr, " ", &rsave), nullptr);
}

template <class Unit>
struct Forms {
  static constexpr auto cpy = strcpy_sU16, cat = strcat_sU16;
  static constexpr auto ncpy = strncpy_sU16, ncat = strncat_sU16;
  static constexpr auto mem = memcpy_sU16, move = memmove_sU16;
};
template <>
struct Forms<char> {
  static constexpr auto cpy = strcpy_sRFB, cat = strcat_sRFB;
  static constexpr auto ncpy = strncpy_sRFB, ncat = strncat_sRFB;
  static constexpr auto mem = memcpy_sRFB, move = memmove_sRFB;
};

template <class Unit>
std::basic_string<Unit> S(const char *text) {
  return {text, text + std::char_traits<char>::length(text)};
}

template <class T>
class Bounded : public testing::Test {};
using Widths = testing::Types<ZUL_UTF16, char>;
TYPED_TEST_SUITE(Bounded, Widths);

// Size 0 touches nothing and answers 0, a result that doesn't fit empties the destination and
// answers 34, success answers 0. Each form runs on a destination of 8 units that starts as
// `initial` and '-' units, at every size from 0 to 7; it fits from `fits_from` on.
TYPED_TEST(Bounded, EachFormFitsFromItsSizeOn) {
  using Unit = TypeParam;
  using F = Forms<Unit>;
  const auto abc = S<Unit>("abc"), cdef = S<Unit>("cdef");
  const struct {
    const char *name, *initial;
    size_t fits_from;
    const char *want;
    std::function<int(Unit *, size_t)> op;
  } rows[] = {
      {"cpy", "xy", 4, "abc", [&](Unit *d, size_t n) { return F::cpy(d, n, abc.c_str()); }},
      {"ncpy 2", "xy", 3, "ab", [&](Unit *d, size_t n) { return F::ncpy(d, n, abc.c_str(), 2); }},
      // "ab" + "cdef" needs 7 units; with size 1 or 2 "ab" has no terminator within size.
      {"cat", "ab", 7, "abcdef", [&](Unit *d, size_t n) { return F::cat(d, n, cdef.c_str()); }},
      {"ncat 2", "ab", 5, "abcd",
       [&](Unit *d, size_t n) { return F::ncat(d, n, cdef.c_str(), 2); }},
      {"mem 4", "", 4, "abc", [&](Unit *d, size_t n) { return F::mem(d, n, abc.c_str(), 4); }}};
  for (const auto &r : rows) {
    for (size_t size = 0; size <= 7; ++size) {
      SCOPED_TRACE(testing::Message() << r.name << " size " << size);
      std::basic_string<Unit> dst = S<Unit>(r.initial) + Unit(0);
      dst.resize(8, Unit('-'));
      const auto before = dst;
      const int rc = r.op(dst.data(), size);
      if (size == 0) {
        EXPECT_EQ(rc, 0);
        EXPECT_TRUE(dst == before);
      } else if (size < r.fits_from) {
        EXPECT_EQ(rc, ERANGE);
        EXPECT_EQ(dst[0], Unit(0));
      } else {
        EXPECT_EQ(rc, 0);
        EXPECT_TRUE(std::basic_string<Unit>(dst.c_str()) == S<Unit>(r.want));
      }
    }
  }
  auto buf = S<Unit>("abcdef");
  EXPECT_EQ(F::move(buf.data() + 1, 5, buf.data(), 4), 0);
  EXPECT_TRUE(buf == S<Unit>("aabcdf"));
  Unit dst[4] = {Unit('x')};
  EXPECT_EQ(F::cpy(dst, 4, nullptr), EINVAL);
  EXPECT_EQ(dst[0], Unit(0));
  EXPECT_EQ(F::cpy(nullptr, 4, dst), EINVAL);
  EXPECT_EQ(F::mem(dst, 4, nullptr, 1), EINVAL);
}

TEST(U16Memory, AllocatorsCountUnitsAndRefuseOverflow) {
  auto *p = static_cast<ZUL_UTF16 *>(callocU(3, 2));
  ASSERT_NE(p, nullptr);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(p[i], 0);  // 6 zero units, 12 bytes
  p = static_cast<ZUL_UTF16 *>(reallocU(p, 10));
  ASSERT_NE(p, nullptr);
  p[9] = u'z';
  std::free(p);
  EXPECT_EQ(mallocU(SIZE_MAX / 2 + 1), nullptr);
  EXPECT_EQ(callocU(1, SIZE_MAX / 2 + 1), nullptr);

  ZUL_UTF16 buf[6] = {1, 2, 3, 4, 5, 6};
  memmoveU(buf + 1, buf, 4);
  EXPECT_EQ(std::u16string(buf, buf + 6), (std::u16string{1, 1, 2, 3, 4, 6}));
  memcpyU(buf, buf + 4, 2);
  EXPECT_EQ(buf[0], 4);
  EXPECT_EQ(buf[1], 6);
}

TEST(U16Memory, CheckedCopyReportsOverlapAndStillMoves) {
  u16test::TraceCapture capture(0);
  ZUL_UTF16 buf[6] = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(memcpyUChk(buf + 4, buf, 2, "caller", 42), buf + 4);  // disjoint: silent
  EXPECT_TRUE(capture.Messages().empty());
  EXPECT_EQ(memcpyUChk(buf + 1, buf, 3, "caller", 42), buf + 1);
  EXPECT_EQ(std::u16string(buf, buf + 4), (std::u16string{1, 1, 2, 3}));
  ASSERT_EQ(capture.Messages().size(), 1u);
  EXPECT_TRUE(u16test::StartsWith(capture.Messages()[0],
                                  "memcpyUChk(): ERROR: source and destination overlap: 3 units"));
  EXPECT_NE(capture.Messages()[0].find(W("[caller 42]")), std::u16string::npos);

  char bytes[] = "abcdef";
  memcpyRChk(bytes + 2, bytes, 3, nullptr, 0);
  EXPECT_STREQ(bytes, "ababcf");
  ASSERT_EQ(capture.Messages().size(), 2u);
  EXPECT_TRUE(u16test::StartsWith(capture.Messages()[1], "memcpyRChk(): ERROR"));
}

TEST(U16Raw, CaseFunctionsOnBytes) {
  char text[] = "MiXeD 123";
  EXPECT_STREQ(strtolowerR(text), "mixed 123");
  EXPECT_STREQ(strtoupperR(text), "MIXED 123");
  EXPECT_EQ(strcasecmpR("Hello", "hELLO"), 0);
  EXPECT_LT(strncasecmpR("abc", "ABD", 3), 0);
  EXPECT_EQ(strncasecmpR("abc", "ABD", 2), 0);
  EXPECT_EQ(strnlenRFB("abc", 2), 2u);
}

}  // namespace
