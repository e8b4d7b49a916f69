/* String, memory, case, number and character functions on 16-bit text. Sizes count units unless
 * a name says otherwise. Every function has the C library's contract, on units.
 *
 * Name forms: the U16 ending is the implementation; the U ending is the neutral name that
 * application code calls, a forward to the U16 form; the R and RFB endings work on 8-bit text.
 * Strings may sit at odd addresses: every function accepts them, at some cost in speed. Results
 * that point into a string point into the caller's string; nothing here keeps a pointer. */
#ifndef ZUL_U16STRING_H
#define ZUL_U16STRING_H

#include "zul_base.h"

/* ---- Strings ---------------------------------------------------------------------------- */

ZUL_API size_t strlenU16(const ZUL_UTF16 *s) ZUL_NOTHROW;
/* Length of s, but at most max; reads no unit at or beyond s + max. */
ZUL_API size_t strnlenU16(const ZUL_UTF16 *s, size_t max) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strcpyU16(ZUL_UTF16 *dst, const ZUL_UTF16 *src) ZUL_NOTHROW;
/* Copies at most count units; pads dst with zero units to count, and adds no terminator when src
 * has count units or more. */
ZUL_API ZUL_UTF16 *strncpyU16(ZUL_UTF16 *dst, const ZUL_UTF16 *src, size_t count) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strcatU16(ZUL_UTF16 *dst, const ZUL_UTF16 *src) ZUL_NOTHROW;
/* Appends at most count units of src, then always a terminator. */
ZUL_API ZUL_UTF16 *strncatU16(ZUL_UTF16 *dst, const ZUL_UTF16 *src, size_t count) ZUL_NOTHROW;
/* The terminator itself can be searched for. */
ZUL_API ZUL_UTF16 *strchrU16(const ZUL_UTF16 *s, ZUL_UTF16 unit) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strrchrU16(const ZUL_UTF16 *s, ZUL_UTF16 unit) ZUL_NOTHROW;
/* Compare units as unsigned 16-bit values; the sign of the result tells the order. */
ZUL_API int strcmpU16(const ZUL_UTF16 *a, const ZUL_UTF16 *b) ZUL_NOTHROW;
ZUL_API int strncmpU16(const ZUL_UTF16 *a, const ZUL_UTF16 *b, size_t count) ZUL_NOTHROW;
/* Compare the units after tolowerU. */
ZUL_API int strcasecmpU16(const ZUL_UTF16 *a, const ZUL_UTF16 *b) ZUL_NOTHROW;
ZUL_API int strncasecmpU16(const ZUL_UTF16 *a, const ZUL_UTF16 *b, size_t count) ZUL_NOTHROW;
ZUL_API size_t strspnU16(const ZUL_UTF16 *s, const ZUL_UTF16 *accept) ZUL_NOTHROW;
ZUL_API size_t strcspnU16(const ZUL_UTF16 *s, const ZUL_UTF16 *reject) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strpbrkU16(const ZUL_UTF16 *s, const ZUL_UTF16 *accept) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strstrU16(const ZUL_UTF16 *haystack, const ZUL_UTF16 *needle) ZUL_NOTHROW;
/* Splits s at units of delim. Keeps its position in one static variable shared by all threads:
 * not reentrant; use strtok_rU16 where more than one tokenisation may run. */
ZUL_API ZUL_UTF16 *strtokU16(ZUL_UTF16 *s, const ZUL_UTF16 *delim) ZUL_NOTHROW;
/* As strtokU16, with the position kept in *save. */
ZUL_API ZUL_UTF16 *strtok_rU16(ZUL_UTF16 *s, const ZUL_UTF16 *delim, ZUL_UTF16 **save) ZUL_NOTHROW;
/* A copy from malloc, which the caller frees; null when out of memory. */
ZUL_API ZUL_UTF16 *strdupU16(const ZUL_UTF16 *s) ZUL_NOTHROW;

/* ---- Bounded forms ----------------------------------------------------------------------
 * size is the capacity of dst in units, terminator included. A size of 0 touches nothing and
 * answers 0. A result that doesn't fit sets dst[0] to 0 and answers 34 (ERANGE); so does a dst
 * that holds no terminator within size, for the appending forms. A null dst, or a null src,
 * answers 22 (EINVAL), after setting dst[0] to 0 when dst isn't null. Success answers 0. */

ZUL_API int strcpy_sU16(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src) ZUL_NOTHROW;
/* Copies at most count units of src, then a terminator. */
ZUL_API int strncpy_sU16(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src,
                         size_t count) ZUL_NOTHROW;
ZUL_API int strcat_sU16(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src) ZUL_NOTHROW;
/* Appends at most count units of src, then a terminator. */
ZUL_API int strncat_sU16(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src,
                         size_t count) ZUL_NOTHROW;
/* Copy count units; fits when count <= size. The areas must not overlap for memcpy_sU16. */
ZUL_API int memcpy_sU16(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src,
                        size_t count) ZUL_NOTHROW;
ZUL_API int memmove_sU16(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src,
                         size_t count) ZUL_NOTHROW;

/* ---- Case ----------------------------------------------------------------------------------
 * Through the toupperU and tolowerU pointers. The in-place forms answer s, the copying forms dst;
 * the n forms change at most n units and stop at a terminator. */

ZUL_API ZUL_UTF16 *strtoupperU16(ZUL_UTF16 *s) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strntoupperU16(ZUL_UTF16 *s, size_t n) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strcpytoupperU16(ZUL_UTF16 *dst, const ZUL_UTF16 *src) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strtolowerU16(ZUL_UTF16 *s) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strntolowerU16(ZUL_UTF16 *s, size_t n) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strcpytolowerU16(ZUL_UTF16 *dst, const ZUL_UTF16 *src) ZUL_NOTHROW;

/* ---- Memory --------------------------------------------------------------------------------- */

ZUL_API ZUL_UTF16 *memsetU16(ZUL_UTF16 *dst, ZUL_UTF16 unit, size_t count) ZUL_NOTHROW;
/* Compares count units as unsigned 16-bit values. */
ZUL_API int memcmpU16(const ZUL_UTF16 *a, const ZUL_UTF16 *b, size_t count) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *memchrU16(const ZUL_UTF16 *s, ZUL_UTF16 unit, size_t count) ZUL_NOTHROW;

/* The C library's allocation and copy functions with sizes in units. callocU allocates count
 * elements of units units each. Null from the allocators when out of memory or when the byte size
 * would overflow. */
ZUL_API void *mallocU(size_t units) ZUL_NOTHROW;
ZUL_API void *callocU(size_t count, size_t units) ZUL_NOTHROW;
ZUL_API void *reallocU(void *p, size_t units) ZUL_NOTHROW;
ZUL_API void *memmoveU(void *dst, const void *src, size_t units) ZUL_NOTHROW;
ZUL_API void *memcpyU(void *dst, const void *src, size_t units) ZUL_NOTHROW;

/* memcpy that checks its areas: overlapping areas are reported through u16_traceMsg, naming file
 * and line (the caller's place, may be null), and then copied as by memmove, so dst always ends up
 * with the source's former content. Answer dst. Counts in units, and in bytes for the R form. */
ZUL_API void *memcpyUChk(void *dst, const void *src, size_t units, const char *file,
                         int line) ZUL_NOTHROW;
ZUL_API void *memcpyRChk(void *dst, const void *src, size_t bytes, const char *file,
                         int line) ZUL_NOTHROW;

/* ---- Numbers --------------------------------------------------------------------------------
 * The C library's contracts: leading white space (isspaceU16) is skipped, then an optional sign,
 * then ASCII digits of the base, with base 0 and 16 taking a "0x" prefix. *end, when end isn't
 * null, gets the unit after the number, or s when there is none. Overflow sets errno to ERANGE
 * and answers the limit of the type. A base below 0, of 1 or above 36 sets errno to EINVAL,
 * stores s in *end and answers 0, reporting at u16_trace_level above 15. */

ZUL_API long strtolU16(const ZUL_UTF16 *s, ZUL_UTF16 **end, int base) ZUL_NOTHROW;
ZUL_API unsigned long strtoulU16(const ZUL_UTF16 *s, ZUL_UTF16 **end, int base) ZUL_NOTHROW;
ZUL_API long long strtollU16(const ZUL_UTF16 *s, ZUL_UTF16 **end, int base) ZUL_NOTHROW;
ZUL_API unsigned long long strtoullU16(const ZUL_UTF16 *s, ZUL_UTF16 **end, int base) ZUL_NOTHROW;
/* Decimal and hexadecimal numbers with the C library's strtod. NaN is recognised as n or N
 * followed by "aN", "AN" or "an"; infinity as i or I followed by "nf" or "NF", optionally with
 * "inity" or "INITY". At u16_trace_level above 0, input that strtod takes in part (such as "1e+")
 * is reported. */
ZUL_API double strtodU16(const ZUL_UTF16 *s, ZUL_UTF16 **end) ZUL_NOTHROW;
/* The C library's ecvt: ndigit significant digits, without point or sign. The answer lives in a
 * buffer of the calling thread, valid until its next call. */
ZUL_API ZUL_UTF16 *ecvtU16(double value, int ndigit, int *decpt, int *sign) ZUL_NOTHROW;

/* ---- Characters -----------------------------------------------------------------------------
 * Full classes and simple case mappings of the Basic Multilingual Plane; on ASCII they equal the
 * C locale's. A surrogate unit has no class and no case. */

ZUL_API int isalnumU16(ZUL_UTF16 c) ZUL_NOTHROW;
ZUL_API int isalphaU16(ZUL_UTF16 c) ZUL_NOTHROW;
/* Cc, Cf, Zl and Zp. */
ZUL_API int iscntrlU16(ZUL_UTF16 c) ZUL_NOTHROW;
ZUL_API int islowerU16(ZUL_UTF16 c) ZUL_NOTHROW;
/* Every assigned character but the controls, format characters and private use. */
ZUL_API int isprintU16(ZUL_UTF16 c) ZUL_NOTHROW;
/* The C locale's six, U+0085 and the space separators (Zs, Zl, Zp). */
ZUL_API int isspaceU16(ZUL_UTF16 c) ZUL_NOTHROW;
ZUL_API int isupperU16(ZUL_UTF16 c) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 toupperU16(ZUL_UTF16 c) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 tolowerU16(ZUL_UTF16 c) ZUL_NOTHROW;

/* The classes and mappings that text functions use, as pointers that a loader may redirect.
 * Each starts at a stub whose first call loads ICU or chooses the 7-bit classes (zul_nlsui.h);
 * they answer as ICU does, or by 7 bits, never by the U16 table above. */
ZUL_API int (*isalnumU)(ZUL_UTF16 c);
ZUL_API int (*isalphaU)(ZUL_UTF16 c);
ZUL_API int (*iscntrlU)(ZUL_UTF16 c);
ZUL_API int (*islowerU)(ZUL_UTF16 c);
ZUL_API int (*isprintU)(ZUL_UTF16 c);
ZUL_API int (*isspaceU)(ZUL_UTF16 c);
ZUL_API int (*isupperU)(ZUL_UTF16 c);
ZUL_API ZUL_UTF16 (*toupperU)(ZUL_UTF16 c);
ZUL_API ZUL_UTF16 (*tolowerU)(ZUL_UTF16 c);

/* Built on the pointers: printable and not space; graphic and not alphanumeric; ASCII 0-9, a-f
 * and A-F. */
ZUL_API int isgraphU(ZUL_UTF16 c) ZUL_NOTHROW;
ZUL_API int ispunctU(ZUL_UTF16 c) ZUL_NOTHROW;
ZUL_API int isxdigitU(ZUL_UTF16 c) ZUL_NOTHROW;

/* ---- Alignment -------------------------------------------------------------------------------
 * Answers s. When s is odd it reports "dbgAlignCheckStringU16(): ERROR: The following string is
 * unaligned:" through u16_traceMsg, with the string's first 40 bytes (up to its terminator);
 * a report that would start while the same thread reports already is skipped. Nothing is
 * corrected: the string stays in use where it is. */
ZUL_API const ZUL_UTF16 *dbgAlignCheckStringU16(const ZUL_UTF16 *s) ZUL_NOTHROW;

/* ---- Neutral names: forwards to the U16 forms ----------------------------------------------- */

ZUL_API size_t strlenU(const ZUL_UTF16 *s) ZUL_NOTHROW;
ZUL_API size_t strnlenU(const ZUL_UTF16 *s, size_t max) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strcpyU(ZUL_UTF16 *dst, const ZUL_UTF16 *src) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strncpyU(ZUL_UTF16 *dst, const ZUL_UTF16 *src, size_t count) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strcatU(ZUL_UTF16 *dst, const ZUL_UTF16 *src) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strncatU(ZUL_UTF16 *dst, const ZUL_UTF16 *src, size_t count) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strchrU(const ZUL_UTF16 *s, ZUL_UTF16 unit) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strrchrU(const ZUL_UTF16 *s, ZUL_UTF16 unit) ZUL_NOTHROW;
ZUL_API int strcmpU(const ZUL_UTF16 *a, const ZUL_UTF16 *b) ZUL_NOTHROW;
ZUL_API int strncmpU(const ZUL_UTF16 *a, const ZUL_UTF16 *b, size_t count) ZUL_NOTHROW;
ZUL_API int strcasecmpU(const ZUL_UTF16 *a, const ZUL_UTF16 *b) ZUL_NOTHROW;
ZUL_API int strncasecmpU(const ZUL_UTF16 *a, const ZUL_UTF16 *b, size_t count) ZUL_NOTHROW;
ZUL_API size_t strspnU(const ZUL_UTF16 *s, const ZUL_UTF16 *accept) ZUL_NOTHROW;
ZUL_API size_t strcspnU(const ZUL_UTF16 *s, const ZUL_UTF16 *reject) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strpbrkU(const ZUL_UTF16 *s, const ZUL_UTF16 *accept) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strstrU(const ZUL_UTF16 *haystack, const ZUL_UTF16 *needle) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strtokU(ZUL_UTF16 *s, const ZUL_UTF16 *delim) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strtok_rU(ZUL_UTF16 *s, const ZUL_UTF16 *delim, ZUL_UTF16 **save) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strdupU(const ZUL_UTF16 *s) ZUL_NOTHROW;
ZUL_API int strcpy_sU(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src) ZUL_NOTHROW;
ZUL_API int strncpy_sU(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src, size_t count) ZUL_NOTHROW;
ZUL_API int strcat_sU(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src) ZUL_NOTHROW;
ZUL_API int strncat_sU(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src, size_t count) ZUL_NOTHROW;
ZUL_API int memcpy_sU(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src, size_t count) ZUL_NOTHROW;
ZUL_API int memmove_sU(ZUL_UTF16 *dst, size_t size, const ZUL_UTF16 *src, size_t count) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strtoupperU(ZUL_UTF16 *s) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strntoupperU(ZUL_UTF16 *s, size_t n) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strcpytoupperU(ZUL_UTF16 *dst, const ZUL_UTF16 *src) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strtolowerU(ZUL_UTF16 *s) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strntolowerU(ZUL_UTF16 *s, size_t n) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strcpytolowerU(ZUL_UTF16 *dst, const ZUL_UTF16 *src) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *memsetU(ZUL_UTF16 *dst, ZUL_UTF16 unit, size_t count) ZUL_NOTHROW;
ZUL_API int memcmpU(const ZUL_UTF16 *a, const ZUL_UTF16 *b, size_t count) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *memchrU(const ZUL_UTF16 *s, ZUL_UTF16 unit, size_t count) ZUL_NOTHROW;
ZUL_API long strtolU(const ZUL_UTF16 *s, ZUL_UTF16 **end, int base) ZUL_NOTHROW;
ZUL_API unsigned long strtoulU(const ZUL_UTF16 *s, ZUL_UTF16 **end, int base) ZUL_NOTHROW;
ZUL_API long long strtollU(const ZUL_UTF16 *s, ZUL_UTF16 **end, int base) ZUL_NOTHROW;
ZUL_API unsigned long long strtoullU(const ZUL_UTF16 *s, ZUL_UTF16 **end, int base) ZUL_NOTHROW;
ZUL_API double strtodU(const ZUL_UTF16 *s, ZUL_UTF16 **end) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *ecvtU(double value, int ndigit, int *decpt, int *sign) ZUL_NOTHROW;

/* ---- 8-bit forms -----------------------------------------------------------------------------
 * R: the C library's functions under fixed names. RFB: the same contracts as the U16 forms above,
 * on bytes. Case and class by the C library's tolower and toupper. */

ZUL_API int strcasecmpR(const char *a, const char *b) ZUL_NOTHROW;
ZUL_API int strncasecmpR(const char *a, const char *b, size_t count) ZUL_NOTHROW;
/* In place; answer s. */
ZUL_API char *strtolowerR(char *s) ZUL_NOTHROW;
ZUL_API char *strtoupperR(char *s) ZUL_NOTHROW;
ZUL_API size_t strnlenRFB(const char *s, size_t max) ZUL_NOTHROW;
ZUL_API int strcpy_sRFB(char *dst, size_t size, const char *src) ZUL_NOTHROW;
ZUL_API int strncpy_sRFB(char *dst, size_t size, const char *src, size_t count) ZUL_NOTHROW;
ZUL_API int strcat_sRFB(char *dst, size_t size, const char *src) ZUL_NOTHROW;
ZUL_API int strncat_sRFB(char *dst, size_t size, const char *src, size_t count) ZUL_NOTHROW;
ZUL_API int memcpy_sRFB(void *dst, size_t size, const void *src, size_t count) ZUL_NOTHROW;
ZUL_API int memmove_sRFB(void *dst, size_t size, const void *src, size_t count) ZUL_NOTHROW;
ZUL_API char *strtok_rRFB(char *s, const char *delim, char **save) ZUL_NOTHROW;

#endif /* ZUL_U16STRING_H */
