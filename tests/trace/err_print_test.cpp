// The printed forms of the error information: the trace box of ErrTrace and the text of ErrPr.
#include "err_test_util.h"

namespace {

using err_test::ErrTest;

const std::u16string kRule(77, u'*');

class ErrPrintTest : public ErrTest {
 protected:
  // The sample block, taken over as the thread's first error: its counter becomes 1.
  void SetUp() override {
    ErrTest::SetUp();
    std::u16string block = err_test::SampleBlock();
    ASSERT_EQ(ErrCpTo(block.data(), block.size()), ERR_OK);
  }
};

// The rows of the sample block, in the order both printed forms give them.
const std::u16string kRows[] = {u"LOCATION    server A",
                                u"ERROR       connect failed",
                                u"TIME        Mon Jan  5 12:34:56 2026",
                                u"RELEASE     720",
                                u"COMPONENT   NI (network interface)",
                                u"RC          -10",
                                u"MODULE      nixxi",
                                u"LINE        1234",
                                u"DETAIL      peer reset the connection",
                                u"SYSTEM CALL connect",
                                u"ERRNO       104",
                                u"ERRNO TEXT  Connection reset by peer",
                                u"COUNTER     1"};

// The trace box sets the location and the error apart from the other rows.
TEST_F(ErrPrintTest, TraceBoxAndTextGiveTheRowsInTheirOrder) {
  std::u16string box = u"\n" + kRule + u"\n*\n";
  std::u16string text;
  for (const std::u16string &row : kRows) {
    box += u"*  " + row + u"\n" + (row == kRows[1] ? u"*\n" : u"");
    text += u"\n" + row;
  }
  trace_.Clear();
  ASSERT_EQ(ErrTrace(tf), ERR_OK);
  EXPECT_EQ(trace_.Text(), box + u"*\n" + kRule + u"\n\n");
  EXPECT_EQ(std::u16string(ErrPr()), text);
  ErrClear();
  EXPECT_EQ(std::u16string(ErrPr()), u"");
}

// Rows wrap at the last blank within 62 units, at an embedded newline, or hard at 62 units.
TEST_F(ErrPrintTest, LongValuesWrap) {
  const std::u16string a(58, u'a'), b(10, u'b'), c(70, u'c');
  ASSERT_EQ(ErrReplace(ERR_FLD_DETAIL, u"%s", (a + u" " + b + u" " + c + u"\nend").c_str()),
            ERR_OK);
  const std::u16string pieces[] = {a, b, c.substr(0, 62), c.substr(62), u"end"};
  std::u16string expected_trace = u"*  DETAIL      " + pieces[0] + u"\n";
  std::u16string expected_text = u"\nDETAIL      " + pieces[0];
  for (int i = 1; i < 5; ++i) {
    expected_trace += u"*              " + pieces[i] + u"\n";
    expected_text += u"\n            " + pieces[i];
  }
  trace_.Clear();
  ASSERT_EQ(ErrTrace(tf), ERR_OK);
  EXPECT_NE(trace_.Text().find(expected_trace + u"*  SYSTEM CALL"), std::u16string::npos)
      << tlm_test::Utf8(trace_.Text());
  EXPECT_NE(std::u16string(ErrPr()).find(expected_text + u"\nSYSTEM CALL"), std::u16string::npos);
}

TEST_F(ErrPrintTest, ComponentHandleAndSilentCases) {
  CTRC_HDL e = nullptr;
  ASSERT_EQ(CTrcNewComp(u'E', &e, nullptr), 0);
  trace_.Clear();
  ASSERT_EQ(ErrTrace(e), ERR_OK);
  std::vector<std::u16string> lines = trace_.Lines();
  ASSERT_EQ(lines.size(), 20u);
  EXPECT_EQ(lines[3], u"E  *  LOCATION    server A");

  // tf at trace level 0 writes nothing; without information a level 2 line says so.
  trace_.Clear();
  int saved = ct_level;
  ct_level = 0;
  EXPECT_EQ(ErrTrace(tf), ERR_OK);
  ct_level = saved;
  EXPECT_EQ(trace_.Text(), u"");
  ErrClear();
  EXPECT_EQ(ErrTrace(tf), ERR_NO_INFO);
  EXPECT_EQ(trace_.Text(), Thr(u"ErrTrace: no error info available\n"));
}

TEST_F(ErrPrintTest, SingleFields) {
  EXPECT_EQ(err_test::Field(21), u"");
  EXPECT_EQ(std::u16string(ErrGetFldL(ERR_FLD_LOCATION, ERR_NO_LANGUAGE)), u"server A");
  ErrClear();
  trace_.Clear();
  EXPECT_EQ(err_test::Field(0), u"");
  EXPECT_EQ(trace_.Text(), Thr(u"ErrGetFld: no error info available\n"));
}

}  // namespace
