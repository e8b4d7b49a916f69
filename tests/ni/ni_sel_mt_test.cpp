// Select sets made, used and destroyed in several threads at once, each on a handle of its own
// (plain or buffered): they share only process-wide state, which must hold no race.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "ni_conn.h"
#include "ni_raw_peer.h"
#include "zul_nisel.h"
#include "zul_thr.h"

TEST(NiSelThreads, EachThreadWithSetsOfItsOwn) {
  ASSERT_EQ(ThrProcInit(), 0);  // the layer's locks lock only in a threaded process
  ASSERT_EQ(NiInit3(64), ZUL_O_K);
  std::vector<ni_test::Conn> conns;
  for (int t = 0; t < 4; ++t) conns.push_back(ni_test::Connect(ni_test::Link::kUnix));
  std::vector<int> fails(conns.size(), 0);
  std::vector<std::thread> threads;
  NI_PARAM_DATA buffered = ni_test::Param(NIHP_BUFSTAT, NI_DT_RAW, NI_BUFSTAT_ON);
  for (size_t t = 1; t < conns.size(); t += 2)
    ASSERT_EQ(NiSetHdlParamEx(conns[t].hdl, &buffered), ZUL_O_K);
  for (size_t t = 0; t < conns.size(); ++t) {
    threads.emplace_back([c = &conns[t], f = &fails[t]] {
      for (int round = 0; round < 20; ++round) {
        NISEL *set = nullptr;
        char buf[4];
        int n = 0;
        *f += !(NiSelNewSet(&set) == ZUL_O_K && NiSelSet(set, c->hdl, SISEL_READ, 0) == ZUL_O_K &&
                ni_test::PeerSend(c->peer, ni_test::Frame("x")) && NiSelSelect(set, 5000) == 0 &&
                NiSelNext(set, nullptr, nullptr, nullptr, nullptr) == c->hdl &&
                NiRead(c->hdl, buf, sizeof buf, 2000, &n) == ZUL_O_K && n == 1);
        *f += NiSelDestroySet(&set) != ZUL_O_K;
      }
    });
  }
  for (std::thread &th : threads) th.join();
  EXPECT_EQ(fails, std::vector<int>(conns.size(), 0));
  for (ni_test::Conn &c : conns) NiCloseHandle(c.hdl);
  NiExit();
}
