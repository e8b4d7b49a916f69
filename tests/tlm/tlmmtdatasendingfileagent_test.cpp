#include "tlm/tlmmtdatasendingfileagent.h"

#include <sys/resource.h>

#include <csignal>

#include "metrics_test_support.h"
#include "tlm.h"
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

// Sets the file size limit of the process, with the host's default action for SIGXFSZ (which would
// end it), and answers the limit it replaced, or 0 when it can't be set.
rlim_t LimitFileSize(rlim_t bytes) {
  signal(SIGXFSZ, SIG_DFL);
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlim_t old = limit.rlim_cur;
  limit.rlim_cur = bytes;
  return setrlimit(RLIMIT_FSIZE, &limit) == 0 ? old : 0;
}

// The file size limit stands in for a full disk. A host with a limit of 20 KiB and the default
// action for SIGXFSZ times 20,000 traced transactions, then lifts the limit and times one more.
// Answers 0, or the step that failed.
int TraceBeyondTheFileSizeLimit(const std::string &logdir) {
  const rlim_t old = LimitFileSize(20480);
  if (old == 0) return 1;
  const std::u16string dir = Utf16(logdir);
  const ZUL_UTF16 *pairs[][2] = {{u"logdir", dir.c_str()}, {u"datasending_method", u"file"}};
  TLM_ProcInitWithParam(u"Limit", 0, 2, pairs);
  for (int i = 1; i <= 20000; ++i) {
    TLM_initContext(u"*1000");
    TLM_endTiming(TLM_startTiming(u"Cart", u"add", 1));
    if (i % 2000 == 0) TLM_outputMetricData();
  }
  if (LimitFileSize(old) == 0) return 2;
  TLM_endTiming(TLM_startTiming(u"After", u"limit", 1));
  TLM_ProcExit();
  return 0;
}

// A started library sends its texts through file agents unless the socket is chosen. Both the log
// file and the library's trace file reach the limit; the host lives on, each write fails in the
// middle of its text, which is lost, the trace tells of the lost texts, and once the limit is
// lifted the next text follows the cut one.
TEST(FileAgentStarted, FileSizeLimitCostsTextsNotTheHost) {
  TempDir logdir;
  EXPECT_EXIT(_exit(TraceBeyondTheFileSizeLimit(logdir.path())), ::testing::ExitedWithCode(0), "");
  const std::string log = logdir.File("Limit_mtdata.log");
  const std::string bytes = ReadBytes(log);
  ASSERT_GT(bytes.size(), 20480u);
  EXPECT_NE(bytes.find("<event resource=\"Cart|add\""), std::string::npos);
  EXPECT_EQ(bytes[20480], '<');
  EXPECT_NE(bytes.find("After|limit", 20480), std::string::npos);
  const std::u16string trace = tlm_test::ReadUtf8File(logdir.File("Limit_tlm.trc"));
  EXPECT_NE(trace.find(u"Metric data could not be written to log file " + Utf16(log)),
            std::u16string::npos)
      << tlm_test::Utf8(trace);
}

}  // namespace
