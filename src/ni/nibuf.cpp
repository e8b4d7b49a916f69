// The buffered layer's counted buffers, its heap account, its start and end, and the extension
// record that makes a handle buffered, with its parameters.
#define DPTRC_MODULE u"nibuf"

#include "ni/nibuf.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "ni/nixxi_io.h"
#include "zul_dptrace.h"
#include "zul_err.h"

using namespace ni;
using namespace ni::buf;

namespace {

THR_MTX gRefLock;   // "NI ref section": reference counts
THR_MTX gHeapLock;  // "NI heap section": heap total
bool gLocksMade = false;
uint64_t gHeapInUse = 0;
char gMarkerByte;  // its address is the ping marker

THR_MTX gExtLock;  // the process-wide hooks, set once
NIBUF_EXIT_FUNC gExitHook = nullptr;
NIBUF_OPCODE_FUNC gOpcodeHook = nullptr;
bool gExtSet = false;

uint32_t HeapLimit() noexcept { return __atomic_load_n(&gParams.bufMaxHeap, __ATOMIC_RELAXED); }

void HeapAdd(uint32_t n) noexcept {
  const char *fn = "NiBufAlloc";
  uint64_t total;
  {
    MtxGuard lock(gHeapLock);
    total = gHeapInUse += n;
  }
  uint32_t limit = HeapLimit();
  if (limit != 0 && total > limit)
    DPTRC_A7(2, tf, "%s: Heap-space %u exhausted by %u bytes\n", fn, limit,
             static_cast<unsigned>(total - limit));
}

void HeapSub(uint32_t n) noexcept {
  MtxGuard lock(gHeapLock);
  gHeapInUse -= n;
}

NIBUF *Header(void *block) noexcept { return static_cast<NIBUF *>(block); }

// Frees a normal buffer's block and takes its storage off the heap total.
void Release(NIBUF *b) noexcept {
  HeapSub(b->spacelen);
  std::free(b);
}

// Drops one reference of a normal buffer. Answers true when this was the last.
bool Unref(NIBUF *b, const char *fn) noexcept {
  uint32_t left;
  {
    MtxGuard lock(gRefLock);
    left = --b->refcount;
  }
  if (left != 0) DPTRC_A7(3, tf, "%s: ref %d for buf %p\n", fn, static_cast<int>(left), b);
  return left == 0;
}

int FreeImpl(NIBUF **ppBuffer, bool recycle, const char *fn) noexcept {
  NIBUF *b = *ppBuffer;
  switch (b->type) {
    case NIBUF_NORMAL:
      *ppBuffer = nullptr;
      if (!Unref(b, fn)) return ZUL_O_K;
      if (recycle && b->freef != nullptr) {
        // Recycled, not freed: the buffer goes back reset, still counted on the heap.
        b->refcount = 1;
        b->len = 0;
        b->data = b->space;
        b->older = b->newer = nullptr;
        NIBUF *again = b;
        b->freef(&again);
        return ZUL_O_K;
      }
      Release(b);
      return ZUL_O_K;
    case NIBUF_REF: {
      NIBUF *real = b->ref;
      *ppBuffer = nullptr;
      FreeImpl(&real, recycle, fn);
      Release(b);
      return ZUL_O_K;
    }
    case NIBUF_WRAP:
      b->freef(ppBuffer);
      *ppBuffer = nullptr;
      return ZUL_O_K;
    default:
      return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: invalid type %d", fn, b->type);
  }
}

}  // namespace

namespace ni::buf {

const char *const kStatusName[6] = {"OFF", "CONN_WAIT", "OK", "ERR", "ACCEPTING", "SENDING"};

NIBUF *PingMarker() noexcept { return reinterpret_cast<NIBUF *>(&gMarkerByte); }

uint64_t HeapInUse() noexcept {
  MtxGuard lock(gHeapLock);
  return gHeapInUse;
}

bool HeapLimitReached() noexcept {
  uint32_t limit = HeapLimit();
  return limit != 0 && HeapInUse() >= limit;
}

NIBUF_OPCODE_FUNC OpcodeHook() noexcept {
  MtxGuard lock(gExtLock);
  return gOpcodeHook;
}

void SetStatus(NITAB *p, NI_XHDL *x, uint8_t status, const char *fn) noexcept {
  if (x->mStatus == status) return;
  DPTRC_A7(io::Lvl(p, 2), tf, "%s: hdl %d changed from %s to %s\n", fn, p->handle,
           kStatusName[x->mStatus], kStatusName[status]);
  x->mStatus = status;
}

int SelUpdate(NITAB *p, NI_XHDL *x) noexcept {
  return x->mpSet == nullptr ? ZUL_O_K : NiBufISelUpdate(p, x, nullptr, 0, 0);
}

}  // namespace ni::buf

int NiBufAlloc(NIBUF **ppBuffer, int length, const char *pText) noexcept {
  return NiBufAlloc2(ppBuffer, length, pText, nullptr);
}

int NiBufAlloc2(NIBUF **ppBuffer, int length, const char *pText, void *uptr) noexcept {
  const char *fn = "NiBufAlloc";
  if (ppBuffer == nullptr)
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: parameter invalid (ppBuffer == NULL)", fn);
  *ppBuffer = nullptr;
  if (length < 0)
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: parameter invalid (length < 0)", fn);
  if (length > NIBUF_MAXALLOC) {
    DPTRC_A7(1, tf, "%s: called with len %d > NIBUF_MAXALLOC (%d)\n", fn, length, NIBUF_MAXALLOC);
    return Refuse(kMod, __LINE__, NIETOO_BIG, 0, "%s: called with len %d > NIBUF_MAXALLOC (%d)", fn,
                  length, NIBUF_MAXALLOC);
  }
  const auto n = static_cast<uint32_t>(length);
  HeapAdd(n);
  void *block = std::malloc(sizeof(NIBUF) + n);
  if (block == nullptr) {
    HeapSub(n);
    return Refuse(kMod, __LINE__, NIEINTERN, 1, "%s: malloc of %d bytes failed (%s)", fn, length,
                  pText != nullptr ? pText : "");
  }
  NIBUF *b = Header(block);
  std::memset(b, 0, sizeof *b);
  b->space = b->data = reinterpret_cast<ZUL_RAW *>(b + 1);
  b->spacelen = n;
  b->type = NIBUF_NORMAL;
  b->refcount = 1;
  b->uptr = uptr;
  *ppBuffer = b;
  return ZUL_O_K;
}

int NiBufFree(NIBUF **ppBuffer) noexcept {
  if (ppBuffer == nullptr || *ppBuffer == nullptr) return ZUL_O_K;
  return FreeImpl(ppBuffer, true, "NiBufFree");
}

int NiBufFree2(NIBUF **ppBuffer) noexcept {
  const char *fn = "NiBufFree2";
  if (ppBuffer == nullptr || *ppBuffer == nullptr)
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: parameter invalid (*ppBuffer == NULL)", fn);
  return FreeImpl(ppBuffer, false, fn);
}

int NiBufDup(NIBUF **ppNew, NIBUF *pBuffer) noexcept {
  const char *fn = "NiBufDup";
  if (ppNew == nullptr || pBuffer == nullptr)
    return Refuse(kMod, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (ppNew == NULL || pBuffer == NULL)", fn);
  *ppNew = nullptr;
  NIBUF *real = pBuffer;
  while (real->type == NIBUF_REF) real = real->ref;
  if (real->type != NIBUF_NORMAL && real->type != NIBUF_WRAP)
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: invalid type %d", fn, real->type);
  if (real->type == NIBUF_WRAP)
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: invalid type %d", fn, real->type);
  NIBUF *adm = nullptr;
  if (int rc = NiBufAlloc(&adm, 0, "NiBufadm"); rc != ZUL_O_K) return rc;
  {
    MtxGuard lock(gRefLock);
    ++real->refcount;
  }
  // The reference shows the caller's view (data and len) of the same storage.
  adm->data = pBuffer->data;
  adm->len = pBuffer->len;
  adm->space = real->space;
  adm->spacelen = 0;  // its own block has no storage: the heap total counts the data once
  adm->uptr = pBuffer->uptr;
  adm->type = NIBUF_REF;
  adm->refcount = 1;
  adm->ref = real;
  *ppNew = adm;
  return ZUL_O_K;
}

int NiBufWrap(NIBUF **ppBuffer, ZUL_RAW *pData, int length, int spaceLen, NIBUF_FREE_FUNC pFreeFunc,
              void *pUserData) noexcept {
  const char *fn = "NiBufWrap";
  if (ppBuffer == nullptr || pFreeFunc == nullptr || length < 0 || spaceLen < 0)
    return Refuse(kMod, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (ppBuffer == NULL || pFreeFunc == NULL)", fn);
  *ppBuffer = nullptr;
  if (length > spaceLen)
    return Refuse(kMod, __LINE__, NIETOO_BIG, 1, "%s: length %d > spaceLen %d", fn, length,
                  spaceLen);
  NIBUF *b = nullptr;
  if (int rc = NiBufAlloc2(&b, 0, "NiBufWrap", pUserData); rc != ZUL_O_K) return rc;
  b->data = b->space = pData;
  b->len = static_cast<uint32_t>(length);
  b->spacelen = static_cast<uint32_t>(spaceLen);
  b->type = NIBUF_WRAP;
  b->freef = pFreeFunc;
  *ppBuffer = b;
  return ZUL_O_K;
}

ZUL_RAW *NiBufUnWrap(NIBUF **ppBuffer) noexcept {
  if (ppBuffer == nullptr || *ppBuffer == nullptr || (*ppBuffer)->type != NIBUF_WRAP) {
    Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pBuffer->type != NIBUF_WRAP)",
           "NiBufUnWrap");
    return nullptr;
  }
  NIBUF *b = *ppBuffer;
  *ppBuffer = nullptr;
  ZUL_RAW *space = b->space;
  std::free(b);  // its block was counted with 0 bytes of storage
  return space;
}

void *NiBufGetPtr(NIBUF *pBuffer) noexcept { return pBuffer != nullptr ? pBuffer->uptr : nullptr; }

// ---- Start, end and the process-wide hooks ----

int NiBufIInit() noexcept {
  // The locks exist once the thread layer runs; until then (a process of one thread) they don't
  // lock, and the next start tries again.
  if (!gLocksMade)
    gLocksMade = ThrMtxInit(&gRefLock, u"NI ref section") == 0 &&
                 ThrMtxInit(&gHeapLock, u"NI heap section") == 0 &&
                 ThrMtxInit(&gExtLock, u"NI ext section") == 0;
  return ZUL_O_K;
}

void NiBufIExit() noexcept {
  NIBUF_EXIT_FUNC exitHook;
  {
    MtxGuard lock(gExtLock);
    exitHook = gExitHook;
  }
  if (exitHook != nullptr) exitHook();
  // The locks stay: buffers outlive the library's use count, and their last free still counts.
}

static int SetExt(NIBUF_EXIT_FUNC exitFunc, NIBUF_OPCODE_FUNC opcodeFunc, bool quiet,
                  bool traceIfSet, const char *fn) noexcept {
  MtxGuard lock(gExtLock);
  if (gExtSet) {
    if (!quiet || (traceIfSet && ct_level >= 3))
      DPTRC_A7(quiet ? 3 : 1, tf, "%s: external functions already set (%p;%p)\n", fn,
               reinterpret_cast<void *>(gExitHook), reinterpret_cast<void *>(gOpcodeHook));
    return NIECALL;
  }
  gExitHook = exitFunc;
  gOpcodeHook = opcodeFunc;
  gExtSet = true;
  return ZUL_O_K;
}

int NiBufISetExtFunc(NIBUF_EXIT_FUNC exitFunc, NIBUF_OPCODE_FUNC opcodeFunc) noexcept {
  return SetExt(exitFunc, opcodeFunc, false, true, "NiBufISetExtFunc");
}

int NiBufISetExtFunc2(NIBUF_EXIT_FUNC exitFunc, NIBUF_OPCODE_FUNC opcodeFunc,
                      int traceIfSet) noexcept {
  return SetExt(exitFunc, opcodeFunc, true, traceIfSet != 0, "NiBufISetExtFunc2");
}

// The one global parameter of the layer, NIP_BUF_MAX_HEAP.
static int BufParam(NI_PARAM_DATA *p, int *pDone, bool set) noexcept {
  *pDone = p->param == NIP_BUF_MAX_HEAP ? 1 : 0;
  if (*pDone == 0) return ZUL_O_K;
  if (p->datatype != NI_DT_UINT)
    return Refuse(kMod, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pParamData->datatype != NI_DT_UINT)",
                  set ? "NiBufSetParam" : "NiBufGetParam");
  MtxGuard lock(gParamLock);
  if (set)
    __atomic_store_n(&gParams.bufMaxHeap, p->value.uint_val, __ATOMIC_RELAXED);
  else
    p->value.uint_val = gParams.bufMaxHeap;
  return ZUL_O_K;
}

int NiBufISetParam(NI_PARAM_DATA *pParamData, int *pDone) noexcept {
  return BufParam(pParamData, pDone, true);
}
int NiBufIGetParam(NI_PARAM_DATA *pParamData, int *pDone) noexcept {
  return BufParam(pParamData, pDone, false);
}

// ---- The extension of a handle ----

int NiBufIHdlInit(NITAB *p) noexcept {
  const char *fn = "NiBufIHdlInit";
  if (p->mpXhdl != nullptr || p->mpXhdlOps != nullptr)
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: called with filled extension (%p;%p)\n", fn,
                  static_cast<void *>(p->mpXhdl), static_cast<const void *>(p->mpXhdlOps));
  auto *x = static_cast<NI_XHDL *>(std::calloc(1, sizeof(NI_XHDL)));
  if (x == nullptr)
    return Refuse(kMod, __LINE__, NIEINTERN, 1, "%s: malloc failed (hdl %d)", fn, p->handle);
  x->mStatus = kOk;
  x->mTalkMode = NI_MESG_IO;
  x->mpAllocFunc = NiBufAlloc;
  x->mMaxMsgLen = NIBUF_MAXALLOC;
  x->mHdlPassPossible = p->con.mSocket.family == SI_AF_UNIX ? 1 : 0;
  p->mpXhdl = x;
  p->mpXhdlOps = &kOps;
  DPTRC_A7(io::Lvl(p, 2), tf, "%s: hdl %d is buffered now\n", fn, p->handle);
  return ZUL_O_K;
}

static void FreeChain(NIBUF *b) noexcept {
  while (b != nullptr) {
    NIBUF *next = b->newer;
    NiBufFree(&b);
    b = next;
  }
}

void NiBufIClose(NITAB *p, NI_XHDL *x) noexcept {
  const char *fn = "NiBufIClose";
  NiBufISelRemove(p, x);  // while the socket is still open
  if (x->mpExtOps != nullptr && x->mpExtOps->close != nullptr) x->mpExtOps->close(p, x);
  if (x->mpAcceptedHdl != nullptr) {
    NiICloseHandle(x->mpAcceptedHdl, 1, 0);
    x->mpAcceptedHdl = nullptr;
  }
  std::free(x->mpPassHdlData);
  x->mpPassHdlData = nullptr;
  bool recvData = x->mpRecvBuf != nullptr && !IsMarker(x->mpRecvBuf) && x->mStatus != kErr;
  if (x->mpInBuf != nullptr || recvData || x->mpOutQueue != nullptr)
    DPTRC_A7(io::Lvl(p, 2), tf, "%s: called while buffer filled %c%c\n", fn,
             x->mpInBuf != nullptr || recvData ? 'I' : '-', x->mpOutQueue != nullptr ? 'O' : '-');
  if (x->mpOutQueue != nullptr) {
    NIBUF *oldest = x->mpOutQueue;
    while (oldest->older != nullptr) oldest = oldest->older;
    uint32_t users = 0;
    for (NIBUF *b = x->mpNextUser; b != nullptr; b = b->newer) ++users;
    FreeChain(oldest);
    x->mUserQueueLen -= users;
    if (x->mUserQueueLen != 0)
      DPTRC_ERR_A7(tf, "%s: mUserQueueLen=%d after freeing queue\n", fn,
                   static_cast<int>(x->mUserQueueLen));
    DPTRC_A7(io::Lvl(p, 2), tf, "%s: freed out-queue (hdl %d, heap %u)\n", fn, p->handle,
             static_cast<unsigned>(HeapInUse()));
  }
  if (x->mpInBuf != nullptr) NiBufFree(&x->mpInBuf);
  if (x->mpRecvBuf != nullptr && !IsMarker(x->mpRecvBuf)) NiBufFree(&x->mpRecvBuf);
  p->mpXhdl = nullptr;
  p->mpXhdlOps = nullptr;
  // A debugging aid: a use after free reads 0x76 everywhere.
  std::memset(x, 0x76, sizeof *x);
  std::free(x);
}

int NiBufIGetOutQueueLen(NITAB *p) noexcept {
  NI_XHDL *x = p->mpXhdl;
  if (x == nullptr) return 0;
  int n = 0;
  for (NIBUF *b = x->mpOutQueue; b != nullptr; b = b->older) ++n;
  return n;
}

const NI_XHDL *NiBufIGetExt(const NITAB *p) noexcept { return p->mpXhdl; }

const char *NiBufIGetExtText(const NITAB *p) noexcept {
  const NI_XHDL *x = p->mpXhdl;
  if (x == nullptr) return "";
  // One text per state and talk mode, as dumps show them.
  static const char *const kText[6][3] = {{"OFF ", "OFF RAW ", "OFF ROUT "},
                                          {"CONN_WAIT ", "CONN_WAIT RAW ", "CONN_WAIT ROUT "},
                                          {"", "RAW ", "ROUT "},
                                          {"ERR ", "ERR RAW ", "ERR ROUT "},
                                          {"ACCEPTING ", "ACCEPTING RAW ", "ACCEPTING ROUT "},
                                          {"SENDING ", "SENDING RAW ", "SENDING ROUT "}};
  return x->mStatus < 6 && x->mTalkMode < 3 ? kText[x->mStatus][x->mTalkMode] : "? ";
}

// ---- Per-handle parameters 60 to 66 ----

static int WantType(const NI_PARAM_DATA *d, int type, const char *fn) noexcept {
  if (d->datatype == type) return ZUL_O_K;
  return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pParamData->datatype != %s)",
                fn, type == NI_DT_ALLOCFUNC ? "NI_DT_ALLOCFUNC" : DataTypeName(type));
}

int NiBufISetHdlParam(NITAB *p, NI_PARAM_DATA *d, int *pDone) noexcept {
  const char *fn = "NiBufISetHdlParam";
  NI_XHDL *x = p->mpXhdl;
  *pDone = 1;
  int rc;
  switch (d->param) {
    case NIHP_TALKMODE: {
      if ((rc = WantType(d, NI_DT_RAW, fn)) != ZUL_O_K) return rc;
      uint8_t mode = d->value.raw_val;
      if (mode > NI_ROUT_IO)
        return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: invalid talkmode %d", fn, mode);
      bool filter = mode == NI_RAW_IO && x->mpExtOps != nullptr;
      x->mTalkMode = filter ? static_cast<uint8_t>(NI_ROUT_IO) : mode;
      DPTRC_A7(io::Lvl(p, 2), tf, "%s: set talkmode of hdl %d to %s%s\n", fn, p->handle,
               NI_MODE_STR[x->mTalkMode], filter ? " (filter set)" : "");
      return ZUL_O_K;
    }
    case NIHP_BUFSTAT:
      if ((rc = WantType(d, NI_DT_RAW, fn)) != ZUL_O_K) return rc;
      if (d->value.raw_val != NI_BUFSTAT_OFF) {
        *pDone = 0;  // switching on again: the frame refuses it
        return ZUL_O_K;
      }
      NiBufIClose(p, x);
      return ZUL_O_K;
    case NIHP_QUEUE_MOVED:
      if ((rc = WantType(d, NI_DT_RAW, fn)) != ZUL_O_K) return rc;
      if (x->mpOutQueue != nullptr) x->mQueueMoved = 0;
      return ZUL_O_K;
    case NIHP_ALLOC_FUNC:
      if ((rc = WantType(d, NI_DT_ALLOCFUNC, fn)) != ZUL_O_K) return rc;
      x->mpAllocFunc = d->value.voidptr_val != nullptr
                           ? reinterpret_cast<NI_ALLOC_FUNC>(d->value.voidptr_val)
                           : NiBufAlloc;
      return ZUL_O_K;
    case NIHP_MAX_QUEUE:
    case NIHP_WARN_QUEUE:
    case NIHP_MAX_MSG_LEN:
      if ((rc = WantType(d, NI_DT_UINT, fn)) != ZUL_O_K) return rc;
      (d->param == NIHP_MAX_QUEUE    ? x->mMaxQueue
       : d->param == NIHP_WARN_QUEUE ? x->mWarnQueue
                                     : x->mMaxMsgLen) = d->value.uint_val;
      return ZUL_O_K;
    default:
      *pDone = 0;
      return ZUL_O_K;
  }
}

int NiBufIGetHdlParam(NITAB *p, NI_PARAM_DATA *d, int *pDone) noexcept {
  const char *fn = "NiBufIGetHdlParam";
  NI_XHDL *x = p->mpXhdl;
  *pDone = 1;
  int rc;
  switch (d->param) {
    case NIHP_TALKMODE:
      if ((rc = WantType(d, NI_DT_RAW, fn)) != ZUL_O_K) return rc;
      d->value.raw_val = x->mTalkMode;
      return ZUL_O_K;
    case NIHP_QUEUE_MOVED:
      if ((rc = WantType(d, NI_DT_RAW, fn)) != ZUL_O_K) return rc;
      d->value.raw_val = x->mpOutQueue == nullptr ? 0 : x->mQueueMoved != 0 ? 1 : 2;
      return ZUL_O_K;
    case NIHP_ALLOC_FUNC:
      if ((rc = WantType(d, NI_DT_ALLOCFUNC, fn)) != ZUL_O_K) return rc;
      d->value.voidptr_val = reinterpret_cast<void *>(x->mpAllocFunc);
      return ZUL_O_K;
    case NIHP_MAX_QUEUE:
    case NIHP_WARN_QUEUE:
    case NIHP_MAX_MSG_LEN:
      if ((rc = WantType(d, NI_DT_UINT, fn)) != ZUL_O_K) return rc;
      d->value.uint_val = d->param == NIHP_MAX_QUEUE    ? x->mMaxQueue
                          : d->param == NIHP_WARN_QUEUE ? x->mWarnQueue
                                                        : x->mMaxMsgLen;
      return ZUL_O_K;
    default:
      *pDone = 0;
      return ZUL_O_K;
  }
}
