// tlm-agent's Prometheus face with 10,000 series (sample lines of /metrics, as Prometheus counts
// them): taking the metric text in, collecting and writing the exposition (in process, and as a
// real HTTP scrape of the Exposer, plain and compressed as Prometheus asks for it), beside the
// viewer's parse of the same text. Counters give the series and the size of /metrics.
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <prometheus/exposer.h>

#include <sstream>
#include <string>
#include <vector>

#include "exposition.h"
#include "logtext.h"

namespace {

// Five series each: a finished counter and an elapsed summary (count, sum, quantiles 0 and 1).
constexpr int kComponents = 2000;

const std::vector<std::string> &Lines() {
  static const std::vector<std::string> lines = [] {
    std::vector<std::string> made;
    for (int i = 0; i < kComponents; ++i) {
      const std::string name = "ZUL_TLM|BenchServer_4242|Component" + std::to_string(i % 100) +
                               "|operation" + std::to_string(i / 100);
      made.push_back("<metric type=\"IntAverage\" name=\"" + name +
                     ":Avg. Elapsed Time(ms)\" value=\"12\" max=\"40\" min=\"3\" count=\"7\" />");
      made.push_back("<metric type=\"IntAverage\" name=\"" + name +
                     ":Finished Counter\" value=\"7\" />");
    }
    return made;
  }();
  return lines;
}

void Fill(tlmagent::MetricExposition &exposition) {
  const auto now = tlmagent::Clock::now();
  for (const std::string &line : Lines()) exposition.Take(line, "127.0.0.1", now);
}

void BM_AgentTakeText(benchmark::State &state) {
  for (auto _ : state) {
    tlmagent::MetricExposition exposition(std::chrono::seconds(300));
    Fill(exposition);
    benchmark::DoNotOptimize(exposition.SeriesCount());
  }
  state.counters["lines"] = static_cast<double>(Lines().size());
}
BENCHMARK(BM_AgentTakeText)->Unit(benchmark::kMillisecond);

void BM_ViewParseText(benchmark::State &state) {
  std::string text;
  for (const std::string &line : Lines()) text += line + "\n";
  for (auto _ : state) {
    std::istringstream in(text);
    benchmark::DoNotOptimize(tlmview::ParseLog(in));
  }
  state.counters["lines"] = static_cast<double>(Lines().size());
}
BENCHMARK(BM_ViewParseText)->Unit(benchmark::kMillisecond);

// Sample lines of an exposition: the series a scrape carries.
double SeriesIn(const std::string &text) {
  double series = 0;
  for (size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) series += text[at] != '#';
  return series;
}

void BM_AgentScrapeInProcess(benchmark::State &state) {
  tlmagent::MetricExposition exposition(std::chrono::seconds(300));
  Fill(exposition);
  std::string text;
  for (auto _ : state) text = exposition.Scrape();
  state.counters["series"] = SeriesIn(text);
  state.counters["bytes"] = static_cast<double>(text.size());
}
BENCHMARK(BM_AgentScrapeInProcess)->Unit(benchmark::kMillisecond);

// GET /metrics over loopback as a scraper does it, whole answer read.
std::string HttpGet(int port, bool gzip) {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  addr.sin_port = htons(static_cast<uint16_t>(port));
  std::string answer;
  if (connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0) {
    const std::string request = std::string("GET /metrics HTTP/1.1\r\nHost: b\r\n") +
                                (gzip ? "Accept-Encoding: gzip\r\n" : "") +
                                "Connection: close\r\n\r\n";
    send(fd, request.data(), request.size(), MSG_NOSIGNAL);
    char buffer[65536];
    pollfd p{fd, POLLIN, 0};
    while (poll(&p, 1, 5000) > 0) {
      ssize_t n = recv(fd, buffer, sizeof buffer, 0);
      if (n <= 0) break;
      answer.append(buffer, static_cast<size_t>(n));
    }
  }
  close(fd);
  return answer;
}

void BM_AgentScrapeHttp(benchmark::State &state) {
  tlmagent::MetricExposition exposition(std::chrono::seconds(300));
  Fill(exposition);
  prometheus::Exposer exposer(std::vector<std::string>{"listening_ports", "127.0.0.1:0"});
  exposer.RegisterCollectable(exposition.Registry());
  exposer.RegisterCollectable(exposition.Summaries());
  const int port = exposer.GetListeningPorts().at(0);
  size_t bytes = 0;
  for (auto _ : state) bytes = HttpGet(port, state.range(0) != 0).size();
  state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_AgentScrapeHttp)->ArgName("gzip")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
