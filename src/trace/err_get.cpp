// Reading the error information: the ErrGet family, single fields, and the translation of keyed
// texts through the message lookup.
#include <cstdlib>

#include "trace/err_merge.h"
#include "trace/err_state.h"

namespace {

// The fields that the outputs of ErrGet and ErrGetAll receive, in parameter order.
constexpr int kGetOrder[] = {ERR_FLD_COMPONENT,   ERR_FLD_VERSION,       ERR_FLD_MODULE,
                             ERR_FLD_LINE,        ERR_FLD_TEXT,          ERR_FLD_RC,
                             ERR_FLD_DETAIL,      ERR_FLD_SYSCALL,       ERR_FLD_ERRNO,
                             ERR_FLD_LOCATION,    ERR_FLD_TIME,          ERR_FLD_RELEASE,
                             ERR_FLD_ERRNO_TEXT,  ERR_FLD_COUNTER,       ERR_FLD_DESCR_MSG_NO,
                             ERR_FLD_DESCR_VARGS, ERR_FLD_DETAIL_MSG_NO, ERR_FLD_DETAIL_VARGS};
constexpr int kGetCount = 14;
constexpr int kGetAllCount = 18;

// Replaces fields[text] by the message of key field text_key in lang merged with its arguments,
// kept in *merged (allocated on first use). Leaves it when the lookup fails.
void Translate(ZUL_UTF16 lang, const ZUL_UTF16 *fields[ERR_FIELD_COUNT], int text, int key,
               ZUL_UTF16 **merged) {
  if (fields[key][0] == 0) return;
  ZUL_UTF16 message[256];
  if (ErrGetTxtPtr(fields[key], lang, message, 256) != 1) {
    DPTRC(2, tf, u"ErrIGet: no text found (msg %s lang %c)\n", fields[key], lang);
    return;
  }
  if (*merged == nullptr) {
    *merged = static_cast<ZUL_UTF16 *>(std::malloc(err::kMergedUnits * sizeof(ZUL_UTF16)));
    if (*merged == nullptr) return;
  }
  err::MergeText(message, fields[key + 1], *merged, err::kMergedUnits);
  fields[text] = *merged;
}

int GetInto(ZUL_UTF16 lang, const ZUL_UTF16 **const outs[], int count) {
  const ZUL_UTF16 *fields[ERR_FIELD_COUNT];
  int rc = err::ReadFields(lang, fields);
  for (int i = 0; i < count; ++i)
    if (outs[i] != nullptr) *outs[i] = fields[kGetOrder[i]];
  return rc;
}

}  // namespace

namespace err {

int ReadFields(ZUL_UTF16 lang, const ZUL_UTF16 *fields[ERR_FIELD_COUNT]) {
  for (int f = 0; f < ERR_FIELD_COUNT; ++f) fields[f] = kEmpty;
  ERR_THR_INFO *info = Info(false);
  int rc = CheckBlock(info, u"ErrIGet: no ZUL error info available\n");
  if (rc != ERR_OK) return rc;
  SplitFields(info->block, info->length, fields);
  if (lang != ERR_NO_LANGUAGE) {
    Translate(lang, fields, ERR_FLD_TEXT, ERR_FLD_DESCR_MSG_NO, &info->merged_text);
    Translate(lang, fields, ERR_FLD_DETAIL, ERR_FLD_DETAIL_MSG_NO, &info->merged_detail);
  }
  return ERR_OK;
}

}  // namespace err

int ErrGet(const ZUL_UTF16 **component, const ZUL_UTF16 **version, const ZUL_UTF16 **module,
           const ZUL_UTF16 **line, const ZUL_UTF16 **text, const ZUL_UTF16 **rc,
           const ZUL_UTF16 **detail, const ZUL_UTF16 **syscall, const ZUL_UTF16 **errno_value,
           const ZUL_UTF16 **location, const ZUL_UTF16 **time, const ZUL_UTF16 **release,
           const ZUL_UTF16 **errno_text, const ZUL_UTF16 **counter) noexcept {
  return ErrGetL(ERR_NO_LANGUAGE, component, version, module, line, text, rc, detail, syscall,
                 errno_value, location, time, release, errno_text, counter);
}

int ErrGetL(ZUL_UTF16 lang, const ZUL_UTF16 **component, const ZUL_UTF16 **version,
            const ZUL_UTF16 **module, const ZUL_UTF16 **line, const ZUL_UTF16 **text,
            const ZUL_UTF16 **rc, const ZUL_UTF16 **detail, const ZUL_UTF16 **syscall,
            const ZUL_UTF16 **errno_value, const ZUL_UTF16 **location, const ZUL_UTF16 **time,
            const ZUL_UTF16 **release, const ZUL_UTF16 **errno_text,
            const ZUL_UTF16 **counter) noexcept {
  const ZUL_UTF16 **const outs[kGetCount] = {component, version, module,     line,        text,
                                             rc,        detail,  syscall,    errno_value, location,
                                             time,      release, errno_text, counter};
  return GetInto(lang, outs, kGetCount);
}

int ErrGetAll(const ZUL_UTF16 **component, const ZUL_UTF16 **version, const ZUL_UTF16 **module,
              const ZUL_UTF16 **line, const ZUL_UTF16 **text, const ZUL_UTF16 **rc,
              const ZUL_UTF16 **detail, const ZUL_UTF16 **syscall, const ZUL_UTF16 **errno_value,
              const ZUL_UTF16 **location, const ZUL_UTF16 **time, const ZUL_UTF16 **release,
              const ZUL_UTF16 **errno_text, const ZUL_UTF16 **counter,
              const ZUL_UTF16 **descr_msg_no, const ZUL_UTF16 **descr_vargs,
              const ZUL_UTF16 **detail_msg_no, const ZUL_UTF16 **detail_vargs) noexcept {
  const ZUL_UTF16 **const outs[kGetAllCount] = {
      component,  version, module,       line,        text,          rc,
      detail,     syscall, errno_value,  location,    time,          release,
      errno_text, counter, descr_msg_no, descr_vargs, detail_msg_no, detail_vargs};
  return GetInto(ERR_NO_LANGUAGE, outs, kGetAllCount);
}

const ZUL_UTF16 *ErrGetFld(int n) noexcept {
  ERR_THR_INFO *info = err::Info(false);
  if (info == nullptr || info->length == 0) {
    DPTRC(2, tf, u"ErrGetFld: no error info available\n");
    return err::kEmpty;
  }
  if (n < 0 || n >= ERR_FIELD_COUNT || info->length > err::kMaxUnits) return err::kEmpty;
  const ZUL_UTF16 *fields[ERR_FIELD_COUNT];
  err::SplitFields(info->block, info->length, fields);
  return fields[n];
}

const ZUL_UTF16 *ErrGetFldL(int n, ZUL_UTF16 lang) noexcept {
  if (n < ERR_FLD_TEXT || n > ERR_FLD_LOCATION) return err::kEmpty;
  const ZUL_UTF16 *fields[ERR_FIELD_COUNT];
  err::ReadFields(lang, fields);
  return fields[n];
}
