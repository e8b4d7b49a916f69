// What sending over TCP costs the application and how fast it goes.
//
// AgentFaultLatency: two application threads time transactions with a nested pair, every
// transaction traced, while the library sends to an agent that drains, one that accepts and never
// reads (hung), or none (absent: the port refuses). The dispatcher's tick is 20 ms, so traces
// leave every 20 ms and metrics every 0.3 s, and a hung agent holds the dispatchers in its send
// time-out most of the time. The arms run interleaved, three rounds each; reported per arm: the
// 99.9th percentile and the maximum of one start+end pair in nanoseconds.
//
// TextsPerSecond: one agent sends a 200-byte metric text again and again to a draining reader,
// the file agent beside it to a log file.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "tcp_peer.h"
#include "bench_temp_dir.h"
#include "tlm.h"
#include "tlm/tlmdispatchermanager.h"
#include "tlm/tlmmtdatasendingfileagent.h"
#include "tlm/tlmmtdatasendingsocketagent.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "zul_ni.h"

namespace {

using Clock = std::chrono::steady_clock;
using tlm_test::TcpPeer;

using bench::TempDir;

// A peer that reads everything its connections send, on a thread of its own.
class DrainingPeer {
 public:
  DrainingPeer() : thread_([this] { run(); }) {}
  ~DrainingPeer() {
    stop_ = true;
    thread_.join();
  }
  uint16_t Port() const { return peer_.Port(); }

 private:
  void run() {
    std::vector<int> fds;
    char buffer[65536];
    while (!stop_) {
      const int fd = peer_.Accept(0);
      if (fd >= 0) fds.push_back(fd);
      std::vector<pollfd> polls;
      for (int f : fds) polls.push_back({f, POLLIN, 0});
      if (polls.empty()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        continue;
      }
      poll(polls.data(), polls.size(), 5);
      for (const pollfd &p : polls) {
        if (p.revents != 0) recv(p.fd, buffer, sizeof buffer, MSG_DONTWAIT);
      }
    }
  }
  TcpPeer peer_;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

// Accepts connections and never reads from them.
class HungPeer {
 public:
  HungPeer() : thread_([this] {
                 while (!stop_) peer_.Accept(5);
               }) {}
  ~HungPeer() {
    stop_ = true;
    thread_.join();
  }
  uint16_t Port() const { return peer_.Port(); }

 private:
  TcpPeer peer_;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

enum Arm { kDraining, kHung, kAbsent };
const char *const kArmNames[] = {"draining", "hung", "absent"};

std::vector<int64_t> TimeAgainst(uint16_t port, const TempDir &dir, int milliseconds) {
  const std::u16string logdir = dir.path16();
  const std::u16string portText = TcpPeer::Text(port);
  const ZUL_UTF16 *pairs[][2] = {{u"logdir", logdir.c_str()},
                                 {u"datasending_method", u"socket"},
                                 {u"agent_host", u"127.0.0.1"},
                                 {u"agent_port", portText.c_str()},
                                 {u"trace_enabled_via_em", u"1"},
                                 {u"tracecheck_interval", u"1"},
                                 {u"datasending_interval", u"15"}};
  TLM_ProcInitWithParam(u"SocketBench", 0, sizeof pairs / sizeof pairs[0], pairs);
  std::atomic<bool> running{true};
  std::vector<int64_t> samples[2];
  std::vector<std::thread> threads;
  for (auto &mine : samples) {
    threads.emplace_back([&running, &mine] {
      mine.reserve(4'000'000);
      while (running.load(std::memory_order_relaxed) && mine.size() < mine.capacity()) {
        const uint32_t outer = TLM_startTiming(u"Service", u"request", 1);
        for (int i = 0; i < 8; ++i) {
          const Clock::time_point start = Clock::now();
          TLM_endTiming(TLM_startTiming(u"Database", u"query", 1));
          mine.push_back((Clock::now() - start).count());
        }
        TLM_endTiming(outer);
      }
    });
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  running = false;
  for (std::thread &t : threads) t.join();
  TLM_ProcExit();
  samples[0].insert(samples[0].end(), samples[1].begin(), samples[1].end());
  return samples[0];
}

void AgentFaultLatency(benchmark::State &state) {
  TempDir dir("tlm_socket_bench");
  CDispatcherManager::setTimerTick(20);
  std::map<Arm, std::vector<int64_t>> samples;
  for (auto _ : state) {
    for (int round = 0; round < 3; ++round) {
      for (Arm arm : {kDraining, kHung, kAbsent}) {
        std::vector<int64_t> got;
        if (arm == kDraining) {
          DrainingPeer peer;
          got = TimeAgainst(peer.Port(), dir, 1500);
        } else if (arm == kHung) {
          HungPeer peer;
          got = TimeAgainst(peer.Port(), dir, 1500);
        } else {
          uint16_t port;
          { port = TcpPeer().Port(); }
          got = TimeAgainst(port, dir, 1500);
        }
        samples[arm].insert(samples[arm].end(), got.begin(), got.end());
      }
    }
  }
  CDispatcherManager::setTimerTick(1000);
  double p999[3] = {};
  for (auto &[arm, values] : samples) {
    std::sort(values.begin(), values.end());
    p999[arm] = values.empty() ? 0.0
                               : static_cast<double>(values[static_cast<size_t>(
                                     0.999 * static_cast<double>(values.size() - 1))]);
    state.counters[std::string(kArmNames[arm]) + "_p99.9_ns"] = p999[arm];
    state.counters[std::string(kArmNames[arm]) + "_max_ns"] =
        values.empty() ? 0.0 : static_cast<double>(values.back());
  }
  if (p999[kDraining] > 0) {
    state.counters["hung/draining"] = p999[kHung] / p999[kDraining];
    state.counters["absent/draining"] = p999[kAbsent] / p999[kDraining];
  }
}
BENCHMARK(AgentFaultLatency)->Iterations(1)->Unit(benchmark::kMillisecond);

// A metric text of about 200 bytes, as one line of a busy component.
const zulstring kText =
    u"SocketBench|Service|request|1|Average Response Time(ms)|12.5|count|1024|min|0.2|max|88.1|"
    u"active|3|finished|1021|interval|15|system|host-01|caf\u00e9 \u00e0 la carte|padding-pad\n";

void TextsPerSecondSocket(benchmark::State &state) {
  DrainingPeer peer;
  NiInit();
  TLMParameterHelper::CleanUp();
  const std::u16string port = TcpPeer::Text(peer.Port());
  zulstring names[] = {u"agent_host", u"agent_port"};
  zulstring values[] = {u"127.0.0.1", port};
  TLMParameterHelper::ConfigParameters(names, values, 2);
  {
    CMTDataSendingSocketAgent agent;
    if (!agent.checkStatus()) state.SkipWithError("agent not connected");
    for (auto _ : state) agent.sendData(kText);
  }
  TLMParameterHelper::CleanUp();
  NiExit();
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(TextsPerSecondSocket);

void TextsPerSecondFile(benchmark::State &state) {
  TempDir dir("tlm_socket_bench");
  TLMParameterHelper::CleanUp();
  zulstring names[] = {u"logdir"};
  zulstring values[] = {dir.path16()};
  TLMParameterHelper::ConfigParameters(names, values, 1);
  {
    CMTDataSendingFileAgent agent(u"SocketBench");
    for (auto _ : state) agent.sendData(kText);
  }
  TLMParameterHelper::CleanUp();
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(TextsPerSecondFile);

}  // namespace

BENCHMARK_MAIN();
