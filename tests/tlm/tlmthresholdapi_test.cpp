// Changes of the instrument level thresholds and the data sending interval at run time.
#include "tlm_core_fixture.h"

namespace {

using core_test::StartedTest;

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
