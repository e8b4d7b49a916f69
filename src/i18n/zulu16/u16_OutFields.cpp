// Parsing of flags, width, precision and length modifier of a conversion specification.
#include "i18n/zulu16/u16_OutFields.h"

#include <cstdarg>

namespace zulu16::fmt {

void OutputFlags::parse(ZUL_UTF16 unit) {
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

const ZUL_UTF16 *NumberField::parseNumber(const ZUL_UTF16 *p, OutputStream &stream) {
  if (*p == u'*') {
    arg_position_ = 0;
    arg_value_ = va_arg(stream.args(), int);
    set(arg_value_);
    return p + 1;
  }
  int64_t value = 0;
  for (; *p >= u'0' && *p <= u'9'; ++p) {
    if (value < INT32_MAX) value = value * 10 + (*p - u'0');
  }
  arg_position_ = -1;
  set(value > INT32_MAX ? INT32_MAX : static_cast<int32_t>(value));
  return p;
}

const ZUL_UTF16 *FieldWidth::parse(const ZUL_UTF16 *p, OutputStream &stream, bool *left_justified) {
  const ZUL_UTF16 *next = parseNumber(p, stream);
  if (*p == u'*' && argumentValue() < 0) {
    *left_justified = true;
    // The magnitude of INT32_MIN doesn't fit: it stays at INT32_MAX.
    set(argumentValue() == INT32_MIN ? INT32_MAX : -argumentValue());
  }
  return next;
}

const ZUL_UTF16 *OutputPrecision::parse(const ZUL_UTF16 *p, OutputStream &stream) {
  return parseNumber(p, stream);
}

const ZUL_UTF16 *LengthModifier::parse(const ZUL_UTF16 *p) {
  switch (*p) {
    case u'h':
      if (p[1] == u'h') {
        value_ = kChar;
        return p + 2;
      }
      value_ = kShort;
      return p + 1;
    case u'l':
      if (p[1] == u'l') {
        value_ = kLongLong;
        return p + 2;
      }
      value_ = kLong;
      return p + 1;
    case u'j':
      value_ = kIntMax;
      return p + 1;
    case u'z':
      value_ = kSize;
      return p + 1;
    case u't':
      value_ = kPtrDiff;
      return p + 1;
    case u'L':
      value_ = kLongDouble;
      return p + 1;
    default:
      return p;
  }
}

}  // namespace zulu16::fmt
