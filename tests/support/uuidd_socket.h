// Reaching, and hiding, the uuidd daemon's socket: for the tests and the benchmark that compare
// identifier creation with and without the daemon.
#ifndef TESTS_SUPPORT_UUIDD_SOCKET_H
#define TESTS_SUPPORT_UUIDD_SOCKET_H

#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

// Where libuuid finds the daemon.
inline constexpr char kUuiddDir[] = "/run/uuidd";
inline constexpr char kUuiddSocket[] = "/run/uuidd/request";

// True when the daemon's socket takes a connection.
inline bool UuiddReachable() {
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un addr = {};
  addr.sun_family = AF_UNIX;
  std::strcpy(addr.sun_path, kUuiddSocket);
  bool ok = connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0;
  close(fd);
  return ok;
}

// Hides the socket from this process and its children: a private mount namespace lays an empty
// directory over /run/uuidd, as on a host where the daemon doesn't run. Meant for a child process.
// False when the system allows no mount namespace.
inline bool HideUuiddSocket() {
  if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return false;
  struct stat st;
  if (stat(kUuiddDir, &st) != 0) return true;  // no directory, no socket
  return mount("none", kUuiddDir, "tmpfs", 0, nullptr) == 0;
}

#endif  // TESTS_SUPPORT_UUIDD_SOCKET_H
