// The order of the core's maps keyed by 16-bit text: unit by unit as unsigned values, a shorter
// text first when it is a prefix of the other; the order of zulstring's own compare, computed
// four units at a time.
#ifndef TLM_TLMZULSTRINGLESS_H
#define TLM_TLMZULSTRINGLESS_H

#include <cstdint>
#include <cstring>

#include "i18n/zulu16/zulstring.h"

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "units are compared as little-endian words");

struct ZulStringLess {
  bool operator()(const zulstring &a, const zulstring &b) const noexcept {
    return compare(a.data(), a.size(), b.data(), b.size()) < 0;
  }

  // Negative, 0 or positive as a sorts before, with or after b.
  static int compare(const ZUL_UTF16 *a, size_t aLength, const ZUL_UTF16 *b,
                     size_t bLength) noexcept {
    size_t common = aLength < bLength ? aLength : bLength;
    size_t i = 0;
    for (; i + 4 <= common; i += 4) {
      uint64_t x, y;
      std::memcpy(&x, a + i, sizeof x);
      std::memcpy(&y, b + i, sizeof y);
      if (x != y) {
        // Units are little-endian in the word: the lowest differing bit lies in the first
        // differing unit.
        size_t unit = i + static_cast<size_t>(__builtin_ctzll(x ^ y)) / 16;
        return static_cast<int>(a[unit]) - static_cast<int>(b[unit]);
      }
    }
    for (; i < common; ++i) {
      if (a[i] != b[i]) return static_cast<int>(a[i]) - static_cast<int>(b[i]);
    }
    return aLength < bLength ? -1 : (aLength > bLength ? 1 : 0);
  }
};

#endif  // TLM_TLMZULSTRINGLESS_H
