// The conversions to UTF-8 from 16-bit and 32-bit units, in native and swapped byte order.
//
// One loop serves all members: runs of ASCII go through the SIMD copy, any other unit is checked
// according to the source form and the variant, and its bytes are written from the last one back
// to the lead byte.
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
      NarrowAsciiRun<Io, kNoCC>(s, src_end, d, dst_end);
      continue;
    }
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
