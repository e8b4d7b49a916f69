#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/utsname.h>
#include <sys/wait.h>

#include <cerrno>
#include <ctime>
#include <thread>

#include "u16_sys_test_util.h"
#include "zul_u16sys.h"

namespace {

using u16systest::Utf8;
using u16test::W;

TEST(ResultWrappers, ErrorAndTimeTextsMatchTheSystem) {
  errno = EAGAIN;
  ZUL_UTF16 *text = strerrorU16(ENOENT);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(Utf8(text), strerror(ENOENT));
  EXPECT_EQ(errno, EAGAIN);

  time_t clock = 1700000000;
  char expected[64];
  ASSERT_NE(ctime_r(&clock, expected), nullptr);
  ZUL_UTF16 buffer[26];
  ASSERT_EQ(ctime_rU16(&clock, buffer), buffer);
  EXPECT_EQ(Utf8(buffer), expected);  // 25 units and the terminator fill the caller's 26
  EXPECT_EQ(Utf8(ctimeU16(&clock)), expected);

  struct tm tm = {};
  tm.tm_year = 124;
  tm.tm_mday = 2;
  ASSERT_NE(asctime_r(&tm, expected), nullptr);
  EXPECT_EQ(Utf8(asctimeU16(&tm)), expected);

  // strftime answers 0 when the result and its terminator don't fit.
  ZUL_UTF16 out[32];
  const ZUL_UTF16 *format = u"%Y-%m-%d \u20ac";
  EXPECT_EQ(strftimeU16(out, 13, format, &tm), 12u);
  EXPECT_EQ(std::u16string(out), u"2024-01-02 \u20ac");
  u16test::TraceCapture quiet(0);
  EXPECT_EQ(strftimeU16(out, 12, format, &tm), 0u);
}

TEST(ResultWrappers, BasenameAndDirnameFollowTheSystem) {
  struct Case {
    const char16_t *path;
    std::u16string base;
    std::u16string dir;
  };
  const Case cases[] = {
      {u"/usr/lib/", u"lib", u"/usr"}, {u"\u00e4/\u00f6\u20ac", u"\u00f6\u20ac", u"\u00e4"},
      {u"datei", u"datei", u"."},      {u"/", u"/", u"/"},
      {nullptr, u".", u"."},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(std::u16string(basenameU16(c.path)), c.base);
    EXPECT_EQ(std::u16string(dirnameU16(c.path)), c.dir);
  }
}

TEST(ResultWrappers, SystemAndHostNames) {
  struct utsname names;
  ASSERT_EQ(uname(&names), 0);
  struct utsnameU16 wide;
  ASSERT_EQ(unameU(&wide), 0);
  EXPECT_EQ(Utf8(wide.sysname), names.sysname);
  EXPECT_EQ(Utf8(wide.machine), names.machine);
  EXPECT_EQ(Utf8(wide.nodename), names.nodename);

  char host[256];
  ASSERT_EQ(gethostname(host, sizeof host), 0);
  ZUL_UTF16 name[256];
  EXPECT_EQ(gethostnameU16(name, 256), 0);
  EXPECT_EQ(Utf8(name), host);
  u16test::TraceCapture quiet(0);
  errno = 0;
  EXPECT_EQ(gethostnameU16(name, strlen(host)), -1);
  EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST(DlWrappers, LoadFindAndExplainFailures) {
  void *libc = dlopenU16(u"libc.so.6", RTLD_NOW);
  ASSERT_NE(libc, nullptr);
  EXPECT_EQ(dlsymU16(libc, u"strlen"), dlsym(libc, "strlen"));
  dlclose(libc);
  EXPECT_EQ(dlopenU16(u"/nonexistent/\u00e4.so", RTLD_NOW), nullptr);
  ZUL_UTF16 *why = dlerrorU16();
  ASSERT_NE(why, nullptr);
  EXPECT_NE(std::u16string(why).find(u"/nonexistent/\u00e4.so"), std::u16string::npos);
  EXPECT_EQ(dlerrorU16(), nullptr);
}

TEST(Lookups, PasswdRecordIsPerThreadAndMatchesTheSystem) {
  struct passwd entry;
  struct passwd *found = nullptr;
  char buffer[4096];
  ASSERT_EQ(getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found), 0);
  ASSERT_NE(found, nullptr);
  struct passwdU16 *mine = getpwuidU16(getuid());
  ASSERT_NE(mine, nullptr);
  EXPECT_EQ(Utf8(mine->pw_dir), entry.pw_dir);

  struct passwdU16 *other = nullptr;
  std::thread([&] { other = getpwnamU16(W(entry.pw_name).c_str()); }).join();
  EXPECT_NE(other, nullptr);
  EXPECT_NE(other, mine);
  EXPECT_EQ(Utf8(mine->pw_name), entry.pw_name);
}

TEST(Lookups, GroupServiceAndHostRecords) {
  struct groupU16 *group = getgrgidU16(getgid());
  EXPECT_TRUE(group == nullptr || (group->gr_gid == getgid() && group->gr_mem != nullptr));
  if (struct servent *service = getservbyname("ssh", "tcp")) {
    struct serventU16 *wide = getservbynameU16(u"ssh", u"tcp");
    ASSERT_NE(wide, nullptr);
    EXPECT_EQ(wide->s_port, service->s_port);
    EXPECT_EQ(std::u16string(wide->s_proto), u"tcp");
    EXPECT_EQ(getservbyportU16(service->s_port, u"tcp")->s_port, service->s_port);
  }
  struct hostentU16 *host = gethostbynameU16(u"localhost");
  if (host == nullptr) GTEST_SKIP() << "no localhost entry";
  ASSERT_NE(host->h_addr_list[0], nullptr);
  if (host->h_addrtype == AF_INET) {
    in_addr_t loopback = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(std::memcmp(host->h_addr_list[0], &loopback, 4), 0);
  }
  EXPECT_NE(gethostbyaddrU16(host->h_addr_list[0], host->h_length, host->h_addrtype), nullptr);
}

// Runs body in a child process; answers its exit status, or -1.
template <class Body>
int InChild(Body body) {
  pid_t pid = fork();
  if (pid == 0) {
    body();
    _exit(99);
  }
  int status = 0;
  if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

TEST(ExecWrappers, ArgumentsAndEnvironmentArriveAsUtf8) {
  EXPECT_EQ(InChild([] {
              execlU16(u"/bin/sh", u"sh", u"-c", u"[ \"$1\" = \"\u00e4\u20ac\" ] && exit 7", u"sh",
                       u"\u00e4\u20ac", nullptr);
            }),
            7);
  EXPECT_EQ(InChild([] {
              ZUL_UTF16 *const envp[] = {const_cast<ZUL_UTF16 *>(u"WERT=\u00df"), nullptr};
              execleU16(u"/bin/sh", u"sh", u"-c", u"[ \"$WERT\" = \"\u00df\" ] && exit 8", nullptr,
                        envp);
            }),
            8);
  EXPECT_EQ(
      InChild([] {
        std::u16string words[] = {u"sh", u"-c", u"exit 9"};
        ZUL_UTF16 *const argv[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
        execvpU16(u"sh", argv);
      }),
      9);
  EXPECT_EQ(WEXITSTATUS(systemU16(u"[ \"\u00e4\" = \"$(printf '\\303\\244')\" ] && exit 3")), 3);

  FILE *pipe = popenU16(u"printf 'Gr\u00fc\u00dfe'", u"r");
  ASSERT_NE(pipe, nullptr);
  char bytes[16] = {};
  EXPECT_EQ(fread(bytes, 1, sizeof bytes, pipe), 7u);
  EXPECT_STREQ(bytes,
               "Gr\xc3\xbc\xc3\x9f"
               "e");
  pclose(pipe);
}

TEST(ZulLocale, StreamsOfZulUtf16FormatAndParseNumbers) {
  ZulGlobalLocaleInit();
  std::locale once;
  ZulStdStreamInit();
  ZulGlobalLocaleInit();
  EXPECT_TRUE(std::locale() == once);  // idempotent: the global locale stays

  std::basic_stringstream<char16_t> stream;
  stream << 42 << u' ' << -1234567 << u' ' << 2.5;
  EXPECT_EQ(stream.str(), u"42 -1234567 2.5");
  int a = 0;
  int b = 0;
  double d = 0;
  stream >> a >> b >> d;
  EXPECT_FALSE(stream.fail());
  EXPECT_EQ(a, 42);
  EXPECT_EQ(b, -1234567);
  EXPECT_EQ(d, 2.5);
}

}  // namespace
