// Process-wide replacements of the C library's non-reentrant calls, exported from tlm.so under
// the C library's own names: every caller in the process that binds to them, this library
// included, gets per-thread results. Each calls the reentrant form with the calling thread's
// slots of ThrStatics and answers the slot. Without a record they answer null (rand: time(NULL)).
//
// This file is built apart from the thread layer and linked into tlm.so only, so that a program
// gets these names only when it links the shared library on purpose. Each definition repeats the
// C library's declaration, including its exception specification. The list of names is
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

THR_SHADOW_EXPORT struct hostent *gethostbyname(const char *name) {
  ThrStatics *s = Statics();
  if (s == nullptr) return nullptr;
  struct hostent *result = nullptr;
  gethostbyname_r(name, &s->gethostbyname_result, s->gethostbyname_buffer, kLookupBufferSize,
                  &result, &h_errno);
  return result;
}

THR_SHADOW_EXPORT struct hostent *gethostbyaddr(const void *addr, socklen_t len, int type) {
  ThrStatics *s = Statics();
  if (s == nullptr) return nullptr;
  struct hostent *result = nullptr;
  gethostbyaddr_r(addr, len, type, &s->gethostbyaddr_result, s->gethostbyaddr_buffer,
                  kLookupBufferSize, &result, &h_errno);
  return result;
}

THR_SHADOW_EXPORT struct hostent *gethostent(void) {
  ThrStatics *s = Statics();
  if (s == nullptr) return nullptr;
  struct hostent *result = nullptr;
  gethostent_r(&s->gethostent_result, s->gethostent_buffer, kLookupBufferSize, &result, &h_errno);
  return result;
}

THR_SHADOW_EXPORT struct servent *getservbyname(const char *name, const char *proto) {
  ThrStatics *s = Statics();
  if (s == nullptr) return nullptr;
  struct servent *result = nullptr;
  getservbyname_r(name, proto, &s->getservbyname_result, s->getservbyname_buffer, kLookupBufferSize,
                  &result);
  return result;
}

THR_SHADOW_EXPORT struct servent *getservbyport(int port, const char *proto) {
  ThrStatics *s = Statics();
  if (s == nullptr) return nullptr;
  struct servent *result = nullptr;
  getservbyport_r(port, proto, &s->getservbyport_result, s->getservbyport_buffer, kLookupBufferSize,
                  &result);
  return result;
}

THR_SHADOW_EXPORT struct servent *getservent(void) {
  ThrStatics *s = Statics();
  if (s == nullptr) return nullptr;
  struct servent *result = nullptr;
  getservent_r(&s->getservent_result, s->getservent_buffer, kLookupBufferSize, &result);
  return result;
}

// ---- User, group, login and terminal lookups: buffers that grow while ERANGE ----

THR_SHADOW_EXPORT struct group *getgrgid(gid_t gid) {
  ThrStatics *s = Statics();
  if (s == nullptr) return nullptr;
  struct group *result = nullptr;
  bool ok =
      CallWithGrowableBuffer(&s->getgrgid_buffer, thr::kAccountGrowth, [&](char *buf, size_t size) {
        return getgrgid_r(gid, &s->getgrgid_result, buf, size, &result);
      });
  return ok ? result : nullptr;
}

THR_SHADOW_EXPORT struct group *getgrnam(const char *name) {
  ThrStatics *s = Statics();
  if (s == nullptr) return nullptr;
  struct group *result = nullptr;
  bool ok =
      CallWithGrowableBuffer(&s->getgrnam_buffer, thr::kAccountGrowth, [&](char *buf, size_t size) {
        return getgrnam_r(name, &s->getgrnam_result, buf, size, &result);
      });
  return ok ? result : nullptr;
}

THR_SHADOW_EXPORT struct passwd *getpwuid(uid_t uid) {
  ThrStatics *s = Statics();
  if (s == nullptr) return nullptr;
  struct passwd *result = nullptr;
  bool ok =
      CallWithGrowableBuffer(&s->getpwuid_buffer, thr::kAccountGrowth, [&](char *buf, size_t size) {
        return getpwuid_r(uid, &s->getpwuid_result, buf, size, &result);
      });
  return ok ? result : nullptr;
}

THR_SHADOW_EXPORT struct passwd *getpwnam(const char *name) {
  ThrStatics *s = Statics();
  if (s == nullptr) return nullptr;
  struct passwd *result = nullptr;
  bool ok =
      CallWithGrowableBuffer(&s->getpwnam_buffer, thr::kAccountGrowth, [&](char *buf, size_t size) {
        return getpwnam_r(name, &s->getpwnam_result, buf, size, &result);
      });
  return ok ? result : nullptr;
}

THR_SHADOW_EXPORT struct passwd *getpwent(void) {
  ThrStatics *s = Statics();
  if (s == nullptr) return nullptr;
  struct passwd *result = nullptr;
  bool ok = CallWithGrowableBuffer(
      &s->getpwent_buffer, thr::kAccountGrowth,
      [&](char *buf, size_t size) { return getpwent_r(&s->getpwent_result, buf, size, &result); });
  return ok ? result : nullptr;
}

THR_SHADOW_EXPORT struct spwd *getspent(void) {
  ThrStatics *s = Statics();
  if (s == nullptr) return nullptr;
  struct spwd *result = nullptr;
  bool ok = CallWithGrowableBuffer(
      &s->getspent_buffer, thr::kShadowGrowth,
      [&](char *buf, size_t size) { return getspent_r(&s->getspent_result, buf, size, &result); });
  return ok ? result : nullptr;
}

THR_SHADOW_EXPORT char *getlogin(void) {
  ThrStatics *s = Statics();
  if (s == nullptr) return nullptr;
  bool ok = CallWithGrowableBuffer(&s->getlogin_buffer, thr::kLoginGrowth,
                                   [](char *buf, size_t size) { return getlogin_r(buf, size); });
  return ok ? s->getlogin_buffer.data : nullptr;
}

THR_SHADOW_EXPORT char *ttyname(int fd) noexcept {
  ThrStatics *s = Statics();
  if (s == nullptr) return nullptr;
  bool ok =
      CallWithGrowableBuffer(&s->ttyname_buffer, thr::kTtynameGrowth,
                             [fd](char *buf, size_t size) { return ttyname_r(fd, buf, size); });
  return ok ? s->ttyname_buffer.data : nullptr;
}
