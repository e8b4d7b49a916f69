// The transaction context: identity from passports, thresholds, the stack discipline, trace size
// accounting, trace triggers and outgoing passports.
#include "tlm/tlmmtcontext.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "passport_bytes.h"
#include "tlm/tlmpassporthelper.h"
#include "tlm/tlmplatformhelper.h"
#include "tlm_core_fixture.h"
#include "zul_epp.h"

namespace {

namespace pb = passport_bytes;
using core_test::CoreTest;

class CMTContextTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    ASSERT_EQ(eppSetEnvironment(8, 3, std::malloc, std::free, nullptr, 0), 0u);
  }
  // Ages the context's creation by ms.
  static void Backdate(CMTContext &context, uint32_t ms) {
    context.setCreatedTimestamp(TLMPlatformHelper::GetServerTimeDiff(
        TLMPlatformHelper::GetServerTime(), ms));
  }
};

TEST_F(CMTContextTest, ALevelCountsOnlyBelowTheThreshold) {
  CMTContext context;
  EXPECT_EQ(context.startTiming(u"A|op", 10), CMTContext::SKIPPED_COUNTER);
  EXPECT_EQ(context.getStatus(), CMTContext::STATUS_INITIAL);
  EXPECT_EQ(context.startTiming(u"A|op", 9), CMTContext::BASE_COUNTER);
  EXPECT_EQ(context.startTiming(u"B|op", 0), 2u);
  EXPECT_EQ(context.getStatus(), CMTContext::STATUS_OPEN);
}

// Application passports use the flag table of version 0; the constructor traces from level 2,
// reset from level 1.
TEST_F(CMTContextTest, ApplicationPassports) {
  struct Case {
    std::u16string passport;
    uint16_t flag, level;
    bool ctorTraces, resetTraces;
    uint16_t traceThreshold;
  } cases[] = {
      {u"*8", 8, 0, false, false, 10},
      {u"*100", 100, 1, false, true, 10},
      {u"G1*1000", 1000, 2, true, true, 10},
      {u"*2000", 2000, 3, true, true, 65535},
      {u"no separator", 0, 0, false, false, 10},
  };
  for (const Case &c : cases) {
    CMTContext made(c.passport);
    CMTContext reset;
    reset.reset(c.passport);
    for (CMTContext *context : {&made, &reset}) {
      EXPECT_EQ(context->getTraceFlag(), c.flag) << tlm_test::Utf8(c.passport);
      EXPECT_EQ(context->getTraceLevel(), c.level) << tlm_test::Utf8(c.passport);
      EXPECT_EQ(context->getTraceInstrumentThreshold(), c.traceThreshold);
    }
    EXPECT_EQ(made.isTransTrace(), c.ctorTraces) << tlm_test::Utf8(c.passport);
    EXPECT_EQ(reset.isTransTrace(), c.resetTraces) << tlm_test::Utf8(c.passport);
  }
  CMTContext named(u"G1*1000");
  EXPECT_EQ(named.getTraceGuid(), u"G1");
}

TEST_F(CMTContextTest, ConstructorWritesThePassportItFound) {
  trace_.Clear();
  CMTContext context(u"G1*1000");
  // Two statements on one line: the thread prefix is repeated where the second one begins.
  EXPECT_EQ(trace_.Text(), trace_.ThreadPrefix() +
                               u"Application Passport detected, level=2, flag=1000, trace "
                               u"activated=1" +
                               trace_.ThreadPrefix() + u"GUID=G1\n");
  trace_.Clear();
  context.reset(u"G1*1000");
  EXPECT_EQ(trace_.Text(), u"");
}

TEST_F(CMTContextTest, ZULPassportOfVersion3) {
  pb::Core core = pb::SampleCore(3);  // flag 0x0D8F = 3471: level 2
  std::u16string text = pb::Hex(pb::Version3(core));
  CMTContext context(text);
  EXPECT_EQ(context.getTraceFlag(), 3471);
  EXPECT_EQ(context.getTraceLevel(), 2);
  EXPECT_TRUE(context.isTransTrace());
  EXPECT_EQ(context.getPassportText(), text);
  EXPECT_EQ(context.getTraceGuid(),
            u"000102030405060708090A0B0C0D0E0F"
            u"F0F1F2F3F4F5F6F7F8F9FAFBFCFDFEFF01020304");
  EXPECT_EQ(context.getPassportElement(1), u"T-0001" + std::u16string(26, u' '));
  EXPECT_EQ(context.getPassportElement(2), u"000102030405060708090A0B0C0D0E0F");
  EXPECT_EQ(context.getPassportElement(3), u"F0F1F2F3F4F5F6F7F8F9FAFBFCFDFEFF");
  EXPECT_EQ(context.getPassportElement(4), u"16909060");
  EXPECT_EQ(context.getPassportElement(5), u"");

  // With the end-to-end trace disabled a passport doesn't trace, but keeps its level.
  Configure({{u"trace_enabled_via_e2e", u"0"}});
  CMTContext untraced(text);
  EXPECT_FALSE(untraced.isTransTrace());
  EXPECT_EQ(untraced.getTraceLevel(), 2);
}

TEST_F(CMTContextTest, TheEMSwitchesTracingOnWithANewGuid) {
  Configure({{u"trace_enabled_via_em", u"1"}, {u"instrument_level_threshold_trace", u"20"}});
  CMTContext context(u"G1*100");
  EXPECT_TRUE(context.isTransTrace());
  EXPECT_EQ(context.getTraceLevel(), 0);
  EXPECT_EQ(context.getTraceInstrumentThreshold(), 20);
  zulstring first = context.getTraceGuid();
  EXPECT_NE(first, u"G1");
  context.reset(u"");
  EXPECT_TRUE(context.isTransTrace());
  if (!first.empty()) {
    EXPECT_NE(context.getTraceGuid(), first);
  }
}

TEST_F(CMTContextTest, ContextWithoutPassport) {
  CMTContext context;
  EXPECT_FALSE(context.isTransTrace());
  EXPECT_EQ(context.getTraceLevel(), 0);
  EXPECT_EQ(context.getPassport(), u"");
  for (uint16_t element : {1, 2, 3}) EXPECT_EQ(context.getPassportElement(element), u"");
  EXPECT_EQ(context.getPassportElement(4), u"0");
}

TEST_F(CMTContextTest, ComponentThresholds) {
  Configure({{u"specific_component_names", u"DB,"},
             {u"specific_component_level_thresholds", u"3,"},
             {u"specific_component_level_thresholds_trace", u"20,"}});
  CMTContext plain(u"");
  CMTContext traced(u"*1000");
  CMTContext unregistered;  // made without a passport: no snapshot
  struct Case {
    CMTContext *context;
    const char16_t *name;
    uint16_t traceSwitch, threshold;
  } cases[] = {
      {&plain, u"DB|query", 0, 3},
      {&plain, u"DBX|query", 0, 10},
      {&plain, u"Web|DB|query", 0, 10},
      // The context's own trace field chooses the map, whatever the switch.
      {&traced, u"DB|query", 0, 20},
      {&traced, u"Web|query", 0, 10},
      {&traced, u"Web|query", 1, 10},
      {&unregistered, u"DB|query", 0, 10},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(c.context->getCalculatedThresholdLevel(c.name, c.traceSwitch), c.threshold)
        << tlm_test::Utf8(c.name);
  }
}

TEST_F(CMTContextTest, NestedEndOfAnOuterRecordInterruptsTheInnerOnes) {
  CMTContext context;
  uint32_t a = context.startTiming(u"A|op", 1);
  context.startTiming(u"B|op", 1);
  context.startTiming(u"C|op", 1);
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

TEST_F(CMTContextTest, UnknownIdsAboveTheTopChangeNothing) {
  CMTContext context;
  uint32_t a = context.startTiming(u"A|op", 1);
  context.endTiming(a + 1);
  context.terminateTiming(a + 7);
  context.endTiming(0);
  EXPECT_EQ(context.getStackDepth(), 1u);
  EXPECT_EQ(context.getStatus(), CMTContext::STATUS_OPEN);
  context.endTiming(a);
  EXPECT_EQ(context.getStatus(), CMTContext::STATUS_CLOSE);
  EXPECT_EQ(Stat(u"A|op")->getSampleCount(), 1u);
}

TEST_F(CMTContextTest, AnIdNeverOnTheStackGivesTheContextUp) {
  for (bool terminate : {false, true}) {
    CMTContext context;
    context.startTiming(u"A|op", 1);
    uint32_t b = context.startTiming(u"B|op", 1);
    context.endTiming(b);
    context.startTiming(u"C|op", 1);
    trace_.Clear();
    terminate ? context.terminateTiming(b) : context.endTiming(b);
    EXPECT_EQ(context.getStatus(), CMTContext::STATUS_TERMINATE);
    EXPECT_EQ(context.getStackDepth(), 0u);
    EXPECT_EQ(context.getInstrumentThreshold(), 0);
    std::u16string text = trace_.Text();
    // Only endTiming says so.
    EXPECT_EQ(text.find(u"*** ERROR => Abnormal exception encountered, invalid recId input! "
                        u"[tlmmtcontext "),
              terminate ? std::u16string::npos : trace_.ThreadPrefix().size())
        << tlm_test::Utf8(text);
    // Nothing more is timed until reset.
    EXPECT_EQ(context.startTiming(u"D|op", 0), CMTContext::SKIPPED_COUNTER);
    context.reset(u"");
    EXPECT_EQ(context.startTiming(u"D|op", 0), CMTContext::BASE_COUNTER);
  }
}

TEST_F(CMTContextTest, TerminatedRecordsAreCountedAsTerminated) {
  CMTContext context;
  uint32_t a = context.startTiming(u"A|op", 1);
  uint32_t b = context.startTiming(u"B|op", 1);
  context.terminateTiming(b);
  context.terminateTiming(a);
  EXPECT_EQ(context.getStatus(), CMTContext::STATUS_CLOSE);
  EXPECT_EQ(Stat(u"B|op")->getTerminatedCounter(), 1u);
  EXPECT_EQ(Stat(u"B|op")->getSampleCount(), 1u);
}

TEST_F(CMTContextTest, TraceSizeAccounting) {
  Configure({{u"trace_enabled_via_em", u"1"}});
  CMTContext context;
  uint32_t a = context.startTiming(u"A|op", 1);        // 100 + 4
  context.appendRecordInfo(a, u"n", u"vv");            // 1 + 2 + 30
  context.appendRecordInfoToList(a, u"l", u"x");       // new: 1 + 1 + 30
  context.appendRecordInfoToList(a, u"l", u"yyy");     // joined: 3 + 1
  context.appendRecordInfo(a + 1, u"ignored", u"x");  // not the innermost record
  context.appendContextInfo(u"user", u"alice");        // 4 + 5 + 30
  context.appendContextInfo(u"user", u"bo");           // 2 - 5
  EXPECT_EQ(context.getTraceSize(), 104u + 33u + 32u + 4u + 39u - 3u);

  Configure({});
  CMTContext untraced(u"");
  uint32_t b = untraced.startTiming(u"B|op", 1);
  untraced.appendRecordInfo(b, u"n", u"v");
  untraced.appendContextInfo(u"n", u"v");
  EXPECT_EQ(untraced.getTraceSize(), 104u + 32u);
}

TEST_F(CMTContextTest, RecordsAboveTheTraceThresholdAreTracedButNotCounted) {
  Configure({{u"trace_enabled_via_em", u"1"}, {u"instrument_level_threshold_trace", u"20"}});
  CMTContext context;
  uint32_t a = context.startTiming(u"A|op", 5);
  uint32_t b = context.startTiming(u"B|op", 15);
  EXPECT_NE(b, CMTContext::SKIPPED_COUNTER);
  context.endTiming(b);
  context.endTiming(a);
  EXPECT_EQ(Stat(u"A|op")->getSampleCount(), 1u);
  EXPECT_EQ(Stat(u"B|op")->getSampleCount(), 0u);
}

TEST_F(CMTContextTest, CollectionStopsAtTheComponentLimits) {
  struct Case {
    const char16_t *tracing;
    const char16_t *limitKey;
  } cases[] = {
      {u"1", u"max_components_per_transaction"},
      {u"0", u"max_components_per_promotedstack"},
  };
  for (const Case &c : cases) {
    Configure({{u"trace_enabled_via_em", c.tracing}, {c.limitKey, u"5"}});
    CMTContext context;
    for (int i = 0; i < 4; ++i) context.startTiming(u"A|op", 1);
    EXPECT_TRUE(context.isTraceActive()) << tlm_test::Utf8(c.limitKey);
    // The fifth record brings the counter to 6, above the limit.
    context.startTiming(u"A|op", 1);
    EXPECT_FALSE(context.isTraceActive()) << tlm_test::Utf8(c.limitKey);
    // Later records stay out of the tree and are freed when they end.
    uint32_t id = context.startTiming(u"A|op", 1);
    context.endTiming(id);
    EXPECT_EQ(context.getStackDepth(), 5u);
  }
}

TEST_F(CMTContextTest, ALargeTraceIsCutAtTheNextInnerEnd) {
  Configure({{u"trace_enabled_via_em", u"1"}, {u"tracesize_threshold", u"10000"}});
  CMTContext context;
  context.startTiming(u"A|op", 1);
  uint32_t big = context.startTiming(u"B|" + std::u16string(10000, u'x'), 1);
  EXPECT_TRUE(context.isTraceActive());
  context.endTiming(big);
  EXPECT_FALSE(context.isTraceActive());
  EXPECT_EQ(context.getStatus(), CMTContext::STATUS_OPEN);
}

TEST_F(CMTContextTest, ALongTransactionIsPromotedOnce) {
  Configure({{u"auto_transaction_trace_threshold", u"60"}});
  CMTContext context;
  uint32_t a = context.startTiming(u"A|op", 1);
  uint32_t b = context.startTiming(u"B|op", 1);
  Backdate(context, 61000);
  // An unknown id measures nothing: -1 never passes.
  context.endTiming(b + 5);
  EXPECT_FALSE(context.isPromtedTraceSent());
  context.endTiming(b);
  EXPECT_TRUE(context.isPromtedTraceSent());
  context.endTiming(a);
  EXPECT_EQ(context.getStatus(), CMTContext::STATUS_CLOSE);

  CMTContext traced(u"*1000");
  traced.startTiming(u"A|op", 1);
  uint32_t c = traced.startTiming(u"B|op", 1);
  Backdate(traced, 61000);
  traced.endTiming(c);
  EXPECT_FALSE(traced.isPromtedTraceSent());
}

TEST_F(CMTContextTest, OutgoingPassports) {
  CMTContext context(u"*100");  // level 1
  zulstring connection = context.getLocalConnId(false);
  EXPECT_EQ(context.getLocalConnId(false), connection);
  zulstring first = context.getPassport();
  zulstring second = context.getPassport();
  ASSERT_FALSE(first.empty());
  for (const auto &[text, counter] : {std::pair{first, 0u}, std::pair{second, 1u}}) {
    void *handle = PassportHelper::IsZULPassport(text.c_str());
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(PassportHelper::GetConnectionCounterFromZULPassport(handle, 3), counter);
    EXPECT_EQ(PassportHelper::GetConnectionIdFromZULPassport(handle, 3), connection);
    EXPECT_EQ(PassportHelper::GetTraceFlagFromZULPassport(handle), PassportHelper::kFlagNewPassport);
    PassportHelper::DestroyPassportHandle(handle);
  }
  EXPECT_EQ(context.getIncConnCounter(true), 0u);
  EXPECT_EQ(context.getIncConnCounter(false), 1u);
  if (!connection.empty()) {
    EXPECT_NE(context.getLocalConnId(true), connection);
  }
}

}  // namespace
