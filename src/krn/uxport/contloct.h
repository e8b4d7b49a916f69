// Internals of the continuous local time, shared by its sources and tests.
#ifndef KRN_UXPORT_CONTLOCT_H
#define KRN_UXPORT_CONTLOCT_H

#include <ctime>

#include "zul_contloct.h"

namespace contloct {

// The mode in force, read through the profile reader when not yet known.
int CurrentMode() noexcept;

// Writes to the registered trace when its level is at least level.
void Trace(int level, const ZUL_UTF16 *format, ...) noexcept;

// What mode 1 knows about a time.
struct ZoneReading {
  bool in_window;  // t lies in [begin, end), the window around a DST end
  bool dst;        // daylight saving time is in force at t (outside a window)
  time_t begin, end;
  long zone_offset;  // seconds west of UTC in standard time
  long dst_offset;   // seconds by which daylight saving time is ahead
};

// Mode 1's reading of t; false when localtime_r fails.
bool ReadZone(time_t t, ZoneReading *reading) noexcept;

// Forgets the zone and the switches, so that the next call reads the zone anew (after TZ changed).
void ForgetZone() noexcept;

// True while localtime_cont is under way; a trace stamp then leaves out the time.
bool LocaltimeContBusy() noexcept;

// Seconds of a broken-down time counted as if it were UTC: the wall clock as one number.
inline time_t WallSeconds(const struct tm &tm) {
  struct tm copy = tm;
  return timegm(&copy);
}

}  // namespace contloct

#endif  // KRN_UXPORT_CONTLOCT_H
