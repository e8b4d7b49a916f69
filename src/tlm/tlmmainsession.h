// Helpers of the exported functions: the session of an Ex call and null-safe text.
#ifndef TLM_TLMMAINSESSION_H
#define TLM_TLMMAINSESSION_H

#include "i18n/zulu16/zulstring.h"
#include "tlm.h"
#include "tlm/tlmplatformhelper.h"

namespace tlmmain {

// Text arguments may be null; null reads as empty text.
inline zulstring textOf(const ZUL_UTF16 *text) {
  return text == nullptr ? zulstring() : zulstring(text);
}

// The identifier that the application's function answers, in session. A null function, or an
// empty (or null) answer, is refused with an error line: false.
bool externalSession(TLM_SESSION_ID_FUNC function, zulstring &session);

}  // namespace tlmmain

#endif  // TLM_TLMMAINSESSION_H
