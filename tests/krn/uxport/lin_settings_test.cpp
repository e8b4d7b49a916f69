// The Linux settings check: limit reports and warnings under real lowered limits, kernel values
// through the settings command and through fed output, memory defaults, affinity and priority on
// forked children, and the profile output's name.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <string>

#include "krn/uxport/lin_settings.h"
#include "stderr_child.h"
#include "zul_lin.h"

namespace lin_settings_test {

std::string FedShmmax(const char *name) {
  return std::string(name) == "kernel.shmmax" ? "68719476736\n" : "18446744073692774399\n";
}
std::string FedGarbage(const char *name) {
  return std::string(name) == "kernel.shmmax" ? "" : "12 pages\n";
}

bool Has(const std::string &text, const std::string &line) {
  return text.find(line + "\n") != std::string::npos;
}

// Lowers the soft limits to known values, then reports with fed kernel values.
ChildResult ReportUnder(rlim_t stack, rlim_t files, uxport::KernelReader reader) {
  return RunWithStderrPipe([=] {
    struct rlimit as{}, st{}, nf{};
    getrlimit(RLIMIT_AS, &as);
    getrlimit(RLIMIT_STACK, &st);
    getrlimit(RLIMIT_NOFILE, &nf);
    // Only a huge finite address space: the sanitizers need theirs.
    as.rlim_cur = as.rlim_max == RLIM_INFINITY || as.rlim_max > (rlim_t{1} << 62)
                      ? rlim_t{1} << 62
                      : as.rlim_max;
    st.rlim_cur = stack;
    nf.rlim_cur = files;
    if (setrlimit(RLIMIT_AS, &as) != 0 || setrlimit(RLIMIT_STACK, &st) != 0 ||
        setrlimit(RLIMIT_NOFILE, &nf) != 0)
      return 3;
    uxport::CheckMemorySettings(stderr, reader);
    return 0;
  });
}

TEST(LinCheckMemorySettings, ReportsAndWarnsOnTheSoftLimits) {
  ChildResult low = ReportUnder(2 << 20, 100, FedShmmax);
  ASSERT_EQ(low.status, 0) << low.err;
  for (const char *line : {
           "virtual memory: soft-limit = 4398046511104 MB",
           "*** WARNING: resource limit value for 'virtual memory' (4611686018427387904) should "
           "be 'unlimited'.",
           "stack size: soft-limit = 2 MB",
           "*** WARNING: resource limit value for 'stack size' too low (2097152 < 4194304)",
           "max open files: soft-limit = 100",
           "*** WARNING: resource limit value for 'max open files' too low (100 < 8192)",
           "Page Size: 4 KB",
           "kernel.shmmax = 65536 MB",
           "kernel.shmall = 72057594037862399 MB",
       })
    EXPECT_TRUE(Has(low.err, line)) << line << "\n" << low.err;
  // The limits come in the table's order, each with its hard limit first.
  size_t at = 0;
  for (const char *label : {"virtual memory: hard", "virtual memory: soft", "core size: hard",
                            "core size: soft", "data segment size: hard", "stack size: hard",
                            "max open files: hard", "Page Size"}) {
    size_t next = low.err.find(label, at);
    EXPECT_NE(next, std::string::npos) << label;
    at = next == std::string::npos ? at : next;
  }

  struct rlimit st{}, nf{};
  getrlimit(RLIMIT_STACK, &st);
  getrlimit(RLIMIT_NOFILE, &nf);
  if (st.rlim_max == RLIM_INFINITY && nf.rlim_max >= 8192) {
    ChildResult unlimited = ReportUnder(RLIM_INFINITY, 8192, FedGarbage);
    ASSERT_EQ(unlimited.status, 0) << unlimited.err;
    EXPECT_TRUE(Has(unlimited.err, "stack size: soft-limit = UNLIMITED"));
    EXPECT_EQ(unlimited.err.find("'stack size' too low"), std::string::npos);
    EXPECT_EQ(unlimited.err.find("'max open files'"), std::string::npos);
    // Empty and unparsable command output leave their lines out.
    EXPECT_EQ(unlimited.err.find("kernel."), std::string::npos) << unlimited.err;
  }
}

TEST(LinCheckMemorySettings, KernelValuesThroughTheCommand) {
  const struct {
    const char *text;
    bool ok;
    unsigned long value;
  } cases[] = {{"42\n", true, 42},          {" 7 ", true, 7},       {"", false, 0},
               {"abc", false, 0},           {"12x", false, 0},      {"-5", false, 0},
               {"99999999999999999999999", false, 0},
               {"18446744073692774399", true, 18446744073692774399ul}};
  for (const auto &c : cases) {
    unsigned long v = 0;
    EXPECT_EQ(uxport::ParseUnsigned(c.text, &v), c.ok) << c.text;
    if (c.ok) {
      EXPECT_EQ(v, c.value);
    }
  }
  if (access("/sbin/sysctl", X_OK) != 0 && access("/usr/sbin/sysctl", X_OK) != 0)
    GTEST_SKIP() << "no sysctl";
  for (const char *name : {"shmmax", "shmall"}) {
    std::ifstream in(std::string("/proc/sys/kernel/") + name);
    unsigned long expected = 0, got = 0;
    if (!(in >> expected)) continue;
    ASSERT_TRUE(uxport::ParseUnsigned(uxport::ReadKernelValue((std::string("kernel.") + name).c_str()),
                                      &got));
    EXPECT_EQ(got, expected) << name;
  }
  ChildResult real = RunWithStderrPipe([] {
    LINCheckMemorySettings();
    return 0;
  });
  EXPECT_NE(real.err.find("kernel.shmmax = "), std::string::npos) << real.err;
}

TEST(LinSetMMDefaults, FormulasAndFixedValues) {
  const struct {
    long mb;
    const char *name;
    const char *value;
  } cases[] = {
      {16384, "em/max_size_MB", "16384"},   {16384, "em/initial_size_MB", "4096"},
      {16384, "rdisp/ROLL_SHM", "131072"},  {16384, "rdisp/PG_SHM", "65536"},
      {16384, "rdisp/PG_MAXFS", "131072"},  {16384, "rdisp/ROLL_MAXFS", "262144"},
      {1024, "rdisp/ROLL_SHM", "32768"},    {1024, "rdisp/PG_SHM", "32768"},
      {5000, "rdisp/PG_SHM", "39040"},      {5000, "rdisp/ROLL_SHM", "77080"},
      {0, "rdisp/PG_SHM", "32768"},
      {8, "ztta/roll_first", "1"},          {8, "ztta/roll_area", "6500000"},
      {8, "ztta/roll_extension", "4000000000"}, {8, "em/blocksize_KB", "1024"},
  };
  for (const auto &c : cases) {
    char value[32];
    ASSERT_TRUE(uxport::MMDefault(c.name, c.mb, value, sizeof value)) << c.name;
    EXPECT_STREQ(value, c.value) << c.name << " at " << c.mb;
  }
  char value[32];
  EXPECT_FALSE(uxport::MMDefault("rdisp/other", 1, value, sizeof value));
  EXPECT_FALSE(uxport::MMDefault(nullptr, 1, value, sizeof value));
  ChildResult child = RunWithStderrPipe([] {
    const char *area = LinSetMMDefaults("ztta/roll_area");
    return area != nullptr && LinSetMMDefaults("foo") == nullptr ? 0 : 1;
  });
  EXPECT_EQ(child.status, 0);
  EXPECT_TRUE(Has(child.err, "ztta/roll_area = 6500000")) << child.err;
  EXPECT_TRUE(Has(child.err, "unknown parameter: foo *")) << child.err;
  long mb = static_cast<long>(
      (static_cast<unsigned long>(sysconf(_SC_PHYS_PAGES)) * sysconf(_SC_PAGESIZE)) >> 20);
  EXPECT_NE(child.err.find("calculatedMB = " + std::to_string(mb) + " MB\n"), std::string::npos);
}

TEST(LinSetProcessAffinity, ListsAreParsedApartFromTheCall) {
  const struct {
    const char *list;
    uint64_t bits;
    int reports;
  } cases[] = {{"", 0, 0},     {",", 0, 0},   {"0,,1", 3, 0},    {"-1", 0, 1},
               {"a", 0, 1},    {"1,1", 2, 0}, {"3,4,2", 12, 1},  {"00000000000000000001", 0, 1},
               {"0 ,1", 2, 1}};
  for (const auto &c : cases) {
    char *text = nullptr;
    size_t size = 0;
    FILE *err = open_memstream(&text, &size);
    uxport::CpuMask mask;
    uxport::ParseCpuList(c.list, 4, &mask, err);
    std::fclose(err);
    std::string reports(text);
    std::free(text);
    EXPECT_EQ(mask.bits[0], c.bits) << c.list;
    size_t count = 0;
    for (size_t at = 0; (at = reports.find("Affinity: Wrong parameter. Only 4 CPUs (numbered by 0-3)", at)) != std::string::npos; ++at) ++count;
    EXPECT_EQ(count, static_cast<size_t>(c.reports)) << c.list << ": " << reports;
  }
  EXPECT_EQ(LINSetProcessAffinity(0, nullptr), sysconf(_SC_NPROCESSORS_ONLN));
}

TEST(LinSetProcessAffinity, RealCallsOnAChild) {
  int ncpu = static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN));
  ChildResult child = RunWithStderrPipe([ncpu] {
    std::string list = "0," + std::to_string(ncpu);
    return LINSetProcessAffinity(0, list.c_str()) == 0 && sched_getcpu() == 0 ? 0 : 1;
  });
  EXPECT_EQ(child.status, 0) << child.err;
  EXPECT_NE(child.err.find("Affinity: Wrong parameter. Only " + std::to_string(ncpu)),
            std::string::npos);
  EXPECT_TRUE(Has(child.err, "Affinity of process 0 sucessfully changed to 0x00000001"));

  ChildResult missing = RunWithStderrPipe([] { return LINSetProcessAffinity(0x3ffffff0, "0"); });
  EXPECT_TRUE(Has(missing.err, "Failed to set affinity of process 1073741808: No such process"))
      << missing.err;

  // A CPU online but outside the allowed set, where there is one.
  cpu_set_t allowed;
  CPU_ZERO(&allowed);
  sched_getaffinity(0, sizeof allowed, &allowed);
  for (int cpu = 0; cpu < ncpu && cpu < 64; ++cpu) {
    if (CPU_ISSET(cpu, &allowed)) continue;
    ChildResult outside = RunWithStderrPipe([cpu] {
      return LINSetProcessAffinity(0, std::to_string(cpu).c_str()) == -1 ? 0 : 1;
    });
    EXPECT_NE(outside.err.find("Failed to set affinity of process 0: Invalid argument"),
              std::string::npos)
        << outside.err;
    break;
  }
}

TEST(LinSetProcessPrio, WordsNumbersAndRefusals) {
  const struct {
    const char *text;
    bool ok;
    int value;
  } cases[] = {{"low", true, 5},   {"NORMAL", true, 0}, {"High", true, -5}, {"7", true, 7},
               {"-21", true, -21}, {"+3", true, 3},     {"", false, 0},     {"x", false, 0},
               {"5x", false, 0},   {"-", false, 0}};
  for (const auto &c : cases) {
    int v = 99;
    EXPECT_EQ(uxport::ParsePriority(c.text, &v), c.ok) << c.text;
    if (c.ok) {
      EXPECT_EQ(v, c.value) << c.text;
    }
  }
  // An unprivileged child: raising the nice value works, lowering it is refused.
  ChildResult child = RunWithStderrPipe([] {
    if (geteuid() == 0 && setuid(65534) != 0) return 3;
    if (LINSetProcessPrio(0, "10") != 0 || getpriority(PRIO_PROCESS, 0) != 10) return 4;
    if (LINSetProcessPrio(0, "High") != -1) return 5;
    if (LINSetProcessPrio(0, "x") != -1) return 6;
    return LINSetProcessPrio(0x3ffffff0, "Normal") == -1 ? 0 : 7;
  });
  EXPECT_EQ(child.status, 0) << child.err;
  EXPECT_TRUE(Has(child.err, "FAILED: Priority of process 0 not changed to -5: Permission denied"))
      << child.err;
  EXPECT_TRUE(Has(child.err, "        Only root is allowed to set nice levels lower than zero."));
  EXPECT_TRUE(
      Has(child.err, "FAILED: Priority of process 1073741808 not changed to 0: No such process"));
}

TEST(LinuxInitializeGmon, AppendsTheProgramName) {
  const std::string program = program_invocation_short_name;
  for (const std::string &prefix : {std::string("/tmp/prof/gmon"), std::string(),
                                    std::string(4096, 'p')}) {
    ChildResult child = RunWithStderrPipe([&prefix, &program] {
      setenv("GMON_OUT_PREFIX", prefix.c_str(), 1);
      Linux_initialize_gmon();
      const char *value = getenv("GMON_OUT_PREFIX");
      return value != nullptr && prefix + "_" + program == value ? 0 : 1;
    });
    EXPECT_EQ(child.status, 0) << prefix.size();
  }
  ChildResult unset = RunWithStderrPipe([] {
    unsetenv("GMON_OUT_PREFIX");
    Linux_initialize_gmon();
    return getenv("GMON_OUT_PREFIX") == nullptr ? 0 : 1;
  });
  EXPECT_EQ(unset.status, 0);
}

TEST(LinProbes, UnwinderPhysicalMemoryAndFork) {
  EXPECT_EQ(Lin_libgcc_ok(), dlsym(RTLD_DEFAULT, "_Unwind_GetIPInfo") != nullptr ? 1 : 0);
  long pages = sysconf(_SC_PHYS_PAGES), page = sysconf(_SC_PAGESIZE);
  ChildResult child = RunWithStderrPipe([pages, page] {
    return LinGetPhysMemMB() == static_cast<long>((static_cast<unsigned long>(pages) * page) >> 20)
               ? 0
               : 1;
  });
  EXPECT_EQ(child.status, 0);
  EXPECT_NE(child.err.find("Size of /dev/shm/: "), std::string::npos) << child.err;
  int pid = fork_Linux();
  if (pid == 0) _exit(0);
  ASSERT_GT(pid, 0);
  int status = 0;
  EXPECT_EQ(waitpid(pid, &status, 0), pid);
}

}  // namespace lin_settings_test
