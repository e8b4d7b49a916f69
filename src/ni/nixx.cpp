// The public frame of the network interface: the use-counted start and end, the thread record,
// close and the accessors of a handle.
#define DPTRC_MODULE u"nixx"

#include <cstdlib>

#include "ni/nixxi.h"
#include "zul_dptrace.h"

using namespace ni;

ThrGlob *ni::IGetThrGlob(const char *func) noexcept {
  if (gUseCount <= 0 && NiInit() != ZUL_O_K) return nullptr;
  auto *g = static_cast<ThrGlob *>(ThrKeyVarGet(&gThrKey));
  if (g != nullptr) return g;
  g = static_cast<ThrGlob *>(std::calloc(1, sizeof(ThrGlob)));
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
  ThrRecMtxLock(&gHdlLock);  // recursive: the close takes it again
  for (int i = 0; i < gMaxHdls; ++i)
    if (gTab[i].mType != NI_FREE) NiICloseHandle(&gTab[i], 1, 0);
  ThrRecMtxUnlock(&gHdlLock);
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
  // The buffered layer and the access lists hook in here when they come.
  if (rc != ZUL_O_K) gUseCount = 0;
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
  NiThrExit(nullptr);
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
  if (record == nullptr && gThrKey == THR_INVALID_KEY) return;
  if (record == nullptr) {
    record = ThrKeyVarGet(&gThrKey);
    if (record != nullptr) ThrKeyVarSet(&gThrKey, nullptr);
  }
  std::free(record);
}

int NiCloseHandle(int hdl) noexcept {
  NITAB *p = CheckHdl(hdl, "NiCloseHandle");
  if (p == nullptr) return NIEINVAL;
  if (p->mType == NI_DG_CONNECTED || p->mType == NI_DG_UNCONNECTED)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pHdl->mType == NI_DG_(UN)CONNECTED)", "NiCloseHandle");
  return NiICloseHandle(p, 1, 0);
}

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
  return p != nullptr ? p->mTrace : NIEINVAL;
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
  ThrRecMtxLock(&gHdlLock);
  for (int i = 0; i < gMaxHdls; ++i)
    if (gTab[i].mType != NI_FREE) gTab[i].mTrace = on;
  ThrRecMtxUnlock(&gHdlLock);
}

void NiSetTraceAll() noexcept { TraceAll(1); }
void NiClearTraceAll() noexcept { TraceAll(0); }
