// Base64 and Base32 between bytes and 16-bit text. Both work in groups: Base64 turns 3 bytes into
// 4 digits of 6 bits, Base32 5 bytes into 8 digits of 5 bits, the first byte's top bits first. A
// last, short group gives as many digits as its bits need, and "=" fills the group.
#include <array>
#include <cstdint>

#include "zul_pfuuid.h"

namespace {

struct Radix {
  const char *alphabet;
  int bits;                        // per digit
  int group_bytes;                 // bytes per whole group
  int group_digits;                // digits per whole group
  std::array<int8_t, 128> values;  // digit value of a unit below 128, or -1
};

constexpr std::array<int8_t, 128> ValuesOf(const char *alphabet) {
  std::array<int8_t, 128> values{};
  values.fill(-1);
  for (int i = 0; alphabet[i] != 0; ++i) values[alphabet[i]] = static_cast<int8_t>(i);
  return values;
}

// This system's own order: digits, upper case, lower case, then '{' and '}'.
constexpr char kBase64Alphabet[] =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz{}";
constexpr char kBase32Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
constexpr Radix kBase64 = {kBase64Alphabet, 6, 3, 4, ValuesOf(kBase64Alphabet)};
constexpr Radix kBase32 = {kBase32Alphabet, 5, 5, 8, ValuesOf(kBase32Alphabet)};

// Base64 lines hold 19 groups (76 units); Base32 text has no lines.
constexpr int kBase64LineGroups = 19;
constexpr int kNoLines = 0;

int ValueOf(const Radix &radix, ZUL_UTF16 unit) { return unit < 128 ? radix.values[unit] : -1; }

// line_limit 0 writes no newlines. The room test asks for a whole group, and one unit more when a
// newline goes first.
int Encode(const Radix &radix, int line_limit, ZUL_UTF16 **dst, ZUL_UTF16 *dst_end,
           const ZUL_RAW **src, const ZUL_RAW *src_end, int *line_groups) {
  if (dst == nullptr || *dst == nullptr || dst_end < *dst || src == nullptr ||
      (*src == nullptr && src_end != nullptr) || src_end < *src) {
    return PFUUID_ERR_ARG;
  }
  ZUL_UTF16 *d = *dst;
  const ZUL_RAW *s = *src;
  int groups = line_groups != nullptr ? *line_groups : 0;
  int rc = PFUUID_OK;
  while (s < src_end) {
    bool newline = line_limit > 0 && groups >= line_limit;
    if (dst_end - d < radix.group_digits + (newline ? 1 : 0)) {
      rc = PFUUID_ERR_LOCK;
      break;
    }
    if (newline) {
      *d++ = u'\n';
      groups = 0;
    }
    int bytes = src_end - s < radix.group_bytes ? static_cast<int>(src_end - s) : radix.group_bytes;
    uint64_t bits = 0;
    for (int i = 0; i < radix.group_bytes; ++i) bits = bits << 8 | (i < bytes ? s[i] : 0);
    int digits = (bytes * 8 + radix.bits - 1) / radix.bits;
    int shift = radix.group_bytes * 8;
    for (int i = 0; i < radix.group_digits; ++i) {
      shift -= radix.bits;
      d[i] = i < digits ? radix.alphabet[bits >> shift & ((1u << radix.bits) - 1)] : u'=';
    }
    d += radix.group_digits;
    s += bytes;
    ++groups;
  }
  *dst = d;
  *src = s;
  if (line_groups != nullptr) *line_groups = groups;
  return rc;
}

// Writes the bytes of digits digits held in the low bits of bits; false when they don't fit.
bool PutBytes(const Radix &radix, uint64_t bits, int digits, ZUL_RAW **d, ZUL_RAW *dst_end) {
  int bytes = digits * radix.bits / 8;
  if (dst_end - *d < bytes) return false;
  bits >>= digits * radix.bits - bytes * 8;  // drop the bits that make no whole byte
  for (int i = bytes - 1; i >= 0; --i, bits >>= 8) (*d)[i] = static_cast<ZUL_RAW>(bits);
  *d += bytes;
  return true;
}

// Units outside the alphabet are skipped; "=" is counted, and a digit starts the count afresh.
int Decode(const Radix &radix, ZUL_RAW **dst, ZUL_RAW *dst_end, const ZUL_UTF16 **src,
           const ZUL_UTF16 *src_end) {
  if (dst == nullptr || *dst == nullptr || dst_end < *dst || src == nullptr ||
      (*src == nullptr && src_end != nullptr) || src_end < *src) {
    return PFUUID_ERR_ARG;
  }
  ZUL_RAW *d = *dst;
  const ZUL_UTF16 *s = *src;
  const ZUL_UTF16 *group_start = s;
  uint64_t bits = 0;
  int digits = 0;
  int pads = 0;
  int rc = PFUUID_OK;
  for (; s < src_end; ++s) {
    int value = ValueOf(radix, *s);
    if (value < 0) {
      if (*s == u'=') ++pads;
      continue;
    }
    if (digits == 0) group_start = s;
    pads = 0;
    bits = bits << radix.bits | static_cast<unsigned>(value);
    if (++digits == radix.group_digits) {
      if (!PutBytes(radix, bits, digits, &d, dst_end)) break;
      bits = 0;
      digits = 0;
    }
  }
  if (s < src_end) {
    rc = PFUUID_ERR_LOCK;
    s = group_start;
  } else if (digits > 0) {
    if (digits + pads != radix.group_digits) {
      rc = PFUUID_ERR_ARG;
    } else if (!PutBytes(radix, bits, digits, &d, dst_end)) {
      rc = PFUUID_ERR_LOCK;
      s = group_start;
    }
  }
  *dst = d;
  *src = s;
  return rc;
}

}  // namespace

int pfuuid_encodeBase64Uc(ZUL_UTF16 **dst, ZUL_UTF16 *dst_end, const ZUL_RAW **src,
                          const ZUL_RAW *src_end, int *line_groups) noexcept {
  return Encode(kBase64, kBase64LineGroups, dst, dst_end, src, src_end, line_groups);
}

int pfuuid_decodeBase64Uc(ZUL_RAW **dst, ZUL_RAW *dst_end, const ZUL_UTF16 **src,
                          const ZUL_UTF16 *src_end) noexcept {
  return Decode(kBase64, dst, dst_end, src, src_end);
}

int pfuuid_encodeBase32Uc(ZUL_UTF16 **dst, ZUL_UTF16 *dst_end, const ZUL_RAW **src,
                          const ZUL_RAW *src_end) noexcept {
  return Encode(kBase32, kNoLines, dst, dst_end, src, src_end, nullptr);
}

int pfuuid_decodeBase32Uc(ZUL_RAW **dst, ZUL_RAW *dst_end, const ZUL_UTF16 **src,
                          const ZUL_UTF16 *src_end) noexcept {
  return Decode(kBase32, dst, dst_end, src, src_end);
}
