// Framed messages over TCP on 127.0.0.1 against raw sockets with the same options (TCP_NODELAY):
//   - 1 KiB messages one way: NiWrite in one thread, NiRead in the measured one, against a raw
//     writer that sends length and data with one writev and a reader that recvs the length and
//     then the data;
//   - 64-byte ping-pong: the measured thread writes and reads the answer, an echo thread reads
//     and writes back; NI on both ends against raw on both ends.
// The argument is the sockets' mode on both sides alike: 0 non-blocking (as NI's connect and
// accept leave them; a raw call that finds nothing waits in poll and tries again), 1 blocking.
// NI calls wait without limit (NI_BLOCK). Each item is one message (one way) or one round trip.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <poll.h>
#include <sys/uio.h>

#include <cerrno>
#include <string>
#include <thread>

#include "../tests/support/ni_conn.h"
#include "zul_ctrc.h"

namespace {

constexpr int kFrame1K = 1024;
constexpr int kFrame64 = 64;

// After EAGAIN on a non-blocking socket: wait until it is ready for events.
bool RawWait(int fd, short events) {
  if (errno != EAGAIN) return false;
  pollfd p{fd, events, 0};
  return poll(&p, 1, -1) == 1;
}

bool RawRecvAll(int fd, char *buf, size_t n) {
  for (size_t off = 0; off < n;) {
    ssize_t r = recv(fd, buf + off, n - off, 0);
    if (r == 0 || (r < 0 && !RawWait(fd, POLLIN))) return false;
    if (r > 0) off += static_cast<size_t>(r);
  }
  return true;
}

bool RawWriteFrame(int fd, const char *data, uint32_t len) {
  uint32_t be = htonl(len);
  iovec iov[2] = {{&be, 4}, {const_cast<char *>(data), len}};
  size_t total = 4 + len;
  while (total > 0) {
    ssize_t w = writev(fd, iov, 2);
    if (w < 0 && RawWait(fd, POLLOUT)) continue;
    if (w <= 0) return false;
    total -= static_cast<size_t>(w);
    for (iovec &v : iov) {  // step over what went out
      size_t d = std::min(v.iov_len, static_cast<size_t>(w));
      v.iov_base = static_cast<char *>(v.iov_base) + d;
      v.iov_len -= d;
      w -= static_cast<ssize_t>(d);
    }
  }
  return true;
}

void SetMode(const int fds[2], bool blocking) {
  for (int i = 0; i < 2; ++i) {
    int flags = fcntl(fds[i], F_GETFL);
    fcntl(fds[i], F_SETFL, blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK);
  }
}

bool RawReadFrame(int fd, char *buf, uint32_t size) {
  uint32_t be = 0;
  if (!RawRecvAll(fd, reinterpret_cast<char *>(&be), 4)) return false;
  uint32_t len = ntohl(be);
  return len <= size && RawRecvAll(fd, buf, len);
}

// Two NI handles over one TCP connection; closed at the end.
struct NiPair {
  int a = -1, b = -1;
  explicit NiPair(bool blocking) {
    ct_level = 1;
    NiInit();
    int fds[2];
    if (!ni_test::StreamPair(ni_test::Link::kTcp, fds)) return;
    a = ni_test::Attach(fds[0], blocking);
    b = ni_test::Attach(fds[1], blocking);
  }
  ~NiPair() {
    NiCloseHandle(a);
    NiCloseHandle(b);
    NiExit();
  }
};

void BM_NiOneWay1K(benchmark::State &state) {
  NiPair pair(state.range(0) != 0);
  const int64_t n = state.max_iterations;
  std::thread writer([&] {
    std::string msg(kFrame1K, 'w');
    int w = 0;
    for (int64_t i = 0; i < n; ++i)
      if (NiWrite(pair.a, msg.data(), kFrame1K, NI_BLOCK, &w) != ZUL_O_K) break;
  });
  char buf[kFrame1K];
  int got = 0;
  for (auto _ : state)
    if (NiRead(pair.b, buf, sizeof buf, NI_BLOCK, &got) != ZUL_O_K || got != kFrame1K) {
      state.SkipWithError("NiRead failed");
      NiShutdownHandle(pair.b, NI_SHUT_RDWR);  // the writer stops too
      break;
    }
  writer.join();
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_NiOneWay1K)->Arg(0)->Arg(1)->UseRealTime();

void BM_RawOneWay1K(benchmark::State &state) {
  int fds[2];
  if (!ni_test::StreamPair(ni_test::Link::kTcp, fds)) return state.SkipWithError("no pair");
  SetMode(fds, state.range(0) != 0);
  const int64_t n = state.max_iterations;
  std::thread writer([&] {
    std::string msg(kFrame1K, 'w');
    for (int64_t i = 0; i < n; ++i)
      if (!RawWriteFrame(fds[0], msg.data(), kFrame1K)) break;
  });
  char buf[kFrame1K];
  for (auto _ : state)
    if (!RawReadFrame(fds[1], buf, sizeof buf)) {
      state.SkipWithError("recv failed");
      shutdown(fds[1], SHUT_RDWR);
      break;
    }
  writer.join();
  close(fds[0]);
  close(fds[1]);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_RawOneWay1K)->Arg(0)->Arg(1)->UseRealTime();

void BM_NiPingPong64(benchmark::State &state) {
  NiPair pair(state.range(0) != 0);
  const int64_t n = state.max_iterations;
  std::thread echo([&] {
    char buf[kFrame64];
    int got = 0, w = 0;
    for (int64_t i = 0; i < n; ++i)
      if (NiRead(pair.b, buf, sizeof buf, NI_BLOCK, &got) != ZUL_O_K ||
          NiWrite(pair.b, buf, got, NI_BLOCK, &w) != ZUL_O_K)
        break;
  });
  char msg[kFrame64] = {}, buf[kFrame64];
  int got = 0, w = 0;
  for (auto _ : state)
    if (NiWrite(pair.a, msg, kFrame64, NI_BLOCK, &w) != ZUL_O_K ||
        NiRead(pair.a, buf, sizeof buf, NI_BLOCK, &got) != ZUL_O_K) {
      state.SkipWithError("round trip failed");
      NiShutdownHandle(pair.a, NI_SHUT_RDWR);
      break;
    }
  echo.join();
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_NiPingPong64)->Arg(0)->Arg(1)->UseRealTime();

void BM_RawPingPong64(benchmark::State &state) {
  int fds[2];
  if (!ni_test::StreamPair(ni_test::Link::kTcp, fds)) return state.SkipWithError("no pair");
  SetMode(fds, state.range(0) != 0);
  const int64_t n = state.max_iterations;
  std::thread echo([&] {
    char buf[kFrame64];
    for (int64_t i = 0; i < n; ++i)
      if (!RawReadFrame(fds[1], buf, sizeof buf) || !RawWriteFrame(fds[1], buf, kFrame64)) break;
  });
  char msg[kFrame64] = {}, buf[kFrame64];
  for (auto _ : state)
    if (!RawWriteFrame(fds[0], msg, kFrame64) || !RawReadFrame(fds[0], buf, sizeof buf)) {
      state.SkipWithError("round trip failed");
      shutdown(fds[0], SHUT_RDWR);
      break;
    }
  echo.join();
  close(fds[0]);
  close(fds[1]);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_RawPingPong64)->Arg(0)->Arg(1)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
