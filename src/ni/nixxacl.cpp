// Access control lists: the rules of a listener that decide at accept whether a peer may connect.
// A new list never takes down a list that loaded well: that one is kept as the fall-back until
// the new one has loaded completely.
//
// Locks: gAclLock ("NI ACL section") guards every list hung at a handle, its rules and counters.
// gBuildLock lets one load run at a time and keeps a list being read alive; the reading itself
// runs outside gAclLock, so that a slow file never holds up accept. Order: gBuildLock, gAclLock.
#define DPTRC_MODULE u"nixxacl"

#include "ni/nixxacl.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "zul_dptrace.h"

using namespace ni;
using namespace ni::acl;

namespace {

constexpr const char16_t *kModAcl = u"nixxacl.cpp";

THR_MTX gAclLock;
bool gAclLockUp = false;  // changed by start and end only
std::mutex gBuildLock;

bool IsSep(ZUL_UTF16 c) { return c == u' ' || c == u'\t'; }

// Case-blind comparison of a token with a lower-case keyword.
bool Keyword(const ZUL_UTF16 *tok, size_t len, const char *kw) {
  if (std::strlen(kw) != len) return false;
  for (size_t i = 0; i < len; ++i) {
    ZUL_UTF16 c = tok[i];
    if (c >= u'A' && c <= u'Z') c = static_cast<ZUL_UTF16>(c + 32);
    if (c != static_cast<unsigned char>(kw[i])) return false;
  }
  return true;
}

std::string AddrMaskText(const NI_NODEADDR &a, const NI_NODEADDR &m) {
  ZUL_UTF16 text[NI_ADDRMASK_STR_LEN] = {};
  NiAddrMaskToStr(&a, &m, text, NI_ADDRMASK_STR_LEN);
  char out[NI_ADDRMASK_STR_LEN];
  Narrow(text, out, sizeof out);
  return out;
}

const char *StateText(uint8_t state) {
  return state == kPermit ? NI_ACL_PERMIT_STR : NI_ACL_DENY_STR;
}

// Adds a rule to the list, under the lock when one is given.
int AppendRule(NIACLIMPL *acl, const NI_ACL_RULE &rule, THR_MTX *lock) {
  std::unique_ptr<MtxGuard> guard;
  if (lock != nullptr) guard = std::make_unique<MtxGuard>(*lock);
  if (acl->mRuleCount >= static_cast<uint32_t>(kMaxRules))
    return Refuse(kModAcl, __LINE__, NIEINTERN, 1, "%s: ACL overflow, rule = %d, max size = %d",
                  "appendRule", static_cast<int>(acl->mRuleCount) + 1, kMaxRules);
  acl->mRules[acl->mRuleCount++] = rule;
  return ZUL_O_K;
}

// One token of the line from *pos on: its start and length (0 at the line's end).
const ZUL_UTF16 *NextToken(const ZUL_UTF16 *line, size_t len, size_t *pos, size_t *tokLen) {
  while (*pos < len && IsSep(line[*pos])) ++*pos;
  size_t start = *pos;
  while (*pos < len && !IsSep(line[*pos])) ++*pos;
  *tokLen = *pos - start;
  return line + start;
}

// Checks one line of content (comment already cut) and appends its rule. The checks run in a
// fixed order: permission token, address token, address, permission word, trace level.
int AppendLine(NIACLIMPL *acl, const ZUL_UTF16 *line, size_t len, int lineNo, THR_MTX *lock) {
  const char *fn = "NiIAclAppendRule";
  char line8[kMaxLineUnits + 1];
  {
    ZUL_UTF16 copy[kMaxLineUnits + 1];
    std::memcpy(copy, line, len * sizeof(ZUL_UTF16));
    copy[len] = 0;
    Narrow(copy, line8, sizeof line8);
  }
  size_t pos = 0, permLen = 0, addrLen = 0, levelLen = 0;
  const ZUL_UTF16 *perm = NextToken(line, len, &pos, &permLen);
  if (permLen == 0)
    return Refuse(kModAcl, __LINE__, NIEINVAL, 1, "%s: missing token '%s|%s' in '%s' line %d.", fn,
                  NI_ACL_PERMIT_STR, NI_ACL_DENY_STR, line8, lineNo);
  const ZUL_UTF16 *addr = NextToken(line, len, &pos, &addrLen);
  if (addrLen == 0)
    return Refuse(kModAcl, __LINE__, NIEINVAL, 1, "%s: missing token 'addr/mask' in '%s' line %d.",
                  fn, line8, lineNo);
  const ZUL_UTF16 *level = NextToken(line, len, &pos, &levelLen);
  ZUL_UTF16 tok[kMaxLineUnits + 1];
  char tok8[kMaxLineUnits + 1];
  auto copyTok = [&](const ZUL_UTF16 *t, size_t n) {
    std::memcpy(tok, t, n * sizeof(ZUL_UTF16));
    tok[n] = 0;
    Narrow(tok, tok8, sizeof tok8);
  };
  NI_ACL_RULE rule{};
  copyTok(addr, addrLen);
  if (NiStrToAddrMask(tok, &rule.addr, &rule.mask, nullptr) != ZUL_O_K)
    return Refuse(kModAcl, __LINE__, NIEINVAL, 1, "%s: invalid address/mask  '%s' in line %d.", fn,
                  tok8, lineNo);
  if (Keyword(perm, permLen, NI_ACL_PERMIT_STR)) {
    rule.mState = kPermit;
  } else if (Keyword(perm, permLen, NI_ACL_DENY_STR)) {
    rule.mState = kDeny;
  } else {
    copyTok(perm, permLen);
    return Refuse(kModAcl, __LINE__, NIEINVAL, 1, "%s: unexpected permission '%s' in line %d.", fn,
                  tok8, lineNo);
  }
  rule.mTraceLevel = 2;
  if (levelLen != 0) {
    bool ok = levelLen == 1 && level[0] >= u'1' && level[0] <= u'3';
    if (!ok) {
      copyTok(level, levelLen);
      return Refuse(kModAcl, __LINE__, NIEINVAL, 1,
                    "%s: invald tracelevel '%s' (min=1, max=3) in '%s' line %d.", fn, tok8, line8,
                    lineNo);
    }
    rule.mTraceLevel = static_cast<uint32_t>(level[0] - u'0');
  }
  rule.mLine = static_cast<uint32_t>(lineNo);
  return AppendRule(acl, rule, lock);
}

// The next line from *pText on: its length without the line end (a carriage return before the
// line feed, or one ending the text, is part of the end); *pText moves past the end.
size_t NextLine(const ZUL_UTF16 **pText, const ZUL_UTF16 **pLine) {
  const ZUL_UTF16 *s = *pText;
  size_t n = 0;
  while (s[n] != 0 && s[n] != u'\n') ++n;
  *pLine = s;
  *pText = s[n] == u'\n' ? s + n + 1 : s + n;
  if (n > 0 && s[n - 1] == u'\r') --n;
  return n;
}

// Reads a file byte by byte, each byte one unit, and parses it.
int ReadFile(NIACLIMPL *acl, const ZUL_UTF16 *pFile, int hdl) {
  const char *fn = "NiIAclReadFile";
  // The path as UTF-8.
  std::string path;
  for (const ZUL_UTF16 *p = pFile; *p != 0; ++p) {
    uint32_t c = *p;
    if (c >= 0xD800 && c < 0xDC00 && p[1] >= 0xDC00 && p[1] < 0xE000) {
      c = 0x10000 + ((c - 0xD800) << 10) + (p[1] - 0xDC00);
      ++p;
    }
    if (c < 0x80) {
      path += static_cast<char>(c);
    } else if (c < 0x800) {
      path += static_cast<char>(0xC0 | (c >> 6));
      path += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      path += static_cast<char>(0xE0 | (c >> 12));
      path += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      path += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      path += static_cast<char>(0xF0 | (c >> 18));
      path += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      path += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      path += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0)
    return Refuse(kModAcl, __LINE__, NIEINTERN, 1, "%s: could not open ACL file '%s'.", fn,
                  path.c_str());
  struct stat st {};
  long size = fstat(fd, &st) == 0 ? static_cast<long>(st.st_size) : 0;
  std::vector<ZUL_UTF16> text;
  long got = 0;
  int err = 0;
  if (S_ISDIR(st.st_mode)) err = EISDIR;
  try {
    std::vector<unsigned char> bytes(static_cast<size_t>(size) + 1);
    while (got < size && err == 0) {
      ssize_t n = read(fd, bytes.data() + got, static_cast<size_t>(size - got));
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) {
        err = n < 0 ? errno : 0;
        break;
      }
      got += n;
    }
    text.assign(bytes.begin(), bytes.begin() + got);
    text.push_back(0);
  } catch (const std::bad_alloc &) {
    close(fd);
    return Refuse(kModAcl, __LINE__, NIEINTERN, 1, "%s: no memory for ACL file '%s' (%ld bytes)",
                  fn, path.c_str(), size);
  }
  close(fd);
  if (got < size || err != 0)
    return Refuse(kModAcl, __LINE__, NIEINVAL, 1, "%s: error reading file '%s' errno=%d (%ld %ld)",
                  fn, path.c_str(), err, got, size);
  return ParseString(acl, text.data(), hdl, &gAclLock);
}

NIACLIMPL *ListOf(NITAB *p) { return static_cast<NIACLIMPL *>(p->lis.mAcl); }

// The checks of the public calls: a valid listener, and with needAcl one that has a list.
NITAB *CheckListener(int hdl, const char *fn, bool needAcl, int *pRc) {
  NITAB *p = CheckHdl(hdl, fn);
  *pRc = NIEINVAL;
  if (p == nullptr) return nullptr;
  if (p->mType != NI_LISTEN) {
    Refuse(kModAcl, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pHdl->mType != NI_LISTEN)", fn);
    return nullptr;
  }
  bool hasAcl = false;
  if (needAcl) {
    MtxGuard lock(gAclLock);  // a reload on another thread swaps the list
    hasAcl = p->lis.mAcl != nullptr;
  }
  if (needAcl && !hasAcl) {
    Refuse(kModAcl, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pHdl->lis.mAcl == NULL)", fn);
    return nullptr;
  }
  *pRc = ZUL_O_K;
  return p;
}

int IAclCreate(NITAB *pHdl, const ZUL_UTF16 *pAclString, const ZUL_UTF16 *pAclFile,
               int defaultDeny) {
  const char *fn = "NiIAclCreate";
  std::lock_guard<std::mutex> build(gBuildLock);
  std::unique_ptr<NIACLIMPL> fallback;
  std::unique_ptr<NIACLIMPL> fresh(new (std::nothrow) NIACLIMPL);
  if (fresh == nullptr)
    return Refuse(kModAcl, __LINE__, NIEINTERN, 1, "%s: no memory for an ACL", fn);
  fresh->mDefaultDeny = static_cast<uint8_t>(defaultDeny);
  NIACLIMPL *list = fresh.get();
  {
    MtxGuard lock(gAclLock);
    if (NIACLIMPL *old = ListOf(pHdl); old != nullptr) {
      if (old->mStatus == ZUL_O_K) {
        DPTRC_A7(2, tf, "%s: status=ok -> keep active ACL for fallback\n", fn);
        fallback.reset(old);
      } else {
        DPTRC_A7(2, tf, "%s: status!=ok -> we do not have a 'last known good'\n", fn);
        delete old;
      }
    }
    pHdl->lis.mAcl = fresh.release();
  }
  int rc = pAclFile != nullptr ? ReadFile(list, pAclFile, pHdl->handle)
                               : ParseString(list, pAclString, pHdl->handle, &gAclLock);
  MtxGuard lock(gAclLock);
  list->mStatus = rc;
  if (fallback == nullptr) return rc;
  if (rc == ZUL_O_K) return ZUL_O_K;  // the old list goes with fallback
  DPTRC_WARN_A7(tf, "%s: can not load new ACL, keeping 'last known good'\n", fn);
  pHdl->lis.mAcl = fallback.release();
  delete list;
  return Refuse(kModAcl, __LINE__, NIEACL_KEPT_OLD, 0, "%s: new ACL failed (rc=%d), old ACL kept",
                fn, rc);
}

}  // namespace

namespace ni::acl {

int ParseString(NIACLIMPL *pAcl, const ZUL_UTF16 *pText, int hdl, THR_MTX *pLock) noexcept {
  const char *fn = "NiIAclParseString";
  const ZUL_UTF16 *rest = pText;
  int lineNo = 0;
  while (*rest != 0) {
    const ZUL_UTF16 *line = nullptr;
    size_t len = NextLine(&rest, &line);
    ++lineNo;
    if (len > static_cast<size_t>(kMaxLineUnits)) len = kMaxLineUnits;
    if (len > 0 && line[0] == u'#') continue;
    for (size_t i = 0; i < len; ++i)
      if (line[i] == u'#') len = i;
    bool blank = true;
    for (size_t i = 0; i < len && blank; ++i) blank = line[i] == u' ' || line[i] == u'\r';
    if (blank) continue;
    if (int rc = AppendLine(pAcl, line, len, lineNo, pLock); rc != ZUL_O_K) {
      DPTRC_WARN_A7(tf, "%s: incomplete ACL (rules=%d) applied to hdl %d\n", fn,
                    static_cast<int>(pAcl->mRuleCount), hdl);
      return rc;
    }
  }
  if (pAcl->mRuleCount == 0)
    return Refuse(kModAcl, __LINE__, NIEINVAL, 1, "%s: empty ACL applied to hdl %d", fn, hdl);
  return ZUL_O_K;
}

int CheckAddress(NIACLIMPL *pAcl, const NI_NODEADDR *pNodeAddr) noexcept {
  const char *fn = "checkAddress";
  uint64_t peer[2];
  std::memcpy(peer, pNodeAddr->addr, 16);
  for (uint32_t i = 0; i < pAcl->mRuleCount; ++i) {
    NI_ACL_RULE &r = pAcl->mRules[i];
    uint64_t a[2], m[2];
    std::memcpy(a, r.addr.addr, 16);
    std::memcpy(m, r.mask.addr, 16);
    if ((((peer[0] ^ a[0]) & m[0]) | ((peer[1] ^ a[1]) & m[1])) != 0) continue;
    ++r.mCount;
    if (ct_level >= static_cast<int>(r.mTraceLevel))
      DPTRC_A7(static_cast<int>(r.mTraceLevel), tf, "%s: %s -> %s %s (count=%d,rule=%d,line=%d)\n",
               fn, AddrText(*pNodeAddr).c_str(), StateText(r.mState),
               AddrMaskText(r.addr, r.mask).c_str(), static_cast<int>(r.mCount),
               static_cast<int>(i + 1), static_cast<int>(r.mLine));
    return r.mState == kPermit ? ZUL_O_K : NIEACL_DENIED;
  }
  ++pAcl->mNoMatchCount;
  uint8_t state = pAcl->mDefaultDeny != 0 ? kDeny : kPermit;
  if (ct_level >= 1)
    DPTRC_WARN_A7(tf, "%s: %s -> %s (%s, count=%d)\n", fn, AddrText(*pNodeAddr).c_str(),
                  StateText(state), pAcl->mRuleCount == 0 ? "empty ACL" : "no rule matched",
                  static_cast<int>(pAcl->mNoMatchCount));
  return state == kPermit ? ZUL_O_K : NIEACL_DENIED;
}

}  // namespace ni::acl

int NiIAclInit() noexcept {
  if (!gAclLockUp) ThrMtxInit(&gAclLock, u"NI ACL section");
  gAclLockUp = true;
  return ZUL_O_K;
}

void NiIAclExit() noexcept {
  if (gAclLockUp) ThrMtxDelete(&gAclLock);
  gAclLockUp = false;
}

// Also runs at the end, after NiIAclExit, when the last close comes: then no other thread is left.
void NiIAclDelete(NITAB *pHdl) noexcept {
  std::lock_guard<std::mutex> build(gBuildLock);
  NIACLIMPL *list;
  if (gAclLockUp) {
    MtxGuard lock(gAclLock);
    list = ListOf(pHdl);
    pHdl->lis.mAcl = nullptr;
  } else {
    list = ListOf(pHdl);
    pHdl->lis.mAcl = nullptr;
  }
  delete list;
}

int NiIAclCheckAddr(NITAB *pListenHdl, const NI_NODEADDR *pPeer) noexcept {
  if (!gAclLockUp) return ZUL_O_K;
  MtxGuard lock(gAclLock);
  NIACLIMPL *list = ListOf(pListenHdl);
  return list != nullptr ? CheckAddress(list, pPeer) : ZUL_O_K;
}

int NiAclCreate(int hdl, const ZUL_UTF16 *pAclString, const ZUL_UTF16 *pAclFile) noexcept {
  const char *fn = "NiAclCreate";
  int rc;
  NITAB *p = CheckListener(hdl, fn, false, &rc);
  if (p == nullptr) return rc;
  if (pAclString != nullptr && pAclFile != nullptr)
    return Refuse(kModAcl, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pAclString != NULL && pAclFile != NULL)", fn);
  if (pAclString == nullptr && pAclFile == nullptr)
    return Refuse(kModAcl, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pAclString == NULL && pAclFile == NULL)", fn);
  return IAclCreate(p, pAclString, pAclFile, 1);
}

int NiAclDelete(int hdl) noexcept {
  int rc;
  NITAB *p = CheckListener(hdl, "NiAclDelete", true, &rc);
  if (p == nullptr) return rc;
  NiIAclDelete(p);
  return ZUL_O_K;
}

int NiAclGetStatus(int hdl) noexcept {
  int rc;
  NITAB *p = CheckListener(hdl, "NiAclGetStatus", true, &rc);
  if (p == nullptr) return rc;
  MtxGuard lock(gAclLock);
  NIACLIMPL *list = ListOf(p);
  return list != nullptr ? list->mStatus : NIEINVAL;
}

int NiAclCheckAddr(int hdl, const NI_NODEADDR *pNodeAddr) noexcept {
  const char *fn = "NiAclCheckAddr";
  int rc;
  NITAB *p = CheckListener(hdl, fn, true, &rc);
  if (p == nullptr) return rc;
  if (pNodeAddr == nullptr)
    return Refuse(kModAcl, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pNodeAddr == NULL)", fn);
  MtxGuard lock(gAclLock);
  NIACLIMPL *list = ListOf(p);
  return list != nullptr ? CheckAddress(list, pNodeAddr) : ZUL_O_K;
}

int NiAclDump(int hdl, FILE ** /*ppTrcFile*/, ZUL_UTF16 *pBuffer, int bufferLen) noexcept {
  const char *fn = "NiAclDump";
  int rc;
  NITAB *p = CheckListener(hdl, fn, true, &rc);
  if (p == nullptr) return rc;
  static const char kTrunc[] = "< truncated >\n";
  const int truncLen = static_cast<int>(sizeof kTrunc) - 1;
  MtxGuard lock(gAclLock);
  NIACLIMPL *list = ListOf(p);
  int used = 0;
  if (pBuffer != nullptr && bufferLen > 0) pBuffer[0] = 0;
  for (uint32_t i = 0; list != nullptr && i < list->mRuleCount; ++i) {
    const NI_ACL_RULE &r = list->mRules[i];
    char line[200];
    int n =
        std::snprintf(line, sizeof line, "%d: %s %s (count=%d,line %d)\n", static_cast<int>(i + 1),
                      StateText(r.mState), AddrMaskText(r.addr, r.mask).c_str(),
                      static_cast<int>(r.mCount), static_cast<int>(r.mLine));
    DPTRC_A7(2, tf, "%s", line);
    if (pBuffer == nullptr) continue;
    // Each line needs room for itself, and the last one also for the truncation mark.
    bool last = i + 1 == list->mRuleCount;
    if (used + n + (last ? 0 : truncLen) + 1 > bufferLen) {
      if (used + truncLen + 1 <= bufferLen) {
        for (int k = 0; k < truncLen; ++k) pBuffer[used + k] = static_cast<ZUL_UTF16>(kTrunc[k]);
        used += truncLen;
        pBuffer[used] = 0;
      }
      DPTRC_A7(1, tf, "%s: dump to buffer truncated at line %d\n", fn, static_cast<int>(i + 1));
      return NIETOO_SMALL;
    }
    for (int k = 0; k < n; ++k) pBuffer[used + k] = static_cast<ZUL_UTF16>(line[k]);
    used += n;
    pBuffer[used] = 0;
  }
  return ZUL_O_K;
}

int NiAclFlush(int hdl) noexcept {
  int rc;
  NITAB *p = CheckListener(hdl, "NiAclFlush", true, &rc);
  if (p == nullptr) return rc;
  MtxGuard lock(gAclLock);
  NIACLIMPL *list = ListOf(p);
  if (list == nullptr) return ZUL_O_K;
  list->mNoMatchCount = 0;
  for (uint32_t i = 0; i < list->mRuleCount; ++i) list->mRules[i].mCount = 0;
  list->mFlushTime = time(nullptr);
  return ZUL_O_K;
}
