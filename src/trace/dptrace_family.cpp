// The exported writer families: each name selects the writer, the encoding of its format and the
// flags (1 time stamp, 2 thread prefix, 4 warning).
#include "trace/ctrc_state.h"
#include "zul_dptrace.h"

using dptrace::ErrorWriter;
using dptrace::kEncodingA7;
using dptrace::kEncodingU16;
using dptrace::SysErrorWriter;
using dptrace::TraceWriter;

// A variadic form: hands its arguments as a va_list to the writer.
#define DPTRC_VARIADIC(name, writer, char_type, encoding, flags)  \
  int name(CTRC_HDL hdl, const char_type *format, ...) noexcept { \
    va_list args;                                                 \
    va_start(args, format);                                       \
    int rc = writer(hdl, encoding, flags, format, args);          \
    va_end(args);                                                 \
    return rc;                                                    \
  }

// A form that takes a va_list.
#define DPTRC_VA_LIST(name, writer, char_type, encoding, flags)            \
  int name(CTRC_HDL hdl, const char_type *format, va_list args) noexcept { \
    return writer(hdl, encoding, flags, format, args);                     \
  }

DPTRC_VARIADIC(DpTrc, TraceWriter, ZUL_UTF16, kEncodingU16, 3)
DPTRC_VA_LIST(DpTrcVar, TraceWriter, ZUL_UTF16, kEncodingU16, 3)
DPTRC_VARIADIC(DpTrcNoThr, TraceWriter, ZUL_UTF16, kEncodingU16, 1)
DPTRC_VA_LIST(DpTrcNoThrVar, TraceWriter, ZUL_UTF16, kEncodingU16, 1)
DPTRC_VARIADIC(DpTrcNoTi, TraceWriter, ZUL_UTF16, kEncodingU16, 2)
DPTRC_VA_LIST(DpTrcNoTiVar, TraceWriter, ZUL_UTF16, kEncodingU16, 2)
DPTRC_VARIADIC(DpTrcNoTiNoThr, TraceWriter, ZUL_UTF16, kEncodingU16, 0)
DPTRC_VA_LIST(DpTrcNoTiNoThrVar, TraceWriter, ZUL_UTF16, kEncodingU16, 0)

DPTRC_VARIADIC(DpTrcA7, TraceWriter, char, kEncodingA7, 3)
DPTRC_VARIADIC(DpTrcA7Fmt, TraceWriter, char, kEncodingA7, 3)
DPTRC_VA_LIST(DpTrcVarA7, TraceWriter, char, kEncodingA7, 3)
DPTRC_VARIADIC(DpTrcNoThrA7, TraceWriter, char, kEncodingA7, 1)
DPTRC_VA_LIST(DpTrcNoThrVarA7, TraceWriter, char, kEncodingA7, 1)
DPTRC_VARIADIC(DpTrcNoTiA7, TraceWriter, char, kEncodingA7, 2)
DPTRC_VA_LIST(DpTrcNoTiVarA7, TraceWriter, char, kEncodingA7, 2)
DPTRC_VARIADIC(DpTrcNoTiNoThrA7, TraceWriter, char, kEncodingA7, 0)
DPTRC_VA_LIST(DpTrcNoTiNoThrVarA7, TraceWriter, char, kEncodingA7, 0)

DPTRC_VARIADIC(DpTrcErr, ErrorWriter, ZUL_UTF16, kEncodingU16, 3)
DPTRC_VA_LIST(DpTrcErrVar, ErrorWriter, ZUL_UTF16, kEncodingU16, 3)
DPTRC_VARIADIC(DpTrcErrNoThr, ErrorWriter, ZUL_UTF16, kEncodingU16, 1)
DPTRC_VARIADIC(DpTrcErrA7, ErrorWriter, char, kEncodingA7, 3)
DPTRC_VARIADIC(DpTrcErrNoThrA7, ErrorWriter, char, kEncodingA7, 1)
DPTRC_VARIADIC(DpTrcWarn, ErrorWriter, ZUL_UTF16, kEncodingU16, 7)
DPTRC_VA_LIST(DpTrcWarnVar, ErrorWriter, ZUL_UTF16, kEncodingU16, 7)
DPTRC_VARIADIC(DpTrcWarnNoThr, ErrorWriter, ZUL_UTF16, kEncodingU16, 5)
DPTRC_VA_LIST(DpTrcWarnNoThrVar, ErrorWriter, ZUL_UTF16, kEncodingU16, 5)
DPTRC_VARIADIC(DpTrcWarnA7, ErrorWriter, char, kEncodingA7, 7)
DPTRC_VARIADIC(DpTrcWarnNoThrA7, ErrorWriter, char, kEncodingA7, 5)

DPTRC_VARIADIC(DpSysErr, SysErrorWriter, ZUL_UTF16, kEncodingU16, 3)
DPTRC_VARIADIC(DpSysErrNoThr, SysErrorWriter, ZUL_UTF16, kEncodingU16, 1)
DPTRC_VARIADIC(DpSysErrA7, SysErrorWriter, char, kEncodingA7, 3)
DPTRC_VARIADIC(DpSysErrNoThrA7, SysErrorWriter, char, kEncodingA7, 1)

namespace dptrace {

void TraceNote(const char16_t *format, ...) {
  if (ct_level < 1) return;
  int saved_level = EntLev;
  EntLev = 1;
  va_list args;
  va_start(args, format);
  TraceWriter(tf, kEncodingU16, kFlagThread, format, args);
  va_end(args);
  EntLev = saved_level;
}

void TraceError(int line, const char16_t *text) {
  if (ct_level < 1) return;
  CTrcSaveLocation(u"dptrace_r_mt", line);
  DpTrcErr(tf, text);  // the texts hold no conversions
}

}  // namespace dptrace
