// Mode 2's window, the double interval: the span around the end of daylight saving time in which
// every wall clock reading comes twice. It is found from the readings around each time asked for.
#include <initializer_list>

#include "krn/uxport/contloct.h"

namespace {

constexpr time_t kLookAround = 7200;  // a switch is looked for two hours ahead or back
constexpr time_t kMinute = 60;
// Bounds of the searches, well beyond any real offset, so that odd zone data can't hang them.
constexpr int kMaxMinuteSteps = 24 * 60;
constexpr int kMaxSecondSteps = 2 * 60;

// 1 when t is in daylight saving time, 0 when not, -1 when localtime_r fails.
int DstAt(time_t t) {
  struct tm tm;
  if (localtime_r(&t, &tm) == nullptr) return -1;
  return tm.tm_isdst > 0 ? 1 : 0;
}

bool SameHourMinute(const struct tm &a, const struct tm &b) {
  return a.tm_hour == b.tm_hour && a.tm_min == b.tm_min;
}

bool SameWallClock(const struct tm &a, const struct tm &b) {
  return a.tm_year == b.tm_year && a.tm_yday == b.tm_yday && SameHourMinute(a, b) &&
         a.tm_sec == b.tm_sec;
}

// From a DST instant, the last DST second before the switch: forward by minutes while DST holds,
// one step back, then by seconds. -1 when it can't be found.
time_t LastDstSecond(time_t dst_side) {
  time_t x = dst_side;
  for (int steps = 0; DstAt(x) == 1; x += kMinute) {
    if (++steps > kMaxMinuteSteps) return -1;
  }
  x -= kMinute;
  for (int steps = 0; DstAt(x + 1) == 1; ++x) {
    if (++steps > kMaxSecondSteps) return -1;
  }
  return DstAt(x) == 1 ? x : -1;
}

// The switch's offset when it isn't whole hours: the distance from the last DST second to the
// second at which the wall clock shows the same reading again. -1 when not found.
time_t SearchOffset(time_t dst_side) {
  time_t last = LastDstSecond(dst_side);
  struct tm last_tm, tm;
  if (last < 0 || localtime_r(&last, &last_tm) == nullptr) return -1;
  time_t y = last + kMinute;
  for (int steps = 0;; y += kMinute) {
    if (localtime_r(&y, &tm) == nullptr || ++steps > kMaxMinuteSteps) return -1;
    if (SameHourMinute(tm, last_tm)) break;
  }
  y -= kMinute;
  for (int steps = 0;; ++y) {
    if (localtime_r(&y, &tm) == nullptr || ++steps > kMaxSecondSteps) return -1;
    if (SameHourMinute(tm, last_tm) && tm.tm_sec == last_tm.tm_sec) break;
  }
  return y - last;
}

// The switch's offset from the two readings two hours apart, one on each side of it. With equal
// minutes the offset is whole hours, told by how far the wall clock moved in those two hours.
time_t OffsetOfSwitch(const struct tm &earlier, const struct tm &later, time_t dst_side) {
  if (earlier.tm_min != later.tm_min) return SearchOffset(dst_side);
  int hours = later.tm_hour - earlier.tm_hour;
  if (hours >= 0) return kLookAround - hours * 3600;
  return -3600 * hours - 79200;  // the readings lie across midnight
}

// 1 when s is the first second after daylight saving time, 0 when not, -1 on failure.
int IsFirstStandardSecond(time_t s) {
  int now = DstAt(s);
  int before = DstAt(s - 1);
  if (now < 0 || before < 0) return -1;
  return now == 0 && before == 1;
}

// The first second after DST of the switch within d of t. Switches lie on whole multiples of the
// offset in most zones, so two candidates are tried first; otherwise a search from the DST side.
time_t LocateSwitch(time_t t, time_t d) {
  time_t rounded = (t - d) - (t - d) % d;
  for (time_t candidate : {rounded, rounded + d}) {
    int rc = IsFirstStandardSecond(candidate);
    if (rc < 0) return -1;
    if (rc == 1) return candidate;
  }
  int dst = DstAt(t);
  if (dst < 0) return -1;
  time_t last = LastDstSecond(dst == 1 ? t : t - d);
  return last < 0 ? -1 : last + 1;
}

}  // namespace

int IsDoubleInterval_GetInterval(time_t t, time_t *begin, time_t *end) noexcept {
  if (t < kLookAround + 1) return 0;
  struct tm now, other;
  if (localtime_r(&t, &now) == nullptr) return -1;
  bool dst = now.tm_isdst > 0;
  // Only the end of DST makes a double interval: ahead from DST, or back from standard time.
  time_t other_t = dst ? t + kLookAround : t - kLookAround;
  if (localtime_r(&other_t, &other) == nullptr) return -1;
  if ((other.tm_isdst > 0) == dst) return 0;

  const struct tm &earlier = dst ? now : other;
  const struct tm &later = dst ? other : now;
  time_t d = OffsetOfSwitch(earlier, later, dst ? t : other_t);
  if (d <= 0 || d > kLookAround) return 0;  // no offset found that the test below could use

  // Inside the interval the reading of t comes again one offset earlier or later.
  struct tm before_tm, after_tm;
  time_t before = t - d, after = t + d;
  if (localtime_r(&before, &before_tm) == nullptr || localtime_r(&after, &after_tm) == nullptr) {
    return -1;
  }
  if (!SameWallClock(now, before_tm) && !SameWallClock(now, after_tm)) return 0;

  time_t s = LocateSwitch(t, d);
  if (s < 0) return 0;
  if (begin != nullptr) *begin = s - d;
  if (end != nullptr) *end = s + d;
  return 1;
}

int IsDoubleInterval(time_t t) noexcept {
  time_t begin, end;
  return IsDoubleInterval_GetInterval(t, &begin, &end);
}
