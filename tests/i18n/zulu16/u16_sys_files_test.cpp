#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>

#include "u16_sys_test_util.h"
#include "zul_u16stdio.h"
#include "zul_u16sys.h"

namespace {

using u16systest::TempDir;
using u16systest::Utf8;
using u16test::StartsWith;
using u16test::TraceCapture;
using u16test::W;

bool Exists(const std::string &path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

bool AnyMessageHas(const TraceCapture &trace, const std::u16string &text) {
  for (const auto &m : trace.Messages())
    if (m.find(text) != std::u16string::npos) return true;
  return false;
}

std::vector<std::u16string> ListDir(const std::u16string &dir) {
  std::vector<std::u16string> names;
  DIR *d = opendirU16(dir.c_str());
  if (d == nullptr) return names;
  while (struct direntU16 *e = readdirU16(d)) {
    std::u16string name = e->d_name;
    if (name != u"." && name != u"..") names.push_back(name);
  }
  closedir(d);
  return names;
}

TEST(NlsuiChecked, ToUtf8CutsAtCharactersAndCountsAFullBufferAsTooLong) {
  struct Case {
    std::u16string in;
    std::string out;
    int rc;
  };
  // Buffer of 8 bytes: 7 bytes of text and the terminator.
  const Case cases[] = {
      {u"", "", NLSUI_CONV_OK},
      {u"abcdef", "abcdef", NLSUI_CONV_OK},
      {u"abcdefg", "abcdefg", NLSUI_CONV_TOO_LONG},  // fills the buffer
      {u"abcde\u00e9", "abcde\xc3\xa9", NLSUI_CONV_TOO_LONG},
      {u"abcde\u20ac", "abcde", NLSUI_CONV_TOO_LONG},  // the 3-byte unit would pass the end
      {u"ab\u20ac", "ab\xe2\x82\xac", NLSUI_CONV_OK},
      // The halves of a pair convert on their own.
      {u"a\xd83d\xde00", "a\xed\xa0\xbd\xed\xb8\x80", NLSUI_CONV_TOO_LONG},
  };
  for (const Case &c : cases) {
    TraceCapture trace(1);
    char out[8];
    errno = 0;
    int rc = nlsui_U2sToUtf8s_checked(out, c.in.c_str(), sizeof out, "src", 1, "fn", "cpath",
                                      "MAX_TEST_LN");
    EXPECT_EQ(rc, c.rc) << Utf8(c.in);
    EXPECT_EQ(std::string(out), c.out) << Utf8(c.in);
    EXPECT_EQ(errno, c.rc == NLSUI_CONV_OK ? 0 : ENAMETOOLONG) << Utf8(c.in);
    EXPECT_EQ(trace.Messages().empty(), c.rc == NLSUI_CONV_OK) << Utf8(c.in);
  }
}

TEST(NlsuiChecked, FromUtf8ReportsInvalidInputOnlyWhenTracing) {
  ZUL_UTF16 out[16];
  for (int level : {0, 1}) {
    TraceCapture trace(level);
    int rc = nlsui_Utf8sToU2s_checked(out, "ab\xe2(", 16, "src", 1, "readdirU16", "d_name",
                                      "MAX_FILENAME_LN");
    EXPECT_EQ(rc, NLSUI_CONV_INVALID);
    EXPECT_EQ(std::u16string(out), u"ab");
    EXPECT_EQ(AnyMessageHas(trace, u"readdirU16 encountered invalid UTF-8"), level != 0);
  }
  TraceCapture trace(1);
  EXPECT_EQ(nlsui_Utf8sToU2s_checked(out, "\xc3\xa9t\xc3\xa9", 4, "src", 1, "f", "p", "L"),
            NLSUI_CONV_TOO_LONG);  // three units fill four
  EXPECT_EQ(std::u16string(out), u"\u00e9t\u00e9");
  EXPECT_EQ(nlsui_Utf8sToU2s_checked(out, "abcdef", 4, "src", 1, "f", "p", "L"),
            NLSUI_CONV_TOO_LONG);
  EXPECT_EQ(std::u16string(out), u"abc");
}

TEST(NlsuiChecked, CastOfOddAddressIsReported) {
  TraceCapture trace(0);
  alignas(2) char bytes[4] = {};
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
  ASSERT_TRUE(dir.ok());
  std::string prefix = dir.path() + "/";
  std::string filler;
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

TEST(PathWrappers, NonAsciiNamesRoundTripThroughOpenRenameAndUnlink) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::u16string first = u"Gr\u00fc\u00dfe \u20ac \u65e5\u672c.txt";
  const std::u16string second = u"\u00dcbersicht_\u0416.txt";

  FILE *f = fopenU16(dir.U16(first).c_str(), u"w");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(fputsU16(u"Inhalt \u00e4", f), 1);
  fclose(f);
  EXPECT_EQ(u16systest::ReadBytes(dir.Bytes(first)), "Inhalt \xc3\xa4");
  EXPECT_EQ(ListDir(W(dir.path())), std::vector<std::u16string>{first});

  EXPECT_EQ(renameU16(dir.U16(first).c_str(), dir.U16(second).c_str()), 0);
  EXPECT_NE(accessU16(dir.U16(first).c_str(), F_OK), 0);
  EXPECT_EQ(accessU16(dir.U16(second).c_str(), R_OK), 0);
  EXPECT_TRUE(Exists(dir.Bytes(second)));

  int fd = openU16(dir.U16(second).c_str(), O_RDONLY);
  ASSERT_GE(fd, 0);
  char bytes[16] = {};
  EXPECT_EQ(read(fd, bytes, sizeof bytes), 9);
  close(fd);

  EXPECT_EQ(symlinkU16(second.c_str(), dir.U16(u"\u2192link").c_str()), 0);
  ZUL_UTF16 target[64];
  ssize_t n = readlinkU16(dir.U16(u"\u2192link").c_str(), target, 64);
  EXPECT_EQ(std::u16string(target, n > 0 ? n : 0), second);

  EXPECT_EQ(unlinkU16(dir.U16(u"\u2192link").c_str()), 0);
  EXPECT_EQ(unlinkU16(dir.U16(second).c_str()), 0);
  EXPECT_TRUE(ListDir(W(dir.path())).empty());
  // A null path reaches the system, and its error comes back.
  errno = 0;
  EXPECT_EQ(removeU16(nullptr), -1);
  EXPECT_EQ(errno, EFAULT);
}

TEST(PathWrappers, OpenersLogPathAndDescriptorAtLevel16) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  for (int level : {15, 16}) {
    TraceCapture trace(level);
    FILE *f = fopenU16(dir.U16(u"\u00e4.log").c_str(), u"w");
    ASSERT_NE(f, nullptr);
    std::u16string expected = u"fopenU16: opened \"" + W(dir.path()) +
                              u"/\u00e4.log\" as file descriptor " + W(std::to_string(fileno(f)));
    fclose(f);
    EXPECT_EQ(AnyMessageHas(trace, expected), level == 16);
  }
}

TEST(TempWrappers, TemplatesWithNonAsciiPartsAreFilledInPlace) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  std::u16string pattern = dir.U16(u"\u00fc_XXXXXX");
  int fd = mkstempU16(pattern.data());
  ASSERT_GE(fd, 0);
  close(fd);
  EXPECT_EQ(pattern.find(u"XXXXXX"), std::u16string::npos);
  EXPECT_TRUE(Exists(Utf8(pattern)));

  std::u16string with_suffix = dir.U16(u"s_XXXXXX.\u20ac");
  fd = ZUL_mkstemps(with_suffix.data(), 2);
  ASSERT_GE(fd, 0);
  close(fd);
  EXPECT_EQ(with_suffix.substr(with_suffix.size() - 2), u".\u20ac");
  EXPECT_EQ(with_suffix.find(u"XXXXXX"), std::u16string::npos);
  EXPECT_TRUE(Exists(Utf8(with_suffix)));
}

TEST(ResultWrappers, GetcwdConvertsAndRefusesShortBuffers) {
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  ZUL_UTF16 buffer[4096];
  ASSERT_EQ(getcwdU16(buffer, 4096), buffer);
  EXPECT_EQ(Utf8(buffer), cwd);

  errno = 0;
  EXPECT_EQ(getcwdU16(buffer, 2), nullptr);
  EXPECT_EQ(errno, ERANGE);

  ZUL_UTF16 *allocated = getcwdU16(nullptr, 0);
  ASSERT_NE(allocated, nullptr);
  EXPECT_EQ(Utf8(allocated), cwd);
  free(allocated);
}

}  // namespace
