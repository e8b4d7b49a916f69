// Allocation failure anywhere in a start, a transaction, a send and a stop: the process neither
// crashes nor leaks, and no exception leaves an exported function. Also: what a timing in steady
// state allocates. Each failure point runs in a
// child process whose operator new throws std::bad_alloc at its Nth call; LeakSanitizer checks
// the child after the stop.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <atomic>
#include <cstdlib>
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

// 0: never fail. Otherwise the number of allocations left before the failing one.
std::atomic<long> g_failAt{0};
std::atomic<long> g_allocations{0};
thread_local long tOwnAllocations = 0;  // the calling thread's, whatever the library's threads do

void *Allocate(std::size_t size) {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  ++tOwnAllocations;
  long left = g_failAt.load(std::memory_order_relaxed);
  if (left > 0 && g_failAt.fetch_sub(1, std::memory_order_relaxed) == 1) throw std::bad_alloc();
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

TEST(AllocationFailure, NoCrashNoLeakAtAnyFailingAllocation) {
  tlm_test::TempDir logdir;
  const std::u16string dir = tlm_test::Utf16(logdir.path());
  CDispatcherManager::setPhaseWait(1);
  // A dry run counts the allocations of the whole use.
  g_allocations = 0;
  UseTheLibrary(dir);
  const long total = g_allocations.load();
  ASSERT_GT(total, 100);
  // Every point among the first 400, then every total/400th.
  const long stride = std::max(1L, total / 400);
  int failures = 0;
  // TLM_FAIL_AT=n runs that point alone in this process, for a debugger.
  if (const char *only = std::getenv("TLM_FAIL_AT")) {
    g_failAt = std::atol(only);
    UseTheLibrary(dir);
    return;
  }
  for (long n = 1; n <= total; n += (n <= 400 ? 1 : stride)) {
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      alarm(30);  // a lock left held would hang the child: it dies of the alarm instead
      // A start that fails to set up the log directory falls back to the working directory.
      if (chdir(logdir.path().c_str()) != 0) _exit(4);
      g_failAt = n;
      UseTheLibrary(dir);
      g_failAt = 0;
      _exit(LeaksNow() == 0 ? 0 : 3);
    }
    int status = 0;
    waitpid(child, &status, 0);
    const bool clean = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (!clean && ++failures <= 5) {
      ADD_FAILURE() << "allocation " << n << " of " << total << ": "
                    << (WIFEXITED(status) ? "exit " + std::to_string(WEXITSTATUS(status))
                                          : "signal " + std::to_string(WTERMSIG(status)));
    }
  }
  EXPECT_EQ(failures, 0);
}

// A nested start and end in steady state allocates nothing: the name was seen before, and its
// record went back to the thread's pool. The first records of a transaction stay in its tree for a
// possible promoted trace (50 by default), so the steady state begins after them.
TEST(AllocationCount, NestedPairInSteadyStateAllocatesNothing) {
  tlm_test::TempDir logdir;
  const std::u16string dir = tlm_test::Utf16(logdir.path());
  const ZUL_UTF16 *pairs[][2] = {{u"logdir", dir.c_str()}, {u"datasending_method", u"file"}};
  TLM_ProcInitWithParam(u"Counts", 0, 1, pairs);
  const uint32_t outer = TLM_startTiming(u"Outer", u"op", 1);
  for (int i = 0; i < 200; ++i) TLM_endTiming(TLM_startTiming(u"Inner", u"op", 1));
  const long before = tOwnAllocations;
  for (int i = 0; i < 1000; ++i) TLM_endTiming(TLM_startTiming(u"Inner", u"op", 1));
  const long allocations = tOwnAllocations - before;
  TLM_endTiming(outer);
  TLM_ProcExit();
  EXPECT_EQ(allocations, 0);
}

}  // namespace
