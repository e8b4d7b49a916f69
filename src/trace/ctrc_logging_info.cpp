// Parsing of a logging setting: "OFF", or "ON", a size with the unit K or M, and optionally
// "GLOBAL=ON", separated by commas and blanks.
#include <cstdint>
#include <cstring>

#include "zul_ctrc.h"
#include "zul_u16string.h"

namespace {

constexpr size_t kMaxText = 128;
constexpr int kMaxTokens = 8;

bool Is(const char16_t *token, const char16_t *text) { return strcmpU16(token, text) == 0; }

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

// The multiplier of a unit text, or 0 for anything else.
int64_t UnitFactor(const char16_t *unit) {
  if (Is(unit, u"K")) return 1024;
  if (Is(unit, u"M")) return 1048576;
  return 0;
}

// Parses tokens[*next] (and the unit token behind it, when the unit doesn't follow the digits)
// as a size in bytes. Answers -1 for anything else.
int64_t ParseSize(char16_t **tokens, int count, int *next) {
  const char16_t *p = tokens[*next];
  if (!IsDigit(*p)) return -1;
  int64_t value = 0;
  for (; IsDigit(*p); ++p) {
    if (value > (INT64_MAX - 9) / 10 / 1048576) return -1;
    value = value * 10 + (*p - u'0');
  }
  ++*next;
  if (*p == 0) {
    if (*next >= count) return -1;
    p = tokens[(*next)++];
  }
  int64_t factor = UnitFactor(p);
  return factor == 0 ? -1 : value * factor;
}

}  // namespace

int CTrcGetLoggingInfo(const ZUL_UTF16 *text, CTRC_LOGGING_INFO *out) noexcept {
  if (text == nullptr) return -1;
  char16_t copy[kMaxText + 1];
  size_t len = strnlenU16(text, kMaxText);
  std::memcpy(copy, text, len * sizeof(char16_t));
  copy[len] = 0;
  strtoupperU16(copy);

  char16_t *tokens[kMaxTokens];
  int count = 0;
  char16_t *save = nullptr;
  for (char16_t *t = strtok_rU16(copy, u", ", &save); t != nullptr;
       t = strtok_rU16(nullptr, u", ", &save)) {
    if (count == kMaxTokens) return -1;
    tokens[count++] = t;
  }
  if (count == 0) return -1;

  CTRC_LOGGING_INFO info = {0, 0, 0};
  if (Is(tokens[0], u"OFF")) {
    if (out != nullptr) *out = info;
    return 0;
  }
  if (!Is(tokens[0], u"ON") || count < 2) return -1;
  int next = 1;
  info.on = 1;
  info.size = ParseSize(tokens, count, &next);
  if (info.size < 0) return -1;
  for (; next < count; ++next) {
    if (!Is(tokens[next], u"GLOBAL=ON")) return -1;
    info.global = 1;
  }
  if (out != nullptr) *out = info;
  return 0;
}
