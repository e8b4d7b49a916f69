// The wrapping clocks, their differences, the session hash and the identifier texts.
#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <string>

#include "tlm/tlmplatformhelper.h"
#include "trace_capture.h"

namespace {

using PH = TLMPlatformHelper;

TEST(TLMPlatformHelper, ServerTimeIsLow20BitsOfSecondsInMilliseconds) {
  timeval before;
  gettimeofday(&before, nullptr);
  uint32_t now = PH::GetServerTime();
  uint32_t expected = (static_cast<uint32_t>(before.tv_sec) & 0xFFFFF) * 1000 +
                      static_cast<uint32_t>(before.tv_usec / 1000);
  EXPECT_LT(now, PH::kServerTimePeriod);
  EXPECT_LE(PH::GetServerTimeDiff(now, expected), 1000u);
  EXPECT_NEAR(static_cast<double>(PH::GetServerTimeInSecond()), static_cast<double>(before.tv_sec),
              2.0);
}

// The system refuses the call form, so the CPU clock reads its failure value.
TEST(TLMPlatformHelper, CPUTimeReadsFailureValue) { EXPECT_EQ(PH::GetCPUTime(), -1); }

TEST(TLMPlatformHelper, DifferencesAcrossTheWrapAddOnePeriod) {
  struct Case {
    uint32_t later, earlier, diff;
  } cases[] = {
      {500, 200, 300},
      {200, 200, 0},
      {100, PH::kServerTimePeriod - 50, 150},
      {0, PH::kServerTimePeriod - 1, 1},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(PH::GetServerTimeDiff(c.later, c.earlier), c.diff) << c.later << " " << c.earlier;
  }
  EXPECT_EQ(PH::GetCPUTimeDiff(30, PH::kCPUTimePeriod - 20), 50);
  EXPECT_EQ(PH::GetCPUTimeDiff(70, 20), 50);
}

TEST(TLMPlatformHelper, SessionHashSeedsWithLastUnit) {
  // h = last unit, then h = h * 0x1000113 ^ c for every unit, masked.
  auto reference = [](const std::u16string &s) {
    uint32_t h = s.back();
    for (char16_t c : s) h = h * 0x1000113u ^ c;
    return h & 0x7fffffffu;
  };
  for (const std::u16string s : {u"1", u"140245", u"Unknown", u"\xffff\x0001"}) {
    EXPECT_EQ(PH::GetSessionIdentifierHash(s), reference(s));
  }
  EXPECT_EQ(PH::GetSessionIdentifierHash(u"A"), (0x41u * 0x1000113u ^ 0x41u) & 0x7fffffffu);
  EXPECT_EQ(PH::GetSessionIdentifierHash(u""), 0u);
}

TEST(TLMPlatformHelper, SessionIsTheThreadIdText) {
  EXPECT_EQ(PH::GetSessionIdentifier(), tlm_test::CurrentThreadIdText());
  EXPECT_EQ(PH::GetThreadId(), PH::GetSessionIdentifier());
  EXPECT_EQ(PH::GetProcessId(), tlm_test::Utf16(std::to_string(getpid())));
}

TEST(TLMPlatformHelper, WallClockTexts) {
  zulstring plain = PH::GetServerTimeInString();
  zulstring fine = PH::GetServerTimeInString2();
  ASSERT_EQ(plain.size(), 19u) << tlm_test::Utf8(plain);
  ASSERT_EQ(fine.size(), 23u) << tlm_test::Utf8(fine);
  for (size_t i : {4u, 7u}) EXPECT_EQ(plain[i], u'-');
  EXPECT_EQ(plain[10], u' ');
  EXPECT_EQ(fine[19], u'.');
}

}  // namespace
