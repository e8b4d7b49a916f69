// The single way out of the trace: to a stream as UTF-8, or to output_func while one is set.
#include <cstring>

#include "trace/ctrc_state.h"
#include "zul_thr.h"
#include "zul_u16printf.h"
#include "zul_u16stdio.h"

namespace dptrace {

namespace {

// The buffer of the direct prints, apart from the line buffer so that a report can be printed
// while a line is still being examined.
char16_t message_buffer[kLineUnits];

}  // namespace

int Emit(FILE *stream, const char16_t *text, size_t units) {
  if (output_func != nullptr) return output_func(text, units, output_info);
  if (units == 0) return 0;
  thr::ScopedSignalBlock host_signals;
  return static_cast<int>(fwriteU16(text, 1, units, stream));
}

void Flush(FILE *stream) {
  if (output_func != nullptr) return;
  thr::ScopedSignalBlock host_signals;
  fflush(stream);
}

StreamSignalBlock::StreamSignalBlock() {
  if (output_func == nullptr) block_.emplace();
}

bool IsUnownedStream(FILE *stream) { return stream == stderr || output_func != nullptr; }

int PrintVar(FILE *stream, const char16_t *format, va_list args) {
  int n = vsnprintfU16(message_buffer, kLineUnits, format, args);
  if (n < 0) return n;
  size_t units = static_cast<size_t>(n) < kLineUnits ? static_cast<size_t>(n) : kLineUnits - 1;
  return Emit(stream, message_buffer, units);
}

int Print(FILE *stream, const char16_t *format, ...) {
  va_list args;
  va_start(args, format);
  int rc = PrintVar(stream, format, args);
  va_end(args);
  return rc;
}

size_t ThreadPrefix(char16_t *out) {
  // A thread's id never changes, so its text is made once per thread.
  thread_local char16_t prefix[THR_ID_STR_SIZE + 10];
  thread_local size_t prefix_units = 0;
  if (prefix_units == 0) {
    char16_t id_text[THR_ID_STR_SIZE] = u"???";
    THR_ID id = ThrGetCurrentId();
    if (!ThrIdEqual(id, THR_INVALID_ID)) ThrId2Str(id_text, id);
    prefix_units = static_cast<size_t>(
        snprintfU16(prefix, sizeof prefix / sizeof prefix[0], u"[Thr %02s] ", id_text));
  }
  std::memcpy(out, prefix, prefix_units * sizeof(char16_t));
  return prefix_units;
}

}  // namespace dptrace
