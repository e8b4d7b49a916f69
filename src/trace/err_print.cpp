// The error printed: as one text (ErrPr) and as a box of rows in the trace (ErrTrace). Long
// values wrap at 62 units, at the last blank within them or at an embedded newline.
#include <cstring>

#include "trace/err_state.h"
#include "zul_u16printf.h"

namespace {

constexpr size_t kRowUnits = 62;
constexpr ZUL_UTF16 kRule[] =
    u"*****************************************************************************";

// Fields with a row of their own, before and after the time row.
constexpr int kHeadRows[] = {ERR_FLD_LOCATION, ERR_FLD_TEXT};
constexpr int kBodyRows[] = {ERR_FLD_RELEASE, ERR_FLD_COMPONENT, ERR_FLD_VERSION, ERR_FLD_RC,
                             ERR_FLD_MODULE,  ERR_FLD_LINE,      ERR_FLD_DETAIL,  ERR_FLD_SYSCALL,
                             ERR_FLD_ERRNO,   ERR_FLD_ERRNO_TEXT};

// Cuts value into lines of at most kRowUnits units and calls emit(first, line, units) for each.
template <typename Emit>
void WrapValue(const ZUL_UTF16 *value, Emit emit) {
  bool first = true;
  while (first || *value != 0) {
    size_t length = 0;
    while (length < kRowUnits && value[length] != 0 && value[length] != u'\n') ++length;
    size_t skip = 0;
    if (value[length] == u'\n') {
      skip = 1;
    } else if (value[length] != 0) {
      size_t blank = length;
      while (blank > 0 && value[blank] != u' ') --blank;
      if (blank > 0) {
        length = blank;
        skip = 1;
      }
    }
    emit(first, value, length);
    value += length + skip;
    first = false;
  }
}

// The rows of ErrPr, appended to a buffer of the thread.
class TextRows {
 public:
  TextRows(ZUL_UTF16 *out, size_t size) : out_(out), size_(size) { out_[0] = 0; }
  void Row(const ZUL_UTF16 *label, const ZUL_UTF16 *value) {
    if (value[0] == 0) return;
    WrapValue(value, [&](bool first, const ZUL_UTF16 *line, size_t units) {
      if (first)
        Add(u"\n%-12.12s%.*s", label, static_cast<int>(units), line);
      else
        Add(u"\n            %.*s", static_cast<int>(units), line);
    });
  }
  void Plain(const ZUL_UTF16 *label, const ZUL_UTF16 *value) { Add(u"\n%-12.12s%s", label, value); }

 private:
  template <typename... Args>
  void Add(const ZUL_UTF16 *format, Args... args) {
    if (used_ + 1 >= size_) return;
    int n = snprintfU16(out_ + used_, size_ - used_, format, args...);
    if (n > 0) used_ = used_ + static_cast<size_t>(n) < size_ ? used_ + n : size_ - 1;
  }
  ZUL_UTF16 *out_;
  size_t size_;
  size_t used_ = 0;
};

// A row of the trace box; the caller holds DpLock.
void TraceRow(CTRC_HDL hdl, const ZUL_UTF16 *label, const ZUL_UTF16 *value) {
  if (value[0] == 0) return;
  WrapValue(value, [&](bool first, const ZUL_UTF16 *line, size_t units) {
    if (first) {
      DpTrcNoThr(hdl, u"%s%-12.12s%.*s\n", u"*  ", label, static_cast<int>(units), line);
    } else {
      ZUL_UTF16 rest[kRowUnits + 1];
      std::memcpy(rest, line, units * sizeof(ZUL_UTF16));
      rest[units] = 0;
      DpTrcNoThr(hdl, u"%s            %s\n", u"*  ", rest);
    }
  });
}

const ZUL_UTF16 *PrintText(ZUL_UTF16 lang) {
  thread_local ZUL_UTF16 text[ERR_PR_UNITS];
  TextRows rows(text, ERR_PR_UNITS);
  const ZUL_UTF16 *fields[ERR_FIELD_COUNT];
  if (err::ReadFields(lang, fields) != ERR_OK) return text;
  for (int f : kHeadRows) rows.Row(err::kLabels[f], fields[f]);
  rows.Plain(err::kLabels[ERR_FLD_TIME], fields[ERR_FLD_TIME]);
  for (int f : kBodyRows) rows.Row(err::kLabels[f], fields[f]);
  if (fields[ERR_FLD_COUNTER][0] != 0)
    rows.Plain(err::kLabels[ERR_FLD_COUNTER], fields[ERR_FLD_COUNTER]);
  return text;
}

}  // namespace

const ZUL_UTF16 *ErrPr() noexcept { return PrintText(ERR_NO_LANGUAGE); }

const ZUL_UTF16 *ErrPrL(ZUL_UTF16 lang) noexcept { return PrintText(lang); }

int ErrTrace(CTRC_HDL hdl) noexcept {
  if (hdl == tf && ct_level == 0) return ERR_OK;
  ERR_THR_INFO *info = err::Info(true);
  if (info == nullptr) return ERR_NO_MEMORY;
  if (info->length == 0) {
    DPTRC(2, hdl, u"ErrTrace: no error info available\n");
    return ERR_NO_INFO;
  }
  const ZUL_UTF16 *fields[ERR_FIELD_COUNT];
  int rc = err::ReadFields(ERR_NO_LANGUAGE, fields);
  if (rc != ERR_OK) return rc;
  DpLock();
  EntLev = 1;
  DpTrcNoThr(hdl, u"\n%s\n*\n", kRule);
  for (int f : kHeadRows) TraceRow(hdl, err::kLabels[f], fields[f]);
  DpTrcNoThr(hdl, u"*\n%s%-12.12s%s\n", u"*  ", err::kLabels[ERR_FLD_TIME], fields[ERR_FLD_TIME]);
  for (int f : kBodyRows) TraceRow(hdl, err::kLabels[f], fields[f]);
  TraceRow(hdl, err::kLabels[ERR_FLD_COUNTER], fields[ERR_FLD_COUNTER]);
  DpTrcNoThr(hdl, u"*\n");
  DpTrcNoThr(hdl, u"%s\n\n", kRule);
  EntLev = 2;
  DpUnlock();
  return ERR_OK;
}
