// Keeps the library's own writes from ending or stopping the host process. A write that reaches
// the file size limit raises SIGXFSZ, and one to a pipe or socket whose reader has gone raises
// SIGPIPE; the default action of both ends the process. With the two blocked the write fails with
// EFBIG or EPIPE instead, and the library handles that as any failed write: the text is lost.
#ifndef TLM_THR_THR_SIGBLOCK_H
#define TLM_THR_THR_SIGBLOCK_H

#include <signal.h>

namespace thr {

// Blocks SIGXFSZ and SIGPIPE for the calling thread for its scope and unblocks afterwards those
// of the two that were not blocked before. An instance of the two that the scope's writes raised
// is consumed before that, so that it is not delivered later; one that was already pending when
// the scope began is the host's and stays pending. A scope inside another on the same thread, or
// on a thread that called BlockHostSignalsForThisThread, makes no system call. Keeps errno.
class ScopedSignalBlock {
 public:
  ScopedSignalBlock() noexcept;
  ~ScopedSignalBlock();
  ScopedSignalBlock(const ScopedSignalBlock &) = delete;
  ScopedSignalBlock &operator=(const ScopedSignalBlock &) = delete;

 private:
  bool nested_ = false;   // counted in the thread's depth
  bool blocked_ = false;  // this scope changed the mask
  sigset_t unblock_;      // those of the two that the scope blocked
  sigset_t consume_;      // those of the two whose new instance the scope consumes
};

// Blocks SIGXFSZ and SIGPIPE for the rest of the calling thread's life. For the library's own
// threads, which run none of the host's code: an instance raised on such a thread stays pending on
// it and goes with the thread.
void BlockHostSignalsForThisThread() noexcept;

}  // namespace thr

#endif  // TLM_THR_THR_SIGBLOCK_H
