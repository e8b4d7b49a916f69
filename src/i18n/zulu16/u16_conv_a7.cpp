// The 7-bit and 8-bit forms: widening bytes, and narrowing units to 7 bits with '#' for what
// doesn't fit. The error counter is a plain process-wide count; relaxed atomic updates keep it
// free of locks and of data races.
#include <atomic>
#include <cstring>

#include "i18n/zulu16/u16_conv_narrow.h"
#include "zul_u16conv.h"
#include "zul_u16string.h"

namespace {

using zulu16::Byte;

std::atomic<int> a7_error_count{0};

constexpr char kNotSevenBit = '#';

ZUL_UTF16 WidenByte(char c) { return Byte(c); }

char CountedA7(ZUL_UTF16 u) {
  if (u < 0x80) return static_cast<char>(u);
  a7_error_count.fetch_add(1, std::memory_order_relaxed);
  return kNotSevenBit;
}

char PlainB7(ZUL_UTF16 u) { return u < 0x80 ? static_cast<char>(u) : kNotSevenBit; }

char SubstituteOf(char subst) { return Byte(subst) < 0x80 ? subst : kNotSevenBit; }

}  // namespace

ZUL_UTF16 *A7sToUcs(ZUL_UTF16 *dst, const char *src) noexcept {
  return zulu16::MapS(dst, src, WidenByte);
}
ZUL_UTF16 *A7nToUcn(ZUL_UTF16 *dst, const char *src, size_t n) noexcept {
  return zulu16::MapN(dst, src, n, WidenByte);
}
ZUL_UTF16 *B7sToUcs(ZUL_UTF16 *dst, const char *src) noexcept {
  return zulu16::MapS(dst, src, WidenByte);
}
ZUL_UTF16 *B7nToUcn(ZUL_UTF16 *dst, const char *src, size_t n) noexcept {
  return zulu16::MapN(dst, src, n, WidenByte);
}

char UcToA7(ZUL_UTF16 unit) noexcept { return CountedA7(unit); }
char B8ToA7(char byte) noexcept { return CountedA7(Byte(byte)); }

char *UcnToA7n(char *dst, const ZUL_UTF16 *src, size_t n) noexcept {
  return zulu16::MapN(dst, src, n, CountedA7);
}
char *UcsToA7s(char *dst, const ZUL_UTF16 *src) noexcept {
  return zulu16::MapS(dst, src, CountedA7);
}

int UcsToA7s_ErrCnt(void) noexcept { return a7_error_count.load(std::memory_order_relaxed); }
void UcsToA7s_ErrReset(void) noexcept { a7_error_count.store(0, std::memory_order_relaxed); }

char *UcsToA7sSubst(char *dst, const ZUL_UTF16 *src, char subst) noexcept {
  const char replacement = SubstituteOf(subst);
  return zulu16::MapS(dst, src,
                      [=](ZUL_UTF16 u) { return u < 0x80 ? static_cast<char>(u) : replacement; });
}
char *UcnToA7nSubst(char *dst, const ZUL_UTF16 *src, size_t n, char subst) noexcept {
  const char replacement = SubstituteOf(subst);
  return zulu16::MapN(dst, src, n,
                      [=](ZUL_UTF16 u) { return u < 0x80 ? static_cast<char>(u) : replacement; });
}

int UcsToA7sCheck(char *dst, const ZUL_UTF16 *src) noexcept {
  return zulu16::MapSChecked(dst, src, strlenU16(src), 0x7F, PlainB7);
}
int UcnToA7nCheck(char *dst, const ZUL_UTF16 *src, size_t n) noexcept {
  return zulu16::MapNChecked(dst, src, n, 0x7F, PlainB7);
}

char UcToB7(ZUL_UTF16 unit) noexcept { return PlainB7(unit); }
char *UcnToB7n(char *dst, const ZUL_UTF16 *src, size_t n) noexcept {
  return zulu16::MapN(dst, src, n, PlainB7);
}
char *UcsToB7s(char *dst, const ZUL_UTF16 *src) noexcept { return zulu16::MapS(dst, src, PlainB7); }
