// Properties of the whole family on random valid and invalid input: the pointer invariants, and
// that a conversion stopped by a full destination or a cut source and then resumed gives what one
// conversion at once gives. Also the stop-and-resume contract of every refusal: the source before
// the stop converts to exactly what was written.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "u16_conv_members.h"
#include "u16_conv_test_util.h"

namespace {

using convmembers::kMembers;
using convmembers::Member;
using Buffer = std::vector<uint8_t>;

struct Outcome {
  int rc;
  Buffer out;
  size_t stop;  // bytes of the source consumed
  uint32_t count;
  std::u16string text;
};

// Converts src[from, to) into an exactly sized heap destination of dst_units units.
Outcome Convert(const Member &m, const Buffer &src, size_t from, size_t to, size_t dst_units,
                bool subst) {
  convtest::ScopedHookRecorder hook;
  auto source = std::make_unique<uint8_t[]>(src.size() + 1);
  if (!src.empty()) std::memcpy(source.get(), src.data(), src.size());
  const size_t dst_bytes = dst_units * m.dst_unit;
  auto dest = std::make_unique<uint8_t[]>(dst_bytes + 1);
  const uint8_t *s = source.get() + from;
  uint8_t *d = dest.get();
  uint32_t count = 0;
  int rc = m.run(&s, source.get() + to, &d, dest.get() + dst_bytes, subst, &count);
  const size_t stop = static_cast<size_t>(s - source.get());
  const size_t written = static_cast<size_t>(d - dest.get());
  EXPECT_TRUE(stop >= from && stop <= to) << m.name;
  EXPECT_EQ((stop - from) % m.src_unit, 0u) << m.name;
  EXPECT_LE(written, dst_bytes) << m.name;
  EXPECT_EQ(written % m.dst_unit, 0u) << m.name;
  if (rc == 0) EXPECT_EQ(stop, to) << m.name;
  return {rc, Buffer(dest.get(), dest.get() + written), stop, count, hook.last_text()};
}

void Append(Outcome &a, const Outcome &b) {
  a.out.insert(a.out.end(), b.out.begin(), b.out.end());
  a.rc = b.rc;
  a.stop = b.stop;
  a.count += b.count;
  a.text = b.text;
}

void ExpectSame(const Outcome &got, const Outcome &want, const std::string &where) {
  EXPECT_EQ(got.rc, want.rc) << where;
  EXPECT_EQ(got.out, want.out) << where;
  EXPECT_EQ(got.stop, want.stop) << where;
  EXPECT_EQ(got.count, want.count) << where;
}

void AppendUnit(Buffer &b, uint32_t v, unsigned size) {
  for (unsigned i = 0; i < size; ++i) b.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

void AppendUtf8(Buffer &b, uint32_t v) {
  if (v < 0x80) {
    b.push_back(static_cast<uint8_t>(v));
  } else if (v < 0x800) {
    b.insert(b.end(), {static_cast<uint8_t>(0xC0 | v >> 6), static_cast<uint8_t>(0x80 | (v & 63))});
  } else if (v < 0x10000) {
    b.insert(b.end(),
             {static_cast<uint8_t>(0xE0 | v >> 12), static_cast<uint8_t>(0x80 | (v >> 6 & 63)),
              static_cast<uint8_t>(0x80 | (v & 63))});
  } else {
    b.insert(b.end(),
             {static_cast<uint8_t>(0xF0 | v >> 18), static_cast<uint8_t>(0x80 | (v >> 12 & 63)),
              static_cast<uint8_t>(0x80 | (v >> 6 & 63)), static_cast<uint8_t>(0x80 | (v & 63))});
  }
}

// Source text for a member: mostly valid characters, with invalid pieces when dirty.
Buffer RandomSource(std::mt19937 &rng, const Member &m, size_t chars, bool dirty) {
  auto pick = [&](uint32_t lo, uint32_t hi) {
    return std::uniform_int_distribution<uint32_t>(lo, hi)(rng);
  };
  static const char *const kBadUtf8[] = {"\x80",
                                         "\xBF",
                                         "\xC0\x80",
                                         "\xE0\x80\x80",
                                         "\xED\xA0\x80",
                                         "\xF4\x90\x80\x80",
                                         "\xFE",
                                         "\xFF",
                                         "\xE2\x82",
                                         "\xE2\x41",
                                         "\xF8\x88\x80\x80\x80",
                                         "\xFC\x84\x80\x80\x80\x80",
                                         "\xC2\x85",
                                         "\x01",
                                         "\x7F"};
  Buffer b;
  for (size_t i = 0; i < chars; ++i) {
    uint32_t v;
    switch (pick(0, 5)) {
      case 0:
        v = pick(0x20, 0x7E);
        break;
      case 1:
        v = pick(0x80, 0x7FF);
        break;
      case 2:
        v = pick(0x800, 0xFFFF);
        break;
      case 3:
        v = pick(0x10000, 0x10FFFF);
        break;
      default:
        v = pick(0x41, 0x5A);
        break;
    }
    if (v - 0xD800 < 0x800) v = 0xFFFD;
    const bool bad = dirty && pick(0, 6) == 0;
    if (m.src_unit == 1) {
      if (bad) {
        const char *piece = kBadUtf8[pick(0, std::size(kBadUtf8) - 1)];
        b.insert(b.end(), piece, piece + std::strlen(piece));
      } else {
        AppendUtf8(b, v);
      }
    } else if (m.src_unit == 2) {
      if (bad) v = pick(0, 3) == 0 ? pick(0, 0x1F) : pick(0xD800, 0xDFFF);
      if (v > 0xFFFF) {
        AppendUnit(b, 0xD800 + ((v - 0x10000) >> 10), 2);
        AppendUnit(b, 0xDC00 + ((v - 0x10000) & 0x3FF), 2);
      } else {
        AppendUnit(b, v, 2);
      }
    } else {
      if (bad) v = pick(0, 2) == 0 ? pick(0x80000000u, 0xFFFFFFFFu) : pick(0x110000, 0x7FFFFFFF);
      AppendUnit(b, v, 4);
    }
  }
  return b;
}

bool IsSubstAll(const Member &m) { return std::strstr(m.name, "SubstAll") != nullptr; }
bool IsGD(const Member &m) { return std::strstr(m.name, "GD") != nullptr; }

class ConversionFamily : public ::testing::Test {
 protected:
  template <class F>
  void ForEachCase(F check) {
    std::mt19937 rng(7);
    for (const Member &m : kMembers) {
      for (int round = 0; round < 24; ++round) {
        const bool dirty = round % 2 == 1;
        const Buffer src = RandomSource(rng, m, round < 12 ? 6 : 30, dirty);
        for (bool subst : {false, true}) {
          if (subst && !m.has_subst) continue;
          check(m, src, subst,
                std::string(m.name) + " round " + std::to_string(round) + (subst ? " subst" : ""));
        }
      }
    }
  }
};

TEST_F(ConversionFamily, SmallDestinationThenResumedEqualsAtOnce) {
  ForEachCase([](const Member &m, const Buffer &src, bool subst, const std::string &where) {
    const size_t room = src.size() * 6 + 4;
    const Outcome whole = Convert(m, src, 0, src.size(), room, subst);
    const size_t needed = whole.out.size() / m.dst_unit;
    for (size_t units = 0; units <= needed; ++units) {
      Outcome part = Convert(m, src, 0, src.size(), units, subst);
      if (part.rc == 32) {
        EXPECT_EQ(part.text, u"dest buffer overflow") << where;
        Append(part, Convert(m, src, part.stop, src.size(), room, subst));
      }
      ExpectSame(part, whole, where + " room " + std::to_string(units));
    }
  });
}

TEST_F(ConversionFamily, SourceSplitAnywhereThenResumedEqualsAtOnce) {
  ForEachCase([](const Member &m, const Buffer &src, bool subst, const std::string &where) {
    if (IsSubstAll(m)) return;  // replaces a cut character instead of waiting for more
    const size_t room = src.size() * 6 + 4;
    const Outcome whole = Convert(m, src, 0, src.size(), room, subst);
    for (size_t cut = 0; cut <= src.size(); cut += m.src_unit) {
      Outcome part = Convert(m, src, 0, cut, room, subst);
      if (part.rc == 0 || part.rc == 512)
        Append(part, Convert(m, src, part.stop, src.size(), room, subst));
      ExpectSame(part, whole, where + " cut " + std::to_string(cut));
    }
  });
}

TEST_F(ConversionFamily, SourceBeforeAStopConvertsToWhatWasWritten) {
  ForEachCase([](const Member &m, const Buffer &src, bool subst, const std::string &where) {
    // GD converts an illegal start byte only when six more bytes follow, so a shorter source
    // may stop earlier.
    if (IsGD(m)) return;
    const Outcome whole = Convert(m, src, 0, src.size(), src.size() * 6 + 4, subst);
    if (whole.rc == 0) return;
    EXPECT_TRUE(whole.rc == 512 || whole.rc == 2048) << where;
    const Outcome before = Convert(m, src, 0, whole.stop, src.size() * 6 + 4, subst);
    EXPECT_EQ(before.out, whole.out) << where;
    if (whole.text.find(u"bejond") != std::u16string::npos) {
      // This refusal leaves the pointer on the last byte of the sequence.
      EXPECT_EQ(before.rc, 512) << where;
    } else {
      EXPECT_EQ(before.rc, 0) << where;
    }
  });
}

}  // namespace
