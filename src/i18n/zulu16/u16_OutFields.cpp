// Parsing of the width and precision of a conversion specification.
#include "i18n/zulu16/u16_OutFields.h"

#include <cstdarg>

namespace zulu16::fmt {

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

}  // namespace zulu16::fmt
