// Setting the error information: ErrSet, ErrSetSys and the log entry of the latter.
#include <cstring>
#include <ctime>

#include "trace/err_format.h"
#include "trace/err_state.h"
#include "zul_contloct.h"
#include "zul_thr.h"
#include "zul_u16printf.h"
#include "zul_u16string.h"

namespace {

// The rows traced for a block that doesn't fit, in their order.
constexpr int kOversizeRows[] = {
    ERR_FLD_LOCATION,     ERR_FLD_TEXT,         ERR_FLD_TIME,        ERR_FLD_RELEASE,
    ERR_FLD_COMPONENT,    ERR_FLD_VERSION,      ERR_FLD_RC,          ERR_FLD_MODULE,
    ERR_FLD_LINE,         ERR_FLD_DETAIL,       ERR_FLD_SYSCALL,     ERR_FLD_ERRNO,
    ERR_FLD_ERRNO_TEXT,   ERR_FLD_DESCR_MSG_NO, ERR_FLD_DESCR_VARGS, ERR_FLD_DETAIL_MSG_NO,
    ERR_FLD_DETAIL_VARGS, ERR_FLD_COUNTER};

// The local time in asctime form, without its newline.
void TimeText(ZUL_UTF16 *out, size_t size) {
  time_t now = time(nullptr);
  struct tm tm;
  ZUL_UTF16 text[32];
  if (localtime_cont_r(&now, &tm) == nullptr) {
    strcpy_sU16(out, size, u"error in ThrLocaltime");
  } else if (ThrAsctime(&tm, text) == nullptr) {
    strcpy_sU16(out, size, u"error in ThrAsctime");
  } else {
    size_t n = strlenU16(text);
    if (n > 0 && text[n - 1] == u'\n') text[n - 1] = 0;
    strcpy_sU16(out, size, text);
  }
}

void TraceOversize(const ZUL_UTF16 *const fields[ERR_FIELD_COUNT]) {
  DPTRC_ERR(tf, u"ErrISetSys: error info too large");
  if (ct_level < 1) return;
  DpLock();
  EntLev = 1;
  for (int f : kOversizeRows) DpTrcNoThr(tf, u"%-12.12s%s\n", err::kLabels[f], fields[f]);
  EntLev = 2;
  DpUnlock();
}

void LogEntry(const ZUL_UTF16 *const fields[ERR_FIELD_COUNT], int line, int errno_value) {
  const ZUL_UTF16 *detail = fields[ERR_FLD_DETAIL];
  const ZUL_UTF16 *syscall = fields[ERR_FLD_SYSCALL];
  const ZUL_UTF16 *module = fields[ERR_FLD_MODULE];
  DpLock();
  EntLev = 1;
  DpTrc(tf, u"***LOG Q0I=> %s: %s ", detail, syscall);
  if (errno_value != 0) DpTrcNoThr(tf, u"(%d: %s) ", errno_value, fields[ERR_FLD_ERRNO_TEXT]);
  DpTrcNoThr(tf, u"[%s %d]\n", module, line);
  CTrcSaveLocation(module, line);
  DpSLogFun(u"Q0I", detail, syscall, u"%14.14s%3d", syscall, errno_value);
  EntLev = 2;
  DpUnlock();
}

// What one error consists of, before it becomes a block.
struct ErrorParts {
  const ZUL_UTF16 *component;
  int version;
  const ZUL_UTF16 *module;
  int line;
  int log;
  const ZUL_UTF16 *text;
  int rc;
  const ZUL_UTF16 *detail;
  const ZUL_UTF16 *syscall;
  int errno_value;
};

int SetError(const ErrorParts &e, va_list args) {
  ERR_THR_INFO *info = err::InfoWithBlock();
  if (info == nullptr) return ERR_NO_MEMORY;

  ZUL_UTF16 text[err::kMaxUnits + 1], detail[err::kMaxUnits + 1];
  err::CopyBounded(e.text, text, err::kMaxUnits);
  err::CopyBounded(e.detail, detail, err::kMaxUnits);
  ZUL_UTF16 text_key[ERR_MAX_KEY_LENGTH + 1], detail_key[ERR_MAX_KEY_LENGTH + 1];
  bool text_keyed = err::TakeKey(text, info->key_length, text_key);
  bool detail_keyed = err::TakeKey(detail, info->key_length, detail_key);

  ZUL_UTF16 text_args[err::kFormatUnits], detail_args[err::kFormatUnits];
  va_list walk;
  va_copy(walk, args);
  err::ArgumentTexts(text, &walk, text_args, err::kFormatUnits);
  err::ArgumentTexts(detail, &walk, detail_args, err::kFormatUnits);
  va_end(walk);
  if (!text_keyed) text_args[0] = 0;
  if (!detail_keyed) detail_args[0] = 0;

  ZUL_UTF16 final_text[err::kFormatUnits], final_detail[err::kFormatUnits];
  err::FormatPair(text, detail, args, final_text, final_detail, err::kFormatUnits);

  ZUL_UTF16 counter[12], rc[12], version[12], line[12], errno_text[16], errno_desc[128], now[32];
  snprintfU16(counter, 12, u"%d", static_cast<int>(++info->counter));
  err::NumberText(e.rc, rc, 12);
  err::NumberText(e.version, version, 12);
  err::NumberText(e.line, line, 12);
  err::NumberText(e.errno_value, errno_text, 16);
  ErrPrErrno2(e.errno_value, errno_desc, 128);
  TimeText(now, 32);

  const ZUL_UTF16 *fields[ERR_FIELD_COUNT] = {err::kEyecatcher,
                                              u"1",
                                              final_text,
                                              rc,
                                              e.component ? e.component : u"",
                                              err::kRelease,
                                              version,
                                              e.module ? e.module : u"",
                                              line,
                                              final_detail,
                                              now,
                                              e.syscall ? e.syscall : u"",
                                              errno_text,
                                              errno_desc,
                                              counter,
                                              ErrGetMyLocation(),
                                              text_key,
                                              text_args,
                                              detail_key,
                                              detail_args,
                                              err::kEyecatcher};
  size_t total = err::JoinFields(fields, info->block);
  info->length = static_cast<uint32_t>(total);
  if (total > err::kMaxUnits) TraceOversize(fields);
  if (e.log != 0 && ct_log_level > 0) LogEntry(fields, e.line, e.errno_value);
  return total > err::kMaxUnits ? ERR_AREA : ERR_OK;
}

}  // namespace

int ErrSet(const ZUL_UTF16 *component, int version, const ZUL_UTF16 *module, int line,
           const ZUL_UTF16 *text, int rc, const ZUL_UTF16 *detail, ...) noexcept {
  va_list args;
  va_start(args, detail);
  int result = SetError({component, version, module, line, 0, text, rc, detail, nullptr, 0}, args);
  va_end(args);
  return result;
}

int ErrSetSys(const ZUL_UTF16 *component, int version, const ZUL_UTF16 *module, int line, int log,
              const ZUL_UTF16 *text, int rc, const ZUL_UTF16 *detail, const ZUL_UTF16 *syscall,
              int errno_value, ...) noexcept {
  va_list args;
  va_start(args, errno_value);
  int result = SetError(
      {component, version, module, line, log, text, rc, detail, syscall, errno_value}, args);
  va_end(args);
  return result;
}
