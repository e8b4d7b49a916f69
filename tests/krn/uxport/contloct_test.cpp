#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "krn/uxport/contloct.h"
#include "zul_u16printf.h"

namespace {

using contloct::WallSeconds;

// 2024 in Berlin: 02:00 CET -> 03:00 CEST, and 03:00 CEST -> 02:00 CET (first seconds after).
constexpr time_t kBerlinDstStart = 1711846800;
constexpr time_t kBerlinDstEnd = 1729990800;
// 2024 on Lord Howe Island: 02:00 (+11) -> 01:30 (+10:30), a switch of half an hour.
constexpr time_t kLordHoweDstEnd = 1712415600;
constexpr time_t kHour = 3600;

// Sets TZ for one test and restores it, and has the module read the zone anew either way.
class ZoneScope {
 public:
  explicit ZoneScope(const char *zone) {
    if (const char *old = std::getenv("TZ")) saved_ = old;
    Set(zone);
  }
  ~ZoneScope() { Set(saved_ ? saved_->c_str() : nullptr); }

 private:
  static void Set(const char *zone) {
    if (zone != nullptr) {
      setenv("TZ", zone, 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
    contloct::ForgetZone();
  }
  std::optional<std::string> saved_;
};

// Collects what the module traces.
std::vector<std::u16string> traced;
int RecordTrace(void *, const ZUL_UTF16 *format, ...) {
  ZUL_UTF16 text[512];
  va_list args;
  va_start(args, format);
  int n = vsnprintfU16(text, 512, format, args);
  va_end(args);
  traced.emplace_back(text);
  return n;
}

class ContLoct : public ::testing::Test {
 protected:
  void SetUp() override { Reset(); }
  void TearDown() override { Reset(); }
  static void Reset() {
    ContLoct_Init(nullptr);
    ContLoctRegisterTrace(nullptr, nullptr);
    ContLoctSetTraceLevel(1);
    traced.clear();
  }
  static void SetMode(const char16_t *value) { abSet_contloctime(u"", value); }
};

struct tm Local(time_t t) {
  struct tm tm;
  EXPECT_NE(localtime_r(&t, &tm), nullptr);
  return tm;
}

bool SameReading(const struct tm &a, const struct tm &b) {
  return a.tm_year == b.tm_year && a.tm_mon == b.tm_mon && a.tm_mday == b.tm_mday &&
         a.tm_hour == b.tm_hour && a.tm_min == b.tm_min && a.tm_sec == b.tm_sec &&
         a.tm_wday == b.tm_wday && a.tm_yday == b.tm_yday && a.tm_isdst == b.tm_isdst;
}

std::string Show(const struct tm &tm) {
  char text[64];
  strftime(text, sizeof text, "%F %T", &tm);
  return std::string(text) + (tm.tm_isdst > 0 ? " dst" : " std");
}

using Converter = struct tm *(*)(const time_t *, struct tm *);

struct tm *StaticForm(const time_t *t, struct tm *result) {
  struct tm *r = localtime_cont(t);
  if (r != nullptr) *result = *r;
  return r != nullptr ? result : nullptr;
}

struct WalkOptions {
  time_t step = 1;
  bool inverse = true;    // mktime_cont must invert each reading
  bool monotonic = true;  // the reading must never run backward
};

// Walks from 3 hours before switch_time to 3 hours after it. The continuous time must run at half
// speed from window_begin to window_end (empty: no window), and equal the C library's local time
// elsewhere. Stops at the first fault.
void Walk(Converter convert, time_t switch_time, time_t window_begin, time_t window_end,
          WalkOptions options = {}) {
  time_t previous = 0;
  const time_t window_start_reading = WallSeconds(Local(window_begin));
  for (time_t t = switch_time - 3 * kHour; t < switch_time + 3 * kHour; t += options.step) {
    struct tm cont;
    ASSERT_NE(convert(&t, &cont), nullptr) << t;
    time_t reading = WallSeconds(cont);
    if (options.monotonic) {
      ASSERT_GE(reading, previous) << "ran backward at " << t << ": " << Show(cont);
    }
    previous = reading;
    if (window_begin <= t && t < window_end) {
      ASSERT_EQ(reading, window_start_reading + (t - window_begin) / 2) << t << ": " << Show(cont);
      ASSERT_EQ(cont.tm_isdst, 1) << t;
    } else {
      ASSERT_TRUE(SameReading(cont, Local(t))) << t << ": " << Show(cont);
    }
    if (!options.inverse) continue;
    time_t expected = t;
    if (window_begin <= t && t < window_end) expected = window_begin + (t - window_begin) / 2 * 2;
    ASSERT_EQ(mktime_cont(&cont), expected) << t << ": " << Show(cont);
  }
}

TEST_F(ContLoct, NewModeWalksAcrossBothSwitchesOfAYear) {
  ZoneScope zone("Europe/Berlin");
  Walk(localtime_cont_r, kBerlinDstEnd, kBerlinDstEnd - kHour, kBerlinDstEnd + kHour);
  Walk(localtime_cont_r, kBerlinDstStart, 0, 0);
  Walk(StaticForm, kBerlinDstEnd, kBerlinDstEnd - kHour, kBerlinDstEnd + kHour,
       {.step = 7, .inverse = false});
}

TEST_F(ContLoct, NewModeFindsSwitchesToTheSecond) {
  ZoneScope zone("Europe/Berlin");
  time_t next = 0;
  EXPECT_EQ(ContLoctGetNextSwitch(kBerlinDstStart - 100 * 86400, &next), 1);
  EXPECT_EQ(next, kBerlinDstStart);
  EXPECT_EQ(ContLoctGetNextSwitch(kBerlinDstStart, &next), 1);
  EXPECT_EQ(next, kBerlinDstEnd);
  EXPECT_EQ(ContLoctGetDstOffset(kBerlinDstEnd), 3600);
  EXPECT_EQ(ContLoctGetDstOffset(kBerlinDstStart), 3600);
  EXPECT_EQ(ContLoctGetDstOffset(kBerlinDstEnd + 1), 0);

  time_t begin = 0, end = 0;
  EXPECT_EQ(ContLoctGetInterval(kBerlinDstEnd - 1, &begin, &end), 1);
  EXPECT_EQ(begin, kBerlinDstEnd - kHour);
  EXPECT_EQ(end, kBerlinDstEnd + kHour);
  EXPECT_EQ(ContLoctGetInterval(kBerlinDstEnd + kHour, &begin, &end), 0);
  EXPECT_EQ(ContLoctGetInterval(kBerlinDstStart, &begin, &end), 0);
}

TEST_F(ContLoct, OldModeHalvesInReentrantFormOnly) {
  ZoneScope zone("Europe/Berlin");
  SetMode(u"old");
  Walk(localtime_cont_r, kBerlinDstEnd, kBerlinDstEnd - kHour, kBerlinDstEnd + kHour);
  Walk(localtime_cont_r, kBerlinDstStart, 0, 0, {.step = 5});
  // The static form keeps the real local time inside the interval, which runs backward.
  Walk(StaticForm, kBerlinDstEnd, 0, 0, {.step = 3, .inverse = false, .monotonic = false});
}

TEST_F(ContLoct, HalfHourSwitchInBothModes) {
  ZoneScope zone("Australia/Lord_Howe");
  const time_t begin = kLordHoweDstEnd - 1800, end = kLordHoweDstEnd + 1800;
  Walk(localtime_cont_r, kLordHoweDstEnd, begin, end, {.step = 3});
  SetMode(u"old");
  Walk(localtime_cont_r, kLordHoweDstEnd, begin, end, {.step = 11});
  time_t b = 0, e = 0;
  EXPECT_EQ(IsDoubleInterval_GetInterval(kLordHoweDstEnd - 1, &b, &e), 1);
  EXPECT_EQ(b, begin);
  EXPECT_EQ(e, end);
}

TEST_F(ContLoct, OffModeIsPlainLocalTime) {
  ZoneScope zone("Europe/Berlin");
  SetMode(u"off");
  for (time_t t = kBerlinDstEnd - 2 * kHour; t < kBerlinDstEnd + 2 * kHour; t += 61) {
    struct tm cont;
    ASSERT_NE(localtime_cont_r(&t, &cont), nullptr);
    ASSERT_TRUE(SameReading(cont, Local(t))) << t;
    ASSERT_EQ(mktime_cont(&cont), t);
  }
}

TEST_F(ContLoct, ZonesWithoutDstEqualLocalTime) {
  for (const char *name : {"UTC", "Asia/Tokyo"}) {
    ZoneScope zone(name);
    for (const char16_t *mode : {u"on", u"old"}) {
      SetMode(mode);
      for (time_t t = kBerlinDstStart - 86400; t < kBerlinDstEnd + 86400; t += 3 * kHour + 7) {
        struct tm cont;
        ASSERT_NE(localtime_cont_r(&t, &cont), nullptr);
        ASSERT_TRUE(SameReading(cont, Local(t))) << name << " " << t;
        ASSERT_EQ(mktime_cont(&cont), t) << name << " " << t;
      }
    }
  }
}

TEST_F(ContLoct, DoubleIntervalBounds) {
  ZoneScope zone("Europe/Berlin");
  struct Case {
    time_t t;
    int expected;
  } cases[] = {
      {7200, 0},  // below 7201, whatever the zone
      {kBerlinDstEnd - kHour - 1, 0},
      {kBerlinDstEnd - kHour, 1},
      {kBerlinDstEnd - 1, 1},
      {kBerlinDstEnd, 1},
      {kBerlinDstEnd + kHour - 1, 1},
      {kBerlinDstEnd + kHour, 0},
      {kBerlinDstStart, 0},  // the start of DST repeats nothing
      {kBerlinDstStart - 1, 0},
      {kBerlinDstEnd - 90 * 86400, 0},
  };
  for (const Case &c : cases) {
    time_t begin = 0, end = 0;
    EXPECT_EQ(IsDoubleInterval(c.t), c.expected) << c.t;
    EXPECT_EQ(IsDoubleInterval_GetInterval(c.t, &begin, &end), c.expected) << c.t;
    if (c.expected == 1) {
      EXPECT_EQ(begin, kBerlinDstEnd - kHour);
      EXPECT_EQ(end, kBerlinDstEnd + kHour);
    }
  }
}

const char16_t *profile_value = nullptr;
const ZUL_UTF16 *ReadProfile(const ZUL_UTF16 *name) {
  return std::u16string(name) == u"zdate/DSTswitch_contloctime" ? profile_value : nullptr;
}

TEST_F(ContLoct, ModeComesFromTheProfileValue) {
  EXPECT_EQ(contloct::CurrentMode(), CONTLOCT_MODE_NEW);  // no reader
  struct Case {
    const char16_t *value;
    int mode;
    int known;  // answer of the hooks
  } cases[] = {
      {nullptr, CONTLOCT_MODE_NEW, 0}, {u"", CONTLOCT_MODE_NEW, 0},
      {u"on", CONTLOCT_MODE_NEW, 0},   {u"old", CONTLOCT_MODE_OLD, 0},
      {u"off", CONTLOCT_MODE_OFF, 0},  {u"x", CONTLOCT_MODE_OLD, 1},
      {u"ON", CONTLOCT_MODE_OLD, 1},
  };
  for (const Case &c : cases) {
    profile_value = c.value;
    ContLoct_Init(ReadProfile);
    EXPECT_EQ(contloct::CurrentMode(), c.mode);
    profile_value = u"off";  // read once: a later change of the value doesn't count
    EXPECT_EQ(contloct::CurrentMode(), c.mode);

    EXPECT_EQ(abTest_contloctime(u"zdate/DSTswitch_contloctime", c.value), c.known);
    EXPECT_EQ(contloct::CurrentMode(), c.mode);
    ContLoct_Init(nullptr);
    abSet_contloctime(u"zdate/DSTswitch_contloctime", u"off");
    EXPECT_EQ(abSet_contloctime(u"zdate/DSTswitch_contloctime", c.value), c.known);
    EXPECT_EQ(contloct::CurrentMode(), c.mode);
  }
}

TEST_F(ContLoct, TimeTextsOfBothForms) {
  ZoneScope zone("Europe/Berlin");
  const time_t t = kBerlinDstEnd;  // half way through the window: 02:30 DST
  ZUL_UTF16 text[26];
  ASSERT_NE(ctime_cont_r(&t, text), nullptr);
  EXPECT_EQ(std::u16string(text), u"Sun Oct 27 02:30:00 2024\n");
  ZUL_UTF16 *static_text = ctime_cont(&t);
  ASSERT_NE(static_text, nullptr);
  EXPECT_EQ(std::u16string(static_text), u"Sun Oct 27 02:30:00 2024\n");
}

TEST_F(ContLoct, MissingSwitchesAreTracedAndEndDst) {
  ContLoctRegisterTrace(RecordTrace, nullptr);
  const time_t summer_1960 = -300000000;  // Berlin kept no DST in 1960
  const time_t summer_2024 = kBerlinDstStart + 30 * 86400;
  struct tm cont;
  {
    ZoneScope zone("Europe/Berlin");
    ASSERT_NE(localtime_cont_r(&summer_1960, &cont), nullptr);
    EXPECT_TRUE(SameReading(cont, Local(summer_1960)));
    ASSERT_EQ(traced.size(), 1u);
    EXPECT_EQ(traced[0],
              u"ContLoctGetInterval: cannot find next daylight saving time switch (current)\n");
    // From then on DST counts as not in force.
    ASSERT_NE(localtime_cont_r(&summer_2024, &cont), nullptr);
    EXPECT_EQ(cont.tm_isdst, 0);
    EXPECT_EQ(WallSeconds(cont), WallSeconds(Local(summer_2024)) - kHour);
  }
  traced.clear();
  {
    ZoneScope zone("Europe/Berlin");
    ASSERT_NE(localtime_cont_r(&summer_2024, &cont), nullptr);
    ASSERT_NE(localtime_cont_r(&summer_1960, &cont), nullptr);
    ASSERT_EQ(traced.size(), 1u);
    EXPECT_EQ(traced[0],
              u"ContLoctGetInterval: cannot find next daylight saving time switch (outer)\n");
  }
  traced.clear();
  {
    ZoneScope zone("America/Sao_Paulo");  // DST in its data, none since 2019
    ASSERT_NE(localtime_cont_r(&summer_2024, &cont), nullptr);
    ASSERT_EQ(traced.size(), 1u);
    EXPECT_EQ(traced[0],
              u"ContLoctGetInterval: cannot find next daylight saving time switch (init)\n");
  }
}

// A trace writer that stamps its lines the way the trace does: with localtime_cont.
time_t inner_time = 0;
struct tm *inner_result = nullptr;
int StampingTrace(void *handle, const ZUL_UTF16 *format, ...) {
  inner_result = localtime_cont(&inner_time);
  ZUL_UTF16 text[512];
  va_list args;
  va_start(args, format);
  vsnprintfU16(text, 512, format, args);
  va_end(args);
  traced.emplace_back(text);
  return handle != nullptr;
}

TEST_F(ContLoct, RecursiveCallAnswersTheLastResult) {
  ZoneScope zone("Europe/Berlin");
  const time_t t = kBerlinDstEnd + 2 * kHour;
  ASSERT_NE(localtime_cont(&t), nullptr);
  ContLoctRegisterTrace(StampingTrace, nullptr);
  ContLoctSetTraceLevel(2);
  inner_time = t + 500;
  testing::internal::CaptureStderr();
  struct tm *outer = localtime_cont(&t);
  std::string err = testing::internal::GetCapturedStderr();
  ASSERT_NE(outer, nullptr);
  EXPECT_EQ(inner_result, outer);
  EXPECT_TRUE(SameReading(*outer, Local(t)));
  EXPECT_EQ(err, "Recursive call of localtime_cont at " + std::to_string(t) + "\n");
  ASSERT_EQ(traced.size(), 1u);
  EXPECT_EQ(traced[0], u"localtime_cont: 1729998000 mode 1: 2024-10-27 04:00:00 isdst 0\n");
}

}  // namespace
