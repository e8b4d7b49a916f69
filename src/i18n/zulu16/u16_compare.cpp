// Ordering of 16-bit strings: units compare as unsigned values, the case-blind forms after
// tolowerU.
#include "i18n/zulu16/nlsui.h"
#include "i18n/zulu16/u16_word.h"
#include "zul_u16string.h"

using zulu16::LoadUnit;

namespace {

int Order(ZUL_UTF16 x, ZUL_UTF16 y) { return static_cast<int>(x) - static_cast<int>(y); }

template <class Fold>
int CompareAtMost(const ZUL_UTF16 *a, const ZUL_UTF16 *b, size_t count, Fold fold) {
  for (size_t i = 0; i < count; ++i) {
    ZUL_UTF16 x = fold(LoadUnit(a + i));
    ZUL_UTF16 y = fold(LoadUnit(b + i));
    if (x != y) return Order(x, y);
    if (x == 0) return 0;
  }
  return 0;
}

ZUL_UTF16 Same(ZUL_UTF16 u) { return u; }
ZUL_UTF16 Lower(ZUL_UTF16 u) { return zulu16::nlsui::Load(tolowerU)(u); }

}  // namespace

int strcmpU16(const ZUL_UTF16 *a, const ZUL_UTF16 *b) noexcept {
  return CompareAtMost(a, b, SIZE_MAX, Same);
}

int strncmpU16(const ZUL_UTF16 *a, const ZUL_UTF16 *b, size_t count) noexcept {
  return CompareAtMost(a, b, count, Same);
}

int strcasecmpU16(const ZUL_UTF16 *a, const ZUL_UTF16 *b) noexcept {
  return CompareAtMost(a, b, SIZE_MAX, Lower);
}

int strncasecmpU16(const ZUL_UTF16 *a, const ZUL_UTF16 *b, size_t count) noexcept {
  return CompareAtMost(a, b, count, Lower);
}
