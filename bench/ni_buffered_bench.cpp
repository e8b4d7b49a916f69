// Buffered handles over TCP on 127.0.0.1, with plain framed NiWrite/NiRead as the reference in the
// same run:
//   - one way: the measured thread sends (NiWrite, or NiBufSend with buffers recycled through
//     freef), a plain reader drains; 64 B, 1 KiB and 64 KiB messages;
//   - round trip of 64 bytes against a plain echo thread;
//   - NiBufAlloc + NiBufFree, plain and recycled, beside malloc + free;
//   - a slow reader (one message per millisecond) behind small socket buffers: the peak heap in
//     use with mMaxQueue 64, and with a heap limit of 1 MiB for a sender that pauses on
//     NIEQUE_FULL. Both figures are counters, in messages.
// NI calls wait without limit unless said otherwise.
#include <benchmark/benchmark.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <vector>

#include "../tests/support/ni_conn.h"
#include "ni/nibuf.h"
#include "zul_ctrc.h"

namespace {

struct Pair {
  int a = -1, b = -1;  // a: the measured side
  Pair(bool bufferedA, int sockBuf = 0) {
    ct_level = 1;
    NiInit3(16);
    int fds[2];
    if (!ni_test::StreamPair(ni_test::Link::kTcp, fds)) return;
    for (int i = 0; sockBuf != 0 && i < 2; ++i) {
      setsockopt(fds[i], SOL_SOCKET, SO_SNDBUF, &sockBuf, sizeof sockBuf);
      setsockopt(fds[i], SOL_SOCKET, SO_RCVBUF, &sockBuf, sizeof sockBuf);
    }
    a = ni_test::Attach(fds[0], false);
    b = ni_test::Attach(fds[1], false);
    if (bufferedA) {
      NI_PARAM_DATA d{NIHP_BUFSTAT, NI_DT_RAW, {}};
      d.value.raw_val = NI_BUFSTAT_ON;
      NiSetHdlParamEx(a, &d);
    }
  }
  ~Pair() {
    NiCloseHandle(a);
    NiCloseHandle(b);
    NiExit();
  }
};

// A free list that freef fills: buffers come back reset and are sent again.
thread_local std::vector<NIBUF *> tPool;
void Recycle(NIBUF **pp) { tPool.push_back(*pp); }
NIBUF *Take(int len) {
  NIBUF *b = nullptr;
  if (!tPool.empty()) {
    b = tPool.back();
    tPool.pop_back();
  } else {
    NiBufAlloc(&b, len, "bench");
    b->freef = Recycle;
  }
  b->len = static_cast<uint32_t>(len);
  return b;
}
void DrainPool() {
  for (NIBUF *b : tPool) NiBufFree2(&b);
  tPool.clear();
}

// Reads n messages (or until the handle fails) on a plain handle.
std::thread Reader(int hdl, int64_t n, int size) {
  return std::thread([=] {
    std::vector<char> buf(static_cast<size_t>(size));
    int got = 0;
    for (int64_t i = 0; i < n; ++i)
      if (NiRead(hdl, buf.data(), size, -1, &got) != ZUL_O_K) return;
  });
}

void BM_OneWayFramed(benchmark::State &state) {
  const int size = static_cast<int>(state.range(0));
  Pair p(false);
  std::vector<char> msg(static_cast<size_t>(size), 'x');
  std::thread r = Reader(p.b, state.max_iterations, size);
  int written = 0;
  for (auto _ : state) NiWrite(p.a, msg.data(), size, -1, &written);
  r.join();
  state.SetBytesProcessed(state.iterations() * size);
}
BENCHMARK(BM_OneWayFramed)->Arg(64)->Arg(1024)->Arg(65536)->UseRealTime();

void BM_OneWayBuffered(benchmark::State &state) {
  const int size = static_cast<int>(state.range(0));
  Pair p(true);
  std::thread r = Reader(p.b, state.max_iterations, size);
  for (auto _ : state) {
    NIBUF *b = Take(size);
    NiBufSend(p.a, &b, -1);
  }
  r.join();
  DrainPool();
  state.SetBytesProcessed(state.iterations() * size);
}
BENCHMARK(BM_OneWayBuffered)->Arg(64)->Arg(1024)->Arg(65536)->UseRealTime();

std::thread Echo(int hdl, int64_t n) {
  return std::thread([=] {
    char buf[64];
    int got = 0, written = 0;
    for (int64_t i = 0; i < n; ++i)
      if (NiRead(hdl, buf, 64, -1, &got) != ZUL_O_K || NiWrite(hdl, buf, got, -1, &written) != 0)
        return;
  });
}

void BM_RoundTripFramed(benchmark::State &state) {
  Pair p(false);
  std::thread e = Echo(p.b, state.max_iterations);
  char buf[64] = {};
  int n = 0;
  for (auto _ : state) {
    NiWrite(p.a, buf, 64, -1, &n);
    NiRead(p.a, buf, 64, -1, &n);
  }
  e.join();
}
BENCHMARK(BM_RoundTripFramed)->UseRealTime();

void BM_RoundTripBuffered(benchmark::State &state) {
  Pair p(true);
  std::thread e = Echo(p.b, state.max_iterations);
  for (auto _ : state) {
    NIBUF *b = Take(64);
    NiBufSend(p.a, &b, -1);
    NiBufReceive(p.a, &b, -1);
    NiBufFree(&b);
  }
  e.join();
  DrainPool();
}
BENCHMARK(BM_RoundTripBuffered)->UseRealTime();

void BM_Malloc(benchmark::State &state) {
  for (auto _ : state) {
    void *m = std::malloc(1024);
    benchmark::DoNotOptimize(m);
    std::free(m);
  }
}
BENCHMARK(BM_Malloc);

void BM_NiBufAllocFree(benchmark::State &state) {
  NiInit3(16);
  for (auto _ : state) {
    NIBUF *b = nullptr;
    NiBufAlloc(&b, 1024, "bench");
    benchmark::DoNotOptimize(b);
    NiBufFree(&b);
  }
  NiExit();
}
BENCHMARK(BM_NiBufAllocFree);

void BM_NiBufAllocFreeRecycled(benchmark::State &state) {
  NiInit3(16);
  for (auto _ : state) {
    NIBUF *b = Take(1024);
    benchmark::DoNotOptimize(b);
    NiBufFree(&b);
  }
  DrainPool();
  NiExit();
}
BENCHMARK(BM_NiBufAllocFreeRecycled);

// One run of 400 messages to a reader taking one per millisecond. mMaxQueue 64 with 1 KiB
// messages: the queue refuses and the sender retries. pauseOnFull, with 4 KiB messages: no queue
// limit, a heap limit of 1 MiB (256 messages), and the sender waits while the layer warns.
// Refused buffers are freed before the heap is read: only what the layer holds counts.
void SlowReader(benchmark::State &state, bool pauseOnFull) {
  const int kSize = pauseOnFull ? 4096 : 1024, kMsgs = 400;
  double peakMsgs = 0;
  for (auto _ : state) {
    Pair p(true, 16384);
    NI_PARAM_DATA d{NIHP_MAX_QUEUE, NI_DT_UINT, {}};
    d.value.uint_val = pauseOnFull ? 100000 : 64;
    NiSetHdlParamEx(p.a, &d);
    NI_PARAM_DATA heap{NIP_BUF_MAX_HEAP, NI_DT_UINT, {}};
    heap.value.uint_val = pauseOnFull ? 1 << 20 : 0;
    NiSetParamEx(&heap);
    std::atomic<bool> done{false};
    std::thread r([&] {
      std::vector<char> buf(kSize);
      int got = 0;
      for (int i = 0; i < kMsgs && NiRead(p.b, buf.data(), kSize, 2000, &got) == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      done = true;
    });
    const uint64_t base = ni::buf::HeapInUse();
    uint64_t peak = 0;
    for (int i = 0; i < kMsgs && !done;) {
      NIBUF *b = nullptr;
      NiBufAlloc(&b, kSize, "bench");
      b->len = kSize;
      int rc = NiBufSend(p.a, &b, 0);
      if (b != nullptr) NiBufFree(&b);  // refused: the caller still has it
      peak = std::max(peak, ni::buf::HeapInUse() - base);
      if (rc == ZUL_O_K || rc == NIEQUE_FULL) ++i;
      if (rc == NIETIMEOUT || (pauseOnFull && rc == NIEQUE_FULL))
        while (!done && NiPeekEx(p.a, NI_WRITE, 0, 1) != ZUL_O_K &&
               (pauseOnFull ? ni::buf::HeapLimitReached() : false)) {
        }
      if (rc == NIETIMEOUT) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    for (int i = 0; i < 5000 && NiPeekEx(p.a, NI_WRITE, 0, 1) != ZUL_O_K; ++i) {
    }
    r.join();
    heap.value.uint_val = 0;
    NiSetParamEx(&heap);
    peakMsgs = std::max(peakMsgs, static_cast<double>(peak) / kSize);
  }
  state.counters["peak_heap_msgs"] = peakMsgs;
}
void BM_SlowReaderQueue64(benchmark::State &state) { SlowReader(state, false); }
void BM_SlowReaderPauseOnQueueFull(benchmark::State &state) { SlowReader(state, true); }
BENCHMARK(BM_SlowReaderQueue64)->Iterations(1)->UseRealTime();
BENCHMARK(BM_SlowReaderPauseOnQueueFull)->Iterations(1)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
