// The 8-bit forms of the string functions, for bytes in any build.
#include <strings.h>

#include <cctype>

#include "i18n/zulu16/u16_generic.h"

using zulu16::RawText;

namespace {

char *MapBytes(char *s, int (*map)(int)) {
  for (char *p = s; *p != 0; ++p) *p = static_cast<char>(map(static_cast<unsigned char>(*p)));
  return s;
}

}  // namespace

int strcasecmpR(const char *a, const char *b) noexcept { return strcasecmp(a, b); }

int strncasecmpR(const char *a, const char *b, size_t count) noexcept {
  return strncasecmp(a, b, count);
}

char *strtolowerR(char *s) noexcept { return MapBytes(s, tolower); }

char *strtoupperR(char *s) noexcept { return MapBytes(s, toupper); }

size_t strnlenRFB(const char *s, size_t max) noexcept { return strnlen(s, max); }

int strcpy_sRFB(char *dst, size_t size, const char *src) noexcept {
  return zulu16::CopyBounded<RawText>(dst, size, src, SIZE_MAX);
}

int strncpy_sRFB(char *dst, size_t size, const char *src, size_t count) noexcept {
  return zulu16::CopyBounded<RawText>(dst, size, src, count);
}

int strcat_sRFB(char *dst, size_t size, const char *src) noexcept {
  return zulu16::AppendBounded<RawText>(dst, size, src, SIZE_MAX);
}

int strncat_sRFB(char *dst, size_t size, const char *src, size_t count) noexcept {
  return zulu16::AppendBounded<RawText>(dst, size, src, count);
}

int memcpy_sRFB(void *dst, size_t size, const void *src, size_t count) noexcept {
  return zulu16::CopyMemoryBounded<RawText>(static_cast<char *>(dst), size,
                                            static_cast<const char *>(src), count, false);
}

int memmove_sRFB(void *dst, size_t size, const void *src, size_t count) noexcept {
  return zulu16::CopyMemoryBounded<RawText>(static_cast<char *>(dst), size,
                                            static_cast<const char *>(src), count, true);
}

char *strtok_rRFB(char *s, const char *delim, char **save) noexcept {
  return zulu16::NextToken<RawText>(s, delim, save);
}
