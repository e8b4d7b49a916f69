// The pattern watch and the file size watch.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "trace_capture.h"
#include "zul_dptrace.h"

namespace {

using tlm_test::TraceCapture;

size_t Count(const std::u16string &text, const std::u16string &part) {
  size_t n = 0;
  for (size_t at = text.find(part); at != std::u16string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

TEST(DpTrcPattern, WildcardMatching) {
  struct Case {
    const char16_t *pattern;
    const char16_t *line;
    bool match;
  } cases[] = {
      {u"abc", u"xxabcxx\n", true}, {u"a?c", u"xxabcxx\n", true},
      {u"a*c", u"xa--cx\n", true},  {u"a*c", u"xa--\n", false},
      {u"*c", u"abc\n", true},      {u"?bc", u"xabc\n", false},  // wildcards anchor at the start
      {u"?bc", u"abc\n", true},     {u"a\\*b", u"a*b\n", true},
      {u"a\\*b", u"axb\n", false},  {u"abcd", u"abc", false},
      {u"c\n", u"abc\n", true},
  };
  for (const Case &c : cases) {
    TraceCapture trace;
    ASSERT_EQ(DpTrcAddPattern(c.pattern, nullptr), 0);
    DpTrcNoTiNoThr(nullptr, u"%s", c.line);
    bool reported =
        trace.Text().find(u"\nDpTrc: found match for pattern >" + std::u16string(c.pattern) +
                          u"< in output\n") != std::u16string::npos;
    EXPECT_EQ(reported, c.match) << tlm_test::Utf8(c.pattern) << " in " << tlm_test::Utf8(c.line);
  }
}

std::vector<std::u16string> seen_patterns;
void OnMatch(CTRC_HDL hdl, const ZUL_UTF16 *pattern) {
  EXPECT_EQ(hdl, nullptr);
  seen_patterns.push_back(pattern);
}

TEST(DpTrcPattern, AllMatchingPatternsFireInSlotOrderAndStay) {
  TraceCapture trace;
  seen_patterns.clear();
  DpTrcAddPattern(u"found", OnMatch);  // would match its own report
  DpTrcAddPattern(u"fo?nd", OnMatch);
  DpTrcAddPattern(u"never", OnMatch);
  DPTRC_STMT(1, DpTrcNoTiNoThr, nullptr, u"found it\n");
  DPTRC_ERR(nullptr, u"found again");
  EXPECT_EQ(seen_patterns, (std::vector<std::u16string>{u"found", u"fo?nd", u"found", u"fo?nd"}));
  EXPECT_EQ(Count(trace.Text(), u"DpTrc: found match"), 4u);
}

TEST(DpTrcPattern, SlotsAreBoundedAndPacked) {
  TraceCapture trace;
  for (int i = 0; i < 32; ++i) ASSERT_EQ(DpTrcAddPattern(i % 2 ? u"odd" : u"even", nullptr), 0);
  EXPECT_EQ(DpTrcAddPattern(u"33rd", nullptr), -1);
  EXPECT_EQ(DpTrcRmPattern(u"odd"), 0);
  EXPECT_EQ(DpTrcRmPattern(u"absent"), 0);
  const ZUL_UTF16 *patterns[4] = {};
  EXPECT_EQ(DpTrcGetPatterns(patterns, 4), 16);
  for (const ZUL_UTF16 *p : patterns) EXPECT_EQ(std::u16string(p), u"even");
  EXPECT_EQ(DpTrcAddPattern(u"last", nullptr), 0);
  const ZUL_UTF16 *all[32] = {};
  ASSERT_EQ(DpTrcGetPatterns(all, 32), 17);
  EXPECT_EQ(std::u16string(all[16]), u"last");
  DpTrcRmAllPattern();
  EXPECT_EQ(DpTrcGetPatterns(all, 32), 0);
}

int64_t reported_size = 0;
void OnSize(CTRC_HDL, int64_t size) { reported_size = size; }

TEST(DpTrcFileSize, LimitIsReportedOncePerInterval) {
  tlm_test::TraceFileCapture trace;
  reported_size = 0;
  DpTrcSetFileSizeHook(1, OnSize);
  EXPECT_EQ(DpTrcGetFileSize(), 1);
  DPTRC_STMT(1, DpTrcNoTiNoThr, ctrc::state.global_file, u"grows\n");
  DPTRC_STMT(1, DpTrcNoTiNoThr, ctrc::state.global_file, u"again\n");
  std::u16string text = trace.Text();
  EXPECT_EQ(Count(text, u"\nDpTrc: maximum file size reached: 1\n"), 1u);
  EXPECT_GT(reported_size, 1);
}

TEST(DpTrcFileSize, NegativeLimitIsZeroAndChecksNothing) {
  tlm_test::TraceFileCapture trace;
  reported_size = 0;
  DpTrcSetFileSizeHook(-5, OnSize);
  EXPECT_EQ(DpTrcGetFileSize(), 0);
  DPTRC_STMT(1, DpTrcNoTiNoThr, ctrc::state.global_file, u"line\n");
  EXPECT_EQ(reported_size, 0);
  DpTrcRmFileSizeHook();
  EXPECT_EQ(DpTrcGetFileSize(), -1);
}

}  // namespace
