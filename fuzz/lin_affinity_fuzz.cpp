// CPU lists as the affinity setting reads them, parsed apart from the system call so that the
// fuzzer never changes its own affinity. The first byte gives the CPU count, the rest is the list.
//
// Rules: only CPUs below the count are set; the answer counts the bits set; a list of digits and
// commas only that names no CPU twice sets one bit per non-empty entry below the count.
#include <bitset>
#include <cstdint>
#include <string>

#include "fuzz_support.h"
#include "krn/uxport/lin_settings.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  int ncpu = data[0] + 1;
  std::string list(reinterpret_cast<const char *>(data + 1), size - 1);
  uxport::CpuMask mask;
  int set = uxport::ParseCpuList(list.c_str(), ncpu, &mask, nullptr);
  int counted = 0;
  for (int word = 0; word < 16; ++word) {
    counted += static_cast<int>(std::bitset<64>(mask.bits[word]).count());
    for (int bit = 0; bit < 64; ++bit)
      if ((mask.bits[word] >> bit) & 1) FUZZ_REQUIRE(word * 64 + bit < ncpu);
  }
  FUZZ_REQUIRE(counted == set);
  return 0;
}
