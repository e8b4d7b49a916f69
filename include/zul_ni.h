/* The network interface: connections named by int handles instead of sockets.
 *
 * A handle stands for one entry of a fixed table; its number is the entry's index times eight
 * plus a generation of three bits, so that a number kept after a close is refused for the next
 * eight owners of the entry. Every call answers ZUL_O_K or one of the negative NIE codes below;
 * on failure the calling thread's error information (zul_err.h) says why, with the component
 * "NI (network interface)". Texts are 16-bit. No call lets an exception out.
 *
 * The library is use-counted: each NiInit* is matched by one NiExit. */
#ifndef ZUL_NI_H
#define ZUL_NI_H

#include <stdint.h>
#include <stdio.h>
#include <time.h>

#include "zul_base.h"

/* ---- Result codes ----
 * NI_RC_MAP(X) expands X(name, code, text) for each code. -9 and -14 are not codes;
 * NI_NO_TEXT_STR marks a code without a text of its own. */
#define NI_NO_TEXT_STR "*** ERROR ***"
#define NI_EINVAL_STR "internal error\n(this retcode should be handled by caller of NI-layer)"
#define NI_RC_MAP(X)                                                        \
  X(NI_RC_OK, 0, "")                                                        \
  X(NIEINTERN, -1, "internal error")                                        \
  X(NIEHOST_UNKNOWN, -2, "hostname '%s' unknown")                           \
  X(NIESERV_UNKNOWN, -3, "service '%s' unknown")                            \
  X(NIESERV_USED, -4, "service '%s' in use")                                \
  X(NIETIMEOUT, -5, "timeout occured")                                      \
  X(NIECONN_BROKEN, -6, "connection to partner '%s' broken")                \
  X(NIETOO_SMALL, -7, NI_EINVAL_STR)                                        \
  X(NIEINVAL, -8, NI_EINVAL_STR)                                            \
  X(NIECONN_REFUSED, -10, "partner '%s' not reached")                       \
  X(NIEPING, -11, NI_EINVAL_STR)                                            \
  X(NIECONN_PENDING, -12, "timeout while pending for route completion")     \
  X(NIEVERSION, -13, "invalid client version")                              \
  X(NIENOFREEPORT, -15, "no free connect port found within range")          \
  X(NIEMYHOST_VERIFY, -16, "verify own hostname '%s' failed")               \
  X(NIESNC_FAILURE, -17, "SNC processing failed:\n%s")                      \
  X(NIEOPCODE, -18, "Opcode received")                                      \
  X(NIEQUE_FULL, -19, "Queue overflow")                                     \
  X(NIETOO_BIG, -20, "Network packet too big")                              \
  X(NIEACCEPT, -21, "Accepted handle pending")                              \
  X(NIEPASSED, -22, "Handle passed to other process")                       \
  X(NIENO_ANSWER, -23, NI_NO_TEXT_STR)                                      \
  X(NIECALL, -24, "Unexpected function call")                               \
  X(NIEROUT_HOST_UNKNOWN, -90, "hostname '%s' unknown")                     \
  X(NIEROUT_SERV_UNKNOWN, -91, "service '%s' unknown")                      \
  X(NIEROUT_CONN_REFUSED, -92, "partner '%s' not reached")                  \
  X(NIEROUT_INTERN, -93, "internal error")                                  \
  X(NIEROUT_PERM_DENIED, -94, "%s: route permission denied (%s to %s, %s)") \
  X(NIEROUT_CONN_BROKEN, -95, "connection to %s, %s broken")                \
  X(NIEROUT_VERSION, -96, "invalid client version")                         \
  X(NIEROUT_CANCELED, -97, "route canceled by administator")                \
  X(NIEROUT_SHUTDOWN, -98, "router shutdown")                               \
  X(NIEROUT_INFO_DENIED, -99, "info access denied (%s to %s, %s)")          \
  X(NIEROUT_OVERFLOW, -100, "maximum number of clients reached")            \
  X(NIEROUT_MODE_DENIED, -101, "talkmode Native2 not allowed")              \
  X(NIEROUT_NOCLIENT, -102, "invalid client requested")                     \
  X(NIEROUT_EXTERN, -103, NI_NO_TEXT_STR)                                   \
  X(NIEROUT_SNC_FAILURE, -104, "SNC processing failed:\n%s")

#define NI_RC_ENUM_ENTRY(name, code, text) name = code,
enum { NI_RC_MAP(NI_RC_ENUM_ENTRY) };
#undef NI_RC_ENUM_ENTRY

/* ---- Limits ---- */
#define NI_MAX_HDLS 32768      /* upper bound of a table size */
#define NI_DEFAULT_HDLS 2048   /* the size NiInit uses */
#define NI_MAX_HOSTNAME_LEN 64 /* terminator included */
#define NI_MAX_SERVNAME_LEN 32 /* terminator included */
#define NI_UDS_PATH_LEN 105    /* terminator included */
#define NI_INVALID_SOCK (-1)
#define NI_BLOCK (-1) /* a time-out that waits for ever */

/* ---- Handle states, as NiHdlGetConStat answers them; the low nibble is the class ---- */
enum {
  NI_FREE = 0,
  NI_INITIAL_LIS = 1,
  NI_INITIAL_RIL = 2,
  NI_INITIAL_CON = 3,
  NI_LISTEN = 0x11,
  NI_RI_LISTEN = 0x22,
  NI_CONN_WAIT = 0x34,
  NI_CONNECTED = 0x35,
  NI_ACCEPTED = 0x36,
  NI_DG_CONNECTED = 0x47,
  NI_DG_UNCONNECTED = 0x48
};

/* Protocol masks. */
enum {
  NI_PROTO_FAM_UNSPEC = 0,
  NI_PROTO_FAM_LOCAL = 1,
  NI_PROTO_FAM_IPv4 = 2,
  NI_PROTO_FAM_IPv6 = 4
};

/* A node address: IPv6 in network order, IPv4 in its mapped form ::ffff:a.b.c.d. */
typedef struct NI_NODEADDR {
  uint8_t addr[16];
} NI_NODEADDR;

/* ---- Node addresses and their texts ---- */

/* Text lengths in units, terminator included. */
#define NI_IPv4ADDR_STR_LEN 16
#define NI_NODEADDR_STR_LEN 46
#define NI_ADDRMASK_STR_LEN 92
#define NI_SERVNO_STR_LEN 6

/* The constant addresses: mapped 0.0.0.0 and 127.0.0.1, :: and ::1. */
ZUL_API const NI_NODEADDR NI_ADDR_ANY_I4_INIT;
ZUL_API const NI_NODEADDR NI_ADDR_LOCAL_I4_INIT;
ZUL_API const NI_NODEADDR NI_ADDR_ANY_I6_INIT;
ZUL_API const NI_NODEADDR NI_ADDR_LOCAL_I6_INIT;
/* The any and loopback addresses in use: the IPv4 forms, or the IPv6 ones when IPv6 was taken
 * at start. Written only by start and end. */
ZUL_API NI_NODEADDR NI_ADDR_ANY_INIT;
ZUL_API NI_NODEADDR NI_ADDR_LOCAL_INIT;
ZUL_API const ZUL_UTF16 NI_ADDR_ANY_STR_I4[];   /* "0.0.0.0" */
ZUL_API const ZUL_UTF16 NI_ADDR_LOCAL_STR_I4[]; /* "127.0.0.1" */
ZUL_API const ZUL_UTF16 NI_ADDR_ANY_STR_I6[];   /* "::" */
ZUL_API const ZUL_UTF16 NI_ADDR_LOCAL_STR_I6[]; /* "::1" */
ZUL_API const ZUL_UTF16 NI_LOCALHOST_STR[];     /* "localhost" */

/* The text of an address into pStr (bufferLen units): dotted for a mapped or null address
 * (16 units needed), else the system's numeric text or eight uncompressed groups (46 units).
 * flag has no effect. NiAddrToStr2 answers pStr or "<ERR>"; NiAddrToStrStatic answers the
 * calling thread's buffer, valid until its next call, or "*** ERROR ***". */
ZUL_API int NiAddrToStr(const NI_NODEADDR *pNodeAddr, ZUL_UTF16 *pStr, int bufferLen,
                        int flag) ZUL_NOTHROW;
ZUL_API const ZUL_UTF16 *NiAddrToStr2(const NI_NODEADDR *pNodeAddr, ZUL_UTF16 *pStr, int bufferLen,
                                      int flag) ZUL_NOTHROW;
ZUL_API const ZUL_UTF16 *NiAddrToStrStatic(const NI_NODEADDR *pNodeAddr, int flag) ZUL_NOTHROW;
/* Address, "/" and the prefix length (or the mask when it isn't contiguous); 92 units. */
ZUL_API int NiAddrMaskToStr(const NI_NODEADDR *pNodeAddr, const NI_NODEADDR *pMask, ZUL_UTF16 *pStr,
                            int bufferLen) ZUL_NOTHROW;
/* Parses "a.b.c.d", IPv6 texts with "::" and a dotted tail, "/prefix", "*" parts and binary
 * parts with "x" ("1100xxxx.*.*.*"), and short IPv4 networks ("10/8"). *pHasMask (may be null)
 * gets 1 when a prefix or wildcard was given. NiStrToAddr refuses both. */
ZUL_API int NiStrToAddrMask(const ZUL_UTF16 *pStr, NI_NODEADDR *pNodeAddr, NI_NODEADDR *pMask,
                            int *pHasMask) ZUL_NOTHROW;
ZUL_API int NiStrToAddr(const ZUL_UTF16 *pStr, NI_NODEADDR *pNodeAddr) ZUL_NOTHROW;
/* "host:service", "[ipv6]:service", "*:service" (only with pMask), with look-ups of names;
 * *pServNo gets the port in host order (0 without a service). pMask and pServNo may be null. */
ZUL_API int NiStrToAddrAndPort(const ZUL_UTF16 *pStr, NI_NODEADDR *pNodeAddr, NI_NODEADDR *pMask,
                               uint16_t *pServNo) ZUL_NOTHROW;
/* 1 when the addresses agree under the mask, else 0 (also for null arguments). */
ZUL_API int NiAddrMatch(const NI_NODEADDR *pNodeAddrA, const NI_NODEADDR *pNodeAddrB,
                        const NI_NODEADDR *pNodeAddrMask) ZUL_NOTHROW;
/* 1 when both texts parse to the same address, else 0. */
ZUL_API int NiAddrStrMatch(const ZUL_UTF16 *pNodeAddrStrA,
                           const ZUL_UTF16 *pNodeAddrStrB) ZUL_NOTHROW;
/* A copy of a route string with the values behind "/P/" (else "/W/") markers replaced by
 * "***" where room allows. NIETOO_SMALL when the input doesn't fit. */
ZUL_API int NiSecStr2(const ZUL_UTF16 *pInStr, ZUL_UTF16 *pSecStr, int bufferLen) ZUL_NOTHROW;
/* Decimal text of a port (host order). NiServToStr2 answers the buffer or "<ERR>". */
ZUL_API int NiServToStr(uint16_t servNo, ZUL_UTF16 *pServNoStr, int bufferLen) ZUL_NOTHROW;
ZUL_API const ZUL_UTF16 *NiServToStr2(uint16_t servNo, ZUL_UTF16 *pServNoStr,
                                      int bufferLen) ZUL_NOTHROW;
/* The address of a host name or numeric text. */
ZUL_API int NiHostToAddr(const ZUL_UTF16 *pHostName, NI_NODEADDR *pNodeAddr) ZUL_NOTHROW;
/* Byte order of a port, and the conversions between addresses and raw storage. */
ZUL_API uint16_t NiNetServno(uint16_t servNo) ZUL_NOTHROW;
ZUL_API uint16_t NiHostServno(uint16_t servNo) ZUL_NOTHROW;
ZUL_API void NiTransIPv4ToNode(uint32_t ipv4, NI_NODEADDR *pNodeAddr) ZUL_NOTHROW;
ZUL_API uint32_t NiTransNodeToIPv4(const NI_NODEADDR *pNodeAddr) ZUL_NOTHROW;

/* ---- Parameters ---- */

/* Global parameter numbers; 7 and 8 don't exist. */
enum {
  NIP_PORTRANGE = 1,                /* BOOL: wildcard binds use NIP_MINPORT..NIP_MAXPORT */
  NIP_MAXPORT = 2,                  /* USHORT, 1023 */
  NIP_MINPORT = 3,                  /* USHORT, 0; 0 is stored as 1 */
  NIP_HSBUF_OPCODE = 4,             /* RAW, write only: 0 prints the name caches, 1 flushes them */
  NIP_HSBUF_SIZE = 5,               /* UINT, 100 */
  NIP_VERSION = 6,                  /* UINT, read only: 40 */
  NIP_FRAGTEST = 9,                 /* UINT, 0: off */
  NIP_CONNLOCAL = 10,               /* BOOL, on: local connects over local sockets */
  NIP_UDS_PATH = 11,                /* UCPTR: format of the local socket path, %d takes the port */
  NIP_QUEUE_LEN = 12,               /* UINT, 20: listen backlog, at least 5 */
  NIP_QTEST = 13,                   /* UINT: probability 1..100 in the low byte, count above */
  NIP_LOCAL_ADDR = 14,              /* NODEADDR: the calling thread's local bind address */
  NIP_HSBUF_TRACE_LIMIT = 15,       /* UINT, 0 */
  NIP_HSBUF_TIME_FUNC = 16,         /* VOIDPTR: clock of the name caches */
  NIP_TRACE_ALL = 17,               /* BOOL: new handles are traced */
  NIP_INC_SERV_NO = 18,             /* BOOL, off: the wildcard port search counts down */
  NIP_CONT_IN_RANGE = 19,           /* BOOL, on */
  NIP_POLL_TRACE_LIMIT = 20,        /* UINT, 0: seconds of oversleeping that are warned of */
  NIP_HOSTBUF_TIMEOUT = 21,         /* UINT, write only: 86400 s */
  NIP_HOSTBUF_TIMEOUT_INVALID = 22, /* UINT, write only: 600 s */
  NIP_SOCKET_BUFFER_SIZE = 23,      /* UINT, write only: 32768 */
  NIP_BUF_MAX_HEAP = 30             /* UINT: heap limit of the buffered layer */
};

/* Data types of a parameter value. */
enum {
  NI_DT_BOOL = 1,
  NI_DT_RAW = 2,
  NI_DT_USHORT = 3,
  NI_DT_UINT = 4,
  NI_DT_NODEADDR = 5,
  NI_DT_VOIDPTR = 6,
  NI_DT_UCPTR = 7
};

/* One parameter with its number, its value's type and the value. For reading NIP_UDS_PATH the
 * caller gives a buffer of NI_UDS_PATH_LEN units in ucptr_val. */
typedef struct NI_PARAM_DATA {
  uint8_t param;
  uint8_t datatype;
  union {
    uint8_t bool_val;
    uint8_t raw_val;
    uint16_t ushort_val;
    uint32_t uint_val;
    NI_NODEADDR nodeaddr_val;
    void *voidptr_val;
    ZUL_UTF16 *ucptr_val;
  } value;
} NI_PARAM_DATA;

/* Set or read one global parameter; both start the library when needed. */
ZUL_API int NiSetParamEx(NI_PARAM_DATA *pParamData) ZUL_NOTHROW;
ZUL_API int NiGetParamEx(NI_PARAM_DATA *pParamData) ZUL_NOTHROW;
/* The older forms: NiSetParam knows 1 to 5, 9, 10, 13 and 17; NiGetParam answers the value of
 * 1 to 3, 5, 6, 9, 10, 13 or 17, and -1 on failure (always for 4, which can't be read). */
ZUL_API int NiSetParam(int param, uint32_t value) ZUL_NOTHROW;
ZUL_API int NiGetParam(int param) ZUL_NOTHROW;
/* Profile parameters by name ("is/hostbuffer_timeout_valid_entry",
 * "is/hostbuffer_timeout_invalid_entry", "is/socket_buffer_size"): NiTestPfParam only checks
 * the value, NiSetPfParam also applies it. */
ZUL_API int NiSetPfParam(const ZUL_UTF16 *name, const ZUL_UTF16 *value) ZUL_NOTHROW;
ZUL_API int NiTestPfParam(const ZUL_UTF16 *name, const ZUL_UTF16 *value) ZUL_NOTHROW;

/* ---- Start and end ---- */

/* NiInit is NiInit3(NI_DEFAULT_HDLS); NiInit2 refuses a size of 0 or less. NiInit3 counts uses:
 * the first call builds the table of maxHandles entries (at most NI_MAX_HDLS), later calls keep
 * the size they find. A failed start leaves the library as it was. */
ZUL_API int NiInit(void) ZUL_NOTHROW;
ZUL_API int NiInit2(int maxHandles) ZUL_NOTHROW;
ZUL_API int NiInit3(int maxHandles) ZUL_NOTHROW;
/* Ends one use; the last closes every handle and frees the table. */
ZUL_API int NiExit(void) ZUL_NOTHROW;
/* Makes the calling thread's record; NIECALL before a start. */
ZUL_API int NiThrInit(void) ZUL_NOTHROW;
/* Frees the record given, or the calling thread's when null. */
ZUL_API void NiThrExit(void *record) ZUL_NOTHROW;

/* ---- Handles ---- */

/* Closes the handle and frees its entry; datagram handles are refused. */
ZUL_API int NiCloseHandle(int hdl) ZUL_NOTHROW;
/* Half-closes a connection: NI_SHUT_RD, NI_SHUT_WR or NI_SHUT_RDWR; listeners are refused. A
 * socket that is gone already counts as shut. */
enum { NI_SHUT_RD = 0, NI_SHUT_WR = 1, NI_SHUT_RDWR = 2 };
ZUL_API int NiShutdownHandle(int hdl, int howto) ZUL_NOTHROW;
/* The socket number of a handle (a listener's IP socket, else its local one), and the handle of
 * a socket number (NIEINVAL when no working handle has it). */
ZUL_API int NiHdlToSock(int hdl, int *pSocketNo) ZUL_NOTHROW;
ZUL_API int NiSockToHdl(int socketNo, int *pHandle) ZUL_NOTHROW;
/* A copy of a connection's socket record; refused for listeners and pending connects. The
 * record is the layer's: don't close it. SI_SOCK comes from zul_si.h. */
struct SI_SOCK;
ZUL_API int NiGetSiSocket(int hdl, struct SI_SOCK *pSocket) ZUL_NOTHROW;
/* The protocols a handle serves as an NI_PROTO_FAM mask: a listener adds NI_PROTO_FAM_LOCAL for
 * its local socket and the families its IP socket is bound for; a connection its peer's. */
ZUL_API int NiGetHdlProto(int hdl) ZUL_NOTHROW;
/* The handle's table index, -1 for an invalid handle. */
ZUL_API int NiGetHdlTblIdx(int hdl) ZUL_NOTHROW;
/* The handle's state, 0 for an invalid handle. */
ZUL_API uint8_t NiHdlGetConStat(int hdl) ZUL_NOTHROW;
/* The handle's creation time, 0 for an invalid handle. */
ZUL_API time_t NiHdlGetStartTime(int hdl) ZUL_NOTHROW;
/* Messages and bytes of complete messages received and sent; 0 for an invalid handle and for a
 * listener. */
ZUL_API uint32_t NiHdlGetInMsgs(int hdl) ZUL_NOTHROW;
ZUL_API uint32_t NiHdlGetOutMsgs(int hdl) ZUL_NOTHROW;
ZUL_API uint64_t NiHdlGetInOctets(int hdl) ZUL_NOTHROW;
ZUL_API uint64_t NiHdlGetOutOctets(int hdl) ZUL_NOTHROW;
/* The handle's trace flag (1: its lines are written at level 1); NiSetTraceAll and
 * NiClearTraceAll change it on every handle in use. */
ZUL_API int NiHdlGetTrace(int hdl) ZUL_NOTHROW;
ZUL_API int NiHdlSetTrace(int hdl, int on) ZUL_NOTHROW;
ZUL_API void NiSetTraceAll(void) ZUL_NOTHROW;
ZUL_API void NiClearTraceAll(void) ZUL_NOTHROW;
/* 1 when IPv6 is in use, else 0. */
ZUL_API int NiIsIPv6Activated(void) ZUL_NOTHROW;
/* The text of a protocol mask ("IPv4", "UDS,IPv6", "unknown" above 7). */
ZUL_API const ZUL_UTF16 *NiGetProtoName(int mask) ZUL_NOTHROW;

/* ---- Codes ---- */

/* The name of a code ("NIEINVAL"); "*** ERROR ***" for an unknown one. */
ZUL_API const ZUL_UTF16 *NiErrStr(int rc) ZUL_NOTHROW;
/* The name and the message format of a code; "*** ERROR ***" for an unknown one and for a code
 * without a text of its own. */
ZUL_API const ZUL_UTF16 *NiIErrorName(int rc) ZUL_NOTHROW;
ZUL_API const ZUL_UTF16 *NiIErrorText(int rc) ZUL_NOTHROW;
/* Records rc in the thread's error information, leaving an information from another location,
 * or one of this location with the same component and code, alone. The two SNC codes only
 * replace the code and component of the present information. */
ZUL_API int NiErrSet(int rc) ZUL_NOTHROW;

/* ---- Rest of the frame: per-handle parameters, dumps, trace masks, diagnostics ---- */

/* Closes like NiCloseHandle but keeps a listener's local socket file. */
ZUL_API int NiCloseHandleKP(int hdl) ZUL_NOTHROW;

/* Per-handle parameter numbers. 50 and 51 belong to every connection, 60 to 66 to buffered
 * handles; NIHP_BUFSTAT with NI_BUFSTAT_ON makes an unbuffered handle buffered. */
enum {
  NIHP_SINGLE_READ = 50, /* BOOL: NiSetSingleRead */
  NIHP_CHECK_PEER = 51,  /* BOOL: the handle is checked with NiCheck */
  NIHP_TALKMODE = 60,    /* RAW */
  NIHP_BUFSTAT = 61,     /* RAW: NI_BUFSTAT_ON or NI_BUFSTAT_OFF */
  NIHP_QUEUE_MOVED = 62, /* RAW */
  NIHP_ALLOC_FUNC = 63,  /* NI_DT_ALLOCFUNC */
  NIHP_MAX_QUEUE = 64,   /* UINT */
  NIHP_WARN_QUEUE = 65,  /* UINT */
  NIHP_MAX_MSG_LEN = 66  /* UINT */
};
enum { NI_BUFSTAT_OFF = 0, NI_BUFSTAT_ON = 1 };
/* The data type of an allocation function; the value goes in voidptr_val. */
#define NI_DT_ALLOCFUNC 8

/* Set or read one parameter of a handle; refused for reverse-invoke listeners. The short forms
 * take pValue as a pointer to a uint8_t for 50, 51, 60 and 61, to a uint32_t for 64 and 65, and
 * for 63 as the function pointer itself. */
ZUL_API int NiSetHdlParamEx(int hdl, NI_PARAM_DATA *pParamData) ZUL_NOTHROW;
ZUL_API int NiGetHdlParamEx(int hdl, NI_PARAM_DATA *pParamData) ZUL_NOTHROW;
ZUL_API int NiSetHdlParam(int hdl, int param, void *pValue) ZUL_NOTHROW;
ZUL_API int NiGetHdlParam(int hdl, int param, void *pValue) ZUL_NOTHROW;
/* Single read: a read returns what one receive brings instead of a whole message. Refused for
 * listeners. NiGetSingleRead answers 0 or 1, or NIEINVAL. */
ZUL_API int NiSetSingleRead(int hdl, int on) ZUL_NOTHROW;
ZUL_API int NiGetSingleRead(int hdl) ZUL_NOTHROW;
/* The blocking mode of the handle's sockets: 1 blocking (the mode of a new handle), 0 not.
 * NiHdlGetBlockmode answers the mode, or NIEINVAL. */
ZUL_API int NiHdlGetBlockmode(int hdl) ZUL_NOTHROW;
ZUL_API int NiHdlSetBlockmode(int hdl, int on) ZUL_NOTHROW;
/* The socket number as it stands, without completing a pending connect. */
ZUL_API int NiGetRawSocket(int hdl, int *pSocketNo) ZUL_NOTHROW;
/* The local (NiHdlGetName) or remote (NiHdlGetPeer) end of a handle: address, port in host
 * order, and for a local socket its path (NI_UDS_PATH_LEN units; the address is then
 * NI_ADDR_LOCAL_INIT and the port 0). Each output may be null. NiHdlGetPeer refuses listeners. */
ZUL_API int NiHdlGetName(int hdl, NI_NODEADDR *pAddr, uint16_t *pServNo,
                         ZUL_UTF16 *pUDSPath) ZUL_NOTHROW;
ZUL_API int NiHdlGetPeer(int hdl, NI_NODEADDR *pAddr, uint16_t *pServNo,
                         ZUL_UTF16 *pUDSPath) ZUL_NOTHROW;
/* A text of one handle (number, creation time, sockets, state, protocols, counters, ends and
 * options) into pBuffer (NIETOO_SMALL when it doesn't fit) or, with a null pBuffer, to the
 * trace. NiHdlDump2 accepts any used entry, also one not yet connected or listening.
 * NiDumpNiHdls traces every used handle. */
ZUL_API int NiHdlDump(int hdl, ZUL_UTF16 *pBuffer, int bufferLen) ZUL_NOTHROW;
ZUL_API int NiHdlDump2(int hdl, ZUL_UTF16 *pBuffer, int bufferLen) ZUL_NOTHROW;
ZUL_API void NiDumpNiHdls(void) ZUL_NOTHROW;
/* The masks that decide which socket failures are errors and which are traced: niTraceMask
 * (bits 39, 40, 50, 60 and 61) and siTraceMask (one bit per socket code). */
ZUL_API void NiEnableTrace(uint64_t mask) ZUL_NOTHROW;
ZUL_API void NiDisableTrace(uint64_t mask) ZUL_NOTHROW;
ZUL_API void NiEnableSiTrace(uint64_t mask) ZUL_NOTHROW;
ZUL_API void NiDisableSiTrace(uint64_t mask) ZUL_NOTHROW;
ZUL_API void NiSetSiTrace(uint64_t mask) ZUL_NOTHROW;
ZUL_API uint64_t NiGetSiTrace(void) ZUL_NOTHROW;
/* Diagnostic: how many IPv4 stream sockets up to limit could be opened at once (all are closed
 * again); -1 when no memory was left for counting. */
ZUL_API int NiGetMaxSockets(int limit) ZUL_NOTHROW;
/* Equal leading bits of the addresses of two hosts (128 for the same address), or -1 when one
 * can't be resolved. */
ZUL_API int NiGuessDistance(const ZUL_UTF16 *pHost1, const ZUL_UTF16 *pHost2) ZUL_NOTHROW;
/* The address of "localhost", resolved on the first success and kept for the process's life. */
ZUL_API int NiGetLoopbackAddr(NI_NODEADDR *pNodeAddr) ZUL_NOTHROW;
/* Copies between an address or a 32-bit IPv4 address (network order) and raw storage of its
 * size: 16 and 4 bytes. */
ZUL_API void NiTransRawToNode(const ZUL_RAW *pRaw, NI_NODEADDR *pNodeAddr) ZUL_NOTHROW;
ZUL_API void NiTransNodeToRaw(const NI_NODEADDR *pNodeAddr, ZUL_RAW *pRaw) ZUL_NOTHROW;
ZUL_API uint32_t NiTransRawToIPv4(const ZUL_RAW *pRaw) ZUL_NOTHROW;
ZUL_API void NiTransIPv4ToRaw(uint32_t ipv4, ZUL_RAW *pRaw) ZUL_NOTHROW;

/* ---- Connect, listen and accept ---- */
/* Port values of a listener: NI_FINDSERV_OS lets the system pick one, NI_FINDSERV searches the
 * port range (NIP_PORTRANGE, NIP_INC_SERV_NO, NIP_CONT_IN_RANGE). */
#define NI_FINDSERV_OS 0
#define NI_FINDSERV 65535

/* A connection to host and service (names or numeric texts) or to an address and a port (host
 * order). *pHandle is set to -1 first and gets the handle. A partner on this host is reached over
 * its local socket where it has one (NIP_CONNLOCAL), else over IP without notice. protocol is an
 * NI_PROTO_FAM mask (0: any; NI_PROTO_FAM_LOCAL alone: the local socket or NIECONN_REFUSED).
 * timeout in milliseconds; 0 and negative wait for ever; a connect still under way after it is
 * NIECONN_REFUSED. buffered makes a buffered handle, in NI_RAW_IO with raw. ppTrcFile
 * may be null. NIECONN_REFUSED when nobody listens. */
ZUL_API int NiHandle(const ZUL_UTF16 *host, const ZUL_UTF16 *serv, int timeout,
                     int *pHandle) ZUL_NOTHROW;
ZUL_API int NiRawHandle(const ZUL_UTF16 *host, const ZUL_UTF16 *serv, int timeout,
                        int *pHandle) ZUL_NOTHROW;
ZUL_API int NiHandleForProto(const ZUL_UTF16 *host, const ZUL_UTF16 *serv, int protocol,
                             int timeout, int *pHandle) ZUL_NOTHROW;
ZUL_API int NiRawHandleForProto(const ZUL_UTF16 *host, const ZUL_UTF16 *serv, int protocol,
                                int timeout, int *pHandle) ZUL_NOTHROW;
ZUL_API int NiHandleForAddr(const NI_NODEADDR *pNodeAddr, uint16_t port, int timeout,
                            int *pHandle) ZUL_NOTHROW;
ZUL_API int NiRawHandleForAddr(const NI_NODEADDR *pNodeAddr, uint16_t port, int timeout,
                               int *pHandle) ZUL_NOTHROW;
ZUL_API int NiHandleEx(const ZUL_UTF16 *host, const ZUL_UTF16 *serv, int protocol, int raw,
                       int buffered, int timeout, FILE **ppTrcFile, int *pHandle) ZUL_NOTHROW;
ZUL_API int NiHandleForAddrEx(const NI_NODEADDR *pNodeAddr, uint16_t port, int protocol, int raw,
                              int buffered, int timeout, FILE **ppTrcFile,
                              int *pHandle) ZUL_NOTHROW;

/* A listener on a service name, on *pServNo (host order, in and out: NI_FINDSERV_OS and
 * NI_FINDSERV give the port taken) and optionally an address (null: any). Without an address the
 * listener also takes the local socket of its port (NIP_UDS_PATH) when NIP_CONNLOCAL is on; a
 * local socket that can't be bound leaves it on IP only. NiServerHandleEx takes the protocols:
 * NI_PROTO_FAM_LOCAL must come with an IP bit, needs a port other than NI_FINDSERV_OS, and then
 * must bind (an address given must be a loopback one). NIESERV_USED for a port in use,
 * NIENOFREEPORT when the search finds none. buffered makes a listener of buffered handles. */
ZUL_API int NiServerHandle(const ZUL_UTF16 *serv, int *pHandle) ZUL_NOTHROW;
ZUL_API int NiServerHandleForPort(uint16_t *pServNo, int *pHandle) ZUL_NOTHROW;
ZUL_API int NiServerHandleForAddr(const NI_NODEADDR *pNodeAddr, uint16_t *pServNo,
                                  int *pHandle) ZUL_NOTHROW;
ZUL_API int NiServerHandleEx(const NI_NODEADDR *pNodeAddr, uint16_t *pServNo, int protocol,
                             int buffered, int *pHandle) ZUL_NOTHROW;

/* Takes one connection from a listener within timeout (the local socket first) into *pOutHandle
 * (-1 on failure). The peer's address and port (host order) go to pPeerAddr and pPeerServ when
 * not null; a local peer is NI_ADDR_LOCAL_INIT, port 0. NIETIMEOUT when nobody came. */
ZUL_API int NiAcceptEx(int hdl, int timeout, int *pOutHandle, NI_NODEADDR *pPeerAddr,
                       uint16_t *pPeerServ) ZUL_NOTHROW;
ZUL_API int NiAcceptEx2(int hdl, int timeout, FILE **ppTrcFile, int *pOutHandle,
                        NI_NODEADDR *pPeerAddr, uint16_t *pPeerServ) ZUL_NOTHROW;

/* The partner stored at connect or accept (port in host order); listeners are refused. Either
 * output may be null. */
ZUL_API int NiHdlGetSavedPeer(int hdl, NI_NODEADDR *pNodeAddr, uint16_t *pServNo) ZUL_NOTHROW;

/* Whether a host name (null: this host's, at most 63 units) is this host: NiMyAddrCheck listens
 * on its address, NiMyAddrVerify also connects to it within timeout and refuses the loopback
 * addresses. *pNodeAddr gets the address; NIEMYHOST_VERIFY when it isn't this host's. */
ZUL_API int NiMyAddrCheck(const ZUL_UTF16 *pMyHostName, NI_NODEADDR *pNodeAddr) ZUL_NOTHROW;
ZUL_API int NiMyAddrVerify(const ZUL_UTF16 *pMyHostName, int timeout,
                           NI_NODEADDR *pNodeAddr) ZUL_NOTHROW;

/* A socket layer's address into node address, port (host order) and, for a local socket, its
 * path (pPath, when not null, holds pathLen >= 108 units). NiConvSiAddr takes the bytes of the
 * family (addrLen at least 4, 16 or 108) and the port in network order; NiConvSiAddr2 a system
 * sockaddr. Either output may be null. */
ZUL_API int NiConvSiAddr(int family, const ZUL_RAW *pAddr, int addrLen, uint16_t port,
                         NI_NODEADDR *pNodeAddr, uint16_t *pServNo, ZUL_UTF16 *pPath,
                         int pathLen) ZUL_NOTHROW;
ZUL_API int NiConvSiAddr2(const void *pSockAddr, int sockAddrLen, NI_NODEADDR *pNodeAddr,
                          uint16_t *pServNo, ZUL_UTF16 *pPath, int pathLen) ZUL_NOTHROW;

/* Socket options of a connection (a listener is refused, but for the SO_REUSEADDR pair, which
 * acts on its IP socket, else its local one). Sizes in bytes as the system counts them; flags
 * read back as 0 or 1. */
ZUL_API int NiSetTCP_NoDelay(int hdl, int on) ZUL_NOTHROW;
ZUL_API int NiGetTCP_NoDelay(int hdl, int *pOn) ZUL_NOTHROW;
ZUL_API int NiSetSO_RcvBuf(int hdl, int size) ZUL_NOTHROW;
ZUL_API int NiGetSO_RcvBuf(int hdl, int *pSize) ZUL_NOTHROW;
ZUL_API int NiSetSO_SndBuf(int hdl, int size) ZUL_NOTHROW;
ZUL_API int NiGetSO_SndBuf(int hdl, int *pSize) ZUL_NOTHROW;
ZUL_API int NiSetSO_Linger(int hdl, int onOff, int seconds) ZUL_NOTHROW;
ZUL_API int NiGetSO_Linger(int hdl, int *pOnOff, int *pSeconds) ZUL_NOTHROW;
ZUL_API int NiSetSO_KeepAlive(int hdl, int on) ZUL_NOTHROW;
ZUL_API int NiGetSO_KeepAlive(int hdl, int *pOn) ZUL_NOTHROW;
ZUL_API int NiSetSO_ReuseAddr(int hdl, int on) ZUL_NOTHROW;
ZUL_API int NiGetSO_ReuseAddr(int hdl, int *pOn) ZUL_NOTHROW;

/* ---- Host and service caches, name look-ups ---- */

/* The clock of the name caches (NIP_HSBUF_TIME_FUNC): microseconds from any fixed point. It
 * times slow look-ups against NIP_HSBUF_TRACE_LIMIT; entries age by the calendar clock. */
typedef uint64_t (*NI_HSBUF_TIME_FUNC)(void);

/* Builds the host and service caches with size entries each and the time-outs in seconds (0 or
 * above 86400 count as 86400); NIECALL when they exist. NiInit builds them with
 * (100, 0, 600, 600, 0, 600, 600). */
ZUL_API int NiHSBufInit(int size, int hostValid, int hostUnknownName, int hostUnknownAddr,
                        int servValid, int servUnknownName, int servUnknownPort) ZUL_NOTHROW;
/* The host cache's time-outs for valid entries and for failures (NIP_HOSTBUF_TIMEOUT and
 * NIP_HOSTBUF_TIMEOUT_INVALID), at most 86400 s. The reads answer the seconds or a negative
 * code. */
ZUL_API int NiSetHostBufTimeout(uint32_t seconds) ZUL_NOTHROW;
ZUL_API int NiSetHostBufTimeoutInvalid(uint32_t seconds) ZUL_NOTHROW;
ZUL_API int NiGetHostBufTimeout(void) ZUL_NOTHROW;
ZUL_API int NiGetHostBufTimeoutInvalid(void) ZUL_NOTHROW;
/* NiHostToAddr restricted to a protocol: 0 any, 2 IPv4, 4 IPv6, 6 either. A null host is the
 * loopback; host names of 64 units or more and route strings ("/H/...") are refused. */
ZUL_API int NiHostToAddr2(const ZUL_UTF16 *pHostName, int protocol,
                          NI_NODEADDR *pNodeAddr) ZUL_NOTHROW;
/* All addresses of a host (at most 256) in a block the caller frees with free(); bypasses the
 * caches. */
ZUL_API int NiHostToAddr3(const ZUL_UTF16 *pHostName, int protocol, NI_NODEADDR **ppList,
                          int *pCount) ZUL_NOTHROW;
/* The name of an address in the calling thread's buffer, valid until its next call; the numeric
 * text when the address has no name; "*** ERROR ***" on failure. */
ZUL_API const ZUL_UTF16 *NiAddrToHost(const NI_NODEADDR *pNodeAddr) ZUL_NOTHROW;
/* The name of an address into pBuffer (len units); the Canon form asks for the fully qualified
 * name. On failure the numeric text stands in the buffer. */
ZUL_API int NiAddrToHost2(const NI_NODEADDR *pNodeAddr, ZUL_UTF16 *pBuffer, int len) ZUL_NOTHROW;
ZUL_API int NiAddrToHostCanon2(const NI_NODEADDR *pNodeAddr, ZUL_UTF16 *pBuffer,
                               int len) ZUL_NOTHROW;
/* A service's port and a port's service name, ports in host order. Names of 32 units or more
 * are refused; digits alone are the port itself. NiNoToServ2 leaves the number on failure. */
ZUL_API int NiServToNo(const ZUL_UTF16 *pServName, uint16_t *pServNo) ZUL_NOTHROW;
ZUL_API int NiNoToServ2(uint16_t servNo, ZUL_UTF16 *pBuffer, int len) ZUL_NOTHROW;
/* This machine's name; and its fully qualified name with *ppDomain (may be null) pointing at the
 * domain part in pBuffer, or null when the name has none. */
ZUL_API int NiMyHostName(ZUL_UTF16 *pBuffer, int len) ZUL_NOTHROW;
ZUL_API int NiGetOwnFQDN(ZUL_UTF16 *pBuffer, int len, ZUL_UTF16 **ppDomain) ZUL_NOTHROW;
/* 1 when the address belongs to this machine, else 0. */
ZUL_API int NiLocalCheck(const NI_NODEADDR *pNodeAddr) ZUL_NOTHROW;
/* The addresses of the interfaces that are up (IPv6 ones while IPv6 is in use, link-local ones
 * left out), and their hardware addresses (NI_MAC_ADDR_LEN bytes each). At most max are stored;
 * *pCount counts all. */
#define NI_MAC_ADDR_LEN 6
ZUL_API int NiGetNodeAddrList(NI_NODEADDR *pAddrs, int max, int *pCount) ZUL_NOTHROW;
ZUL_API int NiGetMacAddrList(uint8_t *pMacs, int max, int *pCount) ZUL_NOTHROW;
/* Prints both caches into pBuffer (*pBufferLen units). *pDone gets 1 when all fitted, else 0;
 * *pBufferLen gets the units used (terminator not counted). */
ZUL_API int NiHBufPrintBuf(ZUL_UTF16 *pBuffer, int *pBufferLen, int *pDone) ZUL_NOTHROW;
/* Both caches, tab separated, in a new block the caller frees with free(); *pDataLen gets its
 * length in units. */
ZUL_API int NiHSBufGetAll(ZUL_UTF16 **ppData, int *pDataLen) ZUL_NOTHROW;

/* ---- Framed I/O ----
 * A framed message is a 4-byte big-endian length (top bit clear) followed by that many bytes; raw
 * calls move bytes without a frame. A call that times out keeps what it moved in the handle, and
 * the next call on the handle goes on with the same message, in the middle of the length if need
 * be. A time-out is in milliseconds and bounds the whole call: NI_BLOCK (negative) waits for ever,
 * 0 only tries. NIETIMEOUT means: call again, the handle is intact. NIECONN_BROKEN means: close
 * the handle. One thread may read while another writes on the same handle; two readers or two
 * writers are not supported. */
enum { NI_READ = 1, NI_WRITE = 2 };        /* directions of NiPeekEx */
enum { NI_MESG_IO = 0, NI_RAW_IO = 1, NI_ROUT_IO = 2 };

/* Reads one message into pBuffer (bufferLen bytes); *pRead gets its length. A message longer than
 * the buffer fills it and answers NIETOO_SMALL, and the next call returns the rest. Check messages
 * never reach the caller: a ping is answered with a pong at once (unless a write is pending) and
 * answers NIEPING with *pRead 0, as does the pong that answers NiCheckEx. */
ZUL_API int NiRead(int hdl, void *pBuffer, int bufferLen, int timeout, int *pRead) ZUL_NOTHROW;
/* Reads the bytes that one receive gives, at most bufferLen (which must not be 0). */
ZUL_API int NiRawRead(int hdl, void *pBuffer, int bufferLen, int timeout, int *pRead) ZUL_NOTHROW;
/* Writes one message of dataLen bytes; *pWritten gets the data bytes this call sent. After
 * NIETIMEOUT the caller sends the rest of the same message: pData at the unsent part, dataLen its
 * length (anything else is NIEINVAL). */
ZUL_API int NiWrite(int hdl, const void *pData, int dataLen, int timeout,
                    int *pWritten) ZUL_NOTHROW;
/* Writes dataLen bytes without a frame, until all are out or the time-out has passed. */
ZUL_API int NiRawWrite(int hdl, const void *pData, int dataLen, int timeout,
                       int *pWritten) ZUL_NOTHROW;
/* Waits until the handle can be read (mode NI_READ; for a listener: a connection can be accepted)
 * or written (NI_WRITE): ZUL_O_K or NIETIMEOUT. A hung-up or failed socket counts as ready, so
 * that the next read or write reports it. NiPeek and NiRawPeek wait for reading, NiWriteOK and
 * NiRawWriteOK for writing. */
ZUL_API int NiPeekEx(int hdl, int mode, int raw, int timeout) ZUL_NOTHROW;
ZUL_API int NiPeek(int hdl, int timeout) ZUL_NOTHROW;
ZUL_API int NiRawPeek(int hdl, int timeout) ZUL_NOTHROW;
ZUL_API int NiWriteOK(int hdl, int timeout) ZUL_NOTHROW;
ZUL_API int NiRawWriteOK(int hdl, int timeout) ZUL_NOTHROW;
/* Sends a ping (isPing 1) or a pong (0); a ping waits for its pong, which NiRead reports as
 * NIEPING. pSent may be null; else it counts the check's bytes sent so far (start at 0), so that
 * a call again after NIETIMEOUT with the same pointer finishes the same check. */
ZUL_API int NiCheckEx(int hdl, int timeout, int isPing, int *pSent) ZUL_NOTHROW;
/* A counting check. The first call sends a ping (*pFailCount 0). Each later call takes one pong
 * that NiRead has consumed since: NIENO_ANSWER when none came, else ZUL_O_K with *pFailCount the
 * pongs still uncollected; when none is left the next call pings again. Mixing it with a running
 * NiCheckEx is NIEINVAL. NiCheck2Cancel ends a counting check. */
ZUL_API int NiCheck2(int hdl, int timeout, int *pFailCount) ZUL_NOTHROW;
ZUL_API int NiCheck2Cancel(int hdl) ZUL_NOTHROW;
/* Data bytes of the message in progress in each direction; -1 for an invalid handle or a
 * listener. */
ZUL_API int NiReadPending(int hdl) ZUL_NOTHROW;
ZUL_API int NiWritePending(int hdl) ZUL_NOTHROW;
/* The peer's state without consuming data: ZUL_O_K when data waits, NIETIMEOUT when none does,
 * NIECONN_BROKEN when the peer has closed, NIEINVAL on a pending socket error. */
ZUL_API int NiHdlGetStatus(int hdl) ZUL_NOTHROW;
/* Sleeps milliSec milliseconds; answers NIETIMEOUT, and NIEINVAL for a negative time. */
ZUL_API int NiWait(int milliSec) ZUL_NOTHROW;

/* ---- Access control lists of listeners ----
 * The refusal of a peer by an ACL, and a new list that failed while the old one stays. They lie
 * outside the code table: NiIErrorName answers "*** ERROR ***" for them. */
#define NIEACL_DENIED (-25)
#define NIEACL_KEPT_OLD (-26)
#define NI_ACL_PERMIT_STR "permit"
#define NI_ACL_DENY_STR "deny"
/* Gives the listener an ACL from a text (lines of "permit|deny addr[/mask] [level 1-3]", "#"
 * comments) or from a file read byte by byte, exactly one of the two. A list that fails to load
 * over a list that loaded well answers NIEACL_KEPT_OLD and the old list goes on deciding; without
 * such a list the new one stays in force with the rules read before the failing line (none:
 * everyone is refused) and its code in NiAclGetStatus. A peer that no rule matches is refused. */
ZUL_API int NiAclCreate(int hdl, const ZUL_UTF16 *pAclString,
                        const ZUL_UTF16 *pAclFile) ZUL_NOTHROW;
ZUL_API int NiAclDelete(int hdl) ZUL_NOTHROW;
/* The load result of the list in force. */
ZUL_API int NiAclGetStatus(int hdl) ZUL_NOTHROW;
/* ZUL_O_K for a permitted address, NIEACL_DENIED for a refused one. */
ZUL_API int NiAclCheckAddr(int hdl, const NI_NODEADDR *pNodeAddr) ZUL_NOTHROW;
/* One line per rule, "n: permit addr/mask (count=c,line l)", into pBuffer (bufferLen units; may be
 * null: trace only). A buffer too short ends in "< truncated >" and answers NIETOO_SMALL. */
ZUL_API int NiAclDump(int hdl, FILE **ppTrcFile, ZUL_UTF16 *pBuffer, int bufferLen) ZUL_NOTHROW;
/* Zeroes the hit counters. */
ZUL_API int NiAclFlush(int hdl) ZUL_NOTHROW;

/* ---- Accept list: connections per peer address, by the peer's rating ---- */
enum {
  NI_AL_TYPE_FREE = 0,
  NI_AL_TYPE_UNKNOWN = 1,
  NI_AL_TYPE_FRIENDLY = 2,
  NI_AL_TYPE_SUSPICIOUS = 3,
  NI_AL_TYPE_INVADER = 4
};
/* A list of addrListSize (at least 10) peers; 1 <= maxSuspiciousConns <= maxUnknownConns <=
 * maxFriendlyConns. Accept then refuses a peer at its type's limit, and an invader always, with
 * NIETIMEOUT (the peer sees a closed connection). Local peers are never counted. NIECALL for a
 * second list. */
ZUL_API int NiAlInit(int addrListSize, int maxUnknownConns, int maxFriendlyConns,
                     int maxSuspiciousConns) ZUL_NOTHROW;
ZUL_API int NiAlRelease(void) ZUL_NOTHROW;
/* Rates the peer of an accepted handle (friendly, suspicious or invader); the handle then no longer
 * counts. A handle not counted is left alone. */
ZUL_API int NiAlChangeType(int hdl, int newType) ZUL_NOTHROW;
/* Rates a peer address; with create an unknown peer is added with no connection. */
ZUL_API int NiAlChangeType2(const NI_NODEADDR *pPeerAddr, int newType, int create) ZUL_NOTHROW;
/* Copies of the entries in use, allocated with malloc: the caller frees each list. ppConnList may
 * be null. */
ZUL_API int NiAlGetList(NI_NODEADDR **ppPeerAddrList, uint8_t **ppEntryTypeList,
                        uint16_t **ppConnList, int *pListSize) ZUL_NOTHROW;

/* ---- Traffic control: call-backs for accepted connections that stay too quiet ---- */
typedef void (*NI_TC_FUNC)(int hdl, void *pData);
typedef struct NI_TC_PARAM {
  uint64_t checkTime; /* seconds from now */
  uint64_t inOctets, outOctets;
  uint32_t inMsgs, outMsgs; /* increments over the handle's counters now */
  void *pData;
  NI_TC_FUNC pFunc;
} NI_TC_PARAM;
ZUL_API void NiTcInitParam(NI_TC_PARAM *pParam) ZUL_NOTHROW;
/* Adds an accepted handle, or renews one already in the list (a call-back may do so). */
ZUL_API int NiTcAddHdl(int hdl, const NI_TC_PARAM *pParam) ZUL_NOTHROW;
ZUL_API int NiTcDelHdl(int hdl) ZUL_NOTHROW;
/* Walks the list: a handle that reached every threshold leaves it; one whose check time has come
 * gets its call-back, which must remove or renew it, else it leaves the list. */
ZUL_API int NiTcCheck(void) ZUL_NOTHROW;

/* ---- Peer trace: accepted handles from chosen peers are traced ---- */
/* pMask null: all ones. NIETOO_SMALL past 5 entries. */
ZUL_API int NiSetTraceForPeer(const NI_NODEADDR *pPeerAddr, const NI_NODEADDR *pMask) ZUL_NOTHROW;
/* Removes every entry that the address covers under the mask; NIEINVAL for an empty table. */
ZUL_API int NiClearTraceForPeer(const NI_NODEADDR *pPeerAddr, const NI_NODEADDR *pMask) ZUL_NOTHROW;
ZUL_API int NiGetTraceForPeerList(NI_NODEADDR *pPeerAddrList, NI_NODEADDR *pPeerAddrMaskList,
                                  int maxEntries, int *pFound) ZUL_NOTHROW;

/* ---- Datagram handles ----
 * Handles of blocking datagram sockets (NI_DG_UNCONNECTED, NI_DG_CONNECTED), closed only by
 * NiDgHdlClose. Ports in host order. Every refusal is NIEINVAL. */
ZUL_API int NiDgHdlCreate(int *pHandle) ZUL_NOTHROW;
/* *pServNo in and out: NI_FINDSERV searches the port range, 0 lets the system choose. */
ZUL_API int NiDgHdlBind3(int hdl, const NI_NODEADDR *pNodeAddr, uint16_t *pServNo) ZUL_NOTHROW;
/* pHostName null or empty: any address; at most 63 and 31 units. */
ZUL_API int NiDgHdlBindName(int hdl, const ZUL_UTF16 *pHostName,
                            const ZUL_UTF16 *pServName) ZUL_NOTHROW;
ZUL_API int NiDgHdlConnect(int hdl, const NI_NODEADDR *pNodeAddr, uint16_t port) ZUL_NOTHROW;
ZUL_API int NiDgHdlSend(int hdl, const void *pData, int len, int *pSent) ZUL_NOTHROW;
ZUL_API int NiDgHdlSendTo(int hdl, const NI_NODEADDR *pNodeAddr, uint16_t port, const void *pData,
                          int len, int *pSent) ZUL_NOTHROW;
/* One datagram; waits on a blocking handle, NIETIMEOUT on a non-blocking one with nothing
 * waiting. pNodeAddr, pPort and pRead may be null. */
ZUL_API int NiDgHdlRecvFrom(int hdl, NI_NODEADDR *pNodeAddr, uint16_t *pPort, void *pBuffer,
                            int bufferLen, int *pRead) ZUL_NOTHROW;
ZUL_API int NiDgHdlClose(int hdl) ZUL_NOTHROW;
/* Membership of a multicast group (224.0.0.0/4, ff00::/8) on an interface (null: any). */
ZUL_API int NiDgHdlJoinGroup(int hdl, const NI_NODEADDR *pMcNodeAddr,
                             const NI_NODEADDR *pIfNodeAddr) ZUL_NOTHROW;
ZUL_API int NiDgHdlLeaveGroup(int hdl, const NI_NODEADDR *pMcNodeAddr,
                              const NI_NODEADDR *pIfNodeAddr) ZUL_NOTHROW;
/* Options of IPv4 handles: multicast TTL and sending interface. */
ZUL_API int NiSetIP_MulticastTTL(int hdl, uint8_t ttl) ZUL_NOTHROW;
ZUL_API int NiGetIP_MulticastTTL(int hdl, uint8_t *pTtl) ZUL_NOTHROW;
ZUL_API int NiSetIP_MulticastIF(int hdl, const NI_NODEADDR *pIfNodeAddr) ZUL_NOTHROW;
ZUL_API int NiGetIP_MulticastIF(int hdl, NI_NODEADDR *pIfNodeAddr) ZUL_NOTHROW;

/* ---- Wake-ups: one thread or process ends another's wait ----
 * A server is a datagram handle on the loopback address to put in a select set; clients send it
 * one-byte datagrams. A closed server stays for its clients until the last detaches. */
typedef struct NI_WAKEUP_SERVER NI_WAKEUP_SERVER;
typedef struct NI_WAKEUP_CLIENT NI_WAKEUP_CLIENT;
ZUL_API int NiWakeupOpen(NI_WAKEUP_SERVER **ppServer) ZUL_NOTHROW;
ZUL_API int NiWakeupClose(NI_WAKEUP_SERVER **ppServer) ZUL_NOTHROW;
ZUL_API int NiWakeupAttach(NI_WAKEUP_SERVER *pServer, NI_WAKEUP_CLIENT **ppClient) ZUL_NOTHROW;
ZUL_API int NiWakeupDetach(NI_WAKEUP_CLIENT **ppClient) ZUL_NOTHROW;
/* NIECONN_BROKEN once the server is closed. */
ZUL_API int NiWakeupExec(NI_WAKEUP_CLIENT *pClient) ZUL_NOTHROW;
ZUL_API int NiWakeupExec2(NI_WAKEUP_CLIENT *pClient, const void *pData, int len) ZUL_NOTHROW;
/* Takes every wake-up waiting (*pCount of them); NIETIMEOUT when none waits, NIETOO_BIG for a
 * datagram that is not one. NiWakeupCollect2 takes one datagram of any length. */
ZUL_API int NiWakeupCollect(NI_WAKEUP_SERVER **ppServer, int *pCount) ZUL_NOTHROW;
ZUL_API int NiWakeupCollect2(NI_WAKEUP_SERVER **ppServer, void *pBuffer, int bufferLen,
                             int *pRead) ZUL_NOTHROW;
/* The server's handle (-1 when closed) and its client count. */
ZUL_API int NiWakeupGetNiHdl(NI_WAKEUP_SERVER *pServer) ZUL_NOTHROW;
ZUL_API int NiWakeupGetCntNo(NI_WAKEUP_SERVER *pServer) ZUL_NOTHROW;

/* ---- Buffered connections ----
 * A buffered handle takes a whole message at any time: what the socket can't take at once is
 * queued and sent by later calls on the handle, and incoming messages are assembled in counted
 * buffers. Every handle call forwards to the buffered layer once a handle has it (NiRead,
 * NiWrite, NiPeekEx, NiReadPending, NiWritePending and the per-handle parameters 60 to 66). */

/* A counted message buffer: header and storage in one block. Callers read data, len and uptr;
 * data moves forward as content is consumed. type is NIBUF_NORMAL, NIBUF_REF (a NiBufDup
 * reference: ref is the buffer referred to) or NIBUF_WRAP (foreign storage: freef is the owner's
 * free function). On a normal buffer freef may be set to a recycling function, which gets the
 * buffer back, reset, at its last NiBufFree instead of it being freed. */
typedef struct NIBUF NIBUF;
typedef void (*NIBUF_FREE_FUNC)(NIBUF **ppBuffer);
struct NIBUF {
  ZUL_RAW *data;
  uint32_t len;
  ZUL_RAW *space;
  uint32_t spacelen;
  uint32_t type;
  uint32_t refcount;
  union {
    NIBUF_FREE_FUNC freef;
    NIBUF *ref;
  };
  void *uptr;
  NIBUF *older, *newer; /* links of a handle's out-queue */
};
enum { NIBUF_NORMAL = 0, NIBUF_REF = 1, NIBUF_WRAP = 2 };
#define NIBUF_MAXALLOC 8388608
/* The shape of NiBufAlloc; a handle's receive buffers come from one (NIHP_ALLOC_FUNC). It must
 * give a buffer of at least length bytes of space. */
typedef int (*NI_ALLOC_FUNC)(NIBUF **ppBuffer, int length, const char *pText);

/* A buffer of length bytes (at most NIBUF_MAXALLOC, else NIETOO_BIG), len 0, one reference.
 * pText names it in traces. A heap limit (NIP_BUF_MAX_HEAP) never refuses an allocation. */
ZUL_API int NiBufAlloc(NIBUF **ppBuffer, int length, const char *pText) ZUL_NOTHROW;
ZUL_API int NiBufAlloc2(NIBUF **ppBuffer, int length, const char *pText, void *uptr) ZUL_NOTHROW;
/* Drops one reference and clears *ppBuffer; the last frees (or recycles through freef). A null
 * *ppBuffer is ignored by NiBufFree and NIEINVAL for NiBufFree2, which also never recycles. */
ZUL_API int NiBufFree(NIBUF **ppBuffer) ZUL_NOTHROW;
ZUL_API int NiBufFree2(NIBUF **ppBuffer) ZUL_NOTHROW;
/* A new reference to the data of pBuffer, freed with NiBufFree like any buffer. */
ZUL_API int NiBufDup(NIBUF **ppNew, NIBUF *pBuffer) ZUL_NOTHROW;
/* A buffer around foreign storage of spaceLen bytes holding length bytes (NIETOO_BIG when length
 * exceeds spaceLen). Its last NiBufFree calls pFreeFunc with the buffer; NiBufUnWrap frees only
 * the header and answers the storage (null for a buffer that isn't wrapped). */
ZUL_API int NiBufWrap(NIBUF **ppBuffer, ZUL_RAW *pData, int length, int spaceLen,
                      NIBUF_FREE_FUNC pFreeFunc, void *pUserData) ZUL_NOTHROW;
ZUL_API ZUL_RAW *NiBufUnWrap(NIBUF **ppBuffer) ZUL_NOTHROW;
ZUL_API void *NiBufGetPtr(NIBUF *pBuffer) ZUL_NOTHROW;

/* Sends one message and takes the buffer over (*ppBuffer becomes null): ZUL_O_K, or NIEQUE_FULL
 * as a warning that the queue nears its limit (the buffer is taken all the same). NIETIMEOUT
 * means the queue is full and the buffer is still the caller's; other failures free it. */
ZUL_API int NiBufSend(int hdl, NIBUF **ppBuffer, int timeout) ZUL_NOTHROW;
/* The next complete message into *ppBuffer, which the caller then owns (null otherwise).
 * NIETIMEOUT when none is complete; NIEPING after a ping was answered; NIEACCEPT when a passed
 * handle waits for NiBufGetSentHdl. A fault is kept: this and every later call return it. */
ZUL_API int NiBufReceive(int hdl, NIBUF **ppBuffer, int timeout) ZUL_NOTHROW;
/* A stored fault, else the outcome of a connect still under way. */
ZUL_API int NiBufCheckPendingConn(int hdl, int timeout) ZUL_NOTHROW;
/* Passes sendHdl to the process at the other end of hdl, a buffered connection over a local
 * socket. With keepSettings 0 the receiver gets a buffered handle in message mode, blocking mode
 * 0; else the sender's talk and blocking modes. NIETIMEOUT: the exchange goes on in later calls on
 * hdl. A passed buffered handle answers NIEPASSED from then on; its owner still closes it. */
ZUL_API int NiBufSendHandle(int hdl, int sendHdl, int timeout, int keepSettings) ZUL_NOTHROW;
/* A handle that the peer passed over hdl (also NiAcceptEx on hdl); NIETIMEOUT when none yet. */
ZUL_API int NiBufGetSentHdl(int hdl, int timeout, int *pOutHandle) ZUL_NOTHROW;
/* The NI version of the peer (this library speaks 40); older peers without version messages fail
 * or time out. */
ZUL_API int NiGetPeerVersion(int hdl, int timeout, uint8_t *pPeerVersion) ZUL_NOTHROW;
/* Process-wide hooks, set once (NIECALL afterwards): exitFunc runs at the end of the library,
 * opcodeFunc gets control messages of opcodes the layer doesn't know (hdl, the handle's extension,
 * opcode, 0, data, its length; NIEINVAL: not handled). NiBufISetExtFunc2 reports a second call
 * only at trace level 3 and only when traceIfSet. */
typedef void (*NIBUF_EXIT_FUNC)(void);
typedef int (*NIBUF_OPCODE_FUNC)(int hdl, void *pXhdl, int opcode, int flags, const ZUL_RAW *pData,
                                 int dataLen);
ZUL_API int NiBufISetExtFunc(NIBUF_EXIT_FUNC exitFunc, NIBUF_OPCODE_FUNC opcodeFunc) ZUL_NOTHROW;
ZUL_API int NiBufISetExtFunc2(NIBUF_EXIT_FUNC exitFunc, NIBUF_OPCODE_FUNC opcodeFunc,
                              int traceIfSet) ZUL_NOTHROW;

/* Buffered client and server handles: as NiHandle and NiServerHandle, but the handle (and every
 * handle a buffered listener accepts) is buffered; the Raw forms talk NI_RAW_IO. A connect still
 * under way after the time-out (0: don't wait) answers NIECONN_PENDING with a valid handle. */
ZUL_API int NiBufHandle(const ZUL_UTF16 *host, const ZUL_UTF16 *serv, int timeout,
                        int *pHandle) ZUL_NOTHROW;
ZUL_API int NiBufRawHandle(const ZUL_UTF16 *host, const ZUL_UTF16 *serv, int timeout,
                           int *pHandle) ZUL_NOTHROW;
ZUL_API int NiBufHandleForProto(const ZUL_UTF16 *host, const ZUL_UTF16 *serv, int protocol,
                                int timeout, int *pHandle) ZUL_NOTHROW;
ZUL_API int NiBufRawHandleForProto(const ZUL_UTF16 *host, const ZUL_UTF16 *serv, int protocol,
                                   int timeout, int *pHandle) ZUL_NOTHROW;
ZUL_API int NiBufHandleForAddr(const NI_NODEADDR *pNodeAddr, uint16_t port, int timeout,
                               int *pHandle) ZUL_NOTHROW;
ZUL_API int NiBufRawHandleForAddr(const NI_NODEADDR *pNodeAddr, uint16_t port, int timeout,
                                  int *pHandle) ZUL_NOTHROW;
ZUL_API int NiBufServerHandle(const ZUL_UTF16 *serv, int *pHandle) ZUL_NOTHROW;
ZUL_API int NiBufServerHandleForPort(uint16_t *pServNo, int *pHandle) ZUL_NOTHROW;
ZUL_API int NiBufServerHandleForAddr(const NI_NODEADDR *pNodeAddr, uint16_t *pServNo,
                                     int *pHandle) ZUL_NOTHROW;

#endif /* ZUL_NI_H */
