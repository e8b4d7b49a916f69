// Waiting on sockets: select over the layer's large sets, poll, and the readiness tests built on
// poll; the descriptor limit.
#define DPTRC_MODULE u"siux"

#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "si/siux.h"
#include "zul_dptrace.h"

static_assert(sizeof(SI_POLLFD) == sizeof(pollfd) && offsetof(SI_POLLFD, fd) == offsetof(pollfd, fd) &&
              offsetof(SI_POLLFD, events) == offsetof(pollfd, events) &&
              offsetof(SI_POLLFD, revents) == offsetof(pollfd, revents));
static_assert(POLLIN == 1 && POLLPRI == 2 && POLLOUT == 4 && POLLERR == 8 && POLLHUP == 16 &&
              POLLNVAL == 32);

namespace {

constexpr int kEagainLimit = 5000;

// One poll of a single socket, retried without limit on SI_EINTR and up to kEagainLimit times on
// SI_ETIMEOUT (poll's ENOMEM). Answers SiPoll's code; *revents holds what poll reported.
int PollOne(SI_SOCK *sock, short events, int timeout, const char *caller, int *selected,
            short *revents) {
  SI_POLLFD entry{sock->socket, events, 0};
  int rc;
  int error = 0;
  int loops = 0;
  for (;;) {
    entry.revents = 0;
    rc = SiPoll(&entry, 1, timeout, selected, &error);
    if (rc == SI_EINTR) continue;
    if (rc == SI_ETIMEOUT && loops < kEagainLimit) {
      ++loops;
      continue;
    }
    break;
  }
  if (loops != 0)
    DPTRC_ERR_A7(tf, "%s: poll looped %d times, caused by EAGAIN (limit=%d)\n", caller, loops,
                 kEagainLimit);
  if (rc != SI_OK) {
    sock->lastError = static_cast<uint32_t>(error);
    DPTRC_ERR_A7(tf, "%s: SiPoll failed for sock %d (%d-%s)\n", caller, sock->socket, rc,
                 si::RcName8(rc));
  }
  *revents = entry.revents;
  return rc;
}

}  // namespace

extern "C" {

int SiSelect(int count, SI_FDSET *readSet, SI_FDSET *writeSet, SI_FDSET *exceptSet, int timeout,
             int *selected, int *error) noexcept {
  if (selected != nullptr) *selected = 0;
  if (count < 0 || count > SI_FD_SETSIZE) return SI_EINVAL;
  timeval tv{};
  if (timeout >= 0) {
    tv.tv_sec = timeout / 1000;
    tv.tv_usec = (timeout % 1000) * 1000;
  }
  // The kernel reads count bits in words of the machine's long, as SI_FDSET is laid out; the
  // system's fd_set is only the pointer type here.
  int n = select(count, reinterpret_cast<fd_set *>(readSet), reinterpret_cast<fd_set *>(writeSet),
                 reinterpret_cast<fd_set *>(exceptSet), timeout >= 0 ? &tv : nullptr);
  if (n < 0) {
    int err = errno;
    if (error != nullptr) *error = err;
    return si::MapErrno(si::ErrMap::kSelect, err);
  }
  if (selected != nullptr) *selected = n;
  return SI_OK;
}

int SiPoll(SI_POLLFD *fds, unsigned count, int timeout, int *selected, int *error) noexcept {
  if (selected != nullptr) *selected = 0;
  if (fds == nullptr && count != 0) return SI_EINVAL;
  int n = poll(reinterpret_cast<pollfd *>(fds), count, timeout < 0 ? -1 : timeout);
  if (n < 0) {
    int err = errno;
    if (error != nullptr) *error = err;
    return si::MapErrno(si::ErrMap::kPoll, err);
  }
  if (selected != nullptr) *selected = n;
  return SI_OK;
}

int SiPeek(SI_SOCK *sock, int flags, int timeout) noexcept {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  short events = 0;
  if (flags & 1) events |= POLLIN | POLLPRI;
  if (flags & 2) events |= POLLOUT;
  int selected = 0;
  short revents = 0;
  if (PollOne(sock, events, timeout, "SiPeek", &selected, &revents) != SI_OK) return SI_ESYSCALL;
  if (selected == 0) return SI_ETIMEOUT;
  if (revents & POLLNVAL) return si::Refuse(sock, EBADF, SI_EINVAL_SOCK);
  // A hang-up wins over pending data: the caller learns at once that the peer is gone.
  if (revents & POLLHUP) {
    DPTRC_A7(2, tf, "%s: hang up occurred in sock %d\n", "SiPeek", sock->socket);
    return SI_EINVAL;
  }
  if (revents & POLLERR) {
    DPTRC_A7(2, tf, "%s: an error occurred in sock %d\n", "SiPeek", sock->socket);
    return SI_EINTERN;
  }
  return SI_OK;
}

int SiPeekPendConn(SI_SOCK *sock, int timeout) noexcept {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  int selected = 0;
  short revents = 0;
  if (PollOne(sock, POLLOUT, timeout, "SiPeekPendConn", &selected, &revents) != SI_OK)
    return SI_ESYSCALL;
  if (selected == 0) {
    DPTRC_A7(3, tf, "%s: SiPoll timed out for sock %d (%dms)\n", "SiPeekPendConn", sock->socket,
             timeout);
    return SI_ETIMEOUT;
  }
  if (revents & POLLNVAL) return si::Refuse(sock, EBADF, SI_EINVAL_SOCK);
  int32_t soError = 0;
  SI_OPTVAL value{&soError, 4, nullptr, 0};
  int rc;
  do {
    rc = SiGetSockOpt(sock, SOL_SOCKET, SO_ERROR, &value);
  } while (rc == SI_EINTR);
  if (rc != SI_OK) return rc;
  sock->lastError = static_cast<uint32_t>(soError);
  if (soError == 0) {
    DPTRC_A7(3, tf, "%s: connection of sock %d established\n", "SiPeekPendConn", sock->socket);
    return SI_OK;
  }
  DPTRC_A7(3, tf, "%s: connection of sock %d broken (%d-%s)\n", "SiPeekPendConn", sock->socket,
           soError, strerror(soError));
  return soError == EADDRINUSE ? SI_EPORT_INUSE : SI_ECONN_REFUSE;
}

int SiGetMaxSockets(int limit) noexcept {
  long max = sysconf(_SC_OPEN_MAX);
  if (max > 0) return static_cast<int>(max);
  DPTRC_A7(2, tf, "%s: sysconf(_SC_OPEN_MAX) failed; use iteration\n", "SiGetMaxSockets");
  if (limit <= 0) return 0;
  size_t bytes = sizeof(int) * static_cast<size_t>(limit);
  int *fds = static_cast<int *>(std::malloc(bytes));
  if (fds == nullptr) {
    DPTRC_ERR_A7(tf, "%s: malloc failed for %d bytes (%d)\n", "SiGetMaxSockets",
                 static_cast<int>(bytes), errno);
    return -1;
  }
  int count = 0;
  while (count < limit) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd == -1) break;
    fds[count++] = fd;
  }
  for (int i = 0; i < count; ++i) close(fds[i]);
  std::free(fds);
  return count;
}

}  // extern "C"
