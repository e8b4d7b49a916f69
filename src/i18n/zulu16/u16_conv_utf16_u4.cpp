// Conversions between the 16-bit and 32-bit forms, the validating copy of UTF-16, and the
// in-place byte swap.
#include "i18n/zulu16/u16_conv_tables.h"
#include "i18n/zulu16/u16_conv_units.h"
#include "krn/rscp/rscp_report.h"
#include "zul_u16conv.h"

namespace {

using namespace zulu16;

rscp::SourceName source_name("u16_conv_utf16_u4");

enum Site {
  kSiteOverflow = 1,
  kSiteHalfAtEnd,
  kSiteHalfInMiddle,
  kSiteLowInMiddle,
};

int Fail(int error_class, Site site, int line, const ZUL_UTF16 *text) {
  return rscp::ReportConversionError(source_name, error_class, site, line, text);
}

inline bool IsHigh(uint32_t u) { return u - 0xD800 < 0x400; }
inline bool IsLow(uint32_t u) { return u - 0xDC00 < 0x400; }
inline uint32_t JoinPair(uint32_t high, uint32_t low) { return (high << 10) + low - 56613888; }

}  // namespace

int Utf16nToU4n(const ZUL_UTF16 **src, const ZUL_UTF16 *src_end, uint32_t **dst,
                uint32_t *dst_end) noexcept {
  const ZUL_UTF16 *s = *src;
  uint32_t *d = *dst;
  int rc = 0;
  while (s < src_end) {
    if (d >= dst_end) {
      rc = Fail(rscp::kDestOverflow, kSiteOverflow, __LINE__, u"dest buffer overflow");
      break;
    }
    uint32_t value = U16Native::Load(s);
    const ZUL_UTF16 *next = s + 1;
    if (IsHigh(value)) {
      if (next == src_end) {
        rc = Fail(rscp::kSourceExhausted, kSiteHalfAtEnd, __LINE__, u"half surrogate at end");
        break;
      }
      if (uint32_t low = U16Native::Load(next); IsLow(low)) {
        value = JoinPair(value, low);
        ++next;
      }
    }
    U32Native::Store(d++, value);
    s = next;
  }
  *src = s;
  *dst = d;
  return rc;
}

int U4nToUtf16n(const uint32_t **src, const uint32_t *src_end, ZUL_UTF16 **dst,
                ZUL_UTF16 *dst_end) noexcept {
  const uint32_t *s = *src;
  ZUL_UTF16 *d = *dst;
  int rc = 0;
  while (s < src_end) {
    uint32_t value = U32Native::Load(s);
    if (value > kMaxUtf16) value = kReplacement;
    const ptrdiff_t units = value > 0xFFFF ? 2 : 1;
    if (dst_end - d < units) {
      rc = Fail(rscp::kDestOverflow, kSiteOverflow, __LINE__, u"dest buffer overflow");
      break;
    }
    if (units == 2) {
      value -= 0x10000;
      U16Native::Store(d, 0xD800 + (value >> 10));
      U16Native::Store(d + 1, 0xDC00 + (value & 0x3FF));
    } else {
      U16Native::Store(d, value);
    }
    d += units;
    ++s;
  }
  *src = s;
  *dst = d;
  return rc;
}

int Utf16nToUtf16n(const ZUL_UTF16 **src, const ZUL_UTF16 *src_end, ZUL_UTF16 **dst,
                   ZUL_UTF16 *dst_end) noexcept {
  const ZUL_UTF16 *s = *src;
  ZUL_UTF16 *d = *dst;
  int rc = 0;
  while (s < src_end) {
    const uint32_t value = U16Native::Load(s);
    ptrdiff_t units = 1;
    if (IsHigh(value)) {
      if (s + 1 == src_end) {
        rc = Fail(rscp::kSourceExhausted, kSiteHalfAtEnd, __LINE__, u"Half surrogate at end");
        break;
      }
      if (!IsLow(U16Native::Load(s + 1))) {
        rc = Fail(rscp::kInvalidInput, kSiteHalfInMiddle, __LINE__, u"Half surrogate in middle");
        break;
      }
      units = 2;
    } else if (IsLow(value)) {
      rc = Fail(rscp::kInvalidInput, kSiteLowInMiddle, __LINE__, u"Half low surrogate in middle");
      break;
    }
    if (dst_end - d < units) {
      rc = Fail(rscp::kDestOverflow, kSiteOverflow, __LINE__, u"dest buffer overflow");
      break;
    }
    for (ptrdiff_t i = 0; i < units; ++i) U16Native::Store(d + i, U16Native::Load(s + i));
    d += units;
    s += units;
  }
  *src = s;
  *dst = d;
  return rc;
}

void SwapUnicodeBuffer(ZUL_UTF16 *buffer, size_t units) noexcept {
  if (buffer == nullptr) return;
  for (size_t i = 0; i < units; ++i) U16Native::Store(buffer + i, U16Swapped::Load(buffer + i));
}
