// The resource limit report, the physical memory and the memory parameter defaults.
#include <sys/resource.h>
#include <sys/statfs.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "krn/uxport/lin_settings.h"
#include "zul_lin.h"

namespace uxport {

namespace {

enum class Check { kUnlimited, kNone, kAtLeast };

struct LimitRow {
  const char *label;
  int resource;
  Check check;
  unsigned long bound;
  bool in_mb;
};

constexpr LimitRow kLimits[] = {
    {"virtual memory", RLIMIT_AS, Check::kUnlimited, 0, true},
    {"core size", RLIMIT_CORE, Check::kNone, 0, true},
    {"data segment size", RLIMIT_DATA, Check::kNone, 0, true},
    {"stack size", RLIMIT_STACK, Check::kAtLeast, 0x400000, true},
    {"max open files", RLIMIT_NOFILE, Check::kAtLeast, kOpenFilesBound, false},
};

void ReportLimit(FILE *out, const LimitRow &row, const char *which, rlim64_t value) {
  if (value == RLIM64_INFINITY)
    std::fprintf(out, "%s: %s = %s\n", row.label, which, "UNLIMITED");
  else if (row.in_mb)
    std::fprintf(out, "%s: %s = %lu MB\n", row.label, which, static_cast<unsigned long>(value >> 20));
  else
    std::fprintf(out, "%s: %s = %lu\n", row.label, which, static_cast<unsigned long>(value));
}

// log2 of the page size, for turning a page count into MB by shifting.
int PageShift(unsigned long page_size) {
  int shift = 0;
  while ((1ul << shift) < page_size) ++shift;
  return shift;
}

}  // namespace

std::string ReadKernelValue(const char *name) {
  char command[256];
  std::snprintf(command, sizeof command,
                "/bin/sh -c 'PATH=\"/bin:/sbin:/usr/bin:/usr/sbin:/etc\" sysctl -n \"%s\"' "
                "2>/dev/null",
                name);
  FILE *p = popen(command, "r");
  if (p == nullptr) return {};
  std::string text;
  char buffer[128];
  size_t n;
  while (text.size() < 4096 && (n = std::fread(buffer, 1, sizeof buffer, p)) > 0)
    text.append(buffer, n);
  pclose(p);
  return text;
}

bool ParseUnsigned(const std::string &text, unsigned long *value) {
  const char *p = text.c_str();
  while (*p == ' ' || *p == '\t' || *p == '\n') ++p;
  if (*p < '0' || *p > '9') return false;
  errno = 0;
  char *end = nullptr;
  unsigned long v = std::strtoul(p, &end, 10);
  if (errno == ERANGE) return false;
  while (*end == ' ' || *end == '\t' || *end == '\n') ++end;
  if (*end != 0 || end != text.c_str() + text.size()) return false;
  *value = v;
  return true;
}

void CheckMemorySettings(FILE *out, KernelReader reader) {
  for (const LimitRow &row : kLimits) {
    struct rlimit64 limit;
    if (getrlimit64(static_cast<__rlimit_resource>(row.resource), &limit) != 0) continue;
    ReportLimit(out, row, "hard-limit", limit.rlim_max);
    ReportLimit(out, row, "soft-limit", limit.rlim_cur);
    rlim64_t soft = limit.rlim_cur;
    if (row.check == Check::kUnlimited && soft != RLIM64_INFINITY)
      std::fprintf(out, "*** WARNING: resource limit value for '%s' (%lu) should be 'unlimited'.\n",
                   row.label, static_cast<unsigned long>(soft));
    if (row.check == Check::kAtLeast && soft != RLIM64_INFINITY && soft < row.bound)
      std::fprintf(out, "*** WARNING: resource limit value for '%s' too low (%lu < %lu)\n",
                   row.label, static_cast<unsigned long>(soft), row.bound);
  }
  unsigned long page_size = static_cast<unsigned long>(sysconf(_SC_PAGESIZE));
  std::fprintf(out, "Page Size: %lu KB\n", page_size >> 10);
  unsigned long value;
  if (ParseUnsigned(reader("kernel.shmmax"), &value))
    std::fprintf(out, "kernel.shmmax = %lu MB\n", value >> 20);
  // shmall counts pages; shifting keeps its default of nearly 2^64 from overflowing.
  int shift = 20 - PageShift(page_size);
  if (ParseUnsigned(reader("kernel.shmall"), &value))
    std::fprintf(out, "kernel.shmall = %lu MB\n", shift >= 0 ? value >> shift : value << -shift);
}

bool MMDefault(const char *name, long calculated_mb, char *value, size_t size) {
  if (name == nullptr) return false;
  long x = (25 * calculated_mb - 3200) / 128;
  if (x < 5) x = 5;
  auto within = [](long v, long low, long high) { return v < low ? low : v > high ? high : v; };
  long roll_shm = within(x * 80 + 1000, 32768, 0x20000);
  long pg_shm = within(x * 40 + 1000, 32768, 0x10000);
  struct Row {
    const char *name;
    long long value;
  };
  const Row rows[] = {
      {"em/max_size_MB", calculated_mb},
      {"em/initial_size_MB", calculated_mb / 4},
      {"rdisp/ROLL_SHM", roll_shm},
      {"rdisp/PG_SHM", pg_shm},
      {"rdisp/PG_MAXFS", 2LL * pg_shm},
      {"rdisp/ROLL_MAXFS", 2LL * roll_shm},
      {"ztta/roll_first", 1},
      {"ztta/roll_area", 6500000},
      {"ztta/roll_extension", 4000000000LL},
      {"em/blocksize_KB", 1024},
  };
  for (const Row &row : rows) {
    if (std::strcmp(name, row.name) != 0) continue;
    std::snprintf(value, size, "%lld", row.value);
    return true;
  }
  return false;
}

}  // namespace uxport

void LINCheckMemorySettings(void) noexcept {
  try {
    uxport::CheckMemorySettings(stderr, uxport::ReadKernelValue);
  } catch (...) {  // out of memory for a command's output: the report stops there
  }
}

long LinGetPhysMemMB(void) noexcept {
  long pages = sysconf(_SC_PHYS_PAGES);
  long page_size = sysconf(_SC_PAGESIZE);
  long mb = pages > 0 && page_size > 0 ? static_cast<long>((static_cast<unsigned long>(pages) *
                                                            static_cast<unsigned long>(page_size)) >>
                                                           20)
                                       : 0;
  struct sysinfo info;
  if (sysinfo(&info) == 0) {
    unsigned long swap_mb = (static_cast<unsigned long>(info.totalswap) * info.mem_unit) >> 20;
    if (swap_mb < 20479)
      std::fprintf(stderr,
                   "Warning: Swap space is configured quite small with %d MB.\n It should be at "
                   "least 20 GB.\n",
                   static_cast<int>(swap_mb));
  }
  struct statfs64 shm;
  if (statfs64("/dev/shm/", &shm) == 0)
    std::fprintf(stderr, "Size of /dev/shm/: %lu MB\n",
                 static_cast<unsigned long>((shm.f_blocks * shm.f_bsize) >> 20));
  return mb;
}

const char *LinSetMMDefaults(const char *name) noexcept {
  thread_local char value[32];
  long calculated_mb = LinGetPhysMemMB();
  std::fprintf(stderr, "calculatedMB = %ld MB\n", calculated_mb);
  if (!uxport::MMDefault(name, calculated_mb, value, sizeof value)) {
    std::fprintf(stderr, "unknown parameter: %s *\n", name != nullptr ? name : "(null)");
    return nullptr;
  }
  std::fprintf(stderr, "%s = %s\n", name, value);
  return value;
}
