// Conversions of the system's 16-bit text to and from UTF-8 with sizes or terminators, as thin
// frames over Utf16nToUtf8n and Utf8nToUtf16nSubst (invalid UTF-8 becomes U+FFFD).
#include <cstdint>
#include <cstring>

#include "krn/rscp/rscp_report.h"
#include "zul_u16conv.h"
#include "zul_u16string.h"

namespace {

rscp::SourceName source_name("u16_conv_wrappers");

enum Site { kSiteNoRoomForTerminator = 1 };

int NoRoomForTerminator(int line) {
  return rscp::ReportConversionError(source_name, rscp::kDestOverflow, kSiteNoRoomForTerminator,
                                     line, u"dest buffer overflow");
}

// The sized conversions, one per direction.
int ConvertSized(ZUL_UTF16 *dst, size_t dst_units, size_t *length_out, const ZUL_RAW *src,
                 size_t src_bytes) {
  const ZUL_RAW *s = src;
  ZUL_UTF16 *d = dst;
  int rc = Utf8nToUtf16nSubst(&s, src + src_bytes, &d, dst + dst_units, &rscpReplacementCharacter,
                              nullptr);
  if (length_out != nullptr) *length_out = static_cast<size_t>(d - dst);
  return rc;
}

int ConvertSized(ZUL_RAW *dst, size_t dst_size, size_t *length_out, const ZUL_UTF16 *src,
                 size_t src_units) {
  const ZUL_UTF16 *s = src;
  ZUL_RAW *d = dst;
  int rc = Utf16nToUtf8n(&s, src + src_units, &d, dst + dst_size);
  if (length_out != nullptr) *length_out = static_cast<size_t>(d - dst);
  return rc;
}

bool Overlap(const void *a, size_t a_bytes, const void *b, size_t b_bytes) {
  auto a0 = reinterpret_cast<uintptr_t>(a);
  auto b0 = reinterpret_cast<uintptr_t>(b);
  return a0 < b0 + b_bytes && b0 < a0 + a_bytes;
}

// Converts into a ring buffer first when source and destination overlap.
template <class Dst, class Src>
int ConvertOverlap(Dst *dst, size_t dst_size, size_t *length_out, const Src *src, size_t src_size) {
  if (!Overlap(dst, dst_size * sizeof(Dst), src, src_size * sizeof(Src)))
    return ConvertSized(dst, dst_size, length_out, src, src_size);
  auto *buffer = static_cast<Dst *>(rscpuc_next_buff(dst_size * sizeof(Dst)));
  size_t written = 0;
  int rc = ConvertSized(buffer, dst_size, &written, src, src_size);
  std::memcpy(dst, buffer, written * sizeof(Dst));
  if (length_out != nullptr) *length_out = written;
  return rc;
}

size_t Length(const ZUL_RAW *s) {
  return s == nullptr ? 0 : std::strlen(reinterpret_cast<const char *>(s));
}
size_t Length(const ZUL_UTF16 *s) { return s == nullptr ? 0 : strlenU16(s); }

// The zero-terminated forms: the last unit of the destination is kept for the terminator, which
// is written whatever the conversion answers.
template <bool kOverlap, class Dst, class Src>
int ConvertTerminated(Dst *dst, size_t dst_size, size_t *length_out, const Src *src) {
  if (length_out != nullptr) *length_out = 0;
  if (dst_size == 0) return NoRoomForTerminator(__LINE__);
  size_t written = 0;
  int rc = kOverlap ? ConvertOverlap(dst, dst_size - 1, &written, src, Length(src))
                    : ConvertSized(dst, dst_size - 1, &written, src, Length(src));
  dst[written] = 0;
  if (length_out != nullptr) *length_out = written;
  return rc;
}

}  // namespace

int UcnToUtf8nCPFast(int, ZUL_RAW **dst, ZUL_RAW *dst_end, const ZUL_UTF16 **src,
                     const ZUL_UTF16 *src_end) noexcept {
  return Utf16nToUtf8n(src, src_end, dst, dst_end);
}

int Utf8nToUcnCPFast(int, ZUL_UTF16 **dst, ZUL_UTF16 *dst_end, const ZUL_RAW **src,
                     const ZUL_RAW *src_end) noexcept {
  return Utf8nToUtf16nSubst(src, src_end, dst, dst_end, &rscpReplacementCharacter, nullptr);
}

int UcnToUtf8nFastOverlap_2(ZUL_RAW *dst, size_t dst_size, size_t *length_out, const ZUL_UTF16 *src,
                            size_t src_units) noexcept {
  return ConvertOverlap(dst, dst_size, length_out, src, src_units);
}

int Utf8nToUcnFastOverlap_2(ZUL_UTF16 *dst, size_t dst_units, size_t *length_out,
                            const ZUL_RAW *src, size_t src_bytes) noexcept {
  return ConvertOverlap(dst, dst_units, length_out, src, src_bytes);
}

int Utf8sToUcsFast(ZUL_UTF16 *dst, size_t dst_units, size_t *length_out,
                   const ZUL_RAW *src) noexcept {
  return ConvertTerminated<false>(dst, dst_units, length_out, src);
}

int UcsToUtf8sFast(ZUL_RAW *dst, size_t dst_size, size_t *length_out,
                   const ZUL_UTF16 *src) noexcept {
  return ConvertTerminated<false>(dst, dst_size, length_out, src);
}

int Utf8sToUcsFastOverlap(ZUL_UTF16 *dst, size_t dst_units, size_t *length_out,
                          const ZUL_RAW *src) noexcept {
  return ConvertTerminated<true>(dst, dst_units, length_out, src);
}

int UcsToUtf8sFastOverlap(ZUL_RAW *dst, size_t dst_size, size_t *length_out,
                          const ZUL_UTF16 *src) noexcept {
  return ConvertTerminated<true>(dst, dst_size, length_out, src);
}
