// The whole library sending over TCP while application threads time transactions: whatever the
// agent does (hangs, resets), the timing calls never wait for it, the process survives a vanished
// reader, and the stop ends within its bound.
#include "tcp_peer.h"
#include "tlm.h"
#include "tlm/tlmdispatchermanager.h"
#include "trace_capture.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using tlm_test::TcpPeer;

constexpr int kSendTimeoutMs = 400;

struct Outcome {
  Clock::duration worstPair{};
  Clock::duration stop{};
};

// Runs the library against port for runMs with two timing threads; midway calls midway().
Outcome RunAgainst(uint16_t port, int runMs, const std::function<void()> &midway) {
  const std::u16string portText = TcpPeer::Text(port);
  const std::u16string timeout = TcpPeer::Text(kSendTimeoutMs);
  const ZUL_UTF16 *pairs[][2] = {
      {u"datasending_method", u"socket"}, {u"agent_host", u"127.0.0.1"},
      {u"agent_port", portText.c_str()},  {u"_socket_send_timeout", timeout.c_str()},
      {u"trace_enabled_via_em", u"1"},    {u"tracecheck_interval", u"1"}};
  TLM_ProcInitWithParam(u"SendFaults", 0, sizeof pairs / sizeof pairs[0], pairs);
  std::atomic<bool> running{true};
  std::atomic<int64_t> worst{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; running.load(std::memory_order_relaxed) && i < 2'000'000; ++i) {
        const Clock::time_point start = Clock::now();
        const uint32_t outer = TLM_startTiming(u"Service", u"request", 1);
        TLM_endTiming(TLM_startTiming(u"Database", u"query", 1));
        TLM_endTiming(outer);
        const int64_t took = (Clock::now() - start).count();
        int64_t seen = worst.load();
        while (took > seen && !worst.compare_exchange_weak(seen, took)) {
        }
      }
    });
  }
  std::this_thread::sleep_for(milliseconds(runMs / 2));
  midway();
  std::this_thread::sleep_for(milliseconds(runMs / 2));
  running = false;
  for (std::thread &t : threads) t.join();
  const Clock::time_point stopping = Clock::now();
  TLM_ProcExit();
  return {Clock::duration(worst.load()), Clock::now() - stopping};
}

TEST(SocketSendingFaults, ApplicationThreadsNeverWaitForTheAgent) {
  tlm_test::TraceCapture trace(1);
  CDispatcherManager::setTimerTick(20);
  // An agent that accepts and never reads, and one that resets its connections midway, as a
  // killed reader's look: the writes after the reset must raise no SIGPIPE that reaches the
  // process.
  for (bool vanishes : {false, true}) {
    SCOPED_TRACE(vanishes ? "reset" : "hung");
    TcpPeer peer;
    std::atomic<bool> accepting{true}, reset{false};
    std::thread acceptor([&] {
      std::vector<int> fds;
      while (accepting) {
        const int fd = peer.Accept(5);
        if (fd >= 0) fds.push_back(fd);
        if (!reset) continue;
        for (int f : fds) peer.Reset(f);
        fds.clear();
      }
    });
    const Outcome o = RunAgainst(peer.Port(), 1200, [&] { reset = vanishes; });
    accepting = false;
    acceptor.join();
    EXPECT_LT(o.worstPair, milliseconds(kSendTimeoutMs / 2));
    // The stop's bound with one agent: 1.4 s and 10 send time-outs.
    EXPECT_LT(o.stop, milliseconds(1400 + 10 * kSendTimeoutMs + 500));
  }
  CDispatcherManager::setTimerTick(1000);
}

}  // namespace
