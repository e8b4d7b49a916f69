// Runs every conversion from UTF-8 and the UTF-8 wrappers of 16-bit text on fuzzer input.
#include <cstring>
#include <memory>

#include "u16_conv_fuzz_common.h"

namespace {

// The zero-terminated and sized wrappers: the terminator stays inside the destination, and the
// overlapping forms give what the plain ones give.
void RunWrappers(const convfuzz::Options &o) {
  const char *member_name = "Utf8sToUcsFast";
  const size_t n = strnlen(reinterpret_cast<const char *>(o.src), o.src_size);
  std::unique_ptr<ZUL_RAW[]> text(new ZUL_RAW[n + 1]);
  std::memcpy(text.get(), o.src, n);
  text[n] = 0;
  std::unique_ptr<ZUL_UTF16[]> plain(new ZUL_UTF16[o.dst_units + 1]);
  size_t len = 0;
  const int rc = Utf8sToUcsFast(plain.get(), o.dst_units, &len, text.get());
  if (o.dst_units == 0) {
    CONV_FUZZ_CHECK(rc == 32 && len == 0);
    return;
  }
  CONV_FUZZ_CHECK(len < o.dst_units && plain[len] == 0);

  // The same text at the start of a buffer that also receives the result.
  const size_t shared_bytes = n + 1 > o.dst_units * 2 ? n + 1 : o.dst_units * 2;
  std::unique_ptr<ZUL_UTF16[]> shared(new ZUL_UTF16[(shared_bytes + 1) / 2]);
  std::memcpy(shared.get(), text.get(), n + 1);
  size_t shared_len = 0;
  const int shared_rc = Utf8sToUcsFastOverlap(shared.get(), o.dst_units, &shared_len,
                                              reinterpret_cast<const ZUL_RAW *>(shared.get()));
  member_name = "Utf8sToUcsFastOverlap";
  CONV_FUZZ_CHECK(shared_rc == rc && shared_len == len);
  CONV_FUZZ_CHECK(std::memcmp(shared.get(), plain.get(), (len + 1) * sizeof(ZUL_UTF16)) == 0);

  member_name = "Utf8nToUcnFastOverlap_2";
  std::unique_ptr<ZUL_UTF16[]> sized(new ZUL_UTF16[o.dst_units]);
  size_t sized_len = 0;
  Utf8nToUcnFastOverlap_2(sized.get(), o.dst_units, &sized_len, o.src, o.src_size);
  CONV_FUZZ_CHECK(sized_len <= o.dst_units);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  convfuzz::RunDirections(data, size, {convmembers::kFromUtf8});
  convfuzz::Options o;
  if (convfuzz::ParseOptions(data, size, &o)) RunWrappers(o);
  return 0;
}
