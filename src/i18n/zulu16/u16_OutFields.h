// The parts of one conversion specification between '%' and the conversion letter: flags, field
// width, precision and length modifier. Each parse method reads its part at p and answers the
// position after it (p itself when the part is absent).
#ifndef TLM_I18N_ZULU16_U16_OUTFIELDS_H
#define TLM_I18N_ZULU16_U16_OUTFIELDS_H

#include <cstdint>

#include "i18n/zulu16/u16_OutStream.h"

namespace zulu16::fmt {

class OutputFlags {
 public:
  // Reads one flag unit; the caller loops while isFlag holds.
  static bool isFlag(ZUL_UTF16 unit) {
    return unit == u' ' || unit == u'#' || unit == u'+' || unit == u'-' || unit == u'0';
  }
  void parse(ZUL_UTF16 unit) {
    switch (unit) {
      case u'-':
        left_justified = true;
        break;
      case u'+':
        sign_conversion = true;
        break;
      case u' ':
        space = true;
        break;
      case u'#':
        alternative_form = true;
        break;
      case u'0':
        zero = true;
        break;
      default:
        break;
    }
  }

  bool left_justified = false;    // '-'
  bool sign_conversion = false;   // '+'
  bool space = false;             // ' '
  bool alternative_form = false;  // '#'
  bool zero = false;              // '0'
};

// A width or precision: written as digits, or '*' for the next int argument. Undefined values
// are -1. The argument position is 0 when the value came from the next argument in order (there
// are no positional arguments), -1 when it was written in the format.
class NumberField {
 public:
  bool defined() const { return defined_; }
  int32_t value() const { return value_; }
  int32_t argumentValue() const { return arg_value_; }

 protected:
  // Reads digits or '*'; digits beyond INT32_MAX stay at INT32_MAX.
  const ZUL_UTF16 *parseNumber(const ZUL_UTF16 *p, OutputStream &stream);
  void set(int32_t value) {
    defined_ = value >= 0;
    value_ = defined_ ? value : -1;
  }

 private:
  bool defined_ = false;
  int32_t value_ = -1;
  int32_t arg_position_ = -1;
  int32_t arg_value_ = -1;
};

class FieldWidth : public NumberField {
 public:
  // Expects a digit from 1 to 9 or '*' at p. A negative '*' argument means left justification
  // of its magnitude: *left_justified is set then.
  const ZUL_UTF16 *parse(const ZUL_UTF16 *p, OutputStream &stream, bool *left_justified);
};

class OutputPrecision : public NumberField {
 public:
  // Expects the unit after '.' at p. No digits means 0; a negative '*' argument leaves the
  // precision undefined.
  const ZUL_UTF16 *parse(const ZUL_UTF16 *p, OutputStream &stream);
};

class LengthModifier {
 public:
  enum : uint16_t {
    kNone = 0,
    kChar = 2,          // hh
    kShort = 4,         // h
    kLong = 8,          // l
    kLongLong = 16,     // ll
    kIntMax = 32,       // j
    kSize = 64,         // z
    kPtrDiff = 128,     // t
    kLongDouble = 256,  // L
  };

  const ZUL_UTF16 *parse(const ZUL_UTF16 *p) {
    switch (*p) {
      case u'h':
        value_ = p[1] == u'h' ? kChar : kShort;
        return p + (value_ == kChar ? 2 : 1);
      case u'l':
        value_ = p[1] == u'l' ? kLongLong : kLong;
        return p + (value_ == kLongLong ? 2 : 1);
      case u'j':
      case u'z':
      case u't':
      case u'L':
        value_ = *p == u'j' ? kIntMax : *p == u'z' ? kSize : *p == u't' ? kPtrDiff : kLongDouble;
        return p + 1;
      default:
        return p;
    }
  }

  bool isCharValue() const { return value_ == kChar; }
  bool isShortValue() const { return value_ == kShort; }
  bool isLongValue() const { return value_ == kLong; }
  bool isLongLongValue() const { return value_ == kLongLong; }
  bool isIntMaxValue() const { return value_ == kIntMax; }
  bool isSizeValue() const { return value_ == kSize; }
  bool isPrtDiffValue() const { return value_ == kPtrDiff; }
  bool isLongDoubleValue() const { return value_ == kLongDouble; }

 private:
  uint16_t value_ = kNone;
};

}  // namespace zulu16::fmt

#endif  // TLM_I18N_ZULU16_U16_OUTFIELDS_H
