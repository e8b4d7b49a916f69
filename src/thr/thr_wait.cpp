// Waiting for threads: one thread, all others one after the other, or whichever ends first. The
// two wait-for-all loops admit one thread at a time through the wait-busy flag, which the
// counters mutex guards; the table is read under the table mutex alone, never with both held.
#include "thr/thr_state.h"

namespace thr {
namespace {

uint32_t wait_busy = 0;  // guarded by counters_mutex

}  // namespace

bool TakeWaitBusyFlag() {
  pthread_mutex_lock(&counters_mutex);
  bool taken = wait_busy == 0;
  if (taken) wait_busy = 1;
  pthread_mutex_unlock(&counters_mutex);
  return taken;
}

void ClearWaitBusyFlag() {
  pthread_mutex_lock(&counters_mutex);
  wait_busy = 0;
  pthread_mutex_unlock(&counters_mutex);
}

}  // namespace thr

using namespace thr;

namespace {

void Store(uint64_t *out, uint64_t value) {
  if (out != nullptr) *out = value;
}

// ThrWait with the invalid id: joins every other thread of the table in turn. A failed join is
// remembered and the loop goes on; so is a non-zero exit code.
int WaitForAllOthers(THR_ID self, uint64_t *code_out) {
  if (!TakeWaitBusyFlag()) return THR_ERR_DEADLOCK;
  int last_error = THR_ERR_OK;
  uint64_t last_code = 0;
  for (;;) {
    WaitPick pick;
    int rc = TablePickForWait(self, &pick);
    if (rc != THR_ERR_OK) {
      last_error = rc;
      break;
    }
    if (pick.done) break;
    if (ThrIdEqual(pick.id, THR_INVALID_ID)) {
      ClearWaitBusyFlag();
      Store(code_out, last_code);
      return THR_ERR_INTERNAL;
    }
    uint64_t code = 0;
    rc = ThrWait(pick.id, &code);
    if (rc != THR_ERR_OK) last_error = rc;
    if (code != 0) last_code = code;
  }
  ClearWaitBusyFlag();
  Store(code_out, last_code);
  return last_error;
}

}  // namespace

int ThrWait(THR_ID id, uint64_t *code_out) noexcept {
  if (!Threaded()) return THR_ERR_NOT_INIT;
  THR_ID self = ThrGetCurrentId();
  if (ThrIdEqual(id, self)) return THR_ERR_DEADLOCK;
  if (ThrIdEqual(id, THR_INVALID_ID)) return WaitForAllOthers(self, code_out);
  int rc = ThrPWait(id, code_out);
  if (rc == THR_ERR_OK || rc == THR_ERR_INVALID_ID) TableRemove(id);
  return rc;
}

int ThrWaitAll(THR_ID *id_out, uint64_t *code_out) noexcept {
  if (!TakeWaitBusyFlag()) return THR_ERR_DEADLOCK;
  THR_ID self = ThrGetCurrentId();
  THR_ID ended = THR_INVALID_ID;
  uint64_t code = 0;
  int rc;
  // Each round takes a new snapshot of the table, so threads created meanwhile are seen within a
  // second.
  do {
    WaitAllSnapshot snapshot;
    rc = TableSnapshotForWaitAll(self, &snapshot);
    if (rc != THR_ERR_OK) {
      ended = THR_INVALID_ID;
      break;
    }
    if (snapshot.only_caller_left) {
      ended = THR_INVALID_ID;
      rc = THR_ERR_DEADLOCK;
      break;
    }
    rc = ThrPWaitAll(snapshot.handles.data(), static_cast<uint32_t>(snapshot.handles.size()),
                     &ended, &code);
  } while (rc == THR_ERR_DEADLOCK);
  if (id_out != nullptr) *id_out = ended;
  if (rc == THR_ERR_OK) {
    TableRemove(ended);
    Store(code_out, code);
  }
  ClearWaitBusyFlag();
  return rc;
}
