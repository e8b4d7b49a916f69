// The printable form of a passport: one line of tagged text.
#include <cstdarg>
#include <cstdint>
#include <cstring>

#include "epp/epp_hex.h"
#include "epp/epp_internal.h"
#include "epp/epp_trace.h"
#include "zul_u16printf.h"
#include "zul_u16string.h"

namespace epp {

namespace {

// Room for the longest text a passport can give: the core part takes below 1000 units, and the
// 512 bytes of a part can't hold items whose text takes more than 1200.
constexpr size_t kAreaUnits = 4096;

// The text being built.
class PrintArea {
 public:
  void Add(const ZUL_UTF16 *format, ...) {
    if (cut_) return;
    va_list args;
    va_start(args, format);
    int n = vsnprintfU16(area_ + used_, kAreaUnits - used_, format, args);
    va_end(args);
    if (n < 0 || used_ + static_cast<size_t>(n) >= kAreaUnits) {
      cut_ = true;
      return;
    }
    used_ += static_cast<size_t>(n);
  }
  // Units written so far with the terminator; a text that was cut fits no buffer.
  size_t Needed() const { return cut_ ? SIZE_MAX : used_ + 1; }
  const ZUL_UTF16 *Text() const { return area_; }

 private:
  ZUL_UTF16 area_[kAreaUnits];
  size_t used_ = 0;
  bool cut_ = false;
};

// Hexadecimal digits of count bytes, for a "%.*s".
struct Hex {
  Hex(const void *bytes, uint32_t count) : units(static_cast<int>(2 * count)) {
    eppX2C(static_cast<const ZUL_RAW *>(bytes), count, digits);
  }
  int units;
  ZUL_UTF16 digits[2 * 64];
};

void PrintCore(const Passport *p, PrintArea &out) {
  out.Add(
      u"<trcFlag>%u,%u</trcFlag><componentName length=\"%u\">%s</componentName>"
      u"<service>%u</service><userId length=\"%u\">%s</userId><action length=\"%u\">%s</action>"
      u"<actionType>%u</actionType><preComponentName length=\"%u\">%s</preComponentName>",
      unsigned{p->trace_flag[0]}, unsigned{p->trace_flag[1]},
      static_cast<unsigned>(strlenU16(p->component_name)), p->component_name, unsigned{p->service},
      static_cast<unsigned>(strlenU16(p->user_id)), p->user_id,
      static_cast<unsigned>(strlenU16(p->action)), p->action, unsigned{p->action_type},
      static_cast<unsigned>(strlenU16(p->pre_component_name)), p->pre_component_name);
}

void PrintVersion3(const Passport *p, PrintArea &out) {
  Hex root(p->root_context_id, EPP_UUID_LEN);
  Hex connection(p->connection_id, EPP_UUID_LEN);
  out.Add(
      u"<client length=\"%u\">%s</client><component>%u</component>"
      u"<rootContextId>%.*s</rootContextId><connectionId>%.*s</connectionId>"
      u"<connectionCounter>%u</connectionCounter>",
      static_cast<unsigned>(strlenU16(p->client)), p->client, unsigned{p->component}, root.units,
      root.digits, connection.units, connection.digits, unsigned{p->connection_counter});
}

void PrintItem(const Item *item, PrintArea &out) {
  unsigned app = item->application;
  unsigned key = item->key;
  switch (item->type) {
    case EPP_ITEM_BYTES: {
      Hex hex(item->value, item->length);
      out.Add(u"<byteArrayItem app=\"%u\" key=\"%u\" >%.*s</byteArrayItem>", app, key, hex.units,
              hex.digits);
      break;
    }
    case EPP_ITEM_INT: {
      int32_t number;
      std::memcpy(&number, item->value, sizeof number);
      out.Add(u"<intItem app=\"%u\" key=\"%u\" >%d</intItem>", app, key, int{number});
      break;
    }
    case EPP_ITEM_UUID: {
      Hex hex(item->value, EPP_UUID_LEN);
      out.Add(u"<uuidItem app=\"%u\" key=\"%u\" >%.*s</uuidItem>", app, key, hex.units, hex.digits);
      break;
    }
    case EPP_ITEM_STRING:
      out.Add(u"<stringItem app=\"%u\" key=\"%u\" >%s</stringItem>", app, key,
              static_cast<const ZUL_UTF16 *>(item->value));
      break;
    default:
      break;
  }
}

void PrintPart(const VarPart *part, PrintArea &out) {
  out.Add(u"<varPart id=\"%u\">", unsigned{part->id});
  for (const Item *item = part->first; item != nullptr; item = item->next) PrintItem(item, out);
  out.Add(u"</varPart>");
}

}  // namespace
}  // namespace epp

using namespace epp;

uint32_t eppPrint(void *handle, ZUL_UTF16 *buffer, uint32_t capacity) noexcept {
  static constexpr ZUL_UTF16 kFn[] = u"eppPrint";
  if (uint32_t rc = CheckInit()) return rc;
  EPP_TRC(2, u"%s: printing passport %p\n", kFn, handle);
  PassportAccess p;
  if (uint32_t rc = p.Open(kFn, handle, 0)) return rc;
  if (buffer == nullptr && capacity > 0) return EPP_RC_INVALID;

  PrintArea out;
  // Each step is checked against the capacity as soon as it is written.
  auto fits = [&] {
    if (out.Needed() <= capacity) return true;
    EPP_ERR(1, u"%s: given output buffer too small (%u < %u)\n", kFn, unsigned{capacity},
            static_cast<unsigned>(out.Needed()));
    return false;
  };
  out.Add(u"<epp version=\"%d\">", int{p->version});
  if (!fits()) return EPP_RC_AREA_TOO_SMALL;
  PrintCore(p.get(), out);
  if (!fits()) return EPP_RC_AREA_TOO_SMALL;
  if (p->version >= 2) {
    out.Add(u"<transactionId length=\"%u\">%s</transactionId>",
            static_cast<unsigned>(strlenU16(p->transaction_id)), p->transaction_id);
    if (!fits()) return EPP_RC_AREA_TOO_SMALL;
  }
  if (p->version >= 3) {
    PrintVersion3(p.get(), out);
    if (!fits()) return EPP_RC_AREA_TOO_SMALL;
  }
  for (const VarPart *part : p->var_parts) {
    if (part == nullptr) continue;
    PrintPart(part, out);
    if (!fits()) return EPP_RC_AREA_TOO_SMALL;
  }
  out.Add(u"</epp>");
  if (!fits()) return EPP_RC_AREA_TOO_SMALL;
  std::memcpy(buffer, out.Text(), out.Needed() * sizeof(ZUL_UTF16));
  return EPP_RC_OK;
}

int eppIsInitialUuid(const ZUL_RAW *uuid) noexcept {
  if (uuid == nullptr) return 0;
  for (int i = 0; i < EPP_UUID_LEN; ++i)
    if (uuid[i] != 0) return 0;
  return 1;
}
