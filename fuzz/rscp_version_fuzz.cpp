// Source id strings to the version and path readers.
//
// Rules: the version is -1 or a non-negative number that the text carries behind a '#'; the path
// fits the buffer, is terminated, and stands in the text as it is.
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz_support.h"
#include "zul_rscp.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  std::string id(reinterpret_cast<const char *>(data), size);
  int version = rscpvfp__version_from_perforce(id.c_str());
  FUZZ_REQUIRE(version >= -1);
  if (version >= 0) FUZZ_REQUIRE(std::strchr(id.c_str(), '#') != nullptr);
  for (size_t room : {size_t{1}, size_t{5}, size_t{64}}) {
    char buffer[64];
    std::memset(buffer, 'Z', sizeof buffer);
    const char *path = rscpwfp__what_from_perforce(id.c_str(), buffer, room);
    if (path == nullptr) continue;
    FUZZ_REQUIRE(path == buffer);
    size_t n = std::strlen(buffer);
    FUZZ_REQUIRE(n < room);
    FUZZ_REQUIRE(std::strstr(id.c_str(), std::string(buffer, n).c_str()) != nullptr);
  }
  return 0;
}
