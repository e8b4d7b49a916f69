// Route strings and the route message. A route is "/H/" host with, in any order, "/S/" service,
// "/P/" password of this hop and "/W/" password of the next hop, repeated per hop; anything that
// doesn't start with "/H/" is one plain host.
#define DPTRC_MODULE u"nixxri"

#include "ni/nixxri.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "ni/nibuf.h"
#include "ni/nixxhs.h"
#include "ni/nixxi_con.h"
#include "zul_dptrace.h"
#include "zul_u16conv.h"
#include "zul_u16string.h"

using namespace ni;
using namespace ni::route;

namespace {

constexpr const char16_t *kMod = u"nixxri.cpp";
constexpr int kIpBits = NI_PROTO_FAM_IPv4 | NI_PROTO_FAM_IPv6;

struct Hop {
  std::u16string host, serv, pass;
};

uint32_t GetBE32(const ZUL_RAW *b) {
  return (uint32_t{b[0]} << 24) | (uint32_t{b[1]} << 16) | (uint32_t{b[2]} << 8) | b[3];
}
void PutBE32(ZUL_RAW *b, uint32_t v) {
  for (int i = 0; i < 4; ++i) b[i] = static_cast<ZUL_RAW>(v >> (24 - 8 * i));
}

// The marker letter at s[i] ("/S/", "/P/", "/W/", "/H/"), or 0.
char16_t MarkerAt(const std::u16string &s, size_t i) {
  if (i + 3 > s.size() || s[i] != u'/' || s[i + 2] != u'/') return 0;
  char16_t c = s[i + 1];
  return c == u'S' || c == u'P' || c == u'W' || c == u'H' ? c : 0;
}

// Splits a route string into hops. The service of a hop without one is "3299" when hops follow
// and lastServ on the last hop. A password given on with "/W/" wins over the next hop's "/P/".
int ParseRoute(const std::u16string &s, const std::u16string &lastServ, std::vector<Hop> *hops,
               const char *fn) {
  std::u16string passOn;
  bool havePassOn = false;
  size_t i = 0;
  while (i < s.size()) {
    if (MarkerAt(s, i) != u'H') break;
    Hop h;
    std::u16string *field = &h.host;
    std::u16string pass, next;
    bool haveNext = false;
    for (i += 3; i < s.size() && MarkerAt(s, i) != u'H';) {
      switch (MarkerAt(s, i)) {
        case u'S': field = &h.serv; i += 3; field->clear(); continue;
        case u'P': field = &pass; i += 3; field->clear(); continue;
        case u'W': field = &next; haveNext = true; i += 3; field->clear(); continue;
        default: field->push_back(s[i++]);
      }
    }
    if (h.host.empty()) {
      return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: hop %d without host in route", fn,
                    static_cast<int>(hops->size()) + 1);
    }
    h.pass = havePassOn ? passOn : pass;
    passOn = next;
    havePassOn = haveNext;
    hops->push_back(std::move(h));
  }
  if (i < s.size() || hops->empty())
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: invalid route string", fn);
  for (size_t k = 0; k < hops->size(); ++k) {
    Hop &h = (*hops)[k];
    bool last = k + 1 == hops->size();
    if (h.serv.empty()) {
      h.serv = last ? lastServ : std::u16string(kRouterServ);
    } else if (last && !lastServ.empty() && h.serv != lastServ) {
      char a[NI_MAX_SERVNAME_LEN], b[NI_MAX_SERVNAME_LEN];
      Narrow(reinterpret_cast<const ZUL_UTF16 *>(h.serv.c_str()), a, sizeof a);
      Narrow(reinterpret_cast<const ZUL_UTF16 *>(lastServ.c_str()), b, sizeof b);
      DPTRC_A7(2, tf, "service in route <%s> != servname param <%s>\n", a, b);
    }
  }
  return ZUL_O_K;
}

std::u16string Str(const ZUL_UTF16 *s) {
  return s != nullptr ? std::u16string(reinterpret_cast<const char16_t *>(s)) : std::u16string();
}

// Hops of pHost: a route, or one plain host.
int HopsOf(const ZUL_UTF16 *pHost, const ZUL_UTF16 *pServ, std::vector<Hop> *hops,
           const char *fn) {
  std::u16string host = Str(pHost), serv = Str(pServ);
  if (host.compare(0, 3, u"/H/") != 0) {
    hops->push_back(Hop{host, serv, u""});
    return ZUL_O_K;
  }
  if (ct_level >= 2) {
    ZUL_UTF16 sec[512];
    if (NiSecStr2(pHost, sec, 512) == ZUL_O_K) {
      char text[512];
      Narrow(sec, text, sizeof text);
      DPTRC_A7(2, tf, "RouteString <%s>\n", text);
    }
  }
  return ParseRoute(host, serv, hops, fn);
}

// One 7-bit string with its terminator at *pos; false without room.
bool PutA7(ni_iroute *r, uint32_t *pos, const std::u16string &s) {
  if (*pos + s.size() + 1 > static_cast<uint32_t>(kAreaLen)) return false;
  char *dst = reinterpret_cast<char *>(r->data + kHdrLen + *pos);
  UcsToA7sSubst(dst, reinterpret_cast<const ZUL_UTF16 *>(s.c_str()), '#');
  *pos += static_cast<uint32_t>(s.size()) + 1;
  return true;
}

int BuildMessage(const std::vector<Hop> &hops, int raw, ni_iroute *r, const char *fn) {
  std::memset(r->data, 0, kHdrLen);
  std::memcpy(r->data, "NI_ROUTE", 8);
  r->data[9] = 2;
  r->data[10] = 40;
  r->data[kTalkMode] = raw != 0 ? 1 : 0;
  uint32_t len = 0;
  for (const Hop &h : hops) {
    uint32_t need = static_cast<uint32_t>(h.host.size() + h.serv.size() + h.pass.size() + 3);
    // The count is one byte: a 256th hop is refused, never wrapped.
    if (r->data[kCount] == 255 || len + need > static_cast<uint32_t>(kAreaLen)) {
      DPTRC_A7(1, tf, "%s: not enough space (%d>%d-%d)\n", fn, static_cast<int>(need), kAreaLen,
               static_cast<int>(len));
      return Refuse(kMod, __LINE__, NIETOO_SMALL, 0, "%s: not enough space (%d>%d-%d)", fn,
                    static_cast<int>(need), kAreaLen, static_cast<int>(len));
    }
    PutA7(r, &len, h.host);
    PutA7(r, &len, h.serv);
    PutA7(r, &len, h.pass);
    ++r->data[kCount];
    ++r->data[kToGo];
  }
  PutBE32(r->data + kLen, len);
  return ZUL_O_K;
}

// Copies 7-bit s into out (when given) as at most size - 1 units and a terminator: an entry's
// strings are only bounded by the area, and a longer one is cut, never refused.
void Widen7(const char *s, ZUL_UTF16 *out, int size) {
  if (out == nullptr) return;
  size_t n = std::min(std::strlen(s), static_cast<size_t>(size - 1));
  for (size_t i = 0; i < n; ++i) out[i] = static_cast<ZUL_UTF16>(static_cast<unsigned char>(s[i]));
  out[n] = 0;
}

// Appends text to out (cap units with the terminator); false without room.
bool Append(ZUL_UTF16 *out, size_t cap, size_t *len, const std::u16string &text) {
  if (*len + text.size() + 1 > cap) return false;
  std::memcpy(out + *len, text.data(), text.size() * sizeof(ZUL_UTF16));
  *len += text.size();
  out[*len] = 0;
  return true;
}

// The host of a table row. A string is read from its start, so every entry lies at or behind
// the current offset: a blank followed by an address gives the address, any other host with a
// leading blank gives an empty host.
std::u16string TableHost(const std::u16string &host) {
  if (host.empty() || host[0] != u' ') return host;
  NI_NODEADDR a;
  std::u16string rest = host.substr(1);
  return NiStrToAddr(reinterpret_cast<const ZUL_UTF16 *>(rest.c_str()), &a) == ZUL_O_K
             ? rest
             : std::u16string();
}

}  // namespace

uint32_t ni_iroute::areaLen() const noexcept { return GetBE32(data + kLen); }
uint32_t ni_iroute::nextOffset() const noexcept { return GetBE32(data + kNext); }
void ni_iroute::setNextOffset(uint32_t offset) noexcept { PutBE32(data + kNext, offset); }

int NiBufIHostToRoute(const ZUL_UTF16 *pHost, const ZUL_UTF16 *pServ, int raw, FILE ** /*ppTrcFile*/,
                      ni_iroute *pRoute) noexcept {
  const char *fn = "NiBufIHostToRoute";
  if (pHost == nullptr || pRoute == nullptr)
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pHost/pRoute == NULL)", fn);
  try {
    std::vector<Hop> hops;
    if (int rc = HopsOf(pHost, pServ, &hops, fn); rc != ZUL_O_K) return rc;
    return BuildMessage(hops, raw, pRoute, fn);
  } catch (const std::bad_alloc &) {
    return Refuse(kMod, __LINE__, NIEINTERN, 1, "%s: malloc failed", fn);
  }
}

int NiBufIRouteGetNext(const ni_iroute *pRoute, int *pOffset, int protocol, FILE **ppTrcFile,
                       ZUL_UTF16 *pHost, ZUL_UTF16 *pServ, ZUL_UTF16 *pPass, NI_NODEADDR *pNodeAddr,
                       uint16_t *pServNo, int *pHop) noexcept {
  const char *fn = "NiBufIRouteGetNext";
  if (pRoute == nullptr || pOffset == nullptr)
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: parameter invalid", fn);
  const uint32_t len = pRoute->areaLen();
  const int off = *pOffset;
  if (off < 0 || static_cast<uint32_t>(off) >= len || len > static_cast<uint32_t>(kAreaLen) ||
      pRoute->data[kToGo] > pRoute->data[kCount])
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: invalid route received (%d;%d)", fn, off,
                  static_cast<int>(len));
  const char *area = reinterpret_cast<const char *>(pRoute->data + kHdrLen);
  const char *s[3];
  uint32_t pos = static_cast<uint32_t>(off);
  for (int k = 0; k < 3; ++k) {
    const void *end = pos < len ? std::memchr(area + pos, 0, len - pos) : nullptr;
    if (end == nullptr)
      return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: invalid route received (%d;%d;%d)", fn, off,
                    static_cast<int>(len), k);
    s[k] = area + pos;
    pos = static_cast<uint32_t>(static_cast<const char *>(end) - area) + 1;
  }
  ZUL_UTF16 host[kHostUnits], serv[kServUnits];
  Widen7(s[0], host, kHostUnits);
  Widen7(s[1], serv, kServUnits);
  *pOffset = static_cast<int>(pos);
  Widen7(s[0], pHost, kHostUnits);
  Widen7(s[1], pServ, kServUnits);
  Widen7(s[2], pPass, kPassUnits);
  if (pNodeAddr != nullptr)
    if (int rc = NiIGetNodeAddr(host, protocol & kIpBits, pNodeAddr, NIHS_MODE_NORMAL, ppTrcFile);
        rc != ZUL_O_K)
      return rc;
  if (pServNo != nullptr)
    if (int rc = NiIGetServNo(serv, pServNo, NIHS_MODE_NORMAL, ppTrcFile); rc != ZUL_O_K) return rc;
  if (pHop != nullptr) *pHop = pRoute->data[kCount] - pRoute->data[kToGo] - 1;
  return ZUL_O_K;
}

int NiModifyRoute(ZUL_UTF16 *pRouteString, int bufferLen, const ZUL_UTF16 *pHostName,
                  const ZUL_UTF16 *pServName) noexcept {
  const char *fn = "NiModifyRoute";
  if (pRouteString == nullptr || pHostName == nullptr || pServName == nullptr)
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: parameter invalid (NULL)", fn);
  if (bufferLen < 32)
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: parameter invalid (bufferLen < 32)", fn);
  try {
    std::vector<Hop> hops;
    if (int rc = HopsOf(pRouteString, nullptr, &hops, fn); rc != ZUL_O_K) return rc;
    // Built aside first: a lack of room leaves the caller's string as it was.
    std::vector<ZUL_UTF16> out(static_cast<size_t>(bufferLen), 0);
    size_t len = 0;
    const size_t cap = out.size();
    bool ok = true;
    for (size_t k = 0; ok && k + 1 < hops.size(); ++k) {
      ok = Append(out.data(), cap, &len, u"/H/" + hops[k].host);
      if (ok && !hops[k].serv.empty()) ok = Append(out.data(), cap, &len, u"/S/" + hops[k].serv);
      if (ok && !hops[k].pass.empty()) ok = Append(out.data(), cap, &len, u"/P/" + hops[k].pass);
    }
    ok = ok && Append(out.data(), cap, &len, u"/H/" + Str(pHostName)) &&
         Append(out.data(), cap, &len, u"/S/" + Str(pServName));
    if (ok && !hops.back().pass.empty())
      ok = Append(out.data(), cap, &len, u"/P/" + hops.back().pass);
    if (!ok)
      return Refuse(kMod, __LINE__, NIETOO_SMALL, 1, "%s: buffer too small (%d)", fn, bufferLen);
    std::memcpy(pRouteString, out.data(), (len + 1) * sizeof(ZUL_UTF16));
    return ZUL_O_K;
  } catch (const std::bad_alloc &) {
    return Refuse(kMod, __LINE__, NIEINTERN, 1, "%s: malloc failed", fn);
  }
}

int NiRouteToTable(int *pCount, const ZUL_UTF16 *pRouteString, NI_ROUTE_TABLE *pRouteTable,
                   int tableSize) noexcept {
  const char *fn = "NiRouteToTable";
  if (pCount == nullptr || pRouteString == nullptr || tableSize < 0 ||
      (pRouteTable == nullptr && tableSize != 0))
    return Refuse(kMod, __LINE__, NIEINVAL, 1, "%s: parameter invalid", fn);
  try {
    std::vector<Hop> hops;
    if (int rc = HopsOf(pRouteString, nullptr, &hops, fn); rc != ZUL_O_K) return rc;
    *pCount = static_cast<int>(hops.size());
    const size_t first = hops.size() > static_cast<size_t>(tableSize) ? hops.size() - tableSize : 0;
    for (size_t k = first; k < hops.size(); ++k) {
      NI_ROUTE_TABLE &row = pRouteTable[k - first];
      std::memset(&row, 0, sizeof row);
      std::u16string h = TableHost(hops[k].host).substr(0, NI_ROUTE_HOST_LEN - 1);
      std::u16string s = hops[k].serv.substr(0, NI_ROUTE_SERV_LEN - 1);
      std::memcpy(row.host, h.data(), h.size() * sizeof(ZUL_UTF16));
      std::memcpy(row.serv, s.data(), s.size() * sizeof(ZUL_UTF16));
      char th[NI_ROUTE_HOST_LEN], ts[NI_ROUTE_SERV_LEN];
      Narrow(row.host, th, sizeof th);
      Narrow(row.serv, ts, sizeof ts);
      DPTRC_A7(3, tf, "%s: %d <%s> <%s>%s", fn, static_cast<int>(k), th, ts,
               k == 0 ? " < next\n" : "\n");
    }
    return ZUL_O_K;
  } catch (const std::bad_alloc &) {
    return Refuse(kMod, __LINE__, NIEINTERN, 1, "%s: malloc failed", fn);
  }
}

namespace {

// The entries of a route for the trace, passwords as "<pass>".
void TraceRoute(const ni_iroute &r, const char *fn) {
  if (ct_level < 2) return;
  DPTRC_A7(2, tf, "%s: connect to route:\n", fn);
  const char *area = reinterpret_cast<const char *>(r.data + kHdrLen);
  uint32_t pos = 0, len = r.areaLen();
  for (int e = 0; e < r.data[kCount] && pos < len; ++e) {
    const char *host = area + pos;
    pos += static_cast<uint32_t>(std::strlen(host)) + 1;
    const char *serv = area + pos;
    pos += static_cast<uint32_t>(std::strlen(serv)) + 1;
    pos += static_cast<uint32_t>(std::strlen(area + pos)) + 1;
    DPTRC_A7(2, tf, "\t<%s>\t<%s>\t<pass>\n", host, serv);
  }
}

// The route string for a trace, its passwords hidden.
void SecureText(const ZUL_UTF16 *route, char *out, size_t size) {
  ZUL_UTF16 sec[512];
  if (NiSecStr2(route, sec, 512) == ZUL_O_K)
    Narrow(sec, out, size);
  else
    std::snprintf(out, size, "%s", "<route>");
}

// The route failed after its first hop was reached: the hop's name is looked up afresh next
// time, and the handle goes.
int DropRoute(NITAB *p, const ZUL_UTF16 *firstHop, int rc) {
  NiISetHostInvalid(firstHop, nullptr);
  NiICloseHandle(p, 1, 0);
  return rc;
}

}  // namespace

int NiBufIConnect(const ZUL_UTF16 *pHost, const ZUL_UTF16 *pServ, const NI_NODEADDR *pNodeAddr,
                  uint16_t port, int protocol, int timeout, int raw, int buffered,
                  FILE **ppTrcFile, NITAB **ppHdl) noexcept {
  const char *fn = "NiBufIConnect";
  if ((protocol & ~(NI_PROTO_FAM_LOCAL | NI_PROTO_FAM_IPv4 | NI_PROTO_FAM_IPv6)) != 0)
    return Refuse(kModInternal, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid ((protocol & ~(NI_PROTO_FAM_UNSPEC | NI_PROTO_FAM_LOCAL "
                  "| NI_PROTO_FAM_IPv4 | NI_PROTO_FAM_IPv6)) != 0)",
                  fn);
  NI_NODEADDR addr{};
  static thread_local ni_iroute route;  // 10 KiB: kept off the stack
  ZUL_UTF16 firstHop[kHostUnits] = {}, serv[kServUnits] = {};
  const ZUL_UTF16 *hostName = pHost, *servName = pServ;  // of the first hop
  bool forward = false;
  if (pHost != nullptr && strncmpU16(pHost, u"/H/", 3) == 0) {
    if (int rc = NiBufIHostToRoute(pHost, pServ, raw, ppTrcFile, &route); rc != ZUL_O_K) return rc;
    TraceRoute(route, fn);
    int off = 0;
    if (int rc = NiBufIRouteGetNext(&route, &off, protocol & kIpBits, ppTrcFile, firstHop, serv,
                                    nullptr, nullptr, nullptr, nullptr);
        rc != ZUL_O_K)
      return rc;
    --route.data[kToGo];
    route.setNextOffset(static_cast<uint32_t>(off));
    forward = route.data[kToGo] > 0;
    hostName = firstHop;
    servName = serv;
  }
  if (hostName != nullptr) {
    char host[NI_MAX_HOSTNAME_LEN];
    Narrow(hostName, host, sizeof host);
    if (int rc = NiIGetNodeAddr(hostName, protocol & kIpBits, &addr, NIHS_MODE_NORMAL, ppTrcFile);
        rc != ZUL_O_K)
      return Refuse(kModInternal, __LINE__, rc, 1, "%s: host invalid or unknown '%s' (rc=%d)", fn,
                    host, rc);
    char servText[NI_MAX_SERVNAME_LEN];
    Narrow(servName, servText, sizeof servText);
    if (int rc = NiIGetServNo(servName, &port, NIHS_MODE_NORMAL, ppTrcFile); rc != ZUL_O_K)
      return Refuse(kModInternal, __LINE__, rc, 1, "%s: service invalid or unknown '%s' (rc=%d)",
                    fn, servText, rc);
  } else {
    addr = *pNodeAddr;
  }
  // A router is never reached over a local socket.
  if (forward && protocol == 0) protocol = NI_PROTO_FAM_IPv4 | NI_PROTO_FAM_IPv6;
  NITAB *p = nullptr;
  bool pending = false;
  if (buffered != 0) {
    // A buffered handle completes a pending connect in its later calls: 0 doesn't wait.
    int rc = NiIConnect(&addr, port, protocol, timeout, ppTrcFile, &p);
    if (rc != ZUL_O_K && rc != NIECONN_PENDING) return rc;
    pending = rc == NIECONN_PENDING;
    if (pending) timeout = 0;
  } else {
    // An unbuffered connect has nobody to complete it later: 0 waits for ever.
    if (timeout == 0) timeout = -1;
    int rc = NiIConnect(&addr, port, protocol, timeout, ppTrcFile, &p);
    if (rc == NIECONN_PENDING) {
      char partner[NI_NODEADDR_STR_LEN + 8];
      AddrPortText(&addr, port, partner, sizeof partner);
      DPTRC_A7(1, tf, "%s: non-buffered connect pending after %dms (hdl %d;%s)\n", fn, timeout,
               p->handle, partner);
      NiICloseHandle(p, 1, 0);
      return Refuse(kModInternal, __LINE__, NIECONN_REFUSED, 1,
                    "%s: connection pending after %dms", fn, timeout);
    }
    if (rc != ZUL_O_K) return rc;
    if (!forward) {
      *ppHdl = p;
      return ZUL_O_K;
    }
  }
  if (int brc = NiBufIHdlInit(p); brc != ZUL_O_K) {
    NiICloseHandle(p, 1, 0);
    return brc;
  }
  NI_XHDL *x = p->mpXhdl;
  if (raw != 0) x->mTalkMode = NI_RAW_IO;
  if (forward) {
    DPTRC_A7(2, tf, "%s: forward route to ZULrouter\n", fn);
    ni::buf::SetStatus(p, x, ni::buf::kConnWait, fn);
    __atomic_store_n(&p->con.mCheckStat, uint8_t{1}, __ATOMIC_RELEASE);  // a pong is expected
    ni::buf::SetHS(p, x, true);
    if (buffered != 0) x->mHdlPassPossible = 0;
    int rc = ni::buf::PrivWrite(p, x, nullptr, route.data,
                                static_cast<int>(route.areaLen()) + kHdrLen, timeout);
    if (rc == NIETIMEOUT && buffered == 0) {
      char host[NI_MAX_HOSTNAME_LEN];
      Narrow(firstHop, host, sizeof host);
      DPTRC_A7(1, tf, "%s: non-buffered hdl %d could not be sent in %dms (%s)\n", fn, p->handle,
               timeout, host);
      return DropRoute(p, firstHop,
                       Refuse(kModInternal, __LINE__, NIECONN_REFUSED, 0,
                              "%s: non-buffered hdl %d could not be sent in %dms", fn, p->handle,
                              timeout));
    }
    if (rc != ZUL_O_K && rc != NIETIMEOUT) return DropRoute(p, firstHop, rc);
    if (buffered == 0 || (!pending && timeout < 0)) {
      rc = ni::buf::In(p, x, timeout);
      if (rc == ZUL_O_K && x->mStatus == ni::buf::kConnWait) rc = NIETIMEOUT;
      if (rc != ZUL_O_K) {
        char host[NI_MAX_HOSTNAME_LEN];
        SecureText(pHost, host, sizeof host);
        if (rc == NIETIMEOUT)
          DPTRC_A7(1, tf, "%s: route connect of non-buffered hdl %d to '%s' timeout\n", fn,
                   p->handle, host);
        else
          DPTRC_A7(1, tf,
                   "%s: route connect for %sbuffered hdl %d failed (rc=%d;%s); pong not "
                   "received\n",
                   fn, buffered != 0 ? "" : "non-", p->handle, rc, host);
        return DropRoute(p, firstHop, rc);
      }
      if (buffered == 0) {
        // The route stands: the extension comes off, leaving an ordinary connection.
        NiBufIClose(p, x);
      }
    }
  }
  *ppHdl = p;
  return pending ? NIECONN_PENDING : ZUL_O_K;
}
