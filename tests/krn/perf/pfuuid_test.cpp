#include <gtest/gtest.h>

#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "krn/perf/pfuuid.h"
#include "zul_u16sys.h"

namespace {

using Uuid = std::array<ZUL_RAW, PFUUID_LEN>;

constexpr Uuid kVersion1 = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0x1C, 0xDE,
                            0xA5, 0x3C, 0x10, 0x20, 0x30, 0x40, 0x50, 0x60};

Uuid WithVersionVariant(Uuid u, ZUL_RAW byte6, ZUL_RAW byte8) {
  u[6] = byte6;
  u[8] = byte8;
  return u;
}

// Where libuuid finds the daemon.
constexpr char kUuiddSocket[] = "/run/uuidd/request";

bool UuiddReachable() {
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  if (fd < 0) return false;
  sockaddr_un addr = {};
  addr.sun_family = AF_UNIX;
  std::strcpy(addr.sun_path, kUuiddSocket);
  bool ok = connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0;
  close(fd);
  return ok;
}

TEST(PfuuidOrderBytes, MatchesHandComputedLayout) {
  Uuid out{};
  pfuuid::order_bytes(out.data(), kVersion1.data());
  const Uuid expected = {0x10, 0x20, 0x30, 0x40, 0x50, 0x60, 0xCD, 0xEE,
                         0xA2, 0xB5, 0x60, 0x24, 0x68, 0xAC, 0xE5, 0x3C};
  EXPECT_EQ(out, expected);

  // Bit 0x20 of byte 8 clear: byte 7 takes 0xD0.
  Uuid in = kVersion1;
  in[8] = 0x85;
  pfuuid::order_bytes(out.data(), in.data());
  EXPECT_EQ(out[7], 0xDE);
  EXPECT_EQ(out[14], 0xE5);
}

TEST(PfuuidCheckVariantVersion, AcceptsOnlyVersion1Variant10) {
  struct Case {
    ZUL_RAW byte6, byte8;
    int expected;
  } cases[] = {
      {0x10, 0x80, 1}, {0x1F, 0xBF, 1},  // version 1, variant 10, any low bits
      {0x40, 0x80, 0},                   // version 4
      {0x00, 0x80, 0}, {0x20, 0x80, 0},  // versions 0 and 2
      {0x10, 0xC0, 0}, {0x10, 0x40, 0},  // variants 11 and 01
  };
  for (const Case &c : cases) {
    Uuid u = WithVersionVariant(kVersion1, c.byte6, c.byte8);
    EXPECT_EQ(check_variant_version(u.data()), c.expected)
        << std::hex << int(c.byte6) << " " << int(c.byte8);
  }
}

// Generators for the creation core: they hand out a fixed sequence of identifiers.
std::vector<Uuid> generated;
size_t next_generated = 0;
void FromList(unsigned char *out) {
  std::memcpy(out, generated[next_generated++ % generated.size()].data(), PFUUID_LEN);
}
const Uuid kVersion4 = WithVersionVariant(kVersion1, 0x4C, 0xA5);

Uuid Ordered(const Uuid &in) {
  Uuid out;
  pfuuid::order_bytes(out.data(), in.data());
  return out;
}

TEST(PfuuidCreate, ReordersValidAndKeepsRawBytesOfFailedOnes) {
  generated = {kVersion1, kVersion4, kVersion1};
  next_generated = 0;
  std::array<Uuid, 3> out{};
  EXPECT_EQ(pfuuid::Create(FromList, out[0].data(), 3, true, true), PFUUID_OK);  // the last code
  EXPECT_EQ(out[0], Ordered(kVersion1));
  EXPECT_EQ(out[1], kVersion4);
  EXPECT_EQ(out[2], Ordered(kVersion1));

  next_generated = 0;  // v1, then v4: the answer is the code of the last
  EXPECT_EQ(pfuuid::Create(FromList, out[0].data(), 2, true, true), PFUUID_ERR_VERSION);

  next_generated = 0;
  EXPECT_EQ(pfuuid::Create(FromList, out[0].data(), 1, false, false), PFUUID_OK);
  EXPECT_EQ(out[0], kVersion1);  // reorder 0: standard layout

  EXPECT_EQ(pfcreate_zul_uuid(nullptr), PFUUID_ERR_ARG);
  EXPECT_EQ(pfcreate_zul_uuids(out[0].data(), 0), PFUUID_OK);
}

TEST(PfuuidCreate, ForcedFormFallsBackToRandomIdentifier) {
  generated = {kVersion4};
  next_generated = 0;
  Uuid out{};
  EXPECT_EQ(pfuuid::CreateForced(FromList, out.data()), PFUUID_ERR_VERSION);
  EXPECT_NE(out, kVersion4);
  EXPECT_EQ(out[8] & 0xC0, 0x80);
  EXPECT_EQ(out[7] & 0xF0, 0x40);

  generated = {kVersion1};
  EXPECT_EQ(pfuuid::CreateForced(FromList, out.data()), PFUUID_OK);
  EXPECT_EQ(out, Ordered(kVersion1));
}

time_t ClockAlwaysLater(time_t *) { return 2000000000; }
time_t ClockStanding(time_t *) { return 1700000000; }

TEST(PfuuidCreate, RandomWordsStartFromPidAndTimeLowByteFirst) {
  // A clock that has moved on stops the mixing at once: every word is pid ^ t.
  Uuid out{};
  pfuuid::RandomUuid(out.data(), 0x1234, 0x01020304, ClockAlwaysLater);
  const uint32_t word = 0x1234 ^ 0x01020304;
  for (int i = 0; i < PFUUID_LEN; ++i) {
    ZUL_RAW byte = static_cast<ZUL_RAW>(word >> (8 * (i % 4)));
    if (i == 7) byte = (byte & 0x0F) | 0x40;
    if (i == 8) byte = (byte & 0x3F) | 0x80;
    EXPECT_EQ(out[i], byte) << i;
  }
  // With the clock standing, the words are mixed, differently each.
  pfuuid::RandomUuid(out.data(), 0x1234, 1700000000, ClockStanding);
  EXPECT_NE(std::memcmp(out.data(), out.data() + 4, 4), 0);
  EXPECT_NE(std::memcmp(out.data() + 8, out.data() + 12, 4), 0);
}

TEST(PfuuidCopies, LengthsAreChecked) {
  Uuid out{};
  EXPECT_EQ(pfuuid_host(kVersion1.data(), 15, out.data()), PFUUID_ERR_ARG);
  EXPECT_EQ(pfuuid_host(kVersion1.data(), 17, out.data()), PFUUID_ERR_ARG);
  EXPECT_EQ(pfuuid_host(kVersion1.data(), 16, out.data()), PFUUID_OK);
  EXPECT_EQ(out, kVersion1);

  out = {};
  int length = 15;
  EXPECT_EQ(pfuuid_net(kVersion1.data(), out.data(), &length), PFUUID_ERR_ARG);
  length = 20;
  EXPECT_EQ(pfuuid_net(kVersion1.data(), out.data(), &length), PFUUID_OK);
  EXPECT_EQ(length, 16);
  EXPECT_EQ(out, kVersion1);
}

TEST(PfuuidPrint, NeedsRoomForTerminator) {
  ZUL_UTF16 text[40];
  std::fill(std::begin(text), std::end(text), u'#');
  int length = 32;
  EXPECT_EQ(pfuuid_print(kVersion1.data(), text, &length), PFUUID_ERR_ARG);
  EXPECT_EQ(text[0], u'#');
  length = 33;
  EXPECT_EQ(pfuuid_print(kVersion1.data(), text, &length), PFUUID_OK);
  EXPECT_EQ(length, 32);
  EXPECT_EQ(std::u16string(text), u"0123456789AB1CDEA53C102030405060");
}

// ---- The uuidd test through its seams ----

const ZUL_UTF16 *const kShell[] = {u"/bin/sh"};

// A command runner that answers scripted results, one per call, and notes what it saw.
struct Scripted {
  int status;
  int error;
};
std::vector<Scripted> script;
size_t script_call = 0;
std::u16string last_command;
bool sigchld_default_in_call = false;

int RunScripted(const ZUL_UTF16 *command) {
  last_command = command;
  struct sigaction current;
  sigaction(SIGCHLD, nullptr, &current);
  sigchld_default_in_call = current.sa_handler == SIG_DFL;
  const Scripted &s = script[script_call++];
  errno = s.error;
  return s.status;
}

TEST(PfuuidUuiddTest, AnswersAndDiagnosisFollowTheStatus) {
  struct Case {
    const char *what;
    std::vector<Scripted> calls;
    int answer;
    int32_t diagnosis;
  } cases[] = {
      {"success", {{0, 0}}, 0, 20000},
      {"exit code 1 only", {{1 << 8, 0}}, 7, 20000},
      {"system fails", {{-1, EAGAIN}}, 1, 20000 + EAGAIN},
      {"killed by a signal", {{SIGKILL, 0}}, 1, 30000 + SIGKILL},
      {"core flag, exit code 0", {{0x80, 0}}, 0, 30000 + 0x80},
      {"core flag, exit code 2", {{0x280, 0}}, 7, 30000 + 0x280},
      {"ECHILD, then success", {{-1, ECHILD}, {0, 0}}, 0, 40000},
      {"ECHILD twice", {{-1, ECHILD}, {-1, ECHILD}}, 1, 40000 + ECHILD},
      {"ECHILD, then exit code", {{-1, ECHILD}, {3 << 8, 0}}, 7, 40000},
  };
  for (const Case &c : cases) {
    script = c.calls;
    script_call = 0;
    EXPECT_EQ(pfuuid::LinuxUuiddTest(kShell, 1, RunScripted), c.answer) << c.what;
    EXPECT_EQ(pfuuid_errno, c.diagnosis) << c.what;
    EXPECT_EQ(script_call, c.calls.size()) << c.what;
  }
  EXPECT_EQ(last_command, u"/bin/sh -t >/dev/null 2>/dev/null");
}

TEST(PfuuidUuiddTest, RepeatsWithDefaultSigchldAndRestoresHandler) {
  struct sigaction ignore = {}, saved;
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGCHLD, &ignore, &saved);
  script = {{-1, ECHILD}, {0, 0}};
  script_call = 0;
  EXPECT_EQ(pfuuid::LinuxUuiddTest(kShell, 1, RunScripted), 0);
  EXPECT_TRUE(sigchld_default_in_call);
  struct sigaction after;
  sigaction(SIGCHLD, &saved, &after);
  EXPECT_EQ(after.sa_handler, SIG_IGN);
}

TEST(PfuuidUuiddTest, ProgramSearchAndCommandLength) {
  const ZUL_UTF16 *const missing[] = {u"/nonexistent/uuidd", u"/dev/null"};
  script_call = 0;
  pfuuid_errno = 5;
  EXPECT_EQ(pfuuid::LinuxUuiddTest(missing, 2, RunScripted), PFUUID_ERR_NO_UUIDD);
  EXPECT_EQ(pfuuid_errno, 0);
  EXPECT_EQ(script_call, 0u);

  // The first executable path wins.
  const ZUL_UTF16 *const both[] = {u"/nonexistent/uuidd", u"/bin/sh", u"/bin/true"};
  script = {{0, 0}};
  EXPECT_EQ(pfuuid::LinuxUuiddTest(both, 3, RunScripted), 0);
  EXPECT_EQ(last_command, u"/bin/sh -t >/dev/null 2>/dev/null");

  // An existing program whose command doesn't fit the command buffer.
  std::u16string long_path = u"/bin";
  while (long_path.size() < MAX_COMMAND_LN) long_path += u"/.";
  long_path += u"/sh";
  const ZUL_UTF16 *const too_long[] = {long_path.c_str()};
  script_call = 0;
  EXPECT_EQ(pfuuid::LinuxUuiddTest(too_long, 1, RunScripted), PFUUID_ERR_ARG);
  EXPECT_EQ(pfuuid_errno, 10000 + ENAMETOOLONG);
  EXPECT_EQ(script_call, 0u);
}

// ---- The uuidd test against real programs ----

// Runs body in a child process and answers its exit code; 99 and up mean the child couldn't set up.
template <typename Body>
int InChild(Body body) {
  fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) _exit(body());
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 100 + WTERMSIG(status);
}

TEST(PfuuidUuiddTest, SystemWithSigchldIgnoredIsRepeated) {
  const ZUL_UTF16 *const truth[] = {u"/bin/true"};
  int rc = InChild([&] {
    signal(SIGCHLD, SIG_IGN);
    int answer = pfuuid::LinuxUuiddTest(truth, 1, systemU16);
    if (signal(SIGCHLD, SIG_DFL) != SIG_IGN) return 98;
    return pfuuid_errno == 40000 ? answer : 97;
  });
  EXPECT_EQ(rc, 0);
}

TEST(PfuuidUuiddTest, DaemonUpGivesVersion1Identifiers) {
  if (!UuiddReachable()) GTEST_SKIP() << "uuidd is not running; tools/run_tests.sh starts it";
  EXPECT_EQ(pfuuid_init(), 0);
  EXPECT_EQ(pfuuid_errno, 20000);

  Uuid raw;
  ASSERT_EQ(pfcreate_zul_uuid_spec(raw.data(), 1, 0), PFUUID_OK);
  EXPECT_TRUE(check_variant_version(raw.data()));
  // Identifiers made in a row share the node in front and rise in the bytes behind it.
  std::array<Uuid, 64> batch;
  ASSERT_EQ(pfcreate_zul_uuids(batch[0].data(), 64), PFUUID_OK);
  for (size_t i = 1; i < batch.size(); ++i) {
    EXPECT_EQ(std::memcmp(batch[i].data(), batch[0].data(), 6), 0);
    EXPECT_LT(std::memcmp(batch[i - 1].data(), batch[i].data(), PFUUID_LEN), 0) << i;
  }
  EXPECT_EQ(std::memcmp(batch[0].data(), raw.data() + 10, 6), 0);
}

// Hides the daemon's socket from this process and its children: a private mount namespace with an
// empty directory over /run/uuidd. False when the system allows neither namespace kind.
bool HideUuiddSocket() {
  if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return false;
  struct stat st;
  if (stat("/run/uuidd", &st) != 0) return true;  // no directory, no socket
  return mount("none", "/run/uuidd", "tmpfs", 0, nullptr) == 0;
}

TEST(PfuuidUuiddTest, DaemonAbsentAnswers7AndCreationGoesOn) {
  int rc = InChild([] {
    if (!HideUuiddSocket()) return 99;
    if (UuiddReachable()) return 98;
    int answer = pfuuid_linux_uuidd_test();
    if (answer != PFUUID_ERR_UUIDD_RC) return 10 + answer;
    if (pfuuid_errno != 20000) return 97;
    Uuid u;
    int create = pfcreate_zul_uuid_force(u.data());
    return create == PFUUID_OK || create == PFUUID_ERR_VERSION ? 0 : 96;
  });
  if (rc == 99) GTEST_SKIP() << "no mount namespace here to hide the uuidd socket";
  EXPECT_EQ(rc, 0);
}

TEST(PfuuidUuiddTest, UnreachableDaemonThroughRealProgramAnswers7) {
  const char *uuidd = nullptr;
  for (const char *p : {"/usr/sbin/uuidd", "/sbin/uuidd", "/usr/bin/uuidd", "/bin/uuidd"}) {
    if (access(p, X_OK) == 0) uuidd = p;
  }
  if (uuidd == nullptr) GTEST_SKIP() << "uuidd is not installed";
  // A stand-in that asks the real program with a socket where no daemon listens.
  auto dir = std::filesystem::temp_directory_path() / ("pfuuid_" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  auto script_path = dir / "uuidd";
  std::ofstream(script_path) << "#!/bin/sh\nexec " << uuidd << " -s " << (dir / "none").string()
                             << " \"$@\"\n";
  chmod(script_path.c_str(), 0700);
  const std::string path8 = script_path.string();
  const std::u16string path16(path8.begin(), path8.end());
  const ZUL_UTF16 *const paths[] = {path16.c_str()};

  EXPECT_EQ(pfuuid::LinuxUuiddTest(paths, 1, systemU16), PFUUID_ERR_UUIDD_RC);
  EXPECT_EQ(pfuuid_errno, 20000);
  std::filesystem::remove_all(dir);
}

}  // namespace
