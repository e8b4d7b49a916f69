// The application's entries to the configuration.
#include "tlm.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "tlm/tlmtextresult.h"

// No gate: the configuration may be read before the library is started.
int TLM_getSingleParameterValue(const ZUL_UTF16 *name, ZUL_UTF16 *value, int size) noexcept {
  try {
    if (name == nullptr || name[0] == 0) return 0;
    return tlmapi::copyTextResult(TLMParameterHelper::GetParamValue(name), value, size,
                                  u"TLM_getSingleParameterValue");
  } catch (...) {
    return 0;
  }
}
