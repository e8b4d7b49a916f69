// Access to the 16- and 32-bit units of the conversions: in native or swapped byte order, at any
// alignment. memcpy compiles to one move on x86-64 and keeps unaligned buffers well defined.
#ifndef I18N_ZULU16_U16_CONV_UNITS_H
#define I18N_ZULU16_U16_CONV_UNITS_H

#include <cstdint>
#include <cstring>

#include "zul_base.h"

namespace zulu16 {

template <class UnitT, bool kSwapped>
struct UnitIo {
  using Unit = UnitT;
  static constexpr bool kSwap = kSwapped;

  static uint32_t Load(const Unit *p) {
    Unit u;
    std::memcpy(&u, p, sizeof u);
    return Order(u);
  }
  static void Store(Unit *p, uint32_t value) {
    Unit u = Order(static_cast<Unit>(value));
    std::memcpy(p, &u, sizeof u);
  }
  // Stores a unit that is already in the buffer's byte order.
  static void StoreRaw(Unit *p, Unit u) { std::memcpy(p, &u, sizeof u); }
  static Unit Order(Unit u) {
    if constexpr (!kSwapped) {
      return u;
    } else if constexpr (sizeof(Unit) == 2) {
      return static_cast<Unit>(__builtin_bswap16(static_cast<uint16_t>(u)));
    } else {
      return static_cast<Unit>(__builtin_bswap32(static_cast<uint32_t>(u)));
    }
  }
};

using U16Native = UnitIo<ZUL_UTF16, false>;
using U16Swapped = UnitIo<ZUL_UTF16, true>;
using U32Native = UnitIo<uint32_t, false>;
using U32Swapped = UnitIo<uint32_t, true>;

}  // namespace zulu16

#endif  // I18N_ZULU16_U16_CONV_UNITS_H
