// Handles by address, the per-thread administration, and the resolution of a handle to the
// stream it writes to.
#include <pthread.h>

#include <cstdlib>

#include "trace/ctrc_state.h"
#include "zul_thr.h"

namespace ctrc {

namespace {

THR_KEY thr_adm_key = THR_INVALID_KEY;
pthread_once_t thr_adm_key_once = PTHREAD_ONCE_INIT;

// The key's destructor: frees the administration of an ending thread and forgets it in the table
// entry that CTrcThrOpen made for it.
void FreeThreadAdm(void *value) {
  auto *adm = static_cast<CTRC_THR_ADM *>(value);
  {
    Lock lock;
    for (int i = 1; i < CTRC_MAX_COMPS; ++i)
      if (ctrcadm[i].thr == adm) ctrcadm[i].thr = nullptr;
  }
  std::free(adm);
}

void CreateKey() { ThrKeyGet(&thr_adm_key, FreeThreadAdm); }

THR_KEY *Key() {
  pthread_once(&thr_adm_key_once, CreateKey);
  return &thr_adm_key;
}

const char *TableStart() { return reinterpret_cast<const char *>(&ctrcadm[0]); }

bool InTable(CTRC_HDL hdl) {
  const char *p = static_cast<const char *>(hdl);
  return p > TableStart() && p < reinterpret_cast<const char *>(&ctrcadm[CTRC_MAX_COMPS]);
}

CTRC_ADM *EntryOf(CTRC_HDL hdl) {
  size_t offset = static_cast<size_t>(static_cast<const char *>(hdl) - TableStart());
  return &ctrcadm[offset / sizeof(CTRC_ADM)];
}

void ReportStaleHandle(CTRC_HDL hdl) {
  dptrace::Print(stderr,
                 u"ERROR => CTRC_IS_HANDLE2 != CTRC_IS_HANDLE\n"
                 u"         hdl                      =%p\n"
                 u"         ctrcadm                  =%p\n"
                 u"         next_free_comp           =%d\n"
                 u"         ctrcadm + next_free_comp =%p\n",
                 hdl, static_cast<void *>(ctrcadm), next_free_comp,
                 static_cast<void *>(&ctrcadm[next_free_comp]));
}

}  // namespace

bool IsHandle(CTRC_HDL hdl) { return CTRC_IS_HANDLE(hdl); }

CTRC_THR_ADM *ThreadAdm() { return static_cast<CTRC_THR_ADM *>(ThrKeyVarGet(Key())); }

CTRC_THR_ADM *CreateThreadAdm() {
  CTRC_THR_ADM *adm = ThreadAdm();
  if (adm != nullptr) return adm;
  adm = static_cast<CTRC_THR_ADM *>(std::calloc(1, sizeof(CTRC_THR_ADM)));
  if (adm == nullptr) return nullptr;
  adm->thr_level = CTRC_THR_LEVEL_UNSET;
  adm->last_sec = adm->last_fine_sec = adm->last_fine_usec = adm->last_size_check = -1;
  if (ThrKeyVarSet(Key(), adm) != THR_ERR_OK) {
    std::free(adm);
    return nullptr;
  }
  return adm;
}

void DropThreadAdm() {
  CTRC_THR_ADM *adm = ThreadAdm();
  if (adm == nullptr) return;
  ThrKeyVarSet(Key(), nullptr);
  for (int i = 1; i < CTRC_MAX_COMPS; ++i)
    if (ctrcadm[i].thr == adm) ctrcadm[i].thr = nullptr;
  std::free(adm);
}

FILE *ProcessStream() {
  CTRC_THR_ADM *adm = ThreadAdm();
  if (adm != nullptr && adm->fp != nullptr) return adm->fp;
  return state.global_file != nullptr ? state.global_file : stderr;
}

Target Resolve(CTRC_HDL hdl) {
  if (hdl == nullptr) return {stderr, nullptr};
  if (IsHandle(hdl)) return {ProcessStream(), EntryOf(hdl)};
  if (InTable(hdl)) {
    // A handle that a closed global file invalidated. Writing to it as a stream would corrupt the
    // table, so the report is followed by standard error.
    ReportStaleHandle(hdl);
    return {stderr, nullptr};
  }
  FILE *stream = static_cast<FILE *>(hdl);
  if (stream == state.global_file) return {ProcessStream(), nullptr};
  return {stream, nullptr};
}

int EffectiveLevel(const CTRC_ADM &entry) {
  return entry.level < ct_level ? entry.level : ct_level;
}

void CallHook(const CTRC_ADM &entry) {
  if (entry.hook != nullptr) entry.hook(EffectiveLevel(entry));
}

}  // namespace ctrc
