// The trace text of a timing record. Placeholder: no text until trace documents are rendered.
#include "tlm/tlmmtrecord.h"

zulstring CMTRecord::getEMTraceXML(bool) { return zulstring(); }
