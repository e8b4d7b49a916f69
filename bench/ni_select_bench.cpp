// Wake-up latency of a handle select set: N idle connected handles (N = 10, 100, 1000) and one
// active one; each iteration a peer thread writes a 1-byte message, and the iteration ends when
// NiSelNext hands out the active handle and its message is read. Beside it, raw poll and raw
// epoll_wait on the same descriptors in the same run (epoll is the floor). Also a ready-list hit:
// one of 1000 buffered members holds a complete message, and NiSelSelect plus NiSelNext find it
// without touching a socket; and the wake-up path (NiWakeupExec to NiWakeupCollect) in a set of
// N idle handles (N = 0 to 1000), beside a raw UDP datagram woken by epoll_wait or poll over the
// same descriptors.
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <thread>
#include <vector>

#include "ni/nixxsel.h"
#include "ni_conn.h"
#include "ni_raw_peer.h"
#include "raw_wait.h"

namespace {

// N idle handles over socket pairs, one active handle whose peer an echo thread feeds: it answers
// every byte it reads from the pipe with one framed message to the handle.
struct SelFixture {
  std::vector<ni_test::Conn> idle;
  std::vector<ni_test::Conn> act;  // the one active handle
  int kick[2] = {-1, -1};
  std::thread feeder;

  explicit SelFixture(int n, bool buffered = false) {
    if (NiInit3(n + 64) != ZUL_O_K) std::abort();
    for (int i = 0; i < n; ++i) idle.push_back(Make(buffered));
    act.push_back(Make(buffered));
    if (pipe(kick) != 0) std::abort();
    int in = kick[0], peer = act[0].peer;
    feeder = std::thread([in, peer] {
      const ni_test::Bytes msg = ni_test::Frame("x");
      char c;
      while (read(in, &c, 1) == 1)
        if (!ni_test::PeerSend(peer, msg)) break;
    });
  }
  ~SelFixture() {
    close(kick[1]);
    feeder.join();
    close(kick[0]);
    idle.clear();
    NiExit();
  }
  static ni_test::Conn Make(bool buffered) {
    ni_test::Conn c = ni_test::Connect(ni_test::Link::kUnix, false);
    if (c.hdl < 0) std::abort();
    if (buffered) {
      NI_PARAM_DATA d{NIHP_BUFSTAT, NI_DT_RAW, {}};
      d.value.raw_val = NI_BUFSTAT_ON;
      NiSetHdlParamEx(c.hdl, &d);
    }
    return c;
  }
  int Fd(const ni_test::Conn &c) const { return ni::gTab[c.hdl >> 3].con.mSocket.socket; }
  void Kick() {
    if (write(kick[1], "k", 1) != 1) std::abort();
  }
  void Take() {
    char buf[8];
    int n = 0;
    if (NiRead(act[0].hdl, buf, sizeof buf, 1000, &n) != ZUL_O_K) std::abort();
  }
};

void BM_NiSel(benchmark::State &state) {
  SelFixture f(static_cast<int>(state.range(0)));
  NISEL *set = nullptr;
  NiSelNewSet(&set);
  for (auto &c : f.idle) NiSelSet(set, c.hdl, SISEL_READ, nullptr);
  NiSelSet(set, f.act[0].hdl, SISEL_READ, nullptr);
  for (auto _ : state) {
    f.Kick();
    int h = -1;
    while (h < 0) {
      NiSelSelect(set, -1);
      h = NiSelNext(set, nullptr, nullptr, nullptr, nullptr);
    }
    f.Take();
  }
  NiSelDestroySet(&set);
}

void BM_RawPoll(benchmark::State &state) {
  SelFixture f(static_cast<int>(state.range(0)));
  std::vector<pollfd> fds;
  for (auto &c : f.idle) fds.push_back(pollfd{f.Fd(c), POLLIN | POLLPRI, 0});
  fds.push_back(pollfd{f.Fd(f.act[0]), POLLIN | POLLPRI, 0});
  for (auto _ : state) {
    f.Kick();
    bench::PollFirstReadable(fds);
    f.Take();
  }
}

void BM_RawEpoll(benchmark::State &state) {
  SelFixture f(static_cast<int>(state.range(0)));
  int ep = epoll_create1(0);
  for (auto &c : f.idle) bench::EpollAddRead(ep, f.Fd(c));
  bench::EpollAddRead(ep, f.Fd(f.act[0]));
  std::vector<epoll_event> out(f.idle.size() + 1);
  for (auto _ : state) {
    f.Kick();
    int n = 0;
    while (n <= 0) n = epoll_wait(ep, out.data(), static_cast<int>(out.size()), -1);
    f.Take();
  }
  close(ep);
}

// A complete message waits in one of 1000 buffered members: select and next find it at once.
void BM_NiSelReadyListHit(benchmark::State &state) {
  SelFixture f(1000, true);
  NISEL *set = nullptr;
  NiSelNewSet(&set);
  for (auto &c : f.idle) NiSelSet(set, c.hdl, SISEL_READ, nullptr);
  NiSelSet(set, f.act[0].hdl, SISEL_READ, nullptr);
  f.Kick();
  while (NiSelSelect(set, 1000) != ZUL_O_K) {
  }
  for (auto _ : state) {
    NiSelSelect(set, -1);
    benchmark::DoNotOptimize(NiSelNext(set, nullptr, nullptr, nullptr, nullptr));
  }
  NiSelDestroySet(&set);
}

// NiWakeupExec from this thread to NiSelSelect's return and NiWakeupCollect, with N idle members.
void BM_NiSelWakeup(benchmark::State &state) {
  SelFixture f(static_cast<int>(state.range(0)));
  NI_WAKEUP_SERVER *srv = nullptr;
  NI_WAKEUP_CLIENT *cl = nullptr;
  NiWakeupOpen(&srv);
  NiWakeupAttach(srv, &cl);
  NISEL *set = nullptr;
  NiSelNewSet(&set);
  for (auto &c : f.idle) NiSelSet(set, c.hdl, SISEL_READ, nullptr);
  NiSelSet(set, NiWakeupGetNiHdl(srv), SISEL_READ, nullptr);
  for (auto _ : state) {
    NiWakeupExec(cl);
    int count = 0;
    while (NiSelSelect(set, -1) != ZUL_O_K) {
    }
    NiWakeupCollect(&srv, &count);
  }
  NiSelDestroySet(&set);
  NiWakeupDetach(&cl);
  NiWakeupClose(&srv);
}

// The same wake-up made raw: a one-byte datagram from a connected UDP socket to one bound on
// 127.0.0.1, woken by epoll_wait (or poll) over the same N idle descriptors and drained with
// non-blocking receives until none is left, as NiWakeupCollect does.
template <bool kEpoll>
void BM_RawUdpWakeup(benchmark::State &state) {
  SelFixture f(static_cast<int>(state.range(0)));
  int srv = socket(AF_INET, SOCK_DGRAM, 0), cl = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof a;
  auto *sa = reinterpret_cast<sockaddr *>(&a);
  if (bind(srv, sa, len) != 0 || getsockname(srv, sa, &len) != 0 || connect(cl, sa, len) != 0)
    std::abort();
  std::vector<pollfd> fds;
  for (auto &c : f.idle) fds.push_back(pollfd{f.Fd(c), POLLIN | POLLPRI, 0});
  fds.push_back(pollfd{srv, POLLIN, 0});
  int ep = epoll_create1(0);
  for (const pollfd &p : fds) bench::EpollAddRead(ep, p.fd);
  std::vector<epoll_event> out(fds.size());
  for (auto _ : state) {
    if (send(cl, "v", 1, 0) != 1) std::abort();
    if (kEpoll) {
      int n = 0;
      while (n <= 0) n = epoll_wait(ep, out.data(), static_cast<int>(out.size()), -1);
    } else {
      bench::PollFirstReadable(fds);
    }
    char buf[2];
    while (recv(srv, buf, sizeof buf, MSG_DONTWAIT) > 0) {
    }
  }
  close(ep);
  close(cl);
  close(srv);
}

#define NISEL_BENCH_ARGS ->Arg(10)->Arg(100)->Arg(1000)->UseRealTime()
#define WAKEUP_BENCH_ARGS ->Arg(0)->Arg(10)->Arg(100)->Arg(1000)->UseRealTime()
BENCHMARK(BM_NiSel) NISEL_BENCH_ARGS;
BENCHMARK(BM_RawPoll) NISEL_BENCH_ARGS;
BENCHMARK(BM_RawEpoll) NISEL_BENCH_ARGS;
BENCHMARK(BM_NiSelReadyListHit)->UseRealTime();
BENCHMARK(BM_NiSelWakeup) WAKEUP_BENCH_ARGS;
BENCHMARK_TEMPLATE(BM_RawUdpWakeup, true) WAKEUP_BENCH_ARGS;
BENCHMARK_TEMPLATE(BM_RawUdpWakeup, false) WAKEUP_BENCH_ARGS;

}  // namespace

BENCHMARK_MAIN();
