// The registry: skip and threshold lists, lookups, process texts and the sweep.
#include "tlm/tlmcontextcachemanager.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <map>
#include <string>

#include "tlm/tlmmtcontext.h"
#include "tlm/tlmplatformhelper.h"
#include "tlm_core_fixture.h"

namespace {

using core_test::CoreTest;
typedef std::map<std::u16string, uint16_t> Levels;

Levels Snapshot(bool trace) {
  CThresholdMap map;
  CContextCacheManager *registry = CContextCacheManager::Instance();
  if (trace ? !registry->checkTraceSpecMap(map) : !registry->checkSpecMap(map)) return {};
  return Levels(map.begin(), map.end());
}

class CContextCacheManagerLists : public CoreTest {};

TEST_F(CContextCacheManagerLists, SkipPrefixMatchesAWholeFirstSegment) {
  Configure({{u"skip_times_in_names", u"Login"}, {u"skip_times_below_threshold", u"500"}});
  struct Case {
    std::u16string name;
    bool listed;
  } cases[] = {
      {u"Login|submit", true}, {u"LoginPage|submit", false}, {u"Login", false},
      {u"Web|Login|x", false}, {u"|Login", false},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(Registry()->checkSkipName(c.name), c.listed) << tlm_test::Utf8(c.name);
  }
  // A listed name is recorded only below the threshold; others always.
  EXPECT_TRUE(Registry()->checkSkipTimes(u"Login|submit", 499));
  EXPECT_FALSE(Registry()->checkSkipTimes(u"Login|submit", 500));
  EXPECT_TRUE(Registry()->checkSkipTimes(u"Other|submit", 100000));
}

TEST_F(CContextCacheManagerLists, WithoutSkipNamesEverythingIsRecorded) {
  EXPECT_FALSE(Registry()->checkSkipName(u"|"));
  EXPECT_TRUE(Registry()->checkSkipTimes(u"A|b", 1 << 30));
}

TEST_F(CContextCacheManagerLists, ThresholdListsAsTheyAreParsed) {
  struct Case {
    std::u16string names, levels, traceLevels;
    Levels metric, trace;
  } cases[] = {
      {u"A,", u"5,", u"7,", {{u"A", 5}}, {{u"A", 7}}},
      // A last item without its comma is never read.
      {u"A", u"5", u"7", {}, {}},
      {u"A,B", u"5,6", u"7,8", {{u"A", 5}}, {{u"A", 7}}},
      // A later name is cut with the comma's position as its count: it keeps its comma.
      {u"A,B,", u"5,6,", u"7,8,", {{u"A", 5}, {u"B,", 6}}, {{u"A", 7}, {u"B,", 8}}},
      {u"Web,DB,", u"3,4,", u"", {{u"Web", 3}, {u"DB,", 4}}, {}},
      // Empty items: a name is skipped alone, a level steps its own list only.
      {u",A,", u"5,", u",", {{u"A,", 5}}, {}},
      {u"A,B,", u",", u"5,6,", {}, {{u"A", 5}, {u"B,", 6}}},
      // Each later cut runs further past its comma; a level that isn't a number is 0.
      {u"A,A,B,", u"1,2,x,", u"", {{u"A", 1}, {u"A,B", 2}, {u"B,", 0}}, {}},
      {u"", u"5,", u"5,", {}, {}},
  };
  for (const Case &c : cases) {
    Configure({{u"specific_component_names", c.names},
               {u"specific_component_level_thresholds", c.levels},
               {u"specific_component_level_thresholds_trace", c.traceLevels}});
    EXPECT_EQ(Snapshot(false), c.metric) << tlm_test::Utf8(c.names);
    EXPECT_EQ(Snapshot(true), c.trace) << tlm_test::Utf8(c.names);
  }
}

TEST_F(CContextCacheManagerLists, InsertReachesOnlyContextsMadeAfterwards) {
  Configure(
      {{u"specific_component_names", u"DB,"}, {u"specific_component_level_thresholds", u"3,"}});
  CMTContext before(u"");
  Registry()->insertSpecMap(u"DB", 8);
  Registry()->insertTraceSpecMap(u"DB", 9);
  CMTContext after(u"");
  EXPECT_EQ(before.getCalculatedThresholdLevel(u"DB|query", 0), 3);
  EXPECT_EQ(after.getCalculatedThresholdLevel(u"DB|query", 0), 8);
  EXPECT_EQ(Snapshot(true), (Levels{{u"DB", 9}}));
}

class CContextCacheManagerTest : public CoreTest {};

TEST_F(CContextCacheManagerTest, PidOption) {
  struct Case {
    short option;
    std::u16string text;
  } cases[] = {
      {-1, tlm_test::Utf16(std::to_string(getpid()))},
      {0, u"0"},
      {42, u"42"},
      {-2, u"-2"},
  };
  for (const Case &c : cases) {
    Registry()->setPIDOption(c.option);
    EXPECT_EQ(Registry()->getPIDString(), c.text) << c.option;
  }
}

TEST_F(CContextCacheManagerTest, PushLookUpRemove) {
  auto *first = new CMTContext();
  CMTContext second;
  Registry()->pushContextToCache(u"s1", first);
  // A session that has a context keeps it; the second one is neither stored nor freed.
  Registry()->pushContextToCache(u"s1", &second);
  EXPECT_EQ(Registry()->getContextByID(u"s1"), first);
  EXPECT_EQ(Registry()->getContextByID(u"s2"), nullptr);
  Registry()->removeContextByID(u"s2");
  Registry()->removeContextByID(u"s1");
  EXPECT_EQ(Registry()->getContextByID(u"s1"), nullptr);
}

TEST_F(CContextCacheManagerTest, LookUpStampsTheContext) {
  auto *context = new CMTContext();
  Registry()->pushContextToCache(u"s", context);
  context->setLastUsedTimestamp(0);
  Registry()->getContextByID(u"s");
  EXPECT_LE(TLMPlatformHelper::GetServerTimeDiff(TLMPlatformHelper::GetServerTime(),
                                                 context->getLastUsedTimestamp()),
            1000u);
}

class CContextCacheManagerSweep : public CoreTest {
 protected:
  // A context of the given kind, registered under session.
  CMTContext *Add(const std::u16string &session, uint16_t status) {
    auto *context = new CMTContext();
    if (status != CMTContext::STATUS_INITIAL) context->startTiming(u"A|op", 1);
    if (status == CMTContext::STATUS_TERMINATE) context->terminateTimingAll();
    Registry()->pushContextToCache(session, context);
    return context;
  }
  // Ages a context: idle and age in milliseconds before now.
  static void Age(CMTContext *context, uint32_t idle, uint32_t age) {
    uint32_t now = TLMPlatformHelper::GetServerTime();
    auto before = [now](uint32_t ms) {
      return (now + TLMPlatformHelper::kServerTimePeriod - ms) %
             TLMPlatformHelper::kServerTimePeriod;
    };
    context->setLastUsedTimestamp(before(idle));
    context->setCreatedTimestamp(before(age));
  }
  int64_t Count(const std::u16string &name) { return Resource(name)->getCurrentValue(); }
};

TEST_F(CContextCacheManagerSweep, EmptyContextsGoAfterTheEmptyTimeout) {
  Age(Add(u"young", CMTContext::STATUS_INITIAL), 1000, 1000);
  Age(Add(u"old", CMTContext::STATUS_INITIAL), 3000, 3000);
  Registry()->removeZombieContexts(1000, 2000);
  EXPECT_NE(Registry()->getContextByID(u"young"), nullptr);
  EXPECT_EQ(Registry()->getContextByID(u"old"), nullptr);
  EXPECT_EQ(Count(u"~Empty Context Count"), 1);
  EXPECT_EQ(Count(u"~Zombie Context Count"), 0);
  EXPECT_EQ(trace_.Lines(),
            std::vector<std::u16string>{trace_.ThreadPrefix() + u"Empty context detected"});
}

TEST_F(CContextCacheManagerSweep, OpenAndTerminatedContextsGoAsZombies) {
  Age(Add(u"open", CMTContext::STATUS_OPEN), 5000, 5000);
  Age(Add(u"terminated", CMTContext::STATUS_TERMINATE), 5000, 5000);
  Age(Add(u"busy", CMTContext::STATUS_OPEN), 100, 5000);
  Registry()->removeZombieContexts(4000, 1000000);
  EXPECT_EQ(Registry()->getContextByID(u"open"), nullptr);
  EXPECT_EQ(Registry()->getContextByID(u"terminated"), nullptr);
  EXPECT_NE(Registry()->getContextByID(u"busy"), nullptr);
  EXPECT_EQ(Count(u"~Zombie Context Count"), 2);
  EXPECT_EQ(trace_.Lines().size(), 2u);
}

TEST_F(CContextCacheManagerSweep, PromotesALongTransactionThatPaused) {
  // auto_transaction_trace_threshold is at least 60 s; 5 s idle shows it isn't in a call.
  Configure({{u"auto_transaction_trace_threshold", u"60"}});
  struct Case {
    const char16_t *session;
    uint32_t idle, age;
    bool tracing, promoted;
  } cases[] = {
      {u"due", 6000, 70000, false, true},
      {u"in a call", 4000, 70000, false, false},
      {u"young", 6000, 50000, false, false},
      {u"traced", 6000, 70000, true, false},
  };
  for (const Case &c : cases) {
    // An application passport of level 2 makes a tracing context.
    auto *context = new CMTContext(c.tracing ? u"*1000" : u"");
    context->startTiming(u"A|op", 1);
    Registry()->pushContextToCache(c.session, context);
    Age(context, c.idle, c.age);
  }
  Registry()->removeZombieContexts(1000000, 1000000);
  for (const Case &c : cases) {
    CMTContext *context = Registry()->getContextByID(c.session);
    ASSERT_NE(context, nullptr) << tlm_test::Utf8(c.session);
    EXPECT_EQ(context->isPromtedTraceSent(), c.promoted) << tlm_test::Utf8(c.session);
  }
}

}  // namespace
