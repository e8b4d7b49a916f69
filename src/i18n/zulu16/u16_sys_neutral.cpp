// The short names of the system call wrappers and stream readers; each forwards to its U16 form.
#include <fcntl.h>

#include <cstdarg>

#include "zul_u16stdio.h"
#include "zul_u16sys.h"

int accessU(const ZUL_UTF16 *cpath, int mode) noexcept { return accessU16(cpath, mode); }
int chdirU(const ZUL_UTF16 *cpath) noexcept { return chdirU16(cpath); }
int chmodU(const ZUL_UTF16 *cpath, mode_t mode) noexcept { return chmodU16(cpath, mode); }
int chownU(const ZUL_UTF16 *cpath, uid_t owner, gid_t group) noexcept {
  return chownU16(cpath, owner, group);
}
int creatU(const ZUL_UTF16 *cpath, mode_t mode) noexcept { return creatU16(cpath, mode); }
int linkU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cnewpath) noexcept {
  return linkU16(cpath, cnewpath);
}
int mkdirU(const ZUL_UTF16 *cpath, mode_t mode) noexcept { return mkdirU16(cpath, mode); }
int mkfifoU(const ZUL_UTF16 *cpath, mode_t mode) noexcept { return mkfifoU16(cpath, mode); }
int openU(const ZUL_UTF16 *cpath, int flags, ...) noexcept {
  va_list args;
  va_start(args, flags);
  // Read as openU16 reads it: only when flags ask to create.
  int mode = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(args, int) : 0;
  va_end(args);
  return openU16(cpath, flags, mode);
}
ssize_t readlinkU(const ZUL_UTF16 *cpath, ZUL_UTF16 *buffer, size_t size) noexcept {
  return readlinkU16(cpath, buffer, size);
}
int removeU(const ZUL_UTF16 *cpath) noexcept { return removeU16(cpath); }
int renameU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cnewpath) noexcept {
  return renameU16(cpath, cnewpath);
}
int rmdirU(const ZUL_UTF16 *cpath) noexcept { return rmdirU16(cpath); }
int statvfsU(const ZUL_UTF16 *cpath, struct statvfs *buffer) noexcept {
  return statvfsU16(cpath, buffer);
}
int symlinkU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *clinkpath) noexcept {
  return symlinkU16(cpath, clinkpath);
}
int unlinkU(const ZUL_UTF16 *cpath) noexcept { return unlinkU16(cpath); }
int utimeU(const ZUL_UTF16 *cpath, const struct utimbuf *times) noexcept {
  return utimeU16(cpath, times);
}
FILE *fopenU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cmode) noexcept {
  return fopenU16(cpath, cmode);
}
FILE *fopen64U(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cmode) noexcept {
  return fopen64U16(cpath, cmode);
}
FILE *freopenU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cmode, FILE *stream) noexcept {
  return freopenU16(cpath, cmode, stream);
}
FILE *fdopenU(int fd, const ZUL_UTF16 *cmode) noexcept { return fdopenU16(fd, cmode); }
FILE *popenU(const ZUL_UTF16 *ccommand, const ZUL_UTF16 *ctype) noexcept {
  return popenU16(ccommand, ctype);
}
int systemU(const ZUL_UTF16 *cstring) noexcept { return systemU16(cstring); }
DIR *opendirU(const ZUL_UTF16 *cpath) noexcept { return opendirU16(cpath); }
struct direntU16 *readdirU(DIR *dir) noexcept {
  return readdirU16(dir);
}
int readdir_rU(DIR *dir, struct direntU16 *entry, struct direntU16 **result) noexcept {
  return readdir_rU16(dir, entry, result);
}
int mkstempU(ZUL_UTF16 *patternC) noexcept { return mkstempU16(patternC); }
ZUL_UTF16 *mktempU(ZUL_UTF16 *patternC) noexcept { return mktempU16(patternC); }
ZUL_UTF16 *tempnamU(const ZUL_UTF16 *cdir, const ZUL_UTF16 *cpfx) noexcept {
  return tempnamU16(cdir, cpfx);
}
ZUL_UTF16 *tmpnamU(ZUL_UTF16 *fileC) noexcept { return tmpnamU16(fileC); }
int execvU(const ZUL_UTF16 *cpath, ZUL_UTF16 *const argv[]) noexcept {
  return execvU16(cpath, argv);
}
int execveU(const ZUL_UTF16 *cpath, ZUL_UTF16 *const argv[], ZUL_UTF16 *const envp[]) noexcept {
  return execveU16(cpath, argv, envp);
}
int execvpU(const ZUL_UTF16 *cpath, ZUL_UTF16 *const argv[]) noexcept {
  return execvpU16(cpath, argv);
}
int execlU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, ...) noexcept {
  va_list args;
  va_start(args, arg);
  int rc = vexeclU16(cpath, arg, args);
  va_end(args);
  return rc;
}
int execleU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, ...) noexcept {
  va_list args;
  va_start(args, arg);
  int rc = vexecleU16(cpath, arg, args);
  va_end(args);
  return rc;
}
int execlpU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, ...) noexcept {
  va_list args;
  va_start(args, arg);
  int rc = vexeclpU16(cpath, arg, args);
  va_end(args);
  return rc;
}
int vexeclU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, va_list args) noexcept {
  return vexeclU16(cpath, arg, args);
}
int vexecleU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, va_list args) noexcept {
  return vexecleU16(cpath, arg, args);
}
int vexeclpU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, va_list args) noexcept {
  return vexeclpU16(cpath, arg, args);
}
ZUL_UTF16 *getenvU(const ZUL_UTF16 *cname) noexcept { return getenvU16(cname); }
int putenvU(const ZUL_UTF16 *text) noexcept { return putenvU16(text); }
void *dlopenU(const ZUL_UTF16 *cpath, int flags) noexcept { return dlopenU16(cpath, flags); }
void *dlsymU(void *handle, const ZUL_UTF16 *cname) noexcept { return dlsymU16(handle, cname); }
ZUL_UTF16 *dlerrorU(void) noexcept { return dlerrorU16(); }
ZUL_UTF16 *getcwdU(ZUL_UTF16 *buffer, size_t size) noexcept { return getcwdU16(buffer, size); }
ZUL_UTF16 *ttynameU(int fd) noexcept { return ttynameU16(fd); }
ZUL_UTF16 *strerrorU(int errnum) noexcept { return strerrorU16(errnum); }
void perrorU(const ZUL_UTF16 *cstring) noexcept { return perrorU16(cstring); }
ZUL_UTF16 *ctimeU(const time_t *clock) noexcept { return ctimeU16(clock); }
ZUL_UTF16 *asctimeU(const struct tm *tm) noexcept { return asctimeU16(tm); }
ZUL_UTF16 *ctime_rU(const time_t *clock, ZUL_UTF16 *buffer) noexcept {
  return ctime_rU16(clock, buffer);
}
ZUL_UTF16 *asctime_rU(const struct tm *tm, ZUL_UTF16 *buffer) noexcept {
  return asctime_rU16(tm, buffer);
}
size_t strftimeU(ZUL_UTF16 *buffer, size_t size, const ZUL_UTF16 *cformat,
                 const struct tm *tm) noexcept {
  return strftimeU16(buffer, size, cformat, tm);
}
size_t strfctimeU(ZUL_UTF16 *buffer, size_t size, const ZUL_UTF16 *cformat,
                  const time_t *clock) noexcept {
  return strfctimeU16(buffer, size, cformat, clock);
}
ZUL_UTF16 *basenameU(const ZUL_UTF16 *cpath) noexcept { return basenameU16(cpath); }
ZUL_UTF16 *dirnameU(const ZUL_UTF16 *cpath) noexcept { return dirnameU16(cpath); }
int gethostnameU(ZUL_UTF16 *name, size_t size) noexcept { return gethostnameU16(name, size); }
ZUL_UTF16 *setlocaleU(int category, const ZUL_UTF16 *clocale) noexcept {
  return setlocaleU16(category, clocale);
}
ZUL_UTF16 *getpassU(const ZUL_UTF16 *cprompt) noexcept { return getpassU16(cprompt); }
int rexecU(ZUL_UTF16 **ahost, int port, const ZUL_UTF16 *cname, const ZUL_UTF16 *cpass,
           const ZUL_UTF16 *ccmd, int *fd2p) noexcept {
  return rexecU16(ahost, port, cname, cpass, ccmd, fd2p);
}
struct passwdU16 *getpwuidU(uid_t uid) noexcept {
  return getpwuidU16(uid);
}
struct passwdU16 *getpwnamU(const ZUL_UTF16 *cname) noexcept {
  return getpwnamU16(cname);
}
struct groupU16 *getgrgidU(gid_t gid) noexcept {
  return getgrgidU16(gid);
}
struct serventU16 *getservbyportU(int port, const ZUL_UTF16 *cproto) noexcept {
  return getservbyportU16(port, cproto);
}
struct serventU16 *getservbynameU(const ZUL_UTF16 *cname, const ZUL_UTF16 *cproto) noexcept {
  return getservbynameU16(cname, cproto);
}
struct hostentU16 *gethostentU(void) noexcept {
  return gethostentU16();
}
struct hostentU16 *gethostbynameU(const ZUL_UTF16 *cname) noexcept {
  return gethostbynameU16(cname);
}
struct hostentU16 *gethostbyaddrU(const void *addr, socklen_t len, int type) noexcept {
  return gethostbyaddrU16(addr, len, type);
}
int fgetcU(FILE *stream) noexcept { return fgetcU16(stream); }
ZUL_UTF16 *fgetsU(ZUL_UTF16 *buffer, int units, FILE *stream) noexcept {
  return fgetsU16(buffer, units, stream);
}
size_t freadU(ZUL_UTF16 *buffer, size_t size, size_t count, FILE *stream) noexcept {
  return freadU16(buffer, size, count, stream);
}
ZUL_UTF16 *getsU(ZUL_UTF16 *buffer) noexcept { return getsU16(buffer); }
ZUL_UTF16 *gets_sU(ZUL_UTF16 *buffer, size_t units) noexcept { return gets_sU16(buffer, units); }
int fget_lineU(ZUL_UTF16 *buffer, int units, FILE *stream) noexcept {
  return fget_lineU16(buffer, units, stream);
}
int fget_strU(ZUL_UTF16 *buffer, int units, FILE *stream) noexcept {
  return fget_strU16(buffer, units, stream);
}
int fget_intU(int *value, FILE *stream) noexcept { return fget_intU16(value, stream); }
int fget_longU(long *value, FILE *stream) noexcept { return fget_longU16(value, stream); }
