// The error record behind rscpe__error, its printed forms and switches, and the hook table.

#include <cerrno>

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

int Report(int code, const ZUL_UTF16 *module = u"m", const ZUL_UTF16 *text = u"t",
           const ZUL_UTF16 *p1 = nullptr, const ZUL_UTF16 *p5 = nullptr) {
  return rscpe__error(code, 'O', -1, module, code, 10 * code, text, p1, nullptr, nullptr, nullptr,
                      p5);
}

// Installs the recorder; puts the hook and the switches back afterwards.
class RscpError : public ::testing::Test {
 protected:
  void SetUp() override {
    rscpSetHook_rscpe__error(rscpe__error);
    rscpce_clear_error();
  }
  void TearDown() override {
    rscpSetHook_rscpe__error(nullptr);
    rscpsps__set_pri_style(1);
    rscpce_clear_error();
  }
};

// Six chained reports keep five levels, the newest in the last slot, and the errno of the first.
TEST_F(RscpError, ChainedErrorsKeepFiveLevelsWithTheNewestLast) {
  long calls = rscpe_callcnt;
  errno = ENOENT;
  Report(101, u"first");
  errno = EIO;
  for (int i = 102; i <= 106; ++i) {
    rscpeas__append_source();
    Report(i, u"next");
  }
  const RSCPE_RECORD *r = rscple_last_error();
  EXPECT_EQ(rscpe_callcnt - calls, 6);
  EXPECT_EQ(std::tuple(r->depth, rscpeStartingErrorCode(r), r->level[3].code,
                       rscpeFinalErrorCode(r), r->saved_errno),
            std::tuple(5, 101, 104, 106, ENOENT));
  EXPECT_EQ(std::u16string(rscpeFinalErrorProc(r)), u"next");
  // Without the append flag a report starts over at level 0.
  rscpe__error(7, 'I', -1, nullptr, 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(std::tuple(r->depth, r->level[0].internal), std::tuple(1, 1));
}

TEST_F(RscpError, LongTextsAreCutAndNullsReadEmpty) {
  std::u16string long_text(500, u'x');
  Report(3, u"a_module_name_longer_than_eight", long_text.c_str(), long_text.c_str(),
         long_text.c_str());
  const RSCPE_RECORD *r = rscple_last_error();
  EXPECT_EQ(std::u16string(rscpeFinalErrorProc(r)), u"a_module");
  EXPECT_EQ(std::u16string(rscpeFinalErrorText(r)).size(), RSCPE_TEXT_UNITS - 1u);
  EXPECT_EQ(std::u16string(rscpeFinalErrorParams(r, 5)).size(), RSCPE_PARAM_UNITS - 1u);
  EXPECT_EQ(std::string(rscpeFinalErrorTextU8(r)), std::string(RSCPE_TEXT_UNITS - 1, 'x'));
  EXPECT_EQ(rscpeFinalErrorParams(r, 2)[0] + rscpeFinalErrorParams(r, 6)[0], 0);

  EXPECT_EQ(std::tuple(rscpeFinalErrorCode(nullptr), rscpeStartingErrorCode(nullptr),
                       rscpeFinalSqlCode(nullptr)),
            std::tuple(16, 16, 0));
  for (const ZUL_UTF16 *text : {rscpeFinalErrorProc(nullptr), rscpeFinalErrorText(nullptr),
                                rscpeFinalErrorParams(nullptr, 1), rscpeFinalSqlMsg(nullptr)})
    EXPECT_EQ(text[0], 0);
  EXPECT_STREQ(rscpeFinalErrorTextU8(nullptr), "");
  rscproe__remember_old_error(nullptr);
  EXPECT_TRUE(Print(rscpep4_err_print4, nullptr).empty());
}

TEST_F(RscpError, ForeignCodesClearingAndRemembering) {
  EXPECT_EQ(rscpefq__err_from_sql(-803, u"duplicate key"), -803);
  RSCPE_RECORD *r = rscple_last_error(), saved = *r;
  EXPECT_EQ(std::u16string(rscpeFinalSqlMsg(r)), u"duplicate key");
  rscpeas__append_source();
  rscpcei_clear_error_info();
  EXPECT_EQ(std::tuple(r->depth, r->append), std::tuple(0, 1));  // the info clear keeps the flag
  rscpce_clear_error();
  EXPECT_EQ(r->append, 0);
  rscproe__remember_old_error(&saved);
  EXPECT_EQ(rscpeFinalSqlCode(r), -803);
  EXPECT_EQ(rscpeff__err_from_filesystem(ENOSPC), ENOSPC);
  EXPECT_EQ(r->saved_errno, ENOSPC);
}

// A conversion that fails records its class, module and text through the hook.
TEST_F(RscpError, ConversionsRecordThroughTheHook) {
  const ZUL_RAW in[] = {'a', 'b'};
  const ZUL_RAW *s = in;
  ZUL_UTF16 out[1], *d = out;
  EXPECT_EQ(Utf8nToU2nSubst(&s, in + 2, &d, out + 1, nullptr, nullptr), 32);
  const RSCPE_RECORD *r = rscple_last_error();
  EXPECT_EQ(std::tuple(rscpeFinalErrorCode(r), r->level[0].err_class), std::tuple(32, 'O'));
  EXPECT_EQ(std::u16string(rscpeFinalErrorText(r)), u"dest buffer overflow");
  EXPECT_EQ(std::u16string(rscpeFinalErrorProc(r)), u"u16_conv");
}

TEST_F(RscpError, BoxAndShortFormByteForByte) {
  RSCPE_RECORD r{};  // two levels and a kept errno, built by hand so that counts are fixed
  r.depth = 2;
  r.saved_errno = EINVAL;
  r.level[0] =
      RSCPE_LEVEL{'O', 0, 0, 0, -1, 1, 120, 32, 0, 7, u"u16_conv", {}, u"dest buffer overflow", {}};
  r.level[1] = RSCPE_LEVEL{'O', 0, 0, 0, -1, 2, 44, 1, 0, 8, u"caller", {{}, {}, u"abc"}, {}, {}};
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
  EXPECT_EQ(
      Print(rscpep4s_err_print4_short, &r),
      (std::vector<std::string>{"code:    1  RSCPEINTERN  ",
                                "from: dest buffer overflow  at u16_conv locat=1 line=120",
                                "propagated from:   at caller   locat=2 line=44",
                                "from: OS: (maybe not related) errno: 22  Invalid argument"}));
  EXPECT_EQ(Print(rscpep1_err_print1, &r),
            std::vector<std::string>{"module: caller   location:    2 line:    44"});
  EXPECT_EQ(Print(rscpep2_err_print2, &r).size(), 7u);  // frame, title, last level, bottom
  EXPECT_EQ(Print(rscpep3_err_print3, &r).size(), 11u);
  EXPECT_EQ(Print(rscpep2s_err_print2_short, &r).size(), 3u);

  EXPECT_EQ(rscpsps__set_pri_style(7), 1);
  EXPECT_EQ(rscpgps__get_pri_style(), 1);  // 7 is style 1
  rscpsps__set_pri_style(2);
  EXPECT_EQ(Print(rscpep4_err_print4, &r)[9], "|             p3: abc|");
  std::vector<std::string> short2 = Print(rscpep4s_err_print4_short, &r);
  EXPECT_EQ(short2[1], "from: dest buffer overflow  at u16_conv location=1 line=120");
  EXPECT_EQ(short2[3], "errno: 22  Invalid argument");
}

TEST_F(RscpError, VerboseSwitchChoosesWhatReachesStandardError) {
  EXPECT_EQ((std::vector{rscpsv__set_verbose(5), rscpsv__set_verbose(1), rscpsv__set_verbose(-3)}),
            (std::vector{0, 2, 1}));
  const std::string starts[] = {"", "code:    4  RSCPETOOLONG \n", ".-----"};
  for (int verbose : {0, 1, 2}) {
    ChildResult child = RunWithStderrPipe([verbose] {
      rscpsv__set_verbose(verbose);
      Report(4);
      return rscpeFinalErrorCode(rscple_last_error());  // filled however silent
    });
    EXPECT_EQ(child.status, 4) << verbose;
    EXPECT_TRUE(child.err.rfind(starts[verbose], 0) == 0 && child.err.empty() == (verbose == 0))
        << child.err;
  }
}

TEST(RscpReturnCodes, TableRowsAndNumbers) {
  const std::pair<long, std::u16string> cases[] = {
      {1, u"RSCPEINTERN  Some other internal error             "},
      {12, u"RSCPEROLLBACK  There happened a data base roll back"},
      {0, u"    0"},
      {-1, u"   -1"}};
  for (const auto &[code, want] : cases) {
    const ZUL_UTF16 *text;
    int length;
    rscpr2s__returncode_to_string(code, &text, &length);
    EXPECT_EQ(std::u16string(text, size_t(length)), want);
  }
}

TEST(RscpSourceId, VersionAndPath) {
  const std::tuple<const char *, int, std::string> cases[] = {
      {"$Id: //src/krn/rscp/rscperr.c#12 $", 12, "//src/krn/rscp/rscperr.c"},
      {"@(#) $Id: //a/b.c#3 $", 3, "//a/b.c"},
      {"$Id: x#99999999999 $", -1, "x"},
      {"no marker#4", -1, "null"}};
  char buffer[64];
  for (const auto &[id, version, path] : cases) {
    EXPECT_EQ(rscpvfp__version_from_perforce(id), version) << id;
    const char *got = rscpwfp__what_from_perforce(id, buffer, sizeof buffer);
    EXPECT_EQ(got == nullptr ? "null" : got, path) << id;
  }
  EXPECT_STREQ(rscpwfp__what_from_perforce("$Id: //abcdef#1 $", buffer, 4), "//a");
  EXPECT_EQ(rscpvfp__version_from_perforce(nullptr), -1);
}

int PlusOneHook(int code, int, int, const ZUL_UTF16 *, int, int, const ZUL_UTF16 *,
                const ZUL_UTF16 *, const ZUL_UTF16 *, const ZUL_UTF16 *, const ZUL_UTF16 *,
                const ZUL_UTF16 *) {
  return code + 1;
}
unsigned int NoSleep(unsigned int) { return 0; }

TEST(RscpHooks, NullRestoresTheDefaultAndTheDefaultsTexts) {
  for (RSCP_ERROR_HOOK hook : {PlusOneHook, static_cast<RSCP_ERROR_HOOK>(nullptr)}) {
    rscpSetHook_rscpe__error(hook);
    EXPECT_EQ(rscpHook_rscpe__error(5, 0, 0, nullptr, 0, 0, nullptr, nullptr, nullptr, nullptr,
                                    nullptr, nullptr),
              hook != nullptr ? 6 : 5);
  }
  EXPECT_STREQ(rscpHook_DescrSemaphore(), "Neither semaphores nor mutexes are used.");
  EXPECT_EQ(std::u16string(rscpHook_GetUserUsingCodePage()), u"4103");
  EXPECT_STREQ(rscpg_utf16_cc(), "41034102410341104103");
  ChildResult wait = RunWithStderrPipe([] {
    rscpSetHook_rstr_sleep(NoSleep);
    rscpHook_WaitBefClearCCCC(30);
    return 0;
  });
  EXPECT_EQ(wait.err, "WaitBeforeClearing...\n ...Clearing CCCC now.\n");
}

TEST(RscpHelpers, LengthsAndVersion) {
  const ZUL_UTF16 pair[] = {u'a', 0xD83D, 0xDE00, 0xDC00, 0};
  const uint32_t wide[] = {1, 0x10000, 0};
  uint32_t wide_copy[3];
  ZUL_UTF16 copy[5];
  EXPECT_EQ(std::tuple(UcsLen(pair), U4sLen(U4sCpy(wide_copy, wide)), UcsLen(U2sCpy(copy, pair))),
            std::tuple(4u, 2u, 4u));
  EXPECT_EQ(Utf16sLen(pair), 3u);  // a pair counts once, a lone half once
  char narrow[8], version[256];
  EXPECT_STREQ(UcsToB8sNolim(narrow, u"\u00e4\u0100z"), "\xe4#z");
  int n = GetZULFileVersion(version, sizeof version);
  EXPECT_EQ(n, static_cast<int>(std::strlen(version)));
  EXPECT_EQ(GetZULFileVersion(nullptr, 0), n);
  for (const char *label : {"FileVersion: ", "ProductVersion: ", "SpecialBuild: ", "Platform: "})
    EXPECT_NE(std::strstr(version, label), nullptr) << label;
}

}  // namespace
