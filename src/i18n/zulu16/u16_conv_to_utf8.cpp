// The conversions to UTF-8 from 16-bit and 32-bit units, in native and swapped byte order.
//
// One loop serves all members. Runs of ASCII go by vector; the frequent characters (one to four
// bytes, no test needed but the room) go through a loop whose bound makes the room test
// unnecessary; any other unit is checked according to the source form and the variant in the
// general path, and its bytes are written from the last one back to the lead byte.
#include <algorithm>
#include <cstring>

#include "i18n/zulu16/u16_conv_ascii.h"
#include "i18n/zulu16/u16_conv_tables.h"
#include "krn/rscp/rscp_report.h"
#include "zul_u16conv.h"

namespace {

using namespace zulu16;

rscp::SourceName source_name("u16_conv_to_utf8");

// U2: units taken one by one; Utf16: surrogate pairs joined; U4: 32-bit values.
enum class Form { kU2, kUtf16, kU4 };
enum class Variant { kStrict, kNoCC, kGD, kSubstAll };

enum Site {
  kSiteOverflow = 1,
  kSiteHalfAtEnd,
  kSiteHalfInMiddle,
  kSiteLowInMiddle,
  kSiteTopBit,
  kSiteControl,
};

int Fail(int error_class, Site site, int line, const ZUL_UTF16 *text) {
  return rscp::ReportConversionError(source_name, error_class, site, line, text);
}

inline bool IsControlCode(uint32_t v) { return v < 0x20 || v - 0x7F <= 0x9F - 0x7F; }

// Writes value as a UTF-8 sequence of len bytes at d.
inline void WriteUtf8(uint32_t value, unsigned len, ZUL_RAW *d) {
  ZUL_RAW *e = d + len;
  switch (len) {
    case 6:
      *--e = static_cast<ZUL_RAW>(0x80 | (value & 0x3F)), value >>= 6;
      [[fallthrough]];
    case 5:
      *--e = static_cast<ZUL_RAW>(0x80 | (value & 0x3F)), value >>= 6;
      [[fallthrough]];
    case 4:
      *--e = static_cast<ZUL_RAW>(0x80 | (value & 0x3F)), value >>= 6;
      [[fallthrough]];
    case 3:
      *--e = static_cast<ZUL_RAW>(0x80 | (value & 0x3F)), value >>= 6;
      [[fallthrough]];
    case 2:
      *--e = static_cast<ZUL_RAW>(0x80 | (value & 0x3F)), value >>= 6;
      [[fallthrough]];
    case 1:
      *--e = static_cast<ZUL_RAW>(value | firstByteMark[len]);
  }
}

// A unit from 0x800 to 0xFFFF that is a character of its own.
template <Form kForm>
inline bool TakesThreeBytes(uint32_t value) {
  return value - 0x800 < 0x10000 - 0x800 && (kForm != Form::kUtf16 || value - 0xD800 >= 0x800);
}

// Converts the frequent characters with no room test: ASCII, the units that take two or three
// bytes, and surrogate pairs (or for 32-bit units the values that take four bytes). Taking no
// more units than the destination's room divided by the longest of these makes every store safe.
// Stops, having converted nothing of it, at the first unit that needs the general path's tests or
// reports.
template <class Io, Form kForm, bool kNoCC>
inline void ConvertCommonRun(const typename Io::Unit *&s, const typename Io::Unit *src_end,
                             ZUL_RAW *&d, ZUL_RAW *dst_end) {
  constexpr ptrdiff_t kMostBytesPerUnit = kForm == Form::kU4 ? 4 : 3;
  // The bound is taken anew while the destination has ample room; the last bytes go through
  // the checked loop below.
  for (;;) {
    const typename Io::Unit *run_end = s + std::min(src_end - s, (dst_end - d) / kMostBytesPerUnit);
    // ASCII goes unit by unit here: text that mixes it with other characters has short runs, and
    // any test for a longer run slows this loop more than it gains. A run of ASCII that starts
    // the text or follows a stop goes 16 units at a time through the caller.
    while (s < run_end) {
      uint32_t value = Io::Load(s);
      if (value < 0x80) {
        if (!IsPlainAscii(value, kNoCC)) return;
        // Two at a time where two follow each other.
        if (run_end - s >= 2) {
          const uint32_t next = Io::Load(s + 1);
          if (IsPlainAscii(next, kNoCC)) {
            d[0] = static_cast<ZUL_RAW>(value);
            d[1] = static_cast<ZUL_RAW>(next);
            d += 2;
            s += 2;
            continue;
          }
        }
        *d++ = static_cast<ZUL_RAW>(value);
        ++s;
        continue;
      }
      if (value < 0x800) [[likely]] {
        if (kNoCC && value < 0xA0) return;
        d[0] = static_cast<ZUL_RAW>(0xC0 | (value >> 6));
        d[1] = static_cast<ZUL_RAW>(0x80 | (value & 0x3F));
        d += 2;
        ++s;
        continue;
      }
      if (TakesThreeBytes<kForm>(value)) {
        // Text of such characters (CJK) tends to keep to them: stay in a loop of its own.
        for (;;) {
          d[0] = static_cast<ZUL_RAW>(0xE0 | (value >> 12));
          d[1] = static_cast<ZUL_RAW>(0x80 | ((value >> 6) & 0x3F));
          d[2] = static_cast<ZUL_RAW>(0x80 | (value & 0x3F));
          d += 3;
          if (++s >= run_end) break;
          value = Io::Load(s);
          if (!TakesThreeBytes<kForm>(value)) break;
        }
        continue;
      }
      // A surrogate pair, or for 32-bit units a value up to 0x1FFFFF: four bytes.
      ptrdiff_t units = 1;
      if constexpr (kForm == Form::kUtf16) {
        if (value >= 0xDC00 || run_end - s < 2) return;
        const uint32_t low = Io::Load(s + 1);
        if (low - 0xDC00 >= 0x400) return;
        value = (value << 10) + low - 56613888;
        units = 2;
      } else if (kForm == Form::kU2 || value >= 0x200000) {
        return;
      }
      d[0] = static_cast<ZUL_RAW>(0xF0 | (value >> 18));
      d[1] = static_cast<ZUL_RAW>(0x80 | ((value >> 12) & 0x3F));
      d[2] = static_cast<ZUL_RAW>(0x80 | ((value >> 6) & 0x3F));
      d[3] = static_cast<ZUL_RAW>(0x80 | (value & 0x3F));
      d += 4;
      s += units;
    }
    if (s >= src_end) return;
    if (dst_end - d < 64) break;
  }
  // Near the destination's end: the same characters, each with its room test.
  while (s < src_end) {
    const uint32_t value = Io::Load(s);
    if (value < 0x80) {
      if (!IsPlainAscii(value, kNoCC) || d >= dst_end) return;
      *d++ = static_cast<ZUL_RAW>(value);
    } else if (value < 0x800) {
      if ((kNoCC && value < 0xA0) || dst_end - d < 2) return;
      d[0] = static_cast<ZUL_RAW>(0xC0 | (value >> 6));
      d[1] = static_cast<ZUL_RAW>(0x80 | (value & 0x3F));
      d += 2;
    } else {
      if (!TakesThreeBytes<kForm>(value) || dst_end - d < 3) return;
      d[0] = static_cast<ZUL_RAW>(0xE0 | (value >> 12));
      d[1] = static_cast<ZUL_RAW>(0x80 | ((value >> 6) & 0x3F));
      d[2] = static_cast<ZUL_RAW>(0x80 | (value & 0x3F));
      d += 3;
    }
    ++s;
  }
}

template <class Io, Form kForm, Variant kVariant>
int ToUtf8(const typename Io::Unit **src, const typename Io::Unit *src_end, ZUL_RAW **dst,
           ZUL_RAW *dst_end) {
  using Unit = typename Io::Unit;
  constexpr bool kNoCC = kVariant == Variant::kNoCC;
  constexpr bool kRefuseHalves = kVariant == Variant::kStrict || kVariant == Variant::kNoCC;
  const Unit *s = *src;
  ZUL_RAW *d = *dst;
  int rc = 0;

  while (s < src_end) {
    uint32_t value = Io::Load(s);
    if (IsPlainAscii(value, kNoCC)) {
      if (d >= dst_end) {
        rc = Fail(rscp::kDestOverflow, kSiteOverflow, __LINE__, u"dest buffer overflow");
        break;
      }
      // Two ASCII units in a row suggest a longer run: take it 16 units at a time.
      if (src_end - s >= 2 && IsPlainAscii(Io::Load(s + 1), kNoCC)) {
        NarrowAsciiRun<Io, kNoCC>(s, src_end, d, dst_end);
      } else {
        *d++ = static_cast<ZUL_RAW>(value);
        ++s;
      }
      ConvertCommonRun<Io, kForm, kNoCC>(s, src_end, d, dst_end);
      continue;
    }
    ConvertCommonRun<Io, kForm, kNoCC>(s, src_end, d, dst_end);
    if (s >= src_end) break;
    // One character through the general path.
    value = Io::Load(s);
    if (IsPlainAscii(value, kNoCC)) continue;  // stopped by the room: the branch above reports
    const Unit *next = s + 1;
    if constexpr (kForm == Form::kUtf16) {
      if (value - 0xD800 < 0x800) {
        if (value < 0xDC00) {
          if (next == src_end) {
            if constexpr (kVariant == Variant::kSubstAll) {
              value = kReplacement;
            } else {
              rc = Fail(rscp::kSourceExhausted, kSiteHalfAtEnd, __LINE__, u"Half surrogate at end");
              break;
            }
          } else if (uint32_t low = Io::Load(next); low - 0xDC00 < 0x400) {
            value = (value << 10) + low - 56613888;
            ++next;
          } else if constexpr (kRefuseHalves) {
            rc =
                Fail(rscp::kInvalidInput, kSiteHalfInMiddle, __LINE__, u"Half surrogate in middle");
            break;
          } else if constexpr (kVariant == Variant::kSubstAll) {
            value = kReplacement;
          }
        } else if constexpr (kRefuseHalves) {
          rc = Fail(rscp::kInvalidInput, kSiteLowInMiddle, __LINE__,
                    u"Half low surrogate in middle");
          break;
        } else if constexpr (kVariant == Variant::kSubstAll) {
          value = kReplacement;
        }
      }
    }
    if constexpr (kForm == Form::kU4) {
      if (value > kMaxUcs4) {
        if constexpr (kVariant == Variant::kGD) {
          value = kReplacement;
        } else {
          rc = Fail(rscp::kInvalidInput, kSiteTopBit, __LINE__, u"UCS-4 has only 31 bits.");
          break;
        }
      }
    }
    if (kNoCC && IsControlCode(value)) {
      rc = Fail(rscp::kInvalidInput, kSiteControl, __LINE__, u"control code not allowed");
      break;
    }
    const unsigned len = Utf8Length(value);
    if (dst_end - d < static_cast<ptrdiff_t>(len)) {
      rc = Fail(rscp::kDestOverflow, kSiteOverflow, __LINE__, u"dest buffer overflow");
      break;
    }
    WriteUtf8(value, len, d);
    d += len;
    s = next;
  }
  *src = s;
  *dst = d;
  return rc;
}

}  // namespace

#define ZUL_TO_UTF8(name, io, form, variant)                                     \
  int name(const io::Unit **src, const io::Unit *src_end, ZUL_RAW **dst,         \
           ZUL_RAW *dst_end) noexcept {                                          \
    return ToUtf8<io, Form::form, Variant::variant>(src, src_end, dst, dst_end); \
  }

ZUL_TO_UTF8(U2nToUtf8nNoCC, U16Native, kU2, kNoCC)
ZUL_TO_UTF8(U2nToUtf8n, U16Native, kU2, kStrict)
ZUL_TO_UTF8(U2nSwToUtf8nNoCC, U16Swapped, kU2, kNoCC)
ZUL_TO_UTF8(U2nSwToUtf8n, U16Swapped, kU2, kStrict)
ZUL_TO_UTF8(U4nToUtf8nGD, U32Native, kU4, kGD)
ZUL_TO_UTF8(U4nToUtf8nNoCC, U32Native, kU4, kNoCC)
ZUL_TO_UTF8(U4nToUtf8n, U32Native, kU4, kStrict)
ZUL_TO_UTF8(U4nSwToUtf8nGD, U32Swapped, kU4, kGD)
ZUL_TO_UTF8(U4nSwToUtf8nNoCC, U32Swapped, kU4, kNoCC)
ZUL_TO_UTF8(U4nSwToUtf8n, U32Swapped, kU4, kStrict)
ZUL_TO_UTF8(Utf16nToUtf8nSubstAll, U16Native, kUtf16, kSubstAll)
ZUL_TO_UTF8(Utf16nToUtf8nGD, U16Native, kUtf16, kGD)
ZUL_TO_UTF8(Utf16nToUtf8nNoCC, U16Native, kUtf16, kNoCC)
ZUL_TO_UTF8(Utf16nToUtf8n, U16Native, kUtf16, kStrict)
ZUL_TO_UTF8(Utf16nSwToUtf8nGD, U16Swapped, kUtf16, kGD)
ZUL_TO_UTF8(Utf16nSwToUtf8nNoCC, U16Swapped, kUtf16, kNoCC)
ZUL_TO_UTF8(Utf16nSwToUtf8n, U16Swapped, kUtf16, kStrict)
