// Where the passport helper's diagnostics go.
#ifndef TLM_TLM_TLMPASSPORTHELPER_TRACE_H
#define TLM_TLM_TLMPASSPORTHELPER_TRACE_H

#include "zul_base.h"

namespace tlm {

// Writes an error line of the passport helper, with the location tlmpassporthelper and the source
// line, when the library's trace level is 1 or more.
void PassportHelperError(int line, const ZUL_UTF16 *text);

// When set, receives every such line in place of the trace (for tests, which set it before their
// threads start and reset it to null after).
using PassportHelperErrorSink = void (*)(int line, const ZUL_UTF16 *text);
extern PassportHelperErrorSink passport_helper_error_sink;

}  // namespace tlm

#endif  // TLM_TLM_TLMPASSPORTHELPER_TRACE_H
