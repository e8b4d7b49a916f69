// tlm-agent: a small receiver of the library's socket sending. It listens on a TCP port, accepts
// any number of connections (each process using the library opens two: metrics and traces) and
// prints what arrives on standard output, whole lines at a time, so that lines of two connections
// never mix and `tlm-agent | tlm-view` works. Modes that misbehave on purpose make it the peer of
// the fault tests: --stall accepts and never reads, --slow reads at a fixed rate, --close-after
// closes a connection after a number of bytes. With --prometheus it also keeps every metric line
// as a Prometheus series and serves them at /metrics on a port of its own.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <prometheus/exposer.h>

#include "exposition.h"

namespace {

struct Options {
  std::string host = "127.0.0.1";
  int port = 59818;
  bool stall = false;
  double slowBytesPerSecond = 0;  // 0: read as fast as data comes
  long closeAfter = 0;            // 0: never close from this side
  std::string prometheus;         // HOST:PORT to serve /metrics on; empty: none
  long idleSeconds = 300;         // a series without news for this long leaves /metrics
};

// One accepted connection and the part of a line it has sent so far.
struct Connection {
  int fd;
  std::string host;  // the peer's address, a label of its series
  std::string pending;
  long received = 0;
  double budget = 0;  // bytes it may still read under --slow
};

volatile sig_atomic_t gStop = 0;

void onStop(int) { gStop = 1; }

void usage() {
  std::fprintf(stderr,
               "usage: tlm-agent [--host ADDR] [--port N] [--stall] [--slow BYTES/S] "
               "[--close-after BYTES]\n"
               "                 [--prometheus HOST:PORT [--prometheus-idle SECONDS]]\n"
               "  Listens on ADDR:N (default 127.0.0.1:59818; --port 0 takes a free port and\n"
               "  prints it on standard error) and prints every whole line received.\n"
               "  --prometheus also serves the metrics received at http://HOST:PORT/metrics\n"
               "  (PORT 0: a free port, printed on standard error); a series that gets no new\n"
               "  value for SECONDS (default 300) is removed.\n");
}

bool parse(int argc, char **argv, Options &o) {
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    auto value = [&](const char *name) -> const char * {
      if (i + 1 >= argc) {
        std::fprintf(stderr, "tlm-agent: %s needs a value\n", name);
        return nullptr;
      }
      return argv[++i];
    };
    const char *v = nullptr;
    if (a == "--stall") {
      o.stall = true;
    } else if (a == "--host") {
      if (!(v = value("--host"))) return false;
      o.host = v;
    } else if (a == "--port") {
      if (!(v = value("--port"))) return false;
      char *end = nullptr;
      o.port = static_cast<int>(std::strtol(v, &end, 10));
      if (*end != '\0' || o.port < 0 || o.port > 65535) return false;
    } else if (a == "--slow") {
      if (!(v = value("--slow"))) return false;
      o.slowBytesPerSecond = std::strtod(v, nullptr);
      if (o.slowBytesPerSecond <= 0) return false;
    } else if (a == "--close-after") {
      if (!(v = value("--close-after"))) return false;
      o.closeAfter = std::strtol(v, nullptr, 10);
      if (o.closeAfter <= 0) return false;
    } else if (a == "--prometheus") {
      if (!(v = value("--prometheus"))) return false;
      o.prometheus = v;
      if (o.prometheus.rfind(':') == std::string::npos) return false;
    } else if (a == "--prometheus-idle") {
      if (!(v = value("--prometheus-idle"))) return false;
      char *end = nullptr;
      o.idleSeconds = std::strtol(v, &end, 10);
      if (*end != '\0' || o.idleSeconds <= 0) return false;
    } else {
      return false;
    }
  }
  return true;
}

// The HTTP side of --prometheus: prometheus-cpp's Exposer serving the agent's two collectables.
// Its worker threads give up on a request that hasn't arrived in full within a few seconds, so
// that clients which connect and send nothing can't hold all of them.
std::unique_ptr<prometheus::Exposer> ServeMetrics(const Options &o,
                                                  const tlmagent::MetricExposition &exposition) {
  std::unique_ptr<prometheus::Exposer> exposer;
  try {
    exposer = std::make_unique<prometheus::Exposer>(std::vector<std::string>{
        "listening_ports", o.prometheus, "num_threads", "16", "request_timeout_ms", "3000"});
  } catch (const std::exception &e) {
    std::fprintf(stderr, "tlm-agent: can't serve /metrics on %s: %s\n", o.prometheus.c_str(),
                 e.what());
    return nullptr;
  }
  exposer->RegisterCollectable(exposition.Registry());
  exposer->RegisterCollectable(exposition.Summaries());
  const std::string host = o.prometheus.substr(0, o.prometheus.rfind(':'));
  for (int port : exposer->GetListeningPorts()) {
    std::fprintf(stderr, "tlm-agent: serving /metrics on %s:%d\n", host.c_str(), port);
  }
  return exposer;
}

std::string PeerAddress(const sockaddr_storage &peer) {
  char text[INET6_ADDRSTRLEN] = "";
  if (peer.ss_family == AF_INET) {
    inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in &>(peer).sin_addr, text, sizeof text);
  } else if (peer.ss_family == AF_INET6) {
    inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6 &>(peer).sin6_addr, text,
              sizeof text);
  }
  return text;
}

int listenOn(const Options &o) {
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(static_cast<uint16_t>(o.port));
  if (inet_pton(AF_INET, o.host.c_str(), &addr.sin_addr) != 1) {
    std::fprintf(stderr, "tlm-agent: not an IPv4 address: %s\n", o.host.c_str());
    return -1;
  }
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  int one = 1;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  if (fd < 0 || bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0 ||
      listen(fd, 64) != 0) {
    std::fprintf(stderr, "tlm-agent: can't listen on %s:%d: %s\n", o.host.c_str(), o.port,
                 std::strerror(errno));
    return -1;
  }
  socklen_t len = sizeof addr;
  getsockname(fd, reinterpret_cast<sockaddr *>(&addr), &len);
  std::fprintf(stderr, "tlm-agent: listening on %s:%d\n", o.host.c_str(), ntohs(addr.sin_port));
  return fd;
}

// Prints the whole lines of a connection's text in one write, so that they stay together, and
// hands each of them to the exposition, if there is one.
bool printLines(Connection &c, bool all, tlmagent::MetricExposition *exposition) {
  size_t end = all ? c.pending.size() : c.pending.rfind('\n');
  if (end == std::string::npos || end == 0) return true;
  if (!all) ++end;
  std::string out = c.pending.substr(0, end);
  if (out.back() != '\n') out += '\n';
  c.pending.erase(0, end);
  if (exposition) {
    const auto now = tlmagent::Clock::now();
    for (size_t at = 0; at < out.size();) {
      size_t feed = out.find('\n', at);
      exposition->Take(std::string_view(out).substr(at, feed - at), c.host, now);
      at = feed + 1;
    }
  }
  return std::fwrite(out.data(), 1, out.size(), stdout) == out.size() && std::fflush(stdout) == 0;
}

// Reads what a connection has; false when it has ended (closed by the peer, or by --close-after).
bool readFrom(Connection &c, const Options &o) {
  char buffer[65536];
  size_t room = sizeof buffer;
  if (o.slowBytesPerSecond > 0) room = std::min(room, static_cast<size_t>(c.budget));
  if (o.closeAfter > 0) room = std::min(room, static_cast<size_t>(o.closeAfter - c.received));
  if (room == 0) return true;
  ssize_t n = recv(c.fd, buffer, room, 0);
  if (n < 0 && (errno == EINTR || errno == EAGAIN)) return true;
  if (n <= 0) return false;
  c.received += n;
  c.budget -= static_cast<double>(n);
  c.pending.append(buffer, static_cast<size_t>(n));
  return !(o.closeAfter > 0 && c.received >= o.closeAfter);
}

int run(const Options &o) {
  std::unique_ptr<tlmagent::MetricExposition> exposition;
  std::unique_ptr<prometheus::Exposer> exposer;  // after exposition: stops serving before it goes
  if (!o.prometheus.empty()) {
    exposition = std::make_unique<tlmagent::MetricExposition>(std::chrono::seconds(o.idleSeconds));
    exposer = ServeMetrics(o, *exposition);
    if (!exposer) return 1;
  }
  int listener = listenOn(o);
  if (listener < 0) return 1;
  std::vector<Connection> connections;
  auto last = std::chrono::steady_clock::now();
  auto lastExpiry = last;
  while (!gStop) {
    std::vector<pollfd> fds{{listener, POLLIN, 0}};
    for (const Connection &c : connections) {
      const bool mayRead = !o.stall && (o.slowBytesPerSecond <= 0 || c.budget >= 1);
      fds.push_back({c.fd, static_cast<short>(mayRead ? POLLIN : 0), 0});
    }
    if (poll(fds.data(), fds.size(), 50) < 0 && errno != EINTR) break;
    const auto now = std::chrono::steady_clock::now();
    const double seconds = std::chrono::duration<double>(now - last).count();
    last = now;
    for (Connection &c : connections) {
      c.budget = std::min(c.budget + seconds * o.slowBytesPerSecond, o.slowBytesPerSecond);
    }
    if (exposition && now - lastExpiry >= std::chrono::seconds(1)) {
      exposition->Expire(now);
      lastExpiry = now;
    }
    if (fds[0].revents & POLLIN) {
      sockaddr_storage peer{};
      socklen_t peerLength = sizeof peer;
      int fd = accept4(listener, reinterpret_cast<sockaddr *>(&peer), &peerLength, SOCK_CLOEXEC);
      if (fd >= 0) connections.push_back({fd, PeerAddress(peer), {}, 0, 0});
    }
    for (size_t i = 1; i < fds.size(); ++i) {
      Connection &c = connections[i - 1];
      if (!(fds[i].revents & (POLLIN | POLLHUP | POLLERR))) continue;
      // A stalled agent reads nothing, but lets a connection go when the peer resets it.
      const bool open = o.stall ? !(fds[i].revents & (POLLHUP | POLLERR)) : readFrom(c, o);
      if (!printLines(c, !open, exposition.get())) return 1;  // standard output has gone
      if (!open) {
        close(c.fd);
        c.fd = -1;
      }
    }
    connections.erase(std::remove_if(connections.begin(), connections.end(),
                                     [](const Connection &c) { return c.fd < 0; }),
                      connections.end());
  }
  for (Connection &c : connections) {
    printLines(c, true, exposition.get());
    close(c.fd);
  }
  close(listener);
  return 0;
}

}  // namespace

int main(int argc, char **argv) {
  Options o;
  if (!parse(argc, argv, o)) {
    usage();
    return 2;
  }
  signal(SIGPIPE, SIG_IGN);
  struct sigaction stop {};
  stop.sa_handler = onStop;
  sigaction(SIGINT, &stop, nullptr);
  sigaction(SIGTERM, &stop, nullptr);
  return run(o);
}
