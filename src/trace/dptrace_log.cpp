// Log entries: "***LOG" lines in the trace (DpELog family) and records for a system log host
// (DpSLog family), plus the formatters without output (RstrTrc).
#include <cstdio>
#include <cstring>

#include "trace/ctrc_state.h"
#include "trace/dptrace_rslg.h"
#include "zul_dptrace.h"
#include "zul_u16printf.h"
#include "zul_u16string.h"

namespace {

// Log texts are formatted into this many units, prefilled with blanks.
constexpr size_t kLogText = 100;
constexpr size_t kLocationUnits = 32;
constexpr int kTypeText = 32;
constexpr int kTypeShort = 108;
constexpr int kTypeFun = 109;

char16_t log_line[dptrace::kLineUnits];

// Formats into a blank-filled text of kLogText units; the terminator stays, the blanks behind it
// pad the record forms. Answers the text's length.
size_t FormatLogText(char16_t *text, const ZUL_UTF16 *format, va_list args) {
  for (size_t i = 0; i < kLogText; ++i) text[i] = u' ';
  int n = vsnprintfU16(text, kLogText, format, args);
  if (n < 0) {
    text[0] = 0;
    return 0;
  }
  return static_cast<size_t>(n) < kLogText ? static_cast<size_t>(n) : kLogText - 1;
}

// Folds each run of blanks into one blank.
void FoldBlanks(char16_t *text) {
  char16_t *out = text;
  for (const char16_t *in = text; *in != 0; ++in)
    if (*in != u' ' || out == text || out[-1] != u' ') *out++ = *in;
  *out = 0;
}

// The head of a log line: stamp line, thread prefix, letter and indent.
size_t LogHead(const ctrc::Target &target, char16_t *out) {
  dptrace::StampLine(target, true);
  size_t used = dptrace::ThreadPrefix(out);
  if (target.HasLetter()) used += dptrace::ComponentPrefix(*target.comp, out + used);
  return used;
}

int WriteLogLine(const ctrc::Target &target, size_t used, const char16_t *format, ...) {
  va_list args;
  va_start(args, format);
  int n = vsnprintfU16(log_line + used, dptrace::kLineUnits - used, format, args);
  va_end(args);
  if (n < 0) return n;
  used += static_cast<size_t>(n) < dptrace::kLineUnits - used ? static_cast<size_t>(n)
                                                              : dptrace::kLineUnits - 1 - used;
  int rc = dptrace::Emit(target.stream, log_line, used);
  dptrace::Flush(target.stream);
  return rc;
}

const char16_t *LocationLine() { return strnlenU16(savloc, 32) > 12 ? savloc + 12 : u""; }

// A record of a system log host: text units through the host's converter, then savloc.
void WriteRecord(int type, const ZUL_UTF16 *id, const char16_t *text, size_t units,
                 bool with_location) {
  char16_t record[kLogText + kLocationUnits];
  dptrace::rslg_hooks.convert(record, text, units);
  if (with_location) {
    std::memcpy(record + units, savloc, kLocationUnits * sizeof(char16_t));
    units += kLocationUnits;
  }
  dptrace::rslg_hooks.writer(type, id, record, units);
}

bool RslgReady() {
  return dptrace::rslg_hooks.writer != nullptr && dptrace::rslg_hooks.convert != nullptr;
}

void SLogText(const ZUL_UTF16 *id, char16_t *text, size_t length) {
  text[length] = u' ';  // the record takes the blanks behind the text
  if (length < 53)
    WriteRecord(kTypeShort, id, text, 52, true);
  else
    WriteRecord(kTypeText, id, text, 64, false);
}

// Copies up to units of text into out and pads with blanks.
void CopyPadded(char16_t *out, const ZUL_UTF16 *text, size_t units) {
  size_t n = text != nullptr ? strnlenU16(text, units) : 0;
  std::memcpy(out, text, n * sizeof(char16_t));
  for (size_t i = n; i < units; ++i) out[i] = u' ';
}

}  // namespace

namespace {

// A log line to tf; fun_args (may be null) are the two texts of the DpELogFun form.
int ELogVar(const ZUL_UTF16 *id, const ZUL_UTF16 *const *fun_args, const ZUL_UTF16 *format,
            va_list args) {
  dptrace::ErrnoKeeper keep_errno;
  ctrc::Lock lock;
  ctrc::Target target = ctrc::Resolve(tf);
  if (target.Silenced()) return 0;
  char16_t text[kLogText];
  FormatLogText(text, format, args);
  FoldBlanks(text);
  size_t used = LogHead(target, log_line);
  if (fun_args == nullptr)
    return WriteLogLine(target, used, u"***LOG %3.3s=> %s [%-12.12s %.5s]\n", id, text, savloc,
                        LocationLine());
  return WriteLogLine(target, used, u"***LOG %3.3s=> %s, %s (%s) [%-12.12s %.5s]\n", id,
                      fun_args[0], fun_args[1], text, savloc, LocationLine());
}

// A record for the system log host; fun_args as for ELogVar.
void SLogVar(const ZUL_UTF16 *id, const ZUL_UTF16 *const *fun_args, const ZUL_UTF16 *format,
             va_list args) {
  dptrace::ErrnoKeeper keep_errno;
  ctrc::Lock lock;
  if (!RslgReady()) return;
  char16_t text[kLogText + 1];
  size_t length = FormatLogText(text, format, args);
  if (fun_args == nullptr || length >= 39) {
    SLogText(id, text, length);
    return;
  }
  // 38 units of text, 7 of a, 7 of b.
  char16_t fields[52];
  text[length] = u' ';
  std::memcpy(fields, text, 38 * sizeof(char16_t));
  CopyPadded(fields + 38, fun_args[0], 7);
  CopyPadded(fields + 45, fun_args[1], 7);
  WriteRecord(kTypeFun, id, fields, 52, true);
}

}  // namespace

int DpELog(const ZUL_UTF16 *id, const ZUL_UTF16 *format, ...) noexcept {
  va_list args;
  va_start(args, format);
  int rc = ELogVar(id, nullptr, format, args);
  va_end(args);
  return rc;
}

int DpELogFun(const ZUL_UTF16 *id, const ZUL_UTF16 *a, const ZUL_UTF16 *b, const ZUL_UTF16 *format,
              ...) noexcept {
  const ZUL_UTF16 *fun_args[2] = {a, b};
  va_list args;
  va_start(args, format);
  int rc = ELogVar(id, fun_args, format, args);
  va_end(args);
  return rc;
}

int DpELogErr(CTRC_HDL hdl, const ZUL_UTF16 *id, const ZUL_UTF16 *format, ...) noexcept {
  dptrace::ErrnoKeeper keep_errno;
  ctrc::Lock lock;
  ctrc::Target target = ctrc::Resolve(hdl);
  if (target.Silenced()) return 0;
  dptrace::Print(target.stream, u"***LOG %3.3s=> ", id);
  va_list args;
  va_start(args, format);
  dptrace::PrintVar(target.stream, format, args);
  va_end(args);
  int rc = dptrace::Print(target.stream, u" [%-12.12s %.5s]\n", savloc, LocationLine());
  dptrace::Flush(target.stream);
  return rc;
}

void DpSLog(const ZUL_UTF16 *id, const ZUL_UTF16 *format, ...) noexcept {
  va_list args;
  va_start(args, format);
  SLogVar(id, nullptr, format, args);
  va_end(args);
}

void DpSLogFun(const ZUL_UTF16 *id, const ZUL_UTF16 *a, const ZUL_UTF16 *b, const ZUL_UTF16 *format,
               ...) noexcept {
  const ZUL_UTF16 *fun_args[2] = {a, b};
  va_list args;
  va_start(args, format);
  SLogVar(id, fun_args, format, args);
  va_end(args);
}

void DpSLogErr(CTRC_HDL hdl, const ZUL_UTF16 *id, const ZUL_UTF16 *format, ...) noexcept {
  dptrace::ErrnoKeeper keep_errno;
  ctrc::Lock lock;
  ctrc::Target target = ctrc::Resolve(hdl);
  if (target.Silenced() || !RslgReady()) return;
  char16_t text[kLogText + 1];
  va_list args;
  va_start(args, format);
  size_t length = FormatLogText(text, format, args);
  va_end(args);
  text[length] = u' ';
  WriteRecord(kTypeText, id, text, kLogText, true);
}

int RstrTrc(int, const ZUL_UTF16 *format, ...) noexcept {
  char16_t buffer[512];
  va_list args;
  va_start(args, format);
  int n = vsnprintfU16(buffer, 512, format, args);
  va_end(args);
  return n;
}

void RstrTrcA7(int, const char *format, ...) noexcept {
  char buffer[512];
  va_list args;
  va_start(args, format);
  vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
}
