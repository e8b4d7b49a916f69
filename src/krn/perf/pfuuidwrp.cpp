// Creation of identifiers: libuuid's time-based ones under the creation lock, checked for version
// and variant, and re-ordered into this system's layout.
#include <uuid/uuid.h>

#include <cstring>

#include "krn/perf/pfuuid.h"
#include "zul_thr.h"

namespace {

// Serialises uuid_generate_time. Zeroed memory: created by the first lock.
THR_CS creation_cs = {};

// Version 1 (top four bits of byte 6 are 0001), variant 10 (top two bits of byte 8).
inline bool IsVersion1(const ZUL_RAW *uuid) {
  return (uuid[8] & 0xC0) == 0x80 && (uuid[6] & 0xF0) == 0x10;
}

int GetWith(pfuuid::Generator generate, ZUL_RAW *out) {
  generate(out);
  return IsVersion1(out) ? PFUUID_OK : PFUUID_ERR_VERSION;
}

}  // namespace

namespace pfuuid {

// Node first, then the time's bits from the highest down, so that identifiers made in close
// sequence differ only in their trailing bytes. All values are taken in 8 bits.
void order_bytes(ZUL_RAW *out, const ZUL_RAW *in) noexcept {
  std::memcpy(out, in + 10, 6);
  out[6] = static_cast<ZUL_RAW>(in[6] << 4 | in[7] >> 4);
  out[7] = static_cast<ZUL_RAW>((in[7] & 0x0F) | ((in[8] & 0x20) != 0 ? 0xE0 : 0xD0));
  out[8] = static_cast<ZUL_RAW>(in[4] >> 2 | 0x80);
  out[9] = static_cast<ZUL_RAW>(in[5] >> 3 | (in[4] & 0x03) << 5 | 0x80);
  out[10] = static_cast<ZUL_RAW>(in[5] << 5 | in[0] >> 3);
  out[11] = static_cast<ZUL_RAW>(in[0] << 5 | in[1] >> 3);
  out[12] = static_cast<ZUL_RAW>(in[1] << 5 | in[2] >> 3);
  out[13] = static_cast<ZUL_RAW>(in[2] << 5 | in[3] >> 3);
  out[14] = static_cast<ZUL_RAW>(in[3] << 5 | (in[8] & 0x1F));
  out[15] = in[9];
}

int Create(Generator generate, ZUL_RAW *out, int count, bool lock, bool reorder) noexcept {
  if (out == nullptr) return PFUUID_ERR_ARG;
  if (count == 1) {
    // The common case: generated on the stack, re-ordered straight into out, outside the lock.
    ZUL_RAW raw[PFUUID_LEN];
    if (lock && ThrCSLock(&creation_cs) != THR_ERR_OK) return PFUUID_ERR_LOCK;
    generate(raw);
    if (lock) ThrCSUnlock(&creation_cs);
    bool valid = IsVersion1(raw);
    if (valid && reorder) {
      order_bytes(out, raw);
    } else {
      std::memcpy(out, raw, PFUUID_LEN);
    }
    return valid ? PFUUID_OK : PFUUID_ERR_VERSION;
  }
  if (lock && ThrCSLock(&creation_cs) != THR_ERR_OK) return PFUUID_ERR_LOCK;
  int rc = PFUUID_OK;
  for (int i = 0; i < count; ++i) rc = GetWith(generate, out + i * PFUUID_LEN);
  if (lock) ThrCSUnlock(&creation_cs);
  // Re-ordering needs no lock. A failed check leaves the raw bytes, so the test is repeated here.
  for (int i = 0; reorder && i < count; ++i) {
    ZUL_RAW *uuid = out + i * PFUUID_LEN;
    if (!IsVersion1(uuid)) continue;
    ZUL_RAW raw[PFUUID_LEN];
    std::memcpy(raw, uuid, PFUUID_LEN);
    order_bytes(uuid, raw);
  }
  return rc;
}

}  // namespace pfuuid

int check_variant_version(const ZUL_RAW *uuid) noexcept {
  return uuid != nullptr && IsVersion1(uuid);
}

int pfget_uuid(ZUL_RAW *out) noexcept {
  if (out == nullptr) return PFUUID_ERR_ARG;
  return GetWith(uuid_generate_time, out);
}

int pfcreate_zul_uuid(ZUL_RAW *out) noexcept {
  return pfuuid::Create(uuid_generate_time, out, 1, true, true);
}

int pfcreate_zul_uuid_save(ZUL_RAW *out) noexcept { return pfcreate_zul_uuid(out); }

int pfcreate_zul_uuids(ZUL_RAW *out, int count) noexcept {
  return pfuuid::Create(uuid_generate_time, out, count, true, true);
}

int pfcreate_zul_uuid_spec(ZUL_RAW *out, int lock, int reorder) noexcept {
  return pfuuid::Create(uuid_generate_time, out, 1, lock != 0, reorder != 0);
}

int pfcreate_zul_uuid_force(ZUL_RAW *out) noexcept {
  return pfuuid::CreateForced(uuid_generate_time, out);
}
