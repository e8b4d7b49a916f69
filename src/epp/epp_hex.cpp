// Hexadecimal text of bytes. Passport texts are this form of a whole passport, so it is made two
// units at a time from a table.
#include "epp/epp_hex.h"

#include <array>
#include <cstring>

namespace epp {
namespace {

using DigitPair = std::array<ZUL_UTF16, 2>;

constexpr std::array<DigitPair, 256> MakeDigitPairs() {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::array<DigitPair, 256> pairs{};
  for (int byte = 0; byte < 256; ++byte)
    pairs[byte] = {ZUL_UTF16(kDigits[byte >> 4]), ZUL_UTF16(kDigits[byte & 15])};
  return pairs;
}

constexpr std::array<DigitPair, 256> kDigitPairs = MakeDigitPairs();

}  // namespace

void eppX2C(const ZUL_RAW *bytes, uint32_t count, ZUL_UTF16 *out) {
  for (uint32_t i = 0; i < count; ++i)
    std::memcpy(out + 2 * i, kDigitPairs[bytes[i]].data(), sizeof(DigitPair));
}

}  // namespace epp
