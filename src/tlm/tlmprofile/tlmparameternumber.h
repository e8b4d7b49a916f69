// How a parameter's text becomes a number.
#ifndef TLM_TLMPROFILE_TLMPARAMETERNUMBER_H
#define TLM_TLMPROFILE_TLMPARAMETERNUMBER_H

#include "zul_u16string.h"

namespace tlmprofile {

// The base-10 number at the start of text (after white space and a sign), narrowed to T's width
// without a check: 0 when the text doesn't start with a number, trailing text ignored, and the
// limits of long for numbers beyond it. "70000" gives 4464 as a uint16_t, "-1" 65535.
template <typename T>
T parameterNumber(const ZUL_UTF16 *text) {
  return static_cast<T>(strtolU16(text, nullptr, 10));
}

}  // namespace tlmprofile

#endif  // TLM_TLMPROFILE_TLMPARAMETERNUMBER_H
