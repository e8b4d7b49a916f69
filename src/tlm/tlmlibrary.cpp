#include "tlm/tlmlibrary.h"

namespace tlmlibrary {
namespace {

// Set at start and cleared at stop, both single-threaded with respect to the exported calls.
CProcessSettingsHolder *holder = nullptr;

}  // namespace

CProcessSettingsHolder *Settings() { return holder; }

std::shared_ptr<const CProcessSettings> CurrentSettings() { return SettingsOf(holder); }

const CProcessSettings *CurrentSettingsView() { return SettingsViewOf(holder); }

void InstallSettings(std::unique_ptr<CProcessSettingsHolder> next) {
  delete holder;
  holder = next.release();
}

}  // namespace tlmlibrary
