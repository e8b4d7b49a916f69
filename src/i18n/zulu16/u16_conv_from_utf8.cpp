// The conversions from UTF-8 to 16-bit and 32-bit units, in native and swapped byte order.
//
// One loop serves all members. The frequent characters (ASCII, by vector where it runs on, and
// complete valid sequences of two to four bytes) go through a loop that needs no room test; any
// other character goes through the general path, which classifies its lead byte by the table,
// sums its follow-up bytes with shifts, and validates them with no branch per byte: every
// follow-up byte is AND-ed into an accumulator starting at 0x80 and OR-ed into one starting at
// 0xBF, and all were 10xxxxxx exactly when the two still hold their start values.
#include <algorithm>

#include "i18n/zulu16/u16_conv_ascii.h"
#include "i18n/zulu16/u16_conv_tables.h"
#include "krn/rscp/rscp_report.h"
#include "zul_u16conv.h"

namespace {

using namespace zulu16;

rscp::SourceName source_name("u16_conv_from_utf8");

enum class Variant { kSubst, kNoCCSubst, kGD, kSubstAll };

// A destination form: its units, its largest value, whether values above 0xFFFF become surrogate
// pairs, and the text that refuses a larger value.
template <class IoT, uint32_t kMaxValue, bool kSurrogatePairs>
struct Target {
  using Io = IoT;
  using Unit = typename Io::Unit;
  static constexpr uint32_t kMax = kMaxValue;
  static constexpr bool kPairs = kSurrogatePairs;
  static const ZUL_UTF16 *BeyondText() {
    if constexpr (sizeof(Unit) == 4)
      return u"UTF-8 bejond UCS-4";
    else if constexpr (kSurrogatePairs)
      return u"UTF-8 bejond UTF-32";
    else
      return u"UTF-8 bejond UCS-2";
  }
};

using U2 = Target<U16Native, kMaxUcs2, false>;
using U2Sw = Target<U16Swapped, kMaxUcs2, false>;
using Utf16 = Target<U16Native, kMaxUtf16, true>;
using Utf16Sw = Target<U16Swapped, kMaxUtf16, true>;
using U4 = Target<U32Native, kMaxUcs4, false>;
using U4Sw = Target<U32Swapped, kMaxUcs4, false>;

// Report sites of this file.
enum Site {
  kSiteOverflow = 1,
  kSitePairOverflow,
  kSiteExhausted,
  kSiteExhaustedGD,
  kSiteIllegalStart,
  kSiteControlLead,
  kSiteFollowUp,
  kSiteOverlong,
  kSiteBeyond,
  kSiteControlValue,
};

int Fail(int error_class, Site site, int line, const ZUL_UTF16 *text) {
  return rscp::ReportConversionError(source_name, error_class, site, line, text);
}

// True when all follow-up bytes are of the form 10xxxxxx: AND-ed into 0x80 and OR-ed into 0xBF,
// both accumulators keep their start values.
inline bool FollowUpsValid(uint32_t and_acc, uint32_t or_acc) {
  return ((and_acc ^ 0x80) | (or_acc ^ 0xBF)) == 0;
}

// Converts the frequent characters with no room test: ASCII, complete and valid two- and
// three-byte sequences, and for targets with surrogate pairs four-byte ones. No sequence yields
// more units than it has bytes, so limiting the bytes taken to the destination's room in units
// makes every store safe. Stops, having converted nothing of it, at the first character that
// needs the general path's tests or reports.
template <class T, bool kNoCC>
inline void ConvertCommonRun(const ZUL_RAW *&s, const ZUL_RAW *src_end, typename T::Unit *&d,
                             typename T::Unit *dst_end) {
  using Io = typename T::Io;
  const ZUL_RAW *run_end = s + std::min(src_end - s, dst_end - d);
  for (;;) {
    const ptrdiff_t left = run_end - s;
    if (left <= 0) return;
    const uint32_t lead = *s;
    if (lead < 0x80) {
      if (!IsPlainAscii(lead, kNoCC)) return;
      // A single ASCII byte between others is stored at once; longer runs go by vector.
      if (left < 8 || !IsPlainAscii(s[1], kNoCC)) {
        Io::Store(d++, lead);
        ++s;
      } else if (left >= 16) {
        int taken;
        do {
          taken = WidenAsciiPrefix16<Io, kNoCC>(s, d);
          s += taken;
        } while (taken == 16 && run_end - s >= 16);
      } else {
        s += WidenAsciiPrefix8<Io, kNoCC>(s, d);
      }
    } else if (lead - 0xC2 < 0x1E) {
      if (left < 2) return;
      const uint32_t b1 = s[1];
      if (!FollowUpsValid(0x80 & b1, 0xBF | b1)) return;
      const uint32_t value = ((lead & 0x1F) << 6) | (b1 & 0x3F);
      if (kNoCC && value < 0xA0) return;
      Io::Store(d++, value);
      s += 2;
    } else if (lead - 0xE0 < 0x10) {
      if (left < 3) return;
      const uint32_t b1 = s[1];
      const uint32_t b2 = s[2];
      if (!FollowUpsValid(0x80 & b1 & b2, 0xBF | b1 | b2)) return;
      const uint32_t value = ((lead & 0x0F) << 12) | ((b1 & 0x3F) << 6) | (b2 & 0x3F);
      if (value < 0x800) return;
      Io::Store(d++, value);
      s += 3;
    } else if (T::kPairs && lead - 0xF0 < 0x05) {
      if (left < 4) return;
      const uint32_t b1 = s[1];
      const uint32_t b2 = s[2];
      const uint32_t b3 = s[3];
      if (!FollowUpsValid(0x80 & b1 & b2 & b3, 0xBF | b1 | b2 | b3)) return;
      const uint32_t value =
          ((lead & 0x07) << 18) | ((b1 & 0x3F) << 12) | ((b2 & 0x3F) << 6) | (b3 & 0x3F);
      if (value - 0x10000 > kMaxUtf16 - 0x10000) return;
      Io::Store(d, 0xD7C0 + (value >> 10));  // 0xD800 + ((value - 0x10000) >> 10)
      Io::Store(d + 1, 0xDC00 + (value & 0x3FF));
      d += 2;
      s += 4;
    } else {
      return;
    }
  }
}

template <class T, Variant kVariant>
int FromUtf8(const ZUL_RAW **src, const ZUL_RAW *src_end, typename T::Unit **dst,
             typename T::Unit *dst_end, const typename T::Unit *subst, uint32_t *count) {
  using Io = typename T::Io;
  using Unit = typename T::Unit;
  constexpr bool kNoCC = kVariant == Variant::kNoCCSubst;
  constexpr bool kGD = kVariant == Variant::kGD;
  static constexpr Unit kReplacementUnit = static_cast<Unit>(kReplacement);
  if constexpr (kVariant == Variant::kSubstAll) subst = &kReplacementUnit;
  const auto &lead_table = kNoCC ? bytesFromUTF8NoCC : bytesFromUTF8;

  const ZUL_RAW *s = *src;
  Unit *d = *dst;
  int rc = 0;
  // Stores the replacement of one invalid sequence; the caller then skips what it replaces.
  auto replace = [&] {
    Io::Store(d++, *subst);
    if (count != nullptr) ++*count;
  };

  for (;;) {
    ConvertCommonRun<T, kNoCC>(s, src_end, d, dst_end);
    if (s >= src_end) break;
    // One character through the general path.
    const uint32_t lead = *s;
    if (d >= dst_end) {
      rc = Fail(rscp::kDestOverflow, kSiteOverflow, __LINE__, u"dest buffer overflow");
      break;
    }
    const unsigned extra = lead_table[lead];
    if (extra >= kIllegalStartByte) {
      if constexpr (kGD) {
        // Converted as a single byte, though the source must hold room for six more.
        if (src_end - s <= kIllegalStartByte) {
          rc = Fail(rscp::kSourceExhausted, kSiteExhaustedGD, __LINE__, u"source exhausted");
          break;
        }
        Io::Store(d++, lead);
      } else if (subst != nullptr) {
        replace();
      } else if (extra == kControlCodeByte) {
        rc = Fail(rscp::kInvalidInput, kSiteControlLead, __LINE__,
                  u"control codes not allowed here");
        break;
      } else {
        rc = Fail(rscp::kInvalidInput, kSiteIllegalStart, __LINE__, u"illegal start byte");
        break;
      }
      ++s;
      continue;
    }
    if (src_end - s <= static_cast<ptrdiff_t>(extra)) {
      if constexpr (kGD) {
        rc = Fail(rscp::kSourceExhausted, kSiteExhaustedGD, __LINE__, u"source exhausted");
      } else if constexpr (kVariant == Variant::kSubstAll) {
        replace();
        ++s;
        continue;
      } else {
        rc = Fail(rscp::kSourceExhausted, kSiteExhausted, __LINE__,
                  u"source exhausted within a char");
      }
      break;
    }

    uint32_t value = lead;
    uint32_t and_acc = 0x80;
    uint32_t or_acc = 0xBF;
    const ZUL_RAW *p = s + 1;
    switch (extra) {
      case 5:
        value = (value << 6) + *p, and_acc &= *p, or_acc |= *p, ++p;
        [[fallthrough]];
      case 4:
        value = (value << 6) + *p, and_acc &= *p, or_acc |= *p, ++p;
        [[fallthrough]];
      case 3:
        value = (value << 6) + *p, and_acc &= *p, or_acc |= *p, ++p;
        [[fallthrough]];
      case 2:
        value = (value << 6) + *p, and_acc &= *p, or_acc |= *p, ++p;
        [[fallthrough]];
      case 1:
        value = (value << 6) + *p, and_acc &= *p, or_acc |= *p;
        break;
    }
    value -= offsetsFromUTF8[extra];

    if constexpr (kGD) {
      if (value > T::kMax) value = kReplacement;
    } else {
      if (!FollowUpsValid(and_acc, or_acc)) {
        if (subst == nullptr) {
          rc = Fail(rscp::kInvalidInput, kSiteFollowUp, __LINE__, u"illegal follow-up byte");
          break;
        }
        // Each follow-up byte is looked at again as a possible start.
        replace();
        ++s;
        continue;
      }
      if (value < minValForLength[extra] || value > T::kMax || (kNoCC && value - 0x80 < 0x20)) {
        if (subst != nullptr) {
          replace();
          s += extra + 1;
          continue;
        }
        if (value < minValForLength[extra]) {
          rc = Fail(rscp::kInvalidInput, kSiteOverlong, __LINE__, u"overlong UTF-8 sequence");
        } else if (value > T::kMax) {
          s += extra;  // this refusal leaves the source pointer on the sequence's last byte
          rc = Fail(rscp::kInvalidInput, kSiteBeyond, __LINE__, T::BeyondText());
        } else {
          rc = Fail(rscp::kInvalidInput, kSiteControlValue, __LINE__,
                    u"control codes not allowed here");
        }
        break;
      }
    }

    if (T::kPairs && value > 0xFFFF) {
      if (dst_end - d < 2) {
        rc = Fail(rscp::kDestOverflow, kSitePairOverflow, __LINE__, u"dest buffer overflow");
        break;
      }
      value -= 0x10000;
      Io::Store(d, 0xD800 + (value >> 10));
      Io::Store(d + 1, 0xDC00 + (value & 0x3FF));
      d += 2;
    } else {
      Io::Store(d++, value);
    }
    s += extra + 1;
  }
  *src = s;
  *dst = d;
  return rc;
}

}  // namespace

#define ZUL_FROM_UTF8_SUBST(name, target, variant)                                                 \
  int name(const ZUL_RAW **src, const ZUL_RAW *src_end, target::Unit **dst, target::Unit *dst_end, \
           const target::Unit *subst, uint32_t *count) noexcept {                                  \
    return FromUtf8<target, Variant::variant>(src, src_end, dst, dst_end, subst, count);           \
  }
#define ZUL_FROM_UTF8_PLAIN(name, target, variant)                                           \
  int name(const ZUL_RAW **src, const ZUL_RAW *src_end, target::Unit **dst,                  \
           target::Unit *dst_end) noexcept {                                                 \
    return FromUtf8<target, Variant::variant>(src, src_end, dst, dst_end, nullptr, nullptr); \
  }

ZUL_FROM_UTF8_SUBST(Utf8nToU2nNoCCSubst, U2, kNoCCSubst)
ZUL_FROM_UTF8_SUBST(Utf8nToU2nSubst, U2, kSubst)
ZUL_FROM_UTF8_PLAIN(Utf8nToU2nGD, U2, kGD)
ZUL_FROM_UTF8_SUBST(Utf8nToU2nSwNoCCSubst, U2Sw, kNoCCSubst)
ZUL_FROM_UTF8_SUBST(Utf8nToU2nSwSubst, U2Sw, kSubst)
ZUL_FROM_UTF8_PLAIN(Utf8nToU2nSwGD, U2Sw, kGD)
ZUL_FROM_UTF8_SUBST(Utf8nToU4nNoCCSubst, U4, kNoCCSubst)
ZUL_FROM_UTF8_SUBST(Utf8nToU4nSubst, U4, kSubst)
ZUL_FROM_UTF8_PLAIN(Utf8nToU4nGD, U4, kGD)
ZUL_FROM_UTF8_SUBST(Utf8nToU4nSwNoCCSubst, U4Sw, kNoCCSubst)
ZUL_FROM_UTF8_SUBST(Utf8nToU4nSwSubst, U4Sw, kSubst)
ZUL_FROM_UTF8_PLAIN(Utf8nToU4nSwGD, U4Sw, kGD)
ZUL_FROM_UTF8_PLAIN(Utf8nToUtf16nSubstAll, Utf16, kSubstAll)
ZUL_FROM_UTF8_SUBST(Utf8nToUtf16nNoCCSubst, Utf16, kNoCCSubst)
ZUL_FROM_UTF8_SUBST(Utf8nToUtf16nSubst, Utf16, kSubst)
ZUL_FROM_UTF8_PLAIN(Utf8nToUtf16nGD, Utf16, kGD)
ZUL_FROM_UTF8_SUBST(Utf8nToUtf16nSwNoCCSubst, Utf16Sw, kNoCCSubst)
ZUL_FROM_UTF8_SUBST(Utf8nToUtf16nSwSubst, Utf16Sw, kSubst)
ZUL_FROM_UTF8_PLAIN(Utf8nToUtf16nSwGD, Utf16Sw, kGD)
