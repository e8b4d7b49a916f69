// UTF-7 bytes to 16-bit and 32-bit units. The first byte chooses the destination's room, the rest
// is the text.
//
// Rules: the answer is 0 or a class of the family; both pointers stay within their buffers; what
// stands before the pointers decodes alone to the same units; the decoded units encode to UTF-7
// that decodes back to them, and encoding that again gives the same bytes (stable re-encoding);
// the 32-bit decoder stops where the 16-bit one does when both have room.
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "zul_u16conv.h"

namespace {

bool KnownAnswer(int rc) { return rc == 0 || rc == 32 || rc == 512 || rc == 2048; }

struct U2Result {
  int rc;
  size_t consumed;
  std::u16string units;
};

U2Result Decode(const uint8_t *data, size_t size, size_t room) {
  std::vector<ZUL_UTF16> out(room + 1);
  const ZUL_RAW *s = data;
  ZUL_UTF16 *d = out.data();
  int rc = Utf7nToU2n(&s, data + size, &d, out.data() + room);
  FUZZ_REQUIRE(KnownAnswer(rc));
  FUZZ_REQUIRE(s >= data && s <= data + size);
  FUZZ_REQUIRE(d >= out.data() && d <= out.data() + room);
  return {rc, static_cast<size_t>(s - data), std::u16string(out.data(), d)};
}

std::string Encode(const std::u16string &units, int option) {
  std::string out(5 * units.size() + 8, '\0');
  const ZUL_UTF16 *s = units.data();
  auto *d = reinterpret_cast<ZUL_RAW *>(out.data());
  FUZZ_REQUIRE(U2nToUtf7n(&s, units.data() + units.size(), &d, d + out.size(), option, 0) == 0);
  FUZZ_REQUIRE(s == units.data() + units.size());
  out.resize(static_cast<size_t>(d - reinterpret_cast<ZUL_RAW *>(out.data())));
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  size_t room = data[0];
  const uint8_t *text = data + 1;
  size_t length = size - 1;

  U2Result cut = Decode(text, length, room);
  U2Result prefix = Decode(text, cut.consumed, cut.consumed + 1);
  FUZZ_REQUIRE(prefix.rc == 0 && prefix.units == cut.units);

  U2Result whole = Decode(text, length, length + 1);
  for (int option : {0, 1}) {
    std::string again = Encode(whole.units, option);
    U2Result back = Decode(reinterpret_cast<const uint8_t *>(again.data()), again.size(),
                           again.size() + 1);
    FUZZ_REQUIRE(back.rc == 0 && back.units == whole.units);
    FUZZ_REQUIRE(Encode(back.units, option) == again);
  }

  std::vector<uint32_t> wide(length + 1);
  const ZUL_RAW *s = text;
  uint32_t *d = wide.data();
  int rc = Utf7aToU4a(&s, text + length, &d, wide.data() + wide.size());
  FUZZ_REQUIRE(KnownAnswer(rc) && rc == whole.rc);
  FUZZ_REQUIRE(static_cast<size_t>(s - text) == whole.consumed);
  FUZZ_REQUIRE(d >= wide.data() && static_cast<size_t>(d - wide.data()) <= whole.units.size());
  return 0;
}
