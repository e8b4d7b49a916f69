// The transaction context: identity from passports, thresholds, the stack discipline, trace size,
// trace triggers and outgoing passports; and the registry's sweep of contexts.
#include "tlm/tlmmtcontext.h"

#include "tlm/tlmcontextcachemanager.h"

#include "passport_bytes.h"
#include "tlm/tlmmtrecord.h"
#include "tlm/tlmplatformhelper.h"
#include "tlm/tlmthreadblock.h"
#include "tlm_core_fixture.h"

namespace {

// The settings that the library hands a new context now.
std::shared_ptr<const CProcessSettings> Now() { return tlmlibrary::CurrentSettings(); }

using CMTContextTest = core_test::CoreTest;

// Application passports use the flag table of version 0; the constructor traces from level 2,
// reset from level 1. A passport of version 3 and level 2 asks for a trace unless the end-to-end
// switch is off; the level stays either way.
TEST_F(CMTContextTest, PassportsDecideFlagLevelAndTrace) {
  struct Case {
    std::u16string passport;
    uint16_t flag, level;
    bool madeTraces, resetTraces;
    uint16_t traceThreshold;
  } cases[] = {
      {u"*8", 8, 0, false, false, 10},          {u"*100", 100, 1, false, true, 10},
      {u"G1*1000", 1000, 2, true, true, 10},    {u"*2000", 2000, 3, true, true, 65535},
      {u"no separator", 0, 0, false, false, 10},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(tlm_test::Utf8(c.passport));
    CMTContext made(Now(), c.passport), reset(Now());
    reset.reset(c.passport, Now());
    for (CMTContext *context : {&made, &reset}) {
      EXPECT_EQ(context->getTraceFlag(), c.flag);
      EXPECT_EQ(context->getTraceLevel(), c.level);
      EXPECT_EQ(context->getTraceInstrumentThreshold(), c.traceThreshold);
    }
    EXPECT_EQ(made.isTransTrace(), c.madeTraces);
    EXPECT_EQ(reset.isTransTrace(), c.resetTraces);
  }
  trace_.Clear();
  CMTContext named(Now(), u"G1*1000");
  EXPECT_EQ(trace_.Text(), trace_.ThreadPrefix() +
                               u"Application Passport detected, level=2, flag=1000, trace "
                               u"activated=1" +
                               trace_.ThreadPrefix() + u"GUID=G1\n");
  trace_.Clear();
  named.reset(u"G1*1000", Now());
  EXPECT_EQ(trace_.Text(), u"");

  std::u16string v3 = passport_bytes::Hex(passport_bytes::Version3(passport_bytes::SampleCore(3)));
  EXPECT_TRUE(CMTContext(Now(), v3).isTransTrace());
  Configure({{u"trace_enabled_via_e2e", u"0"}});
  CMTContext untraced(Now(), v3);
  EXPECT_FALSE(untraced.isTransTrace());
  EXPECT_EQ(untraced.getTraceLevel(), 2);
}

TEST_F(CMTContextTest, TheEMSwitchesTracingOnWithANewGuid) {
  Configure({{u"trace_enabled_via_em", u"1"}, {u"instrument_level_threshold_trace", u"20"}});
  CMTContext context(Now(), u"G1*100");
  EXPECT_TRUE(context.isTransTrace());
  EXPECT_EQ(context.getTraceLevel(), 0);
  EXPECT_EQ(context.getTraceInstrumentThreshold(), 20);
  EXPECT_NE(context.getTraceGuid(), u"G1");
  context.reset(u"", Now());
  EXPECT_TRUE(context.isTransTrace());
}

TEST_F(CMTContextTest, EndingAnOuterRecordInterruptsTheInnerOnes) {
  CMTContext context(Now());
  uint32_t a = context.startTiming(u"A|op", 1);
  uint32_t b = context.startTiming(u"B|op", 1);
  context.startTiming(u"C|op", 1);
  // Ids above the top were never handed out: nothing changes.
  context.endTiming(b + 5);
  context.terminateTiming(b + 6);
  EXPECT_EQ(context.getStackDepth(), 3u);
  context.endTiming(a);
  EXPECT_EQ(context.getStatus(), CMTContext::STATUS_CLOSE);
  EXPECT_EQ(context.getStackDepth(), 0u);
  for (const char16_t *name : {u"B|op", u"C|op"}) {
    EXPECT_EQ(Stat(name)->getTerminatedCounter(), 1u);
    EXPECT_EQ(Stat(name)->getFinishedCounter(), 0u);
  }
  // Ended out of order: stopped without a sample.
  EXPECT_EQ(Stat(u"A|op")->getFinishedCounter(), 1u);
  EXPECT_EQ(Stat(u"A|op")->getSampleCount(), 0u);
}

// A record kept by the thread from an earlier start looks its stat record up in the new ring,
// though the new ring's versions start again at 0.
TEST_F(CMTContextTest, RecordsKeptFromAnEarlierStartCountInTheNewRing) {
  ASSERT_NE(CThreadBlock::Current(), nullptr);  // the thread's pool keeps ended records
  for (int start = 0; start < 2; ++start) {
    Configure({});
    CMTContext context(Now());
    context.endTiming(context.startTiming(u"Kept|op", 1));
    EXPECT_EQ(Stat(u"Kept|op")->getFinishedCounter(), 1u) << "start " << start;
  }
}

// That a context given up times nothing until TLM_initContext is the exported functions' test.
TEST_F(CMTContextTest, AnIdNeverOnTheStackGivesTheContextUp) {
  for (bool terminate : {false, true}) {
    CMTContext context(Now());
    context.startTiming(u"A|op", 1);
    uint32_t b = context.startTiming(u"B|op", 1);
    context.endTiming(b);
    context.startTiming(u"C|op", 1);
    trace_.Clear();
    terminate ? context.terminateTiming(b) : context.endTiming(b);
    EXPECT_EQ(context.getStatus(), CMTContext::STATUS_TERMINATE);
    EXPECT_EQ(context.getStackDepth(), 0u);
    // Only endTiming says so.
    EXPECT_EQ(trace_.Text().find(u"*** ERROR => Abnormal exception encountered, invalid recId "
                                 u"input! [tlmmtcontext "),
              terminate ? std::u16string::npos : trace_.ThreadPrefix().size());
  }
}

TEST_F(CMTContextTest, TraceSizeAndPairs) {
  Configure({{u"trace_enabled_via_em", u"1"}});
  CMTContext context(Now());
  uint32_t a = context.startTiming(u"A|op", 1);       // 100 + 4
  context.appendRecordInfo(a, u"n", u"vv");           // 1 + 2 + 30
  context.appendRecordInfoToList(a, u"l", u"x");      // new: 1 + 1 + 30
  context.appendRecordInfoToList(a, u"l", u"yyy");    // joined: 3 + 1
  context.appendRecordInfo(a + 1, u"ignored", u"x");  // not the innermost record
  context.appendContextInfo(u"user", u"alice");       // 4 + 5 + 30
  context.appendContextInfo(u"user", u"bo");          // 2 - 5
  EXPECT_EQ(context.getTraceSize(), 104u + 33u + 32u + 4u + 39u - 3u);
  EXPECT_EQ(context.getRootRecord()->getInfo().at(u"l"), u"x,yyy");
  // A context that isn't tracing keeps no record pairs.
  Configure({});
  CMTContext untraced(Now(), u"");
  uint32_t b = untraced.startTiming(u"B|op", 1);
  untraced.appendRecordInfo(b, u"n", u"v");
  untraced.appendContextInfo(u"n", u"v");
  EXPECT_EQ(untraced.getTraceSize(), 104u + 32u);
}

TEST_F(CMTContextTest, ALongTransactionIsPromotedOnlyWhenNotTracing) {
  Configure({{u"auto_transaction_trace_threshold", u"60"}});
  for (const char16_t *passport : {u"", u"*1000"}) {
    CMTContext context(Now(), passport);
    context.startTiming(u"A|op", 1);
    uint32_t b = context.startTiming(u"B|op", 1);
    context.setCreatedTimestamp(
        TLMPlatformHelper::GetServerTimeDiff(TLMPlatformHelper::GetServerTime(), 61000));
    context.endTiming(b + 5);  // measures nothing: -1 never passes
    EXPECT_FALSE(context.isPromtedTraceSent());
    context.endTiming(b);
    EXPECT_EQ(context.isPromtedTraceSent(), !context.isTransTrace());
  }
}

// Idle and age are set back from now; the margins keep the time the sweep itself takes out.
TEST_F(CMTContextTest, RegistrySweep) {
  Configure({{u"auto_transaction_trace_threshold", u"60"}});
  // Session, passport ("*1000": tracing), records (0: initial; 2: the second given up), idle and
  // age in ms, whether a thread is inside it, whether the sweep keeps it and promotes it.
  const std::tuple<const char16_t *, const char16_t *, uint16_t, uint32_t, uint32_t, bool, bool,
                   bool>
      cases[] = {
      {u"empty, young", u"", 0, 1000, 1000, false, true, false},
      {u"empty, old", u"", 0, 3000, 3000, false, false, false},
      {u"open zombie", u"", 1, 50000, 50000, false, false, false},
      {u"terminated zombie", u"", 2, 50000, 50000, false, false, false},
      {u"zombie in use", u"", 1, 50000, 50000, true, true, false},
      {u"due for promotion", u"", 1, 6000, 70000, false, true, true},
      {u"in a call", u"", 1, 4000, 70000, false, true, false},
      {u"too young", u"", 1, 6000, 50000, false, true, false},
      {u"tracing", u"*1000", 1, 6000, 70000, false, true, false},
  };
  uint32_t now = TLMPlatformHelper::GetServerTime();
  auto before = [now](uint32_t ms) { return TLMPlatformHelper::GetServerTimeDiff(now, ms); };
  std::vector<CContextRef> inUse;
  for (const auto &[session, passport, records, idle, age, held, kept, promoted] : cases) {
    CContextRef context =
        Registry()->pushContextToCache(session, std::make_unique<CMTContext>(Now(), passport));
    if (records > 0) context->startTiming(u"A|op", 1);
    if (records > 1) context->terminateTimingAll();
    context->setLastUsedTimestamp(before(idle));
    context->setCreatedTimestamp(before(age));
    if (held) inUse.push_back(std::move(context));
  }
  trace_.Clear();
  Registry()->removeZombieContexts(40000, 2000);
  inUse.clear();
  for (const auto &[session, passport, records, idle, age, held, kept, promoted] : cases) {
    CContextRef context = Registry()->getContextByID(session);
    EXPECT_EQ(static_cast<bool>(context), kept) << tlm_test::Utf8(session);
    EXPECT_EQ(context && context->isPromtedTraceSent(), promoted);
  }
  EXPECT_EQ(Resource(u"~Empty Context Count")->getCurrentValue(), 1);
  EXPECT_EQ(Resource(u"~Zombie Context Count")->getCurrentValue(), 2);
  std::u16string text = trace_.Text();
  EXPECT_NE(text.find(u"Empty context detected\n"), std::u16string::npos);
  EXPECT_NE(text.find(u"Zombie context detected\n"), std::u16string::npos);
}

}  // namespace
