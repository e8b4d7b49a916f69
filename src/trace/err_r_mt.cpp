// The per-thread record of the error information: its key, creation and release, and the small
// accessors of its state.
#include <cstdlib>
#include <cstring>

#include "trace/err_state.h"
#include "zul_thr.h"
#include "zul_u16printf.h"
#include "zul_u16string.h"

namespace {

THR_KEY info_key = THR_INVALID_KEY;

bool EnsureKey() {
  if (__atomic_load_n(&info_key, __ATOMIC_ACQUIRE) != THR_INVALID_KEY) return true;
  int rc = ThrKeyGet(&info_key, ErrFree);
  return rc == THR_ERR_OK || rc == THR_ERR_EXISTS;
}

}  // namespace

namespace err {

const ZUL_UTF16 *const kLabels[ERR_FIELD_COUNT] = {u"",
                                                   u"",
                                                   u"ERROR",
                                                   u"RC",
                                                   u"COMPONENT",
                                                   u"RELEASE",
                                                   u"VERSION",
                                                   u"MODULE",
                                                   u"LINE",
                                                   u"DETAIL",
                                                   u"TIME",
                                                   u"SYSTEM CALL",
                                                   u"ERRNO",
                                                   u"ERRNO TEXT",
                                                   u"COUNTER",
                                                   u"LOCATION",
                                                   u"DESCR MSG NO",
                                                   u"DESCR VARGS",
                                                   u"DETAIL MSG NO",
                                                   u"DETAIL VARGS",
                                                   u""};

ERR_THR_INFO *Info(bool create) {
  if (!EnsureKey()) return nullptr;
  auto *info = static_cast<ERR_THR_INFO *>(ThrKeyVarGet(&info_key));
  if (info != nullptr || !create) return info;
  info = static_cast<ERR_THR_INFO *>(std::calloc(1, sizeof(ERR_THR_INFO)));
  if (info == nullptr) return nullptr;
  info->key_length = 5;
  if (ThrKeyVarSet(&info_key, info) != THR_ERR_OK) {
    std::free(info);
    return nullptr;
  }
  return info;
}

ERR_THR_INFO *InfoWithBlock() {
  ERR_THR_INFO *info = Info(true);
  if (info == nullptr) return nullptr;
  if (info->block == nullptr) {
    info->block = static_cast<ZUL_UTF16 *>(std::calloc(kMaxUnits, sizeof(ZUL_UTF16)));
    if (info->block == nullptr) return nullptr;
  }
  return info;
}

void NumberText(int n, ZUL_UTF16 *buf, size_t size) {
  buf[0] = 0;
  if (n != 0) snprintfU16(buf, size, u"%d", n);
}

}  // namespace err

void ErrFree(void *record) noexcept {
  ERR_THR_INFO *own = err::Info(false);
  auto *info = record != nullptr ? static_cast<ERR_THR_INFO *>(record) : own;
  if (info == nullptr) return;
  if (info == own) ThrKeyVarSet(&info_key, nullptr);
  if (info->msg_stream != nullptr) std::fclose(info->msg_stream);
  std::free(info->block);
  std::free(info->location);
  std::free(info->msg_file);
  std::free(info->merged_text);
  std::free(info->merged_detail);
  std::free(info);
}

void ErrProExit() noexcept {
  if (__atomic_load_n(&info_key, __ATOMIC_ACQUIRE) == THR_INVALID_KEY) return;
  ErrFree(nullptr);
  ThrKeyDel(&info_key);
}

void ErrClear() noexcept {
  ERR_THR_INFO *info = err::Info(false);
  if (info == nullptr) return;
  if (info->block != nullptr) std::memset(info->block, 0, err::kMaxUnits * sizeof(ZUL_UTF16));
  info->length = 0;
}

int ErrIsAInfo() noexcept {
  ERR_THR_INFO *info = err::Info(false);
  return info != nullptr && info->length != 0 ? 1 : 0;
}

int ErrGetAttr(ZUL_UTF16 **block_out, size_t *length_out) noexcept {
  ERR_THR_INFO *info = err::Info(false);
  if (info == nullptr || info->length == 0) return ERR_NO_INFO;
  if (info->length > err::kMaxUnits) return ERR_BAD_PARAM;  // set by a block that didn't fit
  if (block_out != nullptr) *block_out = info->block;
  if (length_out != nullptr) *length_out = info->length;
  return ERR_OK;
}

int ErrSetLength(size_t units) noexcept {
  if (units > err::kMaxUnits) {
    DPTRC_ERR(tf, u"ErrSetLength: bad parameter len (%u)", static_cast<unsigned>(units));
    return ERR_BAD_PARAM;
  }
  ERR_THR_INFO *info = err::InfoWithBlock();
  if (info == nullptr) return ERR_NO_MEMORY;
  info->length = static_cast<uint32_t>(units);
  return ERR_OK;
}

int ErrSetMsgKey(int n) noexcept {
  if (n < 1 || n > ERR_MAX_KEY_LENGTH) return ERR_BAD_PARAM;
  ERR_THR_INFO *info = err::Info(true);
  if (info == nullptr) return ERR_NO_MEMORY;
  info->key_length = static_cast<uint32_t>(n);
  return ERR_OK;
}

int ErrSetMyLocation(const ZUL_UTF16 *format, ...) noexcept {
  ERR_THR_INFO *info = err::Info(true);
  if (info == nullptr) return ERR_NO_MEMORY;
  if (info->location == nullptr) {
    info->location = static_cast<ZUL_UTF16 *>(std::calloc(err::kMaxUnits, sizeof(ZUL_UTF16)));
    if (info->location == nullptr) return ERR_NO_MEMORY;
  }
  info->location[0] = 0;
  if (format == nullptr) return ERR_OK;
  va_list args;
  va_start(args, format);
  vsnprintfU16(info->location, err::kMaxUnits, format, args);
  va_end(args);
  return ERR_OK;
}

const ZUL_UTF16 *ErrGetMyLocation() noexcept {
  ERR_THR_INFO *info = err::Info(false);
  return info != nullptr && info->location != nullptr ? info->location : err::kEmpty;
}

int ErrZulDllRelease(ZUL_UTF16 *buffer, size_t size) noexcept {
  if (buffer == nullptr || size < sizeof err::kRelease / sizeof(ZUL_UTF16)) return ERR_AREA;
  strcpyU16(buffer, err::kRelease);
  return ERR_OK;
}
