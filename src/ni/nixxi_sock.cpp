// Socket set-up for handles: the helpers of the connection paths, the report of a socket layer
// failure, the default options of every socket, addresses, and the local socket files.
#define DPTRC_MODULE u"nixxi"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "ni/nixxi_con.h"
#include "zul_dptrace.h"
#include "zul_err.h"

using namespace ni;

namespace {

constexpr const char16_t *kComponent = u"NI (network interface)";
constexpr int kComponentVersion = 40;
constexpr int kUdsAddrLen = 108;

std::atomic<bool> gByteOrderTraced{false};

bool IsMapped(const NI_NODEADDR &a) {
  return std::memcmp(a.addr, NI_ADDR_ANY_I4_INIT.addr, 12) == 0;
}

// 8-bit copy of 16-bit text; other than 7-bit characters become '#'.
void Narrow(const ZUL_UTF16 *in, char *out, size_t size) {
  size_t n = 0;
  for (; in != nullptr && in[n] != 0 && n + 1 < size; ++n)
    out[n] = in[n] < 0x80 ? static_cast<char>(in[n]) : '#';
  out[n] = '\0';
}

// 16-bit copy of 8-bit text; with asFormat a '%' is doubled so that the text prints as itself.
void Widen(const char *in, ZUL_UTF16 *out, size_t size, bool asFormat) {
  size_t n = 0;
  for (; *in != '\0' && n + 2 < size; ++in) {
    if (asFormat && *in == '%') out[n++] = u'%';
    out[n++] = static_cast<unsigned char>(*in);
  }
  out[n] = 0;
}

const char *FamilyName(int family) {
  return family == SI_AF_INET ? "AF_INET" : family == SI_AF_INET6 ? "AF_INET6" : "AF_UNIX";
}

const char *TypeName(int type) { return type == SI_SOCK_DGRAM ? "SOCK_DGRAM" : "SOCK_STREAM"; }

int SetIntOpt(SI_SOCK *s, int level, int option, int32_t value) {
  SI_OPTVAL v{&value, 4, nullptr, 0};
  int rc;
  do rc = SiSetSockOpt(s, level, option, &v);
  while (rc == SI_EINTR);
  return rc;
}

int GetIntOpt(SI_SOCK *s, int level, int option, int32_t *value) {
  SI_OPTVAL v{value, 4, nullptr, 0};
  int rc;
  do rc = SiGetSockOpt(s, level, option, &v);
  while (rc == SI_EINTR);
  return rc;
}

// An option of the defaults; a failure is reported and the set-up goes on. SI_EINVAL is left
// unreported where the caller says so.
void DefaultOpt(NITAB *p, SI_SOCK *s, int level, int option, int32_t value, const char *text,
                bool quietEinval) {
  int rc = SetIntOpt(s, level, option, value);
  if (rc == SI_OK || (rc == SI_EINVAL && quietEinval)) return;
  ConnSysError(rc, kSiSetSockOpt, p, s, text, nullptr, nullptr, "NiIInitSocket", __LINE__, 1);
}

// Raises a buffer to NIP_SOCKET_BUFFER_SIZE when the system's is smaller.
void RaiseBuffer(NITAB *p, SI_SOCK *s, int option, const char *text, int32_t wanted) {
  int32_t size = 0;
  int rc = GetIntOpt(s, SI_SOL_SOCKET, option, &size);
  if (rc != SI_OK) {
    ConnSysError(rc, kSiGetSockOpt, p, s, text, nullptr, nullptr, "NiIInitSocket", __LINE__, 1);
    return;
  }
  if (size < wanted) DefaultOpt(p, s, SI_SOL_SOCKET, option, wanted, text, false);
}

}  // namespace

namespace ni {

bool IsLoopback(const NI_NODEADDR &addr) noexcept {
  return std::memcmp(&addr, &NI_ADDR_LOCAL_I4_INIT, 16) == 0 ||
         std::memcmp(&addr, &NI_ADDR_LOCAL_I6_INIT, 16) == 0;
}

bool LocalAddrByBind(const NI_NODEADDR &addr) noexcept {
  if (IsLoopback(addr)) return true;
  if (std::memcmp(&addr, &NI_ADDR_ANY_I4_INIT, 16) == 0 ||
      std::memcmp(&addr, &NI_ADDR_ANY_I6_INIT, 16) == 0)
    return false;
  bool v4 = IsMapped(addr);
  int fd = socket(v4 ? AF_INET : AF_INET6, SOCK_DGRAM, 0);
  if (fd < 0) return false;
  int rc;
  if (v4) {
    sockaddr_in sa{};
    sa.sin_family = AF_INET;
    std::memcpy(&sa.sin_addr, addr.addr + 12, 4);
    rc = bind(fd, reinterpret_cast<sockaddr *>(&sa), sizeof sa);
  } else {
    sockaddr_in6 sa{};
    sa.sin6_family = AF_INET6;
    std::memcpy(&sa.sin6_addr, addr.addr, 16);
    rc = bind(fd, reinterpret_cast<sockaddr *>(&sa), sizeof sa);
  }
  close(fd);
  return rc == 0;
}

void AddrPortText(const NI_NODEADDR *pAddr, uint16_t port, char *out, size_t size) noexcept {
  ZUL_UTF16 text[NI_NODEADDR_STR_LEN];
  if (pAddr == nullptr || NiAddrToStr(pAddr, text, NI_NODEADDR_STR_LEN, 0) != ZUL_O_K) text[0] = 0;
  char host[NI_NODEADDR_STR_LEN];
  Narrow(text, host, sizeof host);
  std::snprintf(out, size, "%s%c%u", host, static_cast<char>(NiIGetAddrPortSep(text)),
                static_cast<unsigned>(ntohs(port)));
}

void SetStat(NITAB *pHdl, int stat, const char *funcName) noexcept {
  pHdl->mType = static_cast<uint8_t>(stat);
  DPTRC_A7(pHdl->mTrace ? 1 : 2, tf, "%s: state of hdl %d %s\n", funcName, pHdl->handle,
           StatName8(stat));
}

int SetBlockMode(NITAB *pHdl, SI_SOCK *pSock, int blocking) noexcept {
  int rc;
  do rc = SiSetBlockMode(pSock, blocking);
  while (rc == SI_EINTR);
  if (rc == SI_OK) {
    pHdl->mBlockMode = static_cast<uint8_t>(blocking);
    return ZUL_O_K;
  }
  return ConnSysError(rc, kSiSetBlockMode, pHdl, pSock, nullptr, nullptr, nullptr, "NiIBlockMode",
                      __LINE__, 1);
}

void UdsPath(uint16_t port, char *out) noexcept {
  ZUL_UTF16 format[NI_UDS_PATH_LEN];
  ThrMtxLock(&gParamLock);
  std::memcpy(format, gParams.udsPath, sizeof format);
  ThrMtxUnlock(&gParamLock);
  // The format is the user's: only "%d" and "%%" are read, so no other conversion can misfire.
  char number[8];
  int numberLen = std::snprintf(number, sizeof number, "%u", static_cast<unsigned>(port));
  size_t n = 0;
  for (size_t i = 0; format[i] != 0 && n + 1 < kUdsAddrLen; ++i) {
    if (format[i] == u'%' && format[i + 1] == u'd') {
      for (int k = 0; k < numberLen && n + 1 < kUdsAddrLen; ++k) out[n++] = number[k];
      ++i;
    } else if (format[i] == u'%' && format[i + 1] == u'%') {
      out[n++] = '%';
      ++i;
    } else {
      out[n++] = format[i] < 0x80 ? static_cast<char>(format[i]) : '#';
    }
  }
  out[n] = '\0';
}

int ConnSysError(int siRc, int siFunc, NITAB *pHdl, SI_SOCK *pSock, const char *extraText,
                 const NI_NODEADDR *pAddr, const uint16_t *pPort, const char *funcName, int line,
                 int isError) noexcept {
  bool onBind = siFunc == kSiBind;
  bool local = pSock != nullptr && pSock->family == SI_AF_UNIX;
  int rc;
  switch (siRc) {
    case SI_EINVAL:
    case SI_EINVAL_SOCK:
    case SI_EMFILE:
      rc = NIEINVAL;
      break;
    case SI_EADDR_NAVAIL:
    case SI_ECONN_REFUSE:
      rc = !onBind ? NIECONN_REFUSED : local ? NIESERV_USED : NIEMYHOST_VERIFY;
      break;
    case SI_EPORT_INUSE:
      rc = NIESERV_USED;
      break;
    case SI_ECONN_BROKEN:
      rc = NIECONN_BROKEN;
      break;
    case SI_ETIMEOUT:
      rc = siFunc == kSiConnect || siFunc == kSiPeekPendConn ? NIECONN_REFUSED : NIETIMEOUT;
      break;
    default:
      rc = NIEINTERN;
      break;
  }
  // The partner (or the bound address) as the code's text names it.
  char partner[kUdsAddrLen] = "";
  if (pSock != nullptr && local && pPort != nullptr)
    UdsPath(ntohs(*pPort), partner);
  else if (pAddr != nullptr)
    AddrPortText(pAddr, pPort != nullptr ? *pPort : 0, partner, sizeof partner);
  ZUL_UTF16 partner16[sizeof partner];
  Widen(partner, partner16, sizeof partner, false);
  char wrapper[32];
  char syscall[32];
  Narrow(SiGetFuncName(siFunc), wrapper, sizeof wrapper);
  Narrow(SiGetLibFuncName(siFunc), syscall, sizeof syscall);
  unsigned lastError = pSock != nullptr ? pSock->lastError : 0;
  char siName[24] = "?";
  if (const ZUL_UTF16 *name = SiGetSiErrorName(siRc); name != nullptr)
    Narrow(name, siName, sizeof siName);
  char detail[256];
  std::snprintf(detail, sizeof detail, "%s: %s failed (%s/%u%s%s)", funcName, wrapper, siName,
                lastError, extraText != nullptr ? "; " : "", extraText != nullptr ? extraText : "");
  ZUL_UTF16 detail16[sizeof detail * 2];
  Widen(detail, detail16, sizeof detail16 / sizeof detail16[0], true);
  ZUL_UTF16 syscall16[sizeof syscall];
  Widen(syscall, syscall16, sizeof syscall, false);
  // The code's text is the format of the description; those with a "%s" take the partner.
  ErrSetSys(kComponent, kComponentVersion, kModInternal, line, 0, NiIErrorText(rc), rc, detail16,
            syscall16, static_cast<int>(lastError), partner16);
  const char *sep = extraText != nullptr ? "; " : "";
  const char *extra = extraText != nullptr ? extraText : "";
  char text[512];
  if (pSock != nullptr && pHdl != nullptr)
    std::snprintf(text, sizeof text,
                  "%s: %s failed for hdl %d/sock %d\n    (%s/%u; %s; %s; %s%s%s)\n", funcName,
                  wrapper, pHdl->handle, pSock->socket, siName, lastError,
                  FamilyName(pSock->family), TypeName(pSock->type), partner, sep, extra);
  else
    std::snprintf(text, sizeof text, "%s: %s failed (%s/%u; %s%s%s)\n", funcName, wrapper, siName,
                  lastError, partner, sep, extra);
  if (isError)
    DPTRC_ERR_A7(tf, "%s", text);
  else
    DPTRC_A7(1, tf, "%s", text);
  return rc;
}

}  // namespace ni

int NiIUseUDS(int forced) noexcept {
  if (forced == 0) {
    ThrMtxLock(&gParamLock);
    bool on = gParams.connLocal != 0;
    ThrMtxUnlock(&gParamLock);
    if (!on) return 0;
  }
  return SI_UDS_SUPPORTED;
}

int NiIInitSocket(NITAB *pHdl, SI_SOCK *pSock, int /*ignored*/) noexcept {
  const char *fn = "NiIInitSocket";
  bool created = false;
  if (pSock->socket == NI_INVALID_SOCK) {
    int rc;
    do rc = SiSocket(pSock, pSock->family, pSock->type);
    while (rc == SI_EINTR);
    if (rc != SI_OK) {
      char text[64];
      Narrow(SiGetSiErrorName(rc), text, sizeof text);
      DPTRC_A7(1, tf, "%s: SiSocket failed (sirc=%d; %s; %s; errno=%u: %s)\n", fn, rc,
               FamilyName(pSock->family), TypeName(pSock->type), pSock->lastError,
               std::strerror(static_cast<int>(pSock->lastError)));
      ConnSysError(rc, kSiSocket, pHdl, pSock, nullptr, nullptr, nullptr, fn, __LINE__, 1);
      pSock->socket = NI_INVALID_SOCK;
      return -1;
    }
    created = true;
  }
  // Poll is there, so socket numbers have no limit; the highest is kept for the select sets.
  int high = gOwnHigh.load(std::memory_order_relaxed);
  while (pSock->socket > high &&
         !gOwnHigh.compare_exchange_weak(high, pSock->socket, std::memory_order_relaxed)) {
  }
  if (int rc = SiSetCloseExec(pSock, 1); rc != SI_OK)
    ConnSysError(rc, kSiSetCloseExec, pHdl, pSock, nullptr, nullptr, nullptr, fn, __LINE__, 1);
  if (pSock->family != SI_AF_UNIX) {
    ThrMtxLock(&gParamLock);
    auto wanted = static_cast<int32_t>(gParams.socketBufferSize);
    ThrMtxUnlock(&gParamLock);
    RaiseBuffer(pHdl, pSock, SI_SO_RCVBUF, "SOL_SOCKET-SO_RCVBUF", wanted);
    RaiseBuffer(pHdl, pSock, SI_SO_SNDBUF, "SOL_SOCKET-SO_SNDBUF", wanted);
  }
  if (pSock->type == SI_SOCK_STREAM) {
    if (pSock->family != SI_AF_UNIX) {
      DefaultOpt(pHdl, pSock, SI_IPPROTO_TCP, SI_TCP_NODELAY, 1, "IPPROTO_TCP-TCP_NODELAY", true);
      DefaultOpt(pHdl, pSock, SI_SOL_SOCKET, SI_SO_REUSEADDR, 1, "SOL_SOCKET-SO_REUSEADDR", true);
      int rc = SetIntOpt(pSock, SI_SOL_SOCKET, SI_SO_KEEPALIVE, 0);
      if (rc == SI_EINVAL) {
        // The peer reset the connection before it was taken.
        char peer[NI_NODEADDR_STR_LEN + 8];
        AddrPortText(&pHdl->con.mPeerAddr, pHdl->con.mPeerServ, peer, sizeof peer);
        DPTRC_A7(1, tf,
                 "*** WARNING => %s: connection from %s has been already shut down (hdl %d)\n", fn,
                 peer, pHdl->handle);
      } else if (rc != SI_OK) {
        ConnSysError(rc, kSiSetSockOpt, pHdl, pSock, "SOL_SOCKET-SO_KEEPALIVE", nullptr, nullptr,
                     fn, __LINE__, 1);
      }
    }
  } else if (pSock->type == SI_SOCK_DGRAM) {
    // SO_REUSEPORT is the same option here.
    DefaultOpt(pHdl, pSock, SI_SOL_SOCKET, SI_SO_REUSEADDR, 1, "SOL_SOCKET-SO_REUSEADDR", false);
  } else {
    int type = pSock->type;
    SiClose(pSock);
    pSock->socket = NI_INVALID_SOCK;
    return Refuse(kModInternal, __LINE__, NIEINVAL, 1, "%s: invalid socket type (%d)", fn, type);
  }
  DPTRC_A7(pHdl->mTrace ? 1 : 2, tf, "%s: set default settings for %shdl %d/sock %d (%s; %s)\n", fn,
           created ? "new " : "", pHdl->handle, pSock->socket, FamilyName(pSock->family),
           TypeName(pSock->type));
  return ZUL_O_K;
}

int NiIMakeSockAddr(NITAB *pHdl, SI_SOCK *pSock, const NI_NODEADDR *pNodeAddr, uint16_t port,
                    ZUL_RAW *pBuffer, int *pLen) noexcept {
  const char *fn = "NiIMakeSockAddr";
  if (!gByteOrderTraced.exchange(true))
    DPTRC_A7(2, tf, "%s: byte order of this host is %s\n", fn,
             htons(1) == 1 ? "big endian" : "little endian");
  if (pSock->family == SI_AF_INET) {
    if (!IsMapped(*pNodeAddr)) {
      ZUL_UTF16 text[NI_NODEADDR_STR_LEN];
      NiAddrToStr(pNodeAddr, text, NI_NODEADDR_STR_LEN, 0);
      char addr[NI_NODEADDR_STR_LEN];
      Narrow(text, addr, sizeof addr);
      return Refuse(kModInternal, __LINE__, NIEINVAL, 1,
                    "%s: IPv6 address '%s' not supported by hdl %d with AF_INET sock %d (probably "
                    "IPv6 not enabled (%s))",
                    fn, addr, pHdl->handle, pSock->socket,
                    NiIsIPv6Activated() ? "IPv6 active" : "IPv4 only");
    }
    std::memcpy(pBuffer, pNodeAddr->addr + 12, 4);
    *pLen = 4;
  } else if (pSock->family == SI_AF_INET6) {
    if (std::memcmp(pNodeAddr, &NI_ADDR_ANY_I4_INIT, 16) == 0) {
      char proto[32];
      Narrow(NiGetProtoName(gUseIpProto), proto, sizeof proto);
      DPTRC_WARN_A7(tf,
                    "%s: probably requested address 0.0.0.0 can't be assign to IPv6 socket (hdl "
                    "%d/sock %d; NI_USE_IP_PROTO=%s)\n",
                    fn, pHdl->handle, pSock->socket, proto);
    }
    std::memcpy(pBuffer, pNodeAddr->addr, 16);
    *pLen = 16;
  } else {
    std::memset(pBuffer, 0, kUdsAddrLen);
    UdsPath(ntohs(port), reinterpret_cast<char *>(pBuffer));
    *pLen = kUdsAddrLen;
  }
  return ZUL_O_K;
}

void NiISolveSockAddr(SI_SOCK *pSock, const ZUL_RAW *pAddr, uint16_t port, NI_NODEADDR *pNodeAddr,
                      uint16_t *pPort, char *pPath, size_t pathLen) noexcept {
  if (pPath != nullptr && pathLen > 0) pPath[0] = '\0';
  if (pSock->family == SI_AF_INET) {
    *pNodeAddr = NI_ADDR_ANY_I4_INIT;
    std::memcpy(pNodeAddr->addr + 12, pAddr, 4);
    *pPort = port;
  } else if (pSock->family == SI_AF_INET6) {
    std::memcpy(pNodeAddr->addr, pAddr, 16);
    *pPort = port;
  } else {
    *pNodeAddr = NI_ADDR_LOCAL_INIT;
    *pPort = 0;
    if (pPath == nullptr || pathLen == 0) return;
    ZUL_RAW own[kUdsAddrLen] = {};
    const ZUL_RAW *path = pAddr;
    if (path == nullptr || path[0] == 0) {
      SiGetSockName(pSock, own, kUdsAddrLen, nullptr);
      path = own;
    }
    std::snprintf(pPath, pathLen, "%s", reinterpret_cast<const char *>(path));
  }
}

int NiIBindSocket(NITAB *pHdl, SI_SOCK *pSock, const NI_NODEADDR *pNodeAddr, uint16_t *pPort,
                  int isError) noexcept {
  const char *fn = "NiIBindSocket";
  const NI_NODEADDR *addr = pNodeAddr != nullptr ? pNodeAddr : &NI_ADDR_ANY_INIT;
  ZUL_RAW buf[kUdsAddrLen];
  int len = 0;
  if (int rc = NiIMakeSockAddr(pHdl, pSock, addr, *pPort, buf, &len); rc != ZUL_O_K) return rc;
  if (pSock->family == SI_AF_UNIX) {
    // A file left by an earlier listener of this port would make the bind fail.
    const char *path = reinterpret_cast<const char *>(buf);
    if (std::remove(path) != 0 && errno != ENOENT) {
      int err = errno;
      return Refuse(kModInternal, __LINE__, NIESERV_USED, 1,
                    "%s: could not delete file '%s' (hdl %d; errno=%d)", fn, path, pHdl->handle,
                    err);
    }
  }
  int rc;
  do rc = SiBind(pSock, buf, len, *pPort);
  while (rc == SI_EINTR);
  if (rc != SI_OK) {
    int err = rc == SI_EPORT_INUSE ? isError : 1;
    int nirc = ConnSysError(rc, kSiBind, pHdl, pSock, nullptr, addr, pPort, fn, __LINE__, err);
    return nirc == NIEINVAL ? NIEINTERN : nirc;
  }
  if (*pPort == 0 && pSock->family != SI_AF_UNIX) SiGetSockName(pSock, buf, 16, pPort);
  return ZUL_O_K;
}
