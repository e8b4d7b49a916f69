/* Handle select sets: one thread waits on many NI handles at once, buffered or not, and is told
 * only of what is really ready.
 *
 * Modes: SISEL_READ and SISEL_WRITE (zul_sisel.h) for a connection, NISEL_CONNECT for a listener
 * (a connection to accept, from either of its sockets) and for a buffered handle (a handle passed
 * by the peer). A buffered handle belongs to one set at most; it leaves it when it closes. A plain
 * handle closed while a member leaves the set at the next select.
 *
 * The loop: NiSelSelect waits, then NiSelNext hands out one ready handle per call, -1 after the
 * last. A buffered handle holding a complete message makes the select return at once. Events the
 * library consumes itself (a ping answered, part of a message) are never reported: the select
 * waits again with the same time-out, so it may take longer than the time-out. An error on a
 * buffered handle is stored in the handle, which is reported ready: the next receive gives it.
 *
 * A set is not thread-safe. A null set gives NIEINVAL. */
#ifndef ZUL_NISEL_H
#define ZUL_NISEL_H

#include <stdint.h>
#include <stdio.h>

#include "zul_base.h"
#include "zul_ni.h"
#include "zul_sisel.h"

#ifdef __cplusplus
struct NISEL;
#else
typedef struct NISEL NISEL;
#endif

#define NISEL_CONNECT 4

/* Socket set types of NiSelNewSet3. */
#define NISEL_IMPL_POLL 0
#define NISEL_IMPL_SELECT 1
#define NISEL_IMPL_F_CONN 2

/* NiSelNewSet2 with 2048 sockets. */
ZUL_API int NiSelNewSet(struct NISEL **ppSet) ZUL_NOTHROW;
/* A set waiting in poll, for up to maxSockets sockets (a listener counts two). */
ZUL_API int NiSelNewSet2(struct NISEL **ppSet, uint32_t maxSockets) ZUL_NOTHROW;
/* The same on the socket set type *pImpl (null: poll); other types give NIEINVAL. */
ZUL_API int NiSelNewSet3(struct NISEL **ppSet, uint32_t maxSockets, const int *pImpl) ZUL_NOTHROW;
/* Removes every member and frees the set; *ppSet becomes null. */
ZUL_API int NiSelDestroySet(struct NISEL **ppSet) ZUL_NOTHROW;
ZUL_API int NiSelClearSet(struct NISEL *pSet) ZUL_NOTHROW;
/* Adds hdl, or adds modes to a member (pData is kept from the first call). NIEINVAL for modes
 * the handle can't take, a buffered handle in another set, or a full set. */
ZUL_API int NiSelSet(struct NISEL *pSet, int hdl, uint8_t mode, void *pData) ZUL_NOTHROW;
/* Takes modes away; a member left with none leaves the set. */
ZUL_API int NiSelClear(struct NISEL *pSet, int hdl, uint8_t mode) ZUL_NOTHROW;
/* 1 for a member, 0 otherwise. */
ZUL_API int NiSelIsMember(struct NISEL *pSet, int hdl) ZUL_NOTHROW;
/* ZUL_O_K with handles ready, NIETIMEOUT with none; timeout in ms, negative for no limit. */
ZUL_API int NiSelSelect(struct NISEL *pSet, int timeout) ZUL_NOTHROW;
/* The next ready handle with its flags and data, or -1 after the last. */
ZUL_API int NiSelNext(struct NISEL *pSet, uint8_t *pRead, uint8_t *pWrite, uint8_t *pConnect,
                      void **ppData) ZUL_NOTHROW;
ZUL_API int NiSelDump(struct NISEL *pSet, FILE *stream) ZUL_NOTHROW;
/* The code of the set's last failure, ZUL_O_K when none. */
ZUL_API int NiSelGetError(struct NISEL *pSet) ZUL_NOTHROW;

#endif /* ZUL_NISEL_H */
