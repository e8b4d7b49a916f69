// Lines of the configuration in the library's own trace file.
#ifndef TLM_TLMPROFILE_TLMPROFILETRACE_H
#define TLM_TLMPROFILE_TLMPROFILETRACE_H

#include "zul_base.h"

namespace tlmprofile {

// Writes text as a plain line of the library's trace when the trace level is at least level.
void traceLine(int level, const ZUL_UTF16 *text) noexcept;

}  // namespace tlmprofile

#endif  // TLM_TLMPROFILE_TLMPROFILETRACE_H
