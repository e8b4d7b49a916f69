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
    // Framed I/O: the message in progress in each direction (all zero when none is) and the
    // state of the in-band checks. The read fields belong to the reading thread, the write
    // fields to the holder of mWriteBusy; mCheckStat and mCheckPend are touched by both.
    uint8_t mSingleRead;          // 1: a read ends after any receive that leaves bytes missing
    uint32_t mPendDataLenToRead;  // data bytes of the message still to come
    uint8_t mPendHdrLenToRead;    // length bytes still to come, 0 to 4
    uint8_t mHdrRead[4];          // the length as it arrives
    uint32_t mPendDataLenToWrite;
    uint8_t mPendHdrLenToWrite;
    uint8_t mHdrWrite[4];
    uint8_t mCheckStat;   // 0 none, 1 NiCheckEx ping out, 2 counting check (NI_CHECKINT)
    uint32_t mCheckPend;  // pongs received that NiCheck2 has not collected
  } con;
  uint64_t mOutOctets, mInOctets;
  uint32_t mOutMsgs, mInMsgs;
  // Framed I/O: bit 0 switches SO_KEEPALIVE on at the next write; mWriteBusy is held by the one
  // writer of the handle, so that a pong sent from a read never interleaves with its message.
  uint8_t mSetKeepAlive;
  uint8_t mWriteBusy;
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

// Look-ups through the operating system, uncached. NiPGetHostByName stores at most *pCount
// addresses and sets it to the number found (NIETOO_SMALL when more were found than room);
// NiPGetHostByAddr writes the name (numeric: the numeric text) as 8-bit text.
int NiPGetHostByName(const char *pName, int ipv4Only, int numericOnly, NI_NODEADDR *pAddrs,
                     int *pCount) noexcept;
int NiPGetHostByAddr(const NI_NODEADDR *pAddr, int numeric, char *pName, size_t len) noexcept;
// A host's first address; a service's port in network order (digits are taken as they are).
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

// ---- Framed I/O ----
// mode is NI_MESG_IO, NI_RAW_IO or NI_ROUT_IO (framed as NI_MESG_IO); the handle is valid and
// connected. Results as the public calls; *pRead is -1 after a failed receive.
int NiIRead(NITAB *pHdl, ZUL_RAW *pBuffer, int bufferLen, int timeout, int mode,
            int *pRead) noexcept;
int NiIWrite(NITAB *pHdl, const ZUL_RAW *pData, int dataLen, int timeout, int mode,
             int *pWritten) noexcept;
// Waits for the handle's socket; siMode is SI_PEEK_RD or SI_PEEK_WR. A hang-up, a closed socket
// or a pending error counts as ready, so that the next read or write reports it.
int NiIPeek(NITAB *pHdl, int siMode, int timeout) noexcept;
// Waits for a connection on a listener's sockets, the local one first when both are ready; the
// ready socket goes to *ppSock when ppSock isn't null.
int NiIPeekListen(NITAB *pHdl, int timeout, SI_SOCK **ppSock) noexcept;
// poll and select for handle sets: ZUL_O_K with *pReady the ready count, NIETIMEOUT when
// nothing is ready, NIEINTERN on failure. NiISelect changes the masks as select does.
int NiIPoll(SI_POLLFD *pPollFds, int count, int timeout, int *pReady) noexcept;
int NiISelect(SI_FDSET *pReadMask, SI_FDSET *pWriteMask, int timeout, int *pReady) noexcept;
// Sends a ping or a pong from byte *pSent on (pSent may be null); after NIETIMEOUT *pSent has
// grown by what went out.
int NiICheck(NITAB *pHdl, int timeout, int isPing, int *pSent) noexcept;
int NiICheck2(NITAB *pHdl, int timeout, int *pFailCount) noexcept;
int NiICheck2Cancel(NITAB *pHdl) noexcept;
int NiIHdlGetStatus(NITAB *pHdl) noexcept;
// Data bytes in progress for NI_READ, else for writing.
int NiIPending(NITAB *pHdl, int mode, int raw) noexcept;
// Looks at a message that NiIRead completed: 0 for user data; a check message is consumed
// (*pLen 0) with NIEOPCODE, or NIEPING for the pong that answers NiCheckEx; *pPeerRc gets a code
// the peer sent (0: none). pXhdl and pPeerVersion may be null.
struct NI_XHDL;
int NiBufIProcMsg(NITAB *pHdl, NI_XHDL *pXhdl, ZUL_RAW *pData, int *pLen, int *pPeerRc,
                  uint8_t *pPeerVersion) noexcept;
namespace ni {
extern const char *const NI_MODE_STR[3];  // "MESG_IO", "RAW_IO", "ROUT_IO"
}

#endif  // NI_NIXXI_H
