// The registry: lookups and the sweep.
#include "tlm/tlmcontextcachemanager.h"

#include "tlm/tlmplatformhelper.h"
#include "tlm_core_fixture.h"

namespace {

using core_test::CoreTest;

std::unique_ptr<CMTContext> NewContext(const zulstring &passport = u"") {
  return std::make_unique<CMTContext>(tlmlibrary::CurrentSettings(), passport);
}

// Sessions come and go through the exported functions' tests. A session keeps its first context
// (the second one isn't stored), and a lookup stamps it as used, which keeps it from the sweep.
TEST_F(CoreTest, RegistryKeepsTheFirstContextAndLookupsStampIt) {
  CMTContext *first = Registry()->pushContextToCache(u"s1", NewContext()).get();
  EXPECT_EQ(Registry()->pushContextToCache(u"s1", NewContext()).get(), first);
  first->setLastUsedTimestamp(0);
  EXPECT_EQ(Registry()->getContextByID(u"s1").get(), first);
  EXPECT_LE(TLMPlatformHelper::GetServerTimeDiff(TLMPlatformHelper::GetServerTime(),
                                                 first->getLastUsedTimestamp()),
            1000u);
}

// Idle and age are set back from now; the margins keep the time the sweep itself takes out.
TEST_F(CoreTest, RegistrySweep) {
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
    CContextRef context = Registry()->pushContextToCache(session, NewContext(passport));
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
