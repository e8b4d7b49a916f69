// Clocks, identifiers and GUIDs of the instrumentation core.
#include "tlm/tlmplatformhelper.h"

#include <pthread.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <ctime>

#include "tlm/tlmthreadblock.h"
#include "zul_contloct.h"
#include "zul_pfuuid.h"
#include "zul_thr.h"
#include "zul_u16printf.h"

namespace {

constexpr uint32_t kSecondsMask = 0xFFFFF;  // the lowest 20 bits

zulstring FormatThreadId() {
  THR_ID id = ThrGetCurrentId();
  if (id == THR_INVALID_ID) return u"Unknown";
  ZUL_UTF16 text[THR_ID_STR_SIZE];
  ThrId2Str(text, id);
  return zulstring(text);
}

uint32_t HashSession(const zulstring &text) {
  if (text.empty()) return 0;
  uint32_t h = text.back();
  for (ZUL_UTF16 c : text) h = (h * 0x1000113u) ^ c;
  return h & 0x7fffffffu;
}

// The local date and time of one second, "%4d-%02d-%02d %02d:%02d:%02d". The text changes once a
// second, so each thread keeps the last one it made.
struct SecondText {
  time_t second = -1;
  bool failed = false;
  ZUL_UTF16 text[40];
  size_t length = 0;
};

}  // namespace

// The wall clock text with or without ".%03ld" milliseconds; "ERROR_DATE" when a clock failed.
zulstring TLMPlatformHelper::ServerTimeTextOf(const ClockReading &now, bool with_millis) {
  if (!now.ok) return u"ERROR_DATE";
  thread_local SecondText cache;
  if (cache.second != now.seconds) {
    time_t seconds = now.seconds;
    tm local;
    cache.second = seconds;
    cache.failed = localtime_cont_r(&seconds, &local) == nullptr;
    if (!cache.failed) {
      int length =
          snprintfU16(cache.text, 40, u"%4d-%02d-%02d %02d:%02d:%02d", local.tm_year + 1900,
                      local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
      cache.length = length > 0 ? static_cast<size_t>(length) : 0;
    }
  }
  if (cache.failed) return u"ERROR_DATE";
  zulstring text(cache.text, cache.length);
  if (with_millis) {
    unsigned millis = static_cast<unsigned>(now.micros / 1000);
    const ZUL_UTF16 digits[] = {u'.', static_cast<ZUL_UTF16>(u'0' + millis / 100),
                                static_cast<ZUL_UTF16>(u'0' + millis / 10 % 10),
                                static_cast<ZUL_UTF16>(u'0' + millis % 10)};
    text.append(digits, 4);
  }
  return text;
}

zulstring TLMPlatformHelper::GetSessionIdentifier() { return GetSessionIdentifierRef(); }

// The thread's block holds its session text; a thread whose block can't be made (memory) has the
// empty session, which the registry never holds.
const zulstring &TLMPlatformHelper::GetSessionIdentifierRef() {
  static const zulstring *const none = new zulstring();
  CThreadBlock *block = CThreadBlock::Current();
  return block != nullptr ? block->sessionText() : *none;
}

uint32_t TLMPlatformHelper::GetSessionIdentifierHash(const zulstring &text) {
  return HashSession(text);
}

zulstring TLMPlatformHelper::GetThreadId() { return FormatThreadId(); }

zulstring TLMPlatformHelper::GetProcessId() {
  ZUL_UTF16 text[20];
  snprintfU16(text, 20, u"%d", static_cast<int>(getpid()));
  return zulstring(text);
}

TLMPlatformHelper::ClockReading TLMPlatformHelper::ReadClock() {
  timeval now;
  ClockReading reading;
  if (gettimeofday(&now, nullptr) != 0) return reading;
  reading.ok = true;
  reading.seconds = now.tv_sec;
  reading.micros = now.tv_usec;
  return reading;
}

uint32_t TLMPlatformHelper::ServerTimeOf(const ClockReading &now) {
  if (!now.ok) return 0;
  return (static_cast<uint32_t>(now.seconds) & kSecondsMask) * 1000 +
         static_cast<uint32_t>(now.micros / 1000);
}

uint32_t TLMPlatformHelper::GetServerTime() { return ServerTimeOf(ReadClock()); }

uint32_t TLMPlatformHelper::GetServerTimeInSecond() {
  timeval now;
  if (gettimeofday(&now, nullptr) != 0) return 0;
  return static_cast<uint32_t>(now.tv_sec);
}

// The first argument of getrusage is the calling thread's pthread_t cut to 32 bits, which is none
// of the who codes: the system refuses it and the result is -1, so CPU figures read -1. The call
// form is kept as it is because the metric texts show that -1.
int64_t TLMPlatformHelper::GetCPUTime() {
  rusage usage;
  int who = static_cast<int>(static_cast<uint32_t>(pthread_self()));
  if (getrusage(static_cast<__rusage_who_t>(who), &usage) != 0) return -1;
  int64_t seconds = (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) & kSecondsMask;
  return seconds * 1000000 + usage.ru_utime.tv_usec + usage.ru_stime.tv_usec;
}

zulstring TLMPlatformHelper::GetServerTimeInString() { return ServerTimeTextOf(ReadClock(), false); }

zulstring TLMPlatformHelper::GetServerTimeInString2() { return ServerTimeTextOf(ReadClock(), true); }

zulstring TLMPlatformHelper::GetGUID() {
  ZUL_RAW uuid[PFUUID_LEN];
  if (pfcreate_zul_uuid(uuid) != PFUUID_OK) return {};
  constexpr int kTextUnits = 2 * PFUUID_LEN + 1;
  ZUL_UTF16 text[kTextUnits];
  int length = kTextUnits;
  if (pfuuid_print(uuid, text, &length) != PFUUID_OK) return {};
  return zulstring(text, static_cast<size_t>(length));
}
