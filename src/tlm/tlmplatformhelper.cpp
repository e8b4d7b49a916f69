// Clocks, identifiers and GUIDs of the instrumentation core.
#include "tlm/tlmplatformhelper.h"

#include <pthread.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <ctime>

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

// The wall clock text with or without milliseconds, in a buffer of 40 units.
zulstring FormatServerTime(bool with_millis) {
  timeval now;
  if (gettimeofday(&now, nullptr) != 0) return u"ERROR_DATE";
  time_t seconds = now.tv_sec;
  tm local;
  if (localtime_cont_r(&seconds, &local) == nullptr) return u"ERROR_DATE";
  ZUL_UTF16 text[40];
  if (with_millis) {
    snprintfU16(text, 40, u"%4d-%02d-%02d %02d:%02d:%02d.%03ld", local.tm_year + 1900,
                local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                static_cast<long>(now.tv_usec / 1000));
  } else {
    snprintfU16(text, 40, u"%4d-%02d-%02d %02d:%02d:%02d", local.tm_year + 1900, local.tm_mon + 1,
                local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
  }
  return zulstring(text);
}

}  // namespace

zulstring TLMPlatformHelper::GetSessionIdentifier() { return GetSessionIdentifierRef(); }

// The text of a thread's id doesn't change while the thread lives, so it is built once per thread.
const zulstring &TLMPlatformHelper::GetSessionIdentifierRef() {
  thread_local const zulstring session = FormatThreadId();
  return session;
}

uint32_t TLMPlatformHelper::GetSessionIdentifierHash(const zulstring &text) {
  if (text.empty()) return 0;
  uint32_t h = text.back();
  for (ZUL_UTF16 c : text) h = (h * 0x1000113u) ^ c;
  return h & 0x7fffffffu;
}

zulstring TLMPlatformHelper::GetThreadId() { return FormatThreadId(); }

zulstring TLMPlatformHelper::GetProcessId() {
  ZUL_UTF16 text[20];
  snprintfU16(text, 20, u"%d", static_cast<int>(getpid()));
  return zulstring(text);
}

uint32_t TLMPlatformHelper::GetServerTime() {
  timeval now;
  if (gettimeofday(&now, nullptr) != 0) return 0;
  return (static_cast<uint32_t>(now.tv_sec) & kSecondsMask) * 1000 +
         static_cast<uint32_t>(now.tv_usec / 1000);
}

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

zulstring TLMPlatformHelper::GetServerTimeInString() { return FormatServerTime(false); }

zulstring TLMPlatformHelper::GetServerTimeInString2() { return FormatServerTime(true); }

zulstring TLMPlatformHelper::GetGUID() {
  ZUL_RAW uuid[PFUUID_LEN];
  if (pfcreate_zul_uuid(uuid) != PFUUID_OK) return {};
  constexpr int kTextUnits = 2 * PFUUID_LEN + 1;
  ZUL_UTF16 text[kTextUnits];
  int length = kTextUnits;
  if (pfuuid_print(uuid, text, &length) != PFUUID_OK) return {};
  return zulstring(text, static_cast<size_t>(length));
}
