// Conversion of a source id text to 16-bit text, for the module argument of error reports.
#include <cstdlib>
#include <cstring>

#include "krn/rscp/rscp_report.h"

namespace rscp {
const ZUL_UTF16 kConvertSCCSIDFailed[] = u"ConvertSCCSID_w failed";
}  // namespace rscp

const ZUL_UTF16 *ConvertSCCSID_w(const char *sccsid) noexcept {
  if (sccsid == nullptr) return rscp::kConvertSCCSIDFailed;
  size_t len = std::strlen(sccsid);
  auto *text = static_cast<ZUL_UTF16 *>(std::malloc((len + 1) * sizeof(ZUL_UTF16)));
  if (text == nullptr) return rscp::kConvertSCCSIDFailed;
  for (size_t i = 0; i <= len; ++i) text[i] = static_cast<unsigned char>(sccsid[i]);
  return text;
}
