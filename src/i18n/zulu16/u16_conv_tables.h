// Tables of the UTF-8 conversions.
#ifndef I18N_ZULU16_U16_CONV_TABLES_H
#define I18N_ZULU16_U16_CONV_TABLES_H

#include <array>
#include <cstdint>

namespace zulu16 {

// Marks of the lead byte tables besides the follow-up counts 0 to 5.
inline constexpr uint8_t kIllegalStartByte = 6;
inline constexpr uint8_t kControlCodeByte = 7;

namespace internal {
constexpr std::array<uint8_t, 256> MakeLeadByteTable(bool mark_control_codes) {
  std::array<uint8_t, 256> t{};
  for (int b = 0; b < 256; ++b) {
    if (b < 0x80)
      t[b] = mark_control_codes && (b < 0x20 || b == 0x7F) ? kControlCodeByte : 0;
    else if (b < 0xC0)
      t[b] = kIllegalStartByte;
    else if (b < 0xE0)
      t[b] = 1;
    else if (b < 0xF0)
      t[b] = 2;
    else if (b < 0xF8)
      t[b] = 3;
    else if (b < 0xFC)
      t[b] = 4;
    else if (b < 0xFE)
      t[b] = 5;
    else
      t[b] = kIllegalStartByte;
  }
  return t;
}
}  // namespace internal

// How many follow-up bytes a lead byte wants, or kIllegalStartByte.
inline constexpr std::array<uint8_t, 256> bytesFromUTF8 = internal::MakeLeadByteTable(false);
// The same, with kControlCodeByte for bytes 0x00 to 0x1F and 0x7F.
inline constexpr std::array<uint8_t, 256> bytesFromUTF8NoCC = internal::MakeLeadByteTable(true);

// By follow-up count: what to subtract after summing value * 64 + byte over a whole sequence
// (the lead marks and the 0x80 of each follow-up byte), modulo 2^32.
inline constexpr uint32_t offsetsFromUTF8[6] = {0,          0x3080,      0xE2080,
                                                0x3C82080u, 0xFA082080u, 0x82082080u};
// By follow-up count: the smallest value that a sequence of that length may encode.
inline constexpr uint32_t minValForLength[6] = {0, 0x80, 0x800, 0x10000, 0x200000, 0x4000000};
// By total length 1 to 6 (index 0 unused): the mark of the lead byte.
inline constexpr uint8_t firstByteMark[7] = {0x00, 0x00, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};

inline constexpr uint32_t kReplacement = 0xFFFD;
inline constexpr uint32_t kMaxUcs2 = 0xFFFF;
inline constexpr uint32_t kMaxUtf16 = 0x10FFFF;
inline constexpr uint32_t kMaxUcs4 = 0x7FFFFFFF;

// UTF-8 length of a value up to 31 bits.
inline constexpr unsigned Utf8Length(uint32_t v) {
  return v < 0x80 ? 1 : v < 0x800 ? 2 : v < 0x10000 ? 3 : v < 0x200000 ? 4 : v < 0x4000000 ? 5 : 6;
}

}  // namespace zulu16

#endif  // I18N_ZULU16_U16_CONV_TABLES_H
