// Access lists and datagrams against their raw counterparts, in one run:
//   - NiAclCheckAddr over 256 rules where the last one matches, beside a plain loop of masked
//     16-byte compares over the same rules;
//   - accepts per second on loopback with a 10-rule list and the accept list on, beside none;
//   - 1 KiB datagrams through NiDgHdlSendTo and NiDgHdlRecvFrom, beside sendto and recvfrom.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "ni/nixxi.h"
#include "zul_ctrc.h"

namespace {

std::u16string Rules(int n) {
  std::string text;
  for (int i = 0; i < n - 1; ++i) text += "deny 10." + std::to_string(i) + ".0.0/16\n";
  text += "permit 0.0.0.0/0\n";
  return std::u16string(text.begin(), text.end());
}

void BM_AclCheck256(benchmark::State &state) {
  NiInit();
  ct_level = 0;
  uint16_t port = 0;
  int lis = -1;
  NiServerHandleForAddr(&NI_ADDR_LOCAL_I4_INIT, &port, &lis);
  NiAclCreate(lis, Rules(256).c_str(), nullptr);
  NI_NODEADDR peer;
  NiStrToAddr(u"192.168.1.1", &peer);
  for (auto _ : state) benchmark::DoNotOptimize(NiAclCheckAddr(lis, &peer));
  NiCloseHandle(lis);
  NiExit();
}
BENCHMARK(BM_AclCheck256);

void BM_PlainMaskedCompare256(benchmark::State &state) {
  struct R {
    uint8_t addr[16], mask[16];
  };
  std::vector<R> rules(256);
  for (int i = 0; i < 256; ++i) {
    memset(rules[i].mask, 0xFF, 14);
    rules[i].addr[12] = 10;
    rules[i].addr[13] = static_cast<uint8_t>(i);
  }
  memset(rules[255].mask, 0, 16);
  uint8_t peer[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 192, 168, 1, 1};
  for (auto _ : state) {
    int hit = -1;
    for (int i = 0; i < 256 && hit < 0; ++i) {
      bool eq = true;
      for (int k = 0; k < 16; ++k) eq &= ((peer[k] ^ rules[i].addr[k]) & rules[i].mask[k]) == 0;
      if (eq) hit = i;
    }
    benchmark::DoNotOptimize(hit);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_PlainMaskedCompare256);

// Raw client, NI accept, both ends closed (the accepted end first).
void BM_Accept(benchmark::State &state) {
  bool guarded = state.range(0) != 0;
  NiInit();
  ct_level = 0;
  uint16_t port = 0;
  int lis = -1;
  NiServerHandleForAddr(&NI_ADDR_LOCAL_I4_INIT, &port, &lis);
  if (guarded) {
    NiAclCreate(lis, Rules(10).c_str(), nullptr);
    NiAlInit(100, 1000, 1000, 1);
  }
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(port);
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  for (auto _ : state) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a);
    int h = -1;
    if (NiAcceptEx(lis, 2000, &h, nullptr, nullptr) == ZUL_O_K) NiCloseHandle(h);
    close(fd);
  }
  state.SetItemsProcessed(state.iterations());
  if (guarded) NiAlRelease();
  NiCloseHandle(lis);
  NiExit();
}
BENCHMARK(BM_Accept)->Arg(0)->Arg(1)->ArgNames({"acl_and_accept_list"});

void BM_DgNi1K(benchmark::State &state) {
  NiInit();
  ct_level = 0;
  uint16_t port = 0;
  int r = -1, s = -1;
  NiDgHdlCreate(&r);
  NiDgHdlBind3(r, &NI_ADDR_LOCAL_I4_INIT, &port);
  NiDgHdlCreate(&s);
  char buf[1024] = {};
  for (auto _ : state) {
    int n = 0;
    NiDgHdlSendTo(s, &NI_ADDR_LOCAL_I4_INIT, port, buf, sizeof buf, &n);
    NiDgHdlRecvFrom(r, nullptr, nullptr, buf, sizeof buf, &n);
  }
  state.SetBytesProcessed(state.iterations() * 1024);
  NiDgHdlClose(r);
  NiDgHdlClose(s);
  NiExit();
}
BENCHMARK(BM_DgNi1K);

void BM_DgRaw1K(benchmark::State &state) {
  int r = socket(AF_INET, SOCK_DGRAM, 0), s = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof a;
  bind(r, reinterpret_cast<sockaddr *>(&a), sizeof a);
  getsockname(r, reinterpret_cast<sockaddr *>(&a), &len);
  char buf[1024] = {};
  for (auto _ : state) {
    sendto(s, buf, sizeof buf, 0, reinterpret_cast<sockaddr *>(&a), sizeof a);
    sockaddr_in from{};
    socklen_t fl = sizeof from;
    recvfrom(r, buf, sizeof buf, 0, reinterpret_cast<sockaddr *>(&from), &fl);
  }
  state.SetBytesProcessed(state.iterations() * 1024);
  close(r);
  close(s);
}
BENCHMARK(BM_DgRaw1K);

}  // namespace

BENCHMARK_MAIN();
