// Platform layer of the threads: the only place that calls the POSIX thread functions. It keeps
// no books; the layer above enters and removes table entries.
#include <sys/select.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

#include "thr/thrp_stack.h"
#include "zul_u16printf.h"

namespace {

pthread_t Native(THR_ID id) { return static_cast<pthread_t>(id); }

void *CodeAsValue(uint64_t code) { return reinterpret_cast<void *>(static_cast<uintptr_t>(code)); }
uint64_t ValueAsCode(void *value) { return reinterpret_cast<uintptr_t>(value); }

void ApplyScopeAndDetachMode(pthread_attr_t *attr, const ThrCreateAttr &wanted) {
  if (wanted.scope == THR_SCOPE_SYSTEM) pthread_attr_setscope(attr, PTHREAD_SCOPE_SYSTEM);
  if (wanted.scope == THR_SCOPE_PROCESS) pthread_attr_setscope(attr, PTHREAD_SCOPE_PROCESS);
  pthread_attr_setdetachstate(attr, wanted.detach_mode == THR_CREATE_DETACHED
                                        ? PTHREAD_CREATE_DETACHED
                                        : PTHREAD_CREATE_JOINABLE);
}

// Joins and maps the result: a thread that can't be joined (unknown, detached, already joined)
// gives 5.
int JoinForExitCode(THR_ID id, uint64_t *code_out) {
  void *value = nullptr;
  switch (pthread_join(Native(id), &value)) {
    case 0:
      if (code_out != nullptr) *code_out = ValueAsCode(value);
      return THR_ERR_OK;
    case ESRCH:
    case EINVAL:
      return THR_ERR_INVALID_ID;
    default:
      return THR_ERR_OS;
  }
}

}  // namespace

namespace thr {

void ApplyStackSize(pthread_attr_t *attr, uint64_t requested) {
  if (requested != 0) {
    pthread_attr_setstacksize(attr, std::max<uint64_t>(requested, kMinStackSize));
    return;
  }
  size_t current;
  if (pthread_attr_getstacksize(attr, &current) == 0)
    pthread_attr_setstacksize(attr, std::max<size_t>(current, kMinDefaultStackSize));
}

}  // namespace thr

int ThrPCreate(const ThrCreateAttr *attr, THR_START_ROUTINE start, void *arg,
               THR_ID *id_out) noexcept {
  const ThrCreateAttr wanted = attr != nullptr ? *attr : ThrCreateAttr{0, 0, 0};
  pthread_attr_t pattr;
  if (pthread_attr_init(&pattr) != 0) {
    *id_out = THR_INVALID_ID;
    return THR_ERR_OS;
  }
  ApplyScopeAndDetachMode(&pattr, wanted);
  thr::ApplyStackSize(&pattr, wanted.stack_size);
  pthread_t thread;
  int rc = pthread_create(&thread, &pattr, start, arg);
  pthread_attr_destroy(&pattr);
  if (rc != 0) {
    *id_out = THR_INVALID_ID;
    return rc == EAGAIN || rc == ENOMEM ? THR_ERR_NO_RESOURCES : THR_ERR_OS;
  }
  *id_out = static_cast<THR_ID>(thread);
  return THR_ERR_OK;
}

void ThrPExit(uint64_t code) { pthread_exit(CodeAsValue(code)); }

int ThrPWait(THR_ID id, uint64_t *code_out) noexcept {
  void *value = nullptr;
  int rc = pthread_join(Native(id), &value);
  if (rc == EDEADLK) return THR_ERR_DEADLOCK;
  if (rc != 0) return THR_ERR_INVALID_ID;
  if (code_out != nullptr) *code_out = ValueAsCode(value);
  return THR_ERR_OK;
}

int ThrPWaitAll(const THR_ID *ids, uint32_t count, THR_ID *id_out, uint64_t *code_out) noexcept {
  for (uint32_t i = 0; i < count; ++i) {
    uint64_t code = 0;
    int rc = ThrExitCode(ids[i], &code);
    if (rc == THR_ERR_INVALID_ID || rc == THR_ERR_STILL_ALIVE) continue;
    *id_out = rc == THR_ERR_OK ? ids[i] : THR_INVALID_ID;
    if (rc == THR_ERR_OK && code_out != nullptr) *code_out = code;
    return rc;
  }
  timeval one_second = {1, 0};
  select(0, nullptr, nullptr, nullptr, &one_second);
  *id_out = THR_INVALID_ID;
  return THR_ERR_DEADLOCK;
}

int ThrPExitCode(THR_ID id, uint64_t *code_out) noexcept {
  if (pthread_kill(Native(id), 0) == 0) {
    // This C library also answers success for a thread that has ended but is not yet joined, so
    // a join that does not block decides. A detached thread can't be joined: it counts as alive.
    void *value = nullptr;
    switch (pthread_tryjoin_np(Native(id), &value)) {
      case 0:
        if (code_out != nullptr) *code_out = ValueAsCode(value);
        return THR_ERR_OK;
      case EBUSY:
      case EINVAL:
        return THR_ERR_STILL_ALIVE;
      case ESRCH:
        return THR_ERR_INVALID_ID;
      default:
        return THR_ERR_OS;
    }
  }
  return JoinForExitCode(id, code_out);
}

int ThrPKill(THR_ID id, int signal) noexcept {
  switch (pthread_kill(Native(id), signal)) {
    case 0:
      return THR_ERR_OK;
    case ESRCH:
      return THR_ERR_INVALID_ID;
    case EINVAL:
      return THR_ERR_INVALID_PARAM;
    default:
      return THR_ERR_OS;
  }
}

int ThrPCancel(THR_ID id) noexcept {
  return pthread_cancel(Native(id)) == 0 ? THR_ERR_OK : THR_ERR_INVALID_ID;
}

int ThrPDetach(THR_ID id) noexcept {
  return pthread_detach(Native(id)) == 0 ? THR_ERR_OK : THR_ERR_INVALID_ID;
}

ZUL_UTF16 *ThrPId2Str(ZUL_UTF16 *buf, THR_ID id) noexcept {
  sprintfU16(buf, u"%lu", static_cast<unsigned long>(id));
  return buf;
}
