// One input conversion, from the unit after '%' to its letter, and the reading of
// its field: suppression flag, field width, length modifier and conversion letter (with the set
// of a %[ conversion).
#ifndef TLM_I18N_ZULU16_U16_INCONVERSION_H
#define TLM_I18N_ZULU16_U16_INCONVERSION_H

#include <cstdarg>
#include <cstdint>

#include "i18n/zulu16/u16_InStream.h"
#include "i18n/zulu16/u16_OutFields.h"

namespace zulu16::scan {

using zulu16::fmt::LengthModifier;

// The maximum number of units a field may take; undefined (no limit) is -1. A written width of 0
// means no limit too, as in the C library.
class FieldWidth {
 public:
  // Reads the digits at p; answers the position after them. Values beyond INT32_MAX stay there.
  const ZUL_UTF16 *parse(const ZUL_UTF16 *p) {
    int64_t value = 0;
    for (; *p >= u'0' && *p <= u'9'; ++p) {
      if (value < INT32_MAX) value = value * 10 + (*p - u'0');
    }
    value_ = value == 0 ? -1 : value > INT32_MAX ? INT32_MAX : static_cast<int32_t>(value);
    return p;
  }
  bool defined() const { return value_ >= 0; }
  int32_t value() const { return value_; }

 private:
  int32_t value_ = -1;
};

// The conversion letter, and for %[ the units of the set between the brackets.
class InputConversionSpec {
 public:
  // Stores the letter; false when it isn't one of A E F G X [ a c d e f g i n o p s u x.
  bool setSymbol(ZUL_UTF16 unit);
  ZUL_UTF16 symbol() const { return symbol_; }
  // Reads a set at p, just after the '['. Answers the position of its closing ']', or null when
  // the format ends first. A ']' or '-' first in the set (after any '^') stands for itself.
  const ZUL_UTF16 *parseSet(const ZUL_UTF16 *p);
  // The unit belongs to the set (with '^': doesn't belong to the listed units).
  bool inSet(ZUL_UTF16 unit) const;

 private:
  ZUL_UTF16 symbol_ = 0;
  const ZUL_UTF16 *set_begin_ = nullptr;  // the units between '[' (or '^') and ']'
  const ZUL_UTF16 *set_end_ = nullptr;
  bool set_negated_ = false;
};

// The 8-bit text of a floating point field, for the C library's conversion: inline up to
// kInline bytes, then allocated (a failure is reported through u16_malloc_error).
class CharBuffer {
 public:
  static constexpr size_t kInline = 128;
  CharBuffer() = default;
  ~CharBuffer();
  CharBuffer(const CharBuffer &) = delete;
  CharBuffer &operator=(const CharBuffer &) = delete;

  // Appends one byte; false once an allocation has failed.
  bool add(char c) {
    if (size_ == capacity_ && !grow()) return false;
    data_[size_++] = c;
    return true;
  }
  size_t size() const { return size_; }
  char last() const { return size_ > 0 ? data_[size_ - 1] : 0; }
  const char *data() const { return data_; }
  bool failed() const { return failed_; }

 private:
  bool grow();

  char inline_[kInline];
  char *data_ = inline_;
  size_t size_ = 0;
  size_t capacity_ = kInline;
  bool failed_ = false;
};

// The outcome of reading one field.
enum class Outcome {
  kAssigned,  // a value was stored
  kSkipped,   // read but not stored: suppressed, or %n
  kMismatch,  // the input doesn't fit: the input ends, with the count so far
  kInputEnd,  // the input ended before the field: -1 if nothing was assigned yet
};

// One conversion of a call; stream and args must outlive it.
class InputConversion {
 public:
  InputConversion(InputStream &stream, va_list &args, const ZUL_UTF16 *format)
      : stream_(stream), args_(args), format_(format) {}

  // Reads the conversion at p (just after '%'). Answers the position after it, or null for
  // an unknown letter or an unclosed set (reported through u16_unknownFormatStr).
  const ZUL_UTF16 *parse(const ZUL_UTF16 *p);
  // Skips leading white space where the letter asks for it, reads the field and stores it.
  Outcome input();

 private:
  Outcome inputInteger(unsigned base, bool is_signed, bool is_pointer);
  Outcome inputFloat();
  Outcome inputUnits();
  void storeInteger(uint64_t value, bool is_signed, bool is_pointer);
  void storeCount(uint64_t count);
  // Units left in the field; -1: no limit. Counts down as units are taken.
  bool widthLeft() const { return width_left_ != 0; }
  void takeWidth() {
    if (width_left_ > 0) --width_left_;
  }

  InputStream &stream_;
  va_list &args_;
  const ZUL_UTF16 *format_;  // the whole format, for reports
  bool suppress_ = false;
  FieldWidth width_;
  LengthModifier length_;
  InputConversionSpec spec_;
  int64_t width_left_ = -1;
};

// The special spellings of a floating point field, after an optional sign; first is the unit
// already read, width the units left in the field (-1: no limit), counted down. Matched units go
// to text. Answers 0 when first is neither 'n' nor 'i' (in any case); 2 for "nan" or "inf",
// 7 for "infinity"; -2 on a mismatch, the unit that differs pushed back; -1 at the end of input
// or of the width.
int testForNANandINF(InputStream &stream, int first, int64_t &width, CharBuffer &text);
// The "(nil)" of %p, in any case, after first, which is '(': answers 3 when it matched, -2 on a
// mismatch (the unit that differs pushed back), -1 at the end of the input.
int testForNIL(InputStream &stream);

}  // namespace zulu16::scan

#endif  // TLM_I18N_ZULU16_U16_INCONVERSION_H
