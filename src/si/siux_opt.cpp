// Socket options: the layer's level and option pairs, each with the shape of its value.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cstring>

#include "si/siux.h"

namespace {

using si::ErrMap;

enum class Shape {
  kInt,      // an i32
  kFlag,     // an i32 read back as 0 or 1
  kBufSize,  // an i32 halved before it is set
  kLinger,   // on-flag and seconds
  kAddr4,    // an IPv4 address
  kByte,     // one byte
  kMreq4,    // group and interface, 4 bytes each
  kMreq6,    // group of 16 bytes and an i32 interface index
};

struct Option {
  int level;  // the layer's level and option, which are also the system's on Linux
  int option;
  Shape shape;
  bool getOnly;
};

constexpr Option kOptions[] = {
    {SOL_SOCKET, SO_REUSEADDR, Shape::kFlag, false},
    {SOL_SOCKET, SO_KEEPALIVE, Shape::kFlag, false},
    {SOL_SOCKET, SO_RCVLOWAT, Shape::kInt, false},
    {SOL_SOCKET, SO_SNDLOWAT, Shape::kInt, false},
    {SOL_SOCKET, SO_SNDBUF, Shape::kBufSize, false},
    {SOL_SOCKET, SO_RCVBUF, Shape::kBufSize, false},
    {SOL_SOCKET, SO_LINGER, Shape::kLinger, false},
    {SOL_SOCKET, SO_ERROR, Shape::kInt, true},
    {IPPROTO_TCP, TCP_NODELAY, Shape::kFlag, false},
    {IPPROTO_IP, IP_MULTICAST_IF, Shape::kAddr4, false},
    {IPPROTO_IP, IP_MULTICAST_TTL, Shape::kByte, false},
    {IPPROTO_IP, IP_MULTICAST_LOOP, Shape::kByte, false},
    {IPPROTO_IP, IP_ADD_MEMBERSHIP, Shape::kMreq4, false},
    {IPPROTO_IP, IP_DROP_MEMBERSHIP, Shape::kMreq4, false},
    {IPPROTO_IPV6, IPV6_MULTICAST_IF, Shape::kInt, false},
    {IPPROTO_IPV6, IPV6_MULTICAST_HOPS, Shape::kInt, false},
    {IPPROTO_IPV6, IPV6_MULTICAST_LOOP, Shape::kFlag, false},
    {IPPROTO_IPV6, IPV6_ADD_MEMBERSHIP, Shape::kMreq6, false},
    {IPPROTO_IPV6, IPV6_DROP_MEMBERSHIP, Shape::kMreq6, false},
};

const Option *FindOption(int level, int option, bool forGet) {
  for (const Option &o : kOptions)
    if (o.level == level && o.option == option && (forGet || !o.getOnly)) return &o;
  return nullptr;
}

// Whether the record's lengths fit the shape.
bool LengthsFit(Shape shape, const SI_OPTVAL &v) {
  auto one = [&](int n) { return v.value != nullptr && v.valueLen == n; };
  auto two = [&](int n, int m) { return one(n) && v.value2 != nullptr && v.value2Len == m; };
  switch (shape) {
    case Shape::kByte: return one(1);
    case Shape::kAddr4: return one(4);
    case Shape::kLinger: return two(4, 4);
    case Shape::kMreq4: return two(4, 4);
    case Shape::kMreq6: return two(16, 4);
    default: return one(4);
  }
}

// Looks the pair up and checks the record; answers SI_OK with the entry in *out.
int Prepare(SI_SOCK *sock, int level, int option, const SI_OPTVAL *value, bool forGet,
            const Option **out) {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  if (value == nullptr) return SI_EINVAL;
  const Option *o = FindOption(level, option, forGet);
  if (o == nullptr) return si::Refuse(sock, SI_LASTERR_OPT, SI_EINVAL_OPT);
  if (!LengthsFit(o->shape, *value)) return si::Refuse(sock, SI_LASTERR_INTERN, SI_EINTERN);
  *out = o;
  return SI_OK;
}

int32_t ReadI32(const void *p) {
  int32_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

}  // namespace

extern "C" {

int SiSetSockOpt(SI_SOCK *sock, int level, int option, const SI_OPTVAL *value) noexcept {
  const Option *o = nullptr;
  if (int rc = Prepare(sock, level, option, value, false, &o); rc != SI_OK) return rc;
  union {
    int32_t i;
    unsigned char byte;
    in_addr addr;
    linger lg;
    ip_mreq mreq;
    ipv6_mreq mreq6;
  } v;
  std::memset(&v, 0, sizeof v);
  socklen_t len = sizeof(int32_t);
  switch (o->shape) {
    case Shape::kInt:
    case Shape::kFlag: v.i = ReadI32(value->value); break;
    // The system doubles the size it is given, for its own bookkeeping.
    case Shape::kBufSize: v.i = ReadI32(value->value) / 2; break;
    case Shape::kByte: v.byte = *static_cast<const unsigned char *>(value->value); len = 1; break;
    case Shape::kAddr4: std::memcpy(&v.addr, value->value, 4); len = sizeof v.addr; break;
    case Shape::kLinger:
      v.lg.l_onoff = ReadI32(value->value);
      v.lg.l_linger = ReadI32(value->value2);
      len = sizeof v.lg;
      break;
    case Shape::kMreq4:
      std::memcpy(&v.mreq.imr_multiaddr, value->value, 4);
      std::memcpy(&v.mreq.imr_interface, value->value2, 4);
      len = sizeof v.mreq;
      break;
    case Shape::kMreq6:
      std::memcpy(&v.mreq6.ipv6mr_multiaddr, value->value, 16);
      v.mreq6.ipv6mr_interface = static_cast<unsigned>(ReadI32(value->value2));
      len = sizeof v.mreq6;
      break;
  }
  if (setsockopt(sock->socket, o->level, o->option, &v, len) != 0)
    return si::Fail(sock, ErrMap::kSetSockOpt);
  return SI_OK;
}

int SiGetSockOpt(SI_SOCK *sock, int level, int option, SI_OPTVAL *value) noexcept {
  const Option *o = nullptr;
  if (int rc = Prepare(sock, level, option, value, true, &o); rc != SI_OK) return rc;
  union {
    int32_t i;
    unsigned char byte;
    in_addr addr;
    linger lg;
    ip_mreq mreq;
    ipv6_mreq mreq6;
  } v;
  std::memset(&v, 0, sizeof v);
  socklen_t len = sizeof v;
  if (getsockopt(sock->socket, o->level, o->option, &v, &len) != 0)
    return si::Fail(sock, ErrMap::kGetSockOpt);
  switch (o->shape) {
    case Shape::kFlag: v.i = v.i != 0 ? 1 : 0; [[fallthrough]];
    case Shape::kInt:
    case Shape::kBufSize: std::memcpy(value->value, &v.i, 4); break;
    // The system may answer the byte options as an int; the low byte is the value either way.
    case Shape::kByte: *static_cast<unsigned char *>(value->value) = v.byte; break;
    case Shape::kAddr4: std::memcpy(value->value, &v.addr, 4); break;
    case Shape::kLinger: {
      int32_t on = v.lg.l_onoff != 0 ? 1 : 0;
      int32_t seconds = v.lg.l_linger;
      std::memcpy(value->value, &on, 4);
      std::memcpy(value->value2, &seconds, 4);
      break;
    }
    case Shape::kMreq4:
      std::memcpy(value->value, &v.mreq.imr_multiaddr, 4);
      std::memcpy(value->value2, &v.mreq.imr_interface, 4);
      break;
    case Shape::kMreq6: {
      int32_t index = static_cast<int32_t>(v.mreq6.ipv6mr_interface);
      std::memcpy(value->value, &v.mreq6.ipv6mr_multiaddr, 16);
      std::memcpy(value->value2, &index, 4);
      break;
    }
  }
  return SI_OK;
}

int SiSetSockOpt2(SI_SOCK *sock, int level, int option, const void *value, int length) noexcept {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  if (length < 0) return SI_EINVAL;
  if (setsockopt(sock->socket, level, option, value, static_cast<socklen_t>(length)) != 0)
    return si::Fail(sock, ErrMap::kSetSockOpt);
  return SI_OK;
}

int SiGetSockOpt2(SI_SOCK *sock, int level, int option, void *value, int *length) noexcept {
  if (int rc = si::CheckSock(sock); rc != SI_OK) return rc;
  if (length == nullptr || *length < 0) return SI_EINVAL;
  socklen_t len = static_cast<socklen_t>(*length);
  if (getsockopt(sock->socket, level, option, value, &len) != 0)
    return si::Fail(sock, ErrMap::kGetSockOpt);
  *length = static_cast<int>(len);
  return SI_OK;
}

}  // extern "C"
