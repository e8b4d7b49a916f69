// Sending and receiving on a buffered handle: the out-queue with its ready and user parts, the
// assembly of incoming messages in heap buffers, the stored first fault and the handshake
// counter that holds user traffic back while the in-band protocol runs.
#define DPTRC_MODULE u"nibuf"

#include <cstdlib>
#include <cstring>

#include "ni/nibuf.h"
#include "ni/nixxi_con.h"
#include "ni/nixxi_io.h"
#include "zul_dptrace.h"
#include "zul_err.h"

using namespace ni;
using namespace ni::buf;
using ni::io::Deadline;
using ni::io::Lvl;

namespace {

constexpr int kRawInLen = 1460;
constexpr int kRawInLen6 = 1440;

bool ReadyEmpty(const NI_XHDL *x) { return x->mpReady == nullptr || x->mpReady == x->mpNextUser; }
bool HasUserData(const NI_XHDL *x) {
  return x->mpRecvBuf != nullptr && !IsMarker(x->mpRecvBuf) && x->mStatus != kErr;
}
int WriteMode(const NI_XHDL *x) {
  return x->mHandshake > 0 ? static_cast<int>(NI_MESG_IO) : x->mTalkMode;
}

// Links b as the newest buffer of the ready part, just older than the user part.
void LinkReady(NITAB *p, NI_XHDL *x, NIBUF *b) {
  NIBUF *before = x->mpNextUser;
  b->newer = before;
  b->older = before != nullptr ? before->older : x->mpOutQueue;
  if (b->older != nullptr) b->older->newer = b;
  if (before != nullptr)
    before->older = b;
  else
    x->mpOutQueue = b;
  DPTRC_A7(Lvl(p, 3), tf, "%s: put buffer %p in ready-queue for hdl %d\n", "NiBufIPrivWrite", b,
           p->handle);
  if (x->mpReady == nullptr) {
    x->mpReady = b;
    SelUpdate(p, x);
  }
}

// Unlinks the oldest buffer of the chain, which is the head of the ready part.
void UnlinkOldest(NI_XHDL *x, NIBUF *b) {
  NIBUF *n = b->newer;
  if (n != nullptr)
    n->older = nullptr;
  else
    x->mpOutQueue = nullptr;
  b->older = b->newer = nullptr;
  x->mpReady = n != x->mpNextUser ? n : nullptr;
}

// The unsent rest of a message as a buffer of its own: the caller's buffer itself when the rest
// lies in it (no copy), else a new copy. *ppBuffer is consumed either way.
int CopyTo(NIBUF **ppBuffer, const ZUL_RAW *pData, int len, NIBUF **ppOut) {
  NIBUF *b = ppBuffer != nullptr ? *ppBuffer : nullptr;
  if (b != nullptr) *ppBuffer = nullptr;
  if (b != nullptr && pData >= b->space && pData + len <= b->space + b->spacelen) {
    b->data = const_cast<ZUL_RAW *>(pData);
    b->len = static_cast<uint32_t>(len);
    *ppOut = b;
    return ZUL_O_K;
  }
  NIBUF *copy = nullptr;
  int rc = NiBufAlloc(&copy, len, "NiBufICopyTo");
  if (rc == ZUL_O_K) {
    if (len != 0) std::memcpy(copy->space, pData, static_cast<size_t>(len));
    copy->len = static_cast<uint32_t>(len);
  }
  if (b != nullptr) NiBufFree(&b);
  *ppOut = copy;
  return rc;
}

// The peer and the local port of a handle for the traces of bad input.
void PeerAndPort(NITAB *p, char *peer, size_t size, int *pLocal) {
  io::PeerText(p, peer, size);
  NI_NODEADDR a;
  uint16_t port = 0;
  char path[109];
  *pLocal = IQueryEnd(&p->con.mSocket, false, &a, &port, path) == SI_OK ? port : 0;
}

int TooBig(NITAB *p, NI_XHDL *x, uint32_t length) {
  const char *fn = "NiBufIIn";
  char peer[NI_NODEADDR_STR_LEN + 8];
  int local;
  PeerAndPort(p, peer, sizeof peer, &local);
  DPTRC_ERR_A7(tf, "%s: invalid data (len=%d;0x%x;max=%d;hdl %d;peer=%s;local=%d)\n", fn,
               static_cast<int>(length), length, static_cast<int>(x->mMaxMsgLen), p->handle, peer,
               local);
  return Refuse(kMod, __LINE__, NIETOO_BIG, 0, "%s: message length %d exceeds max (%d)", fn,
                static_cast<int>(length), static_cast<int>(x->mMaxMsgLen));
}

// A fault of the stream: stored as the handle's first error, returned as it is.
int Fatal(NITAB *p, NI_XHDL *x, int rc) {
  SetError(p, x, rc);
  return rc;
}

// A complete message in mpInBuf: the in-band protocol looks at it, then it becomes mpRecvBuf.
// Answers 0 with a message stored, NIEOPCODE (with *pPeerRc) when it was consumed, or a code.
int Complete(NITAB *p, NI_XHDL *x, int *pPeerRc) {
  const char *fn = "NiBufIIn";
  NIBUF *b = x->mpInBuf;
  x->mpInBuf = nullptr;  // complete: nothing is in fragment read while the protocol looks
  *pPeerRc = 0;
  bool hs = x->mHandshake > 0;
  if (hs || x->mTalkMode == NI_MESG_IO || x->mStatus == kConnWait) {
    int len = static_cast<int>(b->len);
    int rc = NiBufIProcMsg(p, x, b->data, &len, pPeerRc, nullptr);
    b->len = static_cast<uint32_t>(len);
    if (rc == NIEPING) {
      NiBufFree(&b);
      if (x->mStatus != kConnWait) return NIEPING;
      SetStatus(p, x, kOk, fn);
      NiBufISetHS(p, x, 0);
      return NIEOPCODE;
    }
    if (rc != ZUL_O_K) {
      NiBufFree(&b);
      return rc;
    }
    if (x->mStatus == kConnWait) {
      DPTRC_ERR_A7(tf, "%s: invalid data received (hdl %d;len=%d;msg=%d)\n", fn, p->handle, len,
                   len > 0 ? b->data[0] : 0);
      NiBufFree(&b);
      return Refuse(kMod, __LINE__, NIEINTERN, 0, "%s: invalid data received (hdl %d;len=%d)", fn,
                    p->handle, len);
    }
  }
  if (x->mpExtOps != nullptr && x->mpExtOps->filterIn != nullptr &&
      !(x->mTalkMode == NI_ROUT_IO && b->len >= 8 &&
        (std::memcmp(b->data, "NI_PING", 8) == 0 || std::memcmp(b->data, "NI_RTERR", 8) == 0))) {
    if (int rc = x->mpExtOps->filterIn(p, x, &b); rc != ZUL_O_K) return rc;
  }
  if (x->mpRecvBuf != nullptr && IsMarker(x->mpRecvBuf)) x->mpRecvBuf = nullptr;
  x->mpRecvBuf = b;
  DPTRC_A7(Lvl(p, 3), tf, "%s: packet complete for hdl %d\n", fn, p->handle);
  return ZUL_O_K;
}

}  // namespace

namespace ni::buf {

int CheckError(NITAB *p, NI_XHDL *x) noexcept {
  (void)p;
  if (x->mStatus != kErr) return ZUL_O_K;
  NIBUF *saved = x->mpRecvBuf;
  if (saved == nullptr || IsMarker(saved)) return NIEINTERN;
  // The saved block is kept: every later call reports the same fault with the same info.
  ErrCpTo(reinterpret_cast<const ZUL_UTF16 *>(saved->data), saved->len / sizeof(ZUL_UTF16));
  const ZUL_UTF16 *f = ErrGetFld(ERR_FLD_RC);
  bool negative = f != nullptr && *f == u'-';
  int rc = 0;
  for (f += negative ? 1 : 0; f != nullptr && *f >= u'0' && *f <= u'9'; ++f)
    rc = rc * 10 + (*f - u'0');
  rc = negative ? -rc : rc;
  return rc != 0 ? rc : NIEINTERN;
}

void SetError(NITAB *p, NI_XHDL *x, int rc) noexcept {
  const char *fn = "NiBufISetError";
  if (x->mStatus == kErr) {
    DPTRC_A7(Lvl(p, 2), tf, "%s: discarding error %d due to older error\n", fn, rc);
    return;
  }
  if (x->mpInBuf != nullptr) NiBufFree(&x->mpInBuf);
  if (x->mpRecvBuf != nullptr && !IsMarker(x->mpRecvBuf)) NiBufFree(&x->mpRecvBuf);
  x->mpRecvBuf = nullptr;
  ZUL_UTF16 *block = nullptr;
  size_t units = 0;
  if (ErrGetAttr(&block, &units) != ERR_OK || units == 0) {
    Refuse(kMod, __LINE__, rc, 0, "%s: error %d on hdl %d", fn, rc, p->handle);
    ErrGetAttr(&block, &units);
  }
  SetStatus(p, x, kErr, fn);
  NIBUF *saved = nullptr;
  int bytes = static_cast<int>(units * sizeof(ZUL_UTF16));
  if (block != nullptr && NiBufAlloc(&saved, bytes, "NiBufISetError") == ZUL_O_K) {
    std::memcpy(saved->space, block, static_cast<size_t>(bytes));
    saved->len = static_cast<uint32_t>(bytes);
    x->mpRecvBuf = saved;
  }
  SelUpdate(p, x);
}

int SendReadyQueue(NITAB *p, NI_XHDL *x, int timeout) noexcept {
  Deadline d(timeout);
  while (!ReadyEmpty(x)) {
    NIBUF *b = x->mpReady;
    int written = 0;
    int rc = NiIWrite(p, b->data, static_cast<int>(b->len), d.Remaining(), WriteMode(x), &written);
    if (rc == NIETIMEOUT) {
      if (written > 0) {
        b->data += written;
        b->len -= static_cast<uint32_t>(written);
        x->mQueueMoved = 1;
      }
      return NIETIMEOUT;
    }
    if (rc != ZUL_O_K) return rc;
    UnlinkOldest(x, b);
    NiBufFree(&b);
    x->mQueueMoved = 1;
  }
  x->mpReady = nullptr;
  SelUpdate(p, x);
  return ZUL_O_K;
}

int PrivWrite(NITAB *p, NI_XHDL *x, NIBUF **ppBuffer, const ZUL_RAW *pData, int len,
              int timeout) noexcept {
  int written = 0;
  int rc = NIETIMEOUT;
  if (!ReadyEmpty(x)) rc = SendReadyQueue(p, x, timeout);
  // Only with the ready part gone may a new message start on the socket.
  if (ReadyEmpty(x)) {
    x->mWritable = 0;
    rc = NiIWrite(p, pData, len, timeout, WriteMode(x), &written);
  }
  if (rc == ZUL_O_K) {
    x->mWritable = 1;
    if (ppBuffer != nullptr && *ppBuffer != nullptr) NiBufFree(ppBuffer);
    return ZUL_O_K;
  }
  if (rc != NIETIMEOUT) {
    if (ppBuffer != nullptr && *ppBuffer != nullptr) NiBufFree(ppBuffer);
    return rc;
  }
  NIBUF *rest = nullptr;
  if (int crc = CopyTo(ppBuffer, pData + written, len - written, &rest); crc != ZUL_O_K) return crc;
  LinkReady(p, x, rest);
  return NIETIMEOUT;
}

int EmptyOutQueue(NITAB *p, NI_XHDL *x, int timeout) noexcept {
  const char *fn = "NiBufIEmptyOutQueue";
  if (x->mHandshake > 0) {
    int rc = FinishHandshake(p, x, timeout);
    if (rc == NIEPING) {
      if (x->mpRecvBuf == nullptr) x->mpRecvBuf = PingMarker();
      return NIETIMEOUT;
    }
    if (rc != ZUL_O_K && rc != NIEACCEPT) return rc;
  }
  Deadline d(timeout);
  if (int rc = SendReadyQueue(p, x, d.Remaining()); rc != ZUL_O_K) return rc;
  while (x->mpOutQueue != nullptr) {
    if (x->mHandshake > 0) return NIETIMEOUT;
    NIBUF *b = x->mpNextUser;
    if (b == nullptr) {
      DPTRC_ERR_A7(tf, "%s: no more packets in user- or ready-queue?\n", fn);
      return NIETIMEOUT;
    }
    x->mpNextUser = b->newer;
    --x->mUserQueueLen;
    if (x->mpExtOps != nullptr && x->mpExtOps->filterOut != nullptr) {
      // The filter gives the bytes to send; the buffer leaves the queue once it is used up.
      const ZUL_RAW *data = nullptr;
      int len = 0, used = 0;
      if (int rc = x->mpExtOps->filterOut(p, x, b, &data, &len, &used); rc != ZUL_O_K) return rc;
      if (used == 0) {
        x->mpNextUser = b;
        ++x->mUserQueueLen;
      } else {
        UnlinkOldest(x, b);
      }
      int rc = PrivWrite(p, x, used != 0 ? &b : nullptr, data, len, d.Remaining());
      if (rc != ZUL_O_K) return rc;
      continue;
    }
    x->mpReady = b;  // the buffer enters the ready part
    if (int rc = SendReadyQueue(p, x, d.Remaining()); rc != ZUL_O_K) return rc;
  }
  return ZUL_O_K;
}

int SetHS(NITAB *p, NI_XHDL *x, bool on) noexcept {
  const char *fn = "NiBufISetHS";
  if (on) {
    if (!ReadyEmpty(x) && SendReadyQueue(p, x, 0) != ZUL_O_K && !ReadyEmpty(x))
      DPTRC_A7(Lvl(p, 2), tf, "%s: ready-queue could not be freed (hdl %d)\n", fn, p->handle);
    if (x->mpInBuf != nullptr || p->con.mPendHdrLenToRead != 0 || p->con.mPendDataLenToRead != 0)
      DPTRC_WARN_A7(tf, "%s: hdl %d in fragment read\n", fn, p->handle);
    ++x->mHandshake;
    SelUpdate(p, x);
  } else {
    if (x->mHandshake == 0) {
      DPTRC_ERR_A7(tf, "%s: handshake for hdl %d not running\n", fn, p->handle);
      return -1;
    }
    if (--x->mHandshake == 0) {
      SelUpdate(p, x);
      (void)EmptyOutQueue(p, x, 0);
    }
  }
  DPTRC_A7(Lvl(p, 3), tf, "handshake for hdl %d = %d\n", p->handle, x->mHandshake);
  return ZUL_O_K;
}

int In(NITAB *p, NI_XHDL *x, int timeout) noexcept {
  const char *fn = "NiBufIIn";
  if (x->mStatus == kAccepting) return AcceptSentHdl(p, x, timeout);
  Deadline d(timeout);
  const bool hsAtStart = x->mHandshake > 0;
  for (int round = 0;; ++round) {
    const bool hs = x->mHandshake > 0;
    const int mode = hs ? static_cast<int>(NI_MESG_IO) : x->mTalkMode;
    ZUL_RAW *to = nullptr;
    int room = 0;
    if (x->mpInBuf == nullptr && mode == NI_RAW_IO) {
      bool v6 = p->con.mSocket.family == SI_AF_INET6 && !IsMapped(p->con.mPeerAddr);
      if (int rc = NiBufAlloc(&x->mpInBuf, v6 ? kRawInLen6 : kRawInLen, "NIBUF-IN"); rc != ZUL_O_K)
        return rc;
      SelUpdate(p, x);
    }
    if (NIBUF *b = x->mpInBuf; b != nullptr) {
      to = b->data + b->len;
      room = static_cast<int>(b->space + b->spacelen - to);
    }
    int got = 0;
    int rc = NiIRead(p, to, room, d.Remaining(), mode, &got);
    if (rc == NIETIMEOUT) {
      if (x->mpInBuf != nullptr) x->mpInBuf->len += static_cast<uint32_t>(got);
      return NIETIMEOUT;
    }
    if (rc == NIETOO_SMALL) {
      if (x->mpInBuf != nullptr) {
        DPTRC_ERR_A7(tf, "%s: NIETOO_SMALL with allocated buffer\n", fn);
        return Fatal(
            p, x,
            Refuse(kMod, __LINE__, NIEINTERN, 0, "%s: NIETOO_SMALL with allocated buffer", fn));
      }
      // The length is in: a buffer of exactly that size through the handle's allocator.
      uint32_t length = p->con.mPendDataLenToRead;
      if (length > x->mMaxMsgLen) return Fatal(p, x, TooBig(p, x, length));
      if (int arc = x->mpAllocFunc(&x->mpInBuf, static_cast<int>(length), "NIBUF-IN");
          arc != ZUL_O_K)
        return Fatal(p, x, arc);
      if (x->mpInBuf->spacelen - (x->mpInBuf->data - x->mpInBuf->space) < length) {
        char peer[NI_NODEADDR_STR_LEN + 8];
        int local;
        PeerAndPort(p, peer, sizeof peer, &local);
        DPTRC_ERR_A7(tf, "%s: allocfunc returned small buffer (%d<%d;hdl %d;peer=%s;local=%d)\n",
                     fn, static_cast<int>(x->mpInBuf->spacelen), static_cast<int>(length),
                     p->handle, peer, local);
        int have = static_cast<int>(x->mpInBuf->spacelen);
        NiBufFree(&x->mpInBuf);
        return Fatal(p, x,
                     Refuse(kMod, __LINE__, NIETOO_BIG, 0,
                            "%s: allocfunc returned small buffer (%d<%d;hdl %d)", fn, have,
                            static_cast<int>(length), p->handle));
      }
      continue;
    }
    if (rc != ZUL_O_K) return Fatal(p, x, rc);
    if (x->mpInBuf == nullptr) {
      // A message of length 0: an empty buffer.
      if (int arc = x->mpAllocFunc(&x->mpInBuf, 0, "NIBUF-IN"); arc != ZUL_O_K)
        return Fatal(p, x, arc);
    }
    x->mpInBuf->len += static_cast<uint32_t>(got);
    int peerRc = 0;
    rc = Complete(p, x, &peerRc);
    if (rc == ZUL_O_K || rc == NIEPING) return rc;
    if (rc != NIEOPCODE) return rc;
    if (peerRc != 0) return peerRc;
    // A consumed control message. Read on, unless it moved the protocol's state: then the caller
    // looks again (a handle received, a pass completed).
    if (hsAtStart || x->mHandshake > 0 || x->mStatus != kOk || x->mpRecvBuf != nullptr)
      return ZUL_O_K;
    if (d.timeout() == 0 && round > 64) return ZUL_O_K;
  }
}

int TryToRead(NITAB *p, NI_XHDL *x, int timeout) noexcept {
  Deadline d(timeout);
  // Waiting for reading and writing together: two peers whose queues are both full each drain
  // what the other writes, and neither blocks the other.
  while (!ReadyEmpty(x)) {
    SI_POLLFD fd{static_cast<int32_t>(p->con.mSocket.socket),
                 static_cast<int16_t>(SI_POLLIN | SI_POLLOUT), 0};
    int ready = 0;
    int rc = NiIPoll(&fd, 1, d.Remaining(), &ready);
    if (rc == NIETIMEOUT) return NIETIMEOUT;
    if (rc != ZUL_O_K) return rc;
    if ((fd.revents & (SI_POLLOUT | SI_POLLERR | SI_POLLHUP)) != 0) {
      rc = x->mHandshake > 0 ? SendReadyQueue(p, x, 0) : EmptyOutQueue(p, x, 0);
      if (rc != ZUL_O_K && rc != NIETIMEOUT) return Fatal(p, x, rc);
    }
    if ((fd.revents & (SI_POLLIN | SI_POLLERR | SI_POLLHUP)) != 0) break;
  }
  return In(p, x, d.Remaining());
}

int FinishHandshake(NITAB *p, NI_XHDL *x, int timeout) noexcept {
  Deadline d(timeout);
  while (x->mHandshake > 0) {
    // A message that came before the exchange is delivered first; reading on would overwrite it.
    if (HasUserData(x)) return NIETIMEOUT;
    int rc = TryToRead(p, x, d.Remaining());
    if (rc == NIEPING || rc == NIEACCEPT) return rc;
    if (rc != ZUL_O_K && rc != NIETIMEOUT) return rc;
    if (x->mHandshake > 0 && d.Remaining() == 0) return NIETIMEOUT;
  }
  return ZUL_O_K;
}

}  // namespace ni::buf

int NiBufISetHS(NITAB *pHdl, NI_XHDL *pXhdl, int on) noexcept { return SetHS(pHdl, pXhdl, on); }

int NiBufIWriteUserMsg(NITAB *p, NI_XHDL *x, const ZUL_RAW *pData, int len, int timeout) noexcept {
  if (int rc = CheckError(p, x); rc != ZUL_O_K) return rc;
  if (x->mTalkMode == NI_RAW_IO && x->mHandshake == 0)
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: invalid talkmode of hdl %d",
                  "NiBufIWriteUserMsg", p->handle);
  int rc = PrivWrite(p, x, nullptr, pData, len, timeout);
  if (rc != ZUL_O_K && rc != NIETIMEOUT) return Fatal(p, x, rc);
  return ZUL_O_K;
}

namespace {

// NiBufSend and NiWrite on a buffered handle: the buffer form with ppBuffer, the plain form with
// pData alone.
int Send(NITAB *p, NI_XHDL *x, NIBUF **ppBuffer, const ZUL_RAW *pData, int len, int timeout) {
  const char *fn = "NiBufIAddToUserQueue";
  if (int rc = CheckError(p, x); rc != ZUL_O_K) return rc;
  Deadline d(timeout);
  int rc = EmptyOutQueue(p, x, d.Remaining());
  if (rc != ZUL_O_K && rc != NIETIMEOUT) {
    if (ppBuffer != nullptr) NiBufFree(ppBuffer);
    return Fatal(p, x, rc);
  }
  if (rc == ZUL_O_K && x->mpOutQueue == nullptr && x->mHandshake == 0 &&
      (x->mpExtOps == nullptr || x->mpExtOps->filterOut == nullptr)) {
    rc = PrivWrite(p, x, ppBuffer, pData, len, d.Remaining());
    if (rc == NIETIMEOUT) rc = ZUL_O_K;  // the rest is in the ready part
    if (rc != ZUL_O_K) return Fatal(p, x, rc);
    return SelUpdate(p, x) == ZUL_O_K ? ZUL_O_K : -1;
  }
  // The user part: full means refused, and the buffer stays the caller's.
  if (x->mUserQueueLen >= x->mMaxQueue) {
    DPTRC_A7(Lvl(p, 2), tf, "%s: queue for hdl %d full (%d packets)\n", fn, p->handle,
             static_cast<int>(x->mUserQueueLen));
    return Refuse(kMod, __LINE__, NIETIMEOUT, 0, "%s: queue for hdl %d full (%d packets)", fn,
                  p->handle, static_cast<int>(x->mUserQueueLen));
  }
  NIBUF *b = nullptr;
  if (ppBuffer != nullptr) {
    b = *ppBuffer;
    *ppBuffer = nullptr;
  } else if ((rc = CopyTo(nullptr, pData, len, &b)) != ZUL_O_K) {
    return rc;
  }
  b->older = x->mpOutQueue;
  b->newer = nullptr;
  if (x->mpOutQueue != nullptr) x->mpOutQueue->newer = b;
  x->mpOutQueue = b;
  if (x->mpNextUser == nullptr) x->mpNextUser = b;
  ++x->mUserQueueLen;
  if (x->mHandshake == 0) SelUpdate(p, x);
  if (x->mWarnQueue + x->mUserQueueLen >= x->mMaxQueue) {
    DPTRC_A7(Lvl(p, 2), tf, "%s: out-queue for hdl %d down to %d packets\n", fn, p->handle,
             static_cast<int>(x->mMaxQueue - x->mUserQueueLen));
    return NIEQUE_FULL;
  }
  if (HeapLimitReached()) {
    DPTRC_A7(Lvl(p, 2), tf, "%s: heap-space exhausted (%d > limit %d)\n", fn,
             static_cast<int>(HeapInUse()), static_cast<int>(gParams.bufMaxHeap));
    return NIEQUE_FULL;
  }
  return ZUL_O_K;
}

// Brings a complete message into mpRecvBuf, or answers why there is none.
int Fetch(NITAB *p, NI_XHDL *x, int timeout) {
  Deadline d(timeout);
  for (;;) {
    if (int rc = CheckError(p, x); rc != ZUL_O_K) return rc;
    if (IsMarker(x->mpRecvBuf)) {
      if (x->mpAcceptedHdl != nullptr) return NIEACCEPT;
      x->mpRecvBuf = nullptr;
      return NIEPING;
    }
    if (x->mpRecvBuf != nullptr) return ZUL_O_K;
    int rc =
        x->mHandshake > 0 ? FinishHandshake(p, x, d.Remaining()) : TryToRead(p, x, d.Remaining());
    if (rc == NIEPING || rc == NIEACCEPT) {
      if (rc == NIEACCEPT && x->mpRecvBuf == nullptr) x->mpRecvBuf = PingMarker();
      if (rc == NIEPING && x->mpRecvBuf == PingMarker()) x->mpRecvBuf = nullptr;
      return rc;
    }
    if (rc != ZUL_O_K && rc != NIETIMEOUT) return rc;
    if (x->mpRecvBuf == nullptr && x->mpAcceptedHdl != nullptr) return NIEACCEPT;
    if (x->mpRecvBuf != nullptr) continue;
    if (rc == NIETIMEOUT || d.Remaining() == 0) return NIETIMEOUT;
  }
}

NI_XHDL *Buffered(int hdl, const char *fn, NITAB **ppHdl) {
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return nullptr;
  if (p->mpXhdl == nullptr) {
    Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pHdl->mpXhdl == NULL)", fn);
    return nullptr;
  }
  *ppHdl = p;
  return p->mpXhdl;
}

int OpRead(NITAB *p, NI_XHDL *x, ZUL_RAW *pBuffer, int bufferLen, int timeout,
           int *pRead) noexcept {
  *pRead = 0;
  int rc = Fetch(p, x, timeout);
  if (rc != ZUL_O_K) return rc;
  NIBUF *b = x->mpRecvBuf;
  if (b->len > static_cast<uint32_t>(bufferLen)) {
    std::memcpy(pBuffer, b->data, static_cast<size_t>(bufferLen));
    b->data += bufferLen;
    b->len -= static_cast<uint32_t>(bufferLen);
    *pRead = bufferLen;
    return Refuse(kMod, __LINE__, NIETOO_SMALL, 2, "%s: hdl %d buffer too small (%d<%d)",
                  "NiBufIRead", p->handle, bufferLen, static_cast<int>(b->len) + bufferLen);
  }
  if (b->len != 0) std::memcpy(pBuffer, b->data, b->len);
  *pRead = static_cast<int>(b->len);
  x->mpRecvBuf = nullptr;
  NiBufFree(&b);
  SelUpdate(p, x);
  return ZUL_O_K;
}

int OpWrite(NITAB *p, NI_XHDL *x, const ZUL_RAW *pData, int dataLen, int timeout,
            int *pWritten) noexcept {
  int rc = Send(p, x, nullptr, pData, dataLen, timeout);
  *pWritten = rc == ZUL_O_K || rc == NIEQUE_FULL ? dataLen : 0;
  return rc;
}

int OpPeek(NITAB *p, NI_XHDL *x, int timeout, int *pLen, int mode) noexcept {
  *pLen = 0;
  if (int rc = CheckError(p, x); rc != ZUL_O_K) return rc;
  if (mode != NI_READ) return EmptyOutQueue(p, x, timeout);
  if (IsMarker(x->mpRecvBuf)) return ZUL_O_K;
  if (x->mpRecvBuf == nullptr || x->mpInBuf != nullptr) {
    int rc = x->mHandshake > 0 ? FinishHandshake(p, x, timeout) : TryToRead(p, x, timeout);
    if (rc != ZUL_O_K && rc != NIETIMEOUT) return rc;
  }
  if (x->mpRecvBuf != nullptr && !IsMarker(x->mpRecvBuf)) {
    *pLen = static_cast<int>(x->mpRecvBuf->len);
    return ZUL_O_K;
  }
  if (x->mpInBuf != nullptr) *pLen = static_cast<int>(x->mpInBuf->len);
  return IsMarker(x->mpRecvBuf) ? ZUL_O_K : NIETIMEOUT;
}

}  // namespace

namespace ni::buf {
const NI_XHDL_OPS kOps = {NiBufIClose, OpRead, OpWrite, OpPeek, SelUpdate};
}

int NiBufSend(int hdl, NIBUF **ppBuffer, int timeout) noexcept {
  const char *fn = "NiBufSend";
  NITAB *p = nullptr;
  NI_XHDL *x = Buffered(hdl, fn, &p);
  if (x == nullptr) return NIEINVAL;
  if (ppBuffer == nullptr || *ppBuffer == nullptr)
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: parameter invalid (*ppBuffer == NULL)", fn);
  NIBUF *b = *ppBuffer;
  return Send(p, x, ppBuffer, b->data, static_cast<int>(b->len), timeout);
}

int NiBufReceive(int hdl, NIBUF **ppBuffer, int timeout) noexcept {
  const char *fn = "NiBufReceive";
  if (ppBuffer == nullptr)
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: parameter invalid (ppBuffer == NULL)", fn);
  *ppBuffer = nullptr;
  NITAB *p = nullptr;
  NI_XHDL *x = Buffered(hdl, fn, &p);
  if (x == nullptr) return NIEINVAL;
  int rc = Fetch(p, x, timeout);
  if (rc != ZUL_O_K) return rc;
  *ppBuffer = x->mpRecvBuf;
  x->mpRecvBuf = nullptr;
  SelUpdate(p, x);
  return ZUL_O_K;
}

int NiBufCheckPendingConn(int hdl, int timeout) noexcept {
  const char *fn = "NiBufCheckPendingConn";
  NITAB *p = nullptr;
  NI_XHDL *x = Buffered(hdl, fn, &p);
  if (x == nullptr) return NIEINVAL;
  if (int rc = CheckError(p, x); rc != ZUL_O_K) return rc;
  if (p->mType != NI_CONN_WAIT) return ZUL_O_K;
  int rc = NiICheckPendConnection(p, timeout, 1);
  if (rc != ZUL_O_K && rc != NIETIMEOUT) return Fatal(p, x, rc);
  return rc;
}
