// The system side of the socket layer: building and reading struct sockaddr.
#ifndef SI_SIUX_H
#define SI_SIUX_H

#include <sys/socket.h>

#include <cstdint>

#include "si/sixx.h"

namespace si {

// A system address for the family from the byte form (see zul_si.h). A null addr is the wildcard
// (inet families only). A wrong length answers SI_EINTERN with SI_LASTERR_INTERN in the record, an
// unknown family SI_EINVAL_FAMI with SI_LASTERR_FAMI.
int BuildSockAddr(SI_SOCK *sock, int family, const ZUL_RAW *addr, int addrLen, uint16_t port,
                  sockaddr_storage *out, socklen_t *outLen) noexcept;

// The byte form of a system address; see SiConvSockAddr.
int ConvSockAddr(SI_SOCK *sock, const sockaddr_storage &sa, socklen_t saLen, ZUL_RAW *addr,
                 int addrSize, uint16_t *port) noexcept;

// Whether a caller's buffer of addrSize bytes holds the family's byte form (null: not wanted).
inline bool AddrBufferFits(int family, const ZUL_RAW *addr, int addrSize) noexcept {
  return addr == nullptr || (AddrLength(family) != 0 && addrSize >= AddrLength(family));
}

}  // namespace si

#endif  // SI_SIUX_H
