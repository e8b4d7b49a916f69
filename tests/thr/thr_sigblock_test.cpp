#include "thr/thr_sigblock.h"

#include <pthread.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

namespace {

// A write that raises the signal: to a socket whose peer is closed, or past the file size limit.
ssize_t WriteThatRaises(int signal) {
  int fds[2];
  if (signal == SIGPIPE) {
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) return 0;
    close(fds[1]);
  } else {
    char path[] = "/tmp/tlm_sigblock_XXXXXX";
    fds[0] = mkstemp(path);
    unlink(path);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = 1;
    if (fds[0] < 0 || setrlimit(RLIMIT_FSIZE, &limit) != 0 || write(fds[0], "x", 1) != 1) return 0;
  }
  return write(fds[0], "x", 1);
}

bool Member(bool pending, int signal) {
  sigset_t set;
  pending ? sigpending(&set) : pthread_sigmask(SIG_BLOCK, nullptr, &set);
  return sigismember(&set, signal) == 1;
}

// Runs in a child with the default action for the signal, which ends it should the signal get
// through. The host has the signal blocked or not, and pending or not, before the scope; after
// it, both must be as they were, the write must have failed with its errno, and errno must still
// tell so. Answers 0 or the number of the check that failed.
int WriteUnderTheBlock(int signal, bool hostBlocks, bool hostPending) {
  std::signal(signal, SIG_DFL);
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, signal);
  pthread_sigmask(hostBlocks ? SIG_BLOCK : SIG_UNBLOCK, &set, nullptr);
  if (hostPending) pthread_kill(pthread_self(), signal);
  const int expected = signal == SIGPIPE ? EPIPE : EFBIG;
  {
    thr::ScopedSignalBlock outer;
    thr::ScopedSignalBlock inner;  // nested: leaves the work to the outer one
    if (WriteThatRaises(signal) != -1 || errno != expected) return 1;
  }
  if (errno != expected) return 2;
  if (Member(false, signal) != hostBlocks) return 3;
  return Member(true, signal) != hostPending ? 4 : 0;
}

TEST(ScopedSignalBlock, WriteFailsInsteadOfRaisingAndTheHostsMaskAndPendingStay) {
  for (int signal : {SIGPIPE, SIGXFSZ}) {
    for (auto [blocks, pending] : {std::pair{false, false}, {true, false}, {true, true}}) {
      SCOPED_TRACE(testing::Message() << signal << " blocked " << blocks << " pending " << pending);
      EXPECT_EXIT(_exit(WriteUnderTheBlock(signal, blocks, pending)), testing::ExitedWithCode(0),
                  "");
    }
  }
  // A library thread blocks both for good; scopes on it then change nothing.
  EXPECT_EXIT(
      {
        thr::BlockHostSignalsForThisThread();
        { thr::ScopedSignalBlock block; }
        _exit(Member(false, SIGPIPE) && Member(false, SIGXFSZ) ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
