// Static helpers of the instrumentation core: the two wrapping clocks, wall clock texts, session
// and process identifiers, and GUIDs.
//
// The server clock is (seconds since the epoch mod 2^20) * 1000 + milliseconds and wraps every
// kServerTimePeriod milliseconds; the CPU clock is (user + system seconds mod 2^20) * 1000000 +
// microseconds and wraps every kCPUTimePeriod microseconds. A difference of two readings that
// comes out negative has one period added (GetServerTimeDiff, GetCPUTimeDiff).
#ifndef TLM_TLM_TLMPLATFORMHELPER_H
#define TLM_TLM_TLMPLATFORMHELPER_H

#include <cstdint>
#include <ctime>

#include "i18n/zulu16/zulstring.h"

class TLMPlatformHelper {
 public:
  TLMPlatformHelper() = delete;

  static constexpr uint32_t kServerTimePeriod = 0x3e800000u;  // 1,048,576,000 ms
  static constexpr int64_t kCPUTimePeriod = 0xf424000000;     // 1,048,576,000,000 us

  // One reading of the wall clock, from which the server clock and the time texts are derived.
  struct ClockReading {
    bool ok = false;  // false when gettimeofday failed
    time_t seconds = 0;
    long micros = 0;
  };

  // The session of the calling thread: the same text as GetThreadId.
  static zulstring GetSessionIdentifier();
  // The same text without a copy; valid until the calling thread ends.
  static const zulstring &GetSessionIdentifierRef();
  // The registry's bucket hash: h starts as the last unit, then h = h * 0x1000113 ^ c for each
  // unit c, in 32 bits, masked with 0x7fffffff. Empty text answers the unmasked start value (0).
  static uint32_t GetSessionIdentifierHash(const zulstring &text);
  // The calling thread's id in decimal, or "Unknown" for the invalid id.
  static zulstring GetThreadId();
  // getpid() in decimal.
  static zulstring GetProcessId();

  // Reads the wall clock once.
  static ClockReading ReadClock();
  // The wrapping server clock of a reading in milliseconds; 0 when the clock failed.
  static uint32_t ServerTimeOf(const ClockReading &reading);
  // The text of GetServerTimeInString (withMillis false) or GetServerTimeInString2 for a reading.
  static zulstring ServerTimeTextOf(const ClockReading &reading, bool withMillis);

  // The wrapping server clock in milliseconds; 0 when the clock fails.
  static uint32_t GetServerTime();
  // Seconds since the epoch; 0 when the clock fails.
  static uint32_t GetServerTimeInSecond();
  // The wrapping CPU clock of the process in microseconds; -1 when getrusage refuses.
  static int64_t GetCPUTime();
  // Local wall clock "YYYY-MM-DD hh:mm:ss" (continuous local time), or "ERROR_DATE".
  static zulstring GetServerTimeInString();
  // The same with ".mmm" milliseconds.
  static zulstring GetServerTimeInString2();

  // A new time-based identifier as 32 capital hexadecimal digits; empty text when none could be
  // made or printed.
  static zulstring GetGUID();

  // later - earlier on the server clock, one period added when that is negative.
  static uint32_t GetServerTimeDiff(uint32_t later, uint32_t earlier) {
    return later >= earlier ? later - earlier : later - earlier + kServerTimePeriod;
  }
  // later - earlier on the CPU clock, one period added when that is negative.
  static int64_t GetCPUTimeDiff(int64_t later, int64_t earlier) {
    int64_t diff = later - earlier;
    return diff < 0 ? diff + kCPUTimePeriod : diff;
  }
};

#endif  // TLM_TLM_TLMPLATFORMHELPER_H
