// The library's trace lines: a fixed line of 255 units, blank-filled, then formatted.
#include "epp/epp_trace.h"

#include <cstdarg>

#include "zul_u16printf.h"
#include "zul_u16string.h"

namespace epp {
namespace {

constexpr size_t kLineUnits = 255;
constexpr ZUL_UTF16 kErrorPrefix[] = u"*** ERROR => ";
constexpr size_t kErrorPrefixUnits = sizeof(kErrorPrefix) / sizeof(ZUL_UTF16) - 1;

void Write(const ZUL_UTF16 *prefix, size_t prefix_units, const ZUL_UTF16 *format, va_list args) {
  EPP_TRACE_FUNC func = eppTraceFunc;
  if (func == nullptr) return;
  ZUL_UTF16 line[kLineUnits];
  memsetU16(line, u' ', kLineUnits);
  for (size_t i = 0; i < prefix_units; ++i) line[i] = prefix[i];
  vsnprintfU16(line + prefix_units, kLineUnits - prefix_units, format, args);
  func(line);
}

}  // namespace

void eppTrc(const ZUL_UTF16 *format, ...) noexcept {
  va_list args;
  va_start(args, format);
  Write(nullptr, 0, format, args);
  va_end(args);
}

void eppTrcErr(const ZUL_UTF16 *format, ...) noexcept {
  va_list args;
  va_start(args, format);
  Write(kErrorPrefix, kErrorPrefixUnits, format, args);
  va_end(args);
}

}  // namespace epp
