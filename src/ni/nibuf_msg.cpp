// The in-band protocol between peers: control messages (error reports and opcode messages) inside
// the ordinary framing, the version exchange, and passing a handle to the process at the other end
// of a local connection.
//
// A control message: "NI_RTERR", 0, the sender's version, the opcode, 0, a return code and the
// length E of the error info (both 4 bytes, big endian), the error info in network form, the
// opcode's data, and 4 zero bytes; E + D + 24 bytes in all.
#define DPTRC_MODULE u"nibuf"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "ni/nibuf.h"
#include "ni/nixxi_con.h"
#include "ni/nixxi_io.h"
#include "zul_dptrace.h"
#include "zul_err.h"

using namespace ni;
using namespace ni::buf;
using ni::io::Lvl;

namespace {

constexpr ZUL_RAW kEye[9] = {'N', 'I', '_', 'R', 'T', 'E', 'R', 'R', 0};
constexpr int kOpError = 0, kOpVersionReq = 1, kOpVersionReply = 2, kOpPid = 5, kOpAccepted = 6,
              kOpAnnounce = 8;
constexpr int kAnnounceLen = 6;

uint32_t GetBE32(const ZUL_RAW *b) {
  return uint32_t{b[0]} << 24 | uint32_t{b[1]} << 16 | uint32_t{b[2]} << 8 | b[3];
}
void PutBE32(ZUL_RAW *b, uint32_t v) {
  for (int i = 0; i < 4; ++i) b[i] = static_cast<ZUL_RAW>(v >> (24 - 8 * i));
}

// Builds and sends one control message; the error info goes in unless leaveOutInfo.
int SendMsg2(NITAB *p, NI_XHDL *x, int timeout, int rc, int opcode, const ZUL_RAW *pData,
             int dataLen) {
  const char *fn = "NiBufISendMsg2";
  ZUL_UTF16 *block = nullptr;
  size_t units = 0;
  if (ErrGetAttr(&block, &units) != ERR_OK) units = 0;
  // Version request and reply without data carry no error info: exactly 24 bytes.
  const bool leaveOutInfo = (opcode == kOpVersionReq || opcode == kOpVersionReply) && dataLen == 0;
  if (leaveOutInfo) units = 0;
  const int size = dataLen + 2 * static_cast<int>(units) + kCtlMin;
  NIBUF *b = nullptr;
  if (int arc = NiBufAlloc(&b, size, "NiBufISendMsg2"); arc != ZUL_O_K) return arc;
  std::memset(b->space, 0, static_cast<size_t>(size));
  ZUL_RAW *m = b->space;
  std::memcpy(m, kEye, sizeof kEye);
  m[9] = kNiVersion;
  m[10] = static_cast<ZUL_RAW>(opcode);
  PutBE32(m + 12, static_cast<uint32_t>(rc));
  size_t e = 0;
  if (units != 0 && ErrCpIntToNet(m + kCtlHdr, &e, 2 * units) != ERR_OK) e = 0;
  PutBE32(m + 16, static_cast<uint32_t>(e));
  if (dataLen != 0) std::memcpy(m + kCtlHdr + e, pData, static_cast<size_t>(dataLen));
  b->len = static_cast<uint32_t>(e) + static_cast<uint32_t>(dataLen) + kCtlMin;
  ErrClear();
  int src;
  if (x != nullptr) {
    if (x->mTalkMode == NI_RAW_IO && x->mHandshake == 0) {
      NiBufFree(&b);
      return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: invalid talkmode of hdl %d", fn, p->handle);
    }
    src = PrivWrite(p, x, &b, b->data, static_cast<int>(b->len), timeout);
    if (src == NIETIMEOUT) src = ZUL_O_K;  // it stays in the queue
  } else {
    int written = 0;
    src = NiIWrite(p, b->data, static_cast<int>(b->len), timeout, NI_MESG_IO, &written);
    NiBufFree(&b);
  }
  if (src != ZUL_O_K)
    DPTRC_A7(Lvl(p, 1), tf, "%s: send for hdl %d failed (rc=%d)\n", fn, p->handle, src);
  return src;
}

// Whether a reply may go out on a plain handle: not in the middle of a message being written.
bool MayReply(NITAB *p, NI_XHDL *x, const char *what) {
  if (x != nullptr) return true;
  uint32_t pend = __atomic_load_n(&p->con.mPendDataLenToWrite, __ATOMIC_RELAXED);
  if (pend == 0) return true;
  DPTRC_A7(Lvl(p, 2), tf, "%s: hdl %d mPendDataLenToWrite > 0 (%d), do not send %s\n",
           "NiBufIProcMsg", p->handle, static_cast<int>(pend), what);
  return false;
}

// The sockets of a handle in the order they travel: a listener's local socket first.
int Sockets(NITAB *p, SI_SOCK *out[2]) {
  if ((p->mType & 15) != 1) {
    out[0] = &p->con.mSocket;
    return 1;
  }
  int n = 0;
  if (p->lis.mUDSocket.socket != NI_INVALID_SOCK) out[n++] = &p->lis.mUDSocket;
  if (p->lis.mIPSocket.socket != NI_INVALID_SOCK) out[n++] = &p->lis.mIPSocket;
  return n;
}

// Ends a pass on the sender's side, with success or not.
void EndPass(NITAB *p, NI_XHDL *x) {
  x->mpSendHdl = nullptr;
  SetStatus(p, x, kOk, "NiBufIProcMsg");
  if (x->mHandshake > 0) NiBufISetHS(p, x, 0);
}

int InvalidState(NITAB *p, NI_XHDL *x, int dataLen) {
  return Refuse(kMod, __LINE__, NIEINTERN, 1, "%s: invalid internal state (hdl %d;%d;%p;%p;%d)",
                "NiBufIProcMsg", p->handle, x != nullptr ? x->mStatus : -1,
                x != nullptr ? static_cast<void *>(x->mpAcceptedHdl) : nullptr,
                x != nullptr ? static_cast<void *>(x->mpPassHdlData) : nullptr, dataLen);
}

// The receiver of opcode 8: answers with its process id and waits for the descriptors.
int OnAnnounce(NITAB *p, NI_XHDL *x, const ZUL_RAW *pData, int dataLen) {
  if (x == nullptr || x->mStatus != kOk || x->mpAcceptedHdl != nullptr ||
      x->mpPassHdlData != nullptr || dataLen != kAnnounceLen)
    return InvalidState(p, x, dataLen);
  auto *keep = static_cast<ZUL_RAW *>(std::malloc(kAnnounceLen));
  if (keep == nullptr) return NIEINTERN;
  std::memcpy(keep, pData, kAnnounceLen);
  int32_t pid = static_cast<int32_t>(getpid());
  ZUL_RAW pidBytes[4];
  std::memcpy(pidBytes, &pid, sizeof pid);  // native byte order, as the peer is on this host
  x->mpPassHdlData = keep;
  SetStatus(p, x, kAccepting, "NiBufIProcMsg");
  NiBufISetHS(p, x, 1);
  int rc = NiBufISendMsg(p, x, 0, kOpPid, pidBytes, 4);
  return rc == ZUL_O_K ? NIEOPCODE : rc;
}

// The sender on opcode 5: the descriptors go to the peer.
int OnPid(NITAB *p, NI_XHDL *x, int dataLen) {
  const char *fn = "NiBufIProcMsg";
  if (x == nullptr || x->mStatus != kSending || x->mpSendHdl == nullptr || dataLen < 4)
    return InvalidState(p, x, dataLen);
  NITAB *s = x->mpSendHdl;
  if (s->mType == NI_RI_LISTEN) {
    EndPass(p, x);
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: invalid type of hdl %d", fn, s->handle);
  }
  SI_SOCK *socks[2];
  int n = Sockets(s, socks);
  for (int i = 0; i < n; ++i) {
    int sirc = SiSendSocket(&p->con.mSocket, socks[i]);
    if (sirc != SI_OK) {
      EndPass(p, x);
      NiISystemError(sirc, 45, p, &p->con.mSocket, static_cast<int>(p->con.mSocket.lastError),
                     nullptr, nullptr, nullptr, fn, kMod, __LINE__, 1);
      return -1;
    }
  }
  DPTRC_A7(Lvl(p, 2), tf, "%s: hdl %d sent %d socket(s) of hdl %d\n", fn, p->handle, n, s->handle);
  return NIEOPCODE;
}

// The sender on opcode 6: the passed handle belongs to the other process now.
int OnAccepted(NITAB *p, NI_XHDL *x, int dataLen) {
  if (x == nullptr || x->mStatus != kSending || x->mpSendHdl == nullptr)
    return InvalidState(p, x, dataLen);
  NITAB *s = x->mpSendHdl;
  if (s->mpXhdl != nullptr) {
    int line = __LINE__;
    Refuse(kMod, line, NIEPASSED, 2, "%s: hdl %d passed to other process", "NiBufIProcMsg",
           s->handle);
    SetError(s, s->mpXhdl, NIEPASSED);
  }
  EndPass(p, x);
  return NIEOPCODE;
}

// pMsg is the message, pData its opcode data.
int OnOpcode(NITAB *p, NI_XHDL *x, int opcode, ZUL_RAW *pMsg, ZUL_RAW *pData, int dataLen,
             uint8_t version, int *pLen) {
  const char *fn = "NiBufIProcMsg";
  DPTRC_A7(Lvl(p, 2), tf, "%s: hdl %d processing opcode %d (len=%d; vers=%d)\n", fn, p->handle,
           opcode, dataLen, version);
  switch (opcode) {
    case kOpVersionReq: {
      if (!MayReply(p, x, "VERSION")) return NIEOPCODE;
      int rc = NiBufISendMsg(p, x, x != nullptr ? 0 : -1, kOpVersionReply, nullptr, 0);
      return rc == ZUL_O_K ? NIEOPCODE : rc;
    }
    case kOpVersionReply:
      if (p->con.mPeerVersion != 1) return NIEOPCODE;
      pMsg[0] = version;  // the caller sees one byte of data: the version
      *pLen = 1;
      p->con.mPeerVersion = 0;
      return ZUL_O_K;
    case kOpPid:
      if (x != nullptr) return OnPid(p, x, dataLen);
      break;
    case kOpAccepted:
      if (x != nullptr) return OnAccepted(p, x, dataLen);
      break;
    case kOpAnnounce:
      if (x != nullptr) return OnAnnounce(p, x, pData, dataLen);
      break;
    default:
      break;
  }
  if (NIBUF_OPCODE_FUNC hook = OpcodeHook(); hook != nullptr) {
    int rc = hook(p->handle, x, opcode, 0, pData, dataLen);
    if (rc != NIEINVAL) return rc;
  }
  DPTRC_A7(1, tf, "%s: unknown opcode %d received (hdl %d)\n", fn, opcode, p->handle);
  if (!MayReply(p, x, "ERROR-INFO")) return NIEOPCODE;
  Refuse(kMod, __LINE__, NIEVERSION, 0, "%s: unknown opcode %d received (hdl %d)", fn, opcode,
         p->handle);
  int rc = SendMsg2(p, x, x != nullptr ? 0 : -1, NIEVERSION, kOpError, nullptr, 0);
  return rc == ZUL_O_K ? NIEOPCODE : -1;
}

}  // namespace

int NiBufIProcMsg(NITAB *p, NI_XHDL *x, ZUL_RAW *pData, int *pLen, int *pPeerRc,
                  uint8_t *pPeerVersion) noexcept {
  const char *fn = "NiBufIProcMsg";
  *pPeerRc = 0;
  const int n = *pLen;
  if (n == 8) return NiIProcCheckMsg(p, x, pData, pLen);
  if (n < kCtlMin || std::memcmp(pData, kEye, sizeof kEye) != 0) return ZUL_O_K;
  uint32_t e = GetBE32(pData + 16);
  if (e > static_cast<uint32_t>(n - kCtlMin)) {
    DPTRC_A7(Lvl(p, 2), tf, "%s: invalid error-msg received (%d>%d)\n", fn, static_cast<int>(e),
             n - kCtlMin);
    return ZUL_O_K;
  }
  uint8_t version = pData[9];
  if (pPeerVersion != nullptr) *pPeerVersion = version;
  int opcode = version > 28 ? pData[10] : kOpError;
  *pLen = 0;
  if (opcode != kOpError)
    return OnOpcode(p, x, opcode, pData, pData + kCtlHdr + e, n - static_cast<int>(e) - kCtlMin,
                    version, pLen);
  // An error report: the peer's code and error info become this caller's.
  int rc = static_cast<int32_t>(GetBE32(pData + 12));
  if (e == 0 || ErrCpNetToInt(pData + kCtlHdr, e) != ERR_OK)
    Refuse(kMod, __LINE__, rc, 0, "%s: hdl %d received rc=%d from peer", fn, p->handle, rc);
  *pPeerRc = rc;
  char name[64];
  Narrow(NiErrStr(rc), name, sizeof name);
  DPTRC_A7(Lvl(p, 2), tf, "%s: hdl %d received rc=%d (%s) from peer\n", fn, p->handle, rc, name);
  return NIEOPCODE;
}

int NiBufISendMsg(NITAB *p, NI_XHDL *x, int timeout, int opcode, const ZUL_RAW *pData,
                  int dataLen) noexcept {
  // An opcode message carries error info of its own, so that one exists.
  Refuse(kMod, __LINE__, NIEVERSION, 0, "%s: local hdl %d", "NiBufISendMsg", p->handle);
  return SendMsg2(p, x, timeout, NIEVERSION, opcode, pData, dataLen);
}

int NiBufISendErr(NITAB *p, NI_XHDL *x, int timeout, int rc) noexcept {
  const char *fn = "NiBufISendErr";
  if (ErrIsAInfo() == 0) {
    DPTRC_A7(Lvl(p, 2), tf, "%s: no errInfo set for hdl %d\n", fn, p->handle);
    Refuse(kMod, __LINE__, NIEINTERN, 0, "%s: error in hdl %d", fn, p->handle);
  }
  return SendMsg2(p, x, timeout, rc, kOpError, nullptr, 0);
}

namespace ni::buf {

int SendMsg(NITAB *p, NI_XHDL *x, int timeout, int opcode, const ZUL_RAW *pData,
            int dataLen) noexcept {
  return NiBufISendMsg(p, x, timeout, opcode, pData, dataLen);
}
int SendErr(NITAB *p, NI_XHDL *x, int timeout, int rc) noexcept {
  return NiBufISendErr(p, x, timeout, rc);
}

// The receiver's side of a pass, run by NiBufIIn in status ACCEPTING: the descriptors, a new
// handle around them, and opcode 6. Nothing is created before the first descriptor is there.
int AcceptSentHdl(NITAB *p, NI_XHDL *x, int timeout) noexcept {
  const char *fn = "NiBufIAcceptSentHdl";
  const ZUL_RAW *a = x->mpPassHdlData;
  const int count = a[5];
  NITAB *h = nullptr;
  int rc = ZUL_O_K;
  if (count != 1 && count != 2) {
    DPTRC_ERR_A7(tf, "%s: noOfSockets = %d for hdl %d\n", fn, count, p->handle);
    rc = Refuse(kMod, __LINE__, NIEINTERN, 0, "%s: noOfSockets = %d for hdl %d", fn, count,
                p->handle);
  }
  const bool listener = a[1] == NI_LISTEN;
  for (int i = 0; rc == ZUL_O_K && i < count; ++i) {
    rc = NiIPeek(p, SI_PEEK_RD, i == 0 ? timeout : (timeout >= 0 && timeout < 500 ? 500 : timeout));
    if (rc == NIETIMEOUT && i == 0) return NIETIMEOUT;  // not there yet: a later call goes on
    if (rc == NIETIMEOUT) rc = -1;  // the sender can't be kept waiting on a half pass
    if (rc != ZUL_O_K) break;
    if (h == nullptr && (rc = NiICreateHandle(&h, listener ? NI_INITIAL_LIS : NI_INITIAL_CON,
                                              p->ppTrcFile)) != ZUL_O_K)
      break;
    SI_SOCK s{NI_INVALID_SOCK, 0, 0, 0};
    int sirc;
    do sirc = SiRecvSocket(&p->con.mSocket, &s);
    while (sirc == SI_EINTR);
    if (sirc != SI_OK) {
      rc = NiISystemError(sirc, 46, p, &p->con.mSocket, static_cast<int>(p->con.mSocket.lastError),
                          nullptr, nullptr, nullptr, fn, kMod, __LINE__, 1);
      if (rc == ZUL_O_K || rc == NIETIMEOUT) rc = -1;
      break;
    }
    if (!listener)
      h->con.mSocket = s;
    else if (s.family == SI_AF_UNIX)
      h->lis.mUDSocket = s;
    else
      h->lis.mIPSocket = s;
  }
  if (rc == ZUL_O_K) {
    h->mTrace = p->mTrace;
    NiIBlockMode(h, a[4]);
    NiISetStat(h, a[1], fn);
    if (listener) {
      if (a[3] != 0) h->lis.mpInitFunc = NiBufIHdlInit;
      DPTRC_A7(Lvl(p, 2), tf, "%s: hdl %d accepted hdl %d bound to %s%s\n", fn, p->handle,
               h->handle, "", h->lis.mUDSocket.socket != NI_INVALID_SOCK ? " (inc. UDS)" : "");
    } else {
      if (a[3] != 0 && (rc = NiBufIHdlInit(h)) == ZUL_O_K && a[2] <= NI_ROUT_IO)
        h->mpXhdl->mTalkMode = a[2];
      uint16_t port = 0;
      char path[109];
      if (IQueryEnd(&h->con.mSocket, true, &h->con.mPeerAddr, &port, path) == SI_OK)
        h->con.mPeerServ = NiNetServno(port);
    }
  }
  if (rc != ZUL_O_K) {
    if (h != nullptr) NiICloseHandle(h, 0, 0);
    std::free(x->mpPassHdlData);
    x->mpPassHdlData = nullptr;
    SetStatus(p, x, kOk, fn);
    if (x->mHandshake > 0) NiBufISetHS(p, x, 0);
    NiBufISendErr(p, x, 0, rc);
    Refuse(kMod, __LINE__, rc, 0, "%s: receiving hdl over hdl %d failed (rc=%d)", fn, p->handle,
           rc);
    return rc;
  }
  std::free(x->mpPassHdlData);
  x->mpPassHdlData = nullptr;
  if (x->mpRecvBuf == nullptr) x->mpRecvBuf = PingMarker();
  x->mpAcceptedHdl = h;
  SelUpdate(p, x);
  NiBufISendMsg(p, x, 0, kOpAccepted, nullptr, 0);
  SetStatus(p, x, kOk, fn);
  NiBufISetHS(p, x, 0);
  return NIEACCEPT;
}

}  // namespace ni::buf

int NiBufSendHandle(int hdl, int sendHdl, int timeout, int keepSettings) noexcept {
  const char *fn = "NiBufSendHandle";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  NITAB *s = CheckHdl(sendHdl, fn);
  if (s == nullptr) return NIEINVAL;
  NI_XHDL *x = p->mpXhdl;
  if (x == nullptr || (p->mType & 15) == 1 || p->con.mSocket.family != SI_AF_UNIX) {
    char fam[16] = "", buffered[16];
    if ((p->mType & 15) != 1) Narrow(SiGetFamilyName(p->con.mSocket.family), fam, sizeof fam);
    std::strcpy(buffered, x != nullptr ? "buffered" : "unbuffered");
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: got nonlocal hdl %d (%s; %s)", fn, hdl, fam,
                  buffered);
  }
  if (int rc = CheckError(p, x); rc != ZUL_O_K) return rc;
  io::Deadline d(timeout);
  int rc = SendReadyQueue(p, x, d.Remaining());
  if (rc != ZUL_O_K && rc != NIETIMEOUT) return rc;
  if (x->mpInBuf != nullptr) DPTRC_A7(Lvl(p, 2), tf, "%s: pending data in in-queue\n", fn);
  if (x->mpSendHdl != nullptr || x->mHandshake > 0) {
    // An earlier pass goes on first; a call again for the same handle learns its outcome.
    const bool same = x->mpSendHdl == s;
    rc = EmptyOutQueue(p, x, d.Remaining());
    if (x->mpSendHdl != nullptr || x->mHandshake > 0) return rc != ZUL_O_K ? rc : NIETIMEOUT;
    if (same) return rc == NIETIMEOUT ? ZUL_O_K : rc;
  }
  ZUL_RAW a[kAnnounceLen] = {};
  a[1] = s->mType;
  const bool listener = (s->mType & 15) == 1;
  if (keepSettings != 0) {
    a[2] = s->mpXhdl != nullptr ? s->mpXhdl->mTalkMode : 0;
    a[3] = s->mpXhdl != nullptr || (listener && s->lis.mpInitFunc != nullptr) ? 1 : 0;
    a[4] = s->mBlockMode;
  } else {
    a[3] = 1;
  }
  SI_SOCK *socks[2];
  a[5] = static_cast<ZUL_RAW>(Sockets(s, socks));
  x->mpSendHdl = s;
  SetStatus(p, x, kSending, fn);
  NiBufISetHS(p, x, 1);
  if ((rc = NiBufISendMsg(p, x, d.Remaining(), kOpAnnounce, a, kAnnounceLen)) != ZUL_O_K) {
    EndPass(p, x);
    return rc;
  }
  rc = FinishHandshake(p, x, d.Remaining());
  if (rc == NIEPING) {
    if (x->mpRecvBuf == nullptr) x->mpRecvBuf = PingMarker();
    return NIETIMEOUT;
  }
  if (rc == NIEACCEPT) return NIETIMEOUT;
  return rc;
}

int NiBufGetSentHdl(int hdl, int timeout, int *pOutHandle) noexcept {
  const char *fn = "NiBufGetSentHdl";
  if (pOutHandle == nullptr)
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pOutHandle == NULL)", fn);
  *pOutHandle = -1;
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  NI_XHDL *x = p->mpXhdl;
  if (x == nullptr)
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pHdl->mpXhdl == NULL)", fn);
  if (int rc = CheckError(p, x); rc != ZUL_O_K) return rc;
  auto handOut = [&]() {
    *pOutHandle = x->mpAcceptedHdl->handle;
    x->mpAcceptedHdl = nullptr;
    if (IsMarker(x->mpRecvBuf)) x->mpRecvBuf = nullptr;
    SelUpdate(p, x);
    return ZUL_O_K;
  };
  if (x->mpAcceptedHdl != nullptr) return handOut();
  if (IsMarker(x->mpRecvBuf)) {
    x->mpRecvBuf = nullptr;
    return NIEPING;
  }
  if (x->mpRecvBuf != nullptr) return NIETIMEOUT;
  io::Deadline d(timeout);
  int rc = TryToRead(p, x, d.Remaining());
  if (rc != NIEACCEPT && x->mHandshake > 0) rc = FinishHandshake(p, x, d.Remaining());
  if (x->mpAcceptedHdl != nullptr) return handOut();
  if (rc == NIEPING || (rc != ZUL_O_K && rc != NIETIMEOUT && rc != NIEACCEPT)) return rc;
  return NIETIMEOUT;
}

int NiGetPeerVersion(int hdl, int timeout, uint8_t *pPeerVersion) noexcept {
  const char *fn = "NiGetPeerVersion";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (int rc = RefuseListener(p, fn); rc != ZUL_O_K) return rc;
  if (pPeerVersion == nullptr)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pPeerVersion == NULL)",
                  fn);
  p->con.mPeerVersion = 1;
  int rc = NiBufISendMsg(p, p->mpXhdl, timeout, kOpVersionReq, nullptr, 0);
  if (rc == NIETIMEOUT || rc == NIETOO_BIG) return -1;
  if (rc != ZUL_O_K) return rc;
  ZUL_RAW buffer[1024];
  int got = 0;
  // Messages other than the reply (pings, reports) come first: read on within the time-out.
  io::Deadline d(timeout);
  for (int round = 0; round < 1000; ++round) {
    rc = NiRead(hdl, buffer, sizeof buffer, d.Remaining(), &got);
    if (rc != NIEPING || p->con.mPeerVersion == 0 || d.Remaining() == 0) break;
  }
  if (rc == NIETIMEOUT || rc == NIECONN_BROKEN || rc == NIECONN_REFUSED || rc == NIEINVAL)
    return rc;
  if (rc != ZUL_O_K) return -1;
  if (got != 1) {
    DPTRC_A7(1, tf, "%s: wrong data length received (%d; hdl %d)\n", fn, got, hdl);
    return -1;
  }
  *pPeerVersion = buffer[0];
  return ZUL_O_K;
}
