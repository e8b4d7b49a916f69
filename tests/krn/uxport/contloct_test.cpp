#include <cstdarg>

#include "contloct_test_zone.h"
#include "zul_u16printf.h"

namespace {

using contloct::WallSeconds;

// 2024 on Lord Howe Island: 02:00 (+11) -> 01:30 (+10:30), a switch of half an hour; in Havana
// 01:00 CDT -> 00:00 CST, a window across midnight.
constexpr time_t kLordHoweDstEnd = 1712415600;
constexpr time_t kHavanaDstEnd = 1730610000;

// Collects what the module traces; the writer may also stamp, as the trace does.
std::vector<std::u16string> traced;
bool stamp = false;
struct tm *stamp_result = nullptr;
int RecordTrace(void *, const ZUL_UTF16 *format, ...) {
  if (stamp) stamp_result = localtime_cont(&kBerlinDstEnd);
  ZUL_UTF16 text[512];
  va_list args;
  va_start(args, format);
  int n = vsnprintfU16(text, 512, format, args);
  va_end(args);
  traced.emplace_back(text);
  return n;
}

// Each test starts and ends with the module in its initial state.
class ContLoct : public ::testing::Test {
 protected:
  void SetUp() override { Reset(); }
  void TearDown() override { Reset(); }
  static void Reset() {
    ContLoct_Init(nullptr);
    ContLoctRegisterTrace(nullptr, nullptr);
    ContLoctSetTraceLevel(1);
    traced.clear();
    stamp = false;
  }
};

struct tm Local(time_t t) {
  struct tm tm = {};
  localtime_r(&t, &tm);
  return tm;
}

bool SameReading(const struct tm &a, const struct tm &b) {
  return WallSeconds(a) == WallSeconds(b) && a.tm_wday == b.tm_wday && a.tm_isdst == b.tm_isdst;
}

struct tm *StaticForm(const time_t *t, struct tm *result) {
  struct tm *r = localtime_cont(t);
  return r != nullptr ? &(*result = *r) : nullptr;
}

struct Walk {
  time_t window_begin = 0, window_end = 0;  // where the clock runs at half speed
  time_t step = 1;
  bool inverse = true;      // mktime_cont must invert each reading
  bool monotonic = true;    // the reading must never run backward
  time_t span = 3 * kHour;  // walked on either side of the switch
};

// Walks from span before a switch to span after it: at half speed inside the window, the C
// library's local time outside it. Stops at the first fault.
void WalkAcross(time_t switch_time, Walk w,
                struct tm *(*convert)(const time_t *, struct tm *) = localtime_cont_r) {
  time_t previous = 0;
  const time_t window_reading = WallSeconds(Local(w.window_begin));
  for (time_t t = switch_time - w.span; t < switch_time + w.span; t += w.step) {
    struct tm cont;
    ASSERT_NE(convert(&t, &cont), nullptr) << t;
    const time_t reading = WallSeconds(cont);
    ASSERT_TRUE(!w.monotonic || reading >= previous) << "ran backward at " << t;
    previous = reading;
    const bool inside = w.window_begin <= t && t < w.window_end;
    if (inside) {
      ASSERT_EQ(reading, window_reading + (t - w.window_begin) / 2) << t;
      ASSERT_EQ(cont.tm_isdst, 1) << t;
    } else {
      ASSERT_TRUE(SameReading(cont, Local(t))) << t;
    }
    const time_t inverse = inside ? w.window_begin + (t - w.window_begin) / 2 * 2 : t;
    ASSERT_TRUE(!w.inverse || mktime_cont(&cont) == inverse) << t;
  }
}

TEST_F(ContLoct, WalksAcrossBothSwitchesOfAYearInEachMode) {
  ZoneScope zone("Europe/Berlin");
  const Walk autumn = {kBerlinDstEnd - kHour, kBerlinDstEnd + kHour};
  WalkAcross(kBerlinDstEnd, autumn);
  WalkAcross(kBerlinDstStart, {});
  WalkAcross(kBerlinDstEnd, {autumn.window_begin, autumn.window_end, 7, false}, StaticForm);

  abSet_contloctime(u"", u"old");
  WalkAcross(kBerlinDstEnd, autumn);
  WalkAcross(kBerlinDstStart, {.step = 5});
  // The static form keeps the real local time inside the interval, which runs backward.
  WalkAcross(kBerlinDstEnd, {.step = 3, .inverse = false, .monotonic = false}, StaticForm);

  abSet_contloctime(u"", u"off");
  WalkAcross(kBerlinDstEnd, {.step = 11, .monotonic = false});
}

TEST_F(ContLoct, HalfHourMidnightAndNoSwitchesInBothModes) {
  for (const char16_t *mode : {u"on", u"old"}) {
    abSet_contloctime(u"", mode);
    {
      ZoneScope zone("Australia/Lord_Howe");
      WalkAcross(kLordHoweDstEnd, {kLordHoweDstEnd - 1800, kLordHoweDstEnd + 1800, 11});
    }
    {
      ZoneScope zone("America/Havana");
      WalkAcross(kHavanaDstEnd, {kHavanaDstEnd - kHour, kHavanaDstEnd + kHour, 7});
    }
    // Zones without DST read as local time all year.
    {
      ZoneScope zone("Asia/Tokyo");
      WalkAcross(kBerlinDstEnd, {.step = 3 * kHour + 7, .span = 200 * 86400});
    }
  }
}

TEST_F(ContLoct, DoubleIntervalBounds) {
  ZoneScope zone("Europe/Berlin");
  const time_t b = kBerlinDstEnd - kHour, e = kBerlinDstEnd + kHour;
  // Below 7201 whatever the zone; the window's bounds; the start of DST repeats nothing.
  const std::pair<time_t, int> cases[] = {{7200, 0},  {b - 1, 0}, {b, 1},
                                          {e - 1, 1}, {e, 0},     {kBerlinDstStart, 0}};
  for (const auto &[t, expected] : cases) {
    time_t begin = 0, end = 0;
    EXPECT_EQ(IsDoubleInterval_GetInterval(t, &begin, &end), expected) << t;
    EXPECT_EQ(IsDoubleInterval(t), expected) << t;
    EXPECT_TRUE(expected == 0 || std::pair(begin, end) == std::pair(b, e)) << t;
  }
}

const char16_t *profile_value = nullptr;
const ZUL_UTF16 *ReadProfile(const ZUL_UTF16 *name) {
  return std::u16string(name) == u"zdate/DSTswitch_contloctime" ? profile_value : nullptr;
}

TEST_F(ContLoct, ModeComesFromTheProfileValueOnce) {
  EXPECT_EQ(contloct::CurrentMode(), CONTLOCT_MODE_NEW);  // no reader
  struct Case {
    const char16_t *value;
    int mode, hook_answer;
  } cases[] = {
      {nullptr, 1, 0}, {u"", 1, 0},  {u"on", 1, 0}, {u"old", 2, 0},
      {u"off", 3, 0},  {u"x", 2, 1}, {u"ON", 2, 1},
  };
  for (const Case &c : cases) {
    profile_value = c.value;
    ContLoct_Init(ReadProfile);
    EXPECT_EQ(contloct::CurrentMode(), c.mode);
    profile_value = u"off";  // read once: a later value doesn't count
    EXPECT_EQ(abTest_contloctime(u"", c.value), c.hook_answer);
    EXPECT_EQ(contloct::CurrentMode(), c.mode);
    abSet_contloctime(u"", u"off");
    EXPECT_EQ(abSet_contloctime(u"", c.value), c.hook_answer);
    EXPECT_EQ(contloct::CurrentMode(), c.mode);
  }
}

// 02:30 CEST, shown at the switch, half way through the window; its inverse is the switch
// whatever tm_isdst says.
TEST_F(ContLoct, InverseAndTimeTextsInTheWindow) {
  ZoneScope zone("Europe/Berlin");
  ZUL_UTF16 text[26];
  ASSERT_NE(ctime_cont_r(&kBerlinDstEnd, text), nullptr);
  EXPECT_EQ(std::u16string(text), u"Sun Oct 27 02:30:00 2024\n");
  EXPECT_EQ(std::u16string(ctime_cont(&kBerlinDstEnd)), u"Sun Oct 27 02:30:00 2024\n");
  for (const char16_t *mode : {u"on", u"old"}) {
    abSet_contloctime(u"", mode);
    for (int isdst : {1, 0, -1}) {
      struct tm reading = Local(kBerlinDstEnd - kHour / 2);
      reading.tm_isdst = isdst;
      EXPECT_EQ(mktime_cont(&reading), kBerlinDstEnd) << isdst;
    }
  }
}

TEST_F(ContLoct, MissingSwitchesAreTracedAndEndDst) {
  ContLoctRegisterTrace(RecordTrace, nullptr);
  const std::u16string text = u"ContLoctGetInterval: cannot find next daylight saving time switch ";
  const time_t summer_1960 = -300000000;  // Berlin kept no DST then
  const time_t summer_2024 = kBerlinDstStart + 30 * 86400;
  struct tm cont;
  {
    ZoneScope zone("Europe/Berlin");
    ASSERT_NE(localtime_cont_r(&summer_1960, &cont), nullptr);
    EXPECT_TRUE(SameReading(cont, Local(summer_1960)));
    ASSERT_NE(localtime_cont_r(&summer_2024, &cont), nullptr);
    EXPECT_EQ(WallSeconds(cont), WallSeconds(Local(summer_2024)) - kHour);  // no DST from then on
  }
  {
    ZoneScope zone("Europe/Berlin");
    localtime_cont_r(&summer_2024, &cont);
    localtime_cont_r(&summer_1960, &cont);
  }
  {
    ZoneScope zone("America/Sao_Paulo");  // DST in its data, none since 2019
    localtime_cont_r(&summer_2024, &cont);
    EXPECT_TRUE(SameReading(cont, Local(summer_2024)));
  }
  EXPECT_EQ(traced, (std::vector<std::u16string>{text + u"(current)\n", text + u"(outer)\n",
                                                 text + u"(init)\n"}));
}

TEST_F(ContLoct, RecursiveCallAnswersTheLastResult) {
  ZoneScope zone("Europe/Berlin");
  const time_t t = kBerlinDstEnd + 2 * kHour;
  ASSERT_NE(localtime_cont(&t), nullptr);
  ContLoctRegisterTrace(RecordTrace, nullptr);
  ContLoctSetTraceLevel(2);
  stamp = true;
  testing::internal::CaptureStderr();
  struct tm *outer = localtime_cont(&t);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Recursive call of localtime_cont at " + std::to_string(t) + "\n");
  ASSERT_NE(outer, nullptr);
  EXPECT_EQ(stamp_result, outer);
  EXPECT_TRUE(SameReading(*outer, Local(t)));
  EXPECT_EQ(traced, std::vector<std::u16string>{
                        u"localtime_cont: 1729998000 mode 1: 2024-10-27 04:00:00 isdst 0\n"});
}

}  // namespace
