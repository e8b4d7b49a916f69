// Big-endian numbers and the text fields of the network form.
#ifndef TLM_EPP_EPP_BYTES_H
#define TLM_EPP_EPP_BYTES_H

#include <cstddef>
#include <cstdint>

#include "zul_base.h"

namespace epp {

inline void PutU16(ZUL_RAW *p, uint16_t v) {
  p[0] = static_cast<ZUL_RAW>(v >> 8);
  p[1] = static_cast<ZUL_RAW>(v);
}
inline void PutU32(ZUL_RAW *p, uint32_t v) {
  PutU16(p, static_cast<uint16_t>(v >> 16));
  PutU16(p + 2, static_cast<uint16_t>(v));
}
inline uint16_t GetU16(const ZUL_RAW *p) { return static_cast<uint16_t>(p[0] << 8 | p[1]); }
// The network form's lengths and counts are read as signed 16-bit numbers.
inline int GetI16(const ZUL_RAW *p) { return static_cast<int16_t>(GetU16(p)); }
inline uint32_t GetU32(const ZUL_RAW *p) {
  return static_cast<uint32_t>(GetU16(p)) << 16 | GetU16(p + 2);
}

// Writes zero-terminated text as UTF-8 into a field of width bytes, cut to the field and padded
// with blanks.
void PutTextField(ZUL_RAW *field, size_t width, const ZUL_UTF16 *text);

// Converts the zero-terminated UTF-8 at src into area (area_units units, the last kept for the
// terminator), which is terminated. The text ends at its first zero byte or at end, whichever
// comes first: nothing at or after end is read. Answers the conversion's result (0, or the class
// of the failure: 32 when the area was filled); *units gets the units written.
int GetTextUpTo(const ZUL_RAW *src, const ZUL_RAW *end, ZUL_UTF16 *area, size_t area_units,
                size_t *units);

}  // namespace epp

#endif  // TLM_EPP_EPP_BYTES_H
