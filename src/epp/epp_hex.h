// Hexadecimal text of bytes, as passports show their identifiers.
#ifndef TLM_EPP_EPP_HEX_H
#define TLM_EPP_EPP_HEX_H

#include <cstdint>

#include "zul_base.h"

namespace epp {

// Capital hexadecimal digits of count bytes into out (2 * count units, no terminator).
void eppX2C(const ZUL_RAW *bytes, uint32_t count, ZUL_UTF16 *out);

}  // namespace epp

#endif  // TLM_EPP_EPP_HEX_H
