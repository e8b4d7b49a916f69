// Plain trace lines: prefixes, line state, multi-line texts, level filtering, the line bound;
// error, warning and system error lines, the source location, the context hook and perrno.
#include <cerrno>

#include "trace_capture.h"
#include "zul_dptrace.h"

namespace {

using tlm_test::TraceCapture;

// A component at level 3, so that the writers called without a statement (EntLev 2) write.
CTRC_HDL NewComp(char16_t letter) {
  CTRC_HDL hdl = nullptr;
  EXPECT_EQ(CTrcNewComp(letter, &hdl, nullptr), 0);
  static_cast<CTRC_ADM *>(hdl)->level = 3;
  return hdl;
}

// {T} in an expected text stands for the thread prefix.
std::u16string WithThread(std::u16string text) {
  for (size_t at; (at = text.find(u"{T}")) != std::u16string::npos;)
    text.replace(at, 3, TraceCapture::ThreadPrefix());
  return text;
}

TEST(DpTrc, LineFormsOfTheFamily) {
  TraceCapture trace;
  CTRC_HDL n = NewComp(u'n');
  CTrcSetHdlIndent(n, 2);
  const std::tuple<void (*)(CTRC_HDL), CTRC_HDL, const char16_t *> cases[] = {
      {[](CTRC_HDL h) { DpTrc(h, u"x=%d\n", 5); }, n, u"N      {T}x=5\n"},
      {[](CTRC_HDL h) { DpTrcNoTiNoThr(h, u"%s\n", u"v"); }, n, u"N      v\n"},
      {[](CTRC_HDL h) { DpTrc(h, u"plain\n"); }, nullptr, u"{T}plain\n"},
      {[](CTRC_HDL h) { DpTrcNoTiNoThr(h, u"raw"); }, nullptr, u"raw"},
      // The A7 forms take 8-bit formats and %s arguments.
      {[](CTRC_HDL h) { DpTrcA7(h, "%s-%03d\n", "eight", 7); }, n, u"N      {T}eight-007\n"},
      {[](CTRC_HDL h) { DpTrcNoTiNoThrA7(h, "%c%c\n", 'o', 'k'); }, nullptr, u"ok\n"}};
  for (auto [write, hdl, expected] : cases) {
    trace.Clear();
    write(hdl);
    EXPECT_EQ(trace.Text(), WithThread(expected));
  }
  // A null handle is standard error, without letter, at level 3.
  FILE *stream = nullptr;
  ZUL_UTF16 letter = 1;
  int level = 0;
  CTrcTransHdl(nullptr, &stream, &letter, &level);
  EXPECT_EQ(std::tie(stream, letter, level), std::make_tuple(CTrcFp(nullptr), ZUL_UTF16{0}, 3));
  EXPECT_EQ(stream, stderr);
}

TEST(DpTrc, LineStateJoinsSameComponentBreaksForAnotherAndPrefixesEveryLine) {
  TraceCapture trace;
  CTRC_HDL a = NewComp(u'A');
  CTRC_HDL b = NewComp(u'B');
  DpTrcNoTiNoThr(a, u"one");
  DpTrcNoTiNoThr(a, u" two\n");
  DpTrcNoTiNoThr(a, u"three");
  DpTrcNoTiNoThr(b, u"four\n");
  EXPECT_EQ(trace.Text(), u"A  one two\nA  three\nB  four\n");
  // The thread prefix is written on a continued line too.
  trace.Clear();
  DpTrcNoTi(a, u"x");
  DpTrcNoTi(a, u"y\n");
  const std::u16string thr = TraceCapture::ThreadPrefix();
  EXPECT_EQ(trace.Text(), u"A  " + thr + u"x" + thr + u"y\n");
  // Every line of a multi-line text gets the prefix.
  trace.Clear();
  DpTrcNoTi(b, u"first\nsecond\n");
  EXPECT_EQ(trace.Text(), u"B  " + thr + u"first\nB  " + thr + u"second\n");
  // A text ending in newline and carriage return also ends the line.
  trace.Clear();
  DpTrcNoTiNoThr(b, u"a\n\r");
  DpTrcNoTiNoThr(b, u"b\n");
  EXPECT_EQ(trace.Text(), u"B  a\n\rB  b\n");
}

TEST(DpTrc, LevelsFilterBeforeAnythingIsFormatted) {
  TraceCapture trace(2);
  CTRC_HDL x = nullptr, m = nullptr;
  CTrcNewComp(u'X', &x, nullptr);  // level 1
  CTrcNewComp(u'M', &m, nullptr);  // level 3
  int evaluated = 0;
  DPTRC(3, m, u"%d\n", ++evaluated);  // above ct_level: arguments not even evaluated
  EXPECT_EQ(evaluated, 0);
  DPTRC(2, x, u"%d\n", ++evaluated);  // component at 1 filters level 2
  DPTRC(2, m, u"m%d\n", ++evaluated);
  DPTRC(1, x, u"x%d\n", ++evaluated);
  EXPECT_EQ(evaluated, 3);
  const std::u16string thr = TraceCapture::ThreadPrefix();
  EXPECT_EQ(trace.Text(), u"M  " + thr + u"m2\nX  " + thr + u"x3\n");
  EXPECT_EQ(EntLev, 2);
}

TEST(DpTrc, TextBeyondTheLineBoundIsCutAndNoted) {
  TraceCapture trace;
  std::u16string long_text(9000, u'z');
  DPTRC_STMT(2, DpTrcNoTiNoThr, nullptr, u"%s", long_text.c_str());
  EXPECT_EQ(trace.Text(), std::u16string(8191, u'z') + u"\n*** WARNING => data was truncated\n");
  // With a prefix the whole line, prefix included, stays within 8191 units.
  trace.Clear();
  CTRC_HDL t = NewComp(u'T');
  DPTRC_STMT(2, DpTrcNoTiNoThr, t, u"%s", long_text.c_str());
  EXPECT_EQ(trace.Lines()[0], u"T  " + std::u16string(8188, u'z'));
}

TEST(DpTrc, FormatterFailureWritesItsReportAndNothingOfTheLine) {
  TraceCapture trace;
  CTRC_HDL f = NewComp(u'F');
  DPTRC(1, f, u"before %y after\n");
  std::u16string text = trace.Text();
  EXPECT_EQ(text.rfind(u"*** ERROR => vsnprintfU err, errno=", 0), 0u) << tlm_test::Utf8(text);
  EXPECT_NE(text.find(u" [dptrace_r_mt "), std::u16string::npos);
  EXPECT_EQ(text.find(u"before"), std::u16string::npos);
}

TEST(DpTrc, WritersLeaveErrnoAlone) {
  TraceCapture trace;
  CTRC_HDL e = NewComp(u'E');
  ct_time_res = 1000;  // the stamp path too
  errno = EACCES;
  DPTRC(1, e, u"line\n");
  DPTRC_ERR(e, u"error\n");
  DPTRC_SYSERR(e, u"system\n");
  DpTrcTime(e);
  perrno(e);
  EXPECT_EQ(errno, EACCES);
}

class DpTrcErrTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CTrcNewComp(u'N', &n_, nullptr);
    CTrcSaveLocation(u"/src/ni/nixx", 123456);
    trace_.Clear();
  }
  TraceCapture trace_;
  CTRC_HDL n_ = nullptr;
  const std::u16string thr_ = TraceCapture::ThreadPrefix();
};

TEST_F(DpTrcErrTest, LineForms) {
  const std::tuple<void (*)(CTRC_HDL), bool, const char16_t *> cases[] = {
      {[](CTRC_HDL h) { DpTrcErr(h, u"bind failed %d\n", 98); }, true,
       u"N  {T}*** ERROR => bind failed 98 [nixx         12345]\n"},
      {[](CTRC_HDL h) { DpTrcErr(h, u"bind failed"); }, true,
       u"N  {T}*** ERROR => bind failed [nixx         12345]\n"},
      {[](CTRC_HDL h) { DpTrcErr(h, u"two\n\n"); }, true,  // only one newline is dropped
       u"N  {T}*** ERROR => two\n [nixx         12345]\n"},
      {[](CTRC_HDL h) { DpTrcWarn(h, u"slow\n"); }, true,
       u"N  {T}*** WARNING => slow [nixx         12345]\n"},
      {[](CTRC_HDL h) { DpTrcWarnNoThrA7(h, "%s\n", "a7"); }, true,
       u"N  *** WARNING => a7 [nixx         12345]\n"},
      {[](CTRC_HDL h) { DpTrcErrNoThr(h, u"plain"); }, false,
       u"*** ERROR => plain [nixx         12345]\n"},
      {[](CTRC_HDL h) { errno = ENOENT, DpSysErr(h, u"open %s\n", u"f"); }, true,
       u"N  {T}*** ERROR => open f (2: No such file or directory) [nixx         12345]\n"},
      {[](CTRC_HDL h) { errno = EINTR, perrno(h); }, true, u" (4: Interrupted system call)"}};
  for (auto [write, with_component, expected] : cases) {
    trace_.Clear();
    write(with_component ? n_ : nullptr);
    EXPECT_EQ(trace_.Text(), WithThread(expected));
  }
}

// The statement records its own file, cut to 12 units, and line. Errors don't consult EntLev;
// only a component level below 1 suppresses them.
TEST_F(DpTrcErrTest, StatementLocationAndLevels) {
  EntLev = 3;
  DPTRC_ERR(n_, u"x\n");
  int line = __LINE__ - 1;
  EntLev = 2;
  EXPECT_EQ(trace_.Text(), u"N  " + thr_ + u"*** ERROR => x [dptrace_test " +
                               tlm_test::Utf16(std::to_string(line)) + u"]\n");
  static_cast<CTRC_ADM *>(n_)->level = 0;
  DpTrcErr(n_, u"hidden");
  DpSysErr(n_, u"hidden");
  EXPECT_EQ(tlm_test::SplitLines(trace_.Text()).size(), 1u);
}

TEST_F(DpTrcErrTest, LongFormatIsCutWithNotice) {
  std::u16string format(1500, u'f');
  DpTrcErrNoThr(n_, format.c_str());
  EXPECT_EQ(trace_.Text(), u"*** ERROR => Dptrc fmt string truncated\nN  *** ERROR => " +
                               std::u16string(1024, u'f') + u" [nixx         12345]\n");
  // The system error form cuts silently.
  trace_.Clear();
  errno = 0;
  DpSysErrNoThr(n_, format.c_str());
  EXPECT_EQ(trace_.Text().rfind(u"N  *** ERROR => " + std::u16string(1024, u'f') + u" (0: ", 0),
            0u);
}

int context_result = 0;
int ContextHook(int kind, ZUL_UTF16 *buffer, int *length, void *ctx) {
  EXPECT_EQ(kind, 1);
  EXPECT_EQ(*length, 511);
  *length = static_cast<int>(std::char_traits<char16_t>::length(static_cast<char16_t *>(ctx)));
  std::char_traits<char16_t>::copy(buffer, static_cast<char16_t *>(ctx), *length);
  return context_result;
}

TEST_F(DpTrcErrTest, ContextTextFollowsOnASecondLine) {
  char16_t context[] = u"session 42";
  ASSERT_EQ(CTrcSetContextInfoHook(ContextHook, context, 0), 0);
  DpTrcErr(n_, u"failed\n");
  EXPECT_EQ(trace_.Text(), u"N  " + thr_ + u"*** ERROR => failed [nixx         12345]\nN  " + thr_ +
                               u"session 42\n");
  trace_.Clear();
  context_result = 7;
  DpTrcErrNoThr(n_, u"failed\n");
  EXPECT_EQ(trace_.Text(),
            u"\n*** WARNING =>  contextinfo_hook_func failed 7\nN  *** ERROR => failed [nixx    "
            u"     12345]\n");
  context_result = 0;
  EXPECT_EQ(CTrcSetContextInfoHook(ContextHook, context, 1), 1);
}

}  // namespace
