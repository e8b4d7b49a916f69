// Mode 1's knowledge of the zone: its offsets, found once, and the switches around the last time
// asked for, found by search and kept until a time outside them comes.
//
// Apart from the short read of the C library's zone globals, nothing here takes a lock. Threads
// that race may each read the zone or search the switches, and find the same. The switches are
// published as one record under a sequence count: a reader that sees the count move, or odd,
// searches for itself, and a thread that finds another publishing keeps its own result, so no one
// ever uses a mix of two records.
//
// The sequence count is built from ordered accesses of the atomics themselves, with no separate
// fence, so that a race checker sees every ordering it relies on. The writer makes the count odd,
// then stores each field with release order; a reader loads each field with acquire order. A
// reader that sees even one field of a record still being written therefore also sees the odd
// count, or a later one, when it loads the count again, and throws its copy away.
#include <atomic>
#include <cstdint>
#include <mutex>

#include "krn/uxport/contloct.h"

namespace {

constexpr time_t kDay = 86400;
// Switches are looked for this far ahead and back; DST periods are shorter than a year. Two
// switches within one day would go unseen, which no zone has.
constexpr int kSearchDays = 400;

constexpr ZUL_UTF16 kNoSwitchInit[] =
    u"ContLoctGetInterval: cannot find next daylight saving time switch (init)\n";
constexpr ZUL_UTF16 kNoSwitchCurrent[] =
    u"ContLoctGetInterval: cannot find next daylight saving time switch (current)\n";
constexpr ZUL_UTF16 kNoSwitchOuter[] =
    u"ContLoctGetInterval: cannot find next daylight saving time switch (outer)\n";

// The zone, read on first use. zone_ready is set last, with release order.
std::atomic<bool> zone_ready{false};
// tzset guards the C library's zone globals with a lock of its own that a race checker cannot see:
// first readers in several threads take this one around it too, and call nothing else under it.
std::mutex zone_globals_lock;
std::atomic<long> zone_offset{0};
std::atomic<long> dst_offset{0};
// The zone has DST; cleared for good when its switches can't be found.
std::atomic<bool> dst_active{false};

// The switches around the last time asked for: [previous, next) has one DST state, and the window
// is the one that state implies. Guarded by the sequence count.
struct Switches {
  time_t previous, next;
  bool dst;
  time_t begin, end;
};
std::atomic<uint32_t> sequence{0};
std::atomic<bool> publishing{false};
std::atomic<bool> switches_known{false};
std::atomic<int64_t> known_previous{0}, known_next{0}, known_begin{0}, known_end{0};
std::atomic<bool> known_dst{false};

bool LoadSwitches(Switches *out) {
  uint32_t before = sequence.load(std::memory_order_acquire);
  if ((before & 1) != 0 || !switches_known.load(std::memory_order_acquire)) return false;
  out->previous = known_previous.load(std::memory_order_acquire);
  out->next = known_next.load(std::memory_order_acquire);
  out->dst = known_dst.load(std::memory_order_acquire);
  out->begin = known_begin.load(std::memory_order_acquire);
  out->end = known_end.load(std::memory_order_acquire);
  return sequence.load(std::memory_order_relaxed) == before;
}

void PublishSwitches(const Switches &in) {
  if (publishing.exchange(true, std::memory_order_acquire)) return;  // another thread publishes
  sequence.fetch_add(1, std::memory_order_relaxed);
  // Release orders each store after the count became odd.
  known_previous.store(in.previous, std::memory_order_release);
  known_next.store(in.next, std::memory_order_release);
  known_dst.store(in.dst, std::memory_order_release);
  known_begin.store(in.begin, std::memory_order_release);
  known_end.store(in.end, std::memory_order_release);
  switches_known.store(true, std::memory_order_release);
  sequence.fetch_add(1, std::memory_order_release);
  publishing.store(false, std::memory_order_release);
}

// 1 when t is in DST, 0 when not, -1 when localtime_r fails.
int DstAt(time_t t) {
  struct tm tm;
  if (localtime_r(&t, &tm) == nullptr) return -1;
  return tm.tm_isdst > 0 ? 1 : 0;
}

// The switch nearest to t in direction (+1 or -1): forward, the first second after t in another
// DST state; backward, the first second of t's own state. Day steps find it, halving pins it down
// to the second. 1 found, 0 none within kSearchDays, -1 localtime_r failed.
int FindSwitch(time_t t, int direction, time_t *found) {
  int state = DstAt(t);
  if (state < 0) return -1;
  time_t same = t;
  for (int day = 1; day <= kSearchDays; ++day) {
    time_t probe = t + direction * day * kDay;
    int probe_state = DstAt(probe);
    if (probe_state < 0) return -1;
    if (probe_state == state) {
      same = probe;
      continue;
    }
    time_t other = probe;
    while (other - same > 1 || same - other > 1) {
      time_t middle = same + (other - same) / 2;
      int middle_state = DstAt(middle);
      if (middle_state < 0) return -1;
      (middle_state == state ? same : other) = middle;
    }
    *found = direction > 0 ? other : same;
    return 1;
  }
  return 0;
}

// The zone's offsets, from the clock now. False when localtime_r fails.
bool ReadZoneOffsets() {
  time_t now = time(nullptr);
  bool has_dst;
  {
    std::lock_guard<std::mutex> guard(zone_globals_lock);
    tzset();
    struct tm utc;
    if (gmtime_r(&now, &utc) == nullptr) return false;
    utc.tm_isdst = 0;  // read UTC's reading as local standard time
    zone_offset.store(static_cast<long>(mktime(&utc) - now), std::memory_order_relaxed);
    has_dst = daylight != 0;
  }
  long shift = 0;
  time_t next;
  if (has_dst) {
    int rc = FindSwitch(now, 1, &next);
    if (rc < 0) return false;
    if (rc == 1) shift = ContLoctGetDstOffset(next);
    if (shift == 0) {
      contloct::Trace(1, kNoSwitchInit);
      has_dst = false;
    }
  }
  dst_offset.store(shift, std::memory_order_relaxed);
  dst_active.store(has_dst, std::memory_order_relaxed);
  zone_ready.store(true, std::memory_order_release);
  return true;
}

// The switches around t and the window they imply. False when localtime_r fails; a missing next
// switch is traced with where_text and ends DST for good.
bool SearchSwitches(time_t t, const ZUL_UTF16 *where_text, Switches *out) {
  int dst = DstAt(t);
  if (dst < 0) return false;
  int next_rc = FindSwitch(t, 1, &out->next);
  if (next_rc < 0) return false;
  if (next_rc == 0) {
    contloct::Trace(1, where_text);
    dst_active.store(false, std::memory_order_relaxed);
    return true;
  }
  int previous_rc = FindSwitch(t, -1, &out->previous);
  if (previous_rc < 0) return false;
  time_t d = dst_offset.load(std::memory_order_relaxed);
  out->dst = dst == 1;
  if (out->dst) {
    out->begin = out->next - d;
    out->end = out->next + d;
  } else if (previous_rc == 1) {
    out->begin = out->previous - d;
    out->end = out->previous + d;
  } else {
    out->previous = t;  // nothing known before t, and no window
    out->begin = out->end = t;
  }
  PublishSwitches(*out);
  return true;
}

}  // namespace

namespace contloct {

bool ReadZone(time_t t, ZoneReading *reading) noexcept {
  if (!zone_ready.load(std::memory_order_acquire) && !ReadZoneOffsets()) return false;
  *reading = {};
  reading->zone_offset = zone_offset.load(std::memory_order_relaxed);
  reading->dst_offset = dst_offset.load(std::memory_order_relaxed);
  if (!dst_active.load(std::memory_order_relaxed)) return true;

  Switches sw;
  bool known = LoadSwitches(&sw);
  if (!known || t < sw.previous || t >= sw.next) {
    const ZUL_UTF16 *where_text =
        switches_known.load(std::memory_order_relaxed) ? kNoSwitchOuter : kNoSwitchCurrent;
    if (!SearchSwitches(t, where_text, &sw)) return false;
    if (!dst_active.load(std::memory_order_relaxed)) return true;
  }
  reading->dst = sw.dst;
  reading->in_window = sw.begin <= t && t < sw.end;
  reading->begin = sw.begin;
  reading->end = sw.end;
  return true;
}

void ForgetZone() noexcept {
  zone_ready.store(false, std::memory_order_relaxed);
  switches_known.store(false, std::memory_order_relaxed);
  dst_active.store(false, std::memory_order_relaxed);
}

}  // namespace contloct

long ContLoctGetDstOffset(time_t switch_time) noexcept {
  struct tm before, after;
  time_t last = switch_time - 1;
  if (localtime_r(&last, &before) == nullptr || localtime_r(&switch_time, &after) == nullptr) {
    return 0;
  }
  time_t jump = contloct::WallSeconds(before) + 1 - contloct::WallSeconds(after);
  return static_cast<long>(jump < 0 ? -jump : jump);
}

int ContLoctGetInterval(time_t t, time_t *begin, time_t *end) noexcept {
  contloct::ZoneReading reading;
  if (!contloct::ReadZone(t, &reading)) return -1;
  if (!reading.in_window) return 0;
  if (begin != nullptr) *begin = reading.begin;
  if (end != nullptr) *end = reading.end;
  return 1;
}

int ContLoctGetNextSwitch(time_t t, time_t *next_switch) noexcept {
  time_t found;
  int rc = FindSwitch(t, 1, &found);
  if (rc == 1 && next_switch != nullptr) *next_switch = found;
  return rc;
}
