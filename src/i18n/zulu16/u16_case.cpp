// Case mapping of 16-bit units by the generated tables of simple mappings, and the string forms
// that map through the toupperU and tolowerU pointers.
#include "i18n/zulu16/nlsui.h"
#include "i18n/zulu16/u16_case_data.h"
#include "i18n/zulu16/u16_word.h"
#include "zul_u16string.h"

namespace {

template <size_t kIndexSize, size_t kBlocksSize, class IndexEntry>
ZUL_UTF16 Mapped(ZUL_UTF16 c, unsigned shift, const IndexEntry (&index)[kIndexSize],
                 const uint16_t (&blocks)[kBlocksSize]) {
  const unsigned low_bits = (1u << shift) - 1;
  uint16_t delta = blocks[(static_cast<unsigned>(index[c >> shift]) << shift) | (c & low_bits)];
  return static_cast<ZUL_UTF16>(c + delta);
}

// Maps s[0..n) up to its terminator in place, or into dst when dst differs from s.
ZUL_UTF16 *MapString(ZUL_UTF16 *dst, const ZUL_UTF16 *s, size_t n, ZUL_UTF16 (*map)(ZUL_UTF16)) {
  for (size_t i = 0; i < n; ++i) {
    ZUL_UTF16 u = zulu16::LoadUnit(s + i);
    if (u == 0) {
      zulu16::StoreUnit(dst + i, 0);
      break;
    }
    zulu16::StoreUnit(dst + i, map(u));
  }
  return dst;
}

}  // namespace

ZUL_UTF16 toupperU16(ZUL_UTF16 c) noexcept {
  return Mapped(c, zulu16::kUpperCaseShift, zulu16::kUpperCaseIndex, zulu16::kUpperCaseBlocks);
}

ZUL_UTF16 tolowerU16(ZUL_UTF16 c) noexcept {
  return Mapped(c, zulu16::kLowerCaseShift, zulu16::kLowerCaseIndex, zulu16::kLowerCaseBlocks);
}

ZUL_UTF16 *strtoupperU16(ZUL_UTF16 *s) noexcept {
  return MapString(s, s, SIZE_MAX, zulu16::nlsui::Load(toupperU));
}

ZUL_UTF16 *strntoupperU16(ZUL_UTF16 *s, size_t n) noexcept {
  return MapString(s, s, n, zulu16::nlsui::Load(toupperU));
}

ZUL_UTF16 *strcpytoupperU16(ZUL_UTF16 *dst, const ZUL_UTF16 *src) noexcept {
  return MapString(dst, src, SIZE_MAX, zulu16::nlsui::Load(toupperU));
}

ZUL_UTF16 *strtolowerU16(ZUL_UTF16 *s) noexcept {
  return MapString(s, s, SIZE_MAX, zulu16::nlsui::Load(tolowerU));
}

ZUL_UTF16 *strntolowerU16(ZUL_UTF16 *s, size_t n) noexcept {
  return MapString(s, s, n, zulu16::nlsui::Load(tolowerU));
}

ZUL_UTF16 *strcpytolowerU16(ZUL_UTF16 *dst, const ZUL_UTF16 *src) noexcept {
  return MapString(dst, src, SIZE_MAX, zulu16::nlsui::Load(tolowerU));
}
