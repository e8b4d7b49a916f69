// The printed forms of an error record: the 72-column box, the short form and the one-liner.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "krn/rscp/rscp_error.h"

namespace {

constexpr char kTop[] = ".------------------------------============----------------------------.";
constexpr char kTitle[] =
    "|                              RSCP - Error                            |";
constexpr char kBottom[] =
    "`----------------------------------------------------------------------'";
constexpr char kOsHeader[] =
    "| Some OS information, which may or may not belong to this error:      |";
constexpr char kSqlHeader[] =
    "| Some SQL information, which may or may not belong to this error:     |";

// Formats one line and hands it to the writer. Lines are cut at 255 bytes.
[[gnu::format(printf, 2, 3)]] void Line(RSCP_LINE_WRITER w, const char *format, ...) {
  char line[256];
  va_list ap;
  va_start(ap, format);
  int n = std::vsnprintf(line, sizeof line, format, ap);
  va_end(ap);
  if (n < 0) return;
  if (n >= static_cast<int>(sizeof line)) n = sizeof line - 1;
  w(line, n);
}

RSCP_LINE_WRITER Writer(RSCP_LINE_WRITER w) { return w != nullptr ? w : rscpwes__write_err_stderr; }

int Depth(const RSCPE_RECORD *r) {
  return r->depth < 0 ? 0 : r->depth > RSCPE_MAX_LEVELS ? RSCPE_MAX_LEVELS : r->depth;
}

// The code's text in 8-bit form: a table row, or the "%5ld" form.
void CodeText(char *dst, size_t size, int code) {
  const ZUL_UTF16 *text;
  rscpr2s__returncode_to_string(code, &text, nullptr);
  rscp::Narrow(dst, size, text);
}

// A labelled row inside the box: padded to the frame in style 1, as long as its text in style 2.
void Row(RSCP_LINE_WRITER w, const char *label, const char *text) {
  if (h_rscpo_err_pri_style == 2) {
    Line(w, "|             %-3s %.53s|", label, text);
  } else {
    int first = rscpgpwm__get_pri_w_me();
    int rest = 53 - first;
    size_t len = std::strlen(text);
    const char *tail = len > static_cast<size_t>(first) ? text + first : "";
    Line(w, "|             %-3s %-*.*s%-*.*s|", label, first, first, text, rest, rest, tail);
  }
}

void BoxLevel(RSCP_LINE_WRITER w, const RSCPE_LEVEL &level, bool first) {
  char module[RSCPE_MODULE_UNITS + 1];
  rscp::Narrow(module, sizeof module, level.module);
  if (first) {
    if (level.callcnt > 0)
      Line(w, "| Error from: %47.47s %8ld |", module, level.callcnt);
    else
      Line(w, "| Error from: %47.47s          |", module);
  } else {
    if (level.callcnt > 0)
      Line(w, "| Error propagation from: %35.35s %8ld |", module, level.callcnt);
    else
      Line(w, "| Error propagation from: %35.35s          |", module);
  }
  char text[RSCPE_TEXT_UNITS];
  CodeText(text, sizeof text, level.code);
  Row(w, "rc:", text);
  if (level.text[0] != 0) {
    rscp::Narrow(text, sizeof text, level.text);
    Row(w, "tx:", text);
  }
  std::snprintf(text, sizeof text, "location %d, line %d", level.location, level.line);
  Row(w, "lo:", text);
  static const char *const kLabels[RSCPE_PARAMS] = {"p1:", "p2:", "p3:", "p4:", "p5:"};
  for (int i = 0; i < RSCPE_PARAMS; ++i) {
    if (level.params[i][0] == 0) continue;
    rscp::Narrow(text, sizeof text, level.params[i]);
    Row(w, kLabels[i], text);
  }
  if (level.init_call != 0)
    Line(w, "| Impromptu CCC initialization by %-30.30s       |", module);
  switch (level.foreign) {
    case RSCPE_FROM_NTAB:
      Line(w, "| NTAB error  %6d                                                   |",
           level.foreign_code);
      break;
    case RSCPE_FROM_RSQL:
      Line(w, "| RSQL error  %6d                                                   |",
           level.foreign_code);
      break;
    case RSCPE_FROM_RTAB:
      Line(w, "| RTAB error  %6d                                                   |",
           level.foreign_code);
      break;
    case RSCPE_FROM_SQL:
      Line(w, "| SQL error  %6d                                                    |",
           level.foreign_code);
      break;
    default:
      break;
  }
}

void Box(const RSCPE_RECORD *record, RSCP_LINE_WRITER w, bool last_only, bool with_info) {
  if (record == nullptr) return;
  w = Writer(w);
  int depth = Depth(record);
  Line(w, "%s", kTop);
  Line(w, "%s", kTitle);
  for (int i = last_only && depth > 0 ? depth - 1 : 0; i < depth; ++i)
    BoxLevel(w, record->level[i], i == 0);
  if (with_info) {
    if (record->saved_errno != 0) {
      Line(w, "%s", kOsHeader);
      char os[128];
      std::snprintf(os, sizeof os, "errno %d: %s", record->saved_errno,
                    strerrordesc_np(record->saved_errno) != nullptr
                        ? strerrordesc_np(record->saved_errno)
                        : "unknown error");
      Line(w, "| %-68.68s |", os);
    }
    for (int i = 0; i < depth; ++i) {
      const RSCPE_LEVEL &level = record->level[i];
      if (level.foreign != RSCPE_FROM_SQL) continue;
      char msg[RSCPE_SQLMSG_UNITS];
      rscp::Narrow(msg, sizeof msg, level.sql_msg);
      Line(w, "%s", kSqlHeader);
      Line(w, "| SQL error code  %6d                                               |",
           level.foreign_code);
      Line(w, "| %-68.68s |", msg);
    }
  }
  Line(w, "%s", kBottom);
}

const char *ErrnoText(int e) {
  const char *text = strerrordesc_np(e);
  return text != nullptr ? text : "unknown error";
}

void Short(const RSCPE_RECORD *record, RSCP_LINE_WRITER w, bool last_only) {
  if (record == nullptr) return;
  w = Writer(w);
  int depth = Depth(record);
  if (depth == 0) return;
  char name[RSCPE_TEXT_UNITS];
  CodeText(name, sizeof name, record->level[depth - 1].code);
  Line(w, "code:%5d  %-13.13s", record->level[depth - 1].code, name);
  int width = rscpgpwn__get_pri_w_no();
  for (int i = last_only ? depth - 1 : 0; i < depth; ++i) {
    const RSCPE_LEVEL &level = record->level[i];
    char text[RSCPE_TEXT_UNITS], module[RSCPE_MODULE_UNITS + 1], at[96];
    rscp::Narrow(text, sizeof text, level.text);
    rscp::Narrow(module, sizeof module, level.module);
    if (h_rscpo_err_pri_style == 2)
      std::snprintf(at, sizeof at, "  at %-*.*s location=%d line=%d", width, width, module,
                    level.location, level.line);
    else
      std::snprintf(at, sizeof at, "  at %-*.*s locat=%d line=%d", width, width, module,
                    level.location, level.line);
    Line(w, i == 0 ? "from: %s%s" : "propagated from: %s%s", text, at);
    if (level.foreign == RSCPE_FROM_SQL) {
      char msg[RSCPE_SQLMSG_UNITS];
      rscp::Narrow(msg, sizeof msg, level.sql_msg);
      Line(w, "from DB: (maybe not related) SQL error code  %6d  %-68.68s", level.foreign_code,
           msg);
    }
  }
  if (record->saved_errno != 0) {
    if (h_rscpo_err_pri_style == 2)
      Line(w, "errno: %d  %s", record->saved_errno, ErrnoText(record->saved_errno));
    else
      Line(w, "from: OS: (maybe not related) errno: %d  %s", record->saved_errno,
           ErrnoText(record->saved_errno));
  }
}

}  // namespace

void rscpwes__write_err_stderr(const char *line, int length) noexcept {
  if (line == nullptr || length < 0) return;
  std::fprintf(stderr, "%*.*s\n", length, length, line);
}

void rscpwen__write_err_nowhere(const char *, int) noexcept {}

void rscpep1_err_print1(const RSCPE_RECORD *record, RSCP_LINE_WRITER w) noexcept {
  if (record == nullptr || Depth(record) == 0) return;
  const RSCPE_LEVEL &level = record->level[Depth(record) - 1];
  char module[RSCPE_MODULE_UNITS + 1];
  rscp::Narrow(module, sizeof module, level.module);
  Line(Writer(w), "module: %-8.8s location:%5d line:%6d", module, level.location, level.line);
}

void rscpep2_err_print2(const RSCPE_RECORD *record, RSCP_LINE_WRITER w) noexcept {
  Box(record, w, true, false);
}
void rscpep3_err_print3(const RSCPE_RECORD *record, RSCP_LINE_WRITER w) noexcept {
  Box(record, w, false, false);
}
void rscpep4_err_print4(const RSCPE_RECORD *record, RSCP_LINE_WRITER w) noexcept {
  Box(record, w, false, true);
}
void rscpep2s_err_print2_short(const RSCPE_RECORD *record, RSCP_LINE_WRITER w) noexcept {
  Short(record, w, true);
}
void rscpep4s_err_print4_short(const RSCPE_RECORD *record, RSCP_LINE_WRITER w) noexcept {
  Short(record, w, false);
}
