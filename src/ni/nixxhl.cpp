// The IPv4 host cache. Entries fill the array from the front; the position of the next new entry
// grows until it reaches the size, and then the whole cache empties at once.
#define DPTRC_MODULE u"nixxhl"

#include <cstring>
#include <new>
#include <type_traits>

#include "ni/nixxhs.h"
#include "ni/nixxi.h"
#include "zul_dptrace.h"
#include "zul_u16string.h"

using namespace ni;

NIHIMPL_LINEAR::NIHIMPL_LINEAR() noexcept
    : NIHIMPL(u"NI host section I4", "NIHIMPL_LINEAR::init", 0) {}

NIHIMPL_LINEAR::~NIHIMPL_LINEAR() = default;

int NIHIMPL_LINEAR::newSlot() noexcept {
  if (mEnd >= mIndexSize) return -1;
  mBuf[mEnd] = HOSTBUF{};
  return mEnd++;
}

void NIHIMPL_LINEAR::store(int slot, uint32_t gen, const HOSTBUF &e, bool byName) noexcept {
  if (mIndexSize == 0) return;
  // The mutex was dropped for the system call: the remembered slot counts only while it still
  // holds the same key.
  if (slot >= 0 && gen == mGen && slot < mEnd &&
      (byName ? strcmpU16(mBuf[slot].name, e.name) == 0 : SameAddr(mBuf[slot].addr, e.addr))) {
    mBuf[slot] = e;
    return;
  }
  if (mEnd >= mIndexSize) clearAll();
  mBuf[mEnd++] = e;
  if (mEnd >= mIndexSize) {
    clearAll();
    DPTRC_A7(2, tf, "%s: hostbuf overflow\n", "NIHIMPL_LINEAR::store");
  }
}

template <typename Key>
int NIHIMPL_LINEAR::lookup(Key key, int mode, const char *fn, const char *text,
                           const HOSTBUF **pHit, int *pSlot, uint32_t *pGen) noexcept {
  constexpr bool byName = std::is_same_v<Key, const ZUL_UTF16 *>;
  time_t unknownTimeout = byName ? unknownNameTimeout : unknownAddrTimeout;
  time_t now = time(nullptr);
  // The batch fills from the front, so the first free entry ends the used ones.
  for (int i = 0; i < mEnd && mBuf[i].type != NIHS_FREE; ++i) {
    const HOSTBUF &e = mBuf[i];
    if (!IsFor(e, key)) continue;
    bool valid = (e.type & ValidBit(key)) != 0;
    if (now - e.time < (valid ? validTimeout : unknownTimeout)) {
      *pHit = &e;
      return valid ? ZUL_O_K : NIEHOST_UNKNOWN;
    }
    *pSlot = i;
    DPTRC_A7(2, tf, "%s: retrying to get %s for '%s'\n", fn, byName ? "address" : "hostname", text);
    break;
  }
  if (mode == NIHS_MODE_BUFONLY) {
    DPTRC_A7(2, tf, "%s: %s not cached\n", fn, byName ? "hostname" : "address");
    return NIEHOST_UNKNOWN;
  }
  *pGen = mGen;
  return NIHS_NOT_CACHED;
}

int NIHIMPL_LINEAR::getNodeAddr(const ZUL_UTF16 *pHostName, NI_NODEADDR *pNodeAddr, int mode, int,
                                FILE **ppTrcFile) noexcept {
  const char *fn = "NIHIMPL_LINEAR::getNodeAddr";
  size_t len = strlenU16(pHostName);
  if (len == 0) return NIEHOST_UNKNOWN;
  char name8[BUF_SIZE];
  if (!NiIToUtf8(pHostName, name8, sizeof name8)) return NIEHOST_UNKNOWN;
  bool cached = mode != NIHS_MODE_NOBUF;
  if (cached && len >= static_cast<size_t>(NAME_LEN)) {
    DPTRC_A7(2, tf, "%s: hostname '%s' too long for buffer (%d>=%d)\n", fn, name8,
             static_cast<int>(len), NAME_LEN);
    if (mode == NIHS_MODE_BUFONLY) return NIEHOST_UNKNOWN;
    cached = false;
  }
  int slot = -1, limit;
  uint32_t gen = 0;
  {
    Guard g(mMtx);
    limit = mTraceLimit;
    cached = cached && mIndexSize > 0 && validTimeout != 0;
    if (cached) {
      const HOSTBUF *hit = nullptr;
      int rc = lookup(pHostName, mode, fn, name8, &hit, &slot, &gen);
      if (rc == ZUL_O_K) *pNodeAddr = hit->addr;
      if (rc != NIHS_NOT_CACHED) return rc;
    }
  }
  NI_NODEADDR addrs[48];
  int count = 48;
  char canon[BUF_SIZE] = "";
  int64_t start = limit > 0 ? iClock() : 0;
  int rc = NiPGetHostByName(name8, 1, 0, addrs, &count, canon, sizeof canon, ppTrcFile);
  if (rc == NIETOO_SMALL) {
    DPTRC_A7(2, tf, "%s: more than %d interfaces found (%d)\n", fn, 48, count);
    rc = ZUL_O_K;
  }
  if (limit > 0) traceSlow(fn, name8, "address", rc == ZUL_O_K, start, limit);
  if (rc != ZUL_O_K && rc != NIEHOST_UNKNOWN) {
    DPTRC_ERR_A7(tf, "%s: NiPGetHostByName failed (rc=%d)\n", fn, rc);
    rc = NIEHOST_UNKNOWN;
  }
  if (cached) {
    HOSTBUF e{};
    // A name that is its own canonical name serves the reverse look-up too.
    int type = NIHS_VALID_NAME | (std::strcmp(canon, name8) == 0 ? NIHS_VALID_ADDR : 0);
    e.type = static_cast<uint8_t>(rc != ZUL_O_K ? static_cast<int>(NIHS_UNKNOWN_NAME) : type);
    strcpyU16(e.name, pHostName);
    if (rc == ZUL_O_K) e.addr = addrs[0];
    e.time = time(nullptr);
    Guard g(mMtx);
    store(slot, gen, e, true);
  }
  if (rc == ZUL_O_K) *pNodeAddr = addrs[0];
  return rc;
}

int NIHIMPL_LINEAR::getHostName(const NI_NODEADDR *pNodeAddr, ZUL_UTF16 *pHostName, int bufferLen,
                                int fq, int mode, FILE **ppTrcFile) noexcept {
  const char *fn = "NIHIMPL_LINEAR::getHostName";
  if (!IsMapped(*pNodeAddr))
    return Refuse(kModHs, __LINE__, NIEINVAL, 1, "%s: implementation doesn't support IPv6", fn);
  char addr8[NI_NODEADDR_STR_LEN];
  AddrText(*pNodeAddr, addr8, sizeof addr8);
  bool cached = mode != NIHS_MODE_NOBUF;
  int slot = -1, limit;
  uint32_t gen = 0;
  {
    Guard g(mMtx);
    limit = mTraceLimit;
    cached = cached && mIndexSize > 0 && validTimeout != 0;
    if (cached) {
      const HOSTBUF *hit = nullptr;
      int rc = lookup(pNodeAddr, mode, fn, addr8, &hit, &slot, &gen);
      if (rc == ZUL_O_K) return CopyName(hit->name, pHostName, bufferLen, fq, fn);
      if (rc != NIHS_NOT_CACHED) return rc;
    }
  }
  char name8[BUF_SIZE];
  int64_t start = limit > 0 ? iClock() : 0;
  int rc = NiPGetHostByAddr(pNodeAddr, 0, name8, sizeof name8, ppTrcFile);
  if (limit > 0) traceSlow(fn, addr8, "hostname", rc == ZUL_O_K, start, limit);
  if (rc != ZUL_O_K && rc != NIEHOST_UNKNOWN) {
    DPTRC_ERR_A7(tf, "%s: NiPGetHostByAddr failed (rc=%d)\n", fn, rc);
    rc = NIEHOST_UNKNOWN;
  }
  ZUL_UTF16 name[BUF_SIZE] = {};
  if (rc == ZUL_O_K) NiIFromUtf8(name8, name, BUF_SIZE);
  size_t len = strlenU16(name);
  if (cached && len < static_cast<size_t>(NAME_LEN)) {
    HOSTBUF e{};
    e.type = static_cast<uint8_t>(rc == ZUL_O_K ? NIHS_VALID_ADDR | NIHS_VALID_NAME
                                                : static_cast<int>(NIHS_UNKNOWN_ADDR));
    strcpyU16(e.name, name);
    e.addr = *pNodeAddr;
    e.time = time(nullptr);
    Guard g(mMtx);
    store(slot, gen, e, false);
  }
  return rc == ZUL_O_K ? CopyName(name, pHostName, bufferLen, fq, fn) : rc;
}

int NIHIMPL_LINEAR::setHostInvalid(const ZUL_UTF16 *pHostName, FILE **) noexcept {
  if (strlenU16(pHostName) >= static_cast<size_t>(NAME_LEN)) return NIEHOST_UNKNOWN;
  Guard g(mMtx);
  for (int i = 0; i < mEnd; ++i) {
    if (!IsFor(mBuf[i], pHostName)) continue;
    // The last used entry fills the hole, so the used entries stay together at the front.
    mBuf[i] = mBuf[mEnd - 1];
    mBuf[--mEnd].type = NIHS_FREE;
    ++mGen;
    return ZUL_O_K;
  }
  return NIEHOST_UNKNOWN;
}
