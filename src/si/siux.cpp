// The socket layer's wrappers of socket creation, naming, connection and descriptor control.
#define DPTRC_MODULE u"siux"

#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "si/siux.h"

namespace {

using si::ErrMap;
using si::Fail;

std::atomic<bool> g_initialised{false};

// The name wrappers: the system's address into the byte form.
template <typename Call>
int GetName(SI_SOCK *sock, ErrMap map, Call call, ZUL_RAW *addr, int addrSize, uint16_t *port) {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  if (!si::AddrBufferFits(sock->family, addr, addrSize))
    return si::Refuse(sock, SI_LASTERR_INTERN, SI_EINTERN);
  sockaddr_storage sa{};
  socklen_t len = sizeof sa;
  if (call(sock->socket, reinterpret_cast<sockaddr *>(&sa), &len) != 0) return Fail(sock, map);
  return si::ConvSockAddr(sock, sa, len, addr, addrSize, port);
}

template <typename Call>
int GetName2(SI_SOCK *sock, ErrMap map, Call call, void *sockaddr, int *sockaddrLen) {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  if (sockaddr == nullptr || sockaddrLen == nullptr || *sockaddrLen < 0) return SI_EINVAL;
  socklen_t len = static_cast<socklen_t>(*sockaddrLen);
  if (call(sock->socket, static_cast<struct sockaddr *>(sockaddr), &len) != 0)
    return Fail(sock, map);
  *sockaddrLen = static_cast<int>(len);
  return SI_OK;
}

// Reads the descriptor's flags (F_GETFL or F_GETFD).
int GetFlags(SI_SOCK *sock, int cmd, int *flags) {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  int f = fcntl(sock->socket, cmd);
  if (f == -1) return Fail(sock, ErrMap::kDescriptor);
  *flags = f;
  return SI_OK;
}

int Accept(SI_SOCK *sock, SI_SOCK *newSock, sockaddr_storage *sa, socklen_t *len) {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  if (newSock == nullptr) return SI_EINVAL;
  int fd = accept(sock->socket, reinterpret_cast<sockaddr *>(sa), len);
  if (fd == -1) return Fail(sock, ErrMap::kAccept);
  *newSock = SI_SOCK{fd, sock->family, sock->type, 0};
  return SI_OK;
}

}  // namespace

extern "C" {

int SiInit(int *error) noexcept {
  if (g_initialised.exchange(true)) return SI_OK;
  struct sigaction previous {};
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigemptyset(&ignore.sa_mask);
  if (sigaction(SIGPIPE, nullptr, &previous) != 0 || sigaction(SIGPIPE, &ignore, nullptr) != 0) {
    if (error != nullptr) *error = errno;
    g_initialised = false;
    return SI_ESYSCALL;
  }
  return SI_OK;
}

int SiExit(void) noexcept { return SI_OK; }

int SiSocket(SI_SOCK *sock, int family, int type) noexcept {
  if (sock == nullptr) return SI_EINVAL;
  // The family goes to the system unchecked: what it doesn't know is its EAFNOSUPPORT.
  *sock = SI_SOCK{-1, family, type, 0};
  int fd = socket(family, type, 0);
  if (fd == -1) return Fail(sock, ErrMap::kSocket);
  sock->socket = fd;
  return SI_OK;
}

int SiSocketIPv4(SI_SOCK *sock, int type) noexcept { return SiSocket(sock, si::kAfInet, type); }
int SiSocketIPv6(SI_SOCK *sock, int type) noexcept { return SiSocket(sock, si::kAfInet6, type); }
int SiSocketUDS(SI_SOCK *sock, int type) noexcept { return SiSocket(sock, si::kAfUnix, type); }

int SiClose(SI_SOCK *sock) noexcept {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  int fd = sock->socket;
  sock->socket = -1;
  // Linux releases the descriptor even when close reports EINTR, so it is never retried.
  if (close(fd) != 0) return Fail(sock, ErrMap::kDescriptor);
  return SI_OK;
}

int SiBind(SI_SOCK *sock, const ZUL_RAW *addr, int addrLen, uint16_t port) noexcept {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  sockaddr_storage sa;
  socklen_t len;
  if (int rc = si::BuildSockAddr(sock, sock->family, addr, addrLen, port, &sa, &len); rc != SI_OK)
    return rc;
  if (bind(sock->socket, reinterpret_cast<sockaddr *>(&sa), len) != 0)
    return Fail(sock, ErrMap::kBind);
  return SI_OK;
}

int SiBind2(SI_SOCK *sock, const void *sockaddr, int sockaddrLen) noexcept {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  if (sockaddr == nullptr || sockaddrLen < 0) return SI_EINVAL;
  if (bind(sock->socket, static_cast<const struct sockaddr *>(sockaddr),
           static_cast<socklen_t>(sockaddrLen)) != 0)
    return Fail(sock, ErrMap::kBind);
  return SI_OK;
}

int SiListen(SI_SOCK *sock, int backlog) noexcept {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  if (listen(sock->socket, backlog) != 0) return Fail(sock, ErrMap::kDescriptor);
  return SI_OK;
}

int SiAccept(SI_SOCK *sock, SI_SOCK *newSock, ZUL_RAW *addr, int addrSize,
             uint16_t *port) noexcept {
  if (sock != nullptr && !si::AddrBufferFits(sock->family, addr, addrSize))
    return si::Refuse(sock, SI_LASTERR_INTERN, SI_EINTERN);
  sockaddr_storage sa{};
  socklen_t len = sizeof sa;
  if (int rc = Accept(sock, newSock, &sa, &len); rc != SI_OK) return rc;
  int rc = si::ConvSockAddr(sock, sa, len, addr, addrSize, port);
  if (rc != SI_OK) {
    // The caller can't be told who connected: the connection is dropped rather than leaked.
    close(newSock->socket);
    newSock->socket = -1;
  }
  return rc;
}

int SiAccept2(SI_SOCK *sock, SI_SOCK *newSock, void *sockaddr, int *sockaddrLen) noexcept {
  if ((sockaddr == nullptr) != (sockaddrLen == nullptr) ||
      (sockaddrLen != nullptr && *sockaddrLen < 0))
    return SI_EINVAL;
  sockaddr_storage sa{};
  socklen_t len = sizeof sa;
  if (int rc = Accept(sock, newSock, &sa, &len); rc != SI_OK) return rc;
  if (sockaddr != nullptr) {
    size_t n = len < static_cast<socklen_t>(*sockaddrLen) ? len : *sockaddrLen;
    std::memcpy(sockaddr, &sa, n);
    *sockaddrLen = static_cast<int>(len);
  }
  return SI_OK;
}

int SiConnect(SI_SOCK *sock, const ZUL_RAW *addr, int addrLen, uint16_t port) noexcept {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  if (addr == nullptr) return SI_EINVAL;
  sockaddr_storage sa;
  socklen_t len;
  if (int rc = si::BuildSockAddr(sock, sock->family, addr, addrLen, port, &sa, &len); rc != SI_OK)
    return rc;
  if (connect(sock->socket, reinterpret_cast<sockaddr *>(&sa), len) != 0)
    return Fail(sock, ErrMap::kConnect);
  return SI_OK;
}

int SiConnect2(SI_SOCK *sock, const void *sockaddr, int sockaddrLen) noexcept {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  if (sockaddr == nullptr || sockaddrLen < 0) return SI_EINVAL;
  if (connect(sock->socket, static_cast<const struct sockaddr *>(sockaddr),
              static_cast<socklen_t>(sockaddrLen)) != 0)
    return Fail(sock, ErrMap::kConnect);
  return SI_OK;
}

int SiShutdown(SI_SOCK *sock, int how) noexcept {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  if (shutdown(sock->socket, how) != 0) return Fail(sock, ErrMap::kShutdown);
  return SI_OK;
}

int SiGetSockName(SI_SOCK *sock, ZUL_RAW *addr, int addrSize, uint16_t *port) noexcept {
  return GetName(sock, ErrMap::kGetSockName, getsockname, addr, addrSize, port);
}

int SiGetSockName2(SI_SOCK *sock, void *sockaddr, int *sockaddrLen) noexcept {
  return GetName2(sock, ErrMap::kGetSockName, getsockname, sockaddr, sockaddrLen);
}

int SiGetPeerName(SI_SOCK *sock, ZUL_RAW *addr, int addrSize, uint16_t *port) noexcept {
  return GetName(sock, ErrMap::kGetPeerName, getpeername, addr, addrSize, port);
}

int SiGetPeerName2(SI_SOCK *sock, void *sockaddr, int *sockaddrLen) noexcept {
  return GetName2(sock, ErrMap::kGetPeerName, getpeername, sockaddr, sockaddrLen);
}

int SiGetPendDataLen(SI_SOCK *sock, int *length) noexcept {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  if (length == nullptr) return SI_EINVAL;
  if (ioctl(sock->socket, FIONREAD, length) != 0) return Fail(sock, ErrMap::kDescriptor);
  return SI_OK;
}

int SiSetBlockMode(SI_SOCK *sock, int mode) noexcept {
  int flags;
  if (int rc = GetFlags(sock, F_GETFL, &flags); rc != SI_OK) return rc;
  flags = mode == 1 ? flags & ~O_NONBLOCK : flags | O_NONBLOCK;
  if (fcntl(sock->socket, F_SETFL, flags) == -1) return Fail(sock, ErrMap::kDescriptor);
  return SI_OK;
}

int SiGetBlockMode(SI_SOCK *sock, int *blocking) noexcept {
  if (blocking == nullptr) return SI_EINVAL;
  int flags;
  if (int rc = GetFlags(sock, F_GETFL, &flags); rc != SI_OK) return rc;
  *blocking = (flags & O_NONBLOCK) == 0 ? 1 : 0;
  return SI_OK;
}

int SiSetCloseExec(SI_SOCK *sock, int flag) noexcept {
  int flags;
  if (int rc = GetFlags(sock, F_GETFD, &flags); rc != SI_OK) return rc;
  flags = flag == 1 ? flags | FD_CLOEXEC : flags & ~FD_CLOEXEC;
  if (fcntl(sock->socket, F_SETFD, flags) == -1) return Fail(sock, ErrMap::kDescriptor);
  return SI_OK;
}

int SiGetCloseExec(SI_SOCK *sock, int *flag) noexcept {
  if (flag == nullptr) return SI_EINVAL;
  int flags;
  if (int rc = GetFlags(sock, F_GETFD, &flags); rc != SI_OK) return rc;
  *flag = (flags & FD_CLOEXEC) != 0 ? 1 : 0;
  return SI_OK;
}

}  // extern "C"
