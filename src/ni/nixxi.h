// Internals of the network interface shared by its files: the handle table, its locks and the
// helpers that every public call uses.
#ifndef NI_NIXXI_H
#define NI_NIXXI_H

#include <cstdint>
#include <cstdio>
#include <ctime>

#include "zul_ni.h"
#include "zul_si.h"
#include "zul_thr.h"

// One entry of the handle table. Fields not used yet by any caller are left out until the
// layer that needs them comes.
struct NITAB {
  NITAB *next, *prev;  // chain of used entries, newest first
  int32_t handle;      // index * 8 + generation
  uint8_t mType;       // handle state
  uint8_t mBlockMode;
  uint8_t mTrace;
  FILE **ppTrcFile;
  time_t mStartTime;
  uint8_t mInTcList;
  struct {
    SI_SOCK mIPSocket, mUDSocket;
    void *mAcl;
  } lis;
  struct {
    NI_NODEADDR mPeerAddr;
    uint16_t mPeerServ;
    SI_SOCK mSocket;
  } con;
  uint64_t mOutOctets, mInOctets;
  uint32_t mOutMsgs, mInMsgs;
};

namespace ni {

// Global state. The handle lock guards the free list and the used chain; gUseCount is changed
// by start and end only, which run on one thread.
extern NITAB *gTab;
extern int gMaxHdls;
extern int16_t gUseCount;
extern THR_REC_MTX gHdlLock;
extern THR_MTX gParamLock;
extern THR_KEY gThrKey;
extern int gUseIpProto;
extern uint8_t gTraceAll;

// The parameter variables, guarded by gParamLock.
struct Params {
  uint8_t portRange = 0;
  uint16_t maxPort = 1023;
  uint16_t minPort = 0;
  uint32_t hsBufSize = 100;
  uint32_t fragTest = 0;
  uint8_t connLocal = 1;
  char16_t udsPath[NI_UDS_PATH_LEN] = u"/tmp/.zulstream%d";
  uint32_t queueLen = 20;
  uint32_t qTest = 0;
  uint32_t hsBufTraceLimit = 0;
  void *hsBufTimeFunc = nullptr;
  uint8_t incServNo = 0;
  uint8_t contInRange = 1;
  uint32_t pollTraceLimit = 0;
  uint32_t hostBufTimeout = 86400;
  uint32_t hostBufTimeoutInvalid = 600;
  uint32_t socketBufferSize = 32768;
  uint32_t bufMaxHeap = 0;
};
extern Params gParams;
extern uint8_t gConnectLocal;  // ZUL_CONNECT_RESTRICTION=LOCAL
extern bool gNumericHostsOnly;  // host look-ups accept numeric texts only (fuzzing)

// The per-thread record, made on first use and kept under the NI thread key.
struct ThrGlob {
  ZUL_UTF16 mHostName[NI_MAX_HOSTNAME_LEN];  // answer buffer of the host name look-up
  ZUL_UTF16 mAddrStr[46];                    // answer buffer of the address printer
  NI_NODEADDR mLocalAddr;                    // local bind address of this thread
};
// The calling thread's record, starting the library if needed; null with the error set.
ThrGlob *IGetThrGlob(const char *func) noexcept;

// Reads the environment once per start and decides the protocols (IPv4 only on any doubt).
void ISetIPProtoUsage() noexcept;
// The IPv6 decision on a list of local addresses and their up flags: true when an up interface
// has a real IPv6 address and ::1. Traces why not.
bool IPv6Usable(const NI_NODEADDR *addrs, const uint8_t *up, int count) noexcept;

// The source modules that reports name.
inline constexpr const char16_t *kModPublic = u"nixx.c";
inline constexpr const char16_t *kModInternal = u"nixxi.cpp";
inline constexpr const char16_t *kModOs = u"niuxi.c";

// The one shape of a refused call: the error information with the code's text and the condition
// text (format filled with the arguments), then the same line to the trace as a warning when
// ct_level reaches traceLevel (1 for all but the frequent harmless cases). Answers rc.
int Refuse(const char16_t *module, int line, int rc, int traceLevel, const char *format,
           ...) noexcept __attribute__((format(printf, 5, 6)));

// The validity test at the top of every public call; null with the error set for an invalid
// handle.
NITAB *CheckHdl(int hdl, const char *func) noexcept;

// The 8-bit state name ("NI_CONNECTED", "INVALID").
const char *StatName8(int stat) noexcept;

// Start and end of the library proper, under the use count.
int IInit(int maxHandles) noexcept;
void IExit() noexcept;

}  // namespace ni

// The one birth and death of handles. *ppHdl should be null; it gets the new entry.
int NiICreateHandle(NITAB **ppHdl, int stat, FILE **ppTrcFile) noexcept;
// removeUdsPath 1 removes a listener's socket file; the third argument has no effect.
int NiICloseHandle(NITAB *pHdl, int removeUdsPath, int ignored) noexcept;
// Closes every used entry under the handle lock.
void NiCloseAll() noexcept;

// Look-ups through the operating system (UTF-8 names). NiPGetHostByName stores at most *pCount
// addresses and sets it to the number found (NIETOO_SMALL when more were found than room), with
// the canonical name when pCanonName is given; NiPGetHostByAddr writes the name (numeric: the
// numeric text).
int NiPGetHostByName(const char *pName, int ipv4Only, int numericOnly, NI_NODEADDR *pAddrs,
                     int *pCount, char *pCanonName = nullptr, size_t canonLen = 0,
                     FILE **ppTrcFile = nullptr) noexcept;
int NiPGetHostByAddr(const NI_NODEADDR *pAddr, int numeric, char *pName, size_t len,
                     FILE **ppTrcFile = nullptr) noexcept;
// A host's address and a service's port (network order) through the caches, in normal mode for
// any protocol; the full forms are in nixxhs.h.
int NiIGetNodeAddr(const ZUL_UTF16 *pHostName, NI_NODEADDR *pNodeAddr) noexcept;
int NiIGetServNo(const ZUL_UTF16 *pServName, uint16_t *pServNo) noexcept;

// The separator between an address text and a port: "." after an IPv6 text without a dotted
// tail, ":" otherwise.
ZUL_UTF16 NiIGetAddrPortSep(const ZUL_UTF16 *pAddrStr) noexcept;

// The machine's interface addresses (at most max stored, all counted in *pCount), with their up
// flags when pUpFlags is given (else down interfaces are left out); IPv6 ones only while IPv6 is
// active, link-local ones only withLinkLocal.
int NiPGetNodeAddrList(NI_NODEADDR *pAddrs, uint8_t *pUpFlags, int max, int withLinkLocal,
                       int *pCount) noexcept;

#endif  // NI_NIXXI_H
