// Wrappers whose main work is a text result: working directory, terminal and host names, error
// texts, path parts, locale names, passwords, system names and remote execution.
#include <netdb.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "i18n/zulu16/u16_sys.h"
#include "zul_u16string.h"

// Last: it makes basename the POSIX form, which takes a writable copy.
#include <libgen.h>

namespace {

constexpr char kSource[] = "u16_sys_results";

struct PathRecord {
  ZUL_UTF16 text[MAX_PATH_LN];
};
struct ErrorRecord {
  ZUL_UTF16 text[MAX_ERROR_LN];
};
struct LocaleRecord {
  ZUL_UTF16 text[MAX_LOCALE_LN];
};
struct PasswordRecord {
  ZUL_UTF16 text[MAX_PASSWD_LN];
};
struct HostRecord {
  ZUL_UTF16 text[MAX_HOSTNAME_LN];
};

// Converts text into the calling thread's record of type Record in slot; null when text is null
// or the record can't be had.
template <class Record>
ZUL_UTF16 *IntoRecord(zulu16::ThreadSlot slot, const char *text, const char *limit_name,
                      const char *function, int line) {
  if (text == nullptr) return nullptr;
  auto *record = zulu16::ThreadRecordOf<Record>(slot, function);
  if (record == nullptr) return nullptr;
  constexpr size_t kUnits = sizeof record->text / sizeof record->text[0];
  nlsui_Utf8sToU2s_checked(record->text, text, kUnits, kSource, line, function, "result",
                           limit_name);
  return record->text;
}

}  // namespace

ZUL_UTF16 *getcwdU16(ZUL_UTF16 *buffer, size_t size) noexcept {
  if (buffer != nullptr && size == 0) {
    errno = EINVAL;
    return nullptr;
  }
  char path[MAX_PATH_LN];
  if (getcwd(path, sizeof path) == nullptr) return nullptr;
  ZUL_UTF16 converted[MAX_PATH_LN];
  U16_RESULT(converted, path, MAX_PATH_LN, "getcwdU16", "buf");
  size_t units = strlenU16(converted) + 1;
  if (size != 0 && units > size) {
    errno = ERANGE;
    return nullptr;
  }
  if (buffer == nullptr) {
    // As the C library does: a null buffer gets size units, or as many as needed for size 0.
    size_t bytes = (size != 0 ? size : units) * sizeof(ZUL_UTF16);
    buffer = static_cast<ZUL_UTF16 *>(std::malloc(bytes));
    if (buffer == nullptr) {
      nlsui_malloc_error("getcwdU16", kSource, __LINE__, bytes);
      return nullptr;
    }
  }
  std::memcpy(buffer, converted, units * sizeof(ZUL_UTF16));
  return buffer;
}

ZUL_UTF16 *ttynameU16(int fd) noexcept {
  char name[MAX_PATH_LN];
  int rc = ttyname_r(fd, name, sizeof name);
  if (rc != 0) {
    errno = rc;
    return nullptr;
  }
  return IntoRecord<PathRecord>(zulu16::ThreadSlot::kTtyname, name, "MAX_PATH_LN", "ttynameU16",
                                __LINE__);
}

ZUL_UTF16 *strerrorU16(int errnum) noexcept {
  int saved = errno;
  char text[MAX_ERROR_LN];
  const char *message = strerror_r(errnum, text, sizeof text);
  ZUL_UTF16 *result = IntoRecord<ErrorRecord>(zulu16::ThreadSlot::kStrerror, message,
                                              "MAX_ERROR_LN", "strerrorU16", __LINE__);
  errno = saved;
  return result;
}

void perrorU16(const ZUL_UTF16 *cstring) noexcept {
  // The conversion may set errno itself; the message is about the caller's errno.
  int saved = errno;
  U16_ARG(prefix, MAX_ERROR_LN, cstring, "perrorU16", "cstring");
  errno = saved;
  perror(prefix.get());
}

ZUL_UTF16 *basenameU16(const ZUL_UTF16 *cpath) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "basenameU16", "cpath");
  return IntoRecord<PathRecord>(zulu16::ThreadSlot::kBasename, basename(path.data()), "MAX_PATH_LN",
                                "basenameU16", __LINE__);
}

ZUL_UTF16 *dirnameU16(const ZUL_UTF16 *cpath) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "dirnameU16", "cpath");
  return IntoRecord<PathRecord>(zulu16::ThreadSlot::kDirname, dirname(path.data()), "MAX_PATH_LN",
                                "dirnameU16", __LINE__);
}

int gethostnameU16(ZUL_UTF16 *name, size_t size) noexcept {
  char host[MAX_HOSTNAME_LN];
  if (gethostname(host, sizeof host) != 0) return -1;
  if (size == 0) {
    errno = ENAMETOOLONG;
    return -1;
  }
  int rc = zulu16::ResultToBuffer(name, size, host, kSource, __LINE__, "gethostnameU16", "name",
                                  "MAX_HOSTNAME_LN");
  return rc == NLSUI_CONV_TOO_LONG ? -1 : 0;
}

ZUL_UTF16 *setlocaleU16(int category, const ZUL_UTF16 *clocale) noexcept {
  U16_ARG(locale, MAX_LOCALE_LN, clocale, "setlocaleU16", "clocale");
  return IntoRecord<LocaleRecord>(zulu16::ThreadSlot::kLocale, setlocale(category, locale.get()),
                                  "MAX_LOCALE_LN", "setlocaleU16", __LINE__);
}

ZUL_UTF16 *getpassU16(const ZUL_UTF16 *cprompt) noexcept {
  U16_ARG(prompt, MAX_PROMPT_LN, cprompt, "getpassU16", "cprompt");
  char *password = getpass(prompt.get());
  ZUL_UTF16 *result = IntoRecord<PasswordRecord>(zulu16::ThreadSlot::kGetpass, password,
                                                 "MAX_PASSWD_LN", "getpassU16", __LINE__);
  // The system's copy would outlive its use.
  if (password != nullptr) std::memset(password, 0, std::strlen(password));
  return result;
}

int unameU(struct utsnameU16 *buffer) noexcept {
  struct utsname names;
  int rc = uname(&names);
  if (rc != 0 || buffer == nullptr) return rc;
  struct Field {
    ZUL_UTF16 *to;
    const char *from;
    const char *name;
  };
  const Field fields[] = {{buffer->sysname, names.sysname, "sysname"},
                          {buffer->nodename, names.nodename, "nodename"},
                          {buffer->release, names.release, "release"},
                          {buffer->version, names.version, "version"},
                          {buffer->machine, names.machine, "machine"},
                          {buffer->domainname, names.domainname, "domainname"}};
  for (const Field &f : fields) {
    zulu16::ResultToBuffer(f.to, ZUL_UTSNAME_LN, f.from, kSource, __LINE__, "unameU", f.name,
                           "ZUL_UTSNAME_LN");
  }
  return 0;
}

int rexecU16(ZUL_UTF16 **ahost, int port, const ZUL_UTF16 *cname, const ZUL_UTF16 *cpass,
             const ZUL_UTF16 *ccmd, int *fd2p) noexcept {
  U16_ARG(host, MAX_HOSTNAME_LN, ahost != nullptr ? *ahost : nullptr, "rexecU16", "ahost");
  U16_ARG(name, MAX_PWNAME_LN, cname, "rexecU16", "cname");
  U16_ARG(pass, MAX_PWPASSWD_LN, cpass, "rexecU16", "cpass");
  U16_ARG(command, MAX_COMMAND_LN, ccmd, "rexecU16", "ccmd");
  char *host_name = host.data();
  int fd = rexec(ahost != nullptr ? &host_name : nullptr, port, name.get(), pass.get(),
                 command.get(), fd2p);
  if (fd >= 0 && ahost != nullptr && host_name != nullptr) {
    ZUL_UTF16 *official = IntoRecord<HostRecord>(zulu16::ThreadSlot::kRexecHost, host_name,
                                                 "MAX_HOSTNAME_LN", "rexecU16", __LINE__);
    if (official != nullptr) *ahost = official;
  }
  return fd;
}
