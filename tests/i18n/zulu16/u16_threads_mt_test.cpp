// The text runtime on several threads at once: tokenising with strtok_rU16 and ecvtU16 with its
// buffer per thread; each thread keeps its own volatile results, and the first failures of a
// source file, reported at the same time, agree on its module name; the environment tables and
// the per-thread result records of the system wrappers.

#include <cerrno>

#include "zul_rscp.h"
#include "zul_thr.h"
#include "zul_u16conv.h"
#include "zul_u16string.h"
#include "zul_u16sys.h"

namespace {

std::u16string W(const std::string &text) { return std::u16string(text.begin(), text.end()); }

// Each thread tokenises with strtok_rU16, takes ecvtU16's digits and fills all forty volatile
// results at once: no thread sees another's state.
TEST(U16StringThreads, ReentrantFunctionsAndVolatileResultsStayPerThread) {
  constexpr int kThreads = 4;
  std::vector<int> failures(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      const std::u16string want_digits = W(std::to_string(t + 1) + "00");
      for (int round = 0; round < 100; ++round) {
        std::u16string own = W("alpha beta gamma delta");
        ZUL_UTF16 *save = nullptr;
        int tokens = 0, decpt = 0, sign = 0;
        for (ZUL_UTF16 *tok = strtok_rU16(own.data(), u" ", &save); tok != nullptr;
             tok = strtok_rU16(nullptr, u" ", &save))
          ++tokens;
        if (tokens != 4 || std::u16string(ecvtU16(t + 1.0, 3, &decpt, &sign)) != want_digits)
          ++failures[t];
        std::vector<std::pair<ZUL_UTF16 *, std::string>> results;
        for (int i = 0; i < 40; ++i) {
          std::string text = "t" + std::to_string(t) + "r" + std::to_string(round) + "i" +
                             std::to_string(i) + std::string(static_cast<size_t>(i * 7), 'x');
          results.emplace_back(A7sToUcsVola(text.c_str()), text);
        }
        for (const auto &[result, text] : results) failures[t] += std::u16string(result) != W(text);
      }
    });
  }
  for (auto &th : threads) th.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(failures[t], 0) << "thread " << t;
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

std::string Narrow(const ZUL_UTF16 *text) {
  std::string out;
  for (; *text != 0; ++text) out += static_cast<char>(*text);
  return out;
}

// Threads change and read the environment through the wrappers while each keeps its own result
// records; the tables' mutex and the per-thread records must keep them apart.
TEST(U16SysThreads, EnvironmentTablesAndResultRecordsUnderConcurrency) {
  ASSERT_EQ(ThrProcInit(), THR_ERR_OK);
  constexpr int kThreads = 4;
  constexpr int kRounds = 200;
  const int errors[kThreads] = {ENOENT, EACCES, EINVAL, ERANGE};
  std::vector<std::thread> threads;
  std::vector<int> failures(kThreads, 0);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &errors, &failures] {
      ZUL_UTF16 *mine = strerrorU16(errors[t]);
      const std::string expected = strerror(errors[t]);
      std::u16string name = u"TLM_U16SYS_MT" + std::u16string(1, u'0' + t);
      for (int i = 0; i < kRounds; ++i) {
        std::u16string text = name + u"=" + std::u16string(1, u'a' + i % 26);
        if (putenvU16(text.c_str()) != 0) ++failures[t];
        if (getenvU16(name.c_str()) == nullptr) ++failures[t];
        if (Narrow(mine) != expected) ++failures[t];
        if (strerrorU16(errors[t]) != mine) ++failures[t];
      }
    });
  }
  for (auto &thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(failures[t], 0) << "thread " << t;
}

}  // namespace
