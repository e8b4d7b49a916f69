// Allocation failure anywhere in a start, a transaction, a send and a stop: the process neither
// crashes nor leaks, and no exception leaves an exported function. A dry run finds the allocation
// sites of the whole use, each site being the call stack of an allocation; then for each site a
// child process fails the first allocation made there with std::bad_alloc, and LeakSanitizer
// checks the child after the stop.
#include <execinfo.h>
#include <sys/wait.h>

#include <new>

#include "tlm.h"
#include "tlm/tlmdispatchermanager.h"
#include "trace_capture.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace {

// Non-zero when LeakSanitizer finds memory that nothing points to any more.
int LeaksNow() {
#if defined(__SANITIZE_ADDRESS__)
  return __lsan_do_recoverable_leak_check();
#else
  return 0;
#endif
}

// The innermost frames name a site: enough of them to get through the allocator templates into
// the code that allocates.
constexpr int kSiteFrames = 12;
constexpr long kMaxRecorded = 1 << 20;
uint64_t g_siteOf[kMaxRecorded];  // the dry run's site of each allocation, by number
std::atomic<bool> g_recording{false};
std::atomic<uint64_t> g_failSite{0};  // 0: fail nothing
std::atomic<long> g_allocations{0};
thread_local bool tUnwinding = false;

uint64_t SiteOfCaller() {
  void *frames[kSiteFrames];
  tUnwinding = true;
  const int depth = backtrace(frames, kSiteFrames);
  tUnwinding = false;
  uint64_t hash = 14695981039346656037ull;
  for (int i = 0; i < depth; ++i)
    hash = (hash ^ reinterpret_cast<uintptr_t>(frames[i])) * 1099511628211ull;
  return hash | 1;
}

void *Allocate(std::size_t size) {
  const long number = g_allocations.fetch_add(1, std::memory_order_relaxed);
  const uint64_t failing = g_failSite.load(std::memory_order_relaxed);
  if (!tUnwinding && (failing != 0 || g_recording.load(std::memory_order_relaxed))) {
    const uint64_t site = SiteOfCaller();
    if (failing == 0 && number < kMaxRecorded) g_siteOf[number] = site;
    uint64_t expected = site;
    if (failing == site && g_failSite.compare_exchange_strong(expected, 0)) throw std::bad_alloc();
  }
  void *memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void *operator new(std::size_t size) { return Allocate(size); }
void *operator new[](std::size_t size) { return Allocate(size); }
void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
  try {
    return Allocate(size);
  } catch (...) {
    return nullptr;
  }
}
void *operator new[](std::size_t size, const std::nothrow_t &tag) noexcept {
  return operator new(size, tag);
}
void operator delete(void *memory) noexcept { std::free(memory); }
void operator delete[](void *memory) noexcept { std::free(memory); }
void operator delete(void *memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void *memory, std::size_t) noexcept { std::free(memory); }

namespace {

// Everything a process does with the library, once: start, a traced and an untraced
// transaction with pairs and a resource, a forced send, a stop.
void UseTheLibrary(const std::u16string &logdir) {
  const ZUL_UTF16 *pairs[][2] = {{u"logdir", logdir.c_str()},
                                 {u"datasending_method", u"file"},
                                 {u"perf_metric_scope", u"127"}};
  TLM_ProcInitWithParam(u"Faults", 0, 3, pairs);
  TLM_initContext(u"*1000");
  uint32_t outer = TLM_startTiming(u"Outer", u"op", 1);
  uint32_t inner = TLM_startTiming(u"Inner", u"op", 1);
  TLM_appendInfo(inner, u"name", u"value");
  TLM_appendContextInfo(u"user", u"u1");
  TLM_endTiming(inner);
  TLM_endTiming(outer);
  TLM_endTiming(TLM_startTiming(u"Plain", u"op", 1));
  TLM_increaseResource(u"Pool", 3);
  TLM_setStringValue(u"", u"state", u"ok");
  TLM_outputMetricData();
  TLM_ProcExit();
}

TEST(AllocationFailure, NoCrashNoLeakAtAnyFailingAllocationSite) {
  tlm_test::TempDir logdir;
  const std::u16string dir = tlm_test::Utf16(logdir.path());
  CDispatcherManager::setPhaseWait(1);
  g_allocations = 0;
  g_recording = true;
  UseTheLibrary(dir);
  g_recording = false;
  const long total = std::min(g_allocations.load(), kMaxRecorded);
  ASSERT_GT(total, 100);
  std::vector<uint64_t> sites;  // in the order of their first allocation
  std::set<uint64_t> seen;
  for (long n = 0; n < total; ++n) {
    if (g_siteOf[n] != 0 && seen.insert(g_siteOf[n]).second) sites.push_back(g_siteOf[n]);
  }
  int failures = 0;
  for (uint64_t site : sites) {
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      alarm(30);  // a lock left held would hang the child: it dies of the alarm instead
      // A start that fails to set up the log directory falls back to the working directory.
      if (chdir(logdir.path().c_str()) != 0) _exit(4);
      g_failSite = site;
      UseTheLibrary(dir);
      g_failSite = 0;
      _exit(LeaksNow() == 0 ? 0 : 3);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (!(WIFEXITED(status) && WEXITSTATUS(status) == 0) && ++failures <= 5) {
      ADD_FAILURE() << "site " << std::hex << site << std::dec << " of " << sites.size() << ": "
                    << (WIFEXITED(status) ? "exit " + std::to_string(WEXITSTATUS(status))
                                          : "signal " + std::to_string(WTERMSIG(status)));
    }
  }
  EXPECT_EQ(failures, 0);
}

}  // namespace
