// The whole library sending over TCP while application threads time transactions: whatever the
// agent does (hangs, refuses, dies), the timing calls never wait for it, the process survives a
// vanished reader, and the stop ends within its bound.
#include <signal.h>
#include <sys/wait.h>

#include "tcp_peer.h"
#include "tlm.h"
#include "tlm/tlmdispatchermanager.h"
#include "trace_capture.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using tlm_test::TcpPeer;

constexpr int kSendTimeoutMs = 400;

// A reader in a child process that accepts and drains every connection until it is killed.
class ChildPeer {
 public:
  ChildPeer() {
    int fds[2];
    if (pipe(fds) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      close(fds[0]);
      TcpPeer peer;
      const uint16_t port = peer.Port();
      if (write(fds[1], &port, sizeof port) != sizeof port) _exit(1);
      std::vector<int> open;
      for (int rounds = 0; rounds < 6000; ++rounds) {  // ends by itself after about a minute
        const int fd = peer.Accept(5);
        if (fd >= 0) open.push_back(fd);
        for (int f : open) TcpPeer::ReadFor(f, 0);
      }
      _exit(0);
    }
    close(fds[1]);
    if (read(fds[0], &port_, sizeof port_) != sizeof port_) port_ = 0;
    close(fds[0]);
  }
  ~ChildPeer() { Kill(); }
  uint16_t Port() const { return port_; }
  void Kill() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

 private:
  pid_t pid_ = -1;
  uint16_t port_ = 0;
};

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
  // Forked first, while this process has one thread.
  ChildPeer child;
  ASSERT_NE(child.Port(), 0);
  tlm_test::TraceCapture trace(1);
  CDispatcherManager::setTimerTick(20);
  TcpPeer hung;
  std::atomic<bool> accepting{true};
  std::thread acceptor([&] {
    while (accepting) hung.Accept(5);
  });
  uint16_t absent;
  { absent = TcpPeer().Port(); }
  // An agent that accepts and never reads, one that refuses, and one killed midway: the writes
  // after the reader's death must raise no SIGPIPE that reaches the process.
  const struct {
    const char *what;
    uint16_t port;
    std::function<void()> midway;
  } cases[] = {{"hung", hung.Port(), [] {}},
               {"absent", absent, [] {}},
               {"killed", child.Port(), [&] { child.Kill(); }}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const Outcome o = RunAgainst(c.port, 1200, c.midway);
    EXPECT_LT(o.worstPair, milliseconds(kSendTimeoutMs / 2));
    // The stop's bound with one agent: 1.4 s and 10 send time-outs.
    EXPECT_LT(o.stop, milliseconds(1400 + 10 * kSendTimeoutMs + 500));
  }
  accepting = false;
  acceptor.join();
  CDispatcherManager::setTimerTick(1000);
}

}  // namespace
