// Binding and listening: the port search in a range, and listeners on an IP socket, a local
// socket or both on the same port.
#define DPTRC_MODULE u"nixxi"

#include <arpa/inet.h>

#include <atomic>
#include <cstring>

#include "ni/nixxi_con.h"
#include "zul_dptrace.h"

using namespace ni;

namespace {

constexpr uint16_t kFindServ = 0xFFFF;
constexpr int kListenRounds = 20;

// The port after the last one a search took, process-wide, in host order; 0 before the first.
// Not locked: two searches at once may try the same port, and the loser tries the next.
std::atomic<int> gLastPort{0};

struct SearchRange {
  int lo, hi;
  bool inc, cont;
};

SearchRange ReadRange() {
  SearchRange r{};
  MtxGuard lock(gParamLock);
  if (gParams.portRange != 0) {
    r.lo = gParams.minPort == 0 ? 1 : gParams.minPort;
    r.hi = gParams.maxPort;
  } else {
    r.lo = 10000;
    r.hi = 65000;
  }
  r.inc = gParams.incServNo != 0;
  r.cont = gParams.contInRange != 0;
  return r;
}

// Binds the socket to the first free port of the range, from where the last search stopped.
int SearchPort(NITAB *p, SI_SOCK *s, const NI_NODEADDR *addr, uint16_t *pServNo) {
  const char *fn = "NiIBind";
  // A port that another socket holds in reuse mode must count as taken.
  int32_t off = 0;
  SI_OPTVAL v{&off, 4, nullptr, 0};
  SiSetSockOpt(s, SI_SOL_SOCKET, SI_SO_REUSEADDR, &v);
  SearchRange r = ReadRange();
  int last = gLastPort.load(std::memory_order_relaxed);
  int port = r.cont && last >= r.lo && last <= r.hi ? last : r.inc ? r.lo : r.hi;
  int lastErrno = 0;
  for (int i = 0; i < r.hi - r.lo + 1; ++i) {
    int tried = port;
    if (r.inc)
      port = port >= r.hi ? r.lo : port + 1;
    else
      port = port <= r.lo ? r.hi : port - 1;
    uint16_t net = htons(static_cast<uint16_t>(tried));
    int rc = NiIBindSocket(p, s, addr, &net, 0);
    if (rc == ZUL_O_K) {
      gLastPort.store(port, std::memory_order_relaxed);
      *pServNo = net;
      return ZUL_O_K;
    }
    if (rc != NIESERV_USED) return rc;
    lastErrno = static_cast<int>(s->lastError);
    DPTRC_A7(p->mTrace ? 1 : 2, tf, "%s: port %u already used (errno=%d) ...\n", fn,
             static_cast<unsigned>(tried), lastErrno);
  }
  DPTRC_A7(1, tf, "%s: no more free ports (hdl %d; [%d,%d]; last port: %d; %d: %s)\n", fn,
           p->handle, r.lo, r.hi, port, lastErrno, std::strerror(lastErrno));
  return Refuse(kModInternal, __LINE__, NIENOFREEPORT, 1,
                "%s: no free port for hdl %d within min %d max %d", fn, p->handle, r.lo, r.hi);
}

int ListenOn(NITAB *p, SI_SOCK *s, int backlog) {
  if (s->socket == NI_INVALID_SOCK) return ZUL_O_K;
  int rc;
  do rc = SiListen(s, backlog);
  while (rc == SI_EINTR);
  if (rc == SI_OK) return ZUL_O_K;
  NiISystemError(rc, kSiListen, p, s, static_cast<int>(s->lastError), nullptr, nullptr, nullptr,
                 "NiIListen", kModInternal, __LINE__, 1);
  return NIEINTERN;
}

// What one round of NiIListen ended with: a listener, a failure, or a failed bind that a further
// round with the next port may cure.
enum class Round { kDone, kFailed, kBindFailed };

Round ListenRound(const NI_NODEADDR *pNodeAddr, uint16_t *pServNo, int protocol, NITAB **ppHdl,
                  int *pRc) {
  const char *fn = "NiIListen";
  NITAB *p = nullptr;
  if ((*pRc = NiICreateHandle(&p, NI_INITIAL_LIS, nullptr)) != ZUL_O_K) return Round::kFailed;
  int switchFamily = NiIsIPv6Activated() ? SI_AF_INET6 : SI_AF_INET;
  int ipFamily = -1;
  bool uds = false;
  if (protocol == NI_PROTO_FAM_UNSPEC) {
    ipFamily = switchFamily;
    uds = pNodeAddr == nullptr && NiIUseUDS(0) != 0;
  } else {
    int ip = protocol & (NI_PROTO_FAM_IPv4 | NI_PROTO_FAM_IPv6);
    ipFamily = ip == (NI_PROTO_FAM_IPv4 | NI_PROTO_FAM_IPv6) ? switchFamily
               : ip == NI_PROTO_FAM_IPv4                     ? SI_AF_INET
               : ip == NI_PROTO_FAM_IPv6                     ? SI_AF_INET6
                                                             : -1;
    if ((protocol & NI_PROTO_FAM_LOCAL) != 0) {
      int useUds = NiIUseUDS(1);
      int loopback = ip == 0 || pNodeAddr == nullptr || IsLoopback(*pNodeAddr) ? 1 : 0;
      if (useUds == 0 || loopback == 0) {
        NiICloseHandle(p, 0, 0);
        *pRc = Refuse(kModInternal, __LINE__, NIEINVAL, 1, "%s: invalid protocol %d (%d/%d)", fn,
                      protocol, useUds, loopback);
        return Round::kFailed;
      }
      uds = true;
    }
  }
  int rc = ZUL_O_K;
  if (ipFamily >= 0) {
    p->lis.mIPSocket = SI_SOCK{NI_INVALID_SOCK, ipFamily, SI_SOCK_STREAM, 0};
    rc = NiIInitSocket(p, &p->lis.mIPSocket, 0);
  }
  if (rc == ZUL_O_K && uds) {
    p->lis.mUDSocket = SI_SOCK{NI_INVALID_SOCK, SI_AF_UNIX, SI_SOCK_STREAM, 0};
    rc = NiIInitSocket(p, &p->lis.mUDSocket, 0);
  }
  if (rc != ZUL_O_K) {
    NiICloseHandle(p, 0, 0);
    *pRc = rc;
    return Round::kFailed;
  }
  uint16_t port = *pServNo;
  rc = NiIBind(p, pNodeAddr, &port, (protocol & NI_PROTO_FAM_LOCAL) != 0 ? 1 : 0);
  if (rc != ZUL_O_K) {
    // The local socket was not bound: its path, if any, is another's.
    NiICloseHandle(p, 0, 0);
    *pRc = rc;
    return uds ? Round::kBindFailed : Round::kFailed;
  }
  NiIBlockMode(p, 0);  // a failure is reported, and the listener works all the same
  int backlog;
  {
    MtxGuard lock(gParamLock);
    backlog = static_cast<int>(gParams.queueLen);
  }
  rc = ListenOn(p, &p->lis.mIPSocket, backlog);
  if (rc == ZUL_O_K) rc = ListenOn(p, &p->lis.mUDSocket, backlog);
  if (rc != ZUL_O_K) {
    NiICloseHandle(p, 1, 0);
    *pRc = -1;
    return Round::kFailed;
  }
  NiISetStat(p, NI_LISTEN, fn);
  *pServNo = port;
  *ppHdl = p;
  *pRc = ZUL_O_K;
  return Round::kDone;
}

}  // namespace

int NiIBind(NITAB *pHdl, const NI_NODEADDR *pNodeAddr, uint16_t *pServNo,
            int mustBindUds) noexcept {
  const char *fn = "NiIBind";
  bool listener = pHdl->mType == NI_INITIAL_LIS;
  SI_SOCK *target = nullptr;
  if (listener) {
    if (pHdl->lis.mIPSocket.socket != NI_INVALID_SOCK) target = &pHdl->lis.mIPSocket;
  } else if (pHdl->mType == NI_INITIAL_CON || pHdl->mType == NI_DG_CONNECTED ||
             pHdl->mType == NI_DG_UNCONNECTED) {
    target = &pHdl->con.mSocket;
  } else {
    return Refuse(kModInternal, __LINE__, NIEINTERN, 1, "%s: invalid type (%d) of hdl %d", fn,
                  pHdl->mType, pHdl->handle);
  }
  if (target != nullptr) {
    int rc = *pServNo != kFindServ ? NiIBindSocket(pHdl, target, pNodeAddr, pServNo, 1)
                                   : SearchPort(pHdl, target, pNodeAddr, pServNo);
    if (rc != ZUL_O_K) return rc;
  }
  const char *what = "";
  if (listener && pHdl->lis.mUDSocket.socket != NI_INVALID_SOCK) {
    uint16_t port = *pServNo;
    int rc = NiIBindSocket(pHdl, &pHdl->lis.mUDSocket, nullptr, &port, mustBindUds);
    if (rc != ZUL_O_K) {
      if (mustBindUds != 0) return rc;
      CloseSocket(&pHdl->lis.mUDSocket);
      DPTRC_WARN_A7(
          tf, "%s: Could not bind local domain socket, only listening on internet socket\n", fn);
    }
  }
  if (listener) what = pHdl->lis.mUDSocket.socket != NI_INVALID_SOCK ? " (inc. UDS)" : " (IP only)";
  char bound[NI_NODEADDR_STR_LEN + 8];
  AddrPortText(pNodeAddr != nullptr ? pNodeAddr : &NI_ADDR_ANY_INIT, *pServNo, bound, sizeof bound);
  DPTRC_A7(pHdl->mTrace ? 1 : 2, tf, "%s: hdl %d bound to %s%s\n", fn, pHdl->handle, bound, what);
  return ZUL_O_K;
}

int NiIListen(const NI_NODEADDR *pNodeAddr, uint16_t *pServNo, int protocol, int buffered,
              int tries, NITAB **ppHdl) noexcept {
  const char *fn = "NiIListen";
  for (int round = tries + 1;; ++round) {
    int rc = ZUL_O_K;
    Round r = ListenRound(pNodeAddr, pServNo, protocol, ppHdl, &rc);
    if (r == Round::kDone) {
      if (buffered != 0) (*ppHdl)->lis.mpInitFunc = NiBufIHdlInit;  // each accepted one is buffered
      return ZUL_O_K;
    }
    // Another process may own the local path of a port that was free on IP: search on.
    if (r != Round::kBindFailed || *pServNo != kFindServ || rc >= -1) return rc;
    if (round >= kListenRounds) {
      DPTRC_A7(1, tf, "%s: failed to bind UDS (rc=%d;loops=%d)\n", fn, rc, round);
      return rc;
    }
  }
}
