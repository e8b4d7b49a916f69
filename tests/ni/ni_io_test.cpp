// Framed I/O over real streams: each case is checked on the bytes the raw peer sees or sends.
#include <gtest/gtest.h>
#include <poll.h>

#include <chrono>
#include <functional>
#include <random>
#include <string>
#include <thread>

#include "ni/nixxi.h"
#include "ni_conn.h"
#include "ni_raw_peer.h"
#include "si/sixx.h"
#include "trace_capture.h"
#include "zul_err.h"

namespace {

using ni_test::Link;
using Bytes = std::string;
using Got = std::pair<int, Bytes>;

const Bytes kPingMsg("NI_PING\0", 8), kPongMsg("NI_PONG\0", 8);
using ni_test::Frame;
using ni_test::PeerRecv;

void PeerSend(int fd, const Bytes &b) { ASSERT_TRUE(ni_test::PeerSend(fd, b)); }

std::u16string IoDetail() { return ErrGetFld(ERR_FLD_DETAIL); }

class NiIo : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(NiInit3(16), ZUL_O_K); }
  void TearDown() override {
    for (int no : {NIP_FRAGTEST, NIP_QTEST}) ni_test::SetParam(no, NI_DT_UINT, 0);
    si::gSendVFaultAbove = SIZE_MAX;
    NiExit();
  }
  // One NiRead: the code and the bytes delivered.
  static Got Rd(int hdl, int len = 65536, int timeout = 2000) {
    Bytes out(static_cast<size_t>(len), '\0');
    int n = -2;
    int rc = NiRead(hdl, out.data(), len, timeout, &n);
    out.resize(n > 0 ? static_cast<size_t>(n) : 0);
    return {rc, out};
  }
};

// Random messages through both kinds of stream, the peer's frames cut at random points (so that
// lengths arrive in pieces) and read with time-out 0 as well as with waits.
TEST_F(NiIo, MessagesSurviveAnySplitBothWays) {
  std::mt19937 rng(7);
  for (Link link : {Link::kUnix, Link::kTcp})
    for (bool blocking : {true, false}) {
      ni_test::Conn c = ni_test::Connect(link, blocking);
      ASSERT_GE(c.hdl, 0);
      for (int round = 0; round < 40; ++round) {
        Bytes data(1 + rng() % (round % 8 == 0 ? 20000 : 300), '\0');
        for (char &ch : data) ch = static_cast<char>(rng());
        if (data.size() == 8) data[0] = 'x';  // not a check message
        int written = -1;
        ASSERT_EQ(NiWrite(c.hdl, data.data(), (int)data.size(), 2000, &written), ZUL_O_K);
        EXPECT_EQ(written, (int)data.size());
        ASSERT_EQ(PeerRecv(c.peer, data.size() + 4), Frame(data));
        // A read that times out part way leaves the rest to a call with the buffer behind it.
        Bytes wire = Frame(data);
        size_t cut = rng() % wire.size();
        PeerSend(c.peer, wire.substr(0, cut));
        Got part = Rd(c.hdl, 65536, 0);
        ASSERT_EQ(part.first, NIETIMEOUT);
        PeerSend(c.peer, wire.substr(cut));
        ASSERT_EQ(Rd(c.hdl, 65536 - (int)part.second.size()),
                  Got(ZUL_O_K, data.substr(part.second.size())));
      }
      EXPECT_EQ(NiHdlGetInMsgs(c.hdl), 40u);
      EXPECT_EQ(NiHdlGetOutMsgs(c.hdl), 40u);
      EXPECT_EQ(NiHdlGetInOctets(c.hdl), NiHdlGetOutOctets(c.hdl));
    }
}

TEST_F(NiIo, LengthByteByByteThenSmallBufferThenRest) {
  ni_test::Conn c = ni_test::Connect(Link::kUnix, false);
  Bytes wire = Frame("0123456789");
  for (int i = 0; i < 3; ++i) {  // three calls of time-out 0 end early, the state kept
    PeerSend(c.peer, wire.substr(i, 1));
    EXPECT_EQ(Rd(c.hdl, 4, 0), Got(NIETIMEOUT, ""));
    EXPECT_EQ(ni::gTab[c.hdl >> 3].con.mPendHdrLenToRead, 3 - i);
  }
  PeerSend(c.peer, wire.substr(3));
  EXPECT_EQ(Rd(c.hdl, 4, 0), Got(NIETOO_SMALL, "0123"));  // the fourth goes on into the data
  EXPECT_EQ(IoDetail(), u"NiIRead: hdl " + tlm_test::Utf16(std::to_string(c.hdl)) +
                            u" buffer too small (4<10)");
  EXPECT_EQ(NiReadPending(c.hdl), 6);
  EXPECT_EQ(Rd(c.hdl, 100, 0), Got(ZUL_O_K, "456789"));
  EXPECT_EQ(NiReadPending(c.hdl), 0);
}

TEST_F(NiIo, PeerCloseIsConnBrokenWithoutErrorTrace) {
  for (const Bytes &sent : {Bytes(), Bytes("\0\0", 2), Frame("abcdef").substr(0, 7)}) {
    ni_test::Conn c = ni_test::Connect(Link::kTcp);
    PeerSend(c.peer, sent);
    shutdown(c.peer, SHUT_WR);
    tlm_test::TraceCapture trace(1);
    EXPECT_EQ(Rd(c.hdl).first, NIECONN_BROKEN) << sent.size();
    EXPECT_EQ(trace.Text().find(u"ERROR"), std::u16string::npos);
    EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_RC)), u"-6");
  }
}

// Odd lengths. Only a first byte of 0x80 or more is refused; "GET " is a length like any other.
// A length of 0 completes nothing: the next pass receives 0 bytes, which reads as the peer's
// close once anything is behind it; a zero buffer or single read takes it as a message.
TEST_F(NiIo, OddLengthsAsLinuxGivesThem) {
  ni_test::Conn c = ni_test::Connect(Link::kTcp), d = ni_test::Connect(Link::kUnix),
                e = ni_test::Connect(Link::kUnix);
  PeerSend(c.peer, "GET / HTTP/1.0\r\n");
  EXPECT_EQ(Rd(c.hdl, 100, 0), Got(NIETIMEOUT, "/ HTTP/1.0\r\n"));
  EXPECT_EQ(NiReadPending(c.hdl), 0x47455420 - 12);
  PeerSend(d.peer, Bytes("\x80\0\0\x01x", 5));
  EXPECT_EQ(Rd(d.hdl).first, NIEINTERN);
  EXPECT_EQ(IoDetail(), u"NiIRead: invalid data (0x80000001); probably RAW_IO");
  EXPECT_EQ(NiReadPending(d.hdl), 0);
  const Bytes two = Frame("") + Frame("x");
  PeerSend(e.peer, two);
  EXPECT_EQ(Rd(e.hdl).first, NIECONN_BROKEN);  // having taken the empty frame's length
  EXPECT_EQ(Rd(e.hdl), Got(ZUL_O_K, "x"));
  PeerSend(e.peer, two);
  int n = -1;
  EXPECT_EQ(NiRead(e.hdl, nullptr, 0, 0, &n), ZUL_O_K);
  EXPECT_EQ(n, 0);
  ni::gTab[e.hdl >> 3].con.mSingleRead = 1;
  EXPECT_EQ(Rd(e.hdl).first, NIETIMEOUT);  // single read: the length of "x" alone
  EXPECT_EQ(Rd(e.hdl), Got(ZUL_O_K, "x"));
  PeerSend(e.peer, Frame(""));
  EXPECT_EQ(Rd(e.hdl), Got(ZUL_O_K, ""));
}

// A peer that doesn't read: the write ends by time-out part way, only the same message may follow,
// and its rest completes the frame on the wire.
TEST_F(NiIo, PartialWriteIsResentAsTheRestOfTheSameMessage) {
  ni_test::Conn c = ni_test::Connect(Link::kTcp, false);
  int small = 16384;
  setsockopt(c.peer, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
  setsockopt(ni::gTab[c.hdl >> 3].con.mSocket.socket, SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
  Bytes data(1 << 20, '\0');
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>(i * 7);
  int written = -1;
  ASSERT_EQ(NiWrite(c.hdl, data.data(), (int)data.size(), 50, &written), NIETIMEOUT);
  ASSERT_GT(written, 0);
  ASSERT_LT(written, (int)data.size());
  int rest = (int)data.size() - written, more = -1;
  EXPECT_EQ(NiWritePending(c.hdl), rest);
  EXPECT_EQ(NiWrite(c.hdl, data.data(), (int)data.size(), 0, &more), NIEINVAL);
  EXPECT_EQ(IoDetail(),
            u"NiIWrite: data not equal with pending data length (" +
                tlm_test::Utf16(std::to_string(data.size()) + "<>" + std::to_string(rest)) + u")");
  // A ping now finds the write pending: no pong goes into the middle of the message.
  PeerSend(c.peer, Frame(kPingMsg));
  EXPECT_EQ(Rd(c.hdl).first, NIEPING);
  Bytes got;
  std::thread drain([&] { got = PeerRecv(c.peer, data.size() + 4, 5000); });
  EXPECT_EQ(NiWrite(c.hdl, data.data() + written, rest, 5000, &more), ZUL_O_K);
  drain.join();
  EXPECT_EQ(more, rest);
  EXPECT_EQ(got, Frame(data));
  EXPECT_EQ(PeerRecv(c.peer, 1, 100), "");
}

// The whole call is bounded: a peer that trickles a byte every 20 ms doesn't stretch it.
TEST_F(NiIo, TimeoutBoundsTheWholeCall) {
  ni_test::Conn c = ni_test::Connect(Link::kUnix);
  std::thread trickle([&] {
    for (char ch : Frame("0123456789")) {
      send(c.peer, &ch, 1, 0);
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  });
  auto start = std::chrono::steady_clock::now();
  Got part = Rd(c.hdl, 100, 100);
  EXPECT_EQ(part.first, NIETIMEOUT);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(250));
  trickle.join();
  EXPECT_EQ(Rd(c.hdl), Got(ZUL_O_K, Bytes("0123456789").substr(part.second.size())));
}

TEST_F(NiIo, PingIsAnsweredAndPongsCompleteChecks) {
  ni_test::Conn c = ni_test::Connect(Link::kTcp);
  int fails = -1, sent = 0;
  PeerSend(c.peer, Frame(kPingMsg));
  EXPECT_EQ(Rd(c.hdl), Got(NIEPING, ""));
  EXPECT_EQ(PeerRecv(c.peer, 12), Frame(kPongMsg));  // sent already
  ASSERT_EQ(NiCheckEx(c.hdl, 1000, 1, &sent), ZUL_O_K);
  EXPECT_EQ(PeerRecv(c.peer, 12), Frame(kPingMsg));
  EXPECT_EQ(NiCheck2(c.hdl, 0, &fails), NIEINVAL);  // mixed with the running NiCheckEx
  PeerSend(c.peer, Frame(kPongMsg));
  EXPECT_EQ(Rd(c.hdl).first, NIEPING);
  // Counting check: ping, no answer, then one answer collected.
  EXPECT_EQ(NiCheck2(c.hdl, 1000, &fails), ZUL_O_K);
  EXPECT_EQ(fails, 0);
  EXPECT_EQ(PeerRecv(c.peer, 12), Frame(kPingMsg));
  EXPECT_EQ(NiCheck2(c.hdl, 1000, &fails), NIENO_ANSWER);
  PeerSend(c.peer, Frame(kPongMsg) + Frame(kPongMsg));
  EXPECT_EQ(Rd(c.hdl).first, NIEPING);
  EXPECT_EQ(Rd(c.hdl).first, NIEPING);
  EXPECT_EQ(NiCheck2(c.hdl, 1000, &fails), ZUL_O_K);
  EXPECT_EQ(fails, 1);
  EXPECT_EQ(NiCheck2Cancel(c.hdl), ZUL_O_K);
  PeerSend(c.peer, Frame("NI_PONGx"));  // 8 bytes, not a check
  EXPECT_EQ(Rd(c.hdl), Got(ZUL_O_K, "NI_PONGx"));
}

// EMSGSIZE, which streams never report, comes from the fault point: each failure shrinks the pass
// (length included) until 32 bytes fail too; a path that takes 1024 gets the message through.
TEST_F(NiIo, MessageTooLongShrinksThePassThenGivesUp) {
  ni_test::Conn c = ni_test::Connect(Link::kUnix);
  Bytes data(10000, 'm');
  int written = -1;
  si::gSendVFaultAbove = 0;
  {
    tlm_test::TraceCapture trace(2);
    EXPECT_EQ(NiWrite(c.hdl, data.data(), 10000, 1000, &written), NIECONN_BROKEN);
    std::u16string steps;
    for (const std::u16string &l : trace.Lines())
      if (l.find(u"reduce data length") != std::u16string::npos) steps += l.substr(l.find(u"(h"));
    EXPECT_EQ(steps,
              u"(hdlLen=4; dataLen=4092)(hdlLen=4; dataLen=1020)(hdlLen=4; dataLen=508)"
              u"(hdlLen=4; dataLen=124)(hdlLen=4; dataLen=28)");
  }
  EXPECT_EQ(IoDetail(), u"NiIWrite: MTU size reached (4+28<=32;hdl " +
                            tlm_test::Utf16(std::to_string(c.hdl)) + u")");
  ni_test::Conn d = ni_test::Connect(Link::kUnix);
  si::gSendVFaultAbove = 1024;
  ASSERT_EQ(NiWrite(d.hdl, data.data(), 10000, 1000, &written), ZUL_O_K);
  EXPECT_EQ(PeerRecv(d.peer, 10004), Frame(data));
}

// The test switches cut passes and end calls early; whatever they do, messages arrive whole.
TEST_F(NiIo, FragmentationAndQueueTestsKeepMessagesWhole) {
  ASSERT_EQ(ni_test::SetParam(NIP_FRAGTEST, NI_DT_UINT, 3), ZUL_O_K);
  ASSERT_EQ(ni_test::SetParam(NIP_QTEST, NI_DT_UINT, 50 | 2 << 8), ZUL_O_K);
  ni_test::Conn a = ni_test::Connect(Link::kUnix), b;
  b.hdl = ni_test::Attach(dup(a.peer), true);
  int timeouts = 0;
  for (int i = 0; i < 50; ++i) {
    Bytes data(static_cast<size_t>(1 + i * 13), static_cast<char>('a' + i % 26)), got(700, '\0');
    int w = 0, r = 0, sent = 0, have = 0, rc = NIETIMEOUT, rrc = NIETIMEOUT;
    for (int k = 0; k < 10000 && (rc != ZUL_O_K || rrc != ZUL_O_K); ++k) {
      if (rc != ZUL_O_K) {
        rc = NiWrite(a.hdl, &data[sent], (int)data.size() - sent, 0, &w);
        sent += w;
        timeouts += rc == NIETIMEOUT;
      }
      if (rrc != ZUL_O_K) {
        rrc = NiRead(b.hdl, &got[have], 700 - have, 0, &r);
        have += r;
      }
    }
    ASSERT_EQ(rc, ZUL_O_K);
    ASSERT_EQ(rrc, ZUL_O_K);
    EXPECT_EQ(got.substr(0, static_cast<size_t>(have)), data);
  }
  EXPECT_GT(timeouts, 0);
}

TEST_F(NiIo, StatusPeekAndRefusals) {
  ni_test::Conn c = ni_test::Connect(Link::kTcp);
  EXPECT_EQ(NiHdlGetStatus(c.hdl), NIETIMEOUT);
  EXPECT_EQ(NiPeek(c.hdl, 0), NIETIMEOUT);
  EXPECT_EQ(NiWriteOK(c.hdl, 0), ZUL_O_K);
  PeerSend(c.peer, "z");
  EXPECT_EQ(NiPeek(c.hdl, 1000), ZUL_O_K);
  EXPECT_EQ(NiHdlGetStatus(c.hdl), ZUL_O_K);
  Bytes got(4, '\0');
  int n = 0;
  EXPECT_EQ(NiRawRead(c.hdl, got.data(), 4, 0, &n), ZUL_O_K);  // the peeked byte is still there
  EXPECT_EQ(n, 1);
  shutdown(c.peer, SHUT_WR);
  EXPECT_EQ(NiHdlGetStatus(c.hdl), NIECONN_BROKEN);
  EXPECT_EQ(NiPeek(c.hdl, 1000), ZUL_O_K);  // the read that follows tells
  // A listener: read means a connection waits (a socket pair's end stands in for the listening
  // socket, as poll sees both alike); write isn't asked.
  int fds[2];
  ASSERT_TRUE(ni_test::StreamPair(Link::kUnix, fds));
  int lis = ni_test::Attach(fds[0], true, NI_LISTEN);
  EXPECT_EQ(NiPeek(lis, 0), NIETIMEOUT);
  send(fds[1], "c", 1, 0);
  EXPECT_EQ(NiPeek(lis, 1000), ZUL_O_K);
  EXPECT_EQ(NiWriteOK(lis, 1000), NIETIMEOUT);
  EXPECT_EQ(NiReadPending(lis), -1);
  close(fds[1]);
  // Refusals name the condition; listeners have no data calls.
  std::pair<std::function<int()>, const char16_t *> refusals[] = {
      {[&] { return NiRead(c.hdl, got.data(), -1, 0, &n); },
       u"NiRead: parameter invalid (bufferLen < 0)"},
      {[&] { return NiRead(c.hdl, got.data(), 4, 0, nullptr); },
       u"NiRead: parameter invalid (pRead == NULL)"},
      {[&] { return NiRawWrite(c.hdl, nullptr, 0, 0, &n); },
       u"NiRawWrite: parameter invalid (pData == NULL)"},
      {[&] { return NiWrite(lis, got.data(), 1, 0, &n); },
       u"NiWrite: parameter invalid (pHdl->mType == NI_LISTEN || pHdl->mType == NI_RI_LISTEN)"},
      {[&] { return NiPeekEx(c.hdl, 3, 0, 0); },
       u"NiPeekEx: parameter invalid (mode != NI_READ && mode != NI_WRITE)"},
      {[&] { return NiWait(-1); }, u"NiWait: parameter invalid (milliSec < 0)"},
  };
  for (const auto &[call, detail] : refusals) {
    EXPECT_EQ(call(), NIEINVAL);
    EXPECT_EQ(IoDetail(), detail);
  }
  EXPECT_EQ(NiRawRead(c.hdl, got.data(), 0, 0, &n), NIETOO_SMALL);
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(NiWait(0), NIETIMEOUT);
  EXPECT_EQ(NiWait(30), NIETIMEOUT);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

}  // namespace
