/* Error information: one structured description of the last error, kept per thread.
 *
 * The block holds 21 zero-terminated 16-bit strings one behind the other, at most ERR_MAX_UNITS
 * units with the terminators, between two "*ERR*" eyecatchers; an absent field is an empty
 * string. The same block travels between processes in its network form: the 21 strings as UTF-8,
 * each with a one-byte terminator, without any header; the receiver is told the length.
 *
 * All state belongs to the calling thread and is freed when the thread ends. Pointers answered
 * here point into that state and stay valid until the thread's next Err call. No function blocks
 * or throws; results are ERR_OK or one of the negative codes below. */
#ifndef ZUL_ERR_H
#define ZUL_ERR_H

#include <stdarg.h>

#include "zul_base.h"
#include "zul_ctrc.h"

enum {
  ERR_OK = 0,
  ERR_AREA = -1,          /* area too small or too large */
  ERR_NO_INFO = -2,       /* no error information */
  ERR_UNKNOWN_FIELD = -3, /* unknown field */
  ERR_BAD_PARAM = -4,     /* bad parameter */
  ERR_NO_MEMORY = -5,     /* out of memory */
  ERR_EYECATCHER = -6,    /* eyecatcher destroyed */
  ERR_INCOMPLETE = -7,    /* incomplete block */
  ERR_CONVERSION = -8     /* character conversion failed */
};

/* Units of a block at most, terminators included, and its number of strings. */
#define ERR_MAX_UNITS 500
#define ERR_FIELD_COUNT 21
/* The language that means: no message lookup (a blank). */
#define ERR_NO_LANGUAGE 32
/* Message keys have 1 to ERR_MAX_KEY_LENGTH units (5 unless ErrSetMsgKey says otherwise). */
#define ERR_MAX_KEY_LENGTH 10
/* Units of the text that ErrPr answers at most, terminator included. */
#define ERR_PR_UNITS 683

/* The strings of a block in their order. Numbers are decimal texts, empty when 0. */
enum {
  ERR_FLD_EYECATCHER = 0, /* "*ERR*" */
  ERR_FLD_BLOCK_VERSION,  /* "1" */
  ERR_FLD_TEXT,           /* ERROR */
  ERR_FLD_RC,             /* RC */
  ERR_FLD_COMPONENT,      /* COMPONENT */
  ERR_FLD_RELEASE,        /* RELEASE, "720" */
  ERR_FLD_VERSION,        /* VERSION of the component */
  ERR_FLD_MODULE,         /* MODULE */
  ERR_FLD_LINE,           /* LINE */
  ERR_FLD_DETAIL,         /* DETAIL */
  ERR_FLD_TIME,           /* TIME, local time in asctime form without the newline */
  ERR_FLD_SYSCALL,        /* SYSTEM CALL */
  ERR_FLD_ERRNO,          /* ERRNO */
  ERR_FLD_ERRNO_TEXT,     /* ERRNO TEXT */
  ERR_FLD_COUNTER,        /* COUNTER: errors the thread has set so far */
  ERR_FLD_LOCATION,       /* LOCATION, see ErrSetMyLocation */
  ERR_FLD_DESCR_MSG_NO,   /* message key of the error text */
  ERR_FLD_DESCR_VARGS,    /* its arguments, separated by ";;;;" */
  ERR_FLD_DETAIL_MSG_NO,  /* message key of the detail */
  ERR_FLD_DETAIL_VARGS,   /* its arguments */
  ERR_FLD_EYECATCHER_END  /* "*ERR*" */
};

/* A thread's record; freed by ErrFree. */
typedef struct ERR_THR_INFO ERR_THR_INFO;

/* ---- Setting ---- */

/* Sets the calling thread's error information. text and detail are 16-bit formats (null: empty)
 * fed, in this order, by the variable arguments. A format that starts with "(", a key of the
 * thread's key length and ")" has the key stored apart (ERR_FLD_DESCR_MSG_NO or
 * ERR_FLD_DETAIL_MSG_NO), one blank behind ")" is dropped, and the texts of its arguments are
 * kept too, so that the text can be translated later. The thread's counter goes up and the time,
 * the location and the release are filled in. A block that would exceed ERR_MAX_UNITS is traced
 * instead; its length then stays set and the readers answer ERR_BAD_PARAM. */
ZUL_API int ErrSet(const ZUL_UTF16 *component, int version, const ZUL_UTF16 *module, int line,
                   const ZUL_UTF16 *text, int rc, const ZUL_UTF16 *detail, ...) ZUL_NOTHROW;
/* ErrSet with the failed system call and its errno (0: none). With log not 0, and ct_log_level
 * above 0, the error also goes to the trace as a log entry and to the system log. */
ZUL_API int ErrSetSys(const ZUL_UTF16 *component, int version, const ZUL_UTF16 *module, int line,
                      int log, const ZUL_UTF16 *text, int rc, const ZUL_UTF16 *detail,
                      const ZUL_UTF16 *syscall, int errno_value, ...) ZUL_NOTHROW;
/* Replaces one field. The argument depends on the field: ERR_FLD_TEXT and ERR_FLD_DETAIL take a
 * format and its arguments, as ErrSet does, and replace their key and argument fields too;
 * ERR_FLD_LOCATION and the two key fields take a format and its arguments; ERR_FLD_RC and
 * ERR_FLD_COUNTER an int; ERR_FLD_ERRNO an int, and its text replaces ERR_FLD_ERRNO_TEXT; the
 * other fields from ERR_FLD_COMPONENT to ERR_FLD_DETAIL_VARGS a text. Other fields:
 * ERR_UNKNOWN_FIELD. A result above ERR_MAX_UNITS: ERR_AREA, and the block stays. */
ZUL_API int ErrReplace(int field, ...) ZUL_NOTHROW;

/* ---- Reading ----
 * The fields by name: each output (may be null when not wanted) gets a pointer to its string, the
 * empty string when there is no information. ERR_NO_INFO without information; ERR_BAD_PARAM for a
 * length above ERR_MAX_UNITS; ERR_EYECATCHER and ERR_INCOMPLETE for a damaged block. A language
 * other than ERR_NO_LANGUAGE looks the keyed texts up in the message file (see ErrGetTxt) and
 * answers them with their arguments merged in: "&1" to "&9" insert that argument, "&" followed by
 * anything else the next one. */
ZUL_API int ErrGet(const ZUL_UTF16 **component, const ZUL_UTF16 **version, const ZUL_UTF16 **module,
                   const ZUL_UTF16 **line, const ZUL_UTF16 **text, const ZUL_UTF16 **rc,
                   const ZUL_UTF16 **detail, const ZUL_UTF16 **syscall,
                   const ZUL_UTF16 **errno_value, const ZUL_UTF16 **location,
                   const ZUL_UTF16 **time, const ZUL_UTF16 **release, const ZUL_UTF16 **errno_text,
                   const ZUL_UTF16 **counter) ZUL_NOTHROW;
ZUL_API int ErrGetAll(const ZUL_UTF16 **component, const ZUL_UTF16 **version,
                      const ZUL_UTF16 **module, const ZUL_UTF16 **line, const ZUL_UTF16 **text,
                      const ZUL_UTF16 **rc, const ZUL_UTF16 **detail, const ZUL_UTF16 **syscall,
                      const ZUL_UTF16 **errno_value, const ZUL_UTF16 **location,
                      const ZUL_UTF16 **time, const ZUL_UTF16 **release,
                      const ZUL_UTF16 **errno_text, const ZUL_UTF16 **counter,
                      const ZUL_UTF16 **descr_msg_no, const ZUL_UTF16 **descr_vargs,
                      const ZUL_UTF16 **detail_msg_no, const ZUL_UTF16 **detail_vargs) ZUL_NOTHROW;
ZUL_API int ErrGetL(ZUL_UTF16 lang, const ZUL_UTF16 **component, const ZUL_UTF16 **version,
                    const ZUL_UTF16 **module, const ZUL_UTF16 **line, const ZUL_UTF16 **text,
                    const ZUL_UTF16 **rc, const ZUL_UTF16 **detail, const ZUL_UTF16 **syscall,
                    const ZUL_UTF16 **errno_value, const ZUL_UTF16 **location,
                    const ZUL_UTF16 **time, const ZUL_UTF16 **release, const ZUL_UTF16 **errno_text,
                    const ZUL_UTF16 **counter) ZUL_NOTHROW;
/* The n-th string of the block, counted from 0; the empty string when there is none. */
ZUL_API const ZUL_UTF16 *ErrGetFld(int n) ZUL_NOTHROW;
/* Field n from ERR_FLD_TEXT to ERR_FLD_LOCATION, translated to lang; others are empty. */
ZUL_API const ZUL_UTF16 *ErrGetFldL(int n, ZUL_UTF16 lang) ZUL_NOTHROW;
/* 1 while the thread has error information, else 0. */
ZUL_API int ErrIsAInfo(void) ZUL_NOTHROW;
/* The block and its length in units; ERR_NO_INFO when there is none, ERR_BAD_PARAM after an
 * ErrSet whose block didn't fit. The block may be written through *block_out (ERR_MAX_UNITS
 * units) and its length then set with ErrSetLength. */
ZUL_API int ErrGetAttr(ZUL_UTF16 **block_out, size_t *length_out) ZUL_NOTHROW;
/* Sets the length in units; above ERR_MAX_UNITS: ERR_BAD_PARAM. */
ZUL_API int ErrSetLength(size_t units) ZUL_NOTHROW;

/* ---- State ---- */

/* Empties the block; the counter stays. */
ZUL_API void ErrClear(void) ZUL_NOTHROW;
/* Frees a thread's record with everything it owns and its message file stream. Null: the calling
 * thread's own, which then starts afresh. Destructor of the key that holds the records. */
ZUL_API void ErrFree(void *record) ZUL_NOTHROW;
/* Deletes the key of the records, after freeing the calling thread's. */
ZUL_API void ErrProExit(void) ZUL_NOTHROW;
/* Formats the thread's location (at most ERR_MAX_UNITS units), which ErrSet stores in every
 * block. ErrGetMyLocation answers it, or the empty string. */
ZUL_API int ErrSetMyLocation(const ZUL_UTF16 *format, ...) ZUL_NOTHROW;
ZUL_API const ZUL_UTF16 *ErrGetMyLocation(void) ZUL_NOTHROW;
/* The thread's message key length, 1 to ERR_MAX_KEY_LENGTH; others: ERR_BAD_PARAM. */
ZUL_API int ErrSetMsgKey(int n) ZUL_NOTHROW;

/* ---- Copies and the network form ---- */

/* Takes over a block of units units: both eyecatchers must be in place (ERR_EYECATCHER), and it
 * may have at most ERR_MAX_UNITS units (ERR_AREA). The thread's counter goes up and replaces the
 * block's. */
ZUL_API int ErrCpTo(const ZUL_UTF16 *block, size_t units) ZUL_NOTHROW;
/* Copies the block into buffer of units units; ERR_AREA when it doesn't fit. */
ZUL_API int ErrCpFrom(ZUL_UTF16 *buffer, size_t units) ZUL_NOTHROW;
/* The network form of the thread's block (ErrCpIntToNet), or of block with units units
 * (ErrCpIntToNet2), in buffer of size bytes; *length_out gets the bytes. ERR_CONVERSION when the
 * form doesn't fit or a unit has no UTF-8 form. */
ZUL_API int ErrCpIntToNet(ZUL_RAW *buffer, size_t *length_out, size_t size) ZUL_NOTHROW;
ZUL_API int ErrCpIntToNet2(ZUL_RAW *buffer, size_t *length_out, size_t size, const ZUL_UTF16 *block,
                           size_t units) ZUL_NOTHROW;
/* Takes over a block in network form of length bytes, from UTF-8 or, when it starts with the
 * EBCDIC eyecatcher, from EBCDIC. Reads no byte at or beyond buffer + length. ERR_AREA above
 * ERR_MAX_UNITS bytes; ERR_CONVERSION for UTF-8 that ends inside a character (the thread then has
 * no information); ERR_EYECATCHER when either eyecatcher is missing, in which case the block is
 * the thread's nevertheless and its readers answer the same. */
ZUL_API int ErrCpNetToInt(const ZUL_RAW *buffer, size_t length) ZUL_NOTHROW;

/* ---- Printing ---- */

/* The whole error as one text: a line per non-empty field, "\n" and the label padded to 12
 * units before each; long values wrap at 62 units. ErrPrL translates as ErrGetL does. The text
 * lives in a buffer of the thread; without information it is empty. */
ZUL_API const ZUL_UTF16 *ErrPr(void) ZUL_NOTHROW;
ZUL_API const ZUL_UTF16 *ErrPrL(ZUL_UTF16 lang) ZUL_NOTHROW;
/* Writes the error as a box of rows to the trace of hdl. Nothing when hdl is tf and ct_level is
 * 0. Answers the code of the reading. */
ZUL_API int ErrTrace(CTRC_HDL hdl) ZUL_NOTHROW;

/* ---- Message texts ---- */

/* Looks up the text of key in language lang; writes at most size - 1 units and a terminator to
 * buffer. Answers 1 when found, 0 otherwise. */
typedef int (*ERR_GET_TXT_FUNC)(const ZUL_UTF16 *key, ZUL_UTF16 lang, ZUL_UTF16 *buffer, int size);
/* The lookup in use; ErrGetTxt unless ErrSetGetTxt replaced it. */
ZUL_API ERR_GET_TXT_FUNC ErrGetTxtPtr;
/* The default lookup: the thread's message file (ErrSetMsgFile, else the environment variable
 * ERR_MSG_FILE, else "errmsg"), kept open and read from its start for each search. A line
 * belongs to the message when it starts with the language unit and the key; the text starts one
 * unit behind the key and ends before the line's newline. */
ZUL_API int ErrGetTxt(const ZUL_UTF16 *key, ZUL_UTF16 lang, ZUL_UTF16 *buffer,
                      int size) ZUL_NOTHROW;
/* Replaces the lookup (null: back to ErrGetTxt), for all threads. */
ZUL_API void ErrSetGetTxt(ERR_GET_TXT_FUNC func) ZUL_NOTHROW;
/* Sets the calling thread's message file, only if it has none yet; a later call changes nothing.
 * Answers 0, or ERR_NO_MEMORY. */
ZUL_API int ErrSetMsgFile(const ZUL_UTF16 *name) ZUL_NOTHROW;

/* ---- Helpers ---- */

/* The system's text of errno value n, empty for 0, negative values and values above 9999. The
 * first lives in a buffer of the thread; the second is written to buffer (size units) and
 * answered. */
ZUL_API const ZUL_UTF16 *ErrPrErrno(int n) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *ErrPrErrno2(int n, ZUL_UTF16 *buffer, size_t size) ZUL_NOTHROW;
/* Copies text into out (size units, terminator included) with every "%" doubled, so that the copy
 * can serve as a format; a text that doesn't fit is cut before the unit that would overflow.
 * Answers out. */
ZUL_API ZUL_UTF16 *ErrSafeAsFmtString(const ZUL_UTF16 *text, ZUL_UTF16 *out,
                                      size_t size) ZUL_NOTHROW;
/* The release text "720" into buffer; ERR_AREA when size is below 4 units. */
ZUL_API int ErrZulDllRelease(ZUL_UTF16 *buffer, size_t size) ZUL_NOTHROW;

#endif /* ZUL_ERR_H */
