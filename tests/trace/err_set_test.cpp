// Setting and replacing the error information, and its printed forms: the trace box of ErrTrace
// and the text of ErrPr.

#include <functional>

#include "err_test_util.h"
#include "zul_u16string.h"

namespace {

using err_test::ErrTest;
using err_test::Field;

class ErrSetTest : public err_test::ErrTest {};

// Text and detail take their arguments from one list, in this order. Only s d o u x X e E f give
// argument texts; %i and %g take theirs silently, and %% takes none.
TEST_F(ErrSetTest, ArgumentsFeedTextThenDetail) {
  ASSERT_EQ(ErrSet(u"C", 0, u"m", 1, u"(K0001) open %s: %i%% of %-4d|", 0,
                   u"(K0002) %g at %5.2f, %*x", u"f", 3, 12, 0.5, 1.5, 6, 255),
            ERR_OK);
  EXPECT_EQ(Field(ERR_FLD_TEXT), u"open f: 3% of 12  |");
  EXPECT_EQ(Field(ERR_FLD_DESCR_VARGS), u"f;;;;12  ");
  EXPECT_EQ(Field(ERR_FLD_DETAIL), u"0.5 at  1.50,     ff");
  EXPECT_EQ(Field(ERR_FLD_DETAIL_MSG_NO), u"K0002");
  EXPECT_EQ(Field(ERR_FLD_DETAIL_VARGS), u" 1.50;;;;    ff");
}

TEST_F(ErrSetTest, KeyRules) {
  struct {
    int key_length;
    const char16_t *format, *text, *key;
  } const cases[] = {
      {5, u"(ABCDE)x", u"x", u"ABCDE"},
      {5, u"(ABCDE)  two blanks", u" two blanks", u"ABCDE"},
      {5, u"(ABCD) short", u"(ABCD) short", u""},
      {5, u"(ABCDEF) long", u"(ABCDEF) long", u""},
      {5, u"(AB)DE) x", u"(AB)DE) x", u""},
      {3, u"(ABC) three", u"three", u"ABC"},
      {10, u"(0123456789) ten", u"ten", u"0123456789"},
  };
  for (const auto &c : cases) {
    ASSERT_EQ(ErrSetMsgKey(c.key_length), ERR_OK);
    ASSERT_EQ(ErrSet(u"C", 0, u"m", 1, c.format, 0, nullptr), ERR_OK);
    EXPECT_EQ(Field(ERR_FLD_TEXT), c.text) << tlm_test::Utf8(c.format);
    EXPECT_EQ(Field(ERR_FLD_DESCR_MSG_NO), c.key) << tlm_test::Utf8(c.format);
  }
  EXPECT_EQ(ErrSetMsgKey(11), ERR_BAD_PARAM);
  EXPECT_EQ(ErrSetMsgKey(0), ERR_BAD_PARAM);
}

TEST_F(ErrSetTest, FieldsOfASystemError) {
  ErrSetMyLocation(u"%s:%d", u"worker", 3);
  ASSERT_EQ(ErrSetSys(u"NI (network interface)", 2, u"nixxi", 812, 0, u"connect to %s", -10,
                      u"detail", u"connect", 111, u"host"),
            ERR_OK);
  const std::u16string expected[] = {
      u"*ERR*", u"1", u"connect to host", u"-10", u"NI (network interface)",
      u"720",   u"2", u"nixxi",           u"812", u"detail"};
  for (int f = 0; f < 10; ++f) EXPECT_EQ(Field(f), expected[f]) << f;
  EXPECT_EQ(Field(ERR_FLD_TIME).size(), 24u);
  EXPECT_EQ(Field(ERR_FLD_SYSCALL) + u"|" + Field(ERR_FLD_ERRNO) + u"|" +
                Field(ERR_FLD_ERRNO_TEXT) + u"|" + Field(ERR_FLD_COUNTER) + u"|" +
                Field(ERR_FLD_LOCATION) + u"|" + Field(ERR_FLD_EYECATCHER_END),
            u"connect|111|Connection refused|1|worker:3|*ERR*");

  // Zero numbers are empty; the counter goes on, also across ErrClear.
  ErrClear();
  EXPECT_EQ(ErrIsAInfo(), 0);
  ASSERT_EQ(ErrSet(nullptr, 0, nullptr, 0, nullptr, 0, nullptr), ERR_OK);
  for (int f : {ERR_FLD_RC, ERR_FLD_VERSION, ERR_FLD_LINE, ERR_FLD_ERRNO, ERR_FLD_ERRNO_TEXT})
    EXPECT_EQ(Field(f), u"") << f;
  EXPECT_EQ(Field(ERR_FLD_COUNTER), u"2");
  EXPECT_EQ(err_test::CurrentBlock().size(), 21u + 5 + 1 + 3 + 24 + 1 + 8 + 5);
}

TEST_F(ErrSetTest, BlockThatDoesNotFitIsTracedAndLeftUnreadable) {
  std::u16string big(480, u'x');
  ASSERT_EQ(ErrSet(u"C", 0, u"m", 1, u"%s", 0, u"%s", big.c_str(), u"detail"), ERR_AREA);
  std::vector<std::u16string> lines = trace_.Lines();
  ASSERT_GE(lines.size(), 19u);
  EXPECT_TRUE(TraceStartsWithError(u"ErrISetSys: error info too large"));
  EXPECT_EQ(lines[1], u"LOCATION    ");
  EXPECT_EQ(lines[2], u"ERROR       " + big);
  EXPECT_EQ(lines[11], u"SYSTEM CALL ");
  EXPECT_EQ(lines[18], u"COUNTER     1");
  EXPECT_EQ(ErrIsAInfo(), 1);
  trace_.Clear();
  EXPECT_EQ(err_test::GetAnswer(), ERR_BAD_PARAM);
  // 21 terminators, the eyecatchers, "1", the text, "C", "720", "m", "1", "detail", the time and
  // the counter.
  size_t length = 21 + 5 + 1 + 480 + 1 + 3 + 1 + 1 + 6 + 24 + 1 + 5;
  EXPECT_EQ(trace_.Text(),
            Thr(u"ErrIGet: bad length (" + tlm_test::Utf16(std::to_string(length)) + u")\n"));
}

TEST_F(ErrSetTest, LogOptionWritesALogEntry) {
  int saved = ct_log_level;
  ct_log_level = 1;
  ErrSetSys(u"NI", 0, u"nixx", 77, 1, u"t", 0, u"connect to %s", u"connect", 111, u"host");
  ErrSetSys(u"NI", 0, u"nixx", 78, 0, u"t", 0, u"unlogged", u"connect", 111);
  ct_log_level = saved;
  EXPECT_EQ(trace_.Text(),
            Thr(u"***LOG Q0I=> connect to host: connect (111: Connection refused) [nixx 77]\n"));
}

TEST_F(ErrSetTest, ReplaceByField) {
  const struct {
    const char *name;
    std::function<int()> replace;
    int rc;
    std::vector<std::pair<int, std::u16string>> fields;
  } cases[] = {
      {"rc", [] { return ErrReplace(ERR_FLD_RC, 42); }, ERR_OK, {{ERR_FLD_RC, u"42"}}},
      {"errno and its text",
       [] { return ErrReplace(ERR_FLD_ERRNO, 2); },
       ERR_OK,
       {{ERR_FLD_ERRNO, u"2"}, {ERR_FLD_ERRNO_TEXT, u"No such file or directory"}}},
      {"keyed text",
       [] { return ErrReplace(ERR_FLD_TEXT, u"(ZZZZZ) now %s", u"x"); },
       ERR_OK,
       {{ERR_FLD_TEXT, u"now x"}, {ERR_FLD_DESCR_MSG_NO, u"ZZZZZ"}, {ERR_FLD_DESCR_VARGS, u"x"}}},
      {"plain detail",
       [] { return ErrReplace(ERR_FLD_DETAIL, u"plain %d", 3); },
       ERR_OK,
       {{ERR_FLD_DETAIL, u"plain 3"}, {ERR_FLD_DETAIL_MSG_NO, u""}, {ERR_FLD_DETAIL_VARGS, u""}}},
      {"text field",
       [] { return ErrReplace(ERR_FLD_MODULE, u"m%d"); },
       ERR_OK,
       {{ERR_FLD_MODULE, u"m%d"}}},
      {"location format",
       [] { return ErrReplace(ERR_FLD_LOCATION, u"at %d", 5); },
       ERR_OK,
       {{ERR_FLD_LOCATION, u"at 5"}}},
      {"eyecatcher", [] { return ErrReplace(20, u"x"); }, ERR_UNKNOWN_FIELD, {}},
      {"time", [] { return ErrReplace(ERR_FLD_TIME, u"x"); }, ERR_UNKNOWN_FIELD, {}},
      {"negative", [] { return ErrReplace(-1, u"x"); }, ERR_UNKNOWN_FIELD, {}},
  };
  for (const auto &c : cases) {
    ASSERT_EQ(ErrSet(u"C", 0, u"m", 1, u"(AAAAA) t %s", 7, u"(BBBBB) d %s", u"a", u"b"), ERR_OK);
    std::u16string before = err_test::CurrentBlock();
    EXPECT_EQ(c.replace(), c.rc) << c.name;
    for (const auto &[field, text] : c.fields) EXPECT_EQ(Field(field), text) << c.name;
    EXPECT_TRUE(c.rc == ERR_OK || err_test::CurrentBlock() == before) << c.name;
  }
}

TEST_F(ErrSetTest, ReplaceThatDoesNotFitKeepsTheBlock) {
  EXPECT_EQ(ErrReplace(ERR_FLD_RC, 1), ERR_NO_INFO);
  EXPECT_EQ(trace_.Text(), Thr(u"ErrReplace: no error info available\n"));
  ASSERT_EQ(ErrSet(u"C", 0, u"m", 1, u"t", 0, nullptr), ERR_OK);
  std::u16string before = err_test::CurrentBlock();
  std::u16string big(500 - before.size() + 1, u'y');  // one unit too many
  trace_.Clear();
  EXPECT_EQ(ErrReplace(ERR_FLD_SYSCALL, big.c_str()), ERR_AREA);
  EXPECT_TRUE(TraceStartsWithError(u"ErrReplace: error info too large"));
  EXPECT_EQ(err_test::CurrentBlock(), before);
  big.pop_back();
  EXPECT_EQ(ErrReplace(ERR_FLD_SYSCALL, big.c_str()), ERR_OK);
  EXPECT_EQ(err_test::CurrentBlock().size(), 500u);
}

TEST_F(ErrSetTest, StateAccessors) {
  ZUL_UTF16 *block = nullptr;
  size_t length = 0;
  EXPECT_EQ(ErrGetAttr(&block, &length), ERR_NO_INFO);
  EXPECT_EQ(ErrSetLength(501), ERR_BAD_PARAM);
  EXPECT_TRUE(TraceStartsWithError(u"ErrSetLength: bad parameter len (501)"));
  // A block written through ErrGetAttr's pointer becomes the information with ErrSetLength.
  ASSERT_EQ(ErrSet(u"C", 0, u"m", 1, u"t", 0, nullptr), ERR_OK);
  ASSERT_EQ(ErrGetAttr(&block, &length), ERR_OK);
  std::u16string sample = err_test::SampleBlock();
  std::copy(sample.begin(), sample.end(), block);
  EXPECT_EQ(ErrSetLength(sample.size()), ERR_OK);
  EXPECT_EQ(Field(ERR_FLD_COMPONENT), u"NI (network interface)");
  EXPECT_EQ(ErrGetMyLocation(), std::u16string(u""));
}

TEST(ErrHelpers, ErrnoTextsAndFormats) {
  EXPECT_EQ(std::u16string(ErrPrErrno(2)), u"No such file or directory");
  for (int code : {0, 10000, -1}) EXPECT_EQ(std::u16string(ErrPrErrno(code)), u"") << code;
  ZUL_UTF16 small[6];
  EXPECT_EQ(std::u16string(ErrPrErrno2(2, small, 6)), u"(2) -");
  struct {
    const char16_t *text;
    size_t size;
    const char16_t *out;
  } const formats[] = {
      {u"50% of %d", 32, u"50%% of %%d"}, {u"a%b", 4, u"a%%"}, {u"a%b", 3, u"a"}, {u"", 1, u""}};
  for (const auto &f : formats) {
    ZUL_UTF16 out[32];
    EXPECT_EQ(std::u16string(ErrSafeAsFmtString(f.text, out, f.size)), f.out);
  }
}

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
