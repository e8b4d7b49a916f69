// The trace of the text runtime: messages go to standard error as UTF-8, or to the function that
// u16_set_trace_func installed. Every message ends with a closing rule line, so that a reader of a
// mixed log can tell where a report of this runtime ends. The trace state is not locked.
#include "i18n/zulu16/u16_trace.h"

#include <cstdarg>
#include <cstring>
#include <string>

#include "thr/thr_sigblock.h"
#include "zul_u16stdio.h"

int u16_trace_level = 0;

namespace {

constexpr int kLibraryVersion = 1;
constexpr char16_t kClosingRule[] =
    u"--------------------------------------------- end of Unicode interface message ---\n";

U16_TRACE_FUNC trace_func = nullptr;

std::u16string Widen(const char *text, size_t len) {
  // Decodes UTF-8 so that non-ASCII file names survive; an invalid byte is taken as Latin-1.
  std::u16string out;
  out.reserve(len);
  for (size_t i = 0; i < len;) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    if (c >= 0xC2 && c <= 0xDF && i + 1 < len && (text[i + 1] & 0xC0) == 0x80) {
      out.push_back(static_cast<char16_t>(((c & 0x1F) << 6) | (text[i + 1] & 0x3F)));
      i += 2;
    } else if (c >= 0xE0 && c <= 0xEF && i + 2 < len && (text[i + 1] & 0xC0) == 0x80 &&
               (text[i + 2] & 0xC0) == 0x80) {
      out.push_back(static_cast<char16_t>(((c & 0x0F) << 12) | ((text[i + 1] & 0x3F) << 6) |
                                          (text[i + 2] & 0x3F)));
      i += 3;
    } else {
      out.push_back(c);
      ++i;
    }
  }
  return out;
}

void Deliver(const std::u16string &message) {
  U16_TRACE_FUNC f = __atomic_load_n(&trace_func, __ATOMIC_RELAXED);
  if (f != nullptr) {
    f(reinterpret_cast<const ZUL_UTF16 *>(message.c_str()));
    return;
  }
  // Standard error may be a pipe whose reader has gone: the message is lost, not the host.
  thr::ScopedSignalBlock host_signals;
  u16_fwriteU16(reinterpret_cast<const ZUL_UTF16 *>(message.data()), message.size(), stderr);
  fflush(stderr);
}

// Hex dump lines of 16 bytes: offset, bytes, and optionally the printable characters.
std::string HexDump(const void *bytes, size_t count, bool with_chars) {
  std::string out;
  const auto *p = static_cast<const unsigned char *>(bytes);
  char line[128];
  for (size_t off = 0; off < count; off += 16) {
    int n = std::snprintf(line, sizeof line, "%06zx:", off);
    for (size_t i = 0; i < 16; ++i) {
      if (off + i < count) {
        n += std::snprintf(line + n, sizeof line - n, " %02x", p[off + i]);
      } else {
        n += std::snprintf(line + n, sizeof line - n, "   ");
      }
    }
    if (with_chars) {
      n += std::snprintf(line + n, sizeof line - n, "  ");
      for (size_t i = 0; i < 16 && off + i < count; ++i)
        line[n++] = (p[off + i] >= 0x20 && p[off + i] < 0x7F) ? static_cast<char>(p[off + i]) : '.';
      line[n] = 0;
    }
    out += line;
    out += '\n';
  }
  return out;
}

}  // namespace

namespace zulu16 {

void TraceF(const char *file, int line, const char *format, ...) noexcept {
  char buf[4096];
  va_list ap;
  va_start(ap, format);
  int n = std::vsnprintf(buf, sizeof buf, format, ap);
  va_end(ap);
  if (n < 0) return;
  size_t len = static_cast<size_t>(n) < sizeof buf ? static_cast<size_t>(n) : sizeof buf - 1;
  try {
    std::u16string text = Widen(buf, len);
    u16_traceMsg(reinterpret_cast<const ZUL_UTF16 *>(text.c_str()), file, line, file != nullptr);
  } catch (...) {
    // Out of memory while tracing: the message is lost, the caller goes on.
  }
}

}  // namespace zulu16

void u16_set_trace(int level) noexcept {
  __atomic_store_n(&u16_trace_level, level, __ATOMIC_RELAXED);
  zulu16::TraceF(nullptr, 0, "U16 trace level set to %d\n", level);
}

void u16_set_trace_func(U16_TRACE_FUNC f) noexcept {
  __atomic_store_n(&trace_func, f, __ATOMIC_RELAXED);
}

void u16_traceMsg(const ZUL_UTF16 *text, const char *file, int line, int flag) noexcept {
  try {
    std::u16string message;
    if (text != nullptr) message = reinterpret_cast<const char16_t *>(text);
    if (flag && file != nullptr) {
      std::string where = " [" + std::string(file) + " " + std::to_string(line) + "]\n";
      if (!message.empty() && message.back() == u'\n') message.pop_back();
      message += Widen(where.data(), where.size());
    } else if (message.empty() || message.back() != u'\n') {
      message += u'\n';
    }
    message += kClosingRule;
    Deliver(message);
  } catch (...) {
    // The trace must never fail its caller.
  }
}

void u16_charDump(const ZUL_UTF16 *units, size_t count) noexcept {
  if (units == nullptr) return;
  try {
    std::string out;
    char item[32];
    for (size_t i = 0; i < count; ++i) {
      ZUL_UTF16 u = units[i];
      std::snprintf(item, sizeof item, "%s%04x", (i % 8 == 0) ? (i ? "\n" : "") : " ", u);
      out += item;
      out += (u >= 0x20 && u < 0x7F) ? std::string(" '") + static_cast<char>(u) + "'" : "    ";
    }
    zulu16::TraceF(nullptr, 0, "%s\n", out.c_str());
  } catch (...) {
  }
}

void u16_rawDump(const void *bytes, size_t count) noexcept {
  if (bytes == nullptr) return;
  try {
    zulu16::TraceF(nullptr, 0, "%s", HexDump(bytes, count, false).c_str());
  } catch (...) {
  }
}

void u16_rawAndCharDump(const void *bytes, size_t count) noexcept {
  if (bytes == nullptr) return;
  try {
    zulu16::TraceF(nullptr, 0, "%s", HexDump(bytes, count, true).c_str());
  } catch (...) {
  }
}

void u16_rawStrDump(const char *text) noexcept {
  if (text != nullptr) u16_rawAndCharDump(text, std::strlen(text));
}

void u16_rawFileDumpOpt(FILE *stream, const void *bytes, size_t count, int opt) noexcept {
  if (stream == nullptr || bytes == nullptr) return;
  try {
    std::string dump = HexDump(bytes, count, opt != 0);
    fwrite(dump.data(), 1, dump.size(), stream);
  } catch (...) {
  }
}

void u16_malloc_error(const char *function, const char *source, int line, size_t size) noexcept {
  zulu16::TraceF(source, line, "%s: memory allocation of %zu bytes failed\n",
                 function ? function : "?", size);
}

void u16_utf8conv_error(const char *function, const char *source, int line, const void *bytes,
                        size_t count) noexcept {
  zulu16::TraceF(source, line, "%s encountered invalid UTF-8\n", function ? function : "?");
  u16_rawAndCharDump(bytes, count);
}

void u16_internalErrorMsg(const char *text, const char *source, int line) noexcept {
  zulu16::TraceF(source, line, "Internal error: %s\n", text ? text : "");
}

void u16_array_short(const char *limit_name, const char *function, const char *parameter,
                     const char *source, int line) noexcept {
  zulu16::TraceF(source, line, "%s: parameter %s is too long for its buffer of %s\n",
                 function ? function : "?", parameter ? parameter : "?",
                 limit_name ? limit_name : "?");
}

void setTraceLibu16U16(int level) noexcept { u16_set_trace(level); }

int checkVersionLibu16U16(int version) noexcept { return version == kLibraryVersion ? 0 : -1; }

int getVersionLibu16U16(void) noexcept { return kLibraryVersion; }
