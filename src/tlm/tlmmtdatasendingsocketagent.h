// The sink that writes every text to the monitoring agents over TCP.
#ifndef TLM_TLMMTDATASENDINGSOCKETAGENT_H
#define TLM_TLMMTDATASENDINGSOCKETAGENT_H

#include "tlm/tlmmtdatasendingagent.h"

// Placeholder until the network writer exists: always ready, and every text is dropped.
class CMTDataSendingSocketAgent : public CMTDataSendingAgent {
 public:
  bool checkStatus() override { return true; }
  void sendData(zulstring) override {}
  zulstring recvData() override { return zulstring(); }
};

#endif  // TLM_TLMMTDATASENDINGSOCKETAGENT_H
