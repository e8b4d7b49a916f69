// The per-thread record behind the process-wide replacements of the C library's non-reentrant
// calls: each replacement calls the reentrant form with this thread's slots and answers the slot.
#ifndef TLM_THR_THR_STATICS_H
#define TLM_THR_THR_STATICS_H

#include <dirent.h>
#include <grp.h>
#include <netdb.h>
#include <pwd.h>
#include <shadow.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "zul_thr.h"

namespace thr {

// Size of the fixed buffers of the host and service lookups; they are not retried with more.
inline constexpr size_t kLookupBufferSize = 1025;

// A buffer that grows while the reentrant call answers ERANGE; kept from call to call.
struct GrowableBuffer {
  char *data;
  size_t size;
};

// One per thread, zero-filled, reached through one process-wide key.
struct ThrStatics {
  char asctime_text[26];
  char ctime_text[26];
  struct tm gmtime_result;
  struct tm localtime_result;
  unsigned int rand_seed;  // 1 in a new record
  char *strtok_save;
  GrowableBuffer ttyname_buffer;
  struct group getgrnam_result;
  GrowableBuffer getgrnam_buffer;
  struct group getgrgid_result;
  GrowableBuffer getgrgid_buffer;
  struct hostent gethostbyname_result;
  char gethostbyname_buffer[kLookupBufferSize];
  struct hostent gethostbyaddr_result;
  char gethostbyaddr_buffer[kLookupBufferSize];
  struct hostent gethostent_result;
  char gethostent_buffer[kLookupBufferSize];
  struct servent getservbyname_result;
  char getservbyname_buffer[kLookupBufferSize];
  struct servent getservbyport_result;
  char getservbyport_buffer[kLookupBufferSize];
  struct servent getservent_result;
  char getservent_buffer[kLookupBufferSize];
  struct passwd getpwent_result;
  GrowableBuffer getpwent_buffer;
  GrowableBuffer getlogin_buffer;
  struct passwd getpwnam_result;
  GrowableBuffer getpwnam_buffer;
  struct passwd getpwuid_result;
  GrowableBuffer getpwuid_buffer;
  struct spwd getspent_result;
  GrowableBuffer getspent_buffer;
  struct dirent64 readdir64_entry;
};

// The calling thread's record, made on first use; null when it can't be had. Starts the layer
// (ThrIProcInit) when nobody did.
ThrStatics *Statics();

// The growth rule of the user, group, login and terminal lookups.
struct GrowthRule {
  size_t initial;
  size_t step;
  size_t limit;  // no growth beyond a buffer of this size
};
inline constexpr GrowthRule kAccountGrowth = {1024, 1024, 0x100000};
inline constexpr GrowthRule kShadowGrowth = {1025, 1025, 0x100000};
inline constexpr GrowthRule kLoginGrowth = {10, 9, 0x100000};
inline constexpr GrowthRule kTtynameGrowth = {64, 64, 1024};

// Calls call(data, size), which answers 0 or an errno value, with a buffer that is allocated
// when there is none and grown by the rule's step while the call answers ERANGE. Answers whether
// the call succeeded; otherwise errno tells why (ENOMEM when the buffer can't be had).
template <typename Call>
bool CallWithGrowableBuffer(GrowableBuffer *buffer, const GrowthRule &rule, Call call) {
  if (buffer->data == nullptr) {
    buffer->data = static_cast<char *>(std::malloc(rule.initial));
    if (buffer->data == nullptr) {
      errno = ENOMEM;
      return false;
    }
    buffer->size = rule.initial;
  }
  for (;;) {
    int rc = call(buffer->data, buffer->size);
    if (rc == 0) return true;
    errno = rc;
    if (rc != ERANGE || buffer->size > rule.limit) return false;
    auto *grown = static_cast<char *>(std::realloc(buffer->data, buffer->size + rule.step));
    if (grown == nullptr) {
      errno = ENOMEM;
      return false;
    }
    buffer->data = grown;
    buffer->size += rule.step;
  }
}

}  // namespace thr

#endif  // TLM_THR_THR_STATICS_H
