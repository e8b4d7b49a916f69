// Basic scanning functions on 16-bit text.
#include "zul_u16string.h"

size_t strlenU16(const ZUL_UTF16 *s) noexcept {
  const ZUL_UTF16 *p = s;
  while (*p != 0) ++p;
  return static_cast<size_t>(p - s);
}

ZUL_UTF16 *strchrU16(const ZUL_UTF16 *s, ZUL_UTF16 unit) noexcept {
  for (;; ++s) {
    if (*s == unit) return const_cast<ZUL_UTF16 *>(s);
    if (*s == 0) return nullptr;
  }
}

ZUL_UTF16 *memchrU16(const ZUL_UTF16 *s, ZUL_UTF16 unit, size_t count) noexcept {
  for (size_t i = 0; i < count; ++i)
    if (s[i] == unit) return const_cast<ZUL_UTF16 *>(s + i);
  return nullptr;
}
