// Logging settings of the component trace ("ON, 20 M, GLOBAL=ON") as a configuration may carry
// them, one unit per input byte. What is accepted must be a setting the writer can keep: a size
// in whole KiB, and the same setting again when written back in its plain form. Only the first
// 128 units count, and leaving out the result changes nothing.
#include <cinttypes>
#include <cstdio>

#include "fuzz_support.h"
#include "zul_ctrc.h"

namespace {

constexpr size_t kCountedUnits = 128;

bool Same(const CTRC_LOGGING_INFO &a, const CTRC_LOGGING_INFO &b) {
  return a.on == b.on && a.size == b.size && a.global == b.global;
}

// The plain form of an accepted setting.
std::u16string PlainForm(const CTRC_LOGGING_INFO &info) {
  if (info.on == 0) return u"off";
  char text[64];
  bool mebibytes = info.size % 1048576 == 0 && info.size > 0;
  std::snprintf(text, sizeof text, "on,%" PRId64 "%s%s", info.size / (mebibytes ? 1048576 : 1024),
                mebibytes ? "M" : " k", info.global != 0 ? ", global=on" : "");
  return std::u16string(text, text + std::char_traits<char>::length(text));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::u16string text = fuzzsupport::Units(data, size);
  CTRC_LOGGING_INFO info = {7, 7, 7};
  const int rc = CTrcGetLoggingInfo(text.c_str(), &info);
  FUZZ_REQUIRE(rc == 0 || rc == -1);
  FUZZ_REQUIRE(CTrcGetLoggingInfo(text.c_str(), nullptr) == rc);
  const std::u16string counted = text.substr(0, kCountedUnits);
  CTRC_LOGGING_INFO prefix_info = info;
  FUZZ_REQUIRE(CTrcGetLoggingInfo(counted.c_str(), &prefix_info) == rc);
  if (rc != 0) return 0;
  FUZZ_REQUIRE(Same(info, prefix_info));
  FUZZ_REQUIRE(info.on == 0 || info.on == 1);
  FUZZ_REQUIRE(info.global == 0 || info.global == 1);
  FUZZ_REQUIRE(info.size >= 0 && info.size % 1024 == 0);
  FUZZ_REQUIRE(info.on == 1 || (info.size == 0 && info.global == 0));
  CTRC_LOGGING_INFO again = {7, 7, 7};
  FUZZ_REQUIRE(CTrcGetLoggingInfo(PlainForm(info).c_str(), &again) == 0 && Same(info, again));
  return 0;
}
