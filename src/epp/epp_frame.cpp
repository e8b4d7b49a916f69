// The frame around every call that takes a passport: initialisation, handle, version, mutex.
#include <cstring>

#include "epp/epp_internal.h"
#include "epp/epp_trace.h"

namespace epp {

uint32_t CheckInit() {
  if (eppIsInit == 1) return EPP_RC_OK;
  EPP_ERR(0, u"passport library not yet initialized\n");
  return EPP_RC_NOT_INIT;
}

uint32_t eppCheckPassport(const ZUL_UTF16 *fn, const Passport *p) {
  if (std::memcmp(p->eyecatcher, kEyecatcher, sizeof kEyecatcher) != 0) {
    EPP_ERR(0, u"%s: core part eyecatcher invalid\n", fn);
    return EPP_RC_INVALID;
  }
  for (const VarPart *part : p->var_parts) {
    if (part != nullptr && std::memcmp(part->eyecatcher, kEyecatcher, sizeof kEyecatcher) != 0) {
      EPP_ERR(0, u"%s: variable part eyecatcher invalid\n", fn);
      return EPP_RC_INVALID;
    }
  }
  return EPP_RC_OK;
}

PassportAccess::~PassportAccess() {
  if (locked_) ThrRecMtxUnlock(&passport_->mutex);
}

// The core's eyecatcher is checked before the mutex, which only a passport has; the variable parts
// may change under other threads and are checked while it is held.
uint32_t PassportAccess::OpenHandle(const ZUL_UTF16 *fn, void *handle) {
  auto *p = static_cast<Passport *>(handle);
  bool core_valid = p != nullptr;
  if (core_valid && std::memcmp(p->eyecatcher, kEyecatcher, sizeof kEyecatcher) != 0) {
    EPP_ERR(0, u"%s: core part eyecatcher invalid\n", fn);
    core_valid = false;
  }
  if (!core_valid) return HandleNotValid(fn);
  passport_ = p;
  if (uint32_t rc = Lock()) return rc;
  if (eppCheckPassport(fn, p) != EPP_RC_OK) return HandleNotValid(fn);
  return EPP_RC_OK;
}

uint32_t PassportAccess::HandleNotValid(const ZUL_UTF16 *fn) {
  EPP_ERR(0, u"%s: passport handle not valid\n", fn);
  return EPP_RC_INVALID;
}

uint32_t PassportAccess::CheckVersion(const ZUL_UTF16 *fn, uint8_t min_version) {
  if (passport_->version >= min_version) return EPP_RC_OK;
  EPP_ERR(1, u"%s: this field can only be set for passports with version %u or higher\n", fn,
          unsigned{min_version});
  return EPP_RC_VERSION;
}

uint32_t PassportAccess::Lock() {
  if (ThrRecMtxLock(&passport_->mutex) != THR_ERR_OK) {
    EPP_ERR(0, u"mutex lock failure\n");
    return EPP_RC_NOT_INIT;
  }
  locked_ = true;
  return EPP_RC_OK;
}

// The version is read under the mutex, since another thread may change it.
uint32_t PassportAccess::Open(const ZUL_UTF16 *fn, void *handle, uint8_t min_version) {
  if (uint32_t rc = OpenHandle(fn, handle)) return rc;
  return CheckVersion(fn, min_version);
}

uint32_t PassportAccess::OpenItems(const ZUL_UTF16 *fn, void *handle, uint16_t part_id) {
  if (uint32_t rc = OpenHandle(fn, handle)) return rc;
  if (part_id >= kVarPartIds) {
    EPP_ERR(0, u"%s: passed variable part id not valid\n", fn);
    return EPP_RC_INVALID;
  }
  return CheckVersion(fn, 3);
}

}  // namespace epp
