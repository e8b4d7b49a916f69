// Conversions on several threads at once: each thread keeps its own volatile results, and the
// first failures of a source file, reported at the same time, agree on its module name.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "zul_rscp.h"
#include "zul_u16conv.h"

namespace {

TEST(VolatileRingThreads, EachThreadKeepsItsOwnFortyResults) {
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &failures] {
      for (int round = 0; round < 50; ++round) {
        std::vector<ZUL_UTF16 *> results;
        std::vector<std::string> texts;
        for (int i = 0; i < 40; ++i) {
          texts.push_back("t" + std::to_string(t) + "r" + std::to_string(round) + "i" +
                          std::to_string(i) + std::string(static_cast<size_t>(i * 7), 'x'));
          results.push_back(A7sToUcsVola(texts.back().c_str()));
        }
        for (int i = 0; i < 40; ++i) {
          std::u16string expected(texts[i].begin(), texts[i].end());
          if (std::u16string(results[i]) != expected) ++failures[t];
        }
      }
    });
  }
  for (auto &th : threads) th.join();
  for (int t = 0; t < 4; ++t) EXPECT_EQ(failures[t], 0) << "thread " << t;
  EXPECT_EQ(rscpuce_thread_error_count, 0);
}

// Reads the module text on every report, so that a text published before it is complete would be
// seen by the thread sanitizer.
int ModuleLengthHook(int code, int, int, const ZUL_UTF16 *module, int, int, const ZUL_UTF16 *,
                     const ZUL_UTF16 *, const ZUL_UTF16 *, const ZUL_UTF16 *, const ZUL_UTF16 *,
                     const ZUL_UTF16 *) {
  return std::u16string(module) == u"u16_conv_to_utf8" ? code : -1;
}

TEST(ConversionErrorThreads, FirstReportsOnManyThreadsAgreeOnTheModule) {
  rscpSetHook_rscpe__error(ModuleLengthHook);
  std::vector<std::thread> threads;
  std::vector<int> answers(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &answers] {
      const ZUL_UTF16 lone[] = {0xDC00};
      const ZUL_UTF16 *s = lone;
      ZUL_RAW out[4];
      ZUL_RAW *d = out;
      answers[t] = Utf16nToUtf8n(&s, lone + 1, &d, out + 4);
    });
  }
  for (auto &th : threads) th.join();
  rscpSetHook_rscpe__error(nullptr);
  for (int a : answers) EXPECT_EQ(a, 2048);
}

}  // namespace
