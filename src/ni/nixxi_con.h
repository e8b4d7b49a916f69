// Internals of connect, listen and accept: socket set-up, binding with the port search, the
// listener of up to two sockets, connects that may stay pending, and accept.
//
// Ports cross these functions in network order; the public layer converts. The search value
// NI_FINDSERV (65535) reads the same in either order.
#ifndef NI_NIXXI_CON_H
#define NI_NIXXI_CON_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "ni/nixxi.h"

// 1 when a connect or listen should use a local socket: always when forced, else only while
// NIP_CONNLOCAL is on.
int NiIUseUDS(int forced) noexcept;

// Prepares a new or accepted socket: creates it when its number is -1 (family and type taken from
// the record), close-on-exec, buffer sizes, and the stream or datagram options. Option failures
// are reported but not fatal. Answers -1 when the socket can't be created.
int NiIInitSocket(NITAB *pHdl, SI_SOCK *pSock, int ignored) noexcept;

// The socket layer's address for pSock's family: 4 or 16 address bytes, or for a local socket the
// path made from NIP_UDS_PATH and the port (108 bytes). pBuffer holds 108 bytes.
int NiIMakeSockAddr(NITAB *pHdl, SI_SOCK *pSock, const NI_NODEADDR *pNodeAddr, uint16_t port,
                    ZUL_RAW *pBuffer, int *pLen) noexcept;

// The node address of a socket layer's address of pSock's family; a local socket gives
// NI_ADDR_LOCAL_INIT, port 0 and its path (asked of the system when empty) in pPath.
void NiISolveSockAddr(SI_SOCK *pSock, const ZUL_RAW *pAddr, uint16_t port, NI_NODEADDR *pNodeAddr,
                      uint16_t *pPort, char *pPath, size_t pathLen) noexcept;

// Binds one socket to the address (null: NI_ADDR_ANY_INIT) and *pPort; a local socket's old file
// is removed first. A port of 0 is read back. A busy port is an error only with isError.
int NiIBindSocket(NITAB *pHdl, SI_SOCK *pSock, const NI_NODEADDR *pNodeAddr, uint16_t *pPort,
                  int isError) noexcept;

// Binds a new handle: NI_FINDSERV searches the port range, a listener's local socket follows on
// the same port (its failure is fatal only with mustBindUds). *pServNo gets the port taken.
int NiIBind(NITAB *pHdl, const NI_NODEADDR *pNodeAddr, uint16_t *pServNo, int mustBindUds) noexcept;

// A listener on the address (null: any) and *pServNo for the NI_PROTO_FAM mask (0: the IP family
// in use, plus a local socket without an address). tries counts the rounds already made.
int NiIListen(const NI_NODEADDR *pNodeAddr, uint16_t *pServNo, int protocol, int buffered,
              int tries, NITAB **ppHdl) noexcept;

// Connects the handle's mSocket; NIECONN_PENDING when it is still under way after timeout (0:
// at once). The peer is stored whatever the outcome.
int NiIConnectSocket(NITAB *pHdl, const NI_NODEADDR *pNodeAddr, uint16_t port, int timeout,
                     int isError) noexcept;

// The outcome of a pending connect within timeout: ZUL_O_K, NIETIMEOUT or the failure. With
// setStat the state follows: NI_CONNECTED, or back to NI_CONN_WAIT.
int NiICheckPendConnection(NITAB *pHdl, int timeout, int setStat) noexcept;

// A connection to the address: local socket first where allowed, then IP. *ppHdl gets the handle
// on success and with NIECONN_PENDING (state NI_CONN_WAIT).
int NiIConnect(const NI_NODEADDR *pNodeAddr, uint16_t port, int protocol, int timeout,
               FILE **ppTrcFile, NITAB **ppHdl) noexcept;

// Waits up to timeout for a connection on the listener (the local socket first) and makes its
// handle in *ppHdl.
int NiIAccept(NITAB *pListenHdl, int timeout, FILE **ppTrcFile, NITAB **ppHdl) noexcept;

// Whether the name (null: this host's) leads to this host: a listener on its address, and with
// connectTest a connection to it. *pNodeAddr gets the address.
int NiIMyAddrVerify(const ZUL_UTF16 *pHostName, int timeout, NI_NODEADDR *pNodeAddr,
                    int connectTest) noexcept;

// The one client connect, by name (pHost, pServ) or by address. A connect still pending after
// timeout (0: none) is NIECONN_REFUSED and the handle is closed.
int NiBufIConnect(const ZUL_UTF16 *pHost, const ZUL_UTF16 *pServ, const NI_NODEADDR *pNodeAddr,
                  uint16_t port, int protocol, int timeout, int raw, int buffered, FILE **ppTrcFile,
                  NITAB **ppHdl) noexcept;

// One socket option of a handle: its connection socket, or a listener's IP socket if it has one
// and else its local one. pValueText names level and option in reports ("SOL_SOCKET-SO_RCVBUF").
int NiISetSockOpt(NITAB *pHdl, int level, int option, const SI_OPTVAL *pValue,
                  const char *pValueText) noexcept;
int NiIGetSockOpt(NITAB *pHdl, int level, int option, SI_OPTVAL *pValue,
                  const char *pValueText) noexcept;

// Reverse invoke is inactive: these report NIEINTERN, or answer 0, with a trace line.
int NiIRiSrvAccept(NITAB *pListenHdl, int timeout, FILE **ppTrcFile, NITAB **ppHdl) noexcept;
int NiIRiSrvPeek(NITAB *pHdl, int timeout) noexcept;
int NiIRiSrvCloseHandle(NITAB *pHdl) noexcept;
int NiIRiCliAccept(NITAB *pHdl, int timeout) noexcept;
// Sets *pRc to NIEINTERN and answers 1: the call was taken.
int NiIRiCliConnect(const NI_NODEADDR *pNodeAddr, uint16_t port, int timeout, NITAB **ppHdl,
                    int *pRc) noexcept;
int NiIRiCliGetHdl(NITAB *pHdl) noexcept;
int NiIRiSrvProcEvent(NITAB *pHdl) noexcept;
void NiRiClose() noexcept;

namespace ni {

// The local socket path of a port (host order) from NIP_UDS_PATH, in 7-bit characters, cut to
// 107. out holds 108 bytes.
void UdsPath(uint16_t port, char *out) noexcept;

}  // namespace ni

#endif  // NI_NIXXI_CON_H
