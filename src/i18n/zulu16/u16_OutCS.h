// The rendered value of one conversion: its letter, the units that show it, and the storage for
// them. Small values are rendered into the inline buffer (integers from its end backwards); only
// a value above kInlineUnits units takes an allocated buffer, freed by the destructor.
#ifndef TLM_I18N_ZULU16_U16_OUTCS_H
#define TLM_I18N_ZULU16_U16_OUTCS_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "i18n/zulu16/u16_OutFields.h"
#include "zul_base.h"

namespace zulu16::fmt {

class OutputConversionSpec {
 public:
  static constexpr size_t kInlineUnits = 1024;

  OutputConversionSpec() = default;
  ~OutputConversionSpec() {
    if (allocated_ != nullptr) std::free(allocated_);
  }
  OutputConversionSpec(const OutputConversionSpec &) = delete;
  OutputConversionSpec &operator=(const OutputConversionSpec &) = delete;

  // Stores the conversion letter; false when it isn't one of % A E F G X a c d e f g i n o p s u x.
  bool setSymbol(ZUL_UTF16 unit) {
    switch (unit) {
      case u'%':
      case u'A':
      case u'E':
      case u'F':
      case u'G':
      case u'X':
      case u'a':
      case u'c':
      case u'd':
      case u'e':
      case u'f':
      case u'g':
      case u'i':
      case u'n':
      case u'o':
      case u'p':
      case u's':
      case u'u':
      case u'x':
        symbol_ = unit;
        return true;
      default:
        return false;
    }
  }
  ZUL_UTF16 symbol() const { return symbol_; }

  // Renderers; each sets the value and its size. A failed allocation leaves the value empty.
  // Digits of magnitude in base (8, 10 or 16), at least precision of them (-1: no minimum, and a
  // zero magnitude with precision 0 shows nothing); octal_zero makes the first digit a '0'.
  void integerToString(uint64_t magnitude, bool negative, unsigned base, bool upper,
                       int32_t precision, bool octal_zero);
  // A 16-bit string, not copied: the caller's text stays the value. Null shows "(null)".
  void stringToString(const ZUL_UTF16 *text, int32_t precision);
  // One unit (also the '%' of "%%").
  void unitToString(ZUL_UTF16 unit);
  // A pointer in lower-case hexadecimal digits (the "0x" prefix is the caller's); null shows
  // "(nil)".
  void pointerToString(const void *pointer, int32_t precision);
  // Floating point through the C library, for the letters a A e E f F g G. precision -1 takes the
  // library's default. A '-' of the result moves to the negative flag.
  void floatToString(double value, int32_t precision, bool alternative_form);
  void floatToString(long double value, int32_t precision, bool alternative_form);
  // %n: stores count in the int (or the type the length modifier names) that pointer points to.
  void storeCount(void *pointer, uint64_t count, const LengthModifier &length);

  const ZUL_UTF16 *value() const { return value_; }
  size_t size() const { return size_; }
  bool negative() const { return negative_; }
  // The value is the "(nil)" of a null pointer: text, not a number.
  bool isNilPointer() const;
  // Drops the first count units of the value (a prefix that the caller shows apart).
  void dropLeading(size_t count) {
    value_ += count;
    size_ -= count;
  }

 private:
  // Storage for units units: the inline buffer when they fit, else an allocated one (null and
  // reported on failure).
  ZUL_UTF16 *reserve(size_t units) { return units <= kInlineUnits ? inline_ : allocate(units); }
  ZUL_UTF16 *allocate(size_t units);
  template <typename Float>
  void renderFloat(Float value, int32_t precision, bool alternative_form);

  ZUL_UTF16 symbol_ = 0;
  const ZUL_UTF16 *value_ = nullptr;
  ZUL_UTF16 inline_[kInlineUnits + 1];  // left uninitialised: most conversions use a few units
  size_t size_ = 0;
  bool negative_ = false;
  void *count_pointer_ = nullptr;  // the target of %n
  ZUL_UTF16 *allocated_ = nullptr;
};

}  // namespace zulu16::fmt

#endif  // TLM_I18N_ZULU16_U16_OUTCS_H
