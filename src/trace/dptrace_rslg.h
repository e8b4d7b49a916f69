// The hooks of the system log host, set by CTrcHookRslg and used by the DpSLog family.
#ifndef TRACE_DPTRACE_RSLG_H
#define TRACE_DPTRACE_RSLG_H

#include "zul_ctrc.h"

namespace dptrace {

struct RslgHooks {
  CTRC_RSLG_WRITER0 writer0 = nullptr;
  CTRC_RSLG_WRITER writer = nullptr;
  CTRC_RSLG_CONVERT convert = nullptr;
};
// Guarded by DpLock.
extern RslgHooks rslg_hooks;

}  // namespace dptrace

#endif  // TRACE_DPTRACE_RSLG_H
