// Runs of ASCII in the conversions: 16 characters at a time with SSE2, then one at a time up to
// the first character that needs the general path. Neither side is ever touched beyond its end.
// With kNoCC the control codes 0x00 to 0x1F and 0x7F end a run too.
#ifndef I18N_ZULU16_U16_CONV_ASCII_H
#define I18N_ZULU16_U16_CONV_ASCII_H

#include <emmintrin.h>

#include <cstddef>

#include "i18n/zulu16/u16_conv_units.h"

namespace zulu16 {

inline constexpr bool IsPlainAscii(uint32_t c, bool no_cc) {
  return no_cc ? c - 0x20 < 0x5F : c < 0x80;
}

// Bytes in v that end a run, one mask bit per byte. The signed compare below 0x20 also catches
// every byte from 0x80.
template <bool kNoCC>
inline int RunEndMask8(__m128i v) {
  if constexpr (kNoCC) {
    __m128i cc = _mm_or_si128(_mm_cmplt_epi8(v, _mm_set1_epi8(0x20)),
                              _mm_cmpeq_epi8(v, _mm_set1_epi8(0x7F)));
    return _mm_movemask_epi8(cc);
  } else {
    return _mm_movemask_epi8(v);
  }
}

// Widens 16 bytes to the units of Io and stores them at d.
template <class Io>
inline void StoreWidened(__m128i v, typename Io::Unit *d) {
  const __m128i zero = _mm_setzero_si128();
  __m128i lo = Io::kSwap ? _mm_unpacklo_epi8(zero, v) : _mm_unpacklo_epi8(v, zero);
  __m128i hi = Io::kSwap ? _mm_unpackhi_epi8(zero, v) : _mm_unpackhi_epi8(v, zero);
  if constexpr (sizeof(typename Io::Unit) == 2) {
    _mm_storeu_si128(reinterpret_cast<__m128i *>(d), lo);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(d + 8), hi);
  } else {
    __m128i *out = reinterpret_cast<__m128i *>(d);
    auto widen_lo = [&](__m128i x) {
      return Io::kSwap ? _mm_unpacklo_epi16(zero, x) : _mm_unpacklo_epi16(x, zero);
    };
    auto widen_hi = [&](__m128i x) {
      return Io::kSwap ? _mm_unpackhi_epi16(zero, x) : _mm_unpackhi_epi16(x, zero);
    };
    _mm_storeu_si128(out, widen_lo(lo));
    _mm_storeu_si128(out + 1, widen_hi(lo));
    _mm_storeu_si128(out + 2, widen_lo(hi));
    _mm_storeu_si128(out + 3, widen_hi(hi));
  }
}

// Copies the run of ASCII at s into units at d, as far as both sides allow.
template <class Io, bool kNoCC>
inline void WidenAsciiRun(const ZUL_RAW *&s, const ZUL_RAW *src_end, typename Io::Unit *&d,
                          typename Io::Unit *dst_end) {
  while (src_end - s >= 16 && dst_end - d >= 16) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s));
    if (RunEndMask8<kNoCC>(v) != 0) break;
    StoreWidened<Io>(v, d);
    s += 16;
    d += 16;
  }
  while (s < src_end && d < dst_end && IsPlainAscii(*s, kNoCC)) Io::Store(d++, *s++);
}

// Loads 8 units of 16 bits (4 of 32 bits) as native values; sets bad to the bits that show a
// value of 0x80 or more.
template <class Io>
inline __m128i LoadValues(const typename Io::Unit *p, __m128i &bad) {
  __m128i raw = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
  if constexpr (sizeof(typename Io::Unit) == 2) {
    if constexpr (Io::kSwap) {
      bad = _mm_or_si128(bad, _mm_and_si128(raw, _mm_set1_epi16(static_cast<short>(0x80FF))));
      return _mm_srli_epi16(raw, 8);
    } else {
      bad = _mm_or_si128(bad, _mm_and_si128(raw, _mm_set1_epi16(static_cast<short>(0xFF80))));
      return raw;
    }
  } else {
    if constexpr (Io::kSwap) {
      bad = _mm_or_si128(bad, _mm_and_si128(raw, _mm_set1_epi32(static_cast<int>(0x80FFFFFFu))));
      return _mm_srli_epi32(raw, 24);
    } else {
      bad = _mm_or_si128(bad, _mm_and_si128(raw, _mm_set1_epi32(static_cast<int>(0xFFFFFF80u))));
      return raw;
    }
  }
}

// Control codes among values below 0x80, as all-ones lanes.
template <class Io>
inline __m128i ControlLanes(__m128i v) {
  if constexpr (sizeof(typename Io::Unit) == 2) {
    return _mm_or_si128(_mm_cmplt_epi16(v, _mm_set1_epi16(0x20)),
                        _mm_cmpeq_epi16(v, _mm_set1_epi16(0x7F)));
  } else {
    return _mm_or_si128(_mm_cmplt_epi32(v, _mm_set1_epi32(0x20)),
                        _mm_cmpeq_epi32(v, _mm_set1_epi32(0x7F)));
  }
}

// Narrows 16 units at s to bytes at d when all are ASCII (and, with kNoCC, no control code);
// answers whether it did.
template <class Io, bool kNoCC>
inline bool NarrowSixteen(const typename Io::Unit *s, ZUL_RAW *d) {
  constexpr int kPerLoad = 16 / sizeof(typename Io::Unit);
  __m128i bad = _mm_setzero_si128();
  __m128i v[16 / kPerLoad];
  for (int i = 0; i < 16 / kPerLoad; ++i) v[i] = LoadValues<Io>(s + i * kPerLoad, bad);
  if (_mm_movemask_epi8(_mm_cmpeq_epi8(bad, _mm_setzero_si128())) != 0xFFFF) return false;
  if constexpr (kNoCC) {
    __m128i cc = _mm_setzero_si128();
    for (int i = 0; i < 16 / kPerLoad; ++i) cc = _mm_or_si128(cc, ControlLanes<Io>(v[i]));
    if (_mm_movemask_epi8(cc) != 0) return false;
  }
  __m128i bytes;
  if constexpr (sizeof(typename Io::Unit) == 2) {
    bytes = _mm_packus_epi16(v[0], v[1]);
  } else {
    bytes = _mm_packus_epi16(_mm_packs_epi32(v[0], v[1]), _mm_packs_epi32(v[2], v[3]));
  }
  _mm_storeu_si128(reinterpret_cast<__m128i *>(d), bytes);
  return true;
}

// Copies the run of ASCII units at s into bytes at d, as far as both sides allow.
template <class Io, bool kNoCC>
inline void NarrowAsciiRun(const typename Io::Unit *&s, const typename Io::Unit *src_end,
                           ZUL_RAW *&d, ZUL_RAW *dst_end) {
  while (src_end - s >= 16 && dst_end - d >= 16 && NarrowSixteen<Io, kNoCC>(s, d)) {
    s += 16;
    d += 16;
  }
  while (s < src_end && d < dst_end) {
    uint32_t c = Io::Load(s);
    if (!IsPlainAscii(c, kNoCC)) break;
    *d++ = static_cast<ZUL_RAW>(c);
    ++s;
  }
}

}  // namespace zulu16

#endif  // I18N_ZULU16_U16_CONV_ASCII_H
