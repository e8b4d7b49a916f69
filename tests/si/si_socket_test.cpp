// The wrappers on real sockets: loopback TCP, Unix sockets under a temporary directory,
// socketpairs; bad input of every kind answers a code and never crashes.
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <tuple>

#include "si_test_util.h"
#include "zul_si.h"

namespace {

using si_test::kLoopback;
using si_test::Listener;
using si_test::Pair;

// Every call on a closed descriptor answers 2; on a closed record too, and null buffers 1.
TEST(SiSocket, ClosedDescriptorsAndNullArguments) {
  SI_SOCK s;
  ASSERT_EQ(SiSocketIPv4(&s, SI_SOCK_STREAM), SI_OK);
  SI_SOCK stale = s;
  ASSERT_EQ(SiClose(&s), SI_OK);
  EXPECT_EQ(s.socket, -1);
  char buf[4];
  int v = 0;
  size_t n;
  SI_SOCK other;
  int32_t i32 = 1;
  SI_OPTVAL opt{&i32, 4, nullptr, 0};
  const std::function<int(SI_SOCK *)> calls[] = {
      [](SI_SOCK *p) { return SiClose(p); },
      [](SI_SOCK *p) { return SiListen(p, 1); },
      [&](SI_SOCK *p) { return SiBind(p, kLoopback, 4, 0); },
      [&](SI_SOCK *p) { return SiConnect(p, kLoopback, 4, 1); },
      [&](SI_SOCK *p) { return SiAccept(p, &other, nullptr, 0, nullptr); },
      [&](SI_SOCK *p) { return SiSend(p, buf, 1, 0, &n); },
      [&](SI_SOCK *p) { return SiRecv(p, buf, 1, 0, &n); },
      [&](SI_SOCK *p) { return SiGetPendDataLen(p, &v); },
      [&](SI_SOCK *p) { return SiGetBlockMode(p, &v); },
      [&](SI_SOCK *p) { return SiSetCloseExec(p, 1); },
      [&](SI_SOCK *p) { return SiShutdown(p, SI_SHUT_RDWR); },
      [&](SI_SOCK *p) { return SiSetSockOpt(p, SI_SOL_SOCKET, SI_SO_KEEPALIVE, &opt); },
      [&](SI_SOCK *p) { return SiGetSockName(p, nullptr, 0, nullptr); },
      [&](SI_SOCK *p) { return SiPeek(p, SI_PEEK_RD, 0); },
      [&](SI_SOCK *p) { return SiRecvSocket(p, &other); },
  };
  for (size_t i = 0; i < std::size(calls); ++i) {
    SI_SOCK copy = stale;
    EXPECT_EQ(calls[i](&copy), SI_EINVAL_SOCK) << i;
    EXPECT_EQ(copy.lastError, static_cast<uint32_t>(EBADF)) << i;
    EXPECT_EQ(calls[i](&s), SI_EINVAL_SOCK) << "closed record, call " << i;
    EXPECT_EQ(calls[i](nullptr), SI_EINVAL) << "null record, call " << i;
  }
  Pair p;
  EXPECT_EQ(SiSend(&p.a, nullptr, 1, 0, &n), SI_EINVAL);
  EXPECT_EQ(SiGetBlockMode(&p.a, nullptr), SI_EINVAL);
  EXPECT_EQ(SiSetSockOpt(&p.a, SI_SOL_SOCKET, SI_SO_KEEPALIVE, nullptr), SI_EINVAL);
}

// Wrong lengths give 14 with 2050, unknown families 3 with 2048, unknown options 4 with 2049.
TEST(SiSocket, RefusedArguments) {
  SI_SOCK s;
  ASSERT_EQ(SiSocketIPv4(&s, SI_SOCK_STREAM), SI_OK);
  const int fd = s.socket;
  int32_t i32 = 8192;
  unsigned char byte = 1;
  SI_OPTVAL shortInt{&i32, 2, nullptr, 0}, oneByte{&byte, 1, nullptr, 0}, ok{&i32, 4, nullptr, 0};
  ZUL_RAW addr16[16] = {};
  const std::tuple<std::function<int()>, int, uint32_t> rows[] = {
      {[&] { return SiConnect(&s, addr16, 16, 0); }, SI_EINTERN, 2050},
      {[&] { return SiBind(&s, kLoopback, 3, 0); }, SI_EINTERN, 2050},
      {[&] { return SiAccept(&s, &s, addr16, 3, nullptr); }, SI_EINTERN, 2050},
      {[&] { return SiGetSockName(&s, addr16, 2, nullptr); }, SI_EINTERN, 2050},
      {[&] { return SiSetSockOpt(&s, SI_SOL_SOCKET, SI_SO_SNDBUF, &shortInt); }, SI_EINTERN, 2050},
      {[&] { return SiSetSockOpt(&s, SI_SOL_SOCKET, SI_SO_LINGER, &ok); }, SI_EINTERN, 2050},
      {[&] { return SiSetSockOpt(&s, SI_IPPROTO_IP, SI_IP_MULTICAST_TTL, &ok); }, SI_EINTERN, 2050},
      {[&] { return SiSetSockOpt(&s, SI_IPPROTO_TCP, SI_TCP_NODELAY, &oneByte); }, SI_EINTERN,
       2050},
      {[&] { return SiSetSockOpt(&s, SI_IPPROTO_IPV6, SI_IPV6_V6ONLY, &ok); }, SI_EINVAL_OPT, 2049},
      {[&] { return SiSetSockOpt(&s, SI_SOL_SOCKET, SI_SO_ERROR, &ok); }, SI_EINVAL_OPT, 2049},
      {[&] { return SiGetSockOpt(&s, 99, SI_SO_ERROR, &ok); }, SI_EINVAL_OPT, 2049},
  };
  int row = 0;
  for (const auto &[call, rc, lastError] : rows) {
    s.lastError = 0;
    EXPECT_EQ(call(), rc) << row;
    EXPECT_EQ(s.lastError, lastError) << row++;
  }
  SI_SOCK t{fd, 17, 1, 0};
  EXPECT_EQ(SiBind(&t, kLoopback, 4, 0), SI_EINVAL_FAMI);
  EXPECT_EQ(t.lastError, 2048u);
  close(fd);
  EXPECT_EQ(SiSocket(&t, 99, SI_SOCK_STREAM), SI_EINVAL);
  EXPECT_EQ(t.lastError, static_cast<uint32_t>(EAFNOSUPPORT));
  EXPECT_EQ(t.socket, -1);
}

TEST(SiSocket, LoopbackConnectAcceptAndNames) {
  Listener l;
  ASSERT_NE(l.port, 0);
  SI_SOCK c, a;
  ASSERT_EQ(SiSocketIPv4(&c, SI_SOCK_STREAM), SI_OK);
  ASSERT_EQ(SiConnect(&c, kLoopback, 4, l.port), SI_OK);
  ZUL_RAW peer[4];
  uint16_t peerPort = 0, localPort = 0;
  ASSERT_EQ(SiAccept(&l.sock, &a, peer, 4, &peerPort), SI_OK);
  EXPECT_EQ(a.family, SI_AF_INET);
  EXPECT_EQ(a.type, SI_SOCK_STREAM);
  EXPECT_EQ(a.lastError, 0u);
  EXPECT_EQ(std::memcmp(peer, kLoopback, 4), 0);
  ASSERT_EQ(SiGetSockName(&c, nullptr, 0, &localPort), SI_OK);
  EXPECT_EQ(peerPort, localPort);
  size_t n = 0;
  char buf[8] = {};
  EXPECT_EQ(SiSend(&c, "ping", 4, 0, &n), SI_OK);
  EXPECT_EQ(SiPeek(&a, SI_PEEK_RD, 1000), SI_OK);
  int pending = 0;
  EXPECT_EQ(SiGetPendDataLen(&a, &pending), SI_OK);
  EXPECT_EQ(pending, 4);
  EXPECT_EQ(SiRecv(&a, buf, sizeof buf, 0, &n), SI_OK);
  EXPECT_EQ(std::string(buf, n), "ping");
  // The port is taken while the listener lives; after it closes, a connect is refused.
  SI_SOCK d;
  ASSERT_EQ(SiSocketIPv4(&d, SI_SOCK_STREAM), SI_OK);
  EXPECT_EQ(SiBind(&d, kLoopback, 4, l.port), SI_EPORT_INUSE);
  EXPECT_EQ(d.lastError, static_cast<uint32_t>(EADDRINUSE));
  EXPECT_EQ(SiGetPeerName(&d, nullptr, 0, nullptr), SI_ECONN_BROKEN);
  EXPECT_EQ(SiShutdown(&d, SI_SHUT_RDWR), SI_EINVAL);
  SiClose(&l.sock);
  EXPECT_EQ(SiConnect(&d, kLoopback, 4, l.port), SI_ECONN_REFUSE);
  EXPECT_EQ(d.lastError, static_cast<uint32_t>(ECONNREFUSED));
  for (SI_SOCK *s : {&a, &c, &d}) SiClose(s);
}

// What the kernel answers here, call by call, and the code each call's table makes of it.
TEST(SiSocket, KernelErrnosByCall) {
  Listener l;
  Pair p;
  SI_SOCK c, u, other;
  ASSERT_EQ(SiSocketIPv4(&c, SI_SOCK_STREAM), SI_OK);
  ASSERT_EQ(SiConnect(&c, kLoopback, 4, l.port), SI_OK);
  ASSERT_EQ(SiSocketIPv4(&u, SI_SOCK_DGRAM), SI_OK);
  ASSERT_EQ(SiSetBlockMode(&p.a, 0), SI_OK);
  char buf[4];
  size_t n;
  int v = 0, len = sizeof v;
  const std::tuple<SI_SOCK *, std::function<int()>, int, int> rows[] = {
      {&p.a, [&] { return SiRecv(&p.a, buf, 4, 0, &n); }, SI_ETIMEOUT, EAGAIN},
      {&p.a, [&] { return SiRecvSocket(&p.a, &other); }, SI_ETIMEOUT, EAGAIN},
      {&c, [&] { return SiConnect(&c, kLoopback, 4, l.port); }, SI_EINVAL, EISCONN},
      {&c, [&] { return SiAccept(&c, &other, nullptr, 0, nullptr); }, SI_EINVAL, EINVAL},
      {&u, [&] { return SiListen(&u, 1); }, SI_ESYSCALL, EOPNOTSUPP},
      {&u, [&] { return SiGetSockOpt2(&u, SOL_SOCKET, 9999, &v, &len); }, SI_EINVAL, ENOPROTOOPT},
      {&u, [&] { return SiSetSockOpt2(&u, SOL_SOCKET, 9999, &v, 4); }, SI_EINVAL, ENOPROTOOPT},
      {&u, [&] { return SiSendSocket(&u, &c); }, SI_ESYSCALL, EDESTADDRREQ},
  };
  for (const auto &[sock, call, rc, err] : rows) {
    EXPECT_EQ(call(), rc) << err;
    EXPECT_EQ(sock->lastError, static_cast<uint32_t>(err));
  }
  SiClose(&c);
  SiClose(&u);
}

// A non-blocking connect in progress, then its outcome, for a listener and a refused port.
TEST(SiSocket, NonBlockingConnectOutcome) {
  Listener l;
  for (bool listening : {true, false}) {
    if (!listening) SiClose(&l.sock);
    SI_SOCK c;
    ASSERT_EQ(SiSocketIPv4(&c, SI_SOCK_STREAM), SI_OK);
    ASSERT_EQ(SiSetBlockMode(&c, 0), SI_OK);
    int blocking = 1;
    EXPECT_TRUE(SiGetBlockMode(&c, &blocking) == SI_OK && blocking == 0);
    int rc = SiConnect(&c, kLoopback, 4, l.port);
    if (rc == SI_ECONN_INPROG) rc = SiPeekPendConn(&c, 2000);
    EXPECT_EQ(rc, listening ? SI_OK : SI_ECONN_REFUSE);
    SiClose(&c);
  }
}

TEST(SiSocket, UnixSocketsWithTheLongestPath) {
  si_test::TempDir dir;
  ZUL_RAW field[108], back[108];
  std::string path = dir.Address(107, field);
  SI_SOCK l, c, a;
  ASSERT_EQ(SiSocketUDS(&l, SI_SOCK_STREAM), SI_OK);
  ASSERT_EQ(SiBind(&l, field, 108, 0), SI_OK);
  EXPECT_TRUE(std::filesystem::exists(path));
  ASSERT_EQ(SiListen(&l, 4), SI_OK);
  ASSERT_EQ(SiGetSockName(&l, back, 108, nullptr), SI_OK);
  EXPECT_EQ(std::string(reinterpret_cast<char *>(back)), path);
  ASSERT_EQ(SiSocketUDS(&c, SI_SOCK_STREAM), SI_OK);
  ASSERT_EQ(SiConnect(&c, field, 108, 0), SI_OK);
  std::fill(std::begin(back), std::end(back), 'x');
  ASSERT_EQ(SiAccept(&l, &a, back, 108, nullptr), SI_OK);
  EXPECT_EQ(back[0], 0) << "an unnamed peer gives an empty path";
  EXPECT_EQ(a.family, SI_AF_UNIX);
  // A path that doesn't exist: nobody listening for connect, address not available for bind.
  ZUL_RAW missing[108];
  dir.Address(40, missing);
  missing[dir.path.size()] = 0;
  std::strcat(reinterpret_cast<char *>(missing), "/no/such");
  SI_SOCK d;
  ASSERT_EQ(SiSocketUDS(&d, SI_SOCK_STREAM), SI_OK);
  EXPECT_EQ(SiConnect(&d, missing, 108, 0), SI_ECONN_REFUSE);
  EXPECT_EQ(SiBind(&d, missing, 108, 0), SI_EADDR_NAVAIL);
  EXPECT_EQ(d.lastError, static_cast<uint32_t>(ENOENT));
  for (SI_SOCK *s : {&l, &c, &a, &d}) SiClose(s);
}

TEST(SiSocket, OptionsHalveBufferSizesAndGiveFlagsAsBooleans) {
  SI_SOCK s;
  ASSERT_EQ(SiSocketIPv4(&s, SI_SOCK_STREAM), SI_OK);
  int32_t v = 8192;
  SI_OPTVAL opt{&v, 4, nullptr, 0};
  ASSERT_EQ(SiSetSockOpt(&s, SI_SOL_SOCKET, SI_SO_SNDBUF, &opt), SI_OK);
  int raw = 0, len = sizeof raw;
  ASSERT_EQ(SiGetSockOpt2(&s, SOL_SOCKET, SO_SNDBUF, &raw, &len), SI_OK);
  EXPECT_EQ(raw, 8192) << "4096 passed, doubled by the system";
  v = 5;
  ASSERT_EQ(SiSetSockOpt(&s, SI_SOL_SOCKET, SI_SO_KEEPALIVE, &opt), SI_OK);
  v = 0;
  ASSERT_EQ(SiGetSockOpt(&s, SI_SOL_SOCKET, SI_SO_KEEPALIVE, &opt), SI_OK);
  EXPECT_EQ(v, 1);
  int32_t on = 1, secs = 3;
  SI_OPTVAL linger{&on, 4, &secs, 4};
  ASSERT_EQ(SiSetSockOpt(&s, SI_SOL_SOCKET, SI_SO_LINGER, &linger), SI_OK);
  on = secs = 0;
  ASSERT_EQ(SiGetSockOpt(&s, SI_SOL_SOCKET, SI_SO_LINGER, &linger), SI_OK);
  EXPECT_EQ(on * 100 + secs, 103);
  SiClose(&s);
}

// SiPeek: nothing ready, then the hang-up of a closed Unix peer before its pending bytes.
TEST(SiSocket, PeekTimeoutAndHangUpBeforeData) {
  Pair p;
  EXPECT_EQ(SiPeek(&p.a, SI_PEEK_RD, 0), SI_ETIMEOUT);
  EXPECT_EQ(SiPeek(&p.a, SI_PEEK_WR, 0), SI_OK);
  size_t n = 0;
  ASSERT_EQ(SiSend(&p.b, "x", 1, 0, &n), SI_OK);
  EXPECT_EQ(SiPeek(&p.a, SI_PEEK_RD, 0), SI_OK);
  SiClose(&p.b);
  EXPECT_EQ(SiPeek(&p.a, SI_PEEK_RD, 0), SI_EINVAL);
  char c = 0;
  EXPECT_EQ(SiRecv(&p.a, &c, 1, 0, &n), SI_OK);
  EXPECT_EQ(n, 1u);
  EXPECT_EQ(SiSend(&p.a, "x", 1, 0, &n), SI_ECONN_BROKEN) << "no SIGPIPE either";
  EXPECT_EQ(p.a.lastError, static_cast<uint32_t>(EPIPE));
}

// Descriptors above 1023 in SiSelect's large sets.
TEST(SiSocket, SelectAboveTheSystemSetSize) {
  rlimit old{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &old), 0);
  if (old.rlim_max < 3001) GTEST_SKIP() << "hard descriptor limit below 3001";
  rlimit raised = old;
  raised.rlim_cur = 3001;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &raised), 0);
  Pair p;
  SI_SOCK high{dup2(p.a.socket, 3000), 1, 1, 0};
  ASSERT_EQ(high.socket, 3000);
  SI_FDSET rd;
  SI_FD_ZERO(&rd);
  SI_FD_SET(high.socket, &rd);
  int selected = -1, error = 0;
  EXPECT_EQ(SiSelect(high.socket + 1, &rd, nullptr, nullptr, 0, &selected, &error), SI_OK);
  EXPECT_EQ(selected, 0);
  size_t n;
  ASSERT_EQ(SiSend(&p.b, "y", 1, 0, &n), SI_OK);
  SI_FD_SET(high.socket, &rd);
  EXPECT_EQ(SiSelect(high.socket + 1, &rd, nullptr, nullptr, 1000, &selected, &error), SI_OK);
  EXPECT_EQ(selected, 1);
  EXPECT_EQ(SI_FD_ISSET(high.socket, &rd), 1);
  SiClose(&high);
  SI_FD_SET(3000, &rd);
  EXPECT_EQ(SiSelect(3001, &rd, nullptr, nullptr, 0, &selected, &error), SI_EINVAL_SOCK);
  EXPECT_EQ(error, EBADF);
  setrlimit(RLIMIT_NOFILE, &old);
}

TEST(SiSocket, DatagramsWithAddresses) {
  SI_SOCK r, w;
  ASSERT_EQ(SiSocketIPv4(&r, SI_SOCK_DGRAM), SI_OK);
  ASSERT_EQ(SiSocketIPv4(&w, SI_SOCK_DGRAM), SI_OK);
  uint16_t port = 0, from = 0, wport = 0;
  ASSERT_EQ(SiBind(&r, kLoopback, 4, 0), SI_OK);
  ASSERT_EQ(SiGetSockName(&r, nullptr, 0, &port), SI_OK);
  size_t n = 0;
  ASSERT_EQ(SiSendTo(&w, "abc", 3, 0, kLoopback, 4, port, &n), SI_OK);
  char buf[8];
  ZUL_RAW addr[4];
  ASSERT_EQ(SiRecvFrom(&r, buf, sizeof buf, 0, addr, 4, &from, &n), SI_OK);
  EXPECT_EQ(n, 3u);
  ASSERT_EQ(SiGetSockName(&w, nullptr, 0, &wport), SI_OK);
  EXPECT_EQ(from, wport);
  SiClose(&r);
  SiClose(&w);
}

}  // namespace
