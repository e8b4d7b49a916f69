// The class loader in each of its modes. The load happens once per process, so every case runs
// in a forked child that starts from the stubs again, with its own environment and its standard
// error caught in a file. ICU, linked into the test as the oracle, is what the loader must find.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <regex>

#ifdef TLM_TEST_HAVE_ICU
#include <unicode/uchar.h>
#include <unicode/uversion.h>
#endif

#include "i18n/zulu16/nlsui.h"
#include "trace_capture.h"
#include "zul_nlsui.h"
#include "zul_u16string.h"

namespace {

struct ChildRun {
  int status;       // the exit status, -1 when the child didn't end by itself in time
  std::string err;  // what it wrote to standard error
};

// Runs body (answering an exit status) in a child that sees env and starts a fresh load;
// historic leaves only the 3.4 library names to try.
template <class Body>
ChildRun InLoaderChild(std::vector<std::pair<const char *, const char *>> env, Body body,
                       bool historic = false) {
  tlm_test::TempDir dir;
  const std::string err_path = dir.File("stderr");
  std::fflush(stderr);
  const pid_t pid = fork();
  if (pid == 0) {
    for (const auto &[name, value] : env) setenv(name, value, 1);
    dup2(open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
    zulu16::nlsui::ResetForTest(historic);
    const int status = body();
    std::fflush(stderr);
    _exit(status);
  }
  int status = 0;
  for (int i = 0; i < 3000 && waitpid(pid, &status, WNOHANG) == 0; ++i) usleep(10000);
  if (!WIFEXITED(status)) kill(pid, SIGKILL);
  std::ifstream err(err_path, std::ios::binary);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1,
          std::string(std::istreambuf_iterator<char>(err), {})};
}

bool HasText(const std::string &text, const std::string &part) {
  return text.find(part) != std::string::npos;
}

// The 7-bit classes, and the U16 table beside them; 0 when all hold.
int SevenBitAnswers() {
  const bool ok = isalnumU('a') && isspaceU('\t') && !isalphaU(0xE4) && toupperU(0xE4) == 0xE4 &&
                  toupperU('q') == 'Q' && tolowerU('Q') == 'q' && !isprintU(0x7F) &&
                  iscntrlU(0x1F) && isalphaU16(0xE4) && toupperU16(0xE4) == 0xC4;
  return ok ? 0 : 1;
}

TEST(NlsuiLoader, FallsBackToSevenBitsWhenAskedOrWithoutIcu) {
  const std::regex report(
      "ERROR: Non 7-bit character U\\+00E4 encountered in function toupperU {13} \\[nlsui0_mt "
      "\\d+\\] pid = \\d+\nThis is not supported in 7-bit mode\\.\n");
  // The environment, whether nlsui_set7bitUnicode is called, whether the load is historic; the
  // line that tells why the 7-bit classes are in use.
  const char *replaced = "Unicode ctype functions are replaced with 7bit fallback functions\n";
  const std::tuple<const char *, bool, bool, const char *> modes[] = {
      {"1", false, false, replaced},
      {nullptr, true, false, "nlsui_set7bitUnicode() is called\n"},
      {nullptr, false, true, replaced}};
  for (auto [fallback, request, historic, says] : modes) {
    std::vector<std::pair<const char *, const char *>> env = {{"NLSUI_TRACE_LEVEL", "low"},
                                                              {"NLSUI_INIT_TRACE_LEVEL", "1"}};
    if (fallback) env.push_back({"NLSUI_7BIT_FALLBACK", fallback});
    const auto run = InLoaderChild(
        env,
        [request = request] {
          if (request) nlsui_set7bitUnicode();
          return SevenBitAnswers();
        },
        historic);
    EXPECT_EQ(run.status, 0) << says;
    EXPECT_TRUE(HasText(run.err, "NLSUI_INIT_TRACE_LEVEL set to 'low'\n")) << run.err;
    EXPECT_TRUE(HasText(run.err, says)) << run.err;
    EXPECT_TRUE(std::regex_search(run.err, report)) << run.err;
  }
  // Without trace levels the 7-bit classes stay quiet.
  const auto quiet = InLoaderChild({{"NLSUI_7BIT_FALLBACK", ""}}, SevenBitAnswers);
  EXPECT_EQ(quiet.status, 0);
  EXPECT_EQ(quiet.err, "");
}

#ifdef TLM_TEST_HAVE_ICU

const std::string kIcuMajor = std::to_string(U_ICU_VERSION_MAJOR_NUM);

// Every class of every unit is ICU's own answer; 0 when all hold.
int IcuAnswers() {
  for (UChar32 c = 0; c < 0x10000; ++c) {
    const auto u = static_cast<ZUL_UTF16>(c);
    if (isalnumU(u) != u_isalnum(c) || isalphaU(u) != u_isalpha(c) || iscntrlU(u) != u_iscntrl(c) ||
        islowerU(u) != u_islower(c) || isprintU(u) != u_isprint(c) || isspaceU(u) != u_isspace(c) ||
        isupperU(u) != u_isupper(c) || toupperU(u) != u_toupper(c) || tolowerU(u) != u_tolower(c))
      return 1;
  }
  return 0;
}

TEST(NlsuiLoader, LoadsTheInstalledIcuAtTheFirstClassification) {
  const auto run = InLoaderChild({{"NLSUI_INIT_TRACE_LEVEL", "high"}}, IcuAnswers);
  EXPECT_EQ(run.status, 0);
  for (const std::string &line :
       {std::string("NLSUI_INIT_TRACE_LEVEL set to 'high'\n"),
        std::string("loadIcuDo() is called\n"),
        "Loaded ICU common lib: libicuuc.so." + kIcuMajor + "\n",
        "Function pointer for u_isalpha_" + kIcuMajor + ": 0x",
        "Running with ICU version " + kIcuMajor, std::string("LD_LIBRARY_PATH is set to ")})
    EXPECT_TRUE(HasText(run.err, line)) << line << " in:\n" << run.err.substr(0, 2000);
  const auto quiet = InLoaderChild({}, [] { return isalphaU(0xE4) == 1 ? 0 : 1; });
  EXPECT_EQ(quiet.status, 0);
  EXPECT_EQ(quiet.err, "");
}

// Search directories come first: a broken file there is reported and the next name tried; a real
// library without ICU's functions under ICU's name means the 7-bit classes.
TEST(NlsuiLoader, SearchDirectoriesComeFirst) {
  tlm_test::TempDir dir;
  std::FILE *broken = std::fopen(dir.File("libicudata.so." + kIcuMajor).c_str(), "w");
  ASSERT_NE(broken, nullptr);
  std::fputs("not a library", broken);
  std::fclose(broken);
  const auto run = InLoaderChild({{"NLSUI_INIT_TRACE_LEVEL", "medium"}}, [&] {
    nlsui_addIcuSearchPath(std::string(4000, 'd').c_str());
    nlsui_addIcuSearchPath(dir.path().c_str());
    return isalphaU(0xE4) == 1 ? 0 : 1;
  });
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(HasText(run.err, "Error message: \"" + dir.File("libicudata.so." + kIcuMajor)))
      << run.err;

  std::string uuid_path;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line) && uuid_path.empty();)
    if (HasText(line, "libuuid.so")) uuid_path = line.substr(line.find('/'));
  ASSERT_FALSE(uuid_path.empty());
  ASSERT_EQ(symlink(uuid_path.c_str(), dir.File("libicuuc.so." + kIcuMajor).c_str()), 0);
  const auto fake = InLoaderChild({{"NLSUI_INIT_TRACE_LEVEL", "low"}}, [&] {
    nlsui_addIcuSearchPath(dir.path().c_str());
    return SevenBitAnswers();
  });
  EXPECT_EQ(fake.status, 0);
  EXPECT_TRUE(HasText(fake.err, "Function pointer for u_isalpha_" + kIcuMajor + ": (nil)\n"))
      << fake.err;
}

#endif  // TLM_TEST_HAVE_ICU

TEST(NlsuiLoader, RefusesEmptySearchPaths) {
  EXPECT_EQ(nlsui_addIcuSearchPath(nullptr), -1);
  EXPECT_EQ(nlsui_addIcuSearchPath(""), -1);
}

}  // namespace
