// The parser of address texts with optional prefix or wildcards, in one pass over the units.
#define DPTRC_MODULE u"nixx"

#include <cstring>

#include "ni/nixxi.h"
#include "zul_dptrace.h"
#include "zul_u16string.h"

using namespace ni;

namespace {

constexpr int kMaxLen = 49;  // units of an address text; the copy has room for the terminator

int HexDigit(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  return -1;
}

void PrefixMask(int prefix, uint8_t out[16]) {
  for (int b = 0; b < 16; ++b) {
    int bits = prefix - b * 8;
    out[b] = bits >= 8 ? 0xFF : bits <= 0 ? 0 : static_cast<uint8_t>(0xFF << (8 - bits));
  }
}

// One parse: the text, where it stands, and what it has found so far.
struct Parse {
  const char *fn = nullptr;
  const ZUL_UTF16 *in = nullptr;  // the caller's text, for messages
  char16_t buf[kMaxLen + 1];      // the working copy, cut at the slash
  int p = 0;
  int prefix = -1;
  bool wildcard = false;
  uint8_t *addr = nullptr;
  uint8_t *mask = nullptr;

  // The input as 8-bit text, cut at kMaxLen units; made only when a message needs it.
  void Text8(char *out) const {
    size_t k = 0;
    for (; in[k] != 0 && k < kMaxLen; ++k) out[k] = in[k] < 0x80 ? static_cast<char>(in[k]) : '?';
    out[k] = '\0';
  }
  int Fail(int line, const char *format, int a = 0, int b = 0) {
    char text8[kMaxLen + 1];
    Text8(text8);
    return Refuse(kModPublic, line, NIEINVAL, 2, format, fn, text8, a, b);
  }
  int LengthError(int line, int i) { return Fail(line, "%s: invalid length of '%s' (%d)", i); }

  void StoreGroup(int i, uint32_t v) {
    addr[2 * i] = static_cast<uint8_t>(v >> 8);
    addr[2 * i + 1] = static_cast<uint8_t>(v);
  }

  int Prefix();
  int Groups();
  int Dotted(int i, int start);
  int Binary(int idx, int len);
};

// Step 1 of a "/": the prefix becomes the mask, and the text ends at the slash.
int Parse::Prefix() {
  int slash = -1;
  for (int k = 0; buf[k] != 0; ++k)
    if (buf[k] == u'/') {
      slash = k;
      break;
    }
  if (slash < 0) return ZUL_O_K;
  int k = slash + 1;
  if (buf[k] < u'0' || buf[k] > u'9') return Fail(__LINE__, "%s: invalid prefix in '%s'");
  int v = 0;
  for (; buf[k] >= u'0' && buf[k] <= u'9'; ++k)
    if (v <= 1000) v = v * 10 + (buf[k] - u'0');
  if (v > 128) return Fail(__LINE__, "%s: invalid prefix in '%s' (%d)", v);
  if (buf[k] != 0) return Fail(__LINE__, "%s: invalid prefix in '%s'");
  prefix = v;
  PrefixMask(prefix, mask);
  buf[slash] = 0;
  return ZUL_O_K;
}

int Parse::Groups() {
  int i = 0;
  bool doubleColon = false;
  if (buf[0] == u':') {
    StoreGroup(0, 0);
    i = 1;
    p = 1;
  }
  for (;;) {
    if (buf[p] == u':') {
      if (doubleColon) return Fail(__LINE__, "%s: invalid multiple group in '%s'");
      doubleColon = true;
      ++p;
      int count = 0;
      bool dot = false;
      for (int k = p; buf[k] != 0; ++k) {
        count += buf[k] == u':';
        dot = dot || buf[k] == u'.';
      }
      count += dot ? 1 : 0;
      if (i + count > 6) return LengthError(__LINE__, i + count);
      while (i < 7 - count) StoreGroup(i++, 0);
      continue;
    }
    if (buf[p] == 0) {
      if (i != 7) return LengthError(__LINE__, i);
      StoreGroup(7, 0);
      return ZUL_O_K;
    }
    int start = p;
    uint32_t v = 0;
    bool decimal = true;
    for (int d; (d = HexDigit(buf[p])) >= 0; ++p) {
      if (v <= 0xFFFFF) v = v * 16 + static_cast<uint32_t>(d);
      decimal = decimal && d < 10;
    }
    char16_t c = buf[p];
    if (c == u'.' || c == u'x' || c == u'*') {
      if (i == 0 || i == 6) return Dotted(i, start);
      return LengthError(__LINE__, i);
    }
    // A lone number of up to three decimal digits (0x597 reads as "597" > "255") at the start
    // is the leading byte of a short IPv4 network such as 10/8.
    if (i == 0 && c == 0 && p > start && v <= 0x597 && decimal && (prefix < 0 || prefix <= 8))
      return Dotted(0, start);
    if (p == start) return Fail(__LINE__, "%s: invalid character in '%s' (%d)", p);
    if (v > 65535)
      return Fail(__LINE__, "%s: invalid value in '%s' (%d;%d)", p, static_cast<int>(v));
    if (c == u':') {
      if (i > 6) return LengthError(__LINE__, i);
      StoreGroup(i++, v);
      ++p;
      continue;
    }
    if (c != 0) return Fail(__LINE__, "%s: invalid character in '%s' (%d)", p);
    if (i != 7) {
      if (doubleColon || prefix < 0) return LengthError(__LINE__, i);
      if (prefix > i * 16 + 16) return Fail(__LINE__, "%s: invalid prefix in '%s' (%d)", prefix);
      for (int k = i + 1; k < 8; ++k) StoreGroup(k, 0);
    }
    StoreGroup(i, v);
    return ZUL_O_K;
  }
}

// An 8-unit part of "0", "1" and "x" (a wildcard bit).
int Parse::Binary(int idx, int len) {
  uint8_t b = 0;
  for (int k = 0; k < len; ++k) {
    char16_t c = buf[p + k];
    uint8_t bit = static_cast<uint8_t>(0x80 >> k);
    if (c == u'1') {
      b |= bit;
    } else if (c == u'x') {
      if (prefix >= 0) return Fail(__LINE__, "%s: invalid wildcards in '%s'");
      mask[idx] &= static_cast<uint8_t>(~bit);
      wildcard = true;
    } else if (c != u'0') {
      return Fail(__LINE__, "%s: invalid character in '%s' (%d)", p + k);
    }
  }
  addr[idx] = b;
  return ZUL_O_K;
}

int Parse::Dotted(int i, int start) {
  p = start;
  if (i == 0) {
    std::memcpy(addr, NI_ADDR_ANY_I4_INIT.addr, 16);
    int v4 = prefix < 0 ? 32 : prefix;
    if (v4 > 32) return Fail(__LINE__, "%s: invalid prefix in '%s' (%d)", prefix);
    uint8_t m[16];
    PrefixMask(v4, m);
    std::memset(mask, 0xFF, 12);
    std::memcpy(mask + 12, m, 4);
    if (prefix >= 0) prefix += 96;
  }
  for (int idx = 12;;) {
    int len = 0;
    while (buf[p + len] != 0 && buf[p + len] != u'.') ++len;
    if (len == 0) {
      if (prefix < 0) return LengthError(__LINE__, idx);
      if (prefix > idx * 8) return Fail(__LINE__, "%s: invalid prefix in '%s' (%d)", prefix);
      for (; idx < 16; ++idx) addr[idx] = 0;
      break;
    }
    if (len == 1 && buf[p] == u'*') {
      if (prefix >= 0) return Fail(__LINE__, "%s: invalid wildcards in '%s'");
      addr[idx] = 0;
      mask[idx] = 0;
      wildcard = true;
    } else if (len == 8) {
      int rc = Binary(idx, len);
      if (rc != ZUL_O_K) return rc;
    } else if (len >= 4) {
      return Fail(__LINE__, "%s: invalid character in '%s' (%d;%d)", p, len);
    } else {
      int v = 0;
      for (int k = 0; k < len; ++k) {
        if (buf[p + k] < u'0' || buf[p + k] > u'9')
          return Fail(__LINE__, "%s: invalid character in '%s' (%d)", p + k);
        v = v * 10 + (buf[p + k] - u'0');
      }
      if (v > 255) return Fail(__LINE__, "%s: invalid value in '%s' (%d;%d)", p, v);
      addr[idx] = static_cast<uint8_t>(v);
    }
    p += len;
    if (++idx == 16) {
      if (buf[p] != 0) return Fail(__LINE__, "%s: invalid character in '%s' (%d)", p);
      break;
    }
    if (buf[p] == u'.') ++p;
  }
  return ZUL_O_K;
}

}  // namespace

int NiStrToAddrMask(const ZUL_UTF16 *pStr, NI_NODEADDR *pNodeAddr, NI_NODEADDR *pMask,
                    int *pHasMask) noexcept {
  const char *fn = "NiStrToAddrMask";
  if (pStr == nullptr)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pStr == NULL)", fn);
  if (pNodeAddr == nullptr || pMask == nullptr)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pNodeAddr == NULL || pMask == NULL)", fn);
  NI_NODEADDR addr, mask;
  std::memset(addr.addr, 0xAB, 16);
  std::memset(mask.addr, 0xFF, 16);
  Parse ps;
  ps.fn = fn;
  ps.in = pStr;
  ps.addr = addr.addr;
  ps.mask = mask.addr;
  size_t len = strlenU16(pStr);
  if (len < 2 || len > kMaxLen)
    return ps.Fail(__LINE__, "%s: invalid string length of '%s' (%d)", static_cast<int>(len));
  std::memcpy(ps.buf, pStr, len * sizeof(char16_t));
  ps.buf[len] = 0;
  int rc = ps.Prefix();
  if (rc == ZUL_O_K) rc = ps.Groups();
  if (rc != ZUL_O_K) return rc;
  *pNodeAddr = addr;
  *pMask = mask;
  if (pHasMask != nullptr) *pHasMask = ps.prefix >= 0 || ps.wildcard ? 1 : 0;
  if (ct_level >= 3) {
    char text8[kMaxLen + 1], result8[NI_ADDRMASK_STR_LEN];
    ZUL_UTF16 result[NI_ADDRMASK_STR_LEN];
    ps.Text8(text8);
    if (NiAddrMaskToStr(&addr, &mask, result, NI_ADDRMASK_STR_LEN) != ZUL_O_K) result[0] = 0;
    size_t k = 0;
    for (; result[k] != 0; ++k) result8[k] = static_cast<char>(result[k]);
    result8[k] = '\0';
    DPTRC_A7(3, tf, "%s: '%s' -> %s (%d/%d)\n", fn, text8, result8, ps.prefix, ps.wildcard ? 1 : 0);
  }
  return ZUL_O_K;
}

int NiStrToAddr(const ZUL_UTF16 *pStr, NI_NODEADDR *pNodeAddr) noexcept {
  NI_NODEADDR addr, mask;
  int hasMask = 0;
  int rc = NiStrToAddrMask(pStr, &addr, &mask, &hasMask);
  if (rc != ZUL_O_K) return rc;
  if (hasMask == 0) {
    if (pNodeAddr == nullptr)
      return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pNodeAddr == NULL)",
                    "NiStrToAddr");
    *pNodeAddr = addr;
    return ZUL_O_K;
  }
  char text8[kMaxLen + 1];
  size_t k = 0;
  for (; pStr[k] != 0 && k < kMaxLen; ++k)
    text8[k] = pStr[k] < 0x80 ? static_cast<char>(pStr[k]) : '?';
  text8[k] = '\0';
  return Refuse(kModPublic, __LINE__, NIEINVAL, 2, "%s: address '%s' with subnet prefix",
                "NiStrToAddr", text8);
}
