// The address texts against the system's converters on 8-bit text: NiStrToAddr of an IPv4 and an
// IPv6 text against inet_pton, NiAddrToStr of a mapped address against inet_ntop. And the birth
// and death of a handle against what it can't do without: two recursive lock and unlock pairs
// and the clearing of one table entry.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <pthread.h>

#include <cstring>

#include "ni/nixxi.h"

namespace {

void BM_NiStrToAddr(benchmark::State &state, const char16_t *text) {
  NI_NODEADDR addr;
  for (auto _ : state) {
    benchmark::DoNotOptimize(NiStrToAddr(text, &addr));
    benchmark::ClobberMemory();
  }
}

void BM_InetPton(benchmark::State &state, const char *text) {
  in6_addr addr;
  int family = std::strchr(text, ':') != nullptr ? AF_INET6 : AF_INET;
  for (auto _ : state) {
    benchmark::DoNotOptimize(inet_pton(family, text, &addr));
    benchmark::ClobberMemory();
  }
}

BENCHMARK_CAPTURE(BM_NiStrToAddr, ipv4, u"10.1.2.3");
BENCHMARK_CAPTURE(BM_InetPton, ipv4, "10.1.2.3");
BENCHMARK_CAPTURE(BM_NiStrToAddr, ipv6, u"fe80::1:2");
BENCHMARK_CAPTURE(BM_InetPton, ipv6, "fe80::1:2");

void BM_NiAddrToStrMapped(benchmark::State &state) {
  NI_NODEADDR addr;
  NiStrToAddr(u"10.1.2.3", &addr);
  char16_t out[NI_NODEADDR_STR_LEN];
  for (auto _ : state) {
    benchmark::DoNotOptimize(NiAddrToStr(&addr, out, NI_NODEADDR_STR_LEN, 0));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_NiAddrToStrMapped);

void BM_InetNtop(benchmark::State &state) {
  in_addr addr;
  inet_pton(AF_INET, "10.1.2.3", &addr);
  char out[INET6_ADDRSTRLEN];
  for (auto _ : state) {
    benchmark::DoNotOptimize(inet_ntop(AF_INET, &addr, out, sizeof out));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_InetNtop);

void BM_NiCreateCloseHandle(benchmark::State &state) {
  NiInit();
  for (auto _ : state) {
    NITAB *p = nullptr;
    NiICreateHandle(&p, NI_INITIAL_CON, nullptr);
    NiICloseHandle(p, 1, 0);
  }
  NiExit();
}
BENCHMARK(BM_NiCreateCloseHandle);

void BM_TwoRecursiveLocksAndClear(benchmark::State &state) {
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_t m;
  pthread_mutex_init(&m, &attr);
  NITAB entry;
  for (auto _ : state) {
    pthread_mutex_lock(&m);
    std::memset(&entry, 0, sizeof entry);
    benchmark::ClobberMemory();
    pthread_mutex_unlock(&m);
    pthread_mutex_lock(&m);
    pthread_mutex_unlock(&m);
  }
  pthread_mutex_destroy(&m);
}
BENCHMARK(BM_TwoRecursiveLocksAndClear);

}  // namespace

BENCHMARK_MAIN();
