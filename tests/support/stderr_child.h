// Runs a function in a forked child whose standard error is a pipe, and answers what it wrote and
// how it ended. The read and the wait are bounded: a child that hangs is killed.
#ifndef TESTS_SUPPORT_STDERR_CHILD_H
#define TESTS_SUPPORT_STDERR_CHILD_H

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>

struct ChildResult {
  int status = -1;  // exit code, or -1 when the child didn't exit normally
  std::string err;  // its standard error
};

template <class Fn>
ChildResult RunWithStderrPipe(Fn fn, int timeout_ms = 20000) {
  ChildResult result;
  int fds[2];
  if (pipe(fds) != 0) return result;
  fflush(stderr);
  pid_t pid = fork();
  if (pid < 0) return result;
  if (pid == 0) {
    close(fds[0]);
    dup2(fds[1], 2);
    close(fds[1]);
    int code = fn();
    fflush(stderr);
    _exit(code);
  }
  close(fds[1]);
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
  for (;;) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - std::chrono::steady_clock::now())
                    .count();
    if (left <= 0) {
      kill(pid, SIGKILL);
      break;
    }
    pollfd p{fds[0], POLLIN, 0};
    if (poll(&p, 1, static_cast<int>(left)) <= 0) continue;
    char buffer[4096];
    ssize_t n = read(fds[0], buffer, sizeof buffer);
    if (n <= 0) break;
    result.err.append(buffer, static_cast<size_t>(n));
  }
  close(fds[0]);
  int status = 0;
  if (waitpid(pid, &status, 0) == pid && WIFEXITED(status)) result.status = WEXITSTATUS(status);
  return result;
}

#endif  // TESTS_SUPPORT_STDERR_CHILD_H
