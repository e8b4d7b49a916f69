
#include "../metrics_test_support.h"
#include "profile_test_support.h"

namespace {

using profile_test::StoreTest;
using profile_test::TempDir;
using profile_test::Write;
using profile_test::Z;
using tlmprofile::CParameterLoader;
using H = TLMParameterHelper;

#define GETTER(name, getter)                        \
  {                                                 \
    name, +[]() -> uint32_t { return H::getter(); } \
  }

// Checks numbers in force given as "name=number name=number ...".
void ExpectNumbers(const std::string &expected) {
  // clang-format off
  static const std::map<std::string, uint32_t (*)()> getters = {
      GETTER("level", GetInstruLevelThreshold),
      GETTER("traceLevel", GetInstruLevelThresholdForTrace),
      GETTER("traceCheck", GetTraceCheckInterval), GETTER("traceSize", GetTraceSizeThreshold),
      GETTER("preview", GetTracePreviewTimeout),
      GETTER("autoTrace", GetAutoTransactionTraceThreshold),
      GETTER("sending", GetDataSendingInterval), GETTER("zombieCheck", GetZombieCheckInterval),
      GETTER("zombieTimeout", GetZombieTimeout), GETTER("emptyTimeout", GetEmptyTimeout),
      GETTER("type", GetAgentType), GETTER("type2", GetAgentType2), GETTER("type3", GetAgentType3),
      GETTER("port", GetAgentPort), GETTER("port5", GetAgentPort5),
      GETTER("sections", GetSectionCount), GETTER("libTrace", GetLibTraceLevel),
      GETTER("bucket", GetContextMapBucket), GETTER("em", GetEMTraceEnablingStatus),
      GETTER("e2e", GetE2ETraceEnablingStatus), GETTER("sendTimeout", GetSocketSendTimeout)};
  // clang-format on
  std::istringstream in(expected);
  for (std::string item; in >> item;) {
    std::string name = item.substr(0, item.find('='));
    EXPECT_EQ(getters.at(name)(), std::stoul(item.substr(item.find('=') + 1))) << name;
  }
}

// Starts the store from a tlm.conf of the given content.
void ConfigureFile(const std::string &content) {
  TempDir dir;
  Write(dir, "tlm.conf", content);
  H::ConfigParameters(Z(dir.path()));
}

using ParameterConversion = StoreTest;

TEST_F(ParameterConversion, ConfiguredValuesGiveTheNumbersInForce) {
  const std::pair<std::string, std::string> cases[] = {
      {"",
       "level=10 traceLevel=10 traceCheck=5 sending=60 zombieCheck=300 zombieTimeout=1800 "
       "emptyTimeout=300 type=2 port=59818 sections=2 libTrace=1 bucket=13 em=0 e2e=1"},
      // Sending: 0 stays, 1 to 14 become 15 (the pairs fuzz target's check); the zombie check isn't
      // below it.
      {"datasending_interval=0", "sending=0 zombieCheck=300"},
      // The zombie check follows sending, and the time-outs follow the zombie check.
      {"zombie_check_interval=10", "zombieCheck=60"},
      {"datasending_interval=4000", "zombieCheck=4000 zombieTimeout=4000 emptyTimeout=4000"},
      {"zombie_check_interval=0\nzombie_timeout=5\nempty_timeout=7",
       "zombieCheck=0 zombieTimeout=5 emptyTimeout=7"},
      {"tracecheck_interval=1\ntracesize_threshold=9999\ntrace_preview_timeout=29\n"
       "auto_transaction_trace_threshold=59\ncache_section_count=1",
       "traceCheck=2 traceSize=10000 preview=30 autoTrace=60 sections=2"},
      {"tracecheck_interval=0\ntracesize_threshold=10001", "traceCheck=0 traceSize=10001"},
      // The trace threshold copies the level unless it has a value of its own.
      {"instrument_level_threshold=70000", "level=4464 traceLevel=4464"},
      {"instrument_level_threshold_trace=3", "level=10 traceLevel=3"},
      // Agents 2 to 5 keep their start values unless configured.
      {"agent_type_3=4\nagent_port=99999", "type2=2 type3=4 port=34463 port5=59818"},
      // Text around numbers, and numbers beyond 64 bits.
      {"datasending_interval=\t+30s\r\ntracecheck_interval=abc\nlib_trace_level=-1\n"
       "instrument_level_threshold=99999999999999999999\n"
       "_socket_send_timeout=-99999999999999999999",
       "sending=30 traceCheck=0 libTrace=4294967295 level=65535 sendTimeout=0"},
  };
  for (const auto &[configured, expected] : cases) {
    SCOPED_TRACE(configured);
    CParameterLoader::release();
    ConfigureFile(configured);
    ExpectNumbers(expected);
  }
}

// A change at run time runs every derived rule again. Which keys are dynamic, keys new to the
// defaults included, is checked for every key by the pairs fuzz target's corpus.
TEST_F(ParameterConversion, UpdatesReachTheNumbersAndTheRulesRunAgain) {
  ConfigureFile(
      "datasending_interval=15\nzombie_check_interval=20\nzombie_timeout=25\n"
      "empty_timeout=10\ninstrument_level_threshold_trace=3\n");
  ExpectNumbers("zombieCheck=20 zombieTimeout=25 emptyTimeout=20");
  H::SetSendingInterval(100);
  ExpectNumbers("sending=100 zombieCheck=100 zombieTimeout=100 emptyTimeout=100");
  H::SetSendingInterval(0);  // the setter can't switch sending off: 0 becomes 15
  EXPECT_EQ(H::GetParamValue(u"datasending_interval"), u"15");
  for (const ZUL_UTF16 *name : {u"instrument_level_threshold", u"datasending_interval",
                                u"cache_section_count", u"lib_trace_level"}) {
    EXPECT_TRUE(H::UpdateParamValue(name, u"33")) << tlm_test::Utf8(name);
  }
  EXPECT_FALSE(H::UpdateParamValue(u"nowhere", u"33"));
  EXPECT_EQ(H::GetParamValue(u"nowhere"), u"");
  ExpectNumbers("level=33 traceLevel=3 sending=33 sections=33 libTrace=33");
  H::SetInstruLevelThreshold(0);
  ExpectNumbers("level=0");
  EXPECT_FALSE(H::GetGlobalSwitch());
  H::SetEMTraceEnablingStatus(true);
  H::SetE2ETraceEnablingStatus(false);
  ExpectNumbers("em=0 e2e=1");
}

using ParameterReport = StoreTest;

}  // namespace
