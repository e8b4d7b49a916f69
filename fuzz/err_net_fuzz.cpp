// The network form of the error information, as it arrives from another process: taken over with
// ErrCpNetToInt, then read, printed, translated and sent on as every caller may do. The input is
// also taken as a block of 16-bit units for ErrCpTo. A block that was taken over intact must come
// back unchanged through the network form.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "zul_err.h"

namespace {

// A message for every key, with numbered and sequential argument references.
int Lookup(const ZUL_UTF16 *, ZUL_UTF16, ZUL_UTF16 *buffer, int size) {
  static const ZUL_UTF16 kMessage[] = u"&1 & &2&9 && &";
  if (size < static_cast<int>(sizeof kMessage / sizeof kMessage[0])) return 0;
  std::memcpy(buffer, kMessage, sizeof kMessage);
  return 1;
}

// Everything a receiver may do with the thread's information.
void ReadEverything() {
  const ZUL_UTF16 *f[18];
  ErrGetAll(&f[0], &f[1], &f[2], &f[3], &f[4], &f[5], &f[6], &f[7], &f[8], &f[9], &f[10], &f[11],
            &f[12], &f[13], &f[14], &f[15], &f[16], &f[17]);
  ErrGetL(u'E', &f[0], &f[1], &f[2], &f[3], &f[4], &f[5], &f[6], &f[7], &f[8], &f[9], &f[10],
          &f[11], &f[12], &f[13]);
  for (int n = -1; n <= ERR_FIELD_COUNT; ++n) ErrGetFld(n);
  ErrPr();
  ErrPrL(u'E');
  ErrReplace(ERR_FLD_TEXT, u"(ABCDE) replaced %s", u"x");
  ErrReplace(ERR_FLD_COUNTER, 12345);
}

void CheckRoundTrip() {
  ZUL_UTF16 before[ERR_MAX_UNITS];
  ZUL_UTF16 *block = nullptr;
  size_t units = 0;
  if (ErrGetAttr(&block, &units) != ERR_OK || units > ERR_MAX_UNITS) return;
  std::memcpy(before, block, units * sizeof(ZUL_UTF16));
  ZUL_RAW net[ERR_MAX_UNITS * 3];
  size_t length = 0;
  if (ErrCpIntToNet(net, &length, sizeof net) != ERR_OK || length > ERR_MAX_UNITS) return;
  if (ErrCpNetToInt(net, length) != ERR_OK) std::abort();
  if (ErrGetAttr(&block, &units) != ERR_OK || std::memcmp(before, block, units * 2) != 0)
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool quiet = [] {
    ct_level = 0;
    ErrSetGetTxt(Lookup);
    return true;
  }();
  (void)quiet;

  // Exactly sized copies: a read past the end is reported.
  auto *bytes = static_cast<ZUL_RAW *>(std::malloc(size + (size == 0)));
  std::memcpy(bytes, data, size);
  int rc = ErrCpNetToInt(bytes, size);
  std::free(bytes);
  if (rc == ERR_OK) CheckRoundTrip();
  ReadEverything();

  size_t units = size / sizeof(ZUL_UTF16);
  auto *block = static_cast<ZUL_UTF16 *>(std::malloc((units + (units == 0)) * sizeof(ZUL_UTF16)));
  std::memcpy(block, data, units * sizeof(ZUL_UTF16));
  ErrCpTo(block, units);
  std::free(block);
  ReadEverything();
  ErrFree(nullptr);
  return 0;
}
