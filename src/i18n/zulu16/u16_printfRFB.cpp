// 8-bit formatted output with the bounds of the 16-bit _s forms, over the C library's vsnprintf.
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>

#include "i18n/zulu16/u16_FormattedOutput.h"
#include "zul_u16printf.h"

namespace {

// Answers the C library's result, or the argument check's answer (0 for a count of 0, -1 for a
// missing buffer or format).
int Format8(char *buffer, size_t count, const char *format, va_list args) {
  int rc = zulu16::fmt::checkArgs(buffer != nullptr, count, format != nullptr);
  if (rc <= 0) return rc;
  return std::vsnprintf(buffer, count, format, args);
}

}  // namespace

int vsnprintf_sRFB(char *buffer, size_t count, const char *format, va_list args) noexcept {
  int rc = Format8(buffer, count, format, args);
  if (rc < 0 || static_cast<size_t>(rc) < count) return rc;
  return count > INT_MAX ? INT_MAX : static_cast<int>(count);
}

int vsprintf_sRFB(char *buffer, size_t count, const char *format, va_list args) noexcept {
  if (count == 0) return -1;
  int rc = Format8(buffer, count, format, args);
  if (rc < 0) return rc;
  return static_cast<size_t>(rc) >= count ? -1 : rc;
}

int snprintf_sRFB(char *buffer, size_t count, const char *format, ...) noexcept {
  ZUL_PRINTF_FORWARD(vsnprintf_sRFB(buffer, count, format, args), format);
}

int sprintf_sRFB(char *buffer, size_t count, const char *format, ...) noexcept {
  ZUL_PRINTF_FORWARD(vsprintf_sRFB(buffer, count, format, args), format);
}
