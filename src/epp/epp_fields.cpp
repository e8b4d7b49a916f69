// Getters and setters of the core fields.
#include <cstring>

#include "epp/epp_internal.h"
#include "epp/epp_trace.h"
#include "zul_u16string.h"

namespace epp {
namespace {

// One text field: where it lies, its width, the version it needs, and its names in trace lines
// (what it is called, and what the "too long" message calls it).
struct TextField {
  ZUL_UTF16 *(*storage)(Passport *p);  // width units and a terminator
  uint32_t width;
  uint8_t min_version;
  const ZUL_UTF16 *label;
  const ZUL_UTF16 *long_label;
};

uint32_t SetText(const ZUL_UTF16 *fn, const TextField &f, void *handle, const ZUL_UTF16 *text,
                 uint32_t length) {
  if (uint32_t rc = CheckInit()) return rc;
  EPP_TRC(2, u"%s: setting %s for passport %p to %.*s\n", fn, f.label, handle,
          static_cast<int>(length), text);
  PassportAccess p;
  if (uint32_t rc = p.Open(fn, handle, f.min_version)) return rc;
  if (length > f.width) {
    EPP_ERR(0, u"%s: supplied %s too long\n", fn, f.long_label);
    return EPP_RC_LENGTH;
  }
  if (text == nullptr && length > 0) return EPP_RC_INVALID;
  ZUL_UTF16 *field = f.storage(p.get());
  if (length > 0) std::memcpy(field, text, length * sizeof(ZUL_UTF16));
  field[length] = 0;
  return EPP_RC_OK;
}

uint32_t GetText(const ZUL_UTF16 *fn, const TextField &f, void *handle, uint32_t capacity,
                 ZUL_UTF16 *buffer, uint32_t *length) {
  if (uint32_t rc = CheckInit()) return rc;
  EPP_TRC(2, u"%s: getting %s of passport %p\n", fn, f.label, handle);
  PassportAccess p;
  if (uint32_t rc = p.Open(fn, handle, f.min_version)) return rc;
  const ZUL_UTF16 *field = f.storage(p.get());
  auto units = static_cast<uint32_t>(strnlenU16(field, f.width));
  if (units > capacity) {
    EPP_ERR(0, u"%s: supplied output area too small\n", fn);
    return EPP_RC_AREA_TOO_SMALL;
  }
  if ((buffer == nullptr && capacity > 0) || length == nullptr) return EPP_RC_INVALID;
  if (units > 0) std::memcpy(buffer, field, units * sizeof(ZUL_UTF16));
  for (uint32_t i = units; i < capacity; ++i) buffer[i] = u' ';
  *length = units;
  return EPP_RC_OK;
}

// Reads or writes one plain field under the frame: trace writes the call's line (above level 2),
// work does the access; args_ok false refuses a null pointer argument with 7.
template <typename Trace, typename Work>
uint32_t Access(const ZUL_UTF16 *fn, void *handle, uint8_t min_version, bool args_ok, Trace trace,
                Work work) {
  if (uint32_t rc = CheckInit()) return rc;
  if (TraceAbove(2)) trace(fn);
  PassportAccess p;
  if (uint32_t rc = p.Open(fn, handle, min_version)) return rc;
  if (!args_ok) return EPP_RC_INVALID;
  work(p.get());
  return EPP_RC_OK;
}

// Trace line of a getter or a setter without a value in it.
auto Line(const ZUL_UTF16 *format, const ZUL_UTF16 *label, void *handle) {
  return [=](const ZUL_UTF16 *fn) { eppTrc(format, fn, label, handle); };
}
auto GetLine(const ZUL_UTF16 *label, void *handle) {
  return Line(u"%s: getting %s of passport %p\n", label, handle);
}
// Trace line of a setter of a number.
auto SetLine(const ZUL_UTF16 *label, void *handle, unsigned value) {
  return [=](const ZUL_UTF16 *fn) {
    eppTrc(u"%s: setting %s for passport %p to %u\n", fn, label, handle, value);
  };
}

const TextField kComponentName{[](Passport *p) { return p->component_name; },
                               EPP_COMPONENT_NAME_LEN, 0, u"component name", u"component name"};
const TextField kUserId{[](Passport *p) { return p->user_id; }, EPP_USER_ID_LEN, 0, u"user id",
                        u"user id"};
const TextField kAction{[](Passport *p) { return p->action; }, EPP_ACTION_LEN, 0, u"action",
                        u"action field"};
const TextField kPreComponentName{[](Passport *p) { return p->pre_component_name; },
                                  EPP_PRE_COMPONENT_NAME_LEN, 0, u"previous component name",
                                  u"previous component name"};
const TextField kTransactionId{[](Passport *p) { return p->transaction_id; },
                               EPP_TRANSACTION_ID_LEN, 2, u"transaction id", u"transaction id"};
const TextField kClient{[](Passport *p) { return p->client; }, EPP_CLIENT_LEN, 3, u"client",
                        u"client field"};

}  // namespace
}  // namespace epp

using namespace epp;

#define EPP_TEXT_FIELD(Name, field)                                                      \
  uint32_t eppSet##Name(void *handle, const ZUL_UTF16 *text, uint32_t length) noexcept { \
    return SetText(u"eppSet" #Name, field, handle, text, length);                        \
  }                                                                                      \
  uint32_t eppGet##Name(void *handle, uint32_t capacity, ZUL_UTF16 *buffer,              \
                        uint32_t *length) noexcept {                                     \
    return GetText(u"eppGet" #Name, field, handle, capacity, buffer, length);            \
  }

EPP_TEXT_FIELD(ComponentName, kComponentName)
EPP_TEXT_FIELD(UserId, kUserId)
EPP_TEXT_FIELD(Action, kAction)
EPP_TEXT_FIELD(PreComponentName, kPreComponentName)
EPP_TEXT_FIELD(TransactionId, kTransactionId)
EPP_TEXT_FIELD(Client, kClient)

#undef EPP_TEXT_FIELD

// A 16-bit number field with its getter's version need; setters need none.
#define EPP_NUMBER_FIELD(Name, field, label, get_version)                                         \
  uint32_t eppGet##Name(void *handle, uint16_t *value) noexcept {                                 \
    return Access(u"eppGet" #Name, handle, get_version, value != nullptr, GetLine(label, handle), \
                  [&](Passport *p) { *value = p->field; });                                       \
  }                                                                                               \
  uint32_t eppSet##Name(void *handle, uint16_t value) noexcept {                                  \
    return Access(u"eppSet" #Name, handle, 0, true, SetLine(label, handle, value),                \
                  [&](Passport *p) { p->field = value; });                                        \
  }

EPP_NUMBER_FIELD(Service, service, u"service", 0)
EPP_NUMBER_FIELD(ActionType, action_type, u"action type", 0)
EPP_NUMBER_FIELD(Component, component, u"component", 3)

#undef EPP_NUMBER_FIELD

uint32_t eppGetTraceFlag(void *handle, ZUL_RAW *flag) noexcept {
  return Access(u"eppGetTraceFlag", handle, 0, flag != nullptr, GetLine(u"trace flag", handle),
                [&](Passport *p) { std::memcpy(flag, p->trace_flag, sizeof p->trace_flag); });
}

uint32_t eppSetTraceFlag(void *handle, const ZUL_RAW *flag) noexcept {
  return Access(u"eppSetTraceFlag", handle, 0, flag != nullptr,
                Line(u"%s: setting %s for passport %p\n", u"trace flag", handle),
                [&](Passport *p) { std::memcpy(p->trace_flag, flag, sizeof p->trace_flag); });
}

uint32_t eppGetConnectionCounter(void *handle, uint32_t *counter) noexcept {
  return Access(u"eppGetConnectionCounter", handle, 3, counter != nullptr,
                GetLine(u"connection counter", handle),
                [&](Passport *p) { *counter = p->connection_counter; });
}

uint32_t eppSetConnectionCounter(void *handle, uint32_t counter) noexcept {
  return Access(u"eppSetConnectionCounter", handle, 3, true,
                SetLine(u"connection counter", handle, counter),
                [&](Passport *p) { p->connection_counter = counter; });
}

uint32_t eppIncrConnectionCounter(void *handle, uint32_t *counter) noexcept {
  return Access(u"eppIncrConnectionCounter", handle, 3, true,
                Line(u"%s: incrementing %s of passport %p\n", u"connection counter", handle),
                [&](Passport *p) {
                  ++p->connection_counter;
                  if (counter != nullptr) *counter = p->connection_counter;
                });
}

#define EPP_UUID_FIELD(Name, field, label)                                           \
  uint32_t eppGet##Name(void *handle, ZUL_RAW *id) noexcept {                        \
    return Access(u"eppGet" #Name, handle, 3, id != nullptr, GetLine(label, handle), \
                  [&](Passport *p) { std::memcpy(id, p->field, EPP_UUID_LEN); });    \
  }                                                                                  \
  uint32_t eppSet##Name(void *handle, const ZUL_RAW *id) noexcept {                  \
    return Access(u"eppSet" #Name, handle, 3, id != nullptr,                         \
                  Line(u"%s: setting %s for passport %p\n", label, handle),          \
                  [&](Passport *p) { std::memcpy(p->field, id, EPP_UUID_LEN); });    \
  }

EPP_UUID_FIELD(RootContextId, root_context_id, u"root context id")
EPP_UUID_FIELD(ConnectionId, connection_id, u"connection id")

#undef EPP_UUID_FIELD
