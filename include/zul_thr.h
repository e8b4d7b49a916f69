/* Threads, keys and locks of the portability kernel: a return-code layer over POSIX threads.
 *
 * The layer starts in two stages. ThrIProcInit makes its structures ready but leaves the process
 * single-threaded; ThrProcInit also sets thr_threaded. While thr_threaded is 0 every lock, section
 * and event call is a no-op that answers 0 (recursive mutexes excepted), so libraries may lock
 * without knowing whether threads exist, and ThrCreate refuses.
 *
 * Every call answers one of the THR_ERR_ codes below unless its comment says otherwise. The calls
 * let no unwinding through (ThrExit excepted), so a thread must not be cancelled while it waits
 * inside one of them: the cancellation would end the process. */
#ifndef ZUL_THR_H
#define ZUL_THR_H

#include <pthread.h>
#include <time.h>

#include "zul_base.h"

/* Result codes of the thread layer with their texts, one entry per code:
 * THR_ERR_MAP(X) expands X(name, code, text) for each. */
#define THR_ERR_MAP(X)                                                                             \
  X(OK, 0, "Operation completed successfully.")                                                    \
  X(STILL_ALIVE, 1, "Thread still alive.")                                                         \
  X(INVALID_PARAM, 2, "Invalid parameter passed.")                                                 \
  X(EXISTS, 3, "Attempt was made to initialize an item which already exists.")                     \
  X(INTERNAL, 4, "Thread library internal error.")                                                 \
  X(INVALID_ID, 5, "Thread ID is invalid.")                                                        \
  X(INVALID_KEY, 6, "Thread specific data key is invalid.")                                        \
  X(NO_MEMORY, 7, "Error occurred while attempting to allocate memory.")                           \
  X(NOT_INIT, 8, "Thread library not yet initialized.")                                            \
  X(NOT_LOCKED, 9, "Attempt was made to unlock a critical section which is not currently locked.") \
  X(NOT_OWNER, 10, "Attempt was made to unlock a critical section owned by another thread.")       \
  X(NOT_SUPPORTED, 11, "Threads not supported on this platform.")                                  \
  X(OS, 12, "Operating system error occurred.")                                                    \
  X(DEADLOCK, 13, "Operation would cause the calling thread to deadlock.")                         \
  X(NO_RESOURCES, 14, "Operation failed due to lack of resources.")                                \
  X(TIMEOUT, 15, "Operation timed out.")

/* THR_ERR_OK, THR_ERR_STILL_ALIVE, ... THR_ERR_TIMEOUT. THR_ERR_NOT_OWNER is also the answer of a
 * try-lock on a busy mutex. */
#define THR_ERR_ENUM_ENTRY(name, code, text) THR_ERR_##name = code,
enum { THR_ERR_MAP(THR_ERR_ENUM_ENTRY) };
#undef THR_ERR_ENUM_ENTRY

/* A thread id holds the pthread_t; the invalid id has all ones in its low 32 bits only. Ids are
 * compared with ThrIdEqual. */
typedef uint64_t THR_ID;
#define THR_INVALID_ID ((THR_ID)0xFFFFFFFFu)
/* Units that ThrId2Str needs at most: 20 decimal digits and the terminator. */
#define THR_ID_STR_SIZE 21

/* A thread key is a 32-bit variable owned by the caller. It may be statically initialised to
 * THR_INVALID_KEY: the first ThrKeyVarGet or ThrKeyVarSet then creates it. */
typedef uint32_t THR_KEY;
#define THR_INVALID_KEY ((THR_KEY)0xFFFFFFFFu)
typedef void (*THR_KEY_DESTRUCTOR)(void *value);

/* 1 once ThrProcInit has run; 0 before and after ThrProcExit. */
ZUL_API uint32_t thr_threaded;

/* ---- Life of the layer ---- */

/* Answers 0 at once when already done; 12 when its mutexes can't be made. Enters the calling
 * thread in the thread table and, unless ThrSharedLibraryAware ran before, registers ThrProcExit
 * with atexit. */
ZUL_API int ThrIProcInit(void) ZUL_NOTHROW;
/* ThrIProcInit, then thr_threaded = 1. May be called any number of times. */
ZUL_API int ThrProcInit(void) ZUL_NOTHROW;
/* Forgets all threads, destroys the layer's mutexes, clears thr_threaded. Keys stay. */
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

/* ---- Threads ---- */

/* The start routine of a thread; what it answers becomes the thread's exit code. */
typedef void *(*THR_START_ROUTINE)(void *arg);

/* Attributes of ThrCreate2. scope: 0 default, 1 system scope, 2 process scope, others default.
 * detach_mode: 0 and 1 joinable, 2 detached. stack_size in bytes: a non-zero size is raised to at
 * least 16384; 0 takes the process default raised to at least 0x80000. */
typedef struct ThrCreateAttr {
  uint32_t scope;
  uint32_t detach_mode;
  uint64_t stack_size;
} ThrCreateAttr;

#define THR_SCOPE_DEFAULT 0
#define THR_SCOPE_SYSTEM 1
#define THR_SCOPE_PROCESS 2
#define THR_CREATE_JOINABLE 0
#define THR_CREATE_DETACHED 2

/* Starts start(arg) with default attributes (ThrCreate2 with all fields 0). */
ZUL_API int ThrCreate(THR_START_ROUTINE start, void *arg, THR_ID *id_out) ZUL_NOTHROW;
/* *id_out is the invalid id until the thread runs and is entered in the table. Answers 8 while
 * not threaded, 14 when the system lacks resources, 12 for other failures. */
ZUL_API int ThrCreate2(const ThrCreateAttr *attr, THR_START_ROUTINE start, void *arg,
                       THR_ID *id_out) ZUL_NOTHROW;
/* Ends the calling thread with the code as its exit code, by unwinding its stack; the thread
 * stays in the table until it is waited for. */
ZUL_API void ThrExit(uint64_t code) __attribute__((noreturn));
/* Removes the calling thread from the table, for a thread that ends by other means than being
 * waited for. Answers 5 when it was not there. */
ZUL_API int ThrCleanup(void) ZUL_NOTHROW;

ZUL_API THR_ID ThrGetCurrentId(void) ZUL_NOTHROW;
ZUL_API int ThrIdEqual(THR_ID a, THR_ID b) ZUL_NOTHROW;
/* Writes the id in decimal into buf (THR_ID_STR_SIZE units suffice) and answers buf. */
ZUL_API ZUL_UTF16 *ThrId2Str(ZUL_UTF16 *buf, THR_ID id) ZUL_NOTHROW;

/* Joins the thread and stores its exit code; answers 13 for the caller itself, 5 for an unknown
 * id. With THR_INVALID_ID it waits for all other threads of the table, one after the other:
 * *code_out gets the last non-zero exit code and the answer is the last error (0 if none); 13
 * while another thread is waiting for all. The joined entries leave the table. code_out may be
 * null. */
ZUL_API int ThrWait(THR_ID id, uint64_t *code_out) ZUL_NOTHROW;
/* Waits until any one other thread of the table ends, polling once a second; *id_out gets that
 * thread and *code_out its exit code. Answers 13, with *id_out invalid, when the caller is the
 * only joinable thread; 13 with *id_out untouched while another thread is waiting for all. */
ZUL_API int ThrWaitAll(THR_ID *id_out, uint64_t *code_out) ZUL_NOTHROW;
/* Answers 1 while the thread runs (or is the caller); once it has ended, joins it, stores its
 * exit code, removes it from the table and answers 0. 5 for an unknown id. */
ZUL_API int ThrExitCode(THR_ID id, uint64_t *code_out) ZUL_NOTHROW;
/* Sends a signal: 5 for an unknown thread, 2 for an invalid signal. */
ZUL_API int ThrKill(THR_ID id, int signal) ZUL_NOTHROW;
/* Asks the thread to end at its next cancellation point and removes it from the table at once.
 * Answers 5 when the request fails. */
ZUL_API int ThrCancel(THR_ID id) ZUL_NOTHROW;
/* Marks the table entry detached and detaches the thread; 5 for a thread not in the table or one
 * that can't be detached. */
ZUL_API int ThrDetach(THR_ID id) ZUL_NOTHROW;

/* ---- Keys ---- */

/* ThrKeyGet answers 3 when *key is already created, 14 when no key is left. ThrKeyDel answers 2
 * for an uncreated key and always leaves *key at THR_INVALID_KEY. ThrKeyVarGet answers the
 * calling thread's value or null. */
ZUL_API int ThrKeyGet(THR_KEY *key, THR_KEY_DESTRUCTOR destructor) ZUL_NOTHROW;
ZUL_API int ThrKeyDel(THR_KEY *key) ZUL_NOTHROW;
ZUL_API void *ThrKeyVarGet(THR_KEY *key) ZUL_NOTHROW;
ZUL_API int ThrKeyVarSet(THR_KEY *key, void *value) ZUL_NOTHROW;

/* ---- The platform layer: all calls to POSIX, no bookkeeping ---- */

ZUL_API int ThrPModInit(void) ZUL_NOTHROW;
ZUL_API int ThrPModExit(void) ZUL_NOTHROW;
ZUL_API int ThrPCreate(const ThrCreateAttr *attr, THR_START_ROUTINE start, void *arg,
                       THR_ID *id_out) ZUL_NOTHROW;
ZUL_API void ThrPExit(uint64_t code) __attribute__((noreturn));
ZUL_API int ThrPWait(THR_ID id, uint64_t *code_out) ZUL_NOTHROW;
/* Polls the count ids once with ThrExitCode; sleeps one second and answers 13 when none ended. */
ZUL_API int ThrPWaitAll(const THR_ID *ids, uint32_t count, THR_ID *id_out,
                        uint64_t *code_out) ZUL_NOTHROW;
ZUL_API int ThrPExitCode(THR_ID id, uint64_t *code_out) ZUL_NOTHROW;
ZUL_API int ThrPKill(THR_ID id, int signal) ZUL_NOTHROW;
ZUL_API int ThrPCancel(THR_ID id) ZUL_NOTHROW;
ZUL_API int ThrPDetach(THR_ID id) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *ThrPId2Str(ZUL_UTF16 *buf, THR_ID id) ZUL_NOTHROW;
ZUL_API int ThrPKeyGet(THR_KEY *key, THR_KEY_DESTRUCTOR destructor) ZUL_NOTHROW;
ZUL_API int ThrPKeyDel(THR_KEY *key) ZUL_NOTHROW;
ZUL_API void *ThrPKeyVarGet(THR_KEY *key) ZUL_NOTHROW;
ZUL_API int ThrPKeyVarSet(THR_KEY *key, void *value) ZUL_NOTHROW;

/* ---- Texts and reentrant forms ---- */

/* The constant text of a code; "Error code not defined by the thread library." for others. */
ZUL_API const ZUL_UTF16 *ThrErrToStr(int code) ZUL_NOTHROW;
/* The system's text of errno_value in buf16 (size units, terminator included); a text that does
 * not fit is replaced by "(<errno>) - error text too long", cut to the size. Answers buf16, or null
 * when size is below 1. */
ZUL_API ZUL_UTF16 *ThrStrError(int errno_value, ZUL_UTF16 *buf16, int size) ZUL_NOTHROW;

/* Direct forwards to the reentrant calls: buf16 holds at least 26 units. */
ZUL_API ZUL_UTF16 *ThrCtime(const time_t *t, ZUL_UTF16 *buf16) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *ThrAsctime(const struct tm *tm, ZUL_UTF16 *buf16) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *ThrStrtok(ZUL_UTF16 *s, const ZUL_UTF16 *delim, ZUL_UTF16 **save) ZUL_NOTHROW;
ZUL_API int ThrRand(unsigned int *seed) ZUL_NOTHROW;
ZUL_API struct tm *ThrGmtime(const time_t *t, struct tm *result) ZUL_NOTHROW;
ZUL_API struct tm *ThrLocaltime(const time_t *t, struct tm *result) ZUL_NOTHROW;

/* Frees a thread's record of the C library replacements (null: the calling thread's own). It is
 * the destructor of the key that holds those records. */
ZUL_API void ThrIDestructor(void *record) ZUL_NOTHROW;

/* ---- Mutexes ---- */

/* A plain mutex: exactly a pthread_mutex_t with default attributes. */
typedef pthread_mutex_t THR_MTX;

/* Called by ThrMtxLock and ThrMtxTryLock after a success, with the text "ThrMutex", and by
 * ThrMtxUnlock after every unlock. Hooks run on the locking thread and must not take that mutex. */
typedef void (*THR_LOCK_HOOK)(const ZUL_UTF16 *name);
typedef void (*THR_UNLOCK_HOOK)(void);
ZUL_API void ThrSetCriticalSectionHook(THR_LOCK_HOOK lock_hook,
                                       THR_UNLOCK_HOOK unlock_hook) ZUL_NOTHROW;

/* The tag is ignored. ThrMtxDelete answers 8 before ThrIProcInit. Lock, unlock and try-lock do
 * nothing and answer 0 while not threaded; a busy try-lock answers 10. The I forms never call the
 * hooks. */
ZUL_API int ThrMtxInit(THR_MTX *mtx, const ZUL_UTF16 *tag) ZUL_NOTHROW;
ZUL_API int ThrMtxDelete(THR_MTX *mtx) ZUL_NOTHROW;
ZUL_API int ThrMtxILock(THR_MTX *mtx) ZUL_NOTHROW;
ZUL_API int ThrMtxIUnlock(THR_MTX *mtx) ZUL_NOTHROW;
ZUL_API int ThrMtxITryLock(THR_MTX *mtx) ZUL_NOTHROW;
ZUL_API int ThrMtxLock(THR_MTX *mtx) ZUL_NOTHROW;
ZUL_API int ThrMtxUnlock(THR_MTX *mtx) ZUL_NOTHROW;
ZUL_API int ThrMtxTryLock(THR_MTX *mtx) ZUL_NOTHROW;

/* ---- Critical sections ---- */

/* The eyecatcher word of a created critical section: the bytes "ENOD". */
#define THR_CS_EYECATCHER 0x444F4E45u

/* A recursive critical section. Zeroed memory is a valid section that is not yet created: the
 * first ThrCSLock creates it. */
typedef struct THR_CS {
  uint32_t eyecatcher; /* THR_CS_EYECATCHER once created; anything else: not created */
  int32_t lock_count;  /* locks minus unlocks */
  THR_ID owner;        /* the invalid id; not maintained */
  pthread_mutex_t mutex;
  ZUL_UTF16 *tag; /* private copy of the tag, or null */
} THR_CS;

/* Creates the section with a copy of tag (may be null; a tag that can't be copied is dropped).
 * Answers 3 for a created section, which keeps its count and tag. */
ZUL_API int ThrCSInit2(THR_CS *cs, const ZUL_UTF16 *tag) ZUL_NOTHROW;
/* Creates the section first when needed (4 when that fails); 2 when the lock fails. */
ZUL_API int ThrCSLock(THR_CS *cs) ZUL_NOTHROW;
/* 8 for a section not created; an unlock without a lock writes a panic line and aborts. */
ZUL_API int ThrCSUnlock(THR_CS *cs) ZUL_NOTHROW;
/* Back to not created; frees the tag. 8 for a section not created. */
ZUL_API int ThrCSDelete(THR_CS *cs) ZUL_NOTHROW;

/* ---- Recursive mutexes; they lock whether threaded or not ---- */

typedef struct THR_REC_MTX {
  int32_t lock_count; /* locks minus unlocks */
  THR_ID owner;       /* the invalid id; not maintained */
  pthread_mutex_t mutex;
  ZUL_UTF16 *tag; /* private copy of the tag, or null */
} THR_REC_MTX;

ZUL_API int ThrRecMtxInit(THR_REC_MTX *rm, const ZUL_UTF16 *tag) ZUL_NOTHROW;
ZUL_API int ThrRecMtxLock(THR_REC_MTX *rm) ZUL_NOTHROW;
/* An unlock without a lock writes a panic line and aborts. */
ZUL_API int ThrRecMtxUnlock(THR_REC_MTX *rm) ZUL_NOTHROW;
ZUL_API int ThrRecMtxDelete(THR_REC_MTX *rm) ZUL_NOTHROW;

/* ---- Events ---- */

/* An event. ThrEvtSet wakes one waiter. ThrEvtWaitReset consumes the set state (auto-reset);
 * ThrEvtWait leaves it set (manual reset). */
typedef struct THR_EVT {
  pthread_cond_t cond;
  pthread_mutex_t mutex; /* guards state */
  uint32_t state;        /* 1 set, 0 reset */
} THR_EVT;

ZUL_API int ThrEvtInit(THR_EVT *evt) ZUL_NOTHROW;
ZUL_API int ThrEvtDelete(THR_EVT *evt) ZUL_NOTHROW;
ZUL_API int ThrEvtSet(THR_EVT *evt) ZUL_NOTHROW;
ZUL_API int ThrEvtReset(THR_EVT *evt) ZUL_NOTHROW;
/* ms: -1 waits without limit, 0 only tests, others are milliseconds. Answers 0 when the event is
 * set, 15 on time-out. While not threaded both answer 0 at once. */
ZUL_API int ThrEvtWait(THR_EVT *evt, int32_t ms) ZUL_NOTHROW;
ZUL_API int ThrEvtWaitReset(THR_EVT *evt, int32_t ms) ZUL_NOTHROW;

/* ---- Counting semaphores ---- */

typedef struct THR_SEM {
  THR_MTX mtx; /* guards count */
  THR_EVT evt;
  uint32_t count;
} THR_SEM;

ZUL_API int ThrSemInit(THR_SEM *sem, uint32_t count, const ZUL_UTF16 *tag) ZUL_NOTHROW;
ZUL_API int ThrSemDelete(THR_SEM *sem) ZUL_NOTHROW;
/* Takes one unit, waiting without limit; any n other than 1 answers 11. */
ZUL_API int ThrSemDown(THR_SEM *sem, uint32_t n) ZUL_NOTHROW;
ZUL_API int ThrSemUp(THR_SEM *sem, uint32_t n) ZUL_NOTHROW;

/* ---- Read-write locks, writers preferred ---- */

typedef struct THR_RWL {
  THR_MTX mtx; /* guards state and waiting_writers */
  THR_EVT readers;
  THR_EVT writers;
  int32_t state; /* > 0 shared holders, 0 free, -1 held exclusively */
  uint32_t waiting_writers;
} THR_RWL;

ZUL_API int ThrRwlInit(THR_RWL *rwl) ZUL_NOTHROW;
ZUL_API int ThrRwlDelete(THR_RWL *rwl) ZUL_NOTHROW;
/* A waiting writer keeps new readers out. ms as for events, applied anew to each wait. */
ZUL_API int ThrRwlSharedLock(THR_RWL *rwl, int32_t ms) ZUL_NOTHROW;
/* Beware: after a wait fails (15 on time-out) one last attempt is made, and when that attempt
 * succeeds the lock is held although the answer is the wait's failure. A caller that gets a
 * failure must not assume that it is not the holder. */
ZUL_API int ThrRwlExclusiveLock(THR_RWL *rwl, int32_t ms) ZUL_NOTHROW;
/* Releases one hold, shared or exclusive. Unlocking a free lock leaves it held exclusively. */
ZUL_API int ThrRwlUnlock(THR_RWL *rwl) ZUL_NOTHROW;

/* ---- Guarded counters: answer the new value ---- */

ZUL_API int64_t ThrVarIncrement(int64_t *var) ZUL_NOTHROW;
ZUL_API int64_t ThrVarDecrement(int64_t *var) ZUL_NOTHROW;
ZUL_API int64_t ThrVarSet(int64_t *var, int64_t value) ZUL_NOTHROW;

#endif /* ZUL_THR_H */
