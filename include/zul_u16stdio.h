/* Stream output of 16-bit text. Each unit goes to the stream as UTF-8 (one byte below 0x80, two
 * below 0x800, else three); a unit from 0xD800 to 0xDFFF is written as '#', and so is a null
 * buffer's content. No byte order mark is written. */
#ifndef ZUL_U16STDIO_H
#define ZUL_U16STDIO_H

#include <stdio.h>

#include "zul_base.h"

/* Writes size * count units under the stream's lock; answers the number of whole elements. */
ZUL_API size_t fwriteU16(const ZUL_UTF16 *buffer, size_t size, size_t count,
                         FILE *stream) ZUL_NOTHROW;
/* The same without taking the stream's lock. */
ZUL_API size_t fwrite_unlockedU16(const ZUL_UTF16 *buffer, size_t size, size_t count,
                                  FILE *stream) ZUL_NOTHROW;
/* Writes count units and answers the number of UTF-8 bytes produced (the converted size). */
ZUL_API size_t u16_fwriteU16(const ZUL_UTF16 *buffer, size_t count, FILE *stream) ZUL_NOTHROW;
ZUL_API int fputcU16(int unit, FILE *stream) ZUL_NOTHROW;
ZUL_API int putc_unlockedU16(int unit, FILE *stream) ZUL_NOTHROW;
ZUL_API int fputsU16(const ZUL_UTF16 *text, FILE *stream) ZUL_NOTHROW;
ZUL_API int putsU16(const ZUL_UTF16 *text) ZUL_NOTHROW;

#endif /* ZUL_U16STDIO_H */
