// Handle select sets over real sockets: refusals, listeners with two sockets, buffered members
// that are ready without their socket (or whose socket fires for nothing the user sees), and a
// model check of many members changed at random while peers write.
#include <gtest/gtest.h>
#include <sys/un.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "ni/nibuf.h"
#include "ni/nixxsel.h"
#include "ni_conn.h"
#include "ni_raw_peer.h"

namespace {

using SelClock = std::chrono::steady_clock;

void SelBuffered(int hdl) {
  NI_PARAM_DATA d{NIHP_BUFSTAT, NI_DT_RAW, {}};
  d.value.raw_val = NI_BUFSTAT_ON;
  ASSERT_EQ(NiSetHdlParamEx(hdl, &d), ZUL_O_K);
}

// Every handle the set hands out after one select, with its flags as "rwc" letters.
std::vector<std::pair<int, std::string>> SelDrain(NISEL *set) {
  std::vector<std::pair<int, std::string>> out;
  for (int i = 0; i < 5000; ++i) {
    uint8_t r = 9, w = 9, c = 9;
    int h = NiSelNext(set, &r, &w, &c, nullptr);
    if (h < 0) break;
    out.push_back({h, std::string(r ? "r" : "") + (w ? "w" : "") + (c ? "c" : "")});
  }
  return out;
}

class NiSel : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(NiInit3(1200), ZUL_O_K);
    ASSERT_EQ(NiSelNewSet(&set_), ZUL_O_K);
  }
  void TearDown() override {
    EXPECT_EQ(NiSelDestroySet(&set_), ZUL_O_K);
    NiExit();
  }
  NISEL *set_ = nullptr;
};

TEST_F(NiSel, RefusalsAndLimits) {
  ni_test::Conn plain = ni_test::Connect(ni_test::Link::kUnix);
  ni_test::Conn buf = ni_test::Connect(ni_test::Link::kUnix);
  ni_test::Conn third = ni_test::Connect(ni_test::Link::kUnix);
  SelBuffered(buf.hdl);
  uint16_t port = 0;
  int lis = ni_test::Attach(ni_test::TcpSocket(0, false, 4, &port), true, NI_LISTEN);
  NISEL *other = nullptr, *small = nullptr;
  ASSERT_EQ(NiSelNewSet2(&small, 2), ZUL_O_K);
  ASSERT_EQ(NiSelNewSet(&other), ZUL_O_K);
  ASSERT_EQ(NiSelSet(other, buf.hdl, SISEL_READ, nullptr), ZUL_O_K);
  const int kBad = 3, kSelect = NISEL_IMPL_SELECT;
  NISEL *made = nullptr;
  struct {
    int got, want;
  } rows[] = {
      {NiSelSet(nullptr, plain.hdl, SISEL_READ, nullptr), NIEINVAL},
      {NiSelSelect(nullptr, 0), NIEINVAL},
      {NiSelNext(nullptr, nullptr, nullptr, nullptr, nullptr), NIEINVAL},
      {NiSelNewSet3(&made, 8, &kBad), NIEINVAL},
      {NiSelSet(set_, lis, SISEL_READ, nullptr), NIEINVAL},
      {NiSelSet(set_, plain.hdl, NISEL_CONNECT, nullptr), NIEINVAL},
      {NiSelSet(set_, buf.hdl, SISEL_READ, nullptr), NIEINVAL},  // already in `other`
      {NiSelSet(set_, 12345, SISEL_READ, nullptr), NIEINVAL},
      {NiSelSelect(set_, 0), NIETIMEOUT},
      {NiSelNext(set_, nullptr, nullptr, nullptr, nullptr), -1},
      {NiSelSet(small, plain.hdl, SISEL_READ, nullptr), ZUL_O_K},
      {NiSelSet(small, lis, NISEL_CONNECT, nullptr), ZUL_O_K},
      {NiSelSet(small, third.hdl, SISEL_READ, nullptr), NIEINVAL},
      {NiSelGetError(small), NIEINVAL},  // maxSockets reached
      {NiSelIsMember(small, lis), 1},
      {NiSelIsMember(set_, lis), 0},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i)
    EXPECT_EQ(rows[i].got, rows[i].want) << "row " << i;
  EXPECT_EQ(made, nullptr);
  ASSERT_EQ(NiSelNewSet3(&made, 8, &kSelect), ZUL_O_K);
  EXPECT_EQ(NiSelDestroySet(&made), ZUL_O_K);
  EXPECT_EQ(NiSelDestroySet(&other), ZUL_O_K);
  EXPECT_EQ(NiSelDestroySet(&small), ZUL_O_K);
  // The first set gone, the handle may join another.
  EXPECT_EQ(NiSelSet(set_, buf.hdl, SISEL_READ, nullptr), ZUL_O_K);
}

// A listener on a port and its local socket (NIP_UDS_PATH in a fresh directory) reports a
// connection from either socket under its one handle.
TEST_F(NiSel, ListenerWithIpAndLocalSocket) {
  char dir[] = "/tmp/nisel.XXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  const ni::Params saved = ni::gParams;
  std::string fmt = std::string(dir) + "/s%d";
  std::u16string path(fmt.begin(), fmt.end());
  NI_PARAM_DATA d{NIP_UDS_PATH, NI_DT_UCPTR, {}};
  d.value.ucptr_val = path.data();
  ASSERT_EQ(NiSetParamEx(&d), ZUL_O_K);
  int lis = -1, rc = NIESERV_USED;
  uint16_t port = 0;
  for (int attempt = 0; attempt < 3 && rc == NIESERV_USED; ++attempt) {
    // The local socket refuses port 0: a port the system just handed out.
    int fd = ni_test::TcpSocket(0, true, -1, &port);
    close(fd);
    rc = NiServerHandleEx(nullptr, &port, NI_PROTO_FAM_LOCAL | NI_PROTO_FAM_IPv4, 0, &lis);
  }
  ASSERT_EQ(rc, ZUL_O_K);
  int data = 7;
  ASSERT_EQ(NiSelSet(set_, lis, NISEL_CONNECT, &data), ZUL_O_K);
  sockaddr_in ia{};
  ia.sin_family = AF_INET;
  ia.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ia.sin_port = htons(port);
  sockaddr_un ua{};
  ua.sun_family = AF_UNIX;
  std::snprintf(ua.sun_path, sizeof ua.sun_path, "%s/s%d", dir, port);
  for (int round = 0; round < 2; ++round) {
    int c = socket(round == 0 ? AF_INET : AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(round == 0 ? connect(c, reinterpret_cast<sockaddr *>(&ia), sizeof ia)
                         : connect(c, reinterpret_cast<sockaddr *>(&ua), sizeof ua),
              0);
    ASSERT_EQ(NiSelSelect(set_, 2000), ZUL_O_K);
    uint8_t r = 9, w = 9, cn = 0;
    void *pd = nullptr;
    EXPECT_EQ(NiSelNext(set_, &r, &w, &cn, &pd), lis) << round;
    EXPECT_TRUE(cn == 1 && r == 0 && w == 0 && pd == &data);
    EXPECT_EQ(NiSelNext(set_, &r, &w, &cn, &pd), -1);
    int acc = -1;
    EXPECT_EQ(NiAcceptEx(lis, 2000, &acc, nullptr, nullptr), ZUL_O_K) << round;
    NiCloseHandle(acc);
    close(c);
  }
  EXPECT_EQ(NiSelClear(set_, lis, NISEL_CONNECT), ZUL_O_K);
  EXPECT_EQ(NiSelIsMember(set_, lis), 0);
  NiCloseHandle(lis);
  ni::gParams = saved;
  std::filesystem::remove_all(dir);
}

// Buffered members: ready from the buffer alone, pings consumed inside, a peer's close stored.
TEST_F(NiSel, BufferedMembers) {
  ni_test::Conn c = ni_test::Connect(ni_test::Link::kTcp, false);
  SelBuffered(c.hdl);
  ASSERT_EQ(NiSelSet(set_, c.hdl, SISEL_READ, nullptr), ZUL_O_K);
  // Two messages in one write: the select takes the first into the buffer; while it waits
  // there, the next select returns at once though the socket is not watched.
  ASSERT_TRUE(ni_test::PeerSend(c.peer, ni_test::Frame("one") + ni_test::Frame("two")));
  const std::vector<std::pair<int, std::string>> kRead{{c.hdl, "r"}};
  ASSERT_EQ(NiSelSelect(set_, 2000), ZUL_O_K);
  EXPECT_EQ(SelDrain(set_), kRead);
  auto t0 = SelClock::now();
  ASSERT_EQ(NiSelSelect(set_, 10000), ZUL_O_K);
  EXPECT_LT(SelClock::now() - t0, std::chrono::seconds(1));
  EXPECT_EQ(SelDrain(set_), kRead);
  for (const char *want : {"one", "two"}) {
    if (std::string(want) == "two") {
      ASSERT_EQ(NiSelSelect(set_, 2000), ZUL_O_K);
    }
    NIBUF *b = nullptr;
    ASSERT_EQ(NiBufReceive(c.hdl, &b, 0), ZUL_O_K);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(b->data), b->len), want);
    NiBufFree(&b);
  }
  NIBUF *b = nullptr;
  // A ping is answered inside: the select times out with the pong sent.
  ASSERT_TRUE(ni_test::PeerSend(c.peer, ni_test::Frame(ni_test::Bytes("NI_PING\0", 8))));
  t0 = SelClock::now();
  EXPECT_EQ(NiSelSelect(set_, 200), NIETIMEOUT);
  EXPECT_GE(SelClock::now() - t0, std::chrono::milliseconds(150));
  EXPECT_EQ(ni_test::PeerRecv(c.peer, 12), ni_test::Frame(ni_test::Bytes("NI_PONG\0", 8)));
  // Write interest is reported once the socket takes data.
  ASSERT_EQ(NiSelSet(set_, c.hdl, SISEL_WRITE, nullptr), ZUL_O_K);
  ASSERT_EQ(NiSelSelect(set_, 2000), ZUL_O_K);
  EXPECT_EQ(SelDrain(set_), (std::vector<std::pair<int, std::string>>{{c.hdl, "w"}}));
  ASSERT_EQ(NiSelClear(set_, c.hdl, SISEL_WRITE), ZUL_O_K);
  // The peer's close: reported ready, then the receive gives the stored error.
  close(c.peer);
  c.peer = -1;
  ASSERT_EQ(NiSelSelect(set_, 2000), ZUL_O_K);
  EXPECT_EQ(SelDrain(set_).size(), 1u);
  EXPECT_EQ(NiBufReceive(c.hdl, &b, 0), NIECONN_BROKEN);
  // Closing a member takes it out of the set.
  NiCloseHandle(c.hdl);
  EXPECT_EQ(NiSelSelect(set_, 0), NIETIMEOUT);
}

// Many members, plain and buffered, added, changed and removed at random while peers write:
// each write is reported once, and only for members that wait for reading.
TEST_F(NiSel, ModelOfRandomChanges) {
  constexpr int kN = 1000;
  std::vector<ni_test::Conn> conns;
  for (int i = 0; i < kN; ++i) {
    conns.push_back(ni_test::Connect(ni_test::Link::kUnix, false));
    ASSERT_GE(conns.back().hdl, 0) << i;
    if (i % 2 == 1) SelBuffered(conns.back().hdl);
  }
  std::vector<uint8_t> mode(kN, 0);  // 0 not a member, else SISEL_ bits
  std::vector<int> pending(kN, 0);   // messages written and not yet taken
  std::mt19937 rng(21);
  for (int round = 0; round < 30; ++round) {
    // Every fourth round nine in ten members leave, so that the socket set compacts.
    const bool heavy = round % 4 == 3;
    for (int k = 0; k < (heavy ? kN : 600); ++k) {
      int i = heavy ? k : static_cast<int>(rng() % kN);
      // Leave, read, read and write.
      int m = static_cast<int>(heavy ? (rng() % 10 != 0 ? 0 : 1) : rng() % 3);
      if (m == 0) {
        if (mode[i] != 0) {
          ASSERT_EQ(NiSelClear(set_, conns[i].hdl, SISEL_READ | SISEL_WRITE), ZUL_O_K);
        }
        mode[i] = 0;
        continue;
      }
      uint8_t want = m == 1 ? SISEL_READ : SISEL_READ | SISEL_WRITE;
      if ((mode[i] & ~want) != 0) {
        ASSERT_EQ(NiSelClear(set_, conns[i].hdl, SISEL_WRITE), ZUL_O_K);
      }
      ASSERT_EQ(NiSelSet(set_, conns[i].hdl, want, &conns[i]), ZUL_O_K);
      mode[i] = want;
    }
    for (int k = 0; k < 50; ++k) {
      int i = static_cast<int>(rng() % kN);
      if (pending[i] != 0) continue;
      ASSERT_TRUE(ni_test::PeerSend(conns[i].peer, ni_test::Frame("x")));
      pending[i] = 1;
    }
    std::set<int> want, got;
    for (int i = 0; i < kN; ++i)
      if (mode[i] != 0 && pending[i] != 0) want.insert(i);
    int rc = NiSelSelect(set_, want.empty() ? 0 : 2000);
    if (!want.empty()) {
      ASSERT_EQ(rc, ZUL_O_K) << round;
    }
    for (int s = 0; s < 5000; ++s) {
      uint8_t r = 0, w = 0, c = 0;
      void *pd = nullptr;
      int h = NiSelNext(set_, &r, &w, &c, &pd);
      if (h < 0) break;
      auto *conn = static_cast<ni_test::Conn *>(pd);
      ASSERT_EQ(conn->hdl, h);
      if (r != 0) got.insert(static_cast<int>(conn - conns.data()));
    }
    EXPECT_EQ(got, want) << round;
    for (int i : got) {
      char buf[8];
      int n = 0;
      ASSERT_EQ(NiRead(conns[i].hdl, buf, sizeof buf, 0, &n), ZUL_O_K) << i;
      pending[i] = 0;
    }
  }
}

// A wake-up from another thread ends a select that waits for ever.
TEST_F(NiSel, WakeupEndsSelect) {
  NI_WAKEUP_SERVER *srv = nullptr;
  NI_WAKEUP_CLIENT *cl = nullptr;
  ASSERT_EQ(NiWakeupOpen(&srv), ZUL_O_K);
  ASSERT_EQ(NiWakeupAttach(srv, &cl), ZUL_O_K);
  int h = NiWakeupGetNiHdl(srv);
  ASSERT_EQ(NiSelSet(set_, h, SISEL_READ, nullptr), ZUL_O_K);
  std::thread t([cl] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    NiWakeupExec(cl);
  });
  EXPECT_EQ(NiSelSelect(set_, -1), ZUL_O_K);
  t.join();
  EXPECT_EQ(NiSelNext(set_, nullptr, nullptr, nullptr, nullptr), h);
  int count = 0;
  EXPECT_EQ(NiWakeupCollect(&srv, &count), ZUL_O_K);
  EXPECT_EQ(NiSelClear(set_, h, SISEL_READ), ZUL_O_K);
  NiWakeupDetach(&cl);
  NiWakeupClose(&srv);
}

}  // namespace
