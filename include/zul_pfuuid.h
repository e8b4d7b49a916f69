/* Unique identifiers of 16 bytes, and their text forms.
 *
 * Identifiers are time-based (version 1) UUIDs from the system's libuuid, re-ordered into this
 * system's own layout: bytes 0 to 5 hold the node, and identifiers made in close sequence differ in
 * their trailing bytes. Creation is serialised by one process-wide critical section.
 *
 * libuuid makes time-based identifiers cheaply only when the uuidd daemon runs; without it each one
 * costs a file lock, and some builds fall back to random identifiers. pfuuid_init tells which case
 * applies. */
#ifndef ZUL_PFUUID_H
#define ZUL_PFUUID_H

#include "zul_base.h"

/* Result codes of the whole family. */
#define PFUUID_OK 0
#define PFUUID_ERR_ARG 1      /* bad argument, or a failed test */
#define PFUUID_ERR_LOCK 2     /* the lock failed; or the target of an encoder is full */
#define PFUUID_ERR_VERSION 3  /* the identifier made isn't of version 1, variant 10 */
#define PFUUID_ERR_NO_UUIDD 6 /* no uuidd program found */
#define PFUUID_ERR_UUIDD_RC 7 /* uuidd is there, but answered with an error */

/* Bytes of one identifier. */
#define PFUUID_LEN 16

/* The last diagnosis of pfuuid_linux_uuidd_test: an errno plus 10000 (formatting the command),
 * 20000 (running it), 40000 (running it again with SIGCHLD at its default), or the wait status of
 * the command plus 30000. Not guarded: read it on the thread that ran the test. */
ZUL_API int32_t pfuuid_errno;

/* ThrProcInit, then pfuuid_linux_uuidd_test; answers the latter's code. */
ZUL_API int pfuuid_init(void) ZUL_NOTHROW;

/* Tells whether the uuidd daemon serves time-based identifiers: runs "uuidd -t" from the first
 * installed path. 0 when it answers; 6 no program; 7 the daemon isn't reachable or failed; 1 when
 * the command can't be made or run, or ended by a signal. pfuuid_errno tells the details. */
ZUL_API int pfuuid_linux_uuidd_test(void) ZUL_NOTHROW;

/* One identifier in this system's layout into out (16 bytes). Answers 0; 2 when the lock fails;
 * 3 when libuuid gave no version 1 identifier, whose raw bytes are then in out. The two are one. */
ZUL_API int pfcreate_zul_uuid(ZUL_RAW *out) ZUL_NOTHROW;
ZUL_API int pfcreate_zul_uuid_save(ZUL_RAW *out) ZUL_NOTHROW;

/* count identifiers in a row into out (16 * count bytes), all under one hold of the lock. Answers
 * the code of the last one (0 for a count below 1). */
ZUL_API int pfcreate_zul_uuids(ZUL_RAW *out, int count) ZUL_NOTHROW;

/* pfcreate_zul_uuid with choices: lock 0 skips the lock (for callers that hold it, or have no
 * threads), reorder 0 leaves the identifier in the standard layout. */
ZUL_API int pfcreate_zul_uuid_spec(ZUL_RAW *out, int lock, int reorder) ZUL_NOTHROW;

/* Always leaves an identifier in out: when pfcreate_zul_uuid_save fails, one of pseudo-random
 * numbers seeded from the process id and the time. Answers the code of pfcreate_zul_uuid_save. */
ZUL_API int pfcreate_zul_uuid_force(ZUL_RAW *out) ZUL_NOTHROW;

/* One identifier from libuuid in the standard layout, without lock: 0, or 3 when it isn't of
 * version 1 and variant 10. */
ZUL_API int pfget_uuid(ZUL_RAW *out) ZUL_NOTHROW;

/* 1 when uuid (standard layout) is of variant 10 (top bits of byte 8) and version 1 (top four bits
 * of byte 6), else 0. */
ZUL_API int check_variant_version(const ZUL_RAW *uuid) ZUL_NOTHROW;

/* Plain copies of 16 bytes; no byte order changes. pfuuid_host answers 1 unless length is 16;
 * pfuuid_net answers 1 when *length is below 16, and sets it to 16. */
ZUL_API int pfuuid_host(const ZUL_RAW *in, int length, ZUL_RAW *out) ZUL_NOTHROW;
ZUL_API int pfuuid_net(const ZUL_RAW *in, ZUL_RAW *out, int *length) ZUL_NOTHROW;

/* 32 upper-case hexadecimal digits and a terminator into text, whose size *length (in units) must
 * be above 32, else 1. *length becomes 32. */
ZUL_API int pfuuid_print(const ZUL_RAW *uuid, ZUL_UTF16 *text, int *length) ZUL_NOTHROW;

/* Does nothing. */
ZUL_API void print_uuid(void) ZUL_NOTHROW;

/* Base64 with this system's alphabet "0-9A-Za-z{}" and "=" padding, into 16-bit text without a
 * terminator. Text runs from *dst up to dst_end (exclusive), bytes from *src up to src_end. Lines
 * hold 19 groups (76 units): *line_groups counts the groups on the current line and may be carried
 * from call to call (null counts from 0); a newline (unit 10) goes before the 20th. Answers 0, or
 * 2 when the target is full, with both pointers after the last whole group done; 1 for bad
 * arguments. */
ZUL_API int pfuuid_encodeBase64Uc(ZUL_UTF16 **dst, ZUL_UTF16 *dst_end, const ZUL_RAW **src,
                                  const ZUL_RAW *src_end, int *line_groups) ZUL_NOTHROW;
/* The reverse: units outside the alphabet and "=" are skipped. A last group's digits and the "="
 * after them must make 4, else 1. 2 when the target is full; the pointers stand as for encoding. */
ZUL_API int pfuuid_decodeBase64Uc(ZUL_RAW **dst, ZUL_RAW *dst_end, const ZUL_UTF16 **src,
                                  const ZUL_UTF16 *src_end) ZUL_NOTHROW;

/* Base32 with the alphabet "A-Z2-7" and "=" padding, no newlines; otherwise as Base64, with groups
 * of 5 bytes and 8 units. */
ZUL_API int pfuuid_encodeBase32Uc(ZUL_UTF16 **dst, ZUL_UTF16 *dst_end, const ZUL_RAW **src,
                                  const ZUL_RAW *src_end) ZUL_NOTHROW;
ZUL_API int pfuuid_decodeBase32Uc(ZUL_RAW **dst, ZUL_RAW *dst_end, const ZUL_UTF16 **src,
                                  const ZUL_UTF16 *src_end) ZUL_NOTHROW;

#endif /* ZUL_PFUUID_H */
