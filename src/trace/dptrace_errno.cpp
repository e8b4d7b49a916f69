// The text of errno for the system error lines and perrno.
#include <cerrno>
#include <cstring>

#include "trace/ctrc_state.h"
#include "zul_dptrace.h"
#include "zul_u16conv.h"

namespace dptrace {

int ErrnoText(int value, char16_t *out) {
  char buffer[1024];
  const char *text = strerror_r(value, buffer, sizeof buffer);
  if (text == nullptr) {
    A7sToUcs(out, "illegal errno");
    return 2;
  }
  if (std::strlen(text) > 255) {
    A7sToUcs(out, "error text too long");
    return 1;
  }
  A7sToUcs(out, text);
  return 0;
}

}  // namespace dptrace

int perrno(CTRC_HDL hdl) noexcept {
  int error = errno;
  dptrace::ErrnoKeeper keep_errno;
  ctrc::Lock lock;
  ctrc::Target target = ctrc::Resolve(hdl);
  if (target.Silenced()) return 0;
  char16_t text[256];
  switch (dptrace::ErrnoText(error, text)) {
    case 0:
      return dptrace::Print(target.stream, u" (%d: %s)", error, text);
    case 1:
      return dptrace::Print(target.stream, u" (%d) - error text too long", error);
    default:
      return dptrace::Print(target.stream, u" (%d) - illegal errno", error);
  }
}
