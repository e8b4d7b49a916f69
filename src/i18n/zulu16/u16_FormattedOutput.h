// The walk over a 16-bit format: text between conversions is written in one piece, each
// conversion through an OutputConversion.
#ifndef TLM_I18N_ZULU16_U16_FORMATTEDOUTPUT_H
#define TLM_I18N_ZULU16_U16_FORMATTEDOUTPUT_H

#include <cstdarg>
#include <cstdint>

#include "i18n/zulu16/u16_OutStream.h"

namespace zulu16::fmt {

// Checks the arguments of a formatted output call. Answers 1 to go on; otherwise the call's answer:
// -1 with errno EBADF for no target with a non-zero limit, -1 with EINVAL for no format, and 0
// for a memory target with a limit of 0.
int checkArgs(bool has_target, uint64_t limit, bool has_format);

class FormattedOutput {
 public:
  // The same arguments as the stream's; format must not be null.
  FormattedOutput(FILE *file, ZUL_UTF16 *buffer, uint64_t limit, const ZUL_UTF16 *format,
                  va_list args)
      : stream_(file, buffer, limit, format, args), format_(format) {}

  // Writes the whole output and terminates a memory target. Answers the units written, or -1 for
  // an unknown conversion or a failed write (the text so far stays, terminated), or -1 with errno
  // EOVERFLOW when the count exceeds INT_MAX.
  int parse();

 private:
  OutputStream stream_;
  const ZUL_UTF16 *format_;  // the next unit to read
};

}  // namespace zulu16::fmt

// The body of a variadic member: hands its arguments after last to call, which names them args.
#define ZUL_PRINTF_FORWARD(call, last) \
  va_list args;                        \
  va_start(args, last);                \
  int rc = call;                       \
  va_end(args);                        \
  return rc

#endif  // TLM_I18N_ZULU16_U16_FORMATTEDOUTPUT_H
