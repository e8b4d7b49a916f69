// The system's trace hook of the passport library.
#include "zul_epp.h"

namespace {

// Writes one line to the library's trace file at entry level 1, when the component trace level is
// 1 or more. The library's trace file is not part of this build yet: the line is dropped.
void WriteToLibraryTrace(const ZUL_UTF16 *text) { (void)text; }

}  // namespace

void eppTraceOutput(const ZUL_UTF16 *text) noexcept {
  if (text != nullptr) WriteToLibraryTrace(text);
}
