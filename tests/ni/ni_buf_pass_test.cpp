// Handles passed to a second process: this program runs itself again as the receiver, which
// talks over a passed connection and accepts on a passed listener (both its sockets).
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "ni/nibuf.h"
#include "ni_conn.h"
#include "ni_raw_peer.h"
#include "zul_u16string.h"

namespace {

int PassBuffered(int fd) {
  int h = ni_test::Attach(fd, false);
  NI_PARAM_DATA d{NIHP_BUFSTAT, NI_DT_RAW, {}};
  d.value.raw_val = NI_BUFSTAT_ON;
  return NiSetHdlParamEx(h, &d) == ZUL_O_K ? h : -1;
}

// Repeats a call that answers NIETIMEOUT, a bounded number of times.
template <class F>
int PassRetry(F f) {
  int rc = NIETIMEOUT;
  for (int i = 0; i < 100 && rc == NIETIMEOUT; ++i) rc = f();
  return rc;
}

int PassWrite(int hdl, const char *s) {
  int written = 0;
  return NiWrite(hdl, s, static_cast<int>(std::strlen(s)), 2000, &written);
}

std::string PassRead(int hdl) {
  char buf[64];
  int got = 0;
  int rc = PassRetry([&] { return NiRead(hdl, buf, sizeof buf, 100, &got); });
  return rc == ZUL_O_K ? std::string(buf, got) : "rc " + std::to_string(rc);
}

// The receiving process, started by the test below with the carrier's descriptor.
TEST(NiBufPass, DISABLED_Receiver) {
  const char *fd = getenv("NIBUF_PASS_FD");
  ASSERT_NE(fd, nullptr);
  ASSERT_EQ(NiInit3(64), ZUL_O_K);
  int carrier = PassBuffered(atoi(fd));
  ASSERT_GE(carrier, 0);
  int conn = -1, lis = -1;
  ASSERT_EQ(PassRetry([&] { return NiAcceptEx(carrier, 100, &conn, nullptr, nullptr); }), ZUL_O_K);
  EXPECT_EQ(PassRead(conn), "hello");
  EXPECT_EQ(PassWrite(conn, "hello back"), ZUL_O_K);
  ASSERT_EQ(PassRetry([&] { return NiBufGetSentHdl(carrier, 100, &lis); }), ZUL_O_K);
  EXPECT_EQ(NiGetHdlProto(lis) & NI_PROTO_FAM_LOCAL, NI_PROTO_FAM_LOCAL);
  for (int i = 0; i < 2; ++i) {
    int acc = -1;
    ASSERT_EQ(NiAcceptEx(lis, 5000, &acc, nullptr, nullptr), ZUL_O_K);
    EXPECT_EQ(PassWrite(acc, "welcome"), ZUL_O_K);
    NiCloseHandle(acc);
  }
  EXPECT_EQ(PassRead(carrier), "done");
  NiCloseHandleKP(lis);
  NiExit();
}

TEST(NiBufPass, ConnectionAndListenerCrossToAnotherProcess) {
  ASSERT_EQ(NiInit3(64), ZUL_O_K);
  char dir[] = "/tmp/nibufpassXXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  std::u16string path;
  for (char ch : std::string(dir) + "/s%d") path += static_cast<char16_t>(ch);
  NI_PARAM_DATA p{NIP_UDS_PATH, NI_DT_UCPTR, {}};
  p.value.ucptr_val = path.data();
  ASSERT_EQ(NiSetParamEx(&p), ZUL_O_K);

  int sp[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sp), 0);
  pid_t pid = fork();
  if (pid == 0) {
    close(sp[0]);
    setenv("NIBUF_PASS_FD", std::to_string(sp[1]).c_str(), 1);
    execl("/proc/self/exe", "receiver", "--gtest_filter=NiBufPass.DISABLED_Receiver",
          "--gtest_also_run_disabled_tests", static_cast<char *>(nullptr));
    _exit(127);
  }
  close(sp[1]);
  int carrier = PassBuffered(sp[0]);
  ASSERT_GE(carrier, 0);

  // Over an IP connection nothing passes.
  ni_test::Conn tcp = ni_test::Connect(ni_test::Link::kTcp, false);
  {
    NI_PARAM_DATA d{NIHP_BUFSTAT, NI_DT_RAW, {}};
    d.value.raw_val = NI_BUFSTAT_ON;
    ASSERT_EQ(NiSetHdlParamEx(tcp.hdl, &d), ZUL_O_K);
  }
  EXPECT_EQ(NiBufSendHandle(tcp.hdl, carrier, 0, 1), NIEINVAL);

  // The connection: the receiver talks to this raw peer, and the sender's handle is spent.
  EXPECT_EQ(PassRetry([&] { return NiBufSendHandle(carrier, tcp.hdl, 100, 1); }), ZUL_O_K);
  ni_test::PeerSend(tcp.peer, ni_test::Frame("hello"));
  EXPECT_EQ(ni_test::PeerRecv(tcp.peer, 14, 5000), ni_test::Frame("hello back"));
  NIBUF *m = nullptr;
  NiBufAlloc(&m, 1, "t");
  EXPECT_EQ(NiBufSend(tcp.hdl, &m, 0), NIEPASSED);
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_TEXT)), u"Handle passed to other process");
  NiBufFree(&m);

  // The listener, with its local and its IP socket; connects over both reach the receiver.
  uint16_t port = NI_FINDSERV;
  int lis = -1;
  ASSERT_EQ(NiServerHandleEx(nullptr, &port, NI_PROTO_FAM_LOCAL | NI_PROTO_FAM_IPv4, 0, &lis),
            ZUL_O_K);
  EXPECT_EQ(PassRetry([&] { return NiBufSendHandle(carrier, lis, 100, 1); }), ZUL_O_K);
  NI_NODEADDR lo = NI_ADDR_LOCAL_I4_INIT;
  for (int proto : {NI_PROTO_FAM_LOCAL, NI_PROTO_FAM_IPv4}) {
    int h = -1;
    ASSERT_EQ(NiHandleForAddrEx(&lo, port, proto, 0, 0, 5000, nullptr, &h), ZUL_O_K) << proto;
    EXPECT_EQ(NiGetHdlProto(h) & proto, proto);
    EXPECT_EQ(PassRead(h), "welcome") << proto;
    NiCloseHandle(h);
  }
  EXPECT_EQ(PassWrite(carrier, "done"), ZUL_O_K);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  NiCloseHandleKP(lis);
  NiExit();
  std::string rm = std::string("rm -rf ") + dir;
  EXPECT_EQ(system(rm.c_str()), 0);
}

}  // namespace
