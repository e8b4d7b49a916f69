// Conversions whose results live in the calling thread's ring of volatile buffers.
#include <cstring>

#include "zul_u16conv.h"
#include "zul_u16string.h"

namespace {

const char kEmptyBytes[] = "";
const ZUL_UTF16 kEmptyUnits[] = u"";

const char *Bytes(const char *s) { return s != nullptr ? s : kEmptyBytes; }
const ZUL_UTF16 *Units(const ZUL_UTF16 *s) { return s != nullptr ? s : kEmptyUnits; }

template <class T>
T *NextBuffer(size_t elements) {
  return static_cast<T *>(rscpuc_next_buff(elements * sizeof(T)));
}

}  // namespace

char *UcnToA7nVola(const ZUL_UTF16 *src, size_t n) noexcept {
  if (src == nullptr) n = 0;
  char *out = NextBuffer<char>(n + 1);
  UcnToA7n(out, src, n);
  out[n] = 0;
  return out;
}

char *UcsToA7sVola(const ZUL_UTF16 *src) noexcept {
  src = Units(src);
  return UcsToA7s(NextBuffer<char>(strlenU16(src) + 1), src);
}

ZUL_UTF16 *A7nToUcnVola(const char *src, size_t n) noexcept {
  if (src == nullptr) n = 0;
  ZUL_UTF16 *out = NextBuffer<ZUL_UTF16>(n + 1);
  A7nToUcn(out, src, n);
  out[n] = 0;
  return out;
}

ZUL_UTF16 *A7sToUcsVola(const char *src) noexcept {
  src = Bytes(src);
  return A7sToUcs(NextBuffer<ZUL_UTF16>(std::strlen(src) + 1), src);
}

ZUL_UTF16 *E8sToUcsVola(const char *src) noexcept {
  src = Bytes(src);
  return E8sToUcs(NextBuffer<ZUL_UTF16>(std::strlen(src) + 1), src);
}

char *UcsToE8sVola(const ZUL_UTF16 *src) noexcept {
  src = Units(src);
  return UcsToE8s(NextBuffer<char>(strlenU16(src) + 1), src);
}

// Each byte gives at most one unit, so the source length bounds the result.
ZUL_UTF16 *Utf8sToUcsVola(const ZUL_RAW *src) noexcept {
  const char *text = Bytes(reinterpret_cast<const char *>(src));
  const size_t n = std::strlen(text);
  ZUL_UTF16 *out = NextBuffer<ZUL_UTF16>(n + 1);
  const ZUL_RAW *s = reinterpret_cast<const ZUL_RAW *>(text);
  ZUL_UTF16 *d = out;
  Utf8nToUtf16nSubstAll(&s, s + n, &d, out + n);
  *d = 0;
  return out;
}

// Each unit gives at most three bytes (a pair gives four for two units).
ZUL_RAW *UcsToUtf8sVola(const ZUL_UTF16 *src) noexcept {
  src = Units(src);
  const size_t n = strlenU16(src);
  ZUL_RAW *out = NextBuffer<ZUL_RAW>(3 * n + 1);
  const ZUL_UTF16 *s = src;
  ZUL_RAW *d = out;
  Utf16nToUtf8nSubstAll(&s, src + n, &d, out + 3 * n);
  *d = 0;
  return out;
}
