// A router on plain sockets for route tests, with its own parser of the route message. It
// accepts one client on 127.0.0.1 (port 0, read back), reads the route message, and either
// answers "NI_RTERR" with a chosen code and error information, or connects onward to the next
// entry: to another router, with the message passed on (one entry fewer to go), or to the
// target, after which it sends the client the framed NI_PONG. Then it relays both ways until a
// side closes. `message` keeps the message as it arrived, for byte checks. The other modes are
// the faults of a router: they never connect onward, and where the route stands the router
// itself echoes what the client sends.
#ifndef TLM_TEST_NI_ROUTER_PEER_H
#define TLM_TEST_NI_ROUTER_PEER_H

#include <arpa/inet.h>
#include <poll.h>

#include <chrono>
#include <string>
#include <thread>

#include "ni_conn.h"
#include "ni_raw_peer.h"
#include "zul_err.h"

namespace ni_test {

// The text a refusing router reports, in the form of its code's text.
inline constexpr const char16_t *kRouterRefusalText =
    u"router: route permission denied (client to target, by rule)";

class RouterPeer {
 public:
  enum class Mode {
    kRelay,        // the route as it should go
    kRefuse,       // "NI_RTERR" with the code and error information
    kBadInfo,      // "NI_RTERR" with the code and error information that doesn't parse
    kSilent,       // reads the message and says nothing until the client goes
    kDataFirst,    // a framed message before the pong
    kSplitPong,    // the framed pong one byte at a time, then echoes
    kCloseBefore,  // closes without a pong
    kCloseAfter,   // closes right behind the pong
  };
  explicit RouterPeer(Mode mode = Mode::kRelay, int rc = 0) : mode_(mode), refuse_(rc) {
    lis_ = TcpSocket(0, false, 4, &port);
    th_ = std::thread([this] { Run(); });
  }
  ~RouterPeer() {
    th_.join();
    close(lis_);
  }
  uint16_t port = 0;
  Bytes message;   // the route message as received, without its length
  bool ok = true;  // false when the message broke a rule of its format

 private:
  static uint32_t Be32(const Bytes &b, size_t at) {
    uint32_t v;
    std::memcpy(&v, b.data() + at, 4);
    return ntohl(v);
  }
  static void PutBe32(Bytes *b, size_t at, uint32_t v) {
    v = htonl(v);
    std::memcpy(&(*b)[at], &v, 4);
  }
  void Run() {
    pollfd p{lis_, POLLIN, 0};
    if (poll(&p, 1, 5000) != 1) return;
    int client = accept(lis_, nullptr, nullptr);
    Bytes head = PeerRecv(client, 4, 5000);
    if (head.size() == 4) message = PeerRecv(client, Be32(head, 0), 5000);
    const Bytes &m = message;
    ok = m.size() >= 24 && m.compare(0, 8, "NI_ROUTE") == 0 && m[8] == 0 && m[9] == 2 &&
         m[10] == 40 && Be32(m, 16) + 24 == m.size() && m[15] >= 1 && m[15] <= m[11] &&
         Be32(m, 20) < Be32(m, 16);
    if (!ok || mode_ != Mode::kRelay) {
      if (ok) Fault(client);
      close(client);
      return;
    }
    // The next entry: host, service, password.
    size_t at = 24 + Be32(m, 20);
    std::string field[3];
    for (auto &f : field) {
      f = std::string(m.c_str() + at);
      at += f.size() + 1;
    }
    uint16_t bound = 0;
    int next = TcpSocket(0, false, -1, &bound);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = inet_addr(field[0].c_str());
    a.sin_port = htons(static_cast<uint16_t>(std::stoi(field[1])));
    if (connect(next, reinterpret_cast<sockaddr *>(&a), sizeof a) != 0) {
      close(next);
      close(client);
      return;
    }
    if (m[15] > 1) {
      Bytes on = m;
      on[15] = static_cast<char>(on[15] - 1);
      PutBe32(&on, 20, static_cast<uint32_t>(at - 24));
      PeerSend(next, Frame(on));
    } else {
      PeerSend(client, Frame(Bytes("NI_PONG\0", 8)));
    }
    Relay(client, next);
    close(next);
    close(client);
  }
  void Fault(int client) {
    const Bytes pong = Frame(Bytes("NI_PONG\0", 8));
    if (mode_ == Mode::kRefuse || mode_ == Mode::kBadInfo) Refuse(client);
    if (mode_ == Mode::kDataFirst) PeerSend(client, Frame("early") + pong);
    if (mode_ == Mode::kCloseAfter) PeerSend(client, pong);
    for (size_t i = 0; mode_ == Mode::kSplitPong && i < pong.size(); ++i) {
      PeerSend(client, pong.substr(i, 1));
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (mode_ == Mode::kSilent || mode_ == Mode::kDataFirst) PeerRecv(client, 1, 5000);
    // The route stands: what the client sends comes back until it closes.
    for (int round = 0; mode_ == Mode::kSplitPong && round < 100; ++round) {
      pollfd p{client, POLLIN, 0};
      char buf[4096];
      ssize_t r = poll(&p, 1, 5000) == 1 ? recv(client, buf, sizeof buf, 0) : 0;
      if (r <= 0 || !PeerSend(client, Bytes(buf, static_cast<size_t>(r)))) break;
    }
  }
  // "NI_RTERR" with the code and error information in network form, as a router reports.
  void Refuse(int client) {
    ErrSet(u"NI (network interface)", 1, u"router.c", 12, kRouterRefusalText, refuse_, u"");
    ZUL_RAW info[2000];
    size_t n = 0;
    ErrCpIntToNet(info, &n, sizeof info);
    if (mode_ == Mode::kBadInfo) std::memset(info, 'x', 8);  // the eye-catcher destroyed
    Bytes r("NI_RTERR\0\x02\0\0", 12);
    r += Bytes(8, '\0');
    PutBe32(&r, 12, static_cast<uint32_t>(refuse_));
    PutBe32(&r, 16, static_cast<uint32_t>(n));
    r += Bytes(reinterpret_cast<char *>(info), n) + Bytes(4, '\0');
    PeerSend(client, Frame(r));
  }
  static void Relay(int a, int b) {
    pollfd fds[2] = {{a, POLLIN, 0}, {b, POLLIN, 0}};
    for (int round = 0; round < 10000 && poll(fds, 2, 5000) > 0; ++round) {
      for (int i = 0; i < 2; ++i) {
        if (fds[i].revents == 0) continue;
        char buf[4096];
        ssize_t r = recv(fds[i].fd, buf, sizeof buf, 0);
        if (r <= 0 || !PeerSend(fds[1 - i].fd, Bytes(buf, static_cast<size_t>(r)))) return;
      }
    }
  }
  Mode mode_;
  int refuse_;
  int lis_ = -1;
  std::thread th_;
};

}  // namespace ni_test

#endif  // TLM_TEST_NI_ROUTER_PEER_H
