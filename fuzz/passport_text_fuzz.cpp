// Passport texts as they arrive from other programs, one 16-bit unit per input byte: recognition
// must end in a passport or none, never a crash or an over-read; an accepted passport must
// serialise again, and give its fields and an outgoing passport.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "passport_fuzz_check.h"
#include "tlm/tlmpassporthelper.h"
#include "zul_ctrc.h"
#include "zul_epp.h"
#include "zul_u16string.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool kStarted = [] {
    ct_level = 0;  // the helper's error lines would only slow the fuzzer down
    return eppSetEnvironment(8, 3, std::malloc, std::free, nullptr, 0) == 0;
  }();
  if (!kStarted) std::abort();
  std::vector<ZUL_UTF16> text(data, data + size);
  text.push_back(0);

  void *h = PassportHelper::IsZULPassport(text.data());
  if (h == nullptr) {
    // An application passport.
    PassportHelper::GetTraceFlagFromApplicationPassport(text.data());
    if (strchrU16(text.data(), u'*') != nullptr)
      PassportHelper::GetTraceGuidFromApplicationPassport(text.data());
    return 0;
  }
  uint8_t version = PassportHelper::GetPassportVersion(h);
  uint16_t flag = PassportHelper::GetTraceFlagFromZULPassport(h);
  PassportHelper::GetTraceLevelFromTraceFlag(flag, version);
  PassportHelper::GetTraceGuidFromZULPassport(h);

  CheckSerialisesAgain(h);

  zulstring next =
      PassportHelper::CreateOutgoingPassport(h, u"00112233445566778899AABBCCDDEEFF", 2, 3, u"fuzz");
  // Only a version 0 passport, which needs no bytes, gives no text.
  if (next.empty() != (PassportHelper::GetPassportVersion(h) == 0)) std::abort();
  PassportHelper::DestroyPassportHandle(h);
  return 0;
}
