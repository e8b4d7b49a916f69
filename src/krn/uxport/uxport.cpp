// Continuous local time: the conversions of all three modes, their static forms, and the inverse.
#include <atomic>
#include <cerrno>
#include <cstdio>

#include "krn/uxport/contloct.h"
#include "zul_u16sys.h"

namespace {

// Units of an asctime text with its terminator.
constexpr int kTimeTextUnits = 26;

// The static form's records: its result, the record answered to a recursive call before any
// result exists, and its text for ctime_cont. Callers serialise the static forms.
struct tm static_result;
struct tm empty_result;
bool have_result = false;
ZUL_UTF16 static_text[kTimeTextUnits];

// Set while localtime_cont runs; a trace writer that stamps its lines calls it again.
std::atomic<bool> in_localtime_cont{false};
std::atomic<time_t> call_under_way{0};

// Mode 2's window as last found by the static form.
std::atomic<time_t> static_begin{0}, static_end{0};

// Mode 1: the reading is computed from the zone's offsets, never taken from localtime. Inside the
// window the clock starts at the window's DST reading and runs at half speed.
struct tm *NewMode(time_t t, struct tm *result) {
  contloct::ZoneReading zone;
  if (!contloct::ReadZone(t, &zone)) return nullptr;
  bool dst = zone.in_window || zone.dst;
  time_t shown = zone.in_window ? zone.begin + (t - zone.begin) / 2 : t;
  time_t local = shown - zone.zone_offset + (dst ? zone.dst_offset : 0);
  if (gmtime_r(&local, result) == nullptr) return nullptr;
  result->tm_isdst = dst ? 1 : 0;
  result->tm_gmtoff = local - t;
  result->tm_zone = tzname[dst ? 1 : 0];
  return result;
}

// Mode 2, reentrant form: the local time of the point halfway between the window's start and t.
struct tm *OldMode(time_t t, struct tm *result) {
  time_t begin, end;
  int rc = IsDoubleInterval_GetInterval(t, &begin, &end);
  if (rc < 0) return nullptr;
  time_t shown = rc == 1 ? begin + (t - begin) / 2 : t;
  return localtime_r(&shown, result);
}

// Mode 2, static form: it keeps the window it found but shows the real local time inside it, as it
// halves only in mode 1. The two forms thus differ in this mode, and callers rely on each as is.
struct tm *OldModeStatic(time_t t, struct tm *result) {
  bool inside = static_begin.load(std::memory_order_relaxed) <= t &&
                t < static_end.load(std::memory_order_relaxed);
  if (!inside) {
    time_t begin, end;
    int rc = IsDoubleInterval_GetInterval(t, &begin, &end);
    if (rc < 0) return nullptr;
    if (rc == 1) {
      static_begin.store(begin, std::memory_order_relaxed);
      static_end.store(end, std::memory_order_relaxed);
    }
  }
  return localtime_r(&t, result);
}

void TraceConversion(const char16_t *function, time_t t, int mode, const struct tm *result) {
  if (result == nullptr) {
    contloct::Trace(2, u"%s: %ld mode %d: no result\n", function, static_cast<long>(t), mode);
    return;
  }
  contloct::Trace(2, u"%s: %ld mode %d: %04d-%02d-%02d %02d:%02d:%02d isdst %d\n", function,
                  static_cast<long>(t), mode, result->tm_year + 1900, result->tm_mon + 1,
                  result->tm_mday, result->tm_hour, result->tm_min, result->tm_sec,
                  result->tm_isdst);
}

struct tm *Convert(time_t t, struct tm *result, bool static_form) {
  int mode = contloct::CurrentMode();
  struct tm *converted;
  switch (mode) {
    case CONTLOCT_MODE_OFF:
      converted = localtime_r(&t, result);
      break;
    case CONTLOCT_MODE_OLD:
      converted = static_form ? OldModeStatic(t, result) : OldMode(t, result);
      break;
    default:
      converted = NewMode(t, result);
      break;
  }
  TraceConversion(static_form ? u"localtime_cont" : u"localtime_cont_r", t, mode, converted);
  if (converted == nullptr) errno = ERANGE;
  return converted;
}

// The window containing t in the given mode, if any: 1 with its start, 0 outside, -1 on failure.
int WindowStart(int mode, time_t t, time_t *begin) {
  time_t end;
  if (mode == CONTLOCT_MODE_OLD) return IsDoubleInterval_GetInterval(t, begin, &end);
  return ContLoctGetInterval(t, begin, &end);
}

}  // namespace

namespace contloct {

bool LocaltimeContBusy() noexcept { return in_localtime_cont.load(std::memory_order_relaxed); }

}  // namespace contloct

struct tm *localtime_cont_r(const time_t *t, struct tm *result) noexcept {
  if (t == nullptr || result == nullptr) {
    errno = EINVAL;
    return nullptr;
  }
  return Convert(*t, result, false);
}

struct tm *localtime_cont(const time_t *t) noexcept {
  if (t == nullptr) {
    errno = EINVAL;
    return nullptr;
  }
  if (in_localtime_cont.load(std::memory_order_relaxed)) {
    std::fprintf(stderr, "Recursive call of localtime_cont at %lu\n",
                 static_cast<unsigned long>(call_under_way.load(std::memory_order_relaxed)));
    return have_result ? &static_result : &empty_result;
  }
  in_localtime_cont.store(true, std::memory_order_relaxed);
  call_under_way.store(*t, std::memory_order_relaxed);
  struct tm *result = Convert(*t, &static_result, true);
  if (result != nullptr) have_result = true;
  in_localtime_cont.store(false, std::memory_order_relaxed);
  return result;
}

ZUL_UTF16 *ctime_cont(const time_t *t) noexcept {
  struct tm *tm = localtime_cont(t);
  return tm != nullptr ? asctime_rU16(tm, static_text) : nullptr;
}

ZUL_UTF16 *ctime_cont_r(const time_t *t, ZUL_UTF16 *buf16) noexcept {
  struct tm tm;
  if (buf16 == nullptr || localtime_cont_r(t, &tm) == nullptr) return nullptr;
  return asctime_rU16(&tm, buf16);
}

time_t mktime_cont(struct tm *tm) noexcept {
  if (tm == nullptr) {
    errno = EINVAL;
    return -1;
  }
  int mode = contloct::CurrentMode();
  time_t t = mktime(tm);
  if (mode == CONTLOCT_MODE_OFF || t == -1) return t;
  struct tm reading;
  if (localtime_r(&t, &reading) == nullptr) {
    std::fputs("mktime_cont: got NULL from localtime(&t)\n", stderr);
    return -1;
  }
  time_t begin;
  int rc = WindowStart(mode, t, &begin);
  if (rc < 0) return -1;
  if (rc == 0) return t;
  // Every reading inside the window is a DST reading of the clock running at half speed.
  if (reading.tm_isdst <= 0) {
    tm->tm_isdst = 1;
    t = mktime(tm);
    if (t == -1) return -1;
  }
  return begin + (t - begin) * 2;
}
