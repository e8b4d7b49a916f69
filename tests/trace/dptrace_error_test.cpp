// Error, warning and system error lines, the source location, the context hook and perrno.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "trace_capture.h"
#include "zul_dptrace.h"

namespace {

using tlm_test::TraceCapture;

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
  struct Case {
    const char *name;
    void (*write)(CTRC_HDL);
    bool with_component;
    std::u16string expected;  // {T} stands for the thread prefix
  } cases[] = {
      {"error", [](CTRC_HDL h) { DpTrcErr(h, u"bind failed %d\n", 98); }, true,
       u"N  {T}*** ERROR => bind failed 98 [nixx         12345]\n"},
      {"format without newline", [](CTRC_HDL h) { DpTrcErr(h, u"bind failed"); }, true,
       u"N  {T}*** ERROR => bind failed [nixx         12345]\n"},
      {"only one newline is dropped", [](CTRC_HDL h) { DpTrcErr(h, u"two\n\n"); }, true,
       u"N  {T}*** ERROR => two\n [nixx         12345]\n"},
      {"warning", [](CTRC_HDL h) { DpTrcWarn(h, u"slow\n"); }, true,
       u"N  {T}*** WARNING => slow [nixx         12345]\n"},
      {"warning without thread", [](CTRC_HDL h) { DpTrcWarnNoThrA7(h, "%s\n", "a7"); }, true,
       u"N  *** WARNING => a7 [nixx         12345]\n"},
      {"error without component", [](CTRC_HDL h) { DpTrcErrNoThr(h, u"plain"); }, false,
       u"*** ERROR => plain [nixx         12345]\n"},
      {"system error",
       [](CTRC_HDL h) {
         errno = ENOENT;
         DpSysErr(h, u"open %s\n", u"f");
       },
       true, u"N  {T}*** ERROR => open f (2: No such file or directory) [nixx         12345]\n"},
  };
  for (const Case &c : cases) {
    trace_.Clear();
    c.write(c.with_component ? n_ : nullptr);
    std::u16string expected = c.expected;
    size_t at = expected.find(u"{T}");
    if (at != std::u16string::npos) expected.replace(at, 3, thr_);
    EXPECT_EQ(trace_.Text(), expected) << c.name;
  }
}

TEST_F(DpTrcErrTest, StatementRecordsItsOwnFileAndLine) {
  DPTRC_ERR(n_, u"x\n");
  int line = __LINE__ - 1;
  // "dptrace_error_test.cpp" cut to 12 units.
  EXPECT_EQ(trace_.Text(), u"N  " + thr_ + u"*** ERROR => x [dptrace_erro " +
                               tlm_test::Utf16(std::to_string(line)) + u"]\n");
}

TEST_F(DpTrcErrTest, OnlyALevelBelowOneSuppresses) {
  EntLev = 3;  // not consulted by errors
  DpTrcErr(n_, u"shown");
  EntLev = 2;
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

TEST_F(DpTrcErrTest, PerrnoTexts) {
  errno = EINTR;
  perrno(n_);
  EXPECT_EQ(trace_.Text(), u" (4: Interrupted system call)");
  EXPECT_EQ(errno, EINTR);
}

}  // namespace
