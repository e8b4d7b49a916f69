// Wrappers of the file and directory calls whose arguments are paths.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <utime.h>

#include <cstdarg>
#include <cstdio>

#include "i18n/zulu16/u16_sys.h"
#include "zul_u16string.h"

namespace {

constexpr char kSource[] = "u16_sys_files";

}  // namespace

int accessU16(const ZUL_UTF16 *cpath, int mode) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "accessU16", "cpath");
  return access(path.get(), mode);
}

int chdirU16(const ZUL_UTF16 *cpath) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "chdirU16", "cpath");
  return chdir(path.get());
}

int chmodU16(const ZUL_UTF16 *cpath, mode_t mode) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "chmodU16", "cpath");
  return chmod(path.get(), mode);
}

int chownU16(const ZUL_UTF16 *cpath, uid_t owner, gid_t group) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "chownU16", "cpath");
  return chown(path.get(), owner, group);
}

int creatU16(const ZUL_UTF16 *cpath, mode_t mode) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "creatU16", "cpath");
  int fd = creat(path.get(), mode);
  if (fd >= 0) u16_traceFopen("creatU16", path.get(), fd);
  return fd;
}

int linkU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cnewpath) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "linkU16", "cpath");
  U16_ARG(newpath, MAX_PATH_LN, cnewpath, "linkU16", "cpath");
  return link(path.get(), newpath.get());
}

int mkdirU16(const ZUL_UTF16 *cpath, mode_t mode) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "mkdirU16", "cpath");
  return mkdir(path.get(), mode);
}

int mkfifoU16(const ZUL_UTF16 *cpath, mode_t mode) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "mkfifoU16", "cpath");
  return mkfifo(path.get(), mode);
}

int openU16(const ZUL_UTF16 *cpath, int flags, ...) noexcept {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE) {
    va_list args;
    va_start(args, flags);
    mode = static_cast<mode_t>(va_arg(args, int));
    va_end(args);
  }
  U16_ARG(path, MAX_PATH_LN, cpath, "openU16", "cpath");
  int fd = open(path.get(), flags, mode);
  if (fd >= 0) u16_traceFopen("openU16", path.get(), fd);
  return fd;
}

ssize_t readlinkU16(const ZUL_UTF16 *cpath, ZUL_UTF16 *buffer, size_t size) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "readlinkU16", "cpath");
  char target[MAX_PATH_LN];
  ssize_t n = readlink(path.get(), target, sizeof target - 1);
  if (n < 0) return n;
  target[n] = 0;
  ZUL_UTF16 converted[MAX_PATH_LN];
  U16_RESULT(converted, target, MAX_PATH_LN, "readlinkU16", "buf");
  size_t units = strlenU16(converted);
  if (units > size) units = size;  // cut without notice, as readlink does
  for (size_t i = 0; i < units; ++i) buffer[i] = converted[i];
  return static_cast<ssize_t>(units);
}

int removeU16(const ZUL_UTF16 *cpath) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "removeU16", "cpath");
  return remove(path.get());
}

int renameU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cnewpath) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "renameU16", "cpath");
  U16_ARG(newpath, MAX_PATH_LN, cnewpath, "renameU16", "cpath");
  return rename(path.get(), newpath.get());
}

int rmdirU16(const ZUL_UTF16 *cpath) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "rmdirU16", "cpath");
  return rmdir(path.get());
}

int statvfsU16(const ZUL_UTF16 *cpath, struct statvfs *buffer) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "statvfsU16", "cpath");
  return statvfs(path.get(), buffer);
}

int symlinkU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *clinkpath) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "symlinkU16", "cpath");
  U16_ARG(linkpath, MAX_PATH_LN, clinkpath, "symlinkU16", "cpath");
  return symlink(path.get(), linkpath.get());
}

int unlinkU16(const ZUL_UTF16 *cpath) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "unlinkU16", "cpath");
  return unlink(path.get());
}

int utimeU16(const ZUL_UTF16 *cpath, const struct utimbuf *times) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "utimeU16", "cpath");
  return utime(path.get(), times);
}
