// The line writers: plain trace lines, error and warning lines, system error lines. All of them
// assemble into one process-wide line buffer, so the caller holds DpLock.
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "trace/ctrc_state.h"
#include "zul_dptrace.h"
#include "zul_u16conv.h"
#include "zul_u16printf.h"
#include "zul_u16string.h"

namespace dptrace {

LineState line_state;

namespace {

constexpr size_t kMaxLine = kLineUnits - 1;
constexpr size_t kMaxFormat = 1024;
constexpr char16_t kModule[] = u"dptrace_r_mt";

char16_t line_buffer[kLineUnits];
char a7_buffer[kLineUnits];
// The error writers' copy of the format, cut to kMaxFormat units (or bytes).
char16_t format_copy[kMaxFormat + 1];
char format_copy_a7[kMaxFormat + 1];

// Formats into out, which has room for room units plus a terminator. Answers the units placed, or
// -1 after reporting a formatter failure or an unknown encoding; *cut tells that the text was
// longer than room.
long FormatText(FILE *stream, int encoding, const void *format, va_list args, char16_t *out,
                size_t room, bool *cut) {
  *cut = false;
  if (encoding == kEncodingU16) {
    int n = vsnprintfU16(out, room + 1, static_cast<const char16_t *>(format), args);
    if (n < 0) {
      Print(stream, u"*** ERROR => vsnprintfU err, errno=%d [%s %d]\n", errno, kModule, __LINE__);
      return -1;
    }
    if (static_cast<size_t>(n) > room) {
      *cut = true;
      return static_cast<long>(room);
    }
    return n;
  }
  if (encoding == kEncodingA7) {
    int n = vsnprintf(a7_buffer, room + 1, static_cast<const char *>(format), args);
    if (n < 0) {
      Print(stream, u"*** ERROR => vsnprintf err, errno=%d [%s %d]\n", errno, kModule, __LINE__);
      return -1;
    }
    size_t units = static_cast<size_t>(n);
    if (units > room) {
      *cut = true;
      units = room;
    }
    A7nToUcn(out, a7_buffer, units);
    return static_cast<long>(units);
  }
  Print(stream, u"*** ERROR => Illegal encoding(%d) for Trace [%s %d]\n", encoding, kModule,
        __LINE__);
  return -1;
}

// Copies at most kMaxFormat units of format into copy, without one trailing newline; a longer
// format is reported first when notice is set.
template <typename Char>
const Char *CopyLimited(FILE *stream, const Char *format, Char *copy, bool notice) {
  size_t len = 0;
  while (len <= kMaxFormat && format[len] != 0) ++len;
  if (len > kMaxFormat) {
    if (notice) Print(stream, u"%sDptrc fmt string truncated\n", kErrorText);
    len = kMaxFormat;
  }
  std::memcpy(copy, format, len * sizeof(Char));
  if (len > 0 && copy[len - 1] == '\n') --len;
  copy[len] = 0;
  return copy;
}

// The error writers' format in its encoding; an unknown encoding passes through for FormatText
// to report.
const void *LimitedFormat(FILE *stream, int encoding, const void *format, bool notice) {
  if (encoding == kEncodingU16)
    return CopyLimited(stream, static_cast<const char16_t *>(format), format_copy, notice);
  if (encoding == kEncodingA7)
    return CopyLimited(stream, static_cast<const char *>(format), format_copy_a7, notice);
  return format;
}

bool EndsLine(const char16_t *text, size_t units) {
  if (units >= 1 && text[units - 1] == u'\n') return true;
  return units >= 2 && text[units - 2] == u'\n' && text[units - 1] == u'\r';
}

// Writes a line buffer whose text starts at text_start, giving each line of the text after the
// first the component and thread prefixes of the first; updates the line state. Answers the last
// output call's result.
int WriteLines(const ctrc::Target &target, const char16_t *text, size_t units, size_t text_start,
               bool thread) {
  char16_t prefix[64];
  size_t prefix_units = target.HasLetter() ? ComponentPrefix(*target.comp, prefix) : 0;
  if (thread) prefix_units += ThreadPrefix(prefix + prefix_units);
  line_state.at_line_start = false;
  int rc = 0;
  size_t start = 0;
  for (;;) {
    size_t end = start > text_start ? start : text_start;
    while (end < units && text[end] != u'\n') ++end;
    if (end == units) break;
    ++end;
    size_t rest = units - end;
    // A line end that closes the text needs no prefix behind it.
    if (rest == 0 || (rest == 1 && text[end] == u'\r')) break;
    rc = Emit(target.stream, text + start, end - start);
    if (prefix_units > 0) rc = Emit(target.stream, prefix, prefix_units);
    start = end;
  }
  rc = Emit(target.stream, text + start, units - start);
  if (EndsLine(text, units)) line_state.at_line_start = true;
  line_state.last_comp = target.HasLetter() ? target.comp->letter : 0;
  return rc;
}

int NoteTruncation(FILE *stream) {
  line_state.at_line_start = true;
  return Print(stream, u"\n%sdata was truncated\n", kWarningText);
}

size_t CopyUnits(char16_t *out, const char16_t *text) {
  size_t n = strlenU16(text);
  std::memcpy(out, text, n * sizeof(char16_t));
  return n;
}

// The head of an error line: component prefix without regard to the line state, thread prefix,
// and the error or warning text.
size_t ErrorHead(const ctrc::Target &target, int flags, bool warning, char16_t *out) {
  size_t used = target.HasLetter() ? ComponentPrefix(*target.comp, out) : 0;
  if (flags & kFlagThread) used += ThreadPrefix(out + used);
  return used + CopyUnits(out + used, warning ? kWarningText : kErrorText);
}

// Context text of the error lines, from contextinfo_hook_func. Answers its units (0: none).
int ContextText(FILE *stream, char16_t *out) {
  if (contextinfo_hook_func == nullptr || DpTrcGetRecursionCount() >= 2) return 0;
  int length = 511;
  int rc = contextinfo_hook_func(1, out, &length, contextinfo_hook_ctx);
  if (rc != 0) {
    Print(stream, u"\n%s contextinfo_hook_func failed %d\n", kWarningText, rc);
    return 0;
  }
  if (length < 0) return 0;
  return length > 511 ? 511 : length;
}

// Appends the context line behind a finished error line when there is room enough.
size_t AppendContext(const ctrc::Target &target, int flags, const char16_t *context,
                     size_t context_units, size_t used) {
  if (context_units == 0 || kMaxLine - used <= 80) return used;
  if (target.HasLetter()) used += ComponentPrefix(*target.comp, line_buffer + used);
  if (flags & kFlagThread) used += ThreadPrefix(line_buffer + used);
  if (used + context_units + 1 <= kMaxLine) {
    std::memcpy(line_buffer + used, context, context_units * sizeof(char16_t));
    used += context_units;
  }
  line_buffer[used++] = u'\n';
  return used;
}

}  // namespace

ErrnoKeeper::ErrnoKeeper() : saved_(errno) {}
ErrnoKeeper::~ErrnoKeeper() { errno = saved_; }

size_t ComponentPrefix(const CTRC_ADM &comp, char16_t *out) {
  out[0] = comp.letter;
  out[1] = u' ';
  out[2] = u' ';
  size_t indent = comp.indent > 0 ? static_cast<size_t>(comp.indent) * 2 : 0;
  if (indent > 31) indent = 31;
  for (size_t i = 0; i < indent; ++i) out[3 + i] = u' ';
  return 3 + indent;
}

size_t LocationSuffix(char16_t *out) {
  const char16_t *line = strnlenU16(savloc, 32) > 12 ? savloc + 12 : u"";
  int n = snprintfU16(out, 32, u" [%-12.12s %.5s]\n", savloc, line);
  return n > 0 ? static_cast<size_t>(n) : 0;
}

bool ThreadFiltered(int level) {
  if (!ctrc::state.thread_trace_active) return false;
  CTRC_THR_ADM *adm = ctrc::ThreadAdm();
  return adm != nullptr && adm->thr_level < level;
}

int TraceWriter(CTRC_HDL hdl, int encoding, int flags, const void *format, va_list args) {
  ErrnoKeeper keep_errno;
  ctrc::Target target = ctrc::Resolve(hdl);
  if (target.comp != nullptr && target.comp->level < EntLev) return 0;
  if (ThreadFiltered(EntLev)) return 0;
  StreamSignalBlock host_signals;  // ended before the watches, which may call the host
  if (flags & kFlagStamp) StampLine(target, (flags & kFlagThread) != 0);

  bool letter = target.HasLetter();
  size_t used = 0;
  if (letter && (line_state.at_line_start || line_state.last_comp != target.comp->letter)) {
    if (!line_state.at_line_start) line_buffer[used++] = u'\n';
    used += ComponentPrefix(*target.comp, line_buffer + used);
  }
  if (flags & kFlagThread) used += ThreadPrefix(line_buffer + used);

  bool cut = false;
  long n =
      FormatText(target.stream, encoding, format, args, line_buffer + used, kMaxLine - used, &cut);
  if (n < 0) return 0;
  size_t units = used + static_cast<size_t>(n);

  int rc;
  if (!letter && !(flags & kFlagThread))
    rc = Emit(target.stream, line_buffer, units);
  else
    rc = WriteLines(target, line_buffer, units, used, (flags & kFlagThread) != 0);
  if (cut) rc = NoteTruncation(target.stream);
  Flush(target.stream);
  host_signals.End();
  MatchPatterns(hdl, target.stream, line_buffer, units);
  CheckFileSize(hdl, target.stream);
  return rc;
}

namespace {

// " (<errno>: <its text>)" of the system error lines; answers its units.
size_t ErrnoPart(int error, char16_t *out, size_t room) {
  char16_t error_text[256];
  ErrnoText(error, error_text);
  int n = snprintfU16(out, room, u" (%d: %s)", error, error_text);
  return n > 0 ? static_cast<size_t>(n) : 0;
}

// The error and system error lines. A system error line has no context text, no notice of a cut
// format and no pattern watch, and shows errno as it is after formatting.
int ErrorLine(CTRC_HDL hdl, int encoding, int flags, const void *format, va_list args,
              bool system) {
  ErrnoKeeper keep_errno;
  ctrc::Target target = ctrc::Resolve(hdl);
  if (target.Silenced() || ThreadFiltered(1)) return 0;
  char16_t context[512];
  size_t context_units = system ? 0 : static_cast<size_t>(ContextText(target.stream, context));
  StreamSignalBlock host_signals;  // after the host's context hook, ended before the watches
  if (flags & kFlagStamp) StampLine(target, (flags & kFlagThread) != 0);

  bool warning = !system && (flags & kFlagWarning) != 0;
  size_t used = ErrorHead(target, flags, warning, line_buffer);
  const void *limited = LimitedFormat(target.stream, encoding, format, !system);
  char16_t suffix[32];
  size_t suffix_units = LocationSuffix(suffix);
  // Room behind the text for the location, and " (<errno>: <text of up to 255 units>)".
  size_t tail_room = system ? 300 : suffix_units;
  bool cut = false;
  long n = FormatText(target.stream, encoding, limited, args, line_buffer + used,
                      kMaxLine - used - tail_room, &cut);
  if (n < 0) return 0;
  used += static_cast<size_t>(n);
  if (system) used += ErrnoPart(errno, line_buffer + used, kLineUnits - used);
  std::memcpy(line_buffer + used, suffix, suffix_units * sizeof(char16_t));
  used += suffix_units;
  used = AppendContext(target, flags, context, context_units, used);

  int rc = Emit(target.stream, line_buffer, used);
  if (cut) rc = NoteTruncation(target.stream);
  Flush(target.stream);
  host_signals.End();
  if (!system) MatchPatterns(hdl, target.stream, line_buffer, used);
  return rc;
}

}  // namespace

int ErrorWriter(CTRC_HDL hdl, int encoding, int flags, const void *format, va_list args) {
  return ErrorLine(hdl, encoding, flags, format, args, false);
}

int SysErrorWriter(CTRC_HDL hdl, int encoding, int flags, const void *format, va_list args) {
  return ErrorLine(hdl, encoding, flags, format, args, true);
}

}  // namespace dptrace
