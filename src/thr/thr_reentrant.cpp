// Reentrant forms of the C library's time, token and random calls, each a direct forward.
#include <cstdlib>

#include "zul_thr.h"
#include "zul_u16string.h"
#include "zul_u16sys.h"

ZUL_UTF16 *ThrCtime(const time_t *t, ZUL_UTF16 *buf16) noexcept { return ctime_rU16(t, buf16); }

ZUL_UTF16 *ThrAsctime(const struct tm *tm, ZUL_UTF16 *buf16) noexcept {
  return asctime_rU16(tm, buf16);
}

ZUL_UTF16 *ThrStrtok(ZUL_UTF16 *s, const ZUL_UTF16 *delim, ZUL_UTF16 **save) noexcept {
  return strtok_rU16(s, delim, save);
}

int ThrRand(unsigned int *seed) noexcept { return rand_r(seed); }

struct tm *ThrGmtime(const time_t *t, struct tm *result) noexcept {
  return gmtime_r(t, result);
}

struct tm *ThrLocaltime(const time_t *t, struct tm *result) noexcept {
  return localtime_r(t, result);
}
