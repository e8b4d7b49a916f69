// Internals of the stream input of 16-bit text: the unit reader that all readers share and the
// rate-limited report of invalid UTF-8.
#ifndef TLM_I18N_ZULU16_U16_STDIN_H
#define TLM_I18N_ZULU16_U16_STDIN_H

#include <cstdint>
#include <cstdio>

#include "zul_u16stdio.h"

namespace zulu16 {

// getc_unlockedU16_errno's raw record: a count, then up to four bytes.
constexpr size_t kRawCharSize = U16_RAW_CHAR_SIZE;

// Reads one unit from a stream whose lock the caller holds: a character above 0xFFFF becomes
// 0xFFFD, an invalid sequence '#' (reported for function when u16_trace_level isn't 0). EOF at
// the end of the stream.
int ReadUnitUnlocked(FILE *stream, const char *function) noexcept;

// Reports invalid UTF-8 read by function from stream: "Invalid UTF-8 encountered by <function>"
// and a dump of raw, at most fgetcU_errors_max times; then one message that further reports are
// silenced, and nothing more until the interval has passed since that message.
void ReportInvalidInput(const char *function, FILE *stream, const ZUL_RAW *raw) noexcept;

// Holds a stream's lock for a scope.
class StreamLock {
 public:
  explicit StreamLock(FILE *stream) : stream_(stream) { flockfile(stream_); }
  ~StreamLock() { funlockfile(stream_); }
  StreamLock(const StreamLock &) = delete;
  StreamLock &operator=(const StreamLock &) = delete;

 private:
  FILE *stream_;
};

// Seconds of a monotonic clock; tests install their own, null restores the system's.
using SecondsClock = int64_t (*)();
void SetFgetcErrorClock(SecondsClock clock) noexcept;
// Restarts the count of reports and ends a silence.
void ResetFgetcErrorCount() noexcept;

}  // namespace zulu16

#endif  // TLM_I18N_ZULU16_U16_STDIN_H
