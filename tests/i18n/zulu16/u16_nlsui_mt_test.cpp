// Eight threads make the first classification at the same moment (the loader put back to its
// state at the start of a process): each may load, and all must answer alike, without a race.

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
  EXPECT_EQ(RaceToTheFirstClassification(), 0);
}

}  // namespace
