// Framed I/O on a connection: one message read or written in as many passes and calls as the
// socket needs. What a call that times out has moved stays in the handle, and the next call goes
// on with the same message, in the middle of its length bytes if need be.
#define DPTRC_MODULE u"nixxi"

#include "ni/nixxi_io.h"

#include <sched.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "ni/nixxi_con.h"
#include "zul_dptrace.h"
#include "zul_err.h"

namespace ni {
const char *const NI_MODE_STR[3] = {"MESG_IO", "RAW_IO", "ROUT_IO"};
}

namespace ni::io {

Counters gCounters;

uint32_t Rand31() noexcept {
  // splitmix64, seeded per thread from the clock and the thread's own storage.
  thread_local uint64_t state =
      static_cast<uint64_t>(NowMs()) ^ reinterpret_cast<uintptr_t>(&state);
  uint64_t z = (state += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return static_cast<uint32_t>((z ^ (z >> 31)) & 0x7FFFFFFF);
}

void CheckOverslept(time_t start, int timeout) noexcept {
  if (start == 0) return;
  long limit = LoadParam(gParams.pollTraceLimit);
  long elapsed = static_cast<long>(time(nullptr) - start);
  if (limit != 0 && elapsed >= (timeout + 500L) / 1000 + limit)
    DPTRC_WARN_A7(tf, "passed over poll/select timeout (%lds>=%dms+%lds)\n", elapsed, timeout,
                  limit);
}

bool TryClaimWrite(NITAB *p) noexcept {
  return __atomic_exchange_n(&p->mWriteBusy, 1, __ATOMIC_ACQUIRE) == 0;
}

void ClaimWrite(NITAB *p) noexcept {
  // The only other holder is a read sending a pong, which never waits on the socket.
  while (!TryClaimWrite(p)) sched_yield();
}

}  // namespace ni::io

using namespace ni;
using namespace ni::io;

namespace {

constexpr uint8_t kHdrLen = 4;

uint32_t GetBE32(const uint8_t *b) {
  return uint32_t{b[0]} << 24 | uint32_t{b[1]} << 16 | uint32_t{b[2]} << 8 | b[3];
}

void PutBE32(uint8_t *b, uint32_t v) {
  b[0] = static_cast<uint8_t>(v >> 24);
  b[1] = static_cast<uint8_t>(v >> 16);
  b[2] = static_cast<uint8_t>(v >> 8);
  b[3] = static_cast<uint8_t>(v);
}

const char *ModeName(int mode) { return mode >= 0 && mode <= 2 ? NI_MODE_STR[mode] : "?"; }

// NIP_FRAGTEST: for a call that doesn't block, half of the passes are cut to a random length up
// to the limit, and a cut to 0 ends the call as a time-out. Answers the most this pass may move.
size_t FragCut(int timeout) {
  uint32_t limit = LoadParam(gParams.fragTest);
  if (__builtin_expect(limit == 0, 1) || timeout < 0 || Rand31() % 2 == 0) return SIZE_MAX;
  return Rand31() % (uint64_t{limit} + 1);
}

// NIP_QTEST: writes that don't block time out in runs of `count`. A run starts with a chance of
// probability/count percent per write, so that about `probability` percent of them time out.
bool QTestBlocks(int timeout) {
  uint32_t q = LoadParam(gParams.qTest);
  if (__builtin_expect(q == 0, 1) || timeout < 0) return false;
  uint32_t probability = q & 0xFF, count = (q >> 8) & 0xFFFF;
  if (count == 0) return false;
  std::atomic<uint32_t> &blocked = gCounters.qtestBlocked;
  uint32_t b = blocked.load(std::memory_order_relaxed);
  if (b == 0) {
    if (Rand31() * 100.0 / 2147483647.0 - static_cast<double>(probability) / count >= 0)
      return false;
    b = 1;
  }
  if (b <= count) {
    blocked.store(b + 1, std::memory_order_relaxed);
    return true;
  }
  blocked.store(0, std::memory_order_relaxed);
  return false;
}

// EAGAIN from a socket that a wait had just called ready (or that should block): counted and
// reported by the rate limit. Otherwise EAGAIN only says that nothing is there yet.
void ReportEagain(const NITAB *p, bool afterWait, std::atomic<uint32_t> &counter, const char *fn,
                  const char *op) {
  if (!afterWait) {
    DPTRC_A7(Lvl(p, 3), tf, "%s: hdl %d %s would block (errno=EAGAIN)\n", fn, p->handle, op);
    return;
  }
  uint32_t n = counter.fetch_add(1, std::memory_order_relaxed) + 1;
  const char *fmt =
      "%s: hdl %d %s got EAGAIN after select socket successfully; call operating "
      "system-supplier (count=%u)\n";
  if (ReportAsError(n))
    DPTRC_ERR_A7(tf, fmt, fn, p->handle, op, n);
  else
    DPTRC_A7(2, tf, fmt, fn, p->handle, op, n);
}

// The end of a complete message. The byte counter takes the whole message, also when earlier
// calls that timed out or found the buffer too small delivered parts of it.
int ReadDone(NITAB *p, int r, int mode, const int *pRead) {
  p->con.mPendDataLenToRead = 0;
  p->con.mPendHdrLenToRead = 0;
  ++p->mInMsgs;
  p->mInOctets += mode == NI_RAW_IO ? static_cast<uint64_t>(*pRead) : GetBE32(p->con.mHdrRead);
  DPTRC_A7(Lvl(p, 2), tf, "%s: hdl %d received data (rcd=%d,pac=%d,%s)\n", "NiIRead", p->handle,
           *pRead, r, ModeName(mode));
  return ZUL_O_K;
}

int ReadTimedOut(NITAB *p, int mode, int timeout, int r, int read) {
  const char *fn = "NiIRead";
  auto &c = p->con;
  int lvl = Lvl(p, 2);
  if (mode == NI_RAW_IO) {
    DPTRC_A7(lvl, tf, "%s: raw read for hdl %d timed out (%dms)\n", fn, p->handle, timeout);
  } else if (c.mPendHdrLenToRead == kHdrLen) {
    c.mPendHdrLenToRead = 0;  // nothing of a message has come: no message is in progress
    DPTRC_A7(lvl, tf, "%s: read for hdl %d timed out (%dms)\n", fn, p->handle, timeout);
  } else if (c.mPendHdrLenToRead != 0) {
    DPTRC_A7(lvl, tf, "%s: hdl %d received incomplete hdr (rcd=%d,pnd=%d)\n", fn, p->handle,
             kHdrLen - c.mPendHdrLenToRead, c.mPendHdrLenToRead);
  } else {
    DPTRC_A7(lvl, tf, "%s: hdl %d received incomplete data (rcd=%d,pnd=%d,pac=%d,%s,%dms)\n", fn,
             p->handle, read, static_cast<int>(c.mPendDataLenToRead), r, ModeName(mode), timeout);
  }
  return NIETIMEOUT;
}

// A length with the top bit set: the peer doesn't frame its messages. The stream can't be read
// on, so the message state is dropped.
int InvalidLength(NITAB *p, int mode, uint32_t length) {
  const char *fn = "NiIRead";
  auto &c = p->con;
  c.mPendDataLenToRead = 0;
  c.mPendHdrLenToRead = 0;
  char peer[NI_NODEADDR_STR_LEN + 8];
  uint16_t localPort = 0;
  ZUL_RAW local[108];
  SiGetSockName(&c.mSocket, c.mSocket.family == SI_AF_UNIX ? nullptr : local, sizeof local,
                &localPort);
  DPTRC_ERR_A7(tf, "%s: invalid data (0x%x) in mode %s for hdl %d (peer %s; local port %u)\n", fn,
               length, ModeName(mode), p->handle, PeerText(p, peer, sizeof peer),
               static_cast<unsigned>(NiHostServno(localPort)));
  return Refuse(kModInternal, __LINE__, NIEINTERN, 0, "%s: invalid data (0x%x); probably RAW_IO",
                fn, length);
}

int TooSmall(NITAB *p, int bufferLen) {
  return Refuse(kModInternal, __LINE__, NIETOO_SMALL, 1, "%s: hdl %d buffer too small (%d<%d)",
                "NiIRead", p->handle, bufferLen,
                bufferLen + static_cast<int>(p->con.mPendDataLenToRead));
}

// A connect still under way is completed first, within the call's time-out.
int FinishConnect(NITAB *p, int timeout) {
  if (p->mType != NI_CONN_WAIT) return ZUL_O_K;
  int rc = NiICheckPendConnection(p, timeout, 1);
  return rc == NIESERV_USED ? NIECONN_REFUSED : rc;
}

// A failed socket call on the connection, reported; NIEINVAL means a fault of this layer here.
int SockFailed(NITAB *p, int sirc, int siFunc, const char *fn, int line) {
  int rc =
      NiISystemError(sirc, siFunc, p, &p->con.mSocket, static_cast<int>(p->con.mSocket.lastError),
                     nullptr, nullptr, nullptr, fn, kModInternal, line, 1);
  return rc == NIEINVAL ? NIEINTERN : rc;
}

}  // namespace

int NiIRead(NITAB *p, ZUL_RAW *pBuffer, int bufferLen, int timeout, int mode, int *pRead) noexcept {
  const char *fn = "NiIRead";
  auto &c = p->con;
  *pRead = 0;
  Deadline deadline(timeout);
  if (int rc = FinishConnect(p, timeout); rc != ZUL_O_K) return rc;
  const bool raw = mode == NI_RAW_IO;
  if (raw) {
    if (bufferLen == 0)
      return Refuse(kModInternal, __LINE__, NIETOO_SMALL, 1, "%s: buffer length 0", fn);
    c.mPendHdrLenToRead = 0;
    c.mPendDataLenToRead = 0;
  } else if (c.mPendHdrLenToRead == 0 && c.mPendDataLenToRead == 0) {
    c.mPendHdrLenToRead = kHdrLen;
  } else if (bufferLen == 0 && c.mPendHdrLenToRead == 0) {
    return TooSmall(p, bufferLen);
  }
  bool eagain = false;  // the last try found nothing: wait before the next
  int r = 0;            // bytes of the last pass
  for (;;) {
    size_t cut = FragCut(timeout);
    if (cut == 0) {
      DPTRC_A7(Lvl(p, 2), tf, "%s: return NIETIMEOUT due to fragmentation test\n", fn);
      break;
    }
    const bool waited = eagain || (p->mBlockMode != 0 && timeout >= 0);
    if (waited) {
      int rc = NiIPeek(p, SI_PEEK_RD, deadline.Remaining());
      if (rc == NIETIMEOUT) break;
      if (rc != ZUL_O_K) return rc;
    }
    const bool hdr = c.mPendHdrLenToRead != 0;
    ZUL_RAW *to;
    size_t len;
    if (raw) {
      to = pBuffer;
      len = static_cast<size_t>(bufferLen);
    } else if (hdr) {
      to = c.mHdrRead + kHdrLen - c.mPendHdrLenToRead;
      len = c.mPendHdrLenToRead;
    } else {
      to = pBuffer + *pRead;
      len = std::min<size_t>(c.mPendDataLenToRead, static_cast<size_t>(bufferLen - *pRead));
    }
    len = std::min(len, cut);
    size_t got = 0;
    int sirc;
    do sirc = SiRecv(&c.mSocket, to, len, 0, &got);
    while (sirc == SI_EINTR);
    if (sirc == SI_ETIMEOUT) {
      ReportEagain(p, waited, gCounters.readEagain, fn, "SiRecv");
      if (timeout == 0) break;
      eagain = true;
      continue;
    }
    eagain = false;
    if (sirc != SI_OK) {
      if (c.mSocket.lastError == EFAULT)
        DPTRC_ERR_A7(tf, "%s: SiRecv(sock %d, %p, %zu) caused EFAULT (buffer %p, len %d)\n", fn,
                     c.mSocket.socket, static_cast<void *>(to), len, static_cast<void *>(pBuffer),
                     bufferLen);
      *pRead = -1;
      return SockFailed(p, sirc, kSiRecv, fn, __LINE__);
    }
    if (got == 0) {
      // The peer has closed: a normal end, reported without an error trace.
      c.mSocket.lastError = 0;
      *pRead = 0;
      return NiISystemError(SI_ECONN_BROKEN, kSiRecv, p, &c.mSocket, 0, nullptr, nullptr, nullptr,
                            fn, kModInternal, __LINE__, 0);
    }
    r = static_cast<int>(got);
    if (raw) {
      *pRead = r;
      return ReadDone(p, r, mode, pRead);
    }
    if (hdr) {
      if (r < c.mPendHdrLenToRead) {
        c.mPendHdrLenToRead = static_cast<uint8_t>(c.mPendHdrLenToRead - r);
        DPTRC_A7(Lvl(p, 3), tf, "%s: hdl %d received incomplete hdr (rcd=%d,pnd=%d,pac=%d)\n", fn,
                 p->handle, kHdrLen - c.mPendHdrLenToRead, c.mPendHdrLenToRead, r);
        if (c.mSingleRead) break;
        continue;
      }
      c.mPendHdrLenToRead = 0;
      uint32_t length = GetBE32(c.mHdrRead);
      if (r < kHdrLen)
        DPTRC_A7(Lvl(p, 2), tf, "%s: hdl %d received fragmented hdr (rcd=%d,pac=%d,len=%d)\n", fn,
                 p->handle, kHdrLen, r, static_cast<int>(length));
      if (length & 0x80000000u) return InvalidLength(p, mode, length);
      c.mPendDataLenToRead = length;
      // A read without a buffer asks for the length alone: NIETOO_SMALL tells it is in (the
      // length stands in mPendDataLenToRead), without a report, as no fault is involved.
      if (bufferLen == 0 && length != 0) return NIETOO_SMALL;
      if (bufferLen == 0 || (length == 0 && c.mSingleRead))
        return length == 0 ? ReadDone(p, r, mode, pRead) : TooSmall(p, bufferLen);
      // A length of 0 leaves nothing pending, and the next pass receives 0 bytes.
      if (c.mSingleRead) break;
      continue;
    }
    if (static_cast<uint32_t>(r) == c.mPendDataLenToRead) {
      *pRead += r;
      return ReadDone(p, r, mode, pRead);
    }
    if (static_cast<uint32_t>(r) > c.mPendDataLenToRead)
      return Refuse(kModInternal, __LINE__, NIEINTERN, 1,
                    "%s: more data received as buffer length (%d>%d+%d)", fn, r, *pRead,
                    static_cast<int>(c.mPendDataLenToRead));
    *pRead += r;
    c.mPendDataLenToRead -= static_cast<uint32_t>(r);
    if (*pRead == bufferLen) return TooSmall(p, bufferLen);
    DPTRC_A7(Lvl(p, 3), tf, "%s: hdl %d received incomplete data (rcd=%d,pnd=%d,pac=%d)\n", fn,
             p->handle, *pRead, static_cast<int>(c.mPendDataLenToRead), r);
    if (c.mSingleRead) break;
  }
  return ReadTimedOut(p, mode, timeout, r, *pRead);
}

int ni::io::WriteClaimed(NITAB *p, const ZUL_RAW *pData, int dataLen, int timeout, int mode,
                         int *pWritten) noexcept {
  const char *fn = "NiIWrite";
  auto &c = p->con;
  *pWritten = 0;
  Deadline deadline(timeout);
  if (int rc = FinishConnect(p, timeout); rc != ZUL_O_K) return rc;
  // Switched on here rather than at accept, where the caller may not want it yet.
  if ((p->mSetKeepAlive & 1) != 0 && (p->mType == NI_CONNECTED || p->mType == NI_ACCEPTED)) {
    p->mSetKeepAlive &= static_cast<uint8_t>(~1u);
    int32_t on = 1;
    SI_OPTVAL value{&on, 4, nullptr, 0};
    if (SiSetSockOpt(&c.mSocket, SI_SOL_SOCKET, SI_SO_KEEPALIVE, &value) != SI_OK)
      DPTRC_A7(1, tf, "%s: SO_KEEPALIVE failed for hdl %d (errno=%u)\n", fn, p->handle,
               c.mSocket.lastError);
  }
  if (mode == NI_RAW_IO) {
    c.mPendHdrLenToWrite = 0;
    c.mPendDataLenToWrite = static_cast<uint32_t>(dataLen);
  } else if (mode != NI_MESG_IO && mode != NI_ROUT_IO) {
    return Refuse(kModInternal, __LINE__, NIEINTERN, 1, "%s: invalid mode %d for hdl %d", fn, mode,
                  p->handle);
  } else if (c.mPendHdrLenToWrite != 0 || c.mPendDataLenToWrite != 0) {
    // The caller resends the rest of the message that timed out, and only that.
    if (static_cast<uint32_t>(dataLen) != c.mPendDataLenToWrite)
      return Refuse(kModInternal, __LINE__, NIEINVAL, 1,
                    "%s: data not equal with pending data length (%d<>%d)", fn, dataLen,
                    static_cast<int>(c.mPendDataLenToWrite));
  } else {
    c.mPendHdrLenToWrite = kHdrLen;
    c.mPendDataLenToWrite = static_cast<uint32_t>(dataLen);
    PutBE32(c.mHdrWrite, static_cast<uint32_t>(dataLen));
  }
  bool eagain = false;
  size_t mtu = SIZE_MAX;  // the most one pass sends after EMSGSIZE
  int w = 0;              // bytes of the last pass
  bool timedOut = false;
  while (c.mPendHdrLenToWrite != 0 || c.mPendDataLenToWrite != 0) {
    size_t cut = FragCut(timeout);
    if (cut == 0) {
      DPTRC_A7(Lvl(p, 2), tf, "%s: return NIETIMEOUT due to fragmentation test\n", fn);
      timedOut = true;
      break;
    }
    if (QTestBlocks(timeout)) {
      DPTRC_A7(Lvl(p, 2), tf, "%s: return NIETIMEOUT due to NIP_QTEST\n", fn);
      timedOut = true;
      break;
    }
    const bool waited = eagain || (p->mBlockMode != 0 && timeout >= 0);
    if (waited) {
      int rc = NiIPeek(p, SI_PEEK_WR, deadline.Remaining());
      if (rc == NIETIMEOUT) {
        timedOut = true;
        break;
      }
      if (rc != ZUL_O_K) return rc;
    }
    size_t limit = std::min(cut, mtu);
    size_t hdrPart = std::min<size_t>(c.mPendHdrLenToWrite, limit);
    size_t dataPart = std::min<size_t>(c.mPendDataLenToWrite, limit - hdrPart);
    const ZUL_RAW *data = pData + *pWritten;
    size_t sent = 0;
    int sirc;
    const bool withHdr = c.mPendHdrLenToWrite != 0;
    if (withHdr) {
      // Length and data in one system call, so that the peer never waits for a lone length.
      SI_IOVEC iov[2] = {{c.mHdrWrite + kHdrLen - c.mPendHdrLenToWrite, hdrPart},
                         {const_cast<ZUL_RAW *>(data), dataPart}};
      do sirc = SiSendV(&c.mSocket, iov, dataPart != 0 ? 2 : 1, &sent);
      while (sirc == SI_EINTR);
    } else {
      do sirc = SiSend(&c.mSocket, data, dataPart, 0, &sent);
      while (sirc == SI_EINTR);
    }
    const char *op = withHdr ? "SiSendV" : "SiSend";
    if (sirc == SI_ETIMEOUT) {
      ReportEagain(p, waited, gCounters.writeEagain, fn, op);
      if (timeout == 0) {
        timedOut = true;
        break;
      }
      eagain = true;
      continue;
    }
    eagain = false;
    if (sirc == SI_EMEMORY) {
      // EMSGSIZE or ENOBUFS: the path takes less at a time. Shrink the pass, length included,
      // down to 32 bytes; below that the connection is given up.
      size_t t = hdrPart + dataPart;
      if (ct_level >= 1) {
        char peer[NI_NODEADDR_STR_LEN + 8], family[16], type[16];
        Narrow(SiGetFamilyName(c.mSocket.family), family, sizeof family);
        Narrow(SiGetTypeName(c.mSocket.type), type, sizeof type);
        DPTRC_A7(1, tf, "%s: hdl %d %s failed (errno=%u; hdlLen=%d; dataLen=%d; %s; %s; %s)\n", fn,
                 p->handle, op, c.mSocket.lastError, static_cast<int>(hdrPart),
                 static_cast<int>(dataPart), family, type, PeerText(p, peer, sizeof peer));
      }
      size_t next = t > 4096   ? 4096
                    : t > 1024 ? 1024
                    : t > 512  ? 512
                    : t > 128  ? 128
                    : t > 32   ? 32
                               : 0;
      if (next == 0) {
        DPTRC_ERR_A7(tf, "%s: MTU size reached (%d+%d<=%d) for hdl %d; flag connection as broken\n",
                     fn, static_cast<int>(hdrPart), static_cast<int>(dataPart), 32, p->handle);
        return Refuse(kModInternal, __LINE__, NIECONN_BROKEN, 0,
                      "%s: MTU size reached (%d+%d<=%d;hdl %d)", fn, static_cast<int>(hdrPart),
                      static_cast<int>(dataPart), 32, p->handle);
      }
      mtu = next;
      size_t nextHdr = std::min<size_t>(c.mPendHdrLenToWrite, mtu);
      DPTRC_A7(Lvl(p, 2), tf, "%s: reduce data length (hdlLen=%d; dataLen=%d)\n", fn,
               static_cast<int>(nextHdr),
               static_cast<int>(std::min<size_t>(c.mPendDataLenToWrite, mtu - nextHdr)));
      continue;
    }
    if (sirc != SI_OK) {
      return SockFailed(p, sirc, withHdr ? kSiSendV : kSiSend, fn, __LINE__);
    }
    if (sent > hdrPart + dataPart)
      return Refuse(kModInternal, __LINE__, NIEINTERN, 1,
                    "%s: more data written as passed (hdl %d)", fn, p->handle);
    w = static_cast<int>(sent);
    if (sent < hdrPart) {
      c.mPendHdrLenToWrite = static_cast<uint8_t>(c.mPendHdrLenToWrite - sent);
      DPTRC_A7(Lvl(p, 3), tf, "%s: hdl %d sent incomplete hdr (wrt=%d,pnd=%d,pac=%d)\n", fn,
               p->handle, *pWritten, c.mPendHdrLenToWrite, w);
      continue;
    }
    c.mPendHdrLenToWrite = static_cast<uint8_t>(c.mPendHdrLenToWrite - hdrPart);
    size_t d = sent - hdrPart;
    *pWritten += static_cast<int>(d);
    c.mPendDataLenToWrite -= static_cast<uint32_t>(d);
    if (c.mPendDataLenToWrite != 0)
      DPTRC_A7(Lvl(p, 3), tf, "%s: hdl %d sent incomplete data (wrt=%d,pnd=%d,pac=%d)\n", fn,
               p->handle, *pWritten, static_cast<int>(c.mPendDataLenToWrite), w);
  }
  if (timedOut) {
    if (c.mPendHdrLenToWrite != 0)
      DPTRC_A7(Lvl(p, 2), tf, "%s: hdl %d sent incomplete hdr (wrt=%d,pnd=%d)\n", fn, p->handle,
               *pWritten, c.mPendHdrLenToWrite);
    else
      DPTRC_A7(Lvl(p, 2), tf, "%s: hdl %d sent incomplete data (wrt=%d,pnd=%d,pac=%d,%s,%dms)\n",
               fn, p->handle, *pWritten, static_cast<int>(c.mPendDataLenToWrite), w, ModeName(mode),
               timeout);
    return NIETIMEOUT;
  }
  ++p->mOutMsgs;  // the whole message, as for reading
  p->mOutOctets += mode == NI_RAW_IO ? static_cast<uint64_t>(*pWritten) : GetBE32(c.mHdrWrite);
  DPTRC_A7(Lvl(p, 2), tf, "%s: hdl %d sent data (wrt=%d,pac=%d,%s)\n", fn, p->handle, *pWritten, w,
           ModeName(mode));
  return ZUL_O_K;
}

int NiIWrite(NITAB *p, const ZUL_RAW *pData, int dataLen, int timeout, int mode,
             int *pWritten) noexcept {
  ClaimWrite(p);
  int rc = WriteClaimed(p, pData, dataLen, timeout, mode, pWritten);
  ReleaseWrite(p);
  return rc;
}
