// The source of formatted input: a 16-bit string or a FILE read as UTF-8, with a one-unit
// pushback and a count of the units taken.
#ifndef TLM_I18N_ZULU16_U16_INSTREAM_H
#define TLM_I18N_ZULU16_U16_INSTREAM_H

#include <cstdint>
#include <cstdio>

#include "zul_base.h"
#include "zul_u16string.h"

namespace zulu16::scan {

// What readSingleChar answers at the end of the input.
inline constexpr int kEnd = -1;

// White space as isspaceU16 says, with ASCII decided inline; kEnd is none.
inline bool IsSpaceUnit(int unit) {
  if (unit <= 0x20) return unit == 0x20 || (unit >= 0x09 && unit <= 0x0D);
  return unit >= 0x85 && isspaceU16(static_cast<ZUL_UTF16>(unit));
}

// Lives on the stack of one call. For a file the caller holds the stream's lock; a unit still
// pushed back when the stream is destroyed goes back to the file as its UTF-8 bytes.
class InputStream {
 public:
  // file non-null: read the file (string ignored). Otherwise string, up to its terminator.
  InputStream(const ZUL_UTF16 *string, FILE *file) : file_(file), string_(string) {}
  ~InputStream();
  InputStream(const InputStream &) = delete;
  InputStream &operator=(const InputStream &) = delete;

  // The next unit, or kEnd; once the end has been seen it is answered again without reading.
  int readSingleChar() {
    if (pushed_back_ >= 0) {
      int unit = pushed_back_;
      pushed_back_ = -1;
      ++position_;
      return unit;
    }
    if (end_) return kEnd;
    int unit = file_ != nullptr ? readSingleCharFromFile() : readSingleCharFromString();
    if (unit == kEnd) {
      end_ = true;
    } else {
      ++position_;
    }
    return unit;
  }
  // Gives back the unit that readSingleChar answered last; kEnd is ignored.
  void unreadSingleChar(int unit) {
    if (unit < 0) return;
    pushed_back_ = unit;
    --position_;
  }
  // The end of the input has been met (and nothing is pushed back).
  bool isEOF() const { return end_ && pushed_back_ < 0; }
  // Units taken so far, the value of %n.
  uint64_t successfullyRead() const { return position_; }

 private:
  int readSingleCharFromFile();
  int readSingleCharFromString() {
    ZUL_UTF16 unit = string_[index_];
    if (unit == 0) return kEnd;
    ++index_;
    return unit;
  }

  FILE *file_;
  const ZUL_UTF16 *string_;
  size_t index_ = 0;
  uint64_t position_ = 0;
  int pushed_back_ = -1;
  bool end_ = false;
};

}  // namespace zulu16::scan

#endif  // TLM_I18N_ZULU16_U16_INSTREAM_H
