// The target of formatted output: a FILE (as UTF-8) or a 16-bit memory buffer, with the argument
// list that the conversions consume.
#ifndef TLM_I18N_ZULU16_U16_OUTSTREAM_H
#define TLM_I18N_ZULU16_U16_OUTSTREAM_H

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "zul_base.h"

namespace zulu16::fmt {

// A limit of all ones: the memory target has no end.
inline constexpr uint64_t kNoLimit = ~uint64_t{0};

// Lives on the stack of one call. Holds its own copy of the caller's va_list; that copy is what
// advances, and the destructor ends it.
class OutputStream {
 public:
  // file non-null: a file target (buffer ignored). Otherwise buffer, of limit units.
  OutputStream(FILE *file, ZUL_UTF16 *buffer, uint64_t limit, const ZUL_UTF16 *format,
               va_list args);
  ~OutputStream();
  OutputStream(const OutputStream &) = delete;
  OutputStream &operator=(const OutputStream &) = delete;

  // Writes count units. A memory target copies what fits and counts all of them; a file target
  // answers -1 when the stream took less than all. Answers 0 or -1.
  int writeString(const ZUL_UTF16 *text, size_t count) {
    // The common case inline: a memory target with room for the whole piece.
    if (buffer_ != nullptr && written_ < limit_ && count <= limit_ - written_) {
      CopyUnits(buffer_ + written_, text, count);
      written_ += count;
      return 0;
    }
    return writeStringSlow(text, count);
  }
  // Writes count copies of unit (padding), with the rules of writeString.
  int writeRepeated(ZUL_UTF16 unit, uint64_t count);
  // Places the terminator of a memory target: after the text, or in the last unit when full.
  void terminate();

  // A limited memory target whose every unit has been used.
  bool isFull() const { return file_ == nullptr && written_ >= limit_; }
  uint64_t written() const { return written_; }
  const ZUL_UTF16 *format() const { return format_; }
  // The argument list; each va_arg on it consumes the next argument.
  va_list &args() { return args_; }

 private:
  // Short pieces (most of a format) are copied with a few fixed-size moves rather than a call.
  static void CopyUnits(ZUL_UTF16 *to, const ZUL_UTF16 *from, size_t count) {
    if (count >= 4 && count <= 8) {
      std::memcpy(to, from, 8);
      std::memcpy(to + count - 4, from + count - 4, 8);
    } else if (count > 8 && count <= 16) {
      std::memcpy(to, from, 16);
      std::memcpy(to + count - 8, from + count - 8, 16);
    } else if (count < 4) {
      for (size_t i = 0; i < count; ++i) to[i] = from[i];
    } else {
      std::memcpy(to, from, count * sizeof(ZUL_UTF16));
    }
  }
  int writeStringSlow(const ZUL_UTF16 *text, size_t count);
  int writeFile(const ZUL_UTF16 *text, size_t count);
  // Units of a memory target still free for a write of count units; answers -1 when the
  // all-or-nothing rule refuses the write.
  int64_t memoryRoom(uint64_t count);

  FILE *file_;
  ZUL_UTF16 *buffer_;
  uint64_t written_ = 0;
  uint64_t limit_;
  const ZUL_UTF16 *format_;
  va_list args_;
  // Refuses a piece that doesn't fit whole and empties the buffer; off for the whole family.
  bool all_or_nothing_ = false;
};

}  // namespace zulu16::fmt

#endif  // TLM_I18N_ZULU16_U16_OUTSTREAM_H
