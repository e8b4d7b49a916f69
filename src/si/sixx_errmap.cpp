// The per-call errno tables: after a failed system call, the record keeps errno and the caller
// gets the code that the call's table gives it.
#include <cerrno>
#include <iterator>

#include "si/sixx.h"

namespace si {
namespace {

struct Entry {
  int err;
  int rc;
};

struct Table {
  const Entry *entries;
  int count;
};

#define SI_TABLE(name, ...) constexpr Entry name[] = {__VA_ARGS__}

SI_TABLE(kDescriptorMap, {EBADF, 2}, {ENOTSOCK, 2}, {EINTR, 5});
SI_TABLE(kSocketMap, {EMFILE, 17}, {ENFILE, 17}, {ENOMEM, 16}, {ENOBUFS, 16}, {EINVAL, 1},
         {EAFNOSUPPORT, 1}, {EPROTONOSUPPORT, 1}, {ESOCKTNOSUPPORT, 1}, {EPROTOTYPE, 1},
         {EINTR, 5});
SI_TABLE(kRecvMap, {EINTR, 5}, {EBADF, 2}, {ENOTSOCK, 2}, {EAGAIN, 13}, {EFAULT, 1}, {EINVAL, 1},
         {ENOTCONN, 1}, {EPIPE, 12}, {ECONNABORTED, 12}, {ECONNRESET, 12}, {ETIMEDOUT, 12},
         {ECONNREFUSED, 12});
SI_TABLE(kSendMap, {EINTR, 5}, {EBADF, 2}, {ENOTSOCK, 2}, {EAGAIN, 13}, {EFAULT, 1}, {EINVAL, 1},
         {ENOTCONN, 1}, {EPIPE, 12}, {ECONNABORTED, 12}, {ECONNRESET, 12}, {ECONNREFUSED, 12},
         {EMSGSIZE, 16}, {ENOBUFS, 16});
SI_TABLE(kSendToMap, {EINTR, 5}, {EBADF, 2}, {ENOTSOCK, 2}, {EAGAIN, 13}, {EFAULT, 1},
         {EINVAL, 1}, {ENOTCONN, 1}, {EPIPE, 12}, {ECONNABORTED, 12}, {ECONNRESET, 12},
         {ECONNREFUSED, 12}, {EMSGSIZE, 16}, {ENOBUFS, 16}, {EOPNOTSUPP, 1}, {EADDRNOTAVAIL, 7},
         {ENETUNREACH, 7}, {EHOSTUNREACH, 7});
// A refused connect to a Unix path (ENOENT, EACCES) is "no one listening", unlike bind.
SI_TABLE(kConnectMap, {ENOENT, 10}, {EACCES, 10}, {ECONNREFUSED, 10}, {EINTR, 5}, {EBADF, 2},
         {ENOTSOCK, 2}, {EINVAL, 1}, {EOPNOTSUPP, 1}, {EISCONN, 1}, {EADDRINUSE, 8},
         {EADDRNOTAVAIL, 7}, {ENETUNREACH, 7}, {EHOSTUNREACH, 7}, {ETIMEDOUT, 13},
         {EINPROGRESS, 11});
SI_TABLE(kAcceptMap, {EINTR, 5}, {EBADF, 2}, {ENOTSOCK, 2}, {EAGAIN, 13}, {ENOMEM, 16},
         {ENOBUFS, 16}, {EINVAL, 1}, {EPROTO, 1}, {ENOTCONN, 1}, {ENFILE, 17}, {EMFILE, 17},
         {EADDRNOTAVAIL, 7}, {ENETUNREACH, 7}, {EHOSTUNREACH, 7}, {ECONNABORTED, 12},
         {ECONNRESET, 12}, {ECONNREFUSED, 12});
SI_TABLE(kBindMap, {EINVAL, 1}, {ENOENT, 7}, {EACCES, 7}, {EINTR, 5}, {EBADF, 2}, {ENOTSOCK, 2},
         {EADDRINUSE, 8}, {EADDRNOTAVAIL, 7}, {ENETUNREACH, 7}, {EHOSTUNREACH, 7});
SI_TABLE(kSetSockOptMap, {EINVAL, 1}, {ENOENT, 1}, {ENOPROTOOPT, 1}, {EINTR, 5}, {EBADF, 2},
         {ENOTSOCK, 2}, {ENODEV, 7}, {EADDRNOTAVAIL, 7}, {ENETUNREACH, 7}, {EHOSTUNREACH, 7});
// Poll's ENOMEM is treated as a passing shortage: SiPeek retries on 13.
SI_TABLE(kPollMap, {ENOMEM, 13}, {EFAULT, 1}, {EINTR, 5});
SI_TABLE(kSelectMap, {EBADF, 2}, {ENOTSOCK, 2}, {EINTR, 5});
SI_TABLE(kShutdownMap, {EINVAL, 1}, {ENOTCONN, 1}, {EINTR, 5}, {EBADF, 2}, {ENOTSOCK, 2});
SI_TABLE(kGetPeerNameMap, {ENOTCONN, 12}, {EINVAL, 1}, {EINTR, 5}, {EBADF, 2}, {ENOTSOCK, 2});
SI_TABLE(kGetSockNameMap, {EBADF, 2}, {ENOTSOCK, 2}, {EINTR, 5}, {EINVAL, 1});
SI_TABLE(kGetSockOptMap, {EINVAL, 1}, {ENOPROTOOPT, 1}, {EOPNOTSUPP, 1}, {EINTR, 5}, {EBADF, 2},
         {ENOTSOCK, 2});
SI_TABLE(kSendSocketMap, {EBADF, 2}, {ENOTSOCK, 2}, {EINTR, 5}, {EPIPE, 12});
SI_TABLE(kRecvSocketMap, {EAGAIN, 13}, {EINTR, 5}, {EBADF, 2}, {ENOTSOCK, 2}, {ENOTCONN, 1},
         {EPIPE, 12});

#undef SI_TABLE

#define SI_ENTRY(t) Table{t, static_cast<int>(std::size(t))}
// In the order of ErrMap.
constexpr Table kTables[] = {
    SI_ENTRY(kDescriptorMap), SI_ENTRY(kSocketMap),      SI_ENTRY(kRecvMap),
    SI_ENTRY(kSendMap),       SI_ENTRY(kSendToMap),      SI_ENTRY(kConnectMap),
    SI_ENTRY(kAcceptMap),     SI_ENTRY(kBindMap),        SI_ENTRY(kSetSockOptMap),
    SI_ENTRY(kPollMap),       SI_ENTRY(kSelectMap),      SI_ENTRY(kShutdownMap),
    SI_ENTRY(kGetPeerNameMap), SI_ENTRY(kGetSockNameMap), SI_ENTRY(kGetSockOptMap),
    SI_ENTRY(kSendSocketMap), SI_ENTRY(kRecvSocketMap),
};
#undef SI_ENTRY
static_assert(std::size(kTables) == static_cast<size_t>(ErrMap::kCount));

}  // namespace

int MapErrno(ErrMap map, int err) noexcept {
  int i = static_cast<int>(map);
  if (i < 0 || i >= static_cast<int>(ErrMap::kCount)) return SI_ESYSCALL;
  const Table &t = kTables[i];
  // EWOULDBLOCK is EAGAIN on Linux, so the tables list only the latter.
  for (int k = 0; k < t.count; ++k)
    if (t.entries[k].err == err) return t.entries[k].rc;
  return SI_ESYSCALL;
}

}  // namespace si
