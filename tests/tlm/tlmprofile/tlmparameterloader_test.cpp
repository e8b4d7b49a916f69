#include <climits>
#include <utility>
#include <vector>

#include "profile_test_support.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "tlm/tlmprofile/tlmparameterkeys.h"

namespace {

using profile_test::StoreTest;
using tlmprofile::CMemoryProfile;
using tlmprofile::CParameter;
using tlmprofile::CParameterLoader;
using tlmprofile::CProfile;
using tlmprofile::ParameterMap;
using H = TLMParameterHelper;
using Pairs = std::vector<std::pair<zulstring, zulstring>>;

// One number in force, read through the helper.
struct Reading {
  const char *name;
  uint32_t (*get)();
};
#define READING(getter)                                \
  Reading {                                            \
#getter, +[]() -> uint32_t { return H::getter(); } \
  }

const Reading kLevel = READING(GetInstruLevelThreshold);
const Reading kTraceLevel = READING(GetInstruLevelThresholdForTrace);
const Reading kTraceCheck = READING(GetTraceCheckInterval);
const Reading kTraceSize = READING(GetTraceSizeThreshold);
const Reading kPreview = READING(GetTracePreviewTimeout);
const Reading kAutoTrace = READING(GetAutoTransactionTraceThreshold);
const Reading kSending = READING(GetDataSendingInterval);
const Reading kZombieCheck = READING(GetZombieCheckInterval);
const Reading kZombieTimeout = READING(GetZombieTimeout);
const Reading kEmptyTimeout = READING(GetEmptyTimeout);
const Reading kAgentType = READING(GetAgentType);
const Reading kAgentType2 = READING(GetAgentType2);
const Reading kAgentType3 = READING(GetAgentType3);
const Reading kAgentPort = READING(GetAgentPort);
const Reading kAgentPort5 = READING(GetAgentPort5);
const Reading kSections = READING(GetSectionCount);
const Reading kLibTrace = READING(GetLibTraceLevel);
const Reading kBucket = READING(GetContextMapBucket);
const Reading kMaxComponents = READING(GetMaxComponentsPerTransaction);
const Reading kEM = READING(GetEMTraceEnablingStatus);
const Reading kE2E = READING(GetE2ETraceEnablingStatus);
const Reading kSendTimeout = READING(GetSocketSendTimeout);
const Reading kRecvTimeout = READING(GetSocketRecvTimeout);

void Configure(const Pairs &pairs) {
  std::vector<zulstring> names, values;
  for (const auto &[name, value] : pairs) {
    names.push_back(name);
    values.push_back(value);
  }
  H::ConfigParameters(names.data(), values.data(), static_cast<uint32_t>(pairs.size()));
}

void ExpectReadings(const std::vector<std::pair<Reading, uint32_t>> &expected) {
  for (const auto &[reading, value] : expected) EXPECT_EQ(reading.get(), value) << reading.name;
}

using ParameterConversion = StoreTest;

TEST_F(ParameterConversion, ConfiguredValuesGiveTheNumbersInForce) {
  struct Case {
    Pairs configured;
    std::vector<std::pair<Reading, uint32_t>> expected;
  };
  const Case cases[] = {
      // The defaults, converted.
      {{},
       {{kLevel, 10},
        {kTraceLevel, 10},
        {kTraceCheck, 5},
        {kSending, 60},
        {kZombieCheck, 300},
        {kZombieTimeout, 1800},
        {kEmptyTimeout, 300},
        {kAgentType, 2},
        {kAgentPort, 59818},
        {kSections, 2},
        {kLibTrace, 1},
        {kBucket, 13},
        {kEM, 0},
        {kE2E, 1},
        {kSendTimeout, 500},
        {kRecvTimeout, 1000},
        {kMaxComponents, 5000}}},
      // Sending interval: 0 stays, 1 to 14 become 15, and the zombie check isn't below 0 or 15.
      {{{u"datasending_interval", u"0"}}, {{kSending, 0}, {kZombieCheck, 300}}},
      {{{u"datasending_interval", u"7"}}, {{kSending, 15}, {kZombieCheck, 300}}},
      {{{u"datasending_interval", u"14"}}, {{kSending, 15}}},
      {{{u"datasending_interval", u"15"}}, {{kSending, 15}}},
      // The zombie check follows the sending interval, the time-outs follow the zombie check.
      {{{u"zombie_check_interval", u"10"}}, {{kZombieCheck, 60}}},
      {{{u"zombie_check_interval", u"0"}, {u"zombie_timeout", u"5"}, {u"empty_timeout", u"7"}},
       {{kZombieCheck, 0}, {kZombieTimeout, 5}, {kEmptyTimeout, 7}}},
      {{{u"datasending_interval", u"900"}},
       {{kZombieCheck, 900}, {kZombieTimeout, 1800}, {kEmptyTimeout, 900}}},
      {{{u"datasending_interval", u"4000"}},
       {{kZombieCheck, 4000}, {kZombieTimeout, 4000}, {kEmptyTimeout, 4000}}},
      // Single bounds.
      {{{u"tracecheck_interval", u"0"}}, {{kTraceCheck, 0}}},
      {{{u"tracecheck_interval", u"1"}}, {{kTraceCheck, 2}}},
      {{{u"tracecheck_interval", u"2"}}, {{kTraceCheck, 2}}},
      {{{u"tracesize_threshold", u"9999"}}, {{kTraceSize, 10000}}},
      {{{u"tracesize_threshold", u"10001"}}, {{kTraceSize, 10001}}},
      {{{u"trace_preview_timeout", u"29"}}, {{kPreview, 30}}},
      {{{u"auto_transaction_trace_threshold", u"59"}}, {{kAutoTrace, 60}}},
      {{{u"cache_section_count", u"1"}}, {{kSections, 2}}},
      {{{u"cache_section_count", u"5"}}, {{kSections, 5}}},
      // The bucket count: 7 or less gives 7, anything else keeps 13; the parse is narrowed first.
      {{{u"context_map_bucket", u"101"}}, {{kBucket, 13}}},
      {{{u"context_map_bucket", u"8"}}, {{kBucket, 13}}},
      {{{u"context_map_bucket", u"7"}}, {{kBucket, 7}}},
      {{{u"context_map_bucket", u"3"}}, {{kBucket, 7}}},
      {{{u"context_map_bucket", u"65543"}}, {{kBucket, 7}}},
      // The trace threshold copies the level unless it has a value of its own.
      {{{u"instrument_level_threshold", u"70000"}}, {{kLevel, 4464}, {kTraceLevel, 4464}}},
      {{{u"instrument_level_threshold_trace", u"3"}}, {{kLevel, 10}, {kTraceLevel, 3}}},
      // Agents 2 to 5 keep their start values unless configured.
      {{{u"agent_type_3", u"4"}, {u"agent_port", u"99999"}},
       {{kAgentType2, 2}, {kAgentType3, 4}, {kAgentPort, 34463}, {kAgentPort5, 59818}}},
      // Text around numbers, and numbers beyond 64 bits.
      {{{u"datasending_interval", u"30s"}}, {{kSending, 30}}},
      {{{u"datasending_interval", u"abc"}}, {{kSending, 0}}},
      {{{u"datasending_interval", u"\t+20\r"}}, {{kSending, 20}}},
      {{{u"lib_trace_level", u"-1"}}, {{kLibTrace, UINT32_MAX}}},
      {{{u"lib_trace_level", u"99999999999999999999999"}}, {{kLibTrace, UINT32_MAX}}},
      {{{u"lib_trace_level", u"-99999999999999999999999"}}, {{kLibTrace, 0}}},
      {{{u"instrument_level_threshold", u"99999999999999999999"}}, {{kLevel, 0xFFFF}}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.configured.empty() ? zulstring(u"(defaults)")
                                                             : c.configured[0].first));
    CParameterLoader::release();
    Configure(c.configured);
    ExpectReadings(c.expected);
  }
}

TEST_F(ParameterConversion, TextsStayAsConfigured) {
  Configure({{u"datasending_interval", u"7"}, {u"context_map_bucket", u"101"}});
  EXPECT_EQ(H::GetParamValue(u"datasending_interval"), u"7");
  EXPECT_EQ(H::GetParamValue(u"context_map_bucket"), u"101");
}

// A store on which nothing was loaded answers its start values, some of them on purpose apart
// from the defaults.
TEST_F(ParameterConversion, StoreWithoutProfilesAnswersItsStartValues) {
  ExpectReadings({{kLevel, 10},
                  {kTraceLevel, 10},
                  {kSending, 60},
                  {kZombieCheck, 60},
                  {kZombieTimeout, 0},
                  {kEmptyTimeout, 0},
                  {kAgentType, 2},
                  {kAgentType3, 2},
                  {kAgentPort, 59818},
                  {kAgentPort5, 59818},
                  {kSections, 2},
                  {kBucket, 13},
                  {kTraceSize, 1000000},
                  {kRecvTimeout, 1000}});
  EXPECT_EQ(H::GetLogDir(), u"");
}

TEST_F(ParameterConversion, UpdateRunsEveryDerivedRuleAgain) {
  Configure({{u"datasending_interval", u"15"},
             {u"zombie_check_interval", u"20"},
             {u"zombie_timeout", u"25"},
             {u"empty_timeout", u"10"}});
  ExpectReadings({{kSending, 15}, {kZombieCheck, 20}, {kZombieTimeout, 25}, {kEmptyTimeout, 20}});
  H::SetSendingInterval(100);
  ExpectReadings(
      {{kSending, 100}, {kZombieCheck, 100}, {kZombieTimeout, 100}, {kEmptyTimeout, 100}});
  EXPECT_EQ(H::GetParamValue(u"zombie_check_interval"), u"20");

  H::SetInstruLevelThreshold(4);
  ExpectReadings({{kLevel, 4}, {kTraceLevel, 4}});
  EXPECT_TRUE(H::GetGlobalSwitch());
  H::SetInstruLevelThreshold(0);
  EXPECT_FALSE(H::GetGlobalSwitch());
}

TEST_F(ParameterConversion, LevelUpdateLeavesATraceThresholdOfItsOwn) {
  Configure({{u"instrument_level_threshold_trace", u"3"}});
  H::SetInstruLevelThreshold(8);
  ExpectReadings({{kLevel, 8}, {kTraceLevel, 3}});
}

TEST_F(ParameterConversion, OnlyDynamicKeysChangeAtRunTime) {
  // A key new to the defaults takes the built-in flag at its position: here that of
  // instrument_level_threshold (dynamic) for "first", of max_components_per_transaction for "foo".
  Configure({{u"first", u"1"}, {u"foo", u"bar"}});
  struct Case {
    const ZUL_UTF16 *name;
    bool changed;
  };
  for (Case c : {Case{u"instrument_level_threshold", true}, Case{u"datasending_interval", true},
                 Case{u"cache_section_count", true}, Case{u"lib_trace_level", true},
                 Case{u"first", true}, Case{u"logdir", false}, Case{u"zombie_timeout", false},
                 Case{u"foo", false}, Case{u"nowhere", false}}) {
    SCOPED_TRACE(testing::PrintToString(zulstring(c.name)));
    zulstring before = H::GetParamValue(c.name);
    EXPECT_EQ(H::UpdateParamValue(c.name, u"33"), c.changed);
    EXPECT_EQ(H::GetParamValue(c.name), c.changed ? u"33" : before);
  }
  ExpectReadings({{kLevel, 33}, {kSending, 33}, {kSections, 33}, {kLibTrace, 33}});
}

TEST_F(ParameterConversion, SettersFormatAndBoundTheirNumbers) {
  Configure({{u"datasending_interval", u"0"}});
  EXPECT_EQ(H::GetDataSendingInterval(), 0u);
  H::SetSendingInterval(0);  // the setter can't switch sending off
  EXPECT_EQ(H::GetParamValue(u"datasending_interval"), u"15");
  H::SetSendingInterval(999999999);
  EXPECT_EQ(H::GetDataSendingInterval(), 999999999u);
  H::SetInstruLevelThreshold(65535);
  EXPECT_EQ(H::GetParamValue(u"instrument_level_threshold"), u"65535");
  // The trace switches aren't dynamic: the update is refused.
  H::SetEMTraceEnablingStatus(true);
  H::SetE2ETraceEnablingStatus(false);
  ExpectReadings({{kEM, 0}, {kE2E, 1}});
}

// A profile that answers what it was given with the status it was given.
class FixedProfile : public CProfile {
 public:
  FixedProfile(ParameterMap map, int32_t status) : result_(std::move(map)), fixed_(status) {}
  ParameterMap load(const zulstring &) override {
    status_ = fixed_;
    return result_;
  }
  int32_t getStatus() override { return status_; }

 private:
  ParameterMap result_;
  int32_t fixed_;
};

ParameterMap MapOf(std::initializer_list<CParameter> parameters) {
  ParameterMap map;
  for (const CParameter &p : parameters) map.emplace(p.getParamName(), p);
  return map;
}

using ParameterMerge = StoreTest;

TEST_F(ParameterMerge, LaterProfilesOverrideValuesOnly) {
  CParameterLoader *loader = CParameterLoader::Instance();
  loader->addProfile(new FixedProfile(MapOf({CParameter(u"a", u"1", true)}), 1));
  loader->addProfile(new FixedProfile(MapOf({CParameter(u"a", u"2", false), {u"b", u"3"}}), 1));
  loader->addProfile(new FixedProfile(MapOf({CParameter(u"a", u"x"), {u"c", u"4"}}), 2));
  loader->addProfile(new FixedProfile(MapOf({CParameter(u"d", u"5")}), 0));
  loader->loadParameters();
  EXPECT_EQ(loader->getParameterValue(u"a"), u"2");
  EXPECT_EQ(loader->getParameterValue(u"b"), u"3");
  EXPECT_EQ(loader->getParameterValue(u"c"), u"");  // status 2: passed over
  EXPECT_EQ(loader->getParameterValue(u"d"), u"");  // status 0: passed over
  // The flag of the first profile stands: a is still dynamic.
  EXPECT_TRUE(loader->updParameterValue(u"a", u"9"));
  EXPECT_EQ(loader->getParameterValue(u"a"), u"9");
}

TEST_F(ParameterMerge, MemoryProfileKeepsTheFirstOfTwoEqualKeys) {
  const zulstring names[] = {u"k", u"k"};
  const zulstring values[] = {u"1", u"2"};
  const bool dynamic[] = {true, false};
  CMemoryProfile profile(names, values, dynamic, 2);
  ParameterMap map = profile.load(u"ignored");
  EXPECT_EQ(profile.getStatus(), CProfile::STATUS_LOADED);
  ASSERT_EQ(map.size(), 1u);
  EXPECT_EQ(map[u"k"].getParamValue(), u"1");
  EXPECT_EQ(map[u"k"].getParamDefault(), u"1");
  EXPECT_TRUE(map[u"k"].isDynamic());
}

TEST(ParameterKeys, ExactlyTheKnownKeysAreValid) {
  EXPECT_EQ(std::size(tlmprofile::kValidKeys), 43u);
  for (const tlmprofile::DefaultParameter &p : tlmprofile::kDefaultParameters) {
    EXPECT_TRUE(CParameterLoader::isValidParameter(p.name));
  }
  for (const ZUL_UTF16 *name : {u"agent_port_5", u"skip_times_in_names", u"agent_type_2"}) {
    EXPECT_TRUE(CParameterLoader::isValidParameter(name));
  }
  for (const ZUL_UTF16 *name :
       {u"", u"foo", u"LOGDIR", u"logdir ", u"agent_port_1", u"agent_port_6", u"abc ="}) {
    EXPECT_FALSE(CParameterLoader::isValidParameter(name));
  }
}

using ParameterReport = StoreTest;

TEST_F(ParameterReport, ListsConfiguredTextsInKeyOrderAndMarksUnknownKeys) {
  Configure({{u"datasending_interval", u"7"}, {u"foo", u"bar"}, {u"Zeta", u"1"}});
  EXPECT_EQ(H::GetDataSendingInterval(), 15u);
  EXPECT_EQ(H::GetParameters(),
            u"TLM configuration path not set, default used\n"
            u"Current TLM Configuration:\n"
            u"Zeta=1;<-- This parameter is not valid!\n"
            u"_socket_recv_timeout=1000;\n"
            u"_socket_send_timeout=500;\n"
            u"agent_host=localhost;\n"
            u"agent_port=59818;\n"
            u"agent_type=2;\n"
            u"auto_transaction_trace_threshold=600;\n"
            u"cache_section_count=2;\n"
            u"context_map_bucket=13;\n"
            u"datasending_interval=7;\n"
            u"datasending_method=socket;\n"
            u"empty_timeout=300;\n"
            u"foo=bar;<-- This parameter is not valid!\n"
            u"instrument_level_threshold=10;\n"
            u"lib_trace_level=1;\n"
            u"logdir=/usr/zul/tlm/log;\n"
            u"max_components_per_promotedstack=50;\n"
            u"max_components_per_transaction=5000;\n"
            u"perf_metric_scope=0;\n"
            u"skip_times_below_threshold=500;\n"
            u"system_name=ZUL_TLM;\n"
            u"trace_enabled_via_e2e=1;\n"
            u"trace_enabled_via_em=0;\n"
            u"trace_preview_timeout=120;\n"
            u"tracecheck_interval=5;\n"
            u"tracesize_threshold=1000000;\n"
            u"zombie_check_interval=300;\n"
            u"zombie_timeout=1800;\n");
}

TEST_F(ParameterReport, FirstLineTellsWhereTheConfigurationCameFrom) {
  struct Case {
    zulstring path;
    zulstring firstLine;
  };
  const Case cases[] = {
      {u"/usr/zul/tlm/config",
       u"TLM configuration loaded from default /usr/zul/tlm/config or working directory\n"},
      {u"/usr/zul/tlm/config/", u"TLM configuration loaded from file /usr/zul/tlm/config/\n"},
      {u"", u"TLM configuration path not set, default used\n"},
      {u"/opt/x", u"TLM configuration loaded from file /opt/x\n"},
  };
  for (const Case &c : cases) {
    CParameterLoader::release();
    CParameterLoader::Instance()->setPath(c.path);
    EXPECT_EQ(H::GetParameters(), c.firstLine + u"Current TLM Configuration:\n");
  }
}

TEST_F(ParameterReport, PlainListingGoesToStandardOutput) {
  Configure({{u"foo", u"bar"}});
  testing::internal::CaptureStdout();
  H::PrintParameters();
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("Parameter Name: foo |Parameter Value: bar\n"), std::string::npos);
  EXPECT_EQ(out.rfind("Parameter Name: _socket_recv_timeout |Parameter Value: 1000\n", 0), 0u);
}

}  // namespace
