// Why instrumentation is switched off, in words, for the library's trace.
#ifndef TLM_TLMSWITCHOFFNOTES_H
#define TLM_TLMSWITCHOFFNOTES_H

#include "i18n/zulu16/zulstring.h"

namespace tlmmain {

// The configuration's notes (CParameterLoader::getSwitchOffNotes), then a line for each component
// prefix whose own threshold is 0, so that its components are never timed. One note a line; empty
// when there is nothing to say. Reads the registry: call it once the library is started.
zulstring switchOffNotes();

}  // namespace tlmmain

#endif  // TLM_TLMSWITCHOFFNOTES_H
