// GUIDs of the platform helper.
#include "tlm/tlmplatformhelper.h"

#include <gtest/gtest.h>

TEST(TLMPlatformHelper, GuidsAre32CapitalDigitsAndDiffer) {
  zulstring a = TLMPlatformHelper::GetGUID();
  zulstring b = TLMPlatformHelper::GetGUID();
  // Without a time-based identifier from the system the text is empty.
  if (a.empty()) GTEST_SKIP() << "no time-based identifiers on this host (uuidd not running?)";
  EXPECT_EQ(a.size(), 32u);
  EXPECT_EQ(a.find_first_not_of(u"0123456789ABCDEF"), zulstring::npos);
  EXPECT_NE(a, b);
}
