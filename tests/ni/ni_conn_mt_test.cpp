// Listeners, connects and accepts on several threads at once: the port search, the handle table
// and the socket set-up share no state that a thread could see half-written.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "ni/nixxi.h"
#include "ni_conn.h"

namespace {

TEST(NiConnMt, ThreadsListenConnectAndAcceptAtOnce) {
  ASSERT_EQ(NiInit3(64), ZUL_O_K);
  ni::Params saved = ni::gParams;
  ASSERT_EQ(ni_test::SetParam(NIP_CONNLOCAL, NI_DT_BOOL, 0), ZUL_O_K);  // IP only: no socket files
  constexpr int kThreads = 3, kRounds = 15;
  std::vector<int> failures(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([t, &failures] {
      for (int i = 0; i < kRounds; ++i) {
        uint16_t port = NI_FINDSERV;
        int lis = -1, c = -1, srv = -1;
        bool ok = NiServerHandleForAddr(&NI_ADDR_LOCAL_I4_INIT, &port, &lis) == ZUL_O_K &&
                  NiHandleForAddr(&NI_ADDR_LOCAL_I4_INIT, port, 2000, &c) == ZUL_O_K &&
                  NiAcceptEx(lis, 2000, &srv, nullptr, nullptr) == ZUL_O_K;
        failures[t] += ok ? 0 : 1;
        for (int h : {srv, c, lis})
          if (h >= 0) NiCloseHandle(h);
      }
    });
  for (auto &th : threads) th.join();
  for (int f : failures) EXPECT_EQ(f, 0);
  ni::gParams = saved;
  NiExit();
}

}  // namespace
