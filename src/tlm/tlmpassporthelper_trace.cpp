// The passport helper's diagnostics. The library's own trace file is not part of this build yet:
// without a sink the lines are dropped.
#include "tlm/tlmpassporthelper_trace.h"

namespace tlm {

PassportHelperErrorSink passport_helper_error_sink = nullptr;

void PassportHelperError(int line, const ZUL_UTF16 *text) {
  if (PassportHelperErrorSink sink = passport_helper_error_sink) sink(line, text);
}

}  // namespace tlm
