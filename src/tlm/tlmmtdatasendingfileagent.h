// The sink that appends every text to the metric log file.
#ifndef TLM_TLMMTDATASENDINGFILEAGENT_H
#define TLM_TLMMTDATASENDINGFILEAGENT_H

#include "tlm/tlmmtdatasendingagent.h"

// Placeholder until the file writer exists: always ready, and every text is dropped.
class CMTDataSendingFileAgent : public CMTDataSendingAgent {
 public:
  bool checkStatus() override { return true; }
  void sendData(zulstring) override {}
  zulstring recvData() override { return zulstring(); }
};

#endif  // TLM_TLMMTDATASENDINGFILEAGENT_H
