// The name and value pairs of TLM_ProcInitWithParam, taken through the configuration's start-up
// path without starting the library: the pairs are filtered, merged over the built-in defaults
// and converted. The active values and the whole report must be those of the merge rule (a pair
// overrides a default, the first of two pairs stands, null or empty halves drop a pair, more than
// 26 pairs apply nothing), the bounds of the conversion must hold, and a run-time update must
// succeed exactly for the dynamic keys.
//
// Input: byte 0 is the pair count (0 to 31); then name and value fields separated by zero bytes,
// one unit per byte (0xFF and two more bytes give any unit). A field of the one byte 0xFE is a
// null pointer, a name of one byte from 1 to 43 is that valid key, missing fields are null.
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "tlm/tlmprofile/tlmparameterkeys.h"
#include "tlm_param_checks.h"
#include "zul_u16string.h"

namespace {

using H = TLMParameterHelper;
using tlmprofile::kDefaultParameters;
using tlmprofile::kValidKeys;

struct Expected {
  std::u16string value;
  bool dynamic;
};

// Texts of the fields; has_text false for a null pointer.
struct Field {
  bool has_text;
  std::u16string text;
};

Field MakeField(const std::vector<uint8_t> &bytes, bool is_name) {
  if (bytes.size() == 1 && bytes[0] == 0xFE) return {false, u""};
  if (is_name && bytes.size() == 1 && bytes[0] >= 1 && bytes[0] <= tlmprofile::kValidKeyCount)
    return {true, kValidKeys[bytes[0] - 1]};
  std::u16string text = fuzzsupport::Units(bytes.data(), bytes.size());
  return {true, text.substr(0, text.find(u'\0'))};
}

bool IsValid(const std::u16string &name) {
  for (const ZUL_UTF16 *key : kValidKeys)
    if (name == key) return true;
  return false;
}

// The merge: defaults first; a pair's value replaces it, a new key takes the dynamic flag of
// the default at the pair's position among those kept; the first of two pairs stands.
std::map<std::u16string, Expected> Merge(const std::vector<Field> &fields, uint32_t count) {
  std::map<std::u16string, Expected> merged;
  for (const auto &p : kDefaultParameters) merged[p.name] = {p.value, p.dynamic};
  std::map<std::u16string, bool> seen;
  size_t kept = 0;
  for (uint32_t i = 0; i < count; ++i) {
    const Field &name = fields[2 * i];
    const Field &value = fields[2 * i + 1];
    if (name.text.empty() || value.text.empty()) continue;
    const bool dynamic =
        kept < tlmprofile::kDefaultParameterCount && kDefaultParameters[kept].dynamic;
    ++kept;
    if (!seen.emplace(name.text, true).second) continue;
    auto it = merged.find(name.text);
    if (it == merged.end()) {
      merged[name.text] = {value.text, dynamic};
    } else {
      it->second.value = value.text;
    }
  }
  return merged;
}

std::u16string Report(const std::map<std::u16string, Expected> &merged) {
  std::u16string report =
      u"TLM configuration path not set, default used\nCurrent TLM Configuration:\n";
  for (const auto &[name, expected] : merged) {
    report += name + u"=" + expected.value + u";";
    if (!IsValid(name)) report += u"<-- This parameter is not valid!";
    report += u"\n";
  }
  return report;
}

// Two rules of the conversion that depend on the text alone.
void CheckRules(const std::map<std::u16string, Expected> &merged) {
  auto number = [&](const ZUL_UTF16 *key) {
    auto it = merged.find(key);
    return it == merged.end() ? 0 : strtolU16(it->second.value.c_str(), nullptr, 10);
  };
  const auto sending = static_cast<uint32_t>(number(tlmprofile::key::kDataSendingInterval));
  FUZZ_REQUIRE(H::GetDataSendingInterval() == (sending >= 1 && sending <= 14 ? 15 : sending));
  const auto bucket = static_cast<uint16_t>(number(tlmprofile::key::kContextMapBucket));
  FUZZ_REQUIRE(H::GetContextMapBucket() == (bucket <= 7 ? 7 : 13));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const uint32_t count = data[0] % 32;
  const auto bytes = fuzzsupport::Fields(data + 1, size - 1, 0);
  std::vector<Field> fields;
  for (size_t i = 0; i < 2 * count; ++i)
    fields.push_back(i < bytes.size() ? MakeField(bytes[i], i % 2 == 0) : Field{false, u""});
  // Exactly count pairs on the heap, so that a read beyond them is caught.
  std::unique_ptr<const ZUL_UTF16 *[][2]> pairs(new const ZUL_UTF16 *[count][2]);
  for (uint32_t i = 0; i < count; ++i)
    for (int half = 0; half < 2; ++half)
      pairs[i][half] = fields[2 * i + half].has_text ? fields[2 * i + half].text.c_str() : nullptr;

  H::ConfigPairs(count, count > 0 ? pairs.get() : nullptr);
  if (count > H::kMaxStartPairs) {
    FUZZ_REQUIRE(H::GetParameters() == Report({}));
  } else {
    const auto merged = Merge(fields, count);
    FUZZ_REQUIRE(H::GetParameters() == Report(merged));
    CheckConvertedNumbers();
    CheckRules(merged);
    for (const auto &[name, expected] : merged) {
      FUZZ_REQUIRE(H::GetParamValue(name) == expected.value);
      FUZZ_REQUIRE(H::UpdateParamValue(name, u"42") == expected.dynamic);
      CheckConvertedNumbers();
    }
  }
  H::CleanUp();
  return 0;
}
