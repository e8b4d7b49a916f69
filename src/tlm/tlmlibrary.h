// The process settings of the started library, as the exported functions reach them to hand
// them down: to the managers at start, to each context at its creation or reset.
#ifndef TLM_TLMLIBRARY_H
#define TLM_TLMLIBRARY_H

#include <memory>

#include "tlm/tlmprocesssettings.h"

namespace tlmlibrary {

// The holder of the started library; null while stopped.
CProcessSettingsHolder *Settings();
// The current snapshot; empty settings while stopped.
std::shared_ptr<const CProcessSettings> CurrentSettings();
// The same without a share, for contexts: valid until the library stops.
const CProcessSettings *CurrentSettingsView();
// Installs the holder of a start, or removes it (null) at stop, after the managers that point
// to it are gone.
void InstallSettings(std::unique_ptr<CProcessSettingsHolder> holder);

}  // namespace tlmlibrary

#endif  // TLM_TLMLIBRARY_H
