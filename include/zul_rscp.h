/* Code page kit: the exchangeable hooks, the per-thread error record and its printed forms, and
 * the source id helpers.
 *
 * Every failing text conversion reports through rscpHook_rscpe__error, and the hook's answer
 * becomes the conversion's answer. A host replaces the hook to record or print failures: installing
 * rscpe__error as the hook records each failure in the calling thread's error record. The hooks
 * are set during start-up and read without a lock. */
#ifndef ZUL_RSCP_H
#define ZUL_RSCP_H

#include "zul_base.h"

/* Reports one failure. code is the error class (for conversions 32, 512 or 2048), err_class the
 * component letter (79, 'O', for conversions), key a language key (-1 for none), module the
 * reporting source, location a number of the reporting site, line its source line, text the
 * message, p1 to p5 optional parameters (null for conversions). Answers the code the failing
 * function is to answer. */
typedef int (*RSCP_ERROR_HOOK)(int code, int err_class, int key, const ZUL_UTF16 *module,
                               int location, int line, const ZUL_UTF16 *text, const ZUL_UTF16 *p1,
                               const ZUL_UTF16 *p2, const ZUL_UTF16 *p3, const ZUL_UTF16 *p4,
                               const ZUL_UTF16 *p5);

/* The current error hook; never null. The default records nothing and answers its code. */
ZUL_API RSCP_ERROR_HOOK rscpHook_rscpe__error;

/* Installs f as the error hook; a null f restores the default. */
ZUL_API void rscpSetHook_rscpe__error(RSCP_ERROR_HOOK f) ZUL_NOTHROW;

/* Converts a source id text (8-bit, 7-bit content expected) to 16-bit text. Answers a copy
 * allocated with malloc that the caller owns, or, when the text is null or no memory is left, the
 * constant text "ConvertSCCSID_w failed", which must not be freed. Never answers null. */
ZUL_API const ZUL_UTF16 *ConvertSCCSID_w(const char *sccsid) ZUL_NOTHROW;


/* ---- The error record ----
 *
 * rscpe__error records into a record of the calling thread, made on the thread's first report and
 * freed when the thread ends. A report starts a new error at level 0 unless rscpeas__append_source
 * was called before it, in which case it becomes the next level of the same error (a propagation);
 * at most RSCPE_MAX_LEVELS levels are kept and further ones overwrite the last. */

#define RSCPE_MAX_LEVELS 5
#define RSCPE_MODULE_UNITS 8  /* module names are cut to 8 units */
#define RSCPE_PARAMS 5
#define RSCPE_PARAM_UNITS 40  /* each parameter text keeps up to 39 units */
#define RSCPE_TEXT_UNITS 128  /* the message keeps up to 127 units */
#define RSCPE_SQLMSG_UNITS 70

/* Where a level's foreign code came from (rscpefn__err_from_ntab and its kin). */
enum RSCPE_FOREIGN { RSCPE_FROM_NONE, RSCPE_FROM_NTAB, RSCPE_FROM_RSQL, RSCPE_FROM_SQL,
                     RSCPE_FROM_RTAB, RSCPE_FROM_FILESYSTEM };

typedef struct RSCPE_LEVEL {
  char err_class;      /* the component letter, 'O' for conversions */
  char internal;       /* set for class 'I' */
  char init_call;      /* the report came during initialisation (h_ccc_init_nice) */
  char foreign;        /* an RSCPE_FOREIGN value */
  int key;             /* language key, -1 for none */
  int location;        /* number of the reporting site */
  int line;            /* source line of the report */
  int code;            /* return code */
  int foreign_code;    /* the foreign source's code, or the SQL code */
  long callcnt;        /* value of rscpe_callcnt when the level was recorded */
  ZUL_UTF16 module[RSCPE_MODULE_UNITS + 1];
  ZUL_UTF16 params[RSCPE_PARAMS][RSCPE_PARAM_UNITS];
  ZUL_UTF16 text[RSCPE_TEXT_UNITS];
  ZUL_UTF16 sql_msg[RSCPE_SQLMSG_UNITS];
} RSCPE_LEVEL;

typedef struct RSCPE_RECORD {
  short depth;         /* levels in use, 0 to RSCPE_MAX_LEVELS */
  short append;        /* the next report becomes a further level */
  int saved_errno;     /* errno at the first failure, 0 when none is kept */
  RSCPE_LEVEL level[RSCPE_MAX_LEVELS];
} RSCPE_RECORD;

/* Counts the calls of rscpe__error in the whole process (no lock). */
ZUL_API long rscpe_callcnt;

/* Records one failure in the calling thread's record (see above), prints it when the verbose
 * switch asks for it, and answers code. Null texts count as empty; longer texts are cut. Install
 * it with rscpSetHook_rscpe__error(rscpe__error) to record the conversions' failures. */
ZUL_API int rscpe__error(int code, int err_class, int key, const ZUL_UTF16 *module, int location,
                         int line, const ZUL_UTF16 *text, const ZUL_UTF16 *p1,
                         const ZUL_UTF16 *p2, const ZUL_UTF16 *p3, const ZUL_UTF16 *p4,
                         const ZUL_UTF16 *p5) ZUL_NOTHROW;
/* Makes the next rscpe__error of this thread a further level of the current error. */
ZUL_API void rscpeas__append_source(void) ZUL_NOTHROW;

/* The calling thread's record; never null (a static empty record if no memory is left). It stays
 * valid until the thread ends. */
ZUL_API RSCPE_RECORD *rscple_last_error(void) ZUL_NOTHROW;
/* Copies record (if not null) into the calling thread's record. */
ZUL_API void rscproe__remember_old_error(const RSCPE_RECORD *record) ZUL_NOTHROW;
/* Clears the calling thread's record, the append flag and the kept errno included. */
ZUL_API void rscpce_clear_error(void) ZUL_NOTHROW;
/* Clears the levels and the kept errno, but keeps a pending append flag. */
ZUL_API void rscpcei_clear_error_info(void) ZUL_NOTHROW;

/* Fields of a record. The code functions answer 16 for a null record and 0 for an empty one; the
 * text functions answer an empty text for either. Texts point into the record. */
ZUL_API int rscpeFinalErrorCode(const RSCPE_RECORD *record) ZUL_NOTHROW;
ZUL_API int rscpeStartingErrorCode(const RSCPE_RECORD *record) ZUL_NOTHROW;
/* The SQL code of the last level, 0 when none. */
ZUL_API int rscpeFinalSqlCode(const RSCPE_RECORD *record) ZUL_NOTHROW;
/* The module of the last level. */
ZUL_API const ZUL_UTF16 *rscpeFinalErrorProc(const RSCPE_RECORD *record) ZUL_NOTHROW;
/* Parameter n (1 to 5) of the last level; an empty text for other n. */
ZUL_API const ZUL_UTF16 *rscpeFinalErrorParams(const RSCPE_RECORD *record, int n) ZUL_NOTHROW;
ZUL_API const ZUL_UTF16 *rscpeFinalErrorText(const RSCPE_RECORD *record) ZUL_NOTHROW;
/* The text of the last level in UTF-8, in a buffer of rscpuc_next_buff (zul_u16conv.h). */
ZUL_API const char *rscpeFinalErrorTextU8(const RSCPE_RECORD *record) ZUL_NOTHROW;
ZUL_API const ZUL_UTF16 *rscpeFinalSqlMsg(const RSCPE_RECORD *record) ZUL_NOTHROW;

/* Attach a foreign code to the last level of the calling thread's error (a level is made when the
 * record is empty) and answer code. rscpeff__err_from_filesystem also keeps code as the errno
 * unless one is kept already; rscpefq__err_from_sql keeps msg (may be null). */
ZUL_API int rscpefn__err_from_ntab(int code) ZUL_NOTHROW;
ZUL_API int rscpefs__err_from_rsql(int code) ZUL_NOTHROW;
ZUL_API int rscpefq__err_from_sql(int code, const ZUL_UTF16 *msg) ZUL_NOTHROW;
ZUL_API int rscpeff__err_from_filesystem(int code) ZUL_NOTHROW;
ZUL_API int rscpeft__err_from_rtab(int code) ZUL_NOTHROW;

/* ---- Switches ----
 * Each setter answers the old value. All start at 0, so nothing is printed unasked. */

/* Below 1 nothing goes to standard error on a report, 1 the short form, above 1 the full box.
 * Answers the old value as 0, 1 or 2. */
ZUL_API int rscpsv__set_verbose(int n) ZUL_NOTHROW;
/* Printing switches behind rscpsv__set_verbose: the short form, the full box. */
ZUL_API int h_rscp_some_stderr;
ZUL_API int h_rscp_verbose_stderr;
ZUL_API int rscpsv__set_err_trace(int n) ZUL_NOTHROW;
ZUL_API int rscpst_set_trace(int n) ZUL_NOTHROW;
ZUL_API int rscpgt_get_trace(void) ZUL_NOTHROW;
ZUL_API int rscpsst_set_stack_trace(int n) ZUL_NOTHROW;
/* The trace file name is copied (up to 255 bytes); null clears it. The getter answers "" when
 * none is set. */
ZUL_API const char *rscpstf_set_trace_file(const char *name) ZUL_NOTHROW;
ZUL_API const char *rscpgtf_get_trace_file(void) ZUL_NOTHROW;
ZUL_API int rscpsrts_rstr_to_stderr(int n) ZUL_NOTHROW;
ZUL_API int rscpgrts_rstr_to_stderr(void) ZUL_NOTHROW;

/* Print style: 2 selects the second style, anything else the first (the default). Style 1 pads
 * parameter rows of the box to the frame and writes "locat=" in the short form; style 2 writes
 * parameter rows unpadded and "location=". */
ZUL_API int h_rscpo_err_pri_style;
ZUL_API int rscpsps__set_pri_style(int n) ZUL_NOTHROW;
ZUL_API int rscpgps__get_pri_style(void) ZUL_NOTHROW;
/* Width of the module column of the short form (0 to 40, default 8). */
ZUL_API int rscpspwn__set_pri_w_no(int n) ZUL_NOTHROW;
ZUL_API int rscpgpwn__get_pri_w_no(void) ZUL_NOTHROW;
/* Width of the parameter text in the box's padded parameter rows (0 to 53, default 53). */
ZUL_API int rscpspwm__set_pri_w_me(int n) ZUL_NOTHROW;
ZUL_API int rscpgpwm__get_pri_w_me(void) ZUL_NOTHROW;

/* While h_ccc_init_nice is set, reports name h_ccc_init_func (when not null) as their module
 * and are marked as coming from an impromptu initialisation. */
ZUL_API int h_ccc_init_nice;
ZUL_API const ZUL_UTF16 *h_ccc_init_func;

/* ---- Printing ----
 * The print functions hand each line, without its newline, to a writer; a null writer is
 * rscpwes__write_err_stderr. A null record prints nothing. Lines are 8-bit text: units above 127
 * show as '#'. */
typedef void (*RSCP_LINE_WRITER)(const char *line, int length);
/* Writes the line with "%*.*s\n" on standard error. */
ZUL_API void rscpwes__write_err_stderr(const char *line, int length) ZUL_NOTHROW;
/* Drops the line. */
ZUL_API void rscpwen__write_err_nowhere(const char *line, int length) ZUL_NOTHROW;
/* One line "module: ... location: ... line: ..." of the last level. */
ZUL_API void rscpep1_err_print1(const RSCPE_RECORD *record, RSCP_LINE_WRITER w) ZUL_NOTHROW;
/* The box of the last level only. */
ZUL_API void rscpep2_err_print2(const RSCPE_RECORD *record, RSCP_LINE_WRITER w) ZUL_NOTHROW;
/* The box of all levels, without the operating system and SQL sections. */
ZUL_API void rscpep3_err_print3(const RSCPE_RECORD *record, RSCP_LINE_WRITER w) ZUL_NOTHROW;
/* The full box of all levels, 72 columns wide. */
ZUL_API void rscpep4_err_print4(const RSCPE_RECORD *record, RSCP_LINE_WRITER w) ZUL_NOTHROW;
/* The short form of the last level, and of all levels. */
ZUL_API void rscpep2s_err_print2_short(const RSCPE_RECORD *record,
                                       RSCP_LINE_WRITER w) ZUL_NOTHROW;
ZUL_API void rscpep4s_err_print4_short(const RSCPE_RECORD *record,
                                       RSCP_LINE_WRITER w) ZUL_NOTHROW;

/* Answers in *text_out the 51-character text of return code n for n from 1 to 12, and the code
 * in "%5ld" form otherwise; *length_out (either may be null) gets its length. The "%5ld" form
 * lives in a static buffer of 20 units, overwritten by the next such call (no lock). */
ZUL_API void rscpr2s__returncode_to_string(long code, const ZUL_UTF16 **text_out,
                                           int *length_out) ZUL_NOTHROW;

/* ---- Source id strings ----
 * A source id reads "@(#)" or "$Id:", then the file's path, then '#' and the version, as in
 * "$Id: //src/krn/rscp/rscperr.c#12 $". */

/* Answers the version number, or -1 when the text has no version. */
ZUL_API int rscpvfp__version_from_perforce(const char *id) ZUL_NOTHROW;
/* Copies the path (the text between the marker and '#', blanks trimmed) into buffer, cut to
 * size - 1 bytes and terminated, and answers buffer; answers null when the text is no source id
 * or the buffer is null or of size 0. */
ZUL_API char *rscpwfp__what_from_perforce(const char *id, char *buffer, size_t size) ZUL_NOTHROW;

/* ---- The other hooks ----
 * Each rscpHook_<name> is a writable global, never null; rscpSetHook_<name>(f) stores f, and a
 * null f puts the default back. Only rscpe__error is called by this library. */

typedef void *(*RSCP_ALLOC_HOOK)(size_t size);
typedef void (*RSCP_FREE_HOOK)(void *p);
typedef void (*RSCP_TEXT_HOOK)(const ZUL_UTF16 *text);
typedef void (*RSCP_VOID_HOOK)(void);
typedef int (*RSCP_INT_HOOK)(void);
typedef unsigned int (*RSCP_SLEEP_HOOK)(unsigned int seconds);
typedef char *(*RSCP_SETLOCALE_HOOK)(int category, const char *locale);
typedef int (*RSCP_DEXT_HOOK)(int request, void *data);
typedef const ZUL_UTF16 *(*RSCP_PARAM_HOOK)(const ZUL_UTF16 *name);
typedef const ZUL_UTF16 *(*RSCP_USER_HOOK)(void);
typedef const char *(*RSCP_DESCR_HOOK)(void);
typedef void (*RSCP_WAIT_HOOK)(unsigned int seconds);
typedef int (*RSCP_NORM_HOOK)(int on);

/* Storage: malloc and free. */
ZUL_API RSCP_ALLOC_HOOK rscpHook_rstg_get;
ZUL_API void rscpSetHook_rstg_get(RSCP_ALLOC_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_FREE_HOOK rscpHook_rstg_free;
ZUL_API void rscpSetHook_rstg_free(RSCP_FREE_HOOK f) ZUL_NOTHROW;
/* System log and trace writers: do nothing. */
ZUL_API RSCP_TEXT_HOOK rscpHook_rslgwri2;
ZUL_API void rscpSetHook_rslgwri2(RSCP_TEXT_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_TEXT_HOOK rscpHook_rslgw1param;
ZUL_API void rscpSetHook_rslgw1param(RSCP_TEXT_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_TEXT_HOOK rscpHook_rslgwparams;
ZUL_API void rscpSetHook_rslgwparams(RSCP_TEXT_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_TEXT_HOOK rscpHook_rslgtstamp;
ZUL_API void rscpSetHook_rslgtstamp(RSCP_TEXT_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_TEXT_HOOK rscpHook_rstrswbptr;
ZUL_API void rscpSetHook_rstrswbptr(RSCP_TEXT_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_TEXT_HOOK rscpHook_rstrcusr;
ZUL_API void rscpSetHook_rstrcusr(RSCP_TEXT_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_VOID_HOOK rscpHook_rstrfn_flush_next;
ZUL_API void rscpSetHook_rstrfn_flush_next(RSCP_VOID_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_TEXT_HOOK rscpHook_rstrw2usrU;
ZUL_API void rscpSetHook_rstrw2usrU(RSCP_TEXT_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_TEXT_HOOK rscpHook_rstrwcf__;
ZUL_API void rscpSetHook_rstrwcf__(RSCP_TEXT_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_TEXT_HOOK rscpHook_rstrwrf__;
ZUL_API void rscpSetHook_rstrwrf__(RSCP_TEXT_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_TEXT_HOOK rscpHook_rstrwefb__;
ZUL_API void rscpSetHook_rstrwefb__(RSCP_TEXT_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_TEXT_HOOK rscpHook_rstrwlfb__;
ZUL_API void rscpSetHook_rstrwlfb__(RSCP_TEXT_HOOK f) ZUL_NOTHROW;
/* A pause: sleep. */
ZUL_API RSCP_SLEEP_HOOK rscpHook_rstr_sleep;
ZUL_API void rscpSetHook_rstr_sleep(RSCP_SLEEP_HOOK f) ZUL_NOTHROW;
/* The locale: setlocale. */
ZUL_API RSCP_SETLOCALE_HOOK rscpHook_rstr_setlocale;
ZUL_API void rscpSetHook_rstr_setlocale(RSCP_SETLOCALE_HOOK f) ZUL_NOTHROW;
/* The host's extension: does nothing and answers 0. */
ZUL_API RSCP_DEXT_HOOK rscpHook_zul_dext;
ZUL_API void rscpSetHook_zul_dext(RSCP_DEXT_HOOK f) ZUL_NOTHROW;
/* Profile values: answer null (none found). */
ZUL_API RSCP_PARAM_HOOK rscpHook_zulgparam;
ZUL_API void rscpSetHook_zulgparam(RSCP_PARAM_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_PARAM_HOOK rscpHook_zulgfparam;
ZUL_API void rscpSetHook_zulgfparam(RSCP_PARAM_HOOK f) ZUL_NOTHROW;
/* The user's code pages answer "4103" (UTF-16), the language "E". */
ZUL_API RSCP_USER_HOOK rscpHook_GetUserUsingCodePage;
ZUL_API void rscpSetHook_GetUserUsingCodePage(RSCP_USER_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_USER_HOOK rscpHook_GetUserUsingLang;
ZUL_API void rscpSetHook_GetUserUsingLang(RSCP_USER_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_USER_HOOK rscpHook_GetUserFrontCodePage;
ZUL_API void rscpSetHook_GetUserFrontCodePage(RSCP_USER_HOOK f) ZUL_NOTHROW;
/* Semaphores of the conversion cache: none; each answers 0, and DescrSemaphore answers
 * "Neither semaphores nor mutexes are used.". */
ZUL_API RSCP_INT_HOOK rscpHook_Init1Semaphore;
ZUL_API void rscpSetHook_Init1Semaphore(RSCP_INT_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_INT_HOOK rscpHook_Init2Semaphore;
ZUL_API void rscpSetHook_Init2Semaphore(RSCP_INT_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_INT_HOOK rscpHook_GetSemaphore;
ZUL_API void rscpSetHook_GetSemaphore(RSCP_INT_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_INT_HOOK rscpHook_RelSemaphore;
ZUL_API void rscpSetHook_RelSemaphore(RSCP_INT_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_DESCR_HOOK rscpHook_DescrSemaphore;
ZUL_API void rscpSetHook_DescrSemaphore(RSCP_DESCR_HOOK f) ZUL_NOTHROW;
/* Write access to the cache: answer 0. */
ZUL_API RSCP_INT_HOOK rscpHook_GetWritePermission;
ZUL_API void rscpSetHook_GetWritePermission(RSCP_INT_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_INT_HOOK rscpHook_RelWritePermission;
ZUL_API void rscpSetHook_RelWritePermission(RSCP_INT_HOOK f) ZUL_NOTHROW;
/* Memory of the conversion cache: malloc and free. */
ZUL_API RSCP_ALLOC_HOOK rscpHook_AllocateCCCC;
ZUL_API void rscpSetHook_AllocateCCCC(RSCP_ALLOC_HOOK f) ZUL_NOTHROW;
ZUL_API RSCP_FREE_HOOK rscpHook_ReleaseCCCC;
ZUL_API void rscpSetHook_ReleaseCCCC(RSCP_FREE_HOOK f) ZUL_NOTHROW;
/* The wait before the cache is cleared: default_WaitBefClearCCCC. */
ZUL_API RSCP_WAIT_HOOK rscpHook_WaitBefClearCCCC;
ZUL_API void rscpSetHook_WaitBefClearCCCC(RSCP_WAIT_HOOK f) ZUL_NOTHROW;
/* Unicode normalisation: does nothing and answers 0. */
ZUL_API RSCP_NORM_HOOK rscpHook_activateNormalization;
ZUL_API void rscpSetHook_activateNormalization(RSCP_NORM_HOOK f) ZUL_NOTHROW;

/* Readers of the current values. */
ZUL_API RSCP_TEXT_HOOK rscpGetHook_rslgwri2(void) ZUL_NOTHROW;
ZUL_API RSCP_TEXT_HOOK rscpGetHook_rslgw1param(void) ZUL_NOTHROW;
ZUL_API RSCP_TEXT_HOOK rscpGetHook_rslgtstamp(void) ZUL_NOTHROW;
ZUL_API RSCP_TEXT_HOOK rscpGetHook_rstrw2usrU(void) ZUL_NOTHROW;
ZUL_API RSCP_TEXT_HOOK rscpGetHook_rstrwcf__(void) ZUL_NOTHROW;
ZUL_API RSCP_TEXT_HOOK rscpGetHook_rstrwrf__(void) ZUL_NOTHROW;
ZUL_API RSCP_SETLOCALE_HOOK rscpGetHook_rstr_setlocale(void) ZUL_NOTHROW;

/* Writes "WaitBeforeClearing..." and " ...Clearing CCCC now." as lines on standard error, with a
 * pause of the given seconds through rscpHook_rstr_sleep between them. */
ZUL_API void default_WaitBefClearCCCC(unsigned int seconds) ZUL_NOTHROW;

#endif /* ZUL_RSCP_H */
