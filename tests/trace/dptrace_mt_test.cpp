// Several threads tracing at once: every line arrives whole, and thread files stay apart. Error
// information is per thread: threads setting errors at once see only their own, and a thread's
// record goes with the thread (LeakSanitizer checks that it is freed).
#include <regex>

#include "trace_capture.h"
#include "zul_dptrace.h"
#include "zul_err.h"

namespace {

using tlm_test::Utf16;
using tlm_test::Utf8;

constexpr int kThreads = 6;
constexpr int kLines = 400;

CTRC_HDL ComponentAtLevel2() {
  CTRC_HDL w = nullptr;
  EXPECT_EQ(CTrcNewComp(u'W', &w, nullptr), 0);
  static_cast<CTRC_ADM *>(w)->level = 2;
  return w;
}

// Each thread's lines arrive whole and in its order; a two-line text keeps its lines together.
TEST(DpTrcConcurrency, LinesOfManyThreadsNeverInterleave) {
  tlm_test::TraceFileCapture trace(2);
  CTRC_HDL w = ComponentAtLevel2();
  const std::string payload = "0123456789abcdef0123456789";
  std::map<int, std::vector<std::string>> expected, seen;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kLines; ++i) {
      std::string head = "thread " + std::to_string(t) + " line " + std::to_string(i);
      if (i % 2 == 0) expected[t].push_back(head + " payload " + payload);
      if (i % 2 == 1) expected[t].insert(expected[t].end(), {head + " payload", head + " tail"});
    }
    threads.emplace_back([w, t, &payload] {
      for (int i = 0; i < kLines; ++i) {
        if (i % 2 == 0)
          DPTRC(2, w, u"thread %d line %d payload %s\n", t, i, Utf16(payload).c_str());
        else
          DPTRC_STMT(2, DpTrcNoTi, w, u"thread %d line %d payload\nthread %d line %d tail\n", t, i,
                     t, i);
      }
    });
  }
  for (auto &thread : threads) thread.join();
  const std::regex line("W  \\[Thr \\d+\\] (thread (\\d+) .*)");
  std::string awaited_tail;  // the line that must follow the first line of a two-line text
  for (const std::u16string &l : trace.Lines()) {
    std::string text = Utf8(l);
    std::smatch m;
    if (text.empty() || text[0] != 'W') continue;  // the header block
    ASSERT_TRUE(std::regex_match(text, m, line)) << text;
    EXPECT_TRUE(awaited_tail.empty() || m[1] == awaited_tail) << text;
    awaited_tail =
        m[1].str().ends_with(" payload") ? m[1].str().substr(0, m[1].length() - 7) + "tail" : "";
    seen[std::stoi(m[2])].push_back(m[1]);
  }
  EXPECT_EQ(seen, expected);
}

// Each thread file has its header and the lines its thread wrote through any handle, down to the
// thread's own level; the process file has none of them.
TEST(DpTrcConcurrency, ThreadFilesHoldOnlyTheirThreadsLines) {
  tlm_test::TraceFileCapture trace(2);
  CTRC_HDL w = ComponentAtLevel2();
  EXPECT_EQ(CTrcThrGetTraceLevel(w), CTRC_THR_LEVEL_UNSET);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&trace, w, t] {
      std::string path = trace.dir().File("thread" + std::to_string(t) + ".trc");
      CTRC_HDL own = CTrcThrOpen(Utf16(path).c_str(), 1, 2);
      ASSERT_NE(own, nullptr);
      EXPECT_EQ(CTrcCompLev(own), 2);
      for (int i = 0; i < 50; ++i) DPTRC_STMT(2, DpTrcNoTiNoThr, w, u"from %d\n", t);
      EXPECT_EQ(CTrcThrGetTraceLevel(own), CTRC_THR_LEVEL_UNSET);
      ASSERT_EQ(CTrcThrSetTraceLevel(own, 1), 0);
      EXPECT_EQ(CTrcThrGetTraceLevel(own), 1);
      DPTRC_STMT(2, DpTrcNoTiNoThr, w, u"filtered by the thread level\n");
      EXPECT_EQ(CTrcThrClose(own), 0);
      EXPECT_EQ(CTrcThrClose(own), -1);  // no thread file any more
    });
  }
  for (auto &thread : threads) thread.join();
  CTrcThrResetTrace();
  for (int t = 0; t < kThreads; ++t) {
    auto lines = tlm_test::SplitLines(
        tlm_test::ReadUtf8File(trace.dir().File("thread" + std::to_string(t) + ".trc")));
    ASSERT_EQ(lines.size(), 4u + 50u);
    EXPECT_EQ(
        lines[2].rfind(u"trc file: \"thread" + Utf16(std::to_string(t)) + u".trc\", trc level: 2"),
        0u);
    for (size_t i = 4; i < lines.size(); ++i)
      EXPECT_EQ(lines[i], u"W  from " + Utf16(std::to_string(t)));
  }
  EXPECT_EQ(trace.Text().find(u"from"), std::u16string::npos);
  EXPECT_EQ(CTrcThrClose(stderr), -1);
}

TEST(ErrThreads, EachThreadKeepsItsOwnInformation) {
  ASSERT_EQ(ErrSet(u"main", 0, u"m", 1, u"main thread", 0, nullptr), ERR_OK);
  std::atomic<int> mismatches{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &mismatches] {
      for (int i = 0; i < 200; ++i) {
        ErrSet(u"worker", t, u"m", i, u"thread %d step %d", 0, nullptr, t, i);
        std::string text = std::to_string(t) + " step " + std::to_string(i);
        std::string counter = std::to_string(i + 1);
        if (std::u16string(ErrGetFld(ERR_FLD_TEXT)) != u"thread " + Utf16(text)) ++mismatches;
        if (std::u16string(ErrGetFld(ERR_FLD_COUNTER)) != Utf16(counter)) ++mismatches;
      }
    });
  }
  for (std::thread &th : threads) th.join();
  EXPECT_EQ(mismatches.load(), 0);
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_TEXT)), u"main thread");
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_COUNTER)), u"1");
  ErrFree(nullptr);
}

}  // namespace
