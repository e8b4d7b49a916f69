// The public face of connect, listen and accept: the client and server handle families, accept,
// the saved peer, address conversion, the own-host checks and the socket options of handles.
#define DPTRC_MODULE u"nixx"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>

#include "ni/nixxi_con.h"
#include "zul_dptrace.h"
#include "zul_u16string.h"

using namespace ni;

namespace {

constexpr uint16_t kFindServ = 0xFFFF;
constexpr int kUdsPathLen = 108;

// The refusal of a public call, reported at the caller's line (the builtin, since clang 14's
// standard library, used for fuzzing, has no std::source_location).
int ParamInvalid(const char *fn, const char *condition, int line = __builtin_LINE()) {
  return Refuse(kModPublic, line, NIEINVAL, 1,
                "%s: parameter invalid (%s)", fn, condition);
}

bool ProtocolInvalid(int protocol) {
  return (protocol &
          ~(NI_PROTO_FAM_UNSPEC | NI_PROTO_FAM_LOCAL | NI_PROTO_FAM_IPv4 | NI_PROTO_FAM_IPv6)) != 0;
}

constexpr const char *kProtocolCondition =
    "(protocol & ~(NI_PROTO_FAM_UNSPEC | NI_PROTO_FAM_LOCAL | NI_PROTO_FAM_IPv4 | "
    "NI_PROTO_FAM_IPv6)) != 0";

// The one client path: by name when host is given, else by address (port in host order).
int Connect(const char *fn, const ZUL_UTF16 *host, const ZUL_UTF16 *serv,
            const NI_NODEADDR *pNodeAddr, uint16_t port, int protocol, int raw, int buffered,
            int timeout, FILE **ppTrcFile, bool acceptPending, int *pHandle) {
  if (pHandle == nullptr) return ParamInvalid(fn, "pHandle == NULL");
  *pHandle = -1;
  if (pNodeAddr == nullptr) {
    if (host == nullptr) return ParamInvalid(fn, "pHost == NULL");
    if (serv == nullptr) return ParamInvalid(fn, "pServ == NULL");
  }
  if (ProtocolInvalid(protocol)) return ParamInvalid(fn, kProtocolCondition);
  NITAB *p = nullptr;
  int rc = NiBufIConnect(host, serv, pNodeAddr, NiNetServno(port), protocol, timeout, raw, buffered,
                         ppTrcFile, &p);
  if (rc == ZUL_O_K || (rc == NIECONN_PENDING && acceptPending && p != nullptr))
    *pHandle = p->handle;
  return rc;
}

int ConnectByAddr(const char *fn, const NI_NODEADDR *pNodeAddr, uint16_t port, int protocol,
                  int raw, int buffered, int timeout, FILE **ppTrcFile, bool acceptPending,
                  int *pHandle) {
  if (pNodeAddr == nullptr) {
    if (pHandle != nullptr) *pHandle = -1;
    return ParamInvalid(fn, "pNodeAddr == NULL");
  }
  return Connect(fn, nullptr, nullptr, pNodeAddr, port, protocol, raw, buffered, timeout, ppTrcFile,
                 acceptPending, pHandle);
}

int Listen(const char *fn, const NI_NODEADDR *pNodeAddr, uint16_t *pServNo, int protocol,
           int buffered, int *pHandle) {
  if (pHandle == nullptr) return ParamInvalid(fn, "pHandle == NULL");
  *pHandle = -1;
  if (pServNo == nullptr) return ParamInvalid(fn, "pServNo == NULL");
  if (ProtocolInvalid(protocol)) return ParamInvalid(fn, kProtocolCondition);
  if (protocol == NI_PROTO_FAM_LOCAL) return ParamInvalid(fn, "protocol == NI_PROTO_FAM_LOCAL");
  if ((protocol & NI_PROTO_FAM_LOCAL) != 0 && *pServNo == NI_FINDSERV_OS)
    return ParamInvalid(fn, "(protocol & NI_PROTO_FAM_LOCAL) != 0 && *pServNo == NI_FINDSERV_OS");
  uint16_t port = *pServNo == kFindServ ? kFindServ : NiNetServno(*pServNo);
  NITAB *p = nullptr;
  int rc = NiIListen(pNodeAddr, &port, protocol, buffered, 0, &p);
  if (rc != ZUL_O_K) return rc;
  *pServNo = NiHostServno(port);
  *pHandle = p->handle;
  return ZUL_O_K;
}

// The handle whose socket an option call acts on; listeners only where allowed.
NITAB *OptHdl(int hdl, const char *fn, bool listenerAllowed, int *pRc) {
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) {
    *pRc = NIEINVAL;
  } else if (!listenerAllowed && p->mType == NI_LISTEN) {
    *pRc = ParamInvalid(fn, "pHdl->mType == NI_LISTEN");
    p = nullptr;
  }
  return p;
}

// One option call (call is SiSetSockOpt or SiGetSockOpt, siFunc its number) on the handle's
// main socket, repeated while a signal interrupts it; fn names it in reports.
template <typename Call, typename Value>
int SockOpt(const char *fn, int siFunc, Call call, NITAB *pHdl, int level, int option,
            Value *pValue, const char *pValueText) {
  if (pHdl->mType == NI_RI_LISTEN)
    return Refuse(kModInternal, __LINE__, NIEINVAL, 1, "%s: not supported for RI hdl %d", fn,
                  pHdl->handle);
  SI_SOCK *s = MainSock(pHdl);
  int rc;
  do rc = call(s, level, option, pValue);
  while (rc == SI_EINTR);
  if (rc == SI_OK) return ZUL_O_K;
  return NiISystemError(rc, siFunc, pHdl, s, static_cast<int>(s->lastError), pValueText, nullptr,
                        nullptr, fn, kModInternal, __LINE__, 1);
}

// An integer option of the wrappers: the names of its two reports, whether a listener may take
// it, and its level, name and trace text.
struct IntOpt {
  const char *setFn, *getFn;
  bool listenerAllowed;
  const int *level, *option;
  const char *text;
};
constexpr IntOpt kNoDelay{"NiSetTCP_NoDelay", "NiGetTCP_NoDelay", false,
                          &SI_IPPROTO_TCP,    &SI_TCP_NODELAY,    "IPPROTO_TCP-TCP_NODELAY"};
constexpr IntOpt kRcvBuf{"NiSetSO_RcvBuf", "NiGetSO_RcvBuf", false,
                         &SI_SOL_SOCKET,   &SI_SO_RCVBUF,    "SOL_SOCKET-SO_RCVBUF"};
constexpr IntOpt kSndBuf{"NiSetSO_SndBuf", "NiGetSO_SndBuf", false,
                         &SI_SOL_SOCKET,   &SI_SO_SNDBUF,    "SOL_SOCKET-SO_SNDBUF"};
constexpr IntOpt kKeepAlive{"NiSetSO_KeepAlive", "NiGetSO_KeepAlive", false,
                            &SI_SOL_SOCKET,      &SI_SO_KEEPALIVE,    "SOL_SOCKET-SO_KEEPALIVE"};
// SO_REUSEPORT is the same option here, so a datagram handle needs no second call.
constexpr IntOpt kReuseAddr{"NiSetSO_ReuseAddr", "NiGetSO_ReuseAddr", true,
                            &SI_SOL_SOCKET,      &SI_SO_REUSEADDR,    "SOL_SOCKET-SO_REUSEADDR"};

int SetOpt(int hdl, const IntOpt &o, int32_t value) {
  int rc = ZUL_O_K;
  NITAB *p = OptHdl(hdl, o.setFn, o.listenerAllowed, &rc);
  if (p == nullptr) return rc;
  SI_OPTVAL v{&value, 4, nullptr, 0};
  return NiISetSockOpt(p, *o.level, *o.option, &v, o.text);
}

int GetOpt(int hdl, const IntOpt &o, int *pValue) {
  int rc = ZUL_O_K;
  NITAB *p = OptHdl(hdl, o.getFn, o.listenerAllowed, &rc);
  if (p == nullptr) return rc;
  if (pValue == nullptr) return ParamInvalid(o.getFn, "pValue == NULL");
  int32_t value = 0;
  SI_OPTVAL v{&value, 4, nullptr, 0};
  rc = NiIGetSockOpt(p, *o.level, *o.option, &v, o.text);
  if (rc == ZUL_O_K) *pValue = value;
  return rc;
}

int MyAddr(const char *fn, const ZUL_UTF16 *pMyHostName, int timeout, NI_NODEADDR *pNodeAddr,
           int connectTest) {
  if (pNodeAddr == nullptr) return ParamInvalid(fn, "pNodeAddr == NULL");
  if (pMyHostName != nullptr && strlenU16(pMyHostName) >= NI_MAX_HOSTNAME_LEN)
    return ParamInvalid(fn, "strlenU(pMyHostName) >= NI_MAX_HOSTNAME_LEN");
  return NiIMyAddrVerify(pMyHostName, timeout, pNodeAddr, connectTest);
}

}  // namespace

int NiISetSockOpt(NITAB *pHdl, int level, int option, const SI_OPTVAL *pValue,
                  const char *pValueText) noexcept {
  return SockOpt("NiISetSockOpt", kSiSetSockOpt, SiSetSockOpt, pHdl, level, option, pValue,
                 pValueText);
}

int NiIGetSockOpt(NITAB *pHdl, int level, int option, SI_OPTVAL *pValue,
                  const char *pValueText) noexcept {
  return SockOpt("NiIGetSockOpt", kSiGetSockOpt, SiGetSockOpt, pHdl, level, option, pValue,
                 pValueText);
}

int NiHandle(const ZUL_UTF16 *host, const ZUL_UTF16 *serv, int timeout, int *pHandle) noexcept {
  return Connect("NiHandle", host, serv, nullptr, 0, 0, 0, 0, timeout, nullptr, false, pHandle);
}

int NiRawHandle(const ZUL_UTF16 *host, const ZUL_UTF16 *serv, int timeout, int *pHandle) noexcept {
  return Connect("NiRawHandle", host, serv, nullptr, 0, 0, 1, 0, timeout, nullptr, false, pHandle);
}

int NiHandleForProto(const ZUL_UTF16 *host, const ZUL_UTF16 *serv, int protocol, int timeout,
                     int *pHandle) noexcept {
  return Connect("NiHandleForProto", host, serv, nullptr, 0, protocol, 0, 0, timeout, nullptr,
                 false, pHandle);
}

int NiRawHandleForProto(const ZUL_UTF16 *host, const ZUL_UTF16 *serv, int protocol, int timeout,
                        int *pHandle) noexcept {
  return Connect("NiRawHandleForProto", host, serv, nullptr, 0, protocol, 1, 0, timeout, nullptr,
                 false, pHandle);
}

int NiHandleForAddr(const NI_NODEADDR *pNodeAddr, uint16_t port, int timeout,
                    int *pHandle) noexcept {
  return ConnectByAddr("NiHandleForAddr", pNodeAddr, port, 0, 0, 0, timeout, nullptr, false,
                       pHandle);
}

int NiRawHandleForAddr(const NI_NODEADDR *pNodeAddr, uint16_t port, int timeout,
                       int *pHandle) noexcept {
  return ConnectByAddr("NiRawHandleForAddr", pNodeAddr, port, 0, 1, 0, timeout, nullptr, false,
                       pHandle);
}

int NiHandleEx(const ZUL_UTF16 *host, const ZUL_UTF16 *serv, int protocol, int raw, int buffered,
               int timeout, FILE **ppTrcFile, int *pHandle) noexcept {
  return Connect("NiHandleEx", host, serv, nullptr, 0, protocol, raw, buffered, timeout, ppTrcFile,
                 true, pHandle);
}

int NiHandleForAddrEx(const NI_NODEADDR *pNodeAddr, uint16_t port, int protocol, int raw,
                      int buffered, int timeout, FILE **ppTrcFile, int *pHandle) noexcept {
  return ConnectByAddr("NiHandleForAddrEx", pNodeAddr, port, protocol, raw, buffered, timeout,
                       ppTrcFile, true, pHandle);
}

// A listener on a service name, buffered or not.
static int ServerByName(const char *fn, const ZUL_UTF16 *serv, int buffered, int *pHandle) {
  if (pHandle != nullptr) *pHandle = -1;
  if (serv == nullptr) return ParamInvalid(fn, "pServName == NULL");
  if (strlenU16(serv) >= NI_MAX_SERVNAME_LEN)
    return ParamInvalid(fn, "strlenU(pServName) >= NI_MAX_SERVNAME_LEN");
  uint16_t net = 0;
  if (int rc = NiIGetServNo(serv, &net); rc != ZUL_O_K) {
    char name[NI_MAX_SERVNAME_LEN];
    Narrow(serv, name, sizeof name);
    return Refuse(kModPublic, __LINE__, rc, 1, "%s: service invalid or unknown '%s' (rc=%d)", fn,
                  name, rc);
  }
  uint16_t port = net == kFindServ ? kFindServ : NiHostServno(net);
  return Listen(fn, nullptr, &port, 0, buffered, pHandle);
}

int NiServerHandle(const ZUL_UTF16 *serv, int *pHandle) noexcept {
  return ServerByName("NiServerHandle", serv, 0, pHandle);
}

int NiBufServerHandle(const ZUL_UTF16 *serv, int *pHandle) noexcept {
  return ServerByName("NiBufServerHandle", serv, 1, pHandle);
}

int NiBufServerHandleForPort(uint16_t *pServNo, int *pHandle) noexcept {
  return Listen("NiBufServerHandleForPort", nullptr, pServNo, 0, 1, pHandle);
}

int NiBufServerHandleForAddr(const NI_NODEADDR *pNodeAddr, uint16_t *pServNo,
                             int *pHandle) noexcept {
  return Listen("NiBufServerHandleForAddr", pNodeAddr, pServNo, 0, 1, pHandle);
}

int NiBufHandle(const ZUL_UTF16 *host, const ZUL_UTF16 *serv, int timeout, int *pHandle) noexcept {
  return Connect("NiBufHandle", host, serv, nullptr, 0, 0, 0, 1, timeout, nullptr, true, pHandle);
}

int NiBufRawHandle(const ZUL_UTF16 *host, const ZUL_UTF16 *serv, int timeout,
                   int *pHandle) noexcept {
  return Connect("NiBufRawHandle", host, serv, nullptr, 0, 0, 1, 1, timeout, nullptr, true,
                 pHandle);
}

int NiBufHandleForProto(const ZUL_UTF16 *host, const ZUL_UTF16 *serv, int protocol, int timeout,
                        int *pHandle) noexcept {
  return Connect("NiBufHandleForProto", host, serv, nullptr, 0, protocol, 0, 1, timeout, nullptr,
                 true, pHandle);
}

int NiBufRawHandleForProto(const ZUL_UTF16 *host, const ZUL_UTF16 *serv, int protocol,
                           int timeout, int *pHandle) noexcept {
  return Connect("NiBufRawHandleForProto", host, serv, nullptr, 0, protocol, 1, 1, timeout,
                 nullptr, true, pHandle);
}

int NiBufHandleForAddr(const NI_NODEADDR *pNodeAddr, uint16_t port, int timeout,
                       int *pHandle) noexcept {
  return ConnectByAddr("NiBufHandleForAddr", pNodeAddr, port, 0, 0, 1, timeout, nullptr, true,
                       pHandle);
}

int NiBufRawHandleForAddr(const NI_NODEADDR *pNodeAddr, uint16_t port, int timeout,
                          int *pHandle) noexcept {
  return ConnectByAddr("NiBufRawHandleForAddr", pNodeAddr, port, 0, 1, 1, timeout, nullptr, true,
                       pHandle);
}

int NiServerHandleForPort(uint16_t *pServNo, int *pHandle) noexcept {
  return Listen("NiServerHandleForPort", nullptr, pServNo, 0, 0, pHandle);
}

int NiServerHandleForAddr(const NI_NODEADDR *pNodeAddr, uint16_t *pServNo, int *pHandle) noexcept {
  return Listen("NiServerHandleForAddr", pNodeAddr, pServNo, 0, 0, pHandle);
}

int NiServerHandleEx(const NI_NODEADDR *pNodeAddr, uint16_t *pServNo, int protocol, int buffered,
                     int *pHandle) noexcept {
  return Listen("NiServerHandleEx", pNodeAddr, pServNo, protocol, buffered, pHandle);
}

int NiAcceptEx(int hdl, int timeout, int *pOutHandle, NI_NODEADDR *pPeerAddr,
               uint16_t *pPeerServ) noexcept {
  return NiAcceptEx2(hdl, timeout, nullptr, pOutHandle, pPeerAddr, pPeerServ);
}

int NiAcceptEx2(int hdl, int timeout, FILE **ppTrcFile, int *pOutHandle, NI_NODEADDR *pPeerAddr,
                uint16_t *pPeerServ) noexcept {
  const char *fn = "NiAcceptEx2";
  if (pOutHandle != nullptr) *pOutHandle = -1;
  NITAB *pL = CheckHdl(hdl, fn);
  if (pL == nullptr) return NIEINVAL;
  if (pOutHandle == nullptr) return ParamInvalid(fn, "pOutHandle == NULL");
  if (pL->mType != NI_LISTEN && pL->mType != NI_RI_LISTEN && pL->mpXhdl != nullptr) {
    // A buffered connection hands out the handle its peer passed over it.
    int rc = NiBufGetSentHdl(hdl, timeout, pOutHandle);
    if (rc == ZUL_O_K && pPeerAddr != nullptr) *pPeerAddr = NI_ADDR_LOCAL_INIT;
    if (rc == ZUL_O_K && pPeerServ != nullptr) *pPeerServ = 0;
    return rc;
  }
  if (pL->mType != NI_LISTEN && pL->mType != NI_RI_LISTEN)
    return ParamInvalid(fn, "pListenHdl->mType != NI_LISTEN && pListenHdl->mType != NI_RI_LISTEN");
  NITAB *p = nullptr;
  int rc = pL->mType == NI_RI_LISTEN ? NiIRiSrvAccept(pL, timeout, ppTrcFile, &p)
                                     : NiIAccept(pL, timeout, ppTrcFile, &p);
  if (rc != ZUL_O_K) return rc;
  *pOutHandle = p->handle;
  if (pPeerAddr != nullptr) *pPeerAddr = p->con.mPeerAddr;
  if (pPeerServ != nullptr) *pPeerServ = NiHostServno(p->con.mPeerServ);
  return ZUL_O_K;
}

int NiHdlGetSavedPeer(int hdl, NI_NODEADDR *pNodeAddr, uint16_t *pServNo) noexcept {
  const char *fn = "NiHdlGetSavedPeer";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (p->mType == NI_LISTEN || p->mType == NI_RI_LISTEN)
    return ParamInvalid(fn, "pHdl->mType == NI_LISTEN || pHdl->mType == NI_RI_LISTEN");
  if (pNodeAddr != nullptr) *pNodeAddr = p->con.mPeerAddr;
  if (pServNo != nullptr) *pServNo = NiHostServno(p->con.mPeerServ);
  return ZUL_O_K;
}

int NiMyAddrCheck(const ZUL_UTF16 *pMyHostName, NI_NODEADDR *pNodeAddr) noexcept {
  return MyAddr("NiMyAddrCheck", pMyHostName, 0, pNodeAddr, 0);
}

int NiMyAddrVerify(const ZUL_UTF16 *pMyHostName, int timeout, NI_NODEADDR *pNodeAddr) noexcept {
  return MyAddr("NiMyAddrVerify", pMyHostName, timeout, pNodeAddr, 1);
}

int NiConvSiAddr(int family, const ZUL_RAW *pAddr, int addrLen, uint16_t port,
                 NI_NODEADDR *pNodeAddr, uint16_t *pServNo, ZUL_UTF16 *pPath,
                 int pathLen) noexcept {
  const char *fn = "NiConvSiAddr";
  if (pAddr == nullptr) return ParamInvalid(fn, "pAddr == NULL");
  if (pPath != nullptr && pathLen < kUdsPathLen)
    return ParamInvalid(fn, "pathLen < SI_UDS_PATH_LEN");
  int need = family == SI_AF_INET ? 4 : family == SI_AF_INET6 ? 16 : family == SI_AF_UNIX ? 108 : 0;
  if (need == 0)
    return ParamInvalid(fn, "family != AF_INET && family != AF_INET6 && family != AF_UNIX");
  if (addrLen < need) {
    return ParamInvalid(fn, family == SI_AF_INET    ? "addrLen < SI_INADDR_LEN"
                            : family == SI_AF_INET6 ? "addrLen < SI_IN6ADDR_LEN"
                                                    : "addrLen < SI_UDS_PATH_LEN");
  }
  SI_SOCK s{NI_INVALID_SOCK, family, SI_SOCK_STREAM, 0};
  NI_NODEADDR addr;
  uint16_t net = 0;
  char path[kUdsPathLen] = "";
  // The path is cut to 107 bytes; without a socket an empty one stays empty.
  ZUL_RAW copy[kUdsPathLen] = {};
  const ZUL_RAW *raw = pAddr;
  if (family == SI_AF_UNIX) {
    std::memcpy(copy, pAddr, kUdsPathLen - 1);
    raw = copy;
  }
  NiISolveSockAddr(&s, raw, port, &addr, &net, path, sizeof path);
  if (pNodeAddr != nullptr) *pNodeAddr = addr;
  if (pServNo != nullptr) *pServNo = NiHostServno(net);
  if (pPath != nullptr) {
    Widen(path, pPath, static_cast<size_t>(pathLen));
  }
  return ZUL_O_K;
}

int NiConvSiAddr2(const void *pSockAddr, int sockAddrLen, NI_NODEADDR *pNodeAddr, uint16_t *pServNo,
                  ZUL_UTF16 *pPath, int pathLen) noexcept {
  const char *fn = "NiConvSiAddr2";
  if (pSockAddr == nullptr) return ParamInvalid(fn, "pSockAddr == NULL");
  if (sockAddrLen < static_cast<int>(sizeof(sa_family_t)))
    return ParamInvalid(fn, "sockAddrLen < sizeof(sa_family_t)");
  sockaddr_storage sa{};
  std::memcpy(
      &sa, pSockAddr,
      static_cast<size_t>(sockAddrLen) < sizeof sa ? static_cast<size_t>(sockAddrLen) : sizeof sa);
  ZUL_RAW raw[kUdsPathLen] = {};
  uint16_t port = 0;
  SI_SOCK s{NI_INVALID_SOCK, sa.ss_family, SI_SOCK_STREAM, 0};
  if (SiConvSockAddr(&s, &sa, sockAddrLen, raw, kUdsPathLen, &port) != SI_OK)
    return ParamInvalid(fn, "SiConvSockAddr(pSockAddr) != SI_OK");
  return NiConvSiAddr(sa.ss_family, raw, kUdsPathLen, port, pNodeAddr, pServNo, pPath, pathLen);
}

int NiSetTCP_NoDelay(int hdl, int on) noexcept { return SetOpt(hdl, kNoDelay, on != 0); }
int NiGetTCP_NoDelay(int hdl, int *pOn) noexcept { return GetOpt(hdl, kNoDelay, pOn); }
int NiSetSO_RcvBuf(int hdl, int size) noexcept { return SetOpt(hdl, kRcvBuf, size); }
int NiGetSO_RcvBuf(int hdl, int *pSize) noexcept { return GetOpt(hdl, kRcvBuf, pSize); }
int NiSetSO_SndBuf(int hdl, int size) noexcept { return SetOpt(hdl, kSndBuf, size); }
int NiGetSO_SndBuf(int hdl, int *pSize) noexcept { return GetOpt(hdl, kSndBuf, pSize); }
int NiSetSO_KeepAlive(int hdl, int on) noexcept { return SetOpt(hdl, kKeepAlive, on != 0); }
int NiGetSO_KeepAlive(int hdl, int *pOn) noexcept { return GetOpt(hdl, kKeepAlive, pOn); }
int NiSetSO_ReuseAddr(int hdl, int on) noexcept { return SetOpt(hdl, kReuseAddr, on != 0); }
int NiGetSO_ReuseAddr(int hdl, int *pOn) noexcept { return GetOpt(hdl, kReuseAddr, pOn); }

int NiSetSO_Linger(int hdl, int onOff, int seconds) noexcept {
  const char *fn = "NiSetSO_Linger";
  int rc = ZUL_O_K;
  NITAB *p = OptHdl(hdl, fn, false, &rc);
  if (p == nullptr) return rc;
  int32_t on = onOff != 0, secs = seconds;
  SI_OPTVAL v{&on, 4, &secs, 4};
  return NiISetSockOpt(p, SI_SOL_SOCKET, SI_SO_LINGER, &v, "SOL_SOCKET-SO_LINGER");
}

int NiGetSO_Linger(int hdl, int *pOnOff, int *pSeconds) noexcept {
  const char *fn = "NiGetSO_Linger";
  int rc = ZUL_O_K;
  NITAB *p = OptHdl(hdl, fn, false, &rc);
  if (p == nullptr) return rc;
  if (pOnOff == nullptr || pSeconds == nullptr)
    return ParamInvalid(fn, "pOnOff == NULL || pSeconds == NULL");
  int32_t on = 0, secs = 0;
  SI_OPTVAL v{&on, 4, &secs, 4};
  rc = NiIGetSockOpt(p, SI_SOL_SOCKET, SI_SO_LINGER, &v, "SOL_SOCKET-SO_LINGER");
  if (rc == ZUL_O_K) {
    *pOnOff = on;
    *pSeconds = secs;
  }
  return rc;
}
