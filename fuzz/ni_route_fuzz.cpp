// Route strings and received route messages. The first byte chooses: even, the rest is a route
// string (16-bit units) that is built into a message, read back entry by entry, modified into
// small buffers, split into a table and hidden; odd, the rest is a message as a router would
// receive it, read entry by entry.
//
// Rules: every result is ZUL_O_K or a refusal code; a built message reads back as exactly as many
// entries as its count, each offset moving forward and ending at L; a received message is read
// without leaving its area; a modified route fits the buffer it was given.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_support.h"
#include "ni/nixxri.h"
#include "zul_ctrc.h"
#include "zul_u16string.h"

namespace {

void ReadAll(const ni_iroute &r, bool built) {
  int off = 0, entries = 0;
  for (int guard = 0; guard < 256; ++guard) {
    ZUL_UTF16 host[60], serv[30], pass[20];
    int hop = 0, before = off;
    int rc = NiBufIRouteGetNext(&r, &off, 0, nullptr, host, serv, pass, nullptr, nullptr, &hop);
    FUZZ_REQUIRE(rc == ZUL_O_K || rc == NIEINVAL);
    if (rc != ZUL_O_K) {
      FUZZ_REQUIRE(off == before);
      break;
    }
    FUZZ_REQUIRE(off > before && static_cast<uint32_t>(off) <= r.areaLen());
    ++entries;
  }
  if (built && r.data[ni::route::kCount] != 0 && entries != 0)
    FUZZ_REQUIRE(static_cast<uint32_t>(off) == r.areaLen());
}

void CheckString(const std::u16string &text) {
  static ni_iroute r;
  int rc = NiBufIHostToRoute(text.c_str(), u"3200", 0, nullptr, &r);
  FUZZ_REQUIRE(rc == ZUL_O_K || rc == NIEINVAL || rc == NIETOO_SMALL);
  if (rc == ZUL_O_K) ReadAll(r, true);
  for (int len : {32, 48, 200}) {
    std::vector<ZUL_UTF16> buf(static_cast<size_t>(len), 0);
    size_t n = std::min(text.size(), buf.size() - 1);
    std::memcpy(buf.data(), text.data(), n * sizeof(ZUL_UTF16));
    rc = NiModifyRoute(buf.data(), len, u"new", u"2");
    FUZZ_REQUIRE(rc == ZUL_O_K || rc == NIEINVAL || rc == NIETOO_SMALL);
    FUZZ_REQUIRE(strlenU16(buf.data()) < buf.size());
  }
  NI_ROUTE_TABLE rows[3];
  int count = -1;
  rc = NiRouteToTable(&count, text.c_str(), rows, 3);
  FUZZ_REQUIRE(rc == ZUL_O_K || rc == NIEINVAL);
  if (rc == ZUL_O_K) FUZZ_REQUIRE(count >= 1);
  std::vector<ZUL_UTF16> sec(text.size() + 8);
  FUZZ_REQUIRE(NiSecStr2(text.c_str(), sec.data(), static_cast<int>(sec.size())) == ZUL_O_K);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static bool once = [] {
    ct_level = 0;  // the refusals' trace lines would only slow the fuzzer down
    return NiInit3(16) == ZUL_O_K;
  }();
  (void)once;
  if (size == 0) return 0;
  if ((data[0] & 1) == 0) {
    std::u16string text = fuzzsupport::Units(data + 1, size - 1);
    if (text.find(u'\0') != std::u16string::npos) text.resize(text.find(u'\0'));
    CheckString(text);
    return 0;
  }
  static ni_iroute r;
  std::memset(&r, 0, sizeof r);
  std::memcpy(r.data, data + 1, std::min(size - 1, sizeof r.data));
  ReadAll(r, false);
  return 0;
}
