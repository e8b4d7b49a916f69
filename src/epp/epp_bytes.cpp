// Text fields of the network form: UTF-8, blank-padded to a fixed width, no terminator.
#include "epp/epp_bytes.h"

#include <cstring>

#include "zul_u16conv.h"

namespace epp {

namespace {
constexpr size_t kWidestField = 40;
constexpr int kDestinationFull = 32;
}  // namespace

void PutTextField(ZUL_RAW *field, size_t width, const ZUL_UTF16 *text) {
  ZUL_RAW area[kWidestField + 1];
  size_t bytes = 0;
  // A text longer than the field is cut by the conversion; what fits is kept.
  UcsToUtf8sFast(area, width + 1, &bytes, text);
  std::memcpy(field, area, bytes);
  std::memset(field + bytes, ' ', width - bytes);
}

int GetTextUpTo(const ZUL_RAW *src, const ZUL_RAW *end, ZUL_UTF16 *area, size_t area_units,
                size_t *units) {
  *units = 0;
  if (area_units == 0) return kDestinationFull;
  size_t available = src < end ? static_cast<size_t>(end - src) : 0;
  const void *zero = available > 0 ? std::memchr(src, 0, available) : nullptr;
  const ZUL_RAW *text_end = zero != nullptr ? static_cast<const ZUL_RAW *>(zero) : src + available;
  const ZUL_RAW *s = src;
  ZUL_UTF16 *d = area;
  int rc = Utf8nToUtf16nSubst(&s, text_end, &d, area + area_units - 1, &rscpReplacementCharacter,
                              nullptr);
  *d = 0;
  *units = static_cast<size_t>(d - area);
  return rc;
}

}  // namespace epp
