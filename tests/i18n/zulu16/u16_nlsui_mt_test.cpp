// Eight threads make the first classification of a process at the same moment: each may load,
// and all must answer by the same classes, without a data race.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

#include "i18n/zulu16/nlsui.h"
#include "zul_u16string.h"

namespace {

int RaceToTheFirstClassification() {
  zulu16::nlsui::ResetForTest(false);
  std::atomic<bool> go{false};
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      while (!go.load()) std::this_thread::yield();
      using zulu16::nlsui::Load;
      const bool alpha = Load(isalphaU)(static_cast<ZUL_UTF16>('a' + t));
      const ZUL_UTF16 upper = Load(toupperU)('b');
      if (!alpha || upper != 'B' || !isxdigitU('F') || isgraphU(' ')) ++wrong;
    });
  }
  go = true;
  for (auto &thread : threads) thread.join();
  return wrong.load() == 0 ? 0 : 1;
}

TEST(NlsuiLoaderThreads, ConcurrentFirstUseLoadsSafely) {
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) _exit(RaceToTheFirstClassification());
  int status = 0;
  for (int i = 0; i < 6000 && waitpid(pid, &status, WNOHANG) == 0; ++i) usleep(10000);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace
