// The component trace: registration, handles by address, switching, parameters, files and
// headers, thread files, logging settings.
#include "trace_capture.h"
#include "zul_dptrace.h"
#include "zul_u16printf.h"

namespace {

using tlm_test::TraceCapture;
using tlm_test::TraceFileCapture;
using tlm_test::Utf16;

// Registers a component; answers its handle.
CTRC_HDL Comp(char16_t letter, CTRC_HOOK hook = nullptr) {
  CTRC_HDL hdl = nullptr;
  EXPECT_EQ(CTrcNewComp(letter, &hdl, hook), 0);
  return hdl;
}

bool Has(const std::u16string &text, const std::u16string &part) {
  return text.find(part) != std::u16string::npos;
}

std::u16string CompsText() {
  ZUL_UTF16 text[CTRC_COMPS_TEXT_SIZE];
  CTrcSwitch(nullptr, CTRC_SWITCH_ADD, -1, text, nullptr);
  return text;
}

// Letters are upper case, levels by letter; the table fills up; nothing registers after
// CTrcLastComp or without a global file, and a trace file that can't be opened is standard error.
TEST(CTrcNewComp, LevelsRefusalsAndTheirAnswers) {
  TraceCapture trace;
  CTRC_HDL m = Comp(u'M'), x = Comp(u'x'), hdl = nullptr;
  EXPECT_EQ(std::make_tuple(CTrcCompLev(m), CTrcCompLev(x), static_cast<CTRC_ADM *>(x)->letter),
            std::make_tuple(3, 1, ZUL_UTF16{u'X'}));
  EXPECT_EQ(CompsText(), u"all, M");

  int first = next_free_comp, registered = 0;
  while (CTrcNewComp(u'Q', &hdl, nullptr) == 0) ++registered;
  EXPECT_EQ(registered, CTRC_MAX_COMPS - first);
  EXPECT_EQ(hdl, stderr);
  EXPECT_TRUE(Has(trace.Text(), u"*** ERROR => CTrcNewComp: too many comps\n"));
  next_free_comp = 1;
  ASSERT_EQ(CTrcLastComp(u'L', &hdl, nullptr), 0);
  EXPECT_EQ(CTrcNewComp(u'K', &hdl, nullptr), -1);
  EXPECT_EQ(hdl, nullptr);
  EXPECT_TRUE(
      Has(trace.Text(), u"*** ERROR => CTrcNewComp called after CTrcLastComp [dptrace_r_mt "));

  trace.Clear();
  ctrc::state.last_comp_registered = false;
  ctrc::state.global_file = nullptr;
  EXPECT_EQ(CTrcNewComp(u'A', &hdl, nullptr), -1);
  EXPECT_EQ(hdl, stderr);
  EXPECT_EQ(trace.Text(), u"*** ERROR => CTrcNewComp: not initialized\n");
  EXPECT_EQ(CTrcSwitch(u"a", CTRC_SWITCH_SET, 1, nullptr, nullptr), -1);
  EXPECT_EQ(CTrcPrintAct(), -1);
  output_func = nullptr;  // a real open is tried, and fails
  EXPECT_EQ(CTrcInit(u"/nonexistent-dir/x.trc", 0, 1), stderr);
}

// Handles are tested by address; closing the global file invalidates every one.
TEST(CTrcHandles, ClosingTheGlobalFileInvalidatesEveryHandle) {
  TraceCapture trace;
  CTRC_HDL a = Comp(u'A'), b = Comp(u'B');
  EXPECT_TRUE(CTRC_IS_HANDLE(a));
  EXPECT_FALSE(CTRC_IS_HANDLE(&ctrcadm[0]) || CTRC_IS_HANDLE(&ctrcadm[next_free_comp]) ||
               CTRC_IS_HANDLE(stderr) || CTRC_IS_HANDLE(nullptr));
  EXPECT_EQ(CTrcFileClose(b), 0);
  EXPECT_EQ(next_free_comp, 1);
  EXPECT_FALSE(CTRC_IS_HANDLE(a));
  trace.Clear();
  DPTRC_STMT(1, DpTrcNoTiNoThr, a, u"after\n");
  char16_t expected[512];
  snprintfU16(expected, 512,
              u"ERROR => CTRC_IS_HANDLE2 != CTRC_IS_HANDLE\n"
              u"         hdl                      =%p\n"
              u"         ctrcadm                  =%p\n"
              u"         next_free_comp           =%d\n"
              u"         ctrcadm + next_free_comp =%p\n"
              u"after\n",
              a, static_cast<void *>(ctrcadm), 1, static_cast<void *>(&ctrcadm[1]));
  EXPECT_EQ(trace.Text(), expected);
}

TEST(CTrcSwitch, ModesAndLetters) {
  TraceCapture trace;
  for (char16_t letter : {u'A', u'B', u'M'}) Comp(letter);
  // Components, mode, level; the answer, the components text and ct_level after.
  const std::tuple<const char16_t *, int, int, int, const char16_t *, int> cases[] = {
      {u"All", CTRC_SWITCH_ADD, 2, -1, u"all, M", 3},  // "All" only in set mode
      {u"all", CTRC_SWITCH_REMOVE, 2, -1, u"all, M", 3},
      {u"All", CTRC_SWITCH_SET, 2, 0, u"All", 2},
      {u"all, M", CTRC_SWITCH_SET, 3, 0, u"all, M", 3},
      {u"a", CTRC_SWITCH_SET, 1, 0, u"a", 1},
      {u"B", CTRC_SWITCH_ADD, 2, 0, u"aB", 2},
      {u"aM", CTRC_SWITCH_REMOVE, -1, 0, u"Bm", 2},
      {u"AB", CTRC_SWITCH_SET | CTRC_SWITCH_LEVEL, 2, 0, u"AB", 2},
      {u"All, b", CTRC_SWITCH_SET | CTRC_SWITCH_LEVEL, 3, 0, u"All, b", 3}};
  for (auto [components, mode, level, answer, text_after, ct_level_after] : cases) {
    SCOPED_TRACE(tlm_test::Utf8(components));
    EXPECT_EQ(CTrcSwitch(components, mode, level, nullptr, nullptr), answer);
    EXPECT_EQ(CompsText(), text_after);
    EXPECT_EQ(ct_level, ct_level_after);
  }
}

int hook_level = -1;
void Hook(int level) { hook_level = level; }

TEST(CTrcSwitch, AnswersThePreviousStatePrintsAndCallsHooks) {
  TraceCapture trace(2);
  Comp(u'M', Hook);
  EXPECT_EQ(hook_level, 2);  // at once, the lower of 3 and ct_level
  trace.Clear();
  ZUL_UTF16 before[CTRC_COMPS_TEXT_SIZE];
  int level_before = 0;
  ASSERT_EQ(CTrcSwitch(u"m", CTRC_SWITCH_SET, 3, before, &level_before), 0);
  EXPECT_EQ(std::make_tuple(std::u16string(before), level_before), std::make_tuple(u"All", 2));
  EXPECT_EQ(trace.Text(),
            u"*\n*  ACTIVE TRACE LEVEL           3\n*  ACTIVE TRACE COMPONENTS      all\n*\n"
            u"Calling hook function for component 'M'\n");
  EXPECT_EQ(hook_level, 1);
}

TEST(CTrcParam, LevelFilePointerHookAndIndent) {
  TraceCapture trace(3);
  CTRC_HDL c = Comp(u'C');
  trace.Clear();
  ASSERT_EQ(CTrcSetParam(c, CTP_LEVEL, 2), 0);
  const std::u16string thr = TraceCapture::ThreadPrefix();
  EXPECT_EQ(trace.Text(),
            u"C  " + thr + u"*\nC  " + thr + u"* SWITCH TRC-LEVEL to 2\nC  " + thr + u"*\n");
  int level = 0, before = 0;
  ASSERT_EQ(CTrcGetParam(c, CTP_LEVEL, &before), 0);
  ct_level = 1;  // the lower of the component's and the process's level
  CTrcGetParam(c, CTP_LEVEL, &level);
  EXPECT_EQ(std::make_tuple(before, level), std::make_tuple(2, 1));

  EXPECT_EQ(CTrcSetParam(c, CTP_HOOKFUNC, Hook), 0);
  EXPECT_EQ(hook_level, 1);
  CTRC_HOOK hook = nullptr;
  FILE *stream = nullptr;
  EXPECT_EQ(CTrcGetParam(c, CTP_FILEPTR, &stream), 0);
  EXPECT_EQ(stream, ctrc::state.global_file);

  trace.Clear();
  EXPECT_EQ(CTrcSetParam(c, CTP_FILEPTR, stream), -1);
  EXPECT_EQ(CTrcSetParam(ctrc::state.global_file, CTP_HOOKFUNC, Hook), -1);
  EXPECT_EQ(CTrcGetParam(nullptr, CTP_HOOKFUNC, &hook), -1);
  for (const char16_t *line : {u"CTrcSetParam: cannot set the filepointer.\n",
                               u"*** ERROR => CTrcSetParam: Wrong handle [dptrace_r_mt",
                               u"*** ERROR => CTrcGetParam: Wrong handle for CTP_HOOKFUNC [dp"})
    EXPECT_TRUE(Has(trace.Text(), line)) << tlm_test::Utf8(line);
  // A value that is neither a handle nor the global file is refused without a word.
  EXPECT_EQ(CTrcSetParam(nullptr, CTP_LEVEL, 3), -1);
  // Indents never go negative.
  CTrcSetGlobalIndent(2);
  CTrcChangeHdlIndent(c, -5);
  EXPECT_EQ(static_cast<CTRC_ADM *>(c)->indent, 0);
  CTrcChangeGlobalIndent(20);
  trace.Clear();
  DPTRC_STMT(1, DpTrcNoTiNoThr, c, u"deep\n");
  EXPECT_EQ(trace.Text(), u"C  " + std::u16string(31, u' ') + u"deep\n");
}

TEST(CTrcPrintPgmHeader, Lines) {
  TraceCapture trace;
  CTRC_HDL p = Comp(u'P');
  trace.Clear();
  EntLev = 1;
  ASSERT_EQ(CTrcPrintPgmHeaderExt2(p, 720, 3, 14, 1, u"00", u"TLM", u"/etc/tlm.conf"), 0);
  EntLev = 2;
  std::u16string pid = Utf16(std::to_string(getpid()));
  EXPECT_EQ(trace.Text(),
            u"P sysno      00\nP sid        TLM\nP systemid   390 (AMD/Intel x86_64 with Linux)\n"
            u"P relno      720\nP patchlevel 3\nP patchno    14\nP intno      1\n"
            u"P make       multithreaded, Unicode, 64 bit, optimized\n"
            u"P profile    /etc/tlm.conf\nP pid        " +
                pid + u"\nP \n");
  EXPECT_EQ(CTrcPrintPgmHeader(p, 1, 2, 3, 4), -1);  // level 1 is below EntLev 2
}

TEST(CTrcGetLoggingInfo, Forms) {
  // Text; answer, on, size and global; a refused text leaves the result as it was.
  const std::tuple<const char16_t *, int, int, int64_t, int> cases[] = {
      {u"ON, 20 M, GLOBAL=ON", 0, 1, 20 * 1048576LL, 1},
      {u"on, 5k", 0, 1, 5120, 0},
      {u"ON,7K,global=on", 0, 1, 7168, 1},
      {u"off", 0, 0, 0, 0},
      {u"ON", -1, 9, 9, 9},
      {u"ON, K5", -1, 9, 9, 9},
      {u"ON, 5", -1, 9, 9, 9},
      {u"ON, 5 G", -1, 9, 9, 9},
      {u"ON, 5 K, LOCAL", -1, 9, 9, 9},
      {u"maybe", -1, 9, 9, 9},
      {u"", -1, 9, 9, 9}};
  for (auto [text, rc, on, size, global] : cases) {
    CTRC_LOGGING_INFO info = {9, 9, 9};
    EXPECT_EQ(CTrcGetLoggingInfo(text, &info), rc) << tlm_test::Utf8(text);
    EXPECT_EQ(std::make_tuple(info.on, info.size, info.global), std::make_tuple(on, size, global))
        << tlm_test::Utf8(text);
  }
}

TEST(CTrcInit, HeaderBlockASecondFileStaysApartAndTruncEmptiesTheFile) {
  TraceFileCapture trace(3, "main.trc");
  EXPECT_EQ(trace.Lines(), (std::vector<std::u16string>{
                               u"", u"---------------------------------------------------",
                               u"trc file: \"main.trc\", trc level: 3, release: \"720\"",
                               u"---------------------------------------------------"}));
  std::string other = trace.dir().File("other.trc");
  FILE *second = CTrcInit(Utf16(other).c_str(), 1, 1);
  ASSERT_NE(second, trace.stream());
  EXPECT_EQ(ct_level, 3);
  DPTRC_STMT(1, DpTrcNoTiNoThr, ctrc::state.global_file, u"to the global file\n");
  EXPECT_EQ(trace.Lines().back(), u"to the global file");
  EXPECT_EQ(tlm_test::ReadUtf8File(other).find(u"to the"), std::u16string::npos);
  fclose(second);
  // Truncation empties the global file.
  ASSERT_EQ(CTrcFileTrunc(ctrc::state.global_file), 0);
  DPTRC_STMT(1, DpTrcNoTiNoThr, ctrc::state.global_file, u"kept\n");
  EXPECT_EQ(trace.Text(), u"kept\n");
}

}  // namespace
