// The component table: registration, levels, indentation and the threads' own levels.
#include "trace/ctrc_state.h"
#include "zul_dptrace.h"
#include "zul_u16string.h"

using ctrc::Lock;
using ctrc::state;

namespace {

int RegisterComp(ZUL_UTF16 letter, CTRC_HDL *hdl_out, CTRC_HOOK hook, bool last) {
  Lock lock;
  if (state.last_comp_registered) {
    dptrace::TraceError(__LINE__, u"CTrcNewComp called after CTrcLastComp");
    if (hdl_out != nullptr) *hdl_out = nullptr;
    return -1;
  }
  const char16_t *refusal = nullptr;
  if (state.global_file == nullptr)
    refusal = u"*** ERROR => CTrcNewComp: not initialized\n";
  else if (next_free_comp >= CTRC_MAX_COMPS)
    refusal = u"*** ERROR => CTrcNewComp: too many comps\n";
  if (refusal != nullptr) {
    dptrace::Print(stderr, u"%s", refusal);
    if (hdl_out != nullptr) *hdl_out = stderr;
    return -1;
  }
  CTRC_ADM &entry = ctrcadm[next_free_comp];
  entry.letter = toupperU(letter);
  entry.level = entry.letter == u'M' ? 3 : 1;
  entry.indent = 0;
  entry.hook = hook;
  entry.thr = nullptr;
  if (hdl_out != nullptr) *hdl_out = &entry;
  ctrc::CallHook(entry);
  ++next_free_comp;
  if (last) state.last_comp_registered = true;
  return 0;
}

CTRC_ADM *Entry(CTRC_HDL hdl) { return ctrc::IsHandle(hdl) ? ctrc::Resolve(hdl).comp : nullptr; }

int NonNegative(int value) { return value < 0 ? 0 : value; }

}  // namespace

int CTrcNewComp(ZUL_UTF16 letter, CTRC_HDL *hdl_out, CTRC_HOOK hook) noexcept {
  return RegisterComp(letter, hdl_out, hook, false);
}

int CTrcLastComp(ZUL_UTF16 letter, CTRC_HDL *hdl_out, CTRC_HOOK hook) noexcept {
  return RegisterComp(letter, hdl_out, hook, true);
}

int CTrcCompLev(CTRC_HDL hdl) noexcept {
  Lock lock;
  CTRC_ADM *entry = Entry(hdl);
  return entry != nullptr ? entry->level : 3;
}

int CTrcTransHdl(CTRC_HDL hdl, FILE **stream_out, ZUL_UTF16 *letter_out, int *level_out) noexcept {
  Lock lock;
  ctrc::Target target = ctrc::Resolve(hdl);
  if (stream_out != nullptr) *stream_out = target.stream;
  if (letter_out != nullptr) *letter_out = target.comp != nullptr ? target.comp->letter : 0;
  if (level_out != nullptr) *level_out = target.comp != nullptr ? target.comp->level : 3;
  return 0;
}

int CTrcSetGlobalIndent(int n) noexcept {
  Lock lock;
  for (int i = 1; i < next_free_comp; ++i) ctrcadm[i].indent = NonNegative(n);
  return 0;
}

int CTrcChangeGlobalIndent(int delta) noexcept {
  Lock lock;
  for (int i = 1; i < next_free_comp; ++i)
    ctrcadm[i].indent = NonNegative(ctrcadm[i].indent + delta);
  return 0;
}

int CTrcSetHdlIndent(CTRC_HDL hdl, int n) noexcept {
  Lock lock;
  if (CTRC_ADM *entry = Entry(hdl)) entry->indent = NonNegative(n);
  return 0;
}

int CTrcChangeHdlIndent(CTRC_HDL hdl, int delta) noexcept {
  Lock lock;
  if (CTRC_ADM *entry = Entry(hdl)) entry->indent = NonNegative(entry->indent + delta);
  return 0;
}

void CTrcSetTraceLevelFct(int level) noexcept { ct_level = level; }

int CTrcGetTraceLevelFct(void) noexcept { return ct_level; }

namespace ctrc {

CTRC_THR_ADM *ThreadFileAdm(CTRC_HDL hdl) {
  if (!ctrc::IsHandle(hdl)) {
    dptrace::TraceNote(u"CTrcThrClose: wrong handle\n");
    return nullptr;
  }
  CTRC_THR_ADM *adm = ctrc::ThreadAdm();
  if (adm == nullptr || adm->fp == nullptr) {
    dptrace::TraceNote(u"CTrcThrClose: illegal handle\n");
    return nullptr;
  }
  return adm;
}

}  // namespace ctrc

using ctrc::ThreadFileAdm;

int CTrcThrSetTraceLevel(CTRC_HDL hdl, int level) noexcept {
  Lock lock;
  CTRC_THR_ADM *adm = ThreadFileAdm(hdl);
  if (adm == nullptr) return -1;
  adm->thr_level = level;
  state.thread_trace_active = true;
  return 0;
}

int CTrcThrGetTraceLevel(CTRC_HDL hdl) noexcept {
  Lock lock;
  if (!state.thread_trace_active) return CTRC_THR_LEVEL_UNSET;
  CTRC_THR_ADM *adm = ThreadFileAdm(hdl);
  return adm != nullptr ? adm->thr_level : -1;
}

void CTrcThrResetTrace(void) noexcept {
  Lock lock;
  state.thread_trace_active = false;
}
