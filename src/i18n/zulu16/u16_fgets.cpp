// Line and block readers of 16-bit text, built on the shared unit reader; each holds the
// stream's lock for the whole call.
#include <cerrno>

#include "i18n/zulu16/u16_stdin.h"
#include "zul_u16stdio.h"

ZUL_UTF16 *fgetsU16(ZUL_UTF16 *buffer, int units, FILE *stream) noexcept {
  if (stream == nullptr || buffer == nullptr || units <= 0) {
    errno = EINVAL;
    return nullptr;
  }
  zulu16::StreamLock lock(stream);
  int n = 0;
  while (n < units - 1) {
    int c = zulu16::ReadUnitUnlocked(stream, "fgetsU16");
    if (c == EOF) break;
    buffer[n++] = static_cast<ZUL_UTF16>(c);
    if (c == '\n') break;
  }
  if (n == 0 && units > 1) return nullptr;
  buffer[n] = 0;
  return buffer;
}

size_t freadU16(ZUL_UTF16 *buffer, size_t size, size_t count, FILE *stream) noexcept {
  if (stream == nullptr || buffer == nullptr || size == 0 || count == 0) return 0;
  zulu16::StreamLock lock(stream);
  size_t total = size * count;
  size_t n = 0;
  for (; n < total; ++n) {
    int c = zulu16::ReadUnitUnlocked(stream, "freadU16");
    if (c == EOF) break;
    buffer[n] = static_cast<ZUL_UTF16>(c);
  }
  return n / size;
}

ZUL_UTF16 *getsU16(ZUL_UTF16 *buffer) noexcept {
  if (buffer == nullptr) return nullptr;
  zulu16::StreamLock lock(stdin);
  size_t n = 0;
  bool any = false;
  for (;;) {
    int c = zulu16::ReadUnitUnlocked(stdin, "getsU16");
    if (c == EOF) break;
    any = true;
    if (c == '\n') break;
    buffer[n++] = static_cast<ZUL_UTF16>(c);
  }
  buffer[n] = 0;
  return any ? buffer : nullptr;
}
