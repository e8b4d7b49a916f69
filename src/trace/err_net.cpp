// Copies of the block: into and out of the thread's record, and to and from the network form.
#include <cstring>

#include "trace/err_state.h"
#include "zul_u16conv.h"

namespace {

// "*ERR*" in EBCDIC: a peer on an EBCDIC system sends its block in that code.
constexpr ZUL_RAW kEbcdicEyecatcher[] = {0x5C, 0xC5, 0xD9, 0xD9, 0x5C};

}  // namespace

int ErrCpTo(const ZUL_UTF16 *block, size_t units) noexcept {
  if (block == nullptr) return ERR_BAD_PARAM;
  if (!err::EyecatchersIntact(block, units)) {
    DPTRC_ERR(tf, u"ErrCpTo: bad err info (eyecatcher destroyed)");
    size_t shown = units < err::kMaxUnits ? units : err::kMaxUnits;
    err::DumpBadBlock(block, shown * sizeof(ZUL_UTF16));
    return ERR_EYECATCHER;
  }
  if (units > err::kMaxUnits) {
    DPTRC_ERR(tf, u"ErrCpTo: error info too large (%d bytes)",
              static_cast<int>(units * sizeof(ZUL_UTF16)));
    return ERR_AREA;
  }
  ERR_THR_INFO *info = err::InfoWithBlock();
  if (info == nullptr) return ERR_NO_MEMORY;
  std::memcpy(info->block, block, units * sizeof(ZUL_UTF16));
  info->length = static_cast<uint32_t>(units);
  ++info->counter;
  ErrReplace(ERR_FLD_COUNTER, static_cast<int>(info->counter));
  return ERR_OK;
}

int ErrCpFrom(ZUL_UTF16 *buffer, size_t units) noexcept {
  ERR_THR_INFO *info = err::Info(false);
  if (info == nullptr || info->length == 0) return ERR_NO_INFO;
  if (info->length > err::kMaxUnits || buffer == nullptr) return ERR_BAD_PARAM;
  if (units < info->length) {
    DPTRC_ERR(tf, u"ErrCpFrom: user error area too small (%d bytes)",
              static_cast<int>(units * sizeof(ZUL_UTF16)));
    return ERR_AREA;
  }
  std::memcpy(buffer, info->block, info->length * sizeof(ZUL_UTF16));
  return ERR_OK;
}

int ErrCpIntToNet2(ZUL_RAW *buffer, size_t *length_out, size_t size, const ZUL_UTF16 *block,
                   size_t units) noexcept {
  if (buffer == nullptr || length_out == nullptr || block == nullptr) return ERR_BAD_PARAM;
  *length_out = 0;
  size_t written = 0;
  if (UcnToUtf8nFastOverlap_2(buffer, size, &written, block, units) != 0 || written > size)
    return ERR_CONVERSION;
  *length_out = written;
  return ERR_OK;
}

int ErrCpIntToNet(ZUL_RAW *buffer, size_t *length_out, size_t size) noexcept {
  ERR_THR_INFO *info = err::Info(false);
  if (info == nullptr || info->length == 0) return ERR_NO_INFO;
  if (info->length > err::kMaxUnits) return ERR_BAD_PARAM;
  return ErrCpIntToNet2(buffer, length_out, size, info->block, info->length);
}

int ErrCpNetToInt(const ZUL_RAW *buffer, size_t length) noexcept {
  if (length > err::kMaxUnits) {
    DPTRC_ERR(tf, u"ErrCpNetToInt2: internal area too small (%d<%d)",
              static_cast<int>(err::kMaxUnits), static_cast<int>(length));
    return ERR_AREA;
  }
  if (buffer == nullptr && length != 0) return ERR_BAD_PARAM;
  ERR_THR_INFO *info = err::InfoWithBlock();
  if (info == nullptr) return ERR_NO_MEMORY;
  if (length > 4 && std::memcmp(buffer, kEbcdicEyecatcher, sizeof kEbcdicEyecatcher) == 0) {
    E8nToUcn(info->block, reinterpret_cast<const char *>(buffer), length);
    info->length = static_cast<uint32_t>(length);
  } else {
    size_t units = 0;
    if (length != 0 &&
        Utf8nToUcnFastOverlap_2(info->block, err::kMaxUnits, &units, buffer, length) != 0) {
      info->length = 0;
      return ERR_CONVERSION;
    }
    info->length = static_cast<uint32_t>(units);
  }
  if (!err::EyecatchersIntact(info->block, info->length)) {
    DPTRC_ERR(tf, u"ErrCpNetToInt: bad err info (eyecatcher destroyed)");
    err::DumpBadBlock(info->block, info->length * sizeof(ZUL_UTF16));
    return ERR_EYECATCHER;
  }
  return ERR_OK;
}
