// Stream output of 16-bit text as UTF-8. Surrogates are not paired: each half is written as '#',
// so that what reaches a file is always valid UTF-8 of at most three bytes per unit.
#include <cstring>

#include "zul_u16stdio.h"

namespace {

// Encodes one unit; answers the byte count (1 to 3).
inline size_t EncodeUnit(ZUL_UTF16 u, char *out) {
  if (u < 0x80) {
    out[0] = static_cast<char>(u);
    return 1;
  }
  if (u < 0x800) {
    out[0] = static_cast<char>(0xC0 | (u >> 6));
    out[1] = static_cast<char>(0x80 | (u & 0x3F));
    return 2;
  }
  if (u >= 0xD800 && u <= 0xDFFF) {
    out[0] = '#';
    return 1;
  }
  out[0] = static_cast<char>(0xE0 | (u >> 12));
  out[1] = static_cast<char>(0x80 | ((u >> 6) & 0x3F));
  out[2] = static_cast<char>(0x80 | (u & 0x3F));
  return 3;
}

// Writes count units, converting through a stack buffer; answers the bytes written and sets
// *complete when the stream took every byte.
size_t WriteUnitsUnlocked(const ZUL_UTF16 *units, size_t count, FILE *stream, bool *complete) {
  char buf[1536];
  size_t fill = 0;
  size_t written = 0;
  *complete = true;
  for (size_t i = 0; i < count; ++i) {
    fill += EncodeUnit(units == nullptr ? u'#' : units[i], buf + fill);
    if (fill > sizeof buf - 3) {
      size_t n = fwrite_unlocked(buf, 1, fill, stream);
      written += n;
      if (n != fill) {
        *complete = false;
        return written;
      }
      fill = 0;
    }
  }
  if (fill > 0) {
    size_t n = fwrite_unlocked(buf, 1, fill, stream);
    written += n;
    if (n != fill) *complete = false;
  }
  return written;
}

}  // namespace

size_t fwrite_unlockedU16(const ZUL_UTF16 *buffer, size_t size, size_t count,
                          FILE *stream) noexcept {
  if (stream == nullptr || size == 0 || count == 0) return 0;
  bool complete = false;
  WriteUnitsUnlocked(buffer, size * count, stream, &complete);
  return complete ? count : 0;
}

size_t fwriteU16(const ZUL_UTF16 *buffer, size_t size, size_t count, FILE *stream) noexcept {
  if (stream == nullptr) return 0;
  flockfile(stream);
  size_t n = fwrite_unlockedU16(buffer, size, count, stream);
  funlockfile(stream);
  return n;
}

size_t u16_fwriteU16(const ZUL_UTF16 *buffer, size_t count, FILE *stream) noexcept {
  if (stream == nullptr || count == 0) return 0;
  bool complete = false;
  flockfile(stream);
  size_t bytes = WriteUnitsUnlocked(buffer, count, stream, &complete);
  funlockfile(stream);
  return bytes;
}

int putc_unlockedU16(int unit, FILE *stream) noexcept {
  char buf[3];
  size_t n = EncodeUnit(static_cast<ZUL_UTF16>(unit), buf);
  return fwrite_unlocked(buf, 1, n, stream) == n ? (unit & 0xFFFF) : EOF;
}

int fputcU16(int unit, FILE *stream) noexcept {
  if (stream == nullptr) return EOF;
  flockfile(stream);
  int rc = putc_unlockedU16(unit, stream);
  funlockfile(stream);
  return rc;
}

int fputsU16(const ZUL_UTF16 *text, FILE *stream) noexcept {
  if (text == nullptr || stream == nullptr) return EOF;
  size_t len = 0;
  while (text[len] != 0) ++len;
  if (len == 0) return 0;
  return fwriteU16(text, 1, len, stream) == len ? 1 : EOF;
}

int putsU16(const ZUL_UTF16 *text) noexcept {
  if (fputsU16(text, stdout) == EOF) return EOF;
  return fputc('\n', stdout) == EOF ? EOF : 1;
}
