// Clocks and identifiers of the instrumentation core.
#ifndef TLM_TLMPLATFORMHELPER_H
#define TLM_TLMPLATFORMHELPER_H

#include <cstdint>

class TLMPlatformHelper {
 public:
  TLMPlatformHelper() = delete;

  // One turn of the server clock in milliseconds: 2^20 seconds.
  static constexpr uint32_t kServerTimePeriod = 0x3e800000u;
  // One turn of the CPU clock in microseconds: 2^20 seconds.
  static constexpr int64_t kCPUTimePeriod = 0xf424000000LL;

  // The wrapping server clock: (seconds since the epoch mod 2^20) * 1000 + milliseconds, always
  // below kServerTimePeriod; 0 when the system clock can't be read.
  static uint32_t GetServerTime() noexcept;
  // Seconds since the epoch as they are, cut to 32 bits; 0 when the clock can't be read.
  static uint32_t GetServerTimeInSecond() noexcept;
  // The wrapping CPU clock of the process: (user + system seconds mod 2^20) * 1000000 + user +
  // system microseconds; -1 when the system refuses. The resource usage is asked for the
  // calling thread's handle cut to 32 bits, which the system refuses as a selector, so the result
  // is -1 on Linux; the CPU figures of records that depend on it are then off.
  static int64_t GetCPUTime() noexcept;

  // end - start on the server clock, one period added when end is the smaller: the elapsed
  // milliseconds across at most one wrap.
  static int32_t GetServerTimeDiff(uint32_t end, uint32_t start) noexcept {
    int32_t diff = static_cast<int32_t>(end - start);
    if (static_cast<int32_t>(end) < static_cast<int32_t>(start)) {
      diff = static_cast<int32_t>(end + kServerTimePeriod - start);
    }
    return diff;
  }
  // end - start on the CPU clock, one period added when that comes out negative.
  static int64_t GetCPUTimeDiff(int64_t end, int64_t start) noexcept {
    int64_t diff = end - start;
    return diff < 0 ? diff + kCPUTimePeriod : diff;
  }
};

#endif  // TLM_TLMPLATFORMHELPER_H
