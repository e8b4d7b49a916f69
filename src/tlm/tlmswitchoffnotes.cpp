#include "tlm/tlmswitchoffnotes.h"

#include "tlm/tlmlibrary.h"
#include "tlm/tlmprofile/tlmparameterloader.h"

namespace tlmmain {

namespace {

// A line for each prefix with the threshold 0 in map; where tells which transactions that costs.
zulstring zeroThresholds(const CThresholdMap &map, const ZUL_UTF16 *where, const ZUL_UTF16 *key) {
  zulstring notes;
  for (const auto &[prefix, level] : map) {
    if (level != 0) continue;
    notes += u"Components " + prefix + u"|... are never timed " + where + u": their threshold in " +
             key + u" is 0\n";
  }
  return notes;
}

}  // namespace

zulstring switchOffNotes() {
  zulstring notes = tlmprofile::CParameterLoader::Instance()->getSwitchOffNotes();
  const std::shared_ptr<const CProcessSettings> settings = tlmlibrary::CurrentSettings();
  notes += zeroThresholds(settings->componentThresholds, u"outside traced transactions",
                          u"specific_component_level_thresholds");
  notes += zeroThresholds(settings->componentTraceThresholds, u"in traced transactions",
                          u"specific_component_level_thresholds_trace");
  return notes;
}

}  // namespace tlmmain
