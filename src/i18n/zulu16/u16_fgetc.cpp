// Reading UTF-8 from streams one character at a time, and the rate limit of the reports of
// invalid input: a stream full of broken bytes must not flood the trace.
#include <cerrno>
#include <ctime>

#include "i18n/zulu16/u16_stdin.h"
#include "i18n/zulu16/u16_sys.h"
#include "i18n/zulu16/u16_trace.h"
#include "zul_u16stdio.h"

namespace {

constexpr int kReplacementCharacter = 0xFFFD;

int64_t MonotonicSeconds() {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec;
}

// The report limiter; guarded by limiter_mutex.
THR_MTX limiter_mutex = PTHREAD_MUTEX_INITIALIZER;
int no_fgetcU_errors_max = 100;
int fgetcU_errors_interval = 3600;
int fgetcU_errors = 0;       // reports written since the last reset
bool silenced = false;       // the silence message has been written
int64_t silenced_since = 0;  // when it was written
zulu16::SecondsClock seconds_clock = MonotonicSeconds;

enum class Verdict { kSilent, kReport, kSilenceNow };

struct Decision {
  Verdict verdict;
  bool reset;    // the silence has ended: say so before the report
  int interval;  // for the silence message
};

Decision Decide() {
  zulu16::MtxGuard lock(&limiter_mutex);
  Decision d{Verdict::kReport, false, fgetcU_errors_interval};
  if (silenced) {
    if (seconds_clock() - silenced_since < fgetcU_errors_interval)
      return Decision{Verdict::kSilent, false, 0};
    silenced = false;
    fgetcU_errors = 0;
    d.reset = true;
  }
  if (fgetcU_errors < no_fgetcU_errors_max) {
    ++fgetcU_errors;
    return d;
  }
  silenced = true;
  silenced_since = seconds_clock();
  d.verdict = Verdict::kSilenceNow;
  return d;
}

int Invalid(ZUL_RAW *raw, const ZUL_RAW *bytes, int count, int *error) {
  if (raw != nullptr) {
    raw[0] = static_cast<ZUL_RAW>(count);
    for (int i = 0; i < count; ++i) raw[i + 1] = bytes[i];
  }
  errno = EILSEQ;
  if (error != nullptr) *error = EILSEQ;
  return '#';
}

}  // namespace

namespace zulu16 {

void ReportInvalidInput(const char *function, FILE *stream, const ZUL_RAW *raw) noexcept {
  Decision d = Decide();
  if (d.verdict == Verdict::kSilent) return;
  if (d.reset) TraceF(nullptr, 0, "fgetcU16 error counter reset");
  if (d.verdict == Verdict::kSilenceNow) {
    TraceF(nullptr, 0,
           "Too many invalid UTF-8 in fgetcU16, no more error message will be written for %d "
           "seconds",
           d.interval);
    return;
  }
  TraceF(nullptr, 0, "Invalid UTF-8 encountered by %s (fileno 0x%x)", function,
         static_cast<unsigned>(fileno(stream)));
  if (raw != nullptr) u16_rawDump(raw + 1, raw[0]);
}

void SetFgetcErrorClock(SecondsClock clock) noexcept {
  zulu16::MtxGuard lock(&limiter_mutex);
  seconds_clock = clock != nullptr ? clock : MonotonicSeconds;
}

void ResetFgetcErrorCount() noexcept {
  zulu16::MtxGuard lock(&limiter_mutex);
  fgetcU_errors = 0;
  silenced = false;
}

int ReadUnitUnlocked(FILE *stream, const char *function) noexcept {
  ZUL_RAW raw[kRawCharSize];
  int error = 0;
  int c = getc_unlockedU16_errno(stream, raw, &error);
  if (error == EILSEQ && TraceLevel() != 0) ReportInvalidInput(function, stream, raw);
  return c > 0xFFFF ? kReplacementCharacter : c;
}

}  // namespace zulu16

int getc_unlockedU16_errno(FILE *stream, ZUL_RAW *raw, int *error) noexcept {
  if (error != nullptr) *error = 0;
  int c = getc_unlocked(stream);
  if (c == EOF || c < 0x80) return c;
  ZUL_RAW bytes[4] = {static_cast<ZUL_RAW>(c)};
  int follow = c >= 0xC0 && c <= 0xDF   ? 1
               : c >= 0xE0 && c <= 0xEF ? 2
               : c >= 0xF0 && c <= 0xF7 ? 3
                                        : 0;
  if (follow == 0) return Invalid(raw, bytes, 1, error);
  int value = c & (0x3F >> follow);
  for (int i = 1; i <= follow; ++i) {
    int b = getc_unlocked(stream);
    if (b == EOF) return EOF;
    if ((b & 0xC0) != 0x80) {
      // Not part of this character: left for the next read.
      ungetc(b, stream);
      return Invalid(raw, bytes, i, error);
    }
    bytes[i] = static_cast<ZUL_RAW>(b);
    value = (value << 6) | (b & 0x3F);
  }
  return value;
}

int fgetcU16(FILE *stream) noexcept {
  if (stream == nullptr) {
    errno = EINVAL;
    return EOF;
  }
  flockfile(stream);
  int c = zulu16::ReadUnitUnlocked(stream, "fgetcU16");
  funlockfile(stream);
  return c;
}

void u16_set_fgetcU_error_parameters(int max, int interval) noexcept {
  zulu16::MtxGuard lock(&limiter_mutex);
  if (max >= 0) no_fgetcU_errors_max = max;
  if (interval >= 0) fgetcU_errors_interval = interval;
}
