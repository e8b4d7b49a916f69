/* The socket layer: a thin, uniform layer over the system's sockets.
 *
 * A socket is an SI_SOCK record owned by the caller; every call takes it first and answers one of
 * the SI_ codes below instead of setting errno. When a system call fails, its errno is kept in the
 * record's lastError (or one of the SI_LASTERR_ values when the layer itself refused), so the
 * record says why after the fact. The constants a caller needs are exported values, so no system
 * socket header is required; they carry Linux's numbers.
 *
 * Addresses come in two forms. The plain calls take the address as bytes (4 for SI_AF_INET, 16 for
 * SI_AF_INET6, a path of up to 107 characters in a 108-byte field for SI_AF_UNIX), its length and
 * a port in network byte order. The calls ending in 2 take a ready struct sockaddr and its length.
 *
 * Texts are 16-bit and owned by the library. No call lets an exception out, and none blocks
 * signals: call SiInit once so that no write to a closed peer ends the process with SIGPIPE. */
#ifndef ZUL_SI_H
#define ZUL_SI_H

#include <stdint.h>
#include <stdio.h>

#include "zul_base.h"

/* ---- Result codes ----
 * SI_RC_MAP(X) expands X(name, code, text) for each code; 9 is not a code. */
#define SI_RC_MAP(X)                                                                            \
  X(SI_OK, 0, "success")                                                                        \
  X(SI_EINVAL, 1, "invalid parameter passed")                                                   \
  X(SI_EINVAL_SOCK, 2, "invalid socket descriptor, socket probably already closed")             \
  X(SI_EINVAL_FAMI, 3, "protocol family not supported")                                         \
  X(SI_EINVAL_OPT, 4, "protocol level or option not supported")                                 \
  X(SI_EINTR, 5, "call was interrupted by a signal")                                            \
  X(SI_ESYSCALL, 6, "socket function call failed, lastError value is set in SI_SOCK structure") \
  X(SI_EADDR_NAVAIL, 7, "address not available")                                                \
  X(SI_EPORT_INUSE, 8, "servive in use")                                                        \
  X(SI_ECONN_REFUSE, 10, "no one listening on the remote address")                              \
  X(SI_ECONN_INPROG, 11, "connection is in progress")                                           \
  X(SI_ECONN_BROKEN, 12, "connection to partner broken")                                        \
  X(SI_ETIMEOUT, 13, "server may be too busy")                                                  \
  X(SI_EINTERN, 14, "unexpected (invalid) status")                                              \
  X(SI_ENOTIMPL, 15, "platform does not support a implementation")                              \
  X(SI_EMEMORY, 16, "unable to allocate sufficient memory")                                     \
  X(SI_EMFILE, 17, "maximum for file descriptors reached")

#define SI_RC_ENUM_ENTRY(name, code, text) name = code,
enum { SI_RC_MAP(SI_RC_ENUM_ENTRY) };
#undef SI_RC_ENUM_ENTRY

/* Every socket call answers one of the codes above. */
typedef int SI_RC;

/* The values that lastError holds when the layer refused without a system call. */
enum {
  SI_LASTERR_FAMI = 2048,   /* family not supported */
  SI_LASTERR_OPT = 2049,    /* level or option not supported */
  SI_LASTERR_INTERN = 2050  /* unexpected internal status (a wrong length, a bad message) */
};

/* The ids of the calls, as the network layer's messages carry them: SI_FUNC_MAP(X) expands
 * X(id, wrapper, system call) for each. */
#define SI_FUNC_MAP(X)                                \
  X(0, "(none)", "(none)")                            \
  X(1, "SiInit", "sigaction, sigaction")              \
  X(2, "SiExit", "(none)")                            \
  X(3, "SiSocket", "socket")                          \
  X(4, "SiSocketIPv4", "socket")                      \
  X(5, "SiSocketIPv6", "socket")                      \
  X(6, "SiSocketUDS", "socket")                       \
  X(7, "SiClose", "close")                            \
  X(8, "SiBind", "bind")                              \
  X(9, "SiBind2", "bind")                             \
  X(10, "SiListen", "listen")                         \
  X(11, "SiAccept", "accept")                         \
  X(12, "SiAccept2", "accept")                        \
  X(13, "SiConnect", "connect")                       \
  X(14, "SiConnect2", "connect")                      \
  X(15, "SiSend", "send")                             \
  X(16, "SiSendV", "writev")                          \
  X(17, "SiSendTo", "sendto")                         \
  X(18, "SiSendTo2", "sendto")                        \
  X(19, "SiSendMsg", "sendmsg")                       \
  X(20, "SiSendMsg2", "sendmsg")                      \
  X(21, "SiRecv", "recv")                             \
  X(22, "SiRecvV", "readv")                           \
  X(23, "SiRecvFrom", "recvfrom")                     \
  X(24, "SiRecvFrom2", "recvfrom")                    \
  X(25, "SiRecvMsg", "recvmsg")                       \
  X(26, "SiRecvMsg2", "recvmsg")                      \
  X(27, "SiGetPendDataLen", "ioctl")                  \
  X(28, "SiShutdown", "shutdown")                     \
  X(29, "SiGetSockName", "getsockname")               \
  X(30, "SiGetSockName2", "getsockname")              \
  X(31, "SiGetPeerName", "getpeername")               \
  X(32, "SiGetPeerName2", "getpeername")              \
  X(33, "SiGetSockOpt", "getsockopt")                 \
  X(34, "SiGetSockOpt2", "getsockopt")                \
  X(35, "SiSetSockOpt", "setsockopt")                 \
  X(36, "SiSetSockOpt2", "setsockopt")                \
  X(37, "SiGetBlockMode", "fcntl")                    \
  X(38, "SiSetBlockMode", "fcntl, fcntl")             \
  X(39, "SiGetCloseExec", "fcntl")                    \
  X(40, "SiSetCloseExec", "fcntl")                    \
  X(41, "SiSelect", "select")                         \
  X(42, "SiPoll", "poll")                             \
  X(43, "SiPeek", "poll")                             \
  X(44, "SiPeekPendConn", "poll, getsockopt")         \
  X(45, "SiSendSocket", "sendmsg")                    \
  X(46, "SiRecvSocket", "recvmsg, recv, close")

/* ---- Records ---- */

/* One socket. socket is -1 when closed; lastError is 0 after creation. */
typedef struct SI_SOCK {
  int32_t socket;
  int32_t family;     /* SI_AF_INET, SI_AF_INET6 or SI_AF_UNIX */
  int32_t type;       /* SI_SOCK_STREAM, SI_SOCK_DGRAM or SI_SOCK_RAW */
  uint32_t lastError; /* errno of the last failure, or an SI_LASTERR_ value */
} SI_SOCK;

/* One piece of a scattered send or receive; laid out as the system's struct iovec. */
typedef struct SI_IOVEC {
  void *base;
  size_t length;
} SI_IOVEC;

/* One entry of SiPoll; laid out as the system's struct pollfd. events and revents hold SI_POLL
 * bits. */
typedef struct SI_POLLFD {
  int32_t fd;
  int16_t events;
  int16_t revents;
} SI_POLLFD;

/* A descriptor set for SiSelect: SI_FD_SETSIZE (32768) bits in 64-bit words, so descriptors
 * above the system's 1023 can be watched. Used through SI_FD_ZERO, SI_FD_SET, SI_FD_CLR and
 * SI_FD_ISSET; descriptors outside 0 to 32767 are ignored. */
typedef struct SI_FDSET {
  uint64_t bits[512];
} SI_FDSET;

/* The value of SiSetSockOpt and SiGetSockOpt. What value and value2 point to depends on the
 * option; the lengths must match exactly:
 *   i32 options (SO_REUSEADDR, SO_KEEPALIVE, SO_RCVLOWAT, SO_SNDLOWAT, SO_SNDBUF, SO_RCVBUF,
 *     SO_ERROR, TCP_NODELAY, IPV6_MULTICAST_IF, _HOPS, _LOOP): value, 4 bytes.
 *   SO_LINGER: value the i32 on-flag, value2 the i32 seconds.
 *   IP_MULTICAST_IF: value an address of 4 bytes. IP_MULTICAST_TTL, IP_MULTICAST_LOOP: 1 byte.
 *   IP_ADD_MEMBERSHIP, IP_DROP_MEMBERSHIP: value the group, value2 the interface, 4 bytes each.
 *   IPV6_ADD_MEMBERSHIP, IPV6_DROP_MEMBERSHIP: value the group of 16 bytes, value2 the i32
 *     interface index. */
typedef struct SI_OPTVAL {
  void *value;
  int32_t valueLen;
  void *value2;
  int32_t value2Len;
} SI_OPTVAL;

/* ---- Constants ---- */

ZUL_API const int SI_AF_UNSPEC;
ZUL_API const int SI_AF_UNIX;
ZUL_API const int SI_AF_INET;
ZUL_API const int SI_AF_INET6;

ZUL_API const int SI_SOCK_STREAM;
ZUL_API const int SI_SOCK_DGRAM;
ZUL_API const int SI_SOCK_RAW;

ZUL_API const int SI_SOL_SOCKET;
ZUL_API const int SI_IPPROTO_IP;
ZUL_API const int SI_IPPROTO_TCP;
ZUL_API const int SI_IPPROTO_IPV6;

/* SI_SO_REUSEPORT is SI_SO_REUSEADDR; SI_SO_EXCLUSIVEADDRUSE and SI_IPV6_V6ONLY are 0, which no
 * level accepts. */
ZUL_API const int SI_SO_REUSEADDR;
ZUL_API const int SI_SO_REUSEPORT;
ZUL_API const int SI_SO_ERROR;
ZUL_API const int SI_SO_SNDBUF;
ZUL_API const int SI_SO_RCVBUF;
ZUL_API const int SI_SO_KEEPALIVE;
ZUL_API const int SI_SO_LINGER;
ZUL_API const int SI_SO_RCVLOWAT;
ZUL_API const int SI_SO_SNDLOWAT;
ZUL_API const int SI_SO_EXCLUSIVEADDRUSE;

ZUL_API const int SI_TCP_NODELAY;
ZUL_API const int SI_IP_MULTICAST_IF;
ZUL_API const int SI_IP_MULTICAST_TTL;
ZUL_API const int SI_IP_MULTICAST_LOOP;
ZUL_API const int SI_IP_ADD_MEMBERSHIP;
ZUL_API const int SI_IP_DROP_MEMBERSHIP;
ZUL_API const int SI_IPV6_MULTICAST_IF;
ZUL_API const int SI_IPV6_MULTICAST_HOPS;
ZUL_API const int SI_IPV6_MULTICAST_LOOP;
ZUL_API const int SI_IPV6_ADD_MEMBERSHIP;
ZUL_API const int SI_IPV6_DROP_MEMBERSHIP;
ZUL_API const int SI_IPV6_V6ONLY;

ZUL_API const int SI_MSG_OOB;
ZUL_API const int SI_MSG_PEEK;

ZUL_API const int SI_SHUT_RD;
ZUL_API const int SI_SHUT_WR;
ZUL_API const int SI_SHUT_RDWR;

ZUL_API const int SI_POLLIN;
ZUL_API const int SI_POLLPRI;
ZUL_API const int SI_POLLOUT;
ZUL_API const int SI_POLLERR;
ZUL_API const int SI_POLLHUP;
ZUL_API const int SI_POLLNVAL;

ZUL_API const int SI_PEEK_RD;
ZUL_API const int SI_PEEK_WR;

/* IPv4 addresses as 32-bit values in network byte order. */
ZUL_API const uint32_t SI_INADDR_ANY;
ZUL_API const uint32_t SI_INADDR_LOOPBACK;
ZUL_API const uint32_t SI_INADDR_BROADCAST;

ZUL_API const int SI_POLL_SUPPORTED;
ZUL_API const int SI_UDS_SUPPORTED;
ZUL_API const int SI_PEND_CONN_SUPPORTED;
ZUL_API const int SI_SOCKET_NUMBER_LIMIT;

ZUL_API const int SI_FD_SETSIZE;

/* ---- Names and texts ----
 * All answer null for a value they don't know. */
ZUL_API const ZUL_UTF16 *SiGetSiErrorName(int rc) ZUL_NOTHROW;
ZUL_API const ZUL_UTF16 *SiGetSiErrorText(int rc) ZUL_NOTHROW;
/* The wrapper's name and the system calls behind it, by the ids of SI_FUNC_MAP. */
ZUL_API const ZUL_UTF16 *SiGetFuncName(int id) ZUL_NOTHROW;
ZUL_API const ZUL_UTF16 *SiGetLibFuncName(int id) ZUL_NOTHROW;
ZUL_API const ZUL_UTF16 *SiGetFamilyName(int family) ZUL_NOTHROW;
ZUL_API const ZUL_UTF16 *SiGetTypeName(int type) ZUL_NOTHROW;
/* The text of a lastError value into buffer (size units, terminated at size - 1): the layer's own
 * text for the SI_LASTERR_ values, the system's errno text for the rest. Answers buffer. */
ZUL_API ZUL_UTF16 *SiGetErrorText(uint32_t error, ZUL_UTF16 *buffer, size_t size) ZUL_NOTHROW;
/* Traces the record's socket and last error as a system error (trace level 1 and above). */
ZUL_API void SiTraceLastError(const SI_SOCK *sock) ZUL_NOTHROW;
/* The layer's platform summary, line by line, to file or to the trace. */
ZUL_API void SiPrintPlatformInfo(FILE *file) ZUL_NOTHROW;
ZUL_API void SiTracePlatformInfo(void) ZUL_NOTHROW;

/* ---- Byte order ---- */
ZUL_API uint16_t SiNtoHs(uint16_t value) ZUL_NOTHROW;
ZUL_API uint16_t SiHtoNs(uint16_t value) ZUL_NOTHROW;
ZUL_API uint32_t SiNtoHl(uint32_t value) ZUL_NOTHROW;
ZUL_API uint32_t SiHtoNl(uint32_t value) ZUL_NOTHROW;

/* ---- Descriptor sets ---- */
ZUL_API void SI_FD_ZERO(SI_FDSET *set) ZUL_NOTHROW;
ZUL_API void SI_FD_SET(int fd, SI_FDSET *set) ZUL_NOTHROW;
ZUL_API void SI_FD_CLR(int fd, SI_FDSET *set) ZUL_NOTHROW;
ZUL_API int SI_FD_ISSET(int fd, const SI_FDSET *set) ZUL_NOTHROW;

/* ---- Life of the layer ---- */

/* Once per process: sets SIGPIPE to ignored. On failure *error (if not null) gets errno and the
 * answer is SI_ESYSCALL; the next call tries again. */
ZUL_API int SiInit(int *error) ZUL_NOTHROW;
/* Does nothing; answers SI_OK. */
ZUL_API int SiExit(void) ZUL_NOTHROW;

/* ---- Sockets ----
 * A null record or buffer answers SI_EINVAL; a closed record (socket -1) SI_EINVAL_SOCK. */

/* A new socket of the family and type in *sock, with protocol 0. A family or type the system
 * doesn't know answers SI_EINVAL; the address calls refuse families other than SI_AF_INET,
 * SI_AF_INET6 and SI_AF_UNIX with SI_EINVAL_FAMI (lastError SI_LASTERR_FAMI). */
ZUL_API int SiSocket(SI_SOCK *sock, int family, int type) ZUL_NOTHROW;
ZUL_API int SiSocketIPv4(SI_SOCK *sock, int type) ZUL_NOTHROW;
ZUL_API int SiSocketIPv6(SI_SOCK *sock, int type) ZUL_NOTHROW;
ZUL_API int SiSocketUDS(SI_SOCK *sock, int type) ZUL_NOTHROW;
/* Closes the descriptor and sets socket to -1, also when close fails. */
ZUL_API int SiClose(SI_SOCK *sock) ZUL_NOTHROW;

/* A null addr binds the wildcard address of the family (not for SI_AF_UNIX); port 0 lets the
 * system choose. */
ZUL_API int SiBind(SI_SOCK *sock, const ZUL_RAW *addr, int addrLen, uint16_t port) ZUL_NOTHROW;
ZUL_API int SiBind2(SI_SOCK *sock, const void *sockaddr, int sockaddrLen) ZUL_NOTHROW;
ZUL_API int SiListen(SI_SOCK *sock, int backlog) ZUL_NOTHROW;
/* The new connection in *newSock, with the listener's family and type and lastError 0. When addr
 * is not null it receives the peer's address (addrSize must hold the family's: 4, 16 or 108
 * bytes, else SI_EINTERN before accepting) and port, if not null, the port in network order. */
ZUL_API int SiAccept(SI_SOCK *sock, SI_SOCK *newSock, ZUL_RAW *addr, int addrSize,
                     uint16_t *port) ZUL_NOTHROW;
/* *sockaddrLen holds the buffer's size and receives the address's. */
ZUL_API int SiAccept2(SI_SOCK *sock, SI_SOCK *newSock, void *sockaddr,
                      int *sockaddrLen) ZUL_NOTHROW;
/* On a non-blocking socket SI_ECONN_INPROG; SiPeekPendConn then tells the outcome. */
ZUL_API int SiConnect(SI_SOCK *sock, const ZUL_RAW *addr, int addrLen, uint16_t port) ZUL_NOTHROW;
ZUL_API int SiConnect2(SI_SOCK *sock, const void *sockaddr, int sockaddrLen) ZUL_NOTHROW;

/* ---- Data ----
 * flags are SI_MSG_ bits. *done (may be null) receives the bytes moved; a receive of 0 bytes with
 * SI_OK means the peer has shut down. The sends other than SiSendV (a plain writev) never raise
 * SIGPIPE, even without SiInit. */
ZUL_API int SiSend(SI_SOCK *sock, const void *buffer, size_t length, int flags,
                   size_t *done) ZUL_NOTHROW;
ZUL_API int SiSendV(SI_SOCK *sock, const SI_IOVEC *iov, int count, size_t *done) ZUL_NOTHROW;
ZUL_API int SiSendTo(SI_SOCK *sock, const void *buffer, size_t length, int flags,
                     const ZUL_RAW *addr, int addrLen, uint16_t port, size_t *done) ZUL_NOTHROW;
ZUL_API int SiSendTo2(SI_SOCK *sock, const void *buffer, size_t length, int flags,
                      const void *sockaddr, int sockaddrLen, size_t *done) ZUL_NOTHROW;
/* addr null: the connected peer. */
ZUL_API int SiSendMsg(SI_SOCK *sock, const SI_IOVEC *iov, int count, int flags,
                      const ZUL_RAW *addr, int addrLen, uint16_t port, size_t *done) ZUL_NOTHROW;
ZUL_API int SiSendMsg2(SI_SOCK *sock, const SI_IOVEC *iov, int count, int flags,
                       const void *sockaddr, int sockaddrLen, size_t *done) ZUL_NOTHROW;
ZUL_API int SiRecv(SI_SOCK *sock, void *buffer, size_t length, int flags,
                   size_t *done) ZUL_NOTHROW;
ZUL_API int SiRecvV(SI_SOCK *sock, const SI_IOVEC *iov, int count, size_t *done) ZUL_NOTHROW;
/* The sender's address as for SiAccept; addr may be null. */
ZUL_API int SiRecvFrom(SI_SOCK *sock, void *buffer, size_t length, int flags, ZUL_RAW *addr,
                       int addrSize, uint16_t *port, size_t *done) ZUL_NOTHROW;
ZUL_API int SiRecvFrom2(SI_SOCK *sock, void *buffer, size_t length, int flags, void *sockaddr,
                        int *sockaddrLen, size_t *done) ZUL_NOTHROW;
ZUL_API int SiRecvMsg(SI_SOCK *sock, const SI_IOVEC *iov, int count, int flags, ZUL_RAW *addr,
                      int addrSize, uint16_t *port, size_t *done) ZUL_NOTHROW;
ZUL_API int SiRecvMsg2(SI_SOCK *sock, const SI_IOVEC *iov, int count, int flags, void *sockaddr,
                       int *sockaddrLen, size_t *done) ZUL_NOTHROW;
/* Bytes waiting to be read. */
ZUL_API int SiGetPendDataLen(SI_SOCK *sock, int *length) ZUL_NOTHROW;
/* how: SI_SHUT_RD, SI_SHUT_WR or SI_SHUT_RDWR. */
ZUL_API int SiShutdown(SI_SOCK *sock, int how) ZUL_NOTHROW;

/* ---- Names of the ends ----
 * As SiAccept's address; the 2 forms as SiAccept2's. */
ZUL_API int SiGetSockName(SI_SOCK *sock, ZUL_RAW *addr, int addrSize, uint16_t *port) ZUL_NOTHROW;
ZUL_API int SiGetSockName2(SI_SOCK *sock, void *sockaddr, int *sockaddrLen) ZUL_NOTHROW;
ZUL_API int SiGetPeerName(SI_SOCK *sock, ZUL_RAW *addr, int addrSize, uint16_t *port) ZUL_NOTHROW;
ZUL_API int SiGetPeerName2(SI_SOCK *sock, void *sockaddr, int *sockaddrLen) ZUL_NOTHROW;
/* A system address of sockaddrLen bytes into the family's form (see SiAccept), for the family of
 * sock. A system address shorter than the family's is refused except for SI_AF_UNIX, whose path
 * is copied and terminated (an unnamed socket gives an empty path). */
ZUL_API int SiConvSockAddr(SI_SOCK *sock, const void *sockaddr, int sockaddrLen, ZUL_RAW *addr,
                           int addrSize, uint16_t *port) ZUL_NOTHROW;

/* ---- Options ----
 * level and option are SI_ constants; another pair answers SI_EINVAL_OPT (lastError
 * SI_LASTERR_OPT), a length other than the option's SI_EINTERN (SI_LASTERR_INTERN). The send and
 * receive buffer sizes are halved before the call, as the system doubles them. SiGetSockOpt gives
 * flag-like options as 0 or 1 and also knows SI_SO_ERROR. The 2 forms pass the system's level,
 * option, value and length unchanged. */
ZUL_API int SiSetSockOpt(SI_SOCK *sock, int level, int option, const SI_OPTVAL *value) ZUL_NOTHROW;
ZUL_API int SiSetSockOpt2(SI_SOCK *sock, int level, int option, const void *value,
                          int length) ZUL_NOTHROW;
ZUL_API int SiGetSockOpt(SI_SOCK *sock, int level, int option, SI_OPTVAL *value) ZUL_NOTHROW;
ZUL_API int SiGetSockOpt2(SI_SOCK *sock, int level, int option, void *value,
                          int *length) ZUL_NOTHROW;
/* mode 1: blocking; anything else: non-blocking. *blocking receives 1 or 0. */
ZUL_API int SiSetBlockMode(SI_SOCK *sock, int mode) ZUL_NOTHROW;
ZUL_API int SiGetBlockMode(SI_SOCK *sock, int *blocking) ZUL_NOTHROW;
/* flag 1: close on exec; anything else: inherited. */
ZUL_API int SiSetCloseExec(SI_SOCK *sock, int flag) ZUL_NOTHROW;
ZUL_API int SiGetCloseExec(SI_SOCK *sock, int *flag) ZUL_NOTHROW;

/* ---- Waiting ----
 * Time-outs in milliseconds; negative waits without limit. *selected receives the count of ready
 * descriptors and *error errno on failure (either may be null). */
ZUL_API int SiSelect(int count, SI_FDSET *readSet, SI_FDSET *writeSet, SI_FDSET *exceptSet,
                     int timeout, int *selected, int *error) ZUL_NOTHROW;
/* Nothing ready is SI_OK with *selected 0. ENOMEM answers SI_ETIMEOUT, so SiPeek retries it. */
ZUL_API int SiPoll(SI_POLLFD *fds, unsigned count, int timeout, int *selected,
                   int *error) ZUL_NOTHROW;
/* flags SI_PEEK_RD, SI_PEEK_WR or both. SI_OK: ready; SI_ETIMEOUT: nothing in time;
 * SI_EINVAL_SOCK: not open; SI_EINVAL: the peer hung up (tested before any data, so a closed
 * Unix peer answers this with bytes still pending); SI_EINTERN: an error is pending;
 * SI_ESYSCALL: poll failed. */
ZUL_API int SiPeek(SI_SOCK *sock, int flags, int timeout) ZUL_NOTHROW;
/* The outcome of a non-blocking connect: SI_OK, SI_ETIMEOUT, SI_EINVAL_SOCK, SI_EPORT_INUSE or
 * SI_ECONN_REFUSE (any other failure, with its errno in lastError). */
ZUL_API int SiPeekPendConn(SI_SOCK *sock, int timeout) ZUL_NOTHROW;
/* How many descriptors the process may open: the system's limit, or by trying up to limit
 * sockets when it has none; -1 on an allocation failure. */
ZUL_API int SiGetMaxSockets(int limit) ZUL_NOTHROW;

/* ---- Passing a socket to another process ----
 * via is a connected Unix socket. The receiver gets a new descriptor with the sender's family and
 * type; the sender keeps its own. A malformed message answers SI_EINTERN (SI_LASTERR_INTERN) and
 * leaves no descriptor open. */
ZUL_API int SiSendSocket(SI_SOCK *via, const SI_SOCK *sock) ZUL_NOTHROW;
ZUL_API int SiRecvSocket(SI_SOCK *via, SI_SOCK *sock) ZUL_NOTHROW;

#endif /* ZUL_SI_H */
