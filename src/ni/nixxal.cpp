// Three small services that defend and watch a server: the accept list (connections per peer
// address, by the peer's rating), traffic control (call-backs for accepted connections that stay
// too quiet) and peer trace (the handle trace switched on for chosen peers).
//
// Locks: gAcceptListLock guards the accept list and the counts; gTcLock (recursive, since a
// call-back may add or delete handles) guards the traffic control chain and the handles' TC
// fields; gTrcPeerLock guards the peer table. None is held while another of them is taken.
#define DPTRC_MODULE u"nixxal"

#include <arpa/inet.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "ni/nixxi.h"
#include "zul_dptrace.h"

using namespace ni;

namespace {

constexpr const char16_t *kModAl = u"nixxal.cpp";

// ---- Accept list ----

struct AlEntry {
  NI_NODEADDR addr;
  uint8_t type;    // NI_AL_TYPE_*; 0 free, and the end of the entries in use
  uint16_t count;  // connections counted
};

struct AcceptList {
  std::unique_ptr<AlEntry[]> entries;
  int size = 0;
  int maxUnknown = 0, maxFriendly = 0, maxSuspicious = 0;
  int cursor = -1;  // the slot last taken; a full list is searched from the one after it
};
AcceptList *gAl = nullptr;  // guarded by gAcceptListLock
std::atomic<bool> gAlUp{false};

// The entry of the address: its index, or -1. With create a free slot, or when the list is full
// a friendly one, is taken for it (*pIsNew 1). Only friendly entries are ever displaced.
int FindEntry(const NI_NODEADDR &addr, bool create, bool *pIsNew) {
  const char *fn = "NiIAlFindEntry";
  *pIsNew = false;
  AcceptList &al = *gAl;
  int i = 0;
  for (; i < al.size && al.entries[i].type != NI_AL_TYPE_FREE; ++i)
    if (SameAddr(al.entries[i].addr, addr)) return i;
  if (!create) return -1;
  int slot = -1;
  if (i < al.size) {
    slot = i;
    if (i == al.size - 1) DPTRC_WARN_A7(tf, "%s: last free accept list entry in use (%d)\n", fn, i);
  } else {
    int firstFriendly = -1;
    for (int k = 1; k <= al.size && slot < 0; ++k) {
      int j = (al.cursor + k) % al.size;
      if (al.entries[j].type != NI_AL_TYPE_FRIENDLY) continue;
      if (al.entries[j].count == 0) slot = j;
      if (firstFriendly < 0) firstFriendly = j;
    }
    if (slot < 0 && firstFriendly >= 0) {
      slot = firstFriendly;
      DPTRC_A7(2, tf, "%s: return used friendly slot %d\n", fn, slot);
    }
    if (slot < 0) {
      DPTRC_WARN_A7(tf, "%s: no free slot found (max=%d)\n", fn, al.size);
      return -1;
    }
  }
  al.cursor = slot;
  al.entries[slot] = AlEntry{addr, NI_AL_TYPE_UNKNOWN, 0};
  *pIsNew = true;
  return slot;
}

const char *const kAlTypeNames[] = {"", "unknown", "friendly", "suspicious"};

int CheckNewType(int newType, const char *fn) {
  if (newType != NI_AL_TYPE_FRIENDLY && newType != NI_AL_TYPE_SUSPICIOUS &&
      newType != NI_AL_TYPE_INVADER)
    return Refuse(kModAl, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (newEntryType != NI_AL_TYPE_FRIENDLY && newEntryType != "
                  "NI_AL_TYPE_SUSPICIOUS && newEntryType != NI_AL_TYPE_INVADER)",
                  fn);
  return ZUL_O_K;
}

int NotInitialized(const char *fn) {
  return Refuse(kModAl, __LINE__, NIECALL, 1, "%s: accept list not initialized", fn);
}

// ---- Traffic control ----

NITAB *gTcHead = nullptr;  // guarded by gTcLock

void TcUnlink(NITAB *p) {
  if (p->tcPrev != nullptr)
    p->tcPrev->tcNext = p->tcNext;
  else if (gTcHead == p)
    gTcHead = p->tcNext;
  if (p->tcNext != nullptr) p->tcNext->tcPrev = p->tcPrev;
  p->tcNext = p->tcPrev = nullptr;
  __atomic_store_n(&p->mInTcList, 0, __ATOMIC_RELEASE);
}

// Every threshold reached: a counter at or past its absolute threshold (0 counts as reached).
bool TcAllMet(const NITAB *p) {
  return p->mInOctets >= p->mTcInOctets && p->mOutOctets >= p->mTcOutOctets &&
         p->mInMsgs >= p->mTcInMsgs && p->mOutMsgs >= p->mTcOutMsgs;
}

// ---- Peer trace ----

constexpr int kPeerSlots = 5;
struct PeerSlot {
  NI_NODEADDR addr, mask;
  bool used;
};
PeerSlot gPeers[kPeerSlots];  // guarded by gTrcPeerLock
std::atomic<int> gPeerCount{0};

bool MaskedEqual(const NI_NODEADDR &a, const NI_NODEADDR &b, const NI_NODEADDR &m) {
  for (int i = 0; i < 16; ++i)
    if (((a.addr[i] ^ b.addr[i]) & m.addr[i]) != 0) return false;
  return true;
}

}  // namespace

// ---------------------------------------------------------------- accept list

bool NiIAlActive() noexcept { return gAlUp.load(std::memory_order_acquire); }

void NiIAlExit() noexcept {
  delete gAl;
  gAl = nullptr;
  gAlUp = false;
}

void NiIAlHdlClosed(NITAB *pHdl) noexcept {
  if (gAl == nullptr) return;
  bool isNew;
  int i = FindEntry(pHdl->con.mPeerAddr, false, &isNew);
  if (i >= 0 && gAl->entries[i].count > 0) --gAl->entries[i].count;
}

int NiIAlCheckAccept(NITAB *pHdl) noexcept {
  const char *fn = "NiIAlCheckAccept";
  MtxGuard lock(gAcceptListLock);
  if (gAl == nullptr) return ZUL_O_K;
  bool isNew;
  int i = FindEntry(pHdl->con.mPeerAddr, true, &isNew);
  if (i < 0) return ZUL_O_K;  // no slot: admitted, uncounted
  AlEntry &e = gAl->entries[i];
  if (isNew) {
    e.type = NI_AL_TYPE_UNKNOWN;
    e.count = 1;
    pHdl->con.mInAcceptList = 1;
    return ZUL_O_K;
  }
  int limit;
  switch (e.type) {
    case NI_AL_TYPE_UNKNOWN:
      limit = gAl->maxUnknown;
      break;
    case NI_AL_TYPE_FRIENDLY:
      limit = gAl->maxFriendly;
      break;
    case NI_AL_TYPE_SUSPICIOUS:
      limit = gAl->maxSuspicious;
      break;
    case NI_AL_TYPE_INVADER:
      DPTRC_A7(1, tf, "%s: connection rejected (invader peer %s)\n", fn, AddrText(e.addr).c_str());
      return NIETIMEOUT;
    default:
      DPTRC_WARN_A7(tf, "%s: unknown type of slot %d (type=%d)\n", fn, i, e.type);
      return ZUL_O_K;
  }
  if (e.count < limit) {
    ++e.count;
    pHdl->con.mInAcceptList = 1;
    return ZUL_O_K;
  }
  DPTRC_A7(1, tf, "%s: connection rejected (%s peer %s; max=%d)\n", fn, kAlTypeNames[e.type],
           AddrText(e.addr).c_str(), limit);
  return NIETIMEOUT;
}

int NiAlInit(int addrListSize, int maxUnknownConns, int maxFriendlyConns,
             int maxSuspiciousConns) noexcept {
  const char *fn = "NiAlInit";
  if (addrListSize < 10)
    return Refuse(kModAl, __LINE__, NIEINVAL, 1, "%s: parameter invalid (addrListSize < 10)", fn);
  if (maxSuspiciousConns < 1)
    return Refuse(kModAl, __LINE__, NIEINVAL, 1, "%s: parameter invalid (maxSuspiciousConns < 1)",
                  fn);
  if (maxSuspiciousConns > maxUnknownConns)
    return Refuse(kModAl, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (maxSuspiciousConns > maxUnknownConns)", fn);
  if (maxUnknownConns > maxFriendlyConns)
    return Refuse(kModAl, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (maxUnknownConns > maxFriendlyConns)", fn);
  if (maxFriendlyConns > 0xFFFF)
    return Refuse(kModAl, __LINE__, NIEINVAL, 1, "%s: parameter invalid (maxFriendlyConns > 65535)",
                  fn);
  if (gUseCount <= 0)
    if (int rc = NiInit(); rc != ZUL_O_K) return rc;
  MtxGuard lock(gAcceptListLock);
  if (gAl != nullptr)
    return Refuse(kModAl, __LINE__, NIECALL, 1, "%s: accept list already initialized", fn);
  auto *al = new (std::nothrow) AcceptList;
  AlEntry *entries = al != nullptr ? new (std::nothrow) AlEntry[addrListSize]() : nullptr;
  if (entries == nullptr) {
    delete al;
    return Refuse(kModAl, __LINE__, NIEINTERN, 1, "%s: no memory for %d entries", fn, addrListSize);
  }
  al->entries.reset(entries);
  al->size = addrListSize;
  al->maxUnknown = maxUnknownConns;
  al->maxFriendly = maxFriendlyConns;
  al->maxSuspicious = maxSuspiciousConns;
  gAl = al;
  gAlUp = true;
  return ZUL_O_K;
}

int NiAlRelease() noexcept {
  if (gUseCount <= 0) return NotInitialized("NiAlRelease");
  MtxGuard lock(gAcceptListLock);
  if (gAl == nullptr) return NotInitialized("NiAlRelease");
  NiIAlExit();
  return ZUL_O_K;
}

int NiAlChangeType(int hdl, int newType) noexcept {
  const char *fn = "NiAlChangeType";
  if (int rc = CheckNewType(newType, fn); rc != ZUL_O_K) return rc;
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if ((p->mType & 15) == 1 || (p->mType & 15) == 2) return RefuseListener(p, fn);
  MtxGuard lock(gAcceptListLock);
  if (gAl == nullptr) return NotInitialized(fn);
  if (p->con.mInAcceptList == 0) return ZUL_O_K;
  bool isNew;
  int i = FindEntry(p->con.mPeerAddr, false, &isNew);
  if (i >= 0) {
    AlEntry &e = gAl->entries[i];
    e.type = static_cast<uint8_t>(newType);
    if (e.count > 0) --e.count;
  }
  p->con.mInAcceptList = 0;
  return ZUL_O_K;
}

int NiAlChangeType2(const NI_NODEADDR *pPeerAddr, int newType, int create) noexcept {
  const char *fn = "NiAlChangeType2";
  if (pPeerAddr == nullptr)
    return Refuse(kModAl, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pPeerAddr == NULL)", fn);
  if (int rc = CheckNewType(newType, fn); rc != ZUL_O_K) return rc;
  if (gLocalCheck.load()(pPeerAddr, nullptr) == 1)
    return Refuse(kModAl, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (NiILocalCheck(pPeerAddr, &tf) == TRUE)", fn);
  MtxGuard lock(gAcceptListLock);
  if (gAl == nullptr) return NotInitialized(fn);
  bool isNew;
  int i = FindEntry(*pPeerAddr, create != 0, &isNew);
  if (i < 0)
    return Refuse(kModAl, __LINE__, create != 0 ? NIETOO_SMALL : NIEINVAL, 1,
                  "%s: peer %s not in accept list", fn, AddrText(*pPeerAddr).c_str());
  gAl->entries[i].type = static_cast<uint8_t>(newType);
  return ZUL_O_K;
}

int NiAlGetList(NI_NODEADDR **ppPeerAddrList, uint8_t **ppEntryTypeList, uint16_t **ppConnList,
                int *pListSize) noexcept {
  const char *fn = "NiAlGetList";
  if (ppPeerAddrList == nullptr || ppEntryTypeList == nullptr || pListSize == nullptr)
    return Refuse(kModAl, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (ppPeerAddrList == NULL || ppEntryTypeList == NULL || "
                  "pListSize == NULL)",
                  fn);
  if (gUseCount <= 0) return NotInitialized(fn);
  MtxGuard lock(gAcceptListLock);
  if (gAl == nullptr) return NotInitialized(fn);
  int n = 0;
  while (n < gAl->size && gAl->entries[n].type != NI_AL_TYPE_FREE) ++n;
  size_t k = n > 0 ? static_cast<size_t>(n) : 1;
  auto *addrs = static_cast<NI_NODEADDR *>(std::malloc(k * sizeof(NI_NODEADDR)));
  auto *types = static_cast<uint8_t *>(std::malloc(k));
  auto *conns = ppConnList != nullptr ? static_cast<uint16_t *>(std::malloc(k * 2)) : nullptr;
  if (addrs == nullptr || types == nullptr || (ppConnList != nullptr && conns == nullptr)) {
    std::free(addrs);
    std::free(types);
    std::free(conns);
    return Refuse(kModAl, __LINE__, NIEINTERN, 1, "%s: no memory for %d entries", fn, n);
  }
  for (int i = 0; i < n; ++i) {
    addrs[i] = gAl->entries[i].addr;
    types[i] = gAl->entries[i].type;
    if (conns != nullptr) conns[i] = gAl->entries[i].count;
  }
  *ppPeerAddrList = addrs;
  *ppEntryTypeList = types;
  if (ppConnList != nullptr) *ppConnList = conns;
  *pListSize = n;
  return ZUL_O_K;
}

// ---------------------------------------------------------------- traffic control

void NiITcDelHdl(NITAB *pHdl) noexcept {
  if (pHdl->mInTcList != 0 || pHdl->tcPrev != nullptr || gTcHead == pHdl) TcUnlink(pHdl);
}

void NiITcExit() noexcept { gTcHead = nullptr; }

void NiTcInitParam(NI_TC_PARAM *pParam) noexcept {
  if (pParam != nullptr) std::memset(pParam, 0, sizeof *pParam);
}

int NiTcAddHdl(int hdl, const NI_TC_PARAM *pParam) noexcept {
  const char *fn = "NiTcAddHdl";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (pParam == nullptr)
    return Refuse(kModAl, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pParam == NULL)", fn);
  if (p->mType != NI_ACCEPTED)
    return Refuse(kModAl, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pHdl->mType != NI_ACCEPTED)", fn);
  const char *chk = "NiITcCheckParam";
  if (pParam->checkTime < 1)
    return Refuse(kModAl, __LINE__, NIEINVAL, 1, "%s: invalid TC checktime '%d'", chk,
                  static_cast<int>(pParam->checkTime));
  if (pParam->inOctets == 0 && pParam->outOctets == 0 && pParam->inMsgs == 0 &&
      pParam->outMsgs == 0)
    return Refuse(kModAl, __LINE__, NIEINVAL, 1,
                  "%s: invalid TC thresholds\ninOctets = '%lu', outOctets = '%lu'\ninMsgs = "
                  "'%lu', outMsgs = '%lu'",
                  chk, static_cast<unsigned long>(pParam->inOctets),
                  static_cast<unsigned long>(pParam->outOctets),
                  static_cast<unsigned long>(pParam->inMsgs),
                  static_cast<unsigned long>(pParam->outMsgs));
  if (pParam->pFunc == nullptr)
    return Refuse(kModAl, __LINE__, NIEINVAL, 1, "%s: invalid TC callback", chk);
  RecMtxGuard lock(gTcLock);
  bool update = p->mInTcList != 0;
  DPTRC_A7(2, tf, "%s: %s hdl %d in traffic control list\n", "NiITcAddHdl",
           update ? "update" : "add", hdl);
  if (!update) {
    p->tcPrev = nullptr;
    p->tcNext = gTcHead;
    if (gTcHead != nullptr) gTcHead->tcPrev = p;
    gTcHead = p;
    __atomic_store_n(&p->mInTcList, 1, __ATOMIC_RELEASE);
  }
  p->mTcCheckTime = time(nullptr) + static_cast<time_t>(pParam->checkTime);
  p->mTcInOctets = p->mInOctets + pParam->inOctets;
  p->mTcOutOctets = p->mOutOctets + pParam->outOctets;
  p->mTcInMsgs = p->mInMsgs + pParam->inMsgs;
  p->mTcOutMsgs = p->mOutMsgs + pParam->outMsgs;
  p->mTcFunc = pParam->pFunc;
  p->mTcData = pParam->pData;
  return ZUL_O_K;
}

int NiTcDelHdl(int hdl) noexcept {
  const char *fn = "NiTcDelHdl";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  RecMtxGuard lock(gTcLock);
  if (p->mInTcList == 0)
    return Refuse(kModAl, __LINE__, NIEINVAL, 2, "%s: hdl %d not in traffic control list", fn, hdl);
  TcUnlink(p);
  return ZUL_O_K;
}

int NiTcCheck() noexcept {
  const char *fn = "NiITcCheck";
  if (gUseCount <= 0) return ZUL_O_K;
  RecMtxGuard lock(gTcLock);
  // The chain as it stands: a call-back may unlink or renew any entry, so each is looked at again
  // by its handle number before it is used.
  std::vector<std::pair<NITAB *, int>> walk;
  try {
    for (NITAB *p = gTcHead; p != nullptr; p = p->tcNext) walk.emplace_back(p, p->handle);
  } catch (const std::bad_alloc &) {
    return Refuse(kModAl, __LINE__, NIEINTERN, 1, "%s: no memory", fn);
  }
  time_t now = time(nullptr);
  for (auto [p, hdl] : walk) {
    // An entry still linked can't have been freed or reused.
    bool linked = p->tcPrev != nullptr || gTcHead == p;
    if (!linked || p->handle != hdl) continue;  // left the list during this walk
    if (p->mType == NI_FREE || p->mInTcList == 0) {
      DPTRC_A7(2, tf, "%s: hdl %d removed from traffic control list\n", fn, hdl);
      TcUnlink(p);
      continue;
    }
    if (TcAllMet(p)) {
      DPTRC_WARN_A7(tf, "%s: invalid status of hdl %d - remove handle with NiTcDelHdl()\n", fn,
                    hdl);
      TcUnlink(p);
      continue;
    }
    if (now < p->mTcCheckTime) continue;
    if (p->mTcFunc == nullptr) {
      DPTRC_WARN_A7(tf, "%s: invalid TC callback for hdl %d\nremove handle form list\n", fn, hdl);
      TcUnlink(p);
      continue;
    }
    time_t before = p->mTcCheckTime;
    p->mTcFunc(hdl, p->mTcData);
    bool stays = (p->tcPrev != nullptr || gTcHead == p) && p->handle == hdl;
    if (stays && p->mTcCheckTime == before) {
      DPTRC_WARN_A7(tf, "%s: hdl %d must be removed from application\nremove handle form list\n",
                    fn, hdl);
      TcUnlink(p);
    }
  }
  return ZUL_O_K;
}

// ---------------------------------------------------------------- peer trace

bool NiIPeerTraceActive() noexcept { return gPeerCount.load(std::memory_order_relaxed) > 0; }

void NiICheckPeerAddr(NITAB *pHdl, const NI_NODEADDR *pPeerAddr) noexcept {
  MtxGuard lock(gTrcPeerLock);
  for (const PeerSlot &s : gPeers) {
    if (!s.used || !MaskedEqual(*pPeerAddr, s.addr, s.mask)) continue;
    pHdl->mTrace = 1;
    ZUL_UTF16 text[NI_ADDRMASK_STR_LEN] = {};
    NiAddrMaskToStr(&s.addr, &s.mask, text, NI_ADDRMASK_STR_LEN);
    char mask[NI_ADDRMASK_STR_LEN];
    Narrow(text, mask, sizeof mask);
    DPTRC_A7(1, tf, "%s: peer of hdl %d matches trace mask %s\n", "NiICheckPeerAddr", pHdl->handle,
             mask);
    return;
  }
}

int NiSetTraceForPeer(const NI_NODEADDR *pPeerAddr, const NI_NODEADDR *pMask) noexcept {
  const char *fn = "NiSetTraceForPeer";
  if (pPeerAddr == nullptr)
    return Refuse(kModAl, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pPeerAddr == NULL)", fn);
  if (gUseCount <= 0)
    if (int rc = NiInit(); rc != ZUL_O_K) return rc;
  NI_NODEADDR mask;
  std::memset(mask.addr, 0xFF, 16);
  if (pMask != nullptr) mask = *pMask;
  MtxGuard lock(gTrcPeerLock);
  for (PeerSlot &s : gPeers) {
    if (s.used) continue;
    s.used = true;
    s.mask = mask;
    for (int i = 0; i < 16; ++i) s.addr.addr[i] = pPeerAddr->addr[i] & mask.addr[i];
    gPeerCount.fetch_add(1);
    return ZUL_O_K;
  }
  return Refuse(kModAl, __LINE__, NIETOO_SMALL, 1, "%s: no more free slots (%d)", fn, kPeerSlots);
}

int NiClearTraceForPeer(const NI_NODEADDR *pPeerAddr, const NI_NODEADDR *pMask) noexcept {
  const char *fn = "NiClearTraceForPeer";
  if (pPeerAddr == nullptr)
    return Refuse(kModAl, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pPeerAddr == NULL)", fn);
  NI_NODEADDR mask;
  std::memset(mask.addr, 0xFF, 16);
  if (pMask != nullptr) mask = *pMask;
  if (gUseCount <= 0 || gPeerCount.load() == 0)
    return Refuse(kModAl, __LINE__, NIEINVAL, 1, "%s: no occupied slots", fn);
  MtxGuard lock(gTrcPeerLock);
  if (gPeerCount.load() == 0)
    return Refuse(kModAl, __LINE__, NIEINVAL, 1, "%s: no occupied slots", fn);
  // An entry goes when the given network covers it: equal under the given mask, where the
  // entry's own wildcard bits (zero in its mask) may differ.
  for (PeerSlot &s : gPeers) {
    if (!s.used) continue;
    NI_NODEADDR m;
    for (int i = 0; i < 16; ++i) m.addr[i] = mask.addr[i] & s.mask.addr[i];
    if (!MaskedEqual(*pPeerAddr, s.addr, m)) continue;
    s.used = false;
    gPeerCount.fetch_sub(1);
  }
  return ZUL_O_K;
}

int NiGetTraceForPeerList(NI_NODEADDR *pPeerAddrList, NI_NODEADDR *pPeerAddrMaskList,
                          int maxEntries, int *pFound) noexcept {
  const char *fn = "NiGetTraceForPeerList";
  if (pFound == nullptr || maxEntries < 0 || (maxEntries > 0 && pPeerAddrList == nullptr))
    return Refuse(kModAl, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pFound == NULL || maxEntries < 0)", fn);
  *pFound = 0;
  if (gUseCount <= 0) return ZUL_O_K;
  MtxGuard lock(gTrcPeerLock);
  int found = 0;
  for (const PeerSlot &s : gPeers) {
    if (!s.used) continue;
    if (found < maxEntries) {
      pPeerAddrList[found] = s.addr;
      if (pPeerAddrMaskList != nullptr) pPeerAddrMaskList[found] = s.mask;
    }
    ++found;
  }
  *pFound = found;
  return found > maxEntries ? NIETOO_SMALL : ZUL_O_K;
}
