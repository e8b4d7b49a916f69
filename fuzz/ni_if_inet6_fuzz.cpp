// Lines of /proc/net/if_inet6 through the line reader of the interface list.
//
// Rules: a line is taken only with all nine fields; the name it gives has 1 to 20 bytes and no
// white space; and the line written back in the file's own format reads as the same address and
// name.
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "fuzz_support.h"
#include "ni/nixxhs.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  std::string line(reinterpret_cast<const char *>(data), size);
  line.resize(std::strlen(line.c_str()));
  NI_NODEADDR addr;
  char name[21];
  if (NiIParseIfInet6Line(line.c_str(), &addr, name, sizeof name) == 0) return 0;
  size_t len = std::strlen(name);
  FUZZ_REQUIRE(len >= 1 && len <= 20);
  for (size_t i = 0; i < len; ++i) FUZZ_REQUIRE(!std::isspace(static_cast<unsigned char>(name[i])));
  unsigned w[4] = {};
  for (int i = 0; i < 16; ++i) w[i / 4] = w[i / 4] << 8 | addr.addr[i];
  char again[128];
  std::snprintf(again, sizeof again, "%08x%08x%08x%08x %02x %02x %02x %02x %20s\n", w[0], w[1],
                w[2], w[3], 1u, 128u, 16u, 128u, name);
  NI_NODEADDR addr2;
  char name2[21];
  FUZZ_REQUIRE(NiIParseIfInet6Line(again, &addr2, name2, sizeof name2) == 1);
  FUZZ_REQUIRE(std::memcmp(&addr, &addr2, sizeof addr) == 0);
  FUZZ_REQUIRE(std::strcmp(name, name2) == 0);
  return 0;
}
