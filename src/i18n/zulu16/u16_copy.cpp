// Copying of 16-bit strings, four units at a time when source and destination share their
// position within an 8-byte word, and unit by unit otherwise.
#include <cstdlib>

#include "i18n/zulu16/u16_word.h"
#include "zul_u16string.h"

namespace zulu16 {

size_t CopyUntilZero(ZUL_UTF16 *dst, const ZUL_UTF16 *src, size_t limit) noexcept {
  size_t i = 0;
  if (SameWordPhase(dst, src)) {
    for (; i < limit && !IsWordAligned(src + i); ++i) {
      ZUL_UTF16 u = LoadUnit(src + i);
      StoreUnit(dst + i, u);
      if (u == 0) return i;
    }
    // A word is stored only when all its units belong to the string and fit within limit.
    for (; limit - i >= kUnitsPerWord; i += kUnitsPerWord) {
      uint64_t w = LoadAlignedWord(src + i);
      if (MayHoldZeroUnit(w) && FirstZeroUnitOfWord(w) < kUnitsPerWord) break;
      StoreWord(dst + i, w);
    }
  }
  for (; i < limit; ++i) {
    ZUL_UTF16 u = LoadUnit(src + i);
    StoreUnit(dst + i, u);
    if (u == 0) return i;
  }
  return limit;
}

}  // namespace zulu16

ZUL_UTF16 *strcpyU16(ZUL_UTF16 *dst, const ZUL_UTF16 *src) noexcept {
  zulu16::CopyUntilZero(dst, src, SIZE_MAX);
  return dst;
}

ZUL_UTF16 *strncpyU16(ZUL_UTF16 *dst, const ZUL_UTF16 *src, size_t count) noexcept {
  size_t copied = zulu16::CopyUntilZero(dst, src, count);
  if (copied < count) memsetU16(dst + copied + 1, 0, count - copied - 1);
  return dst;
}

ZUL_UTF16 *strcatU16(ZUL_UTF16 *dst, const ZUL_UTF16 *src) noexcept {
  zulu16::CopyUntilZero(dst + strlenU16(dst), src, SIZE_MAX);
  return dst;
}

ZUL_UTF16 *strncatU16(ZUL_UTF16 *dst, const ZUL_UTF16 *src, size_t count) noexcept {
  ZUL_UTF16 *tail = dst + strlenU16(dst);
  if (zulu16::CopyUntilZero(tail, src, count) == count) zulu16::StoreUnit(tail + count, 0);
  return dst;
}

ZUL_UTF16 *strdupU16(const ZUL_UTF16 *s) noexcept {
  size_t units = strlenU16(s) + 1;
  auto *copy = static_cast<ZUL_UTF16 *>(std::malloc(units * sizeof(ZUL_UTF16)));
  if (copy != nullptr) std::memcpy(copy, s, units * sizeof(ZUL_UTF16));
  return copy;
}
