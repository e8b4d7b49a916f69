// Route strings into route messages byte for byte, entries read back (and refused when the
// message lies), the last hop replaced, the table form; connects through routers on plain
// sockets, unbuffered and buffered, and their refusals.
#include <gtest/gtest.h>

#include <arpa/inet.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <string>

#include "ni/nibuf.h"
#include "ni/nixxhs.h"
#include "ni/nixxri.h"
#include "ni_router_peer.h"
#include "trace_capture.h"
#include "zul_nisel.h"

namespace {

using RtBytes = std::string;
using ni::route::kHdrLen;

class NiRoute : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(NiInit3(16), ZUL_O_K); }
  void TearDown() override { NiExit(); }
  ni_iroute msg_{};
};

RtBytes RtArea(const ni_iroute &r) {
  return RtBytes(reinterpret_cast<const char *>(r.data + kHdrLen), r.areaLen());
}

std::u16string RtHops(int n, const std::u16string &host) {
  std::u16string s;
  for (int i = 0; i < n; ++i) s += u"/H/" + host;
  return s;
}

TEST_F(NiRoute, StringsToMessages) {
  using namespace std::string_literals;
  const std::u16string long50(50, u'h');
  struct {
    std::u16string host;
    int rc;
    RtBytes area;
  } rows[] = {
      {u"/H/r1/H/r2/H/target", ZUL_O_K, "r1\0003299\0\0r2\0003299\0\0target\0003200\0\0"s},
      {u"/H/r1/W/pw/H/target/P/other", ZUL_O_K, "r1\0003299\0\0target\0003200\0pw\0"s},
      {u"/H/r1/P/a/b/S/3298/H/t/S/3201", ZUL_O_K, "r1\0003298\0a/b\0t\0003201\0\0"s},
      {u"/H/r1/Q/x/H/t/", ZUL_O_K, "r1/Q/x\0003299\0\0t/\0003200\0\0"s},
      {u"host1", ZUL_O_K, "host1\0003200\0\0"s},
      {u"/H/h\u00e9/H/t", ZUL_O_K, "h#\0003299\0\0t\0003200\0\0"s},
      {u"/H/", NIEINVAL, ""},
      {u"/H//H/t", NIEINVAL, ""},
      {u"/H/a/S/1" + RtHops(254, u"b"), ZUL_O_K, ""},
      {RtHops(256, u"b"), NIETOO_SMALL, ""},
      {RtHops(200, long50), NIETOO_SMALL, ""},
  };
  for (const auto &r : rows) {
    int rc = NiBufIHostToRoute(r.host.c_str(), u"3200", 1, nullptr, &msg_);
    EXPECT_EQ(rc, r.rc) << r.host.size();
    if (rc == ZUL_O_K && !r.area.empty()) {
      EXPECT_EQ(RtArea(msg_), r.area);
    }
  }
  // The header of the first row, with the talk mode raw.
  ASSERT_EQ(NiBufIHostToRoute(rows[0].host.c_str(), u"3200", 1, nullptr, &msg_), ZUL_O_K);
  const RtBytes len = "\0\0\0\x1f"s;
  EXPECT_EQ(RtBytes(reinterpret_cast<char *>(msg_.data), kHdrLen),
            "NI_ROUTE\0\x02\x28\x03\x01\0\0\x03"s + len + "\0\0\0\0"s);
}

TEST_F(NiRoute, EntriesReadBackAndLiesRefused) {
  ASSERT_EQ(NiBufIHostToRoute(u"/H/127.0.0.1/S/3298/P/pw/H/t", u"3200", 0, nullptr, &msg_),
            ZUL_O_K);
  ZUL_UTF16 host[60], serv[30], pass[20];
  NI_NODEADDR addr{};
  uint16_t port = 0;
  int off = 0, hop = 9;
  ASSERT_EQ(NiBufIRouteGetNext(&msg_, &off, 0, nullptr, host, serv, pass, &addr, &port, &hop),
            ZUL_O_K);
  EXPECT_EQ(std::u16string(host) + u"|" + serv + u"|" + pass, u"127.0.0.1|3298|pw");
  EXPECT_EQ(ntohs(port), 3298);
  EXPECT_EQ(hop, -1);
  EXPECT_EQ(off, 18);
  ASSERT_EQ(NiBufIRouteGetNext(&msg_, &off, 0, nullptr, host, serv, nullptr, nullptr, nullptr,
                               nullptr),
            ZUL_O_K);
  EXPECT_EQ(std::u16string(host) + u"|" + serv, u"t|3200");
  // Past the end, strings running off the area, more to go than entries.
  EXPECT_EQ(NiBufIRouteGetNext(&msg_, &off, 0, nullptr, 0, 0, 0, 0, 0, 0), NIEINVAL);
  ni_iroute cut = msg_;
  cut.data[ni::route::kLen + 3] = 20;  // inside the second entry
  off = 18;
  EXPECT_EQ(NiBufIRouteGetNext(&cut, &off, 0, nullptr, 0, 0, 0, 0, 0, 0), NIEINVAL);
  EXPECT_EQ(off, 18);
  cut = msg_;
  cut.data[ni::route::kToGo] = 3;
  off = 0;
  EXPECT_EQ(NiBufIRouteGetNext(&cut, &off, 0, nullptr, 0, 0, 0, 0, 0, 0), NIEINVAL);
  // Strings longer than their buffers are cut, and the entry is still read to its end.
  ASSERT_EQ(NiBufIHostToRoute((u"/H/a/H/" + std::u16string(70, u'x')).c_str(), u"3200", 0,
                              nullptr, &msg_),
            ZUL_O_K);
  off = 8;
  ASSERT_EQ(NiBufIRouteGetNext(&msg_, &off, 0, nullptr, host, 0, 0, 0, 0, 0), ZUL_O_K);
  EXPECT_EQ(std::u16string(host), std::u16string(59, u'x'));
  EXPECT_EQ(static_cast<uint32_t>(off), msg_.areaLen());
  // The host is looked up for the caller's protocol: an IPv4 address is not one of IPv6.
  ASSERT_EQ(NiBufIHostToRoute(u"/H/127.0.0.1/H/t", u"1", 0, nullptr, &msg_), ZUL_O_K);
  for (int proto : {int{NI_PROTO_FAM_IPv6}, 0}) {
    off = 0;
    EXPECT_EQ(NiBufIRouteGetNext(&msg_, &off, proto, nullptr, 0, 0, 0, &addr, 0, 0) == ZUL_O_K,
              proto == 0);
  }
}

TEST_F(NiRoute, ModifyTableAndSecureCopy) {
  ZUL_UTF16 buf[64] = u"/H/r1/H/old/S/1";
  ASSERT_EQ(NiModifyRoute(buf, 64, u"new", u"2"), ZUL_O_K);
  EXPECT_EQ(std::u16string(buf), u"/H/r1/S/3299/H/new/S/2");
  std::u16string keep(buf);
  EXPECT_EQ(NiModifyRoute(buf, 31, u"new", u"2"), NIEINVAL);
  EXPECT_EQ(NiModifyRoute(buf, 32, u"a-much-longer-host-name", u"2"), NIETOO_SMALL);
  EXPECT_EQ(std::u16string(buf), keep);
  ZUL_UTF16 withPass[64] = u"/H/r1/H/old/P/secret";
  ASSERT_EQ(NiModifyRoute(withPass, 64, u"new", u"2"), ZUL_O_K);
  EXPECT_EQ(std::u16string(withPass), u"/H/r1/S/3299/H/new/S/2/P/secret");

  NI_ROUTE_TABLE rows[2];
  int count = 0;
  ASSERT_EQ(NiRouteToTable(&count, u"/H/r1/H/r2/S/7/H/t/S/9", rows, 2), ZUL_O_K);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(std::u16string(rows[0].host) + u"|" + rows[0].serv + u"|" + rows[1].host + u"|" +
                rows[1].serv,
            u"r2|7|t|9");
  ASSERT_EQ(NiRouteToTable(&count, u"plain", nullptr, 0), ZUL_O_K);
  EXPECT_EQ(count, 1);
  // A blank before an address is dropped; any other host with one is blanked.
  NI_ROUTE_TABLE three[3];
  ASSERT_EQ(NiRouteToTable(&count, u"/H/ 127.0.0.1/H/ name/H/t", three, 3), ZUL_O_K);
  EXPECT_EQ(std::u16string(three[0].host) + u"|" + three[1].host + u"|" + three[2].host,
            u"127.0.0.1||t");

  ZUL_UTF16 sec[64];
  ASSERT_EQ(NiSecStr2(u"/H/r1/S/3298/P/x/H/t/S/3200", sec, 64), ZUL_O_K);
  EXPECT_EQ(std::u16string(sec), u"/H/r1/S/3298/P/***/H/t/S/3200");
}

std::u16string RtNum(int v) {
  std::string s = std::to_string(v);
  return std::u16string(s.begin(), s.end());
}

// Routes of one and two routers to a raw target: the message checked as the first router got
// it, then framed messages both ways over the relays.
TEST_F(NiRoute, ThroughOneAndTwoRouters) {
  uint16_t tport = 0;
  int tlis = ni_test::TcpSocket(0, false, 4, &tport);
  for (int routers : {1, 2}) {
    ni_test::RouterPeer r1;
    std::unique_ptr<ni_test::RouterPeer> r2;
    std::u16string route = u"/H/127.0.0.1/S/" + RtNum(r1.port);
    if (routers == 2) {
      r2 = std::make_unique<ni_test::RouterPeer>();
      route += u"/H/127.0.0.1/S/" + RtNum(r2->port);
    }
    route += u"/H/127.0.0.1";
    int hdl = -1;
    ASSERT_EQ(NiHandle(route.c_str(), RtNum(tport).c_str(), 3000, &hdl), ZUL_O_K) << routers;
    int target = accept(tlis, nullptr, nullptr);
    int n = 0;
    ASSERT_EQ(NiWrite(hdl, "hello", 5, 2000, &n), ZUL_O_K);
    EXPECT_EQ(ni_test::PeerRecv(target, 9), ni_test::Frame("hello"));
    ASSERT_TRUE(ni_test::PeerSend(target, ni_test::Frame("back")));
    char buf[16];
    ASSERT_EQ(NiRead(hdl, buf, sizeof buf, 2000, &n), ZUL_O_K);
    EXPECT_EQ(RtBytes(buf, static_cast<size_t>(n)), "back");
    NiCloseHandle(hdl);
    close(target);
    // One entry consumed by the client: one fewer to go, the offset behind it.
    const RtBytes &m = r1.message;
    EXPECT_TRUE(r1.ok);
    ASSERT_GE(m.size(), 24u);
    EXPECT_EQ(m[11], routers + 1);
    EXPECT_EQ(m[15], routers);
    const uint32_t first = static_cast<uint32_t>(10 + RtNum(r1.port).size() + 1 + 1);
    EXPECT_EQ(RtBytes(m, 20, 4), RtBytes("\0\0\0", 3) + static_cast<char>(first));
  }
  close(tlis);
}

// Buffered with a time-out the connect returns at once; a later select takes the pong in, and the
// message sent meanwhile waits for it.
TEST_F(NiRoute, BufferedConnectTakesThePongLater) {
  uint16_t tport = 0;
  int tlis = ni_test::TcpSocket(0, false, 4, &tport);
  ni_test::RouterPeer r;
  std::u16string route = u"/H/127.0.0.1/S/" + RtNum(r.port) + u"/H/127.0.0.1";
  int hdl = -1;
  ASSERT_EQ(NiBufHandle(route.c_str(), RtNum(tport).c_str(), 2000, &hdl), ZUL_O_K);
  NI_PARAM_DATA q{NIHP_MAX_QUEUE, NI_DT_UINT, {}};
  q.value.uint_val = 4;  // room for the message while the pong is awaited
  ASSERT_EQ(NiSetHdlParamEx(hdl, &q), ZUL_O_K);
  NIBUF *m = nullptr;
  ASSERT_EQ(NiBufAlloc(&m, 5, "t"), ZUL_O_K);
  std::memcpy(m->data, "hello", 5);
  m->len = 5;
  ASSERT_EQ(NiBufSend(hdl, &m, 0), ZUL_O_K);
  NISEL *set = nullptr;
  ASSERT_EQ(NiSelNewSet(&set), ZUL_O_K);
  ASSERT_EQ(NiSelSet(set, hdl, SISEL_READ, nullptr), ZUL_O_K);
  EXPECT_EQ(NiSelSelect(set, 300), NIETIMEOUT);  // the pong never surfaces
  int target = accept(tlis, nullptr, nullptr);
  EXPECT_EQ(ni_test::PeerRecv(target, 9), ni_test::Frame("hello"));
  ASSERT_TRUE(ni_test::PeerSend(target, ni_test::Frame("back")));
  ASSERT_EQ(NiSelSelect(set, 2000), ZUL_O_K);
  NIBUF *b = nullptr;
  ASSERT_EQ(NiBufReceive(hdl, &b, 0), ZUL_O_K);
  EXPECT_EQ(RtBytes(reinterpret_cast<char *>(b->data), b->len), "back");
  NiBufFree(&b);
  NiSelDestroySet(&set);
  NiCloseHandle(hdl);
  close(target);
  close(tlis);
}

int RtOpenHandles() {
  int n = 0;
  for (int i = 0; i < ni::gMaxHdls; ++i) n += ni::gTab[i].mType != NI_FREE;
  return n;
}

// The faults of a first router end the connect in time with a code, the handle gone and the
// router's name dropped from the host cache; a route that stands keeps the name. The trace never
// shows the hop's password.
TEST_F(NiRoute, RouterFaultsEndTheConnect) {
  using Mode = ni_test::RouterPeer::Mode;
  const std::u16string kHop = u"router-hop.invalid";
  struct {
    Mode mode;
    int code, want;        // the router's code, the connect's result
    const char16_t *text;  // the caller's error text where it is fixed
    int then;              // a round trip's result on a route that stood
  } rows[] = {
      {Mode::kRefuse, NIEROUT_PERM_DENIED, NIEROUT_PERM_DENIED, ni_test::kRouterRefusalText, 0},
      {Mode::kRefuse, NIEROUT_HOST_UNKNOWN, NIEROUT_HOST_UNKNOWN, ni_test::kRouterRefusalText, 0},
      {Mode::kRefuse, NIEROUT_CONN_REFUSED, NIEROUT_CONN_REFUSED, ni_test::kRouterRefusalText, 0},
      {Mode::kBadInfo, NIEROUT_INTERN, NIEROUT_INTERN, nullptr, 0},
      {Mode::kSilent, 0, NIETIMEOUT, nullptr, 0},
      {Mode::kDataFirst, 0, NIEINTERN, nullptr, 0},
      {Mode::kCloseBefore, 0, NIECONN_BROKEN, nullptr, 0},
      {Mode::kSplitPong, 0, ZUL_O_K, nullptr, ZUL_O_K},
      {Mode::kCloseAfter, 0, ZUL_O_K, nullptr, NIECONN_BROKEN},
  };
  tlm_test::TraceCapture trace(2);
  for (const auto &r : rows) {
    const int row = static_cast<int>(&r - rows);
    ni_test::RouterPeer peer(r.mode, r.code);
    ASSERT_EQ(NiISetHBufEntry(2, kHop.c_str(), u"127.0.0.1", 8, time(nullptr)), ZUL_O_K);
    std::u16string route =
        u"/H/" + kHop + u"/S/" + RtNum(peer.port) + u"/P/secret/H/127.0.0.1";
    int hdl = -1;
    auto t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(NiHandle(route.c_str(), u"1", 500, &hdl), r.want) << row;
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(3)) << row;
    if (r.text != nullptr) {
      EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_TEXT)), r.text) << row;
    }
    NI_NODEADDR a{};
    EXPECT_EQ(NiIGetNodeAddr(kHop.c_str(), 0, &a, NIHS_MODE_BUFONLY, nullptr) == ZUL_O_K,
              r.want == ZUL_O_K)
        << row;
    if (r.want == ZUL_O_K) {
      char buf[8];
      int n = 0;
      if (r.then == ZUL_O_K) {
        EXPECT_EQ(NiWrite(hdl, "ping", 4, 2000, &n), ZUL_O_K) << row;
      }
      EXPECT_EQ(NiRead(hdl, buf, sizeof buf, 2000, &n), r.then) << row;
      NiCloseHandle(hdl);
    } else {
      EXPECT_EQ(hdl, -1) << row;
    }
    EXPECT_EQ(RtOpenHandles(), 0) << row;
  }
  EXPECT_EQ(trace.Text().find(u"secret"), std::u16string::npos);
}

}  // namespace
