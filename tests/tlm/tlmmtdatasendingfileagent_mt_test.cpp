
#include "metrics_test_support.h"
#include "tlm/tlmmtdatasendingfileagent.h"
#include "trace_capture.h"

namespace {

// Texts of varying length, some beyond the page size, as a metric and a trace agent send them.
std::vector<std::u16string> Texts(char16_t tag, int count) {
  std::vector<std::u16string> texts;
  for (int i = 0; i < count; ++i) {
    std::u16string number = tlm_test::Utf16(std::to_string(i));
    std::u16string body((i * 997) % 9000, tag);
    texts.push_back(u"<" + std::u16string(1, tag) + number + u">\n" + body + u"\n</" + number +
                    u">\n");
  }
  return texts;
}

// Both agents append to the same file from their own threads. Each text must reach the file
// whole, each agent's texts in their order, in any interleaving with the other's.
TEST(FileAgentConcurrency, TwoAgentsAppendWholeTextsToOneFile) {
  tlm_test::TraceCapture trace(1);
  tlm_test::TempDir logdir;
  metrics_test::Configure({{u"logdir", tlm_test::Utf16(logdir.path())}});
  const int kCount = 300;
  const std::vector<std::u16string> metrics = Texts(u'm', kCount);
  const std::vector<std::u16string> traces = Texts(u't', kCount);

  auto send = [](const std::vector<std::u16string> *texts) {
    CMTDataSendingFileAgent agent(u"App");
    for (const std::u16string &text : *texts) agent.sendData(text);
  };
  std::thread metricThread(send, &metrics);
  std::thread traceThread(send, &traces);
  metricThread.join();
  traceThread.join();

  std::ifstream in(logdir.File("App_mtdata.log"), std::ios::binary);
  const std::string file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  size_t at = 0, nextMetric = 0, nextTrace = 0;
  auto takes = [&](const std::vector<std::u16string> &texts, size_t &next) {
    if (next == texts.size()) return false;
    const std::string bytes = CMTDataSendingFileAgent::GetUtf8(texts[next]);
    if (file.compare(at, bytes.size(), bytes) != 0) return false;
    at += bytes.size();
    ++next;
    return true;
  };
  while (at < file.size() && (takes(metrics, nextMetric) || takes(traces, nextTrace))) {
  }
  EXPECT_EQ(at, file.size()) << "text broken at byte " << at;
  EXPECT_EQ(nextMetric, metrics.size());
  EXPECT_EQ(nextTrace, traces.size());
  EXPECT_EQ(trace.Text(), u"");

  TLMParameterHelper::CleanUp();
}

}  // namespace
