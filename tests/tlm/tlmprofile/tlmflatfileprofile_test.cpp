#include <sys/stat.h>
#include <unistd.h>

#include <chrono>

#include "profile_test_support.h"
#include "tlm/tlmprofile/tlmprofile.h"

namespace {

using profile_test::ScopedCwd;
using profile_test::TempDir;
using profile_test::Z;
using tlmprofile::CFlatfileProfile;
using tlmprofile::CProfile;
using tlmprofile::ParameterMap;

// Loads tlm.conf from dir (with an empty working directory behind it) and answers the map.
ParameterMap LoadFrom(const TempDir &dir, int32_t *status = nullptr) {
  TempDir emptyCwd;
  ScopedCwd cwd(emptyCwd.path());
  CFlatfileProfile profile(u"tlm.conf");
  ParameterMap map = profile.load(dir.zpath());
  if (status != nullptr) *status = profile.getStatus();
  return map;
}

struct LineCase {
  const char *name;
  std::string content;  // the whole file
  zulstring key;        // empty: the line yields nothing
  zulstring value;
};

TEST(FlatfileProfileLines, EachLineYieldsWhatTheLineRulesSay) {
  const LineCase cases[] = {
      {"plain", "datasending_interval=30\n", u"datasending_interval", u"30"},
      {"blanks around =", "agent_host = localhost\n", u"agent_host", u"localhost"},
      {"inner blanks kept", "a b = c d\n", u"a b", u"c d"},
      {"trailing blanks cut", "k=v   \n", u"k", u"v"},
      {"indented key runs past its end", "  abc = 1\n", u"abc =", u"1"},
      {"indented by one", " abc=1\n", u"abc=", u"1"},
      {"comment line", "#x=1\n", u"", u""},
      {"indented comment", "   # note\n", u"", u""},
      {"hash inside the value", "x=1#2\n", u"x", u"1#2"},
      {"no trailing comments", "a=1 # b\n", u"a", u"1 # b"},
      {"no key", "=5\n", u"", u""},
      {"indented, no key", "   =5\n", u"", u""},
      {"no value", "key=\n", u"", u""},
      {"blank value", "key=    \n", u"", u""},
      {"no equals sign", "noequals\n", u"", u""},
      {"empty line", "\n", u"", u""},
      {"blank line", "    \n", u"", u""},
      {"second = belongs to the value", "k==v\n", u"k", u"=v"},
      {"tab is no blank", "\tkey\t=\tv\n", u"\tkey\t", u"\tv"},
      {"carriage return kept", "k=1\r\n", u"k", u"1\r"},
      {"no final line feed", "k=v", u"k", u"v"},
      {"zero byte is text", std::string("k=a\0b\n", 6), u"k", zulstring(u"a\0b", 3)},
      {"UTF-8 decoded", "k=\xC3\xA9\xE2\x82\xAC\n", u"k", u"\u00E9\u20AC"},
      {"outside the 16-bit range", "k=\xF0\x9F\x98\x80\n", u"k", u"\uFFFD"},
      {"invalid UTF-8 becomes #", "k=\xFF\xC3z\n", u"k", u"##z"},
      {"file ends inside a character", "k=v\xE2\x82", u"k", u"v"},
  };
  for (const LineCase &c : cases) {
    SCOPED_TRACE(c.name);
    TempDir dir;
    dir.Write("tlm.conf", c.content);
    int32_t status = 0;
    ParameterMap map = LoadFrom(dir, &status);
    EXPECT_EQ(status, CProfile::STATUS_LOADED);
    if (c.key.empty()) {
      EXPECT_TRUE(map.empty());
      continue;
    }
    ASSERT_EQ(map.size(), 1u);
    EXPECT_EQ(map.begin()->first, c.key);
    EXPECT_EQ(map.begin()->second.getParamName(), c.key);
    EXPECT_EQ(map.begin()->second.getParamValue(), c.value);
    EXPECT_EQ(map.begin()->second.getParamDefault(), u"");
    EXPECT_FALSE(map.begin()->second.isDynamic());
  }
}

TEST(FlatfileProfileLines, FirstOfTwoLinesWithOneKeyStands) {
  TempDir dir;
  dir.Write("tlm.conf", "k=1\nother=x\nk=2\n");
  ParameterMap map = LoadFrom(dir);
  EXPECT_EQ(map.size(), 2u);
  EXPECT_EQ(map[u"k"].getParamValue(), u"1");
}

TEST(FlatfileProfileLines, LineOfOneMebibyteIsReadWhole) {
  TempDir dir;
  std::string host(1 << 20, 'h');
  dir.Write("tlm.conf", "agent_host=" + host + "\nk=v\n");
  ParameterMap map = LoadFrom(dir);
  EXPECT_EQ(map[u"agent_host"].getParamValue(), Z(host));
  EXPECT_EQ(map[u"k"].getParamValue(), u"v");
}

// Each case: where tlm.conf stands, the path given, and the value of "from" that wins.
struct SearchCase {
  const char *name;
  bool inConfigDir;
  bool inWorkingDir;
  const char *pathSuffix;  // appended to the configuration directory's path
  int32_t status;
  zulstring from;
};

TEST(FlatfileProfileSearch, ConfigurationDirectoryFirstThenWorkingDirectory) {
  const SearchCase cases[] = {
      {"configured directory wins", true, true, "", CProfile::STATUS_LOADED, u"config"},
      {"slash added after a slash", true, true, "/", CProfile::STATUS_LOADED, u"config"},
      {"working directory as fallback", false, true, "", CProfile::STATUS_LOADED, u"cwd"},
      {"missing directory", true, true, "/missing", CProfile::STATUS_LOADED, u"cwd"},
      {"nowhere", false, false, "", CProfile::STATUS_NOT_OPENED, u""},
  };
  for (const SearchCase &c : cases) {
    SCOPED_TRACE(c.name);
    TempDir config, work;
    if (c.inConfigDir) config.Write("tlm.conf", "from=config\nconfig_only=1\n");
    if (c.inWorkingDir) work.Write("tlm.conf", "from=cwd\ncwd_only=1\n");
    ScopedCwd cwd(work.path());
    CFlatfileProfile profile(u"tlm.conf");
    ParameterMap map = profile.load(Z(config.path() + c.pathSuffix));
    EXPECT_EQ(profile.getStatus(), c.status);
    EXPECT_EQ(map[u"from"].getParamValue(), c.from);
    // The second place is read only when the first fails.
    EXPECT_EQ(map.count(u"config_only") + map.count(u"cwd_only"), c.from.empty() ? 0u : 1u);
  }
}

TEST(FlatfileProfileSearch, EmptyPathLooksInTheRootThenTheWorkingDirectory) {
  TempDir work;
  work.Write("tlm.conf", "from=cwd\n");
  ScopedCwd cwd(work.path());
  CFlatfileProfile profile(u"tlm.conf");
  EXPECT_EQ(profile.load(u"")[u"from"].getParamValue(), u"cwd");
}

// A name that opens but reads nothing counts as an empty file: the working directory isn't tried.
TEST(FlatfileProfileSearch, DirectoryNamedTlmConfIsAnEmptyFile) {
  TempDir config, work;
  config.Mkdir("tlm.conf");
  work.Write("tlm.conf", "from=cwd\n");
  ScopedCwd cwd(work.path());
  CFlatfileProfile profile(u"tlm.conf");
  EXPECT_TRUE(profile.load(config.zpath()).empty());
  EXPECT_EQ(profile.getStatus(), CProfile::STATUS_LOADED);
}

TEST(FlatfileProfileSearch, FileThatCantBeOpenedFallsBackToTheWorkingDirectory) {
  TempDir config, work;
  work.Write("tlm.conf", "from=cwd\n");
  ASSERT_EQ(symlink("nothing-here", (config.path() + "/tlm.conf").c_str()), 0);
  ScopedCwd cwd(work.path());
  CFlatfileProfile profile(u"tlm.conf");
  EXPECT_EQ(profile.load(config.zpath())[u"from"].getParamValue(), u"cwd");
}

TEST(FlatfileProfileSearch, UnreadableFileFallsBackToTheWorkingDirectory) {
  if (geteuid() == 0) GTEST_SKIP() << "root reads files without read permission";
  TempDir config, work;
  chmod(config.Write("tlm.conf", "from=config\n").c_str(), 0);
  work.Write("tlm.conf", "from=cwd\n");
  ScopedCwd cwd(work.path());
  CFlatfileProfile profile(u"tlm.conf");
  EXPECT_EQ(profile.load(config.zpath())[u"from"].getParamValue(), u"cwd");
}

// Sources that never end, or never start, must not hold up the start of the library.
TEST(FlatfileProfileSearch, EndlessOrSilentSourcesEndTheRead) {
  TempDir endless, fifo;
  ASSERT_EQ(symlink("/dev/zero", (endless.path() + "/tlm.conf").c_str()), 0);
  ASSERT_EQ(mkfifo((fifo.path() + "/tlm.conf").c_str(), 0600), 0);
  for (const TempDir *dir : {&endless, &fifo}) {
    auto start = std::chrono::steady_clock::now();
    int32_t status = 0;
    EXPECT_TRUE(LoadFrom(*dir, &status).empty());
    EXPECT_EQ(status, CProfile::STATUS_LOADED);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  }
}

TEST(FlatfileProfileSearch, ReadingStopsAfterTheLimitAndDropsTheCutLine) {
  TempDir dir;
  std::string filler(CFlatfileProfile::kMaxCharacters - 8, 'x');
  dir.Write("tlm.conf", "a=1\n" + filler + "\nb=2\nc=3\n");
  ParameterMap map = LoadFrom(dir);
  EXPECT_EQ(map.count(u"a"), 1u);
  EXPECT_EQ(map.count(u"b"), 0u);  // its line feed is the first character past the limit
  EXPECT_EQ(map.count(u"c"), 0u);
}

}  // namespace
