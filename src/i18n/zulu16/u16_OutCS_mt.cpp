// Rendering of integer, pointer, character and string values, and the value storage.
#include <sys/types.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "i18n/zulu16/u16_OutCS.h"
#include "zul_u16string.h"
#include "zul_u16trace.h"

namespace zulu16::fmt {

namespace {

constexpr char16_t kNullText[] = u"(null)";
constexpr char16_t kNilText[] = u"(nil)";
constexpr char16_t kLowerDigits[] = u"0123456789abcdefghijklmnopqrstuvwxyz";
constexpr char16_t kUpperDigits[] = u"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
// Two decimal digits per step: "00" to "99".
constexpr char16_t kDigitPairs[] =
    u"00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    u"40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    u"8081828384858687888990919293949596979899";
// The most digits a 64-bit magnitude takes (octal).
constexpr size_t kMaxDigits = 22;

// Decimal digits of magnitude backwards, two per division, ending just before end; answers the
// first digit. Instantiated for 32 bits too, where the division is cheaper.
template <typename Unsigned>
ZUL_UTF16 *DecimalBackwards(ZUL_UTF16 *p, Unsigned magnitude) {
  while (magnitude >= 100) {
    const char16_t *pair = kDigitPairs + 2 * (magnitude % 100);
    magnitude /= 100;
    p -= 2;
    std::memcpy(p, pair, 2 * sizeof(char16_t));
  }
  if (magnitude >= 10) {
    p -= 2;
    std::memcpy(p, kDigitPairs + 2 * magnitude, 2 * sizeof(char16_t));
  } else {
    *--p = static_cast<ZUL_UTF16>(u'0' + magnitude);
  }
  return p;
}

// Writes the digits of magnitude backwards, ending just before end; answers the first digit.
ZUL_UTF16 *DigitsBackwards(ZUL_UTF16 *end, uint64_t magnitude, unsigned base, bool upper) {
  if (base == 10) {
    return magnitude <= UINT32_MAX ? DecimalBackwards(end, static_cast<uint32_t>(magnitude))
                                   : DecimalBackwards(end, magnitude);
  }
  ZUL_UTF16 *p = end;
  const char16_t *table = upper ? kUpperDigits : kLowerDigits;
  const unsigned shift = base == 16 ? 4 : 3;
  const uint64_t mask = base - 1;
  do {
    *--p = table[magnitude & mask];
    magnitude >>= shift;
  } while (magnitude != 0);
  return p;
}

}  // namespace

ZUL_UTF16 *OutputConversionSpec::allocate(size_t units) {
  std::free(allocated_);
  size_t bytes = (units + 1) * sizeof(ZUL_UTF16);
  allocated_ = static_cast<ZUL_UTF16 *>(std::malloc(bytes));
  if (allocated_ == nullptr) u16_malloc_error("vvfprintfU16", "u16_OutCS_mt", __LINE__, bytes);
  return allocated_;
}

void OutputConversionSpec::integerToString(uint64_t magnitude, bool negative, unsigned base,
                                           bool upper, int32_t precision, bool octal_zero) {
  negative_ = negative;
  size_t units = std::max<size_t>(kMaxDigits, precision > 0 ? precision : 0) + 1;
  ZUL_UTF16 *storage = reserve(units);
  if (storage == nullptr) {
    size_ = 0;
    return;
  }
  ZUL_UTF16 *end = storage + units;
  ZUL_UTF16 *p = end;
  if (magnitude != 0 || precision != 0) p = DigitsBackwards(end, magnitude, base, upper);
  if (precision > end - p) {
    ZUL_UTF16 *first = end - precision;
    std::fill(first, p, u'0');
    p = first;
  }
  if (octal_zero && (p == end || *p != u'0')) *--p = u'0';
  value_ = p;
  size_ = static_cast<size_t>(end - p);
}

void OutputConversionSpec::stringToString(const ZUL_UTF16 *text, int32_t precision) {
  if (text == nullptr) {
    text = kNullText;
  }
  value_ = text;
  if (precision >= 0) {
    const ZUL_UTF16 *end = memchrU16(text, 0, static_cast<size_t>(precision));
    size_ = end != nullptr ? static_cast<size_t>(end - text) : static_cast<size_t>(precision);
  } else {
    size_ = strlenU16(text);
  }
}

void OutputConversionSpec::unitToString(ZUL_UTF16 unit) {
  inline_[0] = unit;
  value_ = inline_;
  size_ = 1;
}

void OutputConversionSpec::pointerToString(const void *pointer, int32_t precision) {
  if (pointer == nullptr) {
    value_ = kNilText;
    size_ = 5;
    return;
  }
  integerToString(reinterpret_cast<uintptr_t>(pointer), false, 16, false, precision, false);
}

bool OutputConversionSpec::isNilPointer() const { return value_ == kNilText; }

void OutputConversionSpec::storeCount(void *pointer, uint64_t count, const LengthModifier &length) {
  count_pointer_ = pointer;
  size_ = 0;
  if (pointer == nullptr) return;
  // The store follows the modifier's type, so that %hhn never writes beyond a char.
  if (length.isCharValue()) {
    *static_cast<signed char *>(pointer) = static_cast<signed char>(count);
  } else if (length.isShortValue()) {
    *static_cast<short *>(pointer) = static_cast<short>(count);
  } else if (length.isLongValue()) {
    *static_cast<long *>(pointer) = static_cast<long>(count);
  } else if (length.isLongLongValue()) {
    *static_cast<long long *>(pointer) = static_cast<long long>(count);
  } else if (length.isIntMaxValue()) {
    *static_cast<intmax_t *>(pointer) = static_cast<intmax_t>(count);
  } else if (length.isSizeValue()) {
    *static_cast<ssize_t *>(pointer) = static_cast<ssize_t>(count);
  } else if (length.isPrtDiffValue()) {
    *static_cast<ptrdiff_t *>(pointer) = static_cast<ptrdiff_t>(count);
  } else {
    *static_cast<int *>(pointer) = static_cast<int>(count);
  }
}

}  // namespace zulu16::fmt
