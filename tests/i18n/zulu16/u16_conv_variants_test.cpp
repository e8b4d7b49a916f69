// What sets the variants apart: NoCC, GD, SubstAll, the swapped and 32-bit forms, the joins and
// splits between 16-bit and 32-bit units, and buffers at odd addresses.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>

#include "u16_conv_members.h"
#include "u16_conv_test_util.h"

namespace {

using convmembers::kMembers;
using convmembers::Member;
using convtest::ScopedHookRecorder;
using Buffer = std::vector<uint8_t>;

const Member &Find(const char *name) {
  for (const Member &m : kMembers)
    if (std::strcmp(m.name, name) == 0) return m;
  ADD_FAILURE() << "no member " << name;
  return kMembers[0];
}

struct Result {
  int rc;
  Buffer out;
  size_t stop;  // source units consumed
  uint32_t count;
  std::u16string text;
};

// Runs the named member on src (bytes of its source units) with room for room destination units.
Result RunMember(const char *name, const Buffer &src, bool subst = false, size_t room = 64,
                 size_t misalign = 0) {
  const Member &m = Find(name);
  ScopedHookRecorder hook;
  auto source = std::make_unique<uint8_t[]>(src.size() + misalign + 1);
  std::memcpy(source.get() + misalign, src.data(), src.size());
  auto dest = std::make_unique<uint8_t[]>(room * m.dst_unit + misalign + 1);
  const uint8_t *s = source.get() + misalign;
  uint8_t *d = dest.get() + misalign;
  uint32_t count = 0;
  int rc = m.run(&s, s + src.size(), &d, d + room * m.dst_unit, subst, &count);
  return {rc, Buffer(dest.get() + misalign, d),
          static_cast<size_t>(s - source.get() - misalign) / m.src_unit, count, hook.last_text()};
}

Buffer Utf8(const std::string &s) { return Buffer(s.begin(), s.end()); }

template <class Unit>
Buffer UnitsOf(std::initializer_list<uint32_t> values, bool swapped = false) {
  Buffer b;
  for (uint32_t v : values) {
    for (size_t i = 0; i < sizeof(Unit); ++i) {
      size_t shift = swapped ? sizeof(Unit) - 1 - i : i;
      b.push_back(static_cast<uint8_t>(v >> (8 * shift)));
    }
  }
  return b;
}
Buffer U16(std::initializer_list<uint32_t> v, bool swapped = false) {
  return UnitsOf<uint16_t>(v, swapped);
}
Buffer U32(std::initializer_list<uint32_t> v, bool swapped = false) {
  return UnitsOf<uint32_t>(v, swapped);
}

struct Row {
  const char *member;
  Buffer in;
  bool subst;
  int rc;
  Buffer out;
  size_t stop;
  const char16_t *text;
};

void CheckRows(const std::vector<Row> &rows) {
  for (const Row &r : rows) {
    const Result got = RunMember(r.member, r.in, r.subst);
    const std::string where = std::string(r.member) + " @" + std::to_string(&r - rows.data());
    EXPECT_EQ(got.rc, r.rc) << where;
    EXPECT_EQ(got.out, r.out) << where;
    EXPECT_EQ(got.stop, r.stop) << where;
    EXPECT_EQ(got.text, r.text) << where;
  }
}

TEST(ConversionNoCC, ControlCodesAreRefusedOrReplaced) {
  CheckRows({
      {"Utf8nToU2nNoCCSubst", Utf8("a\x01"), false, 2048, U16({'a'}), 1,
       u"control codes not allowed here"},
      {"Utf8nToU2nNoCCSubst", Utf8("\x7F"), false, 2048, {}, 0, u"control codes not allowed here"},
      {"Utf8nToU2nNoCCSubst", Utf8("a\xC2\x85"), false, 2048, U16({'a'}), 1,
       u"control codes not allowed here"},
      {"Utf8nToU2nNoCCSubst", Utf8("\xC2\x9F\x01z"), true, 0, U16({'?', '?', 'z'}), 4, u""},
      {"Utf8nToU2nNoCCSubst", Utf8(" ~\xC2\xA0"), false, 0, U16({' ', '~', 0xA0}), 4, u""},
      {"Utf8nToUtf16nNoCCSubst",
       Utf8("\xC2\x80"),
       false,
       2048,
       {},
       0,
       u"control codes not allowed here"},
      {"Utf8nToU4nNoCCSubst", Utf8("\n"), false, 2048, {}, 0, u"control codes not allowed here"},
      {"U2nToUtf8nNoCC", U16({'a', 0x1F}), false, 2048, Utf8("a"), 1, u"control code not allowed"},
      {"U2nToUtf8nNoCC", U16({0x7F}), false, 2048, {}, 0, u"control code not allowed"},
      {"U2nToUtf8nNoCC", U16({0x9F}), false, 2048, {}, 0, u"control code not allowed"},
      {"U2nToUtf8nNoCC", U16({0x20, 0x7E, 0xA0}), false, 0, Utf8(" ~\xC2\xA0"), 3, u""},
      {"Utf16nToUtf8nNoCC", U16({0x85}), false, 2048, {}, 0, u"control code not allowed"},
      {"U4nToUtf8nNoCC", U32({0x00}), false, 2048, {}, 0, u"control code not allowed"},
      {"U2nSwToUtf8nNoCC", U16({'a', 0x0A}, true), false, 2048, Utf8("a"), 1,
       u"control code not allowed"},
  });
}

TEST(ConversionGD, OnlySourceEndAndRoomAreChecked) {
  CheckRows({
      // A byte marked illegal converts to its own value, but wants six more bytes behind it.
      {"Utf8nToU2nGD",
       Utf8("\x80"
            "abcdef"),
       false, 0, U16({0x80, 'a', 'b', 'c', 'd', 'e', 'f'}), 7, u""},
      {"Utf8nToU2nGD",
       Utf8("a\x80"
            "bc"),
       false, 512, U16({'a'}), 1, u"source exhausted"},
      {"Utf8nToU2nGD", Utf8("\xE2\x82"), false, 512, {}, 0, u"source exhausted"},
      // Follow-up bytes are not inspected.
      {"Utf8nToU2nGD", Utf8("\xC3\x41"), false, 0, U16({0x81}), 2, u""},
      {"Utf8nToU2nGD", Utf8("\xF0\x9F\x98\x80"), false, 0, U16({0xFFFD}), 4, u""},
      {"Utf8nToUtf16nGD", Utf8("\xF0\x9F\x98\x80"), false, 0, U16({0xD83D, 0xDE00}), 4, u""},
      {"Utf8nToUtf16nGD", Utf8("\xF4\x90\x80\x80"), false, 0, U16({0xFFFD}), 4, u""},
      {"Utf8nToU4nGD", Utf8("\xFD\xBF\xBF\xBF\xBF\xBF"), false, 0, U32({0x7FFFFFFF}), 6, u""},
      {"Utf16nToUtf8nGD", U16({0xD800, 'a', 0xDC00}), false, 0,
       Utf8("\xED\xA0\x80"
            "a\xED\xB0\x80"),
       3, u""},
      {"Utf16nToUtf8nGD", U16({'a', 0xD800}), false, 512, Utf8("a"), 1, u"Half surrogate at end"},
      {"U4nToUtf8nGD", U32({0x80000000u, 0x7FFFFFFF}), false, 0,
       Utf8("\xEF\xBF\xBD\xFD\xBF\xBF\xBF\xBF\xBF"), 2, u""},
  });
}

TEST(ConversionSubstAll, OnlyTheDestinationCanFail) {
  CheckRows({
      {"Utf8nToUtf16nSubstAll", Utf8("a\xE2\x82"), false, 0, U16({'a', 0xFFFD, 0xFFFD}), 3, u""},
      {"Utf8nToUtf16nSubstAll", Utf8("\xC0\x80\xFF\xF4\x90\x80\x80"), false, 0,
       U16({0xFFFD, 0xFFFD, 0xFFFD}), 7, u""},
      {"Utf16nToUtf8nSubstAll", U16({0xD800, 'a', 0xDC00, 0xDBFF}), false, 0,
       Utf8("\xEF\xBF\xBD"
            "a\xEF\xBF\xBD\xEF\xBF\xBD"),
       4, u""},
  });
  const Result full = RunMember("Utf8nToUtf16nSubstAll", Utf8("\xFF\xFF"), false, 1);
  EXPECT_EQ(full.rc, 32);
  EXPECT_EQ(full.stop, 1u);
}

TEST(ConversionU4, ThirtyOneBitsAndSixByteForms) {
  CheckRows({
      {"Utf8nToU4nSubst", Utf8("\xF8\x88\x80\x80\x80\xFC\x84\x80\x80\x80\x80"), false, 0,
       U32({0x200000, 0x4000000}), 11, u""},
      {"Utf8nToU4nSubst", Utf8("\xFD\xBF\xBF\xBF\xBF\xBF"), false, 0, U32({0x7FFFFFFF}), 6, u""},
      {"Utf8nToU4nSubst",
       Utf8("\xFC\x80\x80\x80\x80\xBF"),
       false,
       2048,
       {},
       0,
       u"overlong UTF-8 sequence"},
      {"Utf8nToU4nSubst",
       Utf8("\xFC\x84\x80\x80\x80"),
       false,
       512,
       {},
       0,
       u"source exhausted within a char"},
      {"Utf8nToU4nSwSubst", Utf8("\xF4\x8F\xBF\xBF"), false, 0, U32({0x10FFFF}, true), 4, u""},
      {"U4nToUtf8n", U32({0x7FFFFFFF, 0x4000000}), false, 0,
       Utf8("\xFD\xBF\xBF\xBF\xBF\xBF\xFC\x84\x80\x80\x80\x80"), 2, u""},
      {"U4nToUtf8n", U32({'a', 0x80000000u}), false, 2048, Utf8("a"), 1,
       u"UCS-4 has only 31 bits."},
      {"U4nSwToUtf8n", U32({0x1F600}, true), false, 0, Utf8("\xF0\x9F\x98\x80"), 1, u""},
      {"U4nToUtf8n", U32({0xD800}), false, 0, Utf8("\xED\xA0\x80"), 1, u""},
  });
}

TEST(ConversionBetweenUnits, JoinsSplitsAndCopies) {
  CheckRows({
      {"Utf16nToU4n", U16({0xD83D, 0xDE00, 'a'}), false, 0, U32({0x1F600, 'a'}), 3, u""},
      {"Utf16nToU4n", U16({0xD800, 'a', 0xDC00}), false, 0, U32({0xD800, 'a', 0xDC00}), 3, u""},
      {"Utf16nToU4n", U16({'a', 0xD800}), false, 512, U32({'a'}), 1, u"half surrogate at end"},
      {"U4nToUtf16n", U32({0x1F600, 0xFFFF, 0x110000}), false, 0,
       U16({0xD83D, 0xDE00, 0xFFFF, 0xFFFD}), 3, u""},
      {"Utf16nToUtf16n", U16({'a', 0xD83D, 0xDE00}), false, 0, U16({'a', 0xD83D, 0xDE00}), 3, u""},
      {"Utf16nToUtf16n", U16({'a', 0xD83D}), false, 512, U16({'a'}), 1, u"Half surrogate at end"},
      {"Utf16nToUtf16n", U16({0xD83D, 'b'}), false, 2048, {}, 0, u"Half surrogate in middle"},
      {"Utf16nToUtf16n", U16({'a', 0xDE00}), false, 2048, U16({'a'}), 1,
       u"Half low surrogate in middle"},
  });
  const Result pair = RunMember("U4nToUtf16n", U32({'a', 0x10000}), false, 2);
  EXPECT_EQ(pair.rc, 32);
  EXPECT_EQ(pair.stop, 1u);
  EXPECT_EQ(pair.out, U16({'a'}));
  const Result copy = RunMember("Utf16nToUtf16n", U16({0xD83D, 0xDE00}), false, 1);
  EXPECT_EQ(copy.rc, 32);
  EXPECT_EQ(copy.stop, 0u);
}

TEST(SwapUnicodeBuffer, SwapsInPlace) {
  ZUL_UTF16 units[] = {0x1234, 0x00FF, 0xABCD};
  SwapUnicodeBuffer(units, 3);
  EXPECT_EQ(units[0], 0x3412);
  EXPECT_EQ(units[1], 0xFF00);
  EXPECT_EQ(units[2], 0xCDAB);
}

// Swaps every unit of a buffer of the given unit size.
Buffer Swapped(Buffer b, unsigned unit) {
  for (size_t i = 0; i + unit <= b.size(); i += unit)
    std::reverse(b.begin() + i, b.begin() + i + unit);
  return b;
}

// Random bytes rich in UTF-8 structure, or random units for the 16- and 32-bit sources.
Buffer Noise(std::mt19937 &rng, unsigned unit, size_t n) {
  static const uint8_t kBytes[] = {0x00, 0x1F, 0x41, 0x7F, 0x80, 0x85, 0xBF, 0xC0, 0xC2,
                                   0xDF, 0xE0, 0xE2, 0xED, 0xEF, 0xF0, 0xF4, 0xF8, 0xFC,
                                   0xFD, 0xFE, 0xFF, 0x9F, 0xA0, 0x90, 0x8F};
  Buffer b;
  for (size_t i = 0; i < n * unit; ++i) {
    bool structured = unit == 1 || (i % unit) == unit - 1;
    b.push_back(structured ? kBytes[rng() % std::size(kBytes)] : static_cast<uint8_t>(rng()));
  }
  return b;
}

TEST(ConversionSwapped, SwappedFormsEqualNativeFormsSwapped) {
  const std::pair<const char *, const char *> pairs[] = {
      {"Utf8nToU2nSubst", "Utf8nToU2nSwSubst"},
      {"Utf8nToU2nNoCCSubst", "Utf8nToU2nSwNoCCSubst"},
      {"Utf8nToU2nGD", "Utf8nToU2nSwGD"},
      {"Utf8nToU4nSubst", "Utf8nToU4nSwSubst"},
      {"Utf8nToU4nNoCCSubst", "Utf8nToU4nSwNoCCSubst"},
      {"Utf8nToU4nGD", "Utf8nToU4nSwGD"},
      {"Utf8nToUtf16nSubst", "Utf8nToUtf16nSwSubst"},
      {"Utf8nToUtf16nNoCCSubst", "Utf8nToUtf16nSwNoCCSubst"},
      {"Utf8nToUtf16nGD", "Utf8nToUtf16nSwGD"},
      {"U2nToUtf8n", "U2nSwToUtf8n"},
      {"U2nToUtf8nNoCC", "U2nSwToUtf8nNoCC"},
      {"U4nToUtf8n", "U4nSwToUtf8n"},
      {"U4nToUtf8nNoCC", "U4nSwToUtf8nNoCC"},
      {"U4nToUtf8nGD", "U4nSwToUtf8nGD"},
      {"Utf16nToUtf8n", "Utf16nSwToUtf8n"},
      {"Utf16nToUtf8nNoCC", "Utf16nSwToUtf8nNoCC"},
      {"Utf16nToUtf8nGD", "Utf16nSwToUtf8nGD"},
  };
  std::mt19937 rng(11);
  for (const auto &[native, swapped] : pairs) {
    const Member &m = Find(native);
    for (int round = 0; round < 200; ++round) {
      const Buffer in = Noise(rng, m.src_unit, 1 + rng() % 24);
      const bool subst = m.has_subst && round % 2 == 0;
      const size_t room = 1 + rng() % 40;
      const Result a = RunMember(native, in, subst, room);
      const bool from_utf8 = m.src_unit == 1;
      const Result b = RunMember(swapped, from_utf8 ? in : Swapped(in, m.src_unit), subst, room);
      EXPECT_EQ(a.rc, b.rc) << swapped;
      EXPECT_EQ(a.stop, b.stop) << swapped;
      EXPECT_EQ(a.count, b.count) << swapped;
      EXPECT_EQ(a.text, b.text) << swapped;
      EXPECT_EQ(from_utf8 ? Swapped(a.out, m.dst_unit) : a.out, b.out) << swapped;
    }
  }
}

TEST(ConversionAlignment, OddAddressesConvertAlike) {
  std::mt19937 rng(5);
  for (const Member &m : kMembers) {
    for (int round = 0; round < 20; ++round) {
      const Buffer in = Noise(rng, m.src_unit, 8 + rng() % 40);
      const Result aligned = RunMember(m.name, in, m.has_subst, 200);
      const Result odd = RunMember(m.name, in, m.has_subst, 200, 1);
      EXPECT_EQ(aligned.rc, odd.rc) << m.name;
      EXPECT_EQ(aligned.out, odd.out) << m.name;
      EXPECT_EQ(aligned.stop, odd.stop) << m.name;
    }
  }
}

}  // namespace
