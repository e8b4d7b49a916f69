// The socket layer's data calls: send, receive and their scattered and addressed forms.
#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "si/siux.h"

static_assert(sizeof(SI_IOVEC) == sizeof(iovec) &&
              offsetof(SI_IOVEC, base) == offsetof(iovec, iov_base) &&
              offsetof(SI_IOVEC, length) == offsetof(iovec, iov_len));

namespace {

using si::ErrMap;

// SI_MSG_OOB and SI_MSG_PEEK carry the system's values; other bits are not passed on. Sends add
// MSG_NOSIGNAL so that a closed peer costs the caller a code, never the process.
int RecvFlags(int flags) { return flags & (MSG_OOB | MSG_PEEK); }
int SendFlags(int flags) { return (flags & MSG_OOB) | MSG_NOSIGNAL; }

int Check(SI_SOCK *sock, const void *buffer, size_t length) {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  if (buffer == nullptr && length != 0) return SI_EINVAL;
  return SI_OK;
}

int CheckV(SI_SOCK *sock, const SI_IOVEC *iov, int count) {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  if ((iov == nullptr && count != 0) || count < 0) return SI_EINVAL;
  return SI_OK;
}

// The common end of every data call: the count, or errno through the call's table.
int Done(SI_SOCK *sock, ssize_t n, ErrMap map, size_t *done) {
  if (n < 0) {
    if (done != nullptr) *done = 0;
    return si::Fail(sock, map);
  }
  if (done != nullptr) *done = static_cast<size_t>(n);
  return SI_OK;
}

msghdr Message(const SI_IOVEC *iov, int count, void *name, socklen_t nameLen) {
  msghdr msg{};
  msg.msg_name = name;
  msg.msg_namelen = nameLen;
  msg.msg_iov = reinterpret_cast<iovec *>(const_cast<SI_IOVEC *>(iov));
  msg.msg_iovlen = static_cast<size_t>(count);
  return msg;
}

}  // namespace

std::atomic<size_t> si::gSendVFaultAbove{SIZE_MAX};

extern "C" {

int SiSend(SI_SOCK *sock, const void *buffer, size_t length, int flags, size_t *done) noexcept {
  if (int rc = Check(sock, buffer, length); rc != SI_OK) return rc;
  return Done(sock, send(sock->socket, buffer, length, SendFlags(flags)), ErrMap::kSend, done);
}

int SiSendV(SI_SOCK *sock, const SI_IOVEC *iov, int count, size_t *done) noexcept {
  if (int rc = CheckV(sock, iov, count); rc != SI_OK) return rc;
  if (size_t limit = si::gSendVFaultAbove.load(std::memory_order_relaxed);
      __builtin_expect(limit != SIZE_MAX, 0)) {
    size_t total = 0;
    for (int i = 0; i < count; ++i) total += iov[i].length;
    if (total > limit) {
      errno = EMSGSIZE;
      return Done(sock, -1, ErrMap::kSend, done);
    }
  }
  return Done(sock, writev(sock->socket, reinterpret_cast<const iovec *>(iov), count),
              ErrMap::kSend, done);
}

int SiSendTo(SI_SOCK *sock, const void *buffer, size_t length, int flags, const ZUL_RAW *addr,
             int addrLen, uint16_t port, size_t *done) noexcept {
  if (int rc = Check(sock, buffer, length); rc != SI_OK) return rc;
  if (addr == nullptr) return SI_EINVAL;
  sockaddr_storage sa;
  socklen_t len;
  if (int rc = si::BuildSockAddr(sock, sock->family, addr, addrLen, port, &sa, &len); rc != SI_OK)
    return rc;
  return Done(sock,
              sendto(sock->socket, buffer, length, SendFlags(flags),
                     reinterpret_cast<sockaddr *>(&sa), len),
              ErrMap::kSendTo, done);
}

int SiSendTo2(SI_SOCK *sock, const void *buffer, size_t length, int flags, const void *sockaddr,
              int sockaddrLen, size_t *done) noexcept {
  if (int rc = Check(sock, buffer, length); rc != SI_OK) return rc;
  if (sockaddr == nullptr || sockaddrLen < 0) return SI_EINVAL;
  return Done(sock,
              sendto(sock->socket, buffer, length, SendFlags(flags),
                     static_cast<const struct sockaddr *>(sockaddr),
                     static_cast<socklen_t>(sockaddrLen)),
              ErrMap::kSendTo, done);
}

int SiSendMsg(SI_SOCK *sock, const SI_IOVEC *iov, int count, int flags, const ZUL_RAW *addr,
              int addrLen, uint16_t port, size_t *done) noexcept {
  if (int rc = CheckV(sock, iov, count); rc != SI_OK) return rc;
  sockaddr_storage sa;
  socklen_t len = 0;
  if (addr != nullptr) {
    if (int rc = si::BuildSockAddr(sock, sock->family, addr, addrLen, port, &sa, &len);
        rc != SI_OK)
      return rc;
  }
  msghdr msg = Message(iov, count, addr != nullptr ? &sa : nullptr, len);
  return Done(sock, sendmsg(sock->socket, &msg, SendFlags(flags)), ErrMap::kSendTo, done);
}

int SiSendMsg2(SI_SOCK *sock, const SI_IOVEC *iov, int count, int flags, const void *sockaddr,
               int sockaddrLen, size_t *done) noexcept {
  if (int rc = CheckV(sock, iov, count); rc != SI_OK) return rc;
  if (sockaddrLen < 0) return SI_EINVAL;
  msghdr msg = Message(iov, count, const_cast<void *>(sockaddr),
                       sockaddr != nullptr ? static_cast<socklen_t>(sockaddrLen) : 0);
  return Done(sock, sendmsg(sock->socket, &msg, SendFlags(flags)), ErrMap::kSendTo, done);
}

int SiRecv(SI_SOCK *sock, void *buffer, size_t length, int flags, size_t *done) noexcept {
  if (int rc = Check(sock, buffer, length); rc != SI_OK) return rc;
  return Done(sock, recv(sock->socket, buffer, length, RecvFlags(flags)), ErrMap::kRecv, done);
}

int SiRecvV(SI_SOCK *sock, const SI_IOVEC *iov, int count, size_t *done) noexcept {
  if (int rc = CheckV(sock, iov, count); rc != SI_OK) return rc;
  return Done(sock, readv(sock->socket, reinterpret_cast<const iovec *>(iov), count),
              ErrMap::kRecv, done);
}

int SiRecvFrom(SI_SOCK *sock, void *buffer, size_t length, int flags, ZUL_RAW *addr, int addrSize,
               uint16_t *port, size_t *done) noexcept {
  if (int rc = Check(sock, buffer, length); rc != SI_OK) return rc;
  if (!si::AddrBufferFits(sock->family, addr, addrSize))
    return si::Refuse(sock, SI_LASTERR_INTERN, SI_EINTERN);
  sockaddr_storage sa{};
  socklen_t len = sizeof sa;
  ssize_t n = recvfrom(sock->socket, buffer, length, RecvFlags(flags),
                       reinterpret_cast<sockaddr *>(&sa), &len);
  if (int rc = Done(sock, n, ErrMap::kRecv, done); rc != SI_OK) return rc;
  if (addr == nullptr && port == nullptr) return SI_OK;
  return si::ConvSockAddr(sock, sa, len, addr, addrSize, port);
}

int SiRecvFrom2(SI_SOCK *sock, void *buffer, size_t length, int flags, void *sockaddr,
                int *sockaddrLen, size_t *done) noexcept {
  if (int rc = Check(sock, buffer, length); rc != SI_OK) return rc;
  if ((sockaddr == nullptr) != (sockaddrLen == nullptr) ||
      (sockaddrLen != nullptr && *sockaddrLen < 0))
    return SI_EINVAL;
  socklen_t len = sockaddrLen != nullptr ? static_cast<socklen_t>(*sockaddrLen) : 0;
  ssize_t n = recvfrom(sock->socket, buffer, length, RecvFlags(flags),
                       static_cast<struct sockaddr *>(sockaddr), sockaddr != nullptr ? &len : nullptr);
  if (int rc = Done(sock, n, ErrMap::kRecv, done); rc != SI_OK) return rc;
  if (sockaddrLen != nullptr) *sockaddrLen = static_cast<int>(len);
  return SI_OK;
}

int SiRecvMsg(SI_SOCK *sock, const SI_IOVEC *iov, int count, int flags, ZUL_RAW *addr,
              int addrSize, uint16_t *port, size_t *done) noexcept {
  if (int rc = CheckV(sock, iov, count); rc != SI_OK) return rc;
  if (!si::AddrBufferFits(sock->family, addr, addrSize))
    return si::Refuse(sock, SI_LASTERR_INTERN, SI_EINTERN);
  sockaddr_storage sa{};
  msghdr msg = Message(iov, count, &sa, sizeof sa);
  if (int rc = Done(sock, recvmsg(sock->socket, &msg, RecvFlags(flags)), ErrMap::kRecv, done);
      rc != SI_OK)
    return rc;
  if (addr == nullptr && port == nullptr) return SI_OK;
  return si::ConvSockAddr(sock, sa, msg.msg_namelen, addr, addrSize, port);
}

int SiRecvMsg2(SI_SOCK *sock, const SI_IOVEC *iov, int count, int flags, void *sockaddr,
               int *sockaddrLen, size_t *done) noexcept {
  if (int rc = CheckV(sock, iov, count); rc != SI_OK) return rc;
  if ((sockaddr == nullptr) != (sockaddrLen == nullptr) ||
      (sockaddrLen != nullptr && *sockaddrLen < 0))
    return SI_EINVAL;
  msghdr msg = Message(iov, count, sockaddr,
                       sockaddrLen != nullptr ? static_cast<socklen_t>(*sockaddrLen) : 0);
  if (int rc = Done(sock, recvmsg(sock->socket, &msg, RecvFlags(flags)), ErrMap::kRecv, done);
      rc != SI_OK)
    return rc;
  if (sockaddrLen != nullptr) *sockaddrLen = static_cast<int>(msg.msg_namelen);
  return SI_OK;
}

}  // extern "C"
