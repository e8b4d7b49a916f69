#include <sys/stat.h>

#include "profile_test_support.h"
#include "tlm/tlmprofile/tlmprofile.h"

namespace {

using profile_test::ScopedCwd;
using profile_test::TempDir;
using profile_test::Write;
using profile_test::Z;
using tlmprofile::CFlatfileProfile;
using tlmprofile::CProfile;
using tlmprofile::ParameterMap;

// Loads tlm.conf from config, with work as the working directory.
ParameterMap Load(const TempDir &config, const TempDir &work, int32_t *status = nullptr) {
  ScopedCwd cwd(work.path());
  CFlatfileProfile profile(u"tlm.conf");
  ParameterMap map = profile.load(Z(config.path()));
  if (status != nullptr) *status = profile.getStatus();
  return map;
}

TEST(FlatfileProfileLines, EachFileYieldsWhatTheLineRulesSay) {
  struct Case {
    std::string content;
    zulstring key;  // empty: nothing is stored
    zulstring value;
  };
  const Case cases[] = {
      {"datasending_interval=30\n", u"datasending_interval", u"30"},
      {"agent_host = localhost  \n", u"agent_host", u"localhost"},
      {"a b = c d\n", u"a b", u"c d"},
      {"  abc = 1\n", u"abc =", u"1"},  // an indented key runs past its end
      {"#x=1\n   # note\n\n    \n", u"", u""},
      {"x=1#2\n", u"x", u"1#2"},
      {"=5\n   =5\nkey=\nkey=    \nnoequals\n", u"", u""},
      {"k==v\n", u"k", u"=v"},
      {"\tkey\t=\tv\n", u"\tkey\t", u"\tv"},  // tabs aren't blanks
      {"k=1\r\n", u"k", u"1\r"},
      {"k=1\nk=2\n", u"k", u"1"},
      {std::string("k=a\0b\n", 6), u"k", zulstring(u"a\0b", 3)},
      {"k=\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\n", u"k", u"\u00E9\u20AC\uFFFD"},
      {"k=\xFF\xC3z\n", u"k", u"##z"},
      {"k=v\xE2\x82", u"k", u"v"},  // the file ends inside a character
      {"k=" + std::string(1 << 20, 'a') + "\n", u"k", zulstring(1 << 20, u'a')},  // read whole
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.content.substr(0, 40));
    TempDir config, work;
    Write(config, "tlm.conf", c.content);
    int32_t status = 0;
    ParameterMap map = Load(config, work, &status);
    EXPECT_EQ(status, CProfile::STATUS_LOADED);
    ASSERT_EQ(map.size(), c.key.empty() ? 0u : 1u);
    if (c.key.empty()) continue;
    EXPECT_EQ(map.begin()->first, c.key);
    EXPECT_EQ(map.begin()->second.getParamValue(), c.value);
  }
}

TEST(FlatfileProfileSearch, ConfigurationDirectoryFirstThenWorkingDirectory) {
  enum Place { kNone, kFile, kDirectory };
  struct Case {
    Place inConfig;
    bool inWork;
    int32_t status;
    zulstring from;
  } cases[] = {
      {kFile, true, CProfile::STATUS_LOADED, u"config"},  // the second isn't read
      {kNone, true, CProfile::STATUS_LOADED, u"work"},
      {kNone, false, CProfile::STATUS_NOT_OPENED, u""},
      // A name that opens but reads nothing is an empty file: the working directory isn't tried.
      {kDirectory, true, CProfile::STATUS_LOADED, u""},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message() << c.inConfig << c.inWork);
    TempDir config, work;
    std::string name = config.path() + "/tlm.conf";
    if (c.inConfig == kFile) Write(config, "tlm.conf", "from=config\nconfig_only=1\n");
    if (c.inConfig == kDirectory) mkdir(name.c_str(), 0700);
    if (c.inWork) Write(work, "tlm.conf", "from=work\nwork_only=1\n");
    int32_t status = 0;
    ParameterMap map = Load(config, work, &status);
    EXPECT_EQ(status, c.status);
    EXPECT_EQ(map[u"from"].getParamValue(), c.from);
    EXPECT_EQ(map.count(u"config_only") + map.count(u"work_only"), c.from.empty() ? 0u : 1u);
  }
}

// Sources that never end, or never start, must not hold up the start of the library.
TEST(FlatfileProfileSearch, EndlessAndSilentSourcesEndTheRead) {
  TempDir endless, fifo, work;
  ASSERT_EQ(symlink("/dev/zero", (endless.path() + "/tlm.conf").c_str()), 0);
  ASSERT_EQ(mkfifo((fifo.path() + "/tlm.conf").c_str(), 0600), 0);
  for (const TempDir *dir : {&endless, &fifo}) {
    auto start = std::chrono::steady_clock::now();
    int32_t status = 0;
    EXPECT_TRUE(Load(*dir, work, &status).empty());
    EXPECT_EQ(status, CProfile::STATUS_LOADED);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  }
}

}  // namespace
