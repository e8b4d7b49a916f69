// The raw end of a test connection: hand-made frames written as they travel, and the exact bytes
// read back with a time-out.
//
//   ni_test::PeerSend(c.peer, ni_test::Frame("abc"));   // 00 00 00 03 'a' 'b' 'c'
//   std::string got = ni_test::PeerRecv(c.peer, 7);       // what arrived within 2 s, at most 7
#ifndef TLM_TEST_NI_RAW_PEER_H
#define TLM_TEST_NI_RAW_PEER_H

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdint>
#include <string>

namespace ni_test {

using Bytes = std::string;

// The 4-byte big-endian length and the data.
inline Bytes Frame(const Bytes &data) {
  uint32_t n = htonl(static_cast<uint32_t>(data.size()));
  return Bytes(reinterpret_cast<const char *>(&n), 4) + data;
}

// Writes all of b (blocking); false if the peer is gone.
inline bool PeerSend(int fd, const Bytes &b) {
  size_t done = 0;
  while (done < b.size()) {
    ssize_t r = send(fd, b.data() + done, b.size() - done, MSG_NOSIGNAL);
    if (r <= 0) return false;
    done += static_cast<size_t>(r);
  }
  return true;
}

// What the peer can read, up to n bytes, until ms milliseconds pass without any.
inline Bytes PeerRecv(int fd, size_t n, int ms = 2000) {
  Bytes out;
  pollfd p{fd, POLLIN, 0};
  while (out.size() < n && poll(&p, 1, ms) == 1) {
    char buf[65536];
    ssize_t r = recv(fd, buf, std::min(sizeof buf, n - out.size()), 0);
    if (r <= 0) break;
    out.append(buf, static_cast<size_t>(r));
  }
  return out;
}

}  // namespace ni_test

#endif  // TLM_TEST_NI_RAW_PEER_H
