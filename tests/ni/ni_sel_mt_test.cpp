// Select sets made, used and destroyed in several threads at once, each thread on a handle of its
// own, plain or buffered: the sets share only process-wide state, which must hold no race.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "ni_conn.h"
#include "ni_raw_peer.h"
#include "zul_nisel.h"

namespace {

TEST(NiSelThreads, EachThreadWithSetsOfItsOwn) {
  ASSERT_EQ(NiInit3(64), ZUL_O_K);
  constexpr int kThreads = 4, kRounds = 20;
  std::vector<ni_test::Conn> conns;
  for (int t = 0; t < kThreads; ++t) {
    conns.push_back(ni_test::Connect(ni_test::Link::kUnix));
    ASSERT_GE(conns.back().hdl, 0);
    if (t % 2 == 1) {
      NI_PARAM_DATA d{NIHP_BUFSTAT, NI_DT_RAW, {}};
      d.value.raw_val = NI_BUFSTAT_ON;
      ASSERT_EQ(NiSetHdlParamEx(conns.back().hdl, &d), ZUL_O_K);
    }
  }
  std::vector<int> fails(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&conns, &fails, t] {
      const ni_test::Conn &c = conns[static_cast<size_t>(t)];
      for (int round = 0; round < kRounds; ++round) {
        NISEL *set = nullptr;
        bool ok = NiSelNewSet(&set) == ZUL_O_K &&
                  NiSelSet(set, c.hdl, SISEL_READ, nullptr) == ZUL_O_K &&
                  ni_test::PeerSend(c.peer, ni_test::Frame("x")) &&
                  NiSelSelect(set, 5000) == ZUL_O_K &&
                  NiSelNext(set, nullptr, nullptr, nullptr, nullptr) == c.hdl;
        char buf[4];
        int n = 0;
        ok = ok && NiRead(c.hdl, buf, sizeof buf, 2000, &n) == ZUL_O_K && n == 1;
        if (set != nullptr) ok = NiSelDestroySet(&set) == ZUL_O_K && ok;
        fails[static_cast<size_t>(t)] += ok ? 0 : 1;
      }
    });
  }
  for (std::thread &th : threads) th.join();
  EXPECT_EQ(fails, std::vector<int>(kThreads, 0));
  for (ni_test::Conn &c : conns) NiCloseHandle(c.hdl);
  NiExit();
}

}  // namespace
