// Wrappers of the system calls on 16-bit text: paths and files, standard input and its error
// reports, and results converted from the system's UTF-8.
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <pwd.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <sys/wait.h>

#include <cerrno>
#include <ctime>

#include "i18n/zulu16/u16_stdin.h"
#include "trace_capture.h"
#include "u16_string_test_support.h"
#include "zul_u16scanf.h"
#include "zul_u16stdio.h"
#include "zul_u16sys.h"

namespace {

using tlm_test::Utf8;
using u16test::StartsWith;
using u16test::TraceCapture;
using u16test::W;

// A directory removed with its contents at the end of the scope; its own path is ASCII.
class TempDir : public tlm_test::TempDir {
 public:
  std::u16string U16(const std::u16string &name) const { return W(path() + "/") + name; }
};

bool Exists(const std::string &path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

bool AnyMessageHas(const TraceCapture &trace, const std::u16string &text) {
  for (const auto &m : trace.Messages())
    if (m.find(text) != std::u16string::npos) return true;
  return false;
}

// An unnamed temporary file of the given bytes, open for reading and writing from its start.
using File = std::unique_ptr<FILE, int (*)(FILE *)>;
File Input(const std::string &bytes) {
  File f(tmpfile(), fclose);
  if (f != nullptr && fwrite(bytes.data(), 1, bytes.size(), f.get()) == bytes.size())
    rewind(f.get());
  return f;
}

// The rest of a stream's bytes, read from its start.
std::string Contents(FILE *f) {
  std::string out;
  rewind(f);
  for (int c; (c = std::fgetc(f)) != EOF;) out += static_cast<char>(c);
  return out;
}

TEST(NlsuiChecked, ConversionsCutAtCharactersAndReport) {
  // Buffer of 8 bytes: 7 bytes of text and the terminator.
  const std::tuple<std::u16string, std::string, int> cases[] = {
      {u"", "", NLSUI_CONV_OK},
      {u"abcdef", "abcdef", NLSUI_CONV_OK},
      {u"abcdefg", "abcdefg", NLSUI_CONV_TOO_LONG},  // fills the buffer
      {u"abcde\u00e9", "abcde\xc3\xa9", NLSUI_CONV_TOO_LONG},
      {u"abcde\u20ac", "abcde", NLSUI_CONV_TOO_LONG},  // the 3-byte unit would pass the end
      {u"ab\u20ac", "ab\xe2\x82\xac", NLSUI_CONV_OK},
      // The halves of a pair convert on their own.
      {u"a\xd83d\xde00", "a\xed\xa0\xbd\xed\xb8\x80", NLSUI_CONV_TOO_LONG}};
  for (const auto &[in, expected, rc] : cases) {
    SCOPED_TRACE(Utf8(in));
    TraceCapture trace(1);
    char out[8];
    errno = 0;
    EXPECT_EQ(nlsui_U2sToUtf8s_checked(out, in.c_str(), sizeof out, "s", 1, "f", "p", "L"), rc);
    EXPECT_EQ(
        std::make_tuple(std::string(out), errno, trace.Messages().empty()),
        std::make_tuple(expected, rc == NLSUI_CONV_OK ? 0 : ENAMETOOLONG, rc == NLSUI_CONV_OK));
  }

  // Invalid UTF-8 is reported only when tracing; a full buffer is too long.
  ZUL_UTF16 out[16];
  for (int level : {0, 1}) {
    TraceCapture trace(level);
    EXPECT_EQ(nlsui_Utf8sToU2s_checked(out, "ab\xe2(", 16, "src", 1, "readdirU16", "d_name",
                                       "MAX_FILENAME_LN"),
              NLSUI_CONV_INVALID);
    EXPECT_EQ(std::u16string(out), u"ab");
    EXPECT_EQ(AnyMessageHas(trace, u"readdirU16 encountered invalid UTF-8"), level != 0);
  }
  // An odd address cast to 16-bit units is reported.
  alignas(2) char bytes[4] = {};
  TraceCapture trace(0);
  EXPECT_EQ(nlsui_Utf8sToU2s_checked(out, "\xc3\xa9t\xc3\xa9", 4, "src", 1, "f", "p", "L"),
            NLSUI_CONV_TOO_LONG);  // three units fill four
  EXPECT_EQ(std::u16string(out), u"\u00e9t\u00e9");
  trace.Clear();
  EXPECT_EQ(nlsui_cast_raw2uc(bytes, "file.c", 7), reinterpret_cast<ZUL_UTF16 *>(bytes));
  EXPECT_TRUE(trace.Messages().empty());
  nlsui_cast_raw2uc(bytes + 1, "file.c", 7);
  ASSERT_EQ(trace.Messages().size(), 1u);
  EXPECT_TRUE(StartsWith(trace.Messages()[0],
                         "ERROR: Casting an odd adress to ZUL_UTF16* in file file.c, line 7\n"));
}

// A path of 4097 bytes whose last character doesn't fit: the system gets the 4094 bytes before
// it, creates that directory, and errno still tells that the argument was cut.
TEST(MkdirU16, OverlongPathRunsOnTheCutPathWithENAMETOOLONG) {
  TempDir dir;
  std::string prefix = dir.path() + "/", filler;
  while (prefix.size() + filler.size() + 7 < 4094) filler += "./";
  std::string name(4094 - prefix.size() - filler.size(), 'd');
  std::u16string path = W(prefix + filler + name) + u"\u20ac";
  ASSERT_EQ(Utf8(path).size(), 4097u);
  TraceCapture trace(1);
  errno = 0;
  EXPECT_EQ(mkdirU16(path.c_str(), 0700), 0);
  EXPECT_EQ(errno, ENAMETOOLONG);
  EXPECT_TRUE(Exists(prefix + name));
  EXPECT_TRUE(AnyMessageHas(trace, u"MAX_PATH_LN") && AnyMessageHas(trace, u"mkdirU16"));
}

std::vector<std::u16string> ListDir(const std::u16string &dir) {
  std::vector<std::u16string> names;
  DIR *d = opendirU16(dir.c_str());
  while (struct direntU16 *e = d != nullptr ? readdirU16(d) : nullptr) {
    std::u16string name = e->d_name;
    if (name != u"." && name != u"..") names.push_back(name);
  }
  if (d != nullptr) closedir(d);
  return names;
}

TEST(PathWrappers, NonAsciiNamesRoundTripAndOpenersLogAtLevel16) {
  TempDir dir;
  const std::u16string first = u"Gr\u00fc\u00dfe \u20ac \u65e5\u672c.txt";
  const std::u16string second = u"\u00dcbersicht_\u0416.txt", link = dir.U16(u"\u2192link");
  for (int level : {15, 16}) {
    TraceCapture trace(level);
    FILE *f = fopenU16(dir.U16(first).c_str(), u"w");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(fputsU16(u"Inhalt \u00e4", f), 1);
    EXPECT_EQ(AnyMessageHas(trace, u"fopenU16: opened \"" + dir.U16(first) +
                                       u"\" as file descriptor " + W(std::to_string(fileno(f)))),
              level == 16);
    fclose(f);
  }
  EXPECT_EQ(Contents(File(fopen(dir.File(Utf8(first)).c_str(), "r"), fclose).get()),
            "Inhalt \xc3\xa4");
  EXPECT_EQ(ListDir(W(dir.path())), std::vector<std::u16string>{first});

  EXPECT_EQ(renameU16(dir.U16(first).c_str(), dir.U16(second).c_str()), 0);
  EXPECT_NE(accessU16(dir.U16(first).c_str(), F_OK), 0);
  EXPECT_EQ(accessU16(dir.U16(second).c_str(), R_OK), 0);
  int fd = openU16(dir.U16(second).c_str(), O_RDONLY);
  char bytes[16] = {};
  EXPECT_EQ(read(fd, bytes, sizeof bytes), 9);
  close(fd);
  EXPECT_EQ(symlinkU16(second.c_str(), link.c_str()), 0);
  ZUL_UTF16 target[64];
  ssize_t n = readlinkU16(link.c_str(), target, 64);
  EXPECT_EQ(std::u16string(target, n > 0 ? n : 0), second);
  EXPECT_EQ(unlinkU16(link.c_str()), 0);
  EXPECT_EQ(unlinkU16(dir.U16(second).c_str()), 0);
  EXPECT_TRUE(ListDir(W(dir.path())).empty());
  // A null path reaches the system, and its error comes back.
  errno = 0;
  EXPECT_EQ(removeU16(nullptr), -1);
  EXPECT_EQ(errno, EFAULT);

  // Temporary file templates with non-ASCII parts are filled in place.
  std::u16string plain = dir.U16(u"\u00fc_XXXXXX"), suffixed = dir.U16(u"s_XXXXXX.\u20ac");
  for (std::u16string *pattern : {&plain, &suffixed}) {
    fd = pattern == &plain ? mkstempU16(plain.data()) : ZUL_mkstemps(suffixed.data(), 2);
    ASSERT_GE(fd, 0);
    close(fd);
    EXPECT_EQ(pattern->find(u"XXXXXX"), std::u16string::npos);
    EXPECT_TRUE(Exists(Utf8(*pattern)));
  }
  EXPECT_EQ(suffixed.substr(suffixed.size() - 2), u".\u20ac");
}

// Standard input reads the given bytes for the life of the object.
class StdinFrom {
 public:
  explicit StdinFrom(const std::string &bytes) : file_(Input(bytes)), saved_(dup(0)) {
    if (file_ != nullptr) dup2(fileno(file_.get()), 0);
    __fpurge(stdin);
    clearerr(stdin);
  }
  ~StdinFrom() {
    dup2(saved_, 0);
    close(saved_);
    __fpurge(stdin);
    clearerr(stdin);
  }

 private:
  File file_;
  int saved_;
};

TEST(GetcUnlockedU16Errno, DecodesAndStopsAtBytesThatCannotFollow) {
  struct Read {
    int value, error;
    std::vector<ZUL_RAW> raw;  // count and bytes, when error is EILSEQ
  };
  const struct {
    std::string bytes;
    std::vector<Read> reads;
  } cases[] = {
      {"\xf0\x9f\x98\x80", {{0x1F600, 0, {}}}},
      {"\xe2(", {{'#', EILSEQ, {1, 0xE2}}, {'(', 0, {}}}},
      {"\xf0\x9f(", {{'#', EILSEQ, {2, 0xF0, 0x9F}}, {'(', 0, {}}}},
      {"\x80x", {{'#', EILSEQ, {1, 0x80}}, {'x', 0, {}}}},
      {"\xff", {{'#', EILSEQ, {1, 0xFF}}}},
      {"\xe2\x82", {{EOF, 0, {}}}},  // the stream ends inside the character
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.bytes);
    File in = Input(c.bytes);
    for (const Read &expected : c.reads) {
      ZUL_RAW raw[U16_RAW_CHAR_SIZE] = {};
      int error = -1;
      errno = 0;
      EXPECT_EQ(getc_unlockedU16_errno(in.get(), raw, &error), expected.value);
      EXPECT_EQ(error, expected.error);
      if (expected.error == EILSEQ) {
        EXPECT_EQ(errno, EILSEQ);
        EXPECT_EQ(std::vector<ZUL_RAW>(raw, raw + 1 + raw[0]), expected.raw);
      }
    }
  }
}

// fgetcU16 answers U+FFFD above U+FFFF and '#' with EILSEQ for bytes that can't follow; freadU16
// answers whole elements; fwriteU16 writes a lone high surrogate as '#'.
TEST(StreamUnits, ReadAndWriteBeyondTheBasicPlane) {
  File in = Input("\xf0\x9f\x98\x80\xe2(");
  errno = 0;
  for (int expected : {0xFFFD, int{'#'}, int{'('}, EOF}) EXPECT_EQ(fgetcU16(in.get()), expected);
  EXPECT_EQ(errno, EILSEQ);
  File more = Input(
      "ab\xe2\x82\xac"
      "cde");
  ZUL_UTF16 units[8] = {};
  EXPECT_EQ(freadU16(units, 2, 4, more.get()), 3u);  // six units, the last element incomplete
  EXPECT_EQ(std::u16string(units, 6), u"ab\u20accde");
  File out = Input("");
  const ZUL_UTF16 written[] = {u'a', 0xD83D, u'\u00e9'};
  EXPECT_EQ(fwriteU16(written, 1, 3, out.get()), 3u);
  fflush(out.get());
  EXPECT_EQ(Contents(out.get()), "a#\xc3\xa9");
}

TEST(FgetsU16, ReadsThroughNewlineWithinTheLimit) {
  File in = Input("eins\nzw\xc3\xb6lf\n\xe2(x");
  ZUL_UTF16 line[8];
  for (auto [limit, text] : {std::pair{8, u"eins\n"}, {4, u"zw\u00f6"}, {8, u"lf\n"}}) {
    ASSERT_EQ(fgetsU16(line, limit, in.get()), line);
    EXPECT_EQ(std::u16string(line), text);
  }
  TraceCapture trace(1);
  zulu16::ResetFgetcErrorCount();
  ASSERT_EQ(fgetsU16(line, 8, in.get()), line);
  EXPECT_EQ(std::u16string(line), u"#(x");
  char text[64];
  snprintf(text, sizeof text, "Invalid UTF-8 encountered by fgetsU16 (fileno 0x%x)\n",
           fileno(in.get()));
  ASSERT_FALSE(trace.Messages().empty());
  EXPECT_TRUE(StartsWith(trace.Messages()[0], text));
  EXPECT_EQ(fgetsU16(line, 8, in.get()), nullptr);
}

TEST(FgetForms, LinesWordsAndNumbersInBothForms) {
  const std::string text = "  42 -7 x9 99999999999\nzweite Zeile \xe2\x82\xac\n";
  File wide = Input(text), raw = Input(text);
  int i = 0;
  long l = 0;
  EXPECT_EQ(fget_intU16(&i, wide.get()), 1);
  EXPECT_EQ(fget_longU16(&l, wide.get()), 1);
  EXPECT_EQ(std::make_tuple(i, l), std::make_tuple(42, -7L));
  EXPECT_EQ(fget_intU16(&i, wide.get()), 0);  // "x9"
  EXPECT_EQ(fget_intU16(&i, wide.get()), 0);  // beyond int
  EXPECT_EQ(i, 42);
  ZUL_UTF16 line[8];
  EXPECT_EQ(fget_lineU16(line, 8, wide.get()), 0);  // the rest of the first line
  EXPECT_EQ(fget_lineU16(line, 8, wide.get()), 7);  // "zweite ", the rest dropped
  EXPECT_EQ(std::u16string(line), u"zweite ");
  EXPECT_EQ(fget_lineU16(line, 8, wide.get()), EOF);

  char word[4];
  EXPECT_EQ(fget_intR(&i, raw.get()), 1);
  EXPECT_EQ(fget_longR(&l, raw.get()), 1);
  EXPECT_EQ(fget_strR(word, 4, raw.get()), 2);
  EXPECT_EQ(fget_longR(&l, raw.get()), 1);
  EXPECT_EQ(l, 99999999999L);
  EXPECT_STREQ(word, "x9");
  char bytes[32];
  EXPECT_EQ(fget_lineR(bytes, 32, raw.get()), 0);
  EXPECT_EQ(fget_lineR(bytes, 32, raw.get()), 16);
  EXPECT_STREQ(bytes, "zweite Zeile \xe2\x82\xac");
  EXPECT_EQ(fget_strR(bytes, 32, raw.get()), EOF);

  // The gets forms read standard input and refuse long lines.
  StdinFrom input("kurz\nviel zu lang\n\xc3\xa4\xc3\xb6\nletzte\n17 h\xc3\xa9");
  EXPECT_EQ(gets_sU16(line, 8), line);
  EXPECT_EQ(std::u16string(line), u"kurz");
  EXPECT_EQ(gets_sU16(line, 8), nullptr);
  EXPECT_EQ(line[0], 0);
  ZUL_UTF16 unbounded[32];
  EXPECT_EQ(getsU16(unbounded), unbounded);
  EXPECT_EQ(std::u16string(unbounded), u"\u00e4\u00f6");
  EXPECT_EQ(gets_sRFB(bytes, 8), bytes);
  EXPECT_STREQ(bytes, "letzte");
  // scanfU16 reads standard input too.
  EXPECT_EQ(scanfU16(u"%d %s", &i, unbounded), 2);
  EXPECT_EQ(std::make_tuple(i, std::u16string(unbounded)), std::make_tuple(17, u"h\u00e9"));
  EXPECT_EQ(gets_sRFB(bytes, 8), nullptr);
}

// The report limit of fgetcU16, with a clock that the test moves.
class FgetcErrorLimit : public ::testing::Test {
 protected:
  static int64_t Now() { return now_; }
  void SetUp() override {
    now_ = 1000;
    zulu16::SetFgetcErrorClock(&Now);
    zulu16::ResetFgetcErrorCount();
  }
  void TearDown() override {
    u16_set_fgetcU_error_parameters(100, 3600);
    zulu16::SetFgetcErrorClock(nullptr);
    zulu16::ResetFgetcErrorCount();
  }
  // Reads n invalid bytes with fgetcU16.
  static void ReadInvalid(int n) {
    File in = Input(std::string(static_cast<size_t>(n), '\xff'));
    for (int i = 0; i < n; ++i) ASSERT_EQ(fgetcU16(in.get()), '#');
  }
  static inline int64_t now_ = 0;
};

constexpr char kInvalid[] = "Invalid UTF-8 encountered by fgetcU16 (fileno 0x";
constexpr char kSilence[] =
    "Too many invalid UTF-8 in fgetcU16, no more error message will be "
    "written for %d seconds\n";
constexpr char kReset[] = "fgetcU16 error counter reset\n";

std::string Silence(int seconds) {
  char text[128];
  snprintf(text, sizeof text, kSilence, seconds);
  return text;
}

// The 101st error silences reports until the interval has passed. Without trace nothing is
// reported nor counted; negative parameters keep their value.
TEST_F(FgetcErrorLimit, SilenceAfterTheLimitForTheInterval) {
  {
    TraceCapture silent(0);
    ReadInvalid(150);
    EXPECT_TRUE(silent.Messages().empty());
  }
  TraceCapture trace(1);
  ReadInvalid(101);
  auto counts = [&](int seconds) {
    return std::make_tuple(trace.Count(kInvalid), trace.Count(Silence(seconds)),
                           trace.Count(kReset));
  };
  EXPECT_EQ(counts(3600), std::make_tuple(100, 1, 0));
  now_ += 3599;
  ReadInvalid(5);
  EXPECT_EQ(counts(3600), std::make_tuple(100, 1, 0));
  now_ += 1;
  ReadInvalid(1);
  EXPECT_EQ(counts(3600), std::make_tuple(101, 1, 1));

  u16_set_fgetcU_error_parameters(2, 10);
  u16_set_fgetcU_error_parameters(-1, -1);
  zulu16::ResetFgetcErrorCount();
  ReadInvalid(4);
  EXPECT_EQ(counts(10), std::make_tuple(103, 1, 1));
  now_ += 10;
  ReadInvalid(1);
  EXPECT_EQ(trace.Count(kReset), 2);
}

// Results of the system, converted from UTF-8: each against the system's own answer.
TEST(ResultWrappers, EqualTheSystemsAnswers) {
  char cwd[4096], host[256], ctime_text[64], asctime_text[64];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  ASSERT_EQ(gethostname(host, sizeof host), 0);
  time_t clock = 1700000000;
  struct tm tm = {};
  tm.tm_year = 124;
  tm.tm_mday = 2;
  ASSERT_NE(ctime_r(&clock, ctime_text), nullptr);
  ASSERT_NE(asctime_r(&tm, asctime_text), nullptr);
  struct utsname names;
  struct utsnameU16 wide;
  ASSERT_EQ(uname(&names), 0);
  ASSERT_EQ(unameU(&wide), 0);
  struct passwd entry, *found = nullptr;
  char buffer[4096];
  ASSERT_EQ(getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found), 0);
  ASSERT_NE(found, nullptr);
  struct passwdU16 *mine = getpwuidU16(getuid());
  ASSERT_NE(mine, nullptr);
  ZUL_UTF16 cwd16[4096], host16[256], ctime16[26];  // 25 units and the terminator fill 26
  ASSERT_EQ(getcwdU16(cwd16, 4096), cwd16);
  ASSERT_EQ(gethostnameU16(host16, 256), 0);
  ASSERT_EQ(ctime_rU16(&clock, ctime16), ctime16);
  ZUL_UTF16 *allocated = getcwdU16(nullptr, 0);
  ASSERT_NE(allocated, nullptr);
  errno = EAGAIN;
  const std::pair<std::u16string, std::string> pairs[] = {{cwd16, cwd},
                                                          {allocated, cwd},
                                                          {strerrorU16(ENOENT), strerror(ENOENT)},
                                                          {ctime16, ctime_text},
                                                          {ctimeU16(&clock), ctime_text},
                                                          {asctimeU16(&tm), asctime_text},
                                                          {wide.sysname, names.sysname},
                                                          {wide.machine, names.machine},
                                                          {wide.nodename, names.nodename},
                                                          {host16, host},
                                                          {mine->pw_dir, entry.pw_dir}};
  EXPECT_EQ(errno, EAGAIN);
  free(allocated);
  for (const auto &[ours, theirs] : pairs) EXPECT_EQ(Utf8(ours), theirs);

  // Short buffers are refused; strftime answers 0 when the result and its terminator don't fit.
  TraceCapture quiet(0);
  errno = 0;
  EXPECT_EQ(getcwdU16(cwd16, 2), nullptr);
  EXPECT_EQ(errno, ERANGE);
  EXPECT_EQ(gethostnameU16(host16, strlen(host)), -1);
  EXPECT_EQ(errno, ENAMETOOLONG);
  ZUL_UTF16 out[32];
  const ZUL_UTF16 *format = u"%Y-%m-%d \u20ac";
  EXPECT_EQ(strftimeU16(out, 13, format, &tm), 12u);
  EXPECT_EQ(std::u16string(out), u"2024-01-02 \u20ac");
  EXPECT_EQ(strftimeU16(out, 12, format, &tm), 0u);

  // The passwd record is per thread.
  struct passwdU16 *other = nullptr;
  std::thread([&] { other = getpwnamU16(W(entry.pw_name).c_str()); }).join();
  EXPECT_TRUE(other != nullptr && other != mine);
  EXPECT_EQ(Utf8(mine->pw_name), entry.pw_name);
}

TEST(ResultWrappers, BasenameAndDirnameFollowTheSystem) {
  const struct {
    const char16_t *path;
    std::u16string base, dir;
  } cases[] = {{u"/usr/lib/", u"lib", u"/usr"},
               {u"\u00e4/\u00f6\u20ac", u"\u00f6\u20ac", u"\u00e4"},
               {u"datei", u"datei", u"."},
               {u"/", u"/", u"/"},
               {nullptr, u".", u"."}};
  for (const auto &c : cases) {
    EXPECT_EQ(std::u16string(basenameU16(c.path)), c.base);
    EXPECT_EQ(std::u16string(dirnameU16(c.path)), c.dir);
  }
}

TEST(Lookups, LibrariesGroupsServicesAndHosts) {
  void *libc = dlopenU16(u"libc.so.6", RTLD_NOW);
  ASSERT_NE(libc, nullptr);
  EXPECT_EQ(dlsymU16(libc, u"strlen"), dlsym(libc, "strlen"));
  dlclose(libc);
  EXPECT_EQ(dlopenU16(u"/nonexistent/\u00e4.so", RTLD_NOW), nullptr);
  ZUL_UTF16 *why = dlerrorU16();
  ASSERT_NE(why, nullptr);
  EXPECT_NE(std::u16string(why).find(u"/nonexistent/\u00e4.so"), std::u16string::npos);
  EXPECT_EQ(dlerrorU16(), nullptr);

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
  int a = 0, b = 0;
  double d = 0;
  stream >> a >> b >> d;
  EXPECT_FALSE(stream.fail());
  EXPECT_EQ(std::tie(a, b, d), std::make_tuple(42, -1234567, 2.5));
}

}  // namespace
