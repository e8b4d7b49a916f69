// The system's trace hook of the passport library: its lines go to the library's own trace file.
#include "zul_dptrace.h"
#include "zul_epp.h"

void eppTraceOutput(const ZUL_UTF16 *text) noexcept {
  if (text != nullptr) DPTRC(1, tf, u"%s", text);
}
