// The sink of metric and trace text.
#ifndef TLM_TLMMTDATASENDINGAGENT_H
#define TLM_TLMMTDATASENDINGAGENT_H

#include "i18n/zulu16/zulstring.h"

// Each section manager owns one agent and uses it from one sending thread at a time. None of the
// operations may throw: a sink that can't take a text drops it.
class CMTDataSendingAgent {
 public:
  virtual ~CMTDataSendingAgent() = default;
  // True if data can be sent now; may do the work of connecting.
  virtual bool checkStatus() = 0;
  // Hands over one text.
  virtual void sendData(zulstring text) = 0;
  // What the other side has sent.
  virtual zulstring recvData() = 0;
};

#endif  // TLM_TLMMTDATASENDINGAGENT_H
