#include "tlm/tlmprofile/tlmparameterhelper.h"

#include <optional>
#include <string>

#include "profile_test_support.h"
#include "tlm.h"

namespace {

using profile_test::ScopedCwd;
using profile_test::ScopedEnv;
using profile_test::StoreTest;
using profile_test::TempDir;
using profile_test::Z;
using H = TLMParameterHelper;

const zulstring kDefaultOrWorkingDirectory =
    u"TLM configuration loaded from default /usr/zul/tlm/config or working directory\n";

zulstring FirstLine(const zulstring &report) { return report.substr(0, report.find(u'\n') + 1); }

using ParameterStartUp = StoreTest;

// TLM_CONFIG names the directory; unset or empty, the default directory applies, and behind either
// the working directory.
TEST_F(ParameterStartUp, LoadParametersFollowsTlmConfig) {
  TempDir config, work;
  config.Write("tlm.conf", "datasending_interval=30\r\nagent_host = collector\n");
  work.Write("tlm.conf", "datasending_interval=45\n");
  ScopedCwd cwd(work.path());
  struct Case {
    std::optional<std::string> env;
    zulstring firstLine;
    uint32_t interval;
  };
  const Case cases[] = {
      {config.path(), u"TLM configuration loaded from file " + config.zpath() + u"\n", 30},
      {"", kDefaultOrWorkingDirectory, 45},
      {std::nullopt, kDefaultOrWorkingDirectory, 45},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.env.value_or("(unset)"));
    H::CleanUp();
    ScopedEnv env("TLM_CONFIG", c.env);
    H::LoadParameters();
    EXPECT_EQ(FirstLine(H::GetParameters()), c.firstLine);
    EXPECT_EQ(H::GetDataSendingInterval(), c.interval);
    EXPECT_EQ(H::GetSystemName(), u"ZUL_TLM");  // defaults stay under the file
  }
  EXPECT_EQ(H::GetParamValue(u"datasending_interval"), u"45");
  H::CleanUp();
  ScopedEnv env("TLM_CONFIG", config.path());
  H::LoadParameters();
  EXPECT_EQ(H::GetParamValue(u"datasending_interval"), u"30\r");
  EXPECT_EQ(H::GetAgentHost(), u"collector");
}

TEST_F(ParameterStartUp, ConfigParametersTakesThePathAsItIs) {
  TempDir config;
  config.Write("tlm.conf", "logdir=/var/log/tlm\nagent_host_3=h3\nagent_port_3=4000\n");
  H::ConfigParameters(config.zpath() + u"/");
  EXPECT_EQ(FirstLine(H::GetParameters()),
            u"TLM configuration loaded from file " + config.zpath() + u"/\n");
  EXPECT_EQ(H::GetLogDir(), u"/var/log/tlm");
  EXPECT_EQ(H::GetAgentHost3(), u"h3");
  EXPECT_EQ(H::GetAgentPort3(), 4000);
  EXPECT_EQ(H::GetAgentHost2(), u"");
}

TEST_F(ParameterStartUp, PairsGoOverTheDefaultsWithoutAPath) {
  const zulstring names[] = {u"logdir", u"specific_component_names", u"instrument_level_threshold"};
  const zulstring values[] = {u"/tmp/x", u"A;B", u"5"};
  H::ConfigParameters(names, values, 3);
  EXPECT_EQ(FirstLine(H::GetParameters()), u"TLM configuration path not set, default used\n");
  EXPECT_EQ(H::GetLogDir(), u"/tmp/x");
  EXPECT_EQ(H::GetSpeCompNameListStr(), u"A;B");
  EXPECT_EQ(H::GetInstruLevelThreshold(), 5);
  EXPECT_EQ(H::GetDataSendingMethod(), u"socket");
  // The key stays dynamic as the defaults made it.
  EXPECT_TRUE(H::UpdateParamValue(u"instrument_level_threshold", u"6"));
}

using SingleParameterValue = StoreTest;

TEST_F(SingleParameterValue, CopiesOnlyWhenValueAndTerminatorFit) {
  const zulstring names[] = {u"logdir"};
  const zulstring values[] = {u"/var/tlm"};  // 8 units
  H::ConfigParameters(names, values, 1);
  struct Case {
    const ZUL_UTF16 *name;
    int size;
    int result;
    zulstring copied;  // what the buffer holds afterwards
  };
  const zulstring untouched = u"????????????";
  const Case cases[] = {
      {u"logdir", 12, 8, u"/var/tlm"}, {u"logdir", 9, 8, u"/var/tlm"},
      {u"logdir", 8, 9, untouched},  // a buffer of exactly the value's length is refused
      {u"logdir", 0, 9, untouched},    {u"logdir", -5, 9, untouched},
      {u"nowhere", 12, 0, u""},        {u"nowhere", 0, 1, untouched},
      {u"", 12, 0, untouched},         {nullptr, 12, 0, untouched},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message() << "size " << c.size);
    zulstring buffer = untouched;
    EXPECT_EQ(TLM_getSingleParameterValue(c.name, buffer.data(), c.size), c.result);
    EXPECT_EQ(zulstring(buffer.c_str()), c.copied);
  }
  EXPECT_EQ(TLM_getSingleParameterValue(u"logdir", nullptr, 12), 9);
}

TEST_F(SingleParameterValue, AnswersBeforeTheLibraryIsStarted) {
  ZUL_UTF16 buffer[4] = {u'x', 0};
  EXPECT_EQ(TLM_getSingleParameterValue(u"logdir", buffer, 4), 0);
  EXPECT_EQ(buffer[0], 0);
}

}  // namespace
