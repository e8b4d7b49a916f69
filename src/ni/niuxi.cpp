// The operating system side of the network interface: the environment read at start, the
// decision for IPv6 and the lists of the machine's interface addresses and hardware addresses.
#define DPTRC_MODULE u"niuxi"

#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "ni/nixxhs.h"
#include "ni/nixxi.h"
#include "zul_dptrace.h"

using namespace ni;

namespace ni {
uint8_t gConnectLocal = 0;
}

namespace {

constexpr int kMaxLocalAddrs = 200;

// Stores one address if there is room; counts it always.
void Add(const NI_NODEADDR &a, uint8_t up, NI_NODEADDR *addrs, uint8_t *upFlags, int max,
         int *count) {
  if (*count < max) {
    addrs[*count] = a;
    if (upFlags != nullptr) upFlags[*count] = up;
  }
  ++*count;
}

// 1 when the interface of that name is up; -1 when it can't be asked.
int InterfaceUp(int sock, const char *name) {
  ifreq req{};
  std::snprintf(req.ifr_name, sizeof req.ifr_name, "%s", name);
  if (ioctl(sock, SIOCGIFFLAGS, &req) != 0) return -1;
  return (req.ifr_flags & IFF_UP) != 0 ? 1 : 0;
}

// The interface list, with a buffer grown from first in steps of step bytes until two answers
// have the same length: then nothing was cut off. Empty when the system refuses.
std::vector<ifreq> InterfaceList(int sock, size_t first, size_t step) {
  std::vector<char> buf;
  int last = -1;
  for (size_t size = first; size < (1u << 24); size += step) {
    buf.assign(size, 0);
    ifconf conf{};
    conf.ifc_len = static_cast<int>(size);
    conf.ifc_buf = buf.data();
    if (ioctl(sock, SIOCGIFCONF, &conf) != 0) return {};
    if (conf.ifc_len == last) break;
    last = conf.ifc_len;
  }
  std::vector<ifreq> list(static_cast<size_t>(last > 0 ? last : 0) / sizeof(ifreq));
  if (!list.empty()) std::memcpy(list.data(), buf.data(), list.size() * sizeof(ifreq));
  return list;
}

void ReadIPv4(int sock, NI_NODEADDR *addrs, uint8_t *upFlags, int max, int *count) {
  for (ifreq &req : InterfaceList(sock, 4000, 400)) {
    if (req.ifr_addr.sa_family != AF_INET) continue;
    int up = InterfaceUp(sock, req.ifr_name);
    if (up == 0 && upFlags == nullptr) continue;
    NI_NODEADDR a = NI_ADDR_ANY_I4_INIT;
    std::memcpy(a.addr + 12, &reinterpret_cast<sockaddr_in *>(&req.ifr_addr)->sin_addr, 4);
    Add(a, static_cast<uint8_t>(up == 1), addrs, upFlags, max, count);
  }
}

void ReadIPv6(int sock, NI_NODEADDR *addrs, uint8_t *upFlags, int max, int withLinkLocal,
              int *count) {
  FILE *f = std::fopen("/proc/net/if_inet6", "r");
  if (f == nullptr) return;
  char line[256];
  char name[21];
  NI_NODEADDR a;
  while (std::fgets(line, sizeof line, f) != nullptr) {
    if (NiIParseIfInet6Line(line, &a, name, sizeof name) == 0) continue;
    if (!withLinkLocal && a.addr[0] == 0xfe && a.addr[1] == 0x80) continue;
    int up = InterfaceUp(sock, name);
    if (up == 0 && upFlags == nullptr) continue;
    Add(a, static_cast<uint8_t>(up == 1), addrs, upFlags, max, count);
  }
  std::fclose(f);
}

}  // namespace

int NiIParseIfInet6Line(const char *pLine, NI_NODEADDR *pAddr, char *pName,
                        size_t nameLen) noexcept {
  unsigned w[4], idx, plen, scope, flags;
  char name[21];
  if (std::sscanf(pLine, "%08x%08x%08x%08x %02x %02x %02x %02x %20s\n", &w[0], &w[1], &w[2], &w[3],
                  &idx, &plen, &scope, &flags, name) != 9)
    return 0;
  for (int i = 0; i < 16; ++i)
    pAddr->addr[i] = static_cast<uint8_t>(w[i / 4] >> (24 - 8 * (i % 4)));
  std::snprintf(pName, nameLen, "%s", name);
  return 1;
}

int NiPGetMacAddrList(uint8_t *pMacs, int max, int *pCount) noexcept {
  *pCount = 0;
  int sock = socket(AF_INET, SOCK_DGRAM, 0);
  if (sock < 0)
    return Refuse(kModOs, __LINE__, NIEINTERN, 1, "%s: socket failed (errno=%d)",
                  "NiPGetMacAddrList", errno);
  static const uint8_t kZero[NI_MAC_ADDR_LEN] = {};
  for (ifreq &req : InterfaceList(sock, 400, 400)) {
    if (ioctl(sock, SIOCGIFHWADDR, &req) != 0) continue;
    const auto *hw = reinterpret_cast<const uint8_t *>(req.ifr_hwaddr.sa_data);
    if (std::memcmp(hw, kZero, NI_MAC_ADDR_LEN) == 0) continue;  // loopback and the like
    if (*pCount < max) std::memcpy(pMacs + *pCount * NI_MAC_ADDR_LEN, hw, NI_MAC_ADDR_LEN);
    ++*pCount;
  }
  close(sock);
  return ZUL_O_K;
}

// Part of the host look-ups: the machine's addresses, IPv6 ones only with IPv6 active.
int NiPGetNodeAddrList(NI_NODEADDR *pAddrs, uint8_t *pUpFlags, int max, int withLinkLocal,
                       int *pCount) noexcept {
  *pCount = 0;
  int sock = socket(AF_INET, SOCK_DGRAM, 0);
  if (sock < 0)
    return Refuse(kModOs, __LINE__, NIEINTERN, 1, "%s: socket failed (errno=%d)",
                  "NiPGetNodeAddrList", errno);
  ReadIPv4(sock, pAddrs, pUpFlags, max, pCount);
  if (NiIsIPv6Activated()) ReadIPv6(sock, pAddrs, pUpFlags, max, withLinkLocal, pCount);
  close(sock);
  return ZUL_O_K;
}

bool ni::IPv6Usable(const NI_NODEADDR *addrs, const uint8_t *up, int count) noexcept {
  bool real = false, loopback = false;
  for (int i = 0; i < count; ++i) {
    if (up[i] == 0 || IsMapped(addrs[i])) continue;
    if (SameAddr(addrs[i], NI_ADDR_LOCAL_I6_INIT))
      loopback = true;
    else
      real = true;
  }
  if (!real)
    DPTRC_A7(1, tf, "%s: no IPv6 address configured, IPv6 will not be initialized\n", "NiIInit");
  else if (!loopback)
    DPTRC_A7(1, tf,
             "%s: no IPv6 localhost address '::1' configured, IPv6 will not be initialized\n",
             "NiIInit");
  return real && loopback;
}

void ni::ISetIPProtoUsage() noexcept {
  const char *fn = "NiISetIPProtoUsage";
  const char *restriction = std::getenv("ZUL_CONNECT_RESTRICTION");
  if (restriction != nullptr) {
    if (std::strcmp(restriction, "LOCAL") == 0)
      gConnectLocal = 1;
    else
      DPTRC_A7(1, tf, "%s: invalid value '%s' for ZUL_CONNECT_RESTRICTION\n", fn, restriction);
  }
  if (gUseIpProto != 0) return;  // decided once
  const char *active = std::getenv("ZUL_IPv6_ACTIVE");
  bool want = false;
  if (active != nullptr) {
    if (std::strcmp(active, "1") == 0)
      want = true;
    else if (std::strcmp(active, "0") != 0)
      DPTRC_A7(1, tf, "%s: invalid value '%s' for ZUL_IPv6_ACTIVE [0,1]\n", fn, active);
  } else {
    want = std::getenv("NI_USEIPv6") != nullptr;
  }
  gUseIpProto = want ? NI_PROTO_FAM_IPv4 | NI_PROTO_FAM_IPv6 : NI_PROTO_FAM_IPv4;
  if (!want) return;
  NI_NODEADDR addrs[kMaxLocalAddrs];
  uint8_t up[kMaxLocalAddrs];
  int count = 0;
  NiPGetNodeAddrList(addrs, up, kMaxLocalAddrs, 1, &count);
  if (count > kMaxLocalAddrs) {
    DPTRC_A7(1, tf, "%s: found more than %d (%d) local address\n", "NiIInit", kMaxLocalAddrs,
             count);
    count = kMaxLocalAddrs;
  }
  if (IPv6Usable(addrs, up, count)) {
    NI_ADDR_ANY_INIT = NI_ADDR_ANY_I6_INIT;
    NI_ADDR_LOCAL_INIT = NI_ADDR_LOCAL_I6_INIT;
  } else {
    gUseIpProto = NI_PROTO_FAM_IPv4;
  }
}
