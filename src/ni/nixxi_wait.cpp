// Waiting on sockets: a connection's readiness, a listener's connections, and poll and select for
// sets of handles. Each wait is bounded by its time-out as a whole, interruptions included.
#define DPTRC_MODULE u"nixxi"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "ni/nixxi_io.h"
#include "zul_dptrace.h"

using namespace ni;
using namespace ni::io;

namespace {

// poll's ENOMEM comes back as SI_ETIMEOUT; it is retried this often before the wait fails.
constexpr int kEagainLimit = 5000;

// SiPoll, repeated on SI_EINTR and, up to the limit, on SI_ETIMEOUT, within one time-out.
int PollLoop(SI_POLLFD *fds, unsigned count, int timeout, int *selected, int *error,
             const char *fn) {
  Deadline deadline(timeout);
  int sirc;
  int loops = 0;
  for (;;) {
    sirc = SiPoll(fds, count, deadline.Remaining(), selected, error);
    if (sirc == SI_EINTR) continue;
    if (sirc == SI_ETIMEOUT && loops < kEagainLimit) {
      ++loops;
      continue;
    }
    break;
  }
  if (loops != 0)
    DPTRC_ERR_A7(tf, "%s: poll looped %d times, caused by EAGAIN (limit=%d)\n", fn, loops,
                 kEagainLimit);
  return sirc;
}

// The highest descriptor in a set, or -1.
int HighestFd(const SI_FDSET *set) {
  if (set == nullptr) return -1;
  for (int i = static_cast<int>(std::size(set->bits)) - 1; i >= 0; --i)
    if (set->bits[i] != 0) return i * 64 + 63 - __builtin_clzll(set->bits[i]);
  return -1;
}

void TraceMask(const char *fn, const char *name, const SI_FDSET *set, int width) {
  if (set == nullptr || ct_level < 1) return;
  char line[1024];
  int n = std::snprintf(line, sizeof line, "%s: fds in %s-mask: ", fn, name);
  for (int fd = 0; fd < width && n < static_cast<int>(sizeof line) - 16; ++fd)
    if (SI_FD_ISSET(fd, set)) n += std::snprintf(line + n, sizeof line - n, "%d ", fd);
  DPTRC_A7(1, tf, "%s\n", line);
}

}  // namespace

int NiIPeek(NITAB *p, int siMode, int timeout) noexcept {
  const char *fn = "NiIPeek";
  time_t start = WaitStart(timeout);
  int sirc = SiPeek(&p->con.mSocket, siMode, timeout);
  CheckOverslept(start, timeout);
  if (sirc == SI_OK) return ZUL_O_K;
  if (sirc == SI_ETIMEOUT) return NIETIMEOUT;
  char dir = siMode == SI_PEEK_WR ? 'w' : 'r';
  if (sirc == SI_EINVAL || sirc == SI_EINVAL_SOCK || sirc == SI_EINTERN) {
    // A hang-up, a closed socket or a pending error: the read or write that follows finds the
    // real fault and reports it with its own call.
    DPTRC_A7(Lvl(p, 2), tf, "%s: peek for hdl %d failed (%c; rc=%d)\n", fn, p->handle, dir, sirc);
    return ZUL_O_K;
  }
  char extra[16];
  std::snprintf(extra, sizeof extra, "%c; %d", dir, sirc);
  return NiISystemError(sirc, kSiPeek, p, &p->con.mSocket,
                        static_cast<int>(p->con.mSocket.lastError), extra, nullptr, nullptr, fn,
                        kModInternal, __LINE__, 1);
}

int NiIPeekListen(NITAB *p, int timeout, SI_SOCK **ppSock) noexcept {
  const char *fn = "NiIPeekListen";
  SI_POLLFD fds[2];
  SI_SOCK *socks[2];
  unsigned n = 0;
  // The local socket first: when both are ready, it is served first.
  for (SI_SOCK *s : {&p->lis.mUDSocket, &p->lis.mIPSocket}) {
    if (s->socket == NI_INVALID_SOCK) continue;
    fds[n] = SI_POLLFD{s->socket, static_cast<int16_t>(SI_POLLIN | SI_POLLPRI), 0};
    socks[n++] = s;
  }
  int selected = 0, error = 0;
  time_t start = WaitStart(timeout);
  int sirc = PollLoop(fds, n, timeout, &selected, &error, fn);
  CheckOverslept(start, timeout);
  if (sirc != SI_OK) {
    // Reported as the listener's, with both its sockets.
    int rc = NiISystemError(sirc, kSiPoll, p, nullptr, error, nullptr, nullptr, nullptr, fn,
                            kModInternal, __LINE__, 1);
    return rc == NIEINVAL ? NIEINTERN : rc;
  }
  if (selected == 0) return NIETIMEOUT;
  for (unsigned i = 0; i < n; ++i) {
    if (fds[i].revents == 0) continue;
    if (ppSock != nullptr) *ppSock = socks[i];
    return ZUL_O_K;
  }
  DPTRC_A7(1, tf, "%s: invalid status (%d-%d-%d-%d)\n", fn, selected, static_cast<int>(n),
           fds[0].revents, n > 1 ? fds[1].revents : 0);
  return NIETIMEOUT;
}

int NiIPoll(SI_POLLFD *pPollFds, int count, int timeout, int *pReady) noexcept {
  const char *fn = "NiIPoll";
  *pReady = 0;
  if (count < 0) return NIEINTERN;
  int selected = 0, error = 0;
  time_t start = WaitStart(timeout);
  int sirc = PollLoop(pPollFds, static_cast<unsigned>(count), timeout, &selected, &error, fn);
  CheckOverslept(start, timeout);
  if (sirc != SI_OK) {
    if (error == EFAULT)
      DPTRC_ERR_A7(tf, "%s: poll(%p,%d,%d) caused EFAULT\n", fn, static_cast<void *>(pPollFds),
                   count, timeout);
    else
      DPTRC_ERR_A7(tf, "%s: SiPoll failed (rc=%d; errno=%d)\n", fn, sirc, error);
    return NIEINTERN;
  }
  if (ct_level >= 3)
    for (int i = 0; i < count; ++i)
      DPTRC_A7(3, tf, "%s: sock %d revents 0x%x\n", fn, pPollFds[i].fd, pPollFds[i].revents);
  *pReady = selected;
  return selected == 0 ? NIETIMEOUT : ZUL_O_K;
}

int NiISelect(SI_FDSET *pReadMask, SI_FDSET *pWriteMask, int timeout, int *pReady) noexcept {
  const char *fn = "NiISelect";
  *pReady = 0;
  // The width is the highest descriptor in the sets plus one: the same descriptors as the
  // highest socket ever seen would select, and less for the kernel to scan.
  int width = std::max(HighestFd(pReadMask), HighestFd(pWriteMask)) + 1;
  // select leaves the sets undefined when interrupted: keep them to start again.
  SI_FDSET saved[2];
  if (pReadMask != nullptr) saved[0] = *pReadMask;
  if (pWriteMask != nullptr) saved[1] = *pWriteMask;
  Deadline deadline(timeout);
  time_t start = WaitStart(timeout);
  int selected = 0, error = 0;
  int sirc;
  for (;;) {
    sirc = SiSelect(width, pReadMask, pWriteMask, nullptr, deadline.Remaining(), &selected, &error);
    if (sirc != SI_EINTR) break;
    if (pReadMask != nullptr) *pReadMask = saved[0];
    if (pWriteMask != nullptr) *pWriteMask = saved[1];
  }
  CheckOverslept(start, timeout);
  if (sirc != SI_OK) {
    if (sirc == SI_EINVAL_SOCK) {
      TraceMask(fn, "read", pReadMask != nullptr ? &saved[0] : nullptr, width);
      TraceMask(fn, "write", pWriteMask != nullptr ? &saved[1] : nullptr, width);
    }
    DPTRC_ERR_A7(tf, "%s: SiSelect failed (rc=%d; errno=%d)\n", fn, sirc, error);
    return NIEINTERN;
  }
  *pReady = selected;
  return selected == 0 ? NIETIMEOUT : ZUL_O_K;
}
