// CTrcSetParam and CTrcGetParam: a component's or the process' level, the stream, the hook.
#include <cstdarg>

#include "trace/ctrc_state.h"
#include "zul_dptrace.h"

namespace {

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
    CTRC_ADM &entry = *ctrc::Resolve(hdl).comp;
    entry.level = level;
    ctrc::CallHook(entry);
  } else {
    ct_level = level;
    ctrc::CallAllHooks();
  }
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
  switch (code) {
    case CTP_LEVEL:
      rc = SetLevel(hdl, handle, va_arg(args, int));
      break;
    case CTP_FILEPTR:
      dptrace::TraceNote(u"CTrcSetParam: cannot set the filepointer.\n");
      break;
    case CTP_HOOKFUNC: {
      CTRC_HOOK hook = va_arg(args, CTRC_HOOK);
      if (!handle) {
        dptrace::TraceError(__LINE__, u"CTrcSetParam: Wrong handle\n");
        break;
      }
      CTRC_ADM &entry = *ctrc::Resolve(hdl).comp;
      entry.hook = hook;
      ctrc::CallHook(entry);
      rc = 0;
      break;
    }
    default:
      break;
  }
  va_end(args);
  return rc;
}

int CTrcGetParam(CTRC_HDL hdl, int code, ...) noexcept {
  ctrc::Lock lock;
  bool handle = ctrc::IsHandle(hdl);
  bool initialized = ctrc::state.global_file != nullptr;
  va_list args;
  va_start(args, code);
  int rc = -1;
  switch (code) {
    case CTP_LEVEL: {
      int *out = va_arg(args, int *);
      if (!initialized || out == nullptr) break;
      *out = handle ? ctrc::EffectiveLevel(*ctrc::Resolve(hdl).comp) : ct_level;
      rc = 0;
      break;
    }
    case CTP_FILEPTR: {
      FILE **out = va_arg(args, FILE **);
      if (!initialized || out == nullptr) break;
      *out = ctrc::ProcessStream();
      rc = 0;
      break;
    }
    case CTP_HOOKFUNC: {
      CTRC_HOOK *out = va_arg(args, CTRC_HOOK *);
      if (!handle) {
        dptrace::TraceError(__LINE__, u"CTrcGetParam: Wrong handle for CTP_HOOKFUNC\n");
        break;
      }
      if (out != nullptr) *out = ctrc::Resolve(hdl).comp->hook;
      rc = 0;
      break;
    }
    default:
      break;
  }
  va_end(args);
  return rc;
}
