/* The component trace: one developer trace file per process, written through handles.
 *
 * A handle (CTRC_HDL) names a component: one upper-case letter with a level and an indentation of
 * its own, all sharing the process' trace file (the global file). Handles are pointers into the
 * table ctrcadm and are recognised by their address: any other non-null value is taken as a FILE*
 * and written to directly, and null means standard error. A thread may divert all its output to a
 * file of its own (CTrcThrOpen).
 *
 * Levels: 0 off, 1 errors and summaries, 2 normal trace, 3 details. The line writers are declared
 * in zul_dptrace.h, which includes this header.
 *
 * Locking: the table, the counters and the files are guarded by one recursive mutex, the same one
 * that DpLock takes; every function here takes it itself. The level globals are written and read
 * without a lock. All text is 16-bit; files are written as UTF-8. */
#ifndef ZUL_CTRC_H
#define ZUL_CTRC_H

#include <stdint.h>
#include <stdio.h>

#include "zul_base.h"

/* ---- Handles and the component table ---- */

/* A trace handle: an entry of ctrcadm, a FILE*, or null for standard error. */
typedef void *CTRC_HDL;

/* Called with the component's effective level (the lower of its own and ct_level) whenever that
 * level may have changed. Runs with the trace mutex held, so it may trace. */
typedef void (*CTRC_HOOK)(int level);

/* The per-thread administration, kept under a thread key and freed when the thread ends. The time
 * fields start at 0; -1 (after CTrcThrClose) means: use the process-wide copy. */
typedef struct CTRC_THR_ADM {
  FILE *fp;                /* the thread's own trace file, or null for the global file */
  int32_t thr_level;       /* 0x7FFFFFFF while no thread level was set */
  int64_t last_sec;        /* last second stamped, second resolution */
  int64_t last_fine_sec;   /* last second stamped, finer resolution */
  int64_t last_fine_usec;  /* last microsecond stamped, finer resolution */
  int64_t last_size_check; /* last time the file size was checked */
} CTRC_THR_ADM;

/* One entry of the component table. */
typedef struct CTRC_ADM {
  ZUL_UTF16 letter;  /* upper case; 0 for a handle without component */
  int32_t level;     /* the component's own level */
  int32_t indent;    /* never negative; two blanks per step */
  CTRC_HOOK hook;    /* may be null */
  CTRC_THR_ADM *thr; /* thread administration of the thread that opened it, or null */
} CTRC_ADM;

#define CTRC_MAX_COMPS 2000
#define CTRC_THR_LEVEL_UNSET 0x7FFFFFFF

/* The component table. Entry 0 is never handed out; next_free_comp (starting at 1) is the first
 * free index. Both are guarded by the trace mutex. */
ZUL_API CTRC_ADM ctrcadm[CTRC_MAX_COMPS];
ZUL_API int next_free_comp;

/* True for a value that is a live handle: strictly above the start of ctrcadm and below its first
 * free entry. */
#define CTRC_IS_HANDLE(hdl)                           \
  ((const char *)(hdl) > (const char *)&ctrcadm[0] && \
   (const char *)(hdl) < (const char *)&ctrcadm[next_free_comp])

/* ---- Exported state, read by the callers' trace statements ---- */

/* The process-wide trace level, 1 until set; written and read without a lock. */
ZUL_API int ct_level;
/* Above 0, errors set with the log option also go to the log. */
ZUL_API int ct_log_level;
/* The level of the entry being written, 2 outside a statement; a trace statement sets it around
 * its writer and resets it to 2. */
ZUL_API int EntLev;
/* Resolution of the time stamp lines: below 1 none, 1 (the default) seconds, n above 1 steps of
 * 1/n second. */
ZUL_API int ct_time_res;
/* The process' default trace handle (null: standard error). */
ZUL_API CTRC_HDL tf;
/* The last source location saved by CTrcSaveLocation: the module in 12 units, then the line. */
ZUL_API ZUL_UTF16 savloc[32];

/* Receives all trace text in place of the files once set: units of buffer (not terminated), and
 * the info given to CTrcSetOutputMethod. Answers what a write answers. */
typedef int (*CTRC_OUTPUT_FUNC)(const ZUL_UTF16 *buffer, size_t units, void *info);
ZUL_API CTRC_OUTPUT_FUNC output_func;
/* The stream that stands for the trace file while output_func is set: standard error. */
ZUL_API FILE *output_stream;
ZUL_API void *output_info;

/* Supplies context text for error lines: called with kind 1, a buffer and *length 511 (units).
 * Answers 0 and sets *length to the units of context text placed in buffer (0: none), or non-zero
 * on failure. ctx is what CTrcSetContextInfoHook stored. */
typedef int (*CTRC_CONTEXTINFO_FUNC)(int kind, ZUL_UTF16 *buffer, int *length, void *ctx);
ZUL_API CTRC_CONTEXTINFO_FUNC contextinfo_hook_func;
ZUL_API void *contextinfo_hook_ctx;

/* Non-zero (the default) hides session texts in hex dumps. */
ZUL_API uint8_t dpTrcHidingActive;

/* ---- Start and files ---- */

/* Creates the trace mutex (tag "dptrace") once; every entry point creates it on demand anyway.
 * Answers 0. */
ZUL_API int CTrcInitLib(void) ZUL_NOTHROW;
/* Opens the process trace file: mode 1 truncates ("w"), anything else appends. A null filename
 * answers standard error, without a header. level goes to ct_level only while no global file
 * exists; the stream becomes the global file if there was none, otherwise it is only answered
 * and the caller owns it. A failed open falls back to standard error. */
ZUL_API FILE *CTrcInit(const ZUL_UTF16 *filename, int mode, int level) ZUL_NOTHROW;
/* Sets ct_level, and the global file if there is none. Answers stream. */
ZUL_API FILE *CTrcSetFp(FILE *stream, int level) ZUL_NOTHROW;
ZUL_API void CTrcSetFpTf(CTRC_HDL hdl) ZUL_NOTHROW;
ZUL_API CTRC_HDL CTrcGetFpTf(void) ZUL_NOTHROW;
/* The stream a handle writes to: the calling thread's own file if any, else the global file. */
ZUL_API FILE *CTrcFp(CTRC_HDL hdl) ZUL_NOTHROW;
/* Opens a file for the calling thread only, with a new handle without component at level. From
 * then on every write of this thread goes to it. Answers the handle, or null when the table is
 * full. */
ZUL_API CTRC_HDL CTrcThrOpen(const ZUL_UTF16 *filename, int mode, int level) ZUL_NOTHROW;
/* Closes the calling thread's own file (not standard error, and nothing while output_func is
 * set). Answers 0, or -1 for a wrong handle or a thread without file. */
ZUL_API int CTrcThrClose(CTRC_HDL hdl) ZUL_NOTHROW;
/* Closes the stream of hdl. Closing the global file invalidates every handle of the process. */
ZUL_API int CTrcFileClose(CTRC_HDL hdl) ZUL_NOTHROW;
/* Empties the file of hdl. Answers 0, or -1 when that fails. */
ZUL_API int CTrcFileTrunc(CTRC_HDL hdl) ZUL_NOTHROW;
/* Sends all further text to func (null: back to the files); info is passed on unchanged. */
ZUL_API void CTrcSetOutputMethod(CTRC_OUTPUT_FUNC func, void *info) ZUL_NOTHROW;
ZUL_API CTRC_OUTPUT_FUNC CTrcGetOutputFunc(void) ZUL_NOTHROW;

/* ---- Components ---- */

/* Registers the component letter (upper-cased; level 3 for 'M', else 1) and stores its handle in
 * *hdl_out; the hook (may be null) is called at once. Answers 0, or -1 with standard error (or
 * null after CTrcLastComp) in *hdl_out. CTrcLastComp also closes the registration. */
ZUL_API int CTrcNewComp(ZUL_UTF16 letter, CTRC_HDL *hdl_out, CTRC_HOOK hook) ZUL_NOTHROW;
ZUL_API int CTrcLastComp(ZUL_UTF16 letter, CTRC_HDL *hdl_out, CTRC_HOOK hook) ZUL_NOTHROW;
/* The component's level, or 3 for a value that is no handle. */
ZUL_API int CTrcCompLev(CTRC_HDL hdl) ZUL_NOTHROW;
/* Stream, letter (0 without component) and level (3 without) of hdl; outputs may be null. */
ZUL_API int CTrcTransHdl(CTRC_HDL hdl, FILE **stream_out, ZUL_UTF16 *letter_out,
                         int *level_out) ZUL_NOTHROW;
/* Indentation of all components or of one; results below 0 become 0. All answer 0. */
ZUL_API int CTrcSetGlobalIndent(int n) ZUL_NOTHROW;
ZUL_API int CTrcChangeGlobalIndent(int delta) ZUL_NOTHROW;
ZUL_API int CTrcSetHdlIndent(CTRC_HDL hdl, int n) ZUL_NOTHROW;
ZUL_API int CTrcChangeHdlIndent(CTRC_HDL hdl, int delta) ZUL_NOTHROW;
ZUL_API void CTrcSetTraceLevelFct(int level) ZUL_NOTHROW;
ZUL_API int CTrcGetTraceLevelFct(void) ZUL_NOTHROW;
/* A level for the calling thread's own file, which then filters its lines; answers 0 or -1. */
ZUL_API int CTrcThrSetTraceLevel(CTRC_HDL hdl, int level) ZUL_NOTHROW;
/* 0x7FFFFFFF until any thread set a thread level; then the calling thread's level, or -1. */
ZUL_API int CTrcThrGetTraceLevel(CTRC_HDL hdl) ZUL_NOTHROW;
ZUL_API void CTrcThrResetTrace(void) ZUL_NOTHROW;

/* Units a components text needs; a smaller buffer gets "illegal parameter". */
#define CTRC_COMPS_TEXT_SIZE 2010
/* Mode of CTrcSwitch: add, remove or set the letters named; CTRC_SWITCH_LEVEL makes upper-case
 * letters take level in place of 3. */
#define CTRC_SWITCH_ADD 1
#define CTRC_SWITCH_REMOVE 2
#define CTRC_SWITCH_SET 3
#define CTRC_SWITCH_LEVEL 0x80
/* Switches components by their letters ("all", "All", lower case for level 1, upper case for the
 * higher level) and the process level. comps_out (CTRC_COMPS_TEXT_SIZE units, may be null) and
 * *level_out (may be null) receive the state before. Answers 0, or -1 without global file or for
 * "All"/"all" in a mode other than set. */
ZUL_API int CTrcSwitch(const ZUL_UTF16 *components, int mode, int level, ZUL_UTF16 *comps_out,
                       int *level_out) ZUL_NOTHROW;

#define CTP_LEVEL 0x10000000
#define CTP_FILEPTR 0x10000001
#define CTP_HOOKFUNC 0x10000002
/* Set: CTP_LEVEL takes an int, CTP_HOOKFUNC a CTRC_HOOK. Get: CTP_LEVEL takes an int*, CTP_FILEPTR
 * a FILE**, CTP_HOOKFUNC a CTRC_HOOK*. Answer 0 or -1. */
ZUL_API int CTrcSetParam(CTRC_HDL hdl, int code, ...) ZUL_NOTHROW;
ZUL_API int CTrcGetParam(CTRC_HDL hdl, int code, ...) ZUL_NOTHROW;

/* Writes the level and the components text to the global file; -1 without one. */
ZUL_API int CTrcPrintAct(void) ZUL_NOTHROW;
/* The program header block; the texts may be null. Answers 0, or -1 when the component's level
 * is below EntLev. */
ZUL_API int CTrcPrintPgmHeader(CTRC_HDL hdl, int relno, int patchlevel, int patchno,
                               int intno) ZUL_NOTHROW;
ZUL_API int CTrcPrintPgmHeaderExt(CTRC_HDL hdl, int relno, int patchlevel, int patchno, int intno,
                                  const ZUL_UTF16 *sysno, const ZUL_UTF16 *sid) ZUL_NOTHROW;
ZUL_API int CTrcPrintPgmHeaderExt2(CTRC_HDL hdl, int relno, int patchlevel, int patchno, int intno,
                                   const ZUL_UTF16 *sysno, const ZUL_UTF16 *sid,
                                   const ZUL_UTF16 *profile) ZUL_NOTHROW;

/* Stores "%-12.12s%d" of the part of filename behind its last '/' and line in savloc. The caller
 * holds DpLock (the error statements do). */
ZUL_API void CTrcSaveLocation(const ZUL_UTF16 *filename, int line) ZUL_NOTHROW;

/* A parsed logging setting such as "ON, 20 M, GLOBAL=ON". */
typedef struct CTRC_LOGGING_INFO {
  int32_t on;     /* 1 logging on, 0 off */
  int64_t size;   /* bytes */
  uint8_t global; /* 1 with GLOBAL=ON */
} CTRC_LOGGING_INFO;
/* Answers 0 and fills *out (may be null), or -1 for any text that is not such a setting. */
ZUL_API int CTrcGetLoggingInfo(const ZUL_UTF16 *text, CTRC_LOGGING_INFO *out) ZUL_NOTHROW;

/* The hook of component 'C' into *out; answers 0, or -1 when there is no such component. */
ZUL_API int CTrcGetHookDbSl(CTRC_HOOK *out) ZUL_NOTHROW;

/* Hooks of a system log host. writer0 takes an id, one parameter and a terminating 0; writer takes
 * a record type (32, 108 or 109), the three-unit id and a record of units; convert copies units of
 * text into a record in the host's form. */
typedef void (*CTRC_RSLG_WRITER0)(const ZUL_UTF16 *id, const ZUL_UTF16 *param, int end);
typedef void (*CTRC_RSLG_WRITER)(int type, const ZUL_UTF16 *id, const ZUL_UTF16 *record,
                                 size_t units);
typedef void (*CTRC_RSLG_CONVERT)(ZUL_UTF16 *record, const ZUL_UTF16 *text, size_t units);
ZUL_API void CTrcHookRslg(CTRC_RSLG_WRITER0 writer0, CTRC_RSLG_WRITER writer,
                          CTRC_RSLG_CONVERT convert) ZUL_NOTHROW;
/* writer0(id, param, 0) when writer0 is set. */
ZUL_API void CTrcRslgw1param(const ZUL_UTF16 *id, const ZUL_UTF16 *param) ZUL_NOTHROW;

ZUL_API void CTrcSetHiding(int flag) ZUL_NOTHROW;
/* option 0 stores func and ctx and answers 0; other options are refused with 1. */
ZUL_API int CTrcSetContextInfoHook(CTRC_CONTEXTINFO_FUNC func, void *ctx, int option) ZUL_NOTHROW;
ZUL_API int CTrcSignal(void) ZUL_NOTHROW;
ZUL_API void CTrcProcExit(void) ZUL_NOTHROW;

#endif /* ZUL_CTRC_H */
