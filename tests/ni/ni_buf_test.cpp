// Buffered handles against a raw peer: counted buffers, queues on a blocked socket, message
// assembly, the in-band control messages byte for byte, and faults that stick.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "ni/nibuf.h"
#include "ni_conn.h"
#include "ni_raw_peer.h"
#include "zul_err.h"

namespace {

// A control message as the peer would send it; e overrides the length field of the info.
ni_test::Bytes BufCtl(int version, int opcode, int32_t rc, const ni_test::Bytes &info = "",
                      const ni_test::Bytes &data = "", int64_t e = -1) {
  ni_test::Bytes m("NI_RTERR\0", 9);
  m += static_cast<char>(version);
  m += static_cast<char>(opcode);
  m += '\0';
  uint32_t be = htonl(static_cast<uint32_t>(rc));
  m.append(reinterpret_cast<const char *>(&be), 4);
  be = htonl(static_cast<uint32_t>(e < 0 ? info.size() : e));
  m.append(reinterpret_cast<const char *>(&be), 4);
  return m + info + data + ni_test::Bytes(4, '\0');
}

// Error info in network form with the given code and text.
ni_test::Bytes BufNetInfo(int rc, const char16_t *text) {
  ErrSet(u"PEER", 1, u"peer.c", 7, text, rc, u"detail");
  ZUL_RAW buf[2000];
  size_t n = 0;
  EXPECT_EQ(ErrCpIntToNet(buf, &n, sizeof buf), ERR_OK);
  ErrClear();
  return ni_test::Bytes(reinterpret_cast<char *>(buf), n);
}

void BufSetUint(int hdl, int param, uint32_t v) {
  NI_PARAM_DATA d{static_cast<uint8_t>(param), NI_DT_UINT, {}};
  d.value.uint_val = v;
  ASSERT_EQ(NiSetHdlParamEx(hdl, &d), ZUL_O_K);
}

NIBUF *BufMsg(const ni_test::Bytes &b) {
  NIBUF *m = nullptr;
  EXPECT_EQ(NiBufAlloc(&m, static_cast<int>(b.size()), "test"), ZUL_O_K);
  std::memcpy(m->data, b.data(), b.size());
  m->len = static_cast<uint32_t>(b.size());
  return m;
}

// One NiBufReceive: the code and the bytes.
std::pair<int, ni_test::Bytes> BufRecv(int hdl, int timeout = 2000) {
  NIBUF *b = nullptr;
  int rc = NiBufReceive(hdl, &b, timeout);
  ni_test::Bytes out =
      b != nullptr ? ni_test::Bytes(reinterpret_cast<char *>(b->data), b->len) : "";
  NiBufFree(&b);
  return {rc, out};
}

class NiBuf : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(NiInit3(64), ZUL_O_K);
    heap0_ = ni::buf::HeapInUse();
  }
  void TearDown() override {
    NiExit();
    EXPECT_EQ(ni::buf::HeapInUse(), heap0_);  // every buffer came back
  }
  // A buffered connection to a raw peer.
  static ni_test::Conn Buffered(ni_test::Link link = ni_test::Link::kTcp) {
    ni_test::Conn c = ni_test::Connect(link, false);
    NI_PARAM_DATA d{NIHP_BUFSTAT, NI_DT_RAW, {}};
    d.value.raw_val = NI_BUFSTAT_ON;
    EXPECT_EQ(NiSetHdlParamEx(c.hdl, &d), ZUL_O_K);
    return c;
  }
  uint64_t heap0_ = 0;
};

TEST_F(NiBuf, AllocLimitsDupWrapAndFree) {
  struct {
    int len, rc;
  } rows[] = {
      {0, ZUL_O_K}, {NIBUF_MAXALLOC, ZUL_O_K}, {NIBUF_MAXALLOC + 1, NIETOO_BIG}, {-1, NIEINVAL}};
  for (auto r : rows) {
    NIBUF *b = nullptr;
    EXPECT_EQ(NiBufAlloc2(&b, r.len, "t", &heap0_), r.rc) << r.len;
    if (b == nullptr) continue;
    EXPECT_EQ(NiBufGetPtr(b), &heap0_);
    EXPECT_TRUE(b->data == b->space && b->len == 0 && b->refcount == 1 && b->type == NIBUF_NORMAL);
    NiBufFree(&b);
  }
  // A reference keeps the data until the last owner lets go.
  NIBUF *a = BufMsg("shared"), *d = nullptr;
  ASSERT_EQ(NiBufDup(&d, a), ZUL_O_K);
  EXPECT_EQ(d->type, uint32_t{NIBUF_REF});
  EXPECT_EQ(a->refcount, 2u);
  NiBufFree(&a);
  EXPECT_EQ(a, nullptr);
  EXPECT_EQ(ni_test::Bytes(reinterpret_cast<char *>(d->data), d->len), "shared");
  NiBufFree(&d);
  // Wrapped storage goes back through the owner's function.
  static ZUL_RAW store[16];
  static int unwrapped;
  NIBUF *w = nullptr;
  EXPECT_EQ(NiBufWrap(
                &w, store, 17, 16, [](NIBUF **) {}, nullptr),
            NIETOO_BIG);
  ASSERT_EQ(
      NiBufWrap(
          &w, store, 4, 16, [](NIBUF **pp) { unwrapped += NiBufUnWrap(pp) == store; }, nullptr),
      ZUL_O_K);
  NiBufFree(&w);
  EXPECT_EQ(unwrapped, 1);
  NIBUF *none = nullptr;
  EXPECT_EQ(NiBufFree(&none), ZUL_O_K);
  EXPECT_EQ(NiBufFree2(&none), NIEINVAL);
}

// The buffer itself goes to the socket: 10,000 sends on a free socket return every buffer to a
// recycling free function, none copied into the queue.
TEST_F(NiBuf, RecycledBuffersComeBackUncopied) {
  auto c = Buffered();
  static std::vector<NIBUF *> pool;
  pool.clear();
  std::thread reader([fd = c.peer] { ni_test::PeerRecv(fd, 10000 * 68, 3000); });
  NIBUF *b = BufMsg(ni_test::Bytes(64, 'x'));
  NIBUF *const only = b;
  for (int i = 0; i < 10000; ++i) {
    b->freef = [](NIBUF **pp) { pool.push_back(*pp); };
    b->len = 64;
    ASSERT_EQ(NiBufSend(c.hdl, &b, -1), ZUL_O_K) << i;
    ASSERT_EQ(b, nullptr);
    ASSERT_EQ(pool.size(), 1u);
    b = pool.back();
    pool.clear();
    ASSERT_EQ(b, only);
    ASSERT_TRUE(b->len == 0 && b->data == b->space && b->refcount == 1);
  }
  reader.join();
  NiBufFree2(&b);
}

TEST_F(NiBuf, QueueOnABlockedSocket) {
  auto c = Buffered(ni_test::Link::kUnix);
  int small = 4096, fd = -1;
  NiHdlToSock(c.hdl, &fd);
  setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
  const ni_test::Bytes big(1 << 20, 'b');
  // No user queue: the first message's rest waits in the ready part, the second is refused and
  // stays the caller's.
  NIBUF *m = BufMsg(big);
  EXPECT_EQ(NiBufSend(c.hdl, &m, 0), ZUL_O_K);
  EXPECT_EQ(m, nullptr);
  m = BufMsg("second");
  EXPECT_EQ(NiBufSend(c.hdl, &m, 0), NIETIMEOUT);
  ASSERT_NE(m, nullptr);
  // A queue of 4 that warns 1 before: queued 1 and 2 pass, 3 and 4 warn, 5 is refused.
  BufSetUint(c.hdl, NIHP_MAX_QUEUE, 4);
  BufSetUint(c.hdl, NIHP_WARN_QUEUE, 1);
  const int want[] = {ZUL_O_K, ZUL_O_K, NIEQUE_FULL, NIEQUE_FULL, NIETIMEOUT};
  for (int i = 0; i < 5; ++i) {
    if (m == nullptr) m = BufMsg(ni_test::Bytes(1, static_cast<char>('1' + i)));
    EXPECT_EQ(NiBufSend(c.hdl, &m, 0), want[i]) << i;
    EXPECT_EQ(m == nullptr, want[i] != NIETIMEOUT);
  }
  NiBufFree(&m);
  EXPECT_EQ(NiBufIGetOutQueueLen(ni::CheckHdl(c.hdl, "t")), 5);
  // All leave in order once the peer reads, each once.
  ni_test::Bytes expect = ni_test::Frame(big) + ni_test::Frame("second") + ni_test::Frame("2") +
                          ni_test::Frame("3") + ni_test::Frame("4");
  ni_test::Bytes got;
  for (int i = 0; i < 2000 && got.size() < expect.size(); ++i) {
    got += ni_test::PeerRecv(c.peer, expect.size() - got.size(), 10);
    NiWritePending(c.hdl);  // pushes the queue on
  }
  EXPECT_EQ(got.size(), expect.size());
  EXPECT_TRUE(got == expect);
}

TEST_F(NiBuf, AssemblesSplitAndCoalescedFrames) {
  auto c = Buffered();
  ni_test::Bytes wire =
      ni_test::Frame("one") + ni_test::Frame("") + ni_test::Frame(ni_test::Bytes(3000, 'z'));
  std::thread t([&] {
    for (char ch : wire) {
      ni_test::PeerSend(c.peer, ni_test::Bytes(1, ch));
    }
    ni_test::PeerSend(c.peer, ni_test::Frame("a") + ni_test::Frame("bc"));
  });
  for (const ni_test::Bytes &want :
       {ni_test::Bytes("one"), ni_test::Bytes(""), ni_test::Bytes(3000, 'z'), ni_test::Bytes("a"),
        ni_test::Bytes("bc")})
    EXPECT_EQ(BufRecv(c.hdl), std::make_pair(ZUL_O_K, want));
  t.join();
  // NiRead on a buffered handle: a small buffer gets the first part, the next call the rest.
  ni_test::PeerSend(c.peer, ni_test::Frame("abcdef"));
  char buf[4];
  int got = 0;
  EXPECT_EQ(NiRead(c.hdl, buf, 4, 2000, &got), NIETOO_SMALL);
  EXPECT_EQ(ni_test::Bytes(buf, 4), "abcd");
  EXPECT_EQ(NiRead(c.hdl, buf, 4, 2000, &got), ZUL_O_K);
  EXPECT_EQ(ni_test::Bytes(buf, got), "ef");
  // And what goes out is one frame per message.
  int written = 0;
  EXPECT_EQ(NiWrite(c.hdl, "xyz", 3, 1000, &written), ZUL_O_K);
  NIBUF *m = BufMsg("uvw");
  EXPECT_EQ(NiBufSend(c.hdl, &m, 1000), ZUL_O_K);
  EXPECT_EQ(ni_test::PeerRecv(c.peer, 14), ni_test::Frame("xyz") + ni_test::Frame("uvw"));
}

// Control messages from the raw peer: what the caller sees and what goes back on the wire.
TEST_F(NiBuf, ControlMessages) {
  const ni_test::Bytes info = BufNetInfo(-10, u"partner 'x' not reached");
  struct Row {
    const char *name;
    ni_test::Bytes in;
    int rc;                 // of NiBufReceive
    ni_test::Bytes data;    // delivered
    ni_test::Bytes answer;  // on the wire, exactly
  } rows[] = {
      {"ping", ni_test::Bytes("NI_PING\0", 8), NIEPING, "",
       ni_test::Frame(ni_test::Bytes("NI_PONG\0", 8))},
      {"version", BufCtl(40, 1, -13), NIETIMEOUT, "", ni_test::Frame(BufCtl(40, 2, -13))},
      {"unknown opcode", BufCtl(40, 9, -13), NIETIMEOUT, "", "error"},
      {"old peer's opcode is a report", BufCtl(28, 5, -6), NIECONN_BROKEN, "", ""},
      {"report", BufCtl(40, 0, -10, info), NIECONN_REFUSED, "", ""},
      {"E too long", BufCtl(40, 0, -10, "", "", 1), ZUL_O_K, BufCtl(40, 0, -10, "", "", 1), ""},
      {"E of all ones", BufCtl(40, 0, -10, "", "", 0xFFFFFFFF), ZUL_O_K,
       BufCtl(40, 0, -10, "", "", 0xFFFFFFFF), ""},
      {"short", BufCtl(40, 0, -10).substr(0, 23), ZUL_O_K, BufCtl(40, 0, -10).substr(0, 23), ""},
      {"almost the eyecatcher", ni_test::Bytes("NI_RTER") + ni_test::Bytes(23, 'q'), ZUL_O_K,
       ni_test::Bytes("NI_RTER") + ni_test::Bytes(23, 'q'), ""},
      {"pid unasked", BufCtl(40, 5, -13, "", "abcd"), NIEINTERN, "", ""},
      {"accepted unasked", BufCtl(40, 6, -13), NIEINTERN, "", ""},
      {"announce of 5", BufCtl(40, 8, -13, "", ni_test::Bytes(5, '\1')), NIEINTERN, "", ""},
      {"announce of 7", BufCtl(40, 8, -13, "", ni_test::Bytes(7, '\1')), NIEINTERN, "", ""},
  };
  for (const Row &r : rows) {
    auto c = Buffered(ni_test::Link::kUnix);
    ni_test::PeerSend(c.peer, ni_test::Frame(r.in));
    EXPECT_EQ(BufRecv(c.hdl, 300), std::make_pair(r.rc, r.data)) << r.name;
    if (r.rc == NIECONN_REFUSED) {
      EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_TEXT)), u"partner 'x' not reached");
    }
    if (r.answer == "error") {
      ni_test::Bytes got = ni_test::PeerRecv(c.peer, 4096, 300);
      ASSERT_GE(got.size(), 28u) << r.name;
      EXPECT_EQ(got.substr(4, 12), ni_test::Bytes("NI_RTERR\0\x28\0\0", 12)) << r.name;
      EXPECT_EQ(got.substr(16, 4), ni_test::Bytes("\xff\xff\xff\xf3", 4)) << r.name;
    } else {
      EXPECT_EQ(ni_test::PeerRecv(c.peer, 4096, 100), r.answer) << r.name;
    }
    // The handle still works unless the message left it in a fault.
    if (r.rc == NIEINTERN) continue;
    ni_test::PeerSend(c.peer, ni_test::Frame("after"));
    EXPECT_EQ(BufRecv(c.hdl), std::make_pair(ZUL_O_K, ni_test::Bytes("after"))) << r.name;
  }
}

// The version exchange works with a plain or a buffered handle at either end.
TEST_F(NiBuf, PeerVersionEitherWay) {
  for (int asker = 0; asker < 2; ++asker) {
    int fds[2];
    ASSERT_TRUE(ni_test::StreamPair(ni_test::Link::kUnix, fds));
    int h[2] = {ni_test::Attach(fds[0], false), ni_test::Attach(fds[1], false)};
    NI_PARAM_DATA d{NIHP_BUFSTAT, NI_DT_RAW, {}};
    d.value.raw_val = NI_BUFSTAT_ON;
    ASSERT_EQ(NiSetHdlParamEx(h[1 - asker], &d), ZUL_O_K);  // the other end is buffered
    std::thread answer([&] {
      char buf[64];
      int got = 0;
      NiRead(h[1], buf, sizeof buf, 500, &got);  // answers the request, delivers nothing
    });
    uint8_t version = 0;
    EXPECT_EQ(NiGetPeerVersion(h[0], 2000, &version), ZUL_O_K) << asker;
    EXPECT_EQ(version, 40);
    answer.join();
  }
}

TEST_F(NiBuf, FaultsStickWithTheFirstErrorInfo) {
  auto c = Buffered();
  BufSetUint(c.hdl, NIHP_MAX_MSG_LEN, 10);
  ni_test::PeerSend(c.peer, ni_test::Frame(ni_test::Bytes(11, 'l')));
  EXPECT_EQ(BufRecv(c.hdl).first, NIETOO_BIG);
  const std::u16string detail = ErrGetFld(ERR_FLD_DETAIL);
  EXPECT_NE(detail.find(u"message length 11 exceeds max (10)"), std::u16string::npos);
  ErrClear();
  close(c.peer);
  c.peer = -1;
  // The peer's close is a later fault: dropped, and the first one answers again.
  EXPECT_EQ(BufRecv(c.hdl).first, NIETOO_BIG);
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_DETAIL)), detail);
  NIBUF *m = BufMsg("x");
  EXPECT_EQ(NiBufSend(c.hdl, &m, 0), NIETOO_BIG);
  NiBufFree(&m);
}

TEST_F(NiBuf, AllocFunctionGivingShortBuffers) {
  auto c = Buffered();
  NI_PARAM_DATA d{NIHP_ALLOC_FUNC, NI_DT_ALLOCFUNC, {}};
  d.value.voidptr_val = reinterpret_cast<void *>(
      +[](NIBUF **pp, int len, const char *t) { return NiBufAlloc(pp, len - 1, t); });
  ASSERT_EQ(NiSetHdlParamEx(c.hdl, &d), ZUL_O_K);
  ni_test::PeerSend(c.peer, ni_test::Frame("four"));
  EXPECT_EQ(BufRecv(c.hdl).first, NIETOO_BIG);
}

// Two buffered peers that each send 8 MiB before reading anything both finish.
TEST_F(NiBuf, BothSidesSendingNeverDeadlock) {
  int fds[2];
  ASSERT_TRUE(ni_test::StreamPair(ni_test::Link::kTcp, fds));
  int h[2];
  for (int i = 0; i < 2; ++i) {
    h[i] = ni_test::Attach(fds[i], false);
    NI_PARAM_DATA d{NIHP_BUFSTAT, NI_DT_RAW, {}};
    d.value.raw_val = NI_BUFSTAT_ON;
    ASSERT_EQ(NiSetHdlParamEx(h[i], &d), ZUL_O_K);
    BufSetUint(h[i], NIHP_MAX_QUEUE, 1000);
  }
  auto side = [](int hdl, int *pGot) {
    const int kMsgs = 128;  // of 64 KiB: 8 MiB
    for (int i = 0; i < kMsgs; ++i) {
      NIBUF *m = nullptr;
      NiBufAlloc(&m, 65536, "t");
      m->len = 65536;
      int rc = NiBufSend(hdl, &m, 0);
      if (rc != ZUL_O_K && rc != NIEQUE_FULL) return;
    }
    for (int round = 0; round < 100000 && *pGot < kMsgs; ++round) {
      NIBUF *b = nullptr;
      int rc = NiBufReceive(hdl, &b, 100);
      if (rc == ZUL_O_K) ++*pGot;
      NiBufFree(&b);
      if (rc != ZUL_O_K && rc != NIETIMEOUT) return;
    }
    // Drains what this side still queues; a loaded machine may need many seconds for 8 MiB.
    for (int i = 0; i < 600 && NiPeekEx(hdl, NI_WRITE, 0, 100) == NIETIMEOUT; ++i) {
    }
  };
  int got[2] = {0, 0};
  std::thread other(side, h[1], &got[1]);
  side(h[0], &got[0]);
  other.join();
  EXPECT_EQ(got[0], 128);
  EXPECT_EQ(got[1], 128);
}

}  // namespace
