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

/* Stream input of 16-bit text: UTF-8 from the stream, one unit per character.
 *
 * A character above 0xFFFF is answered as 0xFFFD (except by getc_unlockedU16_errno). An invalid
 * sequence is answered as '#' with errno EILSEQ; when u16_trace_level isn't 0 it is reported as
 * "Invalid UTF-8 encountered by" and the reader's name, with a dump of its bytes. After
 * no_fgetcU_errors_max reports (default 100) one more message tells that reports stop for
 * fgetcU_errors_interval seconds (default 3600); the first invalid input after that restarts the
 * count. Each reader holds the stream's lock for its whole call. */

/* Room for getc_unlockedU16_errno's raw record: a count byte, then up to four bytes. */
#define U16_RAW_CHAR_SIZE 5

/* Reads one character of 1 to 4 bytes without taking the stream's lock; answers its value (also
 * above 0xFFFF) or EOF, also when the stream ends inside a character. A byte that can't follow
 * ends the character and stays in the stream: the bytes before it go to raw (may be null) behind
 * their count, errno and *error (may be null; else set to 0 first) become EILSEQ, and the answer
 * is '#'. */
ZUL_API int getc_unlockedU16_errno(FILE *stream, ZUL_RAW *raw, int *error) ZUL_NOTHROW;
ZUL_API int fgetcU16(FILE *stream) ZUL_NOTHROW;
/* Sets the report limit and the silence in seconds; a negative argument leaves its value. */
ZUL_API void u16_set_fgetcU_error_parameters(int max, int interval) ZUL_NOTHROW;

/* Reads up to units - 1 units, or through a newline, which is kept; terminates. Answers buffer,
 * or null when the stream ended before any unit. */
ZUL_API ZUL_UTF16 *fgetsU16(ZUL_UTF16 *buffer, int units, FILE *stream) ZUL_NOTHROW;
/* Reads size * count units; answers the number of whole elements read. */
ZUL_API size_t freadU16(ZUL_UTF16 *buffer, size_t size, size_t count, FILE *stream) ZUL_NOTHROW;
/* Reads a line of standard input without its newline, with no limit on its length. Answers
 * buffer, or null when input ended before any unit. */
ZUL_API ZUL_UTF16 *getsU16(ZUL_UTF16 *buffer) ZUL_NOTHROW;
/* The same within units units, terminator included; a longer line is read to its end, buffer is
 * emptied and the answer is null. */
ZUL_API ZUL_UTF16 *gets_sU16(ZUL_UTF16 *buffer, size_t units) ZUL_NOTHROW;

/* Reads through the next newline and stores the line without it, up to units - 1 units (the rest
 * is dropped). Answers the number of units stored, or EOF when the stream ended before any. */
ZUL_API int fget_lineU16(ZUL_UTF16 *buffer, int units, FILE *stream) ZUL_NOTHROW;
/* Skips white space and stores the next word, up to units - 1 units (the rest is dropped); the
 * white space behind it stays in the stream. Answers its length or EOF. */
ZUL_API int fget_strU16(ZUL_UTF16 *buffer, int units, FILE *stream) ZUL_NOTHROW;
/* Reads a word as fget_strU16 and takes it as a decimal number. Answers 1 and sets *value, 0
 * when the word is no number of the type's range (*value unchanged), or EOF. */
ZUL_API int fget_intU16(int *value, FILE *stream) ZUL_NOTHROW;
ZUL_API int fget_longU16(long *value, FILE *stream) ZUL_NOTHROW;

/* The same readers on bytes, without decoding. */
ZUL_API int fget_lineR(char *buffer, int size, FILE *stream) ZUL_NOTHROW;
ZUL_API int fget_strR(char *buffer, int size, FILE *stream) ZUL_NOTHROW;
ZUL_API int fget_intR(int *value, FILE *stream) ZUL_NOTHROW;
ZUL_API int fget_longR(long *value, FILE *stream) ZUL_NOTHROW;
ZUL_API char *gets_sRFB(char *buffer, size_t size) ZUL_NOTHROW;

/* Short forms of the readers: each forwards to its U16 form. */
ZUL_API int fgetcU(FILE *stream) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *fgetsU(ZUL_UTF16 *buffer, int units, FILE *stream) ZUL_NOTHROW;
ZUL_API size_t freadU(ZUL_UTF16 *buffer, size_t size, size_t count, FILE *stream) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *getsU(ZUL_UTF16 *buffer) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *gets_sU(ZUL_UTF16 *buffer, size_t units) ZUL_NOTHROW;
ZUL_API int fget_lineU(ZUL_UTF16 *buffer, int units, FILE *stream) ZUL_NOTHROW;
ZUL_API int fget_strU(ZUL_UTF16 *buffer, int units, FILE *stream) ZUL_NOTHROW;
ZUL_API int fget_intU(int *value, FILE *stream) ZUL_NOTHROW;
ZUL_API int fget_longU(long *value, FILE *stream) ZUL_NOTHROW;

#endif /* ZUL_U16STDIO_H */
