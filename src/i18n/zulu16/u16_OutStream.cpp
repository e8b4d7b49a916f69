// Formatted output target: memory copies with limit accounting, files through the UTF-8 writer.
#include "i18n/zulu16/u16_OutStream.h"

#include <algorithm>
#include <cstring>

#include "zul_u16stdio.h"

namespace zulu16::fmt {

namespace {

// The number of bytes u16_fwriteU16 produces for these units; a smaller answer from it means the
// stream took only part of them.
size_t Utf8Size(const ZUL_UTF16 *text, size_t count) {
  size_t bytes = 0;
  for (size_t i = 0; i < count; ++i) {
    ZUL_UTF16 u = text[i];
    if (u < 0x80 || (u >= 0xD800 && u <= 0xDFFF)) {
      bytes += 1;  // surrogates are written as one '#'
    } else {
      bytes += u < 0x800 ? 2 : 3;
    }
  }
  return bytes;
}

}  // namespace

OutputStream::OutputStream(FILE *file, ZUL_UTF16 *buffer, uint64_t limit, const ZUL_UTF16 *format,
                           va_list args)
    : file_(file), buffer_(file != nullptr ? nullptr : buffer), limit_(limit), format_(format) {
  va_copy(args_, args);
}

OutputStream::~OutputStream() { va_end(args_); }

int OutputStream::writeFile(const ZUL_UTF16 *text, size_t count) {
  // A lone terminator unit (%c of 0) has no place in a text file: it is counted, not written.
  if (count == 1 && text[0] == 0) return 0;
  if (count == 0) return 0;
  return u16_fwriteU16(text, count, file_) == Utf8Size(text, count) ? 0 : -1;
}

int64_t OutputStream::memoryRoom(uint64_t count) {
  if (limit_ == kNoLimit) return static_cast<int64_t>(count);
  uint64_t room = written_ < limit_ ? limit_ - written_ : 0;
  if (count <= room) return static_cast<int64_t>(count);
  if (all_or_nothing_) {
    if (limit_ > 0) buffer_[0] = 0;
    written_ = 0;
    return -1;
  }
  return static_cast<int64_t>(room);
}

int OutputStream::writeStringSlow(const ZUL_UTF16 *text, size_t count) {
  if (file_ != nullptr) {
    if (writeFile(text, count) < 0) return -1;
  } else {
    int64_t fit = memoryRoom(count);
    if (fit < 0) return -1;
    if (fit > 0) std::memcpy(buffer_ + written_, text, static_cast<size_t>(fit) * 2);
  }
  written_ += count;
  return 0;
}

int OutputStream::writeRepeated(ZUL_UTF16 unit, uint64_t count) {
  if (file_ != nullptr) {
    ZUL_UTF16 chunk[256];
    std::fill_n(chunk, std::min<uint64_t>(count, 256), unit);
    for (uint64_t left = count; left > 0;) {
      size_t n = static_cast<size_t>(std::min<uint64_t>(left, 256));
      if (writeFile(chunk, n) < 0) return -1;
      left -= n;
    }
  } else {
    int64_t fit = memoryRoom(count);
    if (fit < 0) return -1;
    std::fill_n(buffer_ + written_, fit, unit);
  }
  written_ += count;
  return 0;
}

void OutputStream::terminate() {
  if (buffer_ == nullptr || limit_ == 0) return;
  buffer_[written_ < limit_ ? written_ : limit_ - 1] = 0;
}

}  // namespace zulu16::fmt
