// Wrappers of the time text calls: ctime, asctime and strftime with 16-bit results.
#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "i18n/zulu16/u16_sys.h"
#include "zul_u16string.h"

namespace {

constexpr char kSource[] = "u16_sys_time";

// The C library writes at most 26 bytes; this leaves room for its own checks.
constexpr size_t kTimeTextBytes = 64;
// What the callers of the _r forms provide.
constexpr size_t kTimeTextUnits = 26;
// strftime output that fits this many bytes is formatted on the stack.
constexpr size_t kSmallFormatBytes = 1024;

struct TimeRecord {
  ZUL_UTF16 text[kTimeTextUnits];
};

ZUL_UTF16 *TimeText(const char *text, ZUL_UTF16 *buffer, const char *function) {
  if (text == nullptr || buffer == nullptr) return nullptr;
  zulu16::ResultToBuffer(buffer, kTimeTextUnits, text, kSource, __LINE__, function, "buf",
                         "kTimeTextUnits");
  return buffer;
}

ZUL_UTF16 *RecordFor(zulu16::ThreadSlot slot, const char *function) {
  auto *record = zulu16::ThreadRecordOf<TimeRecord>(slot, function);
  return record != nullptr ? record->text : nullptr;
}

// strftime into buffer of size units; 0 when the result is empty or doesn't fit.
size_t FormatTime(ZUL_UTF16 *buffer, size_t size, const ZUL_UTF16 *cformat, const struct tm *tm,
                  const char *function) {
  if (size == 0) return 0;
  buffer[0] = 0;
  U16_ARG(format, MAX_FORMATSTR_LN, cformat, function, "cformat");
  // Each unit of the result takes at most three bytes.
  size_t bytes = 3 * size + 1;
  char small[kSmallFormatBytes];
  char *out = small;
  if (bytes > sizeof small) {
    out = static_cast<char *>(std::malloc(bytes));
    if (out == nullptr) {
      nlsui_malloc_error(function, kSource, __LINE__, bytes);
      return 0;
    }
  }
  size_t written = 0;
  if (strftime(out, bytes, format.get(), tm) > 0 &&
      zulu16::ResultToBuffer(buffer, size, out, kSource, __LINE__, function, "s", "maxsize") ==
          NLSUI_CONV_OK) {
    written = strlenU16(buffer);
  }
  if (out != small) std::free(out);
  return written;
}

}  // namespace

ZUL_UTF16 *ctime_rU16(const time_t *clock, ZUL_UTF16 *buffer) noexcept {
  char text[kTimeTextBytes];
  return TimeText(ctime_r(clock, text), buffer, "ctime_rU16");
}

ZUL_UTF16 *asctime_rU16(const struct tm *tm, ZUL_UTF16 *buffer) noexcept {
  char text[kTimeTextBytes];
  return TimeText(asctime_r(tm, text), buffer, "asctime_rU16");
}

ZUL_UTF16 *ctimeU16(const time_t *clock) noexcept {
  ZUL_UTF16 *record = RecordFor(zulu16::ThreadSlot::kCtime, "ctimeU16");
  return record != nullptr ? ctime_rU16(clock, record) : nullptr;
}

ZUL_UTF16 *asctimeU16(const struct tm *tm) noexcept {
  ZUL_UTF16 *record = RecordFor(zulu16::ThreadSlot::kAsctime, "asctimeU16");
  return record != nullptr ? asctime_rU16(tm, record) : nullptr;
}

size_t strftimeU16(ZUL_UTF16 *buffer, size_t size, const ZUL_UTF16 *cformat,
                   const struct tm *tm) noexcept {
  return FormatTime(buffer, size, cformat, tm, "strftimeU16");
}

size_t strfctimeU16(ZUL_UTF16 *buffer, size_t size, const ZUL_UTF16 *cformat,
                    const time_t *clock) noexcept {
  struct tm local;
  if (clock == nullptr || localtime_r(clock, &local) == nullptr) return 0;
  return FormatTime(buffer, size, cformat, &local, "strfctimeU16");
}
