/* Route strings: a chain of routers and the final target in one host name. */
#ifndef ZUL_NIROUTE_H
#define ZUL_NIROUTE_H

#include "zul_base.h"

/* Routes: "/H/" host, then in any order "/S/" service, "/P/" password of this hop and "/W/"
 * password of the next hop, per hop; a hop without service is "3299" when more hops follow.
 * NiModifyRoute replaces the last hop in place (bufferLen units, at least 32; NIETOO_SMALL leaves
 * the string as it was), keeping its password. NiRouteToTable counts the hops in *pCount and
 * stores the last tableSize of them (a null table with size 0 only counts). */
#define NI_ROUTE_HOST_LEN 60
#define NI_ROUTE_SERV_LEN 30
typedef struct NI_ROUTE_TABLE {
  ZUL_UTF16 host[NI_ROUTE_HOST_LEN];
  ZUL_UTF16 serv[NI_ROUTE_SERV_LEN];
} NI_ROUTE_TABLE;
ZUL_API int NiModifyRoute(ZUL_UTF16 *pRouteString, int bufferLen, const ZUL_UTF16 *pHostName,
                          const ZUL_UTF16 *pServName) ZUL_NOTHROW;
ZUL_API int NiRouteToTable(int *pCount, const ZUL_UTF16 *pRouteString,
                           NI_ROUTE_TABLE *pRouteTable, int tableSize) ZUL_NOTHROW;

#endif /* ZUL_NIROUTE_H */
