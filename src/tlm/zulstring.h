// The growable string of 16-bit text units used throughout the instrumentation core.
#ifndef TLM_TLM_ZULSTRING_H
#define TLM_TLM_ZULSTRING_H

#include <string>

#include "zul_base.h"

// Compared unit by unit, as unsigned 16-bit values.
using zulstring = std::basic_string<ZUL_UTF16>;

#endif  // TLM_TLM_ZULSTRING_H
