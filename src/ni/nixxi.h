// Internals of the network interface shared by its files: the handle table, its locks and the
// helpers that every public call uses.
#ifndef NI_NIXXI_H
#define NI_NIXXI_H

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

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
  // Traffic control (guarded by gTcLock): the chain, the next check time and the absolute
  // thresholds of the four counters, with the call-back.
  NITAB *tcNext, *tcPrev;
  time_t mTcCheckTime;
  uint64_t mTcInOctets, mTcOutOctets;
  uint32_t mTcInMsgs, mTcOutMsgs;
  void (*mTcFunc)(int hdl, void *pData);
  void *mTcData;
  struct {
    SI_SOCK mIPSocket, mUDSocket;
    int (*mpInitFunc)(NITAB *pHdl) noexcept;  // run on each accepted handle (buffered listener)
    void *mAcl;
  } lis;
  struct {
    NI_NODEADDR mPeerAddr;
    uint16_t mPeerServ;
    SI_SOCK mSocket;
    // Per-handle switches and the accept list mark.
    uint8_t mSingleRead;    // NIHP_SINGLE_READ: a read that has moved bytes never waits again
    uint8_t mInAcceptList;  // 1: counted in the accept list
    uint8_t mPeerVersion;   // 1 while NiGetPeerVersion awaits the peer's version reply
    // Framed I/O: the message in progress in each direction (all zero when none is) and the
    // state of the in-band checks. The read fields belong to the reading thread, the write
    // fields to the holder of mWriteBusy; mCheckStat and mCheckPend are touched by both.
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
  // The extension of the buffered layer, null for an unbuffered handle, and its operations.
  struct NI_XHDL *mpXhdl;
  const struct NI_XHDL_OPS *mpXhdlOps;
  // Framed I/O: bit 0 switches SO_KEEPALIVE on at the next write; mWriteBusy is held by the one
  // writer of the handle, so that a pong sent from a read never interleaves with its message.
  uint8_t mSetKeepAlive;
  uint8_t mWriteBusy;
  // Bit 2: a select set has traced this handle's internal status error (traced once).
  uint8_t mFlags;
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
extern uint8_t gConnectLocal;   // ZUL_CONNECT_RESTRICTION=LOCAL
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

// Node address forms: an IPv4 address in its mapped form, two equal addresses, the any addresses
// of both families, and the loopback addresses 127.0.0.1 (mapped) and ::1.
inline bool IsMapped(const NI_NODEADDR &a) noexcept {
  return std::memcmp(a.addr, NI_ADDR_ANY_I4_INIT.addr, 12) == 0;
}
inline bool SameAddr(const NI_NODEADDR &a, const NI_NODEADDR &b) noexcept {
  return std::memcmp(a.addr, b.addr, sizeof a.addr) == 0;
}
inline bool IsAnyAddr(const NI_NODEADDR &a) noexcept {
  return SameAddr(a, NI_ADDR_ANY_I4_INIT) || SameAddr(a, NI_ADDR_ANY_I6_INIT);
}
inline bool IsLoopback(const NI_NODEADDR &a) noexcept {
  return SameAddr(a, NI_ADDR_LOCAL_I4_INIT) || SameAddr(a, NI_ADDR_LOCAL_I6_INIT);
}

// 8-bit copy of 16-bit text for messages and traces, cut at size - 1 bytes; units above 7 bits
// become '?', and null reads as empty.
void Narrow(const ZUL_UTF16 *in, char *out, size_t size) noexcept;
// The 8-bit text of an address for traces ("" when it can't be written).
inline std::string AddrText(const NI_NODEADDR &a) {
  ZUL_UTF16 text[NI_NODEADDR_STR_LEN] = {};
  NiAddrToStr(&a, text, NI_NODEADDR_STR_LEN, 0);
  char out[NI_NODEADDR_STR_LEN];
  Narrow(text, out, sizeof out);
  return out;
}
// 16-bit copy of 8-bit text, cut at size - 1 units; asFormat doubles each '%' so that the copy
// prints as itself when used as a format.
void Widen(const char *in, ZUL_UTF16 *out, size_t size, bool asFormat = false) noexcept;
// "address<sep>port" of an address (null: empty) and a port in network order, the separator as
// NiIGetAddrPortSep chooses it: "10.0.0.1:3200", "fe80::1.3200".
void AddrPortText(const NI_NODEADDR *pAddr, uint16_t port, char *out, size_t size) noexcept;

// The source modules that reports name.
inline constexpr const char16_t *kModPublic = u"nixx.c";
inline constexpr const char16_t *kModInternal = u"nixxi.cpp";
inline constexpr const char16_t *kModOs = u"niuxi.c";

// The one shape of a refused call: the error information with the code's text and the condition
// text (format filled with the arguments), then the same line to the trace as a warning when
// ct_level reaches traceLevel (1 for all but the frequent harmless cases; 0 for none, where the
// caller has traced the case in its own words). Answers rc.
int Refuse(const char16_t *module, int line, int rc, int traceLevel, const char *format,
           ...) noexcept __attribute__((format(printf, 5, 6)));

// The validity test at the top of every public call; null with the error set for an invalid
// handle.
NITAB *CheckHdl(int hdl, const char *func) noexcept;

// The refusal of a connection's call on a listener: NIEINVAL with the text of NI_LISTEN or
// NI_RI_LISTEN, else ZUL_O_K.
int RefuseListener(const NITAB *p, const char *fn) noexcept;

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

// ---- Rest of the handle-table frame: thread records, trace masks, system errors, walks and
// the hooks of the layers above ----

// The operations of a buffered handle's extension, filled by the buffered layer: the handle
// calls that a buffered handle answers itself.
struct NI_XHDL_OPS {
  void (*close)(NITAB *pHdl, struct NI_XHDL *pXhdl) noexcept;  // frees the extension
  int (*read)(NITAB *pHdl, struct NI_XHDL *pXhdl, ZUL_RAW *pBuffer, int bufferLen, int timeout,
              int *pRead) noexcept;
  int (*write)(NITAB *pHdl, struct NI_XHDL *pXhdl, const ZUL_RAW *pData, int dataLen,
               int timeout, int *pWritten) noexcept;
  // mode NI_READ or NI_WRITE; *pLen gets the bytes of the message at hand.
  int (*peek)(NITAB *pHdl, struct NI_XHDL *pXhdl, int timeout, int *pLen, int mode) noexcept;
  int (*selUpdate)(NITAB *pHdl, struct NI_XHDL *pXhdl) noexcept;
};

namespace ni {

// niTraceMask: the bits that make a socket failure an error, and bit 61 that always records it.
// siTraceMask: one bit per socket code, a cleared bit silences its trace. Changed by
// NiEnableTrace and its relatives while other threads read them.
extern std::atomic<uint64_t> gNiTraceMask;
extern std::atomic<uint64_t> gSiTraceMask;
inline constexpr int kBitConnRefused = 39;    // a refused connect is an error
inline constexpr int kBitSendBroken = 40;     // a broken connection on a send is an error
inline constexpr int kBitRecvBroken = 50;     // a broken connection on a receive is an error
inline constexpr int kBitShutdownInval = 60;  // a shutdown of a gone socket is an error
inline constexpr int kBitAlwaysErrInfo = 61;  // every socket failure is recorded

extern std::atomic<int> gOwnHigh;  // the highest socket number the layer has seen

// Closes a socket, retrying an interrupted close, and marks the record invalid whatever the
// outcome. Answers the socket layer's code; a record without socket is SI_OK.
int CloseSocket(SI_SOCK *s) noexcept;
// The socket a handle stands for: a connection's own, or a listener's IP socket if it has one and
// else its local one.
inline SI_SOCK *MainSock(NITAB *p) noexcept {
  if ((p->mType & 15) == 1)
    return p->lis.mIPSocket.socket != NI_INVALID_SOCK ? &p->lis.mIPSocket : &p->lis.mUDSocket;
  return &p->con.mSocket;
}

// Holds one of the layer's locks for a scope.
class MtxGuard {
 public:
  explicit MtxGuard(THR_MTX &m) noexcept : m_(m) { ThrMtxLock(&m_); }
  ~MtxGuard() { ThrMtxUnlock(&m_); }
  MtxGuard(const MtxGuard &) = delete;
  MtxGuard &operator=(const MtxGuard &) = delete;

 private:
  THR_MTX &m_;
};
class RecMtxGuard {
 public:
  explicit RecMtxGuard(THR_REC_MTX &m) noexcept : m_(m) { ThrRecMtxLock(&m_); }
  ~RecMtxGuard() { ThrRecMtxUnlock(&m_); }
  RecMtxGuard(const RecMtxGuard &) = delete;
  RecMtxGuard &operator=(const RecMtxGuard &) = delete;

 private:
  THR_REC_MTX &m_;
};
extern THR_MTX gAcceptListLock;  // "NI accept-list mutex"
extern THR_REC_MTX gTcLock;      // "NI traffic control mutex"
extern THR_MTX gWakeupLock;      // "NI wakeup mutex"
extern THR_MTX gTrcPeerLock;     // "NI trc-peer mutex"

// The locality test of accept's accept-list step (NiILocalCheck). Tests swap it, since every
// loopback peer is local.
using LocalCheckFn = int (*)(const NI_NODEADDR *pNodeAddr, FILE **ppTrcFile) noexcept;
extern std::atomic<LocalCheckFn> gLocalCheck;

// Test hook: step N of the start (1 to 11 of IInit, 12 the buffered layer's start, 13 the
// access lists') fails with NIEINTERN. 0: none. Hidden from the shared library's users.
extern int gFaultStep;
inline int FaultAt(int step) noexcept { return gFaultStep == step ? NIEINTERN : ZUL_O_K; }

// The records of all threads: NiIGetThrGlob adds, NiThrExit and the key's destructor free one,
// the last end frees those of threads still running.
ThrGlob *AddThrGlob() noexcept;
bool FreeThrGlob(void *record) noexcept;  // false when the record isn't held
void FreeAllThrGlobs() noexcept;
size_t ThrGlobCount() noexcept;

// The name of a parameter's data type, as refusals quote it ("NI_DT_BOOL").
const char *DataTypeName(int type) noexcept;
// The protocol mask of an entry, as NiGetHdlProto answers it, without the validity test.
int IGetHdlProto(const NITAB *p) noexcept;
// One end of a socket (the peer's with peer), quietly: the address, the port in host order and,
// for a local socket, the path (109 bytes). Answers the socket layer's code.
int IQueryEnd(SI_SOCK *sock, bool peer, NI_NODEADDR *pAddr, uint16_t *pServNo,
              char *pPath) noexcept;
// The dump text of one entry into out (size bytes); false when it doesn't fit.
bool IHdlDumpText(const NITAB *p, char *out, size_t size) noexcept;

// ErrSetSys with the component, texts given as they should read; the system call's name and
// errno as the socket layer reports them.
void SetSysError(const char16_t *module, int line, int rc, const char *text, const char *detail,
                 const ZUL_UTF16 *syscall, int errNo) noexcept;
// A line to the error trace (isError) or to the level 1 trace, naming module and line.
void TraceAt(const char16_t *module, int line, bool isError, const char *text) noexcept;

}  // namespace ni

// The only writer of a state after creation; traced at level 2, or 1 for a traced handle.
void NiISetStat(NITAB *pHdl, int newStat, const char *pFuncName) noexcept;
// Half-close with retries on interruption; a socket that is gone counts as shut.
int NiIShutdownHandle(NITAB *pHdl, int howTo) noexcept;
// Puts the handle's sockets in blocking (1) or non-blocking (0) mode and records it.
int NiIBlockMode(NITAB *pHdl, int on) noexcept;
// Calls func for each entry of the used chain under the handle lock; NIEINTERN when the chain
// holds a free entry.
typedef void (*NI_WALK_FUNC)(NITAB *pHdl, void *pArg);
int NiIWalkNitab(NI_WALK_FUNC func, void *pArg) noexcept;
namespace ni {
// The ids of the socket layer's calls that NiISystemError is given (the numbers of SI_FUNC_MAP).
enum SiFunc : int {
  kSiInit = 1,
  kSiSocket = 3,
  kSiClose = 7,
  kSiBind = 8,
  kSiBind2 = 9,
  kSiListen = 10,
  kSiAccept = 11,
  kSiConnect = 13,
  kSiConnect2 = 14,
  kSiSend = 15,
  kSiSendV = 16,
  kSiRecv = 21,
  kSiShutdown = 28,
  kSiGetSockName = 29,
  kSiGetPeerName = 31,
  kSiGetSockOpt = 33,
  kSiSetSockOpt = 35,
  kSiSetBlockMode = 38,
  kSiSetCloseExec = 40,
  kSiSelect = 41,
  kSiPoll = 42,
  kSiPeek = 43,
  kSiPeekPendConn = 44,
};
}  // namespace ni

// Maps a socket failure to an NI code, records it and traces it (see the code table). siFunc is
// the socket call's id; pHdl, pSock, pExtraText, pSockAddr and pPort (network order) may be null.
int NiISystemError(int siRc, int siFunc, NITAB *pHdl, const SI_SOCK *pSock, int errNo,
                   const char *pExtraText, const NI_NODEADDR *pSockAddr, const uint16_t *pPort,
                   const char *pFuncName, const char16_t *pFile, int line, int isError) noexcept;
// Appends the separator between an address text and a port; NIETOO_SMALL without room.
int NiIAddAddrPortSep(ZUL_UTF16 *pAddrStr, size_t size) noexcept;

// Hooks of the layers above the frame.
// Buffered layer: start and end, its global parameters (*pDone 1 when it took the request),
// turning a handle buffered, its per-handle parameters and its text for dumps.
int NiBufIInit() noexcept;
void NiBufIExit() noexcept;
int NiBufISetParam(NI_PARAM_DATA *pParamData, int *pDone) noexcept;
int NiBufIGetParam(NI_PARAM_DATA *pParamData, int *pDone) noexcept;
int NiBufIHdlInit(NITAB *pHdl) noexcept;
int NiBufISetHdlParam(NITAB *pHdl, NI_PARAM_DATA *pParamData, int *pDone) noexcept;
int NiBufIGetHdlParam(NITAB *pHdl, NI_PARAM_DATA *pParamData, int *pDone) noexcept;
const char *NiBufIGetExtText(const NITAB *pHdl) noexcept;
// Access lists: start and end, the list of a listener that closes, and accept's check of a peer
// against the listener's list (ZUL_O_K or NIEACL_DENIED).
int NiIAclInit() noexcept;
void NiIAclExit() noexcept;
void NiIAclDelete(NITAB *pHdl) noexcept;
int NiIAclCheckAddr(NITAB *pListenHdl, const NI_NODEADDR *pPeer) noexcept;
// Accept list: a counted connection closes (the accept-list lock held); the list's end; accept's
// check of a new non-local connection (NIETIMEOUT: refused, the caller closes the handle); whether
// a list exists.
void NiIAlHdlClosed(NITAB *pHdl) noexcept;
void NiIAlExit() noexcept;
int NiIAlCheckAccept(NITAB *pHdl) noexcept;
bool NiIAlActive() noexcept;
// Traffic control list: a handle leaves it (the lock held); the list's end.
void NiITcDelHdl(NITAB *pHdl) noexcept;
void NiITcExit() noexcept;
// Peer trace: whether any entry is set, and accept's marking of a handle whose peer matches one.
bool NiIPeerTraceActive() noexcept;
void NiICheckPeerAddr(NITAB *pHdl, const NI_NODEADDR *pPeerAddr) noexcept;

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
// Looks at a message that NiIRead completed: 0 for user data; a check or control message is
// consumed (*pLen 0) with NIEOPCODE, or NIEPING for the pong that answers NiCheckEx (and, on a
// buffered handle, for a ping answered); *pPeerRc gets a code the peer sent (0: none). pXhdl
// (null for a plain handle) and pPeerVersion may be null.
struct NI_XHDL;
int NiBufIProcMsg(NITAB *pHdl, NI_XHDL *pXhdl, ZUL_RAW *pData, int *pLen, int *pPeerRc,
                  uint8_t *pPeerVersion) noexcept;
// The check messages of 8 bytes alone: ZUL_O_K for anything else.
int NiIProcCheckMsg(NITAB *pHdl, NI_XHDL *pXhdl, ZUL_RAW *pData, int *pLen) noexcept;
// A message of the layer itself (a pong) on a buffered handle: queued behind what is in the
// ready part, never refused for a full queue. NIETIMEOUT counts as sent.
int NiBufIWriteUserMsg(NITAB *pHdl, NI_XHDL *pXhdl, const ZUL_RAW *pData, int len,
                       int timeout) noexcept;
namespace ni {
extern const char *const NI_MODE_STR[3];  // "MESG_IO", "RAW_IO", "ROUT_IO"
}

#endif  // NI_NIXXI_H
