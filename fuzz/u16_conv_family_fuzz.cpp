// The relations between members of the conversion family, on the same input. The swapped (Sw)
// members must do exactly what their plain twins do on byte-swapped units; the NoCC, GD and
// SubstAll members must give their plain partner's result wherever the partner converts (and
// NoCC also wherever no control code is involved); and what UCS-2, UTF-16 and UCS-4 text
// converts to must convert back to the same units.
//
// Input: byte 0 is the destination's size in units, times 16 with bit 0x04 of byte 1; bit 0x01
// of byte 1 lets the Sw twins replace invalid input. The rest is the source.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "../tests/support/u16_conv_members.h"
#include "fuzz_support.h"

namespace {

using convmembers::Member;
using Bytes = std::vector<uint8_t>;

struct Result {
  int rc;
  size_t consumed;  // source bytes
  Bytes out;
  uint32_t count;
  bool operator==(const Result &) const = default;
};

const Member &Find(const std::string &name) {
  for (const Member &m : convmembers::kMembers)
    if (name == m.name) return m;
  FUZZ_REQUIRE(!"no such member");
  return convmembers::kMembers[0];
}

// Runs m on the whole units of src with exactly sized heap buffers.
Result Run(const Member &m, const Bytes &src, size_t dst_units, bool subst) {
  const size_t src_bytes = src.size() / m.src_unit * m.src_unit;
  const size_t dst_bytes = dst_units * m.dst_unit;
  std::unique_ptr<uint8_t[]> s_buf(new uint8_t[src_bytes]);
  std::unique_ptr<uint8_t[]> d_buf(new uint8_t[dst_bytes]);
  std::copy(src.begin(), src.begin() + src_bytes, s_buf.get());
  const uint8_t *s = s_buf.get();
  uint8_t *d = d_buf.get();
  uint32_t count = 0;
  const int rc = m.run(&s, s + src_bytes, &d, d + dst_bytes, subst, &count);
  return {rc, static_cast<size_t>(s - s_buf.get()), Bytes(d_buf.get(), d), count};
}

Bytes Swapped(Bytes units, size_t unit) {
  for (size_t i = 0; i + unit <= units.size(); i += unit) std::reverse(&units[i], &units[i + unit]);
  return units;
}

std::string Without(std::string name, const std::string &part) {
  return name.erase(name.find(part), part.size());
}

uint32_t ValueAt(const Bytes &units, size_t unit, size_t i) {
  uint32_t value = 0;
  if (unit == 2) {
    uint16_t u;
    std::memcpy(&u, &units[i], 2);
    value = u;
  } else if (unit == 4) {
    std::memcpy(&value, &units[i], 4);
  } else {
    value = units[i];
  }
  return value;
}

// Units below 32 and from 127 to 159, in text of the given unit size.
bool HasControl(const Bytes &units, size_t unit) {
  for (size_t i = 0; i + unit <= units.size(); i += unit) {
    const uint32_t v = ValueAt(units, unit, i);
    if (v < 32 || (v >= 127 && v <= 159)) return true;
  }
  return false;
}

void CheckSwTwin(const Member &sw, const Bytes &src, size_t dst_units, bool subst) {
  const Member &plain = Find(Without(sw.name, "Sw"));
  if (sw.direction == convmembers::kFromUtf8) {
    Result mine = Run(sw, src, dst_units, subst);
    mine.out = Swapped(mine.out, sw.dst_unit);
    FUZZ_REQUIRE(mine == Run(plain, src, dst_units, subst));
  } else {
    FUZZ_REQUIRE(Run(sw, Swapped(src, sw.src_unit), dst_units, subst) ==
                 Run(plain, src, dst_units, subst));
  }
}

// partner converts the input: member must give the same.
void CheckAgreesWhereConverted(const Member &member, const std::string &partner, const Bytes &src,
                               size_t dst_units) {
  const Result theirs = Run(Find(partner), src, dst_units, false);
  if (theirs.rc == 0) FUZZ_REQUIRE(Run(member, src, dst_units, false) == theirs);
}

void CheckNoCC(const Member &no_cc, const Bytes &src, size_t dst_units) {
  const Member &plain = Find(Without(no_cc.name, "NoCC"));
  const Result mine = Run(no_cc, src, dst_units, false);
  const Result theirs = Run(plain, src, dst_units, false);
  const bool from_utf8 = no_cc.direction == convmembers::kFromUtf8;
  if (mine.rc == 0) FUZZ_REQUIRE(theirs == mine);
  if (theirs.rc == 0 &&
      !(from_utf8 ? HasControl(theirs.out, plain.dst_unit) : HasControl(src, plain.src_unit)))
    FUZZ_REQUIRE(mine == theirs);
}

// There and back: what `there` converts, `back` must turn into the same units.
void CheckRoundTrip(const char *there, const char *back, const Bytes &src) {
  const Member &m = Find(there);
  const size_t src_bytes = src.size() / m.src_unit * m.src_unit;
  const Result out = Run(m, src, src_bytes * 6 + 8, false);
  if (out.rc != 0) return;
  const Result again = Run(Find(back), out.out, src_bytes / m.src_unit, false);
  FUZZ_REQUIRE(again.rc == 0 && again.consumed == out.out.size());
  FUZZ_REQUIRE(again.out.size() == src_bytes &&
               std::equal(again.out.begin(), again.out.end(), src.begin()));
}

// UCS-4 values that UTF-16 holds one to one: up to 0x10FFFF, outside the surrogates.
bool FitsUtf16(const Bytes &src) {
  for (size_t i = 0; i + 4 <= src.size(); i += 4) {
    const uint32_t v = ValueAt(src, 4, i);
    if (v > 0x10FFFF || (v >= 0xD800 && v <= 0xDFFF)) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2) return 0;
  const size_t dst_units = data[0] * ((data[1] & 4) != 0 ? 16 : 1);
  const bool subst = (data[1] & 1) != 0;
  const Bytes src(data + 2, data + size);

  for (const Member &m : convmembers::kMembers) {
    const std::string name = m.name;
    const bool from_utf8 = m.direction == convmembers::kFromUtf8;
    if (name.find("Sw") != std::string::npos) {
      CheckSwTwin(m, src, dst_units, subst);
    } else if (name.find("NoCC") != std::string::npos) {
      CheckNoCC(m, src, dst_units);
    } else if (name.find("GD") != std::string::npos) {
      CheckAgreesWhereConverted(m, from_utf8 ? Without(name, "GD") + "Subst" : Without(name, "GD"),
                                src, dst_units);
    } else if (name.find("SubstAll") != std::string::npos) {
      const int rc = Run(m, src, dst_units, false).rc;
      FUZZ_REQUIRE(rc == 0 || rc == 32);
      CheckAgreesWhereConverted(m, from_utf8 ? Without(name, "All") : Without(name, "SubstAll"),
                                src, dst_units);
    }
  }
  CheckRoundTrip("U2nToUtf8n", "Utf8nToU2nSubst", src);
  CheckRoundTrip("Utf16nToUtf8n", "Utf8nToUtf16nSubst", src);
  CheckRoundTrip("U4nToUtf8n", "Utf8nToU4nSubst", src);
  CheckRoundTrip("Utf16nToU4n", "U4nToUtf16n", src);
  if (FitsUtf16(src)) CheckRoundTrip("U4nToUtf16n", "Utf16nToU4n", src);
  return 0;
}
