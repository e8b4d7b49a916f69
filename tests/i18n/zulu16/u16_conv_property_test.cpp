// Properties of the whole family on random text: agreement with ICU on valid text; a conversion
// stopped by a small destination or a cut source and then resumed gives what one conversion
// gives, at any alignment; the source before a refusal converts to exactly what was written.
// (That swapped forms are the native forms swapped is asserted by the family's fuzz target.)

#include <random>

#include "u16_conv_test_util.h"

#ifdef TLM_TEST_HAVE_ICU
#include <unicode/ustring.h>
#endif

namespace {

using namespace convtest;

bool Named(const Member &m, const char *part) { return std::strstr(m.name, part) != nullptr; }

void AppendUtf8(Buffer &b, uint32_t v) {
  if (v < 0x80) {
    b.push_back(static_cast<uint8_t>(v));
    return;
  }
  const int n = v < 0x800 ? 2 : v < 0x10000 ? 3 : 4;
  b.push_back(static_cast<uint8_t>((0xF00 >> n) | (v >> (6 * (n - 1)))));
  for (int i = n - 2; i >= 0; --i)
    b.push_back(static_cast<uint8_t>(0x80 | ((v >> (6 * i)) & 0x3F)));
}

// A random character: ASCII, Latin-1, CJK, other BMP, supplementary, or an edge of a length.
uint32_t RandomChar(std::mt19937 &rng) {
  static const uint32_t kRanges[][2] = {{0x20, 0x7E},    {0x80, 0xFF},     {0x4E00, 0x9FFF},
                                        {0x100, 0xD7FF}, {0xE000, 0xFFFF}, {0x10000, 0x10FFFF},
                                        {0x7F, 0x80},    {0x7FF, 0x800},   {0xFFFF, 0x10000}};
  const auto &r = kRanges[rng() % std::size(kRanges)];
  return r[1] - r[0] == 1 ? r[rng() % 2] : std::uniform_int_distribution<uint32_t>(r[0], r[1])(rng);
}

// Source text in the member's source form; with dirty, invalid pieces are mixed in.
Buffer RandomSource(std::mt19937 &rng, const Member &m, size_t chars, bool dirty) {
  // clang-format off
  static const char *const kBadUtf8[] = {"\x80", "\xC0\x80", "\xE0\x80\x80", "\xED\xA0\x80",
      "\xF4\x90\x80\x80", "\xFE", "\xFF", "\xE2\x82", "\xE2\x41", "\xF8\x88\x80\x80\x80",
      "\xFC\x84\x80\x80\x80\x80", "\xC2\x85", "\x01"};
  // clang-format on
  static const uint32_t kBadUnits[] = {0xD800, 0xDBFF,   0xDC00,     0xDFFF,     0x01,
                                       0x85,   0x110000, 0x7FFFFFFF, 0x80000000u};
  Buffer b;
  for (size_t i = 0; i < chars; ++i) {
    const bool bad = dirty && rng() % 6 == 0;
    const uint32_t v = bad ? kBadUnits[rng() % std::size(kBadUnits)] : RandomChar(rng);
    if (m.src_unit == 1 && bad) {
      const char *piece = kBadUtf8[rng() % std::size(kBadUtf8)];
      b.insert(b.end(), piece, piece + std::strlen(piece));
    } else if (m.src_unit == 1) {
      AppendUtf8(b, v);
    } else if (m.src_unit == 2 && v > 0xFFFF && !bad) {
      const Buffer pair = U16({0xD800 + ((v - 0x10000) >> 10), 0xDC00 + ((v - 0x10000) & 0x3FF)});
      b.insert(b.end(), pair.begin(), pair.end());
    } else {
      const Buffer unit = Units(m.src_unit, {v});
      b.insert(b.end(), unit.begin(), unit.end());
    }
  }
  return b;
}

void Append(Result &a, const Result &b) {
  a.out.insert(a.out.end(), b.out.begin(), b.out.end());
  a.rc = b.rc;
  a.stop = b.stop;
  a.count += b.count;
}

size_t misalign = 0;  // set by ForEachCase for the conversions of one case

Result ConvertAt(const Member &m, const Buffer &src, size_t from, size_t to, size_t units,
                 bool subst) {
  return Convert(m, src, from, to, units, subst, misalign);
}

void ExpectSame(const Result &got, const Result &want, const std::string &where) {
  EXPECT_EQ(got.rc, want.rc) << where;
  EXPECT_EQ(got.out, want.out) << where;
  EXPECT_EQ(got.stop, want.stop) << where;
  EXPECT_EQ(got.count, want.count) << where;
}

// Runs check on every member with random clean and dirty sources, with and without subst.
// Every other round places both buffers at odd addresses.
template <class F>
void ForEachCase(F check) {
  std::mt19937 rng(7);
  for (const Member &m : convmembers::kMembers) {
    for (int round = 0; round < 24; ++round) {
      const Buffer src = RandomSource(rng, m, round < 12 ? 6 : 30, round % 2 == 1);
      for (bool subst : {false, true}) {
        if (subst && !m.has_subst) continue;
        const std::string where = std::string(m.name) + " round " + std::to_string(round);
        misalign = round / 2 % 2;
        check(m, src, subst, src.size() * 6 + 8, where);
      }
    }
  }
}

TEST(ConversionResume, SmallDestinationThenResumedEqualsAtOnce) {
  ForEachCase([](const Member &m, const Buffer &src, bool subst, size_t room, auto &where) {
    const Result whole = ConvertAt(m, src, 0, src.size(), room, subst);
    for (size_t units = 0; units <= whole.out.size() / m.dst_unit; ++units) {
      Result part = ConvertAt(m, src, 0, src.size(), units, subst);
      if (part.rc == 32) Append(part, ConvertAt(m, src, part.stop, src.size(), room, subst));
      ExpectSame(part, whole, where + " room " + std::to_string(units));
    }
  });
}

TEST(ConversionResume, SourceCutAnywhereThenResumedEqualsAtOnce) {
  ForEachCase([](const Member &m, const Buffer &src, bool subst, size_t room, auto &where) {
    if (Named(m, "SubstAll")) return;  // replaces a cut character instead of waiting for more
    const Result whole = ConvertAt(m, src, 0, src.size(), room, subst);
    for (size_t cut = 0; cut <= src.size(); cut += m.src_unit) {
      Result part = ConvertAt(m, src, 0, cut, room, subst);
      if (part.rc == 0 || part.rc == 512)
        Append(part, ConvertAt(m, src, part.stop, src.size(), room, subst));
      ExpectSame(part, whole, where + " cut " + std::to_string(cut));
    }
  });
}

TEST(ConversionResume, SourceBeforeAStopConvertsToWhatWasWritten) {
  ForEachCase([](const Member &m, const Buffer &src, bool subst, size_t room, auto &where) {
    // GD converts an illegal start byte only with six more bytes behind it, so a shorter source
    // may stop earlier.
    if (Named(m, "GD")) return;
    const Result whole = ConvertAt(m, src, 0, src.size(), room, subst);
    if (whole.rc == 0) return;
    const Result before = ConvertAt(m, src, 0, whole.stop, room, subst);
    EXPECT_EQ(before.out, whole.out) << where;
    // The refusal of a value beyond the target leaves the pointer on the sequence's last byte.
    const bool beyond = whole.text.find(u"bejond") != std::u16string::npos;
    EXPECT_EQ(before.rc, beyond ? 512 : 0) << where;
  });
}

#ifdef TLM_TEST_HAVE_ICU
TEST(ConversionIcuDifferential, ValidTextAgreesWithIcu) {
  std::mt19937 rng(20240611);
  for (int round = 0; round < 300; ++round) {
    std::u32string text;
    for (size_t n = rng() % (round < 150 ? 40 : 700); n > 0; --n) text += RandomChar(rng);
    std::u16string utf16(text.size() * 2, u'\0');
    std::string utf8(text.size() * 4, '\0');
    int32_t len16 = 0, len8 = 0;
    UErrorCode err = U_ZERO_ERROR;
    u_strFromUTF32(reinterpret_cast<UChar *>(utf16.data()), utf16.size(), &len16,
                   reinterpret_cast<const UChar32 *>(text.data()), text.size(), &err);
    u_strToUTF8(utf8.data(), utf8.size(), &len8, reinterpret_cast<const UChar *>(utf16.data()),
                len16, &err);
    ASSERT_TRUE(U_SUCCESS(err));
    const Buffer b8(utf8.begin(), utf8.begin() + len8);
    const Buffer b16(reinterpret_cast<const uint8_t *>(utf16.data()),
                     reinterpret_cast<const uint8_t *>(utf16.data() + len16));
    const Buffer b32(reinterpret_cast<const uint8_t *>(text.data()),
                     reinterpret_cast<const uint8_t *>(text.data() + text.size()));
    const std::tuple<const char *, const Buffer &, const Buffer &> pairs[] = {
        {"Utf8nToUtf16nSubst", b8, b16}, {"Utf8nToUtf16nGD", b8, b16}, {"Utf16nToUtf8n", b16, b8},
        {"Utf8nToU4nSubst", b8, b32},    {"U4nToUtf8n", b32, b8},      {"Utf16nToU4n", b16, b32},
        {"U4nToUtf16n", b32, b16}};
    for (const auto &[member, in, out] : pairs) {
      const Result r = Convert(member, in, false, out.size() / Find(member).dst_unit);
      EXPECT_EQ(r.rc, 0) << member;
      EXPECT_EQ(r.out, out) << member << " round " << round;
    }
  }
}
#endif

}  // namespace
