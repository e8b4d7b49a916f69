// The program header block: release, patch levels, build and process of the program.
#include <unistd.h>

#include "trace/ctrc_state.h"
#include "zul_dptrace.h"

namespace {

// The platform code and text of the systemid line.
constexpr int kSystemId = 390;
constexpr char16_t kSystemText[] = u"AMD/Intel x86_64 with Linux";

}  // namespace

int CTrcPrintPgmHeaderExt2(CTRC_HDL hdl, int relno, int patchlevel, int patchno, int intno,
                           const ZUL_UTF16 *sysno, const ZUL_UTF16 *sid,
                           const ZUL_UTF16 *profile) noexcept {
  ctrc::Lock lock;
  ctrc::Target target = ctrc::Resolve(hdl);
  if (target.comp != nullptr && target.comp->level < EntLev) return -1;
  // Each line starts with the component letter and a blank, when there is a component.
  char16_t prefix[3] = {0, 0, 0};
  if (target.HasLetter()) {
    prefix[0] = target.comp->letter;
    prefix[1] = u' ';
  }
  FILE *out = target.stream;
  using dptrace::Print;
  if (sysno != nullptr) Print(out, u"%ssysno      %s\n", prefix, sysno);
  if (sid != nullptr) Print(out, u"%ssid        %s\n", prefix, sid);
  Print(out, u"%ssystemid   %d (%s)\n", prefix, kSystemId, kSystemText);
  Print(out, u"%srelno      %d\n", prefix, relno);
  Print(out, u"%spatchlevel %d\n", prefix, patchlevel);
  Print(out, u"%spatchno    %d\n", prefix, patchno);
  Print(out, u"%sintno      %d\n", prefix, intno);
  Print(out, u"%smake       %s, %s%s, %s%s\n", prefix, u"multithreaded", u"Unicode", u", 64 bit",
        u"optimized", u"");
  if (profile != nullptr) Print(out, u"%sprofile    %s\n", prefix, profile);
  Print(out, u"%spid        %d\n", prefix, static_cast<int>(getpid()));
  Print(out, u"%s\n", prefix);
  dptrace::Flush(out);
  return 0;
}

int CTrcPrintPgmHeaderExt(CTRC_HDL hdl, int relno, int patchlevel, int patchno, int intno,
                          const ZUL_UTF16 *sysno, const ZUL_UTF16 *sid) noexcept {
  return CTrcPrintPgmHeaderExt2(hdl, relno, patchlevel, patchno, intno, sysno, sid, nullptr);
}

int CTrcPrintPgmHeader(CTRC_HDL hdl, int relno, int patchlevel, int patchno, int intno) noexcept {
  return CTrcPrintPgmHeaderExt2(hdl, relno, patchlevel, patchno, intno, nullptr, nullptr, nullptr);
}
