// The per-thread record of the C library replacements: made on first use under one
// process-wide key, freed by the key's destructor when the thread ends.
#include "thr/thr_statics.h"

#include "thr/thr_state.h"

namespace thr {
namespace {

THR_KEY statics_key = THR_INVALID_KEY;

bool StaticsKeyCreated() {
  return __atomic_load_n(&statics_key, __ATOMIC_ACQUIRE) != THR_INVALID_KEY;
}

void FreeGrowableBuffers(ThrStatics *s) {
  GrowableBuffer *const buffers[] = {&s->ttyname_buffer,  &s->getgrnam_buffer, &s->getgrgid_buffer,
                                     &s->getpwent_buffer, &s->getlogin_buffer, &s->getpwnam_buffer,
                                     &s->getpwuid_buffer, &s->getspent_buffer};
  for (GrowableBuffer *b : buffers) std::free(b->data);
}

}  // namespace

ThrStatics *Statics() {
  if (!InitDone() && ThrIProcInit() != THR_ERR_OK) return nullptr;
  if (!StaticsKeyCreated()) {
    int rc = ThrKeyGet(&statics_key, ThrIDestructor);
    if (rc != THR_ERR_OK && rc != THR_ERR_EXISTS) return nullptr;
  }
  auto *s = static_cast<ThrStatics *>(ThrKeyVarGet(&statics_key));
  if (s != nullptr) return s;
  s = static_cast<ThrStatics *>(std::calloc(1, sizeof(ThrStatics)));
  if (s == nullptr) return nullptr;
  s->rand_seed = 1;
  if (ThrKeyVarSet(&statics_key, s) != THR_ERR_OK) {
    std::free(s);
    return nullptr;
  }
  return s;
}

}  // namespace thr

void ThrIDestructor(void *record) noexcept {
  using namespace thr;
  if (!InitDone() || !StaticsKeyCreated()) return;
  auto *s = static_cast<ThrStatics *>(record != nullptr ? record : ThrKeyVarGet(&statics_key));
  if (s == nullptr) return;
  ThrKeyVarSet(&statics_key, nullptr);
  FreeGrowableBuffers(s);
  std::free(s);
}
