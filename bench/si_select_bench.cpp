// Wake-up latency of one socket among N idle members (N = 10, 100, 1000): the poll, select and
// epoll sets against raw poll, raw select on a bit set of the same size and raw epoll_wait. Each
// iteration is a round trip: this thread writes one byte to the active socket, an echo thread
// answers it, the wait wakes and the iteration reads the byte from the socket it was handed. The
// active socket is the last member, where the scans of poll and select find it last. Also SiSend
// and SiRecv against send and recv in a one-byte ping-pong over loopback TCP.
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "raw_wait.h"
#include "si/sixxsel.h"
#include "zul_si.h"

namespace {

// N idle socketpairs, one active pair whose far end an echo thread serves until it is closed.
struct Fixture {
  std::vector<int> idle, idlePeers;
  SI_SOCK active{-1, 1, 1, 0};
  std::vector<SI_SOCK> members;
  std::thread echo;

  explicit Fixture(int n) {
    members.reserve(n + 1);
    for (int i = 0; i < n; ++i) {
      int fds[2];
      if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) std::abort();
      idle.push_back(fds[0]);
      idlePeers.push_back(fds[1]);
      members.push_back(SI_SOCK{fds[0], 1, 1, 0});
    }
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) std::abort();
    active.socket = fds[0];
    members.push_back(active);
    int peer = fds[1];
    echo = std::thread([peer] {
      char c;
      while (read(peer, &c, 1) == 1)
        if (write(peer, &c, 1) != 1) break;
      close(peer);
    });
  }
  ~Fixture() {
    close(active.socket);
    echo.join();
    for (int fd : idle) close(fd);
    for (int fd : idlePeers) close(fd);
  }
  void Ping() {
    if (write(active.socket, "x", 1) != 1) std::abort();
  }
  void Pong(int fd) {
    char c;
    if (read(fd, &c, 1) != 1) std::abort();
  }
};

template <class Set>
void BM_Set(benchmark::State &state) {
  Fixture f(static_cast<int>(state.range(0)));
  Set set;
  if (set.init(static_cast<uint32_t>(f.members.size())) != SI_OK) std::abort();
  for (SI_SOCK &m : f.members) set.set(&m, SISEL_READ, nullptr, 0);
  for (auto _ : state) {
    f.Ping();
    int selected = 0;
    SI_SOCK *sock = nullptr;
    uint8_t read = 0;
    do {
      set.select(-1, &selected);
      set.next(&read, nullptr, nullptr, &sock, nullptr);
    } while (sock == nullptr);
    f.Pong(sock->socket);
  }
}

void BM_RawPoll(benchmark::State &state) {
  Fixture f(static_cast<int>(state.range(0)));
  std::vector<pollfd> fds;
  for (SI_SOCK &m : f.members) fds.push_back(pollfd{m.socket, POLLIN, 0});
  for (auto _ : state) {
    f.Ping();
    f.Pong(bench::PollFirstReadable(fds));
  }
}

void BM_RawSelect(benchmark::State &state) {
  Fixture f(static_cast<int>(state.range(0)));
  auto want = std::make_unique<SI_FDSET>();
  auto got = std::make_unique<SI_FDSET>();
  SI_FD_ZERO(want.get());
  int top = 0;
  for (SI_SOCK &m : f.members) {
    SI_FD_SET(m.socket, want.get());
    if (m.socket >= top) top = m.socket + 1;
  }
  const size_t bytes = (static_cast<size_t>(top) + 63) / 64 * 8;
  for (auto _ : state) {
    f.Ping();
    int fd = -1;
    while (fd < 0) {
      std::memcpy(got->bits, want->bits, bytes);
      select(top, reinterpret_cast<fd_set *>(got.get()), nullptr, nullptr, nullptr);
      for (const SI_SOCK &m : f.members)
        if (SI_FD_ISSET(m.socket, got.get())) {
          fd = m.socket;
          break;
        }
    }
    f.Pong(fd);
  }
}

void BM_RawEpoll(benchmark::State &state) {
  Fixture f(static_cast<int>(state.range(0)));
  int ep = epoll_create1(0);
  for (SI_SOCK &m : f.members) bench::EpollAddRead(ep, m.socket);
  std::vector<epoll_event> out(f.members.size());
  for (auto _ : state) {
    f.Ping();
    int n = 0;
    while (n <= 0) n = epoll_wait(ep, out.data(), static_cast<int>(out.size()), -1);
    f.Pong(out[0].data.fd);
  }
  close(ep);
}

#define SISEL_BENCH_ARGS ->Arg(10)->Arg(100)->Arg(1000)->UseRealTime()
BENCHMARK_TEMPLATE(BM_Set, SISEL_POLL) SISEL_BENCH_ARGS;
BENCHMARK(BM_RawPoll) SISEL_BENCH_ARGS;
BENCHMARK_TEMPLATE(BM_Set, SISEL_SELECT) SISEL_BENCH_ARGS;
BENCHMARK(BM_RawSelect) SISEL_BENCH_ARGS;
BENCHMARK_TEMPLATE(BM_Set, SISEL_EPOLL) SISEL_BENCH_ARGS;
BENCHMARK(BM_RawEpoll) SISEL_BENCH_ARGS;

// One-byte ping-pong over loopback TCP with an echo thread; the wrappers against the calls.
struct TcpPair {
  int client = -1, server = -1;
  std::thread echo;
  TcpPair() {
    int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    if (bind(listener, reinterpret_cast<sockaddr *>(&addr), len) != 0 || listen(listener, 1) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr *>(&addr), &len) != 0)
      std::abort();
    client = socket(AF_INET, SOCK_STREAM, 0);
    if (connect(client, reinterpret_cast<sockaddr *>(&addr), len) != 0) std::abort();
    server = accept(listener, nullptr, nullptr);
    close(listener);
    int one = 1;
    setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    setsockopt(server, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    int peer = server;
    echo = std::thread([peer] {
      char c;
      while (recv(peer, &c, 1, 0) == 1)
        if (send(peer, &c, 1, 0) != 1) break;
    });
  }
  ~TcpPair() {
    shutdown(client, SHUT_RDWR);
    echo.join();
    close(client);
    close(server);
  }
};

void BM_SiSendRecv(benchmark::State &state) {
  TcpPair t;
  SI_SOCK s{t.client, SI_AF_INET, SI_SOCK_STREAM, 0};
  char c = 'x';
  size_t done = 0;
  for (auto _ : state) {
    if (SiSend(&s, &c, 1, 0, &done) != SI_OK || SiRecv(&s, &c, 1, 0, &done) != SI_OK) std::abort();
  }
}

void BM_RawSendRecv(benchmark::State &state) {
  TcpPair t;
  char c = 'x';
  for (auto _ : state) {
    if (send(t.client, &c, 1, MSG_NOSIGNAL) != 1 || recv(t.client, &c, 1, 0) != 1) std::abort();
  }
}

BENCHMARK(BM_SiSendRecv)->UseRealTime();
BENCHMARK(BM_RawSendRecv)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
