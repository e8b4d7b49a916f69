// Handle select sets: the entry table beside the socket set's slots, the selected and ready
// lists, the select loop and the C entry points.
#define DPTRC_MODULE u"nixxsel"

#include "ni/nixxsel.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

#include "ni/nibuf.h"
#include "zul_dptrace.h"

using namespace ni;

namespace {

constexpr const char16_t *kMod = u"nixxsel.cpp";
constexpr uint32_t kMaxRecall = 20000;
constexpr uint8_t kStatusErrFlag = 4;  // NITAB::mFlags bit 2
constexpr uint8_t kSelList = 1, kReadyList = 2;

// The set number of traces. Each set belongs to one thread, but sets are made in many: the
// counter is atomic, and relaxed, as only its uniqueness matters.
std::atomic<uint32_t> gSetNo{0};

// The entry of a handle number, or null when it is no longer a working handle (quietly).
NITAB *Lookup(int hdl) noexcept {
  if (hdl < 0 || gTab == nullptr || (hdl >> 3) >= gMaxHdls) return nullptr;
  NITAB *p = &gTab[hdl >> 3];
  return p->mType >= 16 && p->handle == hdl ? p : nullptr;
}

bool IsListener(const NITAB *p) noexcept {
  return p->mType == NI_LISTEN || p->mType == NI_RI_LISTEN;
}

// The member buffered handle of this set, or null.
NI_XHDL *BufMember(NITAB *p, const NISEL_IMPL *set) noexcept {
  if (p == nullptr || IsListener(p) || p->mpXhdl == nullptr) return nullptr;
  return p->mpXhdl->mpSet == set ? p->mpXhdl : nullptr;
}

// The sockets a handle puts in a set: a listener's open ones, or the connection's.
int SocketsOf(NITAB *p, SI_SOCK *out[2]) noexcept {
  int n = 0;
  if (IsListener(p)) {
    if (p->lis.mIPSocket.socket != NI_INVALID_SOCK) out[n++] = &p->lis.mIPSocket;
    if (p->mType == NI_LISTEN && p->lis.mUDSocket.socket != NI_INVALID_SOCK)
      out[n++] = &p->lis.mUDSocket;
  } else {
    out[n++] = &p->con.mSocket;
  }
  return n;
}

bool OwnsSocket(NITAB *p, int fd) noexcept {
  SI_SOCK *s[2];
  int n = SocketsOf(p, s);
  for (int i = 0; i < n; ++i)
    if (s[i]->socket == fd) return true;
  return false;
}

}  // namespace

NISEL::~NISEL() = default;

NISEL_IMPL::NISEL_IMPL() noexcept = default;

NISEL_IMPL *NISEL_IMPL::createSet(const int *pImpl, int *pRc) noexcept {
  const char *fn = "NiSelCreateSet";
  *pRc = ZUL_O_K;
  if (pImpl != nullptr && *pImpl != SISEL_IMPL::POLL && *pImpl != SISEL_IMPL::SELECT &&
      *pImpl != SISEL_IMPL::F_CONN) {
    *pRc = Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: addSpecImpl failed (sirc=%d)", fn, SI_EINVAL);
    return nullptr;
  }
  auto *set = new (std::nothrow) NISEL_IMPL;
  if (set != nullptr) set->mSockSet = SISEL_IMPL::createSet(pImpl);
  if (set == nullptr || set->mSockSet == nullptr) {
    DPTRC_ERR_A7(tf, "%s: addSpecImpl failed (sirc=%d)\n", fn, SI_EMEMORY);
    delete set;
    *pRc = Refuse(kMod, __LINE__, NIEINTERN, 0, "%s: addSpecImpl failed (sirc=%d)", fn, SI_EMEMORY);
    return nullptr;
  }
  set->sockSet()->regCBFunc(&set->mCb);
  std::snprintf(set->mName, sizeof set->mName, "%u",
                gSetNo.fetch_add(1, std::memory_order_relaxed) + 1);
  return set;
}

NISEL_IMPL::~NISEL_IMPL() {
  if (mSockSet != nullptr) {
    removeAll();
    sockSet()->regCBFunc(nullptr);
    delete mSockSet;
  }
  std::free(mEntries);
}

int NISEL_IMPL::init(uint32_t maxSockets) noexcept {
  SI_RC rc = mSockSet->init(maxSockets);
  if (rc == SI_OK && mEntries != nullptr) return ZUL_O_K;
  if (rc == SI_OK) rc = SI_EMEMORY;
  mLastError = rc == SI_EINVAL ? NIEINVAL : NIEINTERN;
  return Refuse(kMod, __LINE__, mLastError, 1, "%s: init of set%s failed (sirc=%d; max=%u)",
                "NiSelNewSet", mName, rc, maxSockets);
}

// ---- Call-backs of the socket set ----

void NISEL_IMPL::createMsg(uint32_t capacity) noexcept {
  std::free(mEntries);
  mEntries = static_cast<ENTRY *>(std::malloc(sizeof(ENTRY) * (capacity != 0 ? capacity : 1)));
  mEntryCount = mEntries != nullptr ? capacity : 0;
  for (uint32_t i = 0; i < mEntryCount; ++i) mEntries[i] = {-1, LIST_NULL_VAL, LIST_NULL_VAL, 0};
  mSelList = mReadyList = LIST{};
  mNextPos = LIST_NULL_VAL;
}

void NISEL_IMPL::addMsg(uint32_t pos) noexcept {
  if (pos < mEntryCount) mEntries[pos] = {mCurHdl, LIST_NULL_VAL, LIST_NULL_VAL, 0};
}

void NISEL_IMPL::removeMsg(uint32_t pos) noexcept {
  if (pos >= mEntryCount) return;
  if (mEntries[pos].list == kReadyList) listRemove(mReadyList, pos);
  if (mEntries[pos].list == kSelList) listRemove(mSelList, pos);
  mEntries[pos].hdl = -1;
}

void NISEL_IMPL::moveMsg(uint32_t from, uint32_t to) noexcept {
  if (from >= mEntryCount || to >= mEntryCount) return;
  ENTRY e = mEntries[from];
  mEntries[to] = e;
  mEntries[from] = {-1, LIST_NULL_VAL, LIST_NULL_VAL, 0};
  if (e.list != 0) {
    LIST &l = e.list == kSelList ? mSelList : mReadyList;
    if (e.prev != LIST_NULL_VAL)
      mEntries[e.prev].next = static_cast<uint16_t>(to);
    else
      l.head = static_cast<uint16_t>(to);
    if (e.next != LIST_NULL_VAL) mEntries[e.next].prev = static_cast<uint16_t>(to);
  }
  if (mNextPos == from) mNextPos = static_cast<uint16_t>(to);
}

void NISEL_IMPL::resetMsg() noexcept {
  for (uint32_t i = 0; i < mEntryCount; ++i) mEntries[i] = {-1, LIST_NULL_VAL, LIST_NULL_VAL, 0};
  mSelList = mReadyList = LIST{};
  mNextPos = LIST_NULL_VAL;
  mInReadyList = 0;
}

void NISEL_IMPL::dumpEntryMsg(FILE *f, int64_t pos) noexcept {
  if (pos < 0) {
    std::fprintf(f, " | handle  prv nxt | t");
    return;
  }
  if (static_cast<uint64_t>(pos) >= mEntryCount) return;
  const ENTRY &e = mEntries[pos];
  std::fprintf(f, " | hdl %-3d %3d %3d |", e.hdl, e.prev == LIST_NULL_VAL ? -1 : e.prev,
               e.next == LIST_NULL_VAL ? -1 : e.next);
  // The class of the slot: S a plain socket, L a listener, B a buffered handle, H a plain
  // handle, ? a handle no longer open; a second letter r or s for the ready or selected list.
  NITAB *p = Lookup(e.hdl);
  char c = e.hdl < 0 ? 'S' : p == nullptr ? '?' : IsListener(p) ? 'L' : p->mpXhdl ? 'B' : 'H';
  std::fprintf(f, " %c%c", c, e.list == kReadyList ? 'r' : e.list == kSelList ? 's' : ' ');
}

// ---- Lists ----

void NISEL_IMPL::listInsert(LIST &l, uint8_t which, uint32_t pos) noexcept {
  if (pos >= mEntryCount) return;
  ENTRY &e = mEntries[pos];
  if (e.list != 0) {
    // Repaired so that the set keeps working.
    DPTRC_ERR_A7(tf, "%s: internal status error (%d)\n", "NiSelListInsert", static_cast<int>(pos));
    listRemove(e.list == kSelList ? mSelList : mReadyList, pos);
  }
  e.prev = LIST_NULL_VAL;
  e.next = l.head;
  if (l.head != LIST_NULL_VAL) mEntries[l.head].prev = static_cast<uint16_t>(pos);
  l.head = static_cast<uint16_t>(pos);
  e.list = which;
  ++l.count;
}

void NISEL_IMPL::listRemove(LIST &l, uint32_t pos) noexcept {
  if (pos >= mEntryCount || mEntries[pos].list == 0) return;
  if (mNextPos == pos) incNext();
  ENTRY &e = mEntries[pos];
  if (e.prev != LIST_NULL_VAL)
    mEntries[e.prev].next = e.next;
  else
    l.head = e.next;
  if (e.next != LIST_NULL_VAL) mEntries[e.next].prev = e.prev;
  e.prev = e.next = LIST_NULL_VAL;
  e.list = 0;
  --l.count;
}

void NISEL_IMPL::incNext() noexcept {
  if (mNextPos == LIST_NULL_VAL) return;
  uint16_t next = mEntries[mNextPos].next;
  if (next == LIST_NULL_VAL && mInReadyList == 0) {
    mInReadyList = 1;
    next = mReadyList.head;
  }
  mNextPos = next;
}

int NISEL_IMPL::startLoop() noexcept {
  mInReadyList = mSelList.count == 0 ? 1 : 0;
  mNextPos = mSelList.count != 0 ? mSelList.head : mReadyList.head;
  return ZUL_O_K;
}

// ---- Members ----

int NISEL_IMPL::setError(int siRc, int hdl, const char *fn) noexcept {
  mLastError = siRc == SI_EINTERN ? NIEINTERN : NIEINVAL;
  if (siRc == SI_EINVAL)
    return Refuse(kMod, __LINE__, mLastError, 1,
                  "%s: set failed for hdl %d set%s; maxSockets reached (%d)", fn, hdl, mName,
                  static_cast<int>(getMaxSockNo()));
  return Refuse(kMod, __LINE__, mLastError, 1, "%s: set failed for hdl %d set%s; %s", fn, hdl,
                mName, siRc == SI_EINTERN ? "internal error" : "unknown error");
}

int64_t NISEL_IMPL::posOf(SI_SOCK *sock) noexcept {
  uint32_t pos = 0;
  if (sock->socket < 0 || sockSet()->getSocketPos(sock, &pos) != SI_OK || pos >= mEntryCount)
    return -1;
  return pos;
}

int NISEL_IMPL::setSock(SI_SOCK *sock, int hdl, uint8_t events, void *pData, uint8_t replace,
                        const char *fn) noexcept {
  // A slot of another handle under this number: a plain member closed and its number reused.
  if (int64_t pos = posOf(sock); pos >= 0 && mEntries[pos].hdl != hdl) {
    DPTRC_A7(2, tf, "%s: remove closed hdl %d/sock %d\n", fn, mEntries[pos].hdl, sock->socket);
    removeSock(sock);
  }
  mCurHdl = hdl;
  SI_RC rc = mSockSet->set(sock, events, pData, replace);
  mCurHdl = -1;
  return rc == SI_OK ? ZUL_O_K : setError(rc, hdl, fn);
}

int NISEL_IMPL::removeSock(SI_SOCK *sock) noexcept {
  return mSockSet->remove(sock, 1) == SI_OK ? ZUL_O_K : NIEINVAL;
}

int NISEL_IMPL::set(int hdl, uint8_t mode, void *pData, uint8_t overwrite) noexcept {
  const char *fn = "NiSelSet";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return mLastError = NIEINVAL;
  if (IsListener(p)) {
    if ((mode & ~CONNECT) != 0)
      return mLastError = Refuse(kMod, __LINE__, NIEINVAL, 1,
                                 "%s: invalid flags for listen hdl %d", fn, hdl);
    SI_SOCK *s[2];
    int n = SocketsOf(p, s);
    uint8_t events = (mode & CONNECT) != 0 ? SISEL_READ_PRI | SISEL_READ : 0;
    for (int i = 0; i < n; ++i)
      if (int rc = setSock(s[i], hdl, events, pData, overwrite, fn); rc != ZUL_O_K) return rc;
    return ZUL_O_K;
  }
  if (p->mpXhdl != nullptr) {
    if ((mode & ~(SISEL_READ | SISEL_WRITE | CONNECT)) != 0)
      return mLastError = Refuse(kMod, __LINE__, NIEINVAL, 1,
                                 "%s: invalid flags for none listen hdl %d", fn, hdl);
    mCurHdl = hdl;
    int rc = NiBufISelSet(p, p->mpXhdl, this, mode, pData, overwrite);
    mCurHdl = -1;
    return rc;
  }
  if ((mode & ~(SISEL_READ | SISEL_WRITE)) != 0)
    return mLastError = Refuse(kMod, __LINE__, NIEINVAL, 1,
                               "%s: invalid flags for none listen hdl %d", fn, hdl);
  uint8_t events = mode | ((mode & SISEL_READ) != 0 ? SISEL_READ_PRI : 0);
  return setSock(&p->con.mSocket, hdl, events, pData, overwrite, fn);
}

// A member left with no mode leaves the set.
int NISEL_IMPL::clear(int hdl, uint8_t mode) noexcept {
  const char *fn = "NiSelClear";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return mLastError = NIEINVAL;
  if (!isMember(hdl))
    return Refuse(kMod, __LINE__, NIEINVAL, 2, "%s: hdl %d not member of set%s", fn, hdl, mName);
  if (IsListener(p)) return (mode & CONNECT) != 0 ? remove(hdl, CONNECT) : ZUL_O_K;
  if (NI_XHDL *x = BufMember(p, this); x != nullptr) {
    int rc = NiBufISelClear(p, x, this, mode);
    if (x->mSelMode == 0) NiBufISelRemove(p, x);
    return rc;
  }
  uint8_t now = 0;
  mSockSet->getMode(&p->con.mSocket, &now);
  uint8_t gone = mode & (SISEL_READ | SISEL_WRITE);
  if ((gone & SISEL_READ) != 0) gone |= SISEL_READ_PRI;
  if ((now & ~gone & (SISEL_READ | SISEL_WRITE)) == 0) return removeSock(&p->con.mSocket);
  return mSockSet->clear(&p->con.mSocket, gone) == SI_OK ? ZUL_O_K : NIEINVAL;
}

int NISEL_IMPL::remove(int hdl, uint8_t /*mode*/) noexcept {
  const char *fn = "NiSelRemove";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return mLastError = NIEINVAL;
  if (NI_XHDL *x = BufMember(p, this); x != nullptr) {
    NiBufISelRemove(p, x);
    return ZUL_O_K;
  }
  SI_SOCK *s[2];
  int n = SocketsOf(p, s), removed = 0;
  for (int i = 0; i < n; ++i)
    if (posOf(s[i]) >= 0 && removeSock(s[i]) == ZUL_O_K) ++removed;
  return removed > 0 ? ZUL_O_K
                     : Refuse(kMod, __LINE__, NIEINVAL, 2, "%s: hdl %d not member of set%s", fn,
                              hdl, mName);
}

int NISEL_IMPL::removeAll() noexcept {
  // Buffered members forget the set; the socket set then drops all slots at once.
  for (uint32_t pos = 0; pos < mEntryCount; ++pos) {
    if (NI_XHDL *x = BufMember(Lookup(mEntries[pos].hdl), this); x != nullptr) {
      x->mpSet = nullptr;
      x->mSelMode = x->mSockMode = x->mSelStat = 0;
    }
  }
  SI_RC rc = mSockSet->removeAll();
  resetMsg();
  return rc == SI_OK ? ZUL_O_K : NIEINTERN;
}

// ---- Select ----

int NISEL_IMPL::selectInt(int timeout, int *pCount, int *pRecall) noexcept {
  const char *fn = "NiSelSelect";
  *pCount = 0;
  *pRecall = 0;
  while (mSelList.head != LIST_NULL_VAL) listRemove(mSelList, mSelList.head);
  mNextPos = LIST_NULL_VAL;
  mInReadyList = 0;
  if (mReadyList.count != 0) {
    DPTRC_A7(3, tf, "%s: handles ready; reset timeout\n", fn);
    timeout = 0;
  }
  int fired = 0;
  if (SI_RC rc = mSockSet->select(timeout, &fired); rc != SI_OK) {
    if (rc == SI_EINTERN)
      DPTRC_ERR_A7(tf, "%s: select failed; internal error\n", fn);
    else
      DPTRC_ERR_A7(tf, "%s: select failed; unknown error %d\n", fn, rc);
    mLastError = NIEINTERN;
    Refuse(kMod, __LINE__, NIEINTERN, 0, "%s: select failed (sirc=%d)", fn, rc);
    return -1;
  }
  for (int guard = 0; fired > 0 && guard <= static_cast<int>(mEntryCount); ++guard) {
    uint8_t rd = 0, rp = 0, wr = 0;
    SI_SOCK *sock = nullptr;
    SI_RC nrc = mSockSet->next(&rd, &rp, &wr, &sock, nullptr);
    if (nrc == SI_OK && sock == nullptr) break;
    uint32_t pos = mCurPos;
    if (pos >= mEntryCount) continue;
    int hdl = mEntries[pos].hdl;
    SI_SOCK key{static_cast<int32_t>(sockSet()->getSocketNo(pos)), 0, 0, 0};
    NITAB *p = Lookup(hdl);
    if (nrc == SI_EINVAL_SOCK || (hdl >= 0 && p == nullptr)) {
      // Closed without the set knowing (a plain handle's close): the slot goes.
      DPTRC_A7(2, tf, "%s: remove closed hdl %d/sock %d\n", fn, hdl, key.socket);
      removeSock(&key);
      continue;
    }
    bool error = nrc != SI_OK;
    if (error) DPTRC_A7(2, tf, "%s: error detected on hdl %d/sock %d\n", fn, hdl, key.socket);
    if (hdl < 0) {
      listInsert(mSelList, kSelList, pos);
      continue;
    }
    if (!OwnsSocket(p, key.socket)) {
      if ((p->mFlags & kStatusErrFlag) == 0) {
        p->mFlags |= kStatusErrFlag;
        DPTRC_ERR_A7(tf, "%s: internal status error (hdl %d/sock %d !e [sock %d])\n", fn, hdl,
                     ni::MainSock(p)->socket, key.socket);
      }
      ++mErrors;
      removeSock(&key);
      continue;
    }
    if (NI_XHDL *x = BufMember(p, this); x != nullptr) {
      if (error)
        NiBufISelError(p, x, this, pos);
      else
        NiBufISelProcess(p, x, this, pos, rd != 0 || rp != 0, wr != 0);
      continue;
    }
    listInsert(mSelList, kSelList, pos);
  }
  uint32_t ready = mSelList.count + mReadyList.count;
  if (ready == 0) {
    *pRecall = fired > 0 ? 1 : 0;
    return ZUL_O_K;
  }
  *pCount = static_cast<int>(ready);
  startLoop();
  DPTRC_A7(3, tf, "%s: %d handles selected (%d buffered)\n", fn, static_cast<int>(ready),
           static_cast<int>(mReadyList.count));
  return ZUL_O_K;
}

int NISEL_IMPL::select(int timeout, int *pCount) noexcept {
  const char *fn = "NiSelSelect";
  int count = 0, recall = 0;
  mErrors = 0;
  for (mRecallCount = 0; mRecallCount < kMaxRecall; ++mRecallCount) {
    if (int rc = selectInt(timeout, &count, &recall); rc != ZUL_O_K) return rc;
    if (recall == 0) break;
  }
  if (recall != 0)
    DPTRC_WARN_A7(tf, "%s: select recall after %d tries\n", fn, static_cast<int>(mRecallCount));
  *pCount = count;
  if (count > 0) return ZUL_O_K;
  return Refuse(kMod, __LINE__, NIETIMEOUT, 0, "%s: no handle ready in set%s", fn, mName);
}

int NISEL_IMPL::next2(uint8_t *pRead, uint8_t *pReadPri, uint8_t *pWrite, uint8_t *pConnect,
                      SI_SOCK **ppSock, int *pHdl, void **ppData) noexcept {
  const char *fn = "NiSelNext";
  auto put = [](uint8_t *out, bool v) {
    if (out != nullptr) *out = v ? 1 : 0;
  };
  for (uint32_t guard = 0; guard <= mEntryCount; ++guard) {
    if (mNextPos == LIST_NULL_VAL) break;
    uint32_t pos = mNextPos;
    incNext();
    int hdl = mEntries[pos].hdl;
    SI_SOCK key{static_cast<int32_t>(sockSet()->getSocketNo(pos)), 0, 0, 0};
    uint8_t stat = 0, mode = 0;
    SI_SOCK *sock = nullptr;
    void *data = nullptr;
    sockSet()->getStatEx(&key, &stat, &sock, &data);
    bool rd = false, rp = false, wr = false, cn = false;
    NITAB *p = Lookup(hdl);
    if (NI_XHDL *x = BufMember(p, this); x != nullptr) {
      uint8_t st = NiBufISelGetStat(x);
      rd = (st & SISEL_READ) != 0;
      wr = (st & SISEL_WRITE) != 0;
      cn = (st & CONNECT) != 0;
    } else {
      // A hang-up or error is news for whatever the member waits for.
      mSockSet->getMode(&key, &mode);
      bool err = (stat & (SISEL_SOCK_ERROR | SISEL_INVAL_SOCK)) != 0;
      rd = (mode & SISEL_READ) != 0 && ((stat & SISEL_READ) != 0 || err);
      rp = (mode & SISEL_READ_PRI) != 0 && ((stat & SISEL_READ_PRI) != 0 || err);
      wr = (mode & SISEL_WRITE) != 0 && ((stat & SISEL_WRITE) != 0 || err);
      if (p != nullptr && IsListener(p)) {
        cn = rd || rp;
        rd = rp = false;
      }
    }
    put(pRead, rd);
    put(pReadPri, rp);
    put(pWrite, wr);
    put(pConnect, cn);
    if (!((pRead && rd) || (pReadPri && rp) || (pWrite && wr) || (pConnect && cn))) {
      DPTRC_A7(2, tf, "%s: not interested in event on hdl %d\n", fn, hdl);
      continue;
    }
    if (pHdl != nullptr) *pHdl = hdl;
    if (ppSock != nullptr) *ppSock = sock;
    if (ppData != nullptr) *ppData = data;
    return ZUL_O_K;
  }
  put(pRead, false);
  put(pReadPri, false);
  put(pWrite, false);
  put(pConnect, false);
  if (pHdl != nullptr) *pHdl = -1;
  if (ppSock != nullptr) *ppSock = nullptr;
  if (ppData != nullptr) *ppData = nullptr;
  return ZUL_O_K;
}

int NISEL_IMPL::next(uint8_t *pRead, uint8_t *pWrite, uint8_t *pConnect, int *pHdl,
                     void **ppData) noexcept {
  for (;;) {
    uint8_t rd = 0, rp = 0;
    SI_SOCK *sock = nullptr;
    int hdl = -1;
    next2(&rd, &rp, pWrite, pConnect, &sock, &hdl, ppData);
    if (hdl < 0 && sock != nullptr) continue;  // a plain socket member
    if (pRead != nullptr) *pRead = rd | rp;
    if (pHdl != nullptr) *pHdl = hdl;
    return hdl;
  }
}

// ---- Queries ----

int NISEL_IMPL::getMode(int hdl, uint8_t *pMode) noexcept {
  NITAB *p = CheckHdl(hdl, "NiSelGetMode");
  if (p == nullptr || pMode == nullptr) return NIEINVAL;
  *pMode = 0;
  if (NI_XHDL *x = BufMember(p, this); x != nullptr) {
    *pMode = x->mSelMode;
    return ZUL_O_K;
  }
  uint8_t m = 0;
  if (mSockSet->getMode(ni::MainSock(p), &m) != SI_OK) return NIEINVAL;
  *pMode = IsListener(p) ? ((m & SISEL_READ) != 0 ? CONNECT : 0)
                         : static_cast<uint8_t>(m & (SISEL_READ | SISEL_WRITE));
  return ZUL_O_K;
}

int NISEL_IMPL::getStat(int hdl, uint8_t *pStat) noexcept {
  NITAB *p = CheckHdl(hdl, "NiSelGetStat");
  if (p == nullptr || pStat == nullptr) return NIEINVAL;
  if (NI_XHDL *x = BufMember(p, this); x != nullptr) {
    *pStat = NiBufISelGetStat(x);
    return ZUL_O_K;
  }
  return mSockSet->getStat(ni::MainSock(p), pStat) == SI_OK ? ZUL_O_K : NIEINVAL;
}

uint32_t NISEL_IMPL::getMaxSockNo() noexcept { return mSockSet->getMaxSockNo(); }

bool NISEL_IMPL::isMember(int hdl) noexcept {
  NITAB *p = Lookup(hdl);
  if (p == nullptr) return false;
  if (!IsListener(p) && p->mpXhdl != nullptr) return p->mpXhdl->mpSet == this;
  SI_SOCK *s[2];
  int n = SocketsOf(p, s);
  for (int i = 0; i < n; ++i)
    if (int64_t pos = posOf(s[i]); pos >= 0 && mEntries[pos].hdl == hdl) return true;
  return false;
}

int NISEL_IMPL::getData(int hdl, void **ppData) noexcept {
  NITAB *p = CheckHdl(hdl, "NiSelGetData");
  if (p == nullptr || ppData == nullptr) return NIEINVAL;
  return mSockSet->getData(ni::MainSock(p), ppData) == SI_OK ? ZUL_O_K : NIEINVAL;
}

int NISEL_IMPL::setData(int hdl, void *pData) noexcept {
  NITAB *p = CheckHdl(hdl, "NiSelSetData");
  if (p == nullptr) return NIEINVAL;
  SI_SOCK *s[2];
  int n = SocketsOf(p, s), rc = NIEINVAL;
  for (int i = 0; i < n; ++i)
    if (mSockSet->setData(s[i], pData) == SI_OK) rc = ZUL_O_K;
  return rc;
}

int NISEL_IMPL::dump(FILE *stream) noexcept {
  if (stream == nullptr) return NIEINVAL;
  std::fprintf(stream, "NISEL set%s: %u entries, selected %u, ready %u, errors %u\n", mName,
               mEntryCount, mSelList.count, mReadyList.count, mErrors);
  dumpEntryMsg(stream, -1);
  std::fprintf(stream, "\n");
  for (uint32_t pos = 0; pos < mEntryCount; ++pos) {
    if (mEntries[pos].hdl < 0 && mEntries[pos].list == 0) continue;
    std::fprintf(stream, "%5u:", pos);
    dumpEntryMsg(stream, pos);
    std::fprintf(stream, "\n");
  }
  return mSockSet->dump(stream) == SI_OK ? ZUL_O_K : NIEINTERN;
}

// ---- For the buffered layer ----

int NISEL_IMPL::bufSockMode(NITAB *p, uint8_t sockMode, void *pData) noexcept {
  uint8_t events = sockMode | ((sockMode & SISEL_READ) != 0 ? SISEL_READ_PRI : 0);
  return setSock(&p->con.mSocket, p->handle, events, pData, 1, "NiBufISelUpdate");
}

void NISEL_IMPL::bufReady(NITAB *p, bool ready) noexcept {
  int64_t pos = posOf(&p->con.mSocket);
  if (pos < 0) return;
  if (ready)
    listInsert(mReadyList, kReadyList, static_cast<uint32_t>(pos));
  else
    listRemove(mReadyList, static_cast<uint32_t>(pos));
}

void NISEL_IMPL::bufRemove(NITAB *p) noexcept {
  if (posOf(&p->con.mSocket) >= 0) removeSock(&p->con.mSocket);
}

// ---- C entry points ----

namespace {

int NullSet(const char *fn) noexcept {
  return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pSet == NULL)", fn);
}

}  // namespace

int NiSelNewSet(NISEL **ppSet) noexcept { return NiSelNewSet2(ppSet, 2048); }

int NiSelNewSet2(NISEL **ppSet, uint32_t maxSockets) noexcept {
  return NiSelNewSet3(ppSet, maxSockets, nullptr);
}

int NiSelNewSet3(NISEL **ppSet, uint32_t maxSockets, const int *pImpl) noexcept {
  const char *fn = "NiSelNewSet";
  if (ppSet == nullptr)
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: parameter invalid (ppSet == NULL)", fn);
  *ppSet = nullptr;
  int rc = ZUL_O_K;
  NISEL_IMPL *set = NISEL_IMPL::createSet(pImpl, &rc);
  if (set == nullptr) return rc;
  if (rc = set->init(maxSockets); rc != ZUL_O_K) {
    delete set;
    return rc;
  }
  DPTRC_A7(2, tf, "%s: created set%s (max %u)\n", fn, set->name(), maxSockets);
  *ppSet = set;
  return ZUL_O_K;
}

int NiSelDestroySet(NISEL **ppSet) noexcept {
  if (ppSet == nullptr || *ppSet == nullptr) return NullSet("NiSelDestroySet");
  delete *ppSet;
  *ppSet = nullptr;
  return ZUL_O_K;
}

int NiSelClearSet(NISEL *pSet) noexcept {
  return pSet == nullptr ? NullSet("NiSelClearSet") : pSet->removeAll();
}

int NiSelSet(NISEL *pSet, int hdl, uint8_t mode, void *pData) noexcept {
  return pSet == nullptr ? NullSet("NiSelSet") : pSet->set(hdl, mode, pData, 0);
}

int NiSelClear(NISEL *pSet, int hdl, uint8_t mode) noexcept {
  return pSet == nullptr ? NullSet("NiSelClear") : pSet->clear(hdl, mode);
}

int NiSelIsMember(NISEL *pSet, int hdl) noexcept {
  return pSet == nullptr ? NullSet("NiSelIsMember") : pSet->isMember(hdl) ? 1 : 0;
}

int NiSelSelect(NISEL *pSet, int timeout) noexcept {
  int count = 0;
  return pSet == nullptr ? NullSet("NiSelSelect") : pSet->select(timeout, &count);
}

int NiSelNext(NISEL *pSet, uint8_t *pRead, uint8_t *pWrite, uint8_t *pConnect,
              void **ppData) noexcept {
  if (pSet == nullptr) return NullSet("NiSelNext");
  int hdl = -1;
  return pSet->next(pRead, pWrite, pConnect, &hdl, ppData);
}

int NiSelDump(NISEL *pSet, FILE *stream) noexcept {
  return pSet == nullptr ? NullSet("NiSelDump") : pSet->dump(stream);
}

int NiSelGetError(NISEL *pSet) noexcept {
  return pSet == nullptr ? NullSet("NiSelGetError") : pSet->getError();
}
