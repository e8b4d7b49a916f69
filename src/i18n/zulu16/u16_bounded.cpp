// Bounded copies of 16-bit text: every result fits its destination or the destination is emptied.
#include "i18n/zulu16/u16_generic.h"

using zulu16::WideText;

int strcpy_sU16(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src) noexcept {
  return zulu16::CopyBounded<WideText>(dst, size, src, SIZE_MAX);
}

int strncpy_sU16(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src, size_t count) noexcept {
  return zulu16::CopyBounded<WideText>(dst, size, src, count);
}

int strcat_sU16(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src) noexcept {
  return zulu16::AppendBounded<WideText>(dst, size, src, SIZE_MAX);
}

int strncat_sU16(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src, size_t count) noexcept {
  return zulu16::AppendBounded<WideText>(dst, size, src, count);
}

int memcpy_sU16(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src, size_t count) noexcept {
  return zulu16::CopyMemoryBounded<WideText>(dst, size, src, count, false);
}

int memmove_sU16(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src, size_t count) noexcept {
  return zulu16::CopyMemoryBounded<WideText>(dst, size, src, count, true);
}
