// The exported start, stop, timing, append, resource and threshold functions.

#include "tlm/tlmmtrecord.h"
#include "tlm_core_fixture.h"
#include "tlmprofile/profile_test_support.h"

namespace {

using core_test::StartedTest;
using metrics_test::Has;
using tlm_test::Utf16;

const char16_t *SessionA() { return u"session A"; }
const char16_t *EmptySession() { return u""; }

class TLMLifecycle : public StartedTest {};

// The version line, then the start, then the configuration report.
TEST_F(TLMLifecycle, StartWritesVersionAndConfiguration) {
  size_t at = 0;
  for (const char16_t *line : {u"TLM library version 2.3.12 (unicode) loaded\n",
                               u"TLM_ProcInitWithParam API invoked\n",
                               u"TLM configuration info begin----------------\n",
                               u"TLM configuration info end----------------\n"}) {
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
  // next start only brings the count back to 0.
  EXPECT_EQ(TLM_ProcExitNestable(), 65535);
  TLM_ProcExit();
  EXPECT_EQ(TLM_ProcInit(u"App", 0), 0);
  EXPECT_EQ(s_process_usage, 0);
  EXPECT_EQ(TLM_startTiming(u"A", u"op", 1), 0u);
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

class TLMTiming : public StartedTest {
 protected:
  void SetUp() override {
    Start({{u"instrument_level_threshold", u"10"}, {u"instrument_level_threshold_trace", u"20"}});
  }
};

TEST_F(TLMTiming, LevelsFilterBeforeAnyContextIsMade) {
  EXPECT_EQ(TLM_startTiming(u"A", u"op", 20), 0u);
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

  const std::pair<TLM_SESSION_ID_FUNC, const char16_t *> cases[] = {
      {nullptr, u"Get sessionId function point is NULL"},
      {EmptySession, u"External sessionId function returns the empty sessionId"}};
  for (const auto &[session, error] : cases) {
    std::u16string line = trace_.ThreadPrefix() + u"*** ERROR => " + error + u" [tlmmain ";
    trace_.Clear();
    EXPECT_EQ(TLM_startTimingEx(session, u"A", u"op", 1), 0u);
    TLM_endTimingEx(session, 1);
    TLM_initContextEx(session, u"");
    TLM_appendContextInfoEx(session, u"n", u"v");
    auto lines = trace_.Lines();
    EXPECT_EQ(lines.size(), 4u);
    for (const auto &text : lines) EXPECT_EQ(text.rfind(line, 0), 0u) << tlm_test::Utf8(text);
    // The level and record id tests come first, and say nothing.
    trace_.Clear();
    EXPECT_EQ(TLM_startTimingEx(session, u"A", u"op", 20), 0u);
    TLM_endTimingEx(session, 0);
    EXPECT_EQ(trace_.Text(), u"");
  }
}

TEST_F(TLMTiming, AppendedPairs) {
  TLM_initContext(u"*1000");  // a traced transaction
  uint32_t id = TLM_startTiming(u"A", u"op", 1);
  TLM_appendInfo(id, u"n", u"v");
  TLM_appendInfo(id, nullptr, nullptr);
  TLM_appendInfoToList(id, u"list", u"1");
  TLM_appendInfoToList(id, u"list", u"2");
  TLM_appendExceptionInfo(id, u"boom");
  TLM_appendReturnInfo(id, u"42");
  const std::u16string longName(300, u'p');  // beyond the 256 units of a fixed buffer
  TLM_appendParameterInfo(id, longName.c_str(), u"1");
  TLM_appendPassportInfo(id, u"P1", 0);
  TLM_appendPassportInfo(id, u"P2", 1);
  TLM_appendPassportInfoEx(SessionA, id, u"P3", 1);  // another session: no context
  TLM_appendInfo(id + 1, u"not", u"innermost");
  std::map<zulstring, zulstring> expected = {{u"n", u"v"},
                                             {u"", u""},
                                             {u"list", u"1,2"},
                                             {u"Exception", u"boom"},
                                             {u"Return Value", u"42"},
                                             {u"Method Call Parameter " + longName, u"1"},
                                             {u"outbound.ZUL-PASSPORT", u"P1,P2"}};
  EXPECT_EQ(OwnContext()->getRootRecord()->getInfo(), expected);
  TLM_appendContextInfo(u"n", u"v");
  TLM_appendUserID(u"alice");
  TLM_appendUserIDEx(SessionA, u"bob");
  TLM_appendUserID(u"carol");
  EXPECT_EQ(OwnContext()->getContextInfo(),
            (std::map<zulstring, zulstring>{{u"n", u"v"}, {u"User ID", u"carol"}}));
}

// The texts of the records that the test made: the library's own records start with "~".
std::vector<zulstring> Own(const std::vector<zulstring> &texts) {
  std::vector<zulstring> own;
  for (const zulstring &text : texts) {
    if (text.find(u"App_0|~") == zulstring::npos) own.push_back(text);
  }
  return own;
}

class ResourceApi : public StartedTest {};

TEST_F(ResourceApi, ReportsReachTheActiveSection) {
  TLM_initializeResource(u"Conn", 5, 0);
  TLM_increaseResource(u"Conn", 3);
  TLM_decreaseResource(u"Conn", 10);
  TLM_reportResourceKPI(u"Conn", u"errors", 3);
  TLM_reportResourceKPI(u"Conn", u"busy", -1);
  TLM_reportResourceKPI(u"Conn", u"errors", 2);  // the latest value counts
  TLM_reportResource(u"Per", 7, 9, 1, 4, 1);
  TLM_increaseResource(u"", 1);
  // Null texts are turned away.
  TLM_increaseResource(nullptr, 1);
  TLM_reportResourceKPI(nullptr, u"k", 1);
  TLM_reportResourceKPI(u"Conn", nullptr, 1);
  TLM_reportResource(nullptr, 1, 1, 1, 1, 0);

  EXPECT_EQ(Own(Flush()),
            (std::vector<zulstring>{
                u"<metric type=\"LongCounter\" name=\"ZUL_TLM|App_0|:Current Value\" value=\"1\" "
                u"max=\"1\" min=\"0\" count=\"1\" />\n",
                u"<metric type=\"LongCounter\" name=\"ZUL_TLM|App_0|Conn:Current Value\" "
                u"value=\"-2\" max=\"8\" min=\"-2\" count=\"1\" />\n"
                u"<metric type=\"LongCounter\" name=\"ZUL_TLM|App_0|Conn:busy\" value=\"-1\" "
                u"count=\"1\" />\n"
                u"<metric type=\"LongCounter\" name=\"ZUL_TLM|App_0|Conn:errors\" value=\"2\" "
                u"count=\"1\" />\n",
                u"<metric type=\"PerInterval\" name=\"ZUL_TLM|App_0|Per:Current Value\" "
                u"value=\"7\" />\n"}));
}

TEST_F(ResourceApi, NothingWhileSwitchedOffOrWithoutSendingInterval) {
  Start({{u"instrument_level_threshold", u"0"}});
  TLM_initializeResource(u"Off", 1, 0);
  CRecordSectionCacheManager::Instance()->processData();
  EXPECT_TRUE(Own(sink_->Texts()).empty());

  Start({{u"datasending_interval", u"0"}});
  TLM_initializeResource(u"Kept", 1, 0);
  const uint32_t version = CRecordSectionCacheManager::Instance()->getVersion();
  TLM_outputMetricData();
  EXPECT_EQ(CRecordSectionCacheManager::Instance()->getVersion(), version);
  EXPECT_TRUE(sink_->Texts().empty());
}

int callBackRuns = 0;

// Changes of the instrument level thresholds at run time.
class ThresholdApi : public StartedTest {
 protected:
  // Levels below 10 are timed; the trace threshold lets nothing through on its own.
  void SetUp() override { StartWithThresholds(); }
  void StartWithThresholds() {
    Start({{u"instrument_level_threshold", u"10"}, {u"instrument_level_threshold_trace", u"1"}});
  }
  // Whether a transaction of one component at level is timed, ended at once.
  static bool Timed(const char16_t *component, uint16_t level) {
    uint32_t id = TLM_startTiming(component, u"op", level);
    TLM_endTiming(id);
    return id != 0;
  }
};

TEST_F(ThresholdApi, AChangeAppliesFromTheNextStart) {
  EXPECT_TRUE(Timed(u"A", 5));
  TLM_changeInstruLevelThreshold(3);
  EXPECT_FALSE(Timed(u"A", 5));
  EXPECT_TRUE(Timed(u"A", 2));

  // A transaction under way keeps the threshold that it began with.
  uint32_t outer = TLM_startTiming(u"A", u"op", 1);
  TLM_changeInstruLevelThreshold(10);
  EXPECT_EQ(TLM_startTiming(u"B", u"op", 5), 0u);
  TLM_endTiming(outer);
  EXPECT_TRUE(Timed(u"B", 5));

  // 0 switches the library off, and the change itself still works while off.
  TLM_changeInstruLevelThreshold(0);
  EXPECT_FALSE(Timed(u"A", 0));
  TLM_changeInstruLevelThreshold(10);
  EXPECT_TRUE(Timed(u"A", 5));
}

TEST_F(ThresholdApi, ComponentThresholdsReachTransactionsBegunByInitContext) {
  // What, the passport of TLM_initContext (null: none), the component, its level, timed.
  const std::tuple<const char *, const char16_t *, const char16_t *, uint16_t, bool> cases[] = {
      {"untraced, its component", u"", u"Slow", 5, false},
      {"untraced, a level equal to the threshold", u"", u"Slow", 3, false},
      {"untraced, a level below the threshold", u"", u"Slow", 2, true},
      {"untraced, a deeper component", u"", u"Slow|Part", 5, false},
      {"untraced, a longer first segment", u"", u"SlowX", 5, true},
      {"untraced, a component below another", u"", u"Web|Slow", 5, true},
      {"untraced, a trace threshold", u"", u"Traced", 5, true},
      {"traced, its component", u"*1600", u"Traced", 5, false},
      {"traced, a threshold of untraced ones", u"*1600", u"Slow", 5, true},
      {"begun by timing", nullptr, u"Slow", 5, true},
  };
  for (const auto &[what, passport, component, level, timed] : cases) {
    SCOPED_TRACE(what);
    StartWithThresholds();
    TLM_changeInstruLevelThresholdForComponent(u"Slow", 3);
    TLM_changeTraceInstruLevelThresholdForComponent(u"Traced", 3);
    if (passport != nullptr) TLM_initContext(passport);
    EXPECT_EQ(Timed(component, level), timed);
  }
}

}  // namespace
