// The error record behind rscpe__error, its printed forms and switches, and the hook table.
#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <cstring>
#include <string>
#include <vector>

#include "stderr_child.h"
#include "zul_rscp.h"
#include "zul_u16conv.h"

namespace {

std::vector<std::string> captured_lines;
void CaptureLine(const char *line, int length) { captured_lines.emplace_back(line, length); }

std::vector<std::string> Print(void (*print)(const RSCPE_RECORD *, RSCP_LINE_WRITER),
                               const RSCPE_RECORD *record) {
  captured_lines.clear();
  print(record, CaptureLine);
  return captured_lines;
}

// Restores the switches and the hook that a test changes.
class RscpError : public ::testing::Test {
 protected:
  void SetUp() override {
    rscpSetHook_rscpe__error(rscpe__error);
    rscpce_clear_error();
  }
  void TearDown() override {
    rscpSetHook_rscpe__error(nullptr);
    rscpsv__set_verbose(0);
    rscpsps__set_pri_style(1);
    rscpce_clear_error();
  }
};

// Two levels and a kept errno, built by hand so that counts are fixed.
RSCPE_RECORD SampleRecord() {
  RSCPE_RECORD r{};
  r.depth = 2;
  r.saved_errno = EINVAL;
  RSCPE_LEVEL &a = r.level[0];
  a.err_class = 'O';
  std::memcpy(a.module, u"u16_conv", sizeof u"u16_conv");
  a.code = 32, a.location = 1, a.line = 120, a.callcnt = 7;
  std::memcpy(a.text, u"dest buffer overflow", sizeof u"dest buffer overflow");
  RSCPE_LEVEL &b = r.level[1];
  std::memcpy(b.module, u"caller", sizeof u"caller");
  b.code = 1, b.location = 2, b.line = 44, b.callcnt = 8;
  std::memcpy(b.params[2], u"abc", sizeof u"abc");
  return r;
}

TEST_F(RscpError, SixChainedErrorsKeepFiveWithTheNewestLast) {
  long calls = rscpe_callcnt;
  errno = ENOENT;
  rscpe__error(101, 'O', -1, u"first", 1, 10, u"t1", nullptr, nullptr, nullptr, nullptr, nullptr);
  errno = EIO;
  for (int i = 2; i <= 6; ++i) {
    rscpeas__append_source();
    rscpe__error(100 + i, 'O', -1, u"next", i, 10 * i, u"tn", nullptr, nullptr, nullptr, nullptr,
                 nullptr);
  }
  const RSCPE_RECORD *r = rscple_last_error();
  EXPECT_EQ(rscpe_callcnt - calls, 6);
  EXPECT_EQ(r->depth, 5);
  EXPECT_EQ(rscpeStartingErrorCode(r), 101);
  EXPECT_EQ(rscpeFinalErrorCode(r), 106);
  EXPECT_EQ(r->level[3].code, 104);
  EXPECT_EQ(r->saved_errno, ENOENT);
  EXPECT_EQ(std::u16string(rscpeFinalErrorProc(r)), u"next");
  // Without the append flag the next report starts over at level 0.
  rscpe__error(7, 'I', -1, nullptr, 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(r->depth, 1);
  EXPECT_EQ(r->level[0].internal, 1);
  EXPECT_EQ(r->saved_errno, ENOENT);
}

TEST_F(RscpError, AThousandAppendsStayInTheLastSlot) {
  for (int i = 0; i < 1000; ++i) {
    rscpeas__append_source();
    rscpe__error(i, 'O', -1, u"m", 0, i, u"t", nullptr, nullptr, nullptr, nullptr, nullptr);
  }
  EXPECT_EQ(rscple_last_error()->depth, 5);
  EXPECT_EQ(rscpeFinalErrorCode(rscple_last_error()), 999);
}

TEST_F(RscpError, LongTextsAreCutAndNullsReadEmpty) {
  std::u16string long_text(500, u'x');
  rscpe__error(3, 'O', -1, u"a_module_name_longer_than_eight", 0, 0, long_text.c_str(),
               long_text.c_str(), nullptr, nullptr, nullptr, long_text.c_str());
  const RSCPE_RECORD *r = rscple_last_error();
  EXPECT_EQ(std::u16string(rscpeFinalErrorProc(r)), u"a_module");
  EXPECT_EQ(std::u16string(rscpeFinalErrorText(r)).size(), RSCPE_TEXT_UNITS - 1u);
  EXPECT_EQ(std::u16string(rscpeFinalErrorParams(r, 1)).size(), RSCPE_PARAM_UNITS - 1u);
  EXPECT_EQ(std::u16string(rscpeFinalErrorParams(r, 2)), u"");
  EXPECT_EQ(std::u16string(rscpeFinalErrorParams(r, 6)), u"");
  EXPECT_EQ(std::string(rscpeFinalErrorTextU8(r)), std::string(RSCPE_TEXT_UNITS - 1, 'x'));

  EXPECT_EQ(rscpeFinalErrorCode(nullptr), 16);
  EXPECT_EQ(rscpeStartingErrorCode(nullptr), 16);
  EXPECT_EQ(rscpeFinalSqlCode(nullptr), 0);
  for (const ZUL_UTF16 *text : {rscpeFinalErrorProc(nullptr), rscpeFinalErrorText(nullptr),
                                rscpeFinalErrorParams(nullptr, 1), rscpeFinalSqlMsg(nullptr)})
    EXPECT_EQ(text[0], 0);
  EXPECT_STREQ(rscpeFinalErrorTextU8(nullptr), "");
  rscproe__remember_old_error(nullptr);
  EXPECT_TRUE(Print(rscpep4_err_print4, nullptr).empty());
  EXPECT_TRUE(Print(rscpep4s_err_print4_short, nullptr).empty());
}

TEST_F(RscpError, ForeignCodesClearingAndRemembering) {
  EXPECT_EQ(rscpefq__err_from_sql(-803, u"duplicate key"), -803);
  const RSCPE_RECORD *r = rscple_last_error();
  EXPECT_EQ(rscpeFinalSqlCode(r), -803);
  EXPECT_EQ(std::u16string(rscpeFinalSqlMsg(r)), u"duplicate key");
  RSCPE_RECORD saved = *r;
  rscpeas__append_source();
  rscpcei_clear_error_info();
  EXPECT_EQ(r->depth, 0);
  EXPECT_EQ(r->append, 1);
  rscpce_clear_error();
  EXPECT_EQ(r->append, 0);
  rscproe__remember_old_error(&saved);
  EXPECT_EQ(rscpeFinalSqlCode(r), -803);
  EXPECT_EQ(rscpeff__err_from_filesystem(ENOSPC), ENOSPC);
  EXPECT_EQ(r->saved_errno, ENOSPC);
}

TEST_F(RscpError, TheConversionsRecordThroughTheHook) {
  const ZUL_RAW in[] = {'a', 'b'};
  const ZUL_RAW *s = in;
  ZUL_UTF16 out[1], *d = out;
  EXPECT_EQ(Utf8nToU2nSubst(&s, in + 2, &d, out + 1, nullptr, nullptr), 32);
  const RSCPE_RECORD *r = rscple_last_error();
  EXPECT_EQ(rscpeFinalErrorCode(r), 32);
  EXPECT_EQ(r->level[0].err_class, 'O');
  EXPECT_EQ(r->level[0].key, -1);
  EXPECT_EQ(std::u16string(rscpeFinalErrorText(r)), u"dest buffer overflow");
  EXPECT_EQ(std::u16string(rscpeFinalErrorProc(r)), u"u16_conv");
  // The default hook answers its code and records nothing.
  rscpce_clear_error();
  rscpSetHook_rscpe__error(nullptr);
  s = in, d = out;
  EXPECT_EQ(Utf8nToU2nSubst(&s, in + 2, &d, out + 1, nullptr, nullptr), 32);
  EXPECT_EQ(rscpeFinalErrorCode(rscple_last_error()), 0);
}

TEST_F(RscpError, BoxAndShortFormByteForByte) {
  RSCPE_RECORD r = SampleRecord();
  const std::vector<std::string> box = {
      ".------------------------------============----------------------------.",
      "|                              RSCP - Error                            |",
      "| Error from:                                        u16_conv        7 |",
      "|             rc:    32                                                |",
      "|             tx: dest buffer overflow                                 |",
      "|             lo: location 1, line 120                                 |",
      "| Error propagation from:                              caller        8 |",
      "|             rc: RSCPEINTERN  Some other internal error               |",
      "|             lo: location 2, line 44                                  |",
      "|             p3: abc                                                  |",
      "| Some OS information, which may or may not belong to this error:      |",
      "| errno 22: Invalid argument                                           |",
      "`----------------------------------------------------------------------'",
  };
  EXPECT_EQ(Print(rscpep4_err_print4, &r), box);
  EXPECT_EQ(Print(rscpep4s_err_print4_short, &r),
            (std::vector<std::string>{"code:    1  RSCPEINTERN  ",
                                      "from: dest buffer overflow  at u16_conv locat=1 line=120",
                                      "propagated from:   at caller   locat=2 line=44",
                                      "from: OS: (maybe not related) errno: 22  Invalid argument"}));
  EXPECT_EQ(Print(rscpep1_err_print1, &r),
            std::vector<std::string>{"module: caller   location:    2 line:    44"});
  EXPECT_EQ(Print(rscpep2_err_print2, &r).size(), 7u);  // frame, title, last level, bottom
  EXPECT_EQ(Print(rscpep3_err_print3, &r).size(), 11u);
  EXPECT_EQ(Print(rscpep2s_err_print2_short, &r).size(), 3u);

  // Style 2: parameter rows unpadded, "location=" and the plain errno line.
  EXPECT_EQ(rscpsps__set_pri_style(7), 1);
  EXPECT_EQ(rscpgps__get_pri_style(), 1);
  rscpsps__set_pri_style(2);
  EXPECT_EQ(Print(rscpep4_err_print4, &r)[9], "|             p3: abc|");
  std::vector<std::string> short2 = Print(rscpep4s_err_print4_short, &r);
  EXPECT_EQ(short2[1], "from: dest buffer overflow  at u16_conv location=1 line=120");
  EXPECT_EQ(short2[3], "errno: 22  Invalid argument");
}

TEST_F(RscpError, VerboseSwitchChoosesWhatReachesStandardError) {
  EXPECT_EQ(rscpsv__set_verbose(5), 0);
  EXPECT_EQ(rscpsv__set_verbose(1), 2);
  EXPECT_EQ(rscpsv__set_verbose(-3), 1);
  for (int verbose : {0, 1, 2}) {
    ChildResult child = RunWithStderrPipe([verbose] {
      rscpsv__set_verbose(verbose);
      rscpe__error(4, 'O', -1, u"mod", 5, 6, u"too long", nullptr, nullptr, nullptr, nullptr,
                   nullptr);
      return rscpeFinalErrorCode(rscple_last_error());
    });
    EXPECT_EQ(child.status, 4) << verbose;
    // Nothing, the short form, or the box.
    const std::string starts[] = {"", "code:    4  RSCPETOOLONG \n", ".-----"};
    EXPECT_EQ(child.err.rfind(starts[verbose], 0), 0u) << child.err;
    EXPECT_EQ(child.err.empty(), verbose == 0);
  }
  // Printing with standard error closed answers as usual.
  ChildResult closed = RunWithStderrPipe([] {
    close(2);
    rscpsv__set_verbose(2);
    return rscpe__error(9, 'O', -1, u"m", 0, 0, u"t", nullptr, nullptr, nullptr, nullptr, nullptr);
  });
  EXPECT_EQ(closed.status, 9);
}

TEST(RscpReturnCodes, TableRowsAndNumbers) {
  const ZUL_UTF16 *text;
  int length;
  rscpr2s__returncode_to_string(1, &text, &length);
  EXPECT_EQ(std::u16string(text), u"RSCPEINTERN  Some other internal error             ");
  rscpr2s__returncode_to_string(12, &text, &length);
  EXPECT_EQ(std::u16string(text), u"RSCPEROLLBACK  There happened a data base roll back");
  EXPECT_EQ(length, 51);
  for (long code : {0L, 16L, 2048L, -1L}) {
    rscpr2s__returncode_to_string(code, &text, &length);
    std::string expect = std::to_string(code);
    expect.insert(0, 5 - std::min<size_t>(5, expect.size()), ' ');
    EXPECT_EQ(std::u16string(text), std::u16string(expect.begin(), expect.end()));
  }
}

TEST(RscpSourceId, VersionAndPath) {
  struct {
    const char *id;
    int version;
    const char *path;
  } cases[] = {
      {"$Id: //src/krn/rscp/rscperr.c#12 $", 12, "//src/krn/rscp/rscperr.c"},
      {"@(#) $Id: //a/b.c#3 $", 3, "//a/b.c"},
      {"@(#)plain.c", -1, "plain.c"},
      {"$Id: x#$", -1, "x"},
      {"$Id: x#99999999999 $", -1, "x"},
      {"no marker#4", -1, nullptr},
      {"", -1, nullptr},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(rscpvfp__version_from_perforce(c.id), c.version) << c.id;
    char buffer[64];
    const char *path = rscpwfp__what_from_perforce(c.id, buffer, sizeof buffer);
    if (c.path == nullptr)
      EXPECT_EQ(path, nullptr) << c.id;
    else
      EXPECT_STREQ(path, c.path) << c.id;
  }
  char tiny[4];
  EXPECT_STREQ(rscpwfp__what_from_perforce("$Id: //abcdef#1 $", tiny, sizeof tiny), "//a");
  EXPECT_EQ(rscpvfp__version_from_perforce(nullptr), -1);
  EXPECT_EQ(rscpwfp__what_from_perforce("$Id: a#1", nullptr, 4), nullptr);
}

int TestErrorHook(int code, int, int, const ZUL_UTF16 *, int, int, const ZUL_UTF16 *,
                  const ZUL_UTF16 *, const ZUL_UTF16 *, const ZUL_UTF16 *, const ZUL_UTF16 *,
                  const ZUL_UTF16 *) {
  return code + 1;
}
void TestTextHook(const ZUL_UTF16 *) {}
unsigned int NoSleep(unsigned int) { return 0; }

TEST(RscpHooks, SettersStoreAndNullRestoresTheDefault) {
  rscpSetHook_rscpe__error(TestErrorHook);
  EXPECT_EQ(rscpHook_rscpe__error(5, 0, 0, nullptr, 0, 0, nullptr, nullptr, nullptr, nullptr,
                                  nullptr, nullptr),
            6);
  rscpSetHook_rscpe__error(nullptr);
  EXPECT_EQ(rscpHook_rscpe__error(5, 0, 0, nullptr, 0, 0, nullptr, nullptr, nullptr, nullptr,
                                  nullptr, nullptr),
            5);

  struct {
    void (*set)(RSCP_TEXT_HOOK);
    RSCP_TEXT_HOOK (*get)(void);
  } readable[] = {{rscpSetHook_rslgwri2, rscpGetHook_rslgwri2},
                  {rscpSetHook_rslgw1param, rscpGetHook_rslgw1param},
                  {rscpSetHook_rslgtstamp, rscpGetHook_rslgtstamp},
                  {rscpSetHook_rstrw2usrU, rscpGetHook_rstrw2usrU},
                  {rscpSetHook_rstrwcf__, rscpGetHook_rstrwcf__},
                  {rscpSetHook_rstrwrf__, rscpGetHook_rstrwrf__}};
  for (const auto &h : readable) {
    RSCP_TEXT_HOOK fallback = h.get();
    ASSERT_NE(fallback, nullptr);
    h.set(TestTextHook);
    EXPECT_EQ(h.get(), TestTextHook);
    h.set(nullptr);
    EXPECT_EQ(h.get(), fallback);
  }
  EXPECT_EQ(rscpGetHook_rstr_setlocale()(LC_ALL, nullptr) != nullptr, true);

  EXPECT_STREQ(rscpHook_DescrSemaphore(), "Neither semaphores nor mutexes are used.");
  EXPECT_EQ(rscpHook_zulgparam(u"x"), nullptr);
  EXPECT_EQ(std::u16string(rscpHook_GetUserUsingCodePage()), u"4103");
  void *p = rscpHook_AllocateCCCC(16);
  rscpHook_ReleaseCCCC(p);
  EXPECT_STREQ(rscpg_utf16_cc(), "41034102410341104103");

  ChildResult wait = RunWithStderrPipe([] {
    rscpSetHook_rstr_sleep(NoSleep);
    rscpHook_WaitBefClearCCCC(30);
    return 0;
  });
  EXPECT_EQ(wait.err, "WaitBeforeClearing...\n ...Clearing CCCC now.\n");
}

TEST(RscpHelpers, LengthsCopiesAndVersion) {
  const ZUL_UTF16 pair[] = {u'a', 0xD83D, 0xDE00, 0xDC00, 0};
  EXPECT_EQ(UcsLen(pair), 4u);
  EXPECT_EQ(Utf16sLen(pair), 3u);
  const uint32_t wide[] = {1, 2, 0x10FFFF, 0};
  uint32_t wide_copy[4];
  EXPECT_EQ(U4sLen(U4sCpy(wide_copy, wide)), 3u);
  char narrow[8];
  ZUL_UTF16 back[8];
  EXPECT_STREQ(UcsToB8sNolim(narrow, u"\u00e4\u0100z"), "\xe4#z");
  EXPECT_EQ(std::u16string(B8sToUcsNolim(back, "\xe4z")), u"\u00e4z");
  EXPECT_EQ(Utf8ToA7(0xC3), '#');
  EXPECT_EQ(U2ToE8(u'A'), static_cast<char>(0xC1));

  char version[256];
  int n = GetZULFileVersion(version, sizeof version);
  EXPECT_EQ(n, static_cast<int>(std::strlen(version)));
  for (const char *label : {"FileVersion: ", "ProductVersion: ", "SpecialBuild: ", "Platform: "})
    EXPECT_NE(std::strstr(version, label), nullptr) << label;
  EXPECT_EQ(GetZULFileVersion(nullptr, 0), n);
}

}  // namespace
