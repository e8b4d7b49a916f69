// Between handles and their sockets: the mapping both ways and the half-close.
#define DPTRC_MODULE u"nixx"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include "ni/nixxi.h"
#include "ni/nixxi_con.h"
#include "zul_dptrace.h"

using namespace ni;

namespace {

// The number of the socket a handle stands for; with completeConnect a pending connect is
// completed first, as its socket is only worth having once the connection stands.
int SocketNo(int hdl, int *pSocketNo, const char *fn, bool completeConnect) {
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (pSocketNo == nullptr)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pSocketNo == NULL)",
                  fn);
  if (completeConnect && p->mType == NI_CONN_WAIT) NiICheckPendConnection(p, -1, 1);
  *pSocketNo = MainSock(p)->socket;
  return ZUL_O_K;
}

}  // namespace

int NiHdlToSock(int hdl, int *pSocketNo) noexcept {
  return SocketNo(hdl, pSocketNo, "NiHdlToSock", true);
}

int NiGetRawSocket(int hdl, int *pSocketNo) noexcept {
  return SocketNo(hdl, pSocketNo, "NiGetRawSocket", false);
}

int NiSockToHdl(int socketNo, int *pHandle) noexcept {
  if (pHandle == nullptr)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pHandle == NULL)",
                  "NiSockToHdl");
  for (int i = 0; gTab != nullptr && i < gMaxHdls; ++i) {
    const NITAB &e = gTab[i];
    if (e.mType < 16 || e.mType == NI_RI_LISTEN) continue;
    bool match = (e.mType & 15) == 1
                     ? e.lis.mIPSocket.socket == socketNo || e.lis.mUDSocket.socket == socketNo
                     : e.con.mSocket.socket == socketNo;
    if (match) {
      *pHandle = e.handle;
      return ZUL_O_K;
    }
  }
  DPTRC_A7(2, tf, "%s: sock %d not found\n", "NiSockToHdl", socketNo);
  return NIEINVAL;
}

int NiGetSiSocket(int hdl, SI_SOCK *pSocket) noexcept {
  const char *fn = "NiGetSiSocket";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (p->mType == NI_CONN_WAIT)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pHdl->mType == NI_CONN_WAIT)", fn);
  if (int rc = RefuseListener(p, fn); rc != ZUL_O_K) return rc;
  if (p->con.mSocket.socket == NI_INVALID_SOCK)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pHdl->con.mSocket.socket == NI_INVALID_SOCK)", fn);
  if (pSocket == nullptr)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pSocket == NULL)", fn);
  *pSocket = p->con.mSocket;
  return ZUL_O_K;
}

int NiShutdownHandle(int hdl, int howto) noexcept {
  const char *fn = "NiShutdownHandle";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (p->mType == NI_LISTEN || p->mType == NI_RI_LISTEN)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pHdl->mType == NI_LISTEN || NI_RI_LISTEN)", fn);
  if (howto < NI_SHUT_RD || howto > NI_SHUT_RDWR)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (howto > 2)", fn);
  return NiIShutdownHandle(p, howto);
}

int NiIShutdownHandle(NITAB *pHdl, int howTo) noexcept {
  const int how[] = {SI_SHUT_RD, SI_SHUT_WR, SI_SHUT_RDWR};
  SI_SOCK *s = &pHdl->con.mSocket;
  int sirc;
  do sirc = SiShutdown(s, how[howTo]);
  while (sirc == SI_EINTR);
  if (sirc == SI_OK) return ZUL_O_K;
  if (sirc == SI_EINVAL) {
    // The socket is gone already: nothing left to shut.
    DPTRC_A7(2, tf, "%s: hdl %d not connected anymore (socket %d; howTo=%d; sirc=%d; errno=%u)\n",
             "NiIShutdownHandle", pHdl->handle, s->socket, howTo, sirc, s->lastError);
    return ZUL_O_K;
  }
  return NiISystemError(sirc, kSiShutdown, pHdl, s, static_cast<int>(s->lastError), nullptr,
                        nullptr, nullptr, "NiIShutdownHandle", kModInternal, __LINE__, 1);
}

int NiGetHdlProto(int hdl) noexcept {
  NITAB *p = CheckHdl(hdl, "NiGetHdlProto");
  return p != nullptr ? IGetHdlProto(p) : NIEINVAL;
}

int ni::IGetHdlProto(const NITAB *p) noexcept {
  // An IPv6 address says by its form which protocols it serves.
  auto v6Mask = [](const uint8_t *a) -> int {
    if (std::memcmp(a, NI_ADDR_ANY_I6_INIT.addr, 16) == 0)
      return NI_PROTO_FAM_IPv4 | NI_PROTO_FAM_IPv6;
    if (std::memcmp(a, NI_ADDR_ANY_I4_INIT.addr, 12) == 0) return NI_PROTO_FAM_IPv4;
    return NI_PROTO_FAM_IPv6;
  };
  if (p->mType == NI_RI_LISTEN) return v6Mask(p->con.mPeerAddr.addr);
  if ((p->mType & 15) == 1) {
    int mask = p->lis.mUDSocket.socket != NI_INVALID_SOCK ? NI_PROTO_FAM_LOCAL : 0;
    const SI_SOCK &ip = p->lis.mIPSocket;
    if (ip.socket == NI_INVALID_SOCK) return mask;
    if (ip.family == SI_AF_INET) return mask | NI_PROTO_FAM_IPv4;
    sockaddr_in6 bound{};
    socklen_t len = sizeof bound;
    if (getsockname(ip.socket, reinterpret_cast<sockaddr *>(&bound), &len) != 0) return mask;
    return mask | v6Mask(bound.sin6_addr.s6_addr);
  }
  const SI_SOCK &s = p->con.mSocket;
  if (s.family == SI_AF_UNIX) return NI_PROTO_FAM_LOCAL;
  if (s.family == SI_AF_INET) return NI_PROTO_FAM_IPv4;
  return IsMapped(p->con.mPeerAddr) ? NI_PROTO_FAM_IPv4 : NI_PROTO_FAM_IPv6;
}

int ni::IQueryEnd(SI_SOCK *sock, bool peer, NI_NODEADDR *pAddr, uint16_t *pServNo,
                  char *pPath) noexcept {
  ZUL_RAW raw[109] = {};
  uint16_t port = 0;
  int size = sock->family == SI_AF_INET ? 4 : sock->family == SI_AF_INET6 ? 16 : 108;
  int sirc = peer ? SiGetPeerName(sock, raw, size, sock->family == SI_AF_UNIX ? nullptr : &port)
                  : SiGetSockName(sock, raw, size, sock->family == SI_AF_UNIX ? nullptr : &port);
  if (sirc != SI_OK) return sirc;
  pPath[0] = '\0';
  if (sock->family == SI_AF_INET) {
    *pAddr = NI_ADDR_ANY_I4_INIT;
    std::memcpy(pAddr->addr + 12, raw, 4);
  } else if (sock->family == SI_AF_INET6) {
    std::memcpy(pAddr->addr, raw, 16);
  } else {
    *pAddr = NI_ADDR_LOCAL_INIT;
    std::memcpy(pPath, raw, 108);
    pPath[108] = '\0';
  }
  *pServNo = ntohs(port);
  return SI_OK;
}

namespace {

// One end of a handle's socket into the caller's outputs; each may be null.
int GetEnd(NITAB *p, SI_SOCK *sock, bool peer, NI_NODEADDR *pAddr, uint16_t *pServNo,
           ZUL_UTF16 *pUDSPath, const char *fn) {
  if (sock->socket == NI_INVALID_SOCK)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (sock->socket == NI_INVALID_SOCK)", fn);
  NI_NODEADDR addr;
  uint16_t port;
  char path[109];
  int sirc = IQueryEnd(sock, peer, &addr, &port, path);
  if (sirc != SI_OK)
    return NiISystemError(sirc, peer ? kSiGetPeerName : kSiGetSockName, p, sock,
                          static_cast<int>(sock->lastError), nullptr, nullptr, nullptr, fn,
                          kModPublic, __LINE__, 1);
  if (pAddr != nullptr) *pAddr = addr;
  if (pServNo != nullptr) *pServNo = port;
  if (pUDSPath != nullptr) {
    size_t n = 0;
    for (; path[n] != '\0' && n + 1 < NI_UDS_PATH_LEN; ++n)
      pUDSPath[n] = static_cast<unsigned char>(path[n]);
    pUDSPath[n] = 0;
  }
  return ZUL_O_K;
}

}  // namespace

int NiHdlGetName(int hdl, NI_NODEADDR *pAddr, uint16_t *pServNo, ZUL_UTF16 *pUDSPath) noexcept {
  const char *fn = "NiHdlGetName";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if ((p->mType & 15) != 1) return GetEnd(p, &p->con.mSocket, false, pAddr, pServNo, pUDSPath, fn);
  // A listener: the address from its IP socket, the path from its local one.
  bool ip = p->lis.mIPSocket.socket != NI_INVALID_SOCK;
  bool local = p->lis.mUDSocket.socket != NI_INVALID_SOCK;
  int rc = GetEnd(p, ip ? &p->lis.mIPSocket : &p->lis.mUDSocket, false, pAddr, pServNo,
                  ip ? nullptr : pUDSPath, fn);
  if (rc == ZUL_O_K && ip && pUDSPath != nullptr) {
    pUDSPath[0] = 0;
    if (local) rc = GetEnd(p, &p->lis.mUDSocket, false, nullptr, nullptr, pUDSPath, fn);
  }
  return rc;
}

int NiHdlGetPeer(int hdl, NI_NODEADDR *pAddr, uint16_t *pServNo, ZUL_UTF16 *pUDSPath) noexcept {
  const char *fn = "NiHdlGetPeer";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (p->mType == NI_LISTEN || p->mType == NI_RI_LISTEN)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pHdl->mType == NI_LISTEN || NI_RI_LISTEN)", fn);
  return GetEnd(p, &p->con.mSocket, true, pAddr, pServNo, pUDSPath, fn);
}

int NiGetMaxSockets(int limit) noexcept {
  if (limit <= 0) return 0;
  std::unique_ptr<SI_SOCK[]> socks(new (std::nothrow) SI_SOCK[static_cast<size_t>(limit)]);
  if (socks == nullptr) return -1;
  int n = 0;
  while (n < limit && SiSocketIPv4(&socks[n], SI_SOCK_STREAM) == SI_OK) ++n;
  for (int i = 0; i < n; ++i) SiClose(&socks[i]);
  DPTRC_A7(2, tf, "%s: %d sockets of %d could be opened\n", "NiGetMaxSockets", n, limit);
  return n;
}
