// Starting the passport library for a test program.
#ifndef TESTS_SUPPORT_EPP_START_H
#define TESTS_SUPPORT_EPP_START_H

#include <cstdlib>

#include "zul_epp.h"

// eppSetEnvironment with the C allocator. The first passport of the process becomes the default
// passport, which outlives eppDelete: it is made here once, so that the tests' own passports are
// ordinary ones. Answers eppSetEnvironment's result.
inline uint32_t StartPassportLibrary(EPP_TRACE_FUNC trace = nullptr, int32_t level = 0) {
  uint32_t rc = eppSetEnvironment(8, 3, std::malloc, std::free, trace, level);
  static void *const kFirst = [] {
    void *h = nullptr;
    eppInit(&h);
    return h;
  }();
  (void)kFirst;
  return rc;
}

#endif  // TESTS_SUPPORT_EPP_START_H
