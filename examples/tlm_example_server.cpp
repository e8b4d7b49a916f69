// An example server instrumented with tlm.so.
//
//   tlm_example_server [--logdir DIR] [--seconds N] [--workers N] [--agent-port PORT]
//
// Worker threads handle simulated requests for N seconds (default 20). Each request is one
// transaction with nested components. Every third one arrives with a passport from its caller
// that asks for a trace, and about once a second such a request calls a backend process and hands
// it the transaction's passport. The backend is this program again, started as
//
//   tlm_example_server --backend PASSPORT [--logdir DIR] [--agent-port PORT]
//
// It continues the same transaction under its own component name, so it writes a log of its own
// whose trace carries the caller's transaction id.
// Both write their metrics and traces to DIR/<component>_mtdata.log; DIR is --logdir, else the
// environment variable TLM_EXAMPLE_LOGDIR, else the working directory. Show a log with tlm-view.
// With --agent-port both send them over TCP to a monitoring agent on localhost:PORT instead (the
// library's default way), for instance to tlm-agent.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "tlm.h"
#include "zul_epp.h"
#include "zul_pfuuid.h"
#include "zul_u16conv.h"

extern char **environ;

namespace {

using Clock = std::chrono::steady_clock;
using Text = std::u16string;

// ---- Text: the library's text is 16-bit; command lines are UTF-8. ----

Text FromUtf8(const std::string &utf8) {
  Text text(utf8.size() + 1, u'\0');
  size_t length = 0;
  Utf8sToUcsFast(text.data(), text.size(), &length,
                 reinterpret_cast<const ZUL_RAW *>(utf8.c_str()));
  text.resize(length);
  return text;
}

std::string ToUtf8(const Text &text) {
  std::string utf8(3 * text.size() + 1, '\0');
  size_t length = 0;
  UcsToUtf8sFast(reinterpret_cast<ZUL_RAW *>(utf8.data()), utf8.size(), &length, text.c_str());
  utf8.resize(length);
  return utf8;
}

Text Number(long value) { return FromUtf8(std::to_string(value)); }

// Capital hexadecimal digits of bytes, the text form of a binary passport.
Text Hex(const ZUL_RAW *bytes, size_t count) {
  static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  Text text;
  for (size_t i = 0; i < count; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  return text;
}

// Simulated work of a component.
void Work(int milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// ---- Start: the configuration is given as name and value pairs. ----

struct Options {
  std::string program;
  std::string logdir = ".";
  int seconds = 20;
  int workers = 3;
  std::string backendPassport;  // set: run as the backend
  std::string agentPort;        // set: send to the agent on this port instead of the log file
};

// Starts the library for component, writing to a log file in logdir, or to the agent on
// localhost:agentPort if one is given. Metric names carry
// pidOption after the component: -1 for the process id, otherwise the number itself. A short
// sending interval (15 s is the shortest) and trace check interval let a run of a few seconds show
// every kind of text; the last metrics and traces are written by TLM_ProcExit.
void StartLibrary(const ZUL_UTF16 *component, short pidOption, const Text &logdir,
                  const Text &agentPort) {
  const bool toAgent = !agentPort.empty();
  const ZUL_UTF16 *config[][2] = {
      {u"logdir", logdir.c_str()},
      // A log file instead of monitoring agents, unless an agent port is given.
      {u"datasending_method", toAgent ? u"socket" : u"file"},
      {u"agent_host", u"localhost"},
      {u"agent_port", toAgent ? agentPort.c_str() : u"59818"},
      {u"datasending_interval", u"15"},
      {u"tracecheck_interval", u"2"},
      {u"instrument_level_threshold", u"10"},        // components of level 0 to 9 are measured
      {u"instrument_level_threshold_trace", u"20"},  // levels 10 to 19 may still be traced
      {u"perf_metric_scope", u"17"},  // active and finished counters besides the average time
  };
  TLM_ProcInitWithParam(component, pidOption, sizeof config / sizeof config[0], config);
}

// ---- The backend: a second process that continues a transaction. ----

// Runs this program as the backend for passport and waits for it; answers its exit status.
int CallBackendProcess(const Options &options, const std::string &passport) {
  std::vector<std::string> args = {options.program, "--backend", passport, "--logdir",
                                   options.logdir};
  if (!options.agentPort.empty()) {
    args.push_back("--agent-port");
    args.push_back(options.agentPort);
  }
  std::vector<char *> argv;
  for (std::string &arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  if (posix_spawn(&pid, "/proc/self/exe", nullptr, nullptr, argv.data(), environ) != 0) return -1;
  int status = 0;
  if (waitpid(pid, &status, 0) != pid) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The backend's whole life: start, one transaction continued from the passport, stop. Each run
// is a new process; its metric names carry the instance number 1 instead of the process id, so
// that the runs add up to the same metrics.
//
// The passport carries the trace level and the transaction id that the server received, so the
// backend traces this transaction too, and its trace shows the passport as
// "request.header.ZUL-PASSPORT".
int RunBackend(const Options &options) {
  StartLibrary(u"ExampleBackend", 1, FromUtf8(options.logdir), FromUtf8(options.agentPort));
  Text passport = FromUtf8(options.backendPassport);
  TLM_initContext(passport.c_str());

  uint32_t order = TLM_startTiming(u"Backend", u"processOrder", 1);
  uint32_t write = TLM_startTiming(u"Storage", u"write", 5);
  TLM_appendInfo(write, u"Table", u"orders");
  Work(3);
  TLM_endTiming(write);
  TLM_appendReturnInfo(order, u"stored");
  TLM_endTiming(order);

  TLM_ProcExit();
  return 0;
}

// ---- The upstream caller ----

// The network form of passport as capital hexadecimal digits, the text TLM_initContext takes;
// empty if it can't be serialised.
Text PassportText(void *passport) {
  uint32_t size = 0;
  if (eppNeededNetworkSize(passport, &size) != EPP_RC_OK) return {};
  std::vector<ZUL_RAW> bytes(size);
  uint32_t used = 0;
  if (eppSerialize(passport, bytes.data(), size, &used) != EPP_RC_OK) return {};
  return Hex(bytes.data(), used);
}

// Stands for the caller in front of this server, which would send its passport with the request:
// a new transaction that asks for a trace at level 2 (flag 2697 in a version 3 passport). Its
// transaction id is a new identifier in 32 hexadecimal digits; the identifier also serves as the
// root context id. Answers the passport's text, empty if it couldn't be made. Call it after
// TLM_ProcInit*, which starts the passport library.
Text PassportFromUpstreamCaller() {
  ZUL_RAW root[PFUUID_LEN];
  ZUL_RAW connection[PFUUID_LEN];
  pfcreate_zul_uuid_force(root);
  pfcreate_zul_uuid_force(connection);
  ZUL_UTF16 transaction[2 * PFUUID_LEN + 1];
  int transactionLength = sizeof transaction / sizeof transaction[0];
  pfuuid_print(root, transaction, &transactionLength);
  const uint16_t traceFlag = 2697;
  ZUL_RAW flagBytes[2];  // the flag travels in the machine's byte order
  std::memcpy(flagBytes, &traceFlag, sizeof flagBytes);
  const Text caller = u"ExampleClient";

  void *passport = nullptr;
  if (eppInit(&passport) != EPP_RC_OK) return {};
  eppSetVersion(passport, 3);
  eppSetTraceFlag(passport, flagBytes);
  eppSetTransactionId(passport, transaction, static_cast<uint32_t>(transactionLength));
  eppSetRootContextId(passport, root);
  eppSetConnectionId(passport, connection);
  eppSetPreComponentName(passport, caller.c_str(), static_cast<uint32_t>(caller.size()));
  Text text = PassportText(passport);
  eppDelete(passport);
  return text;
}

// ---- The server ----

std::atomic<bool> g_running{true};
std::atomic<int64_t> g_cacheEntries{0};
std::atomic<int64_t> g_cacheHits{0};
std::atomic<int64_t> g_cacheLookups{0};
std::atomic<Clock::rep> g_lastBackendCall{0};

// Called by the library on its sending thread at each sending interval, just before the metrics
// are written: reports figures that the application only samples.
void ReportCache() {
  int64_t entries = g_cacheEntries.load();
  TLM_reportResource(u"Cache Entries", entries, entries, 0, 1, 0);
  int64_t lookups = g_cacheLookups.exchange(0);
  int64_t hits = g_cacheHits.exchange(0);
  TLM_reportResourceKPI(u"Cache Entries", u"Hit Rate (%)", lookups > 0 ? 100 * hits / lookups : 0);
}

// True for one request about once a second, across all workers.
bool TimeToCallBackend() {
  Clock::rep now = Clock::now().time_since_epoch().count();
  Clock::rep last = g_lastBackendCall.load();
  Clock::rep second = std::chrono::duration_cast<Clock::duration>(std::chrono::seconds(1)).count();
  return now - last >= second && g_lastBackendCall.compare_exchange_strong(last, now);
}

// Calls the backend within the current transaction, passing the transaction's passport on.
void CallBackend(const Options &options) {
  uint32_t call = TLM_startTiming(u"Backend", u"call", 2);
  ZUL_UTF16 passport[1024];
  int length = TLM_getPassport(passport, 1024);
  if (length > 0 && length < 1024) {
    // Outgoing passports go into the trace, so a trace can be matched with the next process's.
    TLM_appendPassportInfo(call, passport, 0);
    if (CallBackendProcess(options, ToUtf8(passport)) != 0) {
      TLM_appendExceptionInfo(call, u"backend failed");
    }
  }
  TLM_endTiming(call);
}

void LookUpCache(int request) {
  // Level 12 is above the instrument level threshold but below the trace threshold: this
  // component isn't measured, but it shows in traced transactions.
  uint32_t lookup = TLM_startTiming(u"Cache", u"lookup", 12);
  g_cacheLookups++;
  if (request % 4 != 0) {
    g_cacheHits++;
  } else {
    g_cacheEntries++;
  }
  TLM_endTiming(lookup);
}

void QueryDatabase(int request) {
  uint32_t query = TLM_startTiming(u"Database", u"query", 5);
  TLM_appendInfo(query, u"SQL", u"SELECT * FROM orders WHERE id = ?");
  Work(2 + request % 7);
  if (request % 10 == 7) {
    // A failed component: counted as terminated, its exception in the trace.
    TLM_appendExceptionInfo(query, u"deadlock detected");
    TLM_terminateTiming(query);
  } else {
    TLM_endTiming(query);
  }
}

// One request, one transaction: the outermost component's end ends it.
void HandleRequest(const Options &options, int worker, int request) {
  // Every third request comes with a passport that asks for a trace; the others have none and
  // are only measured.
  bool traced = request % 3 == 0;
  if (traced) TLM_initContext(PassportFromUpstreamCaller().c_str());

  TLM_increaseResource(u"Open Requests", 1);
  TLM_increaseResource(u"Requests per Interval", 1);
  uint32_t handle = TLM_startTiming(u"Frontend", u"handleRequest", 1);
  Text path = u"/orders/" + Number(request);
  TLM_appendParameterInfo(handle, u"path", path.c_str());
  TLM_appendUserID(worker % 2 == 0 ? u"alice" : u"bob");
  TLM_appendContextInfo(u"Worker", Number(worker).c_str());

  uint32_t auth = TLM_startTiming(u"Auth", u"checkToken", 3);
  Work(1);
  TLM_endTiming(auth);
  LookUpCache(request);
  QueryDatabase(request);
  if (traced && TimeToCallBackend()) CallBackend(options);

  TLM_appendReturnInfo(handle, u"200");
  TLM_endTiming(handle);
  TLM_decreaseResource(u"Open Requests", 1);
}

void RunWorker(const Options &options, int worker) {
  for (int request = 0; g_running.load(); ++request) {
    HandleRequest(options, worker, request);
  }
}

int RunServer(const Options &options) {
  StartLibrary(u"ExampleServer", -1, FromUtf8(options.logdir), FromUtf8(options.agentPort));

  // Resources: a gauge that keeps its value, and a count that starts at 0 in each interval.
  TLM_initializeResource(u"Open Requests", 0, 0);
  TLM_initializeResource(u"Requests per Interval", 0, 1);
  TLM_reportResourceKPI(u"Open Requests", u"Workers", options.workers);
  TLM_registerResourceCallBack(1, ReportCache, 1, 0);
  TLM_setStringValue(u"Build", u"Example Version", u"1.0");

  std::vector<std::thread> workers;
  for (int i = 0; i < options.workers; ++i) workers.emplace_back(RunWorker, std::cref(options), i);
  std::this_thread::sleep_for(std::chrono::seconds(options.seconds));
  g_running = false;
  for (std::thread &worker : workers) worker.join();

  TLM_deregisterResourceCallBack(1);
  TLM_ProcExit();  // after the last call of every thread
  return 0;
}

bool ParseOptions(int argc, char **argv, Options &options) {
  options.program = argv[0];
  if (const char *dir = std::getenv("TLM_EXAMPLE_LOGDIR"); dir != nullptr && *dir != '\0') {
    options.logdir = dir;
  }
  for (int i = 1; i < argc; ++i) {
    std::string option = argv[i];
    if (i + 1 >= argc) return false;
    std::string value = argv[++i];
    if (option == "--logdir") {
      options.logdir = value;
    } else if (option == "--seconds") {
      options.seconds = std::atoi(value.c_str());
    } else if (option == "--workers") {
      options.workers = std::atoi(value.c_str());
    } else if (option == "--agent-port") {
      options.agentPort = value;
    } else if (option == "--backend") {
      options.backendPassport = value;
    } else {
      return false;
    }
  }
  return options.seconds >= 0 && options.workers > 0;
}

}  // namespace

int main(int argc, char **argv) {
  Options options;
  if (!ParseOptions(argc, argv, options)) {
    std::fprintf(stderr,
                 "usage: %s [--logdir DIR] [--seconds N] [--workers N] [--agent-port PORT]\n"
                 "       %s --backend PASSPORT [--logdir DIR] [--agent-port PORT]\n",
                 argv[0], argv[0]);
    return 2;
  }
  return options.backendPassport.empty() ? RunServer(options) : RunBackend(options);
}
