#include "tlm/tlmmtdatasendingfileagent.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "metrics_test_support.h"
#include "tlm.h"
#include "tlm/tlmcontextcachemanager.h"
#include "tlm/tlmrecordsectioncachemanager.h"
#include "trace_capture.h"

namespace {

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

size_t CountOf(const std::u16string &text, const std::u16string &part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::u16string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

// Makes a temporary directory the working directory for its life, for the texts that fall back
// to it.
class WorkingDirectory {
 public:
  WorkingDirectory() : old_(std::filesystem::current_path()) {
    std::filesystem::current_path(dir_.path());
  }
  ~WorkingDirectory() { std::filesystem::current_path(old_); }
  const TempDir &dir() const { return dir_; }

 private:
  TempDir dir_;
  std::filesystem::path old_;
};

// An agent over a configuration with logdir and a component name; the trace goes to memory.
class FileAgentTest : public ::testing::Test {
 protected:
  void SetUp() override { Use(logdir_.path(), u"A|B"); }
  void TearDown() override {
    CContextCacheManager::release();
    TLMParameterHelper::CleanUp();
  }
  static void Use(const std::string &logdir, const std::u16string &component) {
    metrics_test::Configure({{u"logdir", Utf16(logdir)}});
    CContextCacheManager::Instance()->setComponentName(component);
  }
  std::string LogFile() const { return logdir_.File("A_B_mtdata.log"); }

  tlm_test::TraceCapture trace_{1};
  TempDir logdir_;
  CMTDataSendingFileAgent agent_;
};

TEST(FileAgentNames, ComponentNameMakesTheFileName) {
  struct Case {
    std::u16string component;
    std::u16string logFile;
    std::u16string fallback;
  } cases[] = {
      {u"A|B", u"/usr/zul/tlm/log/A_B_mtdata.log", u"A|B_mtdata.log"},
      {u"", u"/usr/zul/tlm/log/_mtdata.log", u"_mtdata.log"},
      {u"|x||", u"/usr/zul/tlm/log/_x___mtdata.log", u"|x||_mtdata.log"},
      {u"Zähler", u"/usr/zul/tlm/log/Zähler_mtdata.log", u"Zähler_mtdata.log"},
  };
  metrics_test::Configure({});
  for (const Case &c : cases) {
    CContextCacheManager::Instance()->setComponentName(c.component);
    EXPECT_EQ(CMTDataSendingFileAgent::GetLogFileName(), c.logFile) << tlm_test::Utf8(c.component);
    EXPECT_EQ(CMTDataSendingFileAgent::GetFallbackFileName(), c.fallback);
  }
  CContextCacheManager::release();
  TLMParameterHelper::CleanUp();
}

TEST(FileAgentUtf8, TextConvertsWithSurrogatePairsAndReplacements) {
  struct Case {
    std::u16string text;
    std::string bytes;
  } cases[] = {
      {u"", ""},
      {u"a|b 1\n", "a|b 1\n"},
      {u"\u00e9\u20ac", "\xc3\xa9\xe2\x82\xac"},
      {u"\U0001F600", "\xf0\x9f\x98\x80"},
      {std::u16string(1, u'\xd800') + u"x", "\xef\xbf\xbdx"},
      {std::u16string(u"a\0b", 3), std::string("a\0b", 3)},
  };
  for (const Case &c : cases) EXPECT_EQ(CMTDataSendingFileAgent::GetUtf8(c.text), c.bytes);
}

TEST_F(FileAgentTest, AppendsEachTextAsItStands) {
  EXPECT_TRUE(agent_.checkStatus());
  EXPECT_EQ(agent_.recvData(), u"");
  agent_.sendData(u"first line\nsecond \u00e9\n");
  agent_.sendData(u"");
  agent_.sendData(u"no line feed");
  agent_.sendData(u"\n");
  EXPECT_EQ(ReadBytes(LogFile()), "first line\nsecond \xc3\xa9\nno line feed\n");
  EXPECT_EQ(trace_.Text(), u"");
}

TEST_F(FileAgentTest, TwoAgentsAppendToOneFileAndExistingContentStays) {
  { std::ofstream(LogFile()) << "before\n"; }
  CMTDataSendingFileAgent traceAgent;
  agent_.sendData(u"metric 1\n");
  traceAgent.sendData(u"<trace/>\n");
  agent_.sendData(u"metric 2\n");
  EXPECT_EQ(ReadBytes(LogFile()), "before\nmetric 1\n<trace/>\nmetric 2\n");
}

TEST_F(FileAgentTest, FileIsClosedBetweenTexts) {
  agent_.sendData(u"one\n");
  // Moved away and removed while the agent lives: the next text makes a new file.
  std::filesystem::rename(LogFile(), logdir_.File("old.log"));
  agent_.sendData(u"two\n");
  std::filesystem::remove(LogFile());
  agent_.sendData(u"three\n");
  EXPECT_EQ(ReadBytes(logdir_.File("old.log")), "one\n");
  EXPECT_EQ(ReadBytes(LogFile()), "three\n");
}

// Each text that can't go to the log file goes to the working directory, with the message each
// time, and the configured directory is tried again for the next text.
TEST_F(FileAgentTest, LogDirectoryThatCantBeUsedFallsBackEachTime) {
  struct Case {
    const char *what;
    std::string logdir;  // relative to a fresh temporary directory
    void (*prepare)(const std::string &base);
    bool needsPermissions;  // the superuser writes anywhere
  } cases[] = {
      {"missing", "/missing", [](const std::string &) {}, false},
      {"below a file", "/file", [](const std::string &b) { std::ofstream(b + "/file") << "x"; },
       false},
      {"log file is a directory", "",
       [](const std::string &b) { std::filesystem::create_directory(b + "/App_mtdata.log"); },
       false},
      {"read-only", "/ro", [](const std::string &b) { mkdir((b + "/ro").c_str(), 0500); }, true},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    if (c.needsPermissions && geteuid() == 0) continue;
    TempDir base;
    c.prepare(base.path());
    const std::string logdir = base.path() + c.logdir;
    Use(logdir, u"App");
    WorkingDirectory cwd;
    trace_.Clear();
    agent_.sendData(u"one\n");
    agent_.sendData(u"two\n");
    EXPECT_EQ(ReadBytes(cwd.dir().File("App_mtdata.log")), "one\ntwo\n");
    const std::u16string line = trace_.ThreadPrefix() + kSwitchMessage + Utf16(logdir) +
                                u"/App_mtdata.log could not be opened!";
    EXPECT_EQ(trace_.Lines(), std::vector<std::u16string>(2, line));
  }
}

TEST_F(FileAgentTest, FallbackKeepsTheComponentNameAndTheConfiguredDirectoryIsRetried) {
  const std::string logdir = logdir_.File("later");
  Use(logdir, u"A|B");
  WorkingDirectory cwd;
  agent_.sendData(u"early\n");
  std::filesystem::create_directory(logdir);
  agent_.sendData(u"late\n");
  EXPECT_EQ(ReadBytes(cwd.dir().File("A|B_mtdata.log")), "early\n");
  EXPECT_EQ(ReadBytes(logdir + "/A_B_mtdata.log"), "late\n");
  EXPECT_EQ(CountOf(trace_.Text(), kSwitchMessage), 1u);
}

TEST_F(FileAgentTest, TextIsLostWhenNeitherFileOpens) {
  Use(logdir_.File("missing"), u"App");
  WorkingDirectory cwd;
  std::filesystem::create_directory(cwd.dir().File("App_mtdata.log"));
  agent_.sendData(u"lost\n");
  const std::u16string text = trace_.Text();
  EXPECT_EQ(CountOf(text, kSwitchMessage), 1u);
  EXPECT_EQ(CountOf(text, u"*** ERROR => " + kNoFileMessage), 1u) << tlm_test::Utf8(text);
  // Once the working directory can take it again, the next text gets there.
  std::filesystem::remove(cwd.dir().File("App_mtdata.log"));
  agent_.sendData(u"kept\n");
  EXPECT_EQ(ReadBytes(cwd.dir().File("App_mtdata.log")), "kept\n");
}

// The file size limit stands in for a full disk: the write fails in the middle of the text. The
// child process reports through its exit code which step went wrong.
int WriteBeyondTheFileSizeLimit(CMTDataSendingFileAgent &agent, const std::string &file,
                                const tlm_test::TraceCapture &trace) {
  signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlim_t old = limit.rlim_cur;
  limit.rlim_cur = 64;
  if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 10;
  agent.sendData(std::u16string(200, u'x') + u"\n");
  if (trace.Text().find(u"could not be written") == std::u16string::npos) return 11;
  agent.sendData(u"also too late\n");
  limit.rlim_cur = old;
  if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 12;
  agent.sendData(u"next\n");
  const std::string bytes = ReadBytes(file);
  if (bytes.size() != 64 + 5 || bytes.substr(64) != "next\n") return 13;
  return 0;
}

TEST_F(FileAgentTest, FullDiskLosesTheTextAndTheNextOneTriesAgain) {
  EXPECT_EXIT(_exit(WriteBeyondTheFileSizeLimit(agent_, LogFile(), trace_)),
              ::testing::ExitedWithCode(0), "");
}

// A started library sends its metric texts through the file agent unless the socket is chosen.
TEST(FileAgentStarted, MetricTextsOfAStartedLibraryReachTheLogFile) {
  tlm_test::TraceCapture trace(1);
  TempDir logdir;
  const std::u16string dir = Utf16(logdir.path());
  const ZUL_UTF16 *pairs[][2] = {{u"logdir", dir.c_str()}, {u"datasending_method", u"file"}};
  TLM_ProcInitWithParam(u"Shop|Web", 0, 2, pairs);
  const uint32_t id = TLM_startTiming(u"Cart", u"add", 1);
  TLM_endTiming(id);
  TLM_outputMetricData();
  TLM_ProcExit();
  const std::string text = ReadBytes(logdir.File("Shop_Web_mtdata.log"));
  EXPECT_NE(text.find("Cart|add"), std::string::npos) << text;
}

}  // namespace
