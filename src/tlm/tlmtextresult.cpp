// The caller's buffer rule of text results.
#include "tlm/tlmtextresult.h"

#include <climits>

#define DPTRC_MODULE u"tlmmain"

#include "zul_ctrc.h"
#include "zul_dptrace.h"
#include "zul_u16string.h"

namespace tlmapi {

int copyTextResult(const zulstring &text, ZUL_UTF16 *out, int size, const ZUL_UTF16 *function) {
  size_t length = text.size();
  if (out == nullptr || size <= 0 || static_cast<size_t>(size) <= length) {
    if (function != nullptr) {
      DPTRC(2, tf, u"%s: buffer size is smaller than the required\n", function);
    }
    return length < INT_MAX ? static_cast<int>(length + 1) : INT_MAX;
  }
  strncpyU16(out, text.c_str(), length);
  out[length] = 0;
  return static_cast<int>(strlenU16(out));
}

}  // namespace tlmapi
