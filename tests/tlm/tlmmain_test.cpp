// The exported start, stop, timing and append functions.

#include "tlm/tlmmtrecord.h"
#include "tlm/tlmswitchoffnotes.h"
#include "tlm_core_fixture.h"
#include "tlmprofile/profile_test_support.h"

namespace {

using core_test::StartedTest;
using metrics_test::Has;
using tlm_test::Utf16;

const char16_t *SessionA() { return u"session A"; }
const char16_t *EmptySession() { return u""; }
const char16_t *NullSession() { return nullptr; }

class TLMLifecycle : public StartedTest {};

// The version line, then the start, then the configuration report, after which come the notes.
TEST_F(TLMLifecycle, StartWritesVersionConfigurationAndNotes) {
  Start({{u"tracecheck_interval", u"0"}});
  size_t at = 0;
  for (const char16_t *line : {u"TLM library version 2.3.12 (unicode) loaded\n",
                               u"TLM_ProcInitWithParam API invoked\n",
                               u"TLM configuration info begin----------------\n",
                               u"TLM configuration info end----------------\n",
                               u"tracecheck_interval is 0: there is no trace timer"}) {
    at = trace_.Text().find(line, at);
    ASSERT_NE(at, std::u16string::npos) << tlm_test::Utf8(line);
  }
}

TEST_F(TLMLifecycle, ALaterStartOnlyCountsAUse) {
  Start({{u"instrument_level_threshold", u"5"}});
  struct Case {
    std::function<int()> start;
    const char16_t *message;
  } cases[] = {
      {[] { return TLM_ProcInit(u"Other", 1); }, u"TLM_ProcInit API has been invoked before\n"},
      {[] { return TLM_ProcInitWithProfilePath(u"Other", 1, u"/nowhere"); },
       u"TLM_ProcInitWithParam API has been invoked before\n"},
      {[] { return TLM_ProcInitWithParam(u"Other", 1, 0, nullptr); },
       u"TLM_ProcInitWithParam API has been invoked before\n"},
  };
  uint16_t uses = 1;
  for (const Case &c : cases) {
    trace_.Clear();
    EXPECT_EQ(c.start(), 0);
    EXPECT_EQ(s_process_usage, ++uses);
    EXPECT_EQ(trace_.Text(), trace_.ThreadPrefix() + c.message);
  }
  EXPECT_EQ(TLMParameterHelper::GetInstruLevelThreshold(), 5);
  EXPECT_EQ(tlmlibrary::CurrentSettings()->componentName, u"App");
  for (int left : {3, 2, 1}) EXPECT_EQ(TLM_ProcExitNestable(), left);
  EXPECT_NE(TLM_startTiming(u"A", u"op", 1), 0u);
  EXPECT_EQ(TLM_ProcExitNestable(), 0);
  EXPECT_EQ(TLM_startTiming(u"A", u"op", 1), 0u);
}

TEST_F(TLMLifecycle, ExitEndsTheLibraryWhateverTheNesting) {
  TLM_ProcInit(u"App", 0);
  TLM_ProcInit(u"App", 0);
  trace_.Clear();
  TLM_ProcExit();
  EXPECT_EQ(s_process_usage, 0);
  EXPECT_EQ(tf, nullptr);
  auto lines = trace_.Lines();
  EXPECT_EQ(lines.front(), trace_.ThreadPrefix() + u"TLM_ProcExit API started");
  EXPECT_EQ(lines.back(), trace_.ThreadPrefix() + u"TLM_ProcExit API invoked");
  // Stopped, every call does nothing.
  trace_.Clear();
  TLM_ProcExit();
  TLM_initContext(u"*1000");
  EXPECT_EQ(TLM_startTiming(u"A", u"op", 1), 0u);
  TLM_appendContextInfo(u"n", u"v");
  EXPECT_EQ(trace_.Text(), u"");
  // Without a gate, a nested exit at 0 wraps the count; TLM_ProcExit then does nothing, and the
  // next start only brings the count back to 0, saying why nothing is timed.
  EXPECT_EQ(TLM_ProcExitNestable(), 65535);
  TLM_ProcExit();
  EXPECT_EQ(s_process_usage, 65535);
  EXPECT_EQ(TLM_ProcInit(u"App", 0), 0);
  EXPECT_EQ(s_process_usage, 0);
  EXPECT_EQ(TLM_startTiming(u"A", u"op", 1), 0u);
  EXPECT_EQ(trace_.Lines(),
            (std::vector<std::u16string>{
                trace_.ThreadPrefix() + u"TLM_ProcInit API has been invoked before",
                trace_.ThreadPrefix() +
                    u"Instrumentation stays off: the library is stopped, and this start only made "
                    u"up for a TLM_ProcExitNestable call made while it was stopped (usage count "
                    u"now 0, not 1); the library starts at the start call that brings the count "
                    u"to 1"}));
}

// Each configuration that switches instrumentation off, or isn't read as written, says so in
// words; the notes follow the configuration report at start.
class TLMSwitchOffNotes : public metrics_test::MetricsTest {};

TEST_F(TLMSwitchOffNotes, EachValueThatSwitchesSomethingOffIsNamed) {
  const std::pair<metrics_test::Pairs, std::u16string> cases[] = {
      {{}, u""},
      {{{u"instrument_level_threshold", u"abc"}},
       u"Parameter instrument_level_threshold=abc is not a number; it is read as 0\n"
       u"instrument_level_threshold is 0: instrumentation is switched off, nothing is timed or "
       u"traced\n"},
      {{{u"tracecheck_interval", u"0"}, {u"datasending_interval", u"0"}},
       u"datasending_interval is 0: metric data is never sent, and neither TLM_outputMetricData "
       u"nor the stop sends anything\n"
       u"tracecheck_interval is 0: there is no trace timer, and traces are never sent\n"},
  };
  for (const auto &[pairs, notes] : cases) {
    Start(pairs);
    EXPECT_EQ(tlmmain::switchOffNotes(), notes);
  }
}

// More than 26 pairs apply not even the default texts, only the built-in numbers. As logdir is
// then empty, the component names a place in the temporary directory.
TEST_F(TLMLifecycle, TooManyPairsApplyNothing) {
  std::vector<std::array<const ZUL_UTF16 *, 2>> many(27, {u"instrument_level_threshold", u"5"});
  std::u16string component = Utf16(logdir_.path()).substr(1) + u"/Many";
  TLM_ProcExit();
  TLM_ProcInitWithParam(component.c_str(), 0, 27,
                        reinterpret_cast<const ZUL_UTF16 *(*)[2]>(many.data()));
  EXPECT_EQ(s_process_usage, 1);
  EXPECT_EQ(TLMParameterHelper::GetInstruLevelThreshold(), 10);
  EXPECT_EQ(TLMParameterHelper::GetLogDir(), u"");
  EXPECT_TRUE(std::filesystem::exists(logdir_.File("Many_tlm.trc")));
}

TEST_F(TLMLifecycle, TraceFileNameAndPlace) {
  TLM_ProcExit();
  // The file is opened for real here; the guard restores the trace state afterwards.
  tlm_test::TraceStateGuard guard;
  DpLock();
  output_func = nullptr;
  ctrc::state.global_file = nullptr;
  DpUnlock();
  Start({}, u"my|app");
  EXPECT_TRUE(std::filesystem::exists(logdir_.File("my_app_tlm.trc")));
  TLM_ProcExit();
  // A logdir that can't be written sends the file to the working directory.
  tlm_test::TempDir work;
  profile_test::ScopedCwd cwd(work.path());
  Start({{u"logdir", Utf16(logdir_.File("missing/dir"))}}, u"App");
  EXPECT_EQ(s_process_usage, 1);
  EXPECT_TRUE(std::filesystem::exists(work.File("App_tlm.trc")));
  TLM_ProcExit();
}

class TLMTiming : public StartedTest {
 protected:
  void SetUp() override {
    Start({{u"instrument_level_threshold", u"10"}, {u"instrument_level_threshold_trace", u"20"}});
  }
};

TEST_F(TLMTiming, LevelsAndTheSwitchFilterBeforeAnyContextIsMade) {
  EXPECT_EQ(TLM_startTiming(u"A", u"op", 20), 0u);
  TLMParameterHelper::SetInstruLevelThreshold(0);
  EXPECT_EQ(TLM_startTiming(u"A", u"op", 0), 0u);
  TLMParameterHelper::SetInstruLevelThreshold(10);
  EXPECT_EQ(OwnContext(), nullptr);
  // Below the trace threshold only: a context appears though its record is skipped.
  EXPECT_EQ(TLM_startTiming(u"A", u"op", 15), 0u);
  ASSERT_NE(OwnContext(), nullptr);
  EXPECT_EQ(OwnContext()->getStatus(), CMTContext::STATUS_INITIAL);
  EXPECT_EQ(TLM_startTiming(u"A", u"op", 0), 1u);
}

TEST_F(TLMTiming, TheOutermostEndRemovesTheContext) {
  uint32_t a = TLM_startTiming(u"A", u"op", 1);
  uint32_t b = TLM_startTiming(u"B", u"op", 1);
  TLM_endTiming(0);
  TLM_endTiming(b);
  EXPECT_NE(OwnContext(), nullptr);
  TLM_endTiming(a);
  EXPECT_EQ(OwnContext(), nullptr);
  // Null texts read as empty; a prefix names the metrics, the library's own too.
  TLM_endTiming(TLM_startTiming(nullptr, nullptr, 1));
  Flush();
  EXPECT_TRUE(Has(sink_->Joined(), u"name=\"ZUL_TLM|App_0||:Avg. Elapsed Time(ms)\""));
  TLM_setInstancePrefix(u"pfx");
  TLM_endTiming(TLM_startTiming(u"A", u"op", 1));
  sink_->Clear();
  Flush();
  EXPECT_TRUE(Has(sink_->Joined(), u"name=\"ZUL_TLM|App_0|pfx|A|op:"));
  EXPECT_TRUE(Has(sink_->Joined(), u"name=\"ZUL_TLM|App_0|pfx|~Zombie Context Count:"));
}

TEST_F(TLMTiming, TerminatedSessionsTimeNothingUntilInitContext) {
  uint32_t a = TLM_startTiming(u"A", u"op", 1);
  TLM_terminateTimingAll();
  ASSERT_NE(OwnContext(), nullptr);
  EXPECT_EQ(OwnContext()->getStatus(), CMTContext::STATUS_TERMINATE);
  trace_.Clear();
  EXPECT_EQ(TLM_startTiming(u"A", u"op", 1), 0u);
  EXPECT_TRUE(Has(trace_.Text(),
                       u"*** ERROR => Previous context object is in the terminate status and was "
                       u"not cleaned up by TLM_initContext API [tlmmain "));
  TLM_endTiming(a);
  EXPECT_EQ(OwnContext()->getStatus(), CMTContext::STATUS_TERMINATE);
  TLM_initContext(nullptr);
  EXPECT_EQ(OwnContext()->getStatus(), CMTContext::STATUS_INITIAL);
  EXPECT_EQ(TLM_startTiming(u"A", u"op", 1), 1u);
  // An open transaction is given up by the next TLM_initContext.
  TLM_initContext(u"*1000");
  EXPECT_EQ(OwnContext()->getStatus(), CMTContext::STATUS_INITIAL);
  EXPECT_TRUE(OwnContext()->isTransTrace());
}

TEST_F(TLMTiming, ExSessions) {
  uint32_t a = TLM_startTimingEx(SessionA, u"A", u"op", 1);
  EXPECT_EQ(OwnContext(), nullptr);
  EXPECT_NE(CContextCacheManager::Instance()->getContextByID(u"session A"), nullptr);
  TLM_endTimingEx(SessionA, a);
  EXPECT_EQ(CContextCacheManager::Instance()->getContextByID(u"session A"), nullptr);

  struct Case {
    TLM_SESSION_ID_FUNC session;
    const char16_t *error;
  } cases[] = {
      {nullptr, u"Get sessionId function point is NULL"},
      {EmptySession, u"External sessionId function returns the empty sessionId"},
      {NullSession, u"External sessionId function returns the empty sessionId"},
  };
  for (const Case &c : cases) {
    std::u16string line = trace_.ThreadPrefix() + u"*** ERROR => " + c.error + u" [tlmmain ";
    trace_.Clear();
    EXPECT_EQ(TLM_startTimingEx(c.session, u"A", u"op", 1), 0u);
    TLM_endTimingEx(c.session, 1);
    TLM_terminateTimingEx(c.session, 1);
    TLM_terminateTimingAllEx(c.session);
    TLM_initContextEx(c.session, u"");
    TLM_appendInfoEx(c.session, 1, u"n", u"v");
    TLM_appendContextInfoEx(c.session, u"n", u"v");
    auto lines = trace_.Lines();
    EXPECT_EQ(lines.size(), 7u);
    for (const auto &text : lines) EXPECT_EQ(text.rfind(line, 0), 0u) << tlm_test::Utf8(text);
    // The level and record id tests come first, and say nothing.
    trace_.Clear();
    EXPECT_EQ(TLM_startTimingEx(c.session, u"A", u"op", 20), 0u);
    TLM_endTimingEx(c.session, 0);
    EXPECT_EQ(trace_.Text(), u"");
  }
}

TEST_F(TLMTiming, AppendedPairs) {
  TLM_initContext(u"*1000");  // a traced transaction
  uint32_t id = TLM_startTiming(u"A", u"op", 1);
  std::u16string longName(300, u'p');
  TLM_appendInfo(id, u"n", u"v");
  TLM_appendInfo(id, nullptr, nullptr);
  TLM_appendInfoToList(id, u"list", u"1");
  TLM_appendInfoToList(id, u"list", u"2");
  TLM_appendExceptionInfo(id, u"boom");
  TLM_appendReturnInfo(id, u"42");
  TLM_appendParameterInfo(id, u"x", u"1");
  TLM_appendParameterInfo(id, longName.c_str(), u"2");
  TLM_appendPassportInfo(id, u"P1", 0);
  TLM_appendPassportInfo(id, u"P2", 1);
  TLM_appendPassportInfoEx(SessionA, id, u"P3", 1);  // another session: no context
  TLM_appendInfo(id + 1, u"not", u"innermost");
  std::map<zulstring, zulstring> expected = {{u"n", u"v"},
                                             {u"", u""},
                                             {u"list", u"1,2"},
                                             {u"Exception", u"boom"},
                                             {u"Return Value", u"42"},
                                             {u"Method Call Parameter x", u"1"},
                                             {u"Method Call Parameter " + longName, u"2"},
                                             {u"outbound.ZUL-PASSPORT", u"P1,P2"}};
  EXPECT_EQ(OwnContext()->getRootRecord()->getInfo(), expected);
  TLM_appendContextInfo(u"n", u"v");
  TLM_appendUserID(u"alice");
  TLM_appendUserIDEx(SessionA, u"bob");
  TLM_appendUserID(u"carol");
  EXPECT_EQ(OwnContext()->getContextInfo(),
            (std::map<zulstring, zulstring>{{u"n", u"v"}, {u"User ID", u"carol"}}));
}

}  // namespace
