/* Formatted output on 16-bit text.
 *
 * Format strings, arguments and results are all 16-bit. The conversions are
 * % A E F G X a c d e f g i n o p s u x with the flags ' ', '#', '+', '-', '0', a width and a
 * precision (digits or '*'), and the length modifiers hh h l ll j z t L. Differences from the C
 * library's 8-bit family:
 *   - %s always takes a 16-bit string, whatever the length modifier; a null pointer shows "(null)",
 *     cut by the precision like any other string. There is no 8-bit string conversion.
 *   - %c writes one 16-bit unit taken from an int argument.
 *   - Any other conversion letter drops the rest of the format and the call answers -1 (the text
 *     before it is kept and terminated). No positional arguments ("%1$d").
 *
 * Limits count units with the terminator included. A memory target always gets a terminator: after
 * the text, or in its last unit when the text filled it. The output stops after the first piece
 * (text between conversions, or one conversion) that fills a limited target; the units of that
 * piece count in full, so a truncated call answers at least the limit.
 *
 * File targets receive UTF-8 (see zul_u16stdio.h). Answers are units written, or negative with
 * errno set: EBADF for no target, EINVAL for no format, EOVERFLOW above INT_MAX units. */
#ifndef ZUL_U16PRINTF_H
#define ZUL_U16PRINTF_H

#include <stdarg.h>
#include <stdio.h>

#include "zul_base.h"

/* The engine behind the whole family. Writes to file when it is non-null, else to buffer with
 * *limit units (terminator included; null or all ones means no limit). A buffer with a limit of 0
 * answers 0 and is not touched. args is copied; the caller's va_list is not advanced. */
ZUL_API int vvfprintfU16(FILE *file, ZUL_UTF16 *buffer, const size_t *limit,
                         const ZUL_UTF16 *format, va_list args) ZUL_NOTHROW;
/* The same as vvfprintfU16. */
ZUL_API int vvfprintf_sU16(FILE *file, ZUL_UTF16 *buffer, const size_t *limit,
                           const ZUL_UTF16 *format, va_list args) ZUL_NOTHROW;

/* To a stream (UTF-8), or standard output; answer the units written. */
ZUL_API int fprintfU16(FILE *file, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int vfprintfU16(FILE *file, const ZUL_UTF16 *format, va_list args) ZUL_NOTHROW;
ZUL_API int printfU16(const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int vprintfU16(const ZUL_UTF16 *format, va_list args) ZUL_NOTHROW;

/* To a buffer without limit; answer the units written before the terminator. */
ZUL_API int sprintfU16(ZUL_UTF16 *buffer, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int vsprintfU16(ZUL_UTF16 *buffer, const ZUL_UTF16 *format, va_list args) ZUL_NOTHROW;

/* To a buffer of count units; answer as vvfprintfU16 (at least count when the text was cut). */
ZUL_API int snprintfU16(ZUL_UTF16 *buffer, size_t count, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int vsnprintfU16(ZUL_UTF16 *buffer, size_t count, const ZUL_UTF16 *format,
                         va_list args) ZUL_NOTHROW;

/* To a buffer of count units; a count of 0, or a text that doesn't fit whole (terminator
 * included), answers -1. A text that was cut stays in the buffer, terminated in its last unit. */
ZUL_API int sprintf_sU16(ZUL_UTF16 *buffer, size_t count, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int vsprintf_sU16(ZUL_UTF16 *buffer, size_t count, const ZUL_UTF16 *format,
                          va_list args) ZUL_NOTHROW;

/* To a buffer of count units; a count of 0 answers 0. A text that doesn't fit is cut with a
 * terminator in the last unit, and the answer is the length left in the buffer (count - 1). */
ZUL_API int snprintf_sU16(ZUL_UTF16 *buffer, size_t count, const ZUL_UTF16 *format,
                          ...) ZUL_NOTHROW;
ZUL_API int vsnprintf_sU16(ZUL_UTF16 *buffer, size_t count, const ZUL_UTF16 *format,
                           va_list args) ZUL_NOTHROW;

/* Neutral names: forward to the U16 forms above. */
ZUL_API int fprintfU(FILE *file, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int vfprintfU(FILE *file, const ZUL_UTF16 *format, va_list args) ZUL_NOTHROW;
ZUL_API int printfU(const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int vprintfU(const ZUL_UTF16 *format, va_list args) ZUL_NOTHROW;
ZUL_API int snprintfU(ZUL_UTF16 *buffer, size_t count, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int vsnprintfU(ZUL_UTF16 *buffer, size_t count, const ZUL_UTF16 *format,
                       va_list args) ZUL_NOTHROW;
ZUL_API int sprintfU(ZUL_UTF16 *buffer, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int vsprintfU(ZUL_UTF16 *buffer, const ZUL_UTF16 *format, va_list args) ZUL_NOTHROW;

/* 8-bit text through the C library's formatting, with the bounds of the _s forms above. count is
 * in bytes, terminator included. vsnprintf_sRFB answers 0 for a count of 0, and count when the
 * text was cut (terminated in the last byte); vsprintf_sRFB answers -1 in both cases. */
ZUL_API int vsnprintf_sRFB(char *buffer, size_t count, const char *format, va_list args) ZUL_NOTHROW
    __attribute__((format(printf, 3, 0)));
ZUL_API int vsprintf_sRFB(char *buffer, size_t count, const char *format, va_list args) ZUL_NOTHROW
    __attribute__((format(printf, 3, 0)));
ZUL_API int snprintf_sRFB(char *buffer, size_t count, const char *format, ...) ZUL_NOTHROW
    __attribute__((format(printf, 3, 4)));
ZUL_API int sprintf_sRFB(char *buffer, size_t count, const char *format, ...) ZUL_NOTHROW
    __attribute__((format(printf, 3, 4)));

/* Reports an unknown conversion letter: with u16_trace_level above 3 it writes
 * "Error in format string at or near 'Y':\n", Y being the letter, followed by the format with
 * each unit cut to its low 8 bits, through u16_traceMsg. */
ZUL_API void u16_unknownFormatStr(const ZUL_UTF16 *format, ZUL_UTF16 letter) ZUL_NOTHROW;

#endif /* ZUL_U16PRINTF_H */
