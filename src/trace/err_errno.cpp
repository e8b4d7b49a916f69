// Texts of errno values and formats made safe from a text.
#include "trace/err_state.h"
#include "zul_thr.h"

namespace {

constexpr size_t kErrnoUnits = 256;

}  // namespace

ZUL_UTF16 *ErrPrErrno2(int n, ZUL_UTF16 *buffer, size_t size) noexcept {
  if (buffer == nullptr || size == 0) return buffer;
  buffer[0] = 0;
  if (n <= 0 || n > 9999) return buffer;
  int units = size > kErrnoUnits ? static_cast<int>(kErrnoUnits) : static_cast<int>(size);
  if (ThrStrError(n, buffer, units) == nullptr) buffer[0] = 0;
  return buffer;
}

const ZUL_UTF16 *ErrPrErrno(int n) noexcept {
  thread_local ZUL_UTF16 text[kErrnoUnits];
  return ErrPrErrno2(n, text, kErrnoUnits);
}

ZUL_UTF16 *ErrSafeAsFmtString(const ZUL_UTF16 *text, ZUL_UTF16 *out, size_t size) noexcept {
  if (out == nullptr || size == 0) return out;
  size_t used = 0;
  for (; text != nullptr && *text != 0; ++text) {
    size_t need = *text == u'%' ? 2 : 1;
    if (used + need >= size) break;
    if (*text == u'%') out[used++] = u'%';
    out[used++] = *text;
  }
  out[used] = 0;
  return out;
}
