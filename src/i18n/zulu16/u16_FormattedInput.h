// The walk over a 16-bit input format: white space skips input white space, other units must
// match the input, and each conversion reads a field through an InputConversion.
#ifndef TLM_I18N_ZULU16_U16_FORMATTEDINPUT_H
#define TLM_I18N_ZULU16_U16_FORMATTEDINPUT_H

#include <cstdarg>
#include <cstdio>

#include "i18n/zulu16/u16_InStream.h"

namespace zulu16::scan {

// Lives on the stack of one call; holds its own copy of the caller's va_list. For a file source
// the caller holds the stream's lock for the object's whole life.
class FormattedInput {
 public:
  // format must not be null; file non-null reads the file, else string.
  FormattedInput(const ZUL_UTF16 *string, FILE *file, const ZUL_UTF16 *format, va_list args)
      : stream_(string, file), format_(format), whole_format_(format) {
    va_copy(args_, args);
  }
  ~FormattedInput() { va_end(args_); }
  FormattedInput(const FormattedInput &) = delete;
  FormattedInput &operator=(const FormattedInput &) = delete;

  // Reads the whole format. Answers the number of assignments; -1 when the input ended before
  // anything was assigned. A mismatch or a bad format ends the input with the count so far.
  int input();

 private:
  InputStream stream_;
  const ZUL_UTF16 *format_;  // the next unit to read
  const ZUL_UTF16 *whole_format_;
  va_list args_;
};

}  // namespace zulu16::scan

#endif  // TLM_I18N_ZULU16_U16_FORMATTEDINPUT_H
