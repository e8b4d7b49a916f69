// The block of 21 strings: the eyecatcher test, splitting into fields and joining fields.
#include <cstring>

#include "trace/err_state.h"
#include "zul_u16string.h"

namespace {

constexpr size_t kEyecatcherUnits = sizeof err::kEyecatcher / sizeof(ZUL_UTF16);  // with its 0

}  // namespace

namespace err {

bool EyecatchersIntact(const ZUL_UTF16 *block, size_t units) {
  if (units < kEyecatcherUnits) return false;
  return memcmpU16(block, kEyecatcher, kEyecatcherUnits) == 0 &&
         memcmpU16(block + units - kEyecatcherUnits, kEyecatcher, kEyecatcherUnits) == 0;
}

void DumpBadBlock(const void *data, size_t bytes) {
  if (ct_level >= 2) PrBinAll(tf, u"bad err info", data, bytes, 0);
}

int SplitFields(const ZUL_UTF16 *block, size_t units, const ZUL_UTF16 *fields[ERR_FIELD_COUNT]) {
  int terminators = 0;
  const ZUL_UTF16 *start = block;
  for (size_t i = 0; i < units; ++i) {
    if (block[i] != 0) continue;
    if (terminators < ERR_FIELD_COUNT) fields[terminators] = start;
    ++terminators;
    start = block + i + 1;
  }
  for (int f = terminators; f < ERR_FIELD_COUNT; ++f) fields[f] = kEmpty;
  return terminators;
}

size_t JoinFields(const ZUL_UTF16 *const fields[ERR_FIELD_COUNT], ZUL_UTF16 *out) {
  size_t lengths[ERR_FIELD_COUNT];
  size_t total = 0;
  for (int f = 0; f < ERR_FIELD_COUNT; ++f) {
    lengths[f] = strlenU16(fields[f]);
    total += lengths[f] + 1;
  }
  if (total > kMaxUnits) return total;
  for (int f = 0; f < ERR_FIELD_COUNT; ++f) {
    std::memmove(out, fields[f], (lengths[f] + 1) * sizeof(ZUL_UTF16));
    out += lengths[f] + 1;
  }
  return total;
}

int CheckBlock(const ERR_THR_INFO *info, const ZUL_UTF16 *no_info) {
  if (info == nullptr || info->length == 0) {
    DPTRC(2, tf, u"%s", no_info);
    return ERR_NO_INFO;
  }
  if (info->length > kMaxUnits) {
    DPTRC(2, tf, u"ErrIGet: bad length (%d)\n", static_cast<int>(info->length));
    return ERR_BAD_PARAM;
  }
  if (!EyecatchersIntact(info->block, info->length)) {
    DPTRC_ERR(tf, u"ErrIGet: eyecatcher destroyed");
    DumpBadBlock(info->block, info->length * sizeof(ZUL_UTF16));
    return ERR_EYECATCHER;
  }
  const ZUL_UTF16 *fields[ERR_FIELD_COUNT];
  int terminators = SplitFields(info->block, info->length, fields);
  if (terminators < ERR_FIELD_COUNT) {
    DPTRC_ERR(tf, u"ErrIGet: error info incomplete (%d fields only)", terminators);
    return ERR_INCOMPLETE;
  }
  return ERR_OK;
}

}  // namespace err
