// The cache layer: one host cache and one service cache, built at start, and the look-ups and
// dumps that go through them. Also the parts every cache shares: the clock, time-outs and the
// dump line of a host entry.
#define DPTRC_MODULE u"nixxhs"

#include "ni/nixxhs.h"

#include <arpa/inet.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <vector>

#include "ni/nixxi.h"
#include "zul_dptrace.h"
#include "zul_err.h"
#include "zul_si.h"
#include "zul_u16string.h"

using namespace ni;

namespace {

// Guards building and releasing the two instances; look-ups read the pointers without it, as
// start and end run on one thread while no look-up is under way.
std::mutex gLayerLock;
std::atomic<NIHIMPL *> gHost{nullptr};
std::atomic<NISIMPL *> gServ{nullptr};

constexpr const char16_t *kHead4 =
    u"---------------------------------------------\n"
    u"#   status  t address IPv4    hostname\n"
    u"---------------------------------------------\n";
constexpr const char16_t *kHead6 =
    u"---------------------------------------------------------------------\n"
    u"#   status  t address IPv4/IPv6                       hostname\n"
    u"---------------------------------------------------------------------\n";
constexpr const char16_t *kServHead =
    u"\n---------------------------------------\n"
    u"#   status  port        service\n"
    u"---------------------------------------\n";

time_t ExpireTime(int v) { return v <= 0 || v > NIHSIMPL::MAX_EXPIRE_TIME ? 86400 : v; }

// The instances, built with the start values when they don't exist yet.
NIHIMPL *Host() noexcept {
  if (gHost.load() == nullptr) NiIHSBufInit(100, 0, 600, 600, 0, 600, 600);
  return gHost.load();
}

NISIMPL *Serv() noexcept {
  if (gServ.load() == nullptr) NiIHSBufInit(100, 0, 600, 600, 0, 600, 600);
  return gServ.load();
}

int NotInitialized(const char *fn) {
  return Refuse(kModHs, __LINE__, NIECALL, 1, "%s: not initialized", fn);
}

// Appends text when it fits with its terminator.
bool Put(ZUL_UTF16 *buf, int cap, int *used, const char16_t *text) {
  int n = static_cast<int>(strlenU16(text));
  if (*used + n >= cap) return false;
  std::memcpy(buf + *used, text, (static_cast<size_t>(n) + 1) * sizeof(ZUL_UTF16));
  *used += n;
  return true;
}

// Lines of one instance until it is done; false when the buffer ended first.
bool PutLines(NIHSIMPL *impl, ZUL_UTF16 *buf, int cap, int *used, int format) {
  int done = 0;
  while (done == 0) {
    int n = impl->dumpBufLine(buf + *used, cap - *used, &done, format);
    if (n < 0) return false;
    *used += n;
  }
  return true;
}

// The numeric text that failed look-ups leave for callers to print, when it fits.
void CopyIfFits(const ZUL_UTF16 *text, ZUL_UTF16 *out, int bufferLen) {
  size_t n = strlenU16(text);
  if (static_cast<long>(n) < bufferLen) std::memcpy(out, text, (n + 1) * sizeof(ZUL_UTF16));
}

// A name that may be an address literal: it starts with a digit or holds a colon.
bool LooksNumeric(const ZUL_UTF16 *name) {
  bool colon = false;
  for (const ZUL_UTF16 *c = name; *c != 0; ++c) colon = colon || *c == u':';
  return colon || (name[0] >= u'0' && name[0] <= u'9');
}

// The checks all NiHostToAddr forms share.
int CheckHost(const char *fn, const ZUL_UTF16 *pHostName, int protocol) {
  if (protocol != 0 && protocol != 2 && protocol != 4 && protocol != 6)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (protocol %d not in {0, 2, 4, 6})", fn, protocol);
  if (pHostName == nullptr) return ZUL_O_K;
  size_t len = strlenU16(pHostName);
  if (len >= NI_MAX_HOSTNAME_LEN)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (strlenU(pHostName) >= NI_MAX_HOSTNAME_LEN)", fn);
  if (len >= 3 && pHostName[0] == u'/' && pHostName[1] == u'H' && pHostName[2] == u'/') {
    char name8[NI_MAX_HOSTNAME_LEN * 3];
    NiIToUtf8(pHostName, name8, sizeof name8);
    return Refuse(kModHs, __LINE__, NIEHOST_UNKNOWN, 1, "%s: hostname  '%s' unknown", fn, name8);
  }
  return ZUL_O_K;
}

int Started() { return gUseCount > 0 || NiInit() == ZUL_O_K ? ZUL_O_K : NIEINTERN; }

}  // namespace

// ---- Shared parts ----

void ni::AddrText(const NI_NODEADDR &a, char *out, size_t size) noexcept {
  ZUL_UTF16 text[NI_NODEADDR_STR_LEN];
  if (NiAddrToStr(&a, text, NI_NODEADDR_STR_LEN, 0) != ZUL_O_K) text[0] = 0;
  NiIToUtf8(text, out, size);
}

int ni::CopyName(const ZUL_UTF16 *name, ZUL_UTF16 *out, int bufferLen, int fq,
                 const char *fn) noexcept {
  size_t n = strlenU16(name);
  if (fq == 0)
    for (size_t i = 0; i < n; ++i)
      if (name[i] == u'.') n = i;
  if (static_cast<long>(n) >= bufferLen) {
    char name8[NIHIMPL::BUF_SIZE * 3];
    NiIToUtf8(name, name8, sizeof name8);
    return Refuse(kModHs, __LINE__, NIETOO_SMALL, 1, "%s: buffer too small for '%s' (%d<%d)", fn,
                  name8, bufferLen, static_cast<int>(n) + 1);
  }
  std::memcpy(out, name, n * sizeof(ZUL_UTF16));
  out[n] = 0;
  return ZUL_O_K;
}

const char *ni::TypeName(int type) noexcept {
  switch (type) {
    case NIHS_UNKNOWN_ADDR:
      return "unknown-address";
    case NIHS_UNKNOWN_NAME:
      return "unknown-name";
    case NIHS_VALID_ADDR:
      return "valid-address";
    case NIHS_VALID_NAME:
      return "valid-name";
    default:
      return "12";
  }
}

NIHSIMPL::NIHSIMPL(const char16_t *mutexName, const char *initName) noexcept
    : mInitName(initName), mLastFlush(time(nullptr)) {
  ThrIProcInit();  // the mutex is deleted only by a started thread layer
  ThrMtxInit(&mMtx, mutexName);
}

NIHSIMPL::~NIHSIMPL() { ThrMtxDelete(&mMtx); }

int NIHSIMPL::init(int size, time_t valid, time_t unknownName, time_t unknownAddr) noexcept {
  Guard g(mMtx);
  if (mInitialized)
    return Refuse(kModHs, __LINE__, NIECALL, 1, "%s: already initialized)", mInitName);
  int rc = allocate(size);
  if (rc != ZUL_O_K) return rc;
  validTimeout = valid;
  unknownNameTimeout = unknownName;
  unknownAddrTimeout = unknownAddr;
  mInitialized = true;
  return ZUL_O_K;
}

int NIHSIMPL::setIndexSize(int size) noexcept {
  Guard g(mMtx);
  return allocate(size);
}

int NIHSIMPL::allocFailed(int size) const noexcept {
  return Refuse(kModHs, __LINE__, NIEINTERN, 1, "%s: malloc failed for %d entries", mInitName,
                size);
}

void NIHSIMPL::setTimeFunc(NI_HSBUF_TIME_FUNC func) noexcept {
  Guard g(mMtx);
  mTimeFunc = func;
}

NI_HSBUF_TIME_FUNC NIHSIMPL::getTimeFunc() noexcept {
  Guard g(mMtx);
  return mTimeFunc;
}

int NIHSIMPL::getIndexSize() noexcept {
  Guard g(mMtx);
  return mIndexSize;
}

int NIHSIMPL::getTraceLimit() noexcept {
  Guard g(mMtx);
  return mTraceLimit;
}

void NIHSIMPL::setTraceLimit(int ms) noexcept {
  Guard g(mMtx);
  mTraceLimit = ms;
}

void NIHSIMPL::setTimeout(time_t value, int which) noexcept {
  Guard g(mMtx);
  if ((which & 1) != 0) validTimeout = value;
  if ((which & 2) != 0) unknownNameTimeout = value;
  if ((which & 4) != 0) unknownAddrTimeout = value;
}

time_t NIHSIMPL::getTimeout(int which) noexcept {
  Guard g(mMtx);
  return (which & 1) != 0   ? validTimeout
         : (which & 2) != 0 ? unknownNameTimeout
                            : unknownAddrTimeout;
}

void NIHSIMPL::lockLineDump() noexcept {
  ThrMtxLock(&mMtx);
  mDumpPos = 0;
}

void NIHSIMPL::unlockLineDump() noexcept { ThrMtxUnlock(&mMtx); }

int64_t NIHSIMPL::iClock() const noexcept {
  NI_HSBUF_TIME_FUNC f = mTimeFunc;
  if (f != nullptr) return static_cast<int64_t>(f() / 1000);
  return static_cast<int64_t>(time(nullptr) & 0xffff) * 1000;
}

int64_t NIHSIMPL::iClockDiff(int64_t from, int64_t to) noexcept {
  int64_t d = to - from;
  return d < 0 ? d + 65536000 : d;
}

void NIHSIMPL::traceSlow(const char *fn, const char *name, const char *what, bool ok, int64_t start,
                         int limit) const noexcept {
  int64_t ms = iClockDiff(start, iClock());
  if (ms <= limit) return;
  bool own = mTimeFunc != nullptr;
  DPTRC_A7(1, tf, "%s: to get '%s' %s in %dms (tl=%dms%s%s)\n", fn, name,
           ok ? "succeeded" : "failed", static_cast<int>(ms), limit, own ? "; " : "",
           own ? what : "");
}

bool NIHIMPL::IsFor(const HOSTBUF &e, const ZUL_UTF16 *pName) noexcept {
  return (e.type & (NIHS_UNKNOWN_NAME | NIHS_VALID_NAME)) != 0 && strcmpU16(e.name, pName) == 0;
}

bool NIHIMPL::IsFor(const HOSTBUF &e, const NI_NODEADDR *pAddr) noexcept {
  return (e.type & (NIHS_UNKNOWN_ADDR | NIHS_VALID_ADDR)) != 0 && SameAddr(e.addr, *pAddr);
}

int NIHIMPL::allocate(int size) noexcept {
  if (int rc = newEntries(&mBuf, size); rc != ZUL_O_K) return rc;
  mEnd = 0;
  ++mGen;
  return ZUL_O_K;
}

void NIHIMPL::clearAll() noexcept {
  for (int i = 0; i < mIndexSize; ++i) mBuf[i].type = NIHS_FREE;
  mEnd = 0;
  ++mGen;
}

void NIHIMPL::flush() noexcept {
  Guard g(mMtx);
  clearAll();
  mLastFlush = time(nullptr);
}

int NIHIMPL::setHostEntry(const ZUL_UTF16 *pHostName, const ZUL_UTF16 *pAddrStr, int entryType,
                          time_t timestamp) noexcept {
  HOSTBUF e{};
  bool hasAddr = false;
  int rc = seedEntry(pHostName, pAddrStr, entryType, timestamp, &e, &hasAddr);
  if (rc != ZUL_O_K) return rc;
  Guard g(mMtx);
  int slot = findSeedSlot(mBuf.get(), mEnd, e, hasAddr);
  if (slot < 0) slot = newSlot();
  if (slot < 0) return ZUL_O_K;  // full: nothing happens
  applySeed(&mBuf[slot], e, hasAddr);
  return ZUL_O_K;
}

int NIHIMPL::dumpBufLine(ZUL_UTF16 *pBuffer, int bufferLen, int *pDone, int format) noexcept {
  while (mDumpPos < mEnd && mBuf[mDumpPos].type == NIHS_FREE) ++mDumpPos;
  if (mDumpPos >= mEnd) {
    *pDone = 1;
    return 0;
  }
  int n = dumpHostLine(mBuf[mDumpPos], mDumpPos, pBuffer, bufferLen, format);
  if (n >= 0) ++mDumpPos;
  return n;
}

int NIHIMPL::dumpHostLine(const HOSTBUF &e, int index, ZUL_UTF16 *pBuffer, int bufferLen,
                          int format) const noexcept {
  char addr[NI_NODEADDR_STR_LEN] = {};
  char name[BUF_SIZE * 3];
  std::snprintf(addr, sizeof addr, "%s", UNKNOWN_STR);
  if (e.type != NIHS_UNKNOWN_NAME) AddrText(e.addr, addr, sizeof addr);
  if (e.type == NIHS_UNKNOWN_ADDR)
    std::snprintf(name, sizeof name, "%s", UNKNOWN_STR);
  else if (e.name[0] == 0)
    std::snprintf(name, sizeof name, "%s", EMPTY_STR);
  else
    NiIToUtf8(e.name, name, sizeof name);
  const char *status = (e.type & (NIHS_VALID_ADDR | NIHS_VALID_NAME)) != 0 ? "VALID" : "UNKNOWN";
  char t = e.type == NIHS_VALID_NAME ? 'A' : e.type == NIHS_VALID_ADDR ? 'R' : ' ';
  char line[BUF_SIZE * 4];
  if (format == NIHS_FMT_MACHINE)
    std::snprintf(line, sizeof line, "%d%c%s%c%c%c%s%c%s%c%s%c", index, SEPERATOR_CHAR, status,
                  SEPERATOR_CHAR, t, SEPERATOR_CHAR, addr, SEPERATOR_CHAR, name, SEPERATOR_CHAR,
                  TypeName(e.type), END_OF_LINE_CHAR);
  else if (isIPv6() != 0)
    std::snprintf(line, sizeof line, "%-4d%-7.7s %c %-39.39s %s%c", index, status, t, addr, name,
                  END_OF_LINE_CHAR);
  else
    std::snprintf(line, sizeof line, "%-4d%-7.7s %c %-15.15s %s%c", index, status, t, addr, name,
                  END_OF_LINE_CHAR);
  ZUL_UTF16 wide[BUF_SIZE * 4];
  NiIFromUtf8(line, wide, BUF_SIZE * 4);
  int n = static_cast<int>(strlenU16(wide));
  if (n >= bufferLen) return NIETOO_SMALL;
  std::memcpy(pBuffer, wide, (static_cast<size_t>(n) + 1) * sizeof(ZUL_UTF16));
  return n;
}

int NIHIMPL::seedEntry(const ZUL_UTF16 *pHostName, const ZUL_UTF16 *pAddrStr, int entryType,
                       time_t timestamp, HOSTBUF *pEntry, bool *pHasAddr) noexcept {
  const char *fn = "NIHIMPL::setHostEntry";
  if (entryType != 0 && entryType != 1 && entryType != 2 && entryType != 4 && entryType != 8 &&
      entryType != 12)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1, "%s: Entrytype invalid '%d'", fn, entryType);
  *pEntry = HOSTBUF{};
  *pHasAddr = false;
  if (pHostName != nullptr) {
    size_t len = strlenU16(pHostName);
    if (len >= static_cast<size_t>(NAME_LEN)) {
      char name8[BUF_SIZE];
      NiIToUtf8(pHostName, name8, sizeof name8);
      return Refuse(kModHs, __LINE__, NIEINVAL, 1, "%s: hostname '%s' too long for buffer (%d>=%d)",
                    fn, name8, static_cast<int>(len), NAME_LEN);
    }
    strcpyU16(pEntry->name, pHostName);
  }
  if (pAddrStr != nullptr && pAddrStr[0] != 0) {
    // The parser's own refusal is replaced by this one.
    if (strlenU16(pAddrStr) < 7 || NiStrToAddr(pAddrStr, &pEntry->addr) != ZUL_O_K) {
      char addr8[NI_ADDRMASK_STR_LEN * 3];
      NiIToUtf8(pAddrStr, addr8, sizeof addr8);
      return Refuse(kModHs, __LINE__, NIEINVAL, 1, "%s: address invalid '%s'", fn, addr8);
    }
    *pHasAddr = true;
  }
  pEntry->type = static_cast<uint8_t>(entryType);
  pEntry->time = timestamp != 0 ? timestamp : time(nullptr);
  return ZUL_O_K;
}

int NIHIMPL::findSeedSlot(const HOSTBUF *pBuf, int count, const HOSTBUF &seed,
                          bool hasAddr) noexcept {
  int slot = -1;
  for (int i = 0; i < count && slot < 0; ++i)
    if (pBuf[i].type != NIHS_FREE && seed.name[0] != 0 && strcmpU16(pBuf[i].name, seed.name) == 0)
      slot = i;
  for (int i = 0; i < count && slot < 0 && hasAddr; ++i)
    if (pBuf[i].type != NIHS_FREE && SameAddr(pBuf[i].addr, seed.addr)) slot = i;
  if (slot >= 0) {
    char name8[BUF_SIZE];
    NiIToUtf8(seed.name, name8, sizeof name8);
    DPTRC_A7(2, tf, "%s: updating hostname '%s' in cache\n", "NIHIMPL::setHostEntry", name8);
  }
  return slot;
}

void NIHIMPL::applySeed(HOSTBUF *pEntry, const HOSTBUF &seed, bool hasAddr) noexcept {
  if (seed.type != NIHS_FREE) pEntry->type = seed.type;
  strcpyU16(pEntry->name, seed.name);
  if (hasAddr) pEntry->addr = seed.addr;
  pEntry->time = seed.time;
}

// ---- The layer ----

int NiIHSBufInit(int size, int hostValid, int hostUnknownName, int hostUnknownAddr, int servValid,
                 int servUnknownName, int servUnknownPort) noexcept {
  const char *fn = "NiIHSBufInit";
  std::lock_guard<std::mutex> lock(gLayerLock);
  if (gHost.load() != nullptr || gServ.load() != nullptr) {
    DPTRC_A7(2, tf, "%s: already initialized\n", fn);
    return NIECALL;
  }
  if (size < 0)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1, "%s: parameter invalid (size < 0)", fn);
  if (gUseIpProto == 0) ISetIPProtoUsage();
  std::unique_ptr<NIHIMPL> host;
  if (NiIsIPv6Activated() != 0) {
    DPTRC_A7(2, tf, "%s: initialize hostname buffer (IPv4/IPv6)\n", fn);
    host.reset(new (std::nothrow) NIHIMPL_LINEAR6());
  } else {
    DPTRC_A7(2, tf, "%s: initialize hostname buffer (IPv4)\n", fn);
    host.reset(new (std::nothrow) NIHIMPL_LINEAR());
  }
  std::unique_ptr<NISIMPL> serv(new (std::nothrow) NISIMPL_LINEAR());
  if (host == nullptr || serv == nullptr)
    return Refuse(kModHs, __LINE__, NIEINTERN, 1, "%s: no memory for the caches", fn);
  const char *disabled = std::getenv("ZUL_NI_CACHE_DISABLED");
  if (disabled != nullptr && std::strtol(disabled, nullptr, 10) == 1) {
    size = 0;
    DPTRC_A7(1, tf, "%s: ZUL_NI_CACHE_DISABLED=1\n", fn);
  }
  int rc = host->init(size, ExpireTime(hostValid), ExpireTime(hostUnknownName),
                      ExpireTime(hostUnknownAddr));
  if (rc == ZUL_O_K)
    rc = serv->init(size, ExpireTime(servValid), ExpireTime(servUnknownName),
                    ExpireTime(servUnknownPort));
  int sysErr = 0;
  if (rc == ZUL_O_K && SiInit(&sysErr) != SI_OK)
    rc = Refuse(kModHs, __LINE__, NIEINTERN, 1, "%s: SiInit failed (errno=%d)", fn, sysErr);
  if (rc != ZUL_O_K) return rc;  // both are deleted here
  gHost.store(host.release());
  gServ.store(serv.release());
  return ZUL_O_K;
}

int NiIHSBufInit2(NIHIMPL *pHostImpl, NISIMPL *pServImpl) noexcept {
  std::lock_guard<std::mutex> lock(gLayerLock);
  if (pHostImpl == nullptr || pServImpl == nullptr)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pHostImpl == NULL || pServImpl == NULL)",
                  "NiIHSBufInit2");
  if (gHost.load() != nullptr || gServ.load() != nullptr) return NIECALL;
  gHost.store(pHostImpl);
  gServ.store(pServImpl);
  return ZUL_O_K;
}

void NiIHSBufRelease() noexcept {
  std::lock_guard<std::mutex> lock(gLayerLock);
  delete gHost.exchange(nullptr);
  delete gServ.exchange(nullptr);
}

int NiIHSBufFlush() noexcept {
  NIHIMPL *host = gHost.load();
  NISIMPL *serv = gServ.load();
  if (host == nullptr || serv == nullptr) return NotInitialized("NiIHSBufFlush");
  host->flush();
  serv->flush();
  return ZUL_O_K;
}

int NiISetHostInvalid(const ZUL_UTF16 *pHostName, FILE **ppTrcFile) noexcept {
  NIHIMPL *host = gHost.load();
  if (host == nullptr) return NotInitialized("NiISetHostInvalid");
  if (pHostName == nullptr) return NIEHOST_UNKNOWN;
  return host->setHostInvalid(pHostName, ppTrcFile);
}

int NiISetHBufEntry(int kind, const ZUL_UTF16 *pHostName, const ZUL_UTF16 *pAddrStr, int type,
                    time_t timestamp) noexcept {
  NIHIMPL *host = gHost.load();
  if (host == nullptr) return NotInitialized("NiISetHBufEntry");
  if (kind != 2)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1, "%s: parameter invalid (kind != 2)",
                  "NiISetHBufEntry");
  return host->setHostEntry(pHostName, pAddrStr, type, timestamp);
}

int NiIGetHSBufTimeFunc(NI_HSBUF_TIME_FUNC *pFunc) noexcept {
  NIHIMPL *host = gHost.load();
  if (host == nullptr) return NotInitialized("NiIGetHSBufTimeFunc");
  *pFunc = host->getTimeFunc();
  return ZUL_O_K;
}

int NiISetHSBufTimeFunc(NI_HSBUF_TIME_FUNC func) noexcept {
  NIHIMPL *host = gHost.load();
  NISIMPL *serv = gServ.load();
  if (host == nullptr || serv == nullptr) return NotInitialized("NiISetHSBufTimeFunc");
  host->setTimeFunc(func);
  serv->setTimeFunc(func);
  return ZUL_O_K;
}

int NiIGetHSBufTraceLimit(int *pLimit) noexcept {
  NIHIMPL *host = gHost.load();
  if (host == nullptr) return NotInitialized("NiIGetHSBufTraceLimit");
  *pLimit = host->getTraceLimit();
  return ZUL_O_K;
}

int NiISetHSBufTraceLimit(int limit) noexcept {
  NIHIMPL *host = gHost.load();
  NISIMPL *serv = gServ.load();
  if (host == nullptr || serv == nullptr) return NotInitialized("NiISetHSBufTraceLimit");
  host->setTraceLimit(limit);
  serv->setTraceLimit(limit);
  return ZUL_O_K;
}

int NiIGetHSBufIndexSize(int *pSize) noexcept {
  NIHIMPL *host = gHost.load();
  if (host == nullptr) return NotInitialized("NiIGetHSBufIndexSize");
  *pSize = host->getIndexSize();
  return ZUL_O_K;
}

int NiISetHSBufIndexSize(int size) noexcept {
  constexpr int kMaxSize = 1 << 20;
  NIHIMPL *host = gHost.load();
  NISIMPL *serv = gServ.load();
  if (host == nullptr || serv == nullptr) return NotInitialized("NiISetHSBufIndexSize");
  if (size < 0 || size > kMaxSize)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1, "%s: parameter invalid (size < 0 || size > %d)",
                  "NiISetHSBufIndexSize", kMaxSize);
  int rc = host->setIndexSize(size);
  return rc == ZUL_O_K ? serv->setIndexSize(size) : rc;
}

int NiIGetHBufTimeout(int *pValue, int which) noexcept {
  NIHIMPL *host = gHost.load();
  if (host == nullptr) return NotInitialized("NiIGetHBufTimeout");
  if (pValue == nullptr || which <= 0 || which > 7)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pValue == NULL || which <= 0 || which > 7)",
                  "NiIGetHBufTimeout");
  *pValue = static_cast<int>(host->getTimeout(which));
  return ZUL_O_K;
}

int NiISetHBufTimeout(int value, int which) noexcept {
  NIHIMPL *host = gHost.load();
  if (host == nullptr) return NotInitialized("NiISetHBufTimeout");
  if (value < 0 || value > NIHSIMPL::MAX_EXPIRE_TIME || which <= 0 || which > 7)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (value > MAX_EXPIRE_TIME || which > 7)",
                  "NiISetHBufTimeout");
  host->setTimeout(value, which);
  return ZUL_O_K;
}

int NiIHSBufTrace() noexcept {
  for (int size = 24576; size <= (24576 << 10); size *= 2) {
    std::vector<ZUL_UTF16> buf(static_cast<size_t>(size));
    int len = size, done = 0;
    int rc = NiHBufPrintBuf(buf.data(), &len, &done);
    if (rc != ZUL_O_K) return rc;
    if (done == 0) continue;
    std::vector<char> text(static_cast<size_t>(len) * 3 + 1);
    NiIToUtf8(buf.data(), text.data(), text.size());
    for (char *line = text.data(); *line != '\0';) {
      char *end = std::strchr(line, '\n');
      if (end != nullptr) *end = '\0';
      DPTRC_A7(1, tf, "%s\n", line);
      if (end == nullptr) break;
      line = end + 1;
    }
    return ZUL_O_K;
  }
  return NIETOO_SMALL;
}

// ---- Look-ups ----

int NiIGetNodeAddr(const ZUL_UTF16 *pHostName, int protocol, NI_NODEADDR *pNodeAddr, int mode,
                   FILE **ppTrcFile) noexcept {
  const char *fn = "NiIGetNodeAddr";
  *pNodeAddr = NI_ADDR_ANY_INIT;
  int rc = CheckHost(fn, pHostName, protocol);
  if (rc != ZUL_O_K) return rc;
  NIHIMPL *host = Host();
  if (host == nullptr) return NotInitialized(fn);
  char addr8[NI_NODEADDR_STR_LEN];
  if (pHostName == nullptr) {
    NiGetLoopbackAddr(pNodeAddr);
    AddrText(*pNodeAddr, addr8, sizeof addr8);
    if (protocol == NI_PROTO_FAM_IPv4 && !IsMapped(*pNodeAddr)) {
      DPTRC_WARN_A7(tf, "%s: default loopback address is IPv6 (%s)\n", fn, addr8);
      *pNodeAddr = NI_ADDR_LOCAL_I4_INIT;
    } else if (protocol == NI_PROTO_FAM_IPv6 && IsMapped(*pNodeAddr)) {
      DPTRC_WARN_A7(tf, "%s: default loopback address is IPv4 (%s)\n", fn, addr8);
      *pNodeAddr = NI_ADDR_LOCAL_I6_INIT;
    }
    return ZUL_O_K;
  }
  char name8[NI_MAX_HOSTNAME_LEN * 3];
  NiIToUtf8(pHostName, name8, sizeof name8);
  if (LooksNumeric(pHostName)) {
    NI_NODEADDR a;
    if (NiStrToAddr(pHostName, &a) == ZUL_O_K) {
      // A literal needs no look-up, but it must fit the protocol.
      if (protocol == NI_PROTO_FAM_IPv4 && !IsMapped(a))
        return Refuse(kModHs, __LINE__, NIEINVAL, 1, "%s: invalid IPv4 address passed (%s)", fn,
                      name8);
      if (protocol == NI_PROTO_FAM_IPv6 && IsMapped(a))
        return Refuse(kModHs, __LINE__, NIEINVAL, 1, "%s: invalid IPv6 address passed (%s)", fn,
                      name8);
      if (!IsMapped(a) && NiIsIPv6Activated() == 0)
        return Refuse(kModHs, __LINE__, NIEINVAL, 1,
                      "%s: invalid address passed (%s) IPv6 not active", fn, name8);
      *pNodeAddr = a;
      return ZUL_O_K;
    }
    ErrClear();
  }
  rc = host->getNodeAddr(pHostName, pNodeAddr, mode, protocol, ppTrcFile);
  if (rc == ZUL_O_K && ((protocol == NI_PROTO_FAM_IPv4 && !IsMapped(*pNodeAddr)) ||
                        (protocol == NI_PROTO_FAM_IPv6 && IsMapped(*pNodeAddr)))) {
    *pNodeAddr = NI_ADDR_ANY_INIT;
    rc = NIEHOST_UNKNOWN;
  }
  if (rc == NIEHOST_UNKNOWN)
    return Refuse(kModHs, __LINE__, rc, 2, "%s: hostname '%s' unknown", fn, name8);
  if (rc == ZUL_O_K) {
    AddrText(*pNodeAddr, addr8, sizeof addr8);
    DPTRC_A7(2, tf, "%s: hostname '%s' = addr %s\n", fn, name8, addr8);
  }
  return rc;
}

int NiIGetNodeAddr(const ZUL_UTF16 *pHostName, NI_NODEADDR *pNodeAddr) noexcept {
  return NiIGetNodeAddr(pHostName, 0, pNodeAddr, NIHS_MODE_NORMAL, nullptr);
}

int NiIGetHostName(const NI_NODEADDR *pNodeAddr, ZUL_UTF16 *pHostName, int bufferLen, int fq,
                   int mode, FILE **ppTrcFile) noexcept {
  const char *fn = "NiIGetHostName";
  if (pHostName == nullptr || bufferLen <= 0)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pHostName == NULL || bufferLen <= 0)", fn);
  if (pNodeAddr == nullptr) return CopyName(NI_LOCALHOST_STR, pHostName, bufferLen, 1, fn);
  ZUL_UTF16 numeric[NI_NODEADDR_STR_LEN];
  if (NiAddrToStr(pNodeAddr, numeric, NI_NODEADDR_STR_LEN, 0) != ZUL_O_K) numeric[0] = 0;
  if (SameAddr(*pNodeAddr, NI_ADDR_ANY_I4_INIT) || SameAddr(*pNodeAddr, NI_ADDR_ANY_I6_INIT))
    return CopyName(numeric, pHostName, bufferLen, 1, fn);
  NIHIMPL *host = Host();
  if (host == nullptr) return NotInitialized(fn);
  int rc = host->getHostName(pNodeAddr, pHostName, bufferLen, fq, mode, ppTrcFile);
  if (rc != ZUL_O_K && rc != NIETOO_SMALL) {
    // Callers print what stands in the buffer, so the number goes there.
    CopyIfFits(numeric, pHostName, bufferLen);
  }
  return rc;
}

int NiIGetServNo(const ZUL_UTF16 *pServName, uint16_t *pServNo, int mode,
                 FILE **ppTrcFile) noexcept {
  const char *fn = "NiIGetServNo";
  if (pServName == nullptr || pServNo == nullptr)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pServName == NULL || pServNo == NULL)", fn);
  size_t len = strlenU16(pServName);
  if (len >= NI_MAX_SERVNAME_LEN)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (strlenU(pServName) >= NI_MAX_SERVNAME_LEN)", fn);
  bool digits = len > 0;
  long v = 0;
  for (const ZUL_UTF16 *c = pServName; *c != 0 && digits; ++c) {
    digits = *c >= u'0' && *c <= u'9';
    if (digits && v <= 65535) v = v * 10 + (*c - u'0');
  }
  if (digits && v <= 65535) {
    *pServNo = htons(static_cast<uint16_t>(v));  // the port itself: no look-up
    return ZUL_O_K;
  }
  NISIMPL *serv = Serv();
  if (serv == nullptr) return NotInitialized(fn);
  int rc = len == 0 ? NIESERV_UNKNOWN : serv->getServNo(pServName, pServNo, mode, ppTrcFile);
  if (rc == NIESERV_UNKNOWN) {
    char name8[NI_MAX_SERVNAME_LEN * 3];
    NiIToUtf8(pServName, name8, sizeof name8);
    return Refuse(kModHs, __LINE__, rc, 2, "%s: service '%s' unknown", fn, name8);
  }
  return rc;
}

int NiIGetServNo(const ZUL_UTF16 *pServName, uint16_t *pServNo) noexcept {
  return NiIGetServNo(pServName, pServNo, NIHS_MODE_NORMAL, nullptr);
}

int NiIGetServName(uint16_t servNo, ZUL_UTF16 *pServName, int bufferLen, int mode,
                   FILE **ppTrcFile) noexcept {
  const char *fn = "NiIGetServName";
  if (pServName == nullptr || bufferLen <= 0)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pServName == NULL || bufferLen <= 0)", fn);
  NISIMPL *serv = Serv();
  if (serv == nullptr) return NotInitialized(fn);
  int rc = serv->getServName(servNo, pServName, bufferLen, mode, ppTrcFile);
  if (rc != ZUL_O_K && rc != NIETOO_SMALL) {
    ZUL_UTF16 number[NI_SERVNO_STR_LEN];
    NiServToStr(ntohs(servNo), number, NI_SERVNO_STR_LEN);
    CopyIfFits(number, pServName, bufferLen);
  }
  return rc;
}

// ---- Public functions ----

int NiHSBufInit(int size, int hostValid, int hostUnknownName, int hostUnknownAddr, int servValid,
                int servUnknownName, int servUnknownPort) noexcept {
  int rc = NiIHSBufInit(size, hostValid, hostUnknownName, hostUnknownAddr, servValid,
                        servUnknownName, servUnknownPort);
  if (rc != ZUL_O_K) DPTRC_A7(1, tf, "%s: HS Buffer init failed (rc=%d)\n", "NiHSBufInit", rc);
  return rc;
}

// The two time-outs go through the parameter table, which holds its lock while it sets them.
static int SetHostBufParam(int no, uint32_t seconds) noexcept {
  NI_PARAM_DATA d{};
  d.param = static_cast<uint8_t>(no);
  d.datatype = NI_DT_UINT;
  d.value.uint_val = seconds;
  return NiSetParamEx(&d);
}

int NiSetHostBufTimeout(uint32_t seconds) noexcept {
  return SetHostBufParam(NIP_HOSTBUF_TIMEOUT, seconds);
}

int NiSetHostBufTimeoutInvalid(uint32_t seconds) noexcept {
  return SetHostBufParam(NIP_HOSTBUF_TIMEOUT_INVALID, seconds);
}

int NiGetHostBufTimeout() noexcept {
  int v = 0;
  int rc = Started();
  if (rc == ZUL_O_K) rc = NiIGetHBufTimeout(&v, 1);
  return rc == ZUL_O_K ? v : rc;
}

int NiGetHostBufTimeoutInvalid() noexcept {
  int v = 0;
  int rc = Started();
  if (rc == ZUL_O_K) rc = NiIGetHBufTimeout(&v, 2);
  return rc == ZUL_O_K ? v : rc;
}

int NiHostToAddr(const ZUL_UTF16 *pHostName, NI_NODEADDR *pNodeAddr) noexcept {
  const char *fn = "NiHostToAddr";
  if (pNodeAddr == nullptr)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pNodeAddr == NULL)", fn);
  int rc = Started();
  if (rc == ZUL_O_K) rc = CheckHost(fn, pHostName, 0);
  return rc == ZUL_O_K ? NiIGetNodeAddr(pHostName, 0, pNodeAddr, NIHS_MODE_NORMAL, nullptr) : rc;
}

int NiHostToAddr2(const ZUL_UTF16 *pHostName, int protocol, NI_NODEADDR *pNodeAddr) noexcept {
  const char *fn = "NiHostToAddr2";
  if (pNodeAddr == nullptr)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pNodeAddr == NULL)", fn);
  if (protocol != NI_PROTO_FAM_IPv4 && protocol != NI_PROTO_FAM_IPv6)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (protocol != NI_PROTO_FAM_IPv4 && protocol != "
                  "NI_PROTO_FAM_IPv6)",
                  fn);
  int rc = Started();
  if (rc == ZUL_O_K) rc = CheckHost(fn, pHostName, protocol);
  return rc == ZUL_O_K ? NiIGetNodeAddr(pHostName, protocol, pNodeAddr, NIHS_MODE_NORMAL, nullptr)
                       : rc;
}

int NiHostToAddr3(const ZUL_UTF16 *pHostName, int protocol, NI_NODEADDR **ppList,
                  int *pCount) noexcept {
  const char *fn = "NiHostToAddr3";
  if (ppList == nullptr || pCount == nullptr)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (ppList == NULL || pCount == NULL)", fn);
  *ppList = nullptr;
  *pCount = 0;
  int rc = Started();
  if (rc == ZUL_O_K) rc = CheckHost(fn, pHostName, protocol);
  if (rc != ZUL_O_K) return rc;
  constexpr int kMax = 256;
  std::vector<NI_NODEADDR> addrs(kMax);
  int count = kMax;
  NI_NODEADDR one;
  bool literal = pHostName == nullptr;
  if (!literal && LooksNumeric(pHostName)) {
    literal = NiStrToAddr(pHostName, &one) == ZUL_O_K;
    ErrClear();
  }
  if (literal) {
    // The loopback and literals go the cached way, which asks no one for them.
    rc = NiIGetNodeAddr(pHostName, protocol, &addrs[0], NIHS_MODE_NORMAL, nullptr);
    count = 1;
  } else {
    char name8[NI_MAX_HOSTNAME_LEN * 3];
    NiIToUtf8(pHostName, name8, sizeof name8);
    rc = NiPGetHostByName(name8, protocol == NI_PROTO_FAM_IPv4 ? 1 : 0, 0, addrs.data(), &count);
    if (rc == NIETOO_SMALL) rc = ZUL_O_K;
    count = std::min(count, kMax);
    int kept = 0;
    for (int i = 0; i < count; ++i)
      if (protocol != NI_PROTO_FAM_IPv6 || !IsMapped(addrs[i])) addrs[kept++] = addrs[i];
    count = kept;
    if (rc == ZUL_O_K && count == 0) rc = NIEHOST_UNKNOWN;
    if (rc != ZUL_O_K)
      return Refuse(kModHs, __LINE__, NIEHOST_UNKNOWN, 2, "%s: hostname '%s' unknown", fn, name8);
  }
  if (rc != ZUL_O_K) return rc;
  *ppList = static_cast<NI_NODEADDR *>(std::malloc(sizeof(NI_NODEADDR) * count));
  if (*ppList == nullptr)
    return Refuse(kModHs, __LINE__, NIEINTERN, 1, "%s: malloc failed for %d addresses", fn, count);
  std::memcpy(*ppList, addrs.data(), sizeof(NI_NODEADDR) * count);
  *pCount = count;
  return ZUL_O_K;
}

const ZUL_UTF16 *NiAddrToHost(const NI_NODEADDR *pNodeAddr) noexcept {
  ThrGlob *g = IGetThrGlob("NiAddrToHost");
  if (g == nullptr) return u"" NI_NO_TEXT_STR;
  g->mHostName[0] = 0;
  NiIGetHostName(pNodeAddr, g->mHostName, NI_MAX_HOSTNAME_LEN, 0, NIHS_MODE_NORMAL, nullptr);
  return g->mHostName[0] != 0 ? g->mHostName : u"" NI_NO_TEXT_STR;
}

int NiAddrToHost2(const NI_NODEADDR *pNodeAddr, ZUL_UTF16 *pBuffer, int len) noexcept {
  int rc = Started();
  return rc == ZUL_O_K ? NiIGetHostName(pNodeAddr, pBuffer, len, 0, NIHS_MODE_NORMAL, nullptr) : rc;
}

int NiAddrToHostCanon2(const NI_NODEADDR *pNodeAddr, ZUL_UTF16 *pBuffer, int len) noexcept {
  int rc = Started();
  return rc == ZUL_O_K ? NiIGetHostName(pNodeAddr, pBuffer, len, 1, NIHS_MODE_NORMAL, nullptr) : rc;
}

int NiServToNo(const ZUL_UTF16 *pServName, uint16_t *pServNo) noexcept {
  int rc = Started();
  uint16_t port = 0;
  if (rc == ZUL_O_K) rc = NiIGetServNo(pServName, &port, NIHS_MODE_NORMAL, nullptr);
  if (rc == ZUL_O_K) *pServNo = ntohs(port);
  return rc;
}

int NiNoToServ2(uint16_t servNo, ZUL_UTF16 *pBuffer, int len) noexcept {
  int rc = Started();
  return rc == ZUL_O_K ? NiIGetServName(htons(servNo), pBuffer, len, NIHS_MODE_NORMAL, nullptr)
                       : rc;
}

int NiMyHostName(ZUL_UTF16 *pBuffer, int len) noexcept {
  if (pBuffer == nullptr)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pBuffer == NULL)",
                  "NiMyHostName");
  int rc = Started();
  return rc == ZUL_O_K ? NiIGetLocalName(pBuffer, len) : rc;
}

int NiGetOwnFQDN(ZUL_UTF16 *pBuffer, int len, ZUL_UTF16 **ppDomain) noexcept {
  const char *fn = "NiGetOwnFQDN";
  if (ppDomain != nullptr) *ppDomain = nullptr;
  ZUL_UTF16 own[NI_MAX_HOSTNAME_LEN];
  int rc = NiMyHostName(own, NI_MAX_HOSTNAME_LEN);
  if (rc != ZUL_O_K) return rc;
  char own8[NI_MAX_HOSTNAME_LEN * 3], canon[NIHIMPL::BUF_SIZE] = "";
  NiIToUtf8(own, own8, sizeof own8);
  NI_NODEADDR addrs[4];
  int count = 4;
  // Without a canonical name the own name stands.
  NiPGetHostByName(own8, 0, 0, addrs, &count, canon, sizeof canon);
  ZUL_UTF16 full[NIHIMPL::BUF_SIZE];
  NiIFromUtf8(std::strchr(canon, '.') != nullptr ? canon : own8, full, NIHIMPL::BUF_SIZE);
  rc = CopyName(full, pBuffer, len, 1, fn);
  if (rc != ZUL_O_K) return rc;
  ZUL_UTF16 *dot = pBuffer;
  while (*dot != 0 && *dot != u'.') ++dot;
  if (*dot == 0) {
    char full8[NIHIMPL::BUF_SIZE * 3];
    NiIToUtf8(full, full8, sizeof full8);
    DPTRC_A7(2, tf, "%s: own FQDN = '%s'; domain part missing\n", fn, full8);
  } else if (ppDomain != nullptr) {
    *ppDomain = dot + 1;
  }
  return ZUL_O_K;
}

int NiLocalCheck(const NI_NODEADDR *pNodeAddr) noexcept {
  return pNodeAddr != nullptr && Started() == ZUL_O_K ? NiILocalCheck(pNodeAddr, nullptr) : 0;
}

int NiGetNodeAddrList(NI_NODEADDR *pAddrs, int max, int *pCount) noexcept {
  if (pAddrs == nullptr || pCount == nullptr || max < 0)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pAddrs == NULL || pCount == NULL || max < 0)",
                  "NiGetNodeAddrList");
  int rc = Started();
  return rc == ZUL_O_K ? NiPGetNodeAddrList(pAddrs, nullptr, max, 0, pCount) : rc;
}

int NiGetMacAddrList(uint8_t *pMacs, int max, int *pCount) noexcept {
  if (pMacs == nullptr || pCount == nullptr || max < 0)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pMacs == NULL || pCount == NULL || max < 0)",
                  "NiGetMacAddrList");
  return NiPGetMacAddrList(pMacs, max, pCount);
}

int NiHBufPrintBuf(ZUL_UTF16 *pBuffer, int *pBufferLen, int *pDone) noexcept {
  if (pBuffer == nullptr || pBufferLen == nullptr || pDone == nullptr || *pBufferLen <= 0)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pBuffer == NULL || pBufferLen == NULL || pDone == NULL "
                  "|| *pBufferLen <= 0)",
                  "NiHBufPrintBuf");
  *pDone = 0;
  NIHIMPL *host = Host();
  NISIMPL *serv = Serv();
  if (host == nullptr || serv == nullptr) return NotInitialized("NiHBufPrintBuf");
  int cap = *pBufferLen, used = 0;
  pBuffer[0] = 0;
  host->lockLineDump();
  bool ok = Put(pBuffer, cap, &used, host->isIPv6() != 0 ? kHead6 : kHead4) &&
            PutLines(host, pBuffer, cap, &used, NIHS_FMT_PRINT);
  host->unlockLineDump();
  if (ok) {
    serv->lockLineDump();
    ok = Put(pBuffer, cap, &used, kServHead) && PutLines(serv, pBuffer, cap, &used, NIHS_FMT_PRINT);
    serv->unlockLineDump();
  }
  *pBufferLen = used;
  *pDone = ok ? 1 : 0;
  return ZUL_O_K;
}

int NiHSBufGetAll(ZUL_UTF16 **ppData, int *pDataLen) noexcept {
  if (ppData == nullptr || pDataLen == nullptr)
    return Refuse(kModHs, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (ppData == NULL || pDataLen == NULL)", "NiHSBufGetAll");
  *ppData = nullptr;
  *pDataLen = 0;
  NIHIMPL *host = Host();
  NISIMPL *serv = Serv();
  if (host == nullptr || serv == nullptr) return NotInitialized("NiHSBufGetAll");
  host->lockLineDump();
  int cap = host->indexSizeLocked() * 187 + 238;
  auto *buf = static_cast<ZUL_UTF16 *>(std::malloc(sizeof(ZUL_UTF16) * static_cast<size_t>(cap)));
  int used = 0;
  bool ok = buf != nullptr;
  if (ok) {
    buf[0] = 0;
    ok = PutLines(host, buf, cap, &used, NIHS_FMT_MACHINE);
  }
  host->unlockLineDump();
  if (ok) {
    serv->lockLineDump();
    ok = PutLines(serv, buf, cap, &used, NIHS_FMT_MACHINE);
    serv->unlockLineDump();
  }
  if (!ok) {
    int rc = buf == nullptr ? NIEINTERN : NIETOO_SMALL;
    std::free(buf);
    return Refuse(kModHs, __LINE__, rc, 1, "%s: dump larger than %d units", "NiHSBufGetAll", cap);
  }
  *ppData = buf;
  *pDataLen = used;
  return ZUL_O_K;
}
