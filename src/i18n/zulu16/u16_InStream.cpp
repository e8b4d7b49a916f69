// File side of the input source: units through fgetcU16, and the return of a pushed-back unit.
#include "i18n/zulu16/u16_InStream.h"

#include "zul_u16stdio.h"

namespace zulu16::scan {

int InputStream::readSingleCharFromFile() {
  int unit = fgetcU16(file_);
  return unit == EOF ? kEnd : unit;
}

InputStream::~InputStream() {
  if (file_ == nullptr || pushed_back_ < 0) return;
  // The unit's UTF-8 form, put back last byte first so that the next read sees it whole.
  unsigned u = static_cast<unsigned>(pushed_back_);
  unsigned char bytes[3];
  int n;
  if (u < 0x80) {
    bytes[0] = static_cast<unsigned char>(u);
    n = 1;
  } else if (u < 0x800) {
    bytes[0] = static_cast<unsigned char>(0xC0 | (u >> 6));
    bytes[1] = static_cast<unsigned char>(0x80 | (u & 0x3F));
    n = 2;
  } else {
    bytes[0] = static_cast<unsigned char>(0xE0 | (u >> 12));
    bytes[1] = static_cast<unsigned char>(0x80 | ((u >> 6) & 0x3F));
    bytes[2] = static_cast<unsigned char>(0x80 | (u & 0x3F));
    n = 3;
  }
  for (int i = n - 1; i >= 0; --i) ungetc(bytes[i], file_);
}

}  // namespace zulu16::scan
