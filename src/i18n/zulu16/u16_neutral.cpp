// The neutral names that application code calls; in this build each forwards to its U16 form.
#include "zul_u16string.h"

size_t strlenU(const ZUL_UTF16 *s) noexcept { return strlenU16(s); }
size_t strnlenU(const ZUL_UTF16 *s, size_t max) noexcept { return strnlenU16(s, max); }
ZUL_UTF16 *strcpyU(ZUL_UTF16 *dst, const ZUL_UTF16 *src) noexcept { return strcpyU16(dst, src); }
ZUL_UTF16 *strncpyU(ZUL_UTF16 *dst, const ZUL_UTF16 *src, size_t count) noexcept {
  return strncpyU16(dst, src, count);
}
ZUL_UTF16 *strcatU(ZUL_UTF16 *dst, const ZUL_UTF16 *src) noexcept { return strcatU16(dst, src); }
ZUL_UTF16 *strncatU(ZUL_UTF16 *dst, const ZUL_UTF16 *src, size_t count) noexcept {
  return strncatU16(dst, src, count);
}
ZUL_UTF16 *strchrU(const ZUL_UTF16 *s, ZUL_UTF16 unit) noexcept { return strchrU16(s, unit); }
ZUL_UTF16 *strrchrU(const ZUL_UTF16 *s, ZUL_UTF16 unit) noexcept { return strrchrU16(s, unit); }
int strcmpU(const ZUL_UTF16 *a, const ZUL_UTF16 *b) noexcept { return strcmpU16(a, b); }
int strncmpU(const ZUL_UTF16 *a, const ZUL_UTF16 *b, size_t count) noexcept {
  return strncmpU16(a, b, count);
}
int strcasecmpU(const ZUL_UTF16 *a, const ZUL_UTF16 *b) noexcept { return strcasecmpU16(a, b); }
int strncasecmpU(const ZUL_UTF16 *a, const ZUL_UTF16 *b, size_t count) noexcept {
  return strncasecmpU16(a, b, count);
}
size_t strspnU(const ZUL_UTF16 *s, const ZUL_UTF16 *accept) noexcept {
  return strspnU16(s, accept);
}
size_t strcspnU(const ZUL_UTF16 *s, const ZUL_UTF16 *reject) noexcept {
  return strcspnU16(s, reject);
}
ZUL_UTF16 *strpbrkU(const ZUL_UTF16 *s, const ZUL_UTF16 *accept) noexcept {
  return strpbrkU16(s, accept);
}
ZUL_UTF16 *strstrU(const ZUL_UTF16 *haystack, const ZUL_UTF16 *needle) noexcept {
  return strstrU16(haystack, needle);
}
ZUL_UTF16 *strtokU(ZUL_UTF16 *s, const ZUL_UTF16 *delim) noexcept { return strtokU16(s, delim); }
ZUL_UTF16 *strtok_rU(ZUL_UTF16 *s, const ZUL_UTF16 *delim, ZUL_UTF16 **save) noexcept {
  return strtok_rU16(s, delim, save);
}
ZUL_UTF16 *strdupU(const ZUL_UTF16 *s) noexcept { return strdupU16(s); }

int strcpy_sU(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src) noexcept {
  return strcpy_sU16(dst, size, src);
}
int strncpy_sU(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src, size_t count) noexcept {
  return strncpy_sU16(dst, size, src, count);
}
int strcat_sU(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src) noexcept {
  return strcat_sU16(dst, size, src);
}
int strncat_sU(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src, size_t count) noexcept {
  return strncat_sU16(dst, size, src, count);
}
int memcpy_sU(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src, size_t count) noexcept {
  return memcpy_sU16(dst, size, src, count);
}
int memmove_sU(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src, size_t count) noexcept {
  return memmove_sU16(dst, size, src, count);
}

ZUL_UTF16 *strtoupperU(ZUL_UTF16 *s) noexcept { return strtoupperU16(s); }
ZUL_UTF16 *strntoupperU(ZUL_UTF16 *s, size_t n) noexcept { return strntoupperU16(s, n); }
ZUL_UTF16 *strcpytoupperU(ZUL_UTF16 *dst, const ZUL_UTF16 *src) noexcept {
  return strcpytoupperU16(dst, src);
}
ZUL_UTF16 *strtolowerU(ZUL_UTF16 *s) noexcept { return strtolowerU16(s); }
ZUL_UTF16 *strntolowerU(ZUL_UTF16 *s, size_t n) noexcept { return strntolowerU16(s, n); }
ZUL_UTF16 *strcpytolowerU(ZUL_UTF16 *dst, const ZUL_UTF16 *src) noexcept {
  return strcpytolowerU16(dst, src);
}

ZUL_UTF16 *memsetU(ZUL_UTF16 *dst, ZUL_UTF16 unit, size_t count) noexcept {
  return memsetU16(dst, unit, count);
}
int memcmpU(const ZUL_UTF16 *a, const ZUL_UTF16 *b, size_t count) noexcept {
  return memcmpU16(a, b, count);
}
ZUL_UTF16 *memchrU(const ZUL_UTF16 *s, ZUL_UTF16 unit, size_t count) noexcept {
  return memchrU16(s, unit, count);
}

long strtolU(const ZUL_UTF16 *s, ZUL_UTF16 **end, int base) noexcept {
  return strtolU16(s, end, base);
}
unsigned long strtoulU(const ZUL_UTF16 *s, ZUL_UTF16 **end, int base) noexcept {
  return strtoulU16(s, end, base);
}
long long strtollU(const ZUL_UTF16 *s, ZUL_UTF16 **end, int base) noexcept {
  return strtollU16(s, end, base);
}
unsigned long long strtoullU(const ZUL_UTF16 *s, ZUL_UTF16 **end, int base) noexcept {
  return strtoullU16(s, end, base);
}
double strtodU(const ZUL_UTF16 *s, ZUL_UTF16 **end) noexcept { return strtodU16(s, end); }
ZUL_UTF16 *ecvtU(double value, int ndigit, int *decpt, int *sign) noexcept {
  return ecvtU16(value, ndigit, decpt, sign);
}
