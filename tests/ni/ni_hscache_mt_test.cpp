// Look-ups from several threads while another flushes, resizes, dumps and changes the time-outs
// of the caches: every answer stays right, for both host cache kinds.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "ni/nixxhs.h"
#include "ni/nixxi.h"
#include "ni_conn.h"

namespace nihs_mt {

class NiHSCacheMt : public ::testing::TestWithParam<bool> {};

TEST_P(NiHSCacheMt, LookupsStayRightWhileTheCachesChange) {
  ASSERT_EQ(ThrProcInit(), 0);  // the caches' mutexes lock only in a threaded process
  ASSERT_EQ(NiInit3(8), ZUL_O_K);
  if (GetParam()) {
    NiIHSBufRelease();
    auto *host = new NIHIMPL_LINEAR6;
    auto *serv = new NISIMPL_LINEAR;
    ASSERT_EQ(host->init(4, 86400, 600, 600), ZUL_O_K);
    ASSERT_EQ(serv->init(4, 86400, 600, 600), ZUL_O_K);
    ASSERT_EQ(NiIHSBufInit2(host, serv), ZUL_O_K);
  }
  std::atomic<int> faults{0};
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 300; ++i) {
        NI_NODEADDR a;
        uint16_t port = 0;
        char16_t name[NI_MAX_HOSTNAME_LEN];
        if (NiHostToAddr(u"localhost", &a) != ZUL_O_K || a.addr[12] != 127) ++faults;
        if (NiAddrToHost2(&NI_ADDR_LOCAL_I4_INIT, name, NI_MAX_HOSTNAME_LEN) != ZUL_O_K) ++faults;
        if (NiServToNo(u"http", &port) != ZUL_O_K || port != 80) ++faults;
        if (NiNoToServ2(80, name, NI_MAX_HOSTNAME_LEN) != ZUL_O_K) ++faults;
      }
    });
  threads.emplace_back([&] {
    static const int kSteps[][2] = {{NIP_HSBUF_OPCODE, 1},
                                    {NIP_HSBUF_SIZE, 3},
                                    {NIP_HOSTBUF_TIMEOUT, 1},
                                    {NIP_HSBUF_SIZE, 100},
                                    {NIP_HOSTBUF_TIMEOUT_INVALID, 2},
                                    {NIP_HSBUF_TRACE_LIMIT, 1}};
    std::vector<ZUL_UTF16> buf(24576);
    for (int i = 0; i < 2000 && !stop.load(); ++i) {
      int no = kSteps[i % 6][0], type = no == NIP_HSBUF_OPCODE ? NI_DT_RAW : NI_DT_UINT;
      if (ni_test::SetParam(no, type, static_cast<uint32_t>(kSteps[i % 6][1])) != 0) ++faults;
      int len = static_cast<int>(buf.size()), done = 0;
      if (NiHBufPrintBuf(buf.data(), &len, &done) != ZUL_O_K || done != 1) ++faults;
    }
  });
  for (size_t t = 0; t < 4; ++t) threads[t].join();
  stop = true;
  threads.back().join();
  EXPECT_EQ(faults.load(), 0);
  EXPECT_EQ(NiExit(), ZUL_O_K);
}

INSTANTIATE_TEST_SUITE_P(Kinds, NiHSCacheMt, ::testing::Values(false, true),
                         [](const auto &info) { return info.param ? "I6" : "I4"; });

}  // namespace nihs_mt
