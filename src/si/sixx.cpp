// The platform-neutral part of the socket layer: code, call, family and type names and texts,
// the published constants, byte order, descriptor sets and the platform summary.
#define DPTRC_MODULE u"sixx"

#include <arpa/inet.h>

#include <cerrno>
#include <cstring>
#include <iterator>

#include "si/sixx.h"
#include "zul_dptrace.h"
#include "zul_err.h"
#include "zul_u16string.h"

namespace {

struct CodeEntry {
  int code;
  const char16_t *name;
  const char16_t *text;
};

#define SI_CODE_ENTRY(name, code, text) {code, u## #name, u"" text},
constexpr CodeEntry kCodes[] = {SI_RC_MAP(SI_CODE_ENTRY)};
#undef SI_CODE_ENTRY

const CodeEntry *FindCode(int rc) {
  for (const CodeEntry &e : kCodes)
    if (e.code == rc) return &e;
  return nullptr;
}

struct FuncEntry {
  int id;
  const char16_t *wrapper;
  const char16_t *call;
};

#define SI_FUNC_ENTRY(id, wrapper, call) {id, u"" wrapper, u"" call},
constexpr FuncEntry kFuncs[] = {SI_FUNC_MAP(SI_FUNC_ENTRY)};
#undef SI_FUNC_ENTRY

const FuncEntry *FindFunc(int id) {
  if (id < 0 || id >= static_cast<int>(std::size(kFuncs))) return nullptr;
  return &kFuncs[id];
}

// The layer's own last-error values and their texts.
constexpr struct {
  uint32_t value;
  const char16_t *text;
} kInternalErrors[] = {
    {SI_LASTERR_FAMI, u"protocol family not supported"},
    {SI_LASTERR_OPT, u"protocol level or option not supported"},
    {SI_LASTERR_INTERN,
     u"unexpected value retured from system call, which cause invalid internal status"},
};

// Platform summary lines; %d lines take the value beside them.
constexpr struct {
  const char *format;
  int value;
} kPlatformLines[] = {
    {"Component name    : SI (socket interface)\n", 0},
    {"Version           : %d\n", 2},
    {"Last modification : Sep 20 2004\n", 0},
    {"\n", 0},
    {"Platform          : AMD/Intel x86_64 with Linux\n", 0},
    {"                    %d bit\n", 64},
    {"                    little endian\n", 0},
    {"\n", 0},
    {"IPv6              : supported\n", 0},
    {"\n", 0},
    {"FD_SETSIZE        : %d\n", 1024},
    {"NFDBITS           : %d\n", 64},
    {"sizeof(fd_mask)   : %d\n", 8},
    {"sizeof(fd_set)    : %d\n", 128},
    {"\n", 0},
};

}  // namespace

namespace si {

const char *FamilyName8(int family) noexcept {
  switch (family) {
    case kAfUnix: return "AF_UNIX";
    case kAfInet: return "AF_INET";
    case kAfInet6: return "AF_INET6";
    default: return "?";
  }
}

const char *TypeName8(int type) noexcept {
  switch (type) {
    case 1: return "SOCK_STREAM";
    case 2: return "SOCK_DGRAM";
    case 3: return "SOCK_RAW";
    default: return "?";
  }
}

const char *RcName8(int rc) noexcept {
#define SI_NAME8_CASE(name, code, text) \
  case code: return #name;
  switch (rc) { SI_RC_MAP(SI_NAME8_CASE) }
#undef SI_NAME8_CASE
  return "?";
}

}  // namespace si

extern "C" {

ZUL_API const int SI_AF_UNSPEC = 0;
ZUL_API const int SI_AF_UNIX = 1;
ZUL_API const int SI_AF_INET = 2;
ZUL_API const int SI_AF_INET6 = 10;
ZUL_API const int SI_SOCK_STREAM = 1;
ZUL_API const int SI_SOCK_DGRAM = 2;
ZUL_API const int SI_SOCK_RAW = 3;
ZUL_API const int SI_SOL_SOCKET = 1;
ZUL_API const int SI_IPPROTO_IP = 0;
ZUL_API const int SI_IPPROTO_TCP = 6;
ZUL_API const int SI_IPPROTO_IPV6 = 41;
ZUL_API const int SI_SO_REUSEADDR = 2;
ZUL_API const int SI_SO_REUSEPORT = 2;
ZUL_API const int SI_SO_ERROR = 4;
ZUL_API const int SI_SO_SNDBUF = 7;
ZUL_API const int SI_SO_RCVBUF = 8;
ZUL_API const int SI_SO_KEEPALIVE = 9;
ZUL_API const int SI_SO_LINGER = 13;
ZUL_API const int SI_SO_RCVLOWAT = 18;
ZUL_API const int SI_SO_SNDLOWAT = 19;
ZUL_API const int SI_SO_EXCLUSIVEADDRUSE = 0;
ZUL_API const int SI_TCP_NODELAY = 1;
ZUL_API const int SI_IP_MULTICAST_IF = 32;
ZUL_API const int SI_IP_MULTICAST_TTL = 33;
ZUL_API const int SI_IP_MULTICAST_LOOP = 34;
ZUL_API const int SI_IP_ADD_MEMBERSHIP = 35;
ZUL_API const int SI_IP_DROP_MEMBERSHIP = 36;
ZUL_API const int SI_IPV6_MULTICAST_IF = 17;
ZUL_API const int SI_IPV6_MULTICAST_HOPS = 18;
ZUL_API const int SI_IPV6_MULTICAST_LOOP = 19;
ZUL_API const int SI_IPV6_ADD_MEMBERSHIP = 20;
ZUL_API const int SI_IPV6_DROP_MEMBERSHIP = 21;
ZUL_API const int SI_IPV6_V6ONLY = 0;
ZUL_API const int SI_MSG_OOB = 1;
ZUL_API const int SI_MSG_PEEK = 2;
ZUL_API const int SI_SHUT_RD = 0;
ZUL_API const int SI_SHUT_WR = 1;
ZUL_API const int SI_SHUT_RDWR = 2;
ZUL_API const int SI_POLLIN = 1;
ZUL_API const int SI_POLLPRI = 2;
ZUL_API const int SI_POLLOUT = 4;
ZUL_API const int SI_POLLERR = 8;
ZUL_API const int SI_POLLHUP = 16;
ZUL_API const int SI_POLLNVAL = 32;
ZUL_API const int SI_PEEK_RD = 1;
ZUL_API const int SI_PEEK_WR = 2;
ZUL_API const uint32_t SI_INADDR_ANY = 0;
ZUL_API const uint32_t SI_INADDR_LOOPBACK = 16777343u;
ZUL_API const uint32_t SI_INADDR_BROADCAST = 4294967295u;
ZUL_API const int SI_POLL_SUPPORTED = 1;
ZUL_API const int SI_UDS_SUPPORTED = 1;
ZUL_API const int SI_PEND_CONN_SUPPORTED = 1;
ZUL_API const int SI_SOCKET_NUMBER_LIMIT = 1;
ZUL_API const int SI_FD_SETSIZE = 32768;

const ZUL_UTF16 *SiGetSiErrorName(int rc) noexcept {
  const CodeEntry *e = FindCode(rc);
  return e != nullptr ? e->name : nullptr;
}

const ZUL_UTF16 *SiGetSiErrorText(int rc) noexcept {
  const CodeEntry *e = FindCode(rc);
  return e != nullptr ? e->text : nullptr;
}

const ZUL_UTF16 *SiGetFuncName(int id) noexcept {
  const FuncEntry *e = FindFunc(id);
  return e != nullptr ? e->wrapper : nullptr;
}

const ZUL_UTF16 *SiGetLibFuncName(int id) noexcept {
  const FuncEntry *e = FindFunc(id);
  return e != nullptr ? e->call : nullptr;
}

const ZUL_UTF16 *SiGetFamilyName(int family) noexcept {
  switch (family) {
    case si::kAfUnix: return u"AF_UNIX";
    case si::kAfInet: return u"AF_INET";
    case si::kAfInet6: return u"AF_INET6";
    default: return nullptr;
  }
}

const ZUL_UTF16 *SiGetTypeName(int type) noexcept {
  switch (type) {
    case 1: return u"SOCK_STREAM";
    case 2: return u"SOCK_DGRAM";
    case 3: return u"SOCK_RAW";
    default: return nullptr;
  }
}

ZUL_UTF16 *SiGetErrorText(uint32_t error, ZUL_UTF16 *buffer, size_t size) noexcept {
  if (buffer == nullptr || size == 0) return buffer;
  for (const auto &e : kInternalErrors) {
    if (e.value != error) continue;
    size_t n = 0;
    while (n + 1 < size && e.text[n] != 0) {
      buffer[n] = e.text[n];
      ++n;
    }
    buffer[n] = 0;
    return buffer;
  }
  return ErrPrErrno2(static_cast<int>(error), buffer, size);
}

void SiTraceLastError(const SI_SOCK *sock) noexcept {
  if (sock == nullptr) return;
  ZUL_UTF16 text[256];
  SiGetErrorText(sock->lastError, text, std::size(text));
  // The writer appends the text of errno: let it be the record's.
  errno = static_cast<int>(sock->lastError);
  DPTRC_SYSERR(tf, u"Error: sock %d; error %d (%s)\n", sock->socket,
               static_cast<int>(sock->lastError), text);
}

void SiPrintPlatformInfo(FILE *file) noexcept {
  if (file == nullptr) return;
  for (const auto &line : kPlatformLines) std::fprintf(file, line.format, line.value);
}

void SiTracePlatformInfo(void) noexcept {
  for (const auto &line : kPlatformLines) DPTRC_A7(1, tf, line.format, line.value);
}

uint16_t SiNtoHs(uint16_t value) noexcept { return ntohs(value); }
uint16_t SiHtoNs(uint16_t value) noexcept { return htons(value); }
uint32_t SiNtoHl(uint32_t value) noexcept { return ntohl(value); }
uint32_t SiHtoNl(uint32_t value) noexcept { return htonl(value); }

void SI_FD_ZERO(SI_FDSET *set) noexcept {
  if (set != nullptr) std::memset(set, 0, sizeof *set);
}

void SI_FD_SET(int fd, SI_FDSET *set) noexcept {
  if (set != nullptr && fd >= 0 && fd < SI_FD_SETSIZE) set->bits[fd / 64] |= uint64_t{1} << (fd % 64);
}

void SI_FD_CLR(int fd, SI_FDSET *set) noexcept {
  if (set != nullptr && fd >= 0 && fd < SI_FD_SETSIZE)
    set->bits[fd / 64] &= ~(uint64_t{1} << (fd % 64));
}

int SI_FD_ISSET(int fd, const SI_FDSET *set) noexcept {
  if (set == nullptr || fd < 0 || fd >= SI_FD_SETSIZE) return 0;
  return static_cast<int>((set->bits[fd / 64] >> (fd % 64)) & 1u);
}

}  // extern "C"
