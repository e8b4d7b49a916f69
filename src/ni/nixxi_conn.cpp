// Connecting and accepting: connects that may stay pending, the local socket tried first for a
// local partner, accept on one or two sockets, the unbuffered client connect by name, and the
// check that a host name leads back to this host.
#define DPTRC_MODULE u"nixxi"

#include <arpa/inet.h>

#include <cstring>

#include "ni/nixxhs.h"
#include "ni/nibuf.h"
#include "ni/nixxi_con.h"
#include "ni/nixxi_io.h"
#include "zul_dptrace.h"
#include "zul_u16string.h"

using namespace ni;
using ni::io::Deadline;

namespace {

constexpr int kMaxConnectEaddrinuse = 20;  // NI_MAX_CONNECT_EADDRINUSE
constexpr int kMaxAcceptEagain = 10;
constexpr uint16_t kFindServ = 0xFFFF;

// The local address of a connected socket, for the trace.
void TraceLocalAddr(NITAB *p, const char *fn, int listenHdl) {
  if (ct_level < 2 && p->mTrace == 0) return;
  NI_NODEADDR addr;
  uint16_t port = 0;
  char path[109];
  if (p->con.mSocket.family == SI_AF_UNIX ||
      IQueryEnd(&p->con.mSocket, false, &addr, &port, path) != SI_OK)
    return;
  char text[NI_NODEADDR_STR_LEN + 8];
  AddrPortText(&addr, NiNetServno(port), text, sizeof text);
  DPTRC_A7(p->mTrace ? 1 : 2, tf, "%s: hdl %d took local address %s\n", fn,
           listenHdl >= 0 ? listenHdl : p->handle, text);
}

// The connection over the local socket of the port; ZUL_O_K or NIECONN_PENDING leave it in
// mSocket, anything else closes it again.
int ConnectUds(NITAB *p, const NI_NODEADDR *addr, uint16_t port, int timeout) {
  p->con.mSocket = SI_SOCK{NI_INVALID_SOCK, SI_AF_UNIX, SI_SOCK_STREAM, 0};
  int rc = NiIInitSocket(p, &p->con.mSocket, 0);
  if (rc == ZUL_O_K && SI_PEND_CONN_SUPPORTED == 1) rc = NiIBlockMode(p, 0);
  if (rc == ZUL_O_K) rc = NiIConnectSocket(p, addr, port, timeout, 0);
  if (rc != ZUL_O_K && rc != NIECONN_PENDING) CloseSocket(&p->con.mSocket);
  return rc;
}

// The local bind of a client socket by the thread's NIP_LOCAL_ADDR and NIP_PORTRANGE.
int BindClient(NITAB *p, const NI_NODEADDR *target, const char *fn) {
  ThrGlob *g = IGetThrGlob(fn);
  if (g == nullptr) return NIEINTERN;
  NI_NODEADDR local = g->mLocalAddr;
  bool set = !IsAnyAddr(local);
  bool range;
  {
    MtxGuard lock(gParamLock);
    range = gParams.portRange != 0;
  }
  int rc = ZUL_O_K;
  if (range) {
    uint16_t port = kFindServ;
    rc = NiIBind(p, set ? &local : nullptr, &port, 0);
  } else if (set) {
    uint16_t port = 0;
    rc = NiIBind(p, &local, &port, 0);
  }
  if (set && IsMapped(local) != IsMapped(*target)) {
    char to[NI_NODEADDR_STR_LEN + 8], over[NI_NODEADDR_STR_LEN + 8];
    AddrPortText(target, 0, to, sizeof to);
    AddrPortText(&local, 0, over, sizeof over);
    DPTRC_WARN_A7(tf, "%s: hdl %d tries to connect to '%s' over interface '%s'\n", fn, p->handle,
                  to, over);
  }
  return rc;
}

int AcceptTimeout(NITAB *pL, int timeout) {
  return Refuse(kModInternal, __LINE__, NIETIMEOUT, 2, "%s: no connection for hdl %d in %dms",
                "NiIAccept", pL->handle, timeout);
}

// Takes one connection from the listener within the time-out into *pNew, with the peer's
// address bytes and port. With two sockets the wait tells which one has a connection; with one
// the accept is tried first and the wait comes only after EAGAIN.
int TakeConnection(NITAB *pL, int timeout, SI_SOCK *pNew, ZUL_RAW *peer, uint16_t *peerPort,
                   SI_SOCK **ppFrom) {
  const char *fn = "NiIAccept";
  bool two =
      pL->lis.mIPSocket.socket != NI_INVALID_SOCK && pL->lis.mUDSocket.socket != NI_INVALID_SOCK;
  SI_SOCK *from =
      pL->lis.mIPSocket.socket != NI_INVALID_SOCK ? &pL->lis.mIPSocket : &pL->lis.mUDSocket;
  Deadline deadline(timeout);
  bool wait = two, waited = false;
  int eagain = 0;
  for (;;) {
    if (wait) {
      int rc = NiIPeekListen(pL, deadline.Remaining(), &from);
      if (rc == NIETIMEOUT) return AcceptTimeout(pL, timeout);
      if (rc != ZUL_O_K) return rc;
      waited = true;
    }
    int sirc = SiAccept(from, pNew, peer, 108, peerPort);
    if (sirc == SI_OK) {
      *ppFrom = from;
      return ZUL_O_K;
    }
    if (sirc == SI_EINTR || sirc == SI_ECONN_BROKEN) {
      if (sirc == SI_ECONN_BROKEN)
        DPTRC_A7(2, tf, "%s: hdl %d accepted already closed connection\n", fn, pL->handle);
      wait = two;
      continue;
    }
    if (sirc != SI_ETIMEOUT)
      return NiISystemError(sirc, kSiAccept, pL, from, static_cast<int>(from->lastError), nullptr,
                            nullptr, nullptr, fn, kModInternal, __LINE__, 1);
    if (waited) {
      DPTRC_A7(1, tf,
               "%s: hdl %d %s got EAGAIN after select socket successfully; call operating "
               "system-supplier\n",
               fn, pL->handle, from == &pL->lis.mUDSocket ? "UDS" : "IP");
      if (++eagain > kMaxAcceptEagain) return AcceptTimeout(pL, timeout);
    }
    wait = true;
  }
}

}  // namespace

int NiIConnectSocket(NITAB *pHdl, const NI_NODEADDR *pNodeAddr, uint16_t port, int timeout,
                     int isError) noexcept {
  const char *fn = "NiIConnectSocket";
  ZUL_RAW buf[108];
  int len = 0;
  if (int rc = NiIMakeSockAddr(pHdl, &pHdl->con.mSocket, pNodeAddr, port, buf, &len); rc != ZUL_O_K)
    return rc;
  char partner[NI_NODEADDR_STR_LEN + 8];
  AddrPortText(pNodeAddr, port, partner, sizeof partner);
  DPTRC_A7(3, tf, "%s: connect hdl %d/sock %d to %s\n", fn, pHdl->handle, pHdl->con.mSocket.socket,
           partner);
  int sirc;
  int rounds = 0;
  do {
    sirc = SiConnect(&pHdl->con.mSocket, buf, len, port);
    ++rounds;
  } while (sirc == SI_EPORT_INUSE && rounds < kMaxConnectEaddrinuse);
  pHdl->con.mPeerAddr = *pNodeAddr;
  pHdl->con.mPeerServ = port;
  if (sirc == SI_OK) {
    DPTRC_A7(pHdl->mTrace ? 1 : 2, tf, "%s: connection of hdl %d established to %s\n", fn,
             pHdl->handle, partner);
    return ZUL_O_K;
  }
  if (sirc == SI_EINTR || sirc == SI_ECONN_INPROG) {
    if (timeout == 0) {
      DPTRC_A7(pHdl->mTrace ? 1 : 2, tf, "%s: connection of hdl %d to %s in progress (timeout=0)\n",
               fn, pHdl->handle, partner);
      return NIECONN_PENDING;
    }
    int rc = NiICheckPendConnection(pHdl, timeout, 0);
    return rc == NIETIMEOUT ? NIECONN_PENDING : rc;
  }
  if (sirc == SI_EPORT_INUSE && rounds >= kMaxConnectEaddrinuse) {
    DPTRC_A7(1, tf, "%s: port still in use after %d tries\n", fn, rounds);
  } else if (rounds >= 2) {
    char name[24];
    Narrow(SiGetSiErrorName(sirc), name, sizeof name);
    DPTRC_A7(1, tf, "%s: error %s after %d SI_EPORT_INUSE\n", fn, name, rounds - 1);
  }
  int rc = NiISystemError(sirc, kSiConnect, pHdl, &pHdl->con.mSocket,
                          static_cast<int>(pHdl->con.mSocket.lastError), nullptr, pNodeAddr, &port,
                          fn, kModInternal, __LINE__, isError);
  return rc == NIEINVAL ? NIEINTERN : rc;
}

int NiICheckPendConnection(NITAB *pHdl, int timeout, int setStat) noexcept {
  const char *fn = "NiICheckPendConnection";
  time_t start = io::WaitStart(timeout);
  int sirc = SiPeekPendConn(&pHdl->con.mSocket, timeout);
  io::CheckOverslept(start, timeout);
  if (sirc == SI_OK) {
    if (setStat != 0) {
      NiISetStat(pHdl, pHdl->con.mSocket.type == SI_SOCK_DGRAM ? NI_DG_CONNECTED : NI_CONNECTED,
                 fn);
      char partner[NI_NODEADDR_STR_LEN + 8];
      AddrPortText(&pHdl->con.mPeerAddr, pHdl->con.mPeerServ, partner, sizeof partner);
      DPTRC_A7(pHdl->mTrace ? 1 : 2, tf, "%s: connection of hdl %d to %s established\n", fn,
               pHdl->handle, partner);
    }
    return ZUL_O_K;
  }
  if (sirc == SI_ETIMEOUT) {
    if (setStat != 0 && pHdl->mType != NI_CONN_WAIT) {
      DPTRC_ERR_A7(tf, "%s: invalid state of hdl %d (%d)\n", fn, pHdl->handle, pHdl->mType);
      NiISetStat(pHdl, NI_CONN_WAIT, fn);
    }
    return NIETIMEOUT;
  }
  int rc =
      NiISystemError(sirc, kSiPeekPendConn, pHdl, &pHdl->con.mSocket,
                     static_cast<int>(pHdl->con.mSocket.lastError), nullptr, &pHdl->con.mPeerAddr,
                     &pHdl->con.mPeerServ, fn, kModInternal, __LINE__, 1);
  return rc == NIEINVAL ? NIEINTERN : rc;
}

int NiIConnect(const NI_NODEADDR *pNodeAddr, uint16_t port, int protocol, int timeout,
               FILE **ppTrcFile, NITAB **ppHdl) noexcept {
  const char *fn = "NiIConnect";
  NITAB *p = nullptr;
  if (int rc = NiICreateHandle(&p, NI_INITIAL_CON, ppTrcFile); rc != ZUL_O_K) return rc;
  // Binding a probe socket costs a system call: asked only where the answer matters.
  int local = -1;
  auto isLocal = [&] {
    if (local < 0) local = NiILocalCheck(pNodeAddr, ppTrcFile);
    return local == 1;
  };
  if (gConnectLocal != 0 && !isLocal()) {
    // The entry stays in its initial state until NiCloseAll.
    ZUL_UTF16 text[NI_NODEADDR_STR_LEN] = {};
    NiAddrToStr(pNodeAddr, text, NI_NODEADDR_STR_LEN, 0);
    char addr[NI_NODEADDR_STR_LEN];
    Narrow(text, addr, sizeof addr);
    return Refuse(kModInternal, __LINE__, NIEINVAL, 1,
                  "%s: blocked connection to %s (ZUL_CONNECT_RESTRICTION)", fn, addr);
  }
  int rc = NIECONN_REFUSED;
  bool stands = false;
  if ((protocol == NI_PROTO_FAM_UNSPEC || (protocol & NI_PROTO_FAM_LOCAL) != 0) &&
      NiIUseUDS(protocol == NI_PROTO_FAM_LOCAL ? 1 : 0) != 0 && isLocal()) {
    rc = ConnectUds(p, pNodeAddr, port, timeout);
    stands = rc == ZUL_O_K || rc == NIECONN_PENDING;
  }
  if (!stands) {
    if (protocol == NI_PROTO_FAM_LOCAL) {
      // The entry stays in its initial state until NiCloseAll.
      char target[32];
      std::snprintf(target, sizeof target, "localhost:%u", static_cast<unsigned>(ntohs(port)));
      DPTRC_A7(1, tf, "%s: force UDS connect to '%s' failed (%d; %d)\n", fn, target, rc, p->handle);
      return Refuse(kModInternal, __LINE__, NIECONN_REFUSED, 1, "%s: UDS connect only to %s", fn,
                    target);
    }
    int ip = protocol & (NI_PROTO_FAM_IPv4 | NI_PROTO_FAM_IPv6);
    int family = ip == NI_PROTO_FAM_IPv4   ? SI_AF_INET
                 : ip == NI_PROTO_FAM_IPv6 ? SI_AF_INET6
                 : NiIsIPv6Activated()     ? SI_AF_INET6
                                           : SI_AF_INET;
    p->con.mSocket = SI_SOCK{NI_INVALID_SOCK, family, SI_SOCK_STREAM, 0};
    rc = NiIInitSocket(p, &p->con.mSocket, 0);
    if (rc == ZUL_O_K && SI_PEND_CONN_SUPPORTED == 1) rc = NiIBlockMode(p, 0);
    if (rc == ZUL_O_K) rc = BindClient(p, pNodeAddr, fn);
    if (rc == ZUL_O_K) rc = NiIConnectSocket(p, pNodeAddr, port, timeout, 1);
    if (rc == ZUL_O_K || rc == NIECONN_PENDING) TraceLocalAddr(p, fn, -1);
  }
  if (rc == NIECONN_PENDING) {
    NiISetStat(p, NI_CONN_WAIT, fn);
    *ppHdl = p;
    return rc;
  }
  if (rc != ZUL_O_K) {
    NiICloseHandle(p, 1, 0);
    return rc;
  }
  NiISetStat(p, NI_CONNECTED, fn);
  *ppHdl = p;
  return ZUL_O_K;
}

int NiIAccept(NITAB *pListenHdl, int timeout, FILE **ppTrcFile, NITAB **ppHdl) noexcept {
  const char *fn = "NiIAccept";
  if (pListenHdl->mType != NI_LISTEN)
    return Refuse(kModInternal, __LINE__, NIEINTERN, 1, "%s: invalid type %d", fn,
                  pListenHdl->mType);
  SI_SOCK sock{NI_INVALID_SOCK, 0, 0, 0};
  SI_SOCK *from = nullptr;
  ZUL_RAW peer[108] = {};
  uint16_t peerPort = 0;
  if (int rc = TakeConnection(pListenHdl, timeout, &sock, peer, &peerPort, &from); rc != ZUL_O_K)
    return rc;
  NITAB *p = nullptr;
  if (int rc = NiICreateHandle(&p, NI_INITIAL_CON, ppTrcFile); rc != ZUL_O_K) {
    CloseSocket(&sock);
    return rc;
  }
  p->con.mSocket = sock;
  NiISolveSockAddr(&p->con.mSocket, peer, peerPort, &p->con.mPeerAddr, &p->con.mPeerServ, nullptr,
                   0);
  char partner[NI_NODEADDR_STR_LEN + 8];
  AddrPortText(&p->con.mPeerAddr, p->con.mPeerServ, partner, sizeof partner);
  if (int rc = NiIAclCheckAddr(pListenHdl, &p->con.mPeerAddr); rc != ZUL_O_K) {
    DPTRC_A7(1, tf, "%s: ACL permission denied for %s (rc=%d)\n", fn, partner, rc);
    NiICloseHandle(p, 1, 0);
    return rc;
  }
  // The accept list counts remote peers only; a refused one sees its connection closed, the
  // caller a time-out.
  if (NiIAlActive() && gLocalCheck.load()(&p->con.mPeerAddr, ppTrcFile) != 1 &&
      NiIAlCheckAccept(p) != ZUL_O_K) {
    NiICloseHandle(p, 1, 0);
    return NIETIMEOUT;
  }
  int rc = NiIInitSocket(p, &p->con.mSocket, 0);
  if (rc == ZUL_O_K) rc = NiIBlockMode(p, 0);
  if (rc != ZUL_O_K) {
    NiICloseHandle(p, 1, 0);
    return rc;
  }
  if (pListenHdl->mTrace != 0) p->mTrace = 1;
  NiISetStat(p, NI_ACCEPTED, fn);
  if (p->mTrace == 0 && NiIPeerTraceActive()) NiICheckPeerAddr(p, &p->con.mPeerAddr);
  DPTRC_A7(p->mTrace ? 1 : 2, tf, "%s: hdl %d accepted hdl %d from %s\n", fn, pListenHdl->handle,
           p->handle, partner);
  if (from == &pListenHdl->lis.mIPSocket) TraceLocalAddr(p, fn, pListenHdl->handle);
  if (pListenHdl->lis.mpInitFunc != nullptr) {
    if (int irc = pListenHdl->lis.mpInitFunc(p); irc != ZUL_O_K) {
      DPTRC_A7(1, tf, "%s: initialization of specialized type failed (rc=%d)\n", fn, irc);
      NiICloseHandle(p, 1, 0);
      return irc;
    }
  }
  *ppHdl = p;
  return ZUL_O_K;
}

int NiIMyAddrVerify(const ZUL_UTF16 *pHostName, int timeout, NI_NODEADDR *pNodeAddr,
                    int connectTest) noexcept {
  const char *fn = "NiIMyAddrVerify";
  ZUL_UTF16 own[NI_MAX_HOSTNAME_LEN] = {};
  if (pHostName == nullptr) {
    NiIGetLocalName(own, NI_MAX_HOSTNAME_LEN);
    pHostName = own;
  }
  char name[NI_MAX_HOSTNAME_LEN];
  Narrow(pHostName, name, sizeof name);
  DPTRC_A7(2, tf, "--- verify own hostname '%s' -->\n", name);
  NI_NODEADDR addr;
  int rc = NiIGetNodeAddr(pHostName, &addr);
  if (rc != ZUL_O_K)
    return Refuse(kModInternal, __LINE__, rc, 1, "%s: host invalid or unknown '%s' (rc=%d)", fn,
                  name, rc);
  if (connectTest != 0 && IsLoopback(addr))
    return Refuse(kModInternal, __LINE__, NIEMYHOST_VERIFY, 1,
                  "%s: verify own hostname '%s' failed", fn, name);
  NITAB *lis = nullptr;
  uint16_t port = 0;
  if ((rc = NiIListen(&addr, &port, NI_PROTO_FAM_UNSPEC, 0, 0, &lis)) != ZUL_O_K) return rc;
  if (connectTest != 0) {
    NITAB *con = nullptr;
    NITAB *acc = nullptr;
    rc = NiIConnect(&addr, port, NI_PROTO_FAM_IPv4 | NI_PROTO_FAM_IPv6, timeout, nullptr, &con);
    if (rc == ZUL_O_K) {
      rc = NiIAccept(lis, timeout, nullptr, &acc);
      if (rc == NIETIMEOUT) rc = NIEMYHOST_VERIFY;
    } else if (rc == NIECONN_REFUSED) {
      rc = NIEMYHOST_VERIFY;
    }
    if (acc != nullptr) NiICloseHandle(acc, 1, 0);
    if (con != nullptr) NiICloseHandle(con, 1, 0);
    if (rc == NIEMYHOST_VERIFY)
      Refuse(kModInternal, __LINE__, rc, 1, "%s: verify own hostname '%s' failed", fn, name);
  }
  NiICloseHandle(lis, 1, 0);
  if (rc != ZUL_O_K) return rc;
  *pNodeAddr = addr;
  DPTRC_A7(2, tf, "<-- verify own hostname o.k. ---\n");
  return ZUL_O_K;
}
