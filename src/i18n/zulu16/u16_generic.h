// Bodies shared by the 16-bit (U16) and the 8-bit (RFB) forms of the bounded and token functions.
// A text width is a traits type with the unit type, unit access, and the length and span scans.
#ifndef TLM_I18N_ZULU16_U16_GENERIC_H
#define TLM_I18N_ZULU16_U16_GENERIC_H

#include <cerrno>
#include <cstring>

#include "i18n/zulu16/u16_word.h"
#include "zul_u16string.h"

namespace zulu16 {

struct WideText {
  using Unit = ZUL_UTF16;
  static Unit Get(const Unit *p) { return LoadUnit(p); }
  static void Put(Unit *p, Unit u) { StoreUnit(p, u); }
  static size_t Length(const Unit *s, size_t max) { return strnlenU16(s, max); }
  static size_t CopyString(Unit *dst, const Unit *src, size_t limit) {
    return CopyUntilZero(dst, src, limit);
  }
  static size_t Span(const Unit *s, const Unit *set) { return strspnU16(s, set); }
  static size_t ComplementSpan(const Unit *s, const Unit *set) { return strcspnU16(s, set); }
};

struct RawText {
  using Unit = char;
  static Unit Get(const Unit *p) { return *p; }
  static void Put(Unit *p, Unit u) { *p = u; }
  static size_t Length(const Unit *s, size_t max) { return strnlen(s, max); }
  // As CopyUntilZero.
  static size_t CopyString(Unit *dst, const Unit *src, size_t limit) {
    size_t n = strnlen(src, limit);
    std::memcpy(dst, src, n < limit ? n + 1 : n);
    return n;
  }
  static size_t Span(const Unit *s, const Unit *set) { return std::strspn(s, set); }
  static size_t ComplementSpan(const Unit *s, const Unit *set) { return std::strcspn(s, set); }
};

// Copies at most count units of src and a terminator into dst of size units (strcpy_s with count
// SIZE_MAX, strncpy_s). Reads src no further than it must to know whether it fits.
template <class Text>
int CopyBounded(typename Text::Unit *dst, size_t size, const typename Text::Unit *src,
                size_t count) {
  if (size == 0) return 0;
  if (dst == nullptr) return EINVAL;
  if (src == nullptr) {
    Text::Put(dst, 0);
    return EINVAL;
  }
  if (count < size) {  // always fits
    size_t n = Text::Length(src, count);
    std::memcpy(dst, src, n * sizeof(typename Text::Unit));
    Text::Put(dst + n, 0);
    return 0;
  }
  // The copy itself finds the terminator; without one in the first size units it doesn't fit.
  if (Text::CopyString(dst, src, size) == size) {
    Text::Put(dst, 0);
    return ERANGE;
  }
  return 0;
}

// Appends at most count units of src to the string in dst of size units (strcat_s with count
// SIZE_MAX, strncat_s). Any failure empties dst.
template <class Text>
int AppendBounded(typename Text::Unit *dst, size_t size, const typename Text::Unit *src,
                  size_t count) {
  if (size == 0 || dst == nullptr) return CopyBounded<Text>(dst, size, src, count);
  size_t used = Text::Length(dst, size);
  int rc = used == size ? ERANGE : CopyBounded<Text>(dst + used, size - used, src, count);
  if (rc != 0) Text::Put(dst, 0);
  return rc;
}

// memcpy_s and memmove_s on count units.
template <class Text>
int CopyMemoryBounded(typename Text::Unit *dst, size_t size, const typename Text::Unit *src,
                      size_t count, bool may_overlap) {
  if (size == 0) return 0;
  if (dst == nullptr) return EINVAL;
  if (src == nullptr || count > size) {
    Text::Put(dst, 0);
    return src == nullptr ? EINVAL : ERANGE;
  }
  size_t bytes = count * sizeof(typename Text::Unit);
  if (may_overlap) {
    std::memmove(dst, src, bytes);
  } else {
    std::memcpy(dst, src, bytes);
  }
  return 0;
}

// strtok_r: the next token of s (or, with s null, of the text after the previous token), its end
// overwritten with a terminator; null when only delimiters remain.
template <class Text>
typename Text::Unit *NextToken(typename Text::Unit *s, const typename Text::Unit *delim,
                               typename Text::Unit **save) {
  if (s == nullptr) s = *save;
  if (s == nullptr) return nullptr;
  s += Text::Span(s, delim);
  if (Text::Get(s) == 0) {
    *save = s;
    return nullptr;
  }
  typename Text::Unit *token = s;
  s += Text::ComplementSpan(s, delim);
  if (Text::Get(s) != 0) Text::Put(s++, 0);
  *save = s;
  return token;
}

}  // namespace zulu16

#endif  // TLM_I18N_ZULU16_U16_GENERIC_H
