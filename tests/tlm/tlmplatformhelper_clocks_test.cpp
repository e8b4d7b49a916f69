// The wrapping clocks, their differences and the wall clock texts. GUIDs are
// the passport functions' test, the CPU clock's failure value the trace documents'.
#include <sys/time.h>

#include "tlm/tlmplatformhelper.h"
#include "trace_capture.h"

namespace {

using PH = TLMPlatformHelper;

TEST(TLMPlatformHelper, ClocksAndDifferencesAcrossTheWrap) {
  timeval now;
  gettimeofday(&now, nullptr);
  uint32_t expected = (static_cast<uint32_t>(now.tv_sec) & 0xFFFFF) * 1000 +
                      static_cast<uint32_t>(now.tv_usec / 1000);
  EXPECT_LE(PH::GetServerTimeDiff(PH::GetServerTime(), expected), 1000u);
  EXPECT_EQ(PH::GetServerTimeInString().size(), 19u);
  zulstring fine = PH::GetServerTimeInString2();
  EXPECT_EQ(fine.size(), 23u) << tlm_test::Utf8(fine);
  EXPECT_EQ(fine.find_first_not_of(u"0123456789-: ."), zulstring::npos);
  EXPECT_EQ(PH::GetServerTimeDiff(100, PH::kServerTimePeriod - 50), 150u);
  EXPECT_EQ(PH::GetServerTimeDiff(0, PH::kServerTimePeriod - 1), 1u);
  EXPECT_EQ(PH::GetCPUTimeDiff(30, PH::kCPUTimePeriod - 20), 50);
}

}  // namespace
