// Socket set-up for handles: the default options of every socket, socket addresses both ways,
// binding one socket, and the local socket paths.
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

constexpr int kUdsAddrLen = 108;

std::atomic<bool> gByteOrderTraced{false};

// The socket's family and type as the traces name them.
struct SockNames {
  char family[16], type[16];
  explicit SockNames(const SI_SOCK &s) {
    Narrow(SiGetFamilyName(s.family), family, sizeof family);
    Narrow(SiGetTypeName(s.type), type, sizeof type);
  }
};

// A failure of an option of the defaults: reported, and the set-up goes on.
void OptFailed(NITAB *p, SI_SOCK *s, int rc, int siFunc, const char *text) {
  NiISystemError(rc, siFunc, p, s, static_cast<int>(s->lastError), text, nullptr, nullptr,
                 "NiIInitSocket", kModInternal, __LINE__, 1);
}

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
  OptFailed(p, s, rc, kSiSetSockOpt, text);
}

// Raises a buffer to NIP_SOCKET_BUFFER_SIZE when the system's is smaller.
void RaiseBuffer(NITAB *p, SI_SOCK *s, int option, const char *text, int32_t wanted) {
  int32_t size = 0;
  int rc = GetIntOpt(s, SI_SOL_SOCKET, option, &size);
  if (rc != SI_OK) {
    OptFailed(p, s, rc, kSiGetSockOpt, text);
    return;
  }
  if (size < wanted) DefaultOpt(p, s, SI_SOL_SOCKET, option, wanted, text, false);
}

}  // namespace

namespace ni {

void AddrPortText(const NI_NODEADDR *pAddr, uint16_t port, char *out, size_t size) noexcept {
  ZUL_UTF16 text[NI_NODEADDR_STR_LEN];
  if (pAddr == nullptr || NiAddrToStr(pAddr, text, NI_NODEADDR_STR_LEN, 0) != ZUL_O_K) text[0] = 0;
  char host[NI_NODEADDR_STR_LEN];
  Narrow(text, host, sizeof host);
  std::snprintf(out, size, "%s%c%u", host, static_cast<char>(NiIGetAddrPortSep(text)),
                static_cast<unsigned>(ntohs(port)));
}

void UdsPath(uint16_t port, char *out) noexcept {
  ZUL_UTF16 format[NI_UDS_PATH_LEN];
  {
    MtxGuard lock(gParamLock);
    std::memcpy(format, gParams.udsPath, sizeof format);
  }
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

}  // namespace ni

int NiIUseUDS(int forced) noexcept {
  if (forced == 0) {
    MtxGuard lock(gParamLock);
    if (gParams.connLocal == 0) return 0;
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
      SockNames names(*pSock);
      DPTRC_A7(1, tf, "%s: SiSocket failed (sirc=%d; %s; %s; errno=%u: %s)\n", fn, rc, names.family,
               names.type, pSock->lastError, std::strerror(static_cast<int>(pSock->lastError)));
      OptFailed(pHdl, pSock, rc, kSiSocket, nullptr);
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
    OptFailed(pHdl, pSock, rc, kSiSetCloseExec, nullptr);
  if (pSock->family != SI_AF_UNIX) {
    int32_t wanted;
    {
      MtxGuard lock(gParamLock);
      wanted = static_cast<int32_t>(gParams.socketBufferSize);
    }
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
        OptFailed(pHdl, pSock, rc, kSiSetSockOpt, "SOL_SOCKET-SO_KEEPALIVE");
      }
    }
  } else if (pSock->type == SI_SOCK_DGRAM) {
    // SO_REUSEPORT is the same option here.
    DefaultOpt(pHdl, pSock, SI_SOL_SOCKET, SI_SO_REUSEADDR, 1, "SOL_SOCKET-SO_REUSEADDR", false);
  } else {
    int type = pSock->type;
    CloseSocket(pSock);
    return Refuse(kModInternal, __LINE__, NIEINVAL, 1, "%s: invalid socket type (%d)", fn, type);
  }
  SockNames names(*pSock);
  DPTRC_A7(pHdl->mTrace ? 1 : 2, tf, "%s: set default settings for %shdl %d/sock %d (%s; %s)\n", fn,
           created ? "new " : "", pHdl->handle, pSock->socket, names.family, names.type);
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
    if (SameAddr(*pNodeAddr, NI_ADDR_ANY_I4_INIT)) {
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
    int nirc = NiISystemError(rc, kSiBind, pHdl, pSock, static_cast<int>(pSock->lastError), nullptr,
                              addr, pPort, fn, kModInternal, __LINE__, err);
    return nirc == NIEINVAL ? NIEINTERN : nirc;
  }
  if (*pPort == 0 && pSock->family != SI_AF_UNIX) SiGetSockName(pSock, buf, 16, pPort);
  return ZUL_O_K;
}
