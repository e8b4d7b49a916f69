// The kit's short string helpers, the aliases of the Fast conversions, and identification texts.
#include <cstdio>

#include "zul_u16conv.h"

namespace {

// Units of a zero-terminated string of either width, before the terminator; 0 for null.
template <typename Unit>
size_t Length(const Unit *s) {
  size_t n = 0;
  if (s != nullptr)
    while (s[n] != 0) ++n;
  return n;
}

// Copies a zero-terminated string with its terminator and answers dst.
template <typename Unit>
Unit *Copy(Unit *dst, const Unit *src) {
  size_t i = 0;
  while ((dst[i] = src[i]) != 0) ++i;
  return dst;
}

}  // namespace

size_t UcsLen(const ZUL_UTF16 *s) noexcept { return Length(s); }
size_t U2sLen(const ZUL_UTF16 *s) noexcept { return Length(s); }
size_t U4sLen(const uint32_t *s) noexcept { return Length(s); }

size_t Utf16sLen(const ZUL_UTF16 *s) noexcept {
  size_t n = 0;
  if (s == nullptr) return 0;
  for (; *s != 0; ++s, ++n)
    if (*s >= 0xD800 && *s <= 0xDBFF && s[1] >= 0xDC00 && s[1] <= 0xDFFF) ++s;
  return n;
}

ZUL_UTF16 *U2sCpy(ZUL_UTF16 *dst, const ZUL_UTF16 *src) noexcept { return Copy(dst, src); }
uint32_t *U4sCpy(uint32_t *dst, const uint32_t *src) noexcept { return Copy(dst, src); }

char *UcsToB8sNolim(char *dst, const ZUL_UTF16 *src) noexcept {
  size_t i = 0;
  for (; src[i] != 0; ++i) dst[i] = src[i] < 256 ? static_cast<char>(src[i]) : '#';
  dst[i] = 0;
  return dst;
}

ZUL_UTF16 *B8sToUcsNolim(ZUL_UTF16 *dst, const char *src) noexcept {
  size_t i = 0;
  for (; src[i] != 0; ++i) dst[i] = static_cast<unsigned char>(src[i]);
  dst[i] = 0;
  return dst;
}

char U2ToA7(ZUL_UTF16 unit) noexcept { return UcToA7(unit); }
char Utf8ToA7(ZUL_RAW byte) noexcept { return byte < 128 ? static_cast<char>(byte) : '#'; }
ZUL_UTF16 E8ToU2(char byte) noexcept { return E8ToUc(byte); }
char U2ToE8(ZUL_UTF16 unit) noexcept { return UcToE8(unit); }

int Utf8sToUcs(ZUL_UTF16 *dst, size_t dst_units, size_t *length_out, const ZUL_RAW *src) noexcept {
  return Utf8sToUcsFast(dst, dst_units, length_out, src);
}
int UcsToUtf8s(ZUL_RAW *dst, size_t dst_size, size_t *length_out, const ZUL_UTF16 *src) noexcept {
  return UcsToUtf8sFast(dst, dst_size, length_out, src);
}
int Utf8sToUcsOverlap(ZUL_UTF16 *dst, size_t dst_units, size_t *length_out,
                      const ZUL_RAW *src) noexcept {
  return Utf8sToUcsFastOverlap(dst, dst_units, length_out, src);
}
int UcsToUtf8sOverlap(ZUL_RAW *dst, size_t dst_size, size_t *length_out,
                      const ZUL_UTF16 *src) noexcept {
  return UcsToUtf8sFastOverlap(dst, dst_size, length_out, src);
}
int Utf8nToUcnOverlap_2(ZUL_UTF16 *dst, size_t dst_units, size_t *length_out, const ZUL_RAW *src,
                        size_t src_bytes) noexcept {
  return Utf8nToUcnFastOverlap_2(dst, dst_units, length_out, src, src_bytes);
}
int UcnToUtf8nOverlap_2(ZUL_RAW *dst, size_t dst_size, size_t *length_out, const ZUL_UTF16 *src,
                        size_t src_units) noexcept {
  return UcnToUtf8nFastOverlap_2(dst, dst_size, length_out, src, src_units);
}
int Utf8nToUcnCP(int cp, ZUL_UTF16 **dst, ZUL_UTF16 *dst_end, const ZUL_RAW **src,
                 const ZUL_RAW *src_end) noexcept {
  return Utf8nToUcnCPFast(cp, dst, dst_end, src, src_end);
}
int UcnToUtf8nCP(int cp, ZUL_RAW **dst, ZUL_RAW *dst_end, const ZUL_UTF16 **src,
                 const ZUL_UTF16 *src_end) noexcept {
  return UcnToUtf8nCPFast(cp, dst, dst_end, src, src_end);
}
// The _4 names are the same entry points as the plain ones.
int Utf8nToUcnCP_4(int, ZUL_UTF16 **, ZUL_UTF16 *, const ZUL_RAW **, const ZUL_RAW *) noexcept
    __attribute__((alias("Utf8nToUcnCP")));
int UcnToUtf8nCP_4(int, ZUL_RAW **, ZUL_RAW *, const ZUL_UTF16 **, const ZUL_UTF16 *) noexcept
    __attribute__((alias("UcnToUtf8nCP")));

const char *rscpg_utf16_cc(void) noexcept { return "41034102410341104103"; }

int GetZULFileVersion(char *buffer, size_t size) noexcept {
  return std::snprintf(buffer, size,
                       "FileVersion: 720, patch 621, changelist 1515135\n"
                       "ProductVersion: 7200, 621, 23, 7807\n"
                       "SpecialBuild: 621\n"
                       "Platform: linuxx86_64\n");
}
