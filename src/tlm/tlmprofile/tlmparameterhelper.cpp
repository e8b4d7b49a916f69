#include "tlm/tlmprofile/tlmparameterhelper.h"

#include <memory>

#include "tlm/tlmprofile/tlmparameterkeys.h"
#include "tlm/tlmprofile/tlmprofile.h"
#include "zul_u16printf.h"
#include "zul_u16sys.h"

using tlmprofile::CFlatfileProfile;
using tlmprofile::CMemoryProfile;
using tlmprofile::CParameterLoader;
using tlmprofile::kDefaultParameterCount;
using tlmprofile::kDefaultParameters;
namespace key = tlmprofile::key;

namespace {

// The dynamic flag of the built-in key at index; false past their end.
bool defaultDynamic(size_t index) {
  return index < kDefaultParameterCount && kDefaultParameters[index].dynamic;
}

CMemoryProfile *defaultProfile() {
  zulstring names[kDefaultParameterCount];
  zulstring values[kDefaultParameterCount];
  bool dynamic[kDefaultParameterCount];
  for (size_t i = 0; i < kDefaultParameterCount; ++i) {
    names[i] = kDefaultParameters[i].name;
    values[i] = kDefaultParameters[i].value;
    dynamic[i] = kDefaultParameters[i].dynamic;
  }
  return new CMemoryProfile(names, values, dynamic, kDefaultParameterCount);
}

// The application's pairs carry the built-in flags by position; they take effect only for keys
// that the defaults don't have, since for the others only the value is merged.
CMemoryProfile *pairProfile(const zulstring names[], const zulstring values[], uint32_t count) {
  std::unique_ptr<bool[]> dynamic(new bool[count]);
  for (uint32_t i = 0; i < count; ++i) dynamic[i] = defaultDynamic(i);
  return new CMemoryProfile(names, values, dynamic.get(), count);
}

void loadFromDirectory(const zulstring &path) {
  CParameterLoader *loader = CParameterLoader::Instance();
  loader->setPath(path);
  loader->addProfile(defaultProfile());
  loader->addProfile(new CFlatfileProfile(tlmprofile::kConfigFileName));
  loader->loadParameters();
  loader->convertParameters();
}

zulstring value(const ZUL_UTF16 *name) {
  return CParameterLoader::Instance()->getParameterValue(name);
}

// Sets name to number in the "%d" form, in a buffer of 10 units as the store has always been
// given it; a number of ten or more characters is cut to its first nine.
bool updateNumber(const ZUL_UTF16 *name, int number) {
  ZUL_UTF16 text[10];
  snprintfU16(text, 10, u"%d", number);
  return TLMParameterHelper::UpdateParamValue(name, text);
}

}  // namespace

void TLMParameterHelper::LoadParameters() {
  const ZUL_UTF16 *configured = getenvU16(u"TLM_CONFIG");
  bool set = configured != nullptr && configured[0] != 0;
  loadFromDirectory(set ? zulstring(configured) : zulstring(tlmprofile::kDefaultConfigPath));
}

void TLMParameterHelper::ConfigParameters(const zulstring &path) { loadFromDirectory(path); }

void TLMParameterHelper::ConfigParameters(const zulstring names[], const zulstring values[],
                                          uint32_t count) {
  CParameterLoader *loader = CParameterLoader::Instance();
  loader->addProfile(defaultProfile());
  loader->addProfile(pairProfile(names, values, count));
  loader->loadParameters();
  loader->convertParameters();
}

void TLMParameterHelper::ConfigPairs(uint32_t count, const ZUL_UTF16 *pairs[][2]) {
  if (count > kMaxStartPairs) return;
  auto isEmpty = [](const ZUL_UTF16 *text) { return text == nullptr || text[0] == 0; };
  zulstring names[kMaxStartPairs];
  zulstring values[kMaxStartPairs];
  uint32_t kept = 0;
  for (uint32_t i = 0; pairs != nullptr && i < count; ++i) {
    if (isEmpty(pairs[i][0]) || isEmpty(pairs[i][1])) continue;
    names[kept] = pairs[i][0];
    values[kept] = pairs[i][1];
    ++kept;
  }
  ConfigParameters(names, values, kept);
}

zulstring TLMParameterHelper::GetDataSendingMethod() { return value(key::kDataSendingMethod); }
zulstring TLMParameterHelper::GetLogDir() { return value(key::kLogDir); }
zulstring TLMParameterHelper::GetSystemName() { return value(key::kSystemName); }
zulstring TLMParameterHelper::GetAgentHost() { return value(key::kAgentHost); }
zulstring TLMParameterHelper::GetAgentHost2() { return value(key::kAgentHostN[0]); }
zulstring TLMParameterHelper::GetAgentHost3() { return value(key::kAgentHostN[1]); }
zulstring TLMParameterHelper::GetAgentHost4() { return value(key::kAgentHostN[2]); }
zulstring TLMParameterHelper::GetAgentHost5() { return value(key::kAgentHostN[3]); }
zulstring TLMParameterHelper::GetSpeCompNameListStr() {
  return value(key::kSpecificComponentNames);
}
zulstring TLMParameterHelper::GetSpeCompLevelListStr() {
  return value(key::kSpecificComponentLevelThresholds);
}
zulstring TLMParameterHelper::GetSpeCompTraceLevelListStr() {
  return value(key::kSpecificComponentLevelThresholdsTrace);
}
zulstring TLMParameterHelper::GetSkipTimesNameListStr() { return value(key::kSkipTimesInNames); }

zulstring TLMParameterHelper::GetParamValue(const zulstring &name) {
  return CParameterLoader::Instance()->getParameterValue(name);
}

zulstring TLMParameterHelper::GetParameters() {
  return CParameterLoader::Instance()->getActiveParamList();
}

void TLMParameterHelper::PrintParameters() { CParameterLoader::Instance()->printActiveParamList(); }

void TLMParameterHelper::SetInstruLevelThreshold(uint16_t level) {
  updateNumber(key::kInstrumentLevelThreshold, level);
}

void TLMParameterHelper::SetSendingInterval(uint32_t seconds) {
  if (seconds < 15) seconds = 15;
  updateNumber(key::kDataSendingInterval, static_cast<int>(seconds));
}

void TLMParameterHelper::SetEMTraceEnablingStatus(bool enabled) {
  UpdateParamValue(key::kTraceEnabledViaEM, enabled ? u"1" : u"0");
}

void TLMParameterHelper::SetE2ETraceEnablingStatus(bool enabled) {
  UpdateParamValue(key::kTraceEnabledViaE2E, enabled ? u"1" : u"0");
}

bool TLMParameterHelper::UpdateParamValue(const zulstring &name, const zulstring &value) {
  return CParameterLoader::Instance()->updParameterValue(name, value);
}

void TLMParameterHelper::CleanUp() { CParameterLoader::release(); }
