// The uuidd test: a program that relies on time-based identifiers needs the daemon, since libuuid
// falls back to slower, or random, ones without it. "uuidd -t" asks the daemon for one.
#include <unistd.h>
#include <uuid/uuid.h>

#include <cerrno>
#include <csignal>

#include "krn/perf/pfuuid.h"
#include "zul_thr.h"
#include "zul_u16printf.h"
#include "zul_u16sys.h"

int32_t pfuuid_errno = 0;

namespace {

// Where distributions install the daemon, in the order tried.
const ZUL_UTF16 *const kUuiddPaths[] = {u"/usr/sbin/uuidd", u"/sbin/uuidd", u"/usr/bin/uuidd",
                                        u"/bin/uuidd"};

// system() reports ECHILD when the host ignores SIGCHLD, as its child is then reaped before it can
// wait for it: the command runs once more with the default handler, which is restored after.
int RunWithDefaultSigchld(pfuuid::CommandRunner run, const ZUL_UTF16 *command) {
  struct sigaction default_action = {};
  struct sigaction saved = {};
  default_action.sa_handler = SIG_DFL;
  sigemptyset(&default_action.sa_mask);
  sigaction(SIGCHLD, &default_action, &saved);
  errno = 0;
  int status = run(command);
  int run_errno = errno;
  sigaction(SIGCHLD, &saved, nullptr);
  errno = run_errno;
  return status;
}

// The answer for the wait status of "uuidd -t".
int Diagnose(int status) {
  if (status == 0) return PFUUID_OK;
  if (status == -1) return PFUUID_ERR_ARG;
  if ((status & 0xFF) == 0) return PFUUID_ERR_UUIDD_RC;  // only an exit code
  pfuuid_errno = status + 30000;
  if ((status & 0x7F) != 0) return PFUUID_ERR_ARG;  // ended by a signal
  return (status >> 8 & 0xFF) == 0 ? PFUUID_OK : PFUUID_ERR_UUIDD_RC;
}

}  // namespace

namespace pfuuid {

int LinuxUuiddTest(const ZUL_UTF16 *const *paths, size_t path_count, CommandRunner run) noexcept {
  pfuuid_errno = 0;
  const ZUL_UTF16 *program = nullptr;
  for (size_t i = 0; i < path_count && program == nullptr; ++i) {
    if (accessU16(paths[i], X_OK) == 0) program = paths[i];
  }
  if (program == nullptr) return PFUUID_ERR_NO_UUIDD;

  unsigned char wake_up[PFUUID_LEN];
  uuid_generate_time(wake_up);  // a socket-activated daemon starts on this request

  ZUL_UTF16 command[MAX_COMMAND_LN];
  int length = snprintfU16(command, MAX_COMMAND_LN, u"%s -t >/dev/null 2>/dev/null", program);
  if (length < 0 || length >= MAX_COMMAND_LN) {
    if (length >= 0) errno = ENAMETOOLONG;
    pfuuid_errno = errno + 10000;
    return PFUUID_ERR_ARG;
  }

  errno = 0;  // so that a success reads 20000
  int status = run(command);
  pfuuid_errno = errno + 20000;
  if (status == -1) {
    if (errno != ECHILD) return PFUUID_ERR_ARG;
    status = RunWithDefaultSigchld(run, command);
    pfuuid_errno = errno + 40000;
  }
  return Diagnose(status);
}

}  // namespace pfuuid

int pfuuid_linux_uuidd_test(void) noexcept {
  return pfuuid::LinuxUuiddTest(kUuiddPaths, sizeof kUuiddPaths / sizeof kUuiddPaths[0], systemU16);
}

int pfuuid_init(void) noexcept {
  ThrProcInit();
  return pfuuid_linux_uuidd_test();
}
