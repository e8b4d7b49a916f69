// The mode of the continuous local time, its profile hooks, and its trace.
#include <atomic>
#include <cstdarg>

#include "krn/uxport/contloct.h"
#include "zul_u16printf.h"
#include "zul_u16string.h"

namespace {

constexpr ZUL_UTF16 kModeParameter[] = u"zdate/DSTswitch_contloctime";

// 0 while not yet read.
std::atomic<int> mode{0};
std::atomic<CONTLOCT_PROFILE_READER> reader{nullptr};
std::atomic<CONTLOCT_TRACE_WRITER> trace_writer{nullptr};
std::atomic<void *> trace_handle{nullptr};
std::atomic<int> trace_level{1};

// The mode a profile value selects; *known is false for a text that isn't one of the three.
int ModeOf(const ZUL_UTF16 *value, bool *known) {
  *known = true;
  if (value == nullptr || value[0] == 0 || strcmpU16(value, u"on") == 0) return CONTLOCT_MODE_NEW;
  if (strcmpU16(value, u"off") == 0) return CONTLOCT_MODE_OFF;
  *known = strcmpU16(value, u"old") == 0;
  return CONTLOCT_MODE_OLD;
}

}  // namespace

namespace contloct {

int CurrentMode() noexcept {
  int current = mode.load(std::memory_order_relaxed);
  if (current != 0) return current;
  CONTLOCT_PROFILE_READER read = reader.load(std::memory_order_relaxed);
  bool known;
  current = read != nullptr ? ModeOf(read(kModeParameter), &known) : CONTLOCT_MODE_NEW;
  mode.store(current, std::memory_order_relaxed);
  return current;
}

void Trace(int level, const ZUL_UTF16 *format, ...) noexcept {
  CONTLOCT_TRACE_WRITER writer = trace_writer.load(std::memory_order_relaxed);
  if (writer == nullptr || trace_level.load(std::memory_order_relaxed) < level) return;
  // A variadic writer can't take a va_list: the text is formatted here and handed on whole.
  va_list args;
  va_start(args, format);
  ZUL_UTF16 text[256];
  vsnprintfU16(text, sizeof text / sizeof text[0], format, args);
  va_end(args);
  writer(trace_handle.load(std::memory_order_relaxed), u"%s", text);
}

}  // namespace contloct

void ContLoct_Init(CONTLOCT_PROFILE_READER profile_reader) noexcept {
  reader.store(profile_reader, std::memory_order_relaxed);
  mode.store(0, std::memory_order_relaxed);
}

void ContLoctRegisterTrace(CONTLOCT_TRACE_WRITER writer, void *handle) noexcept {
  trace_handle.store(handle, std::memory_order_relaxed);
  trace_writer.store(writer, std::memory_order_relaxed);
}

void ContLoctSetTraceLevel(int level) noexcept {
  trace_level.store(level, std::memory_order_relaxed);
}

int abSet_contloctime(const ZUL_UTF16 *, const ZUL_UTF16 *value) noexcept {
  bool known;
  mode.store(ModeOf(value, &known), std::memory_order_relaxed);
  return known ? 0 : 1;
}

int abTest_contloctime(const ZUL_UTF16 *, const ZUL_UTF16 *value) noexcept {
  bool known;
  ModeOf(value, &known);
  return known ? 0 : 1;
}
