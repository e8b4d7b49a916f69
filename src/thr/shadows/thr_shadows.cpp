// Process-wide replacements of the C library's non-reentrant calls, exported from tlm.so under
// the C library's own names: every caller in the process that binds to them, this library
// included, gets per-thread results. Each calls the reentrant form with the calling thread's
// slots of ThrStatics and answers the slot. Without a record they answer null (rand: time(NULL)).
//
// This file is built apart from the thread layer and linked into tlm.so only, so that a program
// gets these names only when it links the shared library on purpose. Each definition repeats the
// C library's declaration, noexcept where the C library declares it so. The list of names is
// ZUL_THR_SHADOWS in zul_thr_shadows.h.
#include <dirent.h>
#include <grp.h>
#include <netdb.h>
#include <pwd.h>
#include <shadow.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "thr/thr_statics.h"

#define THR_SHADOW_EXPORT __attribute__((visibility("default")))

using thr::CallWithGrowableBuffer;
using thr::GrowableBuffer;
using thr::kLookupBufferSize;
using thr::Statics;
using thr::ThrStatics;

// ---- Fixed slots ----

THR_SHADOW_EXPORT char *asctime(const struct tm *tp) noexcept {
  ThrStatics *s = Statics();
  return s != nullptr ? asctime_r(tp, s->asctime_text) : nullptr;
}

THR_SHADOW_EXPORT char *ctime(const time_t *timer) noexcept {
  ThrStatics *s = Statics();
  return s != nullptr ? ctime_r(timer, s->ctime_text) : nullptr;
}

THR_SHADOW_EXPORT struct tm *gmtime(const time_t *timer) noexcept {
  ThrStatics *s = Statics();
  return s != nullptr ? gmtime_r(timer, &s->gmtime_result) : nullptr;
}

THR_SHADOW_EXPORT struct tm *localtime(const time_t *timer) noexcept {
  ThrStatics *s = Statics();
  return s != nullptr ? localtime_r(timer, &s->localtime_result) : nullptr;
}

THR_SHADOW_EXPORT char *strtok(char *str, const char *delim) noexcept {
  ThrStatics *s = Statics();
  if (s == nullptr) return nullptr;
  if (str != nullptr) s->strtok_save = nullptr;
  return strtok_r(str, delim, &s->strtok_save);
}

THR_SHADOW_EXPORT int rand(void) noexcept {
  ThrStatics *s = Statics();
  return s != nullptr ? rand_r(&s->rand_seed) : static_cast<int>(time(nullptr));
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
THR_SHADOW_EXPORT struct dirent64 *readdir64(DIR *dirp) {
  ThrStatics *s = Statics();
  if (s == nullptr) return nullptr;
  struct dirent64 *result = nullptr;
  if (readdir64_r(dirp, &s->readdir64_entry, &result) != 0) return nullptr;
  return result;
}
#pragma GCC diagnostic pop

// ---- Host and service lookups: fixed buffers, no retry ----

// Runs lookup(record, &result) and answers the result, which stays null on any failure.
template <typename Result, typename Lookup>
Result *FixedBufferLookup(Lookup lookup) {
  ThrStatics *s = Statics();
  if (s == nullptr) return nullptr;
  Result *result = nullptr;
  lookup(s, &result);
  return result;
}

THR_SHADOW_EXPORT struct hostent *gethostbyname(const char *name) {
  return FixedBufferLookup<struct hostent>([name](ThrStatics *s, struct hostent **result) {
    gethostbyname_r(name, &s->gethostbyname_result, s->gethostbyname_buffer, kLookupBufferSize,
                    result, &h_errno);
  });
}

THR_SHADOW_EXPORT struct hostent *gethostbyaddr(const void *addr, socklen_t len, int type) {
  return FixedBufferLookup<struct hostent>([=](ThrStatics *s, struct hostent **result) {
    gethostbyaddr_r(addr, len, type, &s->gethostbyaddr_result, s->gethostbyaddr_buffer,
                    kLookupBufferSize, result, &h_errno);
  });
}

THR_SHADOW_EXPORT struct hostent *gethostent(void) {
  return FixedBufferLookup<struct hostent>([](ThrStatics *s, struct hostent **result) {
    gethostent_r(&s->gethostent_result, s->gethostent_buffer, kLookupBufferSize, result, &h_errno);
  });
}

THR_SHADOW_EXPORT struct servent *getservbyname(const char *name, const char *proto) {
  return FixedBufferLookup<struct servent>([=](ThrStatics *s, struct servent **result) {
    getservbyname_r(name, proto, &s->getservbyname_result, s->getservbyname_buffer,
                    kLookupBufferSize, result);
  });
}

THR_SHADOW_EXPORT struct servent *getservbyport(int port, const char *proto) {
  return FixedBufferLookup<struct servent>([=](ThrStatics *s, struct servent **result) {
    getservbyport_r(port, proto, &s->getservbyport_result, s->getservbyport_buffer,
                    kLookupBufferSize, result);
  });
}

THR_SHADOW_EXPORT struct servent *getservent(void) {
  return FixedBufferLookup<struct servent>([](ThrStatics *s, struct servent **result) {
    getservent_r(&s->getservent_result, s->getservent_buffer, kLookupBufferSize, result);
  });
}

// ---- User, group, login and terminal lookups: buffers that grow while ERANGE ----

// Runs lookup(record, buffer, size, &result) with the record's growable buffer and answers the
// result, or null when the lookup failed.
template <typename Result, typename Lookup>
Result *GrowableBufferLookup(GrowableBuffer ThrStatics::*buffer, const thr::GrowthRule &rule,
                             Lookup lookup) {
  ThrStatics *s = Statics();
  if (s == nullptr) return nullptr;
  Result *result = nullptr;
  bool ok = CallWithGrowableBuffer(
      &(s->*buffer), rule, [&](char *data, size_t size) { return lookup(s, data, size, &result); });
  return ok ? result : nullptr;
}

THR_SHADOW_EXPORT struct group *getgrgid(gid_t gid) {
  return GrowableBufferLookup<struct group>(
      &ThrStatics::getgrgid_buffer, thr::kAccountGrowth,
      [gid](ThrStatics *s, char *data, size_t size, struct group **result) {
        return getgrgid_r(gid, &s->getgrgid_result, data, size, result);
      });
}

THR_SHADOW_EXPORT struct group *getgrnam(const char *name) {
  return GrowableBufferLookup<struct group>(
      &ThrStatics::getgrnam_buffer, thr::kAccountGrowth,
      [name](ThrStatics *s, char *data, size_t size, struct group **result) {
        return getgrnam_r(name, &s->getgrnam_result, data, size, result);
      });
}

THR_SHADOW_EXPORT struct passwd *getpwuid(uid_t uid) {
  return GrowableBufferLookup<struct passwd>(
      &ThrStatics::getpwuid_buffer, thr::kAccountGrowth,
      [uid](ThrStatics *s, char *data, size_t size, struct passwd **result) {
        return getpwuid_r(uid, &s->getpwuid_result, data, size, result);
      });
}

THR_SHADOW_EXPORT struct passwd *getpwnam(const char *name) {
  return GrowableBufferLookup<struct passwd>(
      &ThrStatics::getpwnam_buffer, thr::kAccountGrowth,
      [name](ThrStatics *s, char *data, size_t size, struct passwd **result) {
        return getpwnam_r(name, &s->getpwnam_result, data, size, result);
      });
}

THR_SHADOW_EXPORT struct passwd *getpwent(void) {
  return GrowableBufferLookup<struct passwd>(
      &ThrStatics::getpwent_buffer, thr::kAccountGrowth,
      [](ThrStatics *s, char *data, size_t size, struct passwd **result) {
        return getpwent_r(&s->getpwent_result, data, size, result);
      });
}

THR_SHADOW_EXPORT struct spwd *getspent(void) {
  return GrowableBufferLookup<struct spwd>(
      &ThrStatics::getspent_buffer, thr::kShadowGrowth,
      [](ThrStatics *s, char *data, size_t size, struct spwd **result) {
        return getspent_r(&s->getspent_result, data, size, result);
      });
}

// The login and terminal names are the buffer itself.
THR_SHADOW_EXPORT char *getlogin(void) {
  return GrowableBufferLookup<char>(&ThrStatics::getlogin_buffer, thr::kLoginGrowth,
                                    [](ThrStatics *, char *data, size_t size, char **result) {
                                      *result = data;
                                      return getlogin_r(data, size);
                                    });
}

THR_SHADOW_EXPORT char *ttyname(int fd) noexcept {
  return GrowableBufferLookup<char>(&ThrStatics::ttyname_buffer, thr::kTtynameGrowth,
                                    [fd](ThrStatics *, char *data, size_t size, char **result) {
                                      *result = data;
                                      return ttyname_r(fd, data, size);
                                    });
}
