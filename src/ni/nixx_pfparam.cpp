// Profile parameters of the network interface, given by name and text value.
#define DPTRC_MODULE u"nixx"

#include <cstdio>

#include "ni/nixxi.h"
#include "zul_dptrace.h"
#include "zul_u16string.h"

using namespace ni;

namespace {

struct PfRow {
  const char16_t *name;
  const char *name8;
  long low, high;
  bool onlyBounds;  // only the two bounds themselves are allowed
  uint8_t param;    // the global parameter it sets
};

constexpr PfRow kPfParams[] = {
    {u"is/hostbuffer_timeout_valid_entry", "is/hostbuffer_timeout_valid_entry", 0, 86400, false,
     NIP_HOSTBUF_TIMEOUT},
    {u"is/hostbuffer_timeout_invalid_entry", "is/hostbuffer_timeout_invalid_entry", 0, 86400, false,
     NIP_HOSTBUF_TIMEOUT_INVALID},
    {u"is/socket_buffer_size", "is/socket_buffer_size", 32768, 65536, true, NIP_SOCKET_BUFFER_SIZE},
};

constexpr size_t kMaxValue = 256;

// Checks name and value; *row and *number get the parameter and the value when it passes.
int Check(const char *fn, const ZUL_UTF16 *name, const ZUL_UTF16 *value, const PfRow **row,
          uint32_t *number) {
  if (name == nullptr || value == nullptr)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (name == NULL || "
                  "value == NULL)",
                  fn);
  *row = nullptr;
  for (const PfRow &r : kPfParams)
    if (strcmpU16(r.name, name) == 0) *row = &r;
  char name8[128];
  Narrow(name, name8, sizeof name8);
  if (*row == nullptr) {
    DPTRC_A7(2, tf, "%s : unknown parameter %s\n", fn, name8);
    return NIEINVAL;
  }
  size_t len = strlenU16(value);
  if (len >= kMaxValue)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: bad value (length %d >= 256)", fn,
                  static_cast<int>(len));
  if (value[0] < u'0' || value[0] > u'9') return NIEINVAL;  // refused without a word
  long v = strtolU16(value, nullptr, 10);
  bool ok = (*row)->onlyBounds ? (v == (*row)->low || v == (*row)->high)
                               : (v >= (*row)->low && v <= (*row)->high);
  if (!ok) {
    char value8[kMaxValue];
    Narrow(value, value8, sizeof value8);
    DPTRC_A7(1, tf, "PRF %s  value: %s is out of range:[%d, %d]\n", name8, value8,
             static_cast<int>((*row)->low), static_cast<int>((*row)->high));
    return NIEINVAL;
  }
  *number = static_cast<uint32_t>(v);
  return ZUL_O_K;
}

}  // namespace

int NiTestPfParam(const ZUL_UTF16 *name, const ZUL_UTF16 *value) noexcept {
  const PfRow *row;
  uint32_t number;
  return Check("NiTestPfParam", name, value, &row, &number);
}

int NiSetPfParam(const ZUL_UTF16 *name, const ZUL_UTF16 *value) noexcept {
  const PfRow *row;
  uint32_t number = 0;
  int rc = Check("NiSetPfParam", name, value, &row, &number);
  if (rc != ZUL_O_K) return rc;
  NI_PARAM_DATA d{};
  d.param = row->param;
  d.datatype = NI_DT_UINT;
  d.value.uint_val = number;
  return NiSetParamEx(&d);
}
