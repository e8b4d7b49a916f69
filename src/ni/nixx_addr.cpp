// Address constants and printers, the address and port parser, matching and the hiding of route
// passwords.
#define DPTRC_MODULE u"nixx"

#include <arpa/inet.h>

#include <cstdio>
#include <cstring>
#include <mutex>

#include "ni/nixxi.h"
#include "zul_dptrace.h"
#include "zul_u16string.h"

using namespace ni;

ZUL_API const NI_NODEADDR NI_ADDR_ANY_I4_INIT = {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff}};
ZUL_API const NI_NODEADDR NI_ADDR_LOCAL_I4_INIT = {
    {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 127, 0, 0, 1}};
ZUL_API const NI_NODEADDR NI_ADDR_ANY_I6_INIT = {};
ZUL_API const NI_NODEADDR NI_ADDR_LOCAL_I6_INIT = {
    {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}};
// Defined without ZUL_API: the declarations in zul_ni.h give them their linkage.
NI_NODEADDR NI_ADDR_ANY_INIT = NI_ADDR_ANY_I4_INIT;
NI_NODEADDR NI_ADDR_LOCAL_INIT = NI_ADDR_LOCAL_I4_INIT;
ZUL_API const ZUL_UTF16 NI_ADDR_ANY_STR_I4[] = u"0.0.0.0";
ZUL_API const ZUL_UTF16 NI_ADDR_LOCAL_STR_I4[] = u"127.0.0.1";
ZUL_API const ZUL_UTF16 NI_ADDR_ANY_STR_I6[] = u"::";
ZUL_API const ZUL_UTF16 NI_ADDR_LOCAL_STR_I6[] = u"::1";
ZUL_API const ZUL_UTF16 NI_LOCALHOST_STR[] = u"localhost";

namespace {

// Leading one bits of the mask; *contiguous tells whether nothing else is set.
int PrefixOf(const uint8_t *m, int bytes, bool *contiguous) {
  int b = 0;
  while (b < bytes && m[b] == 0xFF) ++b;
  *contiguous = true;
  if (b == bytes) return bytes * 8;
  int ones = 0;
  while (ones < 8 && (m[b] & (0x80 >> ones)) != 0) ++ones;
  if ((static_cast<uint8_t>(m[b] << ones)) != 0) *contiguous = false;
  for (int k = b + 1; k < bytes; ++k)
    if (m[k] != 0) *contiguous = false;
  return b * 8 + ones;
}

}  // namespace

int NiAddrToStr(const NI_NODEADDR *pNodeAddr, ZUL_UTF16 *pStr, int bufferLen, int) noexcept {
  const char *fn = "NiAddrToStr";
  if (pStr == nullptr)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pStr == NULL)", fn);
  char text[NI_NODEADDR_STR_LEN + 16];
  if (pNodeAddr == nullptr || IsMapped(*pNodeAddr)) {
    if (bufferLen < NI_IPv4ADDR_STR_LEN)
      return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                    "%s: parameter invalid (bufferLen < NI_IPv4ADDR_STR_LEN)", fn);
    const uint8_t *b = pNodeAddr != nullptr ? pNodeAddr->addr + 12 : NI_ADDR_ANY_I4_INIT.addr + 12;
    std::snprintf(text, sizeof text, "%d.%d.%d.%d", b[0], b[1], b[2], b[3]);
  } else {
    if (bufferLen < NI_NODEADDR_STR_LEN)
      return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                    "%s: parameter invalid (bufferLen < NI_NODEADDR_STR_LEN)", fn);
    if (NiPGetHostByAddr(pNodeAddr, 1, text, NI_NODEADDR_STR_LEN) != ZUL_O_K) {
      const uint8_t *b = pNodeAddr->addr;
      std::snprintf(text, sizeof text, "%x:%x:%x:%x:%x:%x:%x:%x", b[0] << 8 | b[1],
                    b[2] << 8 | b[3], b[4] << 8 | b[5], b[6] << 8 | b[7], b[8] << 8 | b[9],
                    b[10] << 8 | b[11], b[12] << 8 | b[13], b[14] << 8 | b[15]);
    }
  }
  Widen(text, pStr, static_cast<size_t>(bufferLen));
  return ZUL_O_K;
}

const ZUL_UTF16 *NiAddrToStr2(const NI_NODEADDR *pNodeAddr, ZUL_UTF16 *pStr, int bufferLen,
                              int flag) noexcept {
  int rc = NiAddrToStr(pNodeAddr, pStr, bufferLen, flag);
  if (rc == ZUL_O_K) return pStr;
  Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (rc != ZUL_O_K)",
         "NiAddrToStr2");
  return u"<ERR>";
}

const ZUL_UTF16 *NiAddrToStrStatic(const NI_NODEADDR *pNodeAddr, int flag) noexcept {
  ThrGlob *g = IGetThrGlob("NiAddrToStrStatic");
  if (g == nullptr || NiAddrToStr(pNodeAddr, g->mAddrStr, 46, flag) != ZUL_O_K)
    return u"*** ERROR ***";
  return g->mAddrStr;
}

int NiAddrMaskToStr(const NI_NODEADDR *pNodeAddr, const NI_NODEADDR *pMask, ZUL_UTF16 *pStr,
                    int bufferLen) noexcept {
  const char *fn = "NiAddrMaskToStr";
  if (pNodeAddr == nullptr || pMask == nullptr || pStr == nullptr)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pNodeAddr == NULL || pMask == NULL || pStr == NULL)", fn);
  if (bufferLen < NI_ADDRMASK_STR_LEN)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (bufferLen < NI_ADDRMASK_STR_LEN)", fn);
  bool contiguous;
  int prefix = PrefixOf(pMask->addr, 16, &contiguous);
  int rc = NiAddrToStr(pNodeAddr, pStr, bufferLen, 0);
  if (rc != ZUL_O_K) return rc;
  size_t n = strlenU16(pStr);
  pStr[n++] = u'/';
  char text[NI_NODEADDR_STR_LEN + 8];
  const uint8_t *m = pMask->addr;
  if (IsMapped(*pNodeAddr) && prefix >= 96) {
    if (contiguous)
      std::snprintf(text, sizeof text, "%d", prefix - 96);
    else
      std::snprintf(text, sizeof text, "%d.%d.%d.%d", m[12], m[13], m[14], m[15]);
    Widen(text, pStr + n, static_cast<size_t>(bufferLen) - n);
    return ZUL_O_K;
  }
  if (contiguous) {
    std::snprintf(text, sizeof text, "%d", prefix);
    Widen(text, pStr + n, static_cast<size_t>(bufferLen) - n);
    return ZUL_O_K;
  }
  return NiAddrToStr(pMask, pStr + n, bufferLen - static_cast<int>(n), 0);
}

// ":" when the text holds a ".", "." when it holds a ":" and no ".", else ":".
ZUL_UTF16 NiIGetAddrPortSep(const ZUL_UTF16 *pAddrStr) noexcept {
  bool dot = false, colon = false;
  for (const ZUL_UTF16 *c = pAddrStr; *c != 0; ++c) {
    dot = dot || *c == u'.';
    colon = colon || *c == u':';
  }
  return !dot && colon ? u'.' : u':';
}

int NiIAddAddrPortSep(ZUL_UTF16 *pAddrStr, size_t size) noexcept {
  size_t n = strlenU16(pAddrStr);
  if (n + 2 > size) return NIETOO_SMALL;
  pAddrStr[n] = NiIGetAddrPortSep(pAddrStr);
  pAddrStr[n + 1] = 0;
  return ZUL_O_K;
}

int NiStrToAddrAndPort(const ZUL_UTF16 *pStr, NI_NODEADDR *pNodeAddr, NI_NODEADDR *pMask,
                       uint16_t *pServNo) noexcept {
  const char *fn = "NiStrToAddrAndPort";
  constexpr size_t kMax = 97;
  if (pStr == nullptr || pNodeAddr == nullptr)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pStr == NULL || pNodeAddr == NULL)", fn);
  size_t len = strlenU16(pStr);
  char text8[kMax + 1];
  Narrow(pStr, text8, sizeof text8);
  if (len < 1 || len > kMax)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: invalid string length of '%s' (%d)", fn,
                  text8, static_cast<int>(len));
  ZUL_UTF16 buf[kMax + 1];
  std::memcpy(buf, pStr, (len + 1) * sizeof(ZUL_UTF16));
  ZUL_UTF16 *host = buf;
  ZUL_UTF16 *serv = nullptr;
  ZUL_UTF16 *close = nullptr;
  int colons = 0;
  for (size_t k = 0; k < len; ++k) {
    if (buf[k] == u']' && close == nullptr) close = &buf[k];
    colons += buf[k] == u':';
  }
  if (close != nullptr) {
    if (buf[0] != u'[')
      return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: invalid square brackets in '%s'", fn,
                    text8);
    host = buf + 1;
    *close = 0;
    if (close[1] == u':')
      serv = close + 2;
    else if (close[1] != 0)
      return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: invalid service in '%s'", fn, text8);
  } else if (colons == 1) {
    for (ZUL_UTF16 *c = buf; *c != 0; ++c)
      if (*c == u':') {
        *c = 0;
        serv = c + 1;
      }
  }
  uint16_t port = 0;
  if (serv != nullptr) {
    int rc = NiIGetServNo(serv, &port);
    if (rc != ZUL_O_K) {
      char serv8[kMax + 1];
      Narrow(serv, serv8, sizeof serv8);
      DPTRC_A7(2, tf, "%s: service invalid or unknown '%s' (%s; rc=%d)\n", fn, serv8, text8, rc);
      return rc;
    }
  }
  if (host[0] == u'*' && host[1] == 0) {
    if (pMask == nullptr)
      return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: wildcard host '%s'", fn, text8);
    *pNodeAddr = NI_ADDR_ANY_INIT;
    std::memset(pMask->addr, 0, 16);
    if (!NiIsIPv6Activated()) std::memset(pMask->addr, 0xFF, 12);
  } else {
    int hasMask = 0;
    if (pMask == nullptr || NiStrToAddrMask(host, pNodeAddr, pMask, &hasMask) != ZUL_O_K) {
      int rc = NiIGetNodeAddr(host, pNodeAddr);
      if (rc != ZUL_O_K) {
        char host8[kMax + 1];
        Narrow(host, host8, sizeof host8);
        DPTRC_A7(2, tf, "%s: host invalid or unknown '%s' (%s; rc=%d; %p)\n", fn, host8, text8, rc,
                 static_cast<const void *>(pMask));
        return rc;
      }
      if (pMask != nullptr) std::memset(pMask->addr, 0xFF, 16);
    }
  }
  if (pServNo != nullptr) *pServNo = ntohs(port);
  return ZUL_O_K;
}

int NiAddrMatch(const NI_NODEADDR *pNodeAddrA, const NI_NODEADDR *pNodeAddrB,
                const NI_NODEADDR *pNodeAddrMask) noexcept {
  if (pNodeAddrA == nullptr || pNodeAddrB == nullptr || pNodeAddrMask == nullptr) return 0;
  for (int k = 0; k < 16; ++k)
    if (((pNodeAddrA->addr[k] ^ pNodeAddrB->addr[k]) & pNodeAddrMask->addr[k]) != 0) return 0;
  return 1;
}

int NiAddrStrMatch(const ZUL_UTF16 *pNodeAddrStrA, const ZUL_UTF16 *pNodeAddrStrB) noexcept {
  if (pNodeAddrStrA == nullptr || pNodeAddrStrB == nullptr) return 0;
  NI_NODEADDR a, b;
  if (NiStrToAddr(pNodeAddrStrA, &a) != ZUL_O_K || NiStrToAddr(pNodeAddrStrB, &b) != ZUL_O_K)
    return 0;
  return std::memcmp(&a, &b, sizeof a) == 0 ? 1 : 0;
}

int NiSecStr2(const ZUL_UTF16 *pInStr, ZUL_UTF16 *pSecStr, int bufferLen) noexcept {
  const char *fn = "NiSecStr2";
  if (pInStr == nullptr || pSecStr == nullptr)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pInStr == NULL || pSecStr == NULL)", fn);
  long len = static_cast<long>(strlenU16(pInStr));
  if (len >= bufferLen)
    return Refuse(kModPublic, __LINE__, NIETOO_SMALL, 1,
                  "%s: parameter invalid (strlenU(pInStr) >= bufferLen)", fn);
  static constexpr char16_t kP[] = u"/P/", kW[] = u"/W/";
  long room = bufferLen - len - 1;
  const ZUL_UTF16 *in = pInStr;
  ZUL_UTF16 *out = pSecStr;
  // "/W/" markers count once no "/P/" is left.
  for (const ZUL_UTF16 *hit;
       (hit = strstrU16(in, kP)) != nullptr || (hit = strstrU16(in, kW)) != nullptr;) {
    hit += 3;
    while (in < hit) *out++ = *in++;
    const ZUL_UTF16 *end = in;
    while (*end != 0 && *end != u'/') ++end;
    room += end - in;
    in = end;
    if (room >= 3) {
      for (int k = 0; k < 3; ++k) *out++ = u'*';
      room -= 3;
    }
  }
  while ((*out++ = *in++) != 0) {
  }
  return ZUL_O_K;
}

int NiServToStr(uint16_t servNo, ZUL_UTF16 *pServNoStr, int bufferLen) noexcept {
  if (pServNoStr == nullptr || bufferLen < NI_SERVNO_STR_LEN)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pServNoStr == NULL || bufferLen < NI_SERVNO_STR_LEN)",
                  "NiServToStr");
  char text[8];
  std::snprintf(text, sizeof text, "%u", static_cast<unsigned>(servNo));
  Widen(text, pServNoStr, static_cast<size_t>(bufferLen));
  return ZUL_O_K;
}

const ZUL_UTF16 *NiServToStr2(uint16_t servNo, ZUL_UTF16 *pServNoStr, int bufferLen) noexcept {
  return NiServToStr(servNo, pServNoStr, bufferLen) == ZUL_O_K ? pServNoStr : u"<ERR>";
}

uint16_t NiNetServno(uint16_t servNo) noexcept { return htons(servNo); }
uint16_t NiHostServno(uint16_t servNo) noexcept { return ntohs(servNo); }

void NiTransIPv4ToNode(uint32_t ipv4, NI_NODEADDR *pNodeAddr) noexcept {
  *pNodeAddr = NI_ADDR_ANY_I4_INIT;
  std::memcpy(pNodeAddr->addr + 12, &ipv4, 4);
}

uint32_t NiTransNodeToIPv4(const NI_NODEADDR *pNodeAddr) noexcept {
  uint32_t v;
  std::memcpy(&v, pNodeAddr->addr + 12, 4);
  return v;
}

void NiTransRawToNode(const ZUL_RAW *pRaw, NI_NODEADDR *pNodeAddr) noexcept {
  std::memcpy(pNodeAddr->addr, pRaw, 16);
}

void NiTransNodeToRaw(const NI_NODEADDR *pNodeAddr, ZUL_RAW *pRaw) noexcept {
  std::memcpy(pRaw, pNodeAddr->addr, 16);
}

uint32_t NiTransRawToIPv4(const ZUL_RAW *pRaw) noexcept {
  uint32_t v;
  std::memcpy(&v, pRaw, 4);
  return v;
}

void NiTransIPv4ToRaw(uint32_t ipv4, ZUL_RAW *pRaw) noexcept { std::memcpy(pRaw, &ipv4, 4); }

int NiGuessDistance(const ZUL_UTF16 *pHost1, const ZUL_UTF16 *pHost2) noexcept {
  const char *fn = "NiGuessDistance";
  NI_NODEADDR a, b;
  int rc = NiHostToAddr(pHost1, &a);
  if (rc == ZUL_O_K) rc = NiHostToAddr(pHost2, &b);
  if (rc != ZUL_O_K) {
    DPTRC_A7(1, tf, "%s: NiHostToAddr failed (rc=%d)\n", fn, rc);
    return -1;
  }
  int bits = 0;
  while (bits < 128 && ((a.addr[bits / 8] ^ b.addr[bits / 8]) & (0x80 >> (bits % 8))) == 0) ++bits;
  if (ct_level >= 2) {
    char h1[NI_MAX_HOSTNAME_LEN], h2[NI_MAX_HOSTNAME_LEN];
    Narrow(pHost1, h1, sizeof h1);
    Narrow(pHost2, h2, sizeof h2);
    DPTRC_A7(2, tf, "%s: distance of %s and %s is %d\n", fn, h1, h2, bits);
  }
  return bits;
}

int NiGetLoopbackAddr(NI_NODEADDR *pNodeAddr) noexcept {
  // Resolved on the first success, then kept: the loopback address doesn't change.
  static std::mutex mutex;
  static bool known = false;
  static NI_NODEADDR loopback;
  if (pNodeAddr == nullptr)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pNodeAddr == NULL)",
                  "NiGetLoopbackAddr");
  std::lock_guard lock(mutex);
  if (!known) {
    // Asked of the system directly: the name caches start with it and must not hold it.
    NI_NODEADDR addrs[4];
    int count = 4;
    int rc = NiPGetHostByName("localhost", NiIsIPv6Activated() == 0 ? 1 : 0, 0, addrs, &count);
    if (rc != ZUL_O_K && rc != NIETOO_SMALL) return rc;
    loopback = addrs[0];
    known = true;
  }
  *pNodeAddr = loopback;
  return ZUL_O_K;
}
