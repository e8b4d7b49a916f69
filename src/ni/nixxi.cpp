// The handle table: start and end of the library proper, and the one birth and death of handles.
#define DPTRC_MODULE u"nixxi"

#include "ni/nixxi.h"

#include <cstdlib>
#include <cstring>

#include "ni/nixxhs.h"
#include "zul_dptrace.h"
#include "zul_fi.h"

namespace ni {

NITAB *gTab = nullptr;
int gMaxHdls = 0;
int16_t gUseCount = 0;
THR_REC_MTX gHdlLock;
THR_MTX gParamLock;
THR_KEY gThrKey = THR_INVALID_KEY;
int gUseIpProto = 0;
uint8_t gTraceAll = 0;

namespace {

// The locks other than the handle and parameter locks; their users come with later layers.
THR_MTX gWakeupLock, gTrcPeerLock, gAcceptListLock;
THR_REC_MTX gTcLock;
void *gFreeList = nullptr;  // Ft block "NITAB_FREE"; each record holds its entry's index
void **gNodes = nullptr;    // the free list's record of each entry, by index
NITAB *gUsed = nullptr;     // head of the used chain

extern "C" void ThrKeyDestructor(void *record) { NiThrExit(record); }

struct Lock {
  explicit Lock(THR_REC_MTX &m) : m_(m) { ThrRecMtxLock(&m_); }
  ~Lock() { ThrRecMtxUnlock(&m_); }
  THR_REC_MTX &m_;
};

void CreateLocks() noexcept {
  ThrIProcInit();  // the locks are deleted only by a started thread layer
  ThrRecMtxInit(&gHdlLock, u"NI hdl section");
  ThrMtxInit(&gParamLock, u"NI param section");
  ThrMtxInit(&gWakeupLock, u"NI wakeup mutex");
  ThrMtxInit(&gTrcPeerLock, u"NI trc-peer mutex");
  ThrMtxInit(&gAcceptListLock, u"NI accept-list mutex");
  ThrRecMtxInit(&gTcLock, u"NI traffic control mutex");
  ThrKeyGet(&gThrKey, ThrKeyDestructor);
}

void DeleteLocks() noexcept {
  ThrRecMtxDelete(&gHdlLock);
  ThrMtxDelete(&gParamLock);
  ThrMtxDelete(&gWakeupLock);
  ThrMtxDelete(&gTrcPeerLock);
  ThrMtxDelete(&gAcceptListLock);
  ThrRecMtxDelete(&gTcLock);
  ThrKeyDel(&gThrKey);
}

// Builds the free list with index 0 at its head, so that handles are handed out in table order
// until the first close.
int BuildFreeList(int count) noexcept {
  size_t size = FtGetAdmSize(0, static_cast<uint32_t>(count), sizeof(int32_t));
  gFreeList = size != 0 ? std::malloc(size) : nullptr;
  if (gFreeList == nullptr)
    return Refuse(kModInternal, __LINE__, NIEINTERN, 1, "%s: malloc failed for %zu bytes",
                  "NiIInit", size);
  gNodes = static_cast<void **>(std::calloc(static_cast<size_t>(count), sizeof(void *)));
  int rc = gNodes == nullptr ? -1
                             : FtInit(gFreeList, u"NITAB_FREE", 0, static_cast<uint32_t>(count),
                                      sizeof(int32_t), nullptr);
  for (int i = 0; rc == 0 && i < count; ++i) {
    rc = FtAlloc(gFreeList, &gNodes[i]);
    if (rc == 0) *static_cast<int32_t *>(gNodes[i]) = i;
  }
  for (int i = count - 1; rc == 0 && i >= 0; --i) rc = FtFree(gFreeList, gNodes[i]);
  if (rc != 0) {
    std::free(gFreeList);
    std::free(gNodes);
    gFreeList = nullptr;
    gNodes = nullptr;
    return Refuse(kModInternal, __LINE__, NIEINTERN, 1, "%s: FtInit failed (rc=%d)", "NiIInit", rc);
  }
  return ZUL_O_K;
}

// Closes a socket of an entry, retrying an interrupted close. Answers the NI code.
int CloseSock(SI_SOCK *sock, int hdl) noexcept {
  if (sock->socket == NI_INVALID_SOCK) return ZUL_O_K;
  int sirc;
  do sirc = SiClose(sock);
  while (sirc == SI_EINTR);
  sock->socket = NI_INVALID_SOCK;
  if (sirc == SI_OK) return ZUL_O_K;
  DPTRC_A7(1, tf, "%s: SiClose failed for hdl %d (sirc=%d; errno=%u)\n", "NiICloseHandle", hdl,
           sirc, sock->lastError);
  return sirc == SI_EINVAL || sirc == SI_EINVAL_SOCK ? NIEINVAL : NIEINTERN;
}

}  // namespace

const char *StatName8(int stat) noexcept {
  switch (stat) {
    case NI_FREE:
      return "NI_FREE";
    case NI_INITIAL_LIS:
      return "NI_INITIAL_LIS";
    case NI_INITIAL_RIL:
      return "NI_INITIAL_RIL";
    case NI_INITIAL_CON:
      return "NI_INITIAL_CON";
    case NI_LISTEN:
      return "NI_LISTEN";
    case NI_RI_LISTEN:
      return "NI_RI_LISTEN";
    case NI_CONN_WAIT:
      return "NI_CONN_WAIT";
    case NI_CONNECTED:
      return "NI_CONNECTED";
    case NI_ACCEPTED:
      return "NI_ACCEPTED";
    case NI_DG_CONNECTED:
      return "NI_DG_CONNECTED";
    case NI_DG_UNCONNECTED:
      return "NI_DG_UNCONNECTED";
    default:
      return "INVALID";
  }
}

NITAB *CheckHdl(int hdl, const char *func) noexcept {
  // The bound admits numbers of one index past the table; the index test keeps them out.
  if (hdl >= 0 && gTab != nullptr && hdl < gMaxHdls * 8 + 7 && (hdl >> 3) < gMaxHdls) {
    NITAB *p = &gTab[hdl >> 3];
    if (p->mType >= 16 && p->handle == hdl) return p;
  }
  Refuse(kModPublic, __LINE__, NIEINVAL, hdl == -1 ? 2 : 1, "%s: invalid hdl %d", func, hdl);
  return nullptr;
}

int IInit(int maxHandles) noexcept {
  if (gTab != nullptr) DPTRC_WARN_A7(tf, "%s: NI already initialized (%p)\n", "NiIInit", gTab);
  CreateLocks();
  int sysErr = 0;
  if (SiInit(&sysErr) != SI_OK) {
    DeleteLocks();
    return Refuse(kModInternal, __LINE__, NIEINTERN, 1, "%s: SiInit failed (errno=%d)", "NiIInit",
                  sysErr);
  }
  size_t bytes = sizeof(NITAB) * static_cast<size_t>(maxHandles);
  gTab = static_cast<NITAB *>(std::calloc(static_cast<size_t>(maxHandles), sizeof(NITAB)));
  int rc = gTab == nullptr ? Refuse(kModInternal, __LINE__, NIEINTERN, 1,
                                    "%s: malloc failed for %zu bytes", "NiIInit", bytes)
                           : BuildFreeList(maxHandles);
  if (rc != ZUL_O_K) {
    std::free(gTab);
    gTab = nullptr;
    gMaxHdls = 0;
    SiExit();
    DeleteLocks();
    return rc;
  }
  gMaxHdls = maxHandles;
  gUsed = nullptr;
  ISetIPProtoUsage();
  // Name caches and the local host name.
  rc = NiIHSBufInit(100, 0, 600, 600, 0, 600, 600);
  if (rc != ZUL_O_K && rc != NIECALL) {  // NIECALL: the application built them before
    std::free(gTab);
    gTab = nullptr;
    gMaxHdls = 0;
    FtDestroy(gFreeList);
    std::free(gFreeList);
    std::free(gNodes);
    gFreeList = nullptr;
    gNodes = nullptr;
    gUseIpProto = 0;
    NI_ADDR_ANY_INIT = NI_ADDR_ANY_I4_INIT;
    NI_ADDR_LOCAL_INIT = NI_ADDR_LOCAL_I4_INIT;
    SiExit();
    DeleteLocks();
    return rc;
  }
  if (NiILHInit() == NIECALL) DPTRC_WARN_A7(tf, "%s: NiILHInit: NIECALL\n", "NiIInit");
  if (SI_FD_SETSIZE < maxHandles)
    DPTRC_WARN_A7(tf, "%s: FD_SETSIZE (%d) < NI_FD_SETSIZE (%d)\n", "NiIInit", SI_FD_SETSIZE,
                  maxHandles);
  return ZUL_O_K;
}

void IExit() noexcept {
  NiCloseAll();
  NiIHSBufRelease();  // name caches
  NiILHRelease();
  DeleteLocks();
  SiExit();
  if (gFreeList != nullptr) FtDestroy(gFreeList);
  std::free(gFreeList);
  std::free(gNodes);
  gFreeList = nullptr;
  gNodes = nullptr;
  std::free(gTab);
  gTab = nullptr;
  gMaxHdls = 0;
  gUsed = nullptr;
  NI_ADDR_ANY_INIT = NI_ADDR_ANY_I4_INIT;
  NI_ADDR_LOCAL_INIT = NI_ADDR_LOCAL_I4_INIT;
  gUseIpProto = 0;
}

}  // namespace ni

using namespace ni;

int NiICreateHandle(NITAB **ppHdl, int stat, FILE **ppTrcFile) noexcept {
  if (gUseCount <= 0) {
    int rc = NiInit();
    if (rc != ZUL_O_K) return rc;
  }
  if (*ppHdl != nullptr) DPTRC_WARN_A7(tf, "%s: *ppHdl should be NULL\n", "NiICreateHandle");
  if (stat != NI_INITIAL_LIS && stat != NI_INITIAL_RIL && stat != NI_INITIAL_CON)
    return Refuse(kModInternal, __LINE__, NIEINVAL, 1, "%s: invalid type (%d)", "NiICreateHandle",
                  stat);
  NITAB *p;
  {
    Lock lock(gHdlLock);
    void *node = nullptr;
    if (FtAlloc(gFreeList, &node) != 0)
      return Refuse(kModInternal, __LINE__, NIEINVAL, 1, "%s: no more free handles (%d)",
                    "NiICreateHandle", gMaxHdls);
    int32_t idx = *static_cast<int32_t *>(node);
    p = &gTab[idx];
    int32_t old = p->handle;
    std::memset(p, 0, sizeof *p);
    p->handle = idx * 8 + ((old + 1) & 7);
    p->mType = static_cast<uint8_t>(stat);
    p->next = gUsed;
    if (gUsed != nullptr) gUsed->prev = p;
    gUsed = p;
  }
  p->mStartTime = time(nullptr);
  p->mTrace = gTraceAll;
  p->ppTrcFile = ppTrcFile;
  p->mBlockMode = 1;
  p->mInTcList = 0;
  switch (stat) {
    case NI_INITIAL_LIS:
      p->lis.mIPSocket.socket = NI_INVALID_SOCK;
      p->lis.mUDSocket.socket = NI_INVALID_SOCK;
      p->lis.mAcl = nullptr;
      break;
    case NI_INITIAL_RIL:
      p->lis.mIPSocket.socket = NI_INVALID_SOCK;
      p->con.mPeerAddr = NI_ADDR_ANY_INIT;
      break;
    default:
      p->con.mSocket.socket = NI_INVALID_SOCK;
      p->con.mPeerAddr = NI_ADDR_ANY_INIT;
      break;
  }
  DPTRC_A7(p->mTrace ? 1 : 2, tf, "%s: hdl %d state %s\n", "NiICreateHandle", p->handle,
           StatName8(stat));
  *ppHdl = p;
  return ZUL_O_K;
}

int NiICloseHandle(NITAB *pHdl, int removeUdsPath, int /*ignored*/) noexcept {
  const char *fn = "NiICloseHandle";
  int hdl = pHdl->handle;
  int rc = ZUL_O_K;
  int cls = pHdl->mType & 15;
  if (pHdl->mType == NI_CONN_WAIT)
    DPTRC_A7(2, tf, "%s: called for hdl %d while waiting for connection\n", fn, hdl);
  if (pHdl->mType < 16) {
    DPTRC_A7(2, tf, "%s: closing initial hdl %d\n", fn, hdl);
  } else if (cls == 1) {
    DPTRC_A7(2, tf, "%s: shutdown and close hdl %d/sock %d - sock %d\n", fn, hdl,
             pHdl->lis.mIPSocket.socket, pHdl->lis.mUDSocket.socket);
  } else if (cls == 2) {
    DPTRC_A7(2, tf, "%s: shutdown and close pseudo listen hdl %d/sock %d\n", fn, hdl,
             pHdl->lis.mIPSocket.socket);
  } else {
    DPTRC_A7(2, tf, "%s: shutdown and close hdl %d/sock %d\n", fn, hdl, pHdl->con.mSocket.socket);
  }
  if (cls == 1) {
    // The listening socket files and the access lists come with listen; the socket is closed.
    (void)removeUdsPath;
    rc = CloseSock(&pHdl->lis.mIPSocket, hdl);
    (void)CloseSock(&pHdl->lis.mUDSocket, hdl);
  } else if (cls == 2) {
    rc = CloseSock(&pHdl->lis.mIPSocket, hdl);
  } else {
    rc = CloseSock(&pHdl->con.mSocket, hdl);
  }
  Lock lock(gHdlLock);
  if (pHdl->mType == NI_FREE) {
    return Refuse(kModInternal, __LINE__, NIEINVAL, 1,
                  "%s: hdl %d closed in the meantime; race? (old rc=%d)", fn, hdl, rc);
  }
  pHdl->mType = NI_FREE;
  if (pHdl->prev != nullptr)
    pHdl->prev->next = pHdl->next;
  else
    gUsed = pHdl->next;
  if (pHdl->next != nullptr) pHdl->next->prev = pHdl->prev;
  pHdl->next = pHdl->prev = nullptr;
  FtFree(gFreeList, gNodes[pHdl - gTab]);
  return rc;
}
