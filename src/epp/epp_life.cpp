// Creation, deletion and clearing of passports; the default passport; the version.
#include <cstddef>
#include <cstring>

#include "epp/epp_internal.h"
#include "epp/epp_trace.h"

namespace epp {

void InitCore(Passport *p) {
  constexpr size_t kFrom = offsetof(Passport, version);
  std::memset(reinterpret_cast<char *>(p) + kFrom, 0, sizeof(Passport) - kFrom);
  p->version = eppActVersion;
  p->component = eppActComponent;
}

void eppISetVersion(Passport *p, uint8_t version) { p->version = version; }

}  // namespace epp

using namespace epp;

uint32_t eppInit(void **handle) noexcept {
  static constexpr ZUL_UTF16 kFn[] = u"eppInit";
  if (uint32_t rc = CheckInit()) return rc;
  EPP_TRC(1, u"%s: creating new passport\n", kFn);
  if (handle == nullptr) {
    EPP_ERR(0, u"%s: passport handle not valid\n", kFn);
    return EPP_RC_INVALID;
  }
  auto *p = static_cast<Passport *>(eppAllocFunc(sizeof(Passport)));
  if (p == nullptr) {
    EPP_ERR(0, u"%s: unable to allocate passport\n", kFn);
    return EPP_RC_NOT_INIT;
  }
  std::memcpy(p->eyecatcher, kEyecatcher, sizeof kEyecatcher);
  if (ThrRecMtxInit(&p->mutex, u"EPPLIB") != THR_ERR_OK) {
    EPP_ERR(0, u"%s: unable to create passport mutex\n", kFn);
    Free(p);
    return EPP_RC_NOT_INIT;
  }
  InitCore(p);
  void *none = nullptr;
  eppDefaultHandle.compare_exchange_strong(none, p);
  *handle = p;
  return EPP_RC_OK;
}

uint32_t eppDelete(void *handle) noexcept {
  static constexpr ZUL_UTF16 kFn[] = u"eppDelete";
  if (uint32_t rc = CheckInit()) return rc;
  EPP_TRC(1, u"%s: deleting passport %p\n", kFn, handle);
  {
    PassportAccess p;
    if (uint32_t rc = p.Open(kFn, handle, 0)) return rc;
    if (handle == eppDefaultHandle.load()) return EPP_RC_OK;
    DeleteVarParts(p.get());
    std::memset(p->eyecatcher, 0, sizeof p->eyecatcher);
  }
  auto *p = static_cast<Passport *>(handle);
  ThrRecMtxDelete(&p->mutex);
  Free(p);
  return EPP_RC_OK;
}

uint32_t eppClear(void *handle) noexcept {
  static constexpr ZUL_UTF16 kFn[] = u"eppClear";
  if (uint32_t rc = CheckInit()) return rc;
  EPP_TRC(1, u"%s: clearing passport %p\n", kFn, handle);
  PassportAccess p;
  if (uint32_t rc = p.Open(kFn, handle, 0)) return rc;
  DeleteVarParts(p.get());
  InitCore(p.get());
  return EPP_RC_OK;
}

uint32_t eppGetDefault(void **handle) noexcept {
  static constexpr ZUL_UTF16 kFn[] = u"eppGetDefault";
  if (uint32_t rc = CheckInit()) return rc;
  EPP_TRC(2, u"%s: getting default passport\n", kFn);
  if (handle == nullptr) {
    EPP_ERR(0, u"%s: passport handle not valid\n", kFn);
    return EPP_RC_INVALID;
  }
  *handle = eppDefaultHandle.load();
  return EPP_RC_OK;
}

uint32_t eppSetDefault(void *handle) noexcept {
  static constexpr ZUL_UTF16 kFn[] = u"eppSetDefault";
  if (uint32_t rc = CheckInit()) return rc;
  EPP_TRC(2, u"%s: setting default passport to %p\n", kFn, handle);
  PassportAccess p;
  if (uint32_t rc = p.Open(kFn, handle, 0)) return rc;
  eppDefaultHandle.store(handle);
  return EPP_RC_OK;
}

uint32_t eppGetVersion(void *handle, uint8_t *version) noexcept {
  static constexpr ZUL_UTF16 kFn[] = u"eppGetVersion";
  if (uint32_t rc = CheckInit()) return rc;
  EPP_TRC(2, u"%s: getting version of passport %p\n", kFn, handle);
  PassportAccess p;
  if (uint32_t rc = p.Open(kFn, handle, 0)) return rc;
  if (version == nullptr) return EPP_RC_INVALID;
  *version = p->version;
  return EPP_RC_OK;
}

uint32_t eppSetVersion(void *handle, uint8_t version) noexcept {
  static constexpr ZUL_UTF16 kFn[] = u"eppSetVersion";
  if (uint32_t rc = CheckInit()) return rc;
  EPP_TRC(2, u"%s: setting version of passport %p to %u\n", kFn, handle, unsigned{version});
  PassportAccess p;
  if (uint32_t rc = p.Open(kFn, handle, 0)) return rc;
  eppISetVersion(p.get(), version);
  return EPP_RC_OK;
}
