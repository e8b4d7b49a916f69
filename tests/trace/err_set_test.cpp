// Error information: setting and replacing it, its printed forms (the trace box of ErrTrace and
// the text of ErrPr), message texts by key and language from a message file in a temporary
// directory, and the network form and the copies of a block. Every received buffer is a heap
// allocation of exactly its length, so that ASan reports a byte read past its end.

#include <functional>

#include "err_test_util.h"
#include "zul_u16conv.h"
#include "zul_u16string.h"

namespace {

using err_test::ErrTest;
using err_test::Field;
using err_test::MakeBlock;
using tlm_test::Utf16;

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
  trace_.Clear();
  EXPECT_EQ(err_test::Field(0), u"");
  EXPECT_EQ(trace_.Text(), Thr(u"ErrGetFld: no error info available\n"));
}

TEST_F(ErrPrintTest, SingleFields) {
  EXPECT_EQ(err_test::Field(21), u"");
  EXPECT_EQ(std::u16string(ErrGetFldL(ERR_FLD_LOCATION, ERR_NO_LANGUAGE)), u"server A");
}

class ErrMsgTest : public ErrTest {
 protected:
  void SetUp() override {
    ErrTest::SetUp();
    path_ = dir_.File("messages");
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
  std::u16string Detail(ZUL_UTF16 lang) { return ErrGetFldL(ERR_FLD_DETAIL, lang); }

  tlm_test::TempDir dir_;
  std::string path_;
};

TEST_F(ErrMsgTest, KeyedTextsAreTranslatedWithTheirArguments) {
  ASSERT_EQ(ErrSetMsgFile(Utf16(path_).c_str()), ERR_OK);
  ASSERT_EQ(ErrSet(u"C", 0, u"m", 1, u"(ABCDE) connect to %s failed after %d tries", 0,
                   u"(DET01) d %s %s", u"host", 3, u"p", u"q"),
            ERR_OK);
  EXPECT_EQ(Text(u'E'), u"Connection to host failed after 3 tries");
  EXPECT_EQ(Text(u'D'), u"Verbindung zu host nach 3 Versuchen gescheitert");
  EXPECT_EQ(Detail(u'E'), u"detail px and q more");
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
}

// The line rule on ASCII files (key, language, cut to the buffer, lines without text) is
// asserted by the message file's fuzz target; a key and a text beyond ASCII are not.
TEST_F(ErrMsgTest, LookupOfAKeyBeyondAscii) {
  ASSERT_EQ(ErrSetMsgFile(Utf16(path_).c_str()), ERR_OK);
  ZUL_UTF16 buffer[64];
  ASSERT_EQ(ErrGetTxt(u"ÄUMLT", u'E', buffer, 64), 1);
  EXPECT_EQ(std::u16string(buffer), u"ärger");
  // The stream stays open and is read from its start for each search.
  EXPECT_EQ(ErrGetTxt(u"ABCDE", u'E', buffer, 64), 1);
}

TEST_F(ErrMsgTest, FileNameComesFromTheThreadThenTheEnvironment) {
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
}

int UpperKeyLookup(const ZUL_UTF16 *key, ZUL_UTF16 lang, ZUL_UTF16 *buffer, int size) {
  std::u16string text = u"[" + std::u16string(key) + u" " + std::u16string(1, lang) + u" &1]";
  if (static_cast<int>(text.size()) >= size) return 0;
  std::copy(text.begin(), text.end() + 1, buffer);
  return 1;
}

TEST_F(ErrMsgTest, LookupCanBeReplaced) {
  ErrSetGetTxt(UpperKeyLookup);
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

class ErrNetTest : public ErrTest {};

TEST_F(ErrNetTest, NetworkFormIsTheBlockInUtf8) {
  ASSERT_EQ(ErrSet(u"Komponente", 3, u"modul", 5, u"Grüße an %s", 1, u"詳細 %d", u"Zoë", 42),
            ERR_OK);
  std::u16string block = err_test::CurrentBlock();
  ZUL_RAW net[ERR_MAX_UNITS * 3];
  size_t length = 0;
  ASSERT_EQ(ErrCpIntToNet(net, &length, sizeof net), ERR_OK);
  EXPECT_EQ(std::string(reinterpret_cast<char *>(net), length), tlm_test::Utf8(block));
  EXPECT_EQ(Field(ERR_FLD_DETAIL), u"詳細 42");
  // Taken back, the network form gives the same block: the network form's fuzz target asserts it.

  // The same from a given block; a buffer one byte short fails.
  ErrClear();
  EXPECT_EQ(ErrCpIntToNet(net, &length, sizeof net), ERR_NO_INFO);
  size_t again = 0;
  ASSERT_EQ(ErrCpIntToNet2(net, &again, sizeof net, block.data(), block.size()), ERR_OK);
  EXPECT_EQ(again, length);
  EXPECT_EQ(ErrCpIntToNet2(net, &again, length - 1, block.data(), block.size()), ERR_CONVERSION);
}

TEST_F(ErrNetTest, EbcdicPeerBlockIsWidened) {
  std::u16string block = err_test::SampleBlock();
  std::string ebcdic(block.size(), '\0');
  UcnToE8n(ebcdic.data(), block.data(), block.size());
  ASSERT_EQ(static_cast<unsigned char>(ebcdic[1]), 0xC5);
  ASSERT_EQ(NetToInt(ebcdic), ERR_OK);
  EXPECT_EQ(err_test::CurrentBlock(), block);
}

TEST_F(ErrNetTest, DamagedNetworkFormsGetTheirCodes) {
  const std::string good = tlm_test::Utf8(err_test::SampleBlock());
  std::u16string twenty = err_test::SampleBlock();
  twenty.erase(twenty.find(u"server A"), 9);  // the location with its terminator
  const struct {
    const char *name;
    std::string bytes;
    int net_rc;  // of ErrCpNetToInt
    int get_rc;  // of ErrGet afterwards
  } cases[] = {
      {"intact", good, ERR_OK, ERR_OK},
      {"invalid UTF-8 is replaced", tlm_test::Utf8(MakeBlock({u"*ERR*"})) + "\xFF" + good.substr(6),
       ERR_OK, ERR_OK},
      {"longer than a block", good + std::string(ERR_MAX_UNITS + 1 - good.size(), 'x'), ERR_AREA,
       ERR_NO_INFO},
      {"ends inside a character", good + "\xE4\xB8", ERR_CONVERSION, ERR_NO_INFO},
      {"first eyecatcher wrong", "*ERX*" + good.substr(5), ERR_EYECATCHER, ERR_EYECATCHER},
      {"last eyecatcher wrong", good.substr(0, good.size() - 3) + "X*" + '\0', ERR_EYECATCHER,
       ERR_EYECATCHER},
      {"last terminator missing", good.substr(0, good.size() - 1), ERR_EYECATCHER, ERR_EYECATCHER},
      {"no terminator at all", "*ERR*", ERR_EYECATCHER, ERR_EYECATCHER},
      {"shorter than an eyecatcher", "*ER", ERR_EYECATCHER, ERR_EYECATCHER},
      {"empty", "", ERR_EYECATCHER, ERR_NO_INFO},
      {"EBCDIC eyecatcher alone", "\x5C\xC5\xD9\xD9\x5C", ERR_EYECATCHER, ERR_EYECATCHER},
      {"twenty strings", tlm_test::Utf8(twenty), ERR_OK, ERR_INCOMPLETE},
      {"eyecatchers only", tlm_test::Utf8(MakeBlock({u"*ERR*", u"*ERR*"})), ERR_OK, ERR_INCOMPLETE},
  };
  for (const auto &c : cases) {
    ErrClear();
    EXPECT_EQ(NetToInt(c.bytes), c.net_rc) << c.name;
    EXPECT_EQ(err_test::GetAnswer(), c.get_rc) << c.name;
  }
  EXPECT_EQ(ErrCpNetToInt(nullptr, 4), ERR_BAD_PARAM);
}

TEST_F(ErrNetTest, FailuresTraceTheirMessages) {
  std::string big(ERR_MAX_UNITS + 1, 'x');
  NetToInt(big);
  EXPECT_TRUE(TraceStartsWithError(u"ErrCpNetToInt2: internal area too small (500<501)"));
  // A damaged block is dumped at level 2.
  trace_.Clear();
  NetToInt("*ERX*");
  std::vector<std::u16string> lines = trace_.Lines();
  ASSERT_GE(lines.size(), 3u);
  EXPECT_TRUE(TraceStartsWithError(u"ErrCpNetToInt: bad err info (eyecatcher destroyed)"));
  EXPECT_NE(lines[1].find(u"bad err info"), std::u16string::npos);
}

TEST_F(ErrNetTest, CopiesIntoAndOutOfTheRecord) {
  std::u16string block = err_test::SampleBlock();
  EXPECT_EQ(ErrCpTo(block.data(), 3), ERR_EYECATCHER);
  std::u16string large = MakeBlock({u"*ERR*", std::u16string(ERR_MAX_UNITS, u'x'), u"*ERR*"});
  EXPECT_EQ(ErrCpTo(large.data(), large.size()), ERR_AREA);
  EXPECT_EQ(
      trace_.Lines().back().rfind(ErrorLine(u"ErrCpTo: error info too large (1026 bytes)"), 0), 0u);

  // Taken over, the block counts as the thread's next error.
  ASSERT_EQ(ErrCpTo(block.data(), block.size()), ERR_OK);
  EXPECT_EQ(Field(ERR_FLD_COUNTER), u"1");
  ASSERT_EQ(ErrCpTo(block.data(), block.size()), ERR_OK);
  EXPECT_EQ(Field(ERR_FLD_COUNTER), u"2");
  EXPECT_EQ(Field(ERR_FLD_LOCATION), u"server A");

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
