// The trace documents of a transaction context. Stand-ins: the documents themselves are rendered
// by the trace document writer, which takes over these bodies; until then each form is empty
// text, as for a context without a root record, and the callers hand it on all the same.
#include "tlm/tlmmtcontext.h"

zulstring CMTContext::getEMTraceXML() { return zulstring(); }

zulstring CMTContext::getEMTraceXMLForPreviewTimeout() { return zulstring(); }

zulstring CMTContext::getEMTraceXMLForAutoPromotion() { return zulstring(); }

zulstring CMTContext::getErrorTraceForMaxComponents() { return zulstring(); }

zulstring CMTContext::getErrorTraceForLargeSize() { return zulstring(); }

zulstring CMTContext::getErrorTraceForZombie() { return zulstring(); }
