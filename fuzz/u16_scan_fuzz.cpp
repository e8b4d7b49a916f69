// Fuzz target of formatted input: format and input both come from the fuzzer.
//
// Input: the format, one unit per byte (0xFF and two more bytes give any unit), up to a zero byte;
// the rest is the input text, coded the same way. Formats with more than 16 '%' are skipped.
// Every call gets 16 pointers to zeroed buffers larger than anything the input can fill (the
// whole input as units, or the widest number), so any conversion may store into any of them.
// Checks: no fault (the sanitizers watch the buffers), and an answer from -1 to the number of
// conversions.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "zul_u16scanf.h"
#include "zul_u16trace.h"

namespace {

constexpr size_t kPointers = 16;

// Reads units up to a zero byte or the end; answers the position after it.
size_t ReadUnits(const uint8_t *data, size_t size, size_t i, std::u16string *out) {
  for (; i < size && data[i] != 0; ++i) {
    if (data[i] == 0xFF && i + 2 < size) {
      *out += static_cast<char16_t>((data[i + 1] << 8) | data[i + 2]);
      i += 2;
    } else {
      *out += static_cast<char16_t>(data[i]);
    }
  }
  return i + 1;
}

void Discard(const ZUL_UTF16 *) {}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static bool once = [] {
    u16_set_trace_func(Discard);
    u16_trace_level = 4;  // the bad format report is built, then discarded
    return true;
  }();
  (void)once;
  std::u16string format, input;
  ReadUnits(data, size, ReadUnits(data, size, 0, &format), &input);
  size_t conversions = 0;
  for (char16_t unit : format) conversions += unit == u'%';
  if (conversions > kPointers) return 0;
  const size_t room = (input.size() + 1) * sizeof(char16_t) + sizeof(long double);
  std::vector<std::vector<unsigned char>> buffers(kPointers, std::vector<unsigned char>(room));
  std::vector<void *> p;
  for (auto &b : buffers) p.push_back(b.data());
  const int answer = sscanfU16(input.c_str(), format.c_str(), p[0], p[1], p[2], p[3], p[4], p[5],
                               p[6], p[7], p[8], p[9], p[10], p[11], p[12], p[13], p[14], p[15]);
  if (answer < -1 || answer > static_cast<int>(conversions)) std::abort();
  return 0;
}
