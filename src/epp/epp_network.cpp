// The network form of the core part: needed size, serialisation and parsing.
#include <cstring>

#include "epp/epp_bytes.h"
#include "epp/epp_internal.h"
#include "epp/epp_trace.h"
#include "epp/epp_wire.h"

namespace epp {

int eppINeededNetworkSize(const Passport *p) {
  switch (p->version) {
    case 0:
      return 0;
    case 1:
      return EPP_NETWORK_SIZE_V1;
    case 2:
      return EPP_NETWORK_SIZE_V2;
    default:
      return static_cast<int16_t>(wire::kVarParts + wire::VarPartsSize(p) + wire::kTrailer);
  }
}

namespace {

using namespace wire;

// Bytes the layout of p's version takes: a version 0 passport is written as version 1.
size_t LayoutSize(const Passport *p, int needed) {
  return p->version <= 1 ? EPP_NETWORK_SIZE_V1 : static_cast<size_t>(needed);
}

void WriteCore(const Passport *p, ZUL_RAW *out) {
  std::memcpy(out, kEyecatcher, sizeof kEyecatcher);
  out[kVersion] = p->version;
  std::memcpy(out + kTraceFlag, p->trace_flag, sizeof p->trace_flag);
  PutTextField(out + kComponentName, EPP_COMPONENT_NAME_LEN, p->component_name);
  PutU16(out + kService, p->service);
  PutTextField(out + kUserId, EPP_USER_ID_LEN, p->user_id);
  PutTextField(out + kAction, EPP_ACTION_LEN, p->action);
  PutU16(out + kActionType, p->action_type);
  PutTextField(out + kPreComponentName, EPP_PRE_COMPONENT_NAME_LEN, p->pre_component_name);
}

// Writes what follows the core; answers the total length.
size_t WriteTail(const Passport *p, ZUL_RAW *out) {
  size_t end;
  if (p->version <= 1) {
    std::memset(out + kTransactionId, 0, 7);
    end = kTransactionId + 7;
  } else {
    PutTextField(out + kTransactionId, EPP_TRANSACTION_ID_LEN, p->transaction_id);
    end = kClient;
  }
  if (p->version >= 3) {
    PutTextField(out + kClient, EPP_CLIENT_LEN, p->client);
    PutU16(out + kComponent, p->component);
    std::memcpy(out + kRootContextId, p->root_context_id, EPP_UUID_LEN);
    std::memcpy(out + kConnectionId, p->connection_id, EPP_UUID_LEN);
    PutU32(out + kConnectionCounter, p->connection_counter);
    PutU16(out + kVarPartCount, p->var_part_count);
    PutU16(out + kVarPartOffset, kVarParts);
    end = kVarParts + WriteVarParts(p, out + kVarParts);
  }
  std::memcpy(out + end, kEyecatcher, sizeof kEyecatcher);
  return end + kTrailer;
}

}  // namespace
}  // namespace epp

using namespace epp;
using namespace epp::wire;

uint32_t eppNeededNetworkSize(void *handle, uint32_t *size) noexcept {
  static constexpr ZUL_UTF16 kFn[] = u"eppNeededNetworkSize";
  if (uint32_t rc = CheckInit()) return rc;
  EPP_TRC(1, u"%s: computing network size of passport %p\n", kFn, handle);
  PassportAccess p;
  if (uint32_t rc = p.Open(kFn, handle, 0)) return rc;
  if (size == nullptr) return EPP_RC_INVALID;
  *size = static_cast<uint32_t>(eppINeededNetworkSize(p.get()));
  return EPP_RC_OK;
}

uint32_t eppSerialize(void *handle, ZUL_RAW *buffer, uint32_t size, uint32_t *used) noexcept {
  static constexpr ZUL_UTF16 kFn[] = u"eppSerialize";
  if (uint32_t rc = CheckInit()) return rc;
  EPP_TRC(1, u"%s: serializing passport %p into %p (%lu bytes)\n", kFn, handle,
          static_cast<void *>(buffer), static_cast<unsigned long>(size));
  PassportAccess p;
  if (uint32_t rc = p.Open(kFn, handle, 0)) return rc;
  if (buffer == nullptr || used == nullptr) return EPP_RC_INVALID;
  int needed = eppINeededNetworkSize(p.get());
  size_t layout = LayoutSize(p.get(), needed);
  if (needed > static_cast<int64_t>(size) || layout > size) {
    EPP_ERR(1, u"%s: supplied output area too small (%lu < %lu)\n", kFn,
            static_cast<unsigned long>(size), static_cast<unsigned long>(layout));
    return EPP_RC_AREA_TOO_SMALL;
  }
  WriteCore(p.get(), buffer);
  size_t total = WriteTail(p.get(), buffer);
  PutU16(buffer + kTotalLength, static_cast<uint16_t>(total));
  *used = static_cast<uint32_t>(total);
  return EPP_RC_OK;
}

namespace {

constexpr ZUL_UTF16 kDeserialize[] = u"eppDeserialize";
constexpr int kDestinationFull = 32;

// Reads one text field into its storage of width + 1 units; the conversion may run on past the
// field, up to the stream's end. Answers 0, or 10 when it fails otherwise than by filling.
uint32_t ReadText(const ZUL_RAW *field, const ZUL_RAW *end, ZUL_UTF16 *storage, size_t width) {
  size_t units = 0;
  int rc = GetTextUpTo(field, end, storage, width + 1, &units);
  return rc == 0 || rc == kDestinationFull ? EPP_RC_OK : EPP_RC_CONVERSION;
}

// Steps 2 to 5: length, eyecatchers and total length of the stream. Answers 0 and the total.
uint32_t CheckStream(const ZUL_RAW *bytes, uint32_t size, int *total) {
  if (size < EPP_NETWORK_SIZE_V1) {
    EPP_ERR(0, u"%s: data stream invalid, not long enough (%lu)\n", kDeserialize,
            static_cast<unsigned long>(size));
    return EPP_RC_INVALID;
  }
  if (std::memcmp(bytes, kEyecatcher, sizeof kEyecatcher) != 0) {
    EPP_ERR(0, u"%s: data stream invalid, could not find valid leading eyecatcher\n", kDeserialize);
    return EPP_RC_INVALID;
  }
  // Signed, as the format's lengths are: 0x8000 and above pass this test as negative numbers.
  *total = GetI16(bytes + kTotalLength);
  if (*total > static_cast<int64_t>(size)) {
    EPP_ERR(0, u"%s: inconsistend length of passport and bytestream (%lu > %lu)", kDeserialize,
            static_cast<unsigned long>(*total), static_cast<unsigned long>(size));
    return EPP_RC_INVALID;
  }
  // A trailer that would start before the stream finds no eyecatcher: nothing before the stream
  // is ours to read, and this stands for it as zero bytes would.
  if (*total < static_cast<int>(kTrailer) ||
      std::memcmp(bytes + *total - kTrailer, kEyecatcher, sizeof kEyecatcher) != 0) {
    EPP_ERR(0, u"%s: data stream invalid, could not find valid trailing eyecatcher\n",
            kDeserialize);
    return EPP_RC_INVALID;
  }
  return EPP_RC_OK;
}

uint32_t NotLongEnough(int total) {
  EPP_ERR(0, u"%s: data stream invalid, not long enough (%lu)\n", kDeserialize,
          static_cast<unsigned long>(static_cast<uint16_t>(total)));
  return EPP_RC_INVALID;
}

// Steps 7 to 12 into a new passport.
uint32_t ReadFields(void *handle, const ZUL_RAW *bytes, uint32_t size, int total) {
  auto *p = static_cast<Passport *>(handle);
  const ZUL_RAW *end = bytes + size;
  uint8_t version = bytes[kVersion] > 3 ? 3 : bytes[kVersion];
  if (version != eppActVersion) eppISetVersion(p, version);
  std::memcpy(p->trace_flag, bytes + kTraceFlag, sizeof p->trace_flag);
  uint32_t rc = ReadText(bytes + kComponentName, end, p->component_name, EPP_COMPONENT_NAME_LEN);
  if (rc != EPP_RC_OK) return rc;
  p->service = GetU16(bytes + kService);
  if ((rc = ReadText(bytes + kUserId, end, p->user_id, EPP_USER_ID_LEN))) return rc;
  if ((rc = ReadText(bytes + kAction, end, p->action, EPP_ACTION_LEN))) return rc;
  p->action_type = GetU16(bytes + kActionType);
  rc = ReadText(bytes + kPreComponentName, end, p->pre_component_name, EPP_PRE_COMPONENT_NAME_LEN);
  if (rc != EPP_RC_OK) return rc;

  if (version < 2) return EPP_RC_OK;
  if (total <= static_cast<int>(kClient) + 3) return NotLongEnough(total);
  rc = ReadText(bytes + kTransactionId, end, p->transaction_id, EPP_TRANSACTION_ID_LEN);
  if (rc != EPP_RC_OK || version == 2) return rc;

  if (total <= static_cast<int>(kVarParts) + 3) return NotLongEnough(total);
  if ((rc = ReadText(bytes + kClient, end, p->client, EPP_CLIENT_LEN))) return rc;
  p->component = GetU16(bytes + kComponent);
  std::memcpy(p->root_context_id, bytes + kRootContextId, EPP_UUID_LEN);
  std::memcpy(p->connection_id, bytes + kConnectionId, EPP_UUID_LEN);
  p->connection_counter = GetU32(bytes + kConnectionCounter);
  int count = GetI16(bytes + kVarPartCount);
  if (count <= 0) return EPP_RC_OK;
  return ReadVarParts(handle, bytes, size, total, count);
}

}  // namespace

uint32_t eppDeserialize(const ZUL_RAW *bytes, uint32_t size, void **handle) noexcept {
  if (uint32_t rc = CheckInit()) return rc;
  EPP_TRC(1, u"%s: deserializing passport from %p (%lu bytes)\n", kDeserialize,
          static_cast<const void *>(bytes), static_cast<unsigned long>(size));
  if (handle == nullptr || bytes == nullptr) {
    EPP_ERR(0, u"%s: data stream pointer invalid\n", kDeserialize);
    return EPP_RC_INVALID;
  }
  *handle = nullptr;
  int total = 0;
  if (uint32_t rc = CheckStream(bytes, size, &total)) return rc;
  void *made = nullptr;
  if (eppInit(&made) != EPP_RC_OK) {
    EPP_ERR(0, u"%s: unable to create new passport\n", kDeserialize);
    return EPP_RC_NOT_INIT;
  }
  uint32_t rc;
  {
    // The passport is nobody else's yet; the lock is for the item calls' sake only.
    PassportAccess p;
    rc = p.Open(kDeserialize, made, 0);
    if (rc == EPP_RC_OK) rc = ReadFields(made, bytes, size, total);
  }
  if (rc != EPP_RC_OK) {
    EPP_ERR(1, u"%s: deserialization failed (rc=%d)", kDeserialize, static_cast<int>(rc));
    eppDelete(made);
    return rc;
  }
  *handle = made;
  return EPP_RC_OK;
}
