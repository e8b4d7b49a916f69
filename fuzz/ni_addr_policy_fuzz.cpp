// NI_ADDR_POLICY texts: the input, as 8-bit text, goes to the reader of the preference rules, and
// the rows read choose among a fixed set of addresses for each protocol.
//
// Rules: a text of 1024 bytes or more gives no rows; at most 20 rows; prefixes 0..128, longest
// first; precedences 0..1000; a row's mask is exactly its prefix's leading ones and its address
// has no bit outside the mask. The choice is -1 exactly when no address of the protocol matches
// a row, and otherwise an address of the protocol that matches one.
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz_support.h"
#include "ni/nixxhs.h"
#include "zul_ctrc.h"

namespace {

bool Fits(const NI_NODEADDR &a, int protocol) {
  bool mapped = std::memcmp(a.addr, NI_ADDR_ANY_I4_INIT.addr, 12) == 0;
  return protocol == 2 ? mapped : protocol == 4 ? !mapped : true;
}

bool MatchesARow(const NI_NODEADDR &a, const PREFPOL *rows, int n) {
  for (int r = 0; r < n; ++r)
    if (NiAddrMatch(&a, &rows[r].addr, &rows[r].mask) == 1) return true;
  return false;
}

void CheckRows(const PREFPOL *rows, int n) {
  for (int i = 0; i < n; ++i) {
    const PREFPOL &row = rows[i];
    FUZZ_REQUIRE(row.prefixLen >= 0 && row.prefixLen <= 128);
    FUZZ_REQUIRE(row.precedence >= 0 && row.precedence <= 1000);
    if (i > 0) FUZZ_REQUIRE(rows[i - 1].prefixLen >= row.prefixLen);
    for (int bit = 0; bit < 128; ++bit) {
      bool set = (row.mask.addr[bit / 8] & (0x80 >> (bit % 8))) != 0;
      FUZZ_REQUIRE(set == (bit < row.prefixLen));
    }
    for (int k = 0; k < 16; ++k) FUZZ_REQUIRE((row.addr.addr[k] & ~row.mask.addr[k]) == 0);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static bool once = [] {
    ct_level = 0;  // the skipped rules' trace lines would only slow the fuzzer down
    return true;
  }();
  (void)once;
  std::string text(reinterpret_cast<const char *>(data), size);
  text.resize(std::strlen(text.c_str()));
  PREFPOL rows[NI_PREFPOL_ROWS + 1];
  int n = NiIParseAddrPolicy(text.c_str(), rows, NI_PREFPOL_ROWS);
  FUZZ_REQUIRE(n >= 0 && n <= NI_PREFPOL_ROWS);
  if (text.size() >= static_cast<size_t>(NI_ADDR_POLICY_LEN)) FUZZ_REQUIRE(n == 0);
  CheckRows(rows, n);
  static const char16_t *kTexts[] = {u"::1",     u"fd00::2",   u"2001:db8::1", u"10.0.0.1",
                                     u"fe80::1", u"127.0.0.1", u"::"};
  NI_NODEADDR addrs[7];
  for (int i = 0; i < 7; ++i) FUZZ_REQUIRE(NiStrToAddr(kTexts[i], &addrs[i]) == ZUL_O_K);
  for (int protocol : {0, 2, 4}) {
    int best = NiIApplyAddrPolicy(addrs, 7, protocol, rows, n);
    bool any = false;
    for (const NI_NODEADDR &a : addrs) any = any || (Fits(a, protocol) && MatchesARow(a, rows, n));
    FUZZ_REQUIRE((best >= 0) == any);
    if (best >= 0) FUZZ_REQUIRE(best < 7 && Fits(addrs[best], protocol));
  }
  return 0;
}
