// Static helpers of the instrumentation core for clocks, session identifiers and GUIDs.
#ifndef TLM_TLM_TLMPLATFORMHELPER_H
#define TLM_TLM_TLMPLATFORMHELPER_H

#include "i18n/zulu16/zulstring.h"

class TLMPlatformHelper {
 public:
  TLMPlatformHelper() = delete;

  // A new time-based identifier as 32 capital hexadecimal digits; empty text when none could be
  // made or printed.
  static zulstring GetGUID();
};

#endif  // TLM_TLM_TLMPLATFORMHELPER_H
