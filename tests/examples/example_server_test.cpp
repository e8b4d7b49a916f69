// The example server as a whole process: it runs for a few seconds into a fresh log directory,
// with a backend process of its own, and its logs are read back with the viewer's parser.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <thread>

#include "logreport.h"
#include "logtext.h"
#include "passporttext.h"

extern char **environ;

namespace {

namespace fs = std::filesystem;
using tlmview::LogItem;
using tlmview::TraceNode;
using tlmview::TraceParam;

constexpr auto kRunLimit = std::chrono::seconds(20);

// Runs argv to its end, killing it after kRunLimit; answers its exit status or -1.
int RunProcess(std::vector<std::string> args) {
  std::vector<char *> argv;
  for (std::string &arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  if (posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) return -1;
  auto deadline = std::chrono::steady_clock::now() + kRunLimit;
  int status = 0;
  while (waitpid(pid, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      kill(pid, SIGKILL);
      waitpid(pid, &status, 0);
      return -1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::vector<LogItem> ReadLog(const fs::path &file) {
  std::ifstream in(file, std::ios::binary);
  return tlmview::ParseLog(in);
}

// The first element of items whose field equals value, or null.
template <typename T, typename Field>
const T *Find(const std::vector<T> &items, Field field, const std::string &value) {
  auto it = std::find_if(items.begin(), items.end(), [&](const T &i) { return i.*field == value; });
  return it == items.end() ? nullptr : &*it;
}
const TraceParam *FindParam(const TraceNode &node, const std::string &name) {
  return Find(node.params, &TraceParam::name, name);
}
const TraceNode *FindChild(const TraceNode &node, const std::string &resource) {
  return Find(node.children, &TraceNode::resource, resource);
}

// The transaction of a binary passport text; empty for any other text.
std::string Transaction(const TraceParam &passport) {
  if (!tlmview::IsBinaryPassportText(passport.value)) return {};
  return tlmview::PassportTransaction(passport.value);
}

std::vector<const TraceNode *> Traces(const std::vector<LogItem> &items, const std::string &root) {
  std::vector<const TraceNode *> found;
  for (const LogItem &item : items) {
    const auto *trace = std::get_if<TraceNode>(&item.content);
    if (trace != nullptr && trace->resource == root) found.push_back(trace);
  }
  return found;
}

// Components of levels below the instrument threshold are measured; Cache|lookup (level 12) only
// shows in traces.
void CheckMetrics(const std::vector<LogItem> &server) {
  tlmview::LogSummary summary = tlmview::Summarize(server);
  std::set<std::string> timed;
  for (const tlmview::TimingRow &row : summary.timings) {
    if (row.label != "Avg. Elapsed Time(ms)") continue;
    size_t component = row.path.rfind('|', row.path.rfind('|') - 1);
    timed.insert(row.path.substr(component + 1));
    EXPECT_GT(row.count, 0) << row.path;
  }
  EXPECT_EQ(timed, (std::set<std::string>{"Frontend|handleRequest", "Auth|checkToken",
                                          "Database|query", "Backend|call"}));

  bool openRequests = false;
  for (const tlmview::ResourceRow &row : summary.resources) {
    if (!row.path.ends_with("|Open Requests")) continue;
    openRequests = true;
    EXPECT_EQ(row.current, 0);  // every request ended
    EXPECT_GE(row.high, 1);
    ASSERT_EQ(row.kpis.size(), 1u);
    EXPECT_EQ(row.kpis[0], std::make_pair(std::string("Workers"), int64_t{2}));
  }
  EXPECT_TRUE(openRequests);
}

// Only the requests that came with a passport are traced, each as a transaction of its own.
void CheckTraces(const std::vector<LogItem> &server) {
  std::vector<const TraceNode *> traces = Traces(server, "Frontend|handleRequest");
  ASSERT_FALSE(traces.empty());
  std::set<std::string> transactions;
  for (const TraceNode *trace : traces) {
    const TraceParam *passport = FindParam(*trace, "request.header.ZUL-PASSPORT");
    ASSERT_NE(passport, nullptr);
    const std::string transaction = Transaction(*passport);
    EXPECT_EQ(transaction.size(), 32u) << passport->value;
    transactions.insert(transaction);
    for (const char *child : {"Auth|checkToken", "Cache|lookup", "Database|query"})
      EXPECT_NE(FindChild(*trace, child), nullptr) << child;
    EXPECT_NE(FindParam(*trace, "User ID"), nullptr);
  }
  EXPECT_EQ(transactions.size(), traces.size());

  int64_t requests = 0;
  for (const tlmview::TimingRow &row : tlmview::Summarize(server).timings) {
    if (row.path.ends_with("|Frontend|handleRequest") && row.label == "Avg. Elapsed Time(ms)")
      requests += row.count;
  }
  EXPECT_LT(static_cast<int64_t>(traces.size()), requests) << "untraced requests are measured";
}

// The backend continues the server's transactions: each of its traces carries a passport that
// the server handed on, with the transaction id of the server's own passport.
void CheckBackend(const std::vector<LogItem> &server, const std::vector<LogItem> &backend) {
  std::map<std::string, std::string> handedOn;  // outgoing passport -> the caller's transaction
  for (const TraceNode *trace : Traces(server, "Frontend|handleRequest")) {
    const TraceNode *call = FindChild(*trace, "Backend|call");
    if (call == nullptr) continue;
    const TraceParam *passport = FindParam(*call, "outbound.ZUL-PASSPORT");
    ASSERT_NE(passport, nullptr);
    const TraceParam *incoming = FindParam(*trace, "request.header.ZUL-PASSPORT");
    ASSERT_NE(incoming, nullptr);
    handedOn[passport->value] = Transaction(*incoming);
  }
  ASSERT_FALSE(handedOn.empty());

  std::vector<const TraceNode *> continued = Traces(backend, "Backend|processOrder");
  EXPECT_EQ(continued.size(), handedOn.size());
  for (const TraceNode *trace : continued) {
    const TraceParam *passport = FindParam(*trace, "request.header.ZUL-PASSPORT");
    ASSERT_NE(passport, nullptr);
    auto caller = handedOn.find(passport->value);
    ASSERT_NE(caller, handedOn.end()) << passport->value;
    EXPECT_EQ(Transaction(*passport), caller->second);
    EXPECT_NE(FindChild(*trace, "Storage|write"), nullptr);
  }
}

TEST(ExampleServer, WritesMetricsAndTracesOfBothProcesses) {
#ifndef TLM_EXAMPLE_SERVER
  GTEST_SKIP() << "the example server isn't built";
#else
  char pattern[] = "/tmp/tlm_example_test.XXXXXX";
  ASSERT_NE(mkdtemp(pattern), nullptr);
  fs::path logdir = pattern;
  int status = RunProcess(
      {TLM_EXAMPLE_SERVER, "--logdir", logdir.string(), "--seconds", "3", "--workers", "2"});
  std::vector<LogItem> server = ReadLog(logdir / "ExampleServer_mtdata.log");
  std::vector<LogItem> backend = ReadLog(logdir / "ExampleBackend_mtdata.log");
  fs::remove_all(logdir);
  ASSERT_EQ(status, 0);

  for (const auto *log : {&server, &backend}) {  // every line is a metric or trace text
    ASSERT_FALSE(log->empty());
    for (const LogItem &item : *log) EXPECT_EQ(std::get_if<std::string>(&item.content), nullptr);
  }
  CheckMetrics(server);
  CheckTraces(server);
  CheckBackend(server, backend);
#endif
}

}  // namespace
