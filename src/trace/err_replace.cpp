// ErrReplace: one field of the block changed, the block rebuilt around it.
#include <cstring>

#include "trace/err_format.h"
#include "trace/err_state.h"
#include "zul_u16printf.h"

namespace {

// The new text of a field whose argument is a format, at most kMaxUnits - 1 units.
void FormatField(va_list *args, ZUL_UTF16 *out) {
  const ZUL_UTF16 *format = va_arg(*args, const ZUL_UTF16 *);
  out[0] = 0;
  if (format != nullptr) vsnprintfU16(out, err::kMaxUnits, format, *args);
}

}  // namespace

int ErrReplace(int field, ...) noexcept {
  ERR_THR_INFO *info = err::Info(false);
  int rc = err::CheckBlock(info, u"ErrReplace: no error info available\n");
  if (rc != ERR_OK) return rc;
  ZUL_UTF16 copy[err::kMaxUnits];
  std::memcpy(copy, info->block, info->length * sizeof(ZUL_UTF16));
  const ZUL_UTF16 *fields[ERR_FIELD_COUNT];
  err::SplitFields(copy, info->length, fields);

  ZUL_UTF16 value[err::kMaxUnits + 1];
  ZUL_UTF16 key[ERR_MAX_KEY_LENGTH + 1];
  ZUL_UTF16 vargs[err::kFormatUnits];
  ZUL_UTF16 errno_desc[128];
  va_list args;
  va_start(args, field);
  switch (field) {
    case ERR_FLD_TEXT:
    case ERR_FLD_DETAIL: {
      ZUL_UTF16 format[err::kMaxUnits + 1];
      err::CopyBounded(va_arg(args, const ZUL_UTF16 *), format, err::kMaxUnits);
      bool keyed = err::TakeKey(format, info->key_length, key);
      va_list walk;
      va_copy(walk, args);
      err::ArgumentTexts(format, &walk, vargs, err::kFormatUnits);
      va_end(walk);
      if (!keyed) vargs[0] = 0;
      vsnprintfU16(value, err::kMaxUnits, format, args);
      int key_field = field == ERR_FLD_TEXT ? ERR_FLD_DESCR_MSG_NO : ERR_FLD_DETAIL_MSG_NO;
      fields[key_field] = key;
      fields[key_field + 1] = vargs;
      break;
    }
    case ERR_FLD_RC:
    case ERR_FLD_COUNTER:
      snprintfU16(value, err::kMaxUnits, u"%d", va_arg(args, int));
      break;
    case ERR_FLD_ERRNO: {
      int n = va_arg(args, int);
      snprintfU16(value, err::kMaxUnits, u"%d", n);
      fields[ERR_FLD_ERRNO_TEXT] = ErrPrErrno2(n, errno_desc, 128);
      break;
    }
    case ERR_FLD_COMPONENT:
    case ERR_FLD_RELEASE:
    case ERR_FLD_VERSION:
    case ERR_FLD_MODULE:
    case ERR_FLD_LINE:
    case ERR_FLD_SYSCALL:
    case ERR_FLD_ERRNO_TEXT:
    case ERR_FLD_DESCR_VARGS:
    case ERR_FLD_DETAIL_VARGS:
      err::CopyBounded(va_arg(args, const ZUL_UTF16 *), value, err::kMaxUnits);
      break;
    case ERR_FLD_LOCATION:
    case ERR_FLD_DESCR_MSG_NO:
    case ERR_FLD_DETAIL_MSG_NO:
      FormatField(&args, value);
      break;
    default:
      va_end(args);
      return ERR_UNKNOWN_FIELD;
  }
  va_end(args);
  fields[field] = value;
  size_t total = err::JoinFields(fields, info->block);
  if (total > err::kMaxUnits) {
    DPTRC_ERR(tf, u"ErrReplace: error info too large");
    return ERR_AREA;
  }
  info->length = static_cast<uint32_t>(total);
  return ERR_OK;
}
