// Outgoing passports of a transaction context and the fields of its incoming one.
#include "tlm/tlmmtcontext.h"
#include "tlm/tlmpassporthelper.h"
#include "tlm/tlmplatformhelper.h"
#include "tlm/tlmpreviouscomponent.h"
#include "zul_u16printf.h"

// A transaction that isn't traced end to end hands nothing on. Later passports of the context
// reuse the handle that the first one set.
zulstring CMTContext::getPassport() {
  if (traceLevel_ == TRACE_LEVEL_NONE) return zulstring();
  zulstring previous = tlmpassport::previousComponent(settings_->componentName);
  zulstring connection = getLocalConnId(false);
  uint32_t counter = getIncConnCounter(false);
  return PassportHelper::CreateOutgoingPassport(passportHandle_, connection.c_str(), counter,
                                                traceLevel_, previous.c_str());
}

zulstring CMTContext::getPassportElement(uint16_t element) const {
  switch (element) {
    case 1:
      return transactionId_;
    case 2:
      return rootContextId_;
    case 3:
      return connectionId_;
    case 4: {
      ZUL_UTF16 text[20];
      snprintfU16(text, 20, u"%d", static_cast<int>(connectionCounter_));
      return zulstring(text);
    }
    default:
      return zulstring();
  }
}

zulstring CMTContext::getLocalConnId(bool renew) {
  if (!renew && !localConnId_.empty()) return localConnId_;
  if (localConnId_.empty()) localConnId_ += TLMPlatformHelper::GetGUID();
  if (renew) localConnId_ = TLMPlatformHelper::GetGUID();
  return localConnId_;
}

// The first passport of a context carries 0.
uint32_t CMTContext::getIncConnCounter(bool reset) {
  if (reset) outgoingConnCounter_ = 0;
  return outgoingConnCounter_++;
}
