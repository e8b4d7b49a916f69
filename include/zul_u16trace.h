/* Diagnostics of the 16-bit text runtime: its trace level, where its messages go, and the
 * reporters that the string, format, conversion and system call layers share. */
#ifndef ZUL_U16TRACE_H
#define ZUL_U16TRACE_H

#include <stdio.h>

#include "zul_base.h"

/* Trace level of the text runtime; 0 is silent. Read without a lock by every layer. */
ZUL_API int u16_trace_level;

/* Receives each complete trace message (16-bit, zero-terminated) instead of the trace file. */
typedef void (*U16_TRACE_FUNC)(const ZUL_UTF16 *message);

/* Sets u16_trace_level and reports "U16 trace level set to " and the level. */
ZUL_API void u16_set_trace(int level) ZUL_NOTHROW;
/* Routes messages to f; null routes them back to the trace file (standard error by default). */
ZUL_API void u16_set_trace_func(U16_TRACE_FUNC f) ZUL_NOTHROW;

/* Writes one message. file and line name the reporting place (8-bit source name, may be null);
 * a non-zero flag adds that place to the message. Every message ends with the closing rule line. */
ZUL_API void u16_traceMsg(const ZUL_UTF16 *text, const char *file, int line, int flag) ZUL_NOTHROW;

/* Dumps to the trace: units as characters, bytes in hex, both side by side, an 8-bit string,
 * and bytes to a given stream (opt non-zero adds the characters column). */
ZUL_API void u16_charDump(const ZUL_UTF16 *units, size_t count) ZUL_NOTHROW;
ZUL_API void u16_rawDump(const void *bytes, size_t count) ZUL_NOTHROW;
ZUL_API void u16_rawAndCharDump(const void *bytes, size_t count) ZUL_NOTHROW;
ZUL_API void u16_rawStrDump(const char *text) ZUL_NOTHROW;
ZUL_API void u16_rawFileDumpOpt(FILE *stream, const void *bytes, size_t count, int opt) ZUL_NOTHROW;

/* Reporters. function and source are 8-bit names of the failing place. */
ZUL_API void u16_malloc_error(const char *function, const char *source, int line,
                              size_t size) ZUL_NOTHROW;
/* An invalid UTF-8 input: the message is function + " encountered invalid UTF-8", with a dump. */
ZUL_API void u16_utf8conv_error(const char *function, const char *source, int line,
                                const void *bytes, size_t count) ZUL_NOTHROW;
ZUL_API void u16_internalErrorMsg(const char *text, const char *source, int line) ZUL_NOTHROW;
/* A value that filled the whole of a fixed buffer: names the limit, the function, the parameter. */
ZUL_API void u16_array_short(const char *limit_name, const char *function, const char *parameter,
                             const char *source, int line) ZUL_NOTHROW;

/* Version and trace handling of the text library. */
ZUL_API void setTraceLibu16U16(int level) ZUL_NOTHROW;
/* Answers 0 when the caller's version equals the library's, -1 otherwise. */
ZUL_API int checkVersionLibu16U16(int version) ZUL_NOTHROW;
ZUL_API int getVersionLibu16U16(void) ZUL_NOTHROW;

#endif /* ZUL_U16TRACE_H */
