// Message texts by key and language, from a message file in a temporary directory.

#include "err_test_util.h"

namespace {

using err_test::ErrTest;
using tlm_test::Utf16;

class ErrMsgTest : public ErrTest {
 protected:
  void SetUp() override {
    ErrTest::SetUp();
    path_ = dir_.File("messages");
    std::ofstream(path_) << "EABCDE Connection to &1 failed after &2 tries\n"
                            "DABCDE Verbindung zu &1 nach &2 Versuchen gescheitert\n"
                            "EDET01 detail &x and & more\n"
                            "EMISS1 needs &3 and &\n"
                            "ESHORT\n"
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

TEST_F(ErrMsgTest, LookupLineForms) {
  ASSERT_EQ(ErrSetMsgFile(Utf16(path_).c_str()), ERR_OK);
  // The stream stays open and is read from its start for each search.
  const struct {
    const char16_t *key;
    char16_t lang;
    int size, found;
    const char16_t *text;
  } cases[] = {{u"DET01", u'E', 64, 1, u"detail &x and & more"},
               {u"DET01", u'E', 7, 1, u"detail"},  // cut to size - 1 units
               {u"SHORT", u'E', 64, 1, u""},
               {u"ÄUMLT", u'E', 64, 1, u"ärger"},
               {u"DET01", u'D', 64, 0, nullptr},
               {u"NOKEY", u'E', 64, 0, nullptr},
               {u"ABCDE", u'E', 64, 1, u"Connection to &1 failed after &2 tries"}};
  for (const auto &c : cases) {
    ZUL_UTF16 buffer[64];
    EXPECT_EQ(ErrGetTxt(c.key, c.lang, buffer, c.size), c.found) << tlm_test::Utf8(c.key);
    if (c.found) {
      EXPECT_EQ(std::u16string(buffer), c.text) << tlm_test::Utf8(c.key);
    }
  }
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

}  // namespace
