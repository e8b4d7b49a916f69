// Connected network handles without the connect layer: a handle made with NiICreateHandle and
// given one end of a real stream, either a Unix socket pair or a TCP connection over 127.0.0.1
// (port 0, read back), in the state a connect leaves it. The other end stays a raw socket, so a
// test can write and check the bytes on the wire itself.
//
//   ni_test::Conn c = ni_test::Connect(ni_test::Link::kTcp);
//   NiWrite(c.hdl, "abc", 3, 1000, &written);   // c.peer reads 00 00 00 03 'a' 'b' 'c'
//
// The handle owns its end (NiCloseHandle or NiExit closes it); Conn closes the peer's.
//
// Also: parameter records for NiSetParamEx, and a forked child for tests that need the library
// started afresh (environment variables are set there, before its first NiInit).
#ifndef TLM_TEST_NI_CONN_H
#define TLM_TEST_NI_CONN_H

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <functional>
#include <utility>

#include "ni/nixxi.h"

namespace ni_test {

enum class Link { kUnix, kTcp };

// A TCP socket bound to 127.0.0.1 (to the any address when any) and port, 0 for the system's
// choice, which *bound gets; listening when backlog >= 0. -1 on failure.
inline int TcpSocket(uint16_t port, bool any, int backlog, uint16_t *bound) {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(any ? INADDR_ANY : INADDR_LOOPBACK);
  a.sin_port = htons(port);
  socklen_t len = sizeof a;
  if (fd < 0 || bind(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) != 0 ||
      (backlog >= 0 && listen(fd, backlog) != 0) ||
      getsockname(fd, reinterpret_cast<sockaddr *>(&a), &len) != 0) {
    if (fd >= 0) close(fd);
    return -1;
  }
  *bound = ntohs(a.sin_port);
  return fd;
}

// Two connected stream sockets: fds[0] for the handle, fds[1] for the peer. TCP ends get
// TCP_NODELAY, as the connect layer sets it.
inline bool StreamPair(Link link, int fds[2]) {
  if (link == Link::kUnix) return socketpair(AF_UNIX, SOCK_STREAM, 0, fds) == 0;
  uint16_t port = 0;
  int lis = TcpSocket(0, false, 1, &port);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  a.sin_port = htons(port);
  fds[1] = lis >= 0 ? socket(AF_INET, SOCK_STREAM, 0) : -1;
  bool ok = fds[1] >= 0 && connect(fds[1], reinterpret_cast<sockaddr *>(&a), sizeof a) == 0;
  fds[0] = ok ? accept(lis, nullptr, nullptr) : -1;
  if (lis >= 0) close(lis);
  if (fds[0] < 0) {
    if (fds[1] >= 0) close(fds[1]);
    return false;
  }
  int on = 1;
  for (int i = 0; i < 2; ++i) setsockopt(fds[i], IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return true;
}

// A handle in state `state` over the stream socket fd, which it then owns: a connection's socket,
// or for NI_LISTEN the listener's IP or local socket by the family. blocking sets the socket's
// mode and the handle's record of it alike. -1 on failure.
inline int Attach(int fd, bool blocking, uint8_t state = NI_CONNECTED) {
  NITAB *p = nullptr;
  const bool lis = state == NI_LISTEN;
  if (NiICreateHandle(&p, lis ? NI_INITIAL_LIS : NI_INITIAL_CON, nullptr) != ZUL_O_K) return -1;
  sockaddr_storage peer{};
  socklen_t len = sizeof peer;
  (lis ? getsockname : getpeername)(fd, reinterpret_cast<sockaddr *>(&peer), &len);
  int flags = fcntl(fd, F_GETFL);
  fcntl(fd, F_SETFL, blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK);
  SI_SOCK s{fd, peer.ss_family, SOCK_STREAM, 0};
  (!lis ? p->con.mSocket : peer.ss_family == AF_UNIX ? p->lis.mUDSocket : p->lis.mIPSocket) = s;
  p->mBlockMode = blocking ? 1 : 0;
  if (peer.ss_family == AF_INET) {
    auto *in = reinterpret_cast<sockaddr_in *>(&peer);
    NiTransIPv4ToNode(in->sin_addr.s_addr, &p->con.mPeerAddr);
    p->con.mPeerServ = in->sin_port;
  } else {
    p->con.mPeerAddr = NI_ADDR_LOCAL_INIT;
  }
  p->mType = state;
  return p->handle;
}

// A connected handle and the raw peer socket, which it closes.
struct Conn {
  int hdl = -1;
  int peer = -1;
  Conn() = default;
  Conn(Conn &&o) noexcept : hdl(o.hdl), peer(std::exchange(o.peer, -1)) {}
  ~Conn() {
    if (peer >= 0) close(peer);
  }
};

inline Conn Connect(Link link, bool blocking = true) {
  Conn c;
  int fds[2];
  if (!StreamPair(link, fds)) return c;
  c.peer = fds[1];
  if ((c.hdl = Attach(fds[0], blocking)) < 0) close(fds[0]);
  return c;
}

// A parameter record of the data type given, holding v.
inline NI_PARAM_DATA Param(int no, int type, uint32_t v) {
  NI_PARAM_DATA d{};
  d.param = static_cast<uint8_t>(no);
  d.datatype = static_cast<uint8_t>(type);
  if (type == NI_DT_BOOL || type == NI_DT_RAW)
    d.value.raw_val = static_cast<uint8_t>(v);
  else if (type == NI_DT_USHORT)
    d.value.ushort_val = static_cast<uint16_t>(v);
  else
    d.value.uint_val = v;
  return d;
}

inline int SetParam(int no, int type, uint32_t v) {
  NI_PARAM_DATA d = Param(no, type, v);
  return NiSetParamEx(&d);
}

// 0 when a TCP socket can bind ::1, else the errno that stopped it.
inline int Loopback6Errno() {
  int fd = socket(AF_INET6, SOCK_STREAM, 0);
  sockaddr_in6 a{AF_INET6, 0, 0, in6addr_loopback, 0};
  int err = fd < 0 || bind(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) != 0 ? errno : 0;
  if (fd >= 0) close(fd);
  return err;
}

// Runs body in a forked child and answers the exit code it returns; -1 when the child didn't end
// within 30 seconds (it is killed) or didn't exit normally.
inline int InChild(const std::function<int()> &body) {
  pid_t pid = fork();
  if (pid == 0) _exit(body());
  int status = 0;
  for (int i = 0; i < 3000 && waitpid(pid, &status, WNOHANG) == 0; ++i) usleep(10000);
  if (waitpid(pid, &status, WNOHANG) == 0) {
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
    return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace ni_test

#endif  // TLM_TEST_NI_CONN_H
