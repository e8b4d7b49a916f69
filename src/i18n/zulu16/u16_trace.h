// Internal helpers of the text runtime's trace, for the layers that report through it.
#ifndef TLM_I18N_ZULU16_U16_TRACE_H
#define TLM_I18N_ZULU16_U16_TRACE_H

#include "zul_u16trace.h"

namespace zulu16 {

// Formats an 8-bit message (printf rules, ASCII or UTF-8 text), widens it and hands it to
// u16_traceMsg. Messages longer than 4095 bytes are cut.
void TraceF(const char *file, int line, const char *format, ...) noexcept
    __attribute__((format(printf, 3, 4)));

// Reads the trace level; the design reads it without a lock from every thread.
inline int TraceLevel() { return __atomic_load_n(&u16_trace_level, __ATOMIC_RELAXED); }

}  // namespace zulu16

#endif  // TLM_I18N_ZULU16_U16_TRACE_H
