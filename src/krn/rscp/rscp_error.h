// Internals shared by the error record and its printed forms.
#ifndef KRN_RSCP_RSCP_ERROR_H
#define KRN_RSCP_RSCP_ERROR_H

#include <cstddef>

#include "zul_rscp.h"

namespace rscp {

// The return code table: codes 1 to 12, each a 12-character name and a text, 51 units in all.
inline constexpr int kReturnCodeCount = 12;
extern const ZUL_UTF16 *const kReturnCodeTexts[kReturnCodeCount];

// Copies src (null counts as empty) into dst of units units, cut and terminated.
void rscpuc_strfcpy(ZUL_UTF16 *dst, const ZUL_UTF16 *src, size_t units) noexcept;

// 16-bit text as 8-bit, units above 127 as '#', cut to size - 1 bytes and terminated.
void Narrow(char *dst, size_t size, const ZUL_UTF16 *src) noexcept;

// The calling thread's record, made on first use; a shared static record when memory is short.
RSCPE_RECORD *ThreadRecord() noexcept;

}  // namespace rscp

#endif  // KRN_RSCP_RSCP_ERROR_H
