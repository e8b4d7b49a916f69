// Searching 16-bit strings for sets of units and for substrings, and splitting them into tokens.
#include "i18n/zulu16/u16_generic.h"

using zulu16::LoadUnit;

namespace {

bool InSet(const ZUL_UTF16 *set, ZUL_UTF16 u) {
  for (;; ++set) {
    ZUL_UTF16 v = LoadUnit(set);
    if (v == 0) return false;
    if (v == u) return true;
  }
}

// Length of the leading run of s whose units are in set (inside true) or not in set (false).
size_t RunLength(const ZUL_UTF16 *s, const ZUL_UTF16 *set, bool inside) {
  size_t i = 0;
  for (ZUL_UTF16 u; (u = LoadUnit(s + i)) != 0 && InSet(set, u) == inside;) ++i;
  return i;
}

// The position of the strtokU16 tokenisation in progress, shared by all threads.
ZUL_UTF16 *token_position = nullptr;

}  // namespace

size_t strspnU16(const ZUL_UTF16 *s, const ZUL_UTF16 *accept) noexcept {
  return RunLength(s, accept, true);
}

size_t strcspnU16(const ZUL_UTF16 *s, const ZUL_UTF16 *reject) noexcept {
  return RunLength(s, reject, false);
}

ZUL_UTF16 *strpbrkU16(const ZUL_UTF16 *s, const ZUL_UTF16 *accept) noexcept {
  s += RunLength(s, accept, false);
  return LoadUnit(s) != 0 ? const_cast<ZUL_UTF16 *>(s) : nullptr;
}

ZUL_UTF16 *strstrU16(const ZUL_UTF16 *haystack, const ZUL_UTF16 *needle) noexcept {
  ZUL_UTF16 first = LoadUnit(needle);
  if (first == 0) return const_cast<ZUL_UTF16 *>(haystack);
  size_t rest = strlenU16(needle) - 1;
  for (const ZUL_UTF16 *p = haystack; (p = strchrU16(p, first)) != nullptr; ++p) {
    if (strncmpU16(p + 1, needle + 1, rest) == 0) return const_cast<ZUL_UTF16 *>(p);
  }
  return nullptr;
}

ZUL_UTF16 *strtok_rU16(ZUL_UTF16 *s, const ZUL_UTF16 *delim, ZUL_UTF16 **save) noexcept {
  return zulu16::NextToken<zulu16::WideText>(s, delim, save);
}

ZUL_UTF16 *strtokU16(ZUL_UTF16 *s, const ZUL_UTF16 *delim) noexcept {
  return strtok_rU16(s, delim, &token_position);
}
