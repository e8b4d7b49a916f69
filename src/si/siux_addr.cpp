// Addresses between the layer's byte form and struct sockaddr.
#include <netinet/in.h>
#include <sys/un.h>

#include <cstddef>
#include <cstring>

#include "si/siux.h"

namespace si {

int BuildSockAddr(SI_SOCK *sock, int family, const ZUL_RAW *addr, int addrLen, uint16_t port,
                  sockaddr_storage *out, socklen_t *outLen) noexcept {
  std::memset(out, 0, sizeof *out);
  switch (family) {
    case kAfInet: {
      if (addr != nullptr && addrLen != 4) return Refuse(sock, SI_LASTERR_INTERN, SI_EINTERN);
      auto *in = reinterpret_cast<sockaddr_in *>(out);
      in->sin_family = AF_INET;
      in->sin_port = port;
      if (addr != nullptr) std::memcpy(&in->sin_addr, addr, 4);
      *outLen = sizeof(sockaddr_in);
      return SI_OK;
    }
    case kAfInet6: {
      if (addr != nullptr && addrLen != 16) return Refuse(sock, SI_LASTERR_INTERN, SI_EINTERN);
      auto *in6 = reinterpret_cast<sockaddr_in6 *>(out);
      in6->sin6_family = AF_INET6;
      in6->sin6_port = port;
      if (addr != nullptr) std::memcpy(&in6->sin6_addr, addr, 16);
      *outLen = sizeof(sockaddr_in6);
      return SI_OK;
    }
    case kAfUnix: {
      if (addr == nullptr) return SI_EINVAL;
      if (addrLen != kUnixAddrLen) return Refuse(sock, SI_LASTERR_INTERN, SI_EINTERN);
      auto *un = reinterpret_cast<sockaddr_un *>(out);
      un->sun_family = AF_UNIX;
      size_t n = strnlen(reinterpret_cast<const char *>(addr), kPathMax);
      std::memcpy(un->sun_path, addr, n);
      // The path's length plus the two bytes of the family field.
      *outLen = static_cast<socklen_t>(n + offsetof(sockaddr_un, sun_path));
      return SI_OK;
    }
    default:
      return Refuse(sock, SI_LASTERR_FAMI, SI_EINVAL_FAMI);
  }
}

int ConvSockAddr(SI_SOCK *sock, const sockaddr_storage &sa, socklen_t saLen, ZUL_RAW *addr,
                 int addrSize, uint16_t *port) noexcept {
  int family = sock->family;
  if (AddrLength(family) == 0) return Refuse(sock, SI_LASTERR_FAMI, SI_EINVAL_FAMI);
  if (!AddrBufferFits(family, addr, addrSize)) return Refuse(sock, SI_LASTERR_INTERN, SI_EINTERN);
  switch (family) {
    case kAfInet: {
      if (saLen < sizeof(sockaddr_in)) return Refuse(sock, SI_LASTERR_INTERN, SI_EINTERN);
      const auto &in = reinterpret_cast<const sockaddr_in &>(sa);
      if (addr != nullptr) std::memcpy(addr, &in.sin_addr, 4);
      if (port != nullptr) *port = in.sin_port;
      return SI_OK;
    }
    case kAfInet6: {
      if (saLen < sizeof(sockaddr_in6)) return Refuse(sock, SI_LASTERR_INTERN, SI_EINTERN);
      const auto &in6 = reinterpret_cast<const sockaddr_in6 &>(sa);
      if (addr != nullptr) std::memcpy(addr, &in6.sin6_addr, 16);
      if (port != nullptr) *port = in6.sin6_port;
      return SI_OK;
    }
    default: {
      // A Unix name may be shorter than sockaddr_un; an unnamed socket has none at all.
      const auto &un = reinterpret_cast<const sockaddr_un &>(sa);
      size_t offset = offsetof(sockaddr_un, sun_path);
      size_t avail = saLen > offset ? saLen - offset : 0;
      if (avail > static_cast<size_t>(kPathMax)) avail = kPathMax;
      size_t n = strnlen(un.sun_path, avail);
      if (addr != nullptr) {
        std::memcpy(addr, un.sun_path, n);
        addr[n] = 0;
      }
      if (port != nullptr) *port = 0;
      return SI_OK;
    }
  }
}

}  // namespace si

extern "C" int SiConvSockAddr(SI_SOCK *sock, const void *sockaddr, int sockaddrLen, ZUL_RAW *addr,
                              int addrSize, uint16_t *port) noexcept {
  if (sock == nullptr || sockaddr == nullptr || sockaddrLen < 0) return SI_EINVAL;
  sockaddr_storage sa{};
  size_t n = static_cast<size_t>(sockaddrLen);
  std::memcpy(&sa, sockaddr, n < sizeof sa ? n : sizeof sa);
  return si::ConvSockAddr(sock, sa, static_cast<socklen_t>(n < sizeof sa ? n : sizeof sa), addr,
                          addrSize, port);
}
