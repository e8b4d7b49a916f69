// Address texts as callers and route strings bring them: the input, as 16-bit text, goes to the
// address and mask parser, the plain address parser, the address and port parser (numeric hosts
// only, so that no name server is asked) and the password hiding of route strings.
//
// Rules: every result is ZUL_O_K or a refusal code; a parsed address with a contiguous mask
// prints and parses back to itself (a mapped one only with its 96 leading mask bits); the plain
// parser agrees with the mask parser; the hidden route string fits its buffer, which is exactly
// as long as the call is told.
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_support.h"
#include "ni/nixxi.h"
#include "zul_ctrc.h"
#include "zul_u16string.h"

namespace {

const uint8_t kOnes12[12] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                             0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

// Leading ones, then zeros only.
bool Contiguous(const NI_NODEADDR &m) {
  int b = 0;
  while (b < 16 && m.addr[b] == 0xFF) ++b;
  if (b == 16) return true;
  uint8_t inv = static_cast<uint8_t>(~m.addr[b]);
  if ((inv & static_cast<uint8_t>(inv + 1)) != 0) return false;
  for (int k = b + 1; k < 16; ++k)
    if (m.addr[k] != 0) return false;
  return true;
}

void CheckMask(const std::u16string &text) {
  NI_NODEADDR addr, mask;
  int hasMask = -1;
  int rc = NiStrToAddrMask(text.c_str(), &addr, &mask, &hasMask);
  FUZZ_REQUIRE(rc == ZUL_O_K || rc == NIEINVAL);
  NI_NODEADDR plain;
  int plainRc = NiStrToAddr(text.c_str(), &plain);
  FUZZ_REQUIRE(plainRc == (rc == ZUL_O_K && hasMask == 0 ? ZUL_O_K : NIEINVAL));
  if (rc != ZUL_O_K) return;
  FUZZ_REQUIRE(hasMask == 0 || hasMask == 1);
  if (plainRc == ZUL_O_K) FUZZ_REQUIRE(std::memcmp(&plain, &addr, sizeof addr) == 0);
  // A mapped address prints as IPv4 text, which reads back with the 96 leading mask bits set:
  // a shorter mask on it (as "::ffff:1.2.3/4" gives) has no text of its own.
  bool mapped = std::memcmp(addr.addr, NI_ADDR_ANY_I4_INIT.addr, 12) == 0;
  if (!Contiguous(mask) || (mapped && std::memcmp(mask.addr, kOnes12, 12) != 0)) return;
  std::vector<ZUL_UTF16> out(NI_ADDRMASK_STR_LEN);
  FUZZ_REQUIRE(NiAddrMaskToStr(&addr, &mask, out.data(), NI_ADDRMASK_STR_LEN) == ZUL_O_K);
  NI_NODEADDR addr2, mask2;
  FUZZ_REQUIRE(NiStrToAddrMask(out.data(), &addr2, &mask2, nullptr) == ZUL_O_K);
  FUZZ_REQUIRE(std::memcmp(&addr, &addr2, sizeof addr) == 0);
  FUZZ_REQUIRE(std::memcmp(&mask, &mask2, sizeof mask) == 0);
}

void CheckAddrAndPort(const std::u16string &text) {
  NI_NODEADDR addr, mask;
  uint16_t port = 0;
  for (bool withMask : {true, false}) {
    int rc = NiStrToAddrAndPort(text.c_str(), &addr, withMask ? &mask : nullptr, &port);
    FUZZ_REQUIRE(rc == ZUL_O_K || rc == NIEINVAL || rc == NIEHOST_UNKNOWN ||
                 rc == NIESERV_UNKNOWN || rc == NIEINTERN);
  }
}

void CheckSecStr(const std::u16string &text) {
  for (size_t extra : {0, 1, 3, 16}) {
    std::vector<ZUL_UTF16> out(text.size() + extra);
    if (out.empty()) continue;
    int rc = NiSecStr2(text.c_str(), out.data(), static_cast<int>(out.size()));
    FUZZ_REQUIRE(rc == (extra == 0 ? NIETOO_SMALL : ZUL_O_K));
    if (rc == ZUL_O_K) FUZZ_REQUIRE(strlenU16(out.data()) < out.size());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static bool once = [] {
    ct_level = 0;  // the refusals' trace lines would only slow the fuzzer down
    ni::gNumericHostsOnly = true;
    return true;
  }();
  (void)once;
  std::u16string text = fuzzsupport::Units(data, size);
  if (text.find(u'\0') != std::u16string::npos) text.resize(text.find(u'\0'));
  CheckMask(text);
  CheckAddrAndPort(text);
  CheckSecStr(text);
  return 0;
}
