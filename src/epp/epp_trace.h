// The passport library's trace lines, written through eppTraceFunc.
#ifndef TLM_EPP_EPP_TRACE_H
#define TLM_EPP_EPP_TRACE_H

#include "zul_epp.h"

namespace epp {

// Formats into a line of 255 units and hands it to eppTraceFunc.
void eppTrc(const ZUL_UTF16 *format, ...) noexcept;
// The same, with "*** ERROR => " in front.
void eppTrcErr(const ZUL_UTF16 *format, ...) noexcept;

inline bool TraceAbove(int32_t level) { return eppTraceFunc != nullptr && eppTraceLevel > level; }

}  // namespace epp

// A line written when the trace level is above level; formats nothing otherwise.
#define EPP_TRC(level, ...)                               \
  do {                                                    \
    if (epp::TraceAbove(level)) epp::eppTrc(__VA_ARGS__); \
  } while (0)
#define EPP_ERR(level, ...)                                  \
  do {                                                       \
    if (epp::TraceAbove(level)) epp::eppTrcErr(__VA_ARGS__); \
  } while (0)

#endif  // TLM_EPP_EPP_TRACE_H
