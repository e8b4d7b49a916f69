// The names of the configuration's keys, the built-in defaults and the list of valid keys.
#ifndef TLM_TLMPROFILE_TLMPARAMETERKEYS_H
#define TLM_TLMPROFILE_TLMPARAMETERKEYS_H

#include <cstddef>

#include "zul_base.h"

namespace tlmprofile {

namespace key {
constexpr ZUL_UTF16 kInstrumentLevelThreshold[] = u"instrument_level_threshold";
constexpr ZUL_UTF16 kMaxComponentsPerTransaction[] = u"max_components_per_transaction";
constexpr ZUL_UTF16 kMaxComponentsPerPromotedStack[] = u"max_components_per_promotedstack";
constexpr ZUL_UTF16 kTraceCheckInterval[] = u"tracecheck_interval";
constexpr ZUL_UTF16 kTraceSizeThreshold[] = u"tracesize_threshold";
constexpr ZUL_UTF16 kTracePreviewTimeout[] = u"trace_preview_timeout";
constexpr ZUL_UTF16 kAutoTransactionTraceThreshold[] = u"auto_transaction_trace_threshold";
constexpr ZUL_UTF16 kDataSendingInterval[] = u"datasending_interval";
constexpr ZUL_UTF16 kDataSendingMethod[] = u"datasending_method";
constexpr ZUL_UTF16 kLogDir[] = u"logdir";
constexpr ZUL_UTF16 kAgentHost[] = u"agent_host";
constexpr ZUL_UTF16 kAgentPort[] = u"agent_port";
constexpr ZUL_UTF16 kAgentType[] = u"agent_type";
constexpr ZUL_UTF16 kSystemName[] = u"system_name";
constexpr ZUL_UTF16 kZombieTimeout[] = u"zombie_timeout";
constexpr ZUL_UTF16 kEmptyTimeout[] = u"empty_timeout";
constexpr ZUL_UTF16 kZombieCheckInterval[] = u"zombie_check_interval";
constexpr ZUL_UTF16 kCacheSectionCount[] = u"cache_section_count";
constexpr ZUL_UTF16 kLibTraceLevel[] = u"lib_trace_level";
constexpr ZUL_UTF16 kContextMapBucket[] = u"context_map_bucket";
constexpr ZUL_UTF16 kPerfMetricScope[] = u"perf_metric_scope";
constexpr ZUL_UTF16 kSkipTimesBelowThreshold[] = u"skip_times_below_threshold";
constexpr ZUL_UTF16 kTraceEnabledViaEM[] = u"trace_enabled_via_em";
constexpr ZUL_UTF16 kTraceEnabledViaE2E[] = u"trace_enabled_via_e2e";
constexpr ZUL_UTF16 kSocketSendTimeout[] = u"_socket_send_timeout";
constexpr ZUL_UTF16 kSocketRecvTimeout[] = u"_socket_recv_timeout";
// Keys without a built-in default.
constexpr ZUL_UTF16 kInstrumentLevelThresholdTrace[] = u"instrument_level_threshold_trace";
constexpr ZUL_UTF16 kSpecificComponentNames[] = u"specific_component_names";
constexpr ZUL_UTF16 kSpecificComponentLevelThresholds[] = u"specific_component_level_thresholds";
constexpr ZUL_UTF16 kSpecificComponentLevelThresholdsTrace[] =
    u"specific_component_level_thresholds_trace";
constexpr ZUL_UTF16 kSkipTimesInNames[] = u"skip_times_in_names";
// Agents 2 to 5, indexed by agent number minus 2.
constexpr const ZUL_UTF16 *kAgentTypeN[] = {u"agent_type_2", u"agent_type_3", u"agent_type_4",
                                            u"agent_type_5"};
constexpr const ZUL_UTF16 *kAgentHostN[] = {u"agent_host_2", u"agent_host_3", u"agent_host_4",
                                            u"agent_host_5"};
constexpr const ZUL_UTF16 *kAgentPortN[] = {u"agent_port_2", u"agent_port_3", u"agent_port_4",
                                            u"agent_port_5"};
}  // namespace key

// The number of agents: agent 1 plus agents 2 to 5.
constexpr size_t kAgentCount = 5;

// One built-in parameter: its key, its default text and whether it may change at run time.
struct DefaultParameter {
  const ZUL_UTF16 *name;
  const ZUL_UTF16 *value;
  bool dynamic;
};

// The built-in parameters, in the order of the default memory profile's arrays.
constexpr size_t kDefaultParameterCount = 26;
extern const DefaultParameter kDefaultParameters[kDefaultParameterCount];

// The valid keys, in the order in which they are tested.
constexpr size_t kValidKeyCount = 43;
extern const ZUL_UTF16 *const kValidKeys[kValidKeyCount];

// The configuration directory used when none is given.
constexpr ZUL_UTF16 kDefaultConfigPath[] = u"/usr/zul/tlm/config";
// The name of the configuration file.
constexpr ZUL_UTF16 kConfigFileName[] = u"tlm.conf";

}  // namespace tlmprofile

#endif  // TLM_TLMPROFILE_TLMPARAMETERKEYS_H
