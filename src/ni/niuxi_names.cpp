// The operating system side of the name look-ups: getaddrinfo and getnameinfo for hosts and
// services. Names cross to the system as UTF-8. Every call of the two functions is counted.
#define DPTRC_MODULE u"niuxi"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstring>

#include "ni/nixxhs.h"
#include "ni/nixxi.h"
#include "zul_dptrace.h"
#include "zul_u16conv.h"

using namespace ni;

namespace ni {
bool gNumericHostsOnly = false;
std::atomic<uint64_t> gSysLookups{0};
}  // namespace ni

namespace {

void FromSockaddr(const sockaddr *sa, NI_NODEADDR *out) {
  if (sa->sa_family == AF_INET) {
    *out = NI_ADDR_ANY_I4_INIT;
    std::memcpy(out->addr + 12, &reinterpret_cast<const sockaddr_in *>(sa)->sin_addr, 4);
  } else {
    std::memcpy(out->addr, &reinterpret_cast<const sockaddr_in6 *>(sa)->sin6_addr, 16);
  }
}

bool AllDigits(const char *s) {
  if (*s == '\0') return false;
  for (; *s != '\0'; ++s)
    if (*s < '0' || *s > '9') return false;
  return true;
}

}  // namespace

bool NiIToUtf8(const ZUL_UTF16 *in, char *out, size_t size) noexcept {
  if (size == 0) return false;
  const ZUL_UTF16 *s = in;
  const ZUL_UTF16 *end = in;
  while (*end != 0) ++end;
  auto *d = reinterpret_cast<ZUL_RAW *>(out);
  auto *dEnd = d + size - 1;
  int rc = U2nToUtf8n(&s, end, &d, dEnd);
  *d = 0;
  return rc == 0 && s == end;
}

void NiIFromUtf8(const char *in, ZUL_UTF16 *out, size_t size) noexcept {
  if (size == 0) return;
  const auto *s = reinterpret_cast<const ZUL_RAW *>(in);
  ZUL_UTF16 *d = out;
  Utf8nToUtf16nSubstAll(&s, s + std::strlen(in), &d, out + size - 1);
  *d = 0;
}

int NiPGetHostByName(const char *pName, int ipv4Only, int numericOnly, NI_NODEADDR *pAddrs,
                     int *pCount, char *pCanonName, size_t canonLen, FILE **) noexcept {
  addrinfo hints{};
  hints.ai_family = ipv4Only ? AF_INET : AF_UNSPEC;
  hints.ai_socktype = SOCK_RAW;  // every address once
  hints.ai_flags = (numericOnly || gNumericHostsOnly ? AI_NUMERICHOST : 0) |
                   (pCanonName != nullptr ? AI_CANONNAME : 0);
  addrinfo *res = nullptr;
  ++gSysLookups;
  int gai = getaddrinfo(pName, nullptr, &hints, &res);
  if (gai != 0)
    return Refuse(kModOs, __LINE__, gai == EAI_NONAME ? NIEHOST_UNKNOWN : NIEINTERN, 2,
                  "%s: '%s' not found", "NiPGetHostByName", pName);
  int n = 0, room = *pCount;
  for (addrinfo *r = res; r != nullptr; r = r->ai_next) {
    if (r->ai_family != AF_INET && r->ai_family != AF_INET6) continue;
    if (n < room) FromSockaddr(r->ai_addr, &pAddrs[n]);
    ++n;
  }
  if (pCanonName != nullptr && canonLen > 0)
    std::snprintf(pCanonName, canonLen, "%s",
                  res->ai_canonname != nullptr ? res->ai_canonname : pName);
  freeaddrinfo(res);
  *pCount = n;
  if (n == 0)
    return Refuse(kModOs, __LINE__, NIEHOST_UNKNOWN, 2, "%s: '%s' not found", "NiPGetHostByName",
                  pName);
  return n > room ? NIETOO_SMALL : ZUL_O_K;
}

int NiPGetHostByAddr(const NI_NODEADDR *pAddr, int numeric, char *pName, size_t len,
                     FILE **) noexcept {
  sockaddr_in6 sa6{};
  sockaddr_in sa4{};
  sockaddr *sa;
  socklen_t saLen;
  // A mapped address is asked as IPv4, where the system's tables hold it.
  if (IsMapped(*pAddr)) {
    sa4.sin_family = AF_INET;
    std::memcpy(&sa4.sin_addr, pAddr->addr + 12, 4);
    sa = reinterpret_cast<sockaddr *>(&sa4);
    saLen = sizeof sa4;
  } else {
    sa6.sin6_family = AF_INET6;
    std::memcpy(&sa6.sin6_addr, pAddr->addr, 16);
    sa = reinterpret_cast<sockaddr *>(&sa6);
    saLen = sizeof sa6;
  }
  ++gSysLookups;
  int rc = getnameinfo(sa, saLen, pName, static_cast<socklen_t>(len), nullptr, 0,
                       numeric ? NI_NUMERICHOST : NI_NAMEREQD);
  if (rc == 0) return ZUL_O_K;
  return rc == EAI_NONAME || rc == EAI_AGAIN ? NIEHOST_UNKNOWN : NIEINTERN;
}

int NiPGetServByName(const char *pServName, uint16_t *pServNo, FILE **) noexcept {
  addrinfo hints{};
  hints.ai_flags = AI_PASSIVE;
  addrinfo *res = nullptr;
  ++gSysLookups;
  if (getaddrinfo(nullptr, pServName, &hints, &res) != 0)
    return Refuse(kModOs, __LINE__, NIESERV_UNKNOWN, 2, "%s: '%s' not found", "NiPGetServByName",
                  pServName);
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

int NiPGetServByPort(uint16_t servNo, char *pServName, size_t len, FILE **) noexcept {
  sockaddr_in sa{};
  sa.sin_family = AF_INET;
  sa.sin_port = servNo;
  ++gSysLookups;
  int rc = getnameinfo(reinterpret_cast<sockaddr *>(&sa), sizeof sa, nullptr, 0, pServName,
                       static_cast<socklen_t>(len), 0);
  // Without a name the system answers the number, which is no name.
  if (rc != 0 || AllDigits(pServName)) return NIESERV_UNKNOWN;
  return ZUL_O_K;
}
