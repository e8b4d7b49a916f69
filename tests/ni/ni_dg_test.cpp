// Datagram handles and wake-ups over real loopback sockets (port 0 read back); a wake-up is seen
// by polling the server handle's socket, or by a select set when it comes from a forked child.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "ni/nixxi.h"
#include "zul_err.h"
#include "zul_nisel.h"

namespace {

std::string DgDetail() {
  std::u16string d = ErrGetFld(ERR_FLD_DETAIL);
  return std::string(d.begin(), d.end());
}

// A datagram handle bound to 127.0.0.1 and the port given (0: the system's); -1 on failure.
int DgBound(uint16_t *port) {
  int h = -1;
  if (NiDgHdlCreate(&h) != ZUL_O_K) return -1;
  return NiDgHdlBind3(h, &NI_ADDR_LOCAL_I4_INIT, port) == ZUL_O_K ? h : -1;
}

// Whether the handle's socket becomes readable within ms.
bool Readable(int hdl, int ms) {
  int fd = -1;
  NiGetRawSocket(hdl, &fd);
  pollfd p{fd, POLLIN, 0};
  return poll(&p, 1, ms) == 1;
}

class NiDg : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(NiInit3(64), ZUL_O_K); }
  void TearDown() override { NiExit(); }
};

TEST_F(NiDg, Refusals) {
  uint16_t port = 0;
  int dg = DgBound(&port), lis = -1, out = -1;
  ASSERT_GE(dg, 0);
  uint16_t lport = 0;
  ASSERT_EQ(NiServerHandleForAddr(&NI_ADDR_LOCAL_I4_INIT, &lport, &lis), ZUL_O_K);
  NI_NODEADDR group;
  NiStrToAddr(u"10.0.0.1", &group);
  std::u16string host64(64, u'h'), serv32(32, u's');
  char buf[4];
  struct Row {
    int rc;
    const char *detail;
  } rows[] = {
      {NiDgHdlSend(dg, "x", 1, nullptr),
       "NiDgHdlSend: parameter invalid (pHdl->mType != NI_DG_CONNECTED)"},
      {NiDgHdlClose(lis),
       "NiDgHdlClose: parameter invalid (pHdl->mType != NI_DG_UNCONNECTED && "
       "pHdl->mType != NI_DG_CONNECTED)"},
      {NiCloseHandle(dg), "NiCloseHandle: parameter invalid (pHdl->mType == NI_DG_UNCONNECTED)"},
      {NiDgHdlJoinGroup(dg, &group, nullptr),
       "NiDgHdlJoinGroup: parameter invalid (NI_IS_ADDR_MULTICAST( *pMcNodeAddr ) == FALSE)"},
      {NiDgHdlBindName(dg, host64.c_str(), u"0"), "NiDgHdlBindName: parameter invalid"},
      {NiDgHdlBindName(dg, nullptr, serv32.c_str()), "NiDgHdlBindName: parameter invalid"},
      {NiDgHdlRecvFrom(dg, nullptr, nullptr, buf, 0, nullptr),
       "NiDgHdlRecvFrom: parameter invalid"},
      {NiDgHdlRecvFrom(dg + 1, nullptr, nullptr, buf, 4, nullptr), "NiDgHdlRecvFrom: invalid hdl"},
  };
  for (const Row &r : rows) EXPECT_EQ(r.rc, NIEINVAL) << r.detail;
  ASSERT_EQ(NiDgHdlCreate(&out), ZUL_O_K);
  ASSERT_EQ(NiDgHdlConnect(out, &NI_ADDR_LOCAL_I4_INIT, port), ZUL_O_K);
  EXPECT_EQ(NiCloseHandle(out), NIEINVAL);
  EXPECT_EQ(DgDetail(), "NiCloseHandle: parameter invalid (pHdl->mType == NI_DG_CONNECTED)");
  std::vector<char> big(70000, 'b');
  EXPECT_NE(NiDgHdlSend(out, big.data(), 70000, nullptr), ZUL_O_K);
  EXPECT_EQ(NiDgHdlClose(out), ZUL_O_K);
  EXPECT_EQ(NiDgHdlClose(dg), ZUL_O_K);
  EXPECT_EQ(NiDgHdlClose(dg), NIEINVAL);
}

TEST_F(NiDg, SendReceiveAndSharedPort) {
  uint16_t port = 0;
  int a = DgBound(&port), b = -1;
  ASSERT_GE(a, 0);
  uint16_t same = port;
  int a2 = DgBound(&same);  // address and port reuse stay on
  EXPECT_GE(a2, 0);
  ASSERT_EQ(NiDgHdlCreate(&b), ZUL_O_K);
  int sent = 0, got = 0;
  ASSERT_EQ(NiDgHdlSendTo(b, &NI_ADDR_LOCAL_I4_INIT, port, "hello", 5, &sent), ZUL_O_K);
  EXPECT_EQ(sent, 5);
  char buf[16] = {};
  NI_NODEADDR from;
  uint16_t fromPort = 0;
  // Blocking: the receive waits for the datagram (on either handle of the port).
  int rcv = Readable(a2, 1000) ? a2 : a;  // the last bound one takes unicast datagrams
  ASSERT_EQ(NiDgHdlRecvFrom(rcv, &from, &fromPort, buf, sizeof buf, &got), ZUL_O_K);
  EXPECT_EQ(std::string(buf, got), "hello");
  EXPECT_TRUE(ni::SameAddr(from, NI_ADDR_LOCAL_I4_INIT));
  EXPECT_NE(fromPort, 0);
  ASSERT_EQ(NiHdlSetBlockmode(rcv, 0), ZUL_O_K);
  EXPECT_EQ(NiDgHdlRecvFrom(rcv, nullptr, nullptr, buf, sizeof buf, nullptr), NIETIMEOUT);
  ASSERT_EQ(NiDgHdlConnect(b, &NI_ADDR_LOCAL_I4_INIT, port), ZUL_O_K);
  EXPECT_EQ(NiHdlGetConStat(b), NI_DG_CONNECTED);
  std::thread late([&] {
    usleep(50000);
    NiDgHdlSendTo(rcv, &from, fromPort, "late", 4, nullptr);  // from the connected peer
  });
  ASSERT_EQ(NiDgHdlRecvFrom(b, nullptr, nullptr, buf, sizeof buf, &got), ZUL_O_K);
  late.join();
  EXPECT_EQ(std::string(buf, got), "late");
  for (int h : {a, a2, b}) NiDgHdlClose(h);
}

// Joins a group on 127.0.0.1 and sends through the multicast interface option; skips where the
// kernel has no multicast on loopback.
TEST_F(NiDg, MulticastOnLoopback) {
  NI_NODEADDR group, lo = NI_ADDR_LOCAL_I4_INIT, got;
  NiStrToAddr(u"239.255.42.99", &group);
  uint16_t port = 0;
  int r = DgBound(&port), s = -1;
  ASSERT_GE(r, 0);
  NiDgHdlClose(r);
  r = -1;
  ASSERT_EQ(NiDgHdlCreate(&r), ZUL_O_K);
  ASSERT_EQ(NiDgHdlBind3(r, nullptr, &port), ZUL_O_K);
  errno = 0;
  if (int rc = NiDgHdlJoinGroup(r, &group, &lo); rc != ZUL_O_K) {
    SI_SOCK sock;
    NiGetSiSocket(r, &sock);
    GTEST_SKIP() << "join refused: " << std::strerror(static_cast<int>(sock.lastError));
  }
  ASSERT_EQ(NiDgHdlCreate(&s), ZUL_O_K);
  ASSERT_EQ(NiSetIP_MulticastIF(s, &lo), ZUL_O_K);
  ASSERT_EQ(NiGetIP_MulticastIF(s, &got), ZUL_O_K);
  EXPECT_TRUE(ni::SameAddr(got, lo));
  uint8_t ttl = 0;
  ASSERT_EQ(NiSetIP_MulticastTTL(s, 3), ZUL_O_K);
  ASSERT_EQ(NiGetIP_MulticastTTL(s, &ttl), ZUL_O_K);
  EXPECT_EQ(ttl, 3);
  ASSERT_EQ(NiDgHdlSendTo(s, &group, port, "mc", 2, nullptr), ZUL_O_K);
  if (!Readable(r, 1000)) GTEST_SKIP() << "no multicast probe arrived within 1 s";
  char buf[4];
  int n = 0;
  EXPECT_EQ(NiDgHdlRecvFrom(r, nullptr, nullptr, buf, 4, &n), ZUL_O_K);
  EXPECT_EQ(n, 2);
  EXPECT_EQ(NiDgHdlLeaveGroup(r, &group, &lo), ZUL_O_K);
  NiDgHdlClose(r), NiDgHdlClose(s);
}

TEST_F(NiDg, WakeupsCountFailAndOutliveTheServer) {
  NI_WAKEUP_SERVER *srv = nullptr;
  NI_WAKEUP_CLIENT *c = nullptr, *c2 = nullptr;
  ASSERT_EQ(NiWakeupOpen(&srv), ZUL_O_K);
  ASSERT_EQ(NiWakeupAttach(srv, &c), ZUL_O_K);
  ASSERT_EQ(NiWakeupAttach(srv, &c2), ZUL_O_K);
  EXPECT_EQ(NiWakeupGetCntNo(srv), 2);
  int h = NiWakeupGetNiHdl(srv), count = -1;
  EXPECT_EQ(NiWakeupCollect(&srv, &count), NIETIMEOUT);
  EXPECT_EQ(NiWakeupExec(c), ZUL_O_K);
  EXPECT_EQ(NiWakeupExec(c2), ZUL_O_K);
  ASSERT_TRUE(Readable(h, 1000));
  usleep(20000);
  EXPECT_EQ(NiWakeupCollect(&srv, &count), ZUL_O_K);
  EXPECT_EQ(count, 2);
  // Anything but one "v" fails the collect; NiWakeupCollect2 takes any datagram.
  for (auto [data, len] : {std::pair{"vv", 2}, {"x", 1}}) {
    ASSERT_EQ(NiWakeupExec2(c, data, len), ZUL_O_K);
    ASSERT_TRUE(Readable(h, 1000));
    EXPECT_EQ(NiWakeupCollect(&srv, &count), NIETOO_BIG);
  }
  char buf[8];
  int n = 0;
  ASSERT_EQ(NiWakeupExec2(c, "abc", 3), ZUL_O_K);
  ASSERT_TRUE(Readable(h, 1000));
  EXPECT_EQ(NiWakeupCollect2(&srv, buf, sizeof buf, &n), ZUL_O_K);
  EXPECT_EQ(std::string(buf, n), "abc");
  // Many uncollected wake-ups: some may be dropped, none hangs.
  for (int i = 0; i < 10000; ++i) ASSERT_EQ(NiWakeupExec(c), ZUL_O_K);
  EXPECT_EQ(NiWakeupCollect(&srv, &count), ZUL_O_K);
  EXPECT_GT(count, 0);
  EXPECT_LE(count, 10000);
  // A forked child attaches a client of its own and ends the parent's wait in a select set.
  NISEL *set = nullptr;
  ASSERT_EQ(NiSelNewSet(&set), ZUL_O_K);
  ASSERT_EQ(NiSelSet(set, h, SISEL_READ, nullptr), ZUL_O_K);
  pid_t pid = fork();
  if (pid == 0) {
    usleep(100000);  // the parent waits in NiSelSelect by then
    NI_WAKEUP_CLIENT *own = nullptr;
    _exit(NiWakeupAttach(srv, &own) == ZUL_O_K && NiWakeupExec(own) == ZUL_O_K ? 0 : 1);
  }
  EXPECT_EQ(NiSelSelect(set, 5000), ZUL_O_K);
  EXPECT_EQ(NiSelNext(set, nullptr, nullptr, nullptr, nullptr), h);
  int status = -1;
  for (int i = 0; i < 500 && waitpid(pid, &status, WNOHANG) == 0; ++i) usleep(10000);
  if (status == -1) kill(pid, SIGKILL), waitpid(pid, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(NiWakeupCollect(&srv, &count), ZUL_O_K);
  EXPECT_EQ(count, 1);
  NiSelDestroySet(&set);
  // The closed server stays for its clients until the last detaches.
  NI_WAKEUP_SERVER *keep = srv;
  ASSERT_EQ(NiWakeupClose(&srv), ZUL_O_K);
  EXPECT_EQ(srv, nullptr);
  EXPECT_EQ(NiWakeupGetNiHdl(keep), -1);
  EXPECT_EQ(NiWakeupExec(c), NIECONN_BROKEN);
  EXPECT_EQ(NiWakeupAttach(keep, &c), NIECONN_REFUSED);
  EXPECT_EQ(NiWakeupDetach(&c), ZUL_O_K);
  EXPECT_EQ(c, nullptr);
  EXPECT_EQ(NiWakeupDetach(&c), NIEINVAL);
  EXPECT_EQ(NiWakeupDetach(&c2), ZUL_O_K);
}

}  // namespace
