// The registry: skip and threshold lists as they are parsed, lookups, and the sweep.
#include "tlm/tlmcontextcachemanager.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "tlm/tlmmtcontext.h"
#include "tlm/tlmplatformhelper.h"
#include "tlm_core_fixture.h"

namespace {

using core_test::CoreTest;
typedef std::map<std::u16string, uint16_t> Levels;

class CContextCacheManagerTest : public CoreTest {
 protected:
  static Levels Thresholds(bool trace) {
    CThresholdMap map;
    if (trace ? !Registry()->checkTraceSpecMap(map) : !Registry()->checkSpecMap(map)) return {};
    return Levels(map.begin(), map.end());
  }
};

TEST_F(CContextCacheManagerTest, SkipNamesMatchAWholeFirstSegment) {
  EXPECT_TRUE(Registry()->checkSkipTimes(u"Login|submit", 1 << 30));  // no list: all recorded
  Configure({{u"skip_times_in_names", u"Login"}, {u"skip_times_below_threshold", u"500"}});
  for (const char16_t *other : {u"LoginPage|submit", u"Login", u"Web|Login|x"}) {
    EXPECT_FALSE(Registry()->checkSkipName(other)) << tlm_test::Utf8(other);
  }
  // A listed name is recorded only below the threshold.
  EXPECT_TRUE(Registry()->checkSkipTimes(u"Login|submit", 499));
  EXPECT_FALSE(Registry()->checkSkipTimes(u"Login|submit", 500));
  EXPECT_TRUE(Registry()->checkSkipTimes(u"Other|submit", 100000));
}

TEST_F(CContextCacheManagerTest, ThresholdListsAsTheyAreParsed) {
  struct Case {
    std::u16string names, levels, traceLevels;
    Levels metric, trace;
  } cases[] = {
      {u"A,", u"5,", u"7,", {{u"A", 5}}, {{u"A", 7}}},
      // A last item without its comma is never read.
      {u"A", u"5", u"7", {}, {}},
      {u"A,B", u"5,6", u"7,8", {{u"A", 5}}, {{u"A", 7}}},
      // A later name is cut with its comma's position as the count: it keeps the comma and more.
      {u"Web,DB,", u"3,4,", u"", {{u"Web", 3}, {u"DB,", 4}}, {}},
      {u"A,A,B,", u"1,2,x,", u"", {{u"A", 1}, {u"A,B", 2}, {u"B,", 0}}, {}},
      // Empty items: a name is skipped alone, a level steps its own list only.
      {u",A,", u"5,", u",", {{u"A,", 5}}, {}},
      {u"A,B,", u",", u"5,6,", {}, {{u"A", 5}, {u"B,", 6}}},
  };
  for (const Case &c : cases) {
    Configure({{u"specific_component_names", c.names},
               {u"specific_component_level_thresholds", c.levels},
               {u"specific_component_level_thresholds_trace", c.traceLevels}});
    EXPECT_EQ(Thresholds(false), c.metric) << tlm_test::Utf8(c.names);
    EXPECT_EQ(Thresholds(true), c.trace) << tlm_test::Utf8(c.names);
  }
}

TEST_F(CContextCacheManagerTest, Sessions) {
  auto *first = new CMTContext();
  CMTContext second;
  Registry()->pushContextToCache(u"s1", first);
  // A session keeps its context; the second one is neither stored nor freed.
  Registry()->pushContextToCache(u"s1", &second);
  first->setLastUsedTimestamp(0);
  EXPECT_EQ(Registry()->getContextByID(u"s1"), first);
  EXPECT_LE(TLMPlatformHelper::GetServerTimeDiff(TLMPlatformHelper::GetServerTime(),
                                                 first->getLastUsedTimestamp()),
            1000u);  // stamped by the lookup
  EXPECT_EQ(Registry()->getContextByID(u"s2"), nullptr);
  Registry()->removeContextByID(u"s2");
  Registry()->removeContextByID(u"s1");
  EXPECT_EQ(Registry()->getContextByID(u"s1"), nullptr);
}

// Idle and age are set back from now; the margins keep the time the sweep itself takes out.
TEST_F(CContextCacheManagerTest, Sweep) {
  Configure({{u"auto_transaction_trace_threshold", u"60"}});
  struct Case {
    const char16_t *session;
    const char16_t *passport;  // "*1000": a tracing context
    uint16_t records;          // 0: initial; 2: the second given up
    uint32_t idle, age;
    bool kept, promoted;
  } cases[] = {
      {u"empty, young", u"", 0, 1000, 1000, true, false},
      {u"empty, old", u"", 0, 3000, 3000, false, false},
      {u"open zombie", u"", 1, 50000, 50000, false, false},
      {u"terminated zombie", u"", 2, 50000, 50000, false, false},
      {u"due for promotion", u"", 1, 6000, 70000, true, true},
      {u"in a call", u"", 1, 4000, 70000, true, false},
      {u"too young", u"", 1, 6000, 50000, true, false},
      {u"tracing", u"*1000", 1, 6000, 70000, true, false},
  };
  uint32_t now = TLMPlatformHelper::GetServerTime();
  auto before = [now](uint32_t ms) { return TLMPlatformHelper::GetServerTimeDiff(now, ms); };
  for (const Case &c : cases) {
    auto *context = new CMTContext(c.passport);
    if (c.records > 0) context->startTiming(u"A|op", 1);
    if (c.records > 1) context->terminateTimingAll();
    Registry()->pushContextToCache(c.session, context);
    context->setLastUsedTimestamp(before(c.idle));
    context->setCreatedTimestamp(before(c.age));
  }
  trace_.Clear();
  Registry()->removeZombieContexts(40000, 2000);
  for (const Case &c : cases) {
    CMTContext *context = Registry()->getContextByID(c.session);
    EXPECT_EQ(context != nullptr, c.kept) << tlm_test::Utf8(c.session);
    EXPECT_EQ(context != nullptr && context->isPromtedTraceSent(), c.promoted);
  }
  EXPECT_EQ(Resource(u"~Empty Context Count")->getCurrentValue(), 1);
  EXPECT_EQ(Resource(u"~Zombie Context Count")->getCurrentValue(), 2);
  std::u16string text = trace_.Text();
  EXPECT_NE(text.find(u"Empty context detected\n"), std::u16string::npos);
  EXPECT_NE(text.find(u"Zombie context detected\n"), std::u16string::npos);
}

}  // namespace
