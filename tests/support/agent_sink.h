// Sinks for the texts that the section managers send in tests: installed as the manager's agent
// (after the manager's initialize(), whose agent it replaces), a sink keeps every text in memory.
//
//   tlm_test::MetricSink sink;  // or TraceSink: trace documents, the version event, string values
//   CRecordSectionCacheManager::Instance()->processData();
//   EXPECT_EQ(sink.Texts().size(), 1u);
//
// The manager owns the agent; the texts live in a state that the agent and the sink share, so
// either may go first.
#ifndef TLM_TEST_AGENT_SINK_H
#define TLM_TEST_AGENT_SINK_H

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tlm/tlmmtdatasendingagent.h"
#include "tlm/tlmrecordsectioncachemanager.h"
#include "tlm/tlmtracesectioncachemanager.h"

namespace tlm_test {

template <typename Manager>
class AgentSink {
 public:
  AgentSink() : state_(std::make_shared<State>()) {
    Manager::Instance()->setAgent(std::make_unique<Agent>(state_));
  }
  AgentSink(const AgentSink &) = delete;
  AgentSink &operator=(const AgentSink &) = delete;

  // The texts handed over so far, one per sendData call.
  std::vector<std::u16string> Texts() const {
    std::lock_guard<std::mutex> hold(state_->mutex);
    return state_->texts;
  }
  // All texts, one after the other.
  std::u16string Joined() const {
    std::u16string all;
    for (const auto &text : Texts()) all += text;
    return all;
  }
  void Clear() {
    std::lock_guard<std::mutex> hold(state_->mutex);
    state_->texts.clear();
  }
  // What checkStatus answers from now on.
  void SetReady(bool ready) { state_->ready = ready; }
  int StatusChecks() const { return state_->checks; }

 private:
  struct State {
    std::mutex mutex;
    std::vector<std::u16string> texts;
    std::atomic<bool> ready{true};
    std::atomic<int> checks{0};
  };

  class Agent : public CMTDataSendingAgent {
   public:
    explicit Agent(std::shared_ptr<State> state) : state_(std::move(state)) {}
    bool checkStatus() override {
      ++state_->checks;
      return state_->ready;
    }
    void sendData(zulstring text) override {
      std::lock_guard<std::mutex> hold(state_->mutex);
      state_->texts.push_back(std::move(text));
    }
    zulstring recvData() override { return zulstring(); }

   private:
    std::shared_ptr<State> state_;
  };

  std::shared_ptr<State> state_;
};

typedef AgentSink<CRecordSectionCacheManager> MetricSink;
typedef AgentSink<CTraceSectionCacheManager> TraceSink;

}  // namespace tlm_test

#endif  // TLM_TEST_AGENT_SINK_H
