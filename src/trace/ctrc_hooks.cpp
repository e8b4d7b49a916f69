// The small settings of the component trace: source location, hooks of the system log, of the
// context information and of component 'C', hiding in dumps, and the entry points that do nothing.
#include <cstring>

#include "trace/ctrc_state.h"
#include "trace/dptrace_rslg.h"
#include "zul_dptrace.h"
#include "zul_u16printf.h"

namespace dptrace {

RslgHooks rslg_hooks;

}  // namespace dptrace

void CTrcSaveLocation(const ZUL_UTF16 *filename, int line) noexcept {
  const char16_t *base = filename != nullptr ? filename : u"";
  for (const char16_t *p = base; *p != 0; ++p)
    if (*p == u'/') base = p + 1;
  // Cleared first: system log records carry all 32 units.
  std::memset(savloc, 0, sizeof savloc);
  snprintfU16(savloc, sizeof savloc / sizeof savloc[0], u"%-12.12s%d", base, line);
}

int CTrcGetHookDbSl(CTRC_HOOK *out) noexcept {
  ctrc::Lock lock;
  for (const CTRC_ADM &entry : ctrcadm) {
    if (entry.letter != u'C') continue;
    if (out != nullptr) *out = entry.hook;
    return 0;
  }
  return -1;
}

void CTrcHookRslg(CTRC_RSLG_WRITER0 writer0, CTRC_RSLG_WRITER writer,
                  CTRC_RSLG_CONVERT convert) noexcept {
  ctrc::Lock lock;
  dptrace::rslg_hooks = {writer0, writer, convert};
}

void CTrcRslgw1param(const ZUL_UTF16 *id, const ZUL_UTF16 *param) noexcept {
  CTRC_RSLG_WRITER0 writer0;
  {
    ctrc::Lock lock;
    writer0 = dptrace::rslg_hooks.writer0;
  }
  if (writer0 != nullptr) writer0(id, param, 0);
}

void CTrcSetHiding(int flag) noexcept { dpTrcHidingActive = static_cast<uint8_t>(flag != 0); }

int CTrcSetContextInfoHook(CTRC_CONTEXTINFO_FUNC func, void *ctx, int option) noexcept {
  ctrc::Lock lock;
  if (option != 0) {
    dptrace::TraceNote(u"CTrcSetInfoOutputFunc: option %d not supported.\n", option);
    return 1;
  }
  contextinfo_hook_func = func;
  contextinfo_hook_ctx = ctx;
  return 0;
}

int CTrcSignal(void) noexcept { return 0; }

void CTrcProcExit(void) noexcept {}
