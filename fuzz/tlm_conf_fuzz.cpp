// Arbitrary tlm.conf contents through the whole start-up from a directory: the default profile,
// the flat file with its line rules, the merge and the conversion, then the report, a run-time
// update and the single-value entry. Checks the rules' invariants on what comes out.
#include <string>

#include "fuzz_support.h"
#include "tlm.h"
#include "tlm/tlmprofile/tlmprofile.h"
#include "tlm_param_checks.h"

namespace {

using H = TLMParameterHelper;

bool IsBlank(ZUL_UTF16 c) { return c == u' '; }

// What the line rules allow into the map: keys and values that neither start nor end in a blank
// (an indented key may end in one), hold no line feed, and aren't empty.
void CheckLines(const zulstring &dir) {
  tlmprofile::CFlatfileProfile profile(u"tlm.conf");
  for (const auto &[key, parameter] : profile.load(dir)) {
    zulstring value = parameter.getParamValue();
    FUZZ_REQUIRE(!key.empty() && !value.empty());
    FUZZ_REQUIRE(!IsBlank(key.front()) && key.front() != u'#');
    FUZZ_REQUIRE(!IsBlank(value.front()) && !IsBlank(value.back()));
    FUZZ_REQUIRE(key.find(u'\n') == zulstring::npos && value.find(u'\n') == zulstring::npos);
    FUZZ_REQUIRE(parameter.getParamName() == key && !parameter.isDynamic());
  }
  FUZZ_REQUIRE(profile.getStatus() == tlmprofile::CProfile::STATUS_LOADED);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static fuzzsupport::TempDir directory;
  directory.Write("tlm.conf", data, size);
  zulstring dir(directory.path().begin(), directory.path().end());

  CheckLines(dir);

  H::CleanUp();
  H::ConfigParameters(dir);
  CheckConvertedNumbers();
  zulstring report = H::GetParameters();
  FUZZ_REQUIRE(report.rfind(u"TLM configuration loaded from file ", 0) == 0);
  H::SetSendingInterval(size % 40);
  CheckConvertedNumbers();

  ZUL_UTF16 buffer[64];
  for (const ZUL_UTF16 *name : {u"logdir", u"agent_host", u"datasending_interval"}) {
    int length = static_cast<int>(H::GetParamValue(name).size());
    int result = TLM_getSingleParameterValue(name, buffer, 64);
    FUZZ_REQUIRE(length < 64 ? result <= length : result == length + 1);
  }
  H::CleanUp();
  return 0;
}
