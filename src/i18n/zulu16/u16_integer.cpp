// Conversion of 16-bit text to integers, with the C library's rules for white space, sign, base
// prefix, end pointer and overflow.
#include <cerrno>
#include <climits>
#include <limits>
#include <type_traits>

#include "i18n/zulu16/u16_trace.h"
#include "i18n/zulu16/u16_word.h"
#include "zul_u16string.h"

namespace {

constexpr int kNotADigit = 36;

int DigitValue(ZUL_UTF16 u) {
  if (u >= '0' && u <= '9') return u - '0';
  if (u >= 'a' && u <= 'z') return u - 'a' + 10;
  if (u >= 'A' && u <= 'Z') return u - 'A' + 10;
  return kNotADigit;
}

// A "0x" or "0X" at p that a hexadecimal digit follows; otherwise the "0" alone is the number.
bool HasHexPrefix(const ZUL_UTF16 *p) {
  using zulu16::LoadUnit;
  return LoadUnit(p) == '0' && (LoadUnit(p + 1) | 0x20) == 'x' && DigitValue(LoadUnit(p + 2)) < 16;
}

template <class Int>
Int ParseInteger(const ZUL_UTF16 *s, ZUL_UTF16 **end, int base, const char *function) {
  using Magnitude = std::make_unsigned_t<Int>;
  using zulu16::LoadUnit;
  if (base < 0 || base == 1 || base > 36) {
    if (zulu16::TraceLevel() > 15)
      zulu16::TraceF(nullptr, 0, "Illegal base %d in %s", base, function);
    errno = EINVAL;
    if (end != nullptr) *end = const_cast<ZUL_UTF16 *>(s);
    return 0;
  }
  const ZUL_UTF16 *p = s;
  while (isspaceU16(LoadUnit(p))) ++p;
  bool negative = false;
  if (LoadUnit(p) == '+' || LoadUnit(p) == '-') negative = LoadUnit(p++) == '-';
  if ((base == 0 || base == 16) && HasHexPrefix(p)) {
    p += 2;
    base = 16;
  } else if (base == 0) {
    base = LoadUnit(p) == '0' ? 8 : 10;
  }

  Magnitude limit = std::numeric_limits<Magnitude>::max();
  if constexpr (std::is_signed_v<Int>) {
    limit = static_cast<Magnitude>(std::numeric_limits<Int>::max()) + (negative ? 1 : 0);
  }
  Magnitude value = 0;
  bool overflow = false;
  const ZUL_UTF16 *digits = p;
  for (int d; (d = DigitValue(LoadUnit(p))) < base; ++p) {
    if (value > (limit - d) / base) {
      overflow = true;
    } else {
      value = value * base + d;
    }
  }
  if (end != nullptr) *end = const_cast<ZUL_UTF16 *>(p == digits ? s : p);
  if (overflow) {
    errno = ERANGE;
    if constexpr (std::is_signed_v<Int>) {
      return negative ? std::numeric_limits<Int>::min() : std::numeric_limits<Int>::max();
    }
    return std::numeric_limits<Int>::max();
  }
  return static_cast<Int>(negative ? Magnitude{0} - value : value);
}

}  // namespace

long strtolU16(const ZUL_UTF16 *s, ZUL_UTF16 **end, int base) noexcept {
  return ParseInteger<long>(s, end, base, "strtolU16");
}

unsigned long strtoulU16(const ZUL_UTF16 *s, ZUL_UTF16 **end, int base) noexcept {
  return ParseInteger<unsigned long>(s, end, base, "strtoulU16");
}

long long strtollU16(const ZUL_UTF16 *s, ZUL_UTF16 **end, int base) noexcept {
  return ParseInteger<long long>(s, end, base, "strtollU16");
}

unsigned long long strtoullU16(const ZUL_UTF16 *s, ZUL_UTF16 **end, int base) noexcept {
  return ParseInteger<unsigned long long>(s, end, base, "strtoullU16");
}
