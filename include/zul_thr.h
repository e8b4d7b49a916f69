/* Threads, keys and locks of the portability kernel: a return-code layer over POSIX threads.
 *
 * The layer starts in two stages. ThrIProcInit makes its structures ready but leaves the process
 * single-threaded; ThrProcInit also sets thr_threaded. While thr_threaded is 0 every lock call is a
 * no-op that answers 0, so libraries may lock without knowing whether threads exist. */
#ifndef ZUL_THR_H
#define ZUL_THR_H

#include <pthread.h>

#include "zul_base.h"

/* Result codes of the thread layer; ThrErrToStr gives their texts. */
#define THR_ERR_OK 0
#define THR_ERR_STILL_ALIVE 1
#define THR_ERR_INVALID_PARAM 2
#define THR_ERR_EXISTS 3
#define THR_ERR_INTERNAL 4
#define THR_ERR_INVALID_ID 5
#define THR_ERR_INVALID_KEY 6
#define THR_ERR_NO_MEMORY 7
#define THR_ERR_NOT_INIT 8
#define THR_ERR_NOT_LOCKED 9
#define THR_ERR_NOT_OWNER 10
#define THR_ERR_NOT_SUPPORTED 11
#define THR_ERR_OS 12
#define THR_ERR_DEADLOCK 13
#define THR_ERR_NO_RESOURCES 14
#define THR_ERR_TIMEOUT 15

/* A thread id holds the pthread_t; the invalid id has all ones in its low 32 bits only. */
typedef uint64_t THR_ID;
#define THR_INVALID_ID ((THR_ID)0xFFFFFFFFu)

/* A thread key is a 32-bit variable owned by the caller. It may be statically initialised to
 * THR_INVALID_KEY: the first ThrKeyVarGet or ThrKeyVarSet then creates it. */
typedef uint32_t THR_KEY;
#define THR_INVALID_KEY ((THR_KEY)0xFFFFFFFFu)
typedef void (*THR_KEY_DESTRUCTOR)(void *value);

/* 1 once ThrProcInit has run; 0 before and after ThrProcExit. */
ZUL_API uint32_t thr_threaded;

/* Life of the layer. */
ZUL_API int ThrIProcInit(void) ZUL_NOTHROW;
ZUL_API int ThrProcInit(void) ZUL_NOTHROW;
ZUL_API int ThrProcExit(void) ZUL_NOTHROW;
ZUL_API int ThrIsThreaded(void) ZUL_NOTHROW;
/* Keeps ThrIProcInit from registering ThrProcExit with atexit (for unloadable libraries). */
ZUL_API void ThrSharedLibraryAware(void) ZUL_NOTHROW;
ZUL_API int ThrIInit(void) ZUL_NOTHROW;
ZUL_API int ThrIExit(void) ZUL_NOTHROW;
ZUL_API void *ThrMalloc(size_t size) ZUL_NOTHROW;
ZUL_API int ThrFree(void *ptr) ZUL_NOTHROW;
ZUL_API void ThrSetMemHdl(void *handle) ZUL_NOTHROW;
ZUL_API void ThrCleanupKeyMem(void) ZUL_NOTHROW;

ZUL_API THR_ID ThrGetCurrentId(void) ZUL_NOTHROW;
ZUL_API int ThrIdEqual(THR_ID a, THR_ID b) ZUL_NOTHROW;

/* Keys. ThrKeyGet answers 3 when *key is already created; ThrKeyVarGet answers the value or null. */
ZUL_API int ThrKeyGet(THR_KEY *key, THR_KEY_DESTRUCTOR destructor) ZUL_NOTHROW;
ZUL_API int ThrKeyDel(THR_KEY *key) ZUL_NOTHROW;
ZUL_API void *ThrKeyVarGet(THR_KEY *key) ZUL_NOTHROW;
ZUL_API int ThrKeyVarSet(THR_KEY *key, void *value) ZUL_NOTHROW;

/* The platform layer: all calls to POSIX, no bookkeeping. */
ZUL_API int ThrPModInit(void) ZUL_NOTHROW;
ZUL_API int ThrPModExit(void) ZUL_NOTHROW;
ZUL_API int ThrPKeyGet(THR_KEY *key, THR_KEY_DESTRUCTOR destructor) ZUL_NOTHROW;
ZUL_API int ThrPKeyDel(THR_KEY *key) ZUL_NOTHROW;
ZUL_API void *ThrPKeyVarGet(THR_KEY *key) ZUL_NOTHROW;
ZUL_API int ThrPKeyVarSet(THR_KEY *key, void *value) ZUL_NOTHROW;

/* A plain mutex: exactly a pthread_mutex_t with default attributes. */
typedef pthread_mutex_t THR_MTX;

/* Called by ThrMtxLock and ThrMtxTryLock after a success, with the text "ThrMutex", and by
 * ThrMtxUnlock after every unlock. Hooks run on the locking thread and must not take that mutex. */
typedef void (*THR_LOCK_HOOK)(const ZUL_UTF16 *name);
typedef void (*THR_UNLOCK_HOOK)(void);
ZUL_API void ThrSetCriticalSectionHook(THR_LOCK_HOOK lock_hook, THR_UNLOCK_HOOK unlock_hook) ZUL_NOTHROW;

/* The tag is ignored. ThrMtxDelete answers 8 before ThrIProcInit. Lock, unlock and try-lock do
 * nothing and answer 0 while not threaded; a busy try-lock answers 10. */
ZUL_API int ThrMtxInit(THR_MTX *mtx, const ZUL_UTF16 *tag) ZUL_NOTHROW;
ZUL_API int ThrMtxDelete(THR_MTX *mtx) ZUL_NOTHROW;
ZUL_API int ThrMtxILock(THR_MTX *mtx) ZUL_NOTHROW;
ZUL_API int ThrMtxIUnlock(THR_MTX *mtx) ZUL_NOTHROW;
ZUL_API int ThrMtxITryLock(THR_MTX *mtx) ZUL_NOTHROW;
ZUL_API int ThrMtxLock(THR_MTX *mtx) ZUL_NOTHROW;
ZUL_API int ThrMtxUnlock(THR_MTX *mtx) ZUL_NOTHROW;
ZUL_API int ThrMtxTryLock(THR_MTX *mtx) ZUL_NOTHROW;

#endif /* ZUL_THR_H */
