// Scoped captures of the developer trace for tests: for the life of the object, all trace text
// goes to memory (TraceCapture) or to a file in a fresh temporary directory (TraceFileCapture),
// and the trace state the test may change is restored afterwards. Time stamp lines are off
// (ct_time_res 0) so that lines can be compared exactly; a test that wants them sets ct_time_res.
//
//   tlm_test::TraceCapture trace(2);
//   DPTRC(2, tf, u"hello %d\n", 7);
//   EXPECT_EQ(trace.Text(), trace.ThreadPrefix() + u"hello 7\n");
//
// Components registered during the capture are forgotten when it ends. Captures don't nest.
#ifndef TLM_TEST_TRACE_CAPTURE_H
#define TLM_TEST_TRACE_CAPTURE_H

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "trace/ctrc_state.h"
#include "zul_dptrace.h"
#include "zul_thr.h"

namespace tlm_test {

// The trace state a test may change, as references to the live variables.
inline auto LiveTraceState() {
  return std::tie(ctrc::state, dptrace::line_state, next_free_comp, output_func, output_info,
                  output_stream, ct_level, ct_time_res, EntLev, tf, dpTrcHidingActive,
                  contextinfo_hook_func, contextinfo_hook_ctx);
}
template <class... T>
std::tuple<T...> TraceStateValues(std::tuple<T &...>);

// Saves the trace state on construction and restores it on destruction.
class TraceStateGuard {
 public:
  TraceStateGuard() {
    DpLock();
    saved_ = LiveTraceState();
    dptrace::line_state = dptrace::LineState{};
    ct_time_res = 0;
    tf = nullptr;
    DpUnlock();
  }
  ~TraceStateGuard() {
    DpLock();
    LiveTraceState() = saved_;
    DpTrcRmAllPattern();
    DpTrcRmFileSizeHook();
    DpUnlock();
  }
  TraceStateGuard(const TraceStateGuard &) = delete;
  TraceStateGuard &operator=(const TraceStateGuard &) = delete;

 private:
  decltype(TraceStateValues(LiveTraceState())) saved_;
};

// Splits text at '\n'; a text that ends in '\n' gives no empty last line.
inline std::vector<std::u16string> SplitLines(const std::u16string &text) {
  std::vector<std::u16string> lines;
  size_t start = 0;
  while (start < text.size()) {
    size_t nl = text.find(u'\n', start);
    if (nl == std::u16string::npos) nl = text.size();
    lines.push_back(text.substr(start, nl - start));
    start = nl + 1;
  }
  return lines;
}

// How often part occurs in text, overlaps included.
inline size_t Count(const std::u16string &text, const std::u16string &part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::u16string::npos; at = text.find(part, at + 1))
    ++count;
  return count;
}

// The calling thread's id as the thread prefix shows it.
inline std::u16string CurrentThreadIdText() {
  ZUL_UTF16 id[THR_ID_STR_SIZE];
  ThrId2Str(id, ThrGetCurrentId());
  return std::u16string(id);
}

// UTF-8 of a 16-bit text, for failure messages.
inline std::string Utf8(const std::u16string &text) {
  std::string out;
  for (char16_t c : text) {
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (c >> 6)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xE0 | (c >> 12)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
  }
  return out;
}

// All trace text goes to memory, through output_func. A global file exists (standard error,
// which output_func replaces), so components can be registered; tf is null.
class TraceCapture {
 public:
  explicit TraceCapture(int level = 3) {
    DpLock();
    CTrcSetOutputMethod(&TraceCapture::Collect, this);
    ct_level = level;
    if (ctrc::state.global_file == nullptr) ctrc::state.global_file = output_stream;
    DpUnlock();
  }
  TraceCapture(const TraceCapture &) = delete;
  TraceCapture &operator=(const TraceCapture &) = delete;

  std::u16string Text() const {
    DpLock();
    std::u16string copy = text_;
    DpUnlock();
    return copy;
  }
  std::vector<std::u16string> Lines() const { return SplitLines(Text()); }
  void Clear() {
    DpLock();
    text_.clear();
    DpUnlock();
  }
  // "[Thr <id>] " of the calling thread.
  static std::u16string ThreadPrefix() { return u"[Thr " + CurrentThreadIdText() + u"] "; }

 private:
  static int Collect(const ZUL_UTF16 *buffer, size_t units, void *info) {
    auto *self = static_cast<TraceCapture *>(info);
    self->text_.append(buffer, units);
    return static_cast<int>(units);
  }

  TraceStateGuard guard_;  // constructed first, destroyed last
  std::u16string text_;
};

// A fresh directory made with mkdtemp, removed with its contents at the end.
class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tlm_trace_XXXXXX").string();
    path_ = mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
  }
  ~TempDir() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;
  const std::string &path() const { return path_; }
  std::string File(const std::string &name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

inline std::u16string Utf16(const std::string &ascii) { return {ascii.begin(), ascii.end()}; }

// Reads a UTF-8 file into 16-bit text (characters up to U+FFFF).
inline std::u16string ReadUtf8File(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  std::u16string out;
  for (size_t i = 0; i < bytes.size();) {
    auto c = static_cast<unsigned char>(bytes[i]);
    if (c < 0x80) {
      out.push_back(c);
      i += 1;
    } else if ((c & 0xE0) == 0xC0 && i + 1 < bytes.size()) {
      out.push_back(static_cast<char16_t>(((c & 0x1F) << 6) | (bytes[i + 1] & 0x3F)));
      i += 2;
    } else if (i + 2 < bytes.size()) {
      out.push_back(static_cast<char16_t>(((c & 0x0F) << 12) | ((bytes[i + 1] & 0x3F) << 6) |
                                          (bytes[i + 2] & 0x3F)));
      i += 3;
    } else {
      break;
    }
  }
  return out;
}

// The process trace file is a fresh file in a temporary directory (opened with CTrcInit, so it
// starts with the header block). The previous global file is restored afterwards, untouched.
class TraceFileCapture {
 public:
  explicit TraceFileCapture(int level = 3, const std::string &name = "dev_trace.trc") {
    DpLock();
    output_func = nullptr;
    ctrc::state.global_file = nullptr;
    path_ = dir_.File(name);
    stream_ = CTrcInit(Utf16(path_).c_str(), 1, level);
    DpUnlock();
  }
  ~TraceFileCapture() {
    DpLock();
    // A test may have closed the file itself, through CTrcFileClose.
    if (ctrc::state.global_file == stream_ && stream_ != stderr) fclose(stream_);
    DpUnlock();
  }
  TraceFileCapture(const TraceFileCapture &) = delete;
  TraceFileCapture &operator=(const TraceFileCapture &) = delete;

  FILE *stream() const { return stream_; }
  const std::string &path() const { return path_; }
  const TempDir &dir() const { return dir_; }
  std::u16string Text() const {
    DpLock();
    fflush(stream_);
    DpUnlock();
    return ReadUtf8File(path_);
  }
  std::vector<std::u16string> Lines() const { return SplitLines(Text()); }

 private:
  TraceStateGuard guard_;
  TempDir dir_;
  std::string path_;
  FILE *stream_ = nullptr;
};

}  // namespace tlm_test

#endif  // TLM_TEST_TRACE_CAPTURE_H
