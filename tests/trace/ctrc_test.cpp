// The component trace: registration, handles by address, switching, parameters, files and
// headers, thread files, logging settings.
#include <gtest/gtest.h>

#include <thread>

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
  EXPECT_EQ(CTrcCompLev(m), 3);
  EXPECT_EQ(CTrcCompLev(x), 1);
  EXPECT_EQ(static_cast<CTRC_ADM *>(x)->letter, u'X');
  EXPECT_EQ(CompsText(), u"all, M");

  int first = next_free_comp, registered = 0;
  while (CTrcNewComp(u'Q', &hdl, nullptr) == 0) ++registered;
  EXPECT_EQ(registered, CTRC_MAX_COMPS - first);
  EXPECT_EQ(hdl, stderr);
  EXPECT_NE(trace.Text().find(u"*** ERROR => CTrcNewComp: too many comps\n"), std::u16string::npos);
  next_free_comp = 1;
  ASSERT_EQ(CTrcLastComp(u'L', &hdl, nullptr), 0);
  EXPECT_EQ(CTrcNewComp(u'K', &hdl, nullptr), -1);
  EXPECT_EQ(hdl, nullptr);
  EXPECT_NE(trace.Text().find(u"*** ERROR => CTrcNewComp called after CTrcLastComp [dptrace_r_mt "),
            std::u16string::npos);

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
  const struct {
    const char16_t *components;
    int mode, level, answer;
    const char16_t *text_after;
    int ct_level_after;
  } cases[] = {
      {u"All", CTRC_SWITCH_ADD, 2, -1, u"all, M", 3},  // "All" only in set mode
      {u"all", CTRC_SWITCH_REMOVE, 2, -1, u"all, M", 3},
      {u"All", CTRC_SWITCH_SET, 2, 0, u"All", 2},
      {u"all, M", CTRC_SWITCH_SET, 3, 0, u"all, M", 3},
      {u"a", CTRC_SWITCH_SET, 1, 0, u"a", 1},
      {u"B", CTRC_SWITCH_ADD, 2, 0, u"aB", 2},
      {u"aM", CTRC_SWITCH_REMOVE, -1, 0, u"Bm", 2},
      {u"AB", CTRC_SWITCH_SET | CTRC_SWITCH_LEVEL, 2, 0, u"AB", 2},
      {u"All, b", CTRC_SWITCH_SET | CTRC_SWITCH_LEVEL, 3, 0, u"All, b", 3},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(tlm_test::Utf8(c.components));
    EXPECT_EQ(CTrcSwitch(c.components, c.mode, c.level, nullptr, nullptr), c.answer);
    EXPECT_EQ(CompsText(), c.text_after);
    EXPECT_EQ(ct_level, c.ct_level_after);
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
  EXPECT_EQ(std::u16string(before), u"All");
  EXPECT_EQ(level_before, 2);
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
  int level = 0;
  ASSERT_EQ(CTrcGetParam(c, CTP_LEVEL, &level), 0);
  EXPECT_EQ(level, 2);
  ct_level = 1;  // the lower of the component's and the process's level
  CTrcGetParam(c, CTP_LEVEL, &level);
  EXPECT_EQ(level, 1);

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
    EXPECT_NE(trace.Text().find(line), std::u16string::npos) << tlm_test::Utf8(line);
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
  const struct {
    const char16_t *text;
    CTRC_LOGGING_INFO info;
  } cases[] = {{u"ON, 20 M, GLOBAL=ON", {1, 20 * 1048576LL, 1}},
               {u"on, 5k", {1, 5120, 0}},
               {u"ON,7K,global=on", {1, 7168, 1}},
               {u"off", {0, 0, 0}}};
  for (const auto &c : cases) {
    CTRC_LOGGING_INFO info = {9, 9, 9};
    EXPECT_EQ(CTrcGetLoggingInfo(c.text, &info), 0) << tlm_test::Utf8(c.text);
    EXPECT_EQ(std::tie(info.on, info.size, info.global),
              std::tie(c.info.on, c.info.size, c.info.global))
        << tlm_test::Utf8(c.text);
  }
  for (const char16_t *text :
       {u"ON", u"ON, K5", u"ON, 5", u"ON, 5 G", u"ON, 5 K, LOCAL", u"maybe", u""}) {
    CTRC_LOGGING_INFO info;
    EXPECT_EQ(CTrcGetLoggingInfo(text, &info), -1) << tlm_test::Utf8(text);
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

TEST(CTrcThrOpen, ThreadFileTakesAllOfTheThreadsOutput) {
  TraceFileCapture trace(3);
  CTRC_HDL g = Comp(u'G');
  static_cast<CTRC_ADM *>(g)->level = 3;
  EXPECT_EQ(CTrcThrGetTraceLevel(g), CTRC_THR_LEVEL_UNSET);
  std::string thread_file = trace.dir().File("thread.trc");
  std::thread worker([&] {
    CTRC_HDL own = CTrcThrOpen(Utf16(thread_file).c_str(), 1, 2);
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(CTrcCompLev(own), 2);
    DPTRC_STMT(1, DpTrcNoTiNoThr, g, u"from the worker\n");
    EXPECT_EQ(CTrcThrGetTraceLevel(own), CTRC_THR_LEVEL_UNSET);
    ASSERT_EQ(CTrcThrSetTraceLevel(own, 1), 0);
    EXPECT_EQ(CTrcThrGetTraceLevel(own), 1);
    DPTRC_STMT(2, DpTrcNoTiNoThr, g, u"filtered by the thread level\n");
    EXPECT_EQ(CTrcThrClose(own), 0);
    EXPECT_EQ(CTrcThrClose(own), -1);  // no thread file any more
  });
  worker.join();
  CTrcThrResetTrace();
  DPTRC_STMT(1, DpTrcNoTiNoThr, g, u"from the main thread\n");
  std::u16string thread_text = tlm_test::ReadUtf8File(thread_file);
  EXPECT_NE(thread_text.find(u"trc file: \"thread.trc\", trc level: 2"), std::u16string::npos);
  EXPECT_NE(thread_text.find(u"G  from the worker\n"), std::u16string::npos);
  EXPECT_EQ(thread_text.find(u"filtered"), std::u16string::npos);
  std::u16string main_text = trace.Text();
  EXPECT_EQ(main_text.find(u"worker"), std::u16string::npos);
  EXPECT_NE(main_text.find(u"G  from the main thread\n"), std::u16string::npos);
  EXPECT_EQ(CTrcThrClose(stderr), -1);
}

}  // namespace
