// The main loop of formatted input.
#include "i18n/zulu16/u16_FormattedInput.h"

#include "i18n/zulu16/u16_InConversion.h"
#include "zul_u16string.h"

namespace zulu16::scan {

int FormattedInput::input() {
  int done = 0;
  const int at_end = -1;
  while (*format_ != 0) {
    const ZUL_UTF16 fc = *format_++;
    if (fc != u'%') {
      int c = stream_.readSingleChar();
      if (IsSpaceUnit(fc)) {
        while (IsSpaceUnit(c)) c = stream_.readSingleChar();
        stream_.unreadSingleChar(c);
        continue;
      }
      if (c == kEnd) return done == 0 ? at_end : done;
      if (c != fc) {
        stream_.unreadSingleChar(c);
        return done;
      }
      continue;
    }
    InputConversion conversion(stream_, args_, whole_format_);
    const ZUL_UTF16 *next = conversion.parse(format_);
    if (next == nullptr) return done;
    format_ = next;
    switch (conversion.input()) {
      case Outcome::kAssigned:
        ++done;
        break;
      case Outcome::kSkipped:
        break;
      case Outcome::kMismatch:
        return done;
      case Outcome::kInputEnd:
        return done == 0 ? at_end : done;
    }
  }
  return done;
}

}  // namespace zulu16::scan
