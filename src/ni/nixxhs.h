// The host and service caches: their classes, the layer that holds one instance of each, and the
// operating system look-ups behind them.
//
// Lock order: the parameter lock ("NI param section"), then an instance's own mutex. The host
// caches drop their mutex during a system call; the service cache holds it.
#ifndef NI_NIXXHS_H
#define NI_NIXXHS_H

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <memory>
#include <new>

#include "ni/nixxi.h"
#include "zul_ni.h"
#include "zul_thr.h"

// Look-up modes: normal, cache only, bypass the cache.
enum { NIHS_MODE_NORMAL = 0, NIHS_MODE_BUFONLY = 1, NIHS_MODE_NOBUF = 2 };
// What a cache answers for an entry it doesn't hold.
inline constexpr int NIHS_NOT_CACHED = -1001;

// Entry types of the host cache (bits) and of the service cache.
enum : uint8_t {
  NIHS_FREE = 0,
  NIHS_UNKNOWN_ADDR = 1,
  NIHS_UNKNOWN_NAME = 2,
  NIHS_VALID_ADDR = 4,
  NIHS_VALID_NAME = 8
};
enum : uint8_t { NISB_UNKNOWN_PORT = 1, NISB_UNKNOWN_NAME = 2, NISB_VALID = 4 };

// Dump line formats: 1 for machine reading (tab separated), 2 for print.
enum { NIHS_FMT_MACHINE = 1, NIHS_FMT_PRINT = 2 };

// The abstract root of both caches: time-outs, the clock, the mutex and the dump position.
class NIHSIMPL {
 public:
  static constexpr time_t MIN_EXPIRE_TIME = 0;
  static constexpr time_t MAX_EXPIRE_TIME = 86400;
  static constexpr char16_t SEPERATOR_CHAR = u'\t';
  static constexpr char16_t END_OF_LINE_CHAR = u'\n';
  // What a dump shows for a part an entry doesn't have, and for an empty name.
  static constexpr const char *UNKNOWN_STR = "<unknown>";
  static constexpr const char *EMPTY_STR = "<empty>";

  // initName names init in its reports ("NIHIMPL_LINEAR::init").
  NIHSIMPL(const char16_t *mutexName, const char *initName) noexcept;
  virtual ~NIHSIMPL();
  // Drops all entries and allocates size new ones, keeping the time-outs.
  int setIndexSize(int size) noexcept;
  virtual void setTimeFunc(NI_HSBUF_TIME_FUNC func) noexcept;
  // Clears every entry and the position, and notes the time.
  virtual void flush() noexcept = 0;
  // Held for the length of a dump, so that the dump position stays valid.
  virtual void lockLineDump() noexcept;
  virtual void unlockLineDump() noexcept;
  // Writes the next used entry as one line of the format; *pDone becomes 1 after the last one.
  // Answers the units written, or NIETOO_SMALL (nothing written) when the line doesn't fit.
  virtual int dumpBufLine(ZUL_UTF16 *pBuffer, int bufferLen, int *pDone, int format) noexcept = 0;
  // Allocates size entries and sets the time-outs; NIECALL when already initialised.
  virtual int init(int size, time_t validTimeout, time_t unknownNameTimeout,
                   time_t unknownAddrTimeout) noexcept;

  NI_HSBUF_TIME_FUNC getTimeFunc() noexcept;
  int getIndexSize() noexcept;
  // The size while lockLineDump holds the mutex.
  int indexSizeLocked() const noexcept { return mIndexSize; }
  int getTraceLimit() noexcept;
  void setTraceLimit(int ms) noexcept;
  // which: 1 valid, 2 unknown name, 4 unknown address (unknown port for services).
  void setTimeout(time_t value, int which) noexcept;
  time_t getTimeout(int which) noexcept;

 protected:
  // Milliseconds by the time function (its value / 1000), else (time & 0xffff) * 1000; the
  // difference of two readings corrects one wrap of the latter.
  int64_t iClock() const noexcept;
  static int64_t iClockDiff(int64_t from, int64_t to) noexcept;
  // Replaces the entries by size empty ones and resets the position. Mutex held.
  virtual int allocate(int size) noexcept = 0;
  // The new entries of allocate, or NIEINTERN when there is no memory for them.
  template <typename T>
  int newEntries(std::unique_ptr<T[]> *pBuf, int size) noexcept {
    pBuf->reset(size > 0 ? new (std::nothrow) T[static_cast<size_t>(size)]() : nullptr);
    if (size > 0 && *pBuf == nullptr) return allocFailed(size);
    mIndexSize = size;
    return ZUL_O_K;
  }
  int allocFailed(int size) const noexcept;
  // Traces a system look-up slower than the trace limit.
  void traceSlow(const char *fn, const char *name, const char *what, bool ok, int64_t start,
                 int limit) const noexcept;

  using Guard = ni::MtxGuard;

  THR_MTX mMtx;
  const char *mInitName;
  NI_HSBUF_TIME_FUNC mTimeFunc = nullptr;
  time_t mLastFlush;
  int mIndexSize = 0;
  int mTraceLimit = 0;
  time_t validTimeout = 0, unknownNameTimeout = 0, unknownAddrTimeout = 0;
  bool mInitialized = false;
  int mDumpPos = 0;   // next entry of a dump in progress
  uint32_t mGen = 0;  // changes whenever entries move wholesale (flush, resize, overflow)
};

// Host caches. Names are 16-bit; addresses are node addresses.
class NIHIMPL : public NIHSIMPL {
 public:
  static constexpr int BUF_SIZE = 256;  // a name as the system answers it
  static constexpr int NAME_LEN = 60;   // names of 60 units or more are never cached
  NIHIMPL(const char16_t *mutexName, const char *initName, int ipv6)
  noexcept : NIHSIMPL(mutexName, initName), mIPv6(ipv6) {}
  virtual int getNodeAddr(const ZUL_UTF16 *pHostName, NI_NODEADDR *pNodeAddr, int mode,
                          int protocol, FILE **ppTrcFile) noexcept = 0;
  virtual int getHostName(const NI_NODEADDR *pNodeAddr, ZUL_UTF16 *pHostName, int bufferLen,
                          int fullyQualified, int mode, FILE **ppTrcFile) noexcept = 0;
  virtual int setHostInvalid(const ZUL_UTF16 *pHostName, FILE **ppTrcFile) noexcept = 0;
  // Seeds or updates an entry; pAddrStr may be null. Type 0 keeps the entry's type.
  int setHostEntry(const ZUL_UTF16 *pHostName, const ZUL_UTF16 *pAddrStr, int entryType,
                   time_t timestamp) noexcept;
  // 1 for the IPv4/IPv6 cache (its dump is the wider one).
  int isIPv6() const noexcept { return mIPv6; }
  void flush() noexcept final;
  int dumpBufLine(ZUL_UTF16 *pBuffer, int bufferLen, int *pDone, int format) noexcept final;

 protected:
  // One entry; the IPv4 cache keeps its addresses in mapped form too.
  struct HOSTBUF {
    uint8_t type;
    ZUL_UTF16 name[NAME_LEN];
    NI_NODEADDR addr;
    time_t time;
  };
  int dumpHostLine(const HOSTBUF &e, int index, ZUL_UTF16 *pBuffer, int bufferLen,
                   int format) const noexcept;
  // Whether a used entry answers for a name, or for an address, and the bit that makes the
  // answer valid: the two directions of a look-up.
  static bool IsFor(const HOSTBUF &e, const ZUL_UTF16 *pName) noexcept;
  static bool IsFor(const HOSTBUF &e, const NI_NODEADDR *pAddr) noexcept;
  static constexpr int ValidBit(const ZUL_UTF16 *) noexcept { return NIHS_VALID_NAME; }
  static constexpr int ValidBit(const NI_NODEADDR *) noexcept { return NIHS_VALID_ADDR; }
  int allocate(int size) noexcept final;
  // Frees every entry. Mutex held.
  void clearAll() noexcept;
  // A free entry, cleared, for a seed; -1 when there is none. Mutex held.
  virtual int newSlot() noexcept = 0;
  // The checks of setHostEntry: *pEntry gets name, address (*pHasAddr) and time.
  static int seedEntry(const ZUL_UTF16 *pHostName, const ZUL_UTF16 *pAddrStr, int entryType,
                       time_t timestamp, HOSTBUF *pEntry, bool *pHasAddr) noexcept;
  // The entry a seed updates: a used one with the same name, else one with the same address;
  // -1 for none.
  static int findSeedSlot(const HOSTBUF *pBuf, int count, const HOSTBUF &seed,
                          bool hasAddr) noexcept;
  static void applySeed(HOSTBUF *pEntry, const HOSTBUF &seed, bool hasAddr) noexcept;
  std::unique_ptr<HOSTBUF[]> mBuf;
  int mEnd = 0;  // no used entry at or above it
  const int mIPv6;
};

// The IPv4 cache: a batch that empties whole when its position reaches the size.
class NIHIMPL_LINEAR final : public NIHIMPL {
 public:
  NIHIMPL_LINEAR() noexcept;
  ~NIHIMPL_LINEAR() override;
  int getNodeAddr(const ZUL_UTF16 *pHostName, NI_NODEADDR *pNodeAddr, int mode, int protocol,
                  FILE **ppTrcFile) noexcept override;
  int getHostName(const NI_NODEADDR *pNodeAddr, ZUL_UTF16 *pHostName, int bufferLen,
                  int fullyQualified, int mode, FILE **ppTrcFile) noexcept override;
  int setHostInvalid(const ZUL_UTF16 *pHostName, FILE **ppTrcFile) noexcept override;

 private:
  int newSlot() noexcept override;
  // The entry of a key (a name or an address), searched from the front: ZUL_O_K with *pHit for a
  // valid one, NIEHOST_UNKNOWN for a fresh unknown one or a miss in cache-only mode, else
  // NIHS_NOT_CACHED with the stale entry of the key in *pSlot and the generation in *pGen.
  // fn and text (the key) name the traces. Mutex held.
  template <typename Key>
  int lookup(Key key, int mode, const char *fn, const char *text, const HOSTBUF **pHit, int *pSlot,
             uint32_t *pGen) noexcept;
  // Stores at the remembered slot if it still holds the name, else at the next position, and
  // empties the cache when the position reaches the size. Mutex held.
  void store(int slot, uint32_t gen, const HOSTBUF &e, bool byName) noexcept;
};

// One rule of the address preference table.
struct PREFPOL {
  int32_t prefixLen;
  NI_NODEADDR addr;
  NI_NODEADDR mask;
  int32_t precedence;
};
inline constexpr int NI_PREFPOL_ROWS = 20;
inline constexpr int NI_ADDR_POLICY_LEN = 1024;  // terminator included
inline constexpr int NI_POLICY_RULE_LEN = 55;

// Reads a policy text ("addr/prefix,precedence;..."): bad rules are skipped, the rows stay sorted
// by prefix length, longest first, equal lengths in reading order. Answers the number of rows.
int NiIParseAddrPolicy(const char *pText, PREFPOL *pRows, int maxRows) noexcept;
// The address the rules prefer among addrs (in the system's order) for the protocol (0, 2, 4):
// its index, or -1 when no address matched a rule.
int NiIApplyAddrPolicy(const NI_NODEADDR *pAddrs, int count, int protocol, const PREFPOL *pRows,
                       int rows) noexcept;

// The IPv4/IPv6 cache: expired entries are cleared as they are met, the oldest entry makes room,
// and the preference rules of NI_ADDR_POLICY choose among several addresses.
class NIHIMPL_LINEAR6 final : public NIHIMPL {
 public:
  NIHIMPL_LINEAR6() noexcept;
  ~NIHIMPL_LINEAR6() override;
  int init(int size, time_t validTimeout, time_t unknownNameTimeout,
           time_t unknownAddrTimeout) noexcept override;
  int getNodeAddr(const ZUL_UTF16 *pHostName, NI_NODEADDR *pNodeAddr, int mode, int protocol,
                  FILE **ppTrcFile) noexcept override;
  int getHostName(const NI_NODEADDR *pNodeAddr, ZUL_UTF16 *pHostName, int bufferLen,
                  int fullyQualified, int mode, FILE **ppTrcFile) noexcept override;
  int setHostInvalid(const ZUL_UTF16 *pHostName, FILE **ppTrcFile) noexcept override;
  // Reads NI_ADDR_POLICY; init does this once.
  void initPolicy() noexcept;
  int policyRows() const noexcept { return mPolicyRows; }

 private:
  int newSlot() noexcept override;
  bool expired(const HOSTBUF &e, time_t now) const noexcept;
  // Mutex held for the three below. cacheLookup: the entry of a key (a name or an address),
  // clearing expired ones on the way; ZUL_O_K with *pHit for a valid one, NIEHOST_UNKNOWN for an
  // unknown one, else NIHS_NOT_CACHED.
  template <typename Key>
  int cacheLookup(Key key, const HOSTBUF **pHit) noexcept;
  void cacheAdd(const HOSTBUF &e) noexcept;
  void cacheCleanup() noexcept;
  int osLookupNameToAddr(const char *pHostName, NI_NODEADDR *pNodeAddr, int protocol) noexcept;
  PREFPOL mPolicy[NI_PREFPOL_ROWS];
  int mPolicyRows = 0;
};

// Service caches: names of 20 units or more are never cached.
class NISIMPL : public NIHSIMPL {
 public:
  static constexpr int BUF_SIZE = 1024;
  static constexpr int NAME_LEN = 20;
  using NIHSIMPL::NIHSIMPL;
  // Ports in network order.
  virtual int getServNo(const ZUL_UTF16 *pServName, uint16_t *pServNo, int mode,
                        FILE **ppTrcFile) noexcept = 0;
  virtual int getServName(uint16_t servNo, ZUL_UTF16 *pServName, int bufferLen, int mode,
                          FILE **ppTrcFile) noexcept = 0;
  virtual void traceServ(const void *pServEnt, int level) noexcept = 0;
};

// The service cache: a batch like the IPv4 host cache, with the expiry time in each entry and
// the mutex held around the system call.
class NISIMPL_LINEAR final : public NISIMPL {
 public:
  NISIMPL_LINEAR() noexcept;
  ~NISIMPL_LINEAR() override;
  void flush() noexcept override;
  int dumpBufLine(ZUL_UTF16 *pBuffer, int bufferLen, int *pDone, int format) noexcept override;
  int getServNo(const ZUL_UTF16 *pServName, uint16_t *pServNo, int mode,
                FILE **ppTrcFile) noexcept override;
  int getServName(uint16_t servNo, ZUL_UTF16 *pServName, int bufferLen, int mode,
                  FILE **ppTrcFile) noexcept override;
  void traceServ(const void *pServEnt, int level) noexcept override;

 private:
  struct SERVBUF {
    uint8_t type;
    ZUL_UTF16 name[NAME_LEN];
    uint16_t port;  // network order
    time_t expiry;  // when the entry ends
  };
  int allocate(int size) noexcept override;
  void clearAll() noexcept;
  static bool IsFor(const SERVBUF &e, const ZUL_UTF16 *pName) noexcept;
  static bool IsFor(const SERVBUF &e, uint16_t port) noexcept;
  // The entry of a key (a name, or a port in network order), searched from the front: ZUL_O_K
  // with *pHit for a valid one, NIESERV_UNKNOWN for an unknown one or a miss in cache-only mode,
  // else NIHS_NOT_CACHED with the expired entry of the key in *pSlot. name8 is the name's text
  // for the traces. Mutex held.
  template <typename Key>
  int lookup(Key key, const char *name8, int mode, const char *fn, const SERVBUF **pHit,
             int *pSlot) noexcept;
  void store(int slot, const SERVBUF &e) noexcept;
  std::unique_ptr<SERVBUF[]> mBuf;
  int mPos = 0;
};

// ---- The cache layer ----

// Builds both caches (NIECALL if they exist); time-outs of 0 or above 86400 become 86400.
int NiIHSBufInit(int size, int hostValid, int hostUnknownName, int hostUnknownAddr, int servValid,
                 int servUnknownName, int servUnknownPort) noexcept;
// Installs caches the caller built and initialised; the layer owns them from then on.
int NiIHSBufInit2(NIHIMPL *pHostImpl, NISIMPL *pServImpl) noexcept;
void NiIHSBufRelease() noexcept;
int NiIHSBufFlush() noexcept;
int NiISetHostInvalid(const ZUL_UTF16 *pHostName, FILE **ppTrcFile) noexcept;
// kind must be 2 (the host cache).
int NiISetHBufEntry(int kind, const ZUL_UTF16 *pHostName, const ZUL_UTF16 *pAddrStr, int type,
                    time_t timestamp) noexcept;
int NiIGetHSBufTimeFunc(NI_HSBUF_TIME_FUNC *pFunc) noexcept;
int NiISetHSBufTimeFunc(NI_HSBUF_TIME_FUNC func) noexcept;
int NiIGetHSBufTraceLimit(int *pLimit) noexcept;
int NiISetHSBufTraceLimit(int limit) noexcept;
int NiIGetHSBufIndexSize(int *pSize) noexcept;
int NiISetHSBufIndexSize(int size) noexcept;
// which: mask of 1 valid, 2 unknown name, 4 unknown address; NIEINVAL above 86400 or above 7.
int NiIGetHBufTimeout(int *pValue, int which) noexcept;
int NiISetHBufTimeout(int value, int which) noexcept;
// The print of both caches to the trace (NIP_HSBUF_OPCODE 0), with a buffer doubled from 24576
// units until the dump fits.
int NiIHSBufTrace() noexcept;

// Look-ups through the caches. Ports in network order. On failure NiIGetHostName and
// NiIGetServName leave the numeric text in the buffer.
int NiIGetNodeAddr(const ZUL_UTF16 *pHostName, int protocol, NI_NODEADDR *pNodeAddr, int mode,
                   FILE **ppTrcFile) noexcept;
int NiIGetHostName(const NI_NODEADDR *pNodeAddr, ZUL_UTF16 *pHostName, int bufferLen, int fq,
                   int mode, FILE **ppTrcFile) noexcept;
int NiIGetServNo(const ZUL_UTF16 *pServName, uint16_t *pServNo, int mode,
                 FILE **ppTrcFile) noexcept;
int NiIGetServName(uint16_t servNo, ZUL_UTF16 *pServName, int bufferLen, int mode,
                   FILE **ppTrcFile) noexcept;

// ---- The local host ----

// Stores the machine's name once (NIECALL when stored already); NiILHRelease forgets it.
int NiILHInit() noexcept;
void NiILHRelease() noexcept;
// NIETOO_SMALL unless the buffer is larger than the name.
int NiIGetLocalName(ZUL_UTF16 *pBuffer, int bufferLen) noexcept;
// 1 when the address belongs to this host: loopbacks, or an address a datagram socket binds to.
int NiILocalCheck(const NI_NODEADDR *pNodeAddr, FILE **ppTrcFile) noexcept;

// ---- The operating system ----

namespace ni {
// Calls of getaddrinfo and getnameinfo since the process began.
extern std::atomic<uint64_t> gSysLookups;
// The source module that reports of the cache layer name.
inline constexpr const char16_t *kModHs = u"nixxhs.cpp";
// The 8-bit text of an address for traces (46 bytes).
void AddrText(const NI_NODEADDR &a, char *out, size_t size) noexcept;
// Copies a cached or looked-up name out: cut at the first '.' unless fq; NIETOO_SMALL (traced by
// fn) when it doesn't fit.
int CopyName(const ZUL_UTF16 *name, ZUL_UTF16 *out, int bufferLen, int fq, const char *fn) noexcept;
// Dump texts of an entry type ("valid-name", ..., "12") and its status ("VALID", "UNKNOWN").
const char *TypeName(int type) noexcept;
}  // namespace ni

// Port (network order) of a service name; NIESERV_UNKNOWN when the system has none.
int NiPGetServByName(const char *pServName, uint16_t *pServNo, FILE **ppTrcFile) noexcept;
// Name of a port (network order); a digit string is no name.
int NiPGetServByPort(uint16_t servNo, char *pServName, size_t len, FILE **ppTrcFile) noexcept;
// Hardware addresses of the interfaces, 6 bytes each; all-zero ones are left out.
int NiPGetMacAddrList(uint8_t *pMacs, int max, int *pCount) noexcept;
// Reads one line of /proc/net/if_inet6: the address and the interface name (at most 20 bytes).
// Answers 1 when the line has all nine fields.
int NiIParseIfInet6Line(const char *pLine, NI_NODEADDR *pAddr, char *pName,
                        size_t nameLen) noexcept;

// UTF-8 copy of a 16-bit text; false when it doesn't fit.
bool NiIToUtf8(const ZUL_UTF16 *in, char *out, size_t size) noexcept;
// 16-bit copy of UTF-8 text, cut to fit.
void NiIFromUtf8(const char *in, ZUL_UTF16 *out, size_t size) noexcept;

#endif  // NI_NIXXHS_H
