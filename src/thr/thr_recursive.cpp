// Pieces shared by critical sections and recursive mutexes.
#include "thr/thr_recursive.h"

#include <cstdio>
#include <cstdlib>

#include "zul_u16printf.h"
#include "zul_u16string.h"

namespace thr {

int InitRecursiveMutex(pthread_mutex_t *mutex) {
  pthread_mutexattr_t attr;
  int rc = pthread_mutexattr_init(&attr);
  if (rc != 0) return rc;
  rc = pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  if (rc == 0) rc = pthread_mutex_init(mutex, &attr);
  pthread_mutexattr_destroy(&attr);
  return rc;
}

ZUL_UTF16 *CopyTag(const ZUL_UTF16 *tag) { return tag != nullptr ? strdupU16(tag) : nullptr; }

void PanicUnbalancedUnlock(const ZUL_UTF16 *format, const ZUL_UTF16 *tag) {
  fprintfU16(stderr, format, tag != nullptr ? tag : u"not set");
  std::abort();
}

}  // namespace thr
