// A message as another process may send it to SiRecvSocket: the input chooses the control data and
// splits into the part sent with it and bytes that follow, over a socketpair whose sender then
// shuts down. Whatever the message, the call must not crash, must answer SI_OK with an open
// descriptor or SI_EINTERN-type codes with none, and must leave no descriptor open.
//
// Input: byte 0 chooses the control data (low two bits: none, one descriptor, two descriptors,
// credentials); byte 1 is the length of the part sent with it (at least 1); the rest is the data.
#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "fuzz_support.h"
#include "zul_ctrc.h"
#include "zul_si.h"

namespace {

int OpenFdCount() {
  DIR *d = opendir("/proc/self/fd");
  if (d == nullptr) abort();
  int n = 0;
  while (readdir(d) != nullptr) ++n;
  closedir(d);
  return n;
}

void SendMessage(int via, const uint8_t *data, size_t size, int shape) {
  iovec iov{const_cast<uint8_t *>(data), size};
  alignas(cmsghdr) unsigned char control[64] = {};
  msghdr msg{};
  msg.msg_iov = &iov;
  msg.msg_iovlen = 1;
  int fds[2] = {dup(via), dup(via)};
  if (shape == 1 || shape == 2) {
    size_t bytes = static_cast<size_t>(shape) * sizeof(int);
    msg.msg_control = control;
    msg.msg_controllen = CMSG_SPACE(bytes);
    cmsghdr *c = CMSG_FIRSTHDR(&msg);
    *c = cmsghdr{CMSG_LEN(bytes), SOL_SOCKET, SCM_RIGHTS};
    std::memcpy(CMSG_DATA(c), fds, bytes);
  } else if (shape == 3) {
    ucred cred{getpid(), getuid(), getgid()};
    msg.msg_control = control;
    msg.msg_controllen = CMSG_SPACE(sizeof cred);
    cmsghdr *c = CMSG_FIRSTHDR(&msg);
    *c = cmsghdr{CMSG_LEN(sizeof cred), SOL_SOCKET, SCM_CREDENTIALS};
    std::memcpy(CMSG_DATA(c), &cred, sizeof cred);
  }
  FUZZ_REQUIRE(sendmsg(via, &msg, 0) == static_cast<ssize_t>(size));
  close(fds[0]);
  close(fds[1]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool kQuiet = [] {
    ct_level = 0;  // the layer's error lines would only slow the fuzzer down
    return true;
  }();
  (void)kQuiet;
  // The whole input fits the socket's buffer, so no send blocks.
  if (size < 3 || size > 4096) return 0;
  int shape = data[0] & 3;
  size_t first = std::min<size_t>(std::max<uint8_t>(data[1], 1), size - 2);
  const uint8_t *body = data + 2;
  size_t rest = size - 2 - first;

  int before = OpenFdCount();
  int pair[2];
  FUZZ_REQUIRE(socketpair(AF_UNIX, SOCK_STREAM, 0, pair) == 0);
  int on = 1;
  if (data[0] & 4) setsockopt(pair[0], SOL_SOCKET, SO_PASSCRED, &on, sizeof on);
  SendMessage(pair[1], body, first, shape);
  if (rest > 0) FUZZ_REQUIRE(send(pair[1], body + first, rest, 0) == static_cast<ssize_t>(rest));
  shutdown(pair[1], SHUT_WR);

  SI_SOCK via{pair[0], SI_AF_UNIX, SI_SOCK_STREAM, 0};
  SI_SOCK got{-1, 0, 0, 0};
  int rc = SiRecvSocket(&via, &got);
  if (rc == SI_OK) {
    FUZZ_REQUIRE(got.socket >= 0 && fcntl(got.socket, F_GETFD) != -1);
    FUZZ_REQUIRE(got.lastError == 0);
    close(got.socket);
  } else {
    FUZZ_REQUIRE(got.socket == -1);
    FUZZ_REQUIRE(rc == SI_EINTERN || rc == SI_EMEMORY || via.lastError != 0);
  }
  close(pair[0]);
  close(pair[1]);
  FUZZ_REQUIRE(OpenFdCount() == before);
  return 0;
}
