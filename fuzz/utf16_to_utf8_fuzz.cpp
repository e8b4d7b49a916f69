// Runs every conversion to UTF-8, and those between 16-bit and 32-bit units, on fuzzer input.
#include <cstring>
#include <memory>

#include "u16_conv_fuzz_common.h"

namespace {

// The zero-terminated wrapper keeps its terminator inside the destination, and the overlapping
// form gives what the plain one gives.
void RunWrappers(const convfuzz::Options &o) {
  const char *member_name = "UcsToUtf8sFast";
  const size_t units = o.src_size / 2;
  std::unique_ptr<ZUL_UTF16[]> text(new ZUL_UTF16[units + 1]);
  std::memcpy(text.get(), o.src, units * 2);
  text[units] = 0;
  size_t n = 0;
  while (text[n] != 0) ++n;
  std::unique_ptr<ZUL_RAW[]> plain(new ZUL_RAW[o.dst_units + 1]);
  size_t len = 0;
  const int rc = UcsToUtf8sFast(plain.get(), o.dst_units, &len, text.get());
  if (o.dst_units == 0) {
    CONV_FUZZ_CHECK(rc == 32 && len == 0);
    return;
  }
  CONV_FUZZ_CHECK(len < o.dst_units && plain[len] == 0);

  const size_t shared_bytes = (n + 1) * 2 > o.dst_units ? (n + 1) * 2 : o.dst_units;
  std::unique_ptr<ZUL_UTF16[]> shared(new ZUL_UTF16[(shared_bytes + 1) / 2]);
  std::memcpy(shared.get(), text.get(), (n + 1) * 2);
  size_t shared_len = 0;
  const int shared_rc = UcsToUtf8sFastOverlap(reinterpret_cast<ZUL_RAW *>(shared.get()),
                                              o.dst_units, &shared_len, shared.get());
  member_name = "UcsToUtf8sFastOverlap";
  CONV_FUZZ_CHECK(shared_rc == rc && shared_len == len);
  CONV_FUZZ_CHECK(std::memcmp(shared.get(), plain.get(), len + 1) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  convfuzz::RunDirections(data, size, {convmembers::kToUtf8, convmembers::kBetweenUnits});
  convfuzz::Options o;
  if (convfuzz::ParseOptions(data, size, &o)) RunWrappers(o);
  return 0;
}
