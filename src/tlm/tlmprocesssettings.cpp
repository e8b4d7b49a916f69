// The process settings: identity texts, the skip-times prefixes and the per-component threshold
// lists. Both lists keep the parsing that configurations have been written against, described on
// each function.
#include "tlm/tlmprocesssettings.h"

#include "tlm/tlmplatformhelper.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "zul_u16printf.h"
#include "zul_u16string.h"

namespace {

const zulstring::size_type npos = zulstring::npos;

// True when name starts with prefix followed by "|", so that only a whole first segment matches.
bool startsWithSegment(const zulstring &name, const zulstring &prefix) {
  return name.size() > prefix.size() && name[prefix.size()] == u'|' &&
         name.compare(0, prefix.size(), prefix) == 0;
}

// One level list's share of an item: from cursor up to the next comma. No comma: nothing, the
// cursor stays. A comma at the cursor: an empty item, stepped over. Otherwise the number at the
// cursor goes into map under name unless the name is there, and the cursor passes the comma.
void takeLevel(const zulstring &list, size_t &cursor, const zulstring &name, CThresholdMap &map) {
  size_t comma = list.find(u',', cursor);
  if (comma == npos) return;
  if (comma == cursor) {
    cursor = comma + 1;
    return;
  }
  // The cut's count is the comma's position in the whole list; the number ends at the comma.
  zulstring cut = list.substr(cursor, comma);
  uint16_t level = static_cast<uint16_t>(strtolU16(cut.c_str(), nullptr, 10));
  map.emplace(name, level);
  cursor = comma + 1;
}

}  // namespace

std::shared_ptr<const CProcessSettings> CProcessSettings::FromConfiguration(
    const zulstring &component, const zulstring &pidText) {
  auto settings = std::make_shared<CProcessSettings>();
  settings->componentName = component;
  settings->pidString = pidText;
  ParseSkipTimePrefixList(TLMParameterHelper::GetSkipTimesNameListStr(),
                          settings->skipTimePrefixes);
  ParseSpeInstruPrefixList(TLMParameterHelper::GetSpeCompNameListStr(),
                           TLMParameterHelper::GetSpeCompLevelListStr(),
                           TLMParameterHelper::GetSpeCompTraceLevelListStr(),
                           settings->componentThresholds, settings->componentTraceThresholds);
  return settings;
}

std::shared_ptr<const CProcessSettings> SettingsOf(const CProcessSettingsHolder *holder) {
  if (holder != nullptr) return holder->get();
  return std::make_shared<const CProcessSettings>();
}

const CProcessSettings *SettingsViewOf(const CProcessSettingsHolder *holder) {
  static const CProcessSettings *const empty = new CProcessSettings();
  return holder != nullptr ? holder->view() : empty;
}

bool CProcessSettings::checkSkipName(const zulstring &name) const {
  for (const zulstring &prefix : skipTimePrefixes) {
    if (startsWithSegment(name, prefix)) return true;
  }
  return false;
}

bool CProcessSettings::checkSkipTimes(const zulstring &name, int32_t elapsed) const {
  if (!checkSkipName(name)) return true;
  // A listed name is recorded only when it took less time than the threshold.
  return static_cast<int64_t>(TLMParameterHelper::GetSkipTimesBelowThreshold()) > elapsed;
}

zulstring CProcessSettings::processPrefix() const {
  zulstring prefix = TLMParameterHelper::GetSystemName();
  if (!componentName.empty()) prefix.append(u"|").append(componentName);
  if (!pidString.empty()) prefix.append(u"_").append(pidString);
  return prefix;
}

zulstring CProcessSettings::metricPrefix() const {
  zulstring prefix = processPrefix();
  if (!instancePrefix.empty()) prefix.append(u"|").append(instancePrefix);
  return prefix;
}

// The comma is found once and never searched again: after the first name, the cut behind the
// comma, counted by the comma's position, is appended without end. skip_times_in_names must
// therefore hold a single name; a comma in it makes the start run until memory is exhausted,
// which is a fault of the configuration that the library doesn't guard against.
void CProcessSettings::ParseSkipTimePrefixList(const zulstring &list,
                                               std::vector<zulstring> &prefixes) {
  if (list.size() < 1) return;
  size_t comma = list.find(u',');
  if (comma == npos) {
    prefixes.push_back(list);
    return;
  }
  prefixes.push_back(list.substr(0, comma));
  size_t start = comma + 1;
  while (comma != npos) prefixes.push_back(list.substr(start, comma));
}

// Each item of the three lists is closed by a comma, and a last item without one is never read;
// a names text without any comma enters nothing. A name is cut with the comma's position in the
// whole text as its count, so only the first name is the item itself: a later one runs past its
// comma by as many units as its start, and can never match a record name.
void CProcessSettings::ParseSpeInstruPrefixList(const zulstring &names, const zulstring &levels,
                                                const zulstring &traceLevels,
                                                CThresholdMap &thresholds,
                                                CThresholdMap &traceThresholds) {
  if (names.empty()) return;
  size_t comma = names.find(u',');
  size_t nameCursor = 0;
  size_t levelCursor = 0;
  size_t traceLevelCursor = 0;
  while (comma != npos) {
    if (comma == nameCursor) {
      nameCursor = comma + 1;
      comma = names.find(u',', nameCursor);
      continue;
    }
    zulstring name = names.substr(nameCursor, comma);
    takeLevel(levels, levelCursor, name, thresholds);
    takeLevel(traceLevels, traceLevelCursor, name, traceThresholds);
    nameCursor = comma + 1;
    comma = names.find(u',', nameCursor);
  }
}

zulstring CProcessSettings::PIDText(short option) {
  if (option == -1) return TLMPlatformHelper::GetProcessId();
  ZUL_UTF16 text[20];
  snprintfU16(text, 20, u"%d", static_cast<int>(option));
  return text;
}
