// The checked conversions between the wrappers' 16-bit arguments and the system's UTF-8, and the
// reporters they share. Both directions cut their source ahead of the conversion so that the
// converter never runs out of room: a cut is this layer's own report, not a conversion error.
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "i18n/zulu16/u16_sys.h"
#include "i18n/zulu16/u16_trace.h"
#include "zul_u16conv.h"
#include "zul_u16string.h"

namespace {

// Results up to this size are converted on the stack.
constexpr size_t kSmallResultUnits = 512;

inline size_t Utf8UnitLength(ZUL_UTF16 unit) { return unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3; }

// The first byte of src at which the unit with index `units` would begin, or end when src holds
// fewer units. Each byte other than a follow-up byte (10xxxxxx) begins one unit.
const ZUL_RAW *CutAfterUnits(const ZUL_RAW *src, const ZUL_RAW *end, size_t units) {
  size_t seen = 0;
  for (const ZUL_RAW *p = src; p < end; ++p) {
    if ((*p & 0xC0) == 0x80) continue;
    if (seen == units) return p;
    ++seen;
  }
  return end;
}

}  // namespace

namespace zulu16 {

size_t Utf8Length(const ZUL_UTF16 *text, size_t units) noexcept {
  size_t bytes = 0;
  for (size_t i = 0; i < units; ++i) bytes += Utf8UnitLength(text[i]);
  return bytes;
}

char *DupUtf8(const ZUL_UTF16 *text, size_t factor, const char *function) noexcept {
  size_t units = strlenU16(text);
  size_t size = factor * units + factor;
  auto *copy = static_cast<ZUL_RAW *>(std::malloc(size));
  if (copy == nullptr) {
    nlsui_malloc_error(function, "u16_sys_check", __LINE__, size);
    return nullptr;
  }
  const ZUL_UTF16 *s = text;
  ZUL_RAW *d = copy;
  // Three bytes per unit always fit, so the conversion can't fail.
  U2nToUtf8n(&s, text + units, &d, copy + size - 1);
  *d = 0;
  return reinterpret_cast<char *>(copy);
}

int ResultToBuffer(ZUL_UTF16 *dst, size_t units, const char *src, const char *source, int line,
                   const char *function, const char *parameter, const char *limit_name) noexcept {
  // Converted with one unit more than dst has, so that only a result that doesn't fit dst fills
  // the conversion buffer.
  ZUL_UTF16 small[kSmallResultUnits];
  ZUL_UTF16 *tmp = small;
  if (units + 1 > kSmallResultUnits) {
    tmp = static_cast<ZUL_UTF16 *>(std::malloc((units + 1) * sizeof(ZUL_UTF16)));
    if (tmp == nullptr) {
      nlsui_malloc_error(function, source, line, (units + 1) * sizeof(ZUL_UTF16));
      dst[0] = 0;
      return NLSUI_CONV_TOO_LONG;
    }
  }
  int rc =
      nlsui_Utf8sToU2s_checked(tmp, src, units + 1, source, line, function, parameter, limit_name);
  size_t len = strlenU16(tmp);
  if (len > units - 1) len = units - 1;
  std::memcpy(dst, tmp, len * sizeof(ZUL_UTF16));
  dst[len] = 0;
  if (tmp != small) std::free(tmp);
  return rc;
}

}  // namespace zulu16

int nlsui_U2sToUtf8s_checked(char *dst, const ZUL_UTF16 *src, size_t size, const char *source,
                             int line, const char *function, const char *parameter,
                             const char *limit_name) noexcept {
  if (size == 0) {
    nlsui_array_short(limit_name, function, parameter, source, line);
    return NLSUI_CONV_TOO_LONG;
  }
  size_t room = size - 1;
  size_t used = 0;
  const ZUL_UTF16 *end = src;
  if (src != nullptr) {
    for (; *end != 0; ++end) {
      size_t n = Utf8UnitLength(*end);
      if (used + n > room) break;
      used += n;
    }
  }
  const ZUL_UTF16 *s = src;
  auto *d = reinterpret_cast<ZUL_RAW *>(dst);
  if (used > 0) U2nToUtf8n(&s, end, &d, d + room);
  dst[used] = 0;
  // A value that fills the buffer can't be told from a cut one, so it counts as too long too.
  if ((src != nullptr && *end != 0) || used == room) {
    nlsui_array_short(limit_name, function, parameter, source, line);
    return NLSUI_CONV_TOO_LONG;
  }
  return NLSUI_CONV_OK;
}

int nlsui_Utf8sToU2s_checked(ZUL_UTF16 *dst, const char *src, size_t size, const char *source,
                             int line, const char *function, const char *parameter,
                             const char *limit_name) noexcept {
  if (size == 0) {
    nlsui_array_short(limit_name, function, parameter, source, line);
    return NLSUI_CONV_TOO_LONG;
  }
  if (src == nullptr) {
    dst[0] = 0;
    return NLSUI_CONV_OK;
  }
  size_t len = std::strlen(src);
  const auto *begin = reinterpret_cast<const ZUL_RAW *>(src);
  const ZUL_RAW *end = begin + len;
  const ZUL_RAW *cut = CutAfterUnits(begin, end, size - 1);
  const ZUL_RAW *s = begin;
  ZUL_UTF16 *d = dst;
  int rc = Utf8nToU2nSubst(&s, cut, &d, dst + size - 1, nullptr, nullptr);
  *d = 0;
  if (rc != 0) {
    nlsui_utf8conv_error(function, source, line, src, len);
    return NLSUI_CONV_INVALID;
  }
  if (cut != end || static_cast<size_t>(d - dst) == size - 1) {
    nlsui_array_short(limit_name, function, parameter, source, line);
    return NLSUI_CONV_TOO_LONG;
  }
  return NLSUI_CONV_OK;
}

void nlsui_utf8conv_error(const char *function, const char *source, int line, const void *bytes,
                          size_t count) noexcept {
  if (zulu16::TraceLevel() != 0) u16_utf8conv_error(function, source, line, bytes, count);
}

void nlsui_array_short(const char *limit_name, const char *function, const char *parameter,
                       const char *source, int line) noexcept {
  u16_array_short(limit_name, function, parameter, source, line);
  errno = ENAMETOOLONG;
}

void nlsui_malloc_error(const char *function, const char *source, int line, size_t size) noexcept {
  u16_malloc_error(function, source, line, size);
  errno = ENOMEM;
}

ZUL_UTF16 *nlsui_cast_raw2uc(const void *raw, const char *file, int line) noexcept {
  if ((reinterpret_cast<uintptr_t>(raw) & 1) != 0) {
    zulu16::TraceF(nullptr, 0, "ERROR: Casting an odd adress to ZUL_UTF16* in file %s, line %d\n",
                   file != nullptr ? file : "", line);
  }
  return static_cast<ZUL_UTF16 *>(const_cast<void *>(raw));
}

void u16_traceFopen(const char *function, const char *path, int fd) noexcept {
  if (zulu16::TraceLevel() < 16) return;
  zulu16::TraceF(nullptr, 0, "%s: opened \"%s\" as file descriptor %d\n",
                 function != nullptr ? function : "?", path != nullptr ? path : "(null)", fd);
}
