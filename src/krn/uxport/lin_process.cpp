// Process settings: affinity, priority, the profile output's name, and small platform probes.
#include <dlfcn.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "krn/uxport/lin_settings.h"
#include "zul_lin.h"
#include "zul_u16sys.h"

namespace uxport {

int ParseCpuList(const char *list, int ncpu, CpuMask *mask, FILE *err) {
  *mask = CpuMask{};
  int set = 0;
  const char *p = list;
  while (p != nullptr && *p != 0) {
    const char *end = std::strchr(p, ',');
    size_t len = end != nullptr ? static_cast<size_t>(end - p) : std::strlen(p);
    if (len > 0) {
      long cpu = -1;
      bool digits = len <= 9;
      for (size_t i = 0; digits && i < len; ++i) digits = p[i] >= '0' && p[i] <= '9';
      if (digits) cpu = std::strtol(std::string(p, len).c_str(), nullptr, 10);
      if (cpu >= 0 && cpu < ncpu && cpu < 1024) {
        uint64_t bit = uint64_t{1} << (cpu % 64);
        if ((mask->bits[cpu / 64] & bit) == 0) ++set;
        mask->bits[cpu / 64] |= bit;
      } else if (err != nullptr) {
        std::fprintf(err,
                     "Affinity: Wrong parameter. Only %d CPUs (numbered by 0-%d) available. "
                     "'%.*s' ignored.\n",
                     ncpu, ncpu - 1, static_cast<int>(len > 64 ? 64 : len), p);
      }
    }
    p = end != nullptr ? end + 1 : nullptr;
  }
  return set;
}

bool ParsePriority(const char *text, int *value) {
  if (text == nullptr) return false;
  static const struct {
    const char *word;
    int nice;
  } kWords[] = {{"Low", 5}, {"Normal", 0}, {"High", -5}};
  for (const auto &w : kWords)
    if (strcasecmp(text, w.word) == 0) {
      *value = w.nice;
      return true;
    }
  const char *p = text[0] == '-' || text[0] == '+' ? text + 1 : text;
  if (*p == 0 || std::strlen(p) > 9) return false;
  for (const char *q = p; *q != 0; ++q)
    if (*q < '0' || *q > '9') return false;
  *value = static_cast<int>(std::strtol(text, nullptr, 10));
  return true;
}

}  // namespace uxport

int LINSetProcessAffinity(int pid, const char *cpu_list) noexcept {
  int ncpu = static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN));
  if (cpu_list == nullptr) return ncpu;
  uxport::CpuMask mask;
  try {
    uxport::ParseCpuList(cpu_list, ncpu, &mask, stderr);
  } catch (...) {
    return -1;
  }
  unsigned shown = static_cast<unsigned>(pid);
  // Only the first 8 bytes of the mask reach the kernel: CPUs from 64 on can't be named.
  if (sched_setaffinity(pid, sizeof(uint64_t), reinterpret_cast<cpu_set_t *>(mask.bits)) != 0) {
    std::fprintf(stderr, "Failed to set affinity of process %u: %s\n", shown, strerror(errno));
    return -1;
  }
  std::fprintf(stderr, "Affinity of process %u sucessfully changed to 0x%08lx\n", shown,
               static_cast<unsigned long>(mask.bits[0]));
  return 0;
}

int LINSetProcessPrio(int pid, const char *text) noexcept {
  int value;
  unsigned shown = static_cast<unsigned>(pid);
  if (!uxport::ParsePriority(text, &value)) {
    std::fprintf(stderr, "FAILED: Priority of process %u not changed: '%.64s' is no priority\n",
                 shown, text != nullptr ? text : "(null)");
    return -1;
  }
  int error = 0;
  if (setpriority(PRIO_PROCESS, static_cast<id_t>(pid), value) != 0) {
    error = errno;
  } else {
    errno = 0;
    int now = getpriority(PRIO_PROCESS, static_cast<id_t>(pid));
    if (errno != 0)
      error = errno;
    else if (now != value)
      error = ERANGE;  // the kernel bounded the value
  }
  if (error == 0) return 0;
  std::fprintf(stderr, "FAILED: Priority of process %u not changed to %d: %s\n", shown, value,
               strerror(error));
  if (value < 0 && geteuid() != 0)
    std::fputs("        Only root is allowed to set nice levels lower than zero.\n", stderr);
  return -1;
}

void Linux_initialize_gmon(void) noexcept {
  // putenv keeps the pointer: the entry lives until a later call replaces it.
  static char *entry = nullptr;
  const char *prefix = getenv("GMON_OUT_PREFIX");
  if (prefix == nullptr) return;
  char path[64];
  std::snprintf(path, sizeof path, "/proc/%lu/cmdline", static_cast<unsigned long>(getpid()));
  char name[256] = "";
  if (FILE *f = std::fopen(path, "r"); f != nullptr) {
    size_t n = std::fread(name, 1, sizeof name - 1, f);
    name[n] = 0;
    std::fclose(f);
  }
  const char *base = std::strrchr(name, '/');
  base = base != nullptr ? base + 1 : name;
  size_t size = std::strlen("GMON_OUT_PREFIX") + std::strlen(prefix) + std::strlen(base) + 3;
  auto *fresh = static_cast<char *>(std::malloc(size));
  if (fresh == nullptr) return;
  std::snprintf(fresh, size, "%s=%s_%s", "GMON_OUT_PREFIX", prefix, base);
  if (putenv(fresh) != 0) {
    std::free(fresh);
    return;
  }
  std::free(entry);
  entry = fresh;
}

int Lin_libgcc_ok(void) noexcept { return dlsymU16(RTLD_DEFAULT, u"_Unwind_GetIPInfo") != nullptr; }

int fork_Linux(void) noexcept { return fork(); }

void LinZAMMTrace(void) noexcept {}
