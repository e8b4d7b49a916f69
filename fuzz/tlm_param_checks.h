// The bounds that the conversion of the configuration guarantees, whatever the texts were; shared
// by the fuzz targets of the configuration's sources.
#ifndef FUZZ_TLM_PARAM_CHECKS_H
#define FUZZ_TLM_PARAM_CHECKS_H

#include "fuzz_support.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"

inline void CheckConvertedNumbers() {
  using H = TLMParameterHelper;
  const uint32_t sending = H::GetDataSendingInterval();
  const uint32_t zombie_check = H::GetZombieCheckInterval();
  FUZZ_REQUIRE(sending == 0 || sending >= 15);
  FUZZ_REQUIRE(zombie_check == 0 || zombie_check >= sending);
  FUZZ_REQUIRE(H::GetZombieTimeout() >= zombie_check && H::GetEmptyTimeout() >= zombie_check);
  FUZZ_REQUIRE(H::GetTraceCheckInterval() != 1);
  FUZZ_REQUIRE(H::GetTraceSizeThreshold() >= 10000);
  FUZZ_REQUIRE(H::GetTracePreviewTimeout() >= 30);
  FUZZ_REQUIRE(H::GetAutoTransactionTraceThreshold() >= 60);
  FUZZ_REQUIRE(H::GetSectionCount() >= 2);
  FUZZ_REQUIRE(H::GetContextMapBucket() == 7 || H::GetContextMapBucket() == 13);
}

#endif  // FUZZ_TLM_PARAM_CHECKS_H
