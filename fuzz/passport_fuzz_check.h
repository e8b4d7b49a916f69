// The check both passport fuzz targets make of a passport they got accepted.
#ifndef FUZZ_PASSPORT_FUZZ_CHECK_H
#define FUZZ_PASSPORT_FUZZ_CHECK_H

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "zul_epp.h"

// An accepted passport must serialise again, within the size it needs (a version 0 passport needs
// nothing but is written in the version 1 layout), and print.
inline void CheckSerialisesAgain(void *h) {
  uint32_t needed = 0;
  if (eppNeededNetworkSize(h, &needed) != EPP_RC_OK) std::abort();
  std::vector<uint8_t> out(needed < EPP_NETWORK_SIZE_V1 ? EPP_NETWORK_SIZE_V1 : needed);
  uint32_t used = 0;
  if (eppSerialize(h, out.data(), static_cast<uint32_t>(out.size()), &used) != EPP_RC_OK)
    std::abort();
  if (used > out.size() || used < EPP_NETWORK_SIZE_V1) std::abort();
  static ZUL_UTF16 text[8192];
  if (eppPrint(h, text, 8192) != EPP_RC_OK) std::abort();
}

#endif  // FUZZ_PASSPORT_FUZZ_CHECK_H
