// Time stamp lines at both resolutions.
#include <gtest/gtest.h>

#include <ctime>
#include <regex>
#include <string>

#include "trace_capture.h"
#include "zul_dptrace.h"

namespace {

using tlm_test::TraceCapture;
using tlm_test::Utf8;

// Waits for the start of a new second, so that two calls fall into one second.
void AwaitFreshSecond() {
  time_t start = time(nullptr);
  while (time(nullptr) == start) {
  }
}

class DpTrcTimeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CTrcNewComp(u'N', &n_, nullptr);
    static_cast<CTRC_ADM *>(n_)->level = 3;
    trace_.Clear();
  }
  TraceCapture trace_{2};
  CTRC_HDL n_ = nullptr;
  const std::string thr_ = Utf8(TraceCapture::ThreadPrefix());
};

TEST_F(DpTrcTimeTest, OneStampPerSecond) {
  ct_time_res = 1;
  AwaitFreshSecond();
  DpTrc(n_, u"first\n");
  DpTrc(n_, u"second\n");
  auto lines = trace_.Lines();
  ASSERT_EQ(lines.size(), 3u);
  std::regex stamp(
      "N \\[Thr \\d+\\] (Mon|Tue|Wed|Thu|Fri|Sat|Sun) [A-Z][a-z]{2} [ 123]\\d "
      "\\d\\d:\\d\\d:\\d\\d \\d{4}");
  EXPECT_TRUE(std::regex_match(Utf8(lines[0]), stamp)) << Utf8(lines[0]);
  EXPECT_EQ(Utf8(lines[1]), "N  " + thr_ + "first");
  EXPECT_EQ(Utf8(lines[2]), "N  " + thr_ + "second");
}

TEST_F(DpTrcTimeTest, MillisecondStampAndNoneAtResolutionZero) {
  ct_time_res = 1000;
  DpTrcTimeNoThr(n_);
  auto lines = trace_.Lines();
  ASSERT_EQ(lines.size(), 1u);
  std::regex stamp("N [A-Z][a-z]{2} [A-Z][a-z]{2} [ 123]\\d \\d\\d:\\d\\d:\\d\\d:\\d{3} \\d{4}");
  EXPECT_TRUE(std::regex_match(Utf8(lines[0]), stamp)) << Utf8(lines[0]);
  // A resolution of 0 writes no stamp at all.
  ct_time_res = 0;
  trace_.Clear();
  DpTrcTime(n_);
  EXPECT_EQ(trace_.Text(), u"");
}

TEST_F(DpTrcTimeTest, HeadAtLevelOneAndWithoutComponent) {
  ct_level = 1;
  ct_time_res = 1;
  AwaitFreshSecond();
  DpTrcTimeNoThr(n_);
  auto lines = trace_.Lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], u"N  ");
  EXPECT_EQ(lines[1].substr(0, 2), u"N ");
  AwaitFreshSecond();
  trace_.Clear();
  DpTrcTimeNoThr(nullptr);
  std::u16string text = trace_.Text();
  ASSERT_FALSE(text.empty());
  EXPECT_EQ(text[0], u'\n');
  // The stamp is the local time of now, as asctime shows it.
  time_t now = time(nullptr);
  struct tm local;
  localtime_r(&now, &local);
  char expected[32];
  strftime(expected, sizeof expected, "%Y\n", &local);
  EXPECT_EQ(Utf8(text.substr(text.size() - 5)), expected);
}

}  // namespace
