// The frame of the network interface: the code table, the use-counted start and the handle
// table's life cycle, with real sockets attached where a close must close something.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>

#include "ni/nixxi.h"
#include "ni_conn.h"
#include "zul_err.h"

namespace {

std::u16string ErrDetail() { return ErrGetFld(ERR_FLD_DETAIL); }

TEST(NiCodes, NamesAndTextsComeFromOneTable) {
  const std::tuple<int, const char16_t *, const char16_t *> rows[] = {
      {0, u"ZUL_O_K", u""},
      {NIETIMEOUT, u"NIETIMEOUT", u"timeout occured"},
      {NIEINVAL, u"NIEINVAL",
       u"internal error\n(this retcode should be handled by caller of NI-layer)"},
      {NIENO_ANSWER, u"NIENO_ANSWER", u"*** ERROR ***"},
      {NIEROUT_CANCELED, u"NIEROUT_CANCELED", u"route canceled by administator"},
      {NIEROUT_EXTERN, u"NIEROUT_EXTERN", u"*** ERROR ***"},
      {-14, u"*** ERROR ***", u"*** ERROR ***"},
      {-105, u"*** ERROR ***", u"*** ERROR ***"},
  };
  for (auto [rc, name, text] : rows) {
    EXPECT_EQ(std::u16string(NiIErrorName(rc)), name) << rc;
    EXPECT_EQ(std::u16string(NiErrStr(rc)), name) << rc;
    EXPECT_EQ(std::u16string(NiIErrorText(rc)), text) << rc;
  }
}

TEST(NiCodes, ErrSetLeavesTheFirstCauseAlone) {
  ErrClear();
  NiErrSet(NIETIMEOUT);
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_RC)), u"-5");
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_TEXT)), u"timeout occured");
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_COMPONENT)), u"NI (network interface)");
  std::u16string counter = ErrGetFld(ERR_FLD_COUNTER);
  NiErrSet(NIETIMEOUT);  // same location, component and code: left alone
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_COUNTER)), counter);
  NiErrSet(NIECONN_BROKEN);
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_TEXT)), u"connection to partner '%s' broken");
  NiErrSet(NIESNC_FAILURE);  // replaces the code only
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_RC)), u"-17");
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_TEXT)), u"connection to partner '%s' broken");
  ErrClear();
}

TEST(NiStart, UseCountAndLimits) {
  ErrClear();
  EXPECT_EQ(NiThrInit(), NIECALL);
  EXPECT_EQ(ErrDetail(), u"NiThrInit: NI library not initialized (0)");
  EXPECT_EQ(NiInit3(NI_MAX_HDLS + 1), NIEINVAL);
  EXPECT_EQ(ErrDetail(), u"NiInit3: parameter invalid (maxHandles > NI_MAX_HDLS)");
  EXPECT_EQ(NiInit3(-1), NIEINVAL);
  EXPECT_EQ(NiInit2(0), NIEINVAL);
  EXPECT_EQ(ErrDetail(), u"NiInit2: parameter invalid (maxHandles <= 0)");
  ASSERT_EQ(NiInit3(NI_MAX_HDLS), ZUL_O_K);
  EXPECT_EQ(ni::gMaxHdls, NI_MAX_HDLS);
  EXPECT_EQ(NiInit3(4), ZUL_O_K);  // counted, size kept
  EXPECT_EQ(ni::gMaxHdls, NI_MAX_HDLS);
  EXPECT_EQ(NiThrInit(), ZUL_O_K);
  EXPECT_EQ(NiExit(), ZUL_O_K);
  EXPECT_NE(ni::gTab, nullptr);
  EXPECT_EQ(NiExit(), ZUL_O_K);
  EXPECT_EQ(ni::gTab, nullptr);
  EXPECT_EQ(ni::gUseIpProto, 0);
  EXPECT_EQ(NiExit(), ZUL_O_K);  // below zero: only traced
  EXPECT_EQ(ni::gUseCount, 0);
}

TEST(NiStart, AFailedStepLeavesAllAsBefore) {
  // Steps 1 to 11 of the start proper, 12 the buffered layer's, 13 the access lists'.
  for (int step = 1; step <= 13; ++step) {
    ni::gFaultStep = step;
    EXPECT_EQ(NiInit3(4), NIEINTERN) << step;
    EXPECT_TRUE(ni::gTab == nullptr && ni::gMaxHdls == 0 && ni::gUseCount == 0) << step;
    EXPECT_TRUE(ni::gUseIpProto == 0 && ni::gThrKey == THR_INVALID_KEY) << step;
    EXPECT_EQ(std::memcmp(&NI_ADDR_ANY_INIT, &NI_ADDR_ANY_I4_INIT, 16), 0) << step;
  }
  ni::gFaultStep = 0;
  ASSERT_EQ(NiInit3(4), ZUL_O_K);
  EXPECT_EQ(NiThrInit(), ZUL_O_K);
  EXPECT_EQ(NiExit(), ZUL_O_K);
  EXPECT_EQ(ni::ThrGlobCount(), 0u);
}

class NiHandles : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(NiInit3(4), ZUL_O_K); }
  void TearDown() override { NiExit(); }
};

TEST_F(NiHandles, ReuseIsLastInFirstOutWithTheNextGeneration) {
  using ni_test::Connect, ni_test::Link;
  ni_test::Conn c[3] = {Connect(Link::kUnix), Connect(Link::kUnix), Connect(Link::kUnix)};
  int h[3] = {c[0].hdl, c[1].hdl, c[2].hdl};
  EXPECT_EQ(h[0], 0 * 8 + 1);  // a fresh entry holds number 0, so generation 1 comes first
  EXPECT_EQ(h[1], 1 * 8 + 1);
  EXPECT_EQ(NiHdlGetConStat(h[1]), NI_CONNECTED);
  int fd = ni::gTab[1].con.mSocket.socket;
  ASSERT_EQ(NiCloseHandle(h[1]), ZUL_O_K);
  EXPECT_EQ(fcntl(fd, F_GETFD), -1);  // the socket is closed with the handle
  ErrClear();
  EXPECT_EQ(NiGetHdlTblIdx(h[1]), -1);
  EXPECT_EQ(ErrDetail(), u"NiGetHdlTblIdx: invalid hdl " + std::u16string(u"9"));
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_MODULE)), u"nixx.c");
  // Eight reuses of the slot walk the generations round to the stale number again.
  int stale = h[1];
  for (int round = 1; round <= 8; ++round) {
    NITAB *p = nullptr;
    ASSERT_EQ(NiICreateHandle(&p, NI_INITIAL_CON, nullptr), ZUL_O_K);
    EXPECT_EQ(p->handle, 8 + ((stale + round) & 7));
    p->mType = NI_CONNECTED;
    EXPECT_EQ(NiGetHdlTblIdx(stale), round == 8 ? 1 : -1);
    ASSERT_EQ(NiCloseHandle(p->handle), ZUL_O_K);
  }
}

TEST_F(NiHandles, InvalidNumbersAndExhaustion) {
  NITAB *p[4] = {};
  for (NITAB *&q : p) ASSERT_EQ(NiICreateHandle(&q, NI_INITIAL_CON, nullptr), ZUL_O_K);
  NITAB *extra = nullptr;
  ErrClear();
  EXPECT_EQ(NiICreateHandle(&extra, NI_INITIAL_CON, nullptr), NIEINVAL);
  EXPECT_EQ(ErrDetail(), u"NiICreateHandle: no more free handles (4)");
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_MODULE)), u"nixxi.cpp");
  EXPECT_EQ(NiICreateHandle(&extra, NI_LISTEN, nullptr), NIEINVAL);
  // Initial states are invalid for public calls; so are numbers outside the table, including
  // the one-past-the-end index that the numeric bound admits.
  for (int hdl : {p[0]->handle, -1, -8, 4 * 8 + 6, 4 * 8 + 7, 1 << 30}) {
    ErrClear();
    EXPECT_EQ(NiHdlGetConStat(hdl), 0) << hdl;
    EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_RC)), u"-8") << hdl;
  }
  // A second close of a freed entry, as a racing thread would do it, changes nothing.
  ASSERT_EQ(NiICloseHandle(p[3], 1, 0), ZUL_O_K);
  ErrClear();
  EXPECT_EQ(NiICloseHandle(p[3], 1, 0), NIEINVAL);
  EXPECT_EQ(ErrDetail(), u"NiICloseHandle: hdl 25 closed in the meantime; race? (old rc=0)");
  NITAB *again = nullptr;
  ASSERT_EQ(NiICreateHandle(&again, NI_INITIAL_LIS, nullptr), ZUL_O_K);
  EXPECT_EQ(again, p[3]);
  // Whatever an entry is made for, none of its sockets reads as socket 0.
  for (NITAB *q : {p[0], again})
    for (const SI_SOCK *sock : {&q->lis.mIPSocket, &q->lis.mUDSocket, &q->con.mSocket})
      EXPECT_EQ(sock->socket, NI_INVALID_SOCK);
  EXPECT_EQ(NiICreateHandle(&extra, NI_INITIAL_CON, nullptr), NIEINVAL);
}

TEST_F(NiHandles, ListenerClosesBothSocketsAndDatagramsAreRefused) {
  int tcp = socket(AF_INET, SOCK_STREAM, 0), lis = ni_test::Attach(tcp, true, NI_LISTEN);
  ASSERT_GE(lis, 0);
  NITAB *dg = nullptr;
  ASSERT_EQ(NiICreateHandle(&dg, NI_INITIAL_CON, nullptr), ZUL_O_K);
  dg->mType = NI_DG_UNCONNECTED;
  EXPECT_EQ(NiCloseHandle(dg->handle), NIEINVAL);
  EXPECT_EQ(NiGetHdlProto(lis), NI_PROTO_FAM_IPv4);
  int v6 = socket(AF_INET6, SOCK_STREAM, 0);
  if (v6 >= 0) {  // a wildcard IPv6 listener serves both families
    sockaddr_in6 any{};
    any.sin6_family = AF_INET6;
    ASSERT_EQ(bind(v6, reinterpret_cast<sockaddr *>(&any), sizeof any), 0);
    int l6 = ni_test::Attach(v6, true, NI_LISTEN);
    EXPECT_EQ(NiGetHdlProto(l6), NI_PROTO_FAM_IPv4 | NI_PROTO_FAM_IPv6);
    EXPECT_EQ(NiCloseHandle(l6), ZUL_O_K);
  }
  EXPECT_EQ(NiCloseHandle(lis), ZUL_O_K);
  EXPECT_EQ(fcntl(tcp, F_GETFD), -1);
  EXPECT_EQ(std::u16string(NiGetProtoName(6)), u"IPv4,IPv6");
  EXPECT_EQ(std::u16string(NiGetProtoName(8)), u"unknown");
}

TEST_F(NiHandles, SocketMappingAndHalfClose) {
  ni_test::Conn c = ni_test::Connect(ni_test::Link::kUnix);
  int hdl = c.hdl, sock = -1, back = -1;
  ASSERT_EQ(NiHdlToSock(hdl, &sock), ZUL_O_K);
  ASSERT_EQ(NiSockToHdl(sock, &back), ZUL_O_K);
  EXPECT_EQ(back, hdl);
  EXPECT_EQ(NiSockToHdl(c.peer, &back), NIEINVAL);
  SI_SOCK copy{};
  ASSERT_EQ(NiGetSiSocket(hdl, &copy), ZUL_O_K);
  EXPECT_EQ(copy.socket, sock);
  NiSetTraceAll();
  EXPECT_EQ(NiHdlGetTrace(hdl), 1);
  EXPECT_EQ(NiShutdownHandle(hdl, 3), NIEINVAL);
  ASSERT_EQ(NiShutdownHandle(hdl, NI_SHUT_WR), ZUL_O_K);
  char ch;
  EXPECT_EQ(read(c.peer, &ch, 1), 0);  // the peer sees the end of the stream
  ni::gTab[hdl >> 3].mType = NI_CONN_WAIT;
  ErrClear();
  EXPECT_EQ(NiGetSiSocket(hdl, &copy), NIEINVAL);
  EXPECT_EQ(ErrDetail(), u"NiGetSiSocket: parameter invalid (pHdl->mType == NI_CONN_WAIT)");
  EXPECT_EQ(NiCloseHandle(hdl), ZUL_O_K);  // a pending connect is closed all the same
}

}  // namespace
