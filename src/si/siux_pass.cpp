// Passing an open socket to another process over a Unix socket: one sendmsg with the descriptor
// as SCM_RIGHTS and 15 bytes that tell the family and type.
//
// The data part, big-endian: 4 reserved zero bytes, the length of the socket information (2
// bytes, 15), the version (1 byte, 0), the family and the type (4 bytes each). A sender that
// announces more than 15 bytes sends the rest after the message; the receiver reads and drops it.
#define DPTRC_MODULE u"siux"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "si/siux.h"
#include "zul_dptrace.h"

namespace {

constexpr unsigned kInfoLen = 15;
constexpr socklen_t kControlLen = CMSG_LEN(sizeof(int));  // 20
constexpr size_t kControlSpace = CMSG_SPACE(sizeof(int));  // 24
static_assert(kControlLen == 20 && kControlSpace == 24);

void PutBe32(unsigned char *p, uint32_t v) {
  p[0] = static_cast<unsigned char>(v >> 24);
  p[1] = static_cast<unsigned char>(v >> 16);
  p[2] = static_cast<unsigned char>(v >> 8);
  p[3] = static_cast<unsigned char>(v);
}

uint32_t GetBe32(const unsigned char *p) {
  return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}

// Closes every descriptor that the kernel installed from the message's control data, so that a
// refused message leaves none open whatever its shape.
void CloseReceivedRights(msghdr *msg) {
  for (cmsghdr *c = CMSG_FIRSTHDR(msg); c != nullptr; c = CMSG_NXTHDR(msg, c)) {
    if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_RIGHTS) continue;
    size_t n = (c->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (size_t i = 0; i < n; ++i) {
      int fd;
      std::memcpy(&fd, CMSG_DATA(c) + i * sizeof(int), sizeof fd);
      close(fd);
    }
  }
}

// Reads and drops the extra socket information of a newer sender. Answers SI_OK when all came.
int DropExtraInfo(SI_SOCK *via, unsigned extra) {
  auto *buffer = static_cast<ZUL_RAW *>(std::malloc(extra));
  if (buffer == nullptr) {
    DPTRC_ERR_A7(tf, "%s: failed to allocate SI_RAW[%u]\n", "SiRecvSocket", extra);
    return SI_EMEMORY;
  }
  size_t got = 0;
  int rc = SiRecv(via, buffer, extra, 0, &got);
  std::free(buffer);
  if (rc != SI_OK) {
    DPTRC_ERR_A7(tf, "%s: SiRecv failed (rc=%d)\n", "SiRecvSocket", rc);
    return rc;
  }
  if (got != extra) {
    DPTRC_ERR_A7(tf, "%s: invalid socket info received (%u<>%u)\n", "SiRecvSocket",
                 static_cast<unsigned>(got), extra);
    return SI_EINTERN;
  }
  return SI_OK;
}

// A message of one data buffer and a control buffer of controlLen bytes.
msghdr OneBufferMessage(iovec &iov, unsigned char *control, size_t controlLen) {
  msghdr msg{};
  msg.msg_iov = &iov;
  msg.msg_iovlen = 1;
  msg.msg_control = control;
  msg.msg_controllen = controlLen;
  return msg;
}

}  // namespace

extern "C" {

int SiSendSocket(SI_SOCK *via, const SI_SOCK *sock) noexcept {
  if (int rc = si::CheckSock(via); rc != SI_OK) return rc;
  if (sock == nullptr) return SI_EINVAL;
  unsigned char data[kInfoLen] = {};
  data[4] = 0;
  data[5] = kInfoLen;
  data[6] = 0;
  PutBe32(data + 7, static_cast<uint32_t>(sock->family));
  PutBe32(data + 11, static_cast<uint32_t>(sock->type));
  iovec iov{data, sizeof data};
  alignas(cmsghdr) unsigned char control[kControlSpace] = {};
  msghdr msg = OneBufferMessage(iov, control, kControlLen);
  cmsghdr *c = CMSG_FIRSTHDR(&msg);
  c->cmsg_level = SOL_SOCKET;
  c->cmsg_type = SCM_RIGHTS;
  c->cmsg_len = kControlLen;
  std::memcpy(CMSG_DATA(c), &sock->socket, sizeof(int));
  ssize_t n = sendmsg(via->socket, &msg, MSG_NOSIGNAL);
  if (n < 0) return si::Fail(via, si::ErrMap::kSendSocket);
  if (static_cast<size_t>(n) != kInfoLen) {
    DPTRC_ERR_A7(tf, "%s: invalid sent data length (%d<>%u)\n", "SiSendSocket",
                 static_cast<int>(n), kInfoLen);
    return si::Refuse(via, SI_LASTERR_INTERN, SI_EINTERN);
  }
  return SI_OK;
}

int SiRecvSocket(SI_SOCK *via, SI_SOCK *sock) noexcept {
  if (int rc = si::CheckSock(via); rc != SI_OK) return rc;
  if (sock == nullptr) return SI_EINVAL;
  sock->socket = -1;
  // One byte more than the message, so that a longer one is seen as such.
  unsigned char data[kInfoLen + 1] = {};
  iovec iov{data, sizeof data};
  alignas(cmsghdr) unsigned char control[kControlSpace] = {};
  msghdr msg = OneBufferMessage(iov, control, sizeof control);
  ssize_t n = recvmsg(via->socket, &msg, 0);
  if (n < 0) return si::Fail(via, si::ErrMap::kRecvSocket);
  if (static_cast<size_t>(n) != kInfoLen) {
    CloseReceivedRights(&msg);
    DPTRC_ERR_A7(tf, "%s: invalid received data length (%d<>%u)\n", "SiRecvSocket",
                 static_cast<int>(n), kInfoLen);
    return si::Refuse(via, SI_LASTERR_INTERN, SI_EINTERN);
  }
  cmsghdr *c = CMSG_FIRSTHDR(&msg);
  if (c == nullptr || msg.msg_controllen < sizeof(cmsghdr) || c->cmsg_len != kControlLen) {
    CloseReceivedRights(&msg);
    DPTRC_ERR_A7(tf, "%s: no valid message received\n", "SiRecvSocket");
    return si::Refuse(via, SI_LASTERR_INTERN, SI_EINTERN);
  }
  if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_RIGHTS) {
    CloseReceivedRights(&msg);
    DPTRC_ERR_A7(tf, "%s: no valid descriptor received\n", "SiRecvSocket");
    return si::Refuse(via, SI_LASTERR_INTERN, SI_EINTERN);
  }
  int fd;
  std::memcpy(&fd, CMSG_DATA(c), sizeof fd);
  SI_SOCK received{fd, static_cast<int32_t>(GetBe32(data + 7)),
                   static_cast<int32_t>(GetBe32(data + 11)), 0};
  unsigned infoLen = (unsigned{data[4]} << 8) | data[5];
  if (infoLen > kInfoLen) {
    DPTRC_A7(2, tf, "%s: longer socket info received (version %u)\n", "SiRecvSocket",
             unsigned{data[6]});
    if (DropExtraInfo(via, infoLen - kInfoLen) != SI_OK) {
      close(fd);
      return si::Refuse(via, SI_LASTERR_INTERN, SI_EINTERN);
    }
  }
  *sock = received;
  DPTRC_A7(2, tf, "%s: received sock %d (%s, %s)\n", "SiRecvSocket", fd,
           si::FamilyName8(received.family), si::TypeName8(received.type));
  return SI_OK;
}

}  // extern "C"
