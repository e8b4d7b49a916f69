// The IPv4/IPv6 host cache. Expired entries are cleared as look-ups meet them and compacted before
// each new entry; a full cache gives up its oldest entry. Among several addresses of a name the
// rules of NI_ADDR_POLICY choose, else the system's order does.
#define DPTRC_MODULE u"nixxhl6"

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "ni/nixxhs.h"
#include "ni/nixxi.h"
#include "zul_dptrace.h"
#include "zul_u16string.h"

using namespace ni;

namespace {

bool Fits(const NI_NODEADDR &a, int protocol) {
  return protocol == NI_PROTO_FAM_IPv4   ? IsMapped(a)
         : protocol == NI_PROTO_FAM_IPv6 ? !IsMapped(a)
                                         : true;
}

const char *ProtoName(int protocol) {
  return protocol == NI_PROTO_FAM_IPv4   ? "IPv4"
         : protocol == NI_PROTO_FAM_IPv6 ? "IPv6"
                                         : "unspec.";
}

// A decimal number of digits only, at most max; -1 otherwise.
long Decimal(const char *s, long max) {
  if (*s == '\0') return -1;
  long v = 0;
  for (; *s != '\0'; ++s) {
    if (*s < '0' || *s > '9') return -1;
    v = v * 10 + (*s - '0');
    if (v > max) return -1;
  }
  return v;
}

// One rule, "address/prefix,precedence"; false for a bad one, which is skipped.
bool ParseRule(char *rule, PREFPOL *row) {
  const char *fn = "NIHIMPL_LINEAR6::initPolicy";
  char *comma = std::strchr(rule, ',');
  char *slash = std::strchr(rule, '/');
  if (comma == nullptr || slash == nullptr || slash > comma) {
    DPTRC_A7(2, tf, "%s: policy rule '%s' invalid\n", fn, rule);
    return false;
  }
  *comma = '\0';
  long prefix = Decimal(slash + 1, 128);
  long precedence = Decimal(comma + 1, 1000);
  if (prefix < 0 || precedence < 0) {
    DPTRC_A7(2, tf, "%s: policy rule '%s' invalid (prefix 0..128, precedence 0..1000)\n", fn, rule);
    return false;
  }
  ZUL_UTF16 addr16[NI_POLICY_RULE_LEN + 1];
  NiIFromUtf8(rule, addr16, NI_POLICY_RULE_LEN + 1);
  if (NiStrToAddrMask(addr16, &row->addr, &row->mask, nullptr) != ZUL_O_K) return false;
  // An IPv4 rule's mask covers the 96 bits of the mapped prefix too.
  int len = 0;
  while (len < 128 && (row->mask.addr[len / 8] & (0x80 >> (len % 8))) != 0) ++len;
  for (int k = 0; k < 16; ++k) row->addr.addr[k] &= row->mask.addr[k];
  row->prefixLen = len;
  row->precedence = static_cast<int32_t>(precedence);
  return true;
}

}  // namespace

int NiIParseAddrPolicy(const char *pText, PREFPOL *pRows, int maxRows) noexcept {
  const char *fn = "NIHIMPL_LINEAR6::initPolicy";
  if (pText == nullptr) return 0;
  size_t total = std::strlen(pText);
  if (total >= static_cast<size_t>(NI_ADDR_POLICY_LEN)) {
    DPTRC_A7(1, tf, "%s: NI_ADDR_POLICY '%s' to large (%d>=%d)\n", fn, pText,
             static_cast<int>(total), NI_ADDR_POLICY_LEN);
    return 0;
  }
  int rows = 0;
  for (const char *p = pText; *p != '\0';) {
    const char *end = std::strchr(p, ';');
    if (end == nullptr) end = p + std::strlen(p);
    std::string rule(p, end);
    p = *end != '\0' ? end + 1 : end;
    if (rule.size() > static_cast<size_t>(NI_POLICY_RULE_LEN)) {
      DPTRC_A7(1, tf, "%s: policy rule '%s' too long for buffer (%d>%d)\n", fn, rule.c_str(),
               static_cast<int>(rule.size()), NI_POLICY_RULE_LEN);
      continue;
    }
    PREFPOL row;
    if (rule.empty() || !ParseRule(rule.data(), &row)) continue;
    if (rows >= maxRows) {
      DPTRC_A7(1, tf, "%s: NI_ADDR_POLICY table overflow (%d>=%d)\n", fn, rows, maxRows);
      break;
    }
    // In front of the first shorter prefix, behind the equal ones.
    int at = 0;
    while (at < rows && pRows[at].prefixLen >= row.prefixLen) ++at;
    for (int k = rows; k > at; --k) pRows[k] = pRows[k - 1];
    pRows[at] = row;
    ++rows;
  }
  return rows;
}

int NiIApplyAddrPolicy(const NI_NODEADDR *pAddrs, int count, int protocol, const PREFPOL *pRows,
                       int rows) noexcept {
  int best = -1, bestPrecedence = -1;
  for (int i = 0; i < count; ++i) {
    if (!Fits(pAddrs[i], protocol)) continue;
    for (int r = 0; r < rows; ++r) {
      if (NiAddrMatch(&pAddrs[i], &pRows[r].addr, &pRows[r].mask) == 0) continue;
      if (pRows[r].precedence > bestPrecedence) {
        best = i;
        bestPrecedence = pRows[r].precedence;
        break;
      }
    }
  }
  return best;
}

NIHIMPL_LINEAR6::NIHIMPL_LINEAR6() noexcept
    : NIHIMPL(u"NI host section I6", "NIHIMPL_LINEAR6::init", 1) {}

NIHIMPL_LINEAR6::~NIHIMPL_LINEAR6() = default;

void NIHIMPL_LINEAR6::initPolicy() noexcept {
  mPolicyRows = NiIParseAddrPolicy(std::getenv("NI_ADDR_POLICY"), mPolicy, NI_PREFPOL_ROWS);
}

int NIHIMPL_LINEAR6::init(int size, time_t valid, time_t unknownName, time_t unknownAddr) noexcept {
  int rc = NIHIMPL::init(size, valid, unknownName, unknownAddr);
  if (rc == ZUL_O_K) initPolicy();
  return rc;
}

bool NIHIMPL_LINEAR6::expired(const HOSTBUF &e, time_t now) const noexcept {
  time_t limit = (e.type & (NIHS_VALID_ADDR | NIHS_VALID_NAME)) != 0 ? validTimeout
                 : e.type == NIHS_UNKNOWN_ADDR                       ? unknownAddrTimeout
                                                                     : unknownNameTimeout;
  return now - e.time >= limit;
}

template <typename Key>
int NIHIMPL_LINEAR6::cacheLookup(Key key, const HOSTBUF **pHit) noexcept {
  time_t now = time(nullptr);
  for (int i = 0; i < mEnd; ++i) {
    HOSTBUF &e = mBuf[i];
    if (e.type == NIHS_FREE) continue;
    if (expired(e, now)) {
      e.type = NIHS_FREE;
      continue;
    }
    if (!IsFor(e, key)) continue;
    *pHit = &e;
    return (e.type & ValidBit(key)) != 0 ? ZUL_O_K : NIEHOST_UNKNOWN;
  }
  return NIHS_NOT_CACHED;
}

void NIHIMPL_LINEAR6::cacheCleanup() noexcept {
  time_t now = time(nullptr);
  for (int i = 0; i < mEnd; ++i) {
    if (mBuf[i].type != NIHS_FREE && expired(mBuf[i], now)) mBuf[i].type = NIHS_FREE;
    if (mBuf[i].type != NIHS_FREE) continue;
    // Fill the hole with the last live entry, dropping expired ones met at the end.
    while (mEnd > i + 1 && (mBuf[mEnd - 1].type == NIHS_FREE || expired(mBuf[mEnd - 1], now))) {
      mBuf[mEnd - 1].type = NIHS_FREE;
      --mEnd;
    }
    if (mEnd == i + 1) {
      mEnd = i;
      break;
    }
    mBuf[i] = mBuf[mEnd - 1];
    mBuf[--mEnd].type = NIHS_FREE;
  }
  ++mGen;
}

void NIHIMPL_LINEAR6::cacheAdd(const HOSTBUF &e) noexcept {
  if (mIndexSize == 0) return;
  cacheCleanup();
  int slot = -1;
  for (int i = 0; i < mIndexSize && slot < 0; ++i)
    if (mBuf[i].type == NIHS_FREE) slot = i;
  if (slot < 0) {
    slot = 0;
    for (int i = 1; i < mIndexSize; ++i)
      if (mBuf[i].time < mBuf[slot].time) slot = i;
  }
  mBuf[slot] = e;
  if (slot >= mEnd) mEnd = slot + 1;
}

int NIHIMPL_LINEAR6::osLookupNameToAddr(const char *pHostName, NI_NODEADDR *pNodeAddr,
                                        int protocol) noexcept {
  const char *fn = "NIHIMPL_LINEAR6::osLookupNameToAddr";
  NI_NODEADDR addrs[48];
  int count = 48;
  int rc = NiPGetHostByName(pHostName, 0, 0, addrs, &count);
  if (rc == NIETOO_SMALL) {
    DPTRC_A7(2, tf, "%s: more than %d addresses found (%d)\n", fn, 48, count);
    count = 48;
    rc = ZUL_O_K;
  }
  if (rc != ZUL_O_K) {
    DPTRC_A7(2, tf, "%s: hostname '%s' not found by operating system\n", fn, pHostName);
    return NIEHOST_UNKNOWN;
  }
  *pNodeAddr = addrs[0];  // the system's order is the default preference
  if (mPolicyRows > 0) {
    DPTRC_A7(2, tf, "%s: applying 'preference policy'\n", fn);
    int best = NiIApplyAddrPolicy(addrs, count, protocol, mPolicy, mPolicyRows);
    if (best >= 0) {
      *pNodeAddr = addrs[best];
      return ZUL_O_K;
    }
    DPTRC_A7(2, tf, "%s: 'policy table' does not match\n", fn);
  }
  if (protocol == NI_PROTO_FAM_UNSPEC) return ZUL_O_K;
  for (int i = 0; i < count; ++i)
    if (Fits(addrs[i], protocol)) {
      *pNodeAddr = addrs[i];
      return ZUL_O_K;
    }
  DPTRC_A7(2, tf, "%s: hostname '%s' (for protocol '%s') not found by operating system\n", fn,
           pHostName, ProtoName(protocol));
  *pNodeAddr = NI_ADDR_ANY_INIT;
  return NIEHOST_UNKNOWN;
}

int NIHIMPL_LINEAR6::getNodeAddr(const ZUL_UTF16 *pHostName, NI_NODEADDR *pNodeAddr, int mode,
                                 int protocol, FILE **) noexcept {
  const char *fn = "NIHIMPL_LINEAR6::getNodeAddr";
  if (protocol == (NI_PROTO_FAM_IPv4 | NI_PROTO_FAM_IPv6)) protocol = NI_PROTO_FAM_UNSPEC;
  size_t len = strlenU16(pHostName);
  if (len == 0) return NIEHOST_UNKNOWN;
  char name8[BUF_SIZE];
  if (!NiIToUtf8(pHostName, name8, sizeof name8)) return NIEHOST_UNKNOWN;
  if (protocol != NI_PROTO_FAM_UNSPEC) {
    DPTRC_A7(2, tf, "%s: protocol %s selected, setting lookup mode to NOBUF\n", fn,
             ProtoName(protocol));
    mode = NIHS_MODE_NOBUF;
  }
  bool consult = mode != NIHS_MODE_NOBUF;
  if (consult && len >= static_cast<size_t>(NAME_LEN)) {
    DPTRC_A7(2, tf, "%s: hostname '%s' too long for buffer (%d>=%d)\n", fn, name8,
             static_cast<int>(len), NAME_LEN);
    consult = false;
  }
  int limit;
  {
    Guard g(mMtx);
    limit = mTraceLimit;
    consult = consult && mIndexSize > 0 && validTimeout != 0;
    if (consult) {
      const HOSTBUF *hit = nullptr;
      int rc = cacheLookup(pHostName, &hit);
      if (rc == ZUL_O_K) *pNodeAddr = hit->addr;
      if (rc != NIHS_NOT_CACHED) return rc;
      // Cache-only mode isn't honoured after a miss: the system is asked anyway.
    }
  }
  int64_t start = limit > 0 ? iClock() : 0;
  int rc = osLookupNameToAddr(name8, pNodeAddr, protocol);
  if (limit > 0) traceSlow(fn, name8, "address", rc == ZUL_O_K, start, limit);
  if (consult) {
    HOSTBUF e{};
    e.type = rc == ZUL_O_K ? NIHS_VALID_NAME : NIHS_UNKNOWN_NAME;
    strcpyU16(e.name, pHostName);
    if (rc == ZUL_O_K) e.addr = *pNodeAddr;
    e.time = time(nullptr);
    Guard g(mMtx);
    cacheAdd(e);
  }
  return rc;
}

int NIHIMPL_LINEAR6::getHostName(const NI_NODEADDR *pNodeAddr, ZUL_UTF16 *pHostName, int bufferLen,
                                 int fq, int mode, FILE **ppTrcFile) noexcept {
  const char *fn = "NIHIMPL_LINEAR6::getHostName";
  ZUL_UTF16 name[BUF_SIZE] = {};
  bool consult = mode != NIHS_MODE_NOBUF;
  int limit;
  {
    Guard g(mMtx);
    limit = mTraceLimit;
    consult = consult && mIndexSize > 0 && validTimeout != 0;
    if (consult) {
      const HOSTBUF *hit = nullptr;
      int rc = cacheLookup(pNodeAddr, &hit);
      if (rc == ZUL_O_K) return CopyName(hit->name, pHostName, bufferLen, fq, fn);
      if (rc != NIHS_NOT_CACHED) return rc;
    }
  }
  char name8[BUF_SIZE], addr8[NI_NODEADDR_STR_LEN];
  AddrText(*pNodeAddr, addr8, sizeof addr8);
  int64_t start = limit > 0 ? iClock() : 0;
  int rc = NiPGetHostByAddr(pNodeAddr, 0, name8, sizeof name8, ppTrcFile);
  if (limit > 0) traceSlow(fn, addr8, "hostname", rc == ZUL_O_K, start, limit);
  if (rc != ZUL_O_K && rc != NIEHOST_UNKNOWN) {
    DPTRC_ERR_A7(tf, "%s: NiPGetHostByAddr failed (rc=%d)\n", fn, rc);
    rc = NIEHOST_UNKNOWN;
  }
  if (rc == ZUL_O_K) NiIFromUtf8(name8, name, BUF_SIZE);
  if (consult && strlenU16(name) < static_cast<size_t>(NAME_LEN)) {
    HOSTBUF e{};
    e.type = rc == ZUL_O_K ? NIHS_VALID_ADDR : NIHS_UNKNOWN_ADDR;
    strcpyU16(e.name, name);
    e.addr = *pNodeAddr;
    e.time = time(nullptr);
    Guard g(mMtx);
    cacheAdd(e);
  }
  return rc == ZUL_O_K ? CopyName(name, pHostName, bufferLen, fq, fn) : rc;
}

int NIHIMPL_LINEAR6::setHostInvalid(const ZUL_UTF16 *pHostName, FILE **) noexcept {
  if (strlenU16(pHostName) >= static_cast<size_t>(NAME_LEN)) return NIEHOST_UNKNOWN;
  Guard g(mMtx);
  bool found = false;
  for (int i = 0; i < mEnd; ++i)
    if (mBuf[i].type != NIHS_FREE && strcmpU16(mBuf[i].name, pHostName) == 0) {
      mBuf[i].type = NIHS_FREE;
      found = true;
    }
  return found ? ZUL_O_K : NIEHOST_UNKNOWN;
}

int NIHIMPL_LINEAR6::newSlot() noexcept {
  for (int i = 0; i < mIndexSize; ++i)
    if (mBuf[i].type == NIHS_FREE) {
      mBuf[i] = HOSTBUF{};
      if (i >= mEnd) mEnd = i + 1;
      return i;
    }
  return -1;
}
