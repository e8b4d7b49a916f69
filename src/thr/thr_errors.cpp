// Texts of the layer's result codes and of the system's errno values, as 16-bit strings.
#include <cstring>

#include "zul_thr.h"
#include "zul_u16conv.h"
#include "zul_u16printf.h"

const ZUL_UTF16 *ThrErrToStr(int code) noexcept {
  switch (code) {
#define THR_ERR_TEXT_CASE(name, value, text) \
  case value:                                \
    return u"" text;
    THR_ERR_MAP(THR_ERR_TEXT_CASE)
#undef THR_ERR_TEXT_CASE
    default:
      return u"Error code not defined by the thread library.";
  }
}

ZUL_UTF16 *ThrStrError(int errno_value, ZUL_UTF16 *buf16, int size) noexcept {
  if (size < 1) return nullptr;
  buf16[0] = 0;
  const char *text = std::strerror(errno_value);
  const ZUL_UTF16 *replacement = nullptr;
  if (text == nullptr) {
    replacement = u"(%d) - illegal errno";
  } else if (std::strlen(text) >= static_cast<size_t>(size)) {
    replacement = u"(%d) - error text too long";
  }
  if (replacement == nullptr) {
    A7sToUcs(buf16, text);
    return buf16;
  }
  snprintfU16(buf16, static_cast<size_t>(size), replacement, errno_value);
  buf16[size - 1] = 0;
  return buf16;
}
