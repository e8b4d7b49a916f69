#include "krn/perf/pfuuid.h"

#include <array>
#include <cerrno>
#include <csignal>

#include "zul_u16sys.h"

namespace {

using Uuid = std::array<ZUL_RAW, PFUUID_LEN>;

constexpr Uuid kVersion1 = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0x1C, 0xDE,
                            0xA5, 0x3C, 0x10, 0x20, 0x30, 0x40, 0x50, 0x60};
constexpr Uuid kOrdered = {0x10, 0x20, 0x30, 0x40, 0x50, 0x60, 0xCD, 0xEE,
                           0xA2, 0xB5, 0x60, 0x24, 0x68, 0xAC, 0xE5, 0x3C};  // by hand

Uuid With(Uuid u, ZUL_RAW byte6, ZUL_RAW byte8) {
  u[6] = byte6;
  u[8] = byte8;
  return u;
}
const Uuid kVersion4 = With(kVersion1, 0x4C, 0xA5);

TEST(PfuuidLayout, OrderBytesAndVersionCheck) {
  Uuid out{};
  pfuuid::order_bytes(out.data(), kVersion1.data());
  EXPECT_EQ(out, kOrdered);
  pfuuid::order_bytes(out.data(), With(kVersion1, 0x1C, 0x85).data());
  EXPECT_EQ(out[7], 0xDE);  // bit 0x20 of byte 8 clear
  EXPECT_EQ(out[14], 0xE5);

  // byte 6, byte 8, version 1 and variant 10?
  const int cases[][3] = {{0x10, 0x80, 1}, {0x1F, 0xBF, 1}, {0x40, 0x80, 0}, {0x10, 0xC0, 0}};
  for (const auto &c : cases)
    EXPECT_EQ(check_variant_version(With(kVersion1, c[0], c[1]).data()), c[2]) << c[0] << c[1];
}

// A generator for the creation core that hands out a fixed list in turn.
std::vector<Uuid> generated;
size_t next_generated = 0;
void FromList(unsigned char *out) {
  std::memcpy(out, generated[next_generated++ % generated.size()].data(), PFUUID_LEN);
}

TEST(PfuuidCreate, FailedVersionCheckKeepsRawBytesAndItsCode) {
  generated = {kVersion1, kVersion4};
  next_generated = 0;
  std::array<Uuid, 2> out{};
  EXPECT_EQ(pfuuid::Create(FromList, out[0].data(), 2, true, true), PFUUID_ERR_VERSION);
  EXPECT_EQ(out[0], kOrdered);
  EXPECT_EQ(out[1], kVersion4);
  EXPECT_EQ(pfuuid::Create(FromList, out[0].data(), 1, false, false), PFUUID_OK);
  EXPECT_EQ(out[0], kVersion1);  // reorder 0: standard layout

  // The forced form replaces the refused identifier by a random one of variant 10.
  EXPECT_EQ(pfuuid::CreateForced(FromList, out[0].data()), PFUUID_ERR_VERSION);
  EXPECT_NE(out[0], kVersion4);
  EXPECT_EQ(out[0][8] & 0xC0, 0x80);
  EXPECT_EQ(out[0][7] & 0xF0, 0x40);
}

time_t ClockMovedOn(time_t *) { return 2000000000; }

TEST(PfuuidCreate, RandomWordsStartFromPidAndTimeLowByteFirst) {
  // A clock that no longer reads t stops the mixing at once: every word is pid ^ t.
  Uuid out{};
  pfuuid::RandomUuid(out.data(), 0x1234, 0x01020304, ClockMovedOn);
  const Uuid expected = {0x30, 0x11, 0x02, 0x01, 0x30, 0x11, 0x02, 0x41,
                         0xB0, 0x11, 0x02, 0x01, 0x30, 0x11, 0x02, 0x01};
  EXPECT_EQ(out, expected);
}

// The print, its length check and its text, are asserted by the codecs' fuzz target.
TEST(PfuuidText, CopiesCheckTheirLengths) {
  Uuid out{};
  int length = 32;
  EXPECT_EQ(pfuuid_host(kVersion1.data(), 15, out.data()), PFUUID_ERR_ARG);
  EXPECT_EQ(pfuuid_net(kVersion1.data(), out.data(), &length), PFUUID_OK);
  EXPECT_EQ(length, 16);
}

// ---- The uuidd test through its seams: program paths and command runner ----

struct Scripted {
  int status, error;
};
std::vector<Scripted> script;
size_t script_call = 0;
std::u16string last_command;
bool sigchld_default_in_repeat = false;

int RunScripted(const ZUL_UTF16 *command) {
  last_command = command;
  struct sigaction current;
  sigaction(SIGCHLD, nullptr, &current);
  sigchld_default_in_repeat = script_call > 0 && current.sa_handler == SIG_DFL;
  const Scripted &s = script[script_call++];
  errno = s.error;
  return s.status;
}

TEST(PfuuidUuiddTest, AnswersAndDiagnosisFollowTheStatus) {
  const ZUL_UTF16 *const paths[] = {u"/nonexistent/uuidd", u"/bin/sh", u"/bin/true"};
  struct Case {
    std::vector<Scripted> calls;
    int answer;
    int32_t diagnosis;
  } cases[] = {
      {{{0, 0}}, 0, 20000},
      {{{1 << 8, 0}}, 7, 20000},  // only an exit code
      {{{-1, EAGAIN}}, 1, 20000 + EAGAIN},
      {{{SIGKILL, 0}}, 1, 30000 + SIGKILL},
      {{{0x80, 0}}, 0, 30000 + 0x80},  // core flag, exit code 0
      {{{0x280, 0}}, 7, 30000 + 0x280},
      {{{-1, ECHILD}, {0, 0}}, 0, 40000},
      {{{-1, ECHILD}, {-1, ECHILD}}, 1, 40000 + ECHILD},
      {{{-1, ECHILD}, {3 << 8, 0}}, 7, 40000},
  };
  struct sigaction ignore = {}, saved, after;
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGCHLD, &ignore, &saved);
  for (const Case &c : cases) {
    script = c.calls;
    script_call = 0;
    EXPECT_EQ(pfuuid::LinuxUuiddTest(paths, 3, RunScripted), c.answer) << c.diagnosis;
    EXPECT_EQ(pfuuid_errno, c.diagnosis);
    EXPECT_EQ(script_call, c.calls.size());
    EXPECT_TRUE(c.calls.size() == 1 || sigchld_default_in_repeat);
  }
  sigaction(SIGCHLD, &saved, &after);
  EXPECT_EQ(after.sa_handler, SIG_IGN);                           // restored after each repeat
  EXPECT_EQ(last_command, u"/bin/sh -t >/dev/null 2>/dev/null");  // the first executable
}

TEST(PfuuidUuiddTest, NoProgramOrTooLongCommandRunsNothing) {
  const ZUL_UTF16 *const missing[] = {u"/nonexistent/uuidd", u"/dev/null"};
  script_call = 0;
  EXPECT_EQ(pfuuid::LinuxUuiddTest(missing, 2, RunScripted), PFUUID_ERR_NO_UUIDD);
  EXPECT_EQ(pfuuid_errno, 0);
  // An existing program whose command doesn't fit the buffer.
  std::u16string long_path = u"/bin";
  while (long_path.size() < MAX_COMMAND_LN) long_path += u"/.";
  long_path += u"/sh";
  const ZUL_UTF16 *const too_long[] = {long_path.c_str()};
  EXPECT_EQ(pfuuid::LinuxUuiddTest(too_long, 1, RunScripted), PFUUID_ERR_ARG);
  EXPECT_EQ(pfuuid_errno, 10000 + ENAMETOOLONG);
  EXPECT_EQ(script_call, 0u);
}

}  // namespace
