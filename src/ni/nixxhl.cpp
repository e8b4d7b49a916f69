// Host and service look-ups through the operating system, uncached; names cross as UTF-8 and
// only ASCII is passed on here.
#define DPTRC_MODULE u"nixxhl"

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstring>

#include "ni/nixxi.h"
#include "zul_dptrace.h"
#include "zul_u16string.h"

using namespace ni;

namespace ni {
bool gNumericHostsOnly = false;
}

namespace {

// ASCII copy of a 16-bit name; false when it holds anything else or doesn't fit.
bool Narrow(const ZUL_UTF16 *in, char *out, size_t size) {
  size_t n = 0;
  for (; in[n] != 0; ++n) {
    if (n + 1 >= size || in[n] >= 0x80) return false;
    out[n] = static_cast<char>(in[n]);
  }
  out[n] = '\0';
  return true;
}

void FromSockaddr(const sockaddr *sa, NI_NODEADDR *out) {
  if (sa->sa_family == AF_INET) {
    *out = NI_ADDR_ANY_I4_INIT;
    std::memcpy(out->addr + 12, &reinterpret_cast<const sockaddr_in *>(sa)->sin_addr, 4);
  } else {
    std::memcpy(out->addr, &reinterpret_cast<const sockaddr_in6 *>(sa)->sin6_addr, 16);
  }
}

}  // namespace

int NiPGetHostByName(const char *pName, int ipv4Only, int numericOnly, NI_NODEADDR *pAddrs,
                     int *pCount) noexcept {
  addrinfo hints{};
  hints.ai_family = ipv4Only ? AF_INET : AF_UNSPEC;
  hints.ai_socktype = SOCK_RAW;  // every address once
  hints.ai_flags = numericOnly ? AI_NUMERICHOST : 0;
  addrinfo *res = nullptr;
  int gai = getaddrinfo(pName, nullptr, &hints, &res);
  if (gai != 0) {
    DPTRC_A7(2, tf, "%s: '%s' not found\n", "NiPGetHostByName", pName);
    return gai == EAI_NONAME ? NIEHOST_UNKNOWN : NIEINTERN;
  }
  int n = 0, room = *pCount;
  for (addrinfo *r = res; r != nullptr; r = r->ai_next) {
    if (r->ai_family != AF_INET && r->ai_family != AF_INET6) continue;
    if (n < room) FromSockaddr(r->ai_addr, &pAddrs[n]);
    ++n;
  }
  freeaddrinfo(res);
  *pCount = n;
  if (n == 0) return NIEHOST_UNKNOWN;
  return n > room ? NIETOO_SMALL : ZUL_O_K;
}

int NiPGetHostByAddr(const NI_NODEADDR *pAddr, int numeric, char *pName, size_t len) noexcept {
  sockaddr_in6 sa{};
  sa.sin6_family = AF_INET6;
  std::memcpy(&sa.sin6_addr, pAddr->addr, 16);
  int rc =
      getnameinfo(reinterpret_cast<sockaddr *>(&sa), sizeof sa, pName, static_cast<socklen_t>(len),
                  nullptr, 0, numeric ? NI_NUMERICHOST : NI_NAMEREQD);
  return rc == 0 ? ZUL_O_K : NIEHOST_UNKNOWN;
}

int NiIGetNodeAddr(const ZUL_UTF16 *pHostName, NI_NODEADDR *pNodeAddr) noexcept {
  char name[NI_MAX_HOSTNAME_LEN];
  if (!Narrow(pHostName, name, sizeof name)) return NIEHOST_UNKNOWN;
  NI_NODEADDR addrs[48];
  int count = 48;
  int rc = NiPGetHostByName(name, 0, gNumericHostsOnly ? 1 : 0, addrs,
                            &count);     // the system's order decides
  if (rc == NIETOO_SMALL) rc = ZUL_O_K;  // the first ones will do
  if (rc == ZUL_O_K) *pNodeAddr = addrs[0];
  return rc;
}

int NiIGetServNo(const ZUL_UTF16 *pServName, uint16_t *pServNo) noexcept {
  char name[NI_MAX_SERVNAME_LEN];
  if (!Narrow(pServName, name, sizeof name) || name[0] == '\0') return NIESERV_UNKNOWN;
  bool digits = true;
  long v = 0;
  for (const char *c = name; *c != '\0'; ++c) {
    digits = digits && *c >= '0' && *c <= '9';
    if (digits && v <= 65535) v = v * 10 + (*c - '0');
  }
  if (digits) {
    if (v > 65535) return NIESERV_UNKNOWN;
    *pServNo = htons(static_cast<uint16_t>(v));
    return ZUL_O_K;
  }
  addrinfo hints{};
  hints.ai_flags = AI_PASSIVE;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo *res = nullptr;
  if (getaddrinfo(nullptr, name, &hints, &res) != 0) return NIESERV_UNKNOWN;
  int rc = NIESERV_UNKNOWN;
  if (res->ai_family == AF_INET) {
    *pServNo = reinterpret_cast<sockaddr_in *>(res->ai_addr)->sin_port;
    rc = ZUL_O_K;
  } else if (res->ai_family == AF_INET6) {
    *pServNo = reinterpret_cast<sockaddr_in6 *>(res->ai_addr)->sin6_port;
    rc = ZUL_O_K;
  }
  freeaddrinfo(res);
  return rc;
}

int NiHostToAddr(const ZUL_UTF16 *pHostName, NI_NODEADDR *pNodeAddr) noexcept {
  if (pHostName == nullptr || pNodeAddr == nullptr)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pHostName == NULL || pNodeAddr == NULL)", "NiHostToAddr");
  if (gUseCount <= 0 && NiInit() != ZUL_O_K) return NIEINTERN;
  NI_NODEADDR mask;
  int hasMask = 0;
  // Numeric texts need no look-up.
  if (NiStrToAddrMask(pHostName, pNodeAddr, &mask, &hasMask) == ZUL_O_K && hasMask == 0)
    return ZUL_O_K;
  return NiIGetNodeAddr(pHostName, pNodeAddr);
}
