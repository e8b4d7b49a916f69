// eppDeserialize on arbitrary bytes: no input may crash or read outside the bytes, and a passport
// that is accepted must serialise again and print.
#include <cstdint>
#include <cstdlib>

#include "passport_fuzz_check.h"
#include "zul_epp.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool kStarted = eppSetEnvironment(8, 3, std::malloc, std::free, nullptr, 0) == 0;
  if (!kStarted) std::abort();
  void *h = nullptr;
  if (eppDeserialize(data, static_cast<uint32_t>(size), &h) != EPP_RC_OK) {
    if (h != nullptr) std::abort();
    return 0;
  }
  CheckSerialisesAgain(h);
  eppDelete(h);
  return 0;
}
