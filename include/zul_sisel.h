/* Select sets: a set of sockets, each with the events it waits for and an opaque user value, on
 * which one call waits and then an iterator hands out the sockets that fired.
 *
 * A set is made by SiSelNewSet (waiting in poll) and freed by SiSelDestroySet. Members are the
 * caller's SI_SOCK records, kept by pointer and found by their socket number: a record must stay
 * in place, with its number unchanged, while it is a member. A set is not thread-safe.
 *
 * The loop: SiSelSelect waits and resets the iterator; SiSelNext then hands out one fired member
 * per call, with SI_OK and a null socket after the last. SiSelNext answers SI_EINVAL_SOCK for a
 * member whose descriptor was closed while in the set, SI_EINVAL for a hang-up and SI_EINTERN for
 * an error pending on it, each with the member in *sock. Every call answers an SI_ code; a null
 * set or socket, a negative socket number, a full set or a non-member answer SI_EINVAL. */
#ifndef ZUL_SISEL_H
#define ZUL_SISEL_H

#include <stdint.h>
#include <stdio.h>

#include "zul_base.h"
#include "zul_si.h"

typedef struct SISEL SISEL;

/* Event bits of SiSelSet and SiSelMode; a status of SiSelStat may also hold the last two. */
ZUL_API const uint8_t SISEL_READ;       /* 1 */
ZUL_API const uint8_t SISEL_WRITE;      /* 2 */
ZUL_API const uint8_t SISEL_READ_PRI;   /* 8 */
ZUL_API const uint8_t SISEL_INVAL_SOCK; /* 0x40: the descriptor is not open */
ZUL_API const uint8_t SISEL_SOCK_ERROR; /* 0x80: a hang-up or an error */

/* A set for up to maxSockets members (at least 2, at most 32768). */
ZUL_API int SiSelNewSet(SISEL **set, uint32_t maxSockets) ZUL_NOTHROW;
/* Frees the set and sets *set to null; the members stay open. */
ZUL_API int SiSelDestroySet(SISEL **set) ZUL_NOTHROW;
/* Adds sock if it is new, with data; adds events to a member, whose data stays as it was. */
ZUL_API int SiSelSet(SISEL *set, SI_SOCK *sock, uint8_t events, void *data) ZUL_NOTHROW;
/* As SiSelSet, but a member's events are replaced by events. */
ZUL_API int SiSelSetAbs(SISEL *set, SI_SOCK *sock, uint8_t events, void *data) ZUL_NOTHROW;
/* Takes events away; the socket stays a member. */
ZUL_API int SiSelClear(SISEL *set, SI_SOCK *sock, uint8_t events) ZUL_NOTHROW;
/* Takes all events away from all members. */
ZUL_API int SiSelClearSet(SISEL *set) ZUL_NOTHROW;
ZUL_API int SiSelRemove(SISEL *set, SI_SOCK *sock) ZUL_NOTHROW;
ZUL_API int SiSelRemoveAll(SISEL *set) ZUL_NOTHROW;
/* Waits up to timeout milliseconds (negative: without limit) and resets the iterator; *selected
 * (may be null) receives the number of members that fired. */
ZUL_API int SiSelSelect(SISEL *set, int timeout, int *selected) ZUL_NOTHROW;
ZUL_API int SiSelStartLoop(SISEL *set) ZUL_NOTHROW;
/* The next member that fired for one of the events asked for by a non-null flag pointer; each
 * given flag receives 1 or 0. */
ZUL_API int SiSelNext(SISEL *set, uint8_t *read, uint8_t *readPri, uint8_t *write,
                      SI_SOCK **sock, void **data) ZUL_NOTHROW;
/* The events a member waits for, as SISEL_ bits. */
ZUL_API int SiSelMode(SISEL *set, SI_SOCK *sock, uint8_t *events) ZUL_NOTHROW;
/* The events that fired for a member in the last wait, as SISEL_ bits. */
ZUL_API int SiSelStat(SISEL *set, SI_SOCK *sock, uint8_t *status) ZUL_NOTHROW;
/* The member limit; 0 for a null set. */
ZUL_API uint32_t SiSelGetMaxSockNo(SISEL *set) ZUL_NOTHROW;
/* 1 for a member, else 0. */
ZUL_API int SiSelIsMember(SISEL *set, SI_SOCK *sock) ZUL_NOTHROW;
ZUL_API int SiSelGetData(SISEL *set, SI_SOCK *sock, void **data) ZUL_NOTHROW;
ZUL_API int SiSelSetData(SISEL *set, SI_SOCK *sock, void *data) ZUL_NOTHROW;
/* Prints the set's state to file. */
ZUL_API int SiSelDump(SISEL *set, FILE *file) ZUL_NOTHROW;

#endif /* ZUL_SISEL_H */
