// The background threads of a started library: which of them run, and how the stop waits for a
// run under way. The timer tick is shortened to 20 ms, so
// that a sending interval of 15 ticks passes in 0.3 s.
#include <semaphore>

#include "tlm/tlmdispatchermanager.h"
#include "tlm_core_fixture.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr uint32_t kShortTick = 20;

// Polls pred every 5 ms until it holds or the time is up; answers its last value.
bool WaitUntil(const std::function<bool()> &pred, milliseconds limit = milliseconds(5000)) {
  const auto deadline = Clock::now() + limit;
  while (!pred()) {
    if (Clock::now() > deadline) return pred();
    std::this_thread::sleep_for(milliseconds(5));
  }
  return true;
}

// A barrier that a sink or call-back waits at until the test releases it; it opens by itself
// after ten seconds, so that a fault shows as a failure rather than a hang.
struct Gate {
  void Pass() {
    ++arrivals;
    if (open.try_acquire_for(std::chrono::seconds(10))) open.release();
  }
  std::binary_semaphore open{0};
  std::atomic<int> arrivals{0};
};

// An agent whose every sendData passes the gate.
struct GateAgent : CMTDataSendingAgent {
  explicit GateAgent(std::shared_ptr<Gate> gate) : gate(std::move(gate)) {}
  bool checkStatus() override { return true; }
  void sendData(zulstring) override { gate->Pass(); }
  zulstring recvData() override { return zulstring(); }
  std::shared_ptr<Gate> gate;
};

// The resource call-back of the tests: passes the gate, if one is set.
std::shared_ptr<Gate> g_callBackGate;
void GateCallBack() {
  if (g_callBackGate) g_callBackGate->Pass();
}

class DispatcherThreadsTest : public core_test::StartedTest {
 protected:
  void SetUp() override {
    CDispatcherManager::setTimerTick(kShortTick);
    g_callBackGate.reset();
  }
  void TearDown() override {
    TLM_ProcExit();
    CDispatcherManager::setTimerTick(1000);
    g_callBackGate.reset();
  }
  // Starts the library. The sink is installed after the threads started; the ring lock taken
  // afterwards orders that before the data dispatcher's first look at the agent.
  void StartWith(const core_test::Pairs &pairs) {
    Start(pairs);
    CRecordSectionCacheManager::Instance()->getRingSize();
  }
  void InstallGateAgent(std::shared_ptr<Gate> gate) {
    CRecordSectionCacheManager::Instance()->setAgent(std::make_unique<GateAgent>(std::move(gate)));
    CRecordSectionCacheManager::Instance()->getRingSize();
  }
  // The trace lines that contain any of texts, each as the text it contains, in order.
  std::vector<std::u16string> TracedOf(const std::vector<std::u16string> &texts) const {
    std::vector<std::u16string> found;
    for (const auto &line : trace_.Lines()) {
      for (const auto &text : texts) {
        if (line.find(text) != std::u16string::npos) found.push_back(text);
      }
    }
    return found;
  }
};

// The lines that tell of the threads' starts and stops.
const std::vector<std::u16string> kThreadLines = {
    u"TLM trace timer thread is successfully triggered",
    u"Trace dispatcher thread is successfully triggered",
    u"TLM data timer thread is successfully triggered",
    u"Data dispatcher thread is successfully triggered",
    u"TLM trace timer is disabled since the interval is set to 0",
    u"TLM data timer is disabled since the interval is set to 0",
    u"Timer threads are successfully finished",
    u"Data sending threads are successfully finished"};
const std::u16string &kTimersDone = kThreadLines[6], &kSendersDone = kThreadLines[7];

TEST_F(DispatcherThreadsTest, StartAndStopTraceEachThreadInOrder) {
  // The two intervals, and the indexes in kThreadLines of the lines they bring, in order.
  const std::tuple<const char16_t *, const char16_t *, std::vector<int>> cases[] = {
      {u"5", u"60", {0, 1, 2, 3, 6, 7}},
      {u"5", u"0", {0, 1, 5, 6, 7}},  // traces flow without the data threads
      {u"0", u"0", {4, 5, 6, 7}}};
  for (const auto &[trace, data, indexes] : cases) {
    trace_.Clear();
    StartWith({{u"tracecheck_interval", trace}, {u"datasending_interval", data}});
    CDispatcherManager *manager = CDispatcherManager::Instance();
    EXPECT_TRUE(manager->isActive());
    EXPECT_TRUE(WaitUntil([&] {
      return manager->isTraceTimerActive() == (trace[0] != u'0') &&
             manager->isDataTimerActive() == (data[0] != u'0');
    }));
    TLM_ProcExit();
    std::vector<std::u16string> lines;
    for (int index : indexes) lines.push_back(kThreadLines[index]);
    EXPECT_EQ(TracedOf(kThreadLines), lines) << tlm_test::Utf8(trace_.Text());
  }
}

// The stop waits for a run under way however long it lasts, whether the sink or a call-back
// holds it, and the library then stops cleanly.
TEST_F(DispatcherThreadsTest, StopWaitsForTheRunUnderWay) {
  for (bool inCallBack : {false, true}) {
    SCOPED_TRACE(inCallBack ? "call-back" : "sink");
    trace_.Clear();
    auto gate = std::make_shared<Gate>();
    StartWith({{u"tracecheck_interval", u"0"}, {u"datasending_interval", u"15"}});
    if (inCallBack) {
      g_callBackGate = gate;
      TLM_registerResourceCallBack(1, GateCallBack, 1, 0);
    } else {
      InstallGateAgent(gate);
    }
    ASSERT_TRUE(WaitUntil([&] { return gate->arrivals.load() > 0; }));

    std::atomic<bool> stopped{false};
    std::thread stopper([&] {
      TLM_ProcExit();
      stopped = true;
    });
    std::this_thread::sleep_for(milliseconds(400));
    EXPECT_FALSE(stopped);
    EXPECT_TRUE(TracedOf({kSendersDone}).empty());
    gate->open.release();
    EXPECT_TRUE(WaitUntil([&] { return stopped.load(); }));
    stopper.join();
    EXPECT_EQ(TracedOf({kTimersDone, kSendersDone}),
              (std::vector<std::u16string>{kTimersDone, kSendersDone}));
    g_callBackGate.reset();
  }
}

}  // namespace
