// A real TCP peer for tests of the library's sending: a listener on 127.0.0.1 with a port the
// system chose, whose connections the test accepts and reads with time-outs.
//
//   tlm_test::TcpPeer peer;                     // listening, peer.Port() read back
//   ... the library connects and writes ...
//   int fd = peer.Accept(1000);                 // -1 after a second without a connection
//   std::string bytes = peer.ReadFor(fd, 200);  // what arrived until 200 ms of silence
#ifndef TLM_TEST_TCP_PEER_H
#define TLM_TEST_TCP_PEER_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tlm_test {

class TcpPeer {
 public:
  // Listens with the given backlog; port 0 takes a free one. SO_REUSEADDR lets a test listen
  // again on the port of a peer it closed.
  explicit TcpPeer(int backlog = 16, uint16_t port = 0) {
    fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int one = 1;
    setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(port);
    socklen_t len = sizeof addr;
    if (bind(fd_, reinterpret_cast<sockaddr *>(&addr), len) != 0 || listen(fd_, backlog) != 0 ||
        getsockname(fd_, reinterpret_cast<sockaddr *>(&addr), &len) != 0) {
      close(fd_);
      fd_ = -1;
      return;
    }
    port_ = ntohs(addr.sin_port);
  }
  ~TcpPeer() {
    for (int fd : accepted_) close(fd);
    if (fd_ >= 0) close(fd_);
  }
  TcpPeer(const TcpPeer &) = delete;
  TcpPeer &operator=(const TcpPeer &) = delete;

  bool Listening() const { return fd_ >= 0; }
  uint16_t Port() const { return port_; }
  std::u16string PortText() const { return Text(port_); }
  static std::u16string Text(uint16_t port) {
    const std::string digits = std::to_string(port);
    return std::u16string(digits.begin(), digits.end());
  }

  // The next connection within timeoutMs, or -1. The peer closes it at the end.
  int Accept(int timeoutMs) {
    pollfd p{fd_, POLLIN, 0};
    if (poll(&p, 1, timeoutMs) != 1) return -1;
    int fd = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd >= 0) accepted_.push_back(fd);
    return fd;
  }
  // All bytes that arrive on fd until quietMs pass without any, or the connection ends; at most
  // limit bytes.
  static std::string ReadFor(int fd, int quietMs, size_t limit = 1 << 24) {
    std::string bytes;
    char buffer[65536];
    pollfd p{fd, POLLIN, 0};
    while (bytes.size() < limit && poll(&p, 1, quietMs) == 1) {
      ssize_t n = recv(fd, buffer, sizeof buffer, 0);
      if (n <= 0) break;
      bytes.append(buffer, static_cast<size_t>(n));
    }
    return bytes;
  }
  // Ends a connection with a reset, as a killed process's would look to a writer.
  void Reset(int fd) {
    linger hard{1, 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    close(fd);
    std::erase(accepted_, fd);
  }

 private:
  int fd_ = -1;
  uint16_t port_ = 0;
  std::vector<int> accepted_;
};

}  // namespace tlm_test

#endif  // TLM_TEST_TCP_PEER_H
