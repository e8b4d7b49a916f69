// Line, word and number readers in a 16-bit form (UTF-8 decoded by the shared unit reader) and an
// 8-bit form (bytes as they are). Both forms share one implementation over a source of units.
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "i18n/zulu16/u16_stdin.h"
#include "zul_u16stdio.h"

namespace {

// Longest word that a number is read from; longer words are no numbers.
constexpr size_t kNumberUnits = 64;

struct Utf8Source {
  FILE *stream;
  const char *function;
  int Get() const { return zulu16::ReadUnitUnlocked(stream, function); }
};

struct ByteSource {
  FILE *stream;
  int Get() const { return getc_unlocked(stream); }
};

bool IsSpace(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// Reads through the next newline and stores the line without it, up to units - 1 characters;
// *overflow tells whether characters were dropped. Answers the count stored, or EOF when the
// stream ended before any character.
template <class Char, class Source>
int GetLine(Char *buffer, size_t units, const Source &source, bool *overflow) {
  size_t n = 0;
  bool any = false;
  *overflow = false;
  for (int c; (c = source.Get()) != EOF;) {
    any = true;
    if (c == '\n') break;
    if (n + 1 < units) {
      buffer[n++] = static_cast<Char>(c);
    } else {
      *overflow = true;
    }
  }
  if (units > 0) buffer[n] = 0;
  return any ? static_cast<int>(n) : EOF;
}

// Skips white space and reads one word, storing up to units - 1 characters; the white space
// behind it stays in the stream. Answers the count stored, or EOF at the end of the stream.
template <class Char, class Source>
int GetWord(Char *buffer, size_t units, const Source &source, bool *overflow) {
  int c;
  do {
    c = source.Get();
  } while (c != EOF && IsSpace(c));
  if (c == EOF) {
    if (units > 0) buffer[0] = 0;
    return EOF;
  }
  size_t n = 0;
  *overflow = false;
  for (; c != EOF; c = source.Get()) {
    if (IsSpace(c)) {
      ungetc(c, source.stream);  // ASCII white space is one byte in either form
      break;
    }
    if (n + 1 < units) {
      buffer[n++] = static_cast<Char>(c);
    } else {
      *overflow = true;
    }
  }
  if (units > 0) buffer[n] = 0;
  return static_cast<int>(n);
}

// Reads a word and takes it as a decimal number within [min, max]. Answers 1 and sets *value,
// 0 when the word is no such number, or EOF at the end of the stream.
template <class Source>
int GetNumber(long *value, long min, long max, const Source &source) {
  char word[kNumberUnits];
  int units[kNumberUnits];
  bool overflow = false;
  int n = GetWord(units, kNumberUnits, source, &overflow);
  if (n == EOF) return EOF;
  if (overflow || n == 0) return 0;
  for (int i = 0; i <= n; ++i) {
    if (units[i] > 0x7F) return 0;
    word[i] = static_cast<char>(units[i]);
  }
  char *end = nullptr;
  int saved = errno;
  errno = 0;
  long parsed = std::strtol(word, &end, 10);
  bool ok = errno == 0 && *end == 0 && parsed >= min && parsed <= max;
  errno = saved;
  if (!ok) return 0;
  *value = parsed;
  return 1;
}

template <class Char, class Source>
Char *GetsS(Char *buffer, size_t units, const Source &source) {
  if (buffer == nullptr || units == 0) {
    errno = EINVAL;
    return nullptr;
  }
  zulu16::StreamLock lock(source.stream);
  bool overflow = false;
  int n = GetLine(buffer, units, source, &overflow);
  if (n == EOF || overflow) {
    buffer[0] = 0;
    return nullptr;
  }
  return buffer;
}

template <class Char, class Source>
int LineOrWord(bool line, Char *buffer, int units, const Source &source) {
  if (source.stream == nullptr || buffer == nullptr || units <= 0) {
    errno = EINVAL;
    return EOF;
  }
  zulu16::StreamLock lock(source.stream);
  bool overflow = false;
  size_t room = static_cast<size_t>(units);
  return line ? GetLine(buffer, room, source, &overflow) : GetWord(buffer, room, source, &overflow);
}

template <class T, class Source>
int Number(T *value, const Source &source) {
  if (source.stream == nullptr || value == nullptr) {
    errno = EINVAL;
    return EOF;
  }
  zulu16::StreamLock lock(source.stream);
  long parsed = 0;
  int rc = GetNumber(&parsed, sizeof(T) == sizeof(int) ? INT_MIN : LONG_MIN,
                     sizeof(T) == sizeof(int) ? INT_MAX : LONG_MAX, source);
  if (rc == 1) *value = static_cast<T>(parsed);
  return rc;
}

}  // namespace

ZUL_UTF16 *gets_sU16(ZUL_UTF16 *buffer, size_t units) noexcept {
  return GetsS(buffer, units, Utf8Source{stdin, "gets_sU16"});
}

char *gets_sRFB(char *buffer, size_t size) noexcept {
  return GetsS(buffer, size, ByteSource{stdin});
}

int fget_lineU16(ZUL_UTF16 *buffer, int units, FILE *stream) noexcept {
  return LineOrWord(true, buffer, units, Utf8Source{stream, "fget_lineU16"});
}

int fget_strU16(ZUL_UTF16 *buffer, int units, FILE *stream) noexcept {
  return LineOrWord(false, buffer, units, Utf8Source{stream, "fget_strU16"});
}

int fget_intU16(int *value, FILE *stream) noexcept {
  return Number(value, Utf8Source{stream, "fget_intU16"});
}

int fget_longU16(long *value, FILE *stream) noexcept {
  return Number(value, Utf8Source{stream, "fget_longU16"});
}

int fget_lineR(char *buffer, int size, FILE *stream) noexcept {
  return LineOrWord(true, buffer, size, ByteSource{stream});
}

int fget_strR(char *buffer, int size, FILE *stream) noexcept {
  return LineOrWord(false, buffer, size, ByteSource{stream});
}

int fget_intR(int *value, FILE *stream) noexcept { return Number(value, ByteSource{stream}); }

int fget_longR(long *value, FILE *stream) noexcept { return Number(value, ByteSource{stream}); }
