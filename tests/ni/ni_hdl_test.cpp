// One handle's settings, ends and dumps; real sockets stand behind the handles.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <tuple>

#include "ni/nixxi.h"
#include "ni_conn.h"
#include "trace_capture.h"
#include "zul_err.h"

namespace {

class NiHdl : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(NiInit3(8), ZUL_O_K); }
  void TearDown() override { NiExit(); }
};

TEST_F(NiHdl, ParametersSetReadAndRefused) {
  ni_test::Conn conn = ni_test::Connect(ni_test::Link::kUnix);
  int hdl = conn.hdl, fd = ni::gTab[hdl >> 3].con.mSocket.socket;
  uint8_t on = 1, got = 0;
  ASSERT_EQ(NiSetHdlParam(hdl, NIHP_SINGLE_READ, &on), ZUL_O_K);
  EXPECT_EQ(NiGetSingleRead(hdl), 1);
  ASSERT_EQ(NiGetHdlParam(hdl, NIHP_CHECK_PEER, &got), ZUL_O_K);
  EXPECT_EQ(got, 0);
  uint8_t off = 0;  // any value marks the handle as checked
  ASSERT_EQ(NiSetHdlParam(hdl, NIHP_CHECK_PEER, &off), ZUL_O_K);
  ASSERT_EQ(NiGetHdlParam(hdl, NIHP_CHECK_PEER, &got), ZUL_O_K);
  EXPECT_EQ(got, 1);
  EXPECT_EQ(NiSetHdlParam(hdl, NIHP_BUFSTAT, &on), ZUL_O_K);
  const std::tuple<int, int, int, const char16_t *> rows[] = {
      {NIHP_SINGLE_READ, NI_DT_UINT, 1,
       u"NiSetHdlParamEx: parameter invalid (pParamData->datatype != NI_DT_BOOL)"},
      {NIHP_BUFSTAT, NI_DT_RAW, 2,
       u"NiSetHdlParamEx: parameter invalid (pParamData->value.raw_val != NI_BUFSTAT_ON)"},
      {67, NI_DT_RAW, 0, u"NiSetHdlParamEx: invalid param 67 for hdl 1"},
      {52, NI_DT_BOOL, 0, u"NiSetHdlParamEx: invalid param 52 for hdl 1"},
  };
  for (auto [param, type, value, detail] : rows) {
    NI_PARAM_DATA d{};
    d.param = static_cast<uint8_t>(param);
    d.datatype = static_cast<uint8_t>(type);
    d.value.raw_val = static_cast<uint8_t>(value);
    ErrClear();
    EXPECT_EQ(NiSetHdlParamEx(hdl, &d), NIEINVAL) << param;
    EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_DETAIL)), detail) << param;
  }
  EXPECT_EQ(NiSetHdlParamEx(hdl, nullptr), NIEINVAL);
  EXPECT_EQ(NiSetHdlParam(hdl, NIHP_MAX_MSG_LEN, &on), NIEINVAL);  // no short form
  EXPECT_EQ(NiGetHdlParam(hdl, NIHP_SINGLE_READ, nullptr), NIEINVAL);
  // Blocking mode reaches the socket.
  ASSERT_EQ(NiHdlSetBlockmode(hdl, 0), ZUL_O_K);
  EXPECT_EQ(NiHdlGetBlockmode(hdl), 0);
  EXPECT_NE(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
  ni::gTab[hdl >> 3].mType = NI_RI_LISTEN;
  ErrClear();
  EXPECT_EQ(NiGetHdlParam(hdl, NIHP_SINGLE_READ, &got), NIEINVAL);
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_DETAIL)),
            u"NiGetHdlParamEx: parameter invalid (pHdl->mType == NI_RI_LISTEN)");
  EXPECT_EQ(NiSetSingleRead(hdl, 1), NIEINVAL);
  ni::gTab[hdl >> 3].mType = NI_CONNECTED;
}

TEST_F(NiHdl, EndsAndDumpOfAConnection) {
  uint16_t port = 0;
  int lis = ni_test::TcpSocket(0, false, 4, &port);
  ASSERT_GE(lis, 0);
  int cli = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(port);
  to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(connect(cli, reinterpret_cast<sockaddr *>(&to), sizeof to), 0);
  int l = ni_test::Attach(lis, true, NI_LISTEN);
  NITAB *c = &ni::gTab[ni_test::Attach(cli, true) >> 3];
  c->mOutMsgs = 3;
  c->mOutOctets = 40;
  c->mTrace = 1;
  NI_NODEADDR addr;
  uint16_t got = 0;
  ASSERT_EQ(NiHdlGetName(l, &addr, &got, nullptr), ZUL_O_K);
  EXPECT_EQ(got, port);
  EXPECT_EQ(std::memcmp(&addr, &NI_ADDR_LOCAL_I4_INIT, 16), 0);
  ASSERT_EQ(NiHdlGetPeer(c->handle, &addr, &got, nullptr), ZUL_O_K);
  EXPECT_EQ(got, port);
  EXPECT_EQ(NiHdlGetPeer(l, &addr, &got, nullptr), NIEINVAL);
  char16_t buf[512];
  ASSERT_EQ(NiHdlDump(c->handle, buf, 512), ZUL_O_K);
  std::vector<std::u16string> lines = tlm_test::SplitLines(buf);
  ASSERT_EQ(lines.size(), 11u);
  EXPECT_EQ(lines[1], u"HANDLE   = " + tlm_test::Utf16(std::to_string(c->handle) + "    "));
  EXPECT_EQ(lines[4], u"STAT     = NI_CONNECTED");
  EXPECT_EQ(lines[5], u"TYPE     = IPv4");
  EXPECT_EQ(lines[6], u"OUT      = 3 messages 40 bytes");
  EXPECT_EQ(lines[9], u"REMOTE   = 127.0.0.1:" + tlm_test::Utf16(std::to_string(port)));
  EXPECT_EQ(lines[10], u"OPTIONS  = TRACE ");
  EXPECT_EQ(NiHdlDump(c->handle, buf, 20), NIETOO_SMALL);
  int count = 0;  // the walk meets both, newest first; a free entry in the chain stops it
  EXPECT_EQ(NiIWalkNitab([](NITAB *, void *n) { ++*static_cast<int *>(n); }, &count), 0);
  EXPECT_EQ(count, 2);
  c->mType = NI_FREE;
  EXPECT_EQ(NiIWalkNitab([](NITAB *, void *) {}, nullptr), NIEINTERN);
  c->mType = NI_CONNECTED;
  {
    tlm_test::TraceCapture trace(1);
    NiDumpNiHdls();
    EXPECT_NE(trace.Text().find(u"STAT     = NI_LISTEN"), std::u16string::npos);
  }
  EXPECT_EQ(NiGetMaxSockets(3), 3);
}

}  // namespace
