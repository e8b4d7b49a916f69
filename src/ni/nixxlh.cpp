// The local host: the machine's name, stored once at start, and the test whether an address is
// one of this machine's, which asks the system by binding instead of keeping a table.
#define DPTRC_MODULE u"nixxlh"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <mutex>

#include "ni/nixxhs.h"
#include "ni/nixxi.h"
#include "zul_dptrace.h"
#include "zul_u16string.h"

using namespace ni;

namespace {

std::mutex gLocalNameLock;
ZUL_UTF16 gLocalName[NI_MAX_HOSTNAME_LEN];  // empty until NiILHInit

}  // namespace

int NiILHInit() noexcept {
  std::lock_guard<std::mutex> lock(gLocalNameLock);
  if (gLocalName[0] != 0) {
    DPTRC_A7(2, tf, "%s: local host name already stored\n", "NiILHInit");
    return NIECALL;
  }
  char name[NI_MAX_HOSTNAME_LEN * 3] = {};
  if (gethostname(name, NI_MAX_HOSTNAME_LEN) != 0)
    return Refuse(kModHs, __LINE__, NIEINTERN, 1, "%s: gethostname failed (errno=%d)", "NiILHInit",
                  errno);
  name[NI_MAX_HOSTNAME_LEN - 1] = '\0';
  NiIFromUtf8(name, gLocalName, NI_MAX_HOSTNAME_LEN);
  return ZUL_O_K;
}

void NiILHRelease() noexcept {
  std::lock_guard<std::mutex> lock(gLocalNameLock);
  gLocalName[0] = 0;
}

int NiIGetLocalName(ZUL_UTF16 *pBuffer, int bufferLen) noexcept {
  std::unique_lock<std::mutex> lock(gLocalNameLock);
  if (gLocalName[0] == 0) {
    lock.unlock();
    NiILHInit();
    lock.lock();
  }
  int len = static_cast<int>(strlenU16(gLocalName));
  if (bufferLen <= len)
    return Refuse(kModHs, __LINE__, NIETOO_SMALL, 1, "%s: buffer too small (%d<=%d)",
                  "NiIGetLocalName", bufferLen, len);
  strcpyU16(pBuffer, gLocalName);
  return ZUL_O_K;
}

int NiILocalCheck(const NI_NODEADDR *pNodeAddr, FILE **) noexcept {
  const NI_NODEADDR &a = *pNodeAddr;
  if (IsLoopback(a)) return 1;
  if (IsAnyAddr(a)) return 0;
  // A datagram socket binds only to an address of this machine; port 0 takes no port from anyone.
  sockaddr_in sa4{};
  sockaddr_in6 sa6{};
  sockaddr *sa;
  socklen_t len;
  int family;
  if (IsMapped(a)) {
    family = AF_INET;
    sa4.sin_family = AF_INET;
    std::memcpy(&sa4.sin_addr, a.addr + 12, 4);
    sa = reinterpret_cast<sockaddr *>(&sa4);
    len = sizeof sa4;
  } else {
    family = AF_INET6;
    sa6.sin6_family = AF_INET6;
    std::memcpy(&sa6.sin6_addr, a.addr, 16);
    sa = reinterpret_cast<sockaddr *>(&sa6);
    len = sizeof sa6;
  }
  int sock = socket(family, SOCK_DGRAM, 0);
  if (sock < 0) return 0;
  int local = bind(sock, sa, len) == 0 ? 1 : 0;
  close(sock);
  return local;
}
