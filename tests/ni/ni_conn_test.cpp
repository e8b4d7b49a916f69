// Connect, listen and accept over real loopback sockets: the IP and local socket matrix, the
// port search, the local socket files, refusals and time-outs. Ports come from the system (port 0
// read back); a port search runs in a row of ports next to one the system handed out, and local
// sockets live in a fresh directory.
#include "ni_conn.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "ni/nixxi_con.h"
#include "zul_err.h"

namespace {

std::u16string ConnDetail() { return ErrGetFld(ERR_FLD_DETAIL); }
std::u16string U16(const std::string &s) { return std::u16string(s.begin(), s.end()); }
void SetParam(int no, int type, uint32_t v) { ASSERT_EQ(ni_test::SetParam(no, type, v), ZUL_O_K); }

// One byte each way between two handles proves they are the two ends of one connection.
void ExpectPair(int a, int b) {
  SI_SOCK sa, sb;
  ASSERT_EQ(NiGetSiSocket(a, &sa), ZUL_O_K);
  ASSERT_EQ(NiGetSiSocket(b, &sb), ZUL_O_K);
  for (auto [from, to] : {std::pair{&sa, &sb}, std::pair{&sb, &sa}}) {
    char c = 'x', got = 0;
    size_t done = 0;
    ASSERT_EQ(SiSend(from, &c, 1, 0, &done), SI_OK);
    ASSERT_EQ(SiPeek(to, SI_PEEK_RD, 2000), SI_OK);
    ASSERT_EQ(SiRecv(to, &got, 1, 0, &done), SI_OK);
    EXPECT_EQ(got, 'x');
  }
}

// Binds a TCP socket to the any address and port (0: the system's choice) and releases it:
// the port bound, or 0 when it was taken.
uint16_t BindAny(uint16_t port) {
  uint16_t bound = 0;
  int fd = ni_test::TcpSocket(port, true, -1, &bound);
  if (fd >= 0) close(fd);
  return fd >= 0 ? bound : 0;
}

// The first of n ports in a row that are free just now, starting at one the system handed out;
// a second row if a port of the first is taken, 0 if that one is too.
uint16_t FreeRow(int n) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    uint16_t lo = BindAny(0);
    bool free = lo != 0 && lo + n <= 65535;
    for (int i = 0; free && i < n; ++i) free = BindAny(static_cast<uint16_t>(lo + i)) != 0;
    if (free) return lo;
  }
  return 0;
}

int CountState(int stat) {
  int n = 0;
  for (int i = 0; i < ni::gMaxHdls; ++i) n += ni::gTab[i].mType == stat;
  return n;
}

class NiConn : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(NiInit3(64), ZUL_O_K);
    saved_ = ni::gParams;
    char tmpl[] = "/tmp/niconn.XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
    std::u16string path = U16(dir_ + "/.zulstream%d");
    NI_PARAM_DATA d{NIP_UDS_PATH, NI_DT_UCPTR, {}};
    d.value.ucptr_val = path.data();
    ASSERT_EQ(NiSetParamEx(&d), ZUL_O_K);
    ErrClear();
  }
  void TearDown() override {
    NiExit();
    ni::gParams = saved_;
    ni::gConnectLocal = 0;
    std::filesystem::remove_all(dir_);
  }
  std::string Uds(uint16_t port) const { return dir_ + "/.zulstream" + std::to_string(port); }
  static void Range(uint16_t lo, uint16_t hi, bool inc) {
    SetParam(NIP_PORTRANGE, NI_DT_BOOL, 1);
    SetParam(NIP_MINPORT, NI_DT_USHORT, lo);
    SetParam(NIP_MAXPORT, NI_DT_USHORT, hi);
    SetParam(NIP_INC_SERV_NO, NI_DT_BOOL, inc);
  }
  // A listener on 127.0.0.1 when withAddr, else on any; *port in and out. Port 0 is the system's
  // choice; with the local socket bit, which refuses port 0, a port the system just handed out,
  // and a second one if that was taken meanwhile.
  static int Listen(int protocol, uint16_t *port, bool withAddr = false) {
    const bool pick = *port == 0 && (protocol & NI_PROTO_FAM_LOCAL) != 0;
    for (int attempt = 0;; ++attempt) {
      uint16_t p = pick ? BindAny(0) : *port;
      int h = -1;
      int rc = NiServerHandleEx(withAddr ? &NI_ADDR_LOCAL_I4_INIT : nullptr, &p, protocol, 0, &h);
      if (rc == NIESERV_USED && pick && attempt == 0) continue;
      if (rc == ZUL_O_K) *port = p;
      return rc == ZUL_O_K ? h : rc;
    }
  }
  // Connects to the listener and accepts; *server gets the accepted handle.
  static int Connect(int lis, uint16_t port, int protocol, int *server, NI_NODEADDR *peer) {
    int c = -1;
    int rc = NiHandleForAddrEx(&NI_ADDR_LOCAL_I4_INIT, port, protocol, 0, 0, 2000, nullptr, &c);
    if (rc != ZUL_O_K) return rc;
    uint16_t peerPort = 0;
    EXPECT_EQ(NiAcceptEx(lis, 2000, server, peer, &peerPort), ZUL_O_K);
    return c;
  }

  ni::Params saved_;
  std::string dir_;
};

TEST_F(NiConn, ProtocolMatrixOfListenerAndClient) {
  struct Row {
    int lisProto;
    bool lisAddr;
    int cliProto, rc, cliHdlProto;
  } rows[] = {
      {0, false, 0, ZUL_O_K, NI_PROTO_FAM_LOCAL},  // local partner: UDS first
      {0, false, 2, ZUL_O_K, NI_PROTO_FAM_IPv4},   // IP asked for
      {0, false, 1, ZUL_O_K, NI_PROTO_FAM_LOCAL},
      {2, false, 0, ZUL_O_K, NI_PROTO_FAM_IPv4},  // no UDS listener: silent fall-back
      {2, false, 1, NIECONN_REFUSED, 0},          // UDS only, and there is none
      {3, true, 1, ZUL_O_K, NI_PROTO_FAM_LOCAL},  // UDS and IPv4 on the loopback address
      {3, true, 2, ZUL_O_K, NI_PROTO_FAM_IPv4},
  };
  for (const Row &r : rows) {
    SCOPED_TRACE(testing::Message() << r.lisProto << "/" << r.cliProto);
    uint16_t port = 0;
    int lis = Listen(r.lisProto, &port, r.lisAddr);
    ASSERT_GE(lis, 0);
    EXPECT_EQ(NiGetHdlProto(lis), r.lisProto == 0 ? 3 : r.lisProto);
    int srv = -1;
    NI_NODEADDR peer{};
    int c = Connect(lis, port, r.cliProto, &srv, &peer);
    if (r.rc != ZUL_O_K) {
      EXPECT_EQ(c, r.rc);
      EXPECT_EQ(ConnDetail(),
                u"NiIConnect: UDS connect only to localhost:" + U16(std::to_string(port)));
      EXPECT_EQ(CountState(NI_INITIAL_CON), 1);  // left for NiCloseAll
      NiCloseAll();
      continue;
    }
    ASSERT_GE(c, 0);
    EXPECT_EQ(NiGetHdlProto(c), r.cliHdlProto);
    EXPECT_EQ(NiHdlGetConStat(c), NI_CONNECTED);
    EXPECT_EQ(NiHdlGetConStat(srv), NI_ACCEPTED);
    NI_NODEADDR saved{};
    uint16_t savedPort = 0;
    ASSERT_EQ(NiHdlGetSavedPeer(srv, &saved, &savedPort), ZUL_O_K);
    EXPECT_EQ(std::memcmp(&saved, &peer, 16), 0);
    bool local = r.cliHdlProto == NI_PROTO_FAM_LOCAL;  // a local peer has no port
    EXPECT_EQ(std::memcmp(&peer, local ? &NI_ADDR_LOCAL_INIT : &NI_ADDR_LOCAL_I4_INIT, 16), 0);
    EXPECT_EQ(savedPort != 0, !local);
    ExpectPair(c, srv);
    for (int h : {c, srv, lis}) EXPECT_EQ(NiCloseHandle(h), ZUL_O_K);
  }
}

TEST_F(NiConn, SocketFileOfAListener) {
  struct stat st {};
  // The listener's name has its IP port and its file's path. NiCloseHandle removes the file,
  // NiCloseHandleKP keeps it; a new listener replaces a kept one, and a missing file sends clients
  // over IP.
  uint16_t port = 0, named = 0;
  char16_t path[NI_UDS_PATH_LEN];
  for (auto closeFn : {NiCloseHandle, NiCloseHandleKP}) {
    int lis = Listen(0, &port);
    ASSERT_GE(lis, 0);
    ASSERT_EQ(stat(Uds(port).c_str(), &st), 0);
    EXPECT_TRUE(S_ISSOCK(st.st_mode));
    ASSERT_EQ(NiHdlGetName(lis, nullptr, &named, path), ZUL_O_K);
    EXPECT_EQ(named, port);
    EXPECT_EQ(std::u16string(path), U16(Uds(port)));
    EXPECT_EQ(closeFn(lis), ZUL_O_K);
    EXPECT_EQ(stat(Uds(port).c_str(), &st) == 0, closeFn == NiCloseHandleKP);
  }
  int lis = Listen(0, &port);
  ASSERT_GE(lis, 0);
  ASSERT_EQ(unlink(Uds(port).c_str()), 0);
  int c = -1;
  ASSERT_EQ(NiHandle(u"127.0.0.1", U16(std::to_string(port)).c_str(), 2000, &c), ZUL_O_K);
  EXPECT_EQ(NiGetHdlProto(c), NI_PROTO_FAM_IPv4);
}

TEST_F(NiConn, ObstaclesAtTheSocketPath) {
  struct Row {
    bool dir;  // a non-empty directory, else a regular file
    int protocol, rc, proto;
  } rows[] = {
      {false, 3, ZUL_O_K, 3},      // a stale file is removed
      {true, 3, NIESERV_USED, 0},  // must bind the UDS: fails
      {true, 2 | 0, ZUL_O_K, 2},   // IP only was asked for
      {true, 0, ZUL_O_K, 2},       // the UDS is given up, IP serves alone
  };
  for (const Row &r : rows) {
    SCOPED_TRACE(r.protocol);
    uint16_t port = BindAny(0);
    std::string path = Uds(port);
    if (r.dir) {
      std::filesystem::create_directory(path);
      std::ofstream(path + "/x") << "x";
    } else {
      std::ofstream(path) << "x";
    }
    uint16_t p = port;
    ErrClear();
    int lis = Listen(r.protocol, &p, r.protocol == 3);
    if (r.rc != ZUL_O_K) {
      EXPECT_EQ(lis, r.rc);
      EXPECT_EQ(ConnDetail().rfind(u"NiIBindSocket: could not delete file '" + U16(path), 0), 0u);
    } else {
      ASSERT_GE(lis, 0);
      EXPECT_EQ(NiGetHdlProto(lis), r.proto);
      NiCloseHandle(lis);
    }
    std::filesystem::remove_all(path);
  }
}

TEST_F(NiConn, PortSearchStepsWrapsAndRunsOut) {
  for (bool inc : {false, true}) {
    SCOPED_TRACE(inc);
    uint16_t lo = FreeRow(3);
    ASSERT_NE(lo, 0);
    Range(lo, lo + 2, inc);
    const int edge = inc ? lo : lo + 2, step = inc ? 1 : -1;
    // Without NIP_CONT_IN_RANGE each search starts at the range's edge.
    SetParam(NIP_CONT_IN_RANGE, NI_DT_BOOL, 0);
    uint16_t a = NI_FINDSERV, b = NI_FINDSERV, c = NI_FINDSERV, d = NI_FINDSERV, none = NI_FINDSERV;
    int ha = Listen(2, &a), hb = Listen(2, &b);
    EXPECT_EQ(a, edge);
    EXPECT_EQ(b, edge + step);
    // With it, a search goes on after the last port taken, past the end to the start again.
    SetParam(NIP_CONT_IN_RANGE, NI_DT_BOOL, 1);
    NiCloseHandle(ha);
    int hc = Listen(2, &c), hd = Listen(2, &d);
    EXPECT_EQ(c, edge + 2 * step);
    EXPECT_EQ(d, edge);
    ErrClear();
    EXPECT_EQ(Listen(2, &none), NIENOFREEPORT);
    EXPECT_EQ(ConnDetail().find(u"no free port for hdl"), 9u);
    for (int x : {hb, hc, hd}) NiCloseHandle(x);
  }
  // Without a range the search runs down from 65000 and a second one continues below.
  SetParam(NIP_PORTRANGE, NI_DT_BOOL, 0);
  SetParam(NIP_INC_SERV_NO, NI_DT_BOOL, 0);
  uint16_t a = NI_FINDSERV, b = NI_FINDSERV;
  ASSERT_GE(Listen(2, &a), 0);
  ASSERT_GE(Listen(2, &b), 0);
  EXPECT_LE(a, 65000);
  EXPECT_LT(b, a);
}

TEST_F(NiConn, SearchSkipsAPortWhoseSocketPathIsTaken) {
  // A search that must bind the local socket moves on when another owns its path: with the paths
  // of both ends taken, it ends in the middle wherever it starts; with all three, it gives up.
  uint16_t lo = FreeRow(3);
  ASSERT_NE(lo, 0);
  Range(lo, lo + 2, false);
  for (int p : {lo + 0, lo + 2}) std::filesystem::create_directories(Uds(p) + "/busy");
  uint16_t port = NI_FINDSERV;
  int lis = -1;
  ASSERT_EQ(NiServerHandleEx(&NI_ADDR_LOCAL_I4_INIT, &port, 3, 0, &lis), ZUL_O_K);
  EXPECT_EQ(port, lo + 1);
  NiCloseHandle(lis);
  std::filesystem::create_directories(Uds(lo + 1) + "/busy");
  port = NI_FINDSERV;
  EXPECT_EQ(NiServerHandleEx(&NI_ADDR_LOCAL_I4_INIT, &port, 3, 0, &lis), NIESERV_USED);
  EXPECT_EQ(lis, -1);
  EXPECT_EQ(CountState(NI_INITIAL_LIS), 0);
}

TEST_F(NiConn, RefusalsQuoteTheCondition) {
  uint16_t p0 = 0, p1 = 0;
  int lis = Listen(2, &p1);
  ASSERT_GE(lis, 0);
  uint16_t p2 = p1;  // refused before any bind
  int h = 7;
  std::u16string longServ(32, u'1'), longHost(64, u'a');
  NI_NODEADDR addr;
  struct Row {
    std::function<int()> call;
    int rc;
    std::u16string detail;
    bool setsHandle = true;
  } rows[] = {
      {[&] { return NiHandle(nullptr, u"1", 0, &h); }, NIEINVAL,
       u"NiHandle: parameter invalid (pHost == NULL)"},
      {[&] { return NiRawHandle(u"x", nullptr, 0, &h); }, NIEINVAL,
       u"NiRawHandle: parameter invalid (pServ == NULL)"},
      {[&] { return NiHandleForProto(u"x", u"1", 8, 0, &h); }, NIEINVAL,
       u"NiHandleForProto: parameter invalid ((protocol & ~(NI_PROTO_FAM_UNSPEC | "
       u"NI_PROTO_FAM_LOCAL | NI_PROTO_FAM_IPv4 | NI_PROTO_FAM_IPv6)) != 0)"},
      {[&] { return NiHandleForAddr(nullptr, 1, 0, &h); }, NIEINVAL,
       u"NiHandleForAddr: parameter invalid (pNodeAddr == NULL)"},
      {[&] { return NiHandle(u"/H/r/S/1", u"1", 0, &h); }, NIEHOST_UNKNOWN,
       u"NiBufIConnect: host invalid or unknown 'r' (rc=-2)"},
      {[&] { return NiServerHandleEx(nullptr, &p1, 1, 0, &h); }, NIEINVAL,
       u"NiServerHandleEx: parameter invalid (protocol == NI_PROTO_FAM_LOCAL)"},
      {[&] { return NiServerHandleEx(nullptr, &p0, 3, 0, &h); }, NIEINVAL,
       u"NiServerHandleEx: parameter invalid ((protocol & NI_PROTO_FAM_LOCAL) != 0 && *pServNo "
       u"== NI_FINDSERV_OS)"},
      {[&] { return NiServerHandleEx(nullptr, &p1, 2, 0, &h); }, NIESERV_USED, u""},
      {[&] { return NiServerHandle(longServ.c_str(), &h); }, NIEINVAL,
       u"NiServerHandle: parameter invalid (strlenU(pServName) >= NI_MAX_SERVNAME_LEN)"},
      {[&] { return NiServerHandleEx(&NI_ADDR_ANY_I4_INIT, &p2, 5, 0, &h); }, NIEINVAL,
       u"NiIListen: invalid protocol 5 (1/0)"},
      {[&] { return NiAcceptEx(-1, 0, &h, nullptr, nullptr); }, NIEINVAL,
       u"NiAcceptEx2: invalid hdl -1"},
      {[&] { return NiMyAddrCheck(longHost.c_str(), &addr); }, NIEINVAL,
       u"NiMyAddrCheck: parameter invalid (strlenU(pMyHostName) >= NI_MAX_HOSTNAME_LEN)", false},
      {[&] { return NiMyAddrVerify(u"localhost", 100, &addr); }, NIEMYHOST_VERIFY,
       u"NiIMyAddrVerify: verify own hostname 'localhost' failed", false},
      {[&] { return NiSetTCP_NoDelay(lis, 1); }, NIEINVAL,
       u"NiSetTCP_NoDelay: parameter invalid (pHdl->mType == NI_LISTEN)", false},
      {[&] { return NiHdlGetSavedPeer(lis, &addr, &p0); }, NIEINVAL,
       u"NiHdlGetSavedPeer: parameter invalid (pHdl->mType == NI_LISTEN || pHdl->mType == "
       u"NI_RI_LISTEN)",
       false},
  };
  for (const Row &r : rows) {
    SCOPED_TRACE(std::string(r.detail.begin(), r.detail.end()));
    ErrClear();
    h = 7;
    EXPECT_EQ(r.call(), r.rc);
    if (r.setsHandle) {
      EXPECT_EQ(h, -1);
    }
    if (!r.detail.empty()) {
      EXPECT_EQ(ConnDetail(), r.detail);
    }
  }
  EXPECT_EQ(CountState(NI_INITIAL_LIS) + CountState(NI_INITIAL_CON), 0);
  EXPECT_EQ(NiMyAddrCheck(u"localhost", &addr), ZUL_O_K);
  EXPECT_TRUE(ni::IsLoopback(addr));
}

TEST_F(NiConn, RefusedPortAndConnectsThatStayPending) {
  // A port nobody listens on: refused, with the partner in the text.
  uint16_t port = 0;
  int fd = ni_test::TcpSocket(0, false, -1, &port);
  ASSERT_GE(fd, 0);
  int h = 7;
  EXPECT_EQ(NiHandleForAddrEx(&NI_ADDR_LOCAL_I4_INIT, port, 2, 0, 0, 1000, nullptr, &h),
            NIECONN_REFUSED);
  EXPECT_EQ(h, -1);
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_TEXT)),
            u"partner '127.0.0.1:" + U16(std::to_string(port)) + u"' not reached");
  // Internal connects of time-out 0 may stay pending (one that completed at once is set back to
  // look so); the socket mapping, a write and a read each complete one first.
  uint16_t lisPort = 0;
  int lis = Listen(2, &lisPort);
  ASSERT_GE(lis, 0);
  char buf[4] = "abc";
  struct Row {
    uint16_t port;
    std::function<int(int)> use;
    int rc, stat;
  } rows[] = {
      {lisPort, [](int c) { return NiHdlToSock(c, &c); }, ZUL_O_K, NI_CONNECTED},
      {lisPort, [&](int c) { return NiWrite(c, buf, 3, 2000, &c); }, ZUL_O_K, NI_CONNECTED},
      {port, [&](int c) { return NiRead(c, buf, 3, 2000, &c); }, NIECONN_REFUSED, NI_CONN_WAIT},
  };
  for (const Row &r : rows) {
    NITAB *p = nullptr;
    int rc = NiIConnect(&NI_ADDR_LOCAL_I4_INIT, htons(r.port), 2, 0, nullptr, &p);
    if (rc == r.rc && r.rc != ZUL_O_K) continue;  // refused at once
    ASSERT_TRUE(rc == ZUL_O_K || rc == NIECONN_PENDING) << rc;
    if (rc == ZUL_O_K) NiISetStat(p, NI_CONN_WAIT, "test");
    EXPECT_EQ(r.use(p->handle), r.rc) << r.stat;
    EXPECT_EQ(NiHdlGetConStat(p->handle), r.stat);
    NiCloseHandle(p->handle);
  }
  // A backlog of 0 takes one connection; the next SYNs wait, and the connect is given up.
  ASSERT_EQ(listen(fd, 0), 0);
  int refused = 0, connected[8];
  for (int n = 0; n < 8 && refused == 0; ++n) {
    int rc = NiHandleForAddrEx(&NI_ADDR_LOCAL_I4_INIT, port, 2, 0, 0, 200, nullptr, &connected[n]);
    if (rc == NIECONN_REFUSED) refused = n + 1;
  }
  ASSERT_NE(refused, 0) << "every connect completed";
  EXPECT_EQ(ConnDetail(), u"NiBufIConnect: connection pending after 200ms");
  EXPECT_EQ(CountState(NI_CONN_WAIT), 0);  // the pending handle was closed
  close(fd);
}

TEST_F(NiConn, AcceptTimesOutOnOneOrTwoSockets) {
  for (int protocol : {2, 0}) {
    uint16_t port = 0;
    int lis = Listen(protocol, &port), h = 7;
    ASSERT_GE(lis, 0);
    EXPECT_EQ(NiAcceptEx(lis, 0, &h, nullptr, nullptr), NIETIMEOUT);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(NiAcceptEx(lis, 150, &h, nullptr, nullptr), NIETIMEOUT);
    auto took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took, std::chrono::milliseconds(140));
    EXPECT_LT(took, std::chrono::milliseconds(2000));
    EXPECT_EQ(h, -1);
  }
}

TEST_F(NiConn, RestrictionBlocksOtherHostsAndKeepsTheEntry) {
  ni::gConnectLocal = 1;
  NI_NODEADDR other;
  ASSERT_EQ(NiStrToAddr(u"192.0.2.1", &other), ZUL_O_K);
  int h = 7;
  EXPECT_EQ(NiHandleForAddr(&other, 1, 100, &h), NIEINVAL);
  EXPECT_EQ(ConnDetail(), u"NiIConnect: blocked connection to 192.0.2.1 (ZUL_CONNECT_RESTRICTION)");
  EXPECT_EQ(CountState(NI_INITIAL_CON), 1);
  uint16_t port = 0;
  int lis = Listen(2, &port), srv = -1;
  EXPECT_GE(Connect(lis, port, 2, &srv, nullptr), 0);  // this host stays reachable
  NiCloseAll();
  EXPECT_EQ(CountState(NI_INITIAL_CON), 0);
}

TEST_F(NiConn, DefaultsAndOptionsOfSockets) {
  uint16_t port = 0;
  int lis = Listen(2, &port), srv = -1;
  int c = Connect(lis, port, 2, &srv, nullptr);
  ASSERT_GE(c, 0);
  // The defaults of both ends (the send buffer at least as large), then a value set and read back.
  struct Row {
    int (*set)(int, int);
    int (*get)(int, int *);
    int byDefault, value;
  } rows[] = {{NiSetTCP_NoDelay, NiGetTCP_NoDelay, 1, 0},
              {NiSetSO_KeepAlive, NiGetSO_KeepAlive, 0, 1},
              {NiSetSO_ReuseAddr, NiGetSO_ReuseAddr, 1, 0},
              {NiSetSO_RcvBuf, NiGetSO_RcvBuf, -1, 65536},
              {NiSetSO_SndBuf, NiGetSO_SndBuf, 32768, 65536}};
  for (const Row &r : rows) {
    int v = -1, row = &r - rows;
    for (int h : {c, srv}) {
      EXPECT_EQ(r.get(h, &v), ZUL_O_K) << row;
      if (r.byDefault >= 0) {
        EXPECT_TRUE(r.byDefault > 1 ? v >= r.byDefault : v == r.byDefault);
      }
    }
    EXPECT_EQ(r.set(c, r.value), ZUL_O_K) << row;
    EXPECT_EQ(r.get(c, &v), ZUL_O_K) << row;
    EXPECT_EQ(v, r.value) << row;
  }
  int on = 0, secs = 0;
  EXPECT_EQ(NiSetSO_Linger(c, 1, 5), ZUL_O_K);
  EXPECT_EQ(NiGetSO_Linger(c, &on, &secs), ZUL_O_K);
  EXPECT_EQ(on * 100 + secs, 105);
  EXPECT_EQ(NiSetSO_ReuseAddr(lis, 0), ZUL_O_K);  // the one pair a listener takes
  EXPECT_EQ(NiGetSO_ReuseAddr(lis, &on), ZUL_O_K);
  EXPECT_EQ(on, 0);
}

TEST(NiConvSiAddr, FamiliesAndBufferLimits) {
  ZUL_RAW v4[4] = {10, 1, 2, 3}, path[108] = "/tmp/x";
  NI_NODEADDR addr;
  uint16_t port = 0;
  ZUL_UTF16 text[108];
  ASSERT_EQ(NiConvSiAddr(SI_AF_INET, v4, 4, htons(3200), &addr, &port, nullptr, 0), ZUL_O_K);
  EXPECT_EQ(NiTransNodeToIPv4(&addr), htonl(0x0a010203));
  EXPECT_EQ(port, 3200);
  ASSERT_EQ(NiConvSiAddr(SI_AF_UNIX, path, 108, 0, &addr, &port, text, 108), ZUL_O_K);
  EXPECT_EQ(std::u16string(text), u"/tmp/x");
  EXPECT_EQ(port, 0);
  EXPECT_EQ(NiConvSiAddr(SI_AF_INET6, v4, 4, 0, &addr, &port, nullptr, 0), NIEINVAL);
  EXPECT_EQ(NiConvSiAddr(SI_AF_UNIX, path, 108, 0, &addr, &port, text, 107), NIEINVAL);
  sockaddr_in sa{};
  sa.sin_family = AF_INET;
  sa.sin_port = htons(7);
  sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(NiConvSiAddr2(&sa, sizeof sa, &addr, &port, nullptr, 0), ZUL_O_K);
  EXPECT_EQ(std::memcmp(&addr, &NI_ADDR_LOCAL_I4_INIT, 16), 0);
  EXPECT_EQ(port, 7);
}

TEST(NiConnIPv6, LoopbackInAChildWithIPv6Active) {
  if (int err = ni_test::Loopback6Errno(); err != 0)
    GTEST_SKIP() << "::1 can't bind: " << std::strerror(err);
  // The child answers the number of the first step that failed.
  EXPECT_EQ(
      ni_test::InChild([] {
        setenv("ZUL_IPv6_ACTIVE", "1", 1);
        uint16_t port = 0, peerPort = 0;
        int lis = -1, c = -1, srv = -1;
        NI_NODEADDR peer{};
        if (NiInit() != ZUL_O_K || NiIsIPv6Activated() != 1) return 1;
        if (NiServerHandleEx(&NI_ADDR_LOCAL_I6_INIT, &port, 4, 0, &lis) != 0) return 2;
        if (NiHandleForAddrEx(&NI_ADDR_LOCAL_I6_INIT, port, 4, 0, 0, 2000, nullptr, &c)) return 3;
        if (NiAcceptEx(lis, 2000, &srv, &peer, &peerPort) != ZUL_O_K) return 4;
        return std::memcmp(&peer, &NI_ADDR_LOCAL_I6_INIT, 16) != 0 || NiGetHdlProto(c) != 4 ? 5 : 0;
      }),
      0);
}

}  // namespace
