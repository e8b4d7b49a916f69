// Connections per second over loopback: connect, accept and close of both ends, through NI over
// IP against a raw loop that sets the options NI sets (close-on-exec, buffer sizes, no delay,
// reuse, no keep-alive, non-blocking connect and accept), and beside them NI's default path,
// which takes the local socket for a local partner, and a bare raw loop without options.
//
// The accepted end closes first, so that the time-wait state stays with the listener's port and
// the client's ephemeral ports are not used up.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "ni/nixxi.h"
#include "zul_ni.h"

namespace {

// NI started with its local sockets in a private directory.
class NiSession {
 public:
  NiSession() {
    NiInit();
    char tmpl[] = "/tmp/niconnbench.XXXXXX";
    dir_ = mkdtemp(tmpl) != nullptr ? tmpl : "/tmp";
    std::u16string path;
    for (char c : dir_ + "/.zulstream%d") path.push_back(static_cast<char16_t>(c));
    NI_PARAM_DATA d{};
    d.param = NIP_UDS_PATH;
    d.datatype = NI_DT_UCPTR;
    d.value.ucptr_val = path.data();
    NiSetParamEx(&d);
  }
  ~NiSession() {
    NiExit();
    rmdir(dir_.c_str());
  }

 private:
  std::string dir_;
};

void NiLoop(benchmark::State &state, int listenProto, int connectProto) {
  NiSession session;
  uint16_t port = 0;
  int lis = -1;
  const NI_NODEADDR *addr = listenProto == 0 ? nullptr : &NI_ADDR_LOCAL_I4_INIT;
  if (NiServerHandleEx(addr, &port, listenProto, 0, &lis) != ZUL_O_K) {
    state.SkipWithError("no listener");
    return;
  }
  for (auto _ : state) {
    int c = -1, s = -1;
    if (NiHandleForAddrEx(&NI_ADDR_LOCAL_I4_INIT, port, connectProto, 0, 0, NI_BLOCK, nullptr,
                          &c) != ZUL_O_K ||
        NiAcceptEx(lis, NI_BLOCK, &s, nullptr, nullptr) != ZUL_O_K) {
      state.SkipWithError("connect or accept failed");
      break;
    }
    NiCloseHandle(s);
    NiCloseHandle(c);
  }
  NiCloseHandle(lis);
  state.SetItemsProcessed(state.iterations());
}

void BM_NiConnectAcceptClose_IP(benchmark::State &state) {
  NiLoop(state, NI_PROTO_FAM_IPv4, NI_PROTO_FAM_IPv4);
}
void BM_NiConnectAcceptClose_Default(benchmark::State &state) { NiLoop(state, 0, 0); }

void SetInt(int fd, int level, int option, int value) {
  setsockopt(fd, level, option, &value, sizeof value);
}

// What NI does to each new or accepted IP stream socket.
void SameOptions(int fd) {
  fcntl(fd, F_SETFD, FD_CLOEXEC);
  for (int option : {SO_RCVBUF, SO_SNDBUF}) {
    int size = 0;
    socklen_t len = sizeof size;
    getsockopt(fd, SOL_SOCKET, option, &size, &len);
    if (size < 32768) SetInt(fd, SOL_SOCKET, option, 32768 / 2);
  }
  SetInt(fd, IPPROTO_TCP, TCP_NODELAY, 1);
  SetInt(fd, SOL_SOCKET, SO_REUSEADDR, 1);
  SetInt(fd, SOL_SOCKET, SO_KEEPALIVE, 0);
  fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
}

bool WaitFor(int fd, short events) {
  pollfd p{fd, events, 0};
  return poll(&p, 1, -1) == 1;
}

void RawLoop(benchmark::State &state, bool withOptions) {
  int lis = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in sa{};
  sa.sin_family = AF_INET;
  sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof sa;
  if (withOptions) SameOptions(lis);
  if (bind(lis, reinterpret_cast<sockaddr *>(&sa), sizeof sa) != 0 || listen(lis, 20) != 0 ||
      getsockname(lis, reinterpret_cast<sockaddr *>(&sa), &len) != 0) {
    state.SkipWithError("no listener");
    close(lis);
    return;
  }
  for (auto _ : state) {
    int c = socket(AF_INET, SOCK_STREAM, 0);
    if (withOptions) SameOptions(c);
    int rc = connect(c, reinterpret_cast<sockaddr *>(&sa), sizeof sa);
    if (rc != 0 && errno == EINPROGRESS && WaitFor(c, POLLOUT)) {
      int err = 0;
      socklen_t errLen = sizeof err;
      getsockopt(c, SOL_SOCKET, SO_ERROR, &err, &errLen);
      rc = err == 0 ? 0 : -1;
    }
    int s = accept(lis, nullptr, nullptr);
    if (s < 0 && errno == EAGAIN && WaitFor(lis, POLLIN)) s = accept(lis, nullptr, nullptr);
    if (rc != 0 || s < 0) {
      state.SkipWithError("connect or accept failed");
      close(c);
      break;
    }
    if (withOptions) SameOptions(s);
    close(s);
    close(c);
  }
  close(lis);
  state.SetItemsProcessed(state.iterations());
}

void BM_RawConnectAcceptClose_SameOptions(benchmark::State &state) { RawLoop(state, true); }
void BM_RawConnectAcceptClose_Bare(benchmark::State &state) { RawLoop(state, false); }

BENCHMARK(BM_NiConnectAcceptClose_IP)->MinTime(1.0)->UseRealTime();
BENCHMARK(BM_RawConnectAcceptClose_SameOptions)->MinTime(1.0)->UseRealTime();
BENCHMARK(BM_NiConnectAcceptClose_Default)->MinTime(1.0)->UseRealTime();
BENCHMARK(BM_RawConnectAcceptClose_Bare)->MinTime(1.0)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
