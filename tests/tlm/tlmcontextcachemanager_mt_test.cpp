// The sweep against the threads that use their contexts: with time-outs of 0 every context is due
// at every sweep, yet none is freed or read while its thread is inside it.

#include "tlm_core_fixture.h"

namespace {

class RegistrySweepConcurrency : public core_test::StartedTest {};

TEST_F(RegistrySweepConcurrency, SweepWithZeroTimeoutsNeverFreesAContextInUse) {
  std::atomic<bool> running{true};
  std::thread sweeper([&] {
    for (int i = 0; i < 200000 && running; ++i) {
      CContextCacheManager::Instance()->removeZombieContexts(0, 0);
    }
  });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < 3000; ++i) {
        uint32_t outer = TLM_startTiming(u"Outer", u"op", 1);
        TLM_appendContextInfo(u"k", u"v");
        uint32_t inner = TLM_startTiming(u"Inner", u"op", 1);
        TLM_endTiming(inner);
        TLM_endTiming(outer);
      }
    });
  }
  for (auto &thread : threads) thread.join();
  running = false;
  sweeper.join();
  Flush();  // the zombie traces and counts of the swept contexts are well-formed texts
}

}  // namespace
