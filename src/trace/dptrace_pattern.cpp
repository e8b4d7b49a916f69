// The pattern watch: every written plain or error line is matched against up to 32 patterns with
// the wildcards '*' (any run), '?' (any unit) and '\' (next unit literal).
#include <cstdlib>

#include "trace/ctrc_state.h"
#include "zul_dptrace.h"
#include "zul_u16string.h"

namespace dptrace {

namespace {

constexpr int kSlots = 32;

struct Slot {
  char16_t *pattern;  // private copy; null marks a free slot, and free slots are all at the end
  DPTRC_PATTERN_CB callback;
};
Slot slots[kSlots];

// Matches pattern against the start of text; the end of the pattern matches whatever is left.
bool WildMatch(const char16_t *text, const char16_t *text_end, const char16_t *pattern) {
  for (; *pattern != 0; ++pattern) {
    if (*pattern == u'*') {
      for (const char16_t *t = text; t <= text_end; ++t)
        if (WildMatch(t, text_end, pattern + 1)) return true;
      return false;
    }
    if (text == text_end) return false;
    if (*pattern == u'\\' && pattern[1] != 0) {
      ++pattern;
    } else if (*pattern == u'?') {
      ++text;
      continue;
    }
    if (*text != *pattern) return false;
    ++text;
  }
  return true;
}

size_t UnitsWithoutStars(const char16_t *pattern) {
  size_t n = 0;
  for (; *pattern != 0; ++pattern)
    if (*pattern != u'*') ++n;
  return n;
}

// A pattern that starts with a wildcard is compared from the start of the text only; any other
// is tried at each position that holds its first unit.
bool Matches(const char16_t *text, size_t units, const char16_t *pattern) {
  const char16_t *end = text + units;
  if (pattern[0] == u'*' || pattern[0] == u'?') return WildMatch(text, end, pattern);
  size_t needed = UnitsWithoutStars(pattern);
  for (const char16_t *t = text; t < end && static_cast<size_t>(end - t) >= needed; ++t)
    if (*t == pattern[0] && WildMatch(t, end, pattern)) return true;
  return false;
}

}  // namespace

void MatchPatterns(CTRC_HDL hdl, FILE *stream, const char16_t *text, size_t units) {
  for (int i = 0; i < kSlots && slots[i].pattern != nullptr; ++i) {
    if (!Matches(text, units, slots[i].pattern)) continue;
    // A direct print, so that the report itself is not matched again.
    Print(stream, u"\nDpTrc: found match for pattern >%s< in output\n", slots[i].pattern);
    if (slots[i].callback != nullptr) slots[i].callback(hdl, slots[i].pattern);
  }
}

}  // namespace dptrace

using dptrace::slots;

int DpTrcAddPattern(const ZUL_UTF16 *pattern, DPTRC_PATTERN_CB callback) noexcept {
  if (pattern == nullptr) return -1;
  ctrc::Lock lock;
  for (auto &slot : slots) {
    if (slot.pattern != nullptr) continue;
    slot.pattern = strdupU16(pattern);
    if (slot.pattern == nullptr) return -1;
    slot.callback = callback;
    return 0;
  }
  return -1;
}

int DpTrcRmPattern(const ZUL_UTF16 *pattern) noexcept {
  if (pattern == nullptr) return 0;
  ctrc::Lock lock;
  int i = 0;
  while (i < dptrace::kSlots && slots[i].pattern != nullptr) {
    if (strcmpU16(slots[i].pattern, pattern) != 0) {
      ++i;
      continue;
    }
    std::free(slots[i].pattern);
    for (int j = i; j + 1 < dptrace::kSlots; ++j) slots[j] = slots[j + 1];
    slots[dptrace::kSlots - 1] = {nullptr, nullptr};
  }
  return 0;
}

void DpTrcRmAllPattern(void) noexcept {
  ctrc::Lock lock;
  for (auto &slot : slots) {
    std::free(slot.pattern);
    slot = {nullptr, nullptr};
  }
}

int DpTrcGetPatterns(const ZUL_UTF16 **out, int max) noexcept {
  ctrc::Lock lock;
  int used = 0;
  for (; used < dptrace::kSlots && slots[used].pattern != nullptr; ++used)
    if (out != nullptr && used < max) out[used] = slots[used].pattern;
  return used;
}
