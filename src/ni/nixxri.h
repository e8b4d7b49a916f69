// Route strings and the route message: a chain of routers and the final target, each hop with
// its service and password, packed for the first router, which forwards it.
#ifndef NI_NIXXRI_H
#define NI_NIXXRI_H

#include <cstdint>

#include "ni/nixxi.h"
#include "zul_niroute.h"

namespace ni::route {

inline constexpr int kHdrLen = 24;       // the header before the entries
inline constexpr int kAreaLen = 10000;   // the entry area at most
inline constexpr int kHostUnits = 60;    // per entry, as read back
inline constexpr int kServUnits = 30;
inline constexpr int kPassUnits = 20;
inline constexpr const char16_t *kRouterServ = u"3299";  // service of a hop with more to follow

// Byte offsets of the header.
inline constexpr int kCount = 11, kTalkMode = 12, kToGo = 15, kLen = 16, kNext = 20;

}  // namespace ni::route

// The route message: header and entry area, sent as one framed message of L + 24 bytes.
struct ni_iroute {
  ZUL_RAW data[ni::route::kHdrLen + ni::route::kAreaLen];
  uint32_t areaLen() const noexcept;  // L
  uint32_t nextOffset() const noexcept;
  void setNextOffset(uint32_t offset) noexcept;
};

// Builds the message for pHost (a route string or a plain name) and the caller's service pServ
// (null: none); raw asks for raw talk at the end of the route. NIETOO_SMALL past 10000 bytes of
// entries or 255 hops; NIEINVAL for a hop without host.
int NiBufIHostToRoute(const ZUL_UTF16 *pHost, const ZUL_UTF16 *pServ, int raw, FILE **ppTrcFile,
                      ni_iroute *pRoute) noexcept;
// Reads the entry at *pOffset and moves it behind; output pointers may be null. pHost, pServ
// and pPass take 60, 30 and 20 units, longer strings cut to fit. With pNodeAddr the host is
// looked up for the IP bits of protocol, with pServNo the service.
int NiBufIRouteGetNext(const ni_iroute *pRoute, int *pOffset, int protocol, FILE **ppTrcFile,
                       ZUL_UTF16 *pHost, ZUL_UTF16 *pServ, ZUL_UTF16 *pPass, NI_NODEADDR *pNodeAddr,
                       uint16_t *pServNo, int *pHop) noexcept;

#endif  // NI_NIXXRI_H
