// Time stamp lines at both resolutions, log entries in the trace, and the lock's hooks.
#include <ctime>
#include <regex>

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

// One stamp per second at resolution 1, milliseconds at 1000, none at 0; at level 1 the head
// line is the letter alone, and without a component the stamp starts on a new line.
TEST(DpTrcTime, StampsByResolutionAndLevel) {
  TraceCapture trace(2);
  CTRC_HDL n = nullptr;
  CTrcNewComp(u'N', &n, nullptr);
  static_cast<CTRC_ADM *>(n)->level = 3;
  trace.Clear();
  const std::string thr = Utf8(TraceCapture::ThreadPrefix());
  ct_time_res = 1;
  AwaitFreshSecond();
  DpTrc(n, u"first\n");
  DpTrc(n, u"second\n");
  auto lines = trace.Lines();
  ASSERT_EQ(lines.size(), 3u);
  const std::string date = "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 123]\\d \\d\\d:\\d\\d:\\d\\d";
  EXPECT_TRUE(std::regex_match(Utf8(lines[0]), std::regex("N \\[Thr \\d+\\] " + date + " \\d{4}")))
      << Utf8(lines[0]);
  EXPECT_EQ(Utf8(lines[1] + u"|" + lines[2]), "N  " + thr + "first|N  " + thr + "second");
  trace.Clear();
  ct_time_res = 1000;
  DpTrcTimeNoThr(n);
  lines = trace.Lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(std::regex_match(Utf8(lines[0]), std::regex("N " + date + ":\\d{3} \\d{4}")))
      << Utf8(lines[0]);
  ct_time_res = 0;
  trace.Clear();
  DpTrcTime(n);
  EXPECT_EQ(trace.Text(), u"");

  ct_level = 1;
  ct_time_res = 1;
  AwaitFreshSecond();
  trace.Clear();
  DpTrcTimeNoThr(n);
  lines = trace.Lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0] + lines[1].substr(0, 2), u"N  N ");
  AwaitFreshSecond();
  trace.Clear();
  DpTrcTimeNoThr(nullptr);
  EXPECT_EQ(trace.Text().substr(0, 1), u"\n");
}

class DpLogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CTrcNewComp(u'N', &n_, nullptr);
    tf = n_;
    DpLock();
    CTrcSaveLocation(u"src/epp/eppxx", 321);
    DpUnlock();
    trace_.Clear();
  }
  TraceCapture trace_;
  CTRC_HDL n_ = nullptr;
  const std::u16string thr_ = TraceCapture::ThreadPrefix();
};

TEST_F(DpLogTest, ELogLines) {
  DpELog(u"Q01", u"a   b %d    c", 5);
  DpELogFun(u"Q02", u"left", u"right", u"%s", u"x  y");
  DpELogErr(nullptr, u"Q03", u"long   text");
  EXPECT_EQ(trace_.Text(), thr_ + u"N  ***LOG Q01=> a b 5 c [eppxx        321]\n" + thr_ +
                               u"N  ***LOG Q02=> left, right (x y) [eppxx        321]\n"
                               u"***LOG Q03=> long   text [eppxx        321]\n");
}

// The record layout belongs to the host that sets the hooks; here only that each call gives one
// record, and none without hooks.
std::vector<std::u16string> record_ids;
void Writer(int, const ZUL_UTF16 *id, const ZUL_UTF16 *, size_t) { record_ids.push_back(id); }
void Convert(ZUL_UTF16 *record, const ZUL_UTF16 *text, size_t units) {
  std::char_traits<char16_t>::copy(record, text, units);
}

TEST_F(DpLogTest, SLogHandsEachRecordToTheHook) {
  record_ids.clear();
  DpSLog(u"S00", u"no hooks, no record");
  CTrcHookRslg(nullptr, Writer, Convert);
  DpSLog(u"S01", u"short %d", 1);
  DpSLogFun(u"S03", u"alpha", u"betagamma", u"fun");
  DpSLogErr(n_, u"S04", u"%s", std::u16string(200, u'L').c_str());
  CTrcHookRslg(nullptr, nullptr, nullptr);
  EXPECT_EQ(record_ids, (std::vector<std::u16string>{u"S01", u"S03", u"S04"}));
}

int lock_calls = 0;
int unlock_calls = 0;
void LockHook(const ZUL_UTF16 *name) {
  EXPECT_EQ(std::u16string(name), u"DpTrcLock");
  ++lock_calls;
}
void UnlockHook() { ++unlock_calls; }

TEST(DpLock, HooksAndRecursionIndicator) {
  DpTrcSetCriticalSectionHook(LockHook, UnlockHook);
  DpLock();
  EXPECT_EQ(DpTrcGetRecursionCount(), 1);
  DpLock();  // recursive
  DpUnlock();
  DpUnlock();
  DpTrcSetCriticalSectionHook(nullptr, nullptr);
  EXPECT_EQ(std::make_tuple(DpTrcGetRecursionCount(), lock_calls, unlock_calls),
            std::make_tuple(0, 2, 2));
}

}  // namespace
