// The Linux settings check: reports and warnings under real lowered limits, kernel values through
// the settings command and through fed output, memory defaults, and affinity, priority and the
// profile output's name on forked children.

#include "krn/uxport/lin_settings.h"

#include <dlfcn.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>

#include "stderr_child.h"
#include "zul_lin.h"

namespace lin_settings_test {

std::string FedValues(const char *name) {
  return std::string(name) == "kernel.shmmax" ? "68719476736\n" : "18446744073692774399\n";
}
std::string FedGarbage(const char *name) {
  return std::string(name) == "kernel.shmmax" ? "" : "12 pages\n";
}

bool Has(const std::string &text, const std::string &line) {
  return text.find(line + "\n") != std::string::npos;
}

constexpr char kNoPid[] = "1073741808";  // above any pid_max
constexpr int kNoPidValue = 0x3ffffff0;

// Reports in a child whose soft limits are lowered to known values.
ChildResult ReportUnder(rlim_t stack, rlim_t files, uxport::KernelReader reader) {
  return RunWithStderrPipe([=] {
    rlimit as{}, st{}, nf{};
    getrlimit(RLIMIT_AS, &as);
    getrlimit(RLIMIT_STACK, &st);
    getrlimit(RLIMIT_NOFILE, &nf);
    as.rlim_cur = rlim_t{1} << 62;  // finite but huge: the sanitizers need the address space
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
  ChildResult low = ReportUnder(2 << 20, 100, FedValues);
  ASSERT_EQ(low.status, 0) << low.err;
  for (const char *line :
       {"virtual memory: soft-limit = 4398046511104 MB",
        "*** WARNING: resource limit value for 'virtual memory' (4611686018427387904) should be "
        "'unlimited'.",
        "stack size: soft-limit = 2 MB",
        "*** WARNING: resource limit value for 'stack size' too low (2097152 < 4194304)",
        "max open files: soft-limit = 100",
        "*** WARNING: resource limit value for 'max open files' too low (100 < 8192)",
        "Page Size: 4 KB", "kernel.shmmax = 65536 MB", "kernel.shmall = 72057594037862399 MB"})
    EXPECT_TRUE(Has(low.err, line)) << line << "\n" << low.err;
  size_t at = 0;  // the table's order, each hard limit before its soft one
  for (const char *label : {"virtual memory: hard", "virtual memory: soft", "core size: hard",
                            "data segment size: hard", "stack size: hard", "max open files: hard",
                            "max open files: soft", "Page Size"}) {
    at = low.err.find(label, at);
    ASSERT_NE(at, std::string::npos) << label;
  }
  rlimit st{}, nf{};
  getrlimit(RLIMIT_STACK, &st);
  getrlimit(RLIMIT_NOFILE, &nf);
  if (st.rlim_max != RLIM_INFINITY || nf.rlim_max < 8192) return;
  ChildResult fine = ReportUnder(RLIM_INFINITY, 8192, FedGarbage);
  ASSERT_EQ(fine.status, 0) << fine.err;
  EXPECT_TRUE(Has(fine.err, "stack size: soft-limit = UNLIMITED"));
  EXPECT_EQ(fine.err.find("too low"), std::string::npos) << fine.err;
  EXPECT_EQ(fine.err.find("kernel."), std::string::npos) << fine.err;  // empty and garbage
}

TEST(LinCheckMemorySettings, KernelValuesThroughTheCommand) {
  const std::pair<const char *, bool> texts[] = {
      {"42\n", true}, {" 7 ", true}, {"", false},
      {"12x", false}, {"-5", false}, {"99999999999999999999999", false}};
  unsigned long v = 0;
  for (const auto &[text, ok] : texts) EXPECT_EQ(uxport::ParseUnsigned(text, &v), ok) << text;
  if (access("/sbin/sysctl", X_OK) != 0 && access("/usr/sbin/sysctl", X_OK) != 0)
    GTEST_SKIP() << "no sysctl";
  for (std::string name : {"shmmax", "shmall"}) {
    unsigned long expected = 0;
    if (!(std::ifstream("/proc/sys/kernel/" + name) >> expected)) continue;
    ASSERT_TRUE(uxport::ParseUnsigned(uxport::ReadKernelValue(("kernel." + name).c_str()), &v));
    EXPECT_EQ(v, expected) << name;
  }
}

// The formulas belong to the host's memory manager: one of them, one fixed value and the reports.
TEST(LinSetMMDefaults, FormulasAndFixedValues) {
  char value[32];
  ASSERT_TRUE(uxport::MMDefault("rdisp/PG_SHM", 5000, value, sizeof value));
  EXPECT_STREQ(value, "39040");
  ASSERT_TRUE(uxport::MMDefault("ztta/roll_extension", 8, value, sizeof value));
  EXPECT_STREQ(value, "4000000000");
  ChildResult child = RunWithStderrPipe([] {
    return LinSetMMDefaults("ztta/roll_area") != nullptr && LinSetMMDefaults("foo") == nullptr;
  });
  EXPECT_EQ(child.status, 1);
  long mb = static_cast<long>(
      (static_cast<unsigned long>(sysconf(_SC_PHYS_PAGES)) * sysconf(_SC_PAGESIZE)) >> 20);
  for (const std::string &line :
       {std::string("ztta/roll_area = 6500000"), std::string("unknown parameter: foo *"),
        "calculatedMB = " + std::to_string(mb) + " MB"})
    EXPECT_TRUE(Has(child.err, line)) << line << "\n" << child.err;
}

// Lists as such are the fuzz target's. A CPU number equal to the count is reported and the
// others still apply; a null list answers the count.
TEST(LinSetProcessAffinity, RealCallsOnChildren) {
  int ncpu = static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN));
  EXPECT_EQ(LINSetProcessAffinity(0, nullptr), ncpu);
  ChildResult child = RunWithStderrPipe([ncpu] {
    return LINSetProcessAffinity(0, ("0," + std::to_string(ncpu)).c_str()) == 0 &&
           sched_getcpu() == 0;
  });
  EXPECT_EQ(child.status, 1) << child.err;
  EXPECT_NE(child.err.find("Affinity: Wrong parameter. Only " + std::to_string(ncpu)),
            std::string::npos);
  EXPECT_TRUE(Has(child.err, "Affinity of process 0 sucessfully changed to 0x00000001"));
  ChildResult missing = RunWithStderrPipe([] { return LINSetProcessAffinity(kNoPidValue, "0"); });
  EXPECT_TRUE(Has(missing.err, std::string("Failed to set affinity of process ") + kNoPid +
                                   ": No such process"));
}

TEST(LinSetProcessPrio, WordsNumbersAndRefusals) {
  const std::pair<const char *, int> cases[] = {{"low", 5}, {"NORMAL", 0}, {"High", -5},
                                                {"7", 7},   {"-21", -21},  {"", 99},
                                                {"x", 99},  {"5x", 99},    {"-", 99}};
  for (const auto &[text, value] : cases) {
    int v = 99;
    EXPECT_EQ(uxport::ParsePriority(text, &v), value != 99) << text;
    EXPECT_EQ(v, value) << text;
  }
  // Unprivileged: raising the nice value works, lowering it is refused.
  ChildResult child = RunWithStderrPipe([] {
    if (geteuid() == 0 && setuid(65534) != 0) return 3;
    if (LINSetProcessPrio(0, "10") != 0 || getpriority(PRIO_PROCESS, 0) != 10) return 4;
    if (LINSetProcessPrio(0, "High") != -1 || LINSetProcessPrio(0, "x") != -1) return 5;
    return LINSetProcessPrio(kNoPidValue, "Normal") == -1 ? 0 : 6;
  });
  EXPECT_EQ(child.status, 0) << child.err;
  for (const std::string &line :
       {std::string("FAILED: Priority of process 0 not changed to -5: Permission denied"),
        std::string("        Only root is allowed to set nice levels lower than zero."),
        "FAILED: Priority of process " + std::string(kNoPid) +
            " not changed to 0: No such process"})
    EXPECT_TRUE(Has(child.err, line)) << line << "\n" << child.err;
}

}  // namespace lin_settings_test
