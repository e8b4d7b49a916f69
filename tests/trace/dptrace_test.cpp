// Plain trace lines: prefixes, continuation, multi-line texts, the line bound, encodings.
#include <gtest/gtest.h>

#include "trace_capture.h"
#include "zul_dptrace.h"

namespace {

using tlm_test::TraceCapture;

TEST(DpTrc, ComponentLineHasLetterIndentAndThreadPrefix) {
  TraceCapture trace;
  CTRC_HDL n = nullptr;
  ASSERT_EQ(CTrcNewComp(u'n', &n, nullptr), 0);
  DPTRC(1, n, u"hello %d\n", 7);
  EXPECT_EQ(trace.Text(), u"N  " + TraceCapture::ThreadPrefix() + u"hello 7\n");
}

}  // namespace
