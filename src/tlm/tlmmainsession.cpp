// The session identifier of the Ex functions.
#include "tlm/tlmmainsession.h"

#define DPTRC_MODULE u"tlmmain"

#include "zul_dptrace.h"

namespace tlmmain {

bool externalSession(TLM_SESSION_ID_FUNC function, zulstring &session) {
  if (function == nullptr) {
    DPTRC_ERR(tf, u"Get sessionId function point is NULL\n");
    return false;
  }
  session = textOf(function());
  if (session.empty()) {
    DPTRC_ERR(tf, u"External sessionId function returns the empty sessionId\n");
    return false;
  }
  return true;
}

}  // namespace tlmmain
