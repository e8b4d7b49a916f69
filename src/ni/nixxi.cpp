// The handle table: start and end of the library proper, and the one birth and death of handles.
#define DPTRC_MODULE u"nixxi"

#include "ni/nixxi.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ni/nixxhs.h"
#include "ni/nixxi_con.h"
#include "zul_dptrace.h"
#include "zul_fi.h"
#include "zul_u16string.h"

namespace ni {

NITAB *gTab = nullptr;
int gMaxHdls = 0;
int16_t gUseCount = 0;
THR_REC_MTX gHdlLock;
THR_MTX gParamLock;
THR_KEY gThrKey = THR_INVALID_KEY;
int gUseIpProto = 0;
uint8_t gTraceAll = 0;

THR_MTX gAcceptListLock;
THR_REC_MTX gTcLock;
THR_MTX gWakeupLock, gTrcPeerLock;
std::atomic<LocalCheckFn> gLocalCheck{NiILocalCheck};
int gFaultStep = 0;

namespace {

void *gFreeList = nullptr;  // Ft block "NITAB_FREE"; each record holds its entry's index
void **gNodes = nullptr;    // the free list's record of each entry, by index
NITAB *gUsed = nullptr;     // head of the used chain

extern "C" void ThrKeyDestructor(void *record) { NiThrExit(record); }

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
  int rc = gNodes == nullptr || FaultAt(5) != ZUL_O_K
               ? -1
               : FtInit(gFreeList, u"NITAB_FREE", 0, static_cast<uint32_t>(count), sizeof(int32_t),
                        nullptr);
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

// Closes a socket of an entry and reports a failure. Answers the NI code.
int CloseSock(NITAB *pHdl, SI_SOCK *sock) noexcept {
  const SI_SOCK before = *sock;
  int sirc = CloseSocket(sock);
  if (sirc == SI_OK) return ZUL_O_K;
  return NiISystemError(sirc, kSiClose, pHdl, &before, static_cast<int>(sock->lastError), nullptr,
                        nullptr, nullptr, "NiICloseHandle", kModInternal, __LINE__, 1);
}

// Removes the file a listener's local socket is bound to; a file gone already is no fault.
void RemoveSocketFile(NITAB *pHdl) noexcept {
  ZUL_RAW path[109] = {};
  if (SiGetSockName(&pHdl->lis.mUDSocket, path, 108, nullptr) != SI_OK || path[0] == 0) return;
  const char *name = reinterpret_cast<const char *>(path);
  if (std::remove(name) != 0 && errno != ENOENT)
    DPTRC_A7(1, tf, "%s: remove '%s' failed for hdl %d\n", "NiICloseHandle", name, pHdl->handle);
}

}  // namespace

int CloseSocket(SI_SOCK *s) noexcept {
  if (s->socket == NI_INVALID_SOCK) return SI_OK;
  int sirc;
  do sirc = SiClose(s);
  while (sirc == SI_EINTR);
  s->socket = NI_INVALID_SOCK;
  return sirc;
}

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

// Dumps one entry at the start of a library whose table still exists.
void DumpEntry(NITAB *p, void *) {
  char text[1024];
  if (IHdlDumpText(p, text, sizeof text)) DPTRC_A7(1, tf, "%s", text);
}

// Undoes steps 2 to 5 of a start that failed after them.
void UndoStart() noexcept {
  if (gFreeList != nullptr) FtDestroy(gFreeList);
  std::free(gFreeList);
  std::free(gNodes);
  gFreeList = nullptr;
  gNodes = nullptr;
  std::free(gTab);
  gTab = nullptr;
  gMaxHdls = 0;
  gUsed = nullptr;
  SiExit();
  DeleteLocks();
}

int IInit(int maxHandles) noexcept {
  const char *fn = "NiIInit";
  if (gTab != nullptr) {  // step 1
    DPTRC_WARN_A7(tf, "%s: NI already initialized (%p)\n", fn, static_cast<void *>(gTab));
    NiIWalkNitab(DumpEntry, nullptr);
  }
  int rc = FaultAt(1);
  if (rc != ZUL_O_K) return rc;
  CreateLocks();  // step 2
  if ((rc = FaultAt(2)) == ZUL_O_K) {
    int sysErr = 0;  // step 3
    int sirc = FaultAt(3) != ZUL_O_K ? SI_ESYSCALL : SiInit(&sysErr);
    if (sirc != SI_OK)
      rc = NiISystemError(sirc, kSiInit, nullptr, nullptr, sysErr, nullptr, nullptr, nullptr, fn,
                          kModInternal, __LINE__, 1);
  }
  if (rc != ZUL_O_K) {
    DeleteLocks();
    return rc;
  }
  // The decisions of steps 6 and 7 are taken back when a later step fails.
  const uint8_t connectLocal = gConnectLocal;
  const int useIpProto = gUseIpProto;
  size_t bytes = sizeof(NITAB) * static_cast<size_t>(maxHandles);  // step 4
  gTab = FaultAt(4) != ZUL_O_K
             ? nullptr
             : static_cast<NITAB *>(std::calloc(static_cast<size_t>(maxHandles), sizeof(NITAB)));
  rc = gTab == nullptr ? Refuse(kModInternal, __LINE__, NIEINTERN, 1,
                                "%s: malloc failed for %zu bytes", fn, bytes)
                       : BuildFreeList(maxHandles);  // step 5
  if (rc == ZUL_O_K) {
    gMaxHdls = maxHandles;
    gUsed = nullptr;
    if ((rc = FaultAt(6)) == ZUL_O_K) ISetIPProtoUsage();  // steps 6 and 7
  }
  if (rc == ZUL_O_K) rc = FaultAt(7);
  // Step 8: the name caches. NIECALL means the application built them before: the start goes on,
  // and a later failure leaves them to it.
  bool cachesBuilt = false;
  if (rc == ZUL_O_K && (rc = FaultAt(8)) == ZUL_O_K) {
    rc = NiIHSBufInit(100, 0, 600, 600, 0, 600, 600);
    cachesBuilt = rc == ZUL_O_K;
    if (rc == NIECALL) rc = ZUL_O_K;
  }
  // Step 9: the local host name; NIECALL is only a warning.
  if (rc == ZUL_O_K && (rc = FaultAt(9)) == ZUL_O_K && (rc = NiILHInit()) == NIECALL) {
    DPTRC_WARN_A7(tf, "%s: NiILHInit: NIECALL\n", fn);
    rc = ZUL_O_K;
  }
  if (rc == ZUL_O_K && SI_FD_SETSIZE < maxHandles)  // step 10
    DPTRC_WARN_A7(tf, "%s: FD_SETSIZE (%d) < NI_FD_SETSIZE (%d)\n", fn, SI_FD_SETSIZE, maxHandles);
  if (rc == ZUL_O_K) rc = FaultAt(10);
  if (rc == ZUL_O_K && (rc = FaultAt(11)) == ZUL_O_K) {  // step 11
    MtxGuard lock(gParamLock);
    strcpyU16(gParams.udsPath, u"/tmp/.zulstream%d");
  }
  if (rc != ZUL_O_K) {
    if (cachesBuilt) NiIHSBufRelease();
    NiILHRelease();
    UndoStart();
    gConnectLocal = connectLocal;
    gUseIpProto = useIpProto;
    NI_ADDR_ANY_INIT = NI_ADDR_ANY_I4_INIT;
    NI_ADDR_LOCAL_INIT = NI_ADDR_LOCAL_I4_INIT;
  }
  return rc;
}

void IExit() noexcept {
  NiRiClose();
  NiCloseAll();
  NiIHSBufRelease();
  ThrKeyVarSet(&gThrKey, nullptr);
  FreeAllThrGlobs();
  UndoStart();
  NiILHRelease();
  NiIAlExit();
  NiITcExit();
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
    RecMtxGuard lock(gHdlLock);
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
  // The listener's and the connection's fields lie side by side: every socket of the entry is
  // invalid, whatever it becomes, so that none reads as socket 0.
  p->lis.mIPSocket = p->lis.mUDSocket = p->con.mSocket = SI_SOCK{NI_INVALID_SOCK, 0, 0, 0};
  p->lis.mAcl = nullptr;
  if (stat != NI_INITIAL_LIS) p->con.mPeerAddr = NI_ADDR_ANY_INIT;
  DPTRC_A7(p->mTrace ? 1 : 2, tf, "%s: hdl %d state %s\n", "NiICreateHandle", p->handle,
           StatName8(stat));
  *ppHdl = p;
  return ZUL_O_K;
}

int NiIWalkNitab(NI_WALK_FUNC func, void *pArg) noexcept {
  if (gTab == nullptr) return ZUL_O_K;
  RecMtxGuard lock(gHdlLock);
  for (NITAB *p = gUsed; p != nullptr; p = p->next) {
    if (p->mType == NI_FREE) {
      DPTRC_A7(1, tf, "%s: NI-chain destroyed\n", "NiIWalkNitab");
      return NIEINTERN;
    }
    func(p, pArg);
  }
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
    if (pHdl->lis.mAcl != nullptr) NiIAclDelete(pHdl);
    rc = CloseSock(pHdl, &pHdl->lis.mIPSocket);
    if (pHdl->lis.mUDSocket.socket != NI_INVALID_SOCK) {
      if (removeUdsPath == 1) RemoveSocketFile(pHdl);
      (void)CloseSock(pHdl, &pHdl->lis.mUDSocket);  // doesn't change the result
    }
  } else if (cls == 2) {
    // Reverse invoke is inactive; its pseudo listener only holds a socket.
    rc = CloseSock(pHdl, &pHdl->lis.mIPSocket);
  } else {
    if (pHdl->mpXhdl != nullptr && pHdl->mpXhdlOps != nullptr)
      pHdl->mpXhdlOps->close(pHdl, pHdl->mpXhdl);
    if (pHdl->con.mInAcceptList != 0) {
      MtxGuard lock(gAcceptListLock);
      NiIAlHdlClosed(pHdl);
      pHdl->con.mInAcceptList = 0;
    }
    rc = CloseSock(pHdl, &pHdl->con.mSocket);
  }
  pHdl->mpXhdl = nullptr;
  pHdl->mpXhdlOps = nullptr;
  // Written under the traffic control lock by other threads' NiTcCheck.
  if (__atomic_load_n(&pHdl->mInTcList, __ATOMIC_ACQUIRE) != 0) {
    RecMtxGuard lock(gTcLock);
    NiITcDelHdl(pHdl);
  }
  RecMtxGuard lock(gHdlLock);
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
