/* The trace writers and the trace statements.
 *
 * A statement tests the level before anything else, so that a filtered statement costs one
 * compare and formats nothing:
 *
 *   DPTRC(2, tf, u"connected to %s\n", host);          plain line at level 2
 *   DPTRC_A7(3, tf, "%s: %d bytes\n", name8, n);      8-bit format, 8-bit %s
 *   DPTRC_ERR(tf, u"bind failed: %d\n", rc);           "*** ERROR => ... [module line]"
 *   DPTRC_STMT(2, DpTrcNoTi, tf, u"no stamp\n");        any writer of the DpTrc family
 *
 * The writers themselves assemble into process-wide buffers and must be called with DpLock held
 * (the statements do that). Every writer leaves errno as it found it. No written line is longer
 * than 8191 units; a longer text is cut and a warning line follows it.
 *
 * Line forms (component N, indent 0, thread 42):
 *   "N  [Thr 42] text\n"
 *   "N  [Thr 42] *** ERROR => text [module       123]\n"
 *   "N  [Thr 42] *** WARNING => text [module       123]\n"
 *   "N  [Thr 42] *** ERROR => text (2: No such file or directory) [module       123]\n"
 * A handle without component writes the text alone, with the thread prefix where the writer adds
 * one. Writers whose name has A7 take 8-bit formats (and 8-bit %s); the others take 16-bit
 * formats of the zul_u16printf.h family (16-bit %s). */
#ifndef ZUL_DPTRACE_H
#define ZUL_DPTRACE_H

#include <stdarg.h>
#include <stdint.h>

#include "zul_base.h"
#include "zul_ctrc.h"
#include "zul_thr.h"

/* ---- Trace statements ---- */

/* The module name the error statements record; a source file may define it (as a 16-bit literal
 * without extension) before including this header. */
#ifndef DPTRC_MODULE
#define DPTRC_MODULE (u"" __FILE__)
#endif

/* A statement of level 1 to 3 with any writer of the DpTrc family. */
#define DPTRC_STMT(level, writer, ...) \
  do {                                 \
    if (ct_level >= (level)) {         \
      DpLock();                        \
      EntLev = (level);                \
      (void)writer(__VA_ARGS__);       \
      EntLev = 2;                      \
      DpUnlock();                      \
    }                                  \
  } while (0)

/* An error statement (level 1) with DpTrcErr, DpTrcWarn, DpSysErr or one of their forms: the
 * source location is saved first, for the line's "[module line]" part. */
#define DPTRC_ERR_STMT(writer, ...)             \
  do {                                          \
    if (ct_level >= 1) {                        \
      DpLock();                                 \
      EntLev = 1;                               \
      CTrcSaveLocation(DPTRC_MODULE, __LINE__); \
      (void)writer(__VA_ARGS__);                \
      EntLev = 2;                               \
      DpUnlock();                               \
    }                                           \
  } while (0)

/* The common statements: DPTRC(level, hdl, format16, ...), DPTRC_A7(level, hdl, format8, ...),
 * DPTRC_ERR(hdl, format16, ...) and its relatives. */
#define DPTRC(level, ...) DPTRC_STMT(level, DpTrc, __VA_ARGS__)
#define DPTRC_A7(level, ...) DPTRC_STMT(level, DpTrcA7, __VA_ARGS__)
#define DPTRC_ERR(...) DPTRC_ERR_STMT(DpTrcErr, __VA_ARGS__)
#define DPTRC_ERR_A7(...) DPTRC_ERR_STMT(DpTrcErrA7, __VA_ARGS__)
#define DPTRC_WARN(...) DPTRC_ERR_STMT(DpTrcWarn, __VA_ARGS__)
#define DPTRC_WARN_A7(...) DPTRC_ERR_STMT(DpTrcWarnA7, __VA_ARGS__)
#define DPTRC_SYSERR(...) DPTRC_ERR_STMT(DpSysErr, __VA_ARGS__)
#define DPTRC_SYSERR_A7(...) DPTRC_ERR_STMT(DpSysErrA7, __VA_ARGS__)

/* ---- The lock ---- */

/* The trace's one recursive mutex, shared with the component table; created on first use. The
 * lock hook runs before the lock is taken, the unlock hook before it is released. */
ZUL_API void DpLock(void) ZUL_NOTHROW;
ZUL_API void DpUnlock(void) ZUL_NOTHROW;
ZUL_API void DpTrcSetCriticalSectionHook(THR_LOCK_HOOK lock_hook,
                                         THR_UNLOCK_HOOK unlock_hook) ZUL_NOTHROW;
/* 1 while a DpLock holder is inside, else 0. */
ZUL_API int DpTrcGetRecursionCount(void) ZUL_NOTHROW;

/* ---- Plain lines ----
 * Ti: a time stamp line goes first when one is due; Thr: the "[Thr <id>] " prefix. A component
 * whose level is below EntLev writes nothing, nor does a thread whose own level is. Answers what
 * the last output call answered. */
ZUL_API int DpTrc(CTRC_HDL hdl, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int DpTrcVar(CTRC_HDL hdl, const ZUL_UTF16 *format, va_list args) ZUL_NOTHROW;
ZUL_API int DpTrcNoThr(CTRC_HDL hdl, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int DpTrcNoThrVar(CTRC_HDL hdl, const ZUL_UTF16 *format, va_list args) ZUL_NOTHROW;
ZUL_API int DpTrcNoTi(CTRC_HDL hdl, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int DpTrcNoTiVar(CTRC_HDL hdl, const ZUL_UTF16 *format, va_list args) ZUL_NOTHROW;
ZUL_API int DpTrcNoTiNoThr(CTRC_HDL hdl, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int DpTrcNoTiNoThrVar(CTRC_HDL hdl, const ZUL_UTF16 *format, va_list args) ZUL_NOTHROW;

ZUL_API int DpTrcA7(CTRC_HDL hdl, const char *format, ...) ZUL_NOTHROW
    __attribute__((format(printf, 2, 3)));
ZUL_API int DpTrcA7Fmt(CTRC_HDL hdl, const char *format, ...) ZUL_NOTHROW
    __attribute__((format(printf, 2, 3)));
ZUL_API int DpTrcVarA7(CTRC_HDL hdl, const char *format, va_list args) ZUL_NOTHROW
    __attribute__((format(printf, 2, 0)));
ZUL_API int DpTrcNoThrA7(CTRC_HDL hdl, const char *format, ...) ZUL_NOTHROW
    __attribute__((format(printf, 2, 3)));
ZUL_API int DpTrcNoThrVarA7(CTRC_HDL hdl, const char *format, va_list args) ZUL_NOTHROW
    __attribute__((format(printf, 2, 0)));
ZUL_API int DpTrcNoTiA7(CTRC_HDL hdl, const char *format, ...) ZUL_NOTHROW
    __attribute__((format(printf, 2, 3)));
ZUL_API int DpTrcNoTiVarA7(CTRC_HDL hdl, const char *format, va_list args) ZUL_NOTHROW
    __attribute__((format(printf, 2, 0)));
ZUL_API int DpTrcNoTiNoThrA7(CTRC_HDL hdl, const char *format, ...) ZUL_NOTHROW
    __attribute__((format(printf, 2, 3)));
ZUL_API int DpTrcNoTiNoThrVarA7(CTRC_HDL hdl, const char *format, va_list args) ZUL_NOTHROW
    __attribute__((format(printf, 2, 0)));

/* ---- Errors and warnings ----
 * Written unless the component's level is below 1, whatever EntLev says. One trailing newline of
 * the format is dropped and the location saved in savloc closes the line; formats longer than
 * 1024 units are cut. */
ZUL_API int DpTrcErr(CTRC_HDL hdl, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int DpTrcErrVar(CTRC_HDL hdl, const ZUL_UTF16 *format, va_list args) ZUL_NOTHROW;
ZUL_API int DpTrcErrNoThr(CTRC_HDL hdl, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int DpTrcErrA7(CTRC_HDL hdl, const char *format, ...) ZUL_NOTHROW
    __attribute__((format(printf, 2, 3)));
ZUL_API int DpTrcErrNoThrA7(CTRC_HDL hdl, const char *format, ...) ZUL_NOTHROW
    __attribute__((format(printf, 2, 3)));
ZUL_API int DpTrcWarn(CTRC_HDL hdl, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int DpTrcWarnVar(CTRC_HDL hdl, const ZUL_UTF16 *format, va_list args) ZUL_NOTHROW;
ZUL_API int DpTrcWarnNoThr(CTRC_HDL hdl, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int DpTrcWarnNoThrVar(CTRC_HDL hdl, const ZUL_UTF16 *format, va_list args) ZUL_NOTHROW;
ZUL_API int DpTrcWarnA7(CTRC_HDL hdl, const char *format, ...) ZUL_NOTHROW
    __attribute__((format(printf, 2, 3)));
ZUL_API int DpTrcWarnNoThrA7(CTRC_HDL hdl, const char *format, ...) ZUL_NOTHROW
    __attribute__((format(printf, 2, 3)));
/* As errors, with " (<errno>: <its text>)" before the location; errno is read after formatting. */
ZUL_API int DpSysErr(CTRC_HDL hdl, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int DpSysErrNoThr(CTRC_HDL hdl, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int DpSysErrA7(CTRC_HDL hdl, const char *format, ...) ZUL_NOTHROW
    __attribute__((format(printf, 2, 3)));
ZUL_API int DpSysErrNoThrA7(CTRC_HDL hdl, const char *format, ...) ZUL_NOTHROW
    __attribute__((format(printf, 2, 3)));
/* " (<errno>: <its text>)" alone, without prefix or newline. */
ZUL_API int perrno(CTRC_HDL hdl) ZUL_NOTHROW;

/* ---- Time stamp lines ----
 * A line with the local time when the second (or the step of ct_time_res) changed since the last
 * one, e.g. "N [Thr 42] Mon Jan  5 12:34:56 2026" or, finer, "... 12:34:56:789 2026". */
ZUL_API int DpTrcTime(CTRC_HDL hdl) ZUL_NOTHROW;
ZUL_API int DpTrcTimeNoThr(CTRC_HDL hdl) ZUL_NOTHROW;

/* ---- Log entries ----
 * id is a three-unit text. DpELog and DpELogFun write to tf, DpELogErr to hdl. */
ZUL_API int DpELog(const ZUL_UTF16 *id, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int DpELogFun(const ZUL_UTF16 *id, const ZUL_UTF16 *a, const ZUL_UTF16 *b,
                      const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API int DpELogErr(CTRC_HDL hdl, const ZUL_UTF16 *id, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
/* System log records through the hooks of CTrcHookRslg; nothing unless its writer and converter
 * are set. */
ZUL_API void DpSLog(const ZUL_UTF16 *id, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API void DpSLogFun(const ZUL_UTF16 *id, const ZUL_UTF16 *a, const ZUL_UTF16 *b,
                       const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API void DpSLogErr(CTRC_HDL hdl, const ZUL_UTF16 *id, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;

/* Format into a local buffer of 512 and discard it; RstrTrc answers the length. */
ZUL_API int RstrTrc(int x, const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API void RstrTrcA7(int x, const char *format, ...) ZUL_NOTHROW
    __attribute__((format(printf, 2, 3)));

/* ---- Watches ---- */

/* Called when a written line matched pattern. */
typedef void (*DPTRC_PATTERN_CB)(CTRC_HDL hdl, const ZUL_UTF16 *pattern);
/* Up to 32 patterns with '*', '?' and '\' are matched against every plain and error line; a match
 * writes "DpTrc: found match for pattern >...< in output" and calls the call-back (may be null).
 * Add answers 0, or -1 when all slots are taken or memory runs out. Remove answers 0. */
ZUL_API int DpTrcAddPattern(const ZUL_UTF16 *pattern, DPTRC_PATTERN_CB callback) ZUL_NOTHROW;
ZUL_API int DpTrcRmPattern(const ZUL_UTF16 *pattern) ZUL_NOTHROW;
ZUL_API void DpTrcRmAllPattern(void) ZUL_NOTHROW;
/* Stores up to max patterns (the table's own copies, valid until removed) in out; answers the
 * number of patterns in use, which may exceed max. */
ZUL_API int DpTrcGetPatterns(const ZUL_UTF16 **out, int max) ZUL_NOTHROW;

/* Called when the trace file grew beyond the limit, with its size. */
typedef void (*DPTRC_FILESIZE_CB)(CTRC_HDL hdl, int64_t size);
/* Plain lines check the file's size every 10 seconds against a limit above 0 (negative limits are
 * stored as 0); the trace truncates nothing itself. */
ZUL_API void DpTrcSetFileSizeHook(int64_t limit, DPTRC_FILESIZE_CB callback) ZUL_NOTHROW;
/* The limit; -1 for none. */
ZUL_API int64_t DpTrcGetFileSize(void) ZUL_NOTHROW;
ZUL_API void DpTrcRmFileSizeHook(void) ZUL_NOTHROW;

/* ---- Dumps ---- */

/* The calling thread's stack, one frame per line, between two rule lines. The frames are written
 * unlocked and as 8-bit text. */
ZUL_API void CTrcStack(CTRC_HDL hdl) ZUL_NOTHROW;
ZUL_API void CTrcStack2(CTRC_HDL hdl) ZUL_NOTHROW;

/* Hex dump of length bytes, 16 per line, with the characters beside them: charset 0 as they are,
 * 1 through PrToAscii (EBCDIC data), 2 through PrToEbcdic; other charsets write nothing. While
 * dpTrcHidingActive is set, session texts from "SID:ANON:" or "SID%3aANON%3a" through "-ATT" or
 * "-NEW" show as "xx". Takes DpLock itself. */
ZUL_API void PrBinAll(CTRC_HDL hdl, const ZUL_UTF16 *title, const void *data, size_t length,
                      int charset) ZUL_NOTHROW;
/* The same for a buffer with an 80-byte protocol header: PrAppcAll also masks the credential
 * bytes of the kinds 201, 17 and 202 as "XXXXXXXX" (in the dump only); PrAppc2All doesn't. */
ZUL_API void PrAppcAll(CTRC_HDL hdl, const ZUL_UTF16 *title, const void *data, size_t length,
                       int charset) ZUL_NOTHROW;
ZUL_API void PrAppc2All(CTRC_HDL hdl, const ZUL_UTF16 *title, const void *data, size_t length,
                        int charset) ZUL_NOTHROW;
/* One line of a dump: the up to 16 bytes from offset of data (length bytes in all). The caller
 * holds DpLock. */
ZUL_API void ThDispLine(CTRC_HDL hdl, const void *data, size_t length, size_t offset,
                        int charset) ZUL_NOTHROW;
ZUL_API unsigned char PrEcho(unsigned char byte) ZUL_NOTHROW;
/* 256-byte tables: EBCDIC to 8-bit, and 8-bit to EBCDIC (code page 1047). */
ZUL_API const unsigned char *const PrToAscii;
ZUL_API const unsigned char *const PrToEbcdic;
/* "%p" of p in a static buffer, overwritten by the next call. */
ZUL_API ZUL_UTF16 *PrPtrToStr(const void *p) ZUL_NOTHROW;

#endif /* ZUL_DPTRACE_H */
