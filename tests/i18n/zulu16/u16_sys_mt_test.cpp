#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "zul_thr.h"
#include "zul_u16sys.h"

namespace {

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
