// The example server as a whole process: it runs for a few seconds into a fresh log directory,
// with a backend process of its own, and its logs are read back with the viewer's parser.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include "epp_start.h"
#include "logreport.h"
#include "logtext.h"
#include "tlm/tlmpassporthelper.h"

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

const TraceParam *FindParam(const TraceNode &node, const std::string &name) {
  for (const auto &param : node.params) {
    if (param.name == name) return &param;
  }
  return nullptr;
}

const TraceNode *FindChild(const TraceNode &node, const std::string &resource) {
  for (const TraceNode &child : node.children) {
    if (child.resource == resource) return &child;
  }
  return nullptr;
}

bool EndsWith(const std::string &text, const std::string &end) { return text.ends_with(end); }

std::vector<const TraceNode *> Traces(const std::vector<LogItem> &items, const std::string &root) {
  std::vector<const TraceNode *> found;
  for (const LogItem &item : items) {
    const auto *trace = std::get_if<TraceNode>(&item.content);
    if (trace != nullptr && trace->resource == root) found.push_back(trace);
  }
  return found;
}

void CheckEveryLineIsMetricOrTraceText(const std::vector<LogItem> &items) {
  ASSERT_FALSE(items.empty());
  for (const LogItem &item : items) {
    const auto *other = std::get_if<std::string>(&item.content);
    EXPECT_EQ(other, nullptr) << "line " << item.line << ": " << other->substr(0, 200);
  }
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
    EXPECT_LE(row.min, row.average) << row.path;
    EXPECT_LE(row.average, row.max) << row.path;
  }
  EXPECT_EQ(timed, (std::set<std::string>{"Frontend|handleRequest", "Auth|checkToken",
                                          "Database|query", "Backend|call"}));

  bool openRequests = false;
  for (const tlmview::ResourceRow &row : summary.resources) {
    if (!EndsWith(row.path, "|Open Requests")) continue;
    openRequests = true;
    EXPECT_EQ(row.current, 0);  // every request ended
    EXPECT_GE(row.high, 1);
    ASSERT_EQ(row.kpis.size(), 1u);
    EXPECT_EQ(row.kpis[0], std::make_pair(std::string("Workers"), int64_t{2}));
  }
  EXPECT_TRUE(openRequests);
}

void CheckTraces(const std::vector<LogItem> &server) {
  std::vector<const TraceNode *> traces = Traces(server, "Frontend|handleRequest");
  ASSERT_FALSE(traces.empty());
  for (const TraceNode *trace : traces) {
    const TraceParam *passport = FindParam(*trace, "request.header.ZUL-PASSPORT");
    ASSERT_NE(passport, nullptr);
    // The application passport "*1535" with the transaction's GUID put before it.
    EXPECT_EQ(passport->value.size(), 32u + 5u) << passport->value;
    EXPECT_TRUE(EndsWith(passport->value, "*1535")) << passport->value;
    EXPECT_NE(FindChild(*trace, "Auth|checkToken"), nullptr);
    EXPECT_NE(FindChild(*trace, "Cache|lookup"), nullptr);
    EXPECT_NE(FindChild(*trace, "Database|query"), nullptr);
    EXPECT_NE(FindParam(*trace, "User ID"), nullptr);
  }
}

// Each passport that the server handed on is the incoming passport of one backend transaction.
void CheckBackend(const std::vector<LogItem> &server, const std::vector<LogItem> &backend) {
  StartPassportLibrary();
  std::set<std::string> handedOn;
  for (const TraceNode *trace : Traces(server, "Frontend|handleRequest")) {
    const TraceNode *call = FindChild(*trace, "Backend|call");
    if (call == nullptr) continue;
    const TraceParam *passport = FindParam(*call, "outbound.ZUL-PASSPORT");
    ASSERT_NE(passport, nullptr);
    handedOn.insert(passport->value);
  }
  ASSERT_FALSE(handedOn.empty());

  std::vector<const TraceNode *> continued = Traces(backend, "Backend|processOrder");
  EXPECT_EQ(continued.size(), handedOn.size());
  for (const TraceNode *trace : continued) {
    const TraceParam *passport = FindParam(*trace, "request.header.ZUL-PASSPORT");
    ASSERT_NE(passport, nullptr);
    EXPECT_EQ(handedOn.count(passport->value), 1u) << passport->value;
    EXPECT_NE(FindChild(*trace, "Storage|write"), nullptr);

    // A real passport: its transaction identity reads back as 72 hexadecimal digits.
    zulstring text(passport->value.begin(), passport->value.end());
    void *handle = PassportHelper::IsZULPassport(text.c_str());
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(PassportHelper::GetPassportVersion(handle), 3);
    EXPECT_EQ(PassportHelper::GetTraceGuidFromZULPassport(handle).size(), 72u);
    PassportHelper::DestroyPassportHandle(handle);
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

  {
    SCOPED_TRACE("server log");
    CheckEveryLineIsMetricOrTraceText(server);
  }
  {
    SCOPED_TRACE("backend log");
    CheckEveryLineIsMetricOrTraceText(backend);
  }
  CheckMetrics(server);
  CheckTraces(server);
  CheckBackend(server, backend);
#endif
}

}  // namespace
