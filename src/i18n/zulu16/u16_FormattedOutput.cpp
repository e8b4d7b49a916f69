// The main loop of formatted output, and the argument check of the whole family.
#include "i18n/zulu16/u16_FormattedOutput.h"

#include <cerrno>
#include <climits>

#include "i18n/zulu16/u16_OutConversion.h"
#include "zul_u16string.h"

namespace zulu16::fmt {

int checkArgs(bool has_target, uint64_t limit, bool has_format) {
  if (!has_target && limit != 0) {
    errno = EBADF;
    return -1;
  }
  if (!has_format) {
    errno = EINVAL;
    return -1;
  }
  if (limit == 0) return 0;
  return 1;
}

int FormattedOutput::parse() {
  int rc = 0;
  while (*format_ != 0) {
    const ZUL_UTF16 *percent = strchrU16(format_, u'%');
    if (percent == nullptr) {
      rc = stream_.writeString(format_, strlenU16(format_));
      break;
    }
    if (percent != format_) {
      rc = stream_.writeString(format_, static_cast<size_t>(percent - format_));
      if (rc < 0 || stream_.isFull()) break;
    }
    OutputConversion conversion(stream_);
    const ZUL_UTF16 *next = conversion.parse(percent + 1);
    if (next == nullptr) {
      rc = -1;
      break;
    }
    conversion.toString();
    rc = conversion.output();
    if (rc < 0) break;
    format_ = next;
    if (stream_.isFull()) break;
  }
  stream_.terminate();
  if (rc < 0) return rc;
  if (stream_.written() > INT_MAX) {
    errno = EOVERFLOW;
    return -1;
  }
  return static_cast<int>(stream_.written());
}

}  // namespace zulu16::fmt
