// The in-band checks of a connection: ping and pong as ordinary framed messages of 8 bytes, the
// counting check, the peer's state without reading, and the bytes still in progress.
#define DPTRC_MODULE u"nixxi"

#include <cstring>

#include "ni/nixxi_io.h"
#include "zul_dptrace.h"
#include "zul_err.h"

using namespace ni;
using namespace ni::io;

namespace {

constexpr int kCheckLen = 8;
// Plain ASCII with the terminating zero byte, as they travel.
constexpr ZUL_RAW kPing[kCheckLen] = {'N', 'I', '_', 'P', 'I', 'N', 'G', 0};
constexpr ZUL_RAW kPong[kCheckLen] = {'N', 'I', '_', 'P', 'O', 'N', 'G', 0};

uint8_t LoadStat(const NITAB *p) { return __atomic_load_n(&p->con.mCheckStat, __ATOMIC_ACQUIRE); }
void StoreStat(NITAB *p, uint8_t v) { __atomic_store_n(&p->con.mCheckStat, v, __ATOMIC_RELEASE); }

// Sends the check from byte *pSent on. A buffered handle queues what the socket doesn't take;
// plain handles write it as a message. claimed: the caller holds the write claim.
int SendCheck(NITAB *p, int timeout, int isPing, int *pSent, bool claimed) {
  const ZUL_RAW *msg = isPing != 0 ? kPing : kPong;
  int from = pSent != nullptr ? *pSent : 0;
  int written = 0;
  if (p->mpXhdl != nullptr) {
    int rc = NiBufIWriteUserMsg(p, p->mpXhdl, msg + from, kCheckLen - from, timeout);
    if (rc == ZUL_O_K && pSent != nullptr) *pSent = kCheckLen;
    if (rc == ZUL_O_K)
      DPTRC_A7(Lvl(p, 2), tf, "%s: hdl %d sent %s to partner\n", "NiICheck", p->handle,
               isPing != 0 ? "NI_PING" : "NI_PONG");
    return rc;
  }
  int rc = claimed ? WriteClaimed(p, msg + from, kCheckLen - from, timeout, NI_MESG_IO, &written)
                   : NiIWrite(p, msg + from, kCheckLen - from, timeout, NI_MESG_IO, &written);
  if (rc == NIETIMEOUT && pSent != nullptr) *pSent += written;
  if (rc == ZUL_O_K)
    DPTRC_A7(Lvl(p, 2), tf, "%s: hdl %d sent %s to partner\n", "NiICheck", p->handle,
             isPing != 0 ? "NI_PING" : "NI_PONG");
  return rc;
}

// A ping is answered at once with a pong that doesn't wait, unless a message of this handle is
// on its way out: a pong in its middle would break the stream. A buffered handle queues the pong
// behind such a message instead, and reports the ping as NIEPING.
int AnswerPing(NITAB *p) {
  const char *fn = "NiBufIProcMsg";
  DPTRC_A7(Lvl(p, 2), tf, "%s: hdl %d received NI_PING, reply NI_PONG\n", fn, p->handle);
  if (p->mpXhdl != nullptr) {
    int rc = SendCheck(p, 0, 0, nullptr, false);
    return rc == ZUL_O_K ? NIEPING : rc;
  }
  const char *skip = "%s: hdl %d mPendDataLenToWrite > 0 (%d), do not send PONG\n";
  if (!TryClaimWrite(p)) {
    // Another thread is writing right now: its message is pending.
    DPTRC_A7(Lvl(p, 2), tf, skip, fn, p->handle,
             static_cast<int>(__atomic_load_n(&p->con.mPendDataLenToWrite, __ATOMIC_RELAXED)));
    return NIEOPCODE;
  }
  int rc = NIEOPCODE;
  if (p->con.mPendDataLenToWrite != 0 || p->con.mPendHdrLenToWrite != 0) {
    DPTRC_A7(Lvl(p, 2), tf, skip, fn, p->handle, static_cast<int>(p->con.mPendDataLenToWrite));
  } else {
    int sent = SendCheck(p, 0, 0, nullptr, true);
    if (sent != ZUL_O_K) rc = sent;
  }
  ReleaseWrite(p);
  return rc;
}

int TakePong(NITAB *p) {
  const char *fn = "NiBufIProcMsg";
  uint8_t stat = 1;
  if (__atomic_compare_exchange_n(&p->con.mCheckStat, &stat, 0, false, __ATOMIC_ACQ_REL,
                                  __ATOMIC_ACQUIRE)) {
    DPTRC_A7(Lvl(p, 2), tf, "%s: hdl %d received NI_PONG, check o.k.\n", fn, p->handle);
    return NIEPING;
  }
  if (stat == 2) {
    uint32_t n = __atomic_add_fetch(&p->con.mCheckPend, 1, __ATOMIC_ACQ_REL);
    DPTRC_A7(Lvl(p, 2), tf, "%s: hdl %d received NI_PONG: wait_count: %d\n", fn, p->handle,
             static_cast<int>(n));
    return NIEOPCODE;
  }
  DPTRC_A7(Lvl(p, 2), tf, "%s: hdl %d received NI_PONG\n", fn, p->handle);
  return NIEOPCODE;
}

}  // namespace

int NiIProcCheckMsg(NITAB *pHdl, NI_XHDL * /*pXhdl*/, ZUL_RAW *pData, int *pLen) noexcept {
  if (*pLen != kCheckLen) return ZUL_O_K;
  if (std::memcmp(pData, kPing, kCheckLen) == 0) {
    *pLen = 0;
    return AnswerPing(pHdl);
  }
  if (std::memcmp(pData, kPong, kCheckLen) == 0) {
    *pLen = 0;
    return TakePong(pHdl);
  }
  return ZUL_O_K;
}

int NiICheck(NITAB *pHdl, int timeout, int isPing, int *pSent) noexcept {
  return SendCheck(pHdl, timeout, isPing, pSent, false);
}

int NiICheck2(NITAB *p, int timeout, int *pFailCount) noexcept {
  const char *fn = "NiICheck2";
  *pFailCount = 0;
  uint8_t stat = LoadStat(p);
  switch (stat) {
    case 0:
      __atomic_store_n(&p->con.mCheckPend, 0, __ATOMIC_RELEASE);
      StoreStat(p, 2);
      return SendCheck(p, timeout, 1, nullptr, false);
    case 1:
      return Refuse(kModInternal, __LINE__, NIEINVAL, 1, "%s: mixed usage of hdl %d with NiCheck()",
                    fn, p->handle);
    case 2: {
      if (__atomic_load_n(&p->con.mCheckPend, __ATOMIC_ACQUIRE) == 0) {
        DPTRC_A7(Lvl(p, 2), tf, "%s: no answer since last NiCheck2 call\n", fn);
        return NIENO_ANSWER;
      }
      uint32_t pend = __atomic_sub_fetch(&p->con.mCheckPend, 1, __ATOMIC_ACQ_REL);
      DPTRC_A7(Lvl(p, 2), tf, "%s: number of pending messages: %d\n", fn, static_cast<int>(pend));
      if (pend == 0) StoreStat(p, 0);
      *pFailCount = static_cast<int>(pend);
      return ZUL_O_K;
    }
    default:
      return Refuse(kModInternal, __LINE__, NIEINVAL, 1, "%s: hdl %d in illegal status %d", fn,
                    p->handle, stat);
  }
}

int NiICheck2Cancel(NITAB *p) noexcept {
  const char *fn = "NiICheck2Cancel";
  uint8_t stat = LoadStat(p);
  if (stat == 0) return ZUL_O_K;
  if (stat == 2) {
    StoreStat(p, 0);
    __atomic_store_n(&p->con.mCheckPend, 0, __ATOMIC_RELEASE);
    DPTRC_A7(Lvl(p, 2), tf, "%s: reset hdl %d from status NI_CHECKINT\n", fn, p->handle);
    return ZUL_O_K;
  }
  if (stat == 1)
    return Refuse(kModInternal, __LINE__, NIEINVAL, 1, "%s: mixed usage of hdl %d with NiCheck()",
                  fn, p->handle);
  return Refuse(kModInternal, __LINE__, NIEINVAL, 1, "%s: hdl %d in illegal status %d", fn,
                p->handle, stat);
}

int NiIHdlGetStatus(NITAB *p) noexcept {
  const char *fn = "NiIHdlGetStatus";
  SI_SOCK &s = p->con.mSocket;
  // Peeking must not block: a blocking socket is switched for the one look.
  const bool blocking = p->mBlockMode != 0;
  if (blocking && NiIBlockMode(p, 0) != ZUL_O_K) {
    ErrClear();
    return NIEINVAL;
  }
  ZUL_RAW byte;
  size_t got = 0;
  int sirc;
  do sirc = SiRecv(&s, &byte, 1, SI_MSG_PEEK, &got);
  while (sirc == SI_EINTR);
  uint32_t lastError = s.lastError;
  if (blocking && NiIBlockMode(p, 1) != ZUL_O_K) {
    ErrClear();
    return NIEINVAL;
  }
  int lvl = Lvl(p, 2);
  if (sirc == SI_OK && got != 0) {
    int len = 0;
    SiGetPendDataLen(&s, &len);
    DPTRC_A7(lvl, tf, "%s: hdl %d/sock %d ok, data pending (len=%d)\n", fn, p->handle, s.socket,
             len);
    return ZUL_O_K;
  }
  if (sirc == SI_ETIMEOUT) {
    DPTRC_A7(lvl, tf, "%s: hdl %d/sock %d ok, no data pending\n", fn, p->handle, s.socket);
    return NIETIMEOUT;
  }
  char peer[NI_NODEADDR_STR_LEN + 8];
  PeerText(p, peer, sizeof peer);
  if (sirc == SI_OK || sirc == SI_ECONN_BROKEN) {
    DPTRC_A7(lvl, tf, "%s: hdl %d/sock %d connection %s broken\n", fn, p->handle, s.socket, peer);
    return NIECONN_BROKEN;
  }
  DPTRC_A7(lvl, tf, "%s: hdl %d/sock %d connection %s has pending error (errno=%u)\n", fn,
           p->handle, s.socket, peer, lastError);
  return NIEINVAL;
}

int NiIPending(NITAB *p, int mode, int raw) noexcept {
  // A buffered handle's extension answers for its queues; a plain handle has only the message in
  // progress.
  if (raw == 0 && p->mpXhdl != nullptr) {
    int len = 0;
    p->mpXhdlOps->peek(p, p->mpXhdl, 0, &len, mode);
    return len;
  }
  const uint32_t &field = mode == NI_READ ? p->con.mPendDataLenToRead : p->con.mPendDataLenToWrite;
  return static_cast<int>(__atomic_load_n(&field, __ATOMIC_RELAXED));
}
