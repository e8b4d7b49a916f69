// A buffered handle in a select set: what it reports to its user and what it needs from its
// socket, both worked out from the buffer state whenever that changes, and the consumption of
// socket events inside the set's select.
#define DPTRC_MODULE u"nibuf"

#include "ni/nibuf.h"
#include "ni/nixxi_con.h"
#include "ni/nixxi_io.h"
#include "ni/nixxsel.h"
#include "zul_dptrace.h"

using namespace ni;
using namespace ni::buf;
using ni::io::Lvl;

namespace {

constexpr uint8_t kRd = 1, kWr = 2, kConn = NISEL::CONNECT;

char F(uint8_t m, uint8_t bit, char c) noexcept { return (m & bit) != 0 ? c : '-'; }

NISEL_IMPL *SetOf(const NI_XHDL *x) noexcept { return static_cast<NISEL_IMPL *>(x->mpSet); }

}  // namespace

uint8_t NiBufISelGetStat(const NI_XHDL *x) noexcept { return x->mSelStat; }

int NiBufISelUpdate(NITAB *p, NI_XHDL *x, void *pData, int isNew, int isRemove) noexcept {
  const char *fn = "NiBufISelUpdate";
  NISEL_IMPL *set = SetOf(x);
  if (set == nullptr) return ZUL_O_K;
  if (isRemove != 0) {
    if (x->mSelStat != 0) set->bufReady(p, false);
    set->bufRemove(p);
    x->mSelMode = x->mSockMode = x->mSelStat = 0;
    return ZUL_O_K;
  }
  const bool connWait = p->mType == NI_CONN_WAIT;
  const bool complete = x->mpRecvBuf != nullptr && !IsMarker(x->mpRecvBuf);
  uint8_t report = 0, sock = 0;
  if (x->mStatus == kErr) {
    // The stored error is news for reading and writing alike; no socket interest.
    report = kWr;
    if (!connWait || (x->mSelMode & kRd) != 0) report |= kRd;
  } else {
    if (x->mpAcceptedHdl != nullptr)
      report |= kConn;
    else if (complete)
      report |= kRd;
    const bool inProgress = x->mpInBuf != nullptr || p->con.mPendHdrLenToRead != 0 ||
                            p->con.mPendDataLenToRead != 0;
    if (!complete && x->mpAcceptedHdl == nullptr &&
        (inProgress || x->mHandshake > 0 || (x->mSelMode & (kRd | kConn)) != 0))
      sock |= kRd;
    const bool readyPart = x->mpReady != nullptr && x->mpReady != x->mpNextUser;
    if (readyPart || connWait ||
        (x->mHandshake == 0 && (x->mpOutQueue != nullptr || (x->mSelMode & kWr) != 0)))
      sock |= kWr;
    if (x->mWritable != 0 && x->mpOutQueue == nullptr && x->mHandshake == 0 && !connWait)
      report |= kWr;
  }
  report &= x->mSelMode;
  int rc = ZUL_O_K;
  if (sock != x->mSockMode || isNew != 0) {
    DPTRC_A7(Lvl(p, 3), tf, "%s: new MODE %c%c (%c%c) for hdl %d in set%s\n", fn, F(sock, kRd, 'r'),
             F(sock, kWr, 'w'), F(x->mSockMode, kRd, 'r'), F(x->mSockMode, kWr, 'w'), p->handle,
             set->name());
    rc = set->bufSockMode(p, sock, pData);
    if (rc != ZUL_O_K) return rc;
    x->mSockMode = sock;
  }
  if (report != x->mSelStat) {
    DPTRC_A7(Lvl(p, 3), tf, "%s: new STAT %c%c%c (%c%c%c) for hdl %d in set%s\n", fn,
             F(report, kRd, 'r'), F(report, kWr, 'w'), F(report, kConn, 'c'),
             F(x->mSelStat, kRd, 'r'), F(x->mSelStat, kWr, 'w'), F(x->mSelStat, kConn, 'c'),
             p->handle, set->name());
    if ((report == 0) != (x->mSelStat == 0)) set->bufReady(p, report != 0);
    x->mSelStat = report;
  }
  return rc;
}

int NiBufISelSet(NITAB *p, NI_XHDL *x, NISEL_IMPL *set, uint8_t mode, void *pData,
                 uint8_t overwrite) noexcept {
  const char *fn = "NiBufISelSet";
  if (x->mpSet != nullptr && x->mpSet != set)
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: invalid set (%p<>%p) for hdl %d", fn, x->mpSet,
                  static_cast<void *>(set), p->handle);
  const bool isNew = x->mpSet == nullptr;
  if (isNew) {
    x->mpSet = set;
    x->mSelMode = mode;
    x->mSockMode = x->mSelStat = 0;
  } else {
    x->mSelMode = overwrite != 0 ? mode : static_cast<uint8_t>(x->mSelMode | mode);
  }
  int rc = NiBufISelUpdate(p, x, pData, isNew ? 1 : 0, 0);
  if (rc != ZUL_O_K && isNew) {
    x->mpSet = nullptr;
    x->mSelMode = x->mSockMode = x->mSelStat = 0;
  }
  return rc;
}

int NiBufISelClear(NITAB *p, NI_XHDL *x, NISEL_IMPL *set, uint8_t mode) noexcept {
  if (x->mpSet != set)
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: invalid set (%p<>%p) for hdl %d",
                  "NiBufISelClear", x->mpSet, static_cast<void *>(set), p->handle);
  x->mSelMode &= static_cast<uint8_t>(~mode);
  return NiBufISelUpdate(p, x, nullptr, 0, 0);
}

void NiBufISelRemove(NITAB *p, NI_XHDL *x) noexcept {
  if (x->mpSet == nullptr) return;
  x->mSelMode = 0;
  NiBufISelUpdate(p, x, nullptr, 0, 1);
  x->mpSet = nullptr;
}

void NiBufISelProcess(NITAB *p, NI_XHDL *x, NISEL_IMPL * /*pSet*/, uint32_t /*pos*/, bool canRead,
                      bool canWrite) noexcept {
  const char *fn = "NiBufISelProcess";
  if (canWrite && x->mStatus != kErr) {
    if (p->mType == NI_CONN_WAIT) {
      int rc = NiICheckPendConnection(p, 0, 1);
      if (rc == NIETIMEOUT) {
        DPTRC_WARN_A7(tf, "%s: hdl %d connection still in progress after write event\n", fn,
                      p->handle);
        NiBufISelUpdate(p, x, nullptr, 0, 0);
        return;
      }
      if (rc == NIESERV_USED) rc = NIECONN_REFUSED;
      if (rc != ZUL_O_K) SetError(p, x, rc);
    }
    if (x->mStatus != kErr && x->mpOutQueue != nullptr) {
      int rc = EmptyOutQueue(p, x, 0);
      if (rc != ZUL_O_K && rc != NIETIMEOUT) SetError(p, x, rc);
    }
    if (x->mStatus != kErr) x->mWritable = 1;
  }
  // A complete message waits for its user: reading on would take the next one's place.
  const bool complete = x->mpRecvBuf != nullptr && !IsMarker(x->mpRecvBuf);
  if (canRead && x->mStatus != kErr && !complete && x->mpAcceptedHdl == nullptr) {
    int rc = In(p, x, 0);
    if (rc == NIEPING) {
      if (x->mpRecvBuf == nullptr) x->mpRecvBuf = PingMarker();
    } else if (rc == NIEACCEPT) {
      if (x->mpRecvBuf == nullptr) x->mpRecvBuf = PingMarker();
    } else if (rc != ZUL_O_K && rc != NIETIMEOUT) {
      SetError(p, x, rc);
    }
  }
  NiBufISelUpdate(p, x, nullptr, 0, 0);
}

void NiBufISelError(NITAB *p, NI_XHDL *x, NISEL_IMPL *pSet, uint32_t pos) noexcept {
  // A hang-up still lets the bytes before it be read; the read that finds the end stores it.
  NiBufISelProcess(p, x, pSet, pos, true, true);
}
