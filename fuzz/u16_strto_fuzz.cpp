// Numbers in 16-bit text, read as the C library reads them from 8-bit text: strtolU16 and its
// unsigned and long long twins, and strtodU16. Each input is also turned into an 8-bit twin in
// which every unit keeps its meaning for a number (ASCII as it is, other white space a blank,
// anything else '~', which no number contains); both readers must then agree on value, errno and
// end. strtodU16 spells NaN and infinity its own way, so texts that start with one are only read.
//
// Input: byte 0 chooses the base (-2 to 37) and, above 127, a text at an odd address; the rest is
// the text, one unit per byte (0xFF and two more bytes give any unit).
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "fuzz_support.h"
#include "zul_u16string.h"

namespace {

std::string EightBitTwin(const ZUL_UTF16 *text) {
  std::string twin;
  for (; *text != 0; ++text) {
    if (*text < 0x80) {
      twin.push_back(static_cast<char>(*text));
    } else {
      twin.push_back(isspaceU16(*text) ? ' ' : '~');
    }
  }
  return twin;
}

template <class Int>
void CompareInteger(Int (*mine)(const ZUL_UTF16 *, ZUL_UTF16 **, int),
                    Int (*theirs)(const char *, char **, int), const ZUL_UTF16 *text,
                    const std::string &twin, int base) {
  ZUL_UTF16 *end = nullptr;
  char *their_end = nullptr;
  errno = 0;
  const Int value = mine(text, &end, base);
  const int error = errno;
  errno = 0;
  const Int their_value = theirs(twin.c_str(), &their_end, base);
  FUZZ_REQUIRE(value == their_value && error == errno);
  // For a bad base the C library leaves the end unset; the library stores the start there.
  const bool bad_base = base < 0 || base == 1 || base > 36;
  FUZZ_REQUIRE(end - text == (bad_base ? 0 : their_end - twin.c_str()));
}

// NaN and infinity, which the two readers spell differently.
bool StartsWithWord(const std::string &twin) {
  size_t i = twin.find_first_not_of(" \t\n\v\f\r");
  if (i != std::string::npos && (twin[i] == '+' || twin[i] == '-')) ++i;
  return i < twin.size() && std::strchr("nNiI", twin[i]) != nullptr;
}

void CompareDouble(const ZUL_UTF16 *text, const std::string &twin) {
  ZUL_UTF16 *end = nullptr;
  errno = 0;
  const double value = strtodU16(text, &end);
  const int error = errno;
  const size_t length = twin.size();
  FUZZ_REQUIRE(end >= text && end <= text + length);
  if (StartsWithWord(twin)) return;
  char *their_end = nullptr;
  errno = 0;
  const double their_value = std::strtod(twin.c_str(), &their_end);
  FUZZ_REQUIRE(std::memcmp(&value, &their_value, sizeof value) == 0 && error == errno);
  FUZZ_REQUIRE(end - text == their_end - twin.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const int base = data[0] % 40 - 2;
  const size_t offset = data[0] >> 7;
  const std::u16string units = fuzzsupport::Units(data + 1, size - 1);
  // An exactly sized copy, so that a read beyond the terminator is caught.
  const size_t bytes = (units.size() + 1) * sizeof(ZUL_UTF16);
  std::unique_ptr<uint8_t[]> storage(new uint8_t[bytes + offset]);
  std::memcpy(storage.get() + offset, units.c_str(), bytes);
  const auto *text = reinterpret_cast<const ZUL_UTF16 *>(storage.get() + offset);

  const std::string twin = EightBitTwin(units.c_str());
  CompareInteger<long>(strtolU16, std::strtol, text, twin, base);
  CompareInteger<unsigned long>(strtoulU16, std::strtoul, text, twin, base);
  CompareInteger<long long>(strtollU16, std::strtoll, text, twin, base);
  CompareInteger<unsigned long long>(strtoullU16, std::strtoull, text, twin, base);
  CompareDouble(text, twin);
  return 0;
}
