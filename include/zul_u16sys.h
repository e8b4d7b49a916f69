/* System calls with 16-bit text.
 *
 * Each wrapper converts its 16-bit arguments to UTF-8 in fixed buffers on the stack, calls the
 * C library, and converts text results back. The limits below are buffer sizes in bytes of UTF-8,
 * terminator included; their names appear in the reports of over-long values.
 *
 * Common contract of the wrappers:
 * - A null text argument reaches the system call as null, so that the system's own answer (an
 *   error, or its meaning of null) comes back.
 * - An argument whose UTF-8 form fills its whole buffer counts as too long: it is reported
 *   through u16_array_short, errno becomes ENAMETOOLONG, and the call still runs on the cut text.
 *   A call that then fails sets errno itself; one that succeeds leaves ENAMETOOLONG in place.
 * - Answers and errno are those of the wrapped call. Out of memory answers -1 or null.
 * - 16-bit text is converted unit by unit: each unit of a surrogate pair becomes three bytes.
 *
 * Results that the C library keeps in static storage (strerror, ctime, readdir, getpwuid, ...)
 * are converted into records of the calling thread instead; each stays valid until the same
 * function is called again on that thread, or the thread ends.
 *
 * Every function has a short form with the ending U (mkdirU for mkdirU16) that forwards to it. */
#ifndef ZUL_U16SYS_H
#define ZUL_U16SYS_H

#include <dirent.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <time.h>

#include "zul_base.h"

struct statvfs;
struct utimbuf;

/* Argument limits, in bytes of UTF-8 including the terminator. */
#define MAX_PATH_LN 4097
#define MAX_FILENAME_LN 512
#define MAX_COMMAND_LN 2048
#define MAX_ENV_LN 256
#define MAX_MODE_LN 64
#define MAX_HOSTNAME_LN 256
#define MAX_SYM_LN 256
#define MAX_FORMATSTR_LN 256

/* Limits of the result records; a _LN limit is in units of the 16-bit copy, terminator included,
 * and the others count entries of a list. */
#define MAX_ADDRESSES 256
#define MAX_ALIASES 256
#define MAX_DB_ERROR_LN 256
#define MAX_ERROR_LN 256
#define MAX_GRMEMBERS 256
#define MAX_GRMEM_LN 256
#define MAX_GRNAME_LN 256
#define MAX_GRPASSWD_LN 256
#define MAX_IPADDR_LN 256
#define MAX_LOCALE_LN 256
#define MAX_PASSWD_LN 256
#define MAX_PREFIX_LN 256
#define MAX_PROMPT_LN 256
#define MAX_PWDIR_LN 256
#define MAX_PWGECOS_LN 256
#define MAX_PWNAME_LN 256
#define MAX_PWPASSWD_LN 256
#define MAX_PWSHELL_LN 256
#define MAX_SERVNAME_LN 256
#define MAX_SERVPROTONAME_LN 256

/* Answers of the checked conversions. */
#define NLSUI_CONV_OK 0
#define NLSUI_CONV_TOO_LONG 1 /* the value was cut; errno is ENAMETOOLONG */
#define NLSUI_CONV_INVALID 2  /* invalid UTF-8; the result ends before it */

/* Converts src into dst, a buffer of size bytes, always terminating it (size > 0). A result that
 * fills the whole buffer is cut and reported as too long, naming limit_name, function and
 * parameter; source and line name the calling place. A null src gives an empty result. */
ZUL_API int nlsui_U2sToUtf8s_checked(char *dst, const ZUL_UTF16 *src, size_t size,
                                     const char *source, int line, const char *function,
                                     const char *parameter, const char *limit_name) ZUL_NOTHROW;
/* The reverse: UTF-8 src into dst, a buffer of size units. Invalid UTF-8 ends the result where it
 * begins and is reported (when u16_trace_level isn't 0) with a dump of src. */
ZUL_API int nlsui_Utf8sToU2s_checked(ZUL_UTF16 *dst, const char *src, size_t size,
                                     const char *source, int line, const char *function,
                                     const char *parameter, const char *limit_name) ZUL_NOTHROW;
/* Reporters of the wrappers: invalid UTF-8 (only when u16_trace_level isn't 0), a value too long
 * for its buffer (also sets errno to ENAMETOOLONG), and a failed allocation (errno ENOMEM). */
ZUL_API void nlsui_utf8conv_error(const char *function, const char *source, int line,
                                  const void *bytes, size_t count) ZUL_NOTHROW;
ZUL_API void nlsui_array_short(const char *limit_name, const char *function, const char *parameter,
                               const char *source, int line) ZUL_NOTHROW;
ZUL_API void nlsui_malloc_error(const char *function, const char *source, int line,
                                size_t size) ZUL_NOTHROW;
/* Casts raw to a 16-bit text pointer; an odd address is reported with file and line. */
ZUL_API ZUL_UTF16 *nlsui_cast_raw2uc(const void *raw, const char *file, int line) ZUL_NOTHROW;

/* Logs, when u16_trace_level is at least 16, that function opened path as descriptor fd. */
ZUL_API void u16_traceFopen(const char *function, const char *path, int fd) ZUL_NOTHROW;

/* Files and directories: path arguments within MAX_PATH_LN. */
ZUL_API int accessU16(const ZUL_UTF16 *cpath, int mode) ZUL_NOTHROW;
ZUL_API int chdirU16(const ZUL_UTF16 *cpath) ZUL_NOTHROW;
ZUL_API int chmodU16(const ZUL_UTF16 *cpath, mode_t mode) ZUL_NOTHROW;
ZUL_API int chownU16(const ZUL_UTF16 *cpath, uid_t owner, gid_t group) ZUL_NOTHROW;
ZUL_API int creatU16(const ZUL_UTF16 *cpath, mode_t mode) ZUL_NOTHROW;
ZUL_API int linkU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cnewpath) ZUL_NOTHROW;
ZUL_API int mkdirU16(const ZUL_UTF16 *cpath, mode_t mode) ZUL_NOTHROW;
ZUL_API int mkfifoU16(const ZUL_UTF16 *cpath, mode_t mode) ZUL_NOTHROW;
/* The mode argument is read when flags ask to create. */
ZUL_API int openU16(const ZUL_UTF16 *cpath, int flags, ...) ZUL_NOTHROW;
/* Places the link's target, converted, in buffer (size units, no terminator added); answers the
 * number of units placed, or -1. */
ZUL_API ssize_t readlinkU16(const ZUL_UTF16 *cpath, ZUL_UTF16 *buffer, size_t size) ZUL_NOTHROW;
ZUL_API int removeU16(const ZUL_UTF16 *cpath) ZUL_NOTHROW;
ZUL_API int renameU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cnewpath) ZUL_NOTHROW;
ZUL_API int rmdirU16(const ZUL_UTF16 *cpath) ZUL_NOTHROW;
ZUL_API int statvfsU16(const ZUL_UTF16 *cpath, struct statvfs *buffer) ZUL_NOTHROW;
ZUL_API int symlinkU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *clinkpath) ZUL_NOTHROW;
ZUL_API int unlinkU16(const ZUL_UTF16 *cpath) ZUL_NOTHROW;
ZUL_API int utimeU16(const ZUL_UTF16 *cpath, const struct utimbuf *times) ZUL_NOTHROW;

/* Streams and directory streams; modes within MAX_MODE_LN, commands within MAX_COMMAND_LN. */
ZUL_API FILE *fopenU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cmode) ZUL_NOTHROW;
ZUL_API FILE *fopen64U16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cmode) ZUL_NOTHROW;
ZUL_API FILE *freopenU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cmode, FILE *stream) ZUL_NOTHROW;
ZUL_API FILE *fdopenU16(int fd, const ZUL_UTF16 *cmode) ZUL_NOTHROW;
ZUL_API FILE *popenU16(const ZUL_UTF16 *ccommand, const ZUL_UTF16 *ctype) ZUL_NOTHROW;
ZUL_API int systemU16(const ZUL_UTF16 *cstring) ZUL_NOTHROW;
ZUL_API DIR *opendirU16(const ZUL_UTF16 *cpath) ZUL_NOTHROW;

/* A directory entry with its name converted. */
struct direntU16 {
  ino_t d_ino;
  off_t d_off;
  unsigned short d_reclen;
  unsigned char d_type;
  ZUL_UTF16 d_name[MAX_FILENAME_LN];
};
/* The next entry in the calling thread's record, or null at the end (errno unchanged) or on an
 * error (errno set). */
ZUL_API struct direntU16 *readdirU16(DIR *dir) ZUL_NOTHROW;
/* The same into entry; *result becomes entry, or null at the end. Answers 0 or an errno value. */
ZUL_API int readdir_rU16(DIR *dir, struct direntU16 *entry, struct direntU16 **result) ZUL_NOTHROW;

/* Temporary files. Templates within MAX_FILENAME_LN end in six 'X' units (before suffix_len units
 * of suffix for ZUL_mkstemps), which are replaced in place. */
ZUL_API int mkstempU16(ZUL_UTF16 *patternC) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *mktempU16(ZUL_UTF16 *patternC) ZUL_NOTHROW;
ZUL_API int ZUL_mkstemps(ZUL_UTF16 *patternC, int suffix_len) ZUL_NOTHROW;
ZUL_API int ZUL_mkstempsR(char *patternC, int suffix_len) ZUL_NOTHROW;
/* Answers a name the caller frees with free(). */
ZUL_API ZUL_UTF16 *tempnamU16(const ZUL_UTF16 *cdir, const ZUL_UTF16 *cpfx) ZUL_NOTHROW;
/* With a null fileC the name is in the calling thread's record; else fileC holds L_tmpnam units. */
ZUL_API ZUL_UTF16 *tmpnamU16(ZUL_UTF16 *fileC) ZUL_NOTHROW;

/* Programs. The argument and environment strings are converted without a length limit; the
 * variable lists end with a null pointer, followed for the e forms by the environment vector. */
ZUL_API int execvU16(const ZUL_UTF16 *cpath, ZUL_UTF16 *const argv[]) ZUL_NOTHROW;
ZUL_API int execveU16(const ZUL_UTF16 *cpath, ZUL_UTF16 *const argv[],
                      ZUL_UTF16 *const envp[]) ZUL_NOTHROW;
ZUL_API int execvpU16(const ZUL_UTF16 *cpath, ZUL_UTF16 *const argv[]) ZUL_NOTHROW;
ZUL_API int execlU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, ...) ZUL_NOTHROW;
ZUL_API int execleU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, ...) ZUL_NOTHROW;
ZUL_API int execlpU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, ...) ZUL_NOTHROW;
ZUL_API int vexeclU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, va_list args) ZUL_NOTHROW;
ZUL_API int vexecleU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, va_list args) ZUL_NOTHROW;
ZUL_API int vexeclpU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, va_list args) ZUL_NOTHROW;

/* Environment. getenvU16 answers null when the variable isn't set, a constant empty string when
 * it is empty, otherwise a converted copy that the library keeps in a table of 128 lines: the
 * 129th copy clears the table, so a result stays valid for the next 127 calls at least. */
ZUL_API ZUL_UTF16 *getenvU16(const ZUL_UTF16 *cname) ZUL_NOTHROW;
/* Hands a converted copy of "name=value" to putenv; the library keeps it while it is in the
 * environment. Answers putenv's answer, or -1 when memory fails. */
ZUL_API int putenvU16(const ZUL_UTF16 *text) ZUL_NOTHROW;

/* Dynamic loading; symbol names within MAX_SYM_LN. */
ZUL_API void *dlopenU16(const ZUL_UTF16 *cpath, int flags) ZUL_NOTHROW;
ZUL_API void *dlsymU16(void *handle, const ZUL_UTF16 *cname) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *dlerrorU16(void) ZUL_NOTHROW;

/* Results converted into the caller's buffer (sizes in units) or the calling thread's record. */
ZUL_API ZUL_UTF16 *getcwdU16(ZUL_UTF16 *buffer, size_t size) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *ttynameU16(int fd) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strerrorU16(int errnum) ZUL_NOTHROW;
/* Writes prefix (may be null), ": " and the text of errno to standard error. */
ZUL_API void perrorU16(const ZUL_UTF16 *cstring) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *ctimeU16(const time_t *clock) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *asctimeU16(const struct tm *tm) ZUL_NOTHROW;
/* buffer holds at least 26 units. */
ZUL_API ZUL_UTF16 *ctime_rU16(const time_t *clock, ZUL_UTF16 *buffer) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *asctime_rU16(const struct tm *tm, ZUL_UTF16 *buffer) ZUL_NOTHROW;
/* Formats into buffer (size units with the terminator); answers the units written without the
 * terminator, or 0 when the result doesn't fit. Formats within MAX_FORMATSTR_LN. */
ZUL_API size_t strftimeU16(ZUL_UTF16 *buffer, size_t size, const ZUL_UTF16 *cformat,
                           const struct tm *tm) ZUL_NOTHROW;
/* The same for a time value, in local time. */
ZUL_API size_t strfctimeU16(ZUL_UTF16 *buffer, size_t size, const ZUL_UTF16 *cformat,
                            const time_t *clock) ZUL_NOTHROW;
/* The path is not modified; the answer is in the calling thread's record. */
ZUL_API ZUL_UTF16 *basenameU16(const ZUL_UTF16 *cpath) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *dirnameU16(const ZUL_UTF16 *cpath) ZUL_NOTHROW;
/* size in units; a name that doesn't fit answers -1 with ENAMETOOLONG. */
ZUL_API int gethostnameU16(ZUL_UTF16 *name, size_t size) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *setlocaleU16(int category, const ZUL_UTF16 *clocale) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *getpassU16(const ZUL_UTF16 *cprompt) ZUL_NOTHROW;

/* The system's names; each field holds 65 units, as the system's. */
#define ZUL_UTSNAME_LN 65
struct utsnameU16 {
  ZUL_UTF16 sysname[ZUL_UTSNAME_LN];
  ZUL_UTF16 nodename[ZUL_UTSNAME_LN];
  ZUL_UTF16 release[ZUL_UTSNAME_LN];
  ZUL_UTF16 version[ZUL_UTSNAME_LN];
  ZUL_UTF16 machine[ZUL_UTSNAME_LN];
  ZUL_UTF16 domainname[ZUL_UTSNAME_LN];
};
ZUL_API int unameU(struct utsnameU16 *buffer) ZUL_NOTHROW;

/* Remote execution: *ahost is replaced by the official host name in the calling thread's record. */
ZUL_API int rexecU16(ZUL_UTF16 **ahost, int port, const ZUL_UTF16 *cname, const ZUL_UTF16 *cpass,
                     const ZUL_UTF16 *ccmd, int *fd2p) ZUL_NOTHROW;

/* The XDR string filter on 16-bit text; xdrs is the caller's XDR stream. Encoding sends *sp as
 * UTF-8; decoding receives a UTF-8 string and stores it as 16-bit text in *sp, allocating it with
 * malloc when *sp is null (otherwise *sp must hold maxsize + 1 units); freeing frees *sp and sets
 * it to null. maxsize bounds the string's length in bytes of UTF-8. The C library's xdr_string is
 * looked up at first use (or libtirpc's, loaded then); when neither is found, or on a null
 * argument, the answer is 0 (FALSE), otherwise that of xdr_string. */
ZUL_API int xdr_stringU16(void *xdrs, ZUL_UTF16 **sp, unsigned int maxsize) ZUL_NOTHROW;

/* Lookups. Each answers the calling thread's record of its kind, filled with converted copies,
 * or null (errno or h_errno set as by the C library). Lists end with a null pointer and hold at
 * most MAX_GRMEMBERS, MAX_ALIASES or MAX_ADDRESSES entries; longer lists are cut and reported. */
struct passwdU16 {
  ZUL_UTF16 *pw_name;
  ZUL_UTF16 *pw_passwd;
  uid_t pw_uid;
  gid_t pw_gid;
  ZUL_UTF16 *pw_gecos;
  ZUL_UTF16 *pw_dir;
  ZUL_UTF16 *pw_shell;
};
struct groupU16 {
  ZUL_UTF16 *gr_name;
  ZUL_UTF16 *gr_passwd;
  gid_t gr_gid;
  ZUL_UTF16 **gr_mem;
};
struct serventU16 {
  ZUL_UTF16 *s_name;
  ZUL_UTF16 **s_aliases;
  int s_port; /* network byte order, as the system's */
  ZUL_UTF16 *s_proto;
};
struct hostentU16 {
  ZUL_UTF16 *h_name;
  ZUL_UTF16 **h_aliases;
  int h_addrtype;
  int h_length;
  char **h_addr_list; /* addresses in network byte order, h_length bytes each */
};
ZUL_API struct passwdU16 *getpwuidU16(uid_t uid) ZUL_NOTHROW;
ZUL_API struct passwdU16 *getpwnamU16(const ZUL_UTF16 *cname) ZUL_NOTHROW;
ZUL_API struct groupU16 *getgrgidU16(gid_t gid) ZUL_NOTHROW;
ZUL_API struct serventU16 *getservbyportU16(int port, const ZUL_UTF16 *cproto) ZUL_NOTHROW;
ZUL_API struct serventU16 *getservbynameU16(const ZUL_UTF16 *cname,
                                            const ZUL_UTF16 *cproto) ZUL_NOTHROW;
/* Reads the next line of the hosts database; sethostent and endhostent are the system's. */
ZUL_API struct hostentU16 *gethostentU16(void) ZUL_NOTHROW;
ZUL_API struct hostentU16 *gethostbynameU16(const ZUL_UTF16 *cname) ZUL_NOTHROW;
ZUL_API struct hostentU16 *gethostbyaddrU16(const void *addr, socklen_t len, int type) ZUL_NOTHROW;

/* Option parsing over 16-bit arguments, with the rules of the system's getopt: optindU is the
 * next argument (set it to 0 to start again), optargU the option's argument, optoptU the option
 * character of an error, and opterrU 0 keeps the error messages off standard error. */
ZUL_API ZUL_UTF16 *optargU;
ZUL_API int optindU;
ZUL_API int opterrU;
ZUL_API int optoptU;
ZUL_API int getoptU(int argc, ZUL_UTF16 *const argv[], const ZUL_UTF16 *optstring) ZUL_NOTHROW;
/* Stores a 16-bit copy of the 8-bit command line and answers its vector (argc entries and a null
 * pointer), owned by the library until the next call; null when memory fails. */
ZUL_API ZUL_UTF16 **u16_set_cmdline(int argc, char *const argv[]) ZUL_NOTHROW;

/* Adds the facets that the standard library's streams of ZUL_UTF16 need (character classes,
 * numeric punctuation, number formatting and parsing) to the global locale. Idempotent; aborts
 * the process when the facets can't be added. */
ZUL_API void ZulGlobalLocaleInit(void) ZUL_NOTHROW;
/* Runs ZulGlobalLocaleInit and gives the standard streams the new global locale. Idempotent. */
ZUL_API void ZulStdStreamInit(void) ZUL_NOTHROW;

/* Short forms: each forwards to its U16 form. */
ZUL_API int accessU(const ZUL_UTF16 *cpath, int mode) ZUL_NOTHROW;
ZUL_API int chdirU(const ZUL_UTF16 *cpath) ZUL_NOTHROW;
ZUL_API int chmodU(const ZUL_UTF16 *cpath, mode_t mode) ZUL_NOTHROW;
ZUL_API int chownU(const ZUL_UTF16 *cpath, uid_t owner, gid_t group) ZUL_NOTHROW;
ZUL_API int creatU(const ZUL_UTF16 *cpath, mode_t mode) ZUL_NOTHROW;
ZUL_API int linkU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cnewpath) ZUL_NOTHROW;
ZUL_API int mkdirU(const ZUL_UTF16 *cpath, mode_t mode) ZUL_NOTHROW;
ZUL_API int mkfifoU(const ZUL_UTF16 *cpath, mode_t mode) ZUL_NOTHROW;
ZUL_API int openU(const ZUL_UTF16 *cpath, int flags, ...) ZUL_NOTHROW;
ZUL_API ssize_t readlinkU(const ZUL_UTF16 *cpath, ZUL_UTF16 *buffer, size_t size) ZUL_NOTHROW;
ZUL_API int removeU(const ZUL_UTF16 *cpath) ZUL_NOTHROW;
ZUL_API int renameU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cnewpath) ZUL_NOTHROW;
ZUL_API int rmdirU(const ZUL_UTF16 *cpath) ZUL_NOTHROW;
ZUL_API int statvfsU(const ZUL_UTF16 *cpath, struct statvfs *buffer) ZUL_NOTHROW;
ZUL_API int symlinkU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *clinkpath) ZUL_NOTHROW;
ZUL_API int unlinkU(const ZUL_UTF16 *cpath) ZUL_NOTHROW;
ZUL_API int utimeU(const ZUL_UTF16 *cpath, const struct utimbuf *times) ZUL_NOTHROW;
ZUL_API FILE *fopenU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cmode) ZUL_NOTHROW;
ZUL_API FILE *fopen64U(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cmode) ZUL_NOTHROW;
ZUL_API FILE *freopenU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *cmode, FILE *stream) ZUL_NOTHROW;
ZUL_API FILE *fdopenU(int fd, const ZUL_UTF16 *cmode) ZUL_NOTHROW;
ZUL_API FILE *popenU(const ZUL_UTF16 *ccommand, const ZUL_UTF16 *ctype) ZUL_NOTHROW;
ZUL_API int systemU(const ZUL_UTF16 *cstring) ZUL_NOTHROW;
ZUL_API DIR *opendirU(const ZUL_UTF16 *cpath) ZUL_NOTHROW;
ZUL_API struct direntU16 *readdirU(DIR *dir) ZUL_NOTHROW;
ZUL_API int readdir_rU(DIR *dir, struct direntU16 *entry, struct direntU16 **result) ZUL_NOTHROW;
ZUL_API int mkstempU(ZUL_UTF16 *patternC) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *mktempU(ZUL_UTF16 *patternC) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *tempnamU(const ZUL_UTF16 *cdir, const ZUL_UTF16 *cpfx) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *tmpnamU(ZUL_UTF16 *fileC) ZUL_NOTHROW;
ZUL_API int execvU(const ZUL_UTF16 *cpath, ZUL_UTF16 *const argv[]) ZUL_NOTHROW;
ZUL_API int execveU(const ZUL_UTF16 *cpath, ZUL_UTF16 *const argv[],
                    ZUL_UTF16 *const envp[]) ZUL_NOTHROW;
ZUL_API int execvpU(const ZUL_UTF16 *cpath, ZUL_UTF16 *const argv[]) ZUL_NOTHROW;
ZUL_API int execlU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, ...) ZUL_NOTHROW;
ZUL_API int execleU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, ...) ZUL_NOTHROW;
ZUL_API int execlpU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, ...) ZUL_NOTHROW;
ZUL_API int vexeclU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, va_list args) ZUL_NOTHROW;
ZUL_API int vexecleU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, va_list args) ZUL_NOTHROW;
ZUL_API int vexeclpU(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, va_list args) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *getenvU(const ZUL_UTF16 *cname) ZUL_NOTHROW;
ZUL_API int putenvU(const ZUL_UTF16 *text) ZUL_NOTHROW;
ZUL_API void *dlopenU(const ZUL_UTF16 *cpath, int flags) ZUL_NOTHROW;
ZUL_API void *dlsymU(void *handle, const ZUL_UTF16 *cname) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *dlerrorU(void) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *getcwdU(ZUL_UTF16 *buffer, size_t size) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *ttynameU(int fd) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strerrorU(int errnum) ZUL_NOTHROW;
ZUL_API void perrorU(const ZUL_UTF16 *cstring) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *ctimeU(const time_t *clock) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *asctimeU(const struct tm *tm) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *ctime_rU(const time_t *clock, ZUL_UTF16 *buffer) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *asctime_rU(const struct tm *tm, ZUL_UTF16 *buffer) ZUL_NOTHROW;
ZUL_API size_t strftimeU(ZUL_UTF16 *buffer, size_t size, const ZUL_UTF16 *cformat,
                         const struct tm *tm) ZUL_NOTHROW;
ZUL_API size_t strfctimeU(ZUL_UTF16 *buffer, size_t size, const ZUL_UTF16 *cformat,
                          const time_t *clock) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *basenameU(const ZUL_UTF16 *cpath) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *dirnameU(const ZUL_UTF16 *cpath) ZUL_NOTHROW;
ZUL_API int gethostnameU(ZUL_UTF16 *name, size_t size) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *setlocaleU(int category, const ZUL_UTF16 *clocale) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *getpassU(const ZUL_UTF16 *cprompt) ZUL_NOTHROW;
ZUL_API int xdr_stringU(void *xdrs, ZUL_UTF16 **sp, unsigned int maxsize) ZUL_NOTHROW;
ZUL_API int rexecU(ZUL_UTF16 **ahost, int port, const ZUL_UTF16 *cname, const ZUL_UTF16 *cpass,
                   const ZUL_UTF16 *ccmd, int *fd2p) ZUL_NOTHROW;
ZUL_API struct passwdU16 *getpwuidU(uid_t uid) ZUL_NOTHROW;
ZUL_API struct passwdU16 *getpwnamU(const ZUL_UTF16 *cname) ZUL_NOTHROW;
ZUL_API struct groupU16 *getgrgidU(gid_t gid) ZUL_NOTHROW;
ZUL_API struct serventU16 *getservbyportU(int port, const ZUL_UTF16 *cproto) ZUL_NOTHROW;
ZUL_API struct serventU16 *getservbynameU(const ZUL_UTF16 *cname,
                                          const ZUL_UTF16 *cproto) ZUL_NOTHROW;
ZUL_API struct hostentU16 *gethostentU(void) ZUL_NOTHROW;
ZUL_API struct hostentU16 *gethostbynameU(const ZUL_UTF16 *cname) ZUL_NOTHROW;
ZUL_API struct hostentU16 *gethostbyaddrU(const void *addr, socklen_t len, int type) ZUL_NOTHROW;

#endif /* ZUL_U16SYS_H */
