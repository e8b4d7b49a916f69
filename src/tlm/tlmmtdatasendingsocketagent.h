// The sink that writes every text to up to five monitoring agents over TCP.
#ifndef TLM_TLMMTDATASENDINGSOCKETAGENT_H
#define TLM_TLMMTDATASENDINGSOCKETAGENT_H

#include <cstdint>
#include <vector>

#include "tlm/tlmmtdatasendingagent.h"

// Sends each text, as UTF-8 and without any framing, over one raw connection of the network
// interface per destination. Destinations are agent 1 (always tried) and agents 2 to 5 (those
// with a host). A host name is tested once, at construction; a name that fails then is never
// looked at again.
//
// The vectors are kept as they have always been: a destination whose name failed adds a
// connection flag and a state but no host, handle, type or port. Every operation indexes by the
// position in the hosts vector, so a later destination reads the flag and state of an earlier,
// failed one. Callers depend on that (a failed agent 1 silences a good agent 2), so it stays.
//
// Nothing an agent does reaches the caller: a connection that can't be made or a write that fails
// loses that text for that destination, and the next checkStatus() tries to connect again. Every
// connect and write ends within the send time-out.
//
// No locks: the owning manager's in-process flag lets one thread at a time use an agent.
class CMTDataSendingSocketAgent : public CMTDataSendingAgent {
 public:
  // Per-destination connection flags and states.
  enum ConnectionFlag : uint16_t { kNotConnected = 0, kConnected = 1, kUnusableHost = 2 };
  enum State : uint16_t { kIdle = 0, kStateConnected = 1, kBroken = 2 };

  CMTDataSendingSocketAgent();
  ~CMTDataSendingSocketAgent() override;
  CMTDataSendingSocketAgent(const CMTDataSendingSocketAgent &) = delete;
  CMTDataSendingSocketAgent &operator=(const CMTDataSendingSocketAgent &) = delete;

  // Connects each position whose flag is 0, at most one attempt per position. True while at least
  // one position counts as working; connected positions count without any test.
  bool checkStatus() noexcept override;
  // One raw write of the text's UTF-8 bytes to each connected position.
  void sendData(zulstring text) noexcept override;
  // Up to 4095 units read from the first position's handle, if it is connected.
  zulstring recvData() noexcept override;

  // For tests: the vectors as they stand.
  const std::vector<zulstring> &hosts() const { return hosts_; }
  const std::vector<uint16_t> &connectionFlags() const { return connectionFlags_; }
  const std::vector<uint16_t> &states() const { return states_; }

 private:
  // Adds one destination (number 1 to 5) with its settings, testing the host name.
  void addDestination(int number, const zulstring &host, uint16_t port, uint16_t type) noexcept;
  // The connect step of checkStatus() for position i; false if it failed.
  bool connect(size_t i) noexcept;

  std::vector<int32_t> handles_;
  std::vector<uint16_t> types_;  // kept, and not read further
  std::vector<zulstring> hosts_;
  std::vector<uint16_t> ports_;
  std::vector<uint16_t> connectionFlags_;
  std::vector<uint16_t> states_;
  uint32_t sendTimeoutMs_ = 0;
  uint32_t recvTimeoutMs_ = 0;
};

#endif  // TLM_TLMMTDATASENDINGSOCKETAGENT_H
