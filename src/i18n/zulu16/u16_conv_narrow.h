// Shared pieces of the 7-bit, 8-bit and EBCDIC conversions.
#ifndef I18N_ZULU16_U16_CONV_NARROW_H
#define I18N_ZULU16_U16_CONV_NARROW_H

#include <cstddef>

#include "zul_base.h"

namespace zulu16 {

// Applies f to each of n source elements and stores the results in dst.
template <class Dst, class Src, class F>
inline Dst *MapN(Dst *dst, const Src *src, size_t n, F f) {
  for (size_t i = 0; i < n; ++i) dst[i] = f(src[i]);
  return dst;
}

// The same up to the source's terminator, which is written too.
template <class Dst, class Src, class F>
inline Dst *MapS(Dst *dst, const Src *src, F f) {
  size_t i = 0;
  for (; src[i] != 0; ++i) dst[i] = f(src[i]);
  dst[i] = 0;
  return dst;
}

// Converts units up to the first one above max and answers 1 there after writing a terminator;
// answers 0 when all n converted.
template <class F>
inline int MapNChecked(char *dst, const ZUL_UTF16 *src, size_t n, unsigned max, F f) {
  for (size_t i = 0; i < n; ++i) {
    if (src[i] > max) {
      dst[i] = 0;
      return 1;
    }
    dst[i] = f(src[i]);
  }
  return 0;
}

// The zero-terminated form of MapNChecked: on success the terminator is written too.
template <class F>
inline int MapSChecked(char *dst, const ZUL_UTF16 *src, size_t n, unsigned max, F f) {
  if (MapNChecked(dst, src, n, max, f) != 0) return 1;
  dst[n] = 0;
  return 0;
}

inline unsigned char Byte(char c) { return static_cast<unsigned char>(c); }

}  // namespace zulu16

#endif  // I18N_ZULU16_U16_CONV_NARROW_H
