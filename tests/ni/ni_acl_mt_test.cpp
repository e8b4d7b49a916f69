// Access lists, the accept list, traffic control and wake-ups under threads.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

#include "ni/nixxhs.h"
#include "ni/nixxi.h"

namespace {

int MtNeverLocal(const NI_NODEADDR *, FILE **) noexcept { return 0; }

int MtClient(uint16_t port) {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(port);
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a);
  return fd;
}

class NiAclMt : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(ThrProcInit(), 0);  // the layer's mutexes lock only in a threaded process
    ASSERT_EQ(NiInit3(256), ZUL_O_K);
    ASSERT_EQ(NiServerHandleForAddr(&NI_ADDR_LOCAL_I4_INIT, &port_, &lis_), ZUL_O_K);
  }
  void TearDown() override {
    ni::gLocalCheck = NiILocalCheck;
    NiAlRelease();
    NiExit();
  }
  uint16_t port_ = 0;
  int lis_ = -1;
};

// Checks racing reloads see one list or the other, and the last list afterwards.
TEST_F(NiAclMt, ReloadWhileChecking) {
  ASSERT_EQ(NiAclCreate(lis_, u"permit 10.0.0.0/8", nullptr), ZUL_O_K);
  NI_NODEADDR ten, eleven;
  NiStrToAddr(u"10.1.1.1", &ten);
  NiStrToAddr(u"11.1.1.1", &eleven);
  std::atomic<bool> stop{false};
  std::atomic<int> odd{0};
  std::vector<std::thread> checkers;
  for (int t = 0; t < 2; ++t)
    checkers.emplace_back([&] {
      while (!stop)
        for (const NI_NODEADDR *a : {&ten, &eleven}) {
          int rc = NiAclCheckAddr(lis_, a);
          if (rc != ZUL_O_K && rc != NIEACL_DENIED) ++odd;
        }
    });
  for (int i = 0; i < 100; ++i)
    NiAclCreate(lis_, i % 2 ? u"permit 11.0.0.0/8" : u"permit 10.0.0.0/8\nbad", nullptr);
  stop = true;
  for (auto &t : checkers) t.join();
  EXPECT_EQ(odd, 0);
  EXPECT_EQ(NiAclCheckAddr(lis_, &ten), NIEACL_DENIED);
  EXPECT_EQ(NiAclCheckAddr(lis_, &eleven), ZUL_O_K);
}

// Accepts and closes on two threads leave every count at 0.
TEST_F(NiAclMt, CountsReturnToZero) {
  ni::gLocalCheck = MtNeverLocal;
  ASSERT_EQ(NiAlInit(10, 1000, 1000, 1), ZUL_O_K);
  std::vector<std::thread> threads;
  for (int t = 0; t < 2; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 40; ++i) {
        int fd = MtClient(port_), h = -1;
        if (NiAcceptEx(lis_, 2000, &h, nullptr, nullptr) == ZUL_O_K) NiCloseHandle(h);
        close(fd);
      }
    });
  for (auto &t : threads) t.join();
  NI_NODEADDR *addrs;
  uint8_t *types;
  uint16_t *conns;
  int n = 0;
  ASSERT_EQ(NiAlGetList(&addrs, &types, &conns, &n), ZUL_O_K);
  ASSERT_EQ(n, 1);
  EXPECT_EQ(conns[0], 0);
  free(addrs), free(types), free(conns);
}

void MtRenewOrDrop(int hdl, void *) {
  NI_TC_PARAM p;
  NiTcInitParam(&p);
  p.checkTime = 1, p.inMsgs = 1, p.pFunc = MtRenewOrDrop;
  if (hdl % 2)
    NiTcAddHdl(hdl, &p);
  else
    NiTcDelHdl(hdl);
}

// Call-backs renew or delete while another thread closes the handles.
TEST_F(NiAclMt, CallbacksWhileClosing) {
  std::vector<int> fds, hdls;
  NI_TC_PARAM p;
  NiTcInitParam(&p);
  p.checkTime = 1, p.inMsgs = 1, p.pFunc = MtRenewOrDrop;
  for (int i = 0; i < 16; ++i) {
    fds.push_back(MtClient(port_));
    int h = -1;
    ASSERT_EQ(NiAcceptEx(lis_, 2000, &h, nullptr, nullptr), ZUL_O_K);
    ASSERT_EQ(NiTcAddHdl(h, &p), ZUL_O_K);
    hdls.push_back(h);
  }
  std::atomic<bool> stop{false};
  std::thread checker([&] {
    while (!stop) {
      {
        ni::RecMtxGuard lock(ni::gTcLock);
        for (int h : hdls) ni::gTab[h >> 3].mTcCheckTime = 0;
      }
      NiTcCheck();
    }
  });
  for (int h : hdls) {
    usleep(2000);
    NiCloseHandle(h);
  }
  stop = true;
  checker.join();
  for (int fd : fds) close(fd);
}

// Four threads wake one server while it collects and a fifth client detaches.
TEST_F(NiAclMt, WakeupsFromThreads) {
  NI_WAKEUP_SERVER *srv = nullptr;
  ASSERT_EQ(NiWakeupOpen(&srv), ZUL_O_K);
  NI_WAKEUP_CLIENT *c[5] = {};
  for (auto &cl : c) ASSERT_EQ(NiWakeupAttach(srv, &cl), ZUL_O_K);
  std::atomic<int> sent{0}, running{4};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 300; ++i) sent += NiWakeupExec(c[t]) == ZUL_O_K;
      --running;
    });
  threads.emplace_back([&] { NiWakeupDetach(&c[4]); });
  int collected = 0;
  for (int round = 0; round < 20000 && (running > 0 || round % 100 != 99); ++round) {
    int n = 0;
    if (NiWakeupCollect(&srv, &n) == ZUL_O_K) collected += n;
  }
  for (auto &t : threads) t.join();
  int n = 0;
  if (NiWakeupCollect(&srv, &n) == ZUL_O_K) collected += n;
  EXPECT_LE(collected, sent.load());
  EXPECT_GT(collected, 0);
  EXPECT_EQ(NiWakeupGetCntNo(srv), 4);
  ASSERT_EQ(NiWakeupClose(&srv), ZUL_O_K);
  for (int t = 0; t < 4; ++t) EXPECT_EQ(NiWakeupDetach(&c[t]), ZUL_O_K);
}

}  // namespace
