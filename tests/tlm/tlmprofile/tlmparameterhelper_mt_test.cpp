
#include "profile_test_support.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"

namespace {

using H = TLMParameterHelper;

// Application threads change the level and the interval while others read numbers and texts:
// every read gives one of the values written, never a mixture.
TEST(ParameterHelperConcurrency, ReadersSeeOldOrNewValuesDuringUpdates) {
  H::CleanUp();
  H::ConfigParameters(nullptr, nullptr, 0);
  std::atomic<bool> stop{false};
  std::atomic<int> faults{0};
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&] {
      while (!stop.load()) {
        uint16_t level = H::GetInstruLevelThreshold();
        uint32_t interval = H::GetDataSendingInterval();
        zulstring text = H::GetParamValue(u"instrument_level_threshold");
        bool ok = (level == 10 || level == 20) && (interval == 60 || interval == 120) &&
                  (text == u"10" || text == u"20");
        faults += !ok;
      }
    });
  }
  for (int round = 0; round < 2000; ++round) {
    H::SetInstruLevelThreshold(round % 2 ? 10 : 20);
    H::SetSendingInterval(round % 2 ? 60 : 120);
  }
  stop = true;
  for (std::thread &t : readers) t.join();
  EXPECT_EQ(faults.load(), 0);
  H::CleanUp();
}

}  // namespace
