// eppDeserialize on arbitrary bytes: no input may crash or read outside the bytes, and a passport
// that is accepted must serialise again and print.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "zul_epp.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool kStarted = eppSetEnvironment(8, 3, std::malloc, std::free, nullptr, 0) == 0;
  if (!kStarted) std::abort();
  void *h = nullptr;
  if (eppDeserialize(data, static_cast<uint32_t>(size), &h) != EPP_RC_OK) {
    if (h != nullptr) std::abort();
    return 0;
  }
  uint32_t needed = 0;
  if (eppNeededNetworkSize(h, &needed) != EPP_RC_OK) std::abort();
  // A version 0 passport needs nothing but is written in the version 1 layout.
  std::vector<uint8_t> out(needed < EPP_NETWORK_SIZE_V1 ? EPP_NETWORK_SIZE_V1 : needed);
  uint32_t used = 0;
  if (eppSerialize(h, out.data(), static_cast<uint32_t>(out.size()), &used) != EPP_RC_OK)
    std::abort();
  if (used > out.size() || used < EPP_NETWORK_SIZE_V1) std::abort();
  static ZUL_UTF16 text[8192];
  if (eppPrint(h, text, 8192) != EPP_RC_OK) std::abort();
  eppDelete(h);
  return 0;
}
