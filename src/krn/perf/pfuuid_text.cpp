// Copies of identifiers between callers, and their hexadecimal text.
#include <cstring>

#include "zul_pfuuid.h"

int pfuuid_host(const ZUL_RAW *in, int length, ZUL_RAW *out) noexcept {
  if (in == nullptr || out == nullptr || length != PFUUID_LEN) return PFUUID_ERR_ARG;
  std::memcpy(out, in, PFUUID_LEN);
  return PFUUID_OK;
}

int pfuuid_net(const ZUL_RAW *in, ZUL_RAW *out, int *length) noexcept {
  if (in == nullptr || out == nullptr || length == nullptr || *length < PFUUID_LEN) {
    return PFUUID_ERR_ARG;
  }
  std::memcpy(out, in, PFUUID_LEN);
  *length = PFUUID_LEN;
  return PFUUID_OK;
}

// The same text as "%02X" for each byte in turn.
int pfuuid_print(const ZUL_RAW *uuid, ZUL_UTF16 *text, int *length) noexcept {
  constexpr int kDigits = 2 * PFUUID_LEN;
  if (uuid == nullptr || text == nullptr || length == nullptr || *length <= kDigits) {
    return PFUUID_ERR_ARG;
  }
  static constexpr char16_t kHex[] = u"0123456789ABCDEF";
  for (int i = 0; i < PFUUID_LEN; ++i) {
    text[2 * i] = kHex[uuid[i] >> 4];
    text[2 * i + 1] = kHex[uuid[i] & 0x0F];
  }
  text[kDigits] = 0;
  *length = kDigits;
  return PFUUID_OK;
}

void print_uuid(void) noexcept {}
