// The service cache. Like the IPv4 host cache it fills from the front and empties whole when the
// position reaches the size; each entry carries the time it ends, and the mutex stays held
// around the system call.
#define DPTRC_MODULE u"nixxsl"

#include <arpa/inet.h>

#include <cstring>
#include <new>
#include <type_traits>

#include "ni/nixxhs.h"
#include "ni/nixxi.h"
#include "zul_dptrace.h"
#include "zul_u16string.h"

using namespace ni;

NISIMPL_LINEAR::NISIMPL_LINEAR() noexcept : NISIMPL(u"NI serv section", "NISIMPL_LINEAR::init") {}

NISIMPL_LINEAR::~NISIMPL_LINEAR() = default;

int NISIMPL_LINEAR::allocate(int size) noexcept {
  if (int rc = newEntries(&mBuf, size); rc != ZUL_O_K) return rc;
  mPos = 0;
  return ZUL_O_K;
}

void NISIMPL_LINEAR::clearAll() noexcept {
  for (int i = 0; i < mIndexSize; ++i) mBuf[i].type = 0;
  mPos = 0;
}

void NISIMPL_LINEAR::flush() noexcept {
  Guard g(mMtx);
  clearAll();
  mLastFlush = time(nullptr);
}

void NISIMPL_LINEAR::store(int slot, const SERVBUF &e) noexcept {
  if (slot >= 0) {
    mBuf[slot] = e;
    return;
  }
  if (mIndexSize == 0) return;
  mBuf[mPos++] = e;
  if (mPos >= mIndexSize) {
    clearAll();
    DPTRC_A7(2, tf, "%s: servbuf overflow\n", "NISIMPL_LINEAR::store");
  }
}

bool NISIMPL_LINEAR::IsFor(const SERVBUF &e, const ZUL_UTF16 *pName) noexcept {
  return e.type != NISB_UNKNOWN_PORT && strcmpU16(e.name, pName) == 0;
}

bool NISIMPL_LINEAR::IsFor(const SERVBUF &e, uint16_t port) noexcept {
  return e.type != NISB_UNKNOWN_NAME && e.port == port;
}

template <typename Key>
int NISIMPL_LINEAR::lookup(Key key, const char *name8, int mode, const char *fn,
                           const SERVBUF **pHit, int *pSlot) noexcept {
  constexpr bool byName = !std::is_same_v<Key, uint16_t>;
  time_t now = time(nullptr);
  for (int i = 0; i < mPos && mBuf[i].type != 0; ++i) {
    const SERVBUF &e = mBuf[i];
    if (!IsFor(e, key)) continue;
    if (now < e.expiry) {
      *pHit = &e;
      if (e.type == NISB_VALID) return ZUL_O_K;
      if constexpr (byName) DPTRC_A7(2, tf, "%s: service name cached as unknown\n", fn);
      return NIESERV_UNKNOWN;
    }
    *pSlot = i;
    if constexpr (byName) {
      DPTRC_A7(2, tf, "%s: retrying to get port number for '%s'\n", fn, name8);
    } else {
      DPTRC_A7(2, tf, "%s: retrying to get service name for '%d'\n", fn, ntohs(key));
    }
    break;
  }
  if (mode != NIHS_MODE_BUFONLY) return NIHS_NOT_CACHED;
  DPTRC_A7(2, tf, "%s: service %s not cached\n", fn, byName ? "name" : "number");
  return NIESERV_UNKNOWN;
}

int NISIMPL_LINEAR::getServNo(const ZUL_UTF16 *pServName, uint16_t *pServNo, int mode,
                              FILE **ppTrcFile) noexcept {
  const char *fn = "NISIMPL_LINEAR::getServNo";
  size_t len = strlenU16(pServName);
  char name8[NI_MAX_SERVNAME_LEN * 3];
  if (len == 0 || !NiIToUtf8(pServName, name8, sizeof name8)) return NIESERV_UNKNOWN;
  bool cached = mode != NIHS_MODE_NOBUF;
  if (cached && len >= static_cast<size_t>(NAME_LEN)) {
    DPTRC_A7(2, tf, "%s: service name '%s' too long for buffer (%d>=%d)\n", fn, name8,
             static_cast<int>(len), NAME_LEN);
    if (mode == NIHS_MODE_BUFONLY) return NIESERV_UNKNOWN;
    cached = false;
  }
  Guard g(mMtx);
  cached = cached && mIndexSize > 0;
  int slot = -1;
  if (cached) {
    const SERVBUF *hit = nullptr;
    int rc = lookup(pServName, name8, mode, fn, &hit, &slot);
    if (rc == ZUL_O_K) *pServNo = hit->port;
    if (rc != NIHS_NOT_CACHED) return rc;
  }
  uint16_t port = 0;
  int rc = NiPGetServByName(name8, &port, ppTrcFile);
  if (cached) {
    SERVBUF e{};
    e.type = rc == ZUL_O_K ? NISB_VALID : NISB_UNKNOWN_NAME;
    strcpyU16(e.name, pServName);
    e.port = port;
    e.expiry = time(nullptr) + (rc == ZUL_O_K ? validTimeout : unknownNameTimeout);
    store(slot, e);
  }
  if (rc == ZUL_O_K) *pServNo = port;
  return rc;
}

int NISIMPL_LINEAR::getServName(uint16_t servNo, ZUL_UTF16 *pServName, int bufferLen, int mode,
                                FILE **ppTrcFile) noexcept {
  const char *fn = "NISIMPL_LINEAR::getServName";
  Guard g(mMtx);
  bool cached = mode != NIHS_MODE_NOBUF && mIndexSize > 0;
  int slot = -1;
  if (cached) {
    const SERVBUF *hit = nullptr;
    int rc = lookup(servNo, nullptr, mode, fn, &hit, &slot);
    if (rc == ZUL_O_K) return CopyName(hit->name, pServName, bufferLen, 1, fn);
    if (rc != NIHS_NOT_CACHED) return rc;
  }
  char name8[BUF_SIZE] = "";
  int rc = NiPGetServByPort(servNo, name8, sizeof name8, ppTrcFile);
  ZUL_UTF16 name[BUF_SIZE] = {};
  if (rc == ZUL_O_K) NiIFromUtf8(name8, name, BUF_SIZE);
  if (cached && strlenU16(name) < static_cast<size_t>(NAME_LEN)) {
    SERVBUF e{};
    e.type = rc == ZUL_O_K ? NISB_VALID : NISB_UNKNOWN_PORT;
    strcpyU16(e.name, name);
    e.port = servNo;
    e.expiry = time(nullptr) + (rc == ZUL_O_K ? validTimeout : unknownAddrTimeout);
    store(slot, e);
  }
  return rc == ZUL_O_K ? CopyName(name, pServName, bufferLen, 1, fn) : rc;
}

void NISIMPL_LINEAR::traceServ(const void *pServEnt, int level) noexcept {
  const auto *e = static_cast<const SERVBUF *>(pServEnt);
  char name8[NAME_LEN * 3];
  NiIToUtf8(e->name, name8, sizeof name8);
  DPTRC_A7(level, tf, "%s: %s '%s' port %d ends %ld\n", "NISIMPL_LINEAR::traceServ",
           e->type == NISB_VALID ? "VALID" : "UNKNOWN", name8, ntohs(e->port),
           static_cast<long>(e->expiry));
}

int NISIMPL_LINEAR::dumpBufLine(ZUL_UTF16 *pBuffer, int bufferLen, int *pDone,
                                int format) noexcept {
  if (mDumpPos >= mPos || mBuf[mDumpPos].type == 0) {
    *pDone = 1;
    return 0;
  }
  const SERVBUF &e = mBuf[mDumpPos];
  char port[16], name[NAME_LEN * 3];
  std::snprintf(port, sizeof port, "%u", static_cast<unsigned>(ntohs(e.port)));
  if (e.type == NISB_UNKNOWN_NAME) std::snprintf(port, sizeof port, "%s", UNKNOWN_STR);
  if (e.type == NISB_UNKNOWN_PORT)
    std::snprintf(name, sizeof name, "%s", UNKNOWN_STR);
  else
    NiIToUtf8(e.name, name, sizeof name);
  const char *status = e.type == NISB_VALID ? "VALID" : "UNKNOWN";
  char line[160];
  if (format == NIHS_FMT_MACHINE)
    std::snprintf(line, sizeof line, "%d%c%s%c%s%c%s%c", mDumpPos, SEPERATOR_CHAR, status,
                  SEPERATOR_CHAR, port, SEPERATOR_CHAR, name, END_OF_LINE_CHAR);
  else
    std::snprintf(line, sizeof line, "%-4d%-7s %-11s %s%c", mDumpPos, status, port, name,
                  END_OF_LINE_CHAR);
  ZUL_UTF16 wide[160];
  NiIFromUtf8(line, wide, 160);
  int n = static_cast<int>(strlenU16(wide));
  if (n >= bufferLen) return NIETOO_SMALL;
  std::memcpy(pBuffer, wide, (static_cast<size_t>(n) + 1) * sizeof(ZUL_UTF16));
  ++mDumpPos;
  return n;
}
