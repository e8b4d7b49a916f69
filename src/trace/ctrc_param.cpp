// CTrcSetParam and CTrcGetParam: a component's or the process' level, the stream, the hook.
#include <cstdarg>

#include "trace/ctrc_state.h"
#include "zul_dptrace.h"

namespace {

// The entry of a live handle; the caller has tested it with IsHandle.
CTRC_ADM &EntryOf(CTRC_HDL hdl) { return *ctrc::Resolve(hdl).comp; }

void AnnounceLevel(CTRC_HDL hdl, int level) {
  if (ct_level <= 0) return;
  int saved = EntLev;
  EntLev = 1;
  DpTrc(hdl, u"*\n");
  DpTrc(hdl, u"* SWITCH TRC-LEVEL to %d\n", level);
  DpTrc(hdl, u"*\n");
  EntLev = saved;
}

int SetLevel(CTRC_HDL hdl, bool handle, int level) {
  AnnounceLevel(hdl, level);
  if (handle) {
    EntryOf(hdl).level = level;
    ctrc::CallHook(EntryOf(hdl));
  } else {
    ct_level = level;
    ctrc::CallAllHooks();
  }
  return 0;
}

int SetHook(CTRC_HDL hdl, bool handle, CTRC_HOOK hook) {
  if (!handle) {
    dptrace::TraceError(__LINE__, u"CTrcSetParam: Wrong handle\n");
    return -1;
  }
  EntryOf(hdl).hook = hook;
  ctrc::CallHook(EntryOf(hdl));
  return 0;
}

int GetHook(CTRC_HDL hdl, bool handle, CTRC_HOOK *out) {
  if (!handle) {
    dptrace::TraceError(__LINE__, u"CTrcGetParam: Wrong handle for CTP_HOOKFUNC\n");
    return -1;
  }
  if (out != nullptr) *out = EntryOf(hdl).hook;
  return 0;
}

// The level and the stream are known once a global file exists.
int GetLevel(CTRC_HDL hdl, bool handle, int *out) {
  if (ctrc::state.global_file == nullptr || out == nullptr) return -1;
  *out = handle ? ctrc::EffectiveLevel(EntryOf(hdl)) : ct_level;
  return 0;
}

int GetStream(FILE **out) {
  if (ctrc::state.global_file == nullptr || out == nullptr) return -1;
  *out = ctrc::ProcessStream();
  return 0;
}

}  // namespace

int CTrcSetParam(CTRC_HDL hdl, int code, ...) noexcept {
  ctrc::Lock lock;
  bool handle = ctrc::IsHandle(hdl);
  if (!handle && (ctrc::state.global_file == nullptr || hdl != ctrc::state.global_file)) return -1;
  va_list args;
  va_start(args, code);
  int rc = -1;
  if (code == CTP_LEVEL) {
    rc = SetLevel(hdl, handle, va_arg(args, int));
  } else if (code == CTP_FILEPTR) {
    dptrace::TraceNote(u"CTrcSetParam: cannot set the filepointer.\n");
  } else if (code == CTP_HOOKFUNC) {
    rc = SetHook(hdl, handle, va_arg(args, CTRC_HOOK));
  }
  va_end(args);
  return rc;
}

int CTrcGetParam(CTRC_HDL hdl, int code, ...) noexcept {
  ctrc::Lock lock;
  bool handle = ctrc::IsHandle(hdl);
  va_list args;
  va_start(args, code);
  int rc = -1;
  if (code == CTP_LEVEL)
    rc = GetLevel(hdl, handle, va_arg(args, int *));
  else if (code == CTP_FILEPTR)
    rc = GetStream(va_arg(args, FILE **));
  else if (code == CTP_HOOKFUNC)
    rc = GetHook(hdl, handle, va_arg(args, CTRC_HOOK *));
  va_end(args);
  return rc;
}
