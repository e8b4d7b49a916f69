// The alignment check of 16-bit strings: a string at an odd address works, but slowly, and is
// usually a sign of a byte buffer taken for text; the check reports it without changing anything.
#include "i18n/zulu16/u16_word.h"
#include "zul_u16string.h"
#include "zul_u16trace.h"

namespace {

constexpr char16_t kUnalignedReport[] =
    u"dbgAlignCheckStringU16(): ERROR: The following string is unaligned:\n";
constexpr size_t kReportedUnits = 40 / sizeof(ZUL_UTF16);

// Set while this thread reports, so that a check reached from within the report stays silent.
thread_local bool reporting = false;

}  // namespace

const ZUL_UTF16 *dbgAlignCheckStringU16(const ZUL_UTF16 *s) noexcept {
  if (s == nullptr || zulu16::IsEvenAddress(s) || reporting) return s;
  reporting = true;
  constexpr size_t kHeaderUnits = sizeof kUnalignedReport / sizeof(char16_t) - 1;
  ZUL_UTF16 message[kHeaderUnits + kReportedUnits + 1];
  size_t n = 0;
  for (; n < kHeaderUnits; ++n) message[n] = kUnalignedReport[n];
  for (size_t i = 0; i < kReportedUnits; ++i) {
    ZUL_UTF16 u = zulu16::LoadUnit(s + i);
    if (u == 0) break;
    message[n++] = u;
  }
  message[n] = 0;
  u16_traceMsg(message, nullptr, 0, 0);
  reporting = false;
  return s;
}
