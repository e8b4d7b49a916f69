// The formatted output family on 16-bit text. Every member ends in vvfprintfU16 and differs only
// in its target, its limit and how it reads the answer.
#include <cstdarg>
#include <cstdint>

#include "i18n/zulu16/u16_FormattedOutput.h"
#include "zul_u16printf.h"

namespace {

using zulu16::fmt::kNoLimit;

int Print(FILE *file, ZUL_UTF16 *buffer, uint64_t limit, const ZUL_UTF16 *format, va_list args) {
  int rc = zulu16::fmt::checkArgs(file != nullptr || buffer != nullptr, limit, format != nullptr);
  if (rc <= 0) return rc;
  zulu16::fmt::FormattedOutput output(file, buffer, limit, format, args);
  return output.parse();
}

}  // namespace

int vvfprintfU16(FILE *file, ZUL_UTF16 *buffer, const size_t *limit, const ZUL_UTF16 *format,
                 va_list args) noexcept {
  return Print(file, buffer, limit != nullptr ? *limit : kNoLimit, format, args);
}

int vvfprintf_sU16(FILE *file, ZUL_UTF16 *buffer, const size_t *limit, const ZUL_UTF16 *format,
                   va_list args) noexcept {
  return vvfprintfU16(file, buffer, limit, format, args);
}

int vfprintfU16(FILE *file, const ZUL_UTF16 *format, va_list args) noexcept {
  // A null file is no target at all (EBADF), not a memory target.
  return Print(file, nullptr, kNoLimit, format, args);
}

int vprintfU16(const ZUL_UTF16 *format, va_list args) noexcept {
  return Print(stdout, nullptr, kNoLimit, format, args);
}

int vsprintfU16(ZUL_UTF16 *buffer, const ZUL_UTF16 *format, va_list args) noexcept {
  return Print(nullptr, buffer, kNoLimit, format, args);
}

int vsnprintfU16(ZUL_UTF16 *buffer, size_t count, const ZUL_UTF16 *format, va_list args) noexcept {
  return Print(nullptr, buffer, count, format, args);
}

int vsprintf_sU16(ZUL_UTF16 *buffer, size_t count, const ZUL_UTF16 *format, va_list args) noexcept {
  if (count == 0) return -1;
  int rc = Print(nullptr, buffer, count, format, args);
  if (rc < 0) return rc;
  return static_cast<uint64_t>(rc) >= count ? -1 : rc;
}

int vsnprintf_sU16(ZUL_UTF16 *buffer, size_t count, const ZUL_UTF16 *format,
                   va_list args) noexcept {
  if (count == 0) return 0;
  int rc = Print(nullptr, buffer, count, format, args);
  if (rc < 0) return rc;
  return static_cast<uint64_t>(rc) >= count ? static_cast<int>(count - 1) : rc;
}

int fprintfU16(FILE *file, const ZUL_UTF16 *format, ...) noexcept {
  ZUL_PRINTF_FORWARD(vfprintfU16(file, format, args), format);
}

int printfU16(const ZUL_UTF16 *format, ...) noexcept {
  ZUL_PRINTF_FORWARD(vprintfU16(format, args), format);
}

int sprintfU16(ZUL_UTF16 *buffer, const ZUL_UTF16 *format, ...) noexcept {
  ZUL_PRINTF_FORWARD(vsprintfU16(buffer, format, args), format);
}

int snprintfU16(ZUL_UTF16 *buffer, size_t count, const ZUL_UTF16 *format, ...) noexcept {
  ZUL_PRINTF_FORWARD(vsnprintfU16(buffer, count, format, args), format);
}

int sprintf_sU16(ZUL_UTF16 *buffer, size_t count, const ZUL_UTF16 *format, ...) noexcept {
  ZUL_PRINTF_FORWARD(vsprintf_sU16(buffer, count, format, args), format);
}

int snprintf_sU16(ZUL_UTF16 *buffer, size_t count, const ZUL_UTF16 *format, ...) noexcept {
  ZUL_PRINTF_FORWARD(vsnprintf_sU16(buffer, count, format, args), format);
}

// Neutral names.

int fprintfU(FILE *file, const ZUL_UTF16 *format, ...) noexcept {
  ZUL_PRINTF_FORWARD(vfprintfU16(file, format, args), format);
}

int vfprintfU(FILE *file, const ZUL_UTF16 *format, va_list args) noexcept {
  return vfprintfU16(file, format, args);
}

int printfU(const ZUL_UTF16 *format, ...) noexcept {
  ZUL_PRINTF_FORWARD(vprintfU16(format, args), format);
}

int vprintfU(const ZUL_UTF16 *format, va_list args) noexcept { return vprintfU16(format, args); }

int snprintfU(ZUL_UTF16 *buffer, size_t count, const ZUL_UTF16 *format, ...) noexcept {
  ZUL_PRINTF_FORWARD(vsnprintfU16(buffer, count, format, args), format);
}

int vsnprintfU(ZUL_UTF16 *buffer, size_t count, const ZUL_UTF16 *format, va_list args) noexcept {
  return vsnprintfU16(buffer, count, format, args);
}

int sprintfU(ZUL_UTF16 *buffer, const ZUL_UTF16 *format, ...) noexcept {
  ZUL_PRINTF_FORWARD(vsprintfU16(buffer, format, args), format);
}

int vsprintfU(ZUL_UTF16 *buffer, const ZUL_UTF16 *format, va_list args) noexcept {
  return vsprintfU16(buffer, format, args);
}
