// Error information: setting and replacing it, its printed forms (the trace box of ErrTrace and
// the text of ErrPr), message texts by key and language from a message file in a temporary
// directory, and the network form and the copies of a block. Every received buffer is a heap
// allocation of exactly its length, so that ASan reports a byte read past its end.
#include "trace_capture.h"
#include "zul_err.h"
#include "zul_u16conv.h"

namespace {

using tlm_test::Utf16;
using tlm_test::Utf8;

// A block: each field with its terminator, one behind the other.
std::u16string MakeBlock(std::initializer_list<std::u16string> fields) {
  std::u16string block;
  for (const std::u16string &f : fields) block += f + u'\0';
  return block;
}

// A complete block of 21 fields, every one with a text of its own kind.
std::u16string SampleBlock() {
  // clang-format off
  return MakeBlock({u"*ERR*", u"1", u"connect failed", u"-10", u"NI (network interface)", u"720",
                    u"", u"nixxi", u"1234", u"peer reset the connection",
                    u"Mon Jan  5 12:34:56 2026", u"connect", u"104", u"Connection reset by peer",
                    u"9", u"server A", u"", u"", u"", u"", u"*ERR*"});
  // clang-format on
}

std::u16string Field(int n) { return ErrGetFld(n); }

// The fields, joined by '|'.
std::u16string Fields(std::initializer_list<int> fields) {
  std::u16string joined;
  for (const int &f : fields) joined += (&f == fields.begin() ? u"" : u"|") + Field(f);
  return joined;
}

// ErrGet without any output, for its answer.
int GetAnswer() {
  return ErrGet(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                nullptr, nullptr, nullptr, nullptr, nullptr);
}

// The thread's block as it is now.
std::u16string CurrentBlock() {
  ZUL_UTF16 *block = nullptr;
  size_t length = 0;
  return ErrGetAttr(&block, &length) == ERR_OK ? std::u16string(block, length) : u"";
}

// Each test starts and ends without error information; the trace goes to memory at level 2.
class ErrTest : public ::testing::Test {
 protected:
  void SetUp() override { ErrFree(nullptr); }
  void TearDown() override { ErrFree(nullptr); }
  // A trace line of this thread.
  static std::u16string Thr(const std::u16string &text) {
    return tlm_test::TraceCapture::ThreadPrefix() + text;
  }
  // Whether the trace starts with the error line of this module for text (line number left out).
  bool TraceStartsWithError(const std::u16string &text) const {
    return trace_.Text().rfind(Thr(u"*** ERROR => " + text + u" [err_r_mt"), 0) == 0;
  }
  tlm_test::TraceCapture trace_{2};
};

using ErrSetTest = ErrTest;

// Text and detail take their arguments from one list, in this order. Only s d o u x X e E f give
// argument texts; %i and %g take theirs silently, and %% takes none.
TEST_F(ErrSetTest, ArgumentsFeedTextThenDetail) {
  ASSERT_EQ(ErrSet(u"C", 0, u"m", 1, u"(K0001) open %s: %i%% of %-4d|", 0,
                   u"(K0002) %g at %5.2f, %*x", u"f", 3, 12, 0.5, 1.5, 6, 255),
            ERR_OK);
  EXPECT_EQ(Fields({ERR_FLD_TEXT, ERR_FLD_DESCR_VARGS, ERR_FLD_DETAIL, ERR_FLD_DETAIL_MSG_NO,
                    ERR_FLD_DETAIL_VARGS}),
            u"open f: 3% of 12  ||f;;;;12  |0.5 at  1.50,     ff|K0002| 1.50;;;;    ff");
}

TEST_F(ErrSetTest, KeyRules) {
  // Key length and format; the text and the key ErrSet stores.
  const std::tuple<int, const char16_t *, const char16_t *, const char16_t *> cases[] = {
      {5, u"(ABCDE)x", u"x", u"ABCDE"},
      {5, u"(ABCDE)  two blanks", u" two blanks", u"ABCDE"},
      {5, u"(ABCD) short", u"(ABCD) short", u""},
      {5, u"(ABCDEF) long", u"(ABCDEF) long", u""},
      {5, u"(AB)DE) x", u"(AB)DE) x", u""},
      {3, u"(ABC) three", u"three", u"ABC"},
      {10, u"(0123456789) ten", u"ten", u"0123456789"}};
  for (auto [key_length, format, text, key] : cases) {
    SCOPED_TRACE(Utf8(format));
    ASSERT_EQ(ErrSetMsgKey(key_length), ERR_OK);
    ASSERT_EQ(ErrSet(u"C", 0, u"m", 1, format, 0, nullptr), ERR_OK);
    EXPECT_EQ(Fields({ERR_FLD_TEXT, ERR_FLD_DESCR_MSG_NO}), std::u16string(text) + u"|" + key);
  }
  EXPECT_EQ(ErrSetMsgKey(11), ERR_BAD_PARAM);
  EXPECT_EQ(ErrSetMsgKey(0), ERR_BAD_PARAM);
}

TEST_F(ErrSetTest, FieldsOfASystemErrorAndItsLogEntry) {
  EXPECT_EQ(ErrGetMyLocation(), std::u16string(u""));
  ErrSetMyLocation(u"%s:%d", u"worker", 3);
  ASSERT_EQ(ErrSetSys(u"NI (network interface)", 2, u"nixxi", 812, 0, u"connect to %s", -10,
                      u"detail", u"connect", 111, u"host"),
            ERR_OK);
  EXPECT_EQ(Fields({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}),
            u"*ERR*|1|connect to host|-10|NI (network interface)|720|2|nixxi|812|detail");
  EXPECT_EQ(Field(ERR_FLD_TIME).size(), 24u);
  EXPECT_EQ(Fields({ERR_FLD_SYSCALL, ERR_FLD_ERRNO, ERR_FLD_ERRNO_TEXT, ERR_FLD_COUNTER,
                    ERR_FLD_LOCATION, ERR_FLD_EYECATCHER_END}),
            u"connect|111|Connection refused|1|worker:3|*ERR*");

  // Zero numbers are empty; the counter goes on, also across ErrClear.
  ErrClear();
  EXPECT_EQ(ErrIsAInfo(), 0);
  ASSERT_EQ(ErrSet(nullptr, 0, nullptr, 0, nullptr, 0, nullptr), ERR_OK);
  EXPECT_EQ(Fields({ERR_FLD_RC, ERR_FLD_VERSION, ERR_FLD_LINE, ERR_FLD_ERRNO, ERR_FLD_ERRNO_TEXT,
                    ERR_FLD_COUNTER}),
            u"|||||2");
  EXPECT_EQ(CurrentBlock().size(), 21u + 5 + 1 + 3 + 24 + 1 + 8 + 5);

  // With a log level, the log option writes a log entry.
  trace_.Clear();
  ct_log_level = 1;
  ErrSetSys(u"NI", 0, u"nixx", 77, 1, u"t", 0, u"connect to %s", u"connect", 111, u"host");
  ErrSetSys(u"NI", 0, u"nixx", 78, 0, u"t", 0, u"unlogged", u"connect", 111);
  ct_log_level = 0;
  EXPECT_EQ(trace_.Text(),
            Thr(u"***LOG Q0I=> connect to host: connect (111: Connection refused) [nixx 77]\n"));
}

TEST_F(ErrSetTest, BlockThatDoesNotFitIsTracedAndLeftUnreadable) {
  std::u16string big(480, u'x');
  ASSERT_EQ(ErrSet(u"C", 0, u"m", 1, u"%s", 0, u"%s", big.c_str(), u"detail"), ERR_AREA);
  std::vector<std::u16string> lines = trace_.Lines();
  ASSERT_GE(lines.size(), 19u);
  EXPECT_TRUE(TraceStartsWithError(u"ErrISetSys: error info too large"));
  EXPECT_EQ(lines[2] + lines[18], u"ERROR       " + big + u"COUNTER     1");
  EXPECT_EQ(ErrIsAInfo(), 1);
  trace_.Clear();
  EXPECT_EQ(GetAnswer(), ERR_BAD_PARAM);
  // 21 terminators, the eyecatchers, "1", the text, "C", "720", "m", "1", "detail", the time and
  // the counter.
  size_t length = 21 + 5 + 1 + 480 + 1 + 3 + 1 + 1 + 6 + 24 + 1 + 5;
  EXPECT_EQ(trace_.Text(), Thr(u"ErrIGet: bad length (" + Utf16(std::to_string(length)) + u")\n"));
}

TEST_F(ErrSetTest, ReplaceByField) {
  ASSERT_EQ(ErrSet(u"C", 0, u"m", 1, u"(AAAAA) t %s", 7, u"(BBBBB) d %s", u"a", u"b"), ERR_OK);
  const std::u16string before = CurrentBlock();
  for (int field : {int{ERR_FLD_EYECATCHER_END}, int{ERR_FLD_TIME}, -1})
    EXPECT_EQ(ErrReplace(field, u"x"), ERR_UNKNOWN_FIELD) << field;
  EXPECT_EQ(CurrentBlock(), before);
  // The errno's text comes with it; a text or detail replaces its key and arguments too; the
  // module is no format.
  for (int rc : {ErrReplace(ERR_FLD_RC, 42), ErrReplace(ERR_FLD_ERRNO, 2),
                 ErrReplace(ERR_FLD_TEXT, u"(ZZZZZ) now %s", u"x"),
                 ErrReplace(ERR_FLD_DETAIL, u"plain %d", 3), ErrReplace(ERR_FLD_MODULE, u"m%d"),
                 ErrReplace(ERR_FLD_LOCATION, u"at %d", 5)})
    EXPECT_EQ(rc, ERR_OK);
  EXPECT_EQ(Fields({ERR_FLD_RC, ERR_FLD_ERRNO, ERR_FLD_ERRNO_TEXT, ERR_FLD_TEXT,
                    ERR_FLD_DESCR_MSG_NO, ERR_FLD_DESCR_VARGS, ERR_FLD_DETAIL,
                    ERR_FLD_DETAIL_MSG_NO, ERR_FLD_DETAIL_VARGS, ERR_FLD_MODULE, ERR_FLD_LOCATION}),
            u"42|2|No such file or directory|now x|ZZZZZ|x|plain 3|||m%d|at 5");
}

// A replacement that doesn't fit keeps the block; a block written through ErrGetAttr's pointer
// becomes the information with ErrSetLength.
TEST_F(ErrSetTest, ReplaceThatDoesNotFitAndBlockWrittenInPlace) {
  ZUL_UTF16 *block = nullptr;
  size_t length = 0;
  EXPECT_EQ(ErrGetAttr(&block, &length), ERR_NO_INFO);
  EXPECT_EQ(ErrReplace(ERR_FLD_RC, 1), ERR_NO_INFO);
  EXPECT_EQ(trace_.Text(), Thr(u"ErrReplace: no error info available\n"));
  trace_.Clear();
  EXPECT_EQ(ErrSetLength(501), ERR_BAD_PARAM);
  EXPECT_TRUE(TraceStartsWithError(u"ErrSetLength: bad parameter len (501)"));
  ASSERT_EQ(ErrSet(u"C", 0, u"m", 1, u"t", 0, nullptr), ERR_OK);
  std::u16string before = CurrentBlock();
  std::u16string big(500 - before.size() + 1, u'y');  // one unit too many
  trace_.Clear();
  EXPECT_EQ(ErrReplace(ERR_FLD_SYSCALL, big.c_str()), ERR_AREA);
  EXPECT_TRUE(TraceStartsWithError(u"ErrReplace: error info too large"));
  EXPECT_EQ(CurrentBlock(), before);
  big.pop_back();
  EXPECT_EQ(ErrReplace(ERR_FLD_SYSCALL, big.c_str()), ERR_OK);
  EXPECT_EQ(CurrentBlock().size(), 500u);

  ASSERT_EQ(ErrGetAttr(&block, &length), ERR_OK);
  std::u16string sample = SampleBlock();
  std::copy(sample.begin(), sample.end(), block);
  EXPECT_EQ(ErrSetLength(sample.size()), ERR_OK);
  EXPECT_EQ(Field(ERR_FLD_COMPONENT), u"NI (network interface)");
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

// The sample block, taken over as the thread's first error: its counter becomes 1.
class ErrPrintTest : public ErrTest {
 protected:
  void SetUp() override {
    ErrTest::SetUp();
    std::u16string block = SampleBlock();
    ASSERT_EQ(ErrCpTo(block.data(), block.size()), ERR_OK);
    trace_.Clear();
  }
};

// The rows of the sample block, in the order both printed forms give them.
const std::vector<std::u16string> kRows = tlm_test::SplitLines(
    u"LOCATION    server A\nERROR       connect failed\nTIME        Mon Jan  5 12:34:56 2026\n"
    u"RELEASE     720\nCOMPONENT   NI (network interface)\nRC          -10\nMODULE      nixxi\n"
    u"LINE        1234\nDETAIL      peer reset the connection\nSYSTEM CALL connect\n"
    u"ERRNO       104\nERRNO TEXT  Connection reset by peer\nCOUNTER     1\n");

// The trace box sets the location and the error apart from the other rows; ErrPr gives the same
// rows.
TEST_F(ErrPrintTest, TraceBoxAndTextGiveTheRowsInTheirOrder) {
  const std::u16string rule(77, u'*');
  std::u16string box = u"\n" + rule + u"\n*\n", text;
  for (const std::u16string &row : kRows) {
    box += u"*  " + row + u"\n" + (row == kRows[1] ? u"*\n" : u"");
    text += u"\n" + row;
  }
  ASSERT_EQ(ErrTrace(tf), ERR_OK);
  EXPECT_EQ(trace_.Text(), box + u"*\n" + rule + u"\n\n");
  EXPECT_EQ(std::u16string(ErrPr()), text);
  EXPECT_EQ(Field(21), u"");
  EXPECT_EQ(std::u16string(ErrGetFldL(ERR_FLD_LOCATION, ERR_NO_LANGUAGE)), u"server A");

  // Through a component handle every line has its prefix; tf at trace level 0 writes nothing;
  // without information a level 2 line says so.
  CTRC_HDL e = nullptr;
  ASSERT_EQ(CTrcNewComp(u'E', &e, nullptr), 0);
  trace_.Clear();
  ASSERT_EQ(ErrTrace(e), ERR_OK);
  std::vector<std::u16string> lines = trace_.Lines();
  ASSERT_EQ(lines.size(), 20u);
  EXPECT_EQ(lines[3], u"E  *  LOCATION    server A");
  trace_.Clear();
  ct_level = 0;
  EXPECT_EQ(ErrTrace(tf), ERR_OK);
  ct_level = 2;
  EXPECT_EQ(trace_.Text(), u"");
  ErrClear();
  EXPECT_EQ(ErrTrace(tf), ERR_NO_INFO);
  EXPECT_EQ(trace_.Text(), Thr(u"ErrTrace: no error info available\n"));
  trace_.Clear();
  EXPECT_EQ(Field(0), u"");
  EXPECT_EQ(trace_.Text(), Thr(u"ErrGetFld: no error info available\n"));
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
  ASSERT_EQ(ErrTrace(tf), ERR_OK);
  EXPECT_NE(trace_.Text().find(expected_trace + u"*  SYSTEM CALL"), std::u16string::npos)
      << Utf8(trace_.Text());
  EXPECT_NE(std::u16string(ErrPr()).find(expected_text + u"\nSYSTEM CALL"), std::u16string::npos);
}

class ErrMsgTest : public ErrTest {
 protected:
  void SetUp() override {
    ErrTest::SetUp();
    std::ofstream(path_) << "EABCDE Connection to &1 failed after &2 tries\n"
                            "DABCDE Verbindung zu &1 nach &2 Versuchen gescheitert\n"
                            "EDET01 detail &x and & more\n"
                            "EMISS1 needs &3 and &\n"
                            "E\xC3\x84UMLT \xC3\xA4rger\n";
  }
  // The error text in lang.
  std::u16string Text(ZUL_UTF16 lang) {
    const ZUL_UTF16 *text = nullptr;
    EXPECT_EQ(ErrGetL(lang, nullptr, nullptr, nullptr, nullptr, &text, nullptr, nullptr, nullptr,
                      nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              ERR_OK);
    return text;
  }
  tlm_test::TempDir dir_;
  std::string path_ = dir_.File("messages");
};

TEST_F(ErrMsgTest, KeyedTextsAreTranslatedWithTheirArguments) {
  ASSERT_EQ(ErrSetMsgFile(Utf16(path_).c_str()), ERR_OK);
  ASSERT_EQ(ErrSet(u"C", 0, u"m", 1, u"(ABCDE) connect to %s failed after %d tries", 0,
                   u"(DET01) d %s %s", u"host", 3, u"p", u"q"),
            ERR_OK);
  EXPECT_EQ(Text(u'E'), u"Connection to host failed after 3 tries");
  EXPECT_EQ(Text(u'D'), u"Verbindung zu host nach 3 Versuchen gescheitert");
  EXPECT_EQ(std::u16string(ErrGetFldL(ERR_FLD_DETAIL, u'E')), u"detail px and q more");
  EXPECT_EQ(Text(ERR_NO_LANGUAGE), u"connect to host failed after 3 tries");
  EXPECT_NE(std::u16string(ErrPrL(u'D')).find(u"\nERROR       Verbindung zu host"),
            std::u16string::npos);

  // No entry in this language: the text stays, a level 2 line says so.
  trace_.Clear();
  EXPECT_EQ(Text(u'F'), u"connect to host failed after 3 tries");
  EXPECT_EQ(trace_.Lines()[0], Thr(u"ErrIGet: no text found (msg ABCDE lang F)"));

  // Missing arguments insert nothing and are traced.
  ASSERT_EQ(ErrReplace(ERR_FLD_TEXT, u"(MISS1) x %s", u"a"), ERR_OK);
  trace_.Clear();
  EXPECT_EQ(Text(u'E'), u"needs  and a");
  EXPECT_EQ(trace_.Text(), Thr(u"ErrMergeTxt: no vargs for &3\n"));
  ASSERT_EQ(ErrReplace(ERR_FLD_TEXT, u"(MISS1) none"), ERR_OK);
  trace_.Clear();
  EXPECT_EQ(Text(u'E'), u"needs  and ");
  EXPECT_NE(trace_.Text().find(u"ErrMergeTxt: no vargs\n"), std::u16string::npos);

  // The line rule on ASCII files is asserted by the message file's fuzz target; a key and a text
  // beyond ASCII are not. The stream stays open and is read from its start for each search.
  ZUL_UTF16 buffer[64];
  ASSERT_EQ(ErrGetTxt(u"ÄUMLT", u'E', buffer, 64), 1);
  EXPECT_EQ(std::u16string(buffer), u"ärger");
  EXPECT_EQ(ErrGetTxt(u"ABCDE", u'E', buffer, 64), 1);
}

TEST_F(ErrMsgTest, FileNameFromTheThreadThenTheEnvironmentAndLookupReplaced) {
  std::string other = dir_.File("missing");
  ASSERT_EQ(setenv("ERR_MSG_FILE", path_.c_str(), 1), 0);
  ZUL_UTF16 buffer[64];
  EXPECT_EQ(ErrGetTxt(u"ABCDE", u'D', buffer, 64), 1);
  // A file set for the thread replaces the variable; a second one changes nothing.
  EXPECT_EQ(ErrSetMsgFile(Utf16(other).c_str()), ERR_OK);
  EXPECT_EQ(ErrSetMsgFile(Utf16(path_).c_str()), ERR_OK);
  trace_.Clear();
  EXPECT_EQ(ErrGetTxt(u"ABCDE", u'D', buffer, 64), 0);
  EXPECT_EQ(trace_.Text(), Thr(u"ErrGetTxt: can't open file " + Utf16(other) +
                               u" (2 No such file or directory)\n"));
  unsetenv("ERR_MSG_FILE");

  // The lookup can be replaced.
  ErrSetGetTxt([](const ZUL_UTF16 *key, ZUL_UTF16 lang, ZUL_UTF16 *buffer, int size) {
    std::u16string text = u"[" + std::u16string(key) + u" " + std::u16string(1, lang) + u" &1]";
    if (static_cast<int>(text.size()) >= size) return 0;
    std::copy(text.begin(), text.end() + 1, buffer);
    return 1;
  });
  ASSERT_EQ(ErrSet(u"C", 0, u"m", 1, u"(ABCDE) t %s", 0, nullptr, u"arg"), ERR_OK);
  EXPECT_EQ(Text(u'X'), u"[ABCDE X arg]");
  ErrSetGetTxt(nullptr);
  EXPECT_EQ(ErrGetTxtPtr, &ErrGetTxt);
}

// ErrCpNetToInt on a copy of bytes in memory of exactly their size.
int NetToInt(const std::string &bytes) {
  std::unique_ptr<ZUL_RAW, decltype(&std::free)> buffer(
      static_cast<ZUL_RAW *>(std::malloc(bytes.size() + (bytes.empty() ? 1 : 0))), &std::free);
  std::memcpy(buffer.get(), bytes.data(), bytes.size());
  return ErrCpNetToInt(buffer.get(), bytes.size());
}

using ErrNetTest = ErrTest;

TEST_F(ErrNetTest, NetworkFormIsTheBlockInUtf8) {
  ASSERT_EQ(ErrSet(u"Komponente", 3, u"modul", 5, u"Grüße an %s", 1, u"詳細 %d", u"Zoë", 42),
            ERR_OK);
  std::u16string block = CurrentBlock();
  ZUL_RAW net[ERR_MAX_UNITS * 3];
  size_t length = 0, again = 0;
  ASSERT_EQ(ErrCpIntToNet(net, &length, sizeof net), ERR_OK);
  EXPECT_EQ(std::string(reinterpret_cast<char *>(net), length), Utf8(block));
  EXPECT_EQ(Field(ERR_FLD_DETAIL), u"詳細 42");
  // The same from a given block; a buffer one byte short fails.
  ErrClear();
  EXPECT_EQ(ErrCpIntToNet(net, &length, sizeof net), ERR_NO_INFO);
  ASSERT_EQ(ErrCpIntToNet2(net, &again, sizeof net, block.data(), block.size()), ERR_OK);
  EXPECT_EQ(again, length);
  EXPECT_EQ(ErrCpIntToNet2(net, &again, length - 1, block.data(), block.size()), ERR_CONVERSION);
}

TEST_F(ErrNetTest, DamagedNetworkFormsGetTheirCodesAndTraces) {
  const std::u16string sample = SampleBlock();
  const std::string good = Utf8(sample);
  std::string ebcdic(sample.size(), '\0');
  UcnToE8n(ebcdic.data(), sample.data(), sample.size());
  std::u16string twenty = sample;
  twenty.erase(twenty.find(u"server A"), 9);  // the location with its terminator
  const struct {
    std::string bytes;
    int net_rc;                       // of ErrCpNetToInt
    int get_rc;                       // of ErrGet afterwards
    const char16_t *error = nullptr;  // the error line the trace starts with
  } cases[] = {
      {good, ERR_OK, ERR_OK},
      {ebcdic, ERR_OK, ERR_OK},  // a peer's EBCDIC block is widened
      {Utf8(MakeBlock({u"*ERR*"})) + "\xFF" + good.substr(6), ERR_OK, ERR_OK},  // replaced
      {good + std::string(ERR_MAX_UNITS + 1 - good.size(), 'x'), ERR_AREA, ERR_NO_INFO,
       u"ErrCpNetToInt2: internal area too small (500<501)"},
      {good + "\xE4\xB8", ERR_CONVERSION, ERR_NO_INFO},  // ends inside a character
      {"*ERX*" + good.substr(5), ERR_EYECATCHER, ERR_EYECATCHER,
       u"ErrCpNetToInt: bad err info (eyecatcher destroyed)"},
      {good.substr(0, good.size() - 3) + "X*" + '\0', ERR_EYECATCHER, ERR_EYECATCHER},
      {good.substr(0, good.size() - 1), ERR_EYECATCHER, ERR_EYECATCHER},  // no last terminator
      {"*ERR*", ERR_EYECATCHER, ERR_EYECATCHER},
      {"*ER", ERR_EYECATCHER, ERR_EYECATCHER},
      {"", ERR_EYECATCHER, ERR_NO_INFO},
      {"\x5C\xC5\xD9\xD9\x5C", ERR_EYECATCHER, ERR_EYECATCHER},  // EBCDIC eyecatcher alone
      {Utf8(twenty), ERR_OK, ERR_INCOMPLETE},
      {Utf8(MakeBlock({u"*ERR*", u"*ERR*"})), ERR_OK, ERR_INCOMPLETE}};
  for (const auto &c : cases) {
    SCOPED_TRACE(&c - cases);
    ErrClear();
    trace_.Clear();
    EXPECT_EQ(NetToInt(c.bytes), c.net_rc);
    EXPECT_TRUE(c.error == nullptr || TraceStartsWithError(c.error)) << Utf8(trace_.Text());
    if (c.error != nullptr && c.net_rc == ERR_EYECATCHER) {  // dumped at level 2 behind it
      ASSERT_GE(trace_.Lines().size(), 3u);
      EXPECT_NE(trace_.Lines()[1].find(u"bad err info"), std::u16string::npos);
    }
    EXPECT_EQ(GetAnswer(), c.get_rc);
    EXPECT_TRUE(&c - cases >= 2 || CurrentBlock() == sample);  // intact and EBCDIC
  }
  EXPECT_EQ(ErrCpNetToInt(nullptr, 4), ERR_BAD_PARAM);
}

TEST_F(ErrNetTest, CopiesIntoAndOutOfTheRecord) {
  std::u16string block = SampleBlock();
  EXPECT_EQ(ErrCpTo(block.data(), 3), ERR_EYECATCHER);
  std::u16string large = MakeBlock({u"*ERR*", std::u16string(ERR_MAX_UNITS, u'x'), u"*ERR*"});
  trace_.Clear();
  EXPECT_EQ(ErrCpTo(large.data(), large.size()), ERR_AREA);
  EXPECT_TRUE(TraceStartsWithError(u"ErrCpTo: error info too large (1026 bytes)"));
  // Taken over, the block counts as the thread's next error.
  ASSERT_EQ(ErrCpTo(block.data(), block.size()), ERR_OK);
  EXPECT_EQ(Field(ERR_FLD_COUNTER), u"1");
  ASSERT_EQ(ErrCpTo(block.data(), block.size()), ERR_OK);
  EXPECT_EQ(Fields({ERR_FLD_COUNTER, ERR_FLD_LOCATION}), u"2|server A");

  std::u16string out(block.size(), u'#');
  EXPECT_EQ(ErrCpFrom(out.data(), out.size() - 1), ERR_AREA);
  ASSERT_EQ(ErrCpFrom(out.data(), out.size()), ERR_OK);
  std::u16string expected = block;  // with the counter (after the errno text) at 2
  expected[expected.find(u"Connection reset by peer") + 25] = u'2';
  EXPECT_EQ(out, expected);
  ErrClear();
  EXPECT_EQ(ErrCpFrom(out.data(), out.size()), ERR_NO_INFO);
}

}  // namespace
