// The application's entries to the configuration.
#include <climits>

#include "tlm.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "zul_ctrc.h"
#include "zul_dptrace.h"
#include "zul_u16string.h"

namespace {

// Copies text into out of size units and answers its length; when it doesn't fit with its
// terminator, copies nothing, traces that function's buffer was too small and answers the length
// plus one. A null out has no room.
int copyTextResult(const zulstring &text, ZUL_UTF16 *out, int size, const ZUL_UTF16 *function) {
  size_t length = text.size();
  if (out == nullptr || size <= 0 || static_cast<size_t>(size) <= length) {
    DPTRC(2, tf, u"%s: buffer size is smaller than the required\n", function);
    return length < INT_MAX ? static_cast<int>(length + 1) : INT_MAX;
  }
  strncpyU16(out, text.c_str(), length);
  out[length] = 0;
  return static_cast<int>(strlenU16(out));
}

}  // namespace

int TLM_getSingleParameterValue(const ZUL_UTF16 *name, ZUL_UTF16 *value, int size) noexcept {
  try {
    if (name == nullptr || name[0] == 0) return 0;
    return copyTextResult(TLMParameterHelper::GetParamValue(name), value, size,
                          u"TLM_getSingleParameterValue");
  } catch (...) {
    return 0;
  }
}
