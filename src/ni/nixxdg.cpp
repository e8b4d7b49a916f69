// Datagram handles with multicast, and the wake-up channel built on them: one thread or process
// ends another's wait in a select set by sending a one-byte datagram to a server on the loopback
// address.
//
// Locks: gWakeupLock ("NI wakeup mutex"), then a server's own mutex. Attach, close and detach
// take both (attach lets the first go once it holds the second); sending takes none.
#define DPTRC_MODULE u"nixxdg"

#include <arpa/inet.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <new>

#include "ni/nixxi.h"
#include "ni/nixxi_con.h"
#include "zul_dptrace.h"
#include "zul_u16string.h"

using namespace ni;

struct NI_WAKEUP_SERVER {
  std::atomic<NITAB *> pHdl;  // null after close
  uint16_t servNo;            // network order
  NI_NODEADDR bindAddr;
  uint32_t clientCount;  // guarded by mtx
  THR_MTX mtx;           // "wakeup server <port>"
};

struct NI_WAKEUP_CLIENT {
  NITAB *pHdl;
  uint16_t ownPort;  // network order
  NI_WAKEUP_SERVER *pServer;
};

namespace {

constexpr const char16_t *kModDg = u"nixxdg.cpp";
constexpr uint16_t kFindServ = 0xFFFF;
constexpr char kWakeupByte = 'v';

int Invalid(const char *fn, const char *cond) {
  return Refuse(kModDg, __LINE__, NIEINVAL, 1, "%s: parameter invalid (%s)", fn, cond);
}

std::string AddrPort(const NI_NODEADDR *a, uint16_t netPort) {
  char text[NI_NODEADDR_STR_LEN + 8];
  AddrPortText(a, netPort, text, sizeof text);
  return text;
}

int WantedFamily() { return NiIsIPv6Activated() ? SI_AF_INET6 : SI_AF_INET; }

// The checks every datagram call makes after its own arguments: state, family, socket type.
int CheckDgState(NITAB *p, const char *fn) {
  if (p->mType != NI_DG_UNCONNECTED && p->mType != NI_DG_CONNECTED)
    return Invalid(fn, "pHdl->mType != NI_DG_UNCONNECTED && pHdl->mType != NI_DG_CONNECTED");
  if (p->con.mSocket.family != WantedFamily())
    return Invalid(fn, "pHdl->con.mSocket.family != NI_USE_IP_PROTO");
  if (p->con.mSocket.type != SI_SOCK_DGRAM)
    return Invalid(fn, "pHdl->con.mSocket.type != SOCK_DGRAM");
  return ZUL_O_K;
}

// A new datagram handle in state NI_DG_UNCONNECTED, its socket blocking, address and port reuse on.
int CreateDg(NITAB **ppHdl) {
  NITAB *p = nullptr;
  if (int rc = NiICreateHandle(&p, NI_INITIAL_CON, nullptr); rc != ZUL_O_K) return rc;
  p->con.mSocket = SI_SOCK{NI_INVALID_SOCK, WantedFamily(), SI_SOCK_DGRAM, 0};
  if (NiIInitSocket(p, &p->con.mSocket, 0) != ZUL_O_K) {
    NiICloseHandle(p, 1, 0);
    return Refuse(kModDg, __LINE__, NIEINTERN, 1, "%s: no datagram socket", "NiDgHdlCreate");
  }
  NiISetStat(p, NI_DG_UNCONNECTED, "NiDgHdlCreate");
  *ppHdl = p;
  return ZUL_O_K;
}

// One datagram out of a connected socket; the length sent must be the length asked.
int Send(NITAB *p, const void *data, int len, int *pSent, const char *fn) {
  size_t done = 0;
  int sirc;
  do sirc = SiSend(&p->con.mSocket, data, static_cast<size_t>(len), 0, &done);
  while (sirc == SI_EINTR);
  if (sirc != SI_OK)
    return NiISystemError(sirc, kSiSend, p, &p->con.mSocket,
                          static_cast<int>(p->con.mSocket.lastError), nullptr, &p->con.mPeerAddr,
                          &p->con.mPeerServ, fn, kModDg, __LINE__, 1);
  if (pSent != nullptr) *pSent = static_cast<int>(done);
  DPTRC_A7(p->mTrace ? 1 : 3, tf, "%s: hdl %d sent %d of %d bytes to %s\n", fn, p->handle,
           static_cast<int>(done), len, AddrPort(&p->con.mPeerAddr, p->con.mPeerServ).c_str());
  return ZUL_O_K;
}

// One datagram in: NIETIMEOUT when none waits on a non-blocking socket.
int Recv(NITAB *p, NI_NODEADDR *pAddr, uint16_t *pNetPort, void *buf, int len, int *pRead,
         const char *fn) {
  ZUL_RAW from[108] = {};
  uint16_t port = 0;
  size_t done = 0;
  bool want = pAddr != nullptr || pNetPort != nullptr || p->mTrace != 0 || ct_level >= 3;
  int sirc;
  do
    sirc = SiRecvFrom(&p->con.mSocket, buf, static_cast<size_t>(len), 0, want ? from : nullptr,
                      want ? 108 : 0, want ? &port : nullptr, &done);
  while (sirc == SI_EINTR);
  if (sirc == SI_ETIMEOUT)
    return Refuse(kModDg, __LINE__, NIETIMEOUT, 3, "%s: receive for hdl %d timed out", fn,
                  p->handle);
  if (sirc != SI_OK)
    return NiISystemError(sirc, kSiRecv, p, &p->con.mSocket,
                          static_cast<int>(p->con.mSocket.lastError), nullptr, nullptr, nullptr, fn,
                          kModDg, __LINE__, 1);
  NI_NODEADDR addr{};
  uint16_t netPort = 0;
  if (want) NiISolveSockAddr(&p->con.mSocket, from, port, &addr, &netPort, nullptr, 0);
  if (pAddr != nullptr) *pAddr = addr;
  if (pNetPort != nullptr) *pNetPort = netPort;
  if (pRead != nullptr) *pRead = static_cast<int>(done);
  DPTRC_A7(p->mTrace ? 1 : 3, tf, "%s: hdl %d received %d bytes from %s\n", fn, p->handle,
           static_cast<int>(done), AddrPort(&addr, netPort).c_str());
  return ZUL_O_K;
}

bool IsMulticast(const NI_NODEADDR &a) {
  if (IsMapped(a)) return (a.addr[12] & 0xF0) == 0xE0;  // 224.0.0.0/4
  return a.addr[0] == 0xFF;                             // ff00::/8
}

int GroupAdm(int hdl, const NI_NODEADDR *pMc, const NI_NODEADDR *pIf, bool join) {
  const char *fn = join ? "NiDgHdlJoinGroup" : "NiDgHdlLeaveGroup";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (pMc == nullptr) return Invalid(fn, "pMcNodeAddr == NULL");
  if (!IsMulticast(*pMc)) return Invalid(fn, "NI_IS_ADDR_MULTICAST( *pMcNodeAddr ) == FALSE");
  if (int rc = CheckDgState(p, fn); rc != ZUL_O_K) return rc;
  ZUL_RAW group[108], iface[108];
  int groupLen = 0, ifLen = 0;
  if (int rc = NiIMakeSockAddr(p, &p->con.mSocket, pMc, 0, group, &groupLen); rc != ZUL_O_K)
    return rc;
  int rc;
  if (p->con.mSocket.family == SI_AF_INET) {
    const NI_NODEADDR *ifAddr = pIf != nullptr ? pIf : &NI_ADDR_ANY_I4_INIT;
    if ((rc = NiIMakeSockAddr(p, &p->con.mSocket, ifAddr, 0, iface, &ifLen)) != ZUL_O_K) return rc;
    SI_OPTVAL v{group, 4, iface, 4};
    rc = NiISetSockOpt(p, SI_IPPROTO_IP, join ? SI_IP_ADD_MEMBERSHIP : SI_IP_DROP_MEMBERSHIP, &v,
                       join ? "IPPROTO_IP-IP_ADD_MEMBERSHIP" : "IPPROTO_IP-IP_DROP_MEMBERSHIP");
  } else {
    int32_t index = 0;
    SI_OPTVAL v{group, 16, &index, 4};
    rc = NiISetSockOpt(
        p, SI_IPPROTO_IPV6, join ? SI_IPV6_ADD_MEMBERSHIP : SI_IPV6_DROP_MEMBERSHIP, &v,
        join ? "IPPROTO_IPV6-IPV6_ADD_MEMBERSHIP" : "IPPROTO_IPV6-IPV6_DROP_MEMBERSHIP");
  }
  if (rc != ZUL_O_K)
    DPTRC_A7(1, tf, "%s: failed to %s %s on interface %s\n", fn, join ? "join" : "leave",
             AddrText(*pMc).c_str(), pIf != nullptr ? AddrText(*pIf).c_str() : "0.0.0.0");
  return rc;
}

// The checks of the IPv4 multicast options: a datagram handle of family AF_INET.
NITAB *McOptHdl(int hdl, const void *arg, const char *fn, int *pRc) {
  *pRc = NIEINVAL;
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return nullptr;
  if (arg == nullptr) {
    Invalid(fn, "argument == NULL");
    return nullptr;
  }
  if ((*pRc = CheckDgState(p, fn)) != ZUL_O_K) return nullptr;
  if (p->con.mSocket.family != SI_AF_INET) {
    *pRc = Invalid(fn, "pHdl->con.mSocket.family != AF_INET");
    return nullptr;
  }
  return p;
}

// ---- wake-ups ----

int WakeupSend(NITAB *p, const void *data, int len) {
  const char *fn = "NiIWakeupSend";
  if (p->con.mSocket.type != SI_SOCK_DGRAM)
    DPTRC_WARN_A7(tf, "%s: no datagram sock %d (fam=%d; type=%d); hdl %d (state=0x%x)\n", fn,
                  p->con.mSocket.socket, p->con.mSocket.family, p->con.mSocket.type, p->handle,
                  p->mType);
  int sent = 0;
  if (int rc = Send(p, data, len, &sent, fn); rc != ZUL_O_K) return rc;
  if (sent != len)
    return Refuse(kModDg, __LINE__, NIEINTERN, 1, "%s: invalid length (%d<>%d) for hdl %d", fn,
                  sent, len, p->handle);
  return ZUL_O_K;
}

// Waits for nothing: NIETIMEOUT when no datagram is there. all takes every one, each of which
// must be the wake-up byte; otherwise one datagram of any length goes to pBuffer.
int WakeupReceive(NITAB *p, bool all, int *pCount, void *pBuffer, int bufferLen, int *pRead) {
  const char *fn = "NiIWakeupReceive";
  int count = 0;
  for (;;) {
    int rc = NiIPeek(p, SI_PEEK_RD, 0);
    if (rc == NIETIMEOUT && all && count > 0) break;
    if (rc != ZUL_O_K) {
      if (pCount != nullptr) *pCount = count;
      return rc;
    }
    char two[2] = {};
    int got = 0;
    rc = all ? Recv(p, nullptr, nullptr, two, 2, &got, fn)
             : Recv(p, nullptr, nullptr, pBuffer, bufferLen, pRead, fn);
    if (rc == NIETIMEOUT && all && count > 0) break;
    if (rc != ZUL_O_K) {
      if (pCount != nullptr) *pCount = count;
      return rc;
    }
    if (!all) return ZUL_O_K;
    if (got != 1 || two[0] != kWakeupByte) {
      if (pCount != nullptr) *pCount = count;
      return Refuse(kModDg, __LINE__, NIETOO_BIG, 1,
                    "%s: invalid wakeup datagram on hdl %d (%d bytes)", fn, p->handle, got);
    }
    ++count;
  }
  if (pCount != nullptr) *pCount = count;
  return ZUL_O_K;
}

void FreeServer(NI_WAKEUP_SERVER *s) {
  ThrMtxDelete(&s->mtx);
  delete s;
}

}  // namespace

// ---------------------------------------------------------------- datagram handles

int NiDgHdlCreate(int *pHandle) noexcept {
  if (pHandle == nullptr) return Invalid("NiDgHdlCreate", "pHandle == NULL");
  *pHandle = -1;
  NITAB *p = nullptr;
  if (int rc = CreateDg(&p); rc != ZUL_O_K) return rc;
  *pHandle = p->handle;
  return ZUL_O_K;
}

int NiDgHdlBind3(int hdl, const NI_NODEADDR *pNodeAddr, uint16_t *pServNo) noexcept {
  const char *fn = "NiDgHdlBind3";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (pServNo == nullptr) return Invalid(fn, "pServNo == NULL");
  if (int rc = CheckDgState(p, fn); rc != ZUL_O_K) return rc;
  uint16_t port = htons(*pServNo);
  if (int rc = NiIBind(p, pNodeAddr, &port, 0); rc != ZUL_O_K) return rc;
  *pServNo = ntohs(port);
  return ZUL_O_K;
}

int NiDgHdlBindName(int hdl, const ZUL_UTF16 *pHostName, const ZUL_UTF16 *pServName) noexcept {
  const char *fn = "NiDgHdlBindName";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (pServName == nullptr) return Invalid(fn, "pServName == NULL");
  if (pHostName != nullptr && strlenU16(pHostName) >= NI_MAX_HOSTNAME_LEN)
    return Invalid(fn, "strlenU(pHostName) >= NI_MAX_HOSTNAME_LEN");
  if (strlenU16(pServName) >= NI_MAX_SERVNAME_LEN)
    return Invalid(fn, "strlenU(pServName) >= NI_MAX_SERVNAME_LEN");
  if (int rc = CheckDgState(p, fn); rc != ZUL_O_K) return rc;
  NI_NODEADDR addr = NI_ADDR_ANY_INIT;
  if (pHostName != nullptr && pHostName[0] != 0)
    if (int rc = NiIGetNodeAddr(pHostName, &addr); rc != ZUL_O_K) return rc;
  uint16_t port = 0;
  if (int rc = NiIGetServNo(pServName, &port); rc != ZUL_O_K) return rc;
  return NiIBind(p, &addr, &port, 0);
}

int NiDgHdlConnect(int hdl, const NI_NODEADDR *pNodeAddr, uint16_t port) noexcept {
  const char *fn = "NiDgHdlConnect";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (pNodeAddr == nullptr) return Invalid(fn, "pNodeAddr == NULL");
  if (int rc = CheckDgState(p, fn); rc != ZUL_O_K) return rc;
  if (int rc = NiIConnectSocket(p, pNodeAddr, htons(port), -1, 1); rc != ZUL_O_K) return rc;
  NiISetStat(p, NI_DG_CONNECTED, fn);
  return ZUL_O_K;
}

int NiDgHdlSend(int hdl, const void *pData, int len, int *pSent) noexcept {
  const char *fn = "NiDgHdlSend";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (pData == nullptr || len < 0) return Invalid(fn, "pData == NULL || len < 0");
  if (p->mType != NI_DG_CONNECTED) return Invalid(fn, "pHdl->mType != NI_DG_CONNECTED");
  if (int rc = CheckDgState(p, fn); rc != ZUL_O_K) return rc;
  return Send(p, pData, len, pSent, fn);
}

int NiDgHdlSendTo(int hdl, const NI_NODEADDR *pNodeAddr, uint16_t port, const void *pData, int len,
                  int *pSent) noexcept {
  const char *fn = "NiDgHdlSendTo";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (pNodeAddr == nullptr || pData == nullptr || len < 0)
    return Invalid(fn, "pNodeAddr == NULL || pData == NULL || len < 0");
  if (int rc = CheckDgState(p, fn); rc != ZUL_O_K) return rc;
  ZUL_RAW to[108];
  int toLen = 0;
  uint16_t net = htons(port);
  if (int rc = NiIMakeSockAddr(p, &p->con.mSocket, pNodeAddr, net, to, &toLen); rc != ZUL_O_K)
    return Refuse(kModDg, __LINE__, NIEINTERN, 1, "%s: NiIMakeSockAddr failed (rc=%d)", fn, rc);
  size_t done = 0;
  int sirc;
  do sirc = SiSendTo(&p->con.mSocket, pData, static_cast<size_t>(len), 0, to, toLen, net, &done);
  while (sirc == SI_EINTR);
  if (sirc != SI_OK)
    return NiISystemError(sirc, kSiSend, p, &p->con.mSocket,
                          static_cast<int>(p->con.mSocket.lastError), nullptr, pNodeAddr, &net, fn,
                          kModDg, __LINE__, 1);
  if (pSent != nullptr) *pSent = static_cast<int>(done);
  DPTRC_A7(p->mTrace ? 1 : 3, tf, "%s: hdl %d sent %d of %d bytes to %s\n", fn, p->handle,
           static_cast<int>(done), len, AddrPort(pNodeAddr, net).c_str());
  return ZUL_O_K;
}

int NiDgHdlRecvFrom(int hdl, NI_NODEADDR *pNodeAddr, uint16_t *pPort, void *pBuffer, int bufferLen,
                    int *pRead) noexcept {
  const char *fn = "NiDgHdlRecvFrom";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (pBuffer == nullptr || bufferLen <= 0) return Invalid(fn, "pBuffer == NULL || bufferLen <= 0");
  if (int rc = CheckDgState(p, fn); rc != ZUL_O_K) return rc;
  uint16_t net = 0;
  int rc = Recv(p, pNodeAddr, pPort != nullptr ? &net : nullptr, pBuffer, bufferLen, pRead, fn);
  if (rc == ZUL_O_K && pPort != nullptr) *pPort = ntohs(net);
  return rc;
}

int NiDgHdlClose(int hdl) noexcept {
  const char *fn = "NiDgHdlClose";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (int rc = CheckDgState(p, fn); rc != ZUL_O_K) return rc;
  return NiICloseHandle(p, 1, 0);
}

int NiDgHdlJoinGroup(int hdl, const NI_NODEADDR *pMcNodeAddr,
                     const NI_NODEADDR *pIfNodeAddr) noexcept {
  return GroupAdm(hdl, pMcNodeAddr, pIfNodeAddr, true);
}

int NiDgHdlLeaveGroup(int hdl, const NI_NODEADDR *pMcNodeAddr,
                      const NI_NODEADDR *pIfNodeAddr) noexcept {
  return GroupAdm(hdl, pMcNodeAddr, pIfNodeAddr, false);
}

int NiSetIP_MulticastTTL(int hdl, uint8_t ttl) noexcept {
  int rc;
  NITAB *p = McOptHdl(hdl, &ttl, "NiSetIP_MulticastTTL", &rc);
  if (p == nullptr) return rc;
  SI_OPTVAL v{&ttl, 1, nullptr, 0};
  return NiISetSockOpt(p, SI_IPPROTO_IP, SI_IP_MULTICAST_TTL, &v, "IPPROTO_IP-IP_MULTICAST_TTL");
}

int NiGetIP_MulticastTTL(int hdl, uint8_t *pTtl) noexcept {
  int rc;
  NITAB *p = McOptHdl(hdl, pTtl, "NiGetIP_MulticastTTL", &rc);
  if (p == nullptr) return rc;
  SI_OPTVAL v{pTtl, 1, nullptr, 0};
  return NiIGetSockOpt(p, SI_IPPROTO_IP, SI_IP_MULTICAST_TTL, &v, "IPPROTO_IP-IP_MULTICAST_TTL");
}

int NiSetIP_MulticastIF(int hdl, const NI_NODEADDR *pIfNodeAddr) noexcept {
  const char *fn = "NiSetIP_MulticastIF";
  int rc;
  NITAB *p = McOptHdl(hdl, pIfNodeAddr, fn, &rc);
  if (p == nullptr) return rc;
  if (!IsMapped(*pIfNodeAddr)) return Invalid(fn, "pIfNodeAddr is not an IPv4 address");
  ZUL_RAW a[4];
  std::memcpy(a, pIfNodeAddr->addr + 12, 4);
  SI_OPTVAL v{a, 4, nullptr, 0};
  return NiISetSockOpt(p, SI_IPPROTO_IP, SI_IP_MULTICAST_IF, &v, "IPPROTO_IP-IP_MULTICAST_IF");
}

int NiGetIP_MulticastIF(int hdl, NI_NODEADDR *pIfNodeAddr) noexcept {
  int rc;
  NITAB *p = McOptHdl(hdl, pIfNodeAddr, "NiGetIP_MulticastIF", &rc);
  if (p == nullptr) return rc;
  ZUL_RAW a[4] = {};
  SI_OPTVAL v{a, 4, nullptr, 0};
  rc = NiIGetSockOpt(p, SI_IPPROTO_IP, SI_IP_MULTICAST_IF, &v, "IPPROTO_IP-IP_MULTICAST_IF");
  if (rc != ZUL_O_K) return rc;
  *pIfNodeAddr = NI_ADDR_ANY_I4_INIT;
  std::memcpy(pIfNodeAddr->addr + 12, a, 4);
  return ZUL_O_K;
}

// ---------------------------------------------------------------- wake-ups

int NiWakeupOpen(NI_WAKEUP_SERVER **ppServer) noexcept {
  const char *fn = "NiWakeupOpen";
  if (ppServer == nullptr) return Invalid(fn, "ppServer == NULL");
  std::unique_ptr<NI_WAKEUP_SERVER> s(new (std::nothrow) NI_WAKEUP_SERVER);
  if (s == nullptr) return Refuse(kModDg, __LINE__, NIEINTERN, 1, "%s: no memory", fn);
  s->pHdl = nullptr;
  s->clientCount = 0;
  s->servNo = kFindServ;
  if (int rc = NiGetLoopbackAddr(&s->bindAddr); rc != ZUL_O_K) return rc;
  NITAB *p = nullptr;
  if (int rc = CreateDg(&p); rc != ZUL_O_K) return rc;
  uint16_t port = kFindServ;
  if (int rc = NiIBind(p, &s->bindAddr, &port, 0); rc != ZUL_O_K) {
    NiICloseHandle(p, 1, 0);
    return rc;
  }
  s->servNo = port;
  char16_t name[32];
  char name8[32];
  std::snprintf(name8, sizeof name8, "wakeup server %u", static_cast<unsigned>(ntohs(port)));
  Widen(name8, name, 32);
  ThrMtxInit(&s->mtx, name);
  s->pHdl = p;
  DPTRC_A7(2, tf, "%s: new datagram wakeup server %d\n", fn, static_cast<int>(ntohs(port)));
  *ppServer = s.release();
  return ZUL_O_K;
}

int NiWakeupClose(NI_WAKEUP_SERVER **ppServer) noexcept {
  const char *fn = "NiWakeupClose";
  if (ppServer == nullptr || *ppServer == nullptr) return Invalid(fn, "ppServer == NULL");
  NI_WAKEUP_SERVER *s = *ppServer;
  *ppServer = nullptr;
  MtxGuard global(gWakeupLock);
  bool last;
  {
    MtxGuard lock(s->mtx);
    if (NITAB *p = s->pHdl.exchange(nullptr); p != nullptr) NiICloseHandle(p, 1, 0);
    last = s->clientCount == 0;
    int port = ntohs(s->servNo);
    if (last)
      DPTRC_A7(2, tf, "%s: delete wakup server %d\n", fn, port);
    else
      DPTRC_A7(2, tf, "%s: close wakup server %d\n", fn, port);
  }
  if (last) FreeServer(s);
  return ZUL_O_K;
}

int NiWakeupAttach(NI_WAKEUP_SERVER *pServer, NI_WAKEUP_CLIENT **ppClient) noexcept {
  const char *fn = "NiWakeupAttach";
  if (pServer == nullptr || ppClient == nullptr)
    return Invalid(fn, "pServer == NULL || ppClient == NULL");
  std::unique_ptr<NI_WAKEUP_CLIENT> c(new (std::nothrow) NI_WAKEUP_CLIENT{});
  if (c == nullptr) return Refuse(kModDg, __LINE__, NIEINTERN, 1, "%s: no memory", fn);
  ThrMtxLock(&gWakeupLock);
  MtxGuard lock(pServer->mtx);
  ThrMtxUnlock(&gWakeupLock);
  int port = ntohs(pServer->servNo);
  if (pServer->pHdl.load() == nullptr)
    return Refuse(kModDg, __LINE__, NIECONN_REFUSED, 1, "%s: wakeup server %d already closed", fn,
                  port);
  NITAB *p = nullptr;
  int rc = CreateDg(&p);
  if (rc == ZUL_O_K) rc = NiIConnectSocket(p, &pServer->bindAddr, pServer->servNo, -1, 1);
  if (rc == ZUL_O_K) {
    ZUL_RAW own[108];
    rc = SiGetSockName(&p->con.mSocket, own, 108, &c->ownPort) == SI_OK ? ZUL_O_K : NIEINTERN;
  }
  if (rc != ZUL_O_K) {
    if (p != nullptr) NiICloseHandle(p, 1, 0);
    return Refuse(kModDg, __LINE__, NIECONN_REFUSED, 1,
                  "%s: connect to wakeup server %d failed (rc=%d)", fn, port, rc);
  }
  NiISetStat(p, NI_DG_CONNECTED, fn);
  c->pHdl = p;
  c->pServer = pServer;
  ++pServer->clientCount;
  *ppClient = c.release();
  return ZUL_O_K;
}

int NiWakeupDetach(NI_WAKEUP_CLIENT **ppClient) noexcept {
  const char *fn = "NiWakeupDetach";
  if (ppClient == nullptr || *ppClient == nullptr) return Invalid(fn, "ppClient == NULL");
  std::unique_ptr<NI_WAKEUP_CLIENT> c(*ppClient);
  *ppClient = nullptr;
  NI_WAKEUP_SERVER *s = c->pServer;
  MtxGuard global(gWakeupLock);
  bool last;
  {
    MtxGuard lock(s->mtx);
    if (c->pHdl != nullptr) NiICloseHandle(c->pHdl, 1, 0);
    --s->clientCount;
    last = s->clientCount == 0 && s->pHdl.load() == nullptr;
    if (last)
      DPTRC_A7(2, tf, "%s: last wakeup client detached from %d\n", fn,
               static_cast<int>(ntohs(s->servNo)));
  }
  if (last) FreeServer(s);
  return ZUL_O_K;
}

int NiWakeupExec(NI_WAKEUP_CLIENT *pClient) noexcept {
  return NiWakeupExec2(pClient, &kWakeupByte, 1);
}

int NiWakeupExec2(NI_WAKEUP_CLIENT *pClient, const void *pData, int len) noexcept {
  const char *fn = "NiWakeupExec";
  if (pClient == nullptr || pClient->pHdl == nullptr || pData == nullptr || len < 0)
    return Invalid(fn, "pClient == NULL || pData == NULL || len < 0");
  if (pClient->pServer->pHdl.load() == nullptr)
    return Refuse(kModDg, __LINE__, NIECONN_BROKEN, 2, "%s: wakeup server %d already closed", fn,
                  static_cast<int>(ntohs(pClient->pServer->servNo)));
  return WakeupSend(pClient->pHdl, pData, len);
}

int NiWakeupCollect(NI_WAKEUP_SERVER **ppServer, int *pCount) noexcept {
  const char *fn = "NiWakeupCollect";
  if (pCount != nullptr) *pCount = 0;
  if (ppServer == nullptr || *ppServer == nullptr) return Invalid(fn, "ppServer == NULL");
  NITAB *p = (*ppServer)->pHdl.load();
  if (p == nullptr) return Invalid(fn, "pServer->pHdl == NULL");
  return WakeupReceive(p, true, pCount, nullptr, 0, nullptr);
}

int NiWakeupCollect2(NI_WAKEUP_SERVER **ppServer, void *pBuffer, int bufferLen,
                     int *pRead) noexcept {
  const char *fn = "NiWakeupCollect2";
  if (ppServer == nullptr || *ppServer == nullptr || pBuffer == nullptr || bufferLen <= 0)
    return Invalid(fn, "ppServer == NULL || pBuffer == NULL || bufferLen <= 0");
  NITAB *p = (*ppServer)->pHdl.load();
  if (p == nullptr) return Invalid(fn, "pServer->pHdl == NULL");
  return WakeupReceive(p, false, nullptr, pBuffer, bufferLen, pRead);
}

int NiWakeupGetNiHdl(NI_WAKEUP_SERVER *pServer) noexcept {
  if (pServer == nullptr) return Invalid("NiWakeupGetNiHdl", "pServer == NULL");
  NITAB *p = pServer->pHdl.load();
  return p != nullptr ? p->handle : -1;
}

int NiWakeupGetCntNo(NI_WAKEUP_SERVER *pServer) noexcept {
  if (pServer == nullptr) return Invalid("NiWakeupGetCntNo", "pServer == NULL");
  MtxGuard lock(pServer->mtx);
  return static_cast<int>(pServer->clientCount);
}
