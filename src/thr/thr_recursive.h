// Pieces shared by critical sections and recursive mutexes.
#ifndef TLM_THR_THR_RECURSIVE_H
#define TLM_THR_THR_RECURSIVE_H

#include "zul_thr.h"

namespace thr {

// Initialises a mutex of kind 1 (recursive); answers the pthread result.
int InitRecursiveMutex(pthread_mutex_t *mutex);
// A private copy of tag for the panic text, or null (for a null tag or when memory is short).
ZUL_UTF16 *CopyTag(const ZUL_UTF16 *tag);

// Writes `format` (one %s: the tag, or "not set") to standard error and aborts. Used when a
// section or recursive mutex is unlocked more often than locked.
[[noreturn]] void PanicUnbalancedUnlock(const ZUL_UTF16 *format, const ZUL_UTF16 *tag);

}  // namespace thr

#endif  // TLM_THR_THR_RECURSIVE_H
