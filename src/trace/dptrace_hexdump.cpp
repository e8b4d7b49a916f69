// Hex dumps: 16 bytes per line with their address, offset and characters. Session texts are
// hidden while dpTrcHidingActive is set, and PrAppcAll masks the credentials of its protocol.
#include <cstring>
#include <vector>

#include "trace/ctrc_state.h"
#include "zul_dptrace.h"
#include "zul_u16conv.h"
#include "zul_u16printf.h"

namespace {

constexpr size_t kBytesPerLine = 16;
constexpr char16_t kRule[] =
    u"------------------------------------------------------------------------\n";

// EBCDIC (code page 1047) to 8-bit, derived from the runtime's conversion table.
unsigned char ebcdic_to_8bit[256];
const bool ebcdic_to_8bit_filled = [] {
  for (int i = 0; i < 256; ++i) ebcdic_to_8bit[i] = static_cast<unsigned char>(rscpuc2_E2U[i]);
  return true;
}();

// The hiding state between the lines of one dump.
struct Hiding {
  size_t start = 0;
  bool active = false;
  size_t end = 0;
};
Hiding hiding;

bool HasAt(const ZUL_RAW *data, size_t length, size_t at, const char *text) {
  size_t n = std::strlen(text);
  return at + n <= length && std::memcmp(data + at, text, n) == 0;
}

// The end (exclusive) of a hidden range that starts at from: behind the first "-ATT" or "-NEW",
// or the end of the data.
size_t HiddenEnd(const ZUL_RAW *data, size_t length, size_t from) {
  for (size_t i = from; i + 4 <= length; ++i)
    if (HasAt(data, length, i, "-ATT") || HasAt(data, length, i, "-NEW")) return i + 4;
  return length;
}

bool Hidden(const ZUL_RAW *data, size_t length, size_t at) {
  if (!dpTrcHidingActive) return false;
  if (hiding.active && at >= hiding.end) hiding.active = false;
  if (!hiding.active && ((length > 9 && HasAt(data, length, at, "SID:ANON:")) ||
                         (length >= 14 && HasAt(data, length, at, "SID%3aANON%3a")))) {
    hiding = {at, true, HiddenEnd(data, length, at)};
  }
  return hiding.active && at >= hiding.start && at < hiding.end;
}

const unsigned char *Table(int charset) {
  return charset == 1 ? PrToAscii : charset == 2 ? PrToEbcdic : nullptr;
}

// One line: address, offset, 16 byte columns with a blank after each fourth, and the characters.
// display is the address shown for data.
void DisplayLine(CTRC_HDL hdl, const void *display, const ZUL_RAW *data, size_t length,
                 size_t offset, int charset) {
  if (offset == 0) hiding = Hiding{};
  char16_t line[128];
  int used = snprintfU16(line, 128, u"%p  %6.6d  ",
                         static_cast<const void *>(static_cast<const ZUL_RAW *>(display) + offset),
                         static_cast<int>(offset));
  if (used < 0) return;
  char16_t chars[kBytesPerLine + 1] = {};
  const unsigned char *table = Table(charset);
  for (size_t j = 0; j < kBytesPerLine; ++j) {
    size_t at = offset + j;
    bool group_end = j % 4 == 3;
    if (at >= length) {
      used += snprintfU16(line + used, 128 - used, group_end ? u"   " : u"  ");
      chars[j] = u' ';
      continue;
    }
    bool hidden = Hidden(data, length, at);
    if (hidden)
      used += snprintfU16(line + used, 128 - used, group_end ? u"xx " : u"xx");
    else
      used += snprintfU16(line + used, 128 - used, group_end ? u"%02.2x " : u"%02.2x", data[at]);
    unsigned char shown = table != nullptr ? table[data[at]] : data[at];
    chars[j] = !hidden && shown >= 32 && shown <= 126 ? shown : u'.';
  }
  snprintfU16(line + used, 128 - used, u"|%.16s|\n", chars);
  DpTrcNoTi(hdl, u"%s", line);
}

void Dump(CTRC_HDL hdl, const ZUL_UTF16 *title, const void *display, const ZUL_RAW *data,
          size_t length, int charset) {
  ctrc::Lock lock;
  int saved = EntLev;
  EntLev = 2;
  DpTrcNoTi(hdl, u"Adresse   Offset  %s\n", title != nullptr ? title : u"");
  DpTrcNoTi(hdl, u"%s", kRule);
  for (size_t offset = 0; offset < length; offset += kBytesPerLine)
    DisplayLine(hdl, display, data, length, offset, charset);
  DpTrcNoTi(hdl, u"%s", kRule);
  EntLev = saved;
}

bool Dumpable(const void *data, size_t length, int charset) {
  return data != nullptr && length != 0 && charset >= 0 && charset <= 2;
}

// The bytes PrAppcAll masks, by the kind in the header's second byte; false for none.
bool CredentialOffset(const ZUL_RAW *data, size_t length, size_t *offset) {
  constexpr size_t kHeader = 80;
  if (length < kHeader) return false;
  switch (data[1]) {
    case 201:
      *offset = kHeader;
      break;
    case 17:
      *offset = 48;
      break;
    case 202:
      if (length < 420) return false;
      *offset = kHeader + 228;
      break;
    default:
      return false;
  }
  return *offset + 8 <= length;
}

}  // namespace

const unsigned char *const PrToAscii = ebcdic_to_8bit;
const unsigned char *const PrToEbcdic = rscpuc2_U2E;

void PrBinAll(CTRC_HDL hdl, const ZUL_UTF16 *title, const void *data, size_t length,
              int charset) noexcept {
  if (!Dumpable(data, length, charset)) return;
  Dump(hdl, title, data, static_cast<const ZUL_RAW *>(data), length, charset);
}

void PrAppc2All(CTRC_HDL hdl, const ZUL_UTF16 *title, const void *data, size_t length,
                int charset) noexcept {
  PrBinAll(hdl, title, data, length, charset);
}

void PrAppcAll(CTRC_HDL hdl, const ZUL_UTF16 *title, const void *data, size_t length,
               int charset) noexcept {
  if (!Dumpable(data, length, charset)) return;
  const auto *bytes = static_cast<const ZUL_RAW *>(data);
  size_t offset;
  if (!CredentialOffset(bytes, length, &offset)) {
    Dump(hdl, title, data, bytes, length, charset);
    return;
  }
  // The caller's buffer stays untouched: the masked bytes are shown from a copy.
  try {
    std::vector<ZUL_RAW> copy(bytes, bytes + length);
    std::memset(copy.data() + offset, 'X', 8);
    Dump(hdl, title, data, copy.data(), length, charset);
  } catch (...) {
    // Without memory for the copy nothing is shown rather than the credentials.
  }
}

void ThDispLine(CTRC_HDL hdl, const void *data, size_t length, size_t offset,
                int charset) noexcept {
  if (!Dumpable(data, length, charset) || offset >= length) return;
  DisplayLine(hdl, data, static_cast<const ZUL_RAW *>(data), length, offset, charset);
}

unsigned char PrEcho(unsigned char byte) noexcept { return byte; }

ZUL_UTF16 *PrPtrToStr(const void *p) noexcept {
  static char16_t text[32];
  snprintfU16(text, 32, u"%p", p);
  return text;
}
