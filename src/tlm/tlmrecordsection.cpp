#include "tlm/tlmrecordsection.h"

#include "tlm/tlmmtdatasendingagent.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"

int64_t CRecordSection::sendStatData(CMTDataSendingAgent *agent,
                                     const CProcessSettings &settings) {
  const uint16_t agentType = TLMParameterHelper::GetAgentType();
  int64_t sent = 0;
  stats_.forEach([&](CMTStatRecord &record) {
    agent->sendData(record.sealedCopy().toMetricString(agentType, settings));
    ++sent;
  });
  return sent;
}

int64_t CRecordSection::sendResourceData(CMTDataSendingAgent *agent,
                                         const CProcessSettings &settings) {
  const uint16_t agentType = TLMParameterHelper::GetAgentType();
  int64_t sent = 0;
  resources_.forEach([&](const CMTResourceRecord &record) {
    if (!record.isUpdated()) return;
    agent->sendData(record.toMetricString(agentType, settings));
    ++sent;
  });
  return sent;
}

void CRecordSection::copyStatData(CRecordSection *target) {
  stats_.copyTo(target->stats_,
                [](const CMTStatRecord &record) { return record.getActiveCounter() != 0; });
}

void CRecordSection::copyResourceData(CRecordSection *target) {
  resources_.copyTo(target->resources_, [](const CMTResourceRecord &) { return true; });
}
