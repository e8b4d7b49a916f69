// Character classes of 16-bit units from the generated class table, and the classes built on
// the exported class pointers (which the loader sets).
#include "i18n/zulu16/nlsui.h"
#include "i18n/zulu16/u16_ctype_data.h"
#include "zul_u16string.h"

namespace {

bool HasClass(ZUL_UTF16 c, uint8_t bits) {
  using namespace zulu16;
  const unsigned low_bits = (1u << kClassShift) - 1;
  return (kClassBlocks[(static_cast<unsigned>(kClassIndex[c >> kClassShift]) << kClassShift) |
                       (c & low_bits)] &
          bits) != 0;
}

}  // namespace

int isalnumU16(ZUL_UTF16 c) noexcept {
  return HasClass(c, zulu16::kClassAlpha | zulu16::kClassDigit);
}
int isalphaU16(ZUL_UTF16 c) noexcept { return HasClass(c, zulu16::kClassAlpha); }
int iscntrlU16(ZUL_UTF16 c) noexcept { return HasClass(c, zulu16::kClassCntrl); }
int islowerU16(ZUL_UTF16 c) noexcept { return HasClass(c, zulu16::kClassLower); }
int isprintU16(ZUL_UTF16 c) noexcept { return HasClass(c, zulu16::kClassPrint); }
int isupperU16(ZUL_UTF16 c) noexcept { return HasClass(c, zulu16::kClassUpper); }

int isspaceU16(ZUL_UTF16 c) noexcept {
  if (c <= 0x20) return c == 0x20 || (c >= 0x09 && c <= 0x0D);
  if (c < 0x85) return 0;
  return c == 0x85 || c == 0xA0 || c == 0x1680 || (c >= 0x2000 && c <= 0x200A) || c == 0x2028 ||
         c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000;
}

using zulu16::nlsui::Load;

int isgraphU(ZUL_UTF16 c) noexcept { return Load(isprintU)(c) && !Load(isspaceU)(c); }

int ispunctU(ZUL_UTF16 c) noexcept { return isgraphU(c) && !Load(isalnumU)(c); }

int isxdigitU(ZUL_UTF16 c) noexcept {
  if (c >= 0x80 || !Load(isalnumU)(c)) return 0;
  ZUL_UTF16 lower = Load(tolowerU)(c);
  return (c >= '0' && c <= '9') || (lower >= 'a' && lower <= 'f');
}
