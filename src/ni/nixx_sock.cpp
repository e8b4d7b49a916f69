// Between handles and their sockets: the mapping both ways and the half-close.
#define DPTRC_MODULE u"nixx"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "ni/nixxi.h"
#include "ni/nixxi_con.h"
#include "zul_dptrace.h"

using namespace ni;

namespace {

// The socket a handle stands for: a listener's IP socket, or else its local one.
const SI_SOCK *SockOf(const NITAB *p) {
  if ((p->mType & 15) == 1)
    return p->lis.mIPSocket.socket != NI_INVALID_SOCK ? &p->lis.mIPSocket : &p->lis.mUDSocket;
  return &p->con.mSocket;
}

}  // namespace

int NiHdlToSock(int hdl, int *pSocketNo) noexcept {
  NITAB *p = CheckHdl(hdl, "NiHdlToSock");
  if (p == nullptr) return NIEINVAL;
  if (pSocketNo == nullptr)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pSocketNo == NULL)",
                  "NiHdlToSock");
  // The socket of a pending connect is only worth having once the connection stands.
  if (p->mType == NI_CONN_WAIT) NiICheckPendConnection(p, -1, 1);
  *pSocketNo = SockOf(p)->socket;
  return ZUL_O_K;
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
  if (p->mType == NI_LISTEN)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pHdl->mType == NI_LISTEN)", fn);
  if (p->mType == NI_RI_LISTEN)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pHdl->mType == NI_RI_LISTEN)", fn);
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
  const int how[] = {SI_SHUT_RD, SI_SHUT_WR, SI_SHUT_RDWR};
  int sirc;
  do sirc = SiShutdown(&p->con.mSocket, how[howto]);
  while (sirc == SI_EINTR);
  if (sirc == SI_OK) return ZUL_O_K;
  if (sirc == SI_EINVAL) {
    // The socket is gone already: nothing left to shut.
    DPTRC_A7(2, tf, "%s: hdl %d not connected anymore (socket %d; howTo=%d; sirc=%d; errno=%u)\n",
             fn, hdl, p->con.mSocket.socket, howto, sirc, p->con.mSocket.lastError);
    return ZUL_O_K;
  }
  return Refuse(kModPublic, __LINE__, sirc == SI_EINVAL_SOCK ? NIEINVAL : NIEINTERN, 1,
                "%s: SiShutdown failed for hdl %d (sirc=%d; errno=%u)", fn, hdl, sirc,
                p->con.mSocket.lastError);
}

int NiGetHdlProto(int hdl) noexcept {
  NITAB *p = CheckHdl(hdl, "NiGetHdlProto");
  if (p == nullptr) return NIEINVAL;
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
  return std::memcmp(p->con.mPeerAddr.addr, NI_ADDR_ANY_I4_INIT.addr, 12) == 0 ? NI_PROTO_FAM_IPv4
                                                                               : NI_PROTO_FAM_IPv6;
}
