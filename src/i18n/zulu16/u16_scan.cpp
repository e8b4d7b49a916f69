// Scanning and filling of 16-bit text: the length, search and fill functions, four units at a time
// where the address allows.
#include "i18n/zulu16/u16_word.h"
#include "zul_u16string.h"

using zulu16::LoadUnit;

size_t strlenU16(const ZUL_UTF16 *s) noexcept { return zulu16::FindUnit(s, 0, SIZE_MAX); }

size_t strnlenU16(const ZUL_UTF16 *s, size_t max) noexcept { return zulu16::FindUnit(s, 0, max); }

ZUL_UTF16 *memchrU16(const ZUL_UTF16 *s, ZUL_UTF16 unit, size_t count) noexcept {
  size_t i = zulu16::FindUnit(s, unit, count);
  return i < count ? const_cast<ZUL_UTF16 *>(s + i) : nullptr;
}

ZUL_UTF16 *strchrU16(const ZUL_UTF16 *s, ZUL_UTF16 unit) noexcept {
  size_t i = 0;
  if (zulu16::IsEvenAddress(s)) {
    for (; !zulu16::IsWordAligned(s + i); ++i) {
      ZUL_UTF16 u = LoadUnit(s + i);
      if (u == unit) return const_cast<ZUL_UTF16 *>(s + i);
      if (u == 0) return nullptr;
    }
    const uint64_t pattern = unit * zulu16::kEachUnit;
    for (;; i += zulu16::kUnitsPerWord) {
      uint64_t w = zulu16::LoadAlignedWord(s + i);
      if (!zulu16::MayHoldZeroUnit(w) && !zulu16::MayHoldZeroUnit(w ^ pattern)) continue;
      for (size_t k = 0; k < zulu16::kUnitsPerWord; ++k) {
        ZUL_UTF16 u = zulu16::UnitOfWord(w, k);
        if (u == unit) return const_cast<ZUL_UTF16 *>(s + i + k);
        if (u == 0) return nullptr;
      }
    }
  }
  for (;; ++i) {
    ZUL_UTF16 u = LoadUnit(s + i);
    if (u == unit) return const_cast<ZUL_UTF16 *>(s + i);
    if (u == 0) return nullptr;
  }
}

ZUL_UTF16 *strrchrU16(const ZUL_UTF16 *s, ZUL_UTF16 unit) noexcept {
  const ZUL_UTF16 *last = nullptr;
  for (;; ++s) {
    ZUL_UTF16 u = LoadUnit(s);
    if (u == unit) last = s;
    if (u == 0) return const_cast<ZUL_UTF16 *>(last);
  }
}

ZUL_UTF16 *memsetU16(ZUL_UTF16 *dst, ZUL_UTF16 unit, size_t count) noexcept {
  size_t i = 0;
  if (zulu16::IsEvenAddress(dst)) {
    for (; i < count && !zulu16::IsWordAligned(dst + i); ++i) zulu16::StoreUnit(dst + i, unit);
    const uint64_t pattern = unit * zulu16::kEachUnit;
    for (; count - i >= zulu16::kUnitsPerWord; i += zulu16::kUnitsPerWord)
      zulu16::StoreWord(dst + i, pattern);
  }
  for (; i < count; ++i) zulu16::StoreUnit(dst + i, unit);
  return dst;
}

int memcmpU16(const ZUL_UTF16 *a, const ZUL_UTF16 *b, size_t count) noexcept {
  for (size_t i = 0; i < count; ++i) {
    ZUL_UTF16 x = LoadUnit(a + i);
    ZUL_UTF16 y = LoadUnit(b + i);
    if (x != y) return x < y ? -1 : 1;
  }
  return 0;
}
