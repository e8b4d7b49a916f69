/* Continuous local time: a local clock that never runs backward.
 *
 * The C library's local time jumps back when daylight saving time ends, and one hour of wall clock
 * readings comes twice. Within a window around that switch, from one DST offset before it to one
 * after, these functions let the local clock run at half speed instead, so that it absorbs the
 * repeated hour smoothly. Outside the window they agree with localtime.
 *
 * The mode comes from the profile value "zdate/DSTswitch_contloctime", read through the reader that
 * ContLoct_Init sets, once, on the first conversion after it:
 *   "on", or no value: 1, the window follows from the zone's switches, found by search;
 *   "old", or any other text: 2, the window is found from the readings around each time;
 *   "off": 3, plain localtime and mktime.
 * Without a reader, mode 1 applies.
 *
 * The process-wide state takes no lock: threads that race may find the same switches twice. The
 * static forms (localtime_cont, ctime_cont) share their result records, like localtime and ctime;
 * callers serialise them (the trace does so under DpLock). */
#ifndef ZUL_CONTLOCT_H
#define ZUL_CONTLOCT_H

#include <time.h>

#include "zul_base.h"

#define CONTLOCT_MODE_NEW 1
#define CONTLOCT_MODE_OLD 2
#define CONTLOCT_MODE_OFF 3

/* Answers the profile value of name, or null when it has none. The text must stay valid until the
 * call returns. */
typedef const ZUL_UTF16 *(*CONTLOCT_PROFILE_READER)(const ZUL_UTF16 *name);

/* A trace writer of the DpTrc kind: handle, 16-bit format and its arguments. */
typedef int (*CONTLOCT_TRACE_WRITER)(void *handle, const ZUL_UTF16 *format, ...);

/* The continuous local time of *t into a record of the module, valid until the next call. A call
 * made while one is under way (from a trace writer) writes "Recursive call of localtime_cont at
 * <time>" to standard error and answers the last result. In mode 2 it answers the plain local
 * time. Null with errno ERANGE when the time can't be converted. */
ZUL_API struct tm *localtime_cont(const time_t *t) ZUL_NOTHROW;
/* The same into result; in mode 2 the window is applied here. Answers result, or null with errno
 * ERANGE. */
ZUL_API struct tm *localtime_cont_r(const time_t *t, struct tm *result) ZUL_NOTHROW;
/* asctime of the continuous local time: into a buffer of the module, or into buf16 (at least 26
 * units). Null on failure. */
ZUL_API ZUL_UTF16 *ctime_cont(const time_t *t) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *ctime_cont_r(const time_t *t, ZUL_UTF16 *buf16) ZUL_NOTHROW;

/* The inverse of localtime_cont_r: the time whose continuous reading is *tm (to the second; inside
 * a window two times share one reading, and the earlier is answered). A reading inside a window
 * counts as DST whatever its tm_isdst. *tm is normalised as by mktime. -1 on failure. */
ZUL_API time_t mktime_cont(struct tm *tm) ZUL_NOTHROW;

/* 1 when t lies in a window of mode 2: the two hours (twice the switch's offset) around the end of
 * daylight saving time, whose bounds go to *begin and *end (exclusive); 0 when it doesn't, and
 * always for t below 7201; -1 when localtime_r fails. */
ZUL_API int IsDoubleInterval(time_t t) ZUL_NOTHROW;
ZUL_API int IsDoubleInterval_GetInterval(time_t t, time_t *begin, time_t *end) ZUL_NOTHROW;

/* Sets the reader of profile values (null: none) and has the mode read anew. */
ZUL_API void ContLoct_Init(CONTLOCT_PROFILE_READER reader) ZUL_NOTHROW;
/* Sets the trace writer and its handle (null writer: no trace). Errors are written at level 1 and
 * above, the details of each conversion at level 2 and above; the level starts at 1. */
ZUL_API void ContLoctRegisterTrace(CONTLOCT_TRACE_WRITER writer, void *handle) ZUL_NOTHROW;
ZUL_API void ContLoctSetTraceLevel(int level) ZUL_NOTHROW;

/* The profile hooks of "zdate/DSTswitch_contloctime": abSet_contloctime sets the mode from value
 * (name is not examined) and answers 0 for "on", "old", "off" or no value, 1 for any other text,
 * which selects mode 2. abTest_contloctime gives the same answer and changes nothing. */
ZUL_API int abSet_contloctime(const ZUL_UTF16 *name, const ZUL_UTF16 *value) ZUL_NOTHROW;
ZUL_API int abTest_contloctime(const ZUL_UTF16 *name, const ZUL_UTF16 *value) ZUL_NOTHROW;

/* Mode 1's pieces. */
/* The seconds by which the local clock jumps at the switch whose first second is switch_time (for
 * an hour's switch 3600, either way); 0 when there is no jump there or localtime_r fails. */
ZUL_API long ContLoctGetDstOffset(time_t switch_time) ZUL_NOTHROW;
/* 1 when t lies in mode 1's window, with its bounds (end exclusive); 0 when not, or when the zone
 * has no daylight saving time; -1 when localtime_r fails. Finds and keeps the switches around t. */
ZUL_API int ContLoctGetInterval(time_t t, time_t *begin, time_t *end) ZUL_NOTHROW;
/* 1 with the first second after t whose tm_isdst differs from t's, to the second, when there is
 * one within about a year; 0 when there isn't; -1 when localtime_r fails. */
ZUL_API int ContLoctGetNextSwitch(time_t t, time_t *next_switch) ZUL_NOTHROW;

#endif /* ZUL_CONTLOCT_H */
