// The error hook of the code page kit and its setter.
#include "zul_rscp.h"

namespace {

// Records nothing: the failing function answers the class it reported.
int DefaultErrorHook(int code, int, int, const ZUL_UTF16 *, int, int, const ZUL_UTF16 *,
                     const ZUL_UTF16 *, const ZUL_UTF16 *, const ZUL_UTF16 *, const ZUL_UTF16 *,
                     const ZUL_UTF16 *) {
  return code;
}

}  // namespace

RSCP_ERROR_HOOK rscpHook_rscpe__error = DefaultErrorHook;

void rscpSetHook_rscpe__error(RSCP_ERROR_HOOK f) noexcept {
  rscpHook_rscpe__error = f != nullptr ? f : DefaultErrorHook;
}
