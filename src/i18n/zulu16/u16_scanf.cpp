// The formatted input family on 16-bit text. Every member ends in vvfscanf_sU16, which holds a
// file's lock for the whole call.
#include <cerrno>
#include <cstdarg>

#include "i18n/zulu16/u16_FormattedInput.h"
#include "i18n/zulu16/u16_FormattedOutput.h"
#include "i18n/zulu16/u16_stdin.h"
#include "zul_u16scanf.h"

int vvfscanf_sU16(const ZUL_UTF16 *string, FILE *file, const ZUL_UTF16 *format, int mode,
                  va_list args) noexcept {
  (void)mode;
  if (format == nullptr) {
    errno = EINVAL;
    return -1;
  }
  if (file == nullptr && string == nullptr) {
    errno = EBADF;
    return -1;
  }
  if (file == nullptr) return zulu16::scan::FormattedInput(string, nullptr, format, args).input();
  // The input object gives a pushed-back unit back to the file before the lock goes.
  zulu16::StreamLock lock(file);
  return zulu16::scan::FormattedInput(nullptr, file, format, args).input();
}

int vvfscanfU16(const ZUL_UTF16 *string, FILE *file, const ZUL_UTF16 *format,
                va_list args) noexcept {
  return vvfscanf_sU16(string, file, format, 0, args);
}

int vscanfU16(const ZUL_UTF16 *format, va_list args) noexcept {
  return vvfscanf_sU16(nullptr, stdin, format, 0, args);
}

int vfscanfU16(FILE *file, const ZUL_UTF16 *format, va_list args) noexcept {
  if (file == nullptr) {
    errno = EBADF;
    return -1;
  }
  return vvfscanf_sU16(nullptr, file, format, 0, args);
}

int vsscanfU16(const ZUL_UTF16 *string, const ZUL_UTF16 *format, va_list args) noexcept {
  if (string == nullptr) {
    errno = EBADF;
    return -1;
  }
  return vvfscanf_sU16(string, nullptr, format, 0, args);
}

int scanfU16(const ZUL_UTF16 *format, ...) noexcept {
  ZUL_PRINTF_FORWARD(vscanfU16(format, args), format);
}

int fscanfU16(FILE *file, const ZUL_UTF16 *format, ...) noexcept {
  ZUL_PRINTF_FORWARD(vfscanfU16(file, format, args), format);
}

int sscanfU16(const ZUL_UTF16 *string, const ZUL_UTF16 *format, ...) noexcept {
  ZUL_PRINTF_FORWARD(vsscanfU16(string, format, args), format);
}

int scanfU(const ZUL_UTF16 *format, ...) noexcept {
  ZUL_PRINTF_FORWARD(vscanfU16(format, args), format);
}

int fscanfU(FILE *file, const ZUL_UTF16 *format, ...) noexcept {
  ZUL_PRINTF_FORWARD(vfscanfU16(file, format, args), format);
}

int sscanfU(const ZUL_UTF16 *string, const ZUL_UTF16 *format, ...) noexcept {
  ZUL_PRINTF_FORWARD(vsscanfU16(string, format, args), format);
}
