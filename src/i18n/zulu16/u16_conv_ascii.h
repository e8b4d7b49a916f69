// Runs of ASCII in the conversions, 16 characters at a time with SSE2. Neither side is ever
// touched beyond its end. With kNoCC the control codes 0x00 to 0x1F and 0x7F end a run too.
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

// Widens the first 8 of 16 bytes to the units of Io and stores them at d.
template <class Io>
inline void StoreWidened8(__m128i v, typename Io::Unit *d) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i units16 = Io::kSwap ? _mm_unpacklo_epi8(zero, v) : _mm_unpacklo_epi8(v, zero);
  __m128i *out = reinterpret_cast<__m128i *>(d);
  if constexpr (sizeof(typename Io::Unit) == 2) {
    _mm_storeu_si128(out, units16);
  } else {
    _mm_storeu_si128(
        out, Io::kSwap ? _mm_unpacklo_epi16(zero, units16) : _mm_unpacklo_epi16(units16, zero));
    _mm_storeu_si128(
        out + 1, Io::kSwap ? _mm_unpackhi_epi16(zero, units16) : _mm_unpackhi_epi16(units16, zero));
  }
}

// Widens all 16 bytes to the units of Io and stores them at d.
template <class Io>
inline void StoreWidened(__m128i v, typename Io::Unit *d) {
  StoreWidened8<Io>(v, d);
  StoreWidened8<Io>(_mm_srli_si128(v, 8), d + 8);
}

// Widens the plain ASCII bytes at the start of the 16 bytes at s to units at d, all 16 at once
// when all are plain; advances d and answers how many bytes were taken. d must have room for 16.
template <class Io, bool kNoCC>
inline int WidenAsciiPrefix16(const ZUL_RAW *s, typename Io::Unit *&d) {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s));
  const int end_mask = RunEndMask8<kNoCC>(v);
  if (end_mask == 0) {
    StoreWidened<Io>(v, d);
    d += 16;
    return 16;
  }
  const int n = __builtin_ctz(static_cast<unsigned>(end_mask));
  int i = 0;
  if (n >= 8) {
    StoreWidened8<Io>(v, d);
    i = 8;
  }
  for (; i < n; ++i) Io::Store(d + i, s[i]);
  d += n;
  return n;
}

// The same for the 8 bytes at s; d must have room for 8.
template <class Io, bool kNoCC>
inline int WidenAsciiPrefix8(const ZUL_RAW *s, typename Io::Unit *&d) {
  const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(s));
  const int end_mask = RunEndMask8<kNoCC>(v) & 0xFF;
  if (end_mask == 0) {
    StoreWidened8<Io>(v, d);
    d += 8;
    return 8;
  }
  const int n = __builtin_ctz(static_cast<unsigned>(end_mask));
  for (int i = 0; i < n; ++i) Io::Store(d + i, s[i]);
  d += n;
  return n;
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

// Lanes of the values loaded by LoadValues that end a run, as all-ones lanes.
template <class Io, bool kNoCC>
inline __m128i RunEndLanes(__m128i value, __m128i high_bits) {
  const __m128i zero = _mm_setzero_si128();
  __m128i ok;
  if constexpr (sizeof(typename Io::Unit) == 2) {
    ok = _mm_cmpeq_epi16(high_bits, zero);
  } else {
    ok = _mm_cmpeq_epi32(high_bits, zero);
  }
  __m128i end = _mm_andnot_si128(ok, _mm_set1_epi8(-1));
  if constexpr (kNoCC) end = _mm_or_si128(end, ControlLanes<Io>(value));
  return end;
}

// Narrows the plain ASCII units at the start of the 16 units at s to bytes at d, all 16 at once
// when all are plain; advances d and answers how many units were taken. d must have room for 16.
template <class Io, bool kNoCC>
inline int NarrowAsciiPrefix16(const typename Io::Unit *s, ZUL_RAW *&d) {
  constexpr int kPerLoad = 16 / sizeof(typename Io::Unit);
  constexpr int kLoads = 16 / kPerLoad;
  __m128i v[kLoads];
  __m128i end[kLoads];
  for (int i = 0; i < kLoads; ++i) {
    __m128i high_bits = _mm_setzero_si128();
    v[i] = LoadValues<Io>(s + i * kPerLoad, high_bits);
    end[i] = RunEndLanes<Io, kNoCC>(v[i], high_bits);
  }
  __m128i bytes;
  __m128i end_bytes;
  if constexpr (sizeof(typename Io::Unit) == 2) {
    bytes = _mm_packus_epi16(v[0], v[1]);
    end_bytes = _mm_packs_epi16(end[0], end[1]);
  } else {
    bytes = _mm_packus_epi16(_mm_packs_epi32(v[0], v[1]), _mm_packs_epi32(v[2], v[3]));
    end_bytes = _mm_packs_epi16(_mm_packs_epi32(end[0], end[1]), _mm_packs_epi32(end[2], end[3]));
  }
  const int end_mask = _mm_movemask_epi8(end_bytes);
  if (end_mask == 0) {
    _mm_storeu_si128(reinterpret_cast<__m128i *>(d), bytes);
    d += 16;
    return 16;
  }
  const int n = __builtin_ctz(static_cast<unsigned>(end_mask));
  alignas(16) ZUL_RAW narrowed[16];
  _mm_store_si128(reinterpret_cast<__m128i *>(narrowed), bytes);
  for (int i = 0; i < n; ++i) d[i] = narrowed[i];
  d += n;
  return n;
}

// Copies the run of ASCII units at s into bytes at d, as far as both sides allow.
template <class Io, bool kNoCC>
inline void NarrowAsciiRun(const typename Io::Unit *&s, const typename Io::Unit *src_end,
                           ZUL_RAW *&d, ZUL_RAW *dst_end) {
  while (src_end - s >= 16 && dst_end - d >= 16) {
    const int taken = NarrowAsciiPrefix16<Io, kNoCC>(s, d);
    s += taken;
    if (taken < 16) return;
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
