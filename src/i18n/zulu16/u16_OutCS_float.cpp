// Floating point values: the C library renders them from an 8-bit format built of '%', '#' for
// the alternative form, ".*", 'L' for a long double and the letter; the text is widened to units.
// The sign, the width and the other flags are applied afterwards, like for integers.
#include <cmath>
#include <cstdio>

#include "i18n/zulu16/u16_OutCS.h"
#include "i18n/zulu16/u16_trace.h"

namespace zulu16::fmt {

namespace {

// Texts up to this size (and precisions up to kSmallPrecision) are rendered on the stack.
constexpr size_t kSmallText = 336;
constexpr int32_t kSmallPrecision = 320;

// An upper bound of the bytes the C library writes, from the decimal exponent and the
// precision: sign, "0x", digits before the point, point, precision digits, exponent, terminator.
template <typename Float>
size_t TextBound(Float value, ZUL_UTF16 letter, int32_t precision) {
  size_t bound = 48 + static_cast<size_t>(precision > 0 ? precision : 0);
  if ((letter == u'f' || letter == u'F') && std::isfinite(value) && value != 0) {
    int binary_exponent = std::ilogb(value);
    // log10(2) < 0.302; one digit more for the rounding of the estimate.
    if (binary_exponent > 0) bound += static_cast<size_t>(binary_exponent) * 302 / 1000 + 2;
  }
  return bound;
}

void BuildFormat(char *format, ZUL_UTF16 letter, bool alternative_form, bool long_double) {
  char *p = format;
  *p++ = '%';
  if (alternative_form) *p++ = '#';
  *p++ = '.';
  *p++ = '*';
  if (long_double) *p++ = 'L';
  *p++ = static_cast<char>(letter);
  *p = 0;
}

}  // namespace

template <typename Float>
void OutputConversionSpec::renderFloat(Float value, int32_t precision, bool alternative_form) {
  size_ = 0;
  char format[8];
  BuildFormat(format, symbol_, alternative_form, sizeof(Float) != sizeof(double));
  size_t bound = TextBound(value, symbol_, precision);
  bool small = precision <= kSmallPrecision && bound <= kSmallText;

  char stack_text[kSmallText];
  char *text = stack_text;
  size_t capacity = kSmallText;
  ZUL_UTF16 *units = nullptr;
  if (!small) {
    // Large texts are rendered into the value's own storage, read as bytes, and widened in place.
    units = reserve(bound);
    if (units == nullptr) return;
    text = reinterpret_cast<char *>(units);
    capacity = bound;
  }
  int n = std::snprintf(text, capacity, format, static_cast<int>(precision), value);
  if (n < 0) return;
  size_t length = static_cast<size_t>(n);
  if (length >= capacity) {
    TraceF(nullptr, 0, "Buffer overflow (floating point output)");
    length = capacity - 1;
  }
  if (small) units = reserve(length);
  // Back to front, so that widening in place never overwrites a byte still to be read.
  for (size_t i = length; i-- > 0;) units[i] = static_cast<unsigned char>(text[i]);
  value_ = units;
  size_ = length;
  negative_ = length > 0 && units[0] == u'-';
  if (negative_) dropLeading(1);
}

void OutputConversionSpec::floatToString(double value, int32_t precision, bool alternative_form) {
  renderFloat(value, precision, alternative_form);
}

void OutputConversionSpec::floatToString(long double value, int32_t precision,
                                         bool alternative_form) {
  renderFloat(value, precision, alternative_form);
}

}  // namespace zulu16::fmt
