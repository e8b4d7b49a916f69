// Lookups of users, groups, services and hosts. Each runs the system's reentrant form and copies
// the answer, converted, into the calling thread's record of its kind, so that the 16-bit answer
// lives as the system's static one would, but per thread.
#include <grp.h>
#include <netdb.h>
#include <pwd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "i18n/zulu16/u16_sys.h"

namespace {

constexpr char kSource[] = "u16_sys_lookup";

// Room for one address of any family the resolver answers (IPv6 is the largest).
constexpr size_t kAddressBytes = 16;

struct PasswdRecord {
  struct passwdU16 entry;
  ZUL_UTF16 pw_name_buf[MAX_PWNAME_LN];
  ZUL_UTF16 pw_passwd_buf[MAX_PWPASSWD_LN];
  ZUL_UTF16 pw_gecos_buf[MAX_PWGECOS_LN];
  ZUL_UTF16 pw_dir_buf[MAX_PWDIR_LN];
  ZUL_UTF16 pw_shell_buf[MAX_PWSHELL_LN];
};

struct GroupRecord {
  struct groupU16 entry;
  ZUL_UTF16 gr_name_buf[MAX_GRNAME_LN];
  ZUL_UTF16 gr_passwd_buf[MAX_GRPASSWD_LN];
  ZUL_UTF16 *gr_mem[MAX_GRMEMBERS + 1];
  ZUL_UTF16 gr_mem_buf[MAX_GRMEMBERS * MAX_GRMEM_LN];
};

struct ServentRecord {
  struct serventU16 entry;
  ZUL_UTF16 s_name_buf[MAX_SERVNAME_LN];
  ZUL_UTF16 s_proto_buf[MAX_SERVPROTONAME_LN];
  ZUL_UTF16 *s_aliases[MAX_ALIASES + 1];
  ZUL_UTF16 s_aliases_buf[MAX_ALIASES * MAX_SERVNAME_LN];
};

struct HostentRecord {
  struct hostentU16 entry;
  ZUL_UTF16 h_name_buf[MAX_HOSTNAME_LN];
  ZUL_UTF16 *h_aliases[MAX_ALIASES + 1];
  ZUL_UTF16 h_aliases_buf[MAX_ALIASES * MAX_HOSTNAME_LN];
  char *h_addr_list[MAX_ADDRESSES + 1];
  char h_addr_buf[MAX_ADDRESSES * kAddressBytes];
};

// Scratch memory of the reentrant lookups: on the stack, grown on the heap when the system asks
// for more (ERANGE).
class LookupBuffer {
 public:
  LookupBuffer() = default;
  LookupBuffer(const LookupBuffer &) = delete;
  LookupBuffer &operator=(const LookupBuffer &) = delete;
  ~LookupBuffer() { std::free(heap_); }

  char *data() { return heap_ != nullptr ? heap_ : stack_; }
  size_t size() const { return size_; }

  // Runs call(data, size) until it answers something other than ERANGE or memory runs out.
  template <class Call>
  int Run(const char *function, Call call) {
    for (;;) {
      int rc = call(data(), size());
      if (rc != ERANGE) return rc;
      if (size_ >= kMaxBytes) return rc;
      void *grown = std::realloc(heap_, size_ * 2);
      if (grown == nullptr) {
        nlsui_malloc_error(function, kSource, __LINE__, size_ * 2);
        return ENOMEM;
      }
      heap_ = static_cast<char *>(grown);
      size_ *= 2;
    }
  }

 private:
  static constexpr size_t kMaxBytes = 1 << 20;
  char stack_[4096];
  char *heap_ = nullptr;
  size_t size_ = sizeof stack_;
};

// Names one converted field: its limit and its name in the reports.
struct FieldLimit {
  size_t units;
  const char *limit_name;
  const char *parameter;
};

void Convert(ZUL_UTF16 *to, const char *from, const FieldLimit &limit, const char *function) {
  nlsui_Utf8sToU2s_checked(to, from, limit.units, kSource, __LINE__, function, limit.parameter,
                           limit.limit_name);
}

// Converts the null-terminated list from into buffer, entries of limit.units units each, and
// points to[] at them, ending with null. Lists of more than max entries are cut and reported
// with count_name.
void ConvertList(char *const *from, ZUL_UTF16 **to, ZUL_UTF16 *buffer, size_t max,
                 const char *count_name, const FieldLimit &limit, const char *function) {
  size_t i = 0;
  for (; from != nullptr && from[i] != nullptr && i < max; ++i) {
    to[i] = &buffer[i * limit.units];
    Convert(to[i], from[i], limit, function);
  }
  to[i] = nullptr;
  if (from != nullptr && from[i] != nullptr) {
    nlsui_array_short(count_name, function, limit.parameter, kSource, __LINE__);
  }
}

struct passwdU16 *FillPasswd(const struct passwd *from, const char *function) {
  auto *r = zulu16::ThreadRecordOf<PasswdRecord>(zulu16::ThreadSlot::kPasswd, function);
  if (r == nullptr) return nullptr;
  Convert(r->pw_name_buf, from->pw_name, {MAX_PWNAME_LN, "MAX_PWNAME_LN", "pw_name"}, function);
  Convert(r->pw_passwd_buf, from->pw_passwd, {MAX_PWPASSWD_LN, "MAX_PWPASSWD_LN", "pw_passwd"},
          function);
  Convert(r->pw_gecos_buf, from->pw_gecos, {MAX_PWGECOS_LN, "MAX_PWGECOS_LN", "pw_gecos"},
          function);
  Convert(r->pw_dir_buf, from->pw_dir, {MAX_PWDIR_LN, "MAX_PWDIR_LN", "pw_dir"}, function);
  Convert(r->pw_shell_buf, from->pw_shell, {MAX_PWSHELL_LN, "MAX_PWSHELL_LN", "pw_shell"},
          function);
  r->entry = passwdU16{r->pw_name_buf,  r->pw_passwd_buf, from->pw_uid,   from->pw_gid,
                       r->pw_gecos_buf, r->pw_dir_buf,    r->pw_shell_buf};
  return &r->entry;
}

struct groupU16 *FillGroup(const struct group *from, const char *function) {
  auto *r = zulu16::ThreadRecordOf<GroupRecord>(zulu16::ThreadSlot::kGroup, function);
  if (r == nullptr) return nullptr;
  Convert(r->gr_name_buf, from->gr_name, {MAX_GRNAME_LN, "MAX_GRNAME_LN", "gr_name"}, function);
  Convert(r->gr_passwd_buf, from->gr_passwd, {MAX_GRPASSWD_LN, "MAX_GRPASSWD_LN", "gr_passwd"},
          function);
  ConvertList(from->gr_mem, r->gr_mem, r->gr_mem_buf, MAX_GRMEMBERS, "MAX_GRMEMBERS",
              {MAX_GRMEM_LN, "MAX_GRMEM_LN", "gr_mem"}, function);
  r->entry = groupU16{r->gr_name_buf, r->gr_passwd_buf, from->gr_gid, r->gr_mem};
  return &r->entry;
}

struct serventU16 *FillServent(const struct servent *from, const char *function) {
  auto *r = zulu16::ThreadRecordOf<ServentRecord>(zulu16::ThreadSlot::kServent, function);
  if (r == nullptr) return nullptr;
  const FieldLimit name{MAX_SERVNAME_LN, "MAX_SERVNAME_LN", "s_name"};
  Convert(r->s_name_buf, from->s_name, name, function);
  Convert(r->s_proto_buf, from->s_proto, {MAX_SERVPROTONAME_LN, "MAX_SERVPROTONAME_LN", "s_proto"},
          function);
  ConvertList(from->s_aliases, r->s_aliases, r->s_aliases_buf, MAX_ALIASES, "MAX_ALIASES",
              {MAX_SERVNAME_LN, "MAX_SERVNAME_LN", "s_aliases"}, function);
  r->entry = serventU16{r->s_name_buf, r->s_aliases, from->s_port, r->s_proto_buf};
  return &r->entry;
}

struct hostentU16 *FillHostent(const struct hostent *from, const char *function) {
  auto *r = zulu16::ThreadRecordOf<HostentRecord>(zulu16::ThreadSlot::kHostent, function);
  if (r == nullptr) return nullptr;
  Convert(r->h_name_buf, from->h_name, {MAX_HOSTNAME_LN, "MAX_HOSTNAME_LN", "h_name"}, function);
  ConvertList(from->h_aliases, r->h_aliases, r->h_aliases_buf, MAX_ALIASES, "MAX_ALIASES",
              {MAX_HOSTNAME_LN, "MAX_HOSTNAME_LN", "h_aliases"}, function);
  size_t length = from->h_length > 0 ? static_cast<size_t>(from->h_length) : 0;
  if (length > kAddressBytes) length = kAddressBytes;
  size_t i = 0;
  for (; from->h_addr_list != nullptr && from->h_addr_list[i] != nullptr && i < MAX_ADDRESSES;
       ++i) {
    r->h_addr_list[i] = &r->h_addr_buf[i * kAddressBytes];
    std::memcpy(r->h_addr_list[i], from->h_addr_list[i], length);
  }
  r->h_addr_list[i] = nullptr;
  if (from->h_addr_list != nullptr && from->h_addr_list[i] != nullptr) {
    nlsui_array_short("MAX_ADDRESSES", function, "h_addr_list", kSource, __LINE__);
  }
  r->entry = hostentU16{r->h_name_buf, r->h_aliases, from->h_addrtype, static_cast<int>(length),
                        r->h_addr_list};
  return &r->entry;
}

// The answer of a lookup: the record that fill makes of found, or null with errno set from a
// system error rc (none means not found).
template <class Entry, class Record>
Record *Answer(int rc, const Entry *found, const char *function,
               Record *(*fill)(const Entry *, const char *)) {
  if (found == nullptr) {
    if (rc != 0) errno = rc;
    return nullptr;
  }
  return fill(found, function);
}

// Answers of the host lookups: the record, or null with h_errno (and errno for a system error).
struct hostentU16 *HostAnswer(int rc, const struct hostent *found, int herr, const char *function) {
  if (found == nullptr) h_errno = herr;
  return Answer(rc, found, function, FillHostent);
}

}  // namespace

struct passwdU16 *getpwuidU16(uid_t uid) noexcept {
  LookupBuffer buffer;
  struct passwd entry;
  struct passwd *found = nullptr;
  int rc = buffer.Run("getpwuidU16", [&](char *data, size_t size) {
    return getpwuid_r(uid, &entry, data, size, &found);
  });
  return Answer(rc, found, "getpwuidU16", FillPasswd);
}

struct passwdU16 *getpwnamU16(const ZUL_UTF16 *cname) noexcept {
  U16_ARG(name, MAX_PWNAME_LN, cname, "getpwnamU16", "cname");
  LookupBuffer buffer;
  struct passwd entry;
  struct passwd *found = nullptr;
  int rc = buffer.Run("getpwnamU16", [&](char *data, size_t size) {
    return getpwnam_r(name.get(), &entry, data, size, &found);
  });
  return Answer(rc, found, "getpwnamU16", FillPasswd);
}

struct groupU16 *getgrgidU16(gid_t gid) noexcept {
  LookupBuffer buffer;
  struct group entry;
  struct group *found = nullptr;
  int rc = buffer.Run("getgrgidU16", [&](char *data, size_t size) {
    return getgrgid_r(gid, &entry, data, size, &found);
  });
  return Answer(rc, found, "getgrgidU16", FillGroup);
}

struct serventU16 *getservbyportU16(int port, const ZUL_UTF16 *cproto) noexcept {
  U16_ARG(proto, MAX_SERVPROTONAME_LN, cproto, "getservbyportU16", "cproto");
  LookupBuffer buffer;
  struct servent entry;
  struct servent *found = nullptr;
  int rc = buffer.Run("getservbyportU16", [&](char *data, size_t size) {
    return getservbyport_r(port, proto.get(), &entry, data, size, &found);
  });
  return Answer(rc, found, "getservbyportU16", FillServent);
}

struct serventU16 *getservbynameU16(const ZUL_UTF16 *cname, const ZUL_UTF16 *cproto) noexcept {
  U16_ARG(name, MAX_SERVNAME_LN, cname, "getservbynameU16", "cname");
  U16_ARG(proto, MAX_SERVPROTONAME_LN, cproto, "getservbynameU16", "cproto");
  LookupBuffer buffer;
  struct servent entry;
  struct servent *found = nullptr;
  int rc = buffer.Run("getservbynameU16", [&](char *data, size_t size) {
    return getservbyname_r(name.get(), proto.get(), &entry, data, size, &found);
  });
  return Answer(rc, found, "getservbynameU16", FillServent);
}

struct hostentU16 *gethostentU16(void) noexcept {
  LookupBuffer buffer;
  struct hostent entry;
  struct hostent *found = nullptr;
  int herr = 0;
  int rc = buffer.Run("gethostentU16", [&](char *data, size_t size) {
    return gethostent_r(&entry, data, size, &found, &herr);
  });
  return HostAnswer(rc, found, herr, "gethostentU16");
}

struct hostentU16 *gethostbynameU16(const ZUL_UTF16 *cname) noexcept {
  U16_ARG(name, MAX_HOSTNAME_LN, cname, "gethostbynameU16", "cname");
  LookupBuffer buffer;
  struct hostent entry;
  struct hostent *found = nullptr;
  int herr = 0;
  int rc = buffer.Run("gethostbynameU16", [&](char *data, size_t size) {
    return gethostbyname_r(name.get(), &entry, data, size, &found, &herr);
  });
  return HostAnswer(rc, found, herr, "gethostbynameU16");
}

struct hostentU16 *gethostbyaddrU16(const void *addr, socklen_t len, int type) noexcept {
  LookupBuffer buffer;
  struct hostent entry;
  struct hostent *found = nullptr;
  int herr = 0;
  int rc = buffer.Run("gethostbyaddrU16", [&](char *data, size_t size) {
    return gethostbyaddr_r(addr, len, type, &entry, data, size, &found, &herr);
  });
  return HostAnswer(rc, found, herr, "gethostbyaddrU16");
}
