#include "tlm/tlmmtdatasendingfileagent.h"

#include "metrics_test_support.h"
#include "tlmprofile/profile_test_support.h"
#include "trace_capture.h"

namespace {

using profile_test::ScopedCwd;
using tlm_test::TempDir;
using tlm_test::Utf16;

const std::u16string kSwitchMessage =
    u"Switch to current working directory due to metric data log file ";
const std::u16string kNoFileMessage =
    u"NO candidated metric data log file could be created(even in the current working "
    u"directory)!";

std::string ReadBytes(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// An agent over a configuration with logdir and a component name; the trace goes to memory.
class FileAgentTest : public ::testing::Test {
 protected:
  void SetUp() override { Use(logdir_.path(), u"A|B"); }
  void TearDown() override { TLMParameterHelper::CleanUp(); }
  void Use(const std::string &logdir, const std::u16string &component) {
    metrics_test::Configure({{u"logdir", Utf16(logdir)}});
    agent_ = std::make_unique<CMTDataSendingFileAgent>(component);
  }
  std::string LogFile() const { return logdir_.File("A_B_mtdata.log"); }

  tlm_test::TraceCapture trace_{1};
  TempDir logdir_;
  std::unique_ptr<CMTDataSendingFileAgent> agent_;
};

TEST_F(FileAgentTest, ComponentNameMakesTheFileName) {
  struct Case {
    std::u16string component, logFile, fallback;
  } cases[] = {
      {u"", u"/usr/zul/tlm/log/_mtdata.log", u"_mtdata.log"},
      {u"|x||", u"/usr/zul/tlm/log/_x___mtdata.log", u"|x||_mtdata.log"},
  };
  metrics_test::Configure({});
  for (const Case &c : cases) {
    CMTDataSendingFileAgent agent(c.component);
    EXPECT_EQ(agent.GetLogFileName(), c.logFile) << tlm_test::Utf8(c.component);
    EXPECT_EQ(agent.GetFallbackFileName(), c.fallback);
  }
}

// Texts of both agents follow each other in the file as they stand, after what was there.
TEST_F(FileAgentTest, AppendsEachTextAsItStands) {
  { std::ofstream(LogFile()) << "before\n"; }
  CMTDataSendingFileAgent traceAgent(u"A|B");
  agent_->sendData(u"metric 1\nline 2 \u00e9\n");
  traceAgent.sendData(u"<trace/>");
  agent_->sendData(u"");
  agent_->sendData(u"\n");
  EXPECT_EQ(ReadBytes(LogFile()), "before\nmetric 1\nline 2 \xc3\xa9\n<trace/>\n");
  EXPECT_EQ(trace_.Text(), u"");
}

// Each text tries the log file, then the working directory, with the message each time; when
// neither opens the text is lost, with an error.
TEST_F(FileAgentTest, EachTextTriesTheLogDirectoryAndTheWorkingDirectory) {
  const std::string logdir = logdir_.File("later");
  Use(logdir, u"A|B");
  TempDir work;
  ScopedCwd cwd(work.path());
  std::filesystem::create_directory(work.File("A|B_mtdata.log"));
  agent_->sendData(u"lost\n");
  EXPECT_EQ(tlm_test::Count(trace_.Text(), u"*** ERROR => " + kNoFileMessage), 1u);
  std::filesystem::remove(work.File("A|B_mtdata.log"));
  trace_.Clear();
  agent_->sendData(u"one\n");
  agent_->sendData(u"two\n");
  EXPECT_EQ(ReadBytes(work.File("A|B_mtdata.log")), "one\ntwo\n");
  const std::u16string line = trace_.ThreadPrefix() + kSwitchMessage + Utf16(logdir) +
                              u"/A_B_mtdata.log could not be opened!";
  EXPECT_EQ(trace_.Lines(), std::vector<std::u16string>(2, line));
  std::filesystem::create_directory(logdir);
  agent_->sendData(u"late\n");
  EXPECT_EQ(ReadBytes(logdir + "/A_B_mtdata.log"), "late\n");
}

}  // namespace
