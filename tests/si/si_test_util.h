// Helpers of the socket layer's tests: loopback listeners, temporary Unix paths, open descriptor
// counts. Nothing here talks to any address but 127.0.0.1 and paths under a fresh directory.
#ifndef TESTS_SI_SI_TEST_UTIL_H
#define TESTS_SI_SI_TEST_UTIL_H

#include <dirent.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "zul_si.h"

namespace si_test {

inline const ZUL_RAW kLoopback[4] = {127, 0, 0, 1};

// Descriptors open in this process.
inline int OpenFdCount() {
  auto fds = std::filesystem::directory_iterator("/proc/self/fd");
  return static_cast<int>(std::distance(begin(fds), end(fds)));
}

// A TCP listener on 127.0.0.1 with a port the system chose (network order in port).
struct Listener {
  SI_SOCK sock{-1, 0, 0, 0};
  uint16_t port = 0;
  Listener() {
    SiSocketIPv4(&sock, SI_SOCK_STREAM);
    SiBind(&sock, kLoopback, 4, 0);
    SiListen(&sock, 8);
    ZUL_RAW addr[4];
    SiGetSockName(&sock, addr, 4, &port);
  }
  ~Listener() {
    if (sock.socket >= 0) SiClose(&sock);
  }
};

// A fresh directory for Unix socket paths, removed with its content.
struct TempDir {
  std::string path;
  TempDir() {
    char tmpl[] = "/tmp/si_test_XXXXXX";
    path = mkdtemp(tmpl);
  }
  ~TempDir() { std::filesystem::remove_all(path); }
  // A path in the directory of exactly length characters, in a 108-byte address field.
  std::string Address(size_t length, ZUL_RAW (&field)[108]) const {
    std::string p = path + "/";
    p.append(length - p.size(), 's');
    std::fill(std::begin(field), std::end(field), 0);
    std::copy(p.begin(), p.end(), field);
    return p;
  }
};

inline void CloseIfOpen(SI_SOCK &s) {
  if (s.socket >= 0) SiClose(&s);
}

// Two connected Unix sockets, closed at the end unless a test closed them.
struct Pair {
  SI_SOCK a{-1, 1, 1, 0}, b{-1, 1, 1, 0};
  Pair() {
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) == 0) {
      a.socket = fds[0];
      b.socket = fds[1];
    }
  }
  ~Pair() {
    CloseIfOpen(a);
    CloseIfOpen(b);
  }
};

}  // namespace si_test

#endif  // TESTS_SI_SI_TEST_UTIL_H
