// Creating and controlling threads: the bookkeeping half. The thread table follows every thread
// the layer created; the platform layer (ThrP*) makes the POSIX calls.
#include "thr/thr_state.h"

using namespace thr;

int ThrCreate(THR_START_ROUTINE start, void *arg, THR_ID *id_out) noexcept {
  const ThrCreateAttr defaults = {0, 0, 0};
  return ThrCreate2(&defaults, start, arg, id_out);
}

int ThrCreate2(const ThrCreateAttr *attr, THR_START_ROUTINE start, void *arg,
               THR_ID *id_out) noexcept {
  *id_out = THR_INVALID_ID;
  if (!Threaded()) return THR_ERR_NOT_INIT;
  THR_ID id;
  int rc = ThrPCreate(attr, start, arg, &id);
  if (rc != THR_ERR_OK) return rc;
  // The thread runs whether or not its entry can be made; without one it is simply not waited
  // for by the wait-for-all calls.
  TableEnter(id, attr != nullptr && attr->detach_mode == THR_CREATE_DETACHED);
  *id_out = id;
  return THR_ERR_OK;
}

void ThrExit(uint64_t code) {
  ThrCleanupKeyMem();
  ThrPExit(code);
}

int ThrCleanup(void) noexcept { return TableRemove(ThrGetCurrentId()); }

ZUL_UTF16 *ThrId2Str(ZUL_UTF16 *buf, THR_ID id) noexcept { return ThrPId2Str(buf, id); }

int ThrExitCode(THR_ID id, uint64_t *code_out) noexcept {
  if (!Threaded()) return THR_ERR_NOT_INIT;
  if (ThrIdEqual(id, ThrGetCurrentId())) return THR_ERR_STILL_ALIVE;
  int rc = ThrPExitCode(id, code_out);
  if (rc == THR_ERR_OK) TableRemove(id);
  return rc;
}

int ThrKill(THR_ID id, int signal) noexcept {
  if (!Threaded()) return THR_ERR_NOT_INIT;
  return ThrPKill(id, signal);
}

int ThrCancel(THR_ID id) noexcept {
  if (!Threaded()) return THR_ERR_NOT_INIT;
  int rc = ThrPCancel(id);
  if (rc == THR_ERR_OK) TableRemove(id);
  return rc;
}

int ThrDetach(THR_ID id) noexcept {
  if (!Threaded()) return THR_ERR_NOT_INIT;
  int rc = TableMarkDetached(id);
  if (rc != THR_ERR_OK) return rc;
  return ThrPDetach(id);
}
