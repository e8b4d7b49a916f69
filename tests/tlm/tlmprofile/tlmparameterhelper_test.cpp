#include "tlm/tlmprofile/tlmparameterhelper.h"

#include "profile_test_support.h"
#include "tlm.h"

namespace {

using profile_test::ScopedCwd;
using profile_test::ScopedEnv;
using profile_test::StoreTest;
using profile_test::TempDir;
using profile_test::Write;
using profile_test::Z;
using H = TLMParameterHelper;

zulstring FirstLine(const zulstring &report) { return report.substr(0, report.find(u'\n') + 1); }

using ParameterStartUp = StoreTest;

// TLM_CONFIG names the directory; unset or empty, the default directory applies, and behind
// either the working directory.
TEST_F(ParameterStartUp, LoadParametersFollowsTlmConfig) {
  TempDir config, work;
  Write(config, "tlm.conf", "datasending_interval=30\r\nagent_host = collector\n");
  Write(work, "tlm.conf", "datasending_interval=45\n");
  ScopedCwd cwd(work.path());
  const zulstring byDefault =
      u"TLM configuration loaded from default /usr/zul/tlm/config or working directory\n";
  struct Case {
    std::optional<std::string> env;
    zulstring firstLine;
    uint32_t interval;
    zulstring host;
  };
  const Case cases[] = {
      {config.path(), u"TLM configuration loaded from file " + Z(config.path()) + u"\n", 30,
       u"collector"},
      {std::nullopt, byDefault, 45, u"localhost"},
  };
  for (const Case &c : cases) {
    H::CleanUp();
    ScopedEnv env("TLM_CONFIG", c.env);
    H::LoadParameters();
    EXPECT_EQ(FirstLine(H::GetParameters()), c.firstLine);
    EXPECT_EQ(H::GetDataSendingInterval(), c.interval);
    EXPECT_EQ(H::GetAgentHost(), c.host);
  }
}

using SingleParameterValue = StoreTest;

TEST_F(SingleParameterValue, CopiesOnlyWhenValueAndTerminatorFit) {
  ZUL_UTF16 before[4] = {u'x', 0};
  EXPECT_EQ(TLM_getSingleParameterValue(u"logdir", before, 4), 0);  // before the start
  EXPECT_EQ(before[0], 0);

  const zulstring names[] = {u"logdir"};
  const zulstring values[] = {u"/var/tlm"};  // 8 units
  H::ConfigParameters(names, values, 1);
  const zulstring untouched = u"????????????";
  struct Case {
    const ZUL_UTF16 *name;
    int size, result;
    zulstring buffer;  // afterwards
  } cases[] = {
      {u"logdir", 9, 8, u"/var/tlm"}, {u"logdir", 8, 9, untouched},  {u"logdir", -5, 9, untouched},
      {u"nowhere", 12, 0, u""},       {u"nowhere", 0, 1, untouched}, {nullptr, 12, 0, untouched},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message() << "size " << c.size);
    zulstring buffer = untouched;
    EXPECT_EQ(TLM_getSingleParameterValue(c.name, buffer.data(), c.size), c.result);
    EXPECT_EQ(zulstring(buffer.c_str()), c.buffer);
  }
  EXPECT_EQ(TLM_getSingleParameterValue(u"logdir", nullptr, 12), 9);
}

TEST_F(SingleParameterValue, RefusalIsTraced) {
  tlm_test::TraceCapture trace(2);
  ZUL_UTF16 buffer[1];
  EXPECT_EQ(TLM_getSingleParameterValue(u"logdir", buffer, 0), 1);
  EXPECT_EQ(trace.Text(), trace.ThreadPrefix() +
                              u"TLM_getSingleParameterValue: buffer size is smaller than the "
                              u"required\n");
}

}  // namespace
