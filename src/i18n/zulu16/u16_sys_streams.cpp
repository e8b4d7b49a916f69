// Wrappers of the calls that open streams and directory streams, and of readdir.
#include <dirent.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "i18n/zulu16/u16_sys.h"

namespace {

constexpr char kSource[] = "u16_sys_streams";

FILE *Traced(FILE *stream, const char *function, const char *path) {
  if (stream != nullptr) u16_traceFopen(function, path, fileno(stream));
  return stream;
}

// Copies an entry with its name converted; a name that doesn't convert is reported and kept up
// to the invalid byte.
void ConvertEntry(const struct dirent *from, struct direntU16 *to, const char *function) {
  to->d_ino = from->d_ino;
  to->d_off = from->d_off;
  to->d_reclen = from->d_reclen;
  to->d_type = from->d_type;
  U16_RESULT(to->d_name, from->d_name, MAX_FILENAME_LN, function, "d_name");
}

}  // namespace

FILE *fopenU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cmode) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "fopenU16", "cpath");
  U16_ARG(mode, MAX_MODE_LN, cmode, "fopenU16", "cmode");
  return Traced(fopen(path.get(), mode.get()), "fopenU16", path.get());
}

FILE *fopen64U16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cmode) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "fopen64U16", "cpath");
  U16_ARG(mode, MAX_MODE_LN, cmode, "fopen64U16", "cmode");
  return Traced(fopen64(path.get(), mode.get()), "fopen64U16", path.get());
}

FILE *freopenU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cmode, FILE *stream) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "freopenU16", "cpath");
  U16_ARG(mode, MAX_MODE_LN, cmode, "freopenU16", "cmode");
  return Traced(freopen(path.get(), mode.get(), stream), "freopenU16", path.get());
}

FILE *fdopenU16(int fd, const ZUL_UTF16 *cmode) noexcept {
  U16_ARG(mode, MAX_MODE_LN, cmode, "fdopenU16", "cmode");
  return Traced(fdopen(fd, mode.get()), "fdopenU16", nullptr);
}

FILE *popenU16(const ZUL_UTF16 *ccommand, const ZUL_UTF16 *ctype) noexcept {
  U16_ARG(command, MAX_COMMAND_LN, ccommand, "popenU16", "ccommand");
  U16_ARG(type, MAX_MODE_LN, ctype, "popenU16", "ctype");
  return Traced(popen(command.get(), type.get()), "popenU16", command.get());
}

int systemU16(const ZUL_UTF16 *cstring) noexcept {
  U16_ARG(command, MAX_COMMAND_LN, cstring, "systemU16", "cstring");
  return system(command.get());
}

DIR *opendirU16(const ZUL_UTF16 *cpath) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "opendirU16", "cpath");
  DIR *dir = opendir(path.get());
  if (dir != nullptr) u16_traceFopen("opendirU16", path.get(), dirfd(dir));
  return dir;
}

struct direntU16 *readdirU16(DIR *dir) noexcept {
  auto *entry = zulu16::ThreadRecordOf<struct direntU16>(zulu16::ThreadSlot::kDirent, "readdirU16");
  if (entry == nullptr) return nullptr;
  struct dirent *from = readdir(dir);
  if (from == nullptr) return nullptr;
  ConvertEntry(from, entry, "readdirU16");
  return entry;
}

int readdir_rU16(DIR *dir, struct direntU16 *entry, struct direntU16 **result) noexcept {
  // readdir is safe on distinct directory streams, and readdir_r is obsolete.
  int saved = errno;
  errno = 0;
  struct dirent *from = readdir(dir);
  int rc = errno;
  errno = saved;
  if (from == nullptr) {
    *result = nullptr;
    return rc;
  }
  ConvertEntry(from, entry, "readdir_rU16");
  *result = entry;
  return 0;
}
