// Source id strings: the version number and the path they carry.
#include <cstring>

#include "zul_rscp.h"

namespace {

// The text behind the "@(#)" or "$Id:" marker, or null when there is none.
const char *AfterMarker(const char *id) {
  if (id == nullptr) return nullptr;
  if (std::strncmp(id, "@(#)", 4) == 0) return id + 4;
  if (std::strncmp(id, "$Id:", 4) == 0) return id + 4;
  return nullptr;
}

}  // namespace

int rscpvfp__version_from_perforce(const char *id) noexcept {
  const char *p = AfterMarker(id);
  if (p == nullptr) return -1;
  const char *hash = std::strchr(p, '#');
  if (hash == nullptr || hash[1] < '0' || hash[1] > '9') return -1;
  long version = 0;
  for (p = hash + 1; *p >= '0' && *p <= '9'; ++p) {
    version = version * 10 + (*p - '0');
    if (version > 0x7fffffff) return -1;
  }
  return static_cast<int>(version);
}

char *rscpwfp__what_from_perforce(const char *id, char *buffer, size_t size) noexcept {
  const char *p = AfterMarker(id);
  if (p == nullptr || buffer == nullptr || size == 0) return nullptr;
  // A "$Id:" text may carry a second "$Id:" behind "@(#)"; the path follows the last marker.
  if (const char *inner = std::strstr(p, "$Id:"); inner != nullptr) p = inner + 4;
  while (*p == ' ' || *p == '\t') ++p;
  const char *end = p;
  while (*end != 0 && *end != '#' && *end != '$') ++end;
  while (end > p && (end[-1] == ' ' || end[-1] == '\t')) --end;
  size_t n = static_cast<size_t>(end - p);
  if (n > size - 1) n = size - 1;
  std::memcpy(buffer, p, n);
  buffer[n] = 0;
  return buffer;
}
