#include "tlm/tlmmtdatasendingsocketagent.h"

#include "metrics_test_support.h"
#include "tcp_peer.h"
#include "tlm/tlmmtdatasendingfileagent.h"
#include "trace_capture.h"
#include "zul_ni.h"

namespace {

using tlm_test::TcpPeer;

const std::u16string kFirstTime = u"NI raw handle gets initialized successfully for the first time";
const std::u16string kIdleFailed =
    u"NI raw handle failed to be initilized at IDEL to CONNECTED, connection to agent destination "
    u"failed to be established  in agent 1";
const std::u16string kRestored =
    u"NI raw handle gets restored successfully from the previous broken connection in agent 1\n";

// An agent over a configuration of pairs, with the network interface started and the trace in
// memory at level 2.
class SocketAgentTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(NiInit(), ZUL_O_K); }
  void TearDown() override {
    agent_.reset();
    TLMParameterHelper::CleanUp();
    NiExit();
  }
  CMTDataSendingSocketAgent &Make(const metrics_test::Pairs &pairs) {
    metrics_test::Configure(pairs);
    agent_ = std::make_unique<CMTDataSendingSocketAgent>();
    return *agent_;
  }
  // The agent of destination i at ports[i], with a send time-out in ms.
  CMTDataSendingSocketAgent &MakeFor(const std::vector<uint16_t> &ports,
                                     const std::u16string &timeoutMs = u"500") {
    metrics_test::Pairs pairs = {{u"_socket_send_timeout", timeoutMs}};
    for (size_t i = 0; i < ports.size(); ++i) {
      const std::u16string suffix = i == 0 ? u"" : u"_" + TcpPeer::Text(i + 1);
      pairs.push_back({u"agent_host" + suffix, u"127.0.0.1"});
      pairs.push_back({u"agent_port" + suffix, TcpPeer::Text(ports[i])});
    }
    return Make(pairs);
  }

  tlm_test::TraceCapture trace_{2};
  std::unique_ptr<CMTDataSendingSocketAgent> agent_;
};

// A name that fails adds a flag and a state but no host, so later destinations read the flags of
// earlier positions: callers depend on that misalignment.
TEST_F(SocketAgentTest, FailedNamesShiftTheFlagsOfLaterDestinations) {
  TcpPeer peer;
  const std::u16string port = peer.PortText();
  struct Case {
    std::u16string host1, host2;
    std::vector<zulstring> hosts;
    std::vector<uint16_t> flags;
    bool ready;
    int accepts;
    const char16_t *message;
  } cases[] = {
      // clang-format off
      {u"127.0.0.1", u"", {u"127.0.0.1"}, {1}, true, 1, nullptr},
      {u"127.0.0.1", u"/H/x", {u"127.0.0.1"}, {1, 2}, true, 1,
       u"2nd agent failed to be initilized due to incorrect host setting!"},
      {u"/H/x", u"127.0.0.1", {u"127.0.0.1"}, {2, 0}, true, 0,
       u"Main agent failed to be initilized due to incorrect host setting!"},
      {u"", u"", {}, {2}, false, 0,
       u"Main agent failed to be initilized due to incorrect host setting!"},
      // clang-format on
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(tlm_test::Utf8(c.host1 + u"," + c.host2));
    trace_.Clear();
    CMTDataSendingSocketAgent &agent = Make({{u"agent_host", c.host1},
                                             {u"agent_port", port},
                                             {u"agent_host_2", c.host2},
                                             {u"agent_port_2", port}});
    EXPECT_EQ(agent.checkStatus(), c.ready);
    EXPECT_EQ(agent.hosts(), c.hosts);
    EXPECT_EQ(agent.connectionFlags(), c.flags);
    int accepts = 0;
    while (peer.Accept(c.accepts > accepts ? 1000 : 50) >= 0) ++accepts;
    EXPECT_EQ(accepts, c.accepts);
    if (c.message) {
      EXPECT_EQ(tlm_test::Count(trace_.Text(), c.message), 1u);
    }
  }
}

// Each text is one raw write of its UTF-8 bytes, no header, the same bytes the file agent writes;
// a text that can't be converted goes nowhere.
TEST_F(SocketAgentTest, SendsTheFileAgentsBytes) {
  TcpPeer peer;
  CMTDataSendingSocketAgent &agent = MakeFor({peer.Port()});
  ASSERT_TRUE(agent.checkStatus());
  const int fd = peer.Accept(1000);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(tlm_test::Count(trace_.Text(), kFirstTime + u" in agent 1\n"), 1u);
  const std::u16string texts[] = {u"A|B 1 2 3\n", u"", u"caf\u00e9 \u20ac \U0001F600\n",
                                  std::u16string(70000, u'x') + u"\n"};
  std::string expected;
  for (const std::u16string &text : texts) {
    agent.sendData(text);
    expected += CMTDataSendingFileAgent::GetUtf8(text);
  }
  agent.sendData(std::u16string(u"bad \xD800 half pair\n"));
  EXPECT_EQ(TcpPeer::ReadFor(fd, 300), expected);
  EXPECT_EQ(tlm_test::Count(trace_.Text(), u"UTF conversion error!"), 1u);
}

// Down at start: one error per outage and nothing sent; back: "restored" and data flows; reset by
// the peer: the write fails once with its code, and the next check reconnects without a message
// of its own above level 2.
TEST_F(SocketAgentTest, OutagesAreReportedOnceAndRecoveredAtTheNextCheck) {
  uint16_t port;
  { port = TcpPeer().Port(); }  // a port nobody listens on now
  MakeFor({port});
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(agent_->checkStatus());
  EXPECT_EQ(tlm_test::Count(trace_.Text(), kIdleFailed), 1u);
  EXPECT_EQ(agent_->states(), std::vector<uint16_t>{CMTDataSendingSocketAgent::kBroken});

  TcpPeer peer(16, port);
  ASSERT_TRUE(peer.Listening());
  ASSERT_TRUE(agent_->checkStatus());
  EXPECT_EQ(tlm_test::Count(trace_.Text(), kRestored), 1u);
  int fd = peer.Accept(1000);
  ASSERT_GE(fd, 0);
  agent_->sendData(u"one\n");
  EXPECT_EQ(TcpPeer::ReadFor(fd, 200), "one\n");

  peer.Reset(fd);
  // The first write after a reset may still reach the kernel; the loss shows by the second.
  for (int i = 0; i < 2 && agent_->connectionFlags()[0] == 1; ++i) agent_->sendData(u"lost\n");
  EXPECT_EQ(tlm_test::Count(trace_.Text(),
                            u"Failed to send metric data through the socket interface, errorcode: "
                            u"-6in agent 1"),
            1u);
  trace_.Clear();
  ASSERT_TRUE(agent_->checkStatus());
  EXPECT_EQ(trace_.Text().find(kRestored), std::u16string::npos);
  EXPECT_EQ(trace_.Text().find(kFirstTime), std::u16string::npos);
  EXPECT_EQ(
      tlm_test::Count(trace_.Text(), u"NI raw handle gets initialized successfully  in agent 1\n"),
      1u);
  fd = peer.Accept(1000);
  ASSERT_GE(fd, 0);
  agent_->sendData(u"two\n");
  EXPECT_EQ(TcpPeer::ReadFor(fd, 200), "two\n");
}

// Fills a listener's accept queue so that the next connect gets no answer and waits.
std::vector<int> FillBacklog(uint16_t port) {
  std::vector<int> fds;
  for (int i = 0; i < 8; ++i) {
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(port);
    connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr);
    fds.push_back(fd);
    pollfd p{fd, POLLOUT, 0};
    if (poll(&p, 1, 100) == 0) break;  // this one waits: the queue is full
  }
  return fds;
}

// Five agents, one refusing and one with a full queue: the three live ones get the same bytes,
// and a check costs at most one time-out for the one that doesn't answer.
TEST_F(SocketAgentTest, LiveAgentsGetIdenticalStreamsBesideDeadOnes) {
  TcpPeer live[3];
  TcpPeer full(0);
  uint16_t refused;
  { refused = TcpPeer().Port(); }
  std::vector<int> queued = FillBacklog(full.Port());
  CMTDataSendingSocketAgent &agent =
      MakeFor({live[0].Port(), refused, live[1].Port(), full.Port(), live[2].Port()}, u"300");
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(agent.checkStatus());
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(300 + 400));
  EXPECT_EQ(agent.connectionFlags(), (std::vector<uint16_t>{1, 0, 1, 0, 1}));
  for (const char16_t *text : {u"m 1\n", u"t \u00fc\n", u"m 2\n"}) agent.sendData(text);
  for (TcpPeer &peer : live) {
    const int fd = peer.Accept(1000);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(TcpPeer::ReadFor(fd, 200), "m 1\nt \xc3\xbc\nm 2\n");
  }
  for (int fd : queued) close(fd);
}

}  // namespace
