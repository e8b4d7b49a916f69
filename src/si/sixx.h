// Internals shared by the socket layer's files: the per-call errno tables and the record helpers.
#ifndef SI_SIXX_H
#define SI_SIXX_H

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "zul_si.h"

namespace si {

// One errno table per family of calls. What a table doesn't list maps to SI_ESYSCALL.
enum class ErrMap : int {
  kDescriptor,  // close, listen, the fcntl calls, FIONREAD
  kSocket,
  kRecv,
  kSend,
  kSendTo,      // also sendmsg
  kConnect,
  kAccept,
  kBind,
  kSetSockOpt,
  kPoll,
  kSelect,
  kShutdown,
  kGetPeerName,
  kGetSockName,
  kGetSockOpt,
  kSendSocket,
  kRecvSocket,
  kCount
};

// The SI_ code of err after a call of the family.
int MapErrno(ErrMap map, int err) noexcept;

// Stores errno in the record and answers its code.
inline int Fail(SI_SOCK *sock, ErrMap map) noexcept {
  int err = errno;
  sock->lastError = static_cast<uint32_t>(err);
  return MapErrno(map, err);
}

// Sets an internal last error and answers rc.
inline int Refuse(SI_SOCK *sock, uint32_t lastError, int rc) noexcept {
  sock->lastError = lastError;
  return rc;
}

// The guard at the top of every call on a record: null is SI_EINVAL, a closed record (negative
// descriptor) SI_EINVAL_SOCK with EBADF kept.
inline int CheckSock(SI_SOCK *sock) noexcept {
  if (sock == nullptr) return SI_EINVAL;
  if (sock->socket < 0) {
    sock->lastError = EBADF;
    return SI_EINVAL_SOCK;
  }
  return SI_OK;
}

// Family and type as the layer knows them (Linux's numbers).
inline constexpr int kAfUnix = 1;
inline constexpr int kAfInet = 2;
inline constexpr int kAfInet6 = 10;
inline constexpr int kPathMax = 107;  // characters of a Unix socket path, terminator excluded
inline constexpr int kUnixAddrLen = 108;

// The family's address length in the byte form (4, 16, 108), or 0 for an unknown family.
inline int AddrLength(int family) noexcept {
  switch (family) {
    case kAfInet: return 4;
    case kAfInet6: return 16;
    case kAfUnix: return kUnixAddrLen;
    default: return 0;
  }
}

// The 8-bit names of the family and type for trace lines ("?" when unknown).
const char *FamilyName8(int family) noexcept;
const char *TypeName8(int type) noexcept;
// The 8-bit name of an SI_ code ("?" when unknown).
const char *RcName8(int rc) noexcept;

// ---- Fault point for tests ----
// SiSendV of more bytes than this fails with EMSGSIZE, which stream sockets never report, so that
// callers' handling of it can be tried. SIZE_MAX, the default, turns it off at the cost of one
// relaxed load. Tests only.
extern std::atomic<size_t> gSendVFaultAbove;

}  // namespace si

#endif  // SI_SIXX_H
