// Threads record their errors apart, and the call counter loses nothing.

#include "zul_rscp.h"
#include "zul_u16conv.h"

namespace {

TEST(RscpErrorThreads, RecordsAreApartAndCountsAdd) {
  rscpSetHook_rscpe__error(rscpe__error);
  long before = __atomic_load_n(&rscpe_callcnt, __ATOMIC_RELAXED);
  constexpr int kThreads = 4, kReports = 500;
  std::vector<int> final_codes(kThreads), depths(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &final_codes, &depths] {
      for (int i = 0; i < kReports; ++i) {
        // Each thread converts into a destination too small, so the hook records class 32, then
        // appends a level of its own code.
        const ZUL_RAW in[] = {'x', 'y'};
        const ZUL_RAW *s = in;
        ZUL_UTF16 out[1], *d = out;
        Utf8nToU2nSubst(&s, in + 2, &d, out + 1, nullptr, nullptr);
        rscpeas__append_source();
        rscpe__error(1000 + t, 'O', -1, u"thread", t, i, nullptr, nullptr, nullptr, nullptr,
                     nullptr, nullptr);
      }
      final_codes[t] = rscpeFinalErrorCode(rscple_last_error());
      depths[t] = rscple_last_error()->depth;
    });
  }
  for (auto &th : threads) th.join();
  rscpSetHook_rscpe__error(nullptr);
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(final_codes[t], 1000 + t);
    EXPECT_EQ(depths[t], 2);
  }
  EXPECT_EQ(__atomic_load_n(&rscpe_callcnt, __ATOMIC_RELAXED) - before, 2L * kThreads * kReports);
}

}  // namespace
