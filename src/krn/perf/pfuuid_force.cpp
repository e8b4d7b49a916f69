// The forced identifier: when libuuid fails, one made of pseudo-random numbers, so that a caller
// always gets an identifier.
#include <unistd.h>

#include <cstdint>

#include "krn/perf/pfuuid.h"
#include "zul_thr.h"

namespace pfuuid {

void RandomUuid(ZUL_RAW *out, unsigned pid16, time_t t, Clock clock) noexcept {
  const auto t32 = static_cast<uint32_t>(t);
  unsigned int seed = pid16 << 16 ^ t32;
  ThrRand(&seed);  // the first number of a fresh seed is dropped
  for (int word_index = 0; word_index < 4; ++word_index) {
    uint32_t word = pid16 ^ t32;
    for (int i = 0; i < 11 && clock(nullptr) == t; ++i) {
      word = word << 7 ^ static_cast<uint32_t>(ThrRand(&seed));
    }
    for (int b = 0; b < 4; ++b) out[word_index * 4 + b] = static_cast<ZUL_RAW>(word >> (8 * b));
  }
  out[8] = static_cast<ZUL_RAW>((out[8] & 0x3F) | 0x80);
  out[7] = static_cast<ZUL_RAW>((out[7] & 0x0F) | 0x40);
}

int CreateForced(Generator generate, ZUL_RAW *out) noexcept {
  int rc = Create(generate, out, 1, true, true);
  if (rc != PFUUID_OK && out != nullptr) {
    RandomUuid(out, static_cast<unsigned>(getpid()) & 0xFFFF, time(nullptr), time);
  }
  return rc;
}

}  // namespace pfuuid
