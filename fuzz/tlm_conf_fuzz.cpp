// Arbitrary tlm.conf contents through the whole start-up from a directory: the default profile,
// the flat file with its line rules, the merge and the conversion, then the report, a run-time
// update and the single-value entry. Checks the rules' invariants on what comes out.
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "tlm.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "tlm/tlmprofile/tlmprofile.h"

#define CONF_FUZZ_CHECK(cond)                        \
  do {                                               \
    if (!(cond)) {                                   \
      __builtin_printf("check failed: %s\n", #cond); \
      abort();                                       \
    }                                                \
  } while (0)

namespace {

using H = TLMParameterHelper;

// A directory of this process that holds the file under test; removed at exit.
struct FuzzDirectory {
  std::string dir;
  std::string file;
  FuzzDirectory() {
    char pattern[] = "/tmp/tlm_conf_fuzz.XXXXXX";
    if (mkdtemp(pattern) == nullptr) abort();
    dir = pattern;
    file = dir + "/tlm.conf";
  }
  ~FuzzDirectory() {
    unlink(file.c_str());
    rmdir(dir.c_str());
  }
};

void WriteFile(const std::string &file, const uint8_t *data, size_t size) {
  FILE *out = fopen(file.c_str(), "wb");
  if (out == nullptr) abort();
  if (size > 0 && fwrite(data, 1, size, out) != size) abort();
  fclose(out);
}

bool IsBlank(ZUL_UTF16 c) { return c == u' '; }

// What the line rules allow into the map: keys and values that neither start nor end in a blank
// (an indented key may end in one), hold no line feed, and aren't empty.
void CheckLines(const zulstring &dir) {
  tlmprofile::CFlatfileProfile profile(u"tlm.conf");
  for (const auto &[key, parameter] : profile.load(dir)) {
    zulstring value = parameter.getParamValue();
    CONF_FUZZ_CHECK(!key.empty() && !value.empty());
    CONF_FUZZ_CHECK(!IsBlank(key.front()) && key.front() != u'#');
    CONF_FUZZ_CHECK(!IsBlank(value.front()) && !IsBlank(value.back()));
    CONF_FUZZ_CHECK(key.find(u'\n') == zulstring::npos && value.find(u'\n') == zulstring::npos);
    CONF_FUZZ_CHECK(parameter.getParamName() == key && !parameter.isDynamic());
  }
  CONF_FUZZ_CHECK(profile.getStatus() == tlmprofile::CProfile::STATUS_LOADED);
}

// The bounds of the conversion.
void CheckNumbers() {
  uint32_t sending = H::GetDataSendingInterval();
  uint32_t zombieCheck = H::GetZombieCheckInterval();
  CONF_FUZZ_CHECK(sending == 0 || sending >= 15);
  CONF_FUZZ_CHECK(zombieCheck == 0 || zombieCheck >= sending);
  CONF_FUZZ_CHECK(H::GetZombieTimeout() >= zombieCheck && H::GetEmptyTimeout() >= zombieCheck);
  CONF_FUZZ_CHECK(H::GetTraceCheckInterval() != 1);
  CONF_FUZZ_CHECK(H::GetTraceSizeThreshold() >= 10000);
  CONF_FUZZ_CHECK(H::GetTracePreviewTimeout() >= 30);
  CONF_FUZZ_CHECK(H::GetAutoTransactionTraceThreshold() >= 60);
  CONF_FUZZ_CHECK(H::GetSectionCount() >= 2);
  CONF_FUZZ_CHECK(H::GetContextMapBucket() == 7 || H::GetContextMapBucket() == 13);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static FuzzDirectory directory;
  WriteFile(directory.file, data, size);
  zulstring dir(directory.dir.begin(), directory.dir.end());

  CheckLines(dir);

  H::CleanUp();
  H::ConfigParameters(dir);
  CheckNumbers();
  zulstring report = H::GetParameters();
  CONF_FUZZ_CHECK(report.rfind(u"TLM configuration loaded from file ", 0) == 0);
  H::SetSendingInterval(size % 40);
  CheckNumbers();

  ZUL_UTF16 buffer[64];
  for (const ZUL_UTF16 *name : {u"logdir", u"agent_host", u"datasending_interval"}) {
    int length = static_cast<int>(H::GetParamValue(name).size());
    int result = TLM_getSingleParameterValue(name, buffer, 64);
    CONF_FUZZ_CHECK(length < 64 ? result <= length : result == length + 1);
  }
  H::CleanUp();
  return 0;
}
