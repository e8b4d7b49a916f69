// Allocation and copying with sizes in 16-bit units, and copies that check for overlap.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "i18n/zulu16/u16_trace.h"
#include "zul_u16string.h"

namespace {

constexpr size_t kMaxUnits = SIZE_MAX / sizeof(ZUL_UTF16);

bool Overlap(const void *dst, const void *src, size_t bytes) {
  auto d = reinterpret_cast<uintptr_t>(dst);
  auto s = reinterpret_cast<uintptr_t>(src);
  return bytes != 0 && d < s + bytes && s < d + bytes;
}

void *CheckedCopy(void *dst, const void *src, size_t count, size_t unit_bytes, const char *function,
                  const char *file, int line) {
  size_t bytes = count * unit_bytes;
  if (Overlap(dst, src, bytes)) {
    zulu16::TraceF(file, line,
                   "%s(): ERROR: source and destination overlap: %zu %s from %p to %p; moved "
                   "instead",
                   function, count, unit_bytes == 1 ? "bytes" : "units", src, dst);
    return std::memmove(dst, src, bytes);
  }
  return std::memcpy(dst, src, bytes);
}

}  // namespace

void *mallocU(size_t units) noexcept {
  return units > kMaxUnits ? nullptr : std::malloc(units * sizeof(ZUL_UTF16));
}

void *callocU(size_t count, size_t units) noexcept {
  return units > kMaxUnits ? nullptr : std::calloc(count, units * sizeof(ZUL_UTF16));
}

void *reallocU(void *p, size_t units) noexcept {
  return units > kMaxUnits ? nullptr : std::realloc(p, units * sizeof(ZUL_UTF16));
}

void *memmoveU(void *dst, const void *src, size_t units) noexcept {
  return std::memmove(dst, src, units * sizeof(ZUL_UTF16));
}

void *memcpyU(void *dst, const void *src, size_t units) noexcept {
  return std::memcpy(dst, src, units * sizeof(ZUL_UTF16));
}

void *memcpyUChk(void *dst, const void *src, size_t units, const char *file, int line) noexcept {
  return CheckedCopy(dst, src, units, sizeof(ZUL_UTF16), "memcpyUChk", file, line);
}

void *memcpyRChk(void *dst, const void *src, size_t bytes, const char *file, int line) noexcept {
  return CheckedCopy(dst, src, bytes, 1, "memcpyRChk", file, line);
}
