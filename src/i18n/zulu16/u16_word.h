// Unit and word access for the string functions of the text runtime.
//
// A 16-bit string may sit at an odd address, so single units are moved with memcpy, which the
// compiler turns into one plain load or store without assuming alignment. The hot scans test four
// units at a time in an aligned 64-bit word; such a read may extend past the terminator, but never
// past the aligned word that holds it, so it never touches a page that the string doesn't reach.
#ifndef TLM_I18N_ZULU16_U16_WORD_H
#define TLM_I18N_ZULU16_U16_WORD_H

#include <cstdint>
#include <cstring>

#include "zul_base.h"

namespace zulu16 {

inline constexpr uintptr_t kWordBytes = 8;
inline constexpr size_t kUnitsPerWord = 4;
// A word holds a zero unit when kZeroUnitTestMask & ((w + kZeroUnitTestAdd) ^ ~w) is not 0. The
// test never misses the first zero unit of a word, but may fire on a unit 0x8000 in the top
// position or on units after a zero, so a hit is confirmed unit by unit.
inline constexpr uint64_t kZeroUnitTestAdd = 0x7FFEFFFEFFFEFFFFull;
inline constexpr uint64_t kZeroUnitTestMask = 0x8001000100010000ull;
// Multiplying a unit by this repeats it in all four positions of a word.
inline constexpr uint64_t kEachUnit = 0x0001000100010001ull;

inline ZUL_UTF16 LoadUnit(const ZUL_UTF16 *p) {
  ZUL_UTF16 u;
  std::memcpy(&u, p, sizeof u);
  return u;
}

inline void StoreUnit(ZUL_UTF16 *p, ZUL_UTF16 u) { std::memcpy(p, &u, sizeof u); }

inline bool IsEvenAddress(const void *p) { return (reinterpret_cast<uintptr_t>(p) & 1) == 0; }

inline bool IsWordAligned(const void *p) {
  return (reinterpret_cast<uintptr_t>(p) & (kWordBytes - 1)) == 0;
}

// True when a word-at-a-time copy from src to dst is possible: both reach an 8-byte boundary
// after the same number of units.
inline bool SameWordPhase(const void *dst, const void *src) {
  uintptr_t d = reinterpret_cast<uintptr_t>(dst);
  uintptr_t s = reinterpret_cast<uintptr_t>(src);
  return ((d ^ s) & (kWordBytes - 1)) == 0 && (s & 1) == 0;
}

inline bool MayHoldZeroUnit(uint64_t w) {
  return (kZeroUnitTestMask & ((w + kZeroUnitTestAdd) ^ ~w)) != 0;
}

// Unit k (0 = lowest address) of a word read from memory.
inline ZUL_UTF16 UnitOfWord(uint64_t w, size_t k) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  return static_cast<ZUL_UTF16>(w >> (16 * k));
#else
  return static_cast<ZUL_UTF16>(w >> (16 * (kUnitsPerWord - 1 - k)));
#endif
}

// Index of the first zero unit of a word, or kUnitsPerWord.
inline size_t FirstZeroUnitOfWord(uint64_t w) {
  size_t k = 0;
  while (k < kUnitsPerWord && UnitOfWord(w, k) != 0) ++k;
  return k;
}

// Reads the aligned word at p. The bytes after a string's terminator in that word are outside the
// string's object, which the sanitizers would report; this read is deliberate and stays within the
// word, so it alone is exempt from their checks. Nothing else may be placed here.
typedef uint64_t __attribute__((may_alias)) AliasingWord;
__attribute__((no_sanitize("address", "thread", "undefined"))) inline uint64_t LoadAlignedWord(
    const void *p) {
  return *static_cast<const AliasingWord *>(p);
}

inline void StoreWord(void *p, uint64_t w) { std::memcpy(p, &w, sizeof w); }

// Index of the first unit equal to `unit` in s[0..limit), or limit. Reads aligned words once s is
// on an 8-byte boundary; an odd s is read unit by unit. With unit 0 this is the length scan.
inline size_t FindUnit(const ZUL_UTF16 *s, ZUL_UTF16 unit, size_t limit) {
  size_t i = 0;
  if (IsEvenAddress(s)) {
    for (; i < limit && !IsWordAligned(s + i); ++i)
      if (LoadUnit(s + i) == unit) return i;
    const uint64_t pattern = unit * kEachUnit;
    for (; i < limit; i += kUnitsPerWord) {
      uint64_t w = LoadAlignedWord(s + i) ^ pattern;
      if (!MayHoldZeroUnit(w)) continue;
      size_t k = FirstZeroUnitOfWord(w);
      if (k < kUnitsPerWord) return i + k < limit ? i + k : limit;
    }
    return limit;
  }
  for (; i < limit; ++i)
    if (LoadUnit(s + i) == unit) return i;
  return limit;
}

// Copies src to dst up to and including the terminator, but at most limit units. Answers the
// number of units before the terminator, or limit when the first limit units hold none.
size_t CopyUntilZero(ZUL_UTF16 *dst, const ZUL_UTF16 *src, size_t limit) noexcept;

}  // namespace zulu16

#endif  // TLM_I18N_ZULU16_U16_WORD_H
