// The text by which an outgoing passport names the component that sent it.
#ifndef TLM_TLMPREVIOUSCOMPONENT_H
#define TLM_TLMPREVIOUSCOMPONENT_H

#include "i18n/zulu16/zulstring.h"

namespace tlmpassport {

// "<system name>-<component name>-<host name>", cut to the 32 units that a passport carries. The
// host is "unknown" when its name can't be had.
zulstring previousComponent(const zulstring &componentName);

}  // namespace tlmpassport

#endif  // TLM_TLMPREVIOUSCOMPONENT_H
