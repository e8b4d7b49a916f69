// The public frame of the network interface: the use-counted start and end, the thread record,
// close and the accessors of a handle.
#define DPTRC_MODULE u"nixx"

#include <cstdlib>
#include <mutex>
#include <type_traits>

#include "ni/nixxi.h"
#include "zul_dptrace.h"

using namespace ni;

namespace {

// One thread's record with its links in the list of all records.
struct ThrGlobNode {
  ThrGlob glob;  // first, so that the record's address is the node's
  ThrGlobNode *next, *prev;
};

// Owns the records of all threads. Its own mutex, not one of the layer's locks, guards it: a
// thread's key destructor may run while the layer starts or ends. Nothing here needs a
// constructor or destructor to run, so a thread that ends late still finds it intact.
struct ThrGlobList {
  std::mutex mutex;
  ThrGlobNode *head = nullptr;
  size_t count = 0;
};
static_assert(std::is_trivially_destructible_v<std::mutex>);
constinit ThrGlobList gThrGlobs;

void Unlink(ThrGlobNode *n) noexcept {
  (n->prev != nullptr ? n->prev->next : gThrGlobs.head) = n->next;
  if (n->next != nullptr) n->next->prev = n->prev;
  --gThrGlobs.count;
  std::free(n);
}

}  // namespace

ThrGlob *ni::AddThrGlob() noexcept {
  auto *n = static_cast<ThrGlobNode *>(std::calloc(1, sizeof(ThrGlobNode)));
  if (n == nullptr) return nullptr;
  std::lock_guard lock(gThrGlobs.mutex);
  n->next = gThrGlobs.head;
  if (n->next != nullptr) n->next->prev = n;
  gThrGlobs.head = n;
  ++gThrGlobs.count;
  return &n->glob;
}

bool ni::FreeThrGlob(void *record) noexcept {
  std::lock_guard lock(gThrGlobs.mutex);
  for (ThrGlobNode *n = gThrGlobs.head; n != nullptr; n = n->next)
    if (&n->glob == record) {
      Unlink(n);
      return true;
    }
  return false;
}

void ni::FreeAllThrGlobs() noexcept {
  std::lock_guard lock(gThrGlobs.mutex);
  while (gThrGlobs.head != nullptr) Unlink(gThrGlobs.head);
}

size_t ni::ThrGlobCount() noexcept {
  std::lock_guard lock(gThrGlobs.mutex);
  return gThrGlobs.count;
}

ThrGlob *ni::IGetThrGlob(const char *func) noexcept {
  if (gUseCount <= 0 && NiInit() != ZUL_O_K) return nullptr;
  auto *g = static_cast<ThrGlob *>(ThrKeyVarGet(&gThrKey));
  if (g != nullptr) return g;
  g = AddThrGlob();
  if (g == nullptr) {
    Refuse(kModInternal, __LINE__, NIEINTERN, 1, "%s: NiIGetThrGlob failed", func);
    return nullptr;
  }
  g->mLocalAddr = NI_ADDR_ANY_INIT;
  ThrKeyVarSet(&gThrKey, g);
  return g;
}

void NiCloseAll() noexcept {
  if (gTab == nullptr) return;
  RecMtxGuard lock(gHdlLock);  // recursive: the close takes it again
  for (int i = 0; i < gMaxHdls; ++i)
    if (gTab[i].mType != NI_FREE) NiICloseHandle(&gTab[i], 1, 0);
}

int NiInit() noexcept { return NiInit3(NI_DEFAULT_HDLS); }

int NiInit2(int maxHandles) noexcept {
  if (maxHandles <= 0)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (maxHandles <= 0)",
                  "NiInit2");
  return NiInit3(maxHandles);
}

int NiInit3(int maxHandles) noexcept {
  const char *fn = "NiInit3";
  if (maxHandles > NI_MAX_HDLS)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (maxHandles > NI_MAX_HDLS)", fn);
  if (maxHandles <= 0)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (maxHandles <= 0)", fn);
  if (gUseCount < 0) {
    DPTRC_WARN_A7(tf, "%s: NI library use count negative (%d)\n", fn, gUseCount);
    gUseCount = 0;
  }
  if (gUseCount > 0) {
    ++gUseCount;
    if (maxHandles != NI_DEFAULT_HDLS)
      DPTRC_A7(1, tf,
               "%s: NI already initialized; param 'maxHandles' ignored (init=%d;par=%d;cur=%d)\n",
               fn, gUseCount, maxHandles, gMaxHdls);
    else
      DPTRC_A7(2, tf, "%s: NI already initializes (init=%d;cur=%d)\n", fn, gUseCount, gMaxHdls);
    return ZUL_O_K;
  }
  gUseCount = 1;  // nested starts from the steps below pass
  int rc = IInit(maxHandles);
  if (rc != ZUL_O_K) {
    gUseCount = 0;
    return rc;
  }
  if ((rc = FaultAt(12)) == ZUL_O_K) rc = NiBufIInit();
  if (rc == ZUL_O_K && ((rc = FaultAt(13)) != ZUL_O_K || (rc = NiIAclInit()) != ZUL_O_K))
    NiBufIExit();
  if (rc != ZUL_O_K) {
    IExit();
    gUseCount = 0;
  }
  return rc;
}

int NiExit() noexcept {
  const char *fn = "NiExit";
  if (gUseCount <= 0) {
    DPTRC_A7(1, tf, "%s: NI library already released (%d)\n", fn, gUseCount);
    return ZUL_O_K;
  }
  if (--gUseCount > 0) {
    DPTRC_A7(2, tf, "%s: NI library still in use (%d)\n", fn, gUseCount);
    return ZUL_O_K;
  }
  NiBufIExit();
  NiIAclExit();
  IExit();
  return ZUL_O_K;
}

int NiThrInit() noexcept {
  if (gUseCount <= 0)
    return Refuse(kModPublic, __LINE__, NIECALL, 1, "%s: NI library not initialized (%d)",
                  "NiThrInit", gUseCount);
  return IGetThrGlob("NiThrInit") != nullptr ? ZUL_O_K : NIEINTERN;
}

void NiThrExit(void *record) noexcept {
  if (record == nullptr) {
    if (gThrKey == THR_INVALID_KEY) return;  // not started
    record = ThrKeyVarGet(&gThrKey);
    if (record == nullptr) return;
    ThrKeyVarSet(&gThrKey, nullptr);
  }
  // Only a record still held is freed: the last end may have freed it already.
  FreeThrGlob(record);
}

// The public closes: datagram handles are refused.
static int CloseChecked(int hdl, const char *fn, int removeUdsPath) noexcept {
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (p->mType == NI_DG_UNCONNECTED)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pHdl->mType == NI_DG_UNCONNECTED)", fn);
  if (p->mType == NI_DG_CONNECTED)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pHdl->mType == NI_DG_CONNECTED)", fn);
  return NiICloseHandle(p, removeUdsPath, 0);
}

int NiCloseHandle(int hdl) noexcept { return CloseChecked(hdl, "NiCloseHandle", 1); }
int NiCloseHandleKP(int hdl) noexcept { return CloseChecked(hdl, "NiCloseHandleKP", 0); }

int NiGetHdlTblIdx(int hdl) noexcept {
  return CheckHdl(hdl, "NiGetHdlTblIdx") != nullptr ? hdl >> 3 : -1;
}

uint8_t NiHdlGetConStat(int hdl) noexcept {
  NITAB *p = CheckHdl(hdl, "NiHdlGetConStat");
  return p != nullptr ? p->mType : 0;
}

time_t NiHdlGetStartTime(int hdl) noexcept {
  NITAB *p = CheckHdl(hdl, "NiHdlGetStartTime");
  return p != nullptr ? p->mStartTime : 0;
}

int NiIsIPv6Activated() noexcept { return (gUseIpProto & NI_PROTO_FAM_IPv6) != 0 ? 1 : 0; }

const ZUL_UTF16 *NiGetProtoName(int mask) noexcept {
  static constexpr const char16_t *kNames[] = {u"unspec.",   u"UDS",          u"IPv4",
                                               u"UDS,IPv4",  u"IPv6",         u"UDS,IPv6",
                                               u"IPv4,IPv6", u"UDS,IPv4,IPv6"};
  return mask >= 0 && mask <= 7 ? kNames[mask] : u"unknown";
}

// The counters of complete messages; a listener has none.
uint32_t NiHdlGetInMsgs(int hdl) noexcept {
  NITAB *p = CheckHdl(hdl, "NiHdlGetInMsgs");
  return p != nullptr && (p->mType & 15) != 1 ? p->mInMsgs : 0;
}

uint32_t NiHdlGetOutMsgs(int hdl) noexcept {
  NITAB *p = CheckHdl(hdl, "NiHdlGetOutMsgs");
  return p != nullptr && (p->mType & 15) != 1 ? p->mOutMsgs : 0;
}

uint64_t NiHdlGetInOctets(int hdl) noexcept {
  NITAB *p = CheckHdl(hdl, "NiHdlGetInOctets");
  return p != nullptr && (p->mType & 15) != 1 ? p->mInOctets : 0;
}

uint64_t NiHdlGetOutOctets(int hdl) noexcept {
  NITAB *p = CheckHdl(hdl, "NiHdlGetOutOctets");
  return p != nullptr && (p->mType & 15) != 1 ? p->mOutOctets : 0;
}

int NiHdlGetTrace(int hdl) noexcept {
  NITAB *p = CheckHdl(hdl, "NiHdlGetTrace");
  return p != nullptr ? p->mTrace : static_cast<int>(NIEINVAL);
}

int NiHdlSetTrace(int hdl, int on) noexcept {
  NITAB *p = CheckHdl(hdl, "NiHdlSetTrace");
  if (p == nullptr) return NIEINVAL;
  p->mTrace = on != 0 ? 1 : 0;
  return ZUL_O_K;
}

// Sets or clears the trace flag of every used entry, under the handle lock.
static void TraceAll(uint8_t on) noexcept {
  if (gTab == nullptr) return;
  RecMtxGuard lock(gHdlLock);
  for (int i = 0; i < gMaxHdls; ++i)
    if (gTab[i].mType != NI_FREE) gTab[i].mTrace = on;
}

void NiSetTraceAll() noexcept { TraceAll(1); }
void NiClearTraceAll() noexcept { TraceAll(0); }
