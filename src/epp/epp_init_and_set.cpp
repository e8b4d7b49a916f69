// A passport made and filled in one call.
#include "epp/epp_internal.h"
#include "epp/epp_trace.h"

uint32_t eppInitAndSet(const ZUL_RAW *trace_flag, const ZUL_UTF16 *component_name,
                       uint32_t component_name_length, uint16_t service, const ZUL_UTF16 *user_id,
                       uint32_t user_id_length, const ZUL_UTF16 *action, uint32_t action_length,
                       uint16_t action_type, const ZUL_UTF16 *pre_component_name,
                       uint32_t pre_component_name_length, const ZUL_UTF16 *transaction_id,
                       uint32_t transaction_id_length, const ZUL_UTF16 *client,
                       uint32_t client_length, const ZUL_RAW *root_context_id,
                       const ZUL_RAW *connection_id, uint32_t connection_counter,
                       void **handle) noexcept {
  uint32_t rc = eppInit(handle);
  // Each step runs only while all before it succeeded.
  auto step = [&rc](bool wanted, auto setter) {
    if (rc == EPP_RC_OK && wanted) rc = setter();
  };
  void *h = rc == EPP_RC_OK ? *handle : nullptr;
  const uint8_t version = epp::eppActVersion;
  step(trace_flag != nullptr, [&] { return eppSetTraceFlag(h, trace_flag); });
  step(component_name != nullptr,
       [&] { return eppSetComponentName(h, component_name, component_name_length); });
  step(service != 0, [&] { return eppSetService(h, service); });
  step(user_id != nullptr, [&] { return eppSetUserId(h, user_id, user_id_length); });
  step(action != nullptr, [&] { return eppSetAction(h, action, action_length); });
  step(action_type != 0, [&] { return eppSetActionType(h, action_type); });
  step(pre_component_name != nullptr,
       [&] { return eppSetPreComponentName(h, pre_component_name, pre_component_name_length); });
  step(version > 1 && transaction_id != nullptr,
       [&] { return eppSetTransactionId(h, transaction_id, transaction_id_length); });
  step(version > 2 && client != nullptr, [&] { return eppSetClient(h, client, client_length); });
  step(version > 2 && root_context_id != nullptr,
       [&] { return eppSetRootContextId(h, root_context_id); });
  step(version > 2 && connection_id != nullptr,
       [&] { return eppSetConnectionId(h, connection_id); });
  step(version > 2 && connection_counter != 0,
       [&] { return eppSetConnectionCounter(h, connection_counter); });
  if (rc != EPP_RC_OK) {
    EPP_ERR(0, u"%s: creating and/or initializing passport failed\n", u"eppInitAndSet");
  }
  return rc;
}
