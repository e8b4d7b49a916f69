// The report of an unknown conversion letter.
#include <string>

#include "i18n/zulu16/u16_trace.h"
#include "zul_u16printf.h"

void u16_unknownFormatStr(const ZUL_UTF16 *format, ZUL_UTF16 letter) noexcept {
  if (zulu16::TraceLevel() <= 3) return;
  try {
    std::u16string message = u"Error in format string at or near '";
    // A format that ends right after the '%' has the terminator as its letter: nothing is shown.
    if (letter != 0) message += static_cast<char16_t>(letter);
    message += u"':\n";
    // The format as 8-bit text: each unit keeps its low byte.
    if (format != nullptr) {
      for (const ZUL_UTF16 *p = format; *p != 0; ++p) {
        message += static_cast<char16_t>(*p & 0xFF);
      }
    }
    u16_traceMsg(reinterpret_cast<const ZUL_UTF16 *>(message.c_str()), nullptr, 0, 0);
  } catch (...) {
    // Out of memory while reporting: the report is lost, the caller goes on.
  }
}
