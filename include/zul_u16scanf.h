/* Formatted input on 16-bit text.
 *
 * Formats and string sources are 16-bit; a file source is read as UTF-8 through fgetcU16 while
 * the call holds the stream's lock. The conversions are A E F G X [ a c d e f g i n o p s u x,
 * with '*' for assignment suppression, a field width and the length modifiers hh h l ll j z t L.
 * They follow the C library's scanning rules on units, with these differences:
 *   - White space, in the format and before a conversion, is what isspaceU16 says: U+00A0,
 *     U+2028, U+3000 and the other space separators separate fields too.
 *   - %s, %c and %[ store 16-bit units (a ZUL_UTF16 * argument) whatever the length modifier.
 *   - '%' is no conversion letter: "%%" is reported like an unknown letter and ends the input.
 *   - Any other unknown letter, or an unclosed %[, ends the input likewise (reported through
 *     u16_unknownFormatStr).
 * %p reads a hexadecimal value or the text "(nil)" in any case for a null pointer; floating point
 * fields accept "nan", "inf" and "infinity" in any case and hexadecimal forms.
 *
 * The answer is the number of assignments, or -1 when the input ended before anything was
 * assigned (as the C library does); -1 with errno EINVAL for a null format, with EBADF for no
 * source at all. */
#ifndef ZUL_U16SCANF_H
#define ZUL_U16SCANF_H

#include <stdarg.h>
#include <stdio.h>

#include "zul_base.h"

/* The engine: reads from file when it is non-null, else from string (up to its terminator).
 * mode is not read; it keeps the call shape of the bounded family. args is copied. */
ZUL_API int vvfscanf_sU16(const ZUL_UTF16 *string, FILE *file, const ZUL_UTF16 *format, int mode,
                          va_list args) ZUL_NOTHROW;
/* The same with mode 0. */
ZUL_API int vvfscanfU16(const ZUL_UTF16 *string, FILE *file, const ZUL_UTF16 *format,
                        va_list args) ZUL_NOTHROW;

/* From standard input. */
ZUL_API int scanfU16(const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int vscanfU16(const ZUL_UTF16 *format, va_list args) ZUL_NOTHROW;
/* From a stream. A unit read past the last field is given back to the stream. */
ZUL_API int fscanfU16(FILE *file, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int vfscanfU16(FILE *file, const ZUL_UTF16 *format, va_list args) ZUL_NOTHROW;
/* From a string. */
ZUL_API int sscanfU16(const ZUL_UTF16 *string, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int vsscanfU16(const ZUL_UTF16 *string, const ZUL_UTF16 *format, va_list args) ZUL_NOTHROW;

/* Neutral names: forward to the U16 forms above. */
ZUL_API int scanfU(const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int fscanfU(FILE *file, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int sscanfU(const ZUL_UTF16 *string, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;

#endif /* ZUL_U16SCANF_H */
