// tlm-agent --prometheus as a whole process, over real sockets: texts from two senders arrive
// while /metrics is scraped a hundred times a second and other clients misbehave (silent, not a
// GET of /metrics, a 100 KB request line); every scrape is served, the totals come out right,
// promtool accepts the text, and the series leave once their senders are idle.
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <regex>
#include <thread>

#include "exposition_grammar.h"

extern char **environ;

namespace {

using namespace std::chrono_literals;
using AgentClock = std::chrono::steady_clock;

int ConnectTo(int port) {
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  addr.sin_port = htons(static_cast<uint16_t>(port));
  if (connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

// Sends request and reads the answer until the server closes, within limit; empty on failure.
std::string Http(int port, const std::string &request, std::chrono::milliseconds limit = 2s) {
  int fd = ConnectTo(port);
  if (fd < 0) return "";
  std::string answer;
  const auto deadline = AgentClock::now() + limit;
  size_t sent = 0;
  while (AgentClock::now() < deadline) {
    pollfd p{fd, static_cast<short>(POLLIN | (sent < request.size() ? POLLOUT : 0)), 0};
    if (poll(&p, 1, 50) <= 0) continue;
    if (p.revents & POLLOUT) {
      ssize_t n = send(fd, request.data() + sent, request.size() - sent, MSG_NOSIGNAL);
      if (n > 0) sent += static_cast<size_t>(n);
    }
    if (p.revents & (POLLIN | POLLHUP | POLLERR)) {
      char buffer[65536];
      ssize_t n = recv(fd, buffer, sizeof buffer, 0);
      if (n <= 0) break;
      answer.append(buffer, static_cast<size_t>(n));
    }
  }
  close(fd);
  return answer;
}

std::string Scrape(int port) {
  return Http(port, "GET /metrics HTTP/1.1\r\nHost: t\r\nConnection: close\r\n\r\n");
}

std::string Body(const std::string &answer) {
  size_t at = answer.find("\r\n\r\n");
  return at == std::string::npos ? "" : answer.substr(at + 4);
}

class AgentPrometheus : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::string(TLM_AGENT).empty()) GTEST_SKIP() << "the tools aren't built";
    char dir[] = "/tmp/tlm-agent-test.XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    dir_ = dir;
    const std::string err = dir_ + "/agent.err";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT, 0600);
    std::vector<std::string> args = {TLM_AGENT, "--port", "0", "--prometheus", "127.0.0.1:0",
                                     "--prometheus-idle", "2"};
    std::vector<char *> argv;
    for (std::string &a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    ASSERT_EQ(posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    const std::regex listening(R"(listening on .*:(\d+))"), serving(R"(serving /metrics on .*:(\d+))");
    for (int i = 0; i < 200 && (port_ == 0 || metricsPort_ == 0); ++i) {
      std::this_thread::sleep_for(50ms);
      std::ifstream in(err);
      std::string text((std::istreambuf_iterator<char>(in)), {});
      std::smatch m;
      if (std::regex_search(text, m, listening)) port_ = std::stoi(m[1]);
      if (std::regex_search(text, m, serving)) metricsPort_ = std::stoi(m[1]);
    }
    ASSERT_TRUE(port_ && metricsPort_) << "the agent didn't start";
  }
  void TearDown() override {
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      int status = 0;
      for (int i = 0; i < 100 && waitpid(pid_, &status, WNOHANG) == 0; ++i) {
        std::this_thread::sleep_for(50ms);
      }
      if (waitpid(pid_, &status, WNOHANG) == 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, &status, 0);
      }
    }
    if (!dir_.empty()) std::filesystem::remove_all(dir_);
  }

  std::string dir_;
  pid_t pid_ = -1;
  int port_ = 0;
  int metricsPort_ = 0;
};

TEST_F(AgentPrometheus, ServesEveryScrapeWhileTextsArriveAndClientsMisbehave) {
  // Clients that connect and never send hold a worker each until the server gives up on them.
  std::vector<int> silent;
  for (int i = 0; i < 4; ++i) silent.push_back(ConnectTo(metricsPort_));
  const std::string post = Http(metricsPort_, "POST /metrics HTTP/1.1\r\nHost: t\r\nConnection: close\r\n\r\n");
  const std::string other = Http(metricsPort_, "GET /other HTTP/1.1\r\nHost: t\r\nConnection: close\r\n\r\n");
  const std::string huge =
      Http(metricsPort_, "GET /" + std::string(100 * 1024, 'a') + " HTTP/1.1\r\nHost: t\r\n\r\n");
  for (const std::string *answer : {&post, &other, &huge}) {
    EXPECT_EQ(answer->find("200 OK"), std::string::npos) << answer->substr(0, 80);
  }

  // Two senders, each a process of its own, whose lines arrive in pieces.
  constexpr int kRounds = 200;
  std::thread senders([this] {
    int a = ConnectTo(port_), b = ConnectTo(port_);
    for (int round = 0; round < kRounds; ++round) {
      for (auto [fd, process] : {std::pair{a, "A_1"}, std::pair{b, "B_2"}}) {
        const std::string line = std::string("<metric type=\"IntAverage\" name=\"ZUL_TLM|") +
                                 process + "|Db|q:Finished Counter\" value=\"1\" />\n";
        send(fd, line.data(), 20, MSG_NOSIGNAL);
        send(fd, line.data() + 20, line.size() - 20, MSG_NOSIGNAL);
      }
      std::this_thread::sleep_for(5ms);
    }
    close(a);
    close(b);
  });
  int served = 0;
  const auto start = AgentClock::now();
  for (int i = 0; i < 100; ++i) {
    std::this_thread::sleep_until(start + i * 10ms);
    served += Scrape(metricsPort_).find("HTTP/1.1 200 OK") == 0;
  }
  senders.join();
  EXPECT_EQ(served, 100);

  std::string body;
  const std::string total = R"(operation="q",process="A_1",system="ZUL_TLM"} 200)";
  for (int i = 0; i < 40 && body.find(total) == std::string::npos; ++i) {
    std::this_thread::sleep_for(50ms);
    body = Body(Scrape(metricsPort_));
  }
  EXPECT_NE(body.find(total), std::string::npos) << body;
  EXPECT_NE(body.find(R"(process="B_2",system="ZUL_TLM"} 200)"), std::string::npos) << body;
  EXPECT_EQ(tlm_test::CheckExposition(body), "");
  if (!std::string(TLM_PROMTOOL).empty()) {  // Debian's prometheus package
    std::ofstream(dir_ + "/scrape.txt") << body;
    const std::string check = std::string(TLM_PROMTOOL) + " check metrics < " + dir_ + "/scrape.txt";
    EXPECT_EQ(std::system(check.c_str()), 0) << body;
  }

  // Without news for the idle time (2 s), the senders' series leave.
  for (int i = 0; i < 100 && body.find("process=\"A_1\"") != std::string::npos; ++i) {
    std::this_thread::sleep_for(100ms);
    body = Body(Scrape(metricsPort_));
  }
  EXPECT_EQ(body.find("process=\"A_1\""), std::string::npos) << body;
  for (int fd : silent) close(fd);
}

}  // namespace
