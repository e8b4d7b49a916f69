// Access control lists, the accept list, traffic control and peer trace, through the exported
// calls and real accepts on 127.0.0.1 (port 0 read back) from raw client sockets.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "ni/nixxhs.h"
#include "ni/nixxi.h"
#include "ni_conn.h"
#include "zul_err.h"

namespace {

NI_NODEADDR AclAddr(const char *text) {
  std::u16string t(text, text + std::strlen(text));
  NI_NODEADDR a{};
  EXPECT_EQ(NiStrToAddr(t.c_str(), &a), ZUL_O_K) << text;
  return a;
}
std::u16string AclU16(const std::string &s) { return std::u16string(s.begin(), s.end()); }
std::string AclDetail() {
  std::u16string d = ErrGetFld(ERR_FLD_DETAIL);
  return std::string(d.begin(), d.end());
}
int NeverLocal(const NI_NODEADDR *, FILE **) noexcept { return 0; }

// A raw client connected to the port on 127.0.0.1 or ::1; -1 on failure.
int AclClient(uint16_t port, int family = AF_INET) {
  sockaddr_in a{AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
  sockaddr_in6 a6{AF_INET6, htons(port), 0, in6addr_loopback, 0};
  bool v6 = family == AF_INET6;
  int fd = socket(family, SOCK_STREAM, 0);
  if (connect(fd, v6 ? reinterpret_cast<sockaddr *>(&a6) : reinterpret_cast<sockaddr *>(&a),
              v6 ? sizeof a6 : sizeof a) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}
// Whether the server closed the client's connection (EOF within a second).
bool SeesEof(int fd) {
  pollfd p{fd, POLLIN, 0};
  char c;
  return poll(&p, 1, 1000) == 1 && recv(fd, &c, 1, 0) == 0;
}

class NiAcl : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(NiInit3(64), ZUL_O_K);
    ASSERT_EQ(NiServerHandleForAddr(&NI_ADDR_LOCAL_I4_INIT, &port_, &lis_), ZUL_O_K);
    char tmpl[] = "/tmp/niacl.XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
  }
  void TearDown() override {
    ni::gLocalCheck = NiILocalCheck;
    NiAlRelease();
    NiExit();
    std::filesystem::remove_all(dir_);
  }
  int Load(const std::string &text) { return NiAclCreate(lis_, AclU16(text).c_str(), nullptr); }
  int LoadFile(const std::string &bytes) {
    std::ofstream(dir_ + "/acl", std::ios::binary) << bytes;
    return NiAclCreate(lis_, nullptr, AclU16(dir_ + "/acl").c_str());
  }
  int Check(const char *addr) {
    NI_NODEADDR a = AclAddr(addr);
    return NiAclCheckAddr(lis_, &a);
  }
  // Accepts one raw client: the accept's code; *client gets the client's socket.
  int Accept(int *client, int *accepted = nullptr) {
    *client = AclClient(port_);
    int h = -1;
    int rc = NiAcceptEx(lis_, 2000, &h, nullptr, nullptr);
    if (accepted != nullptr) *accepted = h;
    return rc;
  }
  uint16_t port_ = 0;
  int lis_ = -1;
  std::string dir_;
};

// Each text is a first load (no list before): its code, the refusal's text, and the answers for
// a few addresses afterwards ('+' permitted, '-' refused).
TEST_F(NiAcl, LoadsAndTheirAnswers) {
  const std::string longLine = "permit 1.2.3.4" + std::string(5000, ' ') + "junk";
  std::string many;
  for (int i = 0; i < 257; ++i) many += "deny 10.0.0." + std::to_string(i % 250) + "\n";
  struct Row {
    std::string text;
    int rc;
    const char *detail;
    const char *answers;  // for 10.1.2.3, 1.2.3.4, 5.6.7.8
  } rows[] = {
      {"permit 10.0.0.0/8\ndeny 0.0.0.0/0", 0, "", "+--"},
      {"PERMIT 1.2.3.4 1\r\n# c\r\n  \r\ndeny 5.6.7.8 # x\r\n", 0, "", "-+-"},
      {"permit 1.2.3.4\npermit 5.6.7.8\nallow 10.1.2.3\npermit 10.1.2.3", NIEINVAL,
       "NiIAclAppendRule: unexpected permission 'allow' in line 3.", "-++"},
      {"# only\n#comments\n", NIEINVAL, "NiIAclParseString: empty ACL applied to hdl", "---"},
      {"permit", NIEINVAL, "NiIAclAppendRule: missing token 'addr/mask' in 'permit' line 1.",
       "---"},
      {"\t", NIEINVAL, "NiIAclAppendRule: missing token 'permit|deny' in '\t' line 1.", "---"},
      {"permit 10.*.*.*/8", NIEINVAL,
       "NiIAclAppendRule: invalid address/mask  '10.*.*.*/8' in line 1.", "---"},
      {"permit 1.2.3.4 4", NIEINVAL,
       "NiIAclAppendRule: invald tracelevel '4' (min=1, max=3) in 'permit 1.2.3.4 4' line 1.",
       "---"},
      {"permit 1.2.3.4 x", NIEINVAL, "invald tracelevel 'x'", "---"},
      {longLine, 0, "", "-+-"},
      {many, NIEINTERN, "appendRule: ACL overflow, rule = 257, max size = 256", "---"},
  };
  for (const Row &r : rows) {
    NiAclDelete(lis_);
    ErrClear();
    EXPECT_EQ(Load(r.text), r.rc) << r.text.substr(0, 60);
    EXPECT_NE(AclDetail().find(r.detail), std::string::npos) << AclDetail();
    EXPECT_EQ(NiAclGetStatus(lis_), r.rc);
    const char *addrs[] = {"10.1.2.3", "1.2.3.4", "5.6.7.8"};
    for (int i = 0; i < 3; ++i)
      EXPECT_EQ(Check(addrs[i]), r.answers[i] == '+' ? 0 : NIEACL_DENIED)
          << r.text.substr(0, 60) << " " << addrs[i];
  }
  EXPECT_EQ(std::u16string(NiIErrorName(NIEACL_DENIED)), u"*** ERROR ***");
  EXPECT_EQ(std::u16string(NiIErrorName(NIEACL_KEPT_OLD)), u"*** ERROR ***");
}

// A failed reload over a good list keeps the old one; over a failed list the new one stays.
TEST_F(NiAcl, LastKnownGood) {
  ASSERT_EQ(Load("permit 1.2.3.4"), ZUL_O_K);
  EXPECT_EQ(Load("permit 5.6.7.8\nbad"), NIEACL_KEPT_OLD);
  EXPECT_EQ(NiAclGetStatus(lis_), ZUL_O_K);
  EXPECT_EQ(Check("1.2.3.4"), 0);
  EXPECT_EQ(Check("5.6.7.8"), NIEACL_DENIED);
  EXPECT_EQ(NiAclCreate(lis_, nullptr, AclU16(dir_ + "/missing").c_str()), NIEACL_KEPT_OLD);
  ASSERT_EQ(NiAclDelete(lis_), ZUL_O_K);
  // Files: missing, a directory, a byte-order mark, CRLF.
  EXPECT_EQ(NiAclCreate(lis_, nullptr, AclU16(dir_ + "/missing").c_str()), NIEINTERN);
  EXPECT_NE(AclDetail().find("NiIAclReadFile: could not open ACL file '" + dir_ + "/missing'."),
            std::string::npos);
  EXPECT_EQ(NiAclGetStatus(lis_), NIEINTERN);
  EXPECT_EQ(Check("1.2.3.4"), NIEACL_DENIED);  // the empty list refuses everyone
  EXPECT_EQ(NiAclCreate(lis_, nullptr, AclU16(dir_).c_str()), NIEINVAL);
  EXPECT_NE(AclDetail().find("error reading file"), std::string::npos) << AclDetail();
  EXPECT_EQ(LoadFile("\xEF\xBB\xBFpermit 1.2.3.4\n"), NIEINVAL);
  EXPECT_NE(AclDetail().find("unexpected permission '???permit' in line 1."), std::string::npos);
  EXPECT_EQ(LoadFile("deny 1.2.3.4\r\npermit 0.0.0.0/0\r\n"), ZUL_O_K);
  EXPECT_EQ(Check("1.2.3.4"), NIEACL_DENIED);
  EXPECT_EQ(Check("5.6.7.8"), 0);
}

TEST_F(NiAcl, DumpFlushAndRefusals) {
  ASSERT_EQ(Load("permit 10.0.0.0/8 3\ndeny 0.0.0.0/0"), ZUL_O_K);
  EXPECT_EQ(Check("10.9.9.9"), 0);
  ZUL_UTF16 buf[200];
  ASSERT_EQ(NiAclDump(lis_, nullptr, buf, 200), ZUL_O_K);
  EXPECT_EQ(std::u16string(buf),
            u"1: permit 10.0.0.0/8 (count=1,line 1)\n2: deny 0.0.0.0/0 (count=0,line 2)\n");
  EXPECT_EQ(NiAclDump(lis_, nullptr, buf, 60), NIETOO_SMALL);
  EXPECT_EQ(std::u16string(buf), u"1: permit 10.0.0.0/8 (count=1,line 1)\n< truncated >\n");
  ASSERT_EQ(NiAclFlush(lis_), ZUL_O_K);
  ASSERT_EQ(NiAclDump(lis_, nullptr, buf, 200), ZUL_O_K);
  EXPECT_NE(std::u16string(buf).find(u"(count=0,line 1)"), std::u16string::npos);
  const ZUL_UTF16 *s = u"permit 1.2.3.4";
  EXPECT_EQ(NiAclCreate(lis_, s, s), NIEINVAL);
  EXPECT_EQ(AclDetail(), "NiAclCreate: parameter invalid (pAclString != NULL && pAclFile != NULL)");
  EXPECT_EQ(NiAclCreate(lis_, nullptr, nullptr), NIEINVAL);
  ASSERT_EQ(NiAclDelete(lis_), ZUL_O_K);
  EXPECT_EQ(NiAclGetStatus(lis_), NIEINVAL);
  EXPECT_EQ(AclDetail(), "NiAclGetStatus: parameter invalid (pHdl->lis.mAcl == NULL)");
  int client, h;
  ASSERT_EQ(Accept(&client, &h), ZUL_O_K);  // no list: everyone may connect
  EXPECT_EQ(NiAclCreate(h, s, nullptr), NIEINVAL);
  EXPECT_EQ(AclDetail(), "NiAclCreate: parameter invalid (pHdl->mType != NI_LISTEN)");
  NiCloseHandle(h);
  EXPECT_EQ(NiAclCheckAddr(h, nullptr), NIEINVAL);  // stale
  close(client);
}

// Accept closes a refused peer and answers the refusal, at listeners on 127.0.0.1, on "::" (whose
// mapped peers IPv4 rules decide) and on ::1, in a child with IPv6 active; each row reloads its
// listener's list. An IPv4 catch-all admits no IPv6 peer. Where ::1 can't bind, IPv4 rows only.
TEST(NiAclAccept, RefusesByTheList) {
  const int err = ni_test::Loopback6Errno();
  struct Row {
    int at;  // listener: 0 on 127.0.0.1, 1 on "::", 2 on ::1
    const char *rules;
    int rc;
  } rows[] = {
      {0, "deny 127.0.0.1\npermit 0.0.0.0/0", NIEACL_DENIED},
      {0, "permit 127.0.0.0/8", ZUL_O_K},
      {1, "deny 127.0.0.1\npermit ::/0", NIEACL_DENIED},
      {1, "permit 127.0.0.0/8", ZUL_O_K},
      {2, "deny ::1/128\npermit 0.0.0.0/0", NIEACL_DENIED},
      {2, "permit 0.0.0.0/0", NIEACL_DENIED},
      {2, "permit ::1 3", ZUL_O_K},
  };
  // The child answers 10 * row + the step that failed.
  int code = ni_test::InChild([&] {
    const NI_NODEADDR *addr[] = {&NI_ADDR_LOCAL_I4_INIT, &NI_ADDR_ANY_I6_INIT,
                                 &NI_ADDR_LOCAL_I6_INIT};
    uint16_t port[3] = {};
    int lis[3] = {-1, -1, -1};
    if (err == 0) setenv("ZUL_IPv6_ACTIVE", "1", 1);
    if (NiInit() != ZUL_O_K) return 1;
    for (int k = 0; k < (err == 0 ? 3 : 1); ++k)
      if (NiServerHandleEx(addr[k], &port[k], 0, 0, &lis[k]) != ZUL_O_K) return 2 + k;
    for (int i = 0; i < static_cast<int>(std::size(rows)); ++i) {
      const Row &r = rows[i];
      int h = -1, fd = -1;
      if (lis[r.at] < 0) continue;
      if (NiAclCreate(lis[r.at], AclU16(r.rules).c_str(), nullptr) != ZUL_O_K) return 10 * i + 5;
      if ((fd = AclClient(port[r.at], r.at == 2 ? AF_INET6 : AF_INET)) < 0) return 10 * i + 6;
      int rc = NiAcceptEx(lis[r.at], 2000, &h, nullptr, nullptr);
      bool ok = rc == r.rc && (rc == ZUL_O_K ? h >= 0 : SeesEof(fd));
      close(fd);
      if (h >= 0) NiCloseHandle(h);
      if (!ok) return 10 * i + 7;
    }
    return 0;
  });
  EXPECT_EQ(code, 0) << "row " << code / 10 << ", step " << code % 10;
  if (err != 0) GTEST_SKIP() << "IPv6 rows left out, ::1 can't bind: " << std::strerror(err);
}

TEST_F(NiAcl, AcceptListInitChecks) {
  struct Row {
    int size, unknown, friendly, suspicious, rc;
    const char *detail;
  } rows[] = {
      {9, 1, 1, 1, NIEINVAL, "NiAlInit: parameter invalid (addrListSize < 10)"},
      {10, 1, 1, 0, NIEINVAL, "NiAlInit: parameter invalid (maxSuspiciousConns < 1)"},
      {10, 1, 1, 2, NIEINVAL, "NiAlInit: parameter invalid (maxSuspiciousConns > maxUnknownConns)"},
      {10, 2, 1, 1, NIEINVAL, "NiAlInit: parameter invalid (maxUnknownConns > maxFriendlyConns)"},
      {10, 1, 1, 1, ZUL_O_K, ""},
      {10, 1, 1, 1, NIECALL, "NiAlInit: accept list already initialized"},
  };
  for (const Row &r : rows) {
    EXPECT_EQ(NiAlInit(r.size, r.unknown, r.friendly, r.suspicious), r.rc);
    if (r.rc != 0) {
      EXPECT_EQ(AclDetail(), r.detail);
    }
  }
  NI_NODEADDR local = AclAddr("127.0.0.1"), other = AclAddr("10.0.0.1");
  EXPECT_EQ(NiAlChangeType2(&local, NI_AL_TYPE_FRIENDLY, 1), NIEINVAL);
  EXPECT_EQ(AclDetail(),
            "NiAlChangeType2: parameter invalid (NiILocalCheck(pPeerAddr, &tf) == TRUE)");
  EXPECT_EQ(NiAlChangeType2(&other, NI_AL_TYPE_UNKNOWN, 1), NIEINVAL);
  EXPECT_EQ(NiAlRelease(), ZUL_O_K);
  EXPECT_EQ(NiAlRelease(), NIECALL);
  EXPECT_EQ(AclDetail(), "NiAlRelease: accept list not initialized");
}

// Counting with the locality test swapped: every loopback peer would be local.
TEST_F(NiAcl, AcceptListCountsAndRefuses) {
  ASSERT_EQ(NiAlInit(10, 2, 3, 1), ZUL_O_K);
  int c[4], h[4];
  ASSERT_EQ(Accept(&c[0], &h[0]), ZUL_O_K);  // local peers aren't counted
  int n = -1;
  NI_NODEADDR *addrs;
  uint8_t *types;
  uint16_t *conns;
  ASSERT_EQ(NiAlGetList(&addrs, &types, &conns, &n), ZUL_O_K);
  EXPECT_EQ(n, 0);
  free(addrs), free(types), free(conns);
  ni::gLocalCheck = NeverLocal;
  ASSERT_EQ(Accept(&c[1], &h[1]), ZUL_O_K);
  ASSERT_EQ(Accept(&c[2], &h[2]), ZUL_O_K);
  EXPECT_EQ(Accept(&c[3], &h[3]), NIETIMEOUT);
  EXPECT_TRUE(SeesEof(c[3]));
  close(c[3]);
  ASSERT_EQ(NiAlGetList(&addrs, &types, nullptr, &n), ZUL_O_K);
  ASSERT_EQ(n, 1);
  EXPECT_EQ(types[0], NI_AL_TYPE_UNKNOWN);
  free(addrs), free(types);
  NiCloseHandle(h[1]);  // releases a count
  EXPECT_EQ(Accept(&c[3], &h[3]), ZUL_O_K);
  EXPECT_EQ(NiAlChangeType(h[3], NI_AL_TYPE_INVADER), ZUL_O_K);
  EXPECT_EQ(NiAlChangeType(h[3], 1), NIEINVAL);
  for (int i = 0; i < 2; ++i) {
    int cl, hh;
    EXPECT_EQ(Accept(&cl, &hh), NIETIMEOUT);
    close(cl);
  }
  for (int i : {0, 2, 3}) NiCloseHandle(h[i]);
  for (int i = 0; i < 4; ++i) close(c[i]);
}

// A full list displaces only friendly entries, an idle one first.
TEST_F(NiAcl, AcceptListDisplacesFriendlyOnly) {
  ni::gLocalCheck = NeverLocal;
  ASSERT_EQ(NiAlInit(10, 1, 1, 1), ZUL_O_K);
  auto addr = [](int i) { return AclAddr(("10.0.0." + std::to_string(i)).c_str()); };
  for (int i = 0; i < 10; ++i) {
    NI_NODEADDR a = addr(i);
    ASSERT_EQ(NiAlChangeType2(&a, i == 4 ? NI_AL_TYPE_FRIENDLY : NI_AL_TYPE_SUSPICIOUS, 1), 0);
  }
  NI_NODEADDR a = addr(20), b = addr(21);
  EXPECT_EQ(NiAlChangeType2(&a, NI_AL_TYPE_SUSPICIOUS, 1), ZUL_O_K);  // takes slot 4
  EXPECT_EQ(NiAlChangeType2(&b, NI_AL_TYPE_SUSPICIOUS, 1), NIETOO_SMALL);
  NI_NODEADDR *addrs;
  uint8_t *types;
  int n;
  ASSERT_EQ(NiAlGetList(&addrs, &types, nullptr, &n), ZUL_O_K);
  ASSERT_EQ(n, 10);
  EXPECT_TRUE(ni::SameAddr(addrs[4], a));
  free(addrs), free(types);
}

void TcNothing(int, void *pData) { ++*static_cast<int *>(pData); }
void TcRenew(int hdl, void *pData) {
  NI_TC_PARAM p;
  NiTcInitParam(&p);
  p.checkTime = 10, p.inMsgs = 1, p.pFunc = TcRenew, p.pData = pData;
  ++*static_cast<int *>(pData);
  NiTcAddHdl(hdl, &p);
}
void TcClose(int hdl, void *pData) {
  ++*static_cast<int *>(pData);
  NiCloseHandle(hdl);
}

TEST_F(NiAcl, TrafficControl) {
  int c, h;
  ASSERT_EQ(Accept(&c, &h), ZUL_O_K);
  NI_TC_PARAM p;
  NiTcInitParam(&p);
  p.checkTime = 10, p.inMsgs = 1;
  struct Row {
    uint64_t checkTime;
    uint32_t inMsgs;
    NI_TC_FUNC func;
    int hdl;
    const char *detail;
  } rows[] = {
      {0, 1, TcNothing, h, "NiITcCheckParam: invalid TC checktime '0'"},
      {10, 0, TcNothing, h,
       "NiITcCheckParam: invalid TC thresholds\ninOctets = '0', outOctets = "
       "'0'\ninMsgs = '0', outMsgs = '0'"},
      {10, 1, nullptr, h, "NiITcCheckParam: invalid TC callback"},
      {10, 1, TcNothing, lis_, "NiTcAddHdl: parameter invalid (pHdl->mType != NI_ACCEPTED)"},
  };
  for (const Row &r : rows) {
    p.checkTime = r.checkTime, p.inMsgs = r.inMsgs, p.pFunc = r.func;
    EXPECT_EQ(NiTcAddHdl(r.hdl, &p), NIEINVAL);
    EXPECT_EQ(AclDetail(), r.detail);
  }
  NITAB *t = &ni::gTab[h >> 3];
  // A call-back that does nothing is called once, then the handle leaves; one that renews stays;
  // one that closes its handle takes it out.
  struct Case {
    NI_TC_FUNC func;
    int calls;
    bool stays;
  };
  for (auto [func, calls, stays] : {Case{TcNothing, 1, false}, Case{TcRenew, 2, true}}) {
    int n = 0;
    p.checkTime = 10, p.inMsgs = 1, p.pFunc = func, p.pData = &n;
    ASSERT_EQ(NiTcAddHdl(h, &p), ZUL_O_K);
    for (int round = 0; round < 2; ++round) {
      NiTcCheck();  // not due yet
      t->mTcCheckTime -= 20;
      NiTcCheck();
    }
    EXPECT_EQ(n, calls);
    EXPECT_EQ(t->mInTcList != 0, stays);
    if (stays) {
      EXPECT_EQ(NiTcDelHdl(h), ZUL_O_K);
    }
  }
  // Every threshold met: the handle leaves without a call. A zero increment is met at once.
  int n = 0;
  p.pFunc = TcNothing, p.pData = &n, p.inMsgs = 0, p.outOctets = 5;
  ASSERT_EQ(NiTcAddHdl(h, &p), ZUL_O_K);
  t->mOutOctets += 5;
  NiTcCheck();
  EXPECT_EQ(t->mInTcList, 0);
  EXPECT_EQ(n, 0);
  p.pFunc = TcClose;
  ASSERT_EQ(NiTcAddHdl(h, &p), ZUL_O_K);
  t->mTcCheckTime -= 20;
  EXPECT_EQ(NiTcCheck(), ZUL_O_K);
  EXPECT_EQ(n, 1);
  EXPECT_EQ(NiHdlGetConStat(h), 0);  // closed by the call-back
  close(c);
}

TEST_F(NiAcl, PeerTrace) {
  NI_NODEADDR net = AclAddr("127.0.0.77"), mask = AclAddr("255.255.255.0"), found[6], masks[6];
  EXPECT_EQ(NiClearTraceForPeer(&net, nullptr), NIEINVAL);
  EXPECT_EQ(AclDetail(), "NiClearTraceForPeer: no occupied slots");
  ASSERT_EQ(NiSetTraceForPeer(&net, &mask), ZUL_O_K);
  for (int i = 1; i < 5; ++i) {
    NI_NODEADDR a = AclAddr(("10.0.0." + std::to_string(i)).c_str());
    ASSERT_EQ(NiSetTraceForPeer(&a, nullptr), ZUL_O_K);
  }
  EXPECT_EQ(NiSetTraceForPeer(&net, nullptr), NIETOO_SMALL);
  EXPECT_EQ(AclDetail(), "NiSetTraceForPeer: no more free slots (5)");
  int n = 0;
  ASSERT_EQ(NiGetTraceForPeerList(found, masks, 6, &n), ZUL_O_K);
  ASSERT_EQ(n, 5);
  EXPECT_TRUE(ni::SameAddr(found[0], AclAddr("127.0.0.0")));  // stored masked
  NI_NODEADDR ones;
  memset(ones.addr, 0xFF, 16);
  EXPECT_TRUE(ni::SameAddr(masks[1], ones));
  int c, h;
  ASSERT_EQ(Accept(&c, &h), ZUL_O_K);
  EXPECT_EQ(ni::gTab[h >> 3].mTrace, 1);
  NiCloseHandle(h);
  close(c);
  NI_NODEADDR ten = AclAddr("10.0.0.0");
  ASSERT_EQ(NiClearTraceForPeer(&ten, &mask), ZUL_O_K);  // the four hosts of 10.0.0.0/24
  ASSERT_EQ(NiClearTraceForPeer(&net, &mask), ZUL_O_K);
  ASSERT_EQ(NiGetTraceForPeerList(found, masks, 6, &n), ZUL_O_K);
  EXPECT_EQ(n, 0);
}

}  // namespace
